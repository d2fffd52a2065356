// The live source's picture: eight colour bars, a grey box that moves 8 pixels a frame, and a
// band along the bottom that counts frames. The band shows the frame number's 16 low bits
// as 16 cells (white 1, black 0, most significant first), so a decoded picture tells which
// frame it is and can be compared with the picture that was sent.
#pragma once

#include <cstdint>

#include "Picture.h"

namespace playersdk::livesource {

using playerdecoder::Picture;

constexpr int kCounterBits = 16;

// Everything in the picture depends on the frame number's 16 low bits only.
Picture DrawTestPattern(int width, int height, uint32_t frame);
// The frame number shown by the band of a pattern (decoded, scaled or not); -1 when a cell is
// neither clearly black nor clearly white.
int ReadFrameNumber(const Picture& picture);

}  // namespace playersdk::livesource
