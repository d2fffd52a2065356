#include "XvfbServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <vector>

extern char** environ;

namespace decodertest {

bool CXvfbServer::Installed() {
    const char* path = getenv("PATH");
    std::string_view dirs = path ? path : "/usr/bin:/bin";
    while (!dirs.empty()) {
        size_t colon = dirs.find(':');
        std::string candidate = std::string(dirs.substr(0, colon)) + "/Xvfb";
        if (access(candidate.c_str(), X_OK) == 0) {
            return true;
        }
        dirs = colon == std::string_view::npos ? std::string_view() : dirs.substr(colon + 1);
    }
    return false;
}

bool CXvfbServer::Start(std::string& why) {
    int ready[2];
    if (pipe(ready) != 0) {
        why = "no pipe";
        return false;
    }
    std::string fd = std::to_string(ready[1]);
    std::vector<std::string> args = {"Xvfb",       "-displayfd", fd,    "-screen", "0",
                                     "640x480x24", "-nolisten",  "tcp", "-noreset"};
    std::vector<char*> argv;
    for (auto& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, ready[0]);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    int rc = posix_spawnp(&m_pid, "Xvfb", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ready[1]);
    if (rc != 0) {
        m_pid = -1;
        close(ready[0]);
        why = "Xvfb would not start";
        return false;
    }
    // The server writes its display number and a newline once it accepts connections.
    std::string number;
    pollfd wait{ready[0], POLLIN, 0};
    char c = 0;
    while (poll(&wait, 1, 10000) == 1 && read(ready[0], &c, 1) == 1 && c != '\n') {
        number += c;
    }
    close(ready[0]);
    if (c != '\n' || number.empty()) {
        why = "Xvfb did not report a display";
        return false;
    }
    m_display = ":" + number;
    return true;
}

CXvfbServer::~CXvfbServer() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        int status = 0;
        waitpid(m_pid, &status, 0);
    }
}

}  // namespace decodertest
