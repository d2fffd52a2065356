// A private X server for one test: Xvfb picks a free display number itself (-displayfd) and
// is stopped through its own pid when the test ends.
#pragma once

#include <sys/types.h>

#include <string>

namespace decodertest {

class CXvfbServer {
public:
    CXvfbServer() = default;
    virtual ~CXvfbServer();
    CXvfbServer(const CXvfbServer&) = delete;
    CXvfbServer& operator=(const CXvfbServer&) = delete;

    static bool Installed();
    // The display name (":N"), or empty when the server did not come up within 10 s.
    std::string Start();

private:
    pid_t m_pid = -1;
};

}  // namespace decodertest
