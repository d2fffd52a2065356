#include "net/Sockets.h"

#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <initializer_list>

#include "PlayerSDK.h"
#include "base/OsHelpers.h"

namespace playersdk {

void SetSocketBufferSize(int s, int option) {
    int size = kSocketBufferSize;
    setsockopt(s, SOL_SOCKET, option, &size, sizeof(size));
}

void SetSocketNonBlocking(int s) {
    int on = 1;
    ioctl(s, FIONBIO, &on);
}

void CloseSocket(int& fd) {
    if (fd > 0) {
        shutdown(fd, SHUT_RDWR);
        close(fd);
    }
    fd = -1;
}

bool BindAnyAddress(int s, int family, unsigned long port) {
    if (s < 0 || port > 65535) {
        return false;
    }
    sockaddr_storage addr{};
    socklen_t len = 0;
    if (family == AF_INET6) {
        auto* in6 = reinterpret_cast<sockaddr_in6*>(&addr);
        in6->sin6_family = AF_INET6;
        in6->sin6_addr = in6addr_any;
        in6->sin6_port = htons(static_cast<uint16_t>(port));
        len = sizeof(sockaddr_in6);
    } else {
        auto* in4 = reinterpret_cast<sockaddr_in*>(&addr);
        in4->sin_family = AF_INET;
        in4->sin_addr.s_addr = htonl(INADDR_ANY);
        in4->sin_port = htons(static_cast<uint16_t>(port));
        len = sizeof(sockaddr_in);
    }
    return bind(s, reinterpret_cast<sockaddr*>(&addr), len) == 0;
}

bool OpenRtpSocketPair(int family, unsigned long firstPort, unsigned long lastRtpPort,
                       RtpSocketPair& pair) {
    pair = RtpSocketPair{};
    int rtp = -1;
    // A failed bind leaves a socket unbound, so one RTCP socket serves every attempt; an RTP
    // socket is bound once its bind succeeded and must be made anew for the next pair.
    int rtcp = socket(family, SOCK_DGRAM, 0);
    for (unsigned long port = firstPort; rtcp >= 0 && port <= lastRtpPort; port += 2) {
        if (rtp < 0 && (rtp = socket(family, SOCK_DGRAM, 0)) < 0) {
            break;
        }
        if (!BindAnyAddress(rtp, family, port)) {
            continue;
        }
        if (BindAnyAddress(rtcp, family, port + 1)) {
            pair = RtpSocketPair{rtp, rtcp, port};
            return true;
        }
        close(rtp);
        rtp = -1;
    }
    for (int s : {rtp, rtcp}) {
        if (s >= 0) {
            close(s);
        }
    }
    return false;
}

int OpenBoundUdpSocket(unsigned short port, const char* serverAddr, const char* createFailedLog,
                       const char* bindFailedLog) {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 1) {
        if (fd == 0) {
            close(fd);
        }
        PlayerSdkLog("%s", createFailedLog);
        return -1;
    }
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons(port);
    if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0) {
        PlayerSdkLog(bindFailedLog, fd, static_cast<unsigned>(port), serverAddr ? serverAddr : "");
        CloseSocket(fd);
        return -1;
    }
    InitNonBlocking(fd);
    return fd;
}

}  // namespace playersdk
