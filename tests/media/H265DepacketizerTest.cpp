#include "media/H265Depacketizer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "MediaTestSupport.h"

using playersdk::CH265Depacketizer;
using playersdk::H265AccessUnit;
using playersdk::H265Drop;
using rtpgen::Bytes;

namespace {
const Bytes& kStart = kStartCode;

// A NAL unit of 'size' bytes: a two-byte header of that type (layer 0, temporal id 1), then a
// byte pattern.
Bytes Unit(int type, size_t size) {
    Bytes unit = {static_cast<uint8_t>(type << 1), 0x01};
    for (size_t i = 2; i < size; ++i) {
        unit.push_back(static_cast<uint8_t>(0x30 + i));
    }
    return unit;
}

Bytes Size16(size_t n) {
    return {static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)};
}

// A fragment of 'unit' (header included): the type-49 payload header, the fragment header,
// then the bytes [from, to) of the unit after its header, with the DONL given on a first one.
Bytes Fragment(const Bytes& unit, size_t from, size_t to, bool start, bool end, Bytes donl = {}) {
    Bytes out = {static_cast<uint8_t>((unit[0] & 0x81) | (49 << 1)), unit[1],
                 static_cast<uint8_t>((start ? 0x80 : 0) | (end ? 0x40 : 0) | (unit[0] >> 1))};
    out.insert(out.end(), donl.begin(), donl.end());
    out.insert(out.end(), unit.begin() + 2 + from, unit.begin() + 2 + to);
    return out;
}

const Bytes kIdr = Unit(19, 40);
const Bytes kTrail = Unit(1, 30);
const Bytes kCra = Unit(21, 12);
const Bytes kVps = Unit(32, 8);
const Bytes kSps = Unit(33, 10);
const Bytes kPps = Unit(34, 6);
const Bytes kAggregateHeader = {48 << 1, 0x01};

struct Packet {
    Bytes payload;
    uint32_t ts;
    uint16_t seq;
    bool marker;
    H265Drop verdict;
};

struct Case {
    const char* what;
    bool don;
    std::vector<Packet> packets;
    std::vector<Bytes> units;  // the access units that come out, in order
};

using D = H265Drop;

std::vector<Case> Cases() {
    const Bytes donl = {0x12, 0x34};
    return {
        {"single unit with the marker",
         false,
         {{kIdr, 9, 1, true, D::kNone}},
         {Cat({kStart, kIdr})}},
        {"units of one timestamp joined up to the marker",
         false,
         {{kTrail, 9, 1, false, D::kNone}, {kTrail, 9, 2, true, D::kNone}},
         {Cat({kStart, kTrail, kStart, kTrail})}},
        {"a new timestamp ends the unit before it",
         false,
         {{kTrail, 9, 1, false, D::kNone}, {kIdr, 10, 2, true, D::kNone}},
         {Cat({kStart, kTrail}), Cat({kStart, kIdr})}},
        {"aggregate of parameter sets then a slice",
         false,
         {{Cat({kAggregateHeader, Size16(kVps.size()), kVps, Size16(kSps.size()), kSps,
                Size16(kPps.size()), kPps}),
           9, 1, false, D::kNone},
          {kIdr, 9, 2, true, D::kNone}},
         {Cat({kStart, kVps, kStart, kSps, kStart, kPps, kStart, kIdr})}},
        {"fragments start, middle and end",
         false,
         {{Fragment(kIdr, 0, 10, true, false), 9, 1, false, D::kNone},
          {Fragment(kIdr, 10, 20, false, false), 9, 2, false, D::kNone},
          {Fragment(kIdr, 20, 38, false, true), 9, 3, true, D::kNone}},
         {Cat({kStart, kIdr})}},
        {"lost middle fragment drops the unit, the slice after it stays",
         false,
         {{kTrail, 9, 1, false, D::kNone},
          {Fragment(kIdr, 0, 10, true, false), 9, 2, false, D::kNone},
          {Fragment(kIdr, 20, 38, false, true), 9, 4, false, D::kFragmentLost},
          {kTrail, 9, 5, true, D::kNone}},
         {Cat({kStart, kTrail, kStart, kTrail})}},
        {"fragment without its first one",
         false,
         {{Fragment(kIdr, 10, 20, false, true), 9, 1, true, D::kFragmentWithoutStart}},
         {}},
        {"decoding order number of a single unit skipped",
         true,
         {{Cat({Bytes(kIdr.begin(), kIdr.begin() + 2), donl, Bytes(kIdr.begin() + 2, kIdr.end())}),
           9, 1, true, D::kNone}},
         {Cat({kStart, kIdr})}},
        {"decoding order numbers of an aggregate skipped",
         true,
         {{Cat({kAggregateHeader,
                donl,
                Size16(kSps.size()),
                kSps,
                {0x01},
                Size16(kPps.size()),
                kPps}),
           9, 1, true, D::kNone}},
         {Cat({kStart, kSps, kStart, kPps})}},
        {"decoding order number of a first fragment skipped",
         true,
         {{Fragment(kCra, 0, 4, true, false, donl), 9, 1, false, D::kNone},
          {Fragment(kCra, 4, 10, false, true), 9, 2, true, D::kNone}},
         {Cat({kStart, kCra})}},
    };
}

