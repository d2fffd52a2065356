#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "MediaTestSupport.h"
#include "media/FrameList.h"
#include "media/RtpStream.h"

namespace {
constexpr DWORD kKey = 0x11223344;

struct Pkt {
    uint16_t seq;
    bool marker;
    std::string payload;
};

PacketList* Packet(const Pkt& p, DWORD key = kKey) {
    PacketList* packet = new PacketList{};
    packet->head.VERSION = 2;
    packet->head.pt = 96;
    packet->head.seq = p.seq;
    packet->head.m = p.marker ? 1 : 0;
    packet->head.ts = key;
    packet->pMediaBuf = reinterpret_cast<unsigned char*>(const_cast<char*>(p.payload.data()));
    packet->length = p.payload.size();
    return packet;
}

// The judgement (1-based) at which the frame stops waiting, and its state then.
std::pair<int, int> JudgeUntilDecided(CFrameList& frame) {
    for (int n = 1; n < 1000; ++n) {
        if (const int state = frame.JudgePacketListState(); state != FRAME_WAITING) {
            return {n, state};
        }
    }
    return {0, FRAME_WAITING};
}
}  // namespace

TEST(FrameReassembly, PacketRunsAreJoinedOrGivenUpAtTheirJudgement) {
    struct Case {
        const char* what;
        std::vector<Pkt> packets;
        int decidedAt;  // 1: complete at once, with `joined`
        std::string joined;
    };
    const Case cases[] = {
        {"late middle", {{10, 0, "aa"}, {11, 0, "bbb"}, {13, 1, "d"}, {12, 0, "c"}}, 1, "aabbbcd"},
        {"reordered run with gaps", {{5, 0, "5"}, {9, 1, "9"}, {7, 0, "7"}}, 22, ""},
        {"duplicates", {{10, 0, "a"}, {11, 1, "b"}, {11, 1, "B"}, {10, 0, "A"}}, 1, "ab"},
        {"lost", {{10, 0, "a"}, {11, 0, "b"}, {13, 1, "d"}}, 22, ""},
        {"between head and second", {{10, 0, "x"}, {12, 1, "z"}, {11, 0, "y"}}, 1, "xyz"},
        {"across the wrap", {{65534, 0, "a"}, {65535, 0, "b"}, {0, 1, "c"}}, 1, "abc"},
        {"reordered across the wrap", {{0, 0, "b"}, {1, 1, "c"}, {65535, 0, "a"}}, 1, "abc"},
        {"no marker", {{1, 0, "a"}, {2, 0, "b"}}, 202, ""},
    };
    for (const Case& c : cases) {
        CFrameList frame;
        for (const Pkt& p : c.packets) {
            EXPECT_EQ(frame.InsertPacket(Packet(p)), 1) << c.what;
        }
        const int state = c.decidedAt == 1 ? FRAME_COMPLETE : FRAME_GIVEN_UP;
        EXPECT_EQ(JudgeUntilDecided(frame), std::make_pair(c.decidedAt, state)) << c.what;
        if (state == FRAME_COMPLETE) {
            EXPECT_EQ(std::string(static_cast<const char*>(frame.m_FrameBuf.GetCurBuf()),
                                  frame.m_FrameBuf.GetNextPos()),
                      c.joined)
                << c.what;
        }
    }
    // An insertion restarts the count.
    CFrameList gap;
    gap.InsertPacket(Packet({10, false, "x"}));
    gap.InsertPacket(Packet({12, true, "z"}));
    for (int i = 0; i < 15; ++i) {
        ASSERT_EQ(gap.JudgePacketListState(), FRAME_WAITING);
    }
    gap.InsertPacket(Packet({9, false, "w"}));
    EXPECT_EQ(JudgeUntilDecided(gap), std::make_pair(22, int{FRAME_GIVEN_UP}));
}

TEST(KeyOrder, ValuesJustAfterTheWrapRankLaterThanValuesJustBeforeIt) {
    EXPECT_EQ(IsUINTALittleB(0xFFFFFFF0, 0x10), 1);
    EXPECT_EQ(IsUINTALittleB(0x10, 0xFFFFFFF0), 0);
    EXPECT_EQ(IsUINTALittleB(0x20000, 0x10000), 0);
    EXPECT_EQ(IsUINTALittleB(0x10000, 0x20000), 1);
    EXPECT_EQ(GetUINTCritical(0xFFFFFFFF), 0xFFFFul);
    EXPECT_EQ(GetUINTCritical(0x10), 0x10ul - 0xFFFF);
    EXPECT_EQ(GetUINTCritical(0x12345), 0x12345ul);
}

TEST(FrameNode, FramesAreKeptInKeyOrderAndAPacketOlderThanAllIsRefused) {
    CRtpStream stream;
    const Pkt p{1, false, "p"};  // outlives the packets that point at its payload
    std::vector<PacketList*> packets;
    for (DWORD key : {100ul, 300ul, 200ul, 250ul}) {
        packets.push_back(Packet(p, key));
        ASSERT_NE(stream.GetFrameNode(packets.back()), nullptr);
    }
    std::vector<DWORD> keys;
    for (CFrameList* f = stream.m_pFrameList; f != nullptr; f = f->pNext) {
        keys.push_back(f->ts);
    }
    EXPECT_EQ(keys, (std::vector<DWORD>{100, 200, 250, 300}));
    EXPECT_EQ(stream.m_pFrameList->pPre->ts, 300u);
    packets.push_back(Packet(p, 200));
    EXPECT_EQ(stream.GetFrameNode(packets.back()), stream.m_pFrameList->pNext);
    packets.push_back(Packet(p, 50));
    EXPECT_EQ(stream.GetFrameNode(packets.back()), nullptr);
    EXPECT_EQ(stream.m_iFrameCount, 4);
    for (PacketList* packet : packets) {
        FreePacket(packet);
    }
}

