#include <gtest/gtest.h>

#include <vector>

#include "MediaTestSupport.h"
#include "media/H264Payload.h"

namespace {
using rtpgen::Bytes;
const Bytes& kStart = kStartCode;

struct Rewritten {
    int length;
    int type;
    PacketDrop drop;
    Bytes out;
};

// Rewrites 'payload' as the stream does: behind a 12-byte header in one datagram.
Rewritten Rewrite(const Bytes& payload, Bytes* datagram = nullptr) {
    Bytes local;
    Bytes& packet = datagram != nullptr ? *datagram : local;
    packet = rtpgen::Packet({}, payload);
    Bytes out(kH264WorkBufSize, 0xEE);
    const H264Rewrite r = CRtpStream::ParseH264Payload(
        packet.data() + 12, static_cast<int>(payload.size()), out.data());
    out.resize(r.length > 0 ? r.length : 0);
    return {r.length, r.type, r.drop, out};
}
}  // namespace

TEST(H264Payload, EachPacketizationModeIsRebuiltBehindStartCodesOrDroppedWithItsReason) {
    const Bytes nal = rtpgen::Nal(0x65, 100);
    const Bytes sps = rtpgen::Nal(0x67, 10);
    const Bytes pps = rtpgen::Nal(0x68, 4);
    const Bytes data = rtpgen::Nal(0x22, 30);
    Bytes longFirst = rtpgen::StapA(sps, pps);
    longFirst[2] = 200;  // first unit runs past the packet
    Bytes longSecond = rtpgen::StapA(sps, pps);
    longSecond[3 + sps.size() + 1] = 9;
    struct Case {
        const char* what;
        Bytes payload;
        int length;  // with the type and bytes checked when positive
        int type;
        Bytes out;
        PacketDrop drop = PacketDrop::kNone;
    };
    constexpr PacketDrop kFull = PacketDrop::kWorkBufferFull;
    constexpr PacketDrop kOverrun = PacketDrop::kUnitOverrun;
    const Case cases[] = {
        {"single NAL unit", nal, 104, 0, Cat({kStart, nal})},
        {"fills the work buffer", rtpgen::Nal(0x41, kH264WorkBufSize - 4), kH264WorkBufSize, 0, {}},
        {"overflows it", rtpgen::Nal(0x41, kH264WorkBufSize - 3), 0, 0, {}, kFull},
        {"SPS+PPS", rtpgen::StapA(sps, pps), 22, 24, Cat({kStart, sps, kStart, pps})},
        {"third unit dropped", Cat({rtpgen::StapA(sps, pps), {0x00, 0x02, 0x06, 0x05}}), 22, 24,
         Cat({kStart, sps, kStart, pps})},
        {"PPS+SPS passed on", rtpgen::StapA(pps, sps), 0, 0, {}},
        {"SPS+SPS passed on", rtpgen::StapA(sps, sps), 0, 0, {}},
        {"first unit too long", longFirst, 0, 0, {}, kOverrun},
        {"second unit too long", longSecond, 0, 0, {}, kOverrun},
        {"STAP-A without a size", {0x18}, 0, 0, {}, kOverrun},
        {"STAP-A without a unit", {0x18, 0x00, 0x0A}, 0, 0, {}, kOverrun},
        {"FU-A middle", Cat({{0x7C, 0x05}, data}), 30, 28, data},
        {"FU-A end", Cat({{0x7C, 0x45}, data}), 30, 28, data},
        {"FU-A without data", {0x7C, 0x05}, 0, 0, {}},
        {"FU-A without a header", {0x7C}, 0, 0, {}, PacketDrop::kFragmentTooShort},
        {"FU-A start too long", Cat({{0x7C, 0x85}, rtpgen::Nal(1, 1501)}), 0, 0, {}, kFull},
    };
    for (const Case& c : cases) {
        const Rewritten r = Rewrite(c.payload);
        EXPECT_EQ(r.length, c.length) << c.what;
        EXPECT_EQ(r.drop, c.drop) << c.what;
        if (c.length > 0) {
            EXPECT_EQ(r.type, c.type) << c.what;
            if (!c.out.empty()) {
                EXPECT_EQ(r.out, c.out) << c.what;
            }
        }
    }
    // A first fragment is rebuilt in place: the start code goes over the end of the RTP header
    // and the FU indicator.
    Bytes datagram;
    const Rewritten r = Rewrite(Cat({{0x7C, 0x85}, data}), &datagram);
    EXPECT_EQ(std::make_pair(r.length, r.type), std::make_pair(35, 28));
    EXPECT_EQ(r.out, Cat({kStart, {0x65}, data}));
    EXPECT_EQ(Bytes(datagram.begin() + 9, datagram.begin() + 14), Cat({kStart, {0x65}}));
}

TEST(StreamPatterns, HeaderSearchesAndRowFlip) {
    const char spsThenIdr[] = "\0\0\0\1\x67\x42\0\0\0\1\x65\x88";
    EXPECT_EQ(FindH264Header(spsThenIdr, sizeof(spsThenIdr) - 1), 3);
    EXPECT_EQ(FindH264Header(spsThenIdr + 6, 6), 2);
    EXPECT_EQ(FindH264Header("\0\0\0\1\x41\x9a", 6), 1);
    EXPECT_EQ(FindH264Header("\0\0\0\1\x65", 5), 2);
    EXPECT_EQ(FindH264Header("\0\0\0\1\x65", 4), 1);
    EXPECT_EQ(FindMpeg4Vol("\x12\0\0\1\0\x20", 6), 4);
    EXPECT_EQ(FindMpeg4Vol("\0\0\1\xB6\x10\0", 6), 5);
    EXPECT_EQ(FindMpeg4Vol("\0\0\1\xB0\x10\0", 6), 5);
    EXPECT_EQ(FindMpeg4Vol("\0\0\0\1\x65\0", 6), 6);
    const char src[] = "aaaaaabbbbbbcccccc";  // width 2, height 3, three bytes a pixel
    char dst[19] = {};
    PicChange(src, 2, 3, dst);
    EXPECT_STREQ(dst, "ccccccbbbbbbaaaaaa");
}
