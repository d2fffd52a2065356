// Annex B byte streams, as H.264 and H.265 frames travel between the stream, the recorder, the
// file player and the decoder library: NAL units behind 00 00 01 or 00 00 00 01 start codes.
// Header-only, so the decoder library shares it.
#pragma once

#include <cstdint>

#include "base/ByteCursor.h"

namespace playersdk {

// Moves the reader just past the next 00 00 01 prefix; false when there is none.
inline bool SkipToStartCode(ByteReader& r) {
    int zeros = 0;
    uint8_t b = 0;
    while (r.u8(b)) {
        if (b == 1 && zeros >= 2) {
            return true;
        }
        zeros = (b == 0) ? zeros + 1 : 0;
    }
    return false;
}

}  // namespace playersdk