std::vector<H265AccessUnit> FeedAll(CH265Depacketizer& d, const std::vector<Packet>& packets) {
    for (size_t i = 0; i < packets.size(); ++i) {
        const Packet& p = packets[i];
        EXPECT_EQ(d.Input(p.payload.data(), p.payload.size(), p.ts, p.seq, p.marker), p.verdict)
            << "packet " << i;
    }
    std::vector<H265AccessUnit> out;
    for (H265AccessUnit unit; d.Take(unit);) {
        out.push_back(unit);
    }
    return out;
}
}  // namespace

TEST(H265Depacketizer, PacketsOfEveryModeAreRebuiltIntoAccessUnits) {
    for (const Case& c : Cases()) {
        SCOPED_TRACE(c.what);
        CH265Depacketizer d;
        d.SetDonPresent(c.don);
        std::vector<H265AccessUnit> units = FeedAll(d, c.packets);
        ASSERT_EQ(units.size(), c.units.size());
        for (size_t i = 0; i < units.size(); ++i) {
            EXPECT_EQ(units[i].bytes, c.units[i]);
            EXPECT_EQ(units[i].timestamp, c.packets.front().ts + i);
        }
    }
}

TEST(H265Depacketizer, MalformedPacketsAreDroppedWithTheirReason) {
    const Bytes donl = {0x00, 0x07};
    struct Bad {
        const char* what;
        bool don;
        Bytes payload;
        H265Drop verdict;
    };
    const Bad cases[] = {
        {"empty", false, {}, D::kTooShort},
        {"one byte", false, {0x26}, D::kTooShort},
        {"forbidden bit", false, {0x80 | (1 << 1), 0x01, 0xAA}, D::kForbiddenBit},
        {"temporal id 0", false, {1 << 1, 0x00, 0xAA}, D::kZeroTemporalId},
        {"PACI", false, {50 << 1, 0x01, 0xAA, 0xBB}, D::kUnsupportedType},
        {"unassigned type", false, {60 << 1, 0x01, 0xAA}, D::kUnsupportedType},
        {"aggregate without units", false, kAggregateHeader, D::kAggregateTruncated},
        {"aggregate unit past the end", false,
         Cat({kAggregateHeader, Size16(kSps.size() + 1), kSps}), D::kAggregateTruncated},
        {"aggregate unit shorter than a header", false, Cat({kAggregateHeader, {0x00, 0x01, 0x40}}),
         D::kAggregateTruncated},
        {"aggregate with half a size", false,
         Cat({kAggregateHeader, Size16(kSps.size()), kSps, {0x00}}), D::kAggregateTruncated},
        {"aggregate without its DONL", true, Cat({kAggregateHeader, {0x00}}), D::kNoDonl},
        {"aggregate of one unit behind its DONL", true,
         Cat({kAggregateHeader, donl, Size16(kSps.size()), kSps}), D::kNone},
        {"second aggregated unit without a DOND", true,
         Cat({kAggregateHeader, donl, Size16(kSps.size()), kSps, {0x01, 0x00}}),
         D::kAggregateTruncated},
        {"single unit without its DONL", true, {1 << 1, 0x01, 0x00}, D::kNoDonl},
        {"fragment without a header", false, {49 << 1, 0x01}, D::kFragmentTooShort},
        {"first fragment without data", false, {49 << 1, 0x01, 0x80 | 19}, D::kFragmentTooShort},
        {"first fragment without its DONL", true, {49 << 1, 0x01, 0x80 | 19, 0x00}, D::kNoDonl},
        {"fragment of an aggregate", false, {49 << 1, 0x01, 0x80 | 48, 0xAA}, D::kFragmentBadType},
        {"fragment of a fragment", false, {49 << 1, 0x01, 0x80 | 49, 0xAA}, D::kFragmentBadType},
        {"start and end together",
         false,
         {49 << 1, 0x01, 0xC0 | 19, 0xAA},
         D::kFragmentStartAndEnd},
        {"middle fragment alone", false, {49 << 1, 0x01, 19, 0xAA}, D::kFragmentWithoutStart},
    };
    for (const Bad& c : cases) {
        SCOPED_TRACE(c.what);
        CH265Depacketizer d;
        d.SetDonPresent(c.don);
        // Each payload in a heap block of exactly its size: a read past it is caught.
        std::unique_ptr<uint8_t[]> block(new uint8_t[c.payload.size() + 1]);
        std::copy(c.payload.begin(), c.payload.end(), block.get());
        EXPECT_EQ(d.Input(c.payload.empty() ? nullptr : block.get(), c.payload.size(), 9, 1, true),
                  c.verdict);
        if (c.verdict != D::kNone) {
            EXPECT_EQ(d.drops(c.verdict), 1u);
            H265AccessUnit unit;
            EXPECT_FALSE(d.Take(unit));
        }
    }
}

