#include "rtspserver/RtpPacketBuilder.h"

#include <gtest/gtest.h>

using namespace playersdk::rtspserver;

TEST(RtpPacketBuilder, RtpHeaderCarriesVersionMarkerTypeSequenceTimestampAndSsrcBigEndian) {
    RtpHeaderFields h;
    h.payloadType = 96;
    h.marker = true;
    h.sequence = 0x1234;
    h.timestamp = 0xA0B0C0D0;
    h.ssrc = 0x01020304;
    EXPECT_EQ(BuildRtpPacket(h, Bytes{0x65, 0x88}),
              (Bytes{0x80, 0xE0, 0x12, 0x34, 0xA0, 0xB0, 0xC0, 0xD0, 1, 2, 3, 4, 0x65, 0x88}));
}

TEST(RtpPacketBuilder, RtcpSenderReportAndByeHaveTheirTypesAndWordLengths) {
    SenderReportFields sr;
    sr.ssrc = 0x11223344;
    sr.packetCount = 7;
    Bytes report = BuildRtcpSenderReport(sr);
    ASSERT_EQ(report.size(), 28u);
    EXPECT_EQ(Bytes(report.begin(), report.begin() + 8),
              (Bytes{0x80, 200, 0x00, 0x06, 0x11, 0x22, 0x33, 0x44}));
    EXPECT_EQ(report[23], 7);

    EXPECT_EQ(BuildRtcpBye(0x11223344), (Bytes{0x81, 203, 0x00, 0x01, 0x11, 0x22, 0x33, 0x44}));
}

TEST(RtpPacketBuilder, InterleavedFrameTakesThePayloadLengthOrAnyDeclaredOne) {
    EXPECT_EQ(BuildInterleavedFrame(1, Bytes{9, 8, 7}), (Bytes{'$', 1, 0, 3, 9, 8, 7}));
    EXPECT_EQ(BuildInterleavedFrame(0, 1500, Bytes{5}), (Bytes{'$', 0, 0x05, 0xDC, 5}));
}

TEST(RtpPacketBuilder, LargeNalIsCutIntoFuAFragmentsWithConsecutiveSequenceNumbers) {
    Bytes nal(3000);
    nal[0] = 0x65;  // NRI 3, IDR slice
    for (size_t i = 1; i < nal.size(); ++i) {
        nal[i] = static_cast<uint8_t>(i);
    }
    RtpPacketBuilder builder(96, kDefaultSsrc, 65535);
    std::vector<Bytes> packets = builder.PacketizeH264Nal(nal.data(), nal.size(), 9000, true);
    ASSERT_EQ(packets.size(), 3u);

    Bytes rebuilt{static_cast<uint8_t>((packets[0][12] & 0xE0) | (packets[0][13] & 0x1F))};
    for (size_t i = 0; i < packets.size(); ++i) {
        const Bytes& p = packets[i];
        EXPECT_LE(p.size(), 12u + 1400u);
        EXPECT_EQ((p[2] << 8) | p[3], static_cast<int>((65535 + i) & 0xFFFF));
        EXPECT_EQ(p[1] & 0x80, i == 2 ? 0x80 : 0) << "marker only on the last fragment";
        EXPECT_EQ(p[12], 0x60 | 28);
        EXPECT_EQ(p[13], (i == 0 ? 0x80 : 0) | (i == 2 ? 0x40 : 0) | 5);
        rebuilt.insert(rebuilt.end(), p.begin() + 14, p.end());
    }
    EXPECT_EQ(rebuilt, nal);
    EXPECT_EQ(builder.nextSequence(), 2);

    Bytes small{0x67, 0x42, 0xC0};
    std::vector<Bytes> single = builder.PacketizeH264Nal(small.data(), small.size(), 0, false);
    ASSERT_EQ(single.size(), 1u);
    EXPECT_EQ(Bytes(single[0].begin() + 12, single[0].end()), small);
    EXPECT_EQ(single[0][1] & 0x80, 0);
}
