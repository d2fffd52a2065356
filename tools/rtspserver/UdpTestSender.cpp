#include "rtspserver/UdpTestSender.h"

#include <sys/socket.h>
#include <unistd.h>

#include "rtspserver/LoopbackSocket.h"

namespace playersdk::rtspserver {
namespace {
constexpr int kSocketType = SOCK_DGRAM | SOCK_CLOEXEC;
constexpr int kEphemeralAttempts = 50;

bool SendFrom(int fd, uint16_t to, const uint8_t* data, size_t len) {
    if (fd < 0) {
        return false;
    }
    sockaddr_in addr = LoopbackAddress(to);
    ssize_t sent = sendto(fd, data, len, 0, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
    return sent >= 0 && static_cast<size_t>(sent) == len;
}
}  // namespace

UdpTestSender::~UdpTestSender() {
    Close();
}

bool UdpTestSender::Open(uint16_t port) {
    Close();
    // An ephemeral RTP port may have its next port taken: another one is tried then.
    const int attempts = port == 0 ? kEphemeralAttempts : 1;
    for (int i = 0; i < attempts && m_rtcpFd < 0; ++i) {
        Close();
        m_rtpFd = BindLoopback(kSocketType, port, m_port);
        uint16_t rtcpPort = 0;
        if (m_rtpFd >= 0 && m_port < 65535) {
            m_rtcpFd = BindLoopback(kSocketType, static_cast<uint16_t>(m_port + 1), rtcpPort);
        }
    }
    if (m_rtcpFd < 0) {
        Close();
    }
    return isOpen();
}

void UdpTestSender::Close() {
    for (int* fd : {&m_rtpFd, &m_rtcpFd}) {
        if (*fd >= 0) {
            close(*fd);
        }
        *fd = -1;
    }
    m_port = 0;
}

bool UdpTestSender::SendTo(uint16_t clientPort, const uint8_t* data, size_t len) const {
    return SendFrom(m_rtpFd, clientPort, data, len);
}

bool UdpTestSender::SendTo(uint16_t clientPort, const Bytes& datagram) const {
    return SendTo(clientPort, datagram.data(), datagram.size());
}

bool UdpTestSender::SendRtcpTo(uint16_t clientRtcpPort, const Bytes& datagram) const {
    return SendFrom(m_rtcpFd, clientRtcpPort, datagram.data(), datagram.size());
}

bool UdpTestSender::Receive(Channel channel, Received& out, int waitMs) const {
    return ReceiveDatagram(channel == Channel::kRtp ? m_rtpFd : m_rtcpFd, waitMs, out.bytes,
                           out.fromPort);
}

}  // namespace playersdk::rtspserver
