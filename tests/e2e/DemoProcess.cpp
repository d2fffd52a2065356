#include "DemoProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace playersdk::test {
namespace {
using Clock = std::chrono::steady_clock;

int MillisecondsLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}
}  // namespace

CDemoProcess::CDemoProcess(std::vector<std::string> args, std::string display)
    : m_args(std::move(args)), m_display(std::move(display)) {}

CDemoProcess::~CDemoProcess() {
    Kill();
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool CDemoProcess::Start() {
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) {
        return false;
    }
    // Everything the child needs is made before fork: it only calls async-signal-safe
    // functions after it.
    std::vector<char*> argv{const_cast<char*>(PLAYERSDK_DEMO)};
    for (std::string& arg : m_args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        if (std::string(*e).rfind("DISPLAY=", 0) != 0) {
            env.emplace_back(*e);
        }
    }
    if (!m_display.empty()) {
        env.push_back("DISPLAY=" + m_display);
    }
    std::vector<char*> envp;
    for (std::string& e : env) {
        envp.push_back(e.data());
    }
    envp.push_back(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        dup2(out[1], 1);
        dup2(out[1], 2);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(out[1]);
    m_fd = out[0];
    return m_pid > 0;
}

bool CDemoProcess::ReadSome(int waitMs) {
    pollfd ready{m_fd, POLLIN, 0};
    if (m_fd < 0 || poll(&ready, 1, waitMs) != 1) {
        return false;
    }
    char buffer[4096];
    const ssize_t n = read(m_fd, buffer, sizeof(buffer));
    if (n <= 0) {
        close(m_fd);
        m_fd = -1;
        return false;
    }
    m_output.append(buffer, static_cast<size_t>(n));
    return true;
}

bool CDemoProcess::WaitForText(const std::string& text, std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (m_output.find(text) == std::string::npos) {
        if (!ReadSome(MillisecondsLeft(deadline)) && (m_fd < 0 || Clock::now() >= deadline)) {
            return m_output.find(text) != std::string::npos;
        }
    }
    return true;
}

int CDemoProcess::Wait(std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (m_fd >= 0 && Clock::now() < deadline) {
        ReadSome(MillisecondsLeft(deadline));
    }
    if (m_fd >= 0) {
        Kill();
        return -1;
    }
    int status = 0;
    if (m_pid <= 0 || waitpid(m_pid, &status, 0) != m_pid) {
        return -1;
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void CDemoProcess::Kill() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

}  // namespace playersdk::test
