#include "net/NetSink.h"

#include <netinet/in.h>

#include <cstring>

#include "base/ByteCursor.h"

namespace {
constexpr unsigned long kTcpHeaderSize = 8;

unsigned long SenderPort(const sockaddr_storage& from) {
    if (from.ss_family == AF_INET) {
        return ntohs(reinterpret_cast<const sockaddr_in*>(&from)->sin_port);
    }
    if (from.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&from)->sin6_port);
    }
    return 0;
}

// The frame header test: the first header bytes are read as one native DWORD and compared
// with 0x24242424, and byte 4 must be '$' too. With a 64-bit DWORD both cannot hold, so every
// header is judged bad and TCP-framed media never reaches the stream. Deliberate: an application
// with a TCP sink has never been handed frames from it (media it plays comes interleaved on the
// RTSP connection), and would suddenly get a second copy of the stream if the test passed. The
// header meant is five '$', one byte, then a non-zero big-endian payload length.
bool ReadTcpHeader(const unsigned char* header, unsigned long& payloadLen) {
    static_assert(sizeof(DWORD) <= kTcpHeaderSize, "the test reads within the header");
    DWORD lead = 0;
    memcpy(&lead, header, sizeof(lead));
    if (lead != 0x24242424 || header[4] != '$') {
        return false;
    }
    playersdk::ByteReader reader(header + 6, 2);
    uint16_t len = 0;
    reader.be16(len);
    payloadLen = len;
    return len != 0;
}

}  // namespace

int CNetSink::ReceiveData(int s, int len, void* buf, sockaddr_storage from) {
    unsigned long senderPort = SenderPort(from);
    if (s == m_RtpPortInfo.rtcpsocket && senderPort == m_destport + 1) {
        return OnReceiveRtcp(len, buf);
    }
    if (s == m_RtpPortInfo_send.rtcpsocket && senderPort == m_DestRcvPort + 1) {
        return OnReceiveRtcp(len, buf);
    }
    // RTCP from any other port ends here too.
    if (s != m_RtpPortInfo.rtpsocket || m_bPaused || m_pRtpStream == nullptr || len <= 0) {
        return 0;
    }
    if (m_TransType == TT_TCP) {
        m_TotalFlux += static_cast<float>(len / 128);
        ReceiveTcpData(s, len, buf);
        return 0;
    }
    if (m_destport != 0 && senderPort != m_destport) {
        return 0;
    }
    m_TotalFlux += static_cast<float>(len / 128);
    m_pRtpStream->InputData(buf, len);
    return 0;
}

void CNetSink::ReceiveTcpData(int s, int len, void* buf) {
    if (len <= 0 || buf == nullptr || m_pRtpStream == nullptr) {
        return;
    }
    const auto* data = static_cast<const unsigned char*>(buf);
    auto left = static_cast<unsigned long>(len);
    auto loseSync = [this] {
        m_bLostPkt = 1;
        m_TcpPacketLen = 0;
        m_TcpReceivedBytes = 0;
    };
    if (m_bLostPkt) {
        // Hunting: the count of '$' in a row carries over from the previous read.
        bool synced = false;
        while (left > 0 && !synced) {
            m_continues = *data == '$' ? m_continues + 1 : 0;
            synced = m_continues == 5;
            ++data;
            --left;
        }
        if (!synced) {
            return;
        }
        m_bLostPkt = 0;
        m_continues = 0;
        m_TcpReceivedBytes = 0;
        static const unsigned char kSyncMark[] = {'$', '$', '$', '$', '$'};
        if (!AppendTcpBytes(kSyncMark, sizeof(kSyncMark))) {
            return;
        }
    }
    if (!AppendTcpBytes(data, left)) {
        return;
    }
    if (m_TcpPacketLen == 0 && m_TcpReceivedBytes >= kTcpHeaderSize &&
        !ReadTcpHeader(m_pTcpBuf, m_TcpPacketLen)) {
        loseSync();
        return;
    }
    // A frame goes out only once the header after it has arrived and is valid too.
    while (m_TcpPacketLen != 0 && m_TcpReceivedBytes >= m_TcpPacketLen + 2 * kTcpHeaderSize) {
        unsigned long frameEnd = kTcpHeaderSize + m_TcpPacketLen;
        unsigned long nextLen = 0;
        if (!ReadTcpHeader(m_pTcpBuf + frameEnd, nextLen)) {
            loseSync();
            return;
        }
        m_pRtpStream->InputData(m_pTcpBuf + kTcpHeaderSize, static_cast<int>(m_TcpPacketLen));
        m_TcpReceivedBytes -= frameEnd;
        memmove(m_pTcpBuf, m_pTcpBuf + frameEnd, m_TcpReceivedBytes);
        if (m_TcpReceivedBytes < kTcpHeaderSize) {
            m_TcpPacketLen = 0;
            break;
        }
        m_TcpPacketLen = nextLen;
    }
}
