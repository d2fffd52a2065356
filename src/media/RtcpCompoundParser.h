// Reads a compound RTCP packet as a sender sends it: sender and receiver reports with their
// blocks, source descriptions (CNAME) and goodbyes. Other packet types are passed over by
// their length. Every length and count is checked against the bytes that are there; a packet
// that does not fit ends the reading with the reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "media/RtpConstants.h"

namespace playersdk {

enum class RtcpError : uint8_t {
    kNone = 0,
    kEmpty,            // no bytes
    kTooShort,         // shorter than a packet header or than its type needs
    kBadVersion,       // not version 2
    kLengthPastEnd,    // the length field runs past the compound packet
    kCountPastLength,  // report blocks or goodbye sources past the packet's length
    kBadPadding,       // padding count 0 or past the packet
    kSdesPastLength,   // a description chunk or item past the packet's length
};

struct RtcpSenderInfo {
    uint32_t ssrc = 0;
    uint32_t ntpSeconds = 0;
    uint32_t ntpFraction = 0;
    uint32_t rtpTimestamp = 0;
    uint32_t packetCount = 0;
    uint32_t octetCount = 0;
};

struct RtcpCompound {
    std::vector<RtcpSenderInfo> senderReports;
    std::vector<RtcpReportBlock> reportBlocks;  // of SRs and RRs, in order
    std::vector<std::pair<uint32_t, std::string>> cnames;
    std::vector<uint32_t> goodbyes;  // the sources that said goodbye
};

// Fills 'out' (cleared first; cleared again on an error).
RtcpError ParseRtcpCompound(const uint8_t* data, size_t len, RtcpCompound& out);

}  // namespace playersdk