TEST(H265Depacketizer, EveryPrefixOfAValidPacketIsTakenOrDroppedWithinItsBytes) {
    const Bytes donl = {0x00, 0x07};
    const Bytes packets[] = {
        Cat({kAggregateHeader, donl, Size16(kSps.size()), kSps, {0x01}, Size16(kPps.size()), kPps}),
        Fragment(kIdr, 0, 20, true, false, donl),
        Cat({Bytes(kIdr.begin(), kIdr.begin() + 2), donl, Bytes(kIdr.begin() + 2, kIdr.end())}),
    };
    for (const Bytes& packet : packets) {
        for (size_t n = 0; n <= packet.size(); ++n) {
            CH265Depacketizer d;
            d.SetDonPresent(true);
            std::unique_ptr<uint8_t[]> block(new uint8_t[n]);
            std::copy(packet.begin(), packet.begin() + n, block.get());
            d.Input(block.get(), n, 9, 1, true);
            H265AccessUnit unit;
            if (d.Take(unit)) {
                EXPECT_LE(unit.bytes.size(), n + 2 * kStart.size());
            }
        }
    }
}

TEST(H265Depacketizer, ParameterSetsOfTheFormatGoInFrontOfTheFirstAccessUnitOnly) {
    CH265Depacketizer d;
    std::string fmtp = "profile-id=1; sprop-vps=" + std::string("QAEMAf8=") +
                       ";sprop-sps=QgEBAWA=,QgEBAWE=;sprop-pps=RAHA";
    ASSERT_TRUE(d.SetFormatParameters(fmtp));
    const Bytes vps = {0x40, 0x01, 0x0C, 0x01, 0xFF};
    const Bytes sps1 = {0x42, 0x01, 0x01, 0x01, 0x60};
    const Bytes sps2 = {0x42, 0x01, 0x01, 0x01, 0x61};
    const Bytes pps = {0x44, 0x01, 0xC0};
    const Bytes sets = Cat({kStart, vps, kStart, sps1, kStart, sps2, kStart, pps});
    EXPECT_EQ(d.parameterSets(), sets);
    std::vector<H265AccessUnit> units =
        FeedAll(d, {{kIdr, 1, 1, true, D::kNone}, {kTrail, 2, 2, true, D::kNone}});
    ASSERT_EQ(units.size(), 2u);
    EXPECT_EQ(units[0].bytes, Cat({sets, kStart, kIdr}));
    EXPECT_EQ(units[1].bytes, Cat({kStart, kTrail}));
}

