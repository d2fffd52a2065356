#include <string>

#include "MediaTestSupport.h"

namespace {
using rtpgen::Bytes;

const Bytes kCname = {'z', 'u', 'm', 'e', 't', 'r', 'a', 'v', 'o', 'n', 'i', 'x'};

Bytes Be32(uint32_t v) {
    return {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
}

Bytes Report(CRtpStream& s, int type, int* size) {
    Bytes buf(64, 0xAA);
    *size = s.GetRtcpReport(reinterpret_cast<char*>(buf.data()), type);
    buf.resize(56);
    return buf;
}
}  // namespace

TEST_F(MediaTest, ReceiverReportAndByeOfAFreshStreamHaveTheirFixedBytes) {
    int size = 0;
    const Bytes rr = Report(stream, 201, &size);
    EXPECT_EQ(size, 56);
    EXPECT_EQ(rr, Cat({{0x81, 0xC9, 0x00, 0x07},
                       Bytes(16, 0),
                       {0x00, 0x00, 0x18, 0xB3},
                       Bytes(8, 0),
                       {0x81, 0xCA, 0x00, 0x05},
                       Bytes(4, 0),
                       {0x01, 0x0C},
                       kCname,
                       {0x00, 0x00}}));
    const Bytes bye = Report(stream, 203, &size);
    EXPECT_EQ(size, 8);
    EXPECT_EQ(Bytes(bye.begin(), bye.begin() + 8), (Bytes{0x81, 0xCB, 0, 7, 0, 0, 0, 0}));
}

TEST_F(MediaTest, SenderReportsCarryTheLocalSourceAndTime) {
    const uint32_t ssrc = static_cast<uint32_t>(stream.m_LocalRtpHead.ssrc);
    const uint32_t ts = static_cast<uint32_t>(stream.m_LocalRtpHead.ts);
    const Bytes sdes = Cat({{0x81, 0xCA, 0x00, 0x05}, Be32(ssrc), {0x01, 0x0C}, kCname, {0, 0}});
    int size = 0;
    const Bytes sr = Report(stream, 200, &size);
    EXPECT_EQ(size, 56);
    EXPECT_EQ(sr, Cat({{0x81, 0xC8, 0x00, 0x07},
                       Be32(ssrc),
                       Be32(ssrc),
                       Bytes(8, 0),
                       {0, 0, 0x18, 0xB3},
                       Be32(ts),
                       Bytes(4, 0),
                       sdes}));
    Bytes send(56);
    EXPECT_EQ(stream.GetRtcpSendreport(reinterpret_cast<char*>(send.data())), 56);
    // Here the local sequence number (1 on a fresh stream) survives at bytes 18-19.
    EXPECT_EQ(send, Cat({{0x81, 0xC8, 0x00, 0x07},
                         Be32(ssrc),
                         Be32(ssrc),
                         Bytes(6, 0),
                         {0, 1},
                         {0, 0, 0x18, 0xB3},
                         Be32(ts),
                         Bytes(4, 0),
                         sdes}));
}

TEST_F(MediaTest, EncodedPacketsPutTheTimeInTheSourcePositionAndClearFourPayloadBytes) {
    const uint32_t ts = static_cast<uint32_t>(stream.m_LocalRtpHead.ts);
    char payload[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    int len = 0;
    char* packet = stream.EncodeRtpPacket(payload, 8, 96, 1, &len, 1);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(len, 20);
    EXPECT_EQ(
        Bytes(packet, packet + 20),
        Cat({{0x80, 0x88, 0x00, 0x02}, Bytes(4, 0), Be32(ts + 3600), {0, 0, 0, 0, 5, 6, 7, 8}}));
    packet = stream.EncodeRtpPacket(payload, 8, 96, 2, &len, 1);
    EXPECT_EQ(Bytes(packet, packet + 12),
              Cat({{0x80, 0x08, 0x00, 0x03}, Bytes(4, 0), Be32(ts + 7200)}));
    EXPECT_EQ(stream.EncodeRtpPacket(payload, CRtpStream::kSendBufSize, 96, 1, &len, 0), nullptr);
    EXPECT_EQ(len, 0);
}

TEST_F(MediaTest, PeriodStatisticsMoveToTheRatesAndRestart) {
    unsigned long first = 7;
    EXPECT_EQ(stream.GetFirstTs(&first), 0);
    EXPECT_EQ(stream.GetSSRC(&first), 0);
    Feed(rtpgen::Packet({1, true, 96, 0, 0xABCD}, rtpgen::Nal(0x65, 10)));
    Feed(rtpgen::Packet({2, true, 96, 0, 0xABCD}, rtpgen::Nal(0x41, 10)));
    Bytes tooLong = rtpgen::Packet({3, true, 96, 0, 0xABCD}, rtpgen::Nal(0x41, 1600));
    Feed(tooLong);
    EXPECT_EQ(stream.GetFirstTs(&first), 1);
    EXPECT_EQ(first, 0xABCDul);
    EXPECT_EQ(stream.GetSSRC(&first), 1);
    EXPECT_EQ(first, 0ul);  // the copy never reaches the stream's ssrc
    int size = 0;
    const Bytes rr = Report(stream, 201, &size);  // the last frame's key, no sequence number
    EXPECT_EQ(Bytes(rr.begin() + 16, rr.begin() + 28),
              Cat({{0, 0, 0, 0}, {0, 0, 0x18, 0xB3}, Be32(0xABCD)}));
    EXPECT_EQ(stream.CalcFrameRate(), 2);
    int total = 0;
    int lost = 0;
    stream.GetPacketCount(&total, &lost);
    EXPECT_EQ(std::make_pair(total, lost), std::make_pair(3, 1));
    EXPECT_EQ(stream.GetFrameRate(), 2);
    EXPECT_EQ(stream.CalcFrameRate(), 0);
    stream.GetPacketCount(&total, &lost);
    EXPECT_EQ(std::make_pair(total, lost), std::make_pair(0, 0));
}
