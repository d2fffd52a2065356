// The replies captured from real servers (tests/rtsp/testdata), read byte for byte.
#pragma once

#include <fstream>
#include <sstream>
#include <string>

#include "rtsp/standard/RtspMessageReader.h"

namespace playersdk::test {

inline std::string Capture(const std::string& name) {
    std::ifstream in(std::string(PLAYERSDK_RTSP_TESTDATA) + "/" + name, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// The one message a captured reply holds.
inline standard::RtspMessage CapturedReply(const std::string& name) {
    standard::CRtspMessageReader reader;
    std::string bytes = Capture(name);
    reader.Feed(bytes.data(), bytes.size());
    return reader.Next().message;
}

}  // namespace playersdk::test
