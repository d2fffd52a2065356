#include "support/Loopback.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "PlayerSDK.h"
#include "base/Log.h"

namespace playersdk::test {
namespace {
sockaddr_in Loopback(uint16_t port) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

// A socket of `type` bound to 127.0.0.1:port and the port it got; -1 when the bind fails.
int BoundSocket(int type, uint16_t port, uint16_t* got = nullptr) {
    int fd = socket(AF_INET, type, 0);
    sockaddr_in addr = Loopback(port);
    socklen_t len = sizeof(addr);
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), len) != 0) {
        close(fd);
        return -1;
    }
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    if (got != nullptr) {
        *got = ntohs(addr.sin_port);
    }
    return fd;
}

void CloseFd(int fd) {
    if (fd >= 0) {
        close(fd);
    }
}
}  // namespace

SocketPair::SocketPair() {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0) {
        ours = fds[0];
        peer = fds[1];
    }
}

SocketPair::~SocketPair() {
    CloseFd(ours);
    CloseFd(peer);
}

LoopbackSocket::LoopbackSocket(int type) {
    fd = BoundSocket(type, 0, &port);
    if (type == SOCK_STREAM) {
        listen(fd, 4);
    }
}

LoopbackSocket::~LoopbackSocket() {
    CloseFd(fd);
}

void LoopbackSocket::SendTo(uint16_t to, const std::string& bytes) const {
    sockaddr_in addr = Loopback(to);
    sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
}

int LoopbackSocket::Accept() const {
    return WaitReadable(fd, 1000) ? accept(fd, nullptr, nullptr) : -1;
}

bool WaitReadable(int fd, int waitMs) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, waitMs) == 1;
}

std::string ReadAvailable(int fd, int waitMs) {
    std::string bytes;
    char chunk[4096];
    ssize_t got = 0;
    while (WaitReadable(fd, bytes.empty() ? waitMs : 0) &&
           (got = recv(fd, chunk, sizeof(chunk), MSG_DONTWAIT)) > 0) {
        bytes.append(chunk, static_cast<size_t>(got));
    }
    return bytes;
}

uint16_t FreeUdpPortPair() {
    for (int attempt = 0; attempt < 50; ++attempt) {
        uint16_t port = 0;
        CloseFd(BoundSocket(SOCK_DGRAM, 0, &port));
        int next = port < 65535 ? BoundSocket(SOCK_DGRAM, port + 1) : -1;
        int first = next >= 0 ? BoundSocket(SOCK_DGRAM, port) : -1;
        CloseFd(next);
        CloseFd(first);
        if (first >= 0) {
            return port;
        }
    }
    return 0;
}

uint16_t ClosedTcpPort() {
    uint16_t port = 0;
    CloseFd(BoundSocket(SOCK_STREAM, 0, &port));
    return port;
}

LogCapture::LogCapture() : m_path(m_dir.file("sdk.log")) {
    ResetLogForTest();
    SetPlayerSdkLogFile(m_path.c_str());
}

LogCapture::~LogCapture() {
    ResetLogForTest();
}

}  // namespace playersdk::test
