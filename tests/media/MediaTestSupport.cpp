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
