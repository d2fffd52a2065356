// Numbers the RTP and RTCP wire carries, declared once for the media, sink, session and RTSP
// code. The transport kinds are the TT_* values of PlayerSDK.h.
#pragma once

#include <cstdint>

namespace playersdk {

// The RTP version every packet this library takes and sends carries.
constexpr unsigned kRtpVersion = 2;

// RTCP packet types (the second byte of every RTCP packet).
constexpr uint8_t kRtcpSenderReport = 200;
constexpr uint8_t kRtcpReceiverReport = 201;
constexpr uint8_t kRtcpSourceDescription = 202;
constexpr uint8_t kRtcpBye = 203;
constexpr uint8_t kRtcpApp = 204;

// Source description item types.
constexpr uint8_t kSdesEnd = 0;
constexpr uint8_t kSdesCname = 1;

// The first byte of every report this library sends: version 2, no padding, one report block
// (one item for a source description).
constexpr uint8_t kRtcpVersionOneBlock = 0x81;
// The length field (32-bit words after the first) of a report with one report block.
constexpr uint16_t kRtcpOneBlockLength = 7;
// The interarrival jitter every report announces, fixed and never measured: a device that
// shows it sees the same figure from every player of this library.
constexpr uint32_t kRtcpFixedJitter = 6323;

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
