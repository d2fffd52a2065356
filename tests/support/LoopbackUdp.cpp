#include "LoopbackUdp.h"

#include "rtspserver/LoopbackSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>

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
    return rtspserver::ReceiveDatagram(m_fd, waitMs, out.bytes, out.fromPort);
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

uint16_t FreeEvenUdpPorts(int count) {
    for (int attempt = 0; attempt < 50; ++attempt) {
        const uint16_t port = static_cast<uint16_t>(UdpSocket(0).port() & ~1u);
        if (port != 0 && port + count <= 65536 && UdpPortsFree(port, count)) {
            return port;
        }
    }
    return 0;
}

size_t OpenDescriptorCount() {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                             std::filesystem::directory_iterator()));
}

}  // namespace playersdk::test
