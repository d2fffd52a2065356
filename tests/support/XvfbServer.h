// A private X server for one test: Xvfb picks a free display number itself (-displayfd) and
// is stopped through its own pid when the test ends. Windows on it can be read back.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace playersdk::test {

class CXvfbServer {
public:
    CXvfbServer() = default;
    virtual ~CXvfbServer();
    CXvfbServer(const CXvfbServer&) = delete;
    CXvfbServer& operator=(const CXvfbServer&) = delete;

    static bool Installed();
    // The display name (":N"), or empty when the server did not come up within 10 s.
    std::string Start();
    // What a window on this server shows: packed BGR rows, width * height * 3 bytes, read
    // through a connection of its own; empty when the window cannot be read.
    std::vector<uint8_t> Capture(unsigned long window, int width, int height) const;

private:
    pid_t m_pid = -1;
    std::string m_display;
};

}  // namespace playersdk::test
