// The fixed stream the ingest benchmark serves: two seconds of the live source's test pattern,
// encoded once as real H.264 (an IDR with its parameter sets every second), each access unit
// padded with a filler-data NAL unit up to the bit rate asked for, and cut into RTP packets of
// at most 1400 payload bytes (FU-A fragments). Key frames get four times the bytes of the
// others, as a camera's constant-rate encoder gives them. The server plays it in a loop: every
// pass numbers its packets and time stamps on from the last, so a client sees one stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "rtspserver/RtpPacketBuilder.h"

namespace ingest {

using playersdk::rtspserver::Bytes;

struct IngestStreamOptions {
    double mbps = 4;  // RTP packets, headers included
    int fps = 25;
    int gop = 25;
    int frames = 50;  // access units in one pass of the loop
    int width = 640;
    int height = 360;
};

class CIngestStream {
public:
    // Encodes and packetizes the pass; false when the encoder cannot be opened or refuses a
    // picture.
    bool Make(const IngestStreamOptions& options);

    const IngestStreamOptions& options() const { return m_options; }
    const std::string& sdp() const { return m_sdp; }
    // The RTP packets of access unit 'n' of the endless stream (n counted from 0), with their
    // sequence numbers and time stamps; 'packets' is reused.
    void Unit(uint64_t n, std::vector<Bytes>& packets) const;
    uint32_t ssrc() const;
    // The rate of one pass: RTP packet bytes (headers included) over its duration.
    double megabitsPerSecond() const;
    size_t packetsPerPass() const { return m_packetsPerPass; }

private:
    struct AccessUnit {
        std::vector<Bytes> packets;
        uint16_t firstSequence = 0;  // within the pass
    };

    IngestStreamOptions m_options;
    std::string m_sdp;
    std::vector<AccessUnit> m_units;
    size_t m_packetsPerPass = 0;
    uint64_t m_bytesPerPass = 0;
};

}  // namespace ingest
