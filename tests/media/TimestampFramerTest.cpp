#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

#include "MediaTestSupport.h"
#include "base/ByteCursor.h"
#include "media/ParameterSets.h"
#include "media/TimestampFramer.h"

namespace {
using playersdk::CTimestampFramer;
using playersdk::FramedAccessUnit;
using playersdk::FramerConfig;
using playersdk::FramerDrop;
using playersdk::MediaCodec;
using rtpgen::Bytes;

constexpr uint32_t kTicks = 3000;

struct Unit {
    Bytes bytes;
    uint32_t timestamp;
    uint8_t payloadType;
    bool key;
    bool operator==(const Unit& o) const {
        return std::tie(bytes, timestamp, payloadType, key) ==
               std::tie(o.bytes, o.timestamp, o.payloadType, o.key);
    }
};

void Collect(void* user, const FramedAccessUnit& unit) {
    static_cast<std::vector<Unit>*>(user)->push_back(
        {Bytes(unit.data, unit.data + unit.len), unit.timestamp, unit.payloadType, unit.key});
}

// The payloads of one picture and the NAL units it must come out as.
struct Picture {
    uint32_t timestamp;
    std::vector<Bytes> payloads;
    Bytes annexB;
};

Picture MakePicture(uint32_t index, const std::vector<Bytes>& nals, size_t fragment = 0) {
    Picture p{index * kTicks, {}, {}};
    for (const Bytes& nal : nals) {
        p.annexB = Cat({p.annexB, kStartCode, nal});
        if (fragment != 0 && nal.size() > fragment) {
            for (Bytes& piece : rtpgen::FuA(nal, fragment)) {
                p.payloads.push_back(std::move(piece));
            }
        } else {
            p.payloads.push_back(nal);
        }
    }
    return p;
}

// An IDR picture of one slice, or a P picture, in FU-A pieces of 100 bytes.
Picture KeyPicture(uint32_t index) {
    return MakePicture(index, {rtpgen::Nal(0x65, 250)}, 100);
}
Picture DeltaPicture(uint32_t index) {
    return MakePicture(index, {rtpgen::Nal(0x41, 250)}, 100);
}

// The datagrams of the pictures, numbered from firstSeq, the marker on each picture's last.
std::vector<Bytes> Packetize(const std::vector<Picture>& pictures, uint16_t firstSeq,
                             uint8_t pt = 96) {
    std::vector<Bytes> out;
    uint16_t seq = firstSeq;
    for (const Picture& p : pictures) {
        for (size_t i = 0; i < p.payloads.size(); ++i) {
            const bool last = i + 1 == p.payloads.size();
            out.push_back(
                rtpgen::Packet({seq++, last, pt, p.timestamp, 0x11223344}, p.payloads[i]));
        }
    }
    return out;
}

Unit Expected(const Picture& p, bool key) {
    return {p.annexB, p.timestamp, 96, key};
}

class TimestampFramerTest : public testing::Test {
protected:
    void Make(FramerConfig config) {
        framer = std::make_unique<CTimestampFramer>(config, Collect, &units);
    }
    void FeedAll(const std::vector<Bytes>& packets) {
        for (const Bytes& p : packets) {
            framer->Input(p.data(), p.size());
        }
    }
    std::vector<Unit> units;
    std::unique_ptr<CTimestampFramer> framer =
        std::make_unique<CTimestampFramer>(FramerConfig{}, Collect, &units);
};
}  // namespace

TEST_F(TimestampFramerTest, MultiSlicePictureArrivesAsOneAccessUnit) {
    const Picture picture = MakePicture(0,
                                        {{0x09, 0x10},
                                         rtpgen::Nal(0x06, 12),
                                         rtpgen::Nal(0x65, 80),
                                         rtpgen::Nal(0x65, 90),
                                         rtpgen::Nal(0x65, 300)},
                                        120);  // only the third slice is longer than a packet: FU-A
    ASSERT_EQ(picture.payloads.size(), 7u);
    FeedAll(Packetize({picture}, 10));
    EXPECT_EQ(units, std::vector<Unit>{Expected(picture, true)});
}

