#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace ingest {
namespace {
using Clock = std::chrono::steady_clock;
constexpr int kSampleMs = 200;

int MillisecondsLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

double Seconds(const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
}

// The number after "Key:" on a line of a /proc status file; -1 when the line is another's.
long StatusValue(const std::string& line, const char* key) {
    const size_t n = strlen(key);
    return line.compare(0, n, key) == 0 ? strtol(line.c_str() + n, nullptr, 10) : -1;
}
}  // namespace

CChildProcess::CChildProcess(std::vector<std::string> argv) : m_argv(std::move(argv)) {}

CChildProcess::~CChildProcess() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        Reap(0);
    }
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool CChildProcess::Start() {
    int out[2];
    if (m_argv.empty() || m_pid > 0 || pipe2(out, O_CLOEXEC) != 0) {
        return false;
    }
    // Everything the child needs is made before fork: after it, only async-signal-safe calls.
    std::vector<char*> argv;
    for (std::string& arg : m_argv) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) {
            _exit(126);
        }
        dup2(out[1], STDOUT_FILENO);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(out[1]);
    if (m_pid < 0) {
        close(out[0]);
        return false;
    }
    m_fd = out[0];
    return true;
}

long CChildProcess::ReadSome(int waitMs) {
    pollfd ready{m_fd, POLLIN, 0};
    if (m_fd < 0) {
        return -1;
    }
    if (poll(&ready, 1, waitMs) != 1) {
        return 0;
    }
    char buffer[4096];
    const ssize_t n = read(m_fd, buffer, sizeof(buffer));
    if (n <= 0) {
        close(m_fd);
        m_fd = -1;
        return -1;
    }
    m_partial.append(buffer, static_cast<size_t>(n));
    for (size_t end = m_partial.find('\n'); end != std::string::npos; end = m_partial.find('\n')) {
        m_lines.push_back(m_partial.substr(0, end));
        m_partial.erase(0, end + 1);
    }
    return n;
}

bool CChildProcess::ReadLine(std::string& line, Duration timeout) {
    const auto deadline = Clock::now() + timeout;
    while (m_lines.empty()) {
        if (ReadSome(MillisecondsLeft(deadline)) < 0 || Clock::now() >= deadline) {
            break;
        }
    }
    if (m_lines.empty()) {
        return false;
    }
    line = std::move(m_lines.front());
    m_lines.pop_front();
    return true;
}

void CChildProcess::Sample() {
    std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        const long threads = StatusValue(line, "Threads:");
        const long rss = StatusValue(line, "VmRSS:");
        m_usage.peakThreads = threads > m_usage.peakThreads ? threads : m_usage.peakThreads;
        m_usage.peakVmRssKb = rss > m_usage.peakVmRssKb ? rss : m_usage.peakVmRssKb;
    }
}

void CChildProcess::Reap(int options) {
    int status = 0;
    rusage usage{};
    if (m_pid <= 0 || wait4(m_pid, &status, options, &usage) != m_pid) {
        return;
    }
    m_pid = -1;
    m_usage.cpuSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    m_usage.maxRssKb = usage.ru_maxrss;
    m_usage.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool CChildProcess::Wait(Duration timeout) {
    const auto deadline = Clock::now() + timeout;
    while (m_pid > 0) {
        Reap(WNOHANG);
        if (m_pid <= 0) {
            break;
        }
        if (Clock::now() >= deadline) {
            kill(m_pid, SIGKILL);
            Reap(0);
            m_usage.timedOut = true;
            break;
        }
        Sample();
        // Output is read while waiting, so a chatty child never blocks on a full pipe.
        if (ReadSome(kSampleMs) < 0) {
            usleep(kSampleMs * 1000);
        }
    }
    while (ReadSome(0) > 0) {
    }
    return !m_usage.timedOut;
}

void CChildProcess::Stop(Duration timeout) {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
    }
    Wait(timeout);
}

}  // namespace ingest
