// Cuts a byte stream into the reads a connection would deliver, at split points taken from the
// stream itself: the byte at the front of each read decides its length (1 to 'maxPiece'). A
// captured dialogue used as a seed thus arrives in many different splits as it mutates.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace fuzz {

class InputPieces {
public:
    InputPieces(const uint8_t* data, size_t size, size_t maxPiece)
        : m_data(data), m_size(size), m_maxPiece(std::max<size_t>(maxPiece, 1)) {}

    // The next read; false once the stream is used up.
    bool Next(const uint8_t*& piece, size_t& length) {
        if (m_pos >= m_size) {
            return false;
        }
        piece = m_data + m_pos;
        length = std::min<size_t>(1 + m_data[m_pos] * 131u % m_maxPiece, m_size - m_pos);
        m_pos += length;
        return true;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_maxPiece;
    size_t m_pos = 0;
};

}  // namespace fuzz
