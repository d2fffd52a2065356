// URLs as the application gives them: the play's own parser and the RTSP engine's. A URL
// either is refused or yields a host, a path and a port a socket can connect to.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "rtsp/Rtsp.h"
#include "session/NetPlayUrl.h"

namespace {
void RequirePort(unsigned long port, const char* parser) {
    if (port < 1 || port > 65535) {
        fprintf(stderr, "%s accepted the port %lu\n", parser, port);
        abort();
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The URL is NUL-terminated text: the input up to its first NUL, in a block of its size.
    const auto* chars = reinterpret_cast<const char*>(data);
    std::vector<char> url(chars, chars + strnlen(chars, size));
    url.push_back('\0');

    CNetPlayUrl play;
    if (play.ParseUrl(url.data()) == 0) {
        RequirePort(play.m_remote_port, "the play's URL parser");
    }
    CRtsp engine;
    if (engine.ParseURL(url.data()) == 0) {
        RequirePort(static_cast<unsigned long>(engine.sPort), "the engine's URL parser");
    }
    return 0;
}
