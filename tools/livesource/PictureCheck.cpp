#include "livesource/PictureCheck.h"

#include <cmath>
#include <fstream>
#include <iterator>

#include "AvSupport.h"
#include "livesource/TestPattern.h"

namespace playersdk::livesource {
namespace {
constexpr double kNoMatch = 1e9;

// Little-endian field of a file's bytes; 0 past the end.
uint32_t Le(const std::string& bytes, size_t at, int n) {
    uint32_t value = 0;
    for (int i = n - 1; i >= 0; --i) {
        const size_t pos = at + static_cast<size_t>(i);
        value = (value << 8) | (pos < bytes.size() ? static_cast<uint8_t>(bytes[pos]) : 0);
    }
    return value;
}
}  // namespace

Picture BlankPicture(int width, int height) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.bgr.resize(static_cast<size_t>(width) * height * 3);
    return picture;
}

Picture ReadBmp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const int width = static_cast<int>(Le(bytes, 18, 4)),
              height = static_cast<int>(Le(bytes, 22, 4));
    if (bytes.compare(0, 2, "BM") != 0 || Le(bytes, 28, 2) != 24 || width <= 0 || height <= 0 ||
        width > 16384 || height > 16384) {
        return Picture();
    }
    const size_t offset = Le(bytes, 10, 4), rowBytes = (static_cast<size_t>(width) * 3 + 3) & ~3u;
    if (bytes.size() < offset + rowBytes * height) {
        return Picture();
    }
    Picture picture = BlankPicture(width, height);
    for (int y = 0; y < height; ++y) {  // the file holds the bottom row first
        const char* row = bytes.data() + offset + rowBytes * (height - 1 - y);
        std::copy(row, row + width * 3, &picture.bgr[static_cast<size_t>(y) * picture.stride()]);
    }
    return picture;
}

Picture Scaled(const Picture& picture, int width, int height) {
    Picture out = BlankPicture(width, height);
    playerdecoder::CPixelConverter().Convert(playerdecoder::PlanesOf(picture),
                                             playerdecoder::PlanesOf(out));
    return out;
}

double MeanAbsDifference(const Picture& a, const Picture& b) {
    if (a.width != b.width || a.height != b.height || a.bgr.empty() ||
        a.bgr.size() != b.bgr.size()) {
        return kNoMatch;
    }
    double sum = 0;
    for (size_t i = 0; i < a.bgr.size(); ++i) {
        sum += std::abs(a.bgr[i] - b.bgr[i]);
    }
    return sum / static_cast<double>(a.bgr.size());
}

double DistanceFromPattern(const Picture& picture, int patternWidth, int patternHeight,
                           int* frame) {
    const int shown = ReadFrameNumber(picture);
    if (frame != nullptr) {
        *frame = shown;
    }
    if (shown < 0) {
        return kNoMatch;
    }
    Picture expected = DrawTestPattern(patternWidth, patternHeight, static_cast<uint32_t>(shown));
    if (patternWidth != picture.width || patternHeight != picture.height) {
        expected = Scaled(expected, picture.width, picture.height);
    }
    return MeanAbsDifference(picture, expected);
}

}  // namespace playersdk::livesource
