#include "base/Memory.h"

#include <cstdlib>
#include <cstring>

CMemory::CMemory() : m_len(0), m_buf(nullptr), m_curpos(0) {}

CMemory::~CMemory() {
    if (m_buf != nullptr) {
        free(m_buf);
    }
}

void* CMemory::getbuf(unsigned long size) {
    if (m_len < size) {
        FreeBuf();
        // A failed malloc leaves m_len large and m_buf null; AddData then fails at its null
        // test. Callers use getbuf only to pre-size the block.
        m_buf = malloc(2 * size);
        m_len = 2 * size;
    }
    return m_buf;
}

void CMemory::FreeBuf() {
    if (m_buf != nullptr) {
        free(m_buf);
    }
    m_buf = nullptr;
    m_len = 0;
}

unsigned long CMemory::AddData(const void* data, unsigned long len) {
    // Grows also when the data would fit exactly (greater or equal).
    if (m_curpos + len >= m_len) {
        unsigned long newLen = 2 * (m_curpos + len);
        void* grown = malloc(newLen);
        if (grown == nullptr) {
            return 0;
        }
        if (m_buf != nullptr && m_curpos > 0) {
            memcpy(grown, m_buf, m_curpos);
        }
        FreeBuf();
        m_buf = grown;
        m_len = newLen;
    }
    if (m_buf == nullptr) {
        return 0;
    }
    if (len > 0) {
        memcpy(static_cast<char*>(m_buf) + m_curpos, data, len);
    }
    m_curpos += len;
    return m_curpos;
}
