#include "rtspserver/UdpTestSender.h"

#include <sys/socket.h>
#include <unistd.h>

#include "rtspserver/LoopbackSocket.h"

namespace playersdk::rtspserver {

UdpTestSender::~UdpTestSender() {
    Close();
}

bool UdpTestSender::Open(uint16_t port) {
    Close();
    m_fd = BindLoopback(SOCK_DGRAM | SOCK_CLOEXEC, port, m_port);
    return m_fd >= 0;
}

void UdpTestSender::Close() {
    if (m_fd >= 0) {
        close(m_fd);
    }
    m_fd = -1;
    m_port = 0;
}

bool UdpTestSender::SendTo(uint16_t clientPort, const uint8_t* data, size_t len) const {
    if (m_fd < 0) {
        return false;
    }
    sockaddr_in to = LoopbackAddress(clientPort);
    ssize_t sent = sendto(m_fd, data, len, 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
    return sent >= 0 && static_cast<size_t>(sent) == len;
}

bool UdpTestSender::SendTo(uint16_t clientPort, const Bytes& datagram) const {
    return SendTo(clientPort, datagram.data(), datagram.size());
}

}  // namespace playersdk::rtspserver