TEST_F(TimestampFramerTest, StapAUnitsComeOutBehindStartCodes) {
    const Bytes sps = rtpgen::Nal(0x67, 10);
    const Bytes pps = rtpgen::Nal(0x68, 4);
    const Bytes idr = rtpgen::Nal(0x65, 40);
    Picture picture{0,
                    {rtpgen::StapA(sps, pps), idr},
                    Cat({kStartCode, sps, kStartCode, pps, kStartCode, idr})};
    FeedAll(Packetize({picture}, 1));
    EXPECT_EQ(units, std::vector<Unit>{Expected(picture, true)});
}

TEST_F(TimestampFramerTest, UnitsEndAtANewTimestampWhenTheMarkerIsMissing) {
    const Picture first = KeyPicture(0);
    const Picture second = KeyPicture(1);
    std::vector<Bytes> packets = Packetize({first, second}, 1);
    packets[first.payloads.size() - 1][1] &= 0x7F;  // the first picture's marker is not sent
    FeedAll(packets);
    EXPECT_EQ(units, (std::vector<Unit>{Expected(first, true), Expected(second, true)}));
}

TEST_F(TimestampFramerTest, PacketsReorderedInsideTheWindowYieldTheUnitsOfTheInOrderStream) {
    const std::vector<Bytes> inOrder =
        Packetize({KeyPicture(0), DeltaPicture(1), DeltaPicture(2), KeyPicture(3)}, 500);
    FeedAll(inOrder);
    const std::vector<Unit> reference = units;
    ASSERT_EQ(reference.size(), 4u);
    struct Case {
        const char* name;
        std::vector<size_t> order;
    };
    const Case cases[] = {
        // The first packet received starts the numbering, so it stays first.
        {"neighbours swapped", {0, 2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 11}},
        {"one packet late by five", {0, 2, 3, 4, 5, 6, 1, 7, 8, 9, 10, 11}},
        {"a picture backwards", {0, 1, 2, 5, 4, 3, 6, 7, 8, 9, 10, 11}},
        {"the markers first", {0, 2, 5, 1, 3, 4, 8, 6, 7, 11, 9, 10}},
    };
    ASSERT_EQ(inOrder.size(), 12u);
    for (const Case& c : cases) {
        units.clear();
        Make({});
        for (size_t i : c.order) {
            EXPECT_EQ(framer->Input(inOrder[i].data(), inOrder[i].size()), FramerDrop::kNone)
                << c.name;
        }
        EXPECT_EQ(units, reference) << c.name;
        EXPECT_EQ(framer->lostPackets(), 0u) << c.name;
    }
}

TEST_F(TimestampFramerTest, LostFragmentCostsItsUnitAndDeltasWaitForTheNextKeyFrame) {
    const std::vector<Picture> pictures = {KeyPicture(0), DeltaPicture(1), DeltaPicture(2),
                                           KeyPicture(3), DeltaPicture(4)};
    std::vector<Bytes> packets = Packetize(pictures, 7);
    packets.erase(packets.begin() + 4);  // the middle piece of the second picture
    Make({MediaCodec::H264, 96, 4});
    FeedAll(packets);
    framer->Flush();
    EXPECT_EQ(units, (std::vector<Unit>{Expected(pictures[0], true), Expected(pictures[3], true),
                                        Expected(pictures[4], false)}));
    EXPECT_EQ(framer->lostPackets(), 1u);
    EXPECT_EQ(framer->drops(FramerDrop::kAccessUnitDamaged), 1u);
    EXPECT_EQ(framer->drops(FramerDrop::kWaitingForKeyFrame), 1u);
}

TEST_F(TimestampFramerTest, DeltaPicturesBeforeTheFirstKeyFrameAreHeldBack) {
    const std::vector<Picture> pictures = {DeltaPicture(0), KeyPicture(1), DeltaPicture(2)};
    FeedAll(Packetize(pictures, 1));
    EXPECT_EQ(units,
              (std::vector<Unit>{Expected(pictures[1], true), Expected(pictures[2], false)}));
}

TEST_F(TimestampFramerTest, SequenceWrapCostsNothing) {
    const std::vector<Picture> pictures = {KeyPicture(0), DeltaPicture(1), DeltaPicture(2),
                                           DeltaPicture(3)};
    std::vector<Bytes> packets = Packetize(pictures, 65530);
    std::swap(packets[5], packets[6]);  // 65535 and 0 swapped
    FeedAll(packets);
    EXPECT_EQ(units.size(), pictures.size());
    EXPECT_EQ(units.back(), Expected(pictures.back(), false));
    EXPECT_EQ(framer->lostPackets(), 0u);
    EXPECT_EQ(framer->drops(FramerDrop::kLate), 0u);
}

