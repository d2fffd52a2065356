#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "MediaTestSupport.h"
#include "PlayerSDK.h"
#include "media/H264Payload.h"
#include "media/RtpStream.h"

namespace {
using rtpgen::Bytes;
const Bytes& kStart = kStartCode;

struct Rewritten {
    int length;
    int type;
    Bytes out;
};

// Rewrites 'payload' as the stream does: behind a 12-byte header in one datagram.
Rewritten Rewrite(const Bytes& payload, Bytes* datagram = nullptr) {
    Bytes local;
    Bytes& packet = datagram != nullptr ? *datagram : local;
    packet = rtpgen::Packet({}, payload);
    Bytes out(kH264WorkBufSize, 0xEE);
    int type = -7;
    const int n = CRtpStream::ParseH264Payload(packet.data() + 12, static_cast<int>(payload.size()),
                                               out.data(), type);
    out.resize(n > 0 ? n : 0);
    return {n, type, out};
}
}  // namespace

TEST(H264Payload, SingleNalUnitGetsAStartCodeUnlessItOverflowsTheWorkBuffer) {
    const Bytes nal = rtpgen::Nal(0x65, 100);
    Rewritten r = Rewrite(nal);
    EXPECT_EQ(std::make_pair(r.length, r.type), std::make_pair(104, 0));
    EXPECT_EQ(r.out, Cat({kStart, nal}));
    EXPECT_EQ(Rewrite(rtpgen::Nal(0x41, kH264WorkBufSize - 4)).length, kH264WorkBufSize);
    EXPECT_EQ(Rewrite(rtpgen::Nal(0x41, kH264WorkBufSize - 3)).length, kH264Dropped);
}

TEST(H264Payload, StapAWithSpsAndPpsBecomesTwoStartCodedUnits) {
    const Bytes sps = rtpgen::Nal(0x67, 10);
    const Bytes pps = rtpgen::Nal(0x68, 4);
    Rewritten r = Rewrite(rtpgen::StapA(sps, pps));
    EXPECT_EQ(std::make_pair(r.length, r.type), std::make_pair(22, 24));
    EXPECT_EQ(r.out, Cat({kStart, sps, kStart, pps}));
    // Further aggregated units are dropped.
    Bytes three = Cat({rtpgen::StapA(sps, pps), {0x00, 0x02, 0x06, 0x05}});
    EXPECT_EQ(Rewrite(three).out, Cat({kStart, sps, kStart, pps}));
}

TEST(H264Payload, StapAOtherThanSpsThenPpsIsPassedOnAndBadSizesAreDropped) {
    const Bytes sps = rtpgen::Nal(0x67, 10);
    const Bytes pps = rtpgen::Nal(0x68, 4);
    EXPECT_EQ(Rewrite(rtpgen::StapA(pps, sps)).length, 0);
    EXPECT_EQ(Rewrite(rtpgen::StapA(sps, sps)).length, 0);
    Bytes longFirst = rtpgen::StapA(sps, pps);
    longFirst[2] = 200;  // first unit runs past the packet
    EXPECT_EQ(Rewrite(longFirst).length, kH264Dropped);
    Bytes longSecond = rtpgen::StapA(sps, pps);
    longSecond[3 + sps.size() + 1] = 9;  // second unit runs past the packet
    EXPECT_EQ(Rewrite(longSecond).length, kH264Dropped);
    EXPECT_EQ(Rewrite({0x18}).length, kH264Dropped);
    EXPECT_EQ(Rewrite({0x18, 0x00, 0x0A}).length, kH264Dropped);
}

TEST(H264Payload, FuAFirstFragmentIsRebuiltInPlaceInFrontOfThePayload) {
    const Bytes data = rtpgen::Nal(0x11, 50);
    Bytes datagram;
    Rewritten r = Rewrite(Cat({{0x7C, 0x85}, data}), &datagram);
    EXPECT_EQ(std::make_pair(r.length, r.type), std::make_pair(55, 28));
    EXPECT_EQ(r.out, Cat({kStart, {0x65}, data}));
    // The start code went over the end of the RTP header and the FU indicator.
    EXPECT_EQ(Bytes(datagram.begin() + 9, datagram.begin() + 14), Cat({kStart, {0x65}}));
}

TEST(H264Payload, FuAMiddleFragmentIsItsDataAndATooShortOneIsDropped) {
    const Bytes data = rtpgen::Nal(0x22, 30);
    EXPECT_EQ(Rewrite(Cat({{0x7C, 0x05}, data})).out, data);
    EXPECT_EQ(Rewrite(Cat({{0x7C, 0x45}, data})).out, data);  // the end bit changes nothing
    EXPECT_EQ(Rewrite({0x7C, 0x05}).length, 0);
    EXPECT_EQ(Rewrite({0x7C}).length, kH264Dropped);
    EXPECT_EQ(Rewrite(Cat({{0x7C, 0x85}, rtpgen::Nal(1, 1501)})).length, kH264Dropped);
}

TEST(StreamPatterns, H264HeaderSearchFindsTheFirstIdrOrSps) {
    const char spsThenIdr[] = "\0\0\0\1\x67\x42\0\0\0\1\x65\x88";
    EXPECT_EQ(FindH264Header(spsThenIdr, sizeof(spsThenIdr) - 1), 3);
    EXPECT_EQ(FindH264Header(spsThenIdr + 6, 6), 2);
    EXPECT_EQ(FindH264Header("\0\0\0\1\x41\x9a", 6), 1);
    EXPECT_EQ(FindH264Header("\0\0\0\1\x65", 5), 2);
    EXPECT_EQ(FindH264Header("\0\0\0\1\x65", 4), 1);
}

TEST(StreamPatterns, Mpeg4SearchAndKeyFrameTests) {
    EXPECT_EQ(FindMpeg4Vol("\x12\0\0\1\0\x20", 6), 4);
    EXPECT_EQ(FindMpeg4Vol("\0\0\1\xB6\x10\0", 6), 5);
    EXPECT_EQ(FindMpeg4Vol("\0\0\1\xB0\x10\0", 6), 5);
    EXPECT_EQ(FindMpeg4Vol("\0\0\0\1\x65\0", 6), 6);
    char iVop[8] = {0, 0, 1, '\xB6', 0x10, 1, 2, 3};
    char pVop[8] = {0, 0, 1, '\xB6', 0x50, 1, 2, 3};
    char vos[8] = {0, 0, 1, '\xB0', 0x01, 1, 2, 3};
    char pattern[8] = {0, 0, 1, 0, 0, 0, 1, 9};
    char idr[8] = {0, 0, 0, 1, 0x65, 1, 2, 3};
    EXPECT_EQ(IsKeyFrame(iVop), 1);
    EXPECT_EQ(IsKeyFrame(pVop), 0);
    EXPECT_EQ(IsKeyFrame(vos), 1);
    EXPECT_EQ(IsKeyFrame(pattern), 1);
    EXPECT_EQ(IsKeyFrame(idr), 0);
}

TEST(StreamPatterns, PicChangeTurnsRowsUpsideDown) {
    const char src[] = "aaaaaabbbbbbcccccc";  // width 2, height 3
    char dst[19] = {};
    PicChange(src, 2, 3, dst);
    EXPECT_STREQ(dst, "ccccccbbbbbbaaaaaa");
}
