#include "rtspserver/LoopbackSocket.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace playersdk::rtspserver {

sockaddr_in LoopbackAddress(uint16_t port) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

int BindLoopback(int type, uint16_t port, uint16_t& bound) {
    int fd = socket(AF_INET, type, 0);
    if (fd < 0) {
        return -1;
    }
    sockaddr_in addr = LoopbackAddress(port);
    socklen_t len = sizeof(addr);
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
        close(fd);
        return -1;
    }
    bound = ntohs(addr.sin_port);
    return fd;
}

bool ReceiveDatagram(int fd, int waitMs, std::vector<uint8_t>& bytes, uint16_t& fromPort) {
    constexpr size_t kLargestDatagram = 65536;
    pollfd ready{fd, POLLIN, 0};
    if (fd < 0 || poll(&ready, 1, waitMs) != 1) {
        return false;
    }
    bytes.resize(kLargestDatagram);
    sockaddr_in from{};
    socklen_t fromlen = sizeof(from);
    const ssize_t got = recvfrom(fd, bytes.data(), bytes.size(), MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr*>(&from), &fromlen);
    if (got < 0) {
        return false;
    }
    bytes.resize(static_cast<size_t>(got));
    fromPort = ntohs(from.sin_port);
    return true;
}

}  // namespace playersdk::rtspserver
