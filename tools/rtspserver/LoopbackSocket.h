// Sockets of the loopback server and its tests: everything binds to 127.0.0.1.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <vector>

namespace playersdk::rtspserver {

sockaddr_in LoopbackAddress(uint16_t port);

// A socket of 'type' (SOCK_STREAM, SOCK_DGRAM, with flags) bound to 127.0.0.1:port (0 takes
// an ephemeral port); 'bound' receives the port. -1 when any step fails.
int BindLoopback(int type, uint16_t port, uint16_t& bound);

// The next datagram on the UDP socket fd and the port it came from; false after waitMs
// without one.
bool ReceiveDatagram(int fd, int waitMs, std::vector<uint8_t>& bytes, uint16_t& fromPort);

}  // namespace playersdk::rtspserver
