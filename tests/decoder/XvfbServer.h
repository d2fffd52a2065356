// A private X server for one test: Xvfb picks a free display number itself (-displayfd) and
// is stopped through its own pid when the test ends.
#pragma once

#include <sys/types.h>

#include <string>

namespace decodertest {

class CXvfbServer {
public:
    CXvfbServer() = default;
    ~CXvfbServer();
    CXvfbServer(const CXvfbServer&) = delete;
    CXvfbServer& operator=(const CXvfbServer&) = delete;

    static bool Installed();
    // False (with the reason) when the server does not come up within a few seconds.
    bool Start(std::string& why);
    const std::string& display() const { return m_display; }

private:
    pid_t m_pid = -1;
    std::string m_display;
};

}  // namespace decodertest
