// What the media tests share: a stream fed with built datagrams, the fake decoder reset, and
// the application's process-wide callbacks captured.
#pragma once

#include <gtest/gtest.h>

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

// Filled by the callbacks that MediaTest installs.
extern std::vector<CapturedCall> g_capturedFrames;
extern std::vector<CapturedCall> g_capturedSends;

class MediaTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // The stream may rewrite the datagram, so it gets a copy.
    void Feed(rtpgen::Bytes datagram) {
        stream.InputData(datagram.data(), static_cast<int>(datagram.size()));
    }
    void Feed(CRtpStream& other, rtpgen::Bytes datagram) {
        other.InputData(datagram.data(), static_cast<int>(datagram.size()));
    }

    CRtpStream stream;
};

rtpgen::Bytes Cat(std::initializer_list<rtpgen::Bytes> parts);
extern const rtpgen::Bytes kStartCode;
