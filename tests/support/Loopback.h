// Loopback sockets for tests that talk to the library over a real connection, and a capture
// of the library's log. Everything is bound to 127.0.0.1 on ephemeral ports and closed at the
// end of its scope.
#pragma once

#include <cstdint>
#include <string>

#include "support/TempDir.h"

namespace playersdk::test {

// A connected pair of stream sockets: the library side and the peer side.
struct SocketPair {
    SocketPair();
    ~SocketPair();
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;
    int ours = -1;
    int peer = -1;
};

// A UDP socket on 127.0.0.1 and an ephemeral port.
struct UdpEndpoint {
    UdpEndpoint();
    ~UdpEndpoint();
    UdpEndpoint(const UdpEndpoint&) = delete;
    UdpEndpoint& operator=(const UdpEndpoint&) = delete;
    void SendTo(uint16_t port, const std::string& bytes) const;
    int fd = -1;
    uint16_t port = 0;
};

// A listening TCP socket on 127.0.0.1 and an ephemeral port.
struct TcpListener {
    TcpListener();
    ~TcpListener();
    TcpListener(const TcpListener&) = delete;
    TcpListener& operator=(const TcpListener&) = delete;
    int Accept() const;  // a connection already made to it, or -1
    int fd = -1;
    uint16_t port = 0;
};

bool WaitReadable(int fd, int waitMs);
// All bytes that arrived on fd: waits up to waitMs for the first, then takes what is there.
std::string ReadAvailable(int fd, int waitMs = 1000);
// A port p such that UDP ports p and p + 1 were both free a moment ago.
uint16_t FreeUdpPortPair();
// A TCP port on 127.0.0.1 with nothing listening (it was free a moment ago).
uint16_t ClosedTcpPort();

// Points the library's log at a fresh file of its own while it lives.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    std::string text() const;

private:
    TempDir m_dir;
    std::string m_path;
};

}  // namespace playersdk::test
