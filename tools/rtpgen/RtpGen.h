// Builds RTP datagrams the way cameras send them: plain packets, H.264 single NAL units,
// STAP-A parameter sets and FU-A fragments, and whole H.264 streams for benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rtpgen {

using Bytes = std::vector<uint8_t>;

struct RtpFields {
    uint16_t seq = 0;
    bool marker = false;
    uint8_t pt = 96;
    uint32_t timestamp = 0;
    uint32_t ssrc = 0x11223344;
};

// A 12-byte version 2 header followed by the payload.
Bytes Packet(const RtpFields& fields, const Bytes& payload);

// STAP-A payload (type 24) aggregating an SPS and a PPS.
Bytes StapA(const Bytes& sps, const Bytes& pps);
// FU-A payloads (type 28) for one NAL unit (header byte included), each at most 'maxPayload'
// bytes long with its two FU bytes.
std::vector<Bytes> FuA(const Bytes& nal, size_t maxPayload);
// A NAL unit of 'size' bytes: the header byte, then a byte pattern.
Bytes Nal(uint8_t header, size_t size);

// One datagram of a generated stream and where it sits in its access unit.
struct StreamPacket {
    Bytes datagram;
    int frame;  // index of the access unit
    int index;  // position in the access unit
    int count;  // packets of the access unit
};

// An H.264 stream as a camera sends it: every 'gop'-th access unit an STAP-A with SPS and PPS
// and an IDR slice, the others a non-IDR slice, each slice in FU-A fragments of 'fragment'
// bytes, the marker on the last packet of an access unit.
struct StreamShape {
    int gop = 25;
    size_t keyFrameBytes = 60000;
    size_t deltaFrameBytes = 12000;
    size_t fragment = 1400;
    uint32_t ssrc = 0x11223344;
    uint32_t ticksPerFrame = 3600;
};
std::vector<StreamPacket> H264Stream(const StreamShape& shape, int frames, uint16_t firstSeq);

}  // namespace rtpgen
