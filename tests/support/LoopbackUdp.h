// UDP sockets on 127.0.0.1 for tests that play the server side of a sink: a bound socket with
// a receive that gives up after a short real wait, and a pair on two adjacent ports (RTP, RTCP).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace playersdk::test {

struct Datagram {
    std::vector<uint8_t> bytes;
    uint16_t fromPort = 0;
};

class UdpSocket {
public:
    // Bound to 127.0.0.1:port (0: an ephemeral port). valid() is false when the bind failed.
    explicit UdpSocket(uint16_t port = 0);
    ~UdpSocket();
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    bool valid() const { return m_fd >= 0; }
    int fd() const { return m_fd; }
    uint16_t port() const { return m_port; }
    bool SendTo(uint16_t port, const void* data, size_t len) const;
    bool SendTo(uint16_t port, const std::vector<uint8_t>& bytes) const {
        return SendTo(port, bytes.data(), bytes.size());
    }
    // The next datagram, or false after waitMs without one.
    bool Receive(Datagram& out, int waitMs = 2000) const;
    // Drops everything queued.
    void Drain() const;

private:
    int m_fd = -1;
    uint16_t m_port = 0;
};

// Two sockets on adjacent ports, as a server's RTP and RTCP ports.
struct UdpPortPair {
    UdpPortPair();
    bool valid() const { return rtp && rtcp && rtp->valid() && rtcp->valid(); }
    std::unique_ptr<UdpSocket> rtp;
    std::unique_ptr<UdpSocket> rtcp;
};

// True when a UDP socket can be bound to every port of [first, first + count) right now.
bool UdpPortsFree(uint16_t first, int count);
// An even port p such that the 'count' ports from p were free a moment ago; 0 when none found.
uint16_t FreeEvenUdpPorts(int count);
// The number of descriptors this process has open now.
size_t OpenDescriptorCount();

}  // namespace playersdk::test
