#include "net/Sockets.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "PlayerSDK.h"
#include "base/OsHelpers.h"

namespace playersdk {

void CloseSocket(int& fd) {
    if (fd > 0) {
        shutdown(fd, SHUT_RDWR);
        close(fd);
    }
    fd = -1;
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
