// RTCP packet types and the report block, shared by the receiver statistics, the report
// builder and the compound parser.
#pragma once

#include <cstdint>

namespace playersdk {
constexpr uint8_t kRtcpSenderReport = 200;
constexpr uint8_t kRtcpReceiverReport = 201;
constexpr uint8_t kRtcpSourceDescription = 202;
constexpr uint8_t kRtcpGoodbye = 203;
constexpr uint8_t kSdesEnd = 0;
constexpr uint8_t kSdesCname = 1;

// One report block about one source: what a receiver tells a sender.
struct RtcpReportBlock {
    uint32_t ssrc = 0;
    uint8_t fractionLost = 0;    // lost since the last report, in 1/256
    int32_t cumulativeLost = 0;  // 24-bit signed on the wire
    uint32_t extendedHighestSeq = 0;
    uint32_t jitter = 0;                      // in timestamp units
    uint32_t lastSenderReport = 0;            // middle 32 bits of the last SR's NTP time
    uint32_t delaySinceLastSenderReport = 0;  // in 1/65536 s
};
}  // namespace playersdk
