// A UDP socket on 127.0.0.1 from which the loopback server streams RTP/RTCP to a client port.
#pragma once

#include <cstddef>
#include <cstdint>

#include "rtspserver/RtpPacketBuilder.h"

namespace playersdk::rtspserver {

class UdpTestSender {
public:
    UdpTestSender() = default;
    ~UdpTestSender();
    UdpTestSender(const UdpTestSender&) = delete;
    UdpTestSender& operator=(const UdpTestSender&) = delete;

    // Binds 127.0.0.1:port; 0 takes an ephemeral port (see port()).
    bool Open(uint16_t port = 0);
    void Close();
    bool isOpen() const { return m_fd >= 0; }
    uint16_t port() const { return m_port; }

    // One datagram to 127.0.0.1:clientPort; true when all of it was sent.
    bool SendTo(uint16_t clientPort, const uint8_t* data, size_t len) const;
    bool SendTo(uint16_t clientPort, const Bytes& datagram) const;

private:
    int m_fd = -1;
    uint16_t m_port = 0;
};

}  // namespace playersdk::rtspserver
