#include <gtest/gtest.h>

#include <string>
#include <vector>

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
        {"span matches, list order", {{5, 0, "5"}, {9, 1, "9"}, {7, 0, "7"}}, 1, "759"},
        {"duplicates", {{10, 0, "a"}, {11, 1, "b"}, {11, 1, "B"}, {10, 0, "A"}}, 1, "ab"},
        {"lost", {{10, 0, "a"}, {11, 0, "b"}, {13, 1, "d"}}, 22, ""},
        {"lands in front", {{10, 0, "x"}, {12, 1, "z"}, {11, 0, "y"}}, 22, ""},
        {"across the wrap", {{65534, 0, "a"}, {65535, 0, "b"}, {0, 1, "c"}}, 22, ""},
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
