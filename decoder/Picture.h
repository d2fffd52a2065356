// One decoded picture as the library hands it out: packed BGR24, rows top to bottom, no
// padding (width * 3 bytes a row).
#pragma once

#include <cstdint>
#include <vector>

namespace playerdecoder {

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> bgr;

    bool empty() const { return width <= 0 || height <= 0 || bgr.empty(); }
    int stride() const { return width * 3; }
};

}  // namespace playerdecoder