namespace {
// One packet of a generated stream: frame f of three packets, the marker on the third.
struct Sent {
    int frame;  // -1: a packet of no frame that is ever handed on
    int index;
    uint16_t seq;
    bool marker;
};

std::vector<Sent> InOrder(int frames, uint16_t firstSeq, int firstFrame = 0) {
    std::vector<Sent> run;
    for (int f = 0; f < frames; ++f) {
        for (int i = 0; i < 3; ++i) {
            run.push_back({firstFrame + f, i, static_cast<uint16_t>(firstSeq + 3 * f + i), i == 2});
        }
    }
    return run;
}

std::vector<Sent> Then(std::vector<Sent> a, const std::vector<Sent>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<Sent>::iterator Find(std::vector<Sent>& v, int frame, int index) {
    return std::find_if(v.begin(), v.end(),
                        [&](const Sent& s) { return s.frame == frame && s.index == index; });
}

std::vector<Sent> Without(std::vector<Sent> v, int frame, int index) {
    v.erase(Find(v, frame, index));
    return v;
}

// The packet (frame, index) sent again (copy) or only (move) right behind (afterFrame, afterIndex).
std::vector<Sent> Behind(std::vector<Sent> v, int frame, int index, int afterFrame, int afterIndex,
                         bool copy = false) {
    const Sent packet = *Find(v, frame, index);
    if (!copy) {
        v.erase(Find(v, frame, index));
    }
    v.insert(Find(v, afterFrame, afterIndex) + 1, packet);
    return v;
}

// A marker-less run that no frame ever ends: the packet cap has to give it up.
std::vector<Sent> Runaway(int packets, uint16_t firstSeq) {
    std::vector<Sent> run;
    for (int i = 0; i < packets; ++i) {
        run.push_back({-1, i, static_cast<uint16_t>(firstSeq + i), false});
    }
    return run;
}

std::string PayloadOf(int frame, int index) {
    return "f" + std::to_string(frame) + "p" + std::to_string(index) + ";";
}

std::vector<int> Frames(int count, std::vector<int> lost = {}) {
    std::vector<int> frames;
    for (int f = 0; f < count; ++f) {
        if (std::find(lost.begin(), lost.end(), f) == lost.end()) {
            frames.push_back(f);
        }
    }
    return frames;
}
}  // namespace

TEST_F(MediaTest, EveryFrameThatCanBeRebuiltIsHandedOnOnceAndInOrder) {
    struct Case {
        const char* what;
        std::vector<Sent> arrival;
        std::vector<int> handedOn;
    };
    const Case cases[] = {
        {"numbers wrap", InOrder(200, 65000), Frames(200)},
        {"a lost packet", Without(InOrder(10, 100), 5, 1), Frames(10, {5})},
        {"a lost packet across the wrap", Without(InOrder(10, 65531), 1, 1), Frames(10, {1})},
        {"middle after the marker", Behind(InOrder(10, 100), 4, 1, 4, 2), Frames(10)},
        {"marker behind the next frame's packets", Behind(InOrder(10, 65531), 1, 2, 2, 1),
         Frames(10)},
        {"copies", Behind(Behind(InOrder(10, 100), 3, 1, 3, 1, true), 3, 2, 5, 0, true),
         Frames(10)},
        {"a packet later than the next marker", Behind(InOrder(10, 100), 5, 1, 6, 2),
         Frames(10, {5})},
        {"new run of numbers", Then(InOrder(5, 40000), InOrder(5, 10000, 5)), Frames(10)},
        {"runaway without markers",
         Then(Runaway(CFrameList::kMaxPackets + 1, 60000), InOrder(3, 64097)), Frames(3)},
    };
    for (const Case& c : cases) {
        CRtpStream s;
        g_capturedFrames.clear();
        for (const Sent& p : c.arrival) {
            rtpgen::RtpFields fields{p.seq, p.marker, 98, 0, 0x11223344};
            Feed(rtpgen::Packet(fields, Text(PayloadOf(p.frame, p.index))), &s);
        }
        std::vector<std::string> expected;
        for (int f : c.handedOn) {
            expected.push_back(PayloadOf(f, 0) + PayloadOf(f, 1) + PayloadOf(f, 2));
        }
        std::vector<std::string> seen;
        for (const CapturedCall& frame : g_capturedFrames) {
            seen.emplace_back(frame.bytes.begin(), frame.bytes.end());
        }
        EXPECT_EQ(seen, expected) << c.what;
        EXPECT_EQ(std::make_pair(s.m_iFrameCount, s.m_iTotalFrame.load()),
                  std::make_pair(0, static_cast<int>(expected.size())))
            << c.what;
    }
}
