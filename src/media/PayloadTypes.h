// The RTP payload types the cameras use for video, as the stream, the recorder and the file
// player all read them.
#pragma once

#include <cstdint>

namespace playersdk {
constexpr uint32_t kPayloadTypeMpeg4Other = 35;
constexpr uint32_t kPayloadTypeH264 = 96;
constexpr uint32_t kPayloadTypeMpeg4 = 97;
constexpr uint32_t kPayloadTypeIr = 98;

// MPEG-4 Visual arrives under two payload types.
constexpr bool IsMpeg4PayloadType(uint32_t pt) {
    return pt == kPayloadTypeMpeg4 || pt == kPayloadTypeMpeg4Other;
}
}  // namespace playersdk
