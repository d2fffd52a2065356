// What a whole frame of an elementary stream carries, judged from its start-code units alone:
// decoding may only start (or restart after damage) at a key frame, and a lone MPEG-4
// configuration must be kept for the frames that follow it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace playerdecoder {

enum class FrameKind {
    kNothing,  // neither a picture nor a configuration (no start code, filler, garbage)
    kConfig,   // a configuration (parameter sets, object layer) and no picture
    kKey,      // a picture that decodes on its own (IDR or intra slice, I-VOP)
    kDelta,    // a picture that needs the ones before it
};

// What a frame showed: its kind, and for H.264 and H.265 whether it holds the first slice of a
// picture (starts) or only later slices of one (continues): a picture delivered in pieces.
struct FrameFacts {
    FrameKind kind = FrameKind::kNothing;
    bool startsPicture = false;
    bool continuesPicture = false;
};

// Annex B H.264: units after 00 00 01 (or 00 00 00 01).
FrameFacts InspectH264Frame(const uint8_t* data, size_t len);
// Annex B H.265: key frames are IRAP pictures (IDR, CRA, BLA).
FrameFacts InspectH265Frame(const uint8_t* data, size_t len);
// MPEG-4 Visual elementary stream: visual object sequence, object layer, VOPs.
FrameFacts InspectMpeg4Frame(const uint8_t* data, size_t len);

}  // namespace playerdecoder
