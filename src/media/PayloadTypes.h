// The RTP payload types the cameras use for video, as the stream, the recorder and the file
// player all read them.
#pragma once

#include <cstdint>

#include "PlayerSDK.h"

namespace playersdk {
constexpr uint32_t kPayloadTypeMpeg4Other = 35;
constexpr uint32_t kPayloadTypeH264 = 96;
constexpr uint32_t kPayloadTypeMpeg4 = 97;
constexpr uint32_t kPayloadTypeIr = 98;
// H.265 arrives under dynamic payload types that other codecs share (96, 98): only the rtpmap
// name tells it apart. Record files therefore mark its frames with a value of their own,
// which no RTP payload type (7 bits) can take, so no recording of another codec is read as
// H.265.
constexpr uint32_t kRecordPayloadTypeH265 = 265;

// MPEG-4 Visual arrives under two payload types.
constexpr bool IsMpeg4PayloadType(uint32_t pt) {
    return pt == kPayloadTypeMpeg4 || pt == kPayloadTypeMpeg4Other;
}
// The payload type a record file marks a codec's frames with, as the file player chooses its
// decoder by it; 0 for a codec the file player does not play.
constexpr uint32_t RecordPayloadTypeFor(eMediaDecType type) {
    switch (type) {
        case VT_H264:
            return kPayloadTypeH264;
        case VT_MPEG4:
            return kPayloadTypeMpeg4;
        case VT_H265:
            return kRecordPayloadTypeH265;
        default:
            return 0;
    }
}
}  // namespace playersdk
