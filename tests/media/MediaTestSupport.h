// A stream fed with built datagrams, the fake decoder reset and the application's callbacks
// captured.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PlayerSDK.h"
#include "fakedecoder/FakeDecoder.h"
#include "media/RtpStream.h"
#include "rtpgen/RtpGen.h"

struct CapturedCall {
    long handle;
    rtpgen::Bytes bytes;
    long userdata;
    long reserved;
};

extern std::vector<CapturedCall> g_capturedFrames;
extern std::vector<CapturedCall> g_capturedSends;

class MediaTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // The stream may rewrite the datagram, so it gets a copy.
    void Feed(rtpgen::Bytes datagram, CRtpStream* to = nullptr) {
        (to != nullptr ? *to : stream)
            .InputData(datagram.data(), static_cast<int>(datagram.size()));
    }

    CRtpStream stream;
};

rtpgen::Bytes Cat(std::initializer_list<rtpgen::Bytes> parts);
// "81C9 0007" -> {0x81, 0xC9, 0x00, 0x07}; spaces are skipped.
rtpgen::Bytes Hex(const char* digits);
rtpgen::Bytes Text(const std::string& text);
extern const rtpgen::Bytes kStartCode;
