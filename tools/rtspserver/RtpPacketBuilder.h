// RTP, RTCP and interleaved-frame builders for the loopback RTSP server and the demo's live
// test pattern. Every field is written big-endian through ByteWriter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace playersdk::rtspserver {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kDefaultSsrc = 0x1A2B3C4D;

struct RtpHeaderFields {
    uint8_t payloadType = 96;
    bool marker = false;
    uint16_t sequence = 0;
    uint32_t timestamp = 0;
    uint32_t ssrc = kDefaultSsrc;
};

// Version 2 without padding, extension or CSRCs: the 12-byte header, then the payload.
Bytes BuildRtpPacket(const RtpHeaderFields& header, const uint8_t* payload, size_t len);
Bytes BuildRtpPacket(const RtpHeaderFields& header, const Bytes& payload);

struct SenderReportFields {
    uint32_t ssrc = kDefaultSsrc;
    uint32_t ntpSeconds = 0;
    uint32_t ntpFraction = 0;
    uint32_t rtpTimestamp = 0;
    uint32_t packetCount = 0;
    uint32_t octetCount = 0;
};

// RTCP sender report without report blocks (28 bytes).
Bytes BuildRtcpSenderReport(const SenderReportFields& fields);
// RTCP BYE for one source, without a reason (8 bytes).
Bytes BuildRtcpBye(uint32_t ssrc);

// "$", channel, 16-bit big-endian payload length, payload.
Bytes BuildInterleavedFrame(uint8_t channel, const Bytes& payload);
// The same with a declared length that need not match the payload, for framing-error tests.
Bytes BuildInterleavedFrame(uint8_t channel, uint16_t declaredLength, const Bytes& payload);

// FU-A payloads (type 28) for one NAL unit (header byte included), each at most maxPayload
// bytes long with its two FU bytes; empty when the unit is empty or maxPayload below 3.
std::vector<Bytes> FragmentH264Nal(const uint8_t* nal, size_t len, size_t maxPayload);
// Fragmentation unit payloads (type 49) for one H.265 NAL unit (both header bytes included),
// each at most maxPayload bytes long with its three header bytes.
std::vector<Bytes> FragmentH265Nal(const uint8_t* nal, size_t len, size_t maxPayload);

// Numbers the packets of one stream: each packet takes the next sequence number.
class RtpPacketBuilder {
public:
    explicit RtpPacketBuilder(uint8_t payloadType = 96, uint32_t ssrc = kDefaultSsrc,
                              uint16_t firstSequence = 0);

    Bytes Next(const Bytes& payload, uint32_t timestamp, bool marker);

    // One H.264 NAL unit (no start code) as RTP: a single packet when it fits maxPayload,
    // else FU-A fragments. The marker goes on the last packet when it ends the access unit.
    std::vector<Bytes> PacketizeH264Nal(const uint8_t* nal, size_t len, uint32_t timestamp,
                                        bool endOfAccessUnit, size_t maxPayload = 1400);
    // The same for one H.265 NAL unit: a single packet, else fragmentation units.
    std::vector<Bytes> PacketizeH265Nal(const uint8_t* nal, size_t len, uint32_t timestamp,
                                        bool endOfAccessUnit, size_t maxPayload = 1400);

    uint16_t nextSequence() const { return m_header.sequence; }

private:
    using Fragmenter = std::vector<Bytes> (*)(const uint8_t*, size_t, size_t);
    std::vector<Bytes> PacketizeNal(const uint8_t* nal, size_t len, uint32_t timestamp,
                                    bool endOfAccessUnit, size_t maxPayload, Fragmenter fragment);
    Bytes NextFrom(const uint8_t* payload, size_t len, uint32_t timestamp, bool marker);

    RtpHeaderFields m_header;
};

}  // namespace playersdk::rtspserver
