#include "support/Loopback.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "PlayerSDK.h"
#include "base/Log.h"
#include "rtspserver/LoopbackSocket.h"

namespace playersdk::test {
namespace {
using rtspserver::LoopbackAddress;

// A socket of `type` bound to 127.0.0.1:port and the port it got; -1 when the bind fails.
int BoundSocket(int type, uint16_t port, uint16_t* got = nullptr) {
    uint16_t bound = 0;
    int fd = rtspserver::BindLoopback(type, port, bound);
    if (got != nullptr) {
        *got = bound;
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
    sockaddr_in addr = LoopbackAddress(to);
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
