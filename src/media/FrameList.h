// CFrameList: one frame under construction, all the packets that share a frame key, kept in
// sequence order until the frame is judged complete (its payloads joined) or given up.
#pragma once

#include <cstdint>

#include "base/Memory.h"
#include "base/Types.h"
#include "media/RtpPacket.h"

// Results of JudgePacketListState.
enum eFrameState { FRAME_WAITING = 0, FRAME_COMPLETE = 1, FRAME_GIVEN_UP = 2 };

class CFrameList {
public:
    // Judgements since the last insertion after which a frame is given up: without a marker
    // packet, and with a marker but a sequence gap.
    static constexpr int kJudgeLimit = 200;
    static constexpr int kDisorderLimit = 20;
    // Every packet of a source carries the same frame key and each insertion restarts the
    // wait counts, so a frame whose marker never comes would take in the whole stream. No real
    // frame holds this many packets (about 5.7 MB of payload): such a frame is given up.
    static constexpr DWORD kMaxPackets = 4096;

    CFrameList();
    virtual ~CFrameList();
    CFrameList(const CFrameList&) = delete;
    CFrameList& operator=(const CFrameList&) = delete;

    // Takes the packet: 1 when it was stored or was a duplicate (then freed), 0 when its
    // payload copy could not be allocated (the record stays linked without one).
    int InsertPacket(PacketList* packet);
    // FRAME_WAITING, FRAME_COMPLETE (joined payload in m_FrameBuf) or FRAME_GIVEN_UP.
    int JudgePacketListState();

    // True when the frame's marker packet has arrived and seq comes after it: such a packet
    // belongs to a later frame.
    bool EndsBefore(uint16_t seq) const;
    // True when the frame holds a packet that comes after seq.
    bool HoldsPacketsAfter(uint16_t seq) const;
    // Moves the packets that come after seq, in order, to the empty frame 'later'. Used when a
    // late marker packet shows that they belong to the next frame.
    void MovePacketsAfter(uint16_t seq, CFrameList& later);

    CFrameList* pNext;
    CFrameList* pPre;  // the first frame's pPre points at the last frame
    BOOL m_bMarkFlag;
    BOOL m_bLostFlag;
    uint16_t wantpt;
    DWORD waitcount;
    DWORD extend;
    DWORD ts;  // the frame key
    uint8_t packettype;
    uint32_t wantfirstseq;
    uint32_t m_FirstSeq;  // sequence number at the head of the packet list
    uint32_t m_LastSeq;   // sequence number of the last marker packet inserted
    DWORD m_uPtCount;     // packets inserted, duplicates not counted
    int m_iDisorderPkt;
    int m_iJudgePkt;
    DWORD nextpos;
    CMemory m_FrameBuf;
    PacketList* m_ptListHead;
    uint32_t m_uPtTotalLen;
    WORD MinSeq;  // never written after construction
    WORD MaxSeq;

private:
    PacketList* WalkBackFrom(uint16_t seq) const;
    void LinkBehind(PacketList* at, PacketList* packet);
    void JoinPayloads();
    // Takes the counts and the marker of a packet moved in from another frame.
    void CountMovedPacket(const PacketList& packet);
    void RecountMarker();
};

// Sequence numbers in serial order: a comes before b when b is 1 to 32767 counts after it, so
// 65535 comes before 0.
inline bool SeqBefore(uint16_t a, uint16_t b) {
    const uint16_t ahead = static_cast<uint16_t>(b - a);
    return ahead != 0 && ahead < 0x8000;
}

// The rank of v near the 32-bit wrap: values in the lowest 65,535 counts rank below zero.
unsigned long GetUINTCritical(unsigned long v);
// 1 when a is earlier than b, a value just after the 32-bit wrap counting as later than one
// just before it.
int IsUINTALittleB(unsigned long a, unsigned long b);
