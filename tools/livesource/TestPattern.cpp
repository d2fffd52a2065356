#include "livesource/TestPattern.h"

#include <algorithm>
#include <array>

namespace playersdk::livesource {
namespace {
using Colour = std::array<uint8_t, 3>;  // blue, green, red

constexpr Colour kBars[8] = {{255, 255, 255}, {0, 255, 255}, {255, 255, 0}, {0, 255, 0},
                             {255, 0, 255},   {0, 0, 255},   {255, 0, 0},   {16, 16, 16}};
constexpr Colour kGrey = {128, 128, 128};
constexpr Colour kWhite = {255, 255, 255};
constexpr Colour kBlack = {0, 0, 0};
constexpr int kBoxSize = 40;
constexpr int kBoxStep = 8;

int BandTop(int height) {
    return height - height / 8;
}

void Fill(Picture& picture, int x0, int y0, int x1, int y1, const Colour& colour) {
    for (int y = std::max(y0, 0); y < std::min(y1, picture.height); ++y) {
        uint8_t* row = &picture.bgr[static_cast<size_t>(y) * picture.stride()];
        for (int x = std::max(x0, 0); x < std::min(x1, picture.width); ++x) {
            std::copy(colour.begin(), colour.end(), row + 3 * x);
        }
    }
}

// Mean of the three colour bytes over the middle half of one band cell.
int CellBrightness(const Picture& picture, int cell) {
    const int x0 = cell * picture.width / kCounterBits,
              x1 = (cell + 1) * picture.width / kCounterBits;
    const int y0 = BandTop(picture.height), y1 = picture.height;
    long sum = 0, count = 0;
    for (int y = y0 + (y1 - y0) / 4; y < y1 - (y1 - y0) / 4; ++y) {
        for (int x = x0 + (x1 - x0) / 4; x < x1 - (x1 - x0) / 4; ++x) {
            const uint8_t* pixel = &picture.bgr[static_cast<size_t>(y) * picture.stride() + 3 * x];
            sum += pixel[0] + pixel[1] + pixel[2];
            count += 3;
        }
    }
    return count == 0 ? -1 : static_cast<int>(sum / count);
}
}  // namespace

Picture DrawTestPattern(int width, int height, uint32_t frame) {
    Picture picture;
    if (width < kCounterBits || height < 8) {
        return picture;
    }
    picture.width = width;
    picture.height = height;
    picture.bgr.resize(static_cast<size_t>(width) * height * 3);
    frame &= 0xFFFF;
    const int bandTop = BandTop(height);
    for (int bar = 0; bar < 8; ++bar) {
        Fill(picture, bar * width / 8, 0, (bar + 1) * width / 8, bandTop, kBars[bar]);
    }
    const int boxX = static_cast<int>(frame * kBoxStep % std::max(width - kBoxSize, 1));
    const int boxY = height / 2 - kBoxSize / 2;
    Fill(picture, boxX, boxY, boxX + kBoxSize, std::min(boxY + kBoxSize, bandTop), kGrey);
    for (int cell = 0; cell < kCounterBits; ++cell) {
        const bool one = (frame >> (kCounterBits - 1 - cell)) & 1;
        Fill(picture, cell * width / kCounterBits, bandTop, (cell + 1) * width / kCounterBits,
             height, one ? kWhite : kBlack);
    }
    return picture;
}

int ReadFrameNumber(const Picture& picture) {
    if (picture.width < kCounterBits || picture.height < 8 ||
        picture.bgr.size() < static_cast<size_t>(picture.stride()) * picture.height) {
        return -1;
    }
    int frame = 0;
    for (int cell = 0; cell < kCounterBits; ++cell) {
        const int brightness = CellBrightness(picture, cell);
        if (brightness > 64 && brightness < 192) {
            return -1;
        }
        frame = (frame << 1) | (brightness >= 192 ? 1 : 0);
    }
    return frame;
}

}  // namespace playersdk::livesource