TEST(H265Depacketizer, FormatParametersDecideWhetherDecodingOrderNumbersArePresent) {
    const struct {
        const char* fmtp;
        bool don;
    } cases[] = {{"sprop-max-don-diff=2", true},
                 {"profile-id=1;sprop-max-don-diff=0", false},
                 {"sprop-max-don-diff", false},
                 {"", false}};
    const Bytes withDonl = Cat(
        {Bytes(kIdr.begin(), kIdr.begin() + 2), {0x00, 0x05}, Bytes(kIdr.begin() + 2, kIdr.end())});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fmtp);
        CH265Depacketizer d;
        ASSERT_TRUE(d.SetFormatParameters(c.fmtp));
        std::vector<H265AccessUnit> units = FeedAll(d, {{withDonl, 1, 1, true, D::kNone}});
        ASSERT_EQ(units.size(), 1u);
        EXPECT_EQ(units[0].bytes == Cat({kStart, kIdr}), c.don);
    }
}

TEST(H265Depacketizer, ParameterSetThatIsNotBase64OfAUnitIsRefused) {
    CH265Depacketizer d;
    EXPECT_FALSE(d.SetFormatParameters("sprop-vps=QA;sprop-sps=QgEBAWA="));
    EXPECT_TRUE(d.parameterSets().empty());
}

TEST(H265Depacketizer, AccessUnitsAreKeyFramesExactlyWhenTheyHoldAnIrapSlice) {
    CH265Depacketizer d;
    std::vector<H265AccessUnit> units =
        FeedAll(d, {{kIdr, 1, 1, true, D::kNone},
                    {kTrail, 2, 2, true, D::kNone},
                    {Fragment(kCra, 0, 4, true, false), 3, 3, false, D::kNone},
                    {Fragment(kCra, 4, 10, false, true), 3, 4, true, D::kNone},
                    {kVps, 4, 5, false, D::kNone},
                    {Fragment(kCra, 0, 4, true, false), 4, 6, false, D::kNone},
                    {Fragment(kCra, 8, 10, false, true), 4, 8, true, D::kFragmentLost}});
    ASSERT_EQ(units.size(), 4u);
    EXPECT_TRUE(units[0].key);
    EXPECT_FALSE(units[1].key);
    EXPECT_TRUE(units[2].key);
    EXPECT_FALSE(units[3].key);  // its CRA lost a fragment
    EXPECT_EQ(units[3].bytes, Cat({kStart, kVps}));
}

TEST(H265Depacketizer, AccessUnitPastTheLimitIsDroppedWholeAndTheNextOneComes) {
    CH265Depacketizer d(100);
    const Bytes big = Unit(1, 60);
    std::vector<H265AccessUnit> units = FeedAll(d, {{big, 1, 1, false, D::kNone},
                                                    {big, 1, 2, false, D::kAccessUnitTooLarge},
                                                    {big, 1, 3, true, D::kAccessUnitTooLarge},
                                                    {big, 2, 4, true, D::kNone}});
    ASSERT_EQ(units.size(), 1u);
    EXPECT_EQ(units[0].timestamp, 2u);
    EXPECT_EQ(units[0].bytes, Cat({kStart, big}));
}
