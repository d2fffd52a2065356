// Splits one fuzzer input into the records a harness feeds: each record is a 16-bit big-endian
// length and that many bytes (cut short at the end of the input). Every record is copied into a
// heap block of exactly its size, so a read one byte past it is caught.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/ByteCursor.h"

namespace fuzz {

class Records {
public:
    Records(const uint8_t* data, size_t size) : m_reader(data, size) {}

    bool Next(std::vector<uint8_t>& record) {
        uint16_t len = 0;
        if (!m_reader.be16(len)) {
            return false;
        }
        const size_t take = len < m_reader.remaining() ? len : m_reader.remaining();
        const uint8_t* bytes = nullptr;
        m_reader.bytes(take, bytes);
        record.assign(bytes, bytes + take);
        return true;
    }

    bool Byte(uint8_t& v) { return m_reader.u8(v); }

private:
    playersdk::ByteReader m_reader;
};

}  // namespace fuzz
