#include <algorithm>

#include "MediaTestSupport.h"

namespace {
using rtpgen::Bytes;

Bytes Be32(uint32_t v) {
    return {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
}

// The report's bytes, as many as its writer said it wrote.
Bytes Report(CRtpStream& s, int type) {
    Bytes buf(64, 0xAA);
    buf.resize(std::max(0, s.GetRtcpReport(reinterpret_cast<char*>(buf.data()), type)));
    return buf;
}

// The source description that follows every report: the source and its fixed CNAME.
Bytes Sdes(uint32_t ssrc) {
    return Cat({Hex("81CA0005"), Be32(ssrc), Hex("010C"), Text("zumetravonix"), Hex("0000")});
}

// A sender report of the local source; `seq` stands in the packet count's low half.
Bytes SenderReport(CRtpStream& s, uint8_t seq) {
    const uint32_t ssrc = static_cast<uint32_t>(s.m_LocalRtpHead.ssrc);
    return Cat({Hex("81C80007"), Be32(ssrc), Be32(ssrc), Bytes(7, 0), Bytes(1, seq),
                Hex("000018B3"), Be32(static_cast<uint32_t>(s.m_LocalRtpHead.ts)), Bytes(4, 0),
                Sdes(ssrc)});
}
}  // namespace

TEST_F(MediaTest, ReceiverReportByeAndSenderReportsHaveTheirFixedBytes) {
    EXPECT_EQ(Report(stream, 201),
              Cat({Hex("81C90007"), Bytes(16, 0), Hex("000018B3"), Bytes(8, 0), Sdes(0)}));
    EXPECT_EQ(Report(stream, 203), Hex("81CB0007 00000000"));
    EXPECT_EQ(Report(stream, 200), SenderReport(stream, 0));
    // Here the local sequence number (1 on a fresh stream) survives at bytes 18-19.
    Bytes send(56);
    EXPECT_EQ(stream.GetRtcpSendreport(reinterpret_cast<char*>(send.data())), 56);
    EXPECT_EQ(send, SenderReport(stream, 1));
}

TEST_F(MediaTest, EncodedPacketsPutTheTimeInTheSourcePositionAndClearFourPayloadBytes) {
    const uint32_t ts = static_cast<uint32_t>(stream.m_LocalRtpHead.ts);
    char payload[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    int len = 0;
    char* packet = stream.EncodeRtpPacket(payload, 8, 96, 1, &len, 1);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(Bytes(packet, packet + len),
              Cat({Hex("80880002 00000000"), Be32(ts + 3600), Hex("00000000 05060708")}));
    packet = stream.EncodeRtpPacket(payload, 8, 96, 2, &len, 1);
    EXPECT_EQ(Bytes(packet, packet + 12), Cat({Hex("80080003 00000000"), Be32(ts + 7200)}));
    EXPECT_EQ(stream.EncodeRtpPacket(payload, CRtpStream::kSendBufSize, 96, 1, &len, 0), nullptr);
    EXPECT_EQ(len, 0);
}

TEST_F(MediaTest, PeriodStatisticsMoveToTheRatesAndRestart) {
    unsigned long first = 7;
    EXPECT_EQ(stream.GetFirstTs(&first), 0);
    EXPECT_EQ(stream.GetSSRC(&first), 0);
    Feed(rtpgen::Packet({1, true, 96, 0, 0xABCD}, rtpgen::Nal(0x65, 10)));
    Feed(rtpgen::Packet({2, true, 96, 0, 0xABCD}, rtpgen::Nal(0x41, 10)));
    Feed(rtpgen::Packet({3, true, 96, 0, 0xABCD}, rtpgen::Nal(0x41, 1600)));  // too long
    EXPECT_EQ(stream.GetFirstTs(&first), 1);
    EXPECT_EQ(first, 0xABCDul);
    EXPECT_EQ(stream.GetSSRC(&first), 1);
    EXPECT_EQ(first, 0ul);                 // the copy never reaches the stream's ssrc
    const Bytes rr = Report(stream, 201);  // the last frame's key, no sequence number
    EXPECT_EQ(Bytes(rr.begin() + 16, rr.begin() + 28),
              Cat({Hex("00000000 000018B3"), Be32(0xABCD)}));
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
