#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "media/FrameList.h"
#include "media/RtpStream.h"

namespace {
constexpr DWORD kKey = 0x11223344;

PacketList* Packet(uint16_t seq, bool marker, const std::string& payload, DWORD key = kKey) {
    PacketList* packet = new PacketList{};
    packet->head.VERSION = 2;
    packet->head.pt = 96;
    packet->head.seq = seq;
    packet->head.m = marker ? 1 : 0;
    packet->head.ts = key;
    packet->pMediaBuf = reinterpret_cast<unsigned char*>(const_cast<char*>(payload.data()));
    packet->length = payload.size();
    return packet;
}

std::string Joined(const CFrameList& frame) {
    return std::string(static_cast<const char*>(frame.m_FrameBuf.GetCurBuf()),
                       frame.m_FrameBuf.GetNextPos());
}

std::vector<int> ListOrder(const CFrameList& frame) {
    std::vector<int> order;
    for (PacketList* p = frame.m_ptListHead; p != nullptr; p = p->pNext) {
        order.push_back(p->head.seq);
    }
    return order;
}

// The judgement (1-based) at which the frame stops waiting, and its state then.
std::pair<int, int> JudgeUntilDecided(CFrameList& frame) {
    for (int n = 1; n < 1000; ++n) {
        const int state = frame.JudgePacketListState();
        if (state != FRAME_WAITING) {
            return {n, state};
        }
    }
    return {0, FRAME_WAITING};
}
}  // namespace

TEST(FrameReassembly, InOrderOrLateMiddlePacketsAreJoinedOnceTheRunIsWhole) {
    CFrameList frame;
    EXPECT_EQ(frame.InsertPacket(Packet(10, false, "aa")), 1);
    EXPECT_EQ(frame.InsertPacket(Packet(11, false, "bbb")), 1);
    EXPECT_EQ(frame.JudgePacketListState(), FRAME_WAITING);
    EXPECT_EQ(frame.InsertPacket(Packet(13, true, "d")), 1);
    EXPECT_EQ(frame.JudgePacketListState(), FRAME_WAITING);    // span 3, three packets
    EXPECT_EQ(frame.InsertPacket(Packet(12, false, "c")), 1);  // lands after 11
    EXPECT_EQ(frame.JudgePacketListState(), FRAME_COMPLETE);
    EXPECT_EQ(Joined(frame), "aabbbcd");
    EXPECT_EQ(frame.m_uPtTotalLen, 7u);
    EXPECT_EQ(std::make_pair(frame.m_FirstSeq, frame.m_LastSeq), std::make_pair(10u, 13u));
}

TEST(FrameReassembly, PacketBetweenFirstAndSecondLandsInFrontAndTheFrameIsGivenUp) {
    CFrameList frame;
    frame.InsertPacket(Packet(10, false, "x"));
    frame.InsertPacket(Packet(12, true, "z"));
    frame.InsertPacket(Packet(11, false, "y"));
    EXPECT_EQ(ListOrder(frame), (std::vector<int>{11, 10, 12}));
    EXPECT_EQ(frame.m_FirstSeq, 11u);
    // Span 1 against three packets: given up at the 22nd judgement after the last insertion.
    EXPECT_EQ(JudgeUntilDecided(frame), std::make_pair(22, int{FRAME_GIVEN_UP}));
}

TEST(FrameReassembly, GapsWaitTwentyTwoJudgementsAndMissingMarkersTwoHundredAndTwo) {
    CFrameList gap;
    gap.InsertPacket(Packet(10, false, "x"));
    gap.InsertPacket(Packet(12, true, "z"));
    for (int i = 0; i < 15; ++i) {
        ASSERT_EQ(gap.JudgePacketListState(), FRAME_WAITING);
    }
    gap.InsertPacket(Packet(9, false, "w"));  // an insertion restarts the count
    EXPECT_EQ(JudgeUntilDecided(gap), std::make_pair(22, int{FRAME_GIVEN_UP}));
    CFrameList markerless;
    markerless.InsertPacket(Packet(1, false, "a"));
    markerless.InsertPacket(Packet(2, false, "b"));
    EXPECT_EQ(JudgeUntilDecided(markerless), std::make_pair(202, int{FRAME_GIVEN_UP}));
}

TEST(FrameReassembly, MatchingSpanJoinsAReorderedListInItsListOrder) {
    CFrameList frame;
    frame.InsertPacket(Packet(5, false, "5"));
    frame.InsertPacket(Packet(9, true, "9"));
    frame.InsertPacket(Packet(7, false, "7"));
    EXPECT_EQ(frame.m_FirstSeq, 7u);
    EXPECT_EQ(frame.JudgePacketListState(), FRAME_COMPLETE);
    EXPECT_EQ(Joined(frame), "759");
}

TEST(FrameReassembly, DuplicateIsFreedAndNotCounted) {
    CFrameList frame;
    frame.InsertPacket(Packet(10, false, "a"));
    frame.InsertPacket(Packet(11, true, "b"));
    EXPECT_EQ(frame.InsertPacket(Packet(11, true, "B")), 1);
    EXPECT_EQ(frame.InsertPacket(Packet(10, false, "A")), 1);
    EXPECT_EQ(frame.m_uPtCount, 2u);
    EXPECT_EQ(frame.JudgePacketListState(), FRAME_COMPLETE);
    EXPECT_EQ(Joined(frame), "ab");
}

TEST(FrameReassembly, RunAcrossTheSequenceWrapNeverCompletes) {
    CFrameList frame;
    frame.InsertPacket(Packet(65534, false, "a"));
    frame.InsertPacket(Packet(65535, false, "b"));
    frame.InsertPacket(Packet(0, true, "c"));
    EXPECT_EQ(ListOrder(frame), (std::vector<int>{0, 65534, 65535}));
    EXPECT_EQ(JudgeUntilDecided(frame), std::make_pair(22, int{FRAME_GIVEN_UP}));
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
    std::string payload = "p";
    std::vector<PacketList*> packets;
    for (DWORD key : {100ul, 300ul, 200ul, 250ul}) {
        packets.push_back(Packet(1, false, payload, key));
        ASSERT_NE(stream.GetFrameNode(packets.back()), nullptr);
    }
    std::vector<DWORD> keys;
    for (CFrameList* f = stream.m_pFrameList; f != nullptr; f = f->pNext) {
        keys.push_back(f->ts);
    }
    EXPECT_EQ(keys, (std::vector<DWORD>{100, 200, 250, 300}));
    EXPECT_EQ(stream.m_pFrameList->pPre->ts, 300u);
    EXPECT_EQ(stream.m_iFrameCount, 4);
    PacketList* same = Packet(2, false, payload, 200);
    EXPECT_EQ(stream.GetFrameNode(same), stream.m_pFrameList->pNext);
    PacketList* old = Packet(3, false, payload, 50);
    EXPECT_EQ(stream.GetFrameNode(old), nullptr);
    EXPECT_EQ(stream.m_iFrameCount, 4);
    packets.push_back(same);
    packets.push_back(old);
    for (PacketList* p : packets) {
        FreePacket(p);
    }
}
