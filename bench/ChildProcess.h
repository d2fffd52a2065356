// A program the ingest benchmark runs: its standard output comes back through a pipe, line by
// line (standard error stays the benchmark's). While it runs, its /proc status is sampled for
// threads and resident memory; when it has ended, wait4 gives the CPU time it used. It is
// stopped by its own pid, and it gets SIGTERM should the benchmark die first.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <string>
#include <vector>

namespace ingest {

struct ChildUsage {
    double cpuSeconds = 0;  // user + system, all threads
    long maxRssKb = 0;      // the kernel's peak resident set (VmHWM at exit)
    long peakThreads = 0;   // the most threads a sample of its status showed
    long peakVmRssKb = 0;   // the largest VmRSS a sample showed
    int exitCode = -1;      // 128 + signal when a signal ended it
    bool timedOut = false;  // killed by Wait after its time-out
};

class CChildProcess {
public:
    using Duration = std::chrono::steady_clock::duration;

    explicit CChildProcess(std::vector<std::string> argv);
    virtual ~CChildProcess();  // a child still running is killed and reaped
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    // False when the pipe or the process cannot be made; a program that cannot be executed
    // ends at once with 127.
    bool Start();
    // The next whole line of output, without its end; false after the time-out or at the end.
    bool ReadLine(std::string& line, Duration timeout);
    // Waits for the end, keeping its output for ReadLine; after the time-out the child is
    // killed (SIGKILL). False when it had to be killed.
    bool Wait(Duration timeout);
    // SIGTERM, then Wait for 'timeout'.
    void Stop(Duration timeout);
    const ChildUsage& usage() const { return m_usage; }
    pid_t pid() const { return m_pid; }

private:
    // Reads what the pipe holds, waiting up to 'waitMs' for something: the bytes read, 0 when
    // none came, -1 at the end of output.
    long ReadSome(int waitMs);
    void Sample();
    void Reap(int options);

    std::vector<std::string> m_argv;
    pid_t m_pid = -1;
    int m_fd = -1;
    std::string m_partial;
    std::deque<std::string> m_lines;
    ChildUsage m_usage;
};

}  // namespace ingest
