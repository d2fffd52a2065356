// The demo player run as a program: what it prints (standard output and error together) is
// read through a pipe; a process still running when the test ends is killed by its pid.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace playersdk::test {

class CDemoProcess {
public:
    // 'display' empty: the program runs without DISPLAY.
    explicit CDemoProcess(std::vector<std::string> args, std::string display = "");
    virtual ~CDemoProcess();
    CDemoProcess(const CDemoProcess&) = delete;
    CDemoProcess& operator=(const CDemoProcess&) = delete;

    bool Start();
    // Reads the output until it holds 'text'; false at its end or after the time-out.
    bool WaitForText(const std::string& text,
                     std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // The exit code once the program has ended (its output read to the end); -1 after the
    // time-out, when the program is killed.
    int Wait(std::chrono::milliseconds timeout = std::chrono::seconds(60));
    const std::string& output() const { return m_output; }

private:
    bool ReadSome(int waitMs);
    void Kill();

    std::vector<std::string> m_args;
    std::string m_display;
    pid_t m_pid = -1;
    int m_fd = -1;
    std::string m_output;
};

}  // namespace playersdk::test
