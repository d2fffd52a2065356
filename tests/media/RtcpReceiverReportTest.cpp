#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "MediaTestSupport.h"
#include "media/RtcpCompoundParser.h"
#include "media/RtcpReceiverReport.h"

namespace {
using playersdk::CRtcpReceiverReport;
using playersdk::RtcpReportBlock;
using rtpgen::Bytes;

constexpr uint32_t kOwn = 0x0A0B0C0D;
constexpr uint32_t kSource = 0x11223344;

auto Fields(const RtcpReportBlock& b) {
    return std::make_tuple(b.ssrc, b.fractionLost, b.cumulativeLost, b.extendedHighestSeq, b.jitter,
                           b.lastSenderReport, b.delaySinceLastSenderReport);
}

void Receive(CRtcpReceiverReport& report, std::initializer_list<uint16_t> seqs) {
    for (uint16_t seq : seqs) {
        report.OnRtpPacket(kSource, seq, 0, 0);
    }
}
}  // namespace

TEST(RtcpReceiverReport, LossesAreCountedAcrossTheSequenceWrap) {
    CRtcpReceiverReport report(kOwn, 90000);
    // 65530 to 5 is 12 numbers; 65533 and 2 never arrive.
    Receive(report, {65530, 65531, 65532, 65534, 65535, 0, 1, 3, 4, 5});
    // 2 * 256 / 12 = 42.67
    EXPECT_EQ(Fields(report.MakeReportBlock(0)),
              std::make_tuple(kSource, 42, 2, 65541u, 0u, 0u, 0u));
}

TEST(RtcpReceiverReport, FractionLostCoversOnlyTheIntervalSinceTheLastReport) {
    CRtcpReceiverReport report(kOwn, 90000);
    Receive(report, {100, 102});  // 101 lost
    report.MakeReportBlock(0);
    Receive(report, {103, 106, 108, 112});  // 10 expected, 4 received
    const RtcpReportBlock second = report.MakeReportBlock(0);
    EXPECT_EQ(second.fractionLost, 6 * 256 / 10);
    EXPECT_EQ(second.cumulativeLost, 7);
    const RtcpReportBlock third = report.MakeReportBlock(0);  // nothing since
    EXPECT_EQ(third.fractionLost, 0);
}

TEST(RtcpReceiverReport, DuplicatesMakeTheCumulativeLossNegativeAndTheFractionZero) {
    CRtcpReceiverReport report(kOwn, 90000);
    Receive(report, {7, 8, 8, 9, 9});
    const RtcpReportBlock block = report.MakeReportBlock(0);
    EXPECT_EQ(block.cumulativeLost, -2);
    EXPECT_EQ(block.fractionLost, 0);
}

TEST(RtcpReceiverReport, JitterFollowsTheTransitTimeDifferences) {
    // 8000 Hz: one unit is 125 us. Packets every 160 units; every other one arrives 160 units
    // late, so every transit difference is 160: J = 10, 19.375, 28.16.
    CRtcpReceiverReport report(kOwn, 8000);
    for (uint32_t i = 0; i < 4; ++i) {
        const uint64_t arrivalUnits = 160 * i + (i % 2 == 1 ? 160 : 0);
        report.OnRtpPacket(kSource, static_cast<uint16_t>(i), 160 * i, arrivalUnits * 125);
    }
    EXPECT_EQ(report.MakeReportBlock(0).jitter, 28u);
}

TEST(RtcpReceiverReport, LastSenderReportIsTheMiddleOfItsNtpTimeAndTheDelayIsIn65536thsOfASecond) {
    CRtcpReceiverReport report(kOwn, 90000);
    Receive(report, {1});
    EXPECT_EQ(report.MakeReportBlock(0).lastSenderReport, 0u);
    report.OnSenderReport(kSource, 0x12345678, 0x9ABCDEF0, 1000000);
    const RtcpReportBlock block = report.MakeReportBlock(1500000);
    EXPECT_EQ(block.lastSenderReport, 0x56789ABCu);
    EXPECT_EQ(block.delaySinceLastSenderReport, 32768u);
}

TEST(RtcpReceiverReport, JumpIsTakenAsANewRunOnlyWhenTheNextPacketConfirmsIt) {
    CRtcpReceiverReport report(kOwn, 90000);
    Receive(report, {10, 11, 40000});
    EXPECT_EQ(report.extendedHighestSeq(), 11u);
    EXPECT_EQ(report.received(), 2u);
    Receive(report, {40001});
    EXPECT_EQ(report.extendedHighestSeq(), 40001u);
    EXPECT_EQ(report.MakeReportBlock(0).cumulativeLost, 0);
}

TEST(RtcpReceiverReport, ReportIsAnRrWithOneBlockAndAPaddedCname) {
    CRtcpReceiverReport report(kOwn, 90000);
    Receive(report, {5, 7});
    uint8_t buf[CRtcpReceiverReport::kMaxPacketSize];
    const size_t n = report.BuildReport(buf, sizeof(buf), "cam", 0);
    EXPECT_EQ(Bytes(buf, buf + n), Hex("81C9 0007 0A0B0C0D"
                                       "11223344 55000001 00000007 00000000 00000000 00000000"
                                       "81CA 0003 0A0B0C0D 0103 63616D 000000"));
}

TEST(RtcpReceiverReport, ReportBeforeAnyPacketHasNoBlock) {
    CRtcpReceiverReport report(kOwn, 90000);
    uint8_t buf[CRtcpReceiverReport::kMaxPacketSize];
    const size_t n = report.BuildReport(buf, sizeof(buf), "abcd", 0);
    EXPECT_EQ(Bytes(buf, buf + n), Hex("80C9 0001 0A0B0C0D 81CA 0003 0A0B0C0D 0104 61626364 0000"));
}

TEST(RtcpReceiverReport, GoodbyeFollowsTheReportAndReadsBack) {
    CRtcpReceiverReport report(kOwn, 90000);
    Receive(report, {1, 2, 4});
    uint8_t buf[CRtcpReceiverReport::kMaxPacketSize];
    const size_t n = report.BuildGoodbye(buf, sizeof(buf), "receiver@127.0.0.1", 0);
    ASSERT_GT(n, 8u);
    EXPECT_EQ(Bytes(buf + n - 8, buf + n), Hex("81CB 0001 0A0B0C0D"));
    playersdk::RtcpCompound parsed;
    ASSERT_EQ(playersdk::ParseRtcpCompound(buf, n, parsed), playersdk::RtcpError::kNone);
    ASSERT_EQ(parsed.reportBlocks.size(), 1u);
    EXPECT_EQ(parsed.reportBlocks[0].cumulativeLost, 1);
    EXPECT_EQ(parsed.cnames,
              (std::vector<std::pair<uint32_t, std::string>>{{kOwn, "receiver@127.0.0.1"}}));
    EXPECT_EQ(parsed.goodbyes, std::vector<uint32_t>{kOwn});
}

TEST(RtcpReceiverReport, ReportThatDoesNotFitIsNotWritten) {
    CRtcpReceiverReport report(kOwn, 90000);
    Receive(report, {1});
    uint8_t buf[64];
    EXPECT_EQ(report.BuildReport(buf, 40, "a-long-enough-name", 0), 0u);
    EXPECT_EQ(report.BuildGoodbye(buf, 48, "cam", 0), 0u);  // 32 + 16 fit, the BYE does not
}
