#include "LoopbackUdp.h"

#include "rtspserver/LoopbackSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace playersdk::test {

UdpSocket::UdpSocket(uint16_t port) {
    m_fd = rtspserver::BindLoopback(SOCK_DGRAM, port, m_port);
}

UdpSocket::~UdpSocket() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool UdpSocket::SendTo(uint16_t port, const void* data, size_t len) const {
    sockaddr_in to = rtspserver::LoopbackAddress(port);
    return sendto(m_fd, data, len, 0, reinterpret_cast<sockaddr*>(&to), sizeof(to)) ==
           static_cast<ssize_t>(len);
}

bool UdpSocket::Receive(Datagram& out, int waitMs) const {
    pollfd pfd{m_fd, POLLIN, 0};
    if (poll(&pfd, 1, waitMs) != 1) {
        return false;
    }
    out.bytes.resize(65536);
    sockaddr_in from{};
    socklen_t fromlen = sizeof(from);
    ssize_t got = recvfrom(m_fd, out.bytes.data(), out.bytes.size(), 0,
                           reinterpret_cast<sockaddr*>(&from), &fromlen);
    if (got < 0) {
        return false;
    }
    out.bytes.resize(static_cast<size_t>(got));
    out.fromPort = ntohs(from.sin_port);
    return true;
}

void UdpSocket::Drain() const {
    Datagram ignored;
    while (Receive(ignored, 0)) {
    }
}

UdpPortPair::UdpPortPair() {
    for (int attempt = 0; attempt < 50 && !valid(); ++attempt) {
        rtp = std::make_unique<UdpSocket>(0);
        if (rtp->valid() && rtp->port() < 65535) {
            rtcp = std::make_unique<UdpSocket>(static_cast<uint16_t>(rtp->port() + 1));
        }
    }
}

bool UdpPortsFree(uint16_t first, int count) {
    // A socket on 127.0.0.1 cannot bind a port that anyone holds on any address.
    std::vector<std::unique_ptr<UdpSocket>> probes;
    for (int i = 0; i < count; ++i) {
        probes.push_back(std::make_unique<UdpSocket>(static_cast<uint16_t>(first + i)));
        if (!probes.back()->valid()) {
            return false;
        }
    }
    return true;
}

}  // namespace playersdk::test
