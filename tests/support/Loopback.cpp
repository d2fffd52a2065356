#include "support/Loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
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

// Binds a new socket of `type` to 127.0.0.1:port; -1 when that fails.
int BoundSocket(int type, uint16_t port) {
    int fd = socket(AF_INET, type, 0);
    sockaddr_in addr = Loopback(port);
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        close(fd);
        fd = -1;
    }
    return fd;
}

uint16_t LocalPort(int fd) {
    sockaddr_in addr{};
    socklen_t len = sizeof(addr);
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    return ntohs(addr.sin_port);
}

void CloseFd(int& fd) {
    if (fd >= 0) {
        close(fd);
    }
    fd = -1;
}
}  // namespace

SocketPair::SocketPair() {
    int fds[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0) {
        ours = fds[0];
        peer = fds[1];
    }
}

SocketPair::~SocketPair() {
    CloseFd(ours);
    CloseFd(peer);
}

UdpEndpoint::UdpEndpoint() : fd(BoundSocket(SOCK_DGRAM, 0)) {
    port = LocalPort(fd);
}

UdpEndpoint::~UdpEndpoint() {
    CloseFd(fd);
}

void UdpEndpoint::SendTo(uint16_t to, const std::string& bytes) const {
    sockaddr_in addr = Loopback(to);
    sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
}

TcpListener::TcpListener() : fd(BoundSocket(SOCK_STREAM, 0)) {
    listen(fd, 4);
    port = LocalPort(fd);
}

TcpListener::~TcpListener() {
    CloseFd(fd);
}

int TcpListener::Accept() const {
    return WaitReadable(fd, 1000) ? accept(fd, nullptr, nullptr) : -1;
}

bool WaitReadable(int fd, int waitMs) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, waitMs) == 1;
}

std::string ReadAvailable(int fd, int waitMs) {
    std::string bytes;
    if (!WaitReadable(fd, waitMs)) {
        return bytes;
    }
    char chunk[4096];
    for (;;) {
        ssize_t got = recv(fd, chunk, sizeof(chunk), MSG_DONTWAIT);
        if (got <= 0) {
            return bytes;
        }
        bytes.append(chunk, static_cast<size_t>(got));
    }
}

uint16_t FreeUdpPortPair() {
    for (int attempt = 0; attempt < 50; ++attempt) {
        int first = BoundSocket(SOCK_DGRAM, 0);
        uint16_t port = LocalPort(first);
        int second = port < 65535 ? BoundSocket(SOCK_DGRAM, port + 1) : -1;
        CloseFd(first);
        if (second >= 0) {
            CloseFd(second);
            return port;
        }
    }
    return 0;
}

uint16_t ClosedTcpPort() {
    int fd = BoundSocket(SOCK_STREAM, 0);
    uint16_t port = LocalPort(fd);
    CloseFd(fd);
    return port;
}

LogCapture::LogCapture() : m_path(m_dir.file("sdk.log")) {
    ResetLogForTest();
    SetPlayerSdkLogFile(m_path.c_str());
}

LogCapture::~LogCapture() {
    ResetLogForTest();
}

std::string LogCapture::text() const {
    return ReadFileBytes(m_path);
}

}  // namespace playersdk::test
