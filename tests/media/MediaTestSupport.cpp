#include "MediaTestSupport.h"

std::vector<CapturedCall> g_capturedFrames;
std::vector<CapturedCall> g_capturedSends;
const rtpgen::Bytes kStartCode = {0, 0, 0, 1};

namespace {
int CaptureFrame(long handle, char* buf, int length, long userdata) {
    g_capturedFrames.push_back({handle, rtpgen::Bytes(buf, buf + length), userdata, 0});
    return 0;
}

int CaptureSend(long handle, char* packet, int length, long userdata, long reserved) {
    rtpgen::Bytes bytes;
    if (packet != nullptr) {
        bytes.assign(packet, packet + length);
    }
    g_capturedSends.push_back({handle, bytes, userdata, reserved});
    return 0;
}
}  // namespace

void MediaTest::SetUp() {
    fakedecoder::Reset();
    g_capturedFrames.clear();
    g_capturedSends.clear();
    NetPlay_setGotFrameCallback(CaptureFrame);
    NetPlay_SetSendDataCallback(CaptureSend);
}

void MediaTest::TearDown() {
    NetPlay_setGotFrameCallback(nullptr);
    NetPlay_SetSendDataCallback(nullptr);
    NetPlay_SetGotPictureCallback(nullptr);
}

rtpgen::Bytes Cat(std::initializer_list<rtpgen::Bytes> parts) {
    rtpgen::Bytes all;
    for (const rtpgen::Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

rtpgen::Bytes Hex(const char* digits) {
    rtpgen::Bytes out;
    std::string pair;
    for (const char* p = digits; *p != '\0'; ++p) {
        if (*p != ' ' && (pair += *p).size() == 2) {
            out.push_back(static_cast<uint8_t>(std::stoi(pair, nullptr, 16)));
            pair.clear();
        }
    }
    return out;
}

rtpgen::Bytes Text(const std::string& text) {
    return rtpgen::Bytes(text.begin(), text.end());
}
