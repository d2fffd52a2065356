// Small socket chores shared by the sinks, the RTP/RTCP sessions and the RTSP connection.
#pragma once

namespace playersdk {

// The send and receive buffer size of every media socket.
constexpr int kSocketBufferSize = 131072;

// Sets the SO_RCVBUF or SO_SNDBUF ('option') of s to kSocketBufferSize; a failure is ignored.
void SetSocketBufferSize(int s, int option);

// Makes s non-blocking with FIONBIO; a failure is ignored and not logged (InitNonBlocking in
// base/OsHelpers logs it).
void SetSocketNonBlocking(int s);

// Binds s to the any-address of 'family' (AF_INET6, else AF_INET) and 'port'. False when s is
// no socket, the port is beyond 65535 or the bind fails.
bool BindAnyAddress(int s, int family, unsigned long port);

// Two datagram sockets bound to an RTP port and the RTCP port after it.
struct RtpSocketPair {
    int rtp = -1;
    int rtcp = -1;
    unsigned long rtpPort = 0;
};

// Binds a pair on the first even offset from firstPort, up to an RTP port of lastRtpPort, whose
// two ports are both free. False, with no socket left open, when every pair is taken.
bool OpenRtpSocketPair(int family, unsigned long firstPort, unsigned long lastRtpPort,
                       RtpSocketPair& pair);

// Shuts down and closes fd when it is a socket (> 0), then marks it closed with -1.
void CloseSocket(int& fd);

// An IPv4 datagram socket bound to any address and `port`, made non-blocking. A failed socket
// call logs createFailedLog; a failed bind logs bindFailedLog with (socket, port, serverAddr).
// Returns the socket or -1.
int OpenBoundUdpSocket(unsigned short port, const char* serverAddr, const char* createFailedLog,
                       const char* bindFailedLog);

}  // namespace playersdk