TEST_F(TimestampFramerTest, SdpParameterSetsGoInFrontOfTheFirstUnitOnly) {
    const Bytes sets = playersdk::AnnexBFromSpropParameterSets("Z0IAH5Wo,aM48gA==");
    ASSERT_EQ(sets, Hex("00000001 6742001F95A8 00000001 68CE3C80"));
    framer->SetParameterSets(sets.data(), sets.size());
    const std::vector<Picture> pictures = {KeyPicture(0), KeyPicture(1)};
    FeedAll(Packetize(pictures, 1));
    ASSERT_EQ(units.size(), 2u);
    EXPECT_EQ(units[0].bytes, Cat({sets, pictures[0].annexB}));
    EXPECT_EQ(units[1].bytes, pictures[1].annexB);
}

TEST_F(TimestampFramerTest, Mpeg4FramesAreCutByTheMarker) {
    Make({MediaCodec::Mpeg4, 97});
    const Bytes config = playersdk::BytesFromHex("000001b0f5000001b5");
    framer->SetParameterSets(config.data(), config.size());
    const Bytes iVop = Cat({Hex("000001B6 10"), rtpgen::Nal(0x33, 60)});
    const Bytes pVop = Cat({Hex("000001B6 50"), rtpgen::Nal(0x44, 30)});
    const Bytes iHead(iVop.begin(), iVop.begin() + 25);
    const Bytes iTail(iVop.begin() + 25, iVop.end());
    FeedAll({rtpgen::Packet({1, false, 97, 0, 1}, iHead),
             rtpgen::Packet({2, true, 97, 0, 1}, iTail),
             rtpgen::Packet({3, true, 97, 3000, 1}, pVop)});
    EXPECT_EQ(units,
              (std::vector<Unit>{{Cat({config, iVop}), 0, 97, true}, {pVop, 3000, 97, false}}));
}

// Every prefix of a packet with a CSRC, a header extension and an STAP-A of two units.
TEST_F(TimestampFramerTest, EveryTruncationOfAValidPacketIsDroppedWithItsReason) {
    Bytes packet(43);
    playersdk::ByteWriter w(packet.data(), packet.size());
    w.u8(0x91).u8(96).be16(1).be32(0).be32(0x11223344).be32(0xCAFE);  // one CSRC
    w.be16(0xBEDE).be16(1).be32(0);                                   // one extension word
    w.bytes(rtpgen::StapA(rtpgen::Nal(0x67, 10), rtpgen::Nal(0x68, 4)).data(), 19);
    ASSERT_TRUE(w.ok());
    ASSERT_EQ(w.size(), packet.size());
    auto expected = [](size_t n) {
        if (n < 12)
            return FramerDrop::kTooShort;
        if (n < 24)
            return FramerDrop::kHeaderPastEnd;
        if (n == 24)
            return FramerDrop::kEmptyPayload;
        if (n == 37 || n == 43)
            return FramerDrop::kNone;  // whole units
        return FramerDrop::kAggregateTruncated;
    };
    for (size_t n = 0; n <= packet.size(); ++n) {
        Make({});
        // A heap block of exactly n bytes: a read past it is caught.
        std::unique_ptr<uint8_t[]> prefix(new uint8_t[n + (n == 0)]);
        std::copy(packet.begin(), packet.begin() + n, prefix.get());
        EXPECT_EQ(framer->Input(prefix.get(), n), expected(n)) << n << " bytes";
    }
}

