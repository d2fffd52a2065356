#include "net/NetSink.h"

#include <climits>
#include <cstdlib>
#include <cstring>

bool CNetSink::AppendTcpBytes(const unsigned char* data, unsigned long len) {
    unsigned long needed = m_TcpReceivedBytes + len;
    if (needed > m_tcpbuflen) {
        if (needed > INT_MAX / 2 || AdjustBuf(static_cast<int>(2 * needed)) == nullptr) {
            return false;
        }
    }
    if (len > 0) {
        memcpy(m_pTcpBuf + m_TcpReceivedBytes, data, len);
    }
    m_TcpReceivedBytes = needed;
    return true;
}

unsigned char* CNetSink::SafeMallocBuf(int size) {
    SafeFreeBuf();
    if (size <= 0) {
        return nullptr;
    }
    m_pTcpBuf = static_cast<unsigned char*>(malloc(static_cast<size_t>(size)));
    if (m_pTcpBuf != nullptr) {
        m_tcpbuflen = static_cast<unsigned long>(size);
    }
    return m_pTcpBuf;
}

void CNetSink::SafeFreeBuf() {
    free(m_pTcpBuf);
    m_pTcpBuf = nullptr;
    m_tcpbuflen = 0;
}

unsigned char* CNetSink::AdjustBuf(int size) {
    if (size <= 0) {
        return nullptr;
    }
    auto* grown = static_cast<unsigned char*>(malloc(static_cast<size_t>(size)));
    if (grown == nullptr) {
        return nullptr;  // the old buffer stays
    }
    unsigned long keep = m_TcpReceivedBytes < static_cast<unsigned long>(size)
                             ? m_TcpReceivedBytes
                             : static_cast<unsigned long>(size);
    if (m_pTcpBuf != nullptr && keep > 0) {
        memcpy(grown, m_pTcpBuf, keep);
    }
    free(m_pTcpBuf);
    m_pTcpBuf = grown;
    m_tcpbuflen = static_cast<unsigned long>(size);
    return grown;
}
