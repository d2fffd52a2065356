#include "XvfbServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace decodertest {

bool CXvfbServer::Installed() {
    return system("command -v Xvfb > /dev/null 2>&1") == 0;
}

std::string CXvfbServer::Start() {
    int ready[2];
    if (pipe(ready) != 0) {
        return "";
    }
    const std::string fd = std::to_string(ready[1]);  // made before fork: no allocation after
    m_pid = fork();
    if (m_pid == 0) {
        dup2(open("/dev/null", O_WRONLY), 2);
        close(ready[0]);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "640x480x24", "-nolisten",
               "tcp", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ready[1]);
    // The server writes its display number and a newline once it accepts connections.
    std::string display = ":";
    pollfd wait{ready[0], POLLIN, 0};
    char c = 0;
    while (m_pid > 0 && poll(&wait, 1, 10000) == 1 && read(ready[0], &c, 1) == 1 && c != '\n') {
        display += c;
    }
    close(ready[0]);
    return c == '\n' && display.size() > 1 ? display : "";
}

CXvfbServer::~CXvfbServer() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

}  // namespace decodertest
