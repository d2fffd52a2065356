// Small socket chores shared by the RTP/RTCP sessions and the RTSP connection.
#pragma once

namespace playersdk {

// Shuts down and closes fd when it is a socket (> 0), then marks it closed with -1.
void CloseSocket(int& fd);

// An IPv4 datagram socket bound to any address and `port`, made non-blocking. A failed socket
// call logs createFailedLog; a failed bind logs bindFailedLog with (socket, port, serverAddr).
// Returns the socket or -1.
int OpenBoundUdpSocket(unsigned short port, const char* serverAddr, const char* createFailedLog,
                       const char* bindFailedLog);

}  // namespace playersdk
