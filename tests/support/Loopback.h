// Loopback sockets for tests that talk to the library over real connections (127.0.0.1,
// ephemeral ports, closed at the end of their scope), and a capture of the library's log.
#pragma once

#include <cstdint>
#include <string>

#include "support/TempDir.h"

namespace playersdk::test {

// A connected pair of stream sockets: the library's side and the peer's.
struct SocketPair {
    SocketPair();
    ~SocketPair();
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;
    int ours = -1;
    int peer = -1;
};

// A UDP socket, or a listening TCP socket, on 127.0.0.1 and an ephemeral port.
struct LoopbackSocket {
    explicit LoopbackSocket(int type);
    ~LoopbackSocket();
    LoopbackSocket(const LoopbackSocket&) = delete;
    LoopbackSocket& operator=(const LoopbackSocket&) = delete;
    void SendTo(uint16_t to, const std::string& bytes) const;
    int Accept() const;  // a connection made to the listener, or -1
    int fd = -1;
    uint16_t port = 0;
};

bool WaitReadable(int fd, int waitMs);
// The bytes that arrived on fd: waits up to waitMs for the first, then takes what is there.
std::string ReadAvailable(int fd, int waitMs = 1000);
// A port p such that UDP ports p and p + 1 were both free a moment ago.
uint16_t FreeUdpPortPair();
// A TCP port of 127.0.0.1 that nothing listens on.
uint16_t ClosedTcpPort();

// Points the library's log at a fresh file of its own while it lives.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    std::string text() const { return ReadFileBytes(m_path); }

private:
    TempDir m_dir;
    std::string m_path;
};

}  // namespace playersdk::test