TEST_F(TimestampFramerTest, MalformedPacketsAreDroppedWithTheirReason) {
    auto h264 = [](const Bytes& payload) { return rtpgen::Packet({1, false, 96, 0, 1}, payload); };
    Bytes badVersion = h264({0x41, 1});
    badVersion[0] = 0x40;
    Bytes zeroPadding = h264({0x41, 1, 2, 0});
    zeroPadding[0] |= 0x20;
    Bytes longPadding = h264({0x41, 1, 2, 9});
    longPadding[0] |= 0x20;
    Bytes allPadding = h264({0x41, 1, 2, 4});
    allPadding[0] |= 0x20;
    const std::tuple<const char*, Bytes, FramerDrop> cases[] = {
        {"version 1", badVersion, FramerDrop::kBadVersion},
        {"padding count 0", zeroPadding, FramerDrop::kBadPadding},
        {"padding past the header", longPadding, FramerDrop::kBadPadding},
        {"nothing but padding", allPadding, FramerDrop::kEmptyPayload},
        {"another payload type", rtpgen::Packet({1, false, 97, 0, 1}, {0x41}),
         FramerDrop::kWrongPayloadType},
        {"forbidden bit", h264({0xC1, 1}), FramerDrop::kForbiddenBit},
        {"NAL type 0", h264({0x00, 1}), FramerDrop::kUnsupportedNalType},
        {"STAP-B", h264({0x19, 0, 1, 0x41}), FramerDrop::kUnsupportedNalType},
        {"FU-B", h264({0x1D, 0x85, 1}), FramerDrop::kUnsupportedNalType},
        {"STAP-A without units", h264({0x18}), FramerDrop::kAggregateTruncated},
        {"STAP-A unit of size 0", h264({0x18, 0, 0}), FramerDrop::kAggregateTruncated},
        {"FU-A without data", h264({0x7C, 0x85}), FramerDrop::kFragmentTooShort},
        {"FU-A start and end", h264({0x7C, 0xC5, 1}), FramerDrop::kFragmentStartAndEnd},
        {"FU-A without its start", h264({0x7C, 0x05, 1}), FramerDrop::kFragmentWithoutStart},
    };
    for (const auto& [name, packet, reason] : cases) {
        Make({});
        EXPECT_EQ(framer->Input(packet.data(), packet.size()), reason) << name;
        EXPECT_EQ(framer->drops(reason), 1u) << name;
    }
}

TEST_F(TimestampFramerTest, RepeatedAndLatePacketsAreDroppedWithTheirReason) {
    const std::vector<Bytes> packets = Packetize({KeyPicture(0)}, 100);  // 100, 101, 102
    Make({MediaCodec::H264, 96, 8});
    const std::tuple<size_t, FramerDrop> steps[] = {
        {0, FramerDrop::kNone},      {2, FramerDrop::kNone},  // 102 waits for 101
        {2, FramerDrop::kDuplicate}, {1, FramerDrop::kNone}, {0, FramerDrop::kLate},
    };
    for (const auto& [index, reason] : steps) {
        EXPECT_EQ(framer->Input(packets[index].data(), packets[index].size()), reason) << index;
    }
    EXPECT_EQ(units.size(), 1u);
}

TEST_F(TimestampFramerTest, UnitPastTheLimitIsDroppedWhole) {
    Make({MediaCodec::H264, 96, 16, 200});
    const std::vector<Picture> pictures = {KeyPicture(0), MakePicture(1, {rtpgen::Nal(0x65, 150)})};
    FeedAll(Packetize(pictures, 1));
    EXPECT_EQ(units, std::vector<Unit>{Expected(pictures[1], true)});
    EXPECT_EQ(framer->drops(FramerDrop::kAccessUnitTooLarge), 1u);
}

TEST_F(TimestampFramerTest, AfterRandomBytesAValidStreamStillComesOutWhole) {
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        Bytes garbage(random() % 64);
        for (uint8_t& b : garbage) {
            b = static_cast<uint8_t>(random());
        }
        if (garbage.size() > 1 && i % 2 == 0) {
            garbage[0] = 0x80 | (garbage[0] & 0x3F);  // version 2: reaches the payload
            garbage[1] = 96 | (garbage[1] & 0x80);
        }
        framer->Input(garbage.data(), garbage.size());
    }
    units.clear();
    // Far from any number the garbage left behind, and long enough to outrun the window.
    std::vector<Picture> pictures;
    for (uint32_t i = 0; i < 60; ++i) {
        pictures.push_back(i % 10 == 0 ? KeyPicture(i + 1000) : DeltaPicture(i + 1000));
    }
    FeedAll(Packetize(pictures, 0x8000));
    framer->Flush();
    ASSERT_GE(units.size(), 10u);
    std::vector<Unit> expected;
    for (size_t i = 50; i < 60; ++i) {
        expected.push_back(Expected(pictures[i], i == 50));
    }
    EXPECT_EQ(std::vector<Unit>(units.end() - 10, units.end()), expected);
}
