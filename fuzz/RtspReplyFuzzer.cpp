// Server replies and session descriptions: every reply parser of the RTSP client reads the same
// bytes, each from its own heap copy of exactly the reply's size (the parsers write into the
// text they read).
#include <cstdint>
#include <string_view>
#include <vector>

#include "rtsp/RTSPProtocol.h"
#include "rtsp/Rtsp.h"

namespace {
using Parser = int (CRTSPProtocol::*)(char*, int);
constexpr Parser kParsers[] = {&CRTSPProtocol::GetContentLength, &CRTSPProtocol::ParseSdp,
                               &CRTSPProtocol::ParseSetupReply, &CRTSPProtocol::ParseDoPlayReply,
                               &CRTSPProtocol::ParseSetParameterRequest};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto* text = reinterpret_cast<const char*>(data);
    CRTSPProtocol protocol;  // no socket: an end-of-stream word's PLAY is not sent
    // A SETUP reply is read for video or audio by the state; both are tried.
    for (int state : {eWaitIsmaVSetupResponse, eWaitIsmaASetupResponse}) {
        protocol.m_rtsp_state = static_cast<int16_t>(state);
        for (Parser parse : kParsers) {
            std::vector<char> copy(text, text + size);
            (protocol.*parse)(copy.data(), static_cast<int>(copy.size()));
        }
    }
    std::vector<char> line(text, text + size);
    RtspStatusCode(std::string_view(line.data(), line.size()));
    return 0;
}
