#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "MediaTestSupport.h"
#include "media/RtcpCompoundParser.h"

namespace {
using playersdk::ParseRtcpCompound;
using playersdk::RtcpCompound;
using playersdk::RtcpError;
using rtpgen::Bytes;

// What a camera sends: an SR with one block, an SDES with CNAME and a second item, a BYE
// with a reason.
const Bytes kSenderReport =
    Hex("81C8 000C 11223344 E1A2B3C4 D5E6F708 00015F90 00000064 00002710"
        "0A0B0C0D 20FFFFFE 0001FFFF 00000030 12345678 00008000");
const Bytes kDescription = Hex("81CA 0004 11223344 0104 63616D31 0603 616263 00");
const Bytes kGoodbye = Hex("81CB 0003 11223344 04 62796521 000000");
const Bytes kCompound = Cat({kSenderReport, kDescription, kGoodbye});
}  // namespace

TEST(RtcpCompoundParser, CameraCompoundReadsWhole) {
    RtcpCompound out;
    ASSERT_EQ(ParseRtcpCompound(kCompound.data(), kCompound.size(), out), RtcpError::kNone);
    ASSERT_EQ(out.senderReports.size(), 1u);
    const playersdk::RtcpSenderInfo& sr = out.senderReports[0];
    EXPECT_EQ(std::make_tuple(sr.ssrc, sr.ntpSeconds, sr.ntpFraction, sr.rtpTimestamp,
                              sr.packetCount, sr.octetCount),
              std::make_tuple(0x11223344u, 0xE1A2B3C4u, 0xD5E6F708u, 90000u, 100u, 10000u));
    ASSERT_EQ(out.reportBlocks.size(), 1u);
    const playersdk::RtcpReportBlock& b = out.reportBlocks[0];
    EXPECT_EQ(std::make_tuple(b.ssrc, b.fractionLost, b.cumulativeLost, b.extendedHighestSeq,
                              b.jitter, b.lastSenderReport, b.delaySinceLastSenderReport),
              std::make_tuple(0x0A0B0C0Du, uint8_t{0x20}, -2, 0x1FFFFu, 48u, 0x12345678u, 0x8000u));
    EXPECT_EQ(out.cnames, (std::vector<std::pair<uint32_t, std::string>>{{0x11223344, "cam1"}}));
    EXPECT_EQ(out.goodbyes, std::vector<uint32_t>{0x11223344});
}

TEST(RtcpCompoundParser, UnknownPacketTypesArePassedOverByTheirLength) {
    const Bytes app = Hex("80CC 0002 11223344 6E616D65");
    const Bytes bytes = Cat({app, kGoodbye});
    RtcpCompound out;
    ASSERT_EQ(ParseRtcpCompound(bytes.data(), bytes.size(), out), RtcpError::kNone);
    EXPECT_EQ(out.goodbyes, std::vector<uint32_t>{0x11223344});
}

// Cut anywhere but between two packets, the compound is refused and nothing of it is kept.
TEST(RtcpCompoundParser, EveryTruncationInsideAPacketIsRefused) {
    const size_t ends[] = {kSenderReport.size(), kSenderReport.size() + kDescription.size()};
    for (size_t n = 1; n < kCompound.size(); ++n) {
        std::unique_ptr<uint8_t[]> prefix(new uint8_t[n]);
        std::copy(kCompound.begin(), kCompound.begin() + n, prefix.get());
        RtcpCompound out;
        const RtcpError error = ParseRtcpCompound(prefix.get(), n, out);
        const bool boundary = n == ends[0] || n == ends[1];
        EXPECT_EQ(error == RtcpError::kNone, boundary) << n << " bytes";
        if (!boundary) {
            EXPECT_TRUE(out.senderReports.empty() && out.reportBlocks.empty() &&
                        out.cnames.empty() && out.goodbyes.empty())
                << n << " bytes";
        }
    }
}

TEST(RtcpCompoundParser, MalformedPacketsAreRefusedWithTheirReason) {
    const std::tuple<const char*, Bytes, RtcpError> cases[] = {
        {"no bytes", {}, RtcpError::kEmpty},
        {"half a header", Hex("81C9"), RtcpError::kTooShort},
        {"version 1", Hex("41C9 0001 11223344"), RtcpError::kBadVersion},
        {"length past the end", Hex("81C9 0007 11223344"), RtcpError::kLengthPastEnd},
        {"two blocks in the room of one",
         Hex("82C9 0007 11223344 000000000000000000000000000000000000000000000000"),
         RtcpError::kCountPastLength},
        {"sender report without sender info", Hex("80C8 0001 11223344"), RtcpError::kTooShort},
        {"receiver report without its source", Hex("80C9 0000"), RtcpError::kTooShort},
        {"goodbye with two sources in the room of one", Hex("82CB 0001 11223344"),
         RtcpError::kCountPastLength},
        {"description item past the packet", Hex("81CA 0002 11223344 0109 6162"),
         RtcpError::kSdesPastLength},
        {"description without its end item", Hex("81CA 0002 11223344 0102 6162"),
         RtcpError::kSdesPastLength},
        {"padding count 0", Hex("A0C9 0001 11223300"), RtcpError::kBadPadding},
        {"padding past the packet", Hex("A0C9 0001 11223309"), RtcpError::kBadPadding},
    };
    for (const auto& [name, bytes, reason] : cases) {
        RtcpCompound out;
        EXPECT_EQ(ParseRtcpCompound(bytes.data(), bytes.size(), out), reason) << name;
    }
}
