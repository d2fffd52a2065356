// Bounded big-endian reading and writing over (pointer, remaining). Every binary parser goes
// through ByteReader: a read that does not fit fails and leaves the cursor where it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace playersdk {

class ByteReader {
public:
    ByteReader(const void* data, size_t len)
        : m_p(static_cast<const uint8_t*>(data)), m_left(data ? len : 0) {}

    size_t remaining() const { return m_left; }
    const uint8_t* current() const { return m_p; }

    bool u8(uint8_t& v) {
        if (m_left < 1) {
            return false;
        }
        v = m_p[0];
        advance(1);
        return true;
    }
    bool be16(uint16_t& v) {
        if (m_left < 2) {
            return false;
        }
        v = static_cast<uint16_t>((m_p[0] << 8) | m_p[1]);
        advance(2);
        return true;
    }
    bool be32(uint32_t& v) {
        if (m_left < 4) {
            return false;
        }
        v = (uint32_t{m_p[0]} << 24) | (uint32_t{m_p[1]} << 16) | (uint32_t{m_p[2]} << 8) |
            uint32_t{m_p[3]};
        advance(4);
        return true;
    }
    // Record files keep their integers in the byte order of the recording machine (little-endian).
    bool le32(uint32_t& v) {
        if (m_left < 4) {
            return false;
        }
        v = uint32_t{m_p[0]} | (uint32_t{m_p[1]} << 8) | (uint32_t{m_p[2]} << 16) |
            (uint32_t{m_p[3]} << 24);
        advance(4);
        return true;
    }
    bool skip(size_t n) {
        if (m_left < n) {
            return false;
        }
        advance(n);
        return true;
    }
    // Points 'out' at the next n bytes and moves past them.
    bool bytes(size_t n, const uint8_t*& out) {
        if (m_left < n) {
            return false;
        }
        out = m_p;
        advance(n);
        return true;
    }

private:
    void advance(size_t n) {
        m_p += n;
        m_left -= n;
    }
    const uint8_t* m_p;
    size_t m_left;
};

class ByteWriter {
public:
    ByteWriter(void* data, size_t cap) : m_p(static_cast<uint8_t*>(data)), m_cap(data ? cap : 0) {}

    size_t size() const { return m_len; }
    bool ok() const { return m_ok; }

    ByteWriter& u8(uint8_t v) {
        if (room(1)) {
            m_p[m_len++] = v;
        }
        return *this;
    }
    ByteWriter& be16(uint16_t v) {
        if (room(2)) {
            m_p[m_len++] = static_cast<uint8_t>(v >> 8);
            m_p[m_len++] = static_cast<uint8_t>(v);
        }
        return *this;
    }
    ByteWriter& be32(uint32_t v) {
        if (room(4)) {
            for (int shift = 24; shift >= 0; shift -= 8) {
                m_p[m_len++] = static_cast<uint8_t>(v >> shift);
            }
        }
        return *this;
    }
    ByteWriter& le32(uint32_t v) {
        if (room(4)) {
            for (int shift = 0; shift <= 24; shift += 8) {
                m_p[m_len++] = static_cast<uint8_t>(v >> shift);
            }
        }
        return *this;
    }
    ByteWriter& bytes(const void* src, size_t n) {
        // memcpy must not see a null source, even for nothing (an empty vector's data()).
        if (n > 0 && room(n)) {
            memcpy(m_p + m_len, src, n);
            m_len += n;
        }
        return *this;
    }

private:
    bool room(size_t n) {
        if (!m_ok || m_cap - m_len < n) {
            m_ok = false;
            return false;
        }
        return true;
    }
    uint8_t* m_p;
    size_t m_cap;
    size_t m_len = 0;
    bool m_ok = true;
};

}  // namespace playersdk
