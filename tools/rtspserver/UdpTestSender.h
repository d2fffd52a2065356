// The loopback server's UDP side, as the server_port of its SETUP replies gives it: a socket on
// 127.0.0.1 from which it streams RTP to a client port, and one on the next port for RTCP.
// Both also keep what a client sends to them (hole datagrams, receiver reports, BYE) for a test
// to read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "rtspserver/RtpPacketBuilder.h"

namespace playersdk::rtspserver {

class UdpTestSender {
public:
    enum class Channel { kRtp, kRtcp };
    struct Received {
        Bytes bytes;
        uint16_t fromPort = 0;
    };

    UdpTestSender() = default;
    ~UdpTestSender();
    UdpTestSender(const UdpTestSender&) = delete;
    UdpTestSender& operator=(const UdpTestSender&) = delete;

    // Binds 127.0.0.1:port for RTP and port + 1 for RTCP; 0 takes an ephemeral pair.
    bool Open(uint16_t port = 0);
    void Close();
    bool isOpen() const { return m_rtpFd >= 0; }
    uint16_t port() const { return m_port; }
    uint16_t rtcpPort() const { return m_port != 0 ? static_cast<uint16_t>(m_port + 1) : 0; }

    // One datagram from the RTP port to 127.0.0.1:clientPort; true when all of it was sent.
    bool SendTo(uint16_t clientPort, const uint8_t* data, size_t len) const;
    bool SendTo(uint16_t clientPort, const Bytes& datagram) const;
    // The same from the RTCP port.
    bool SendRtcpTo(uint16_t clientRtcpPort, const Bytes& datagram) const;
    // The next datagram that came to the channel's port, or false after waitMs without one.
    bool Receive(Channel channel, Received& out, int waitMs = 2000) const;

private:
    int m_rtpFd = -1;
    int m_rtcpFd = -1;
    uint16_t m_port = 0;
};

}  // namespace playersdk::rtspserver
