#include "media/FrameList.h"

#include <cstring>
#include <new>

#include "media/RingList.h"

CFrameList::CFrameList()
    : pNext(nullptr),
      pPre(nullptr),
      m_bMarkFlag(0),
      m_bLostFlag(0),
      wantpt(0),
      waitcount(0),
      extend(0),
      ts(0),
      packettype(0),
      wantfirstseq(0),
      m_FirstSeq(0),
      m_LastSeq(0),
      m_uPtCount(0),
      m_iDisorderPkt(0),
      m_iJudgePkt(0),
      nextpos(0),
      m_ptListHead(nullptr),
      m_uPtTotalLen(0),
      MinSeq(0),
      MaxSeq(0) {}

CFrameList::~CFrameList() {
    m_FrameBuf.FreeBuf();
    while (m_ptListHead != nullptr) {
        PacketList* packet = m_ptListHead;
        playersdk::RingUnlink(m_ptListHead, packet);
        FreePacket(packet);
    }
}

int CFrameList::InsertPacket(PacketList* packet) {
    m_iDisorderPkt = 0;
    m_iJudgePkt = 0;
    const uint32_t seq = packet->head.seq;
    if (m_ptListHead == nullptr) {
        m_FirstSeq = seq;
        packettype = packet->head.pt;
        ts = packet->head.ts;
        m_bLostFlag = 0;
        playersdk::RingAppend(m_ptListHead, packet);
    } else if (m_ptListHead->pPre->head.seq < seq) {
        // Plain 16-bit comparison: no wrap-around here.
        playersdk::RingAppend(m_ptListHead, packet);
    } else {
        PacketList* at = WalkBackFrom(seq);
        if (at->head.seq == seq) {
            // A duplicate is only recognised against the packet where the walk stopped.
            FreePacket(packet);
            return 1;
        }
        LinkBehind(at, packet);
    }
    if (packet->head.m) {
        m_bMarkFlag = 1;
        m_LastSeq = seq;
    }
    ++m_uPtCount;
    // Each payload is copied into its record so that the datagram and the work buffer can be
    // reused for the next packet.
    packet->pRealBuf = new (std::nothrow) unsigned char[packet->length];
    if (packet->pRealBuf == nullptr) {
        return 0;
    }
    if (packet->length > 0) {
        memcpy(packet->pRealBuf, packet->pMediaBuf, packet->length);
    }
    m_uPtTotalLen += static_cast<uint32_t>(packet->length);
    return 1;
}

// Walks back from the tail while the packets' numbers are greater than seq, never past the
// head.
PacketList* CFrameList::WalkBackFrom(uint32_t seq) const {
    PacketList* at = m_ptListHead->pPre;
    while (at->head.seq > seq && at != m_ptListHead) {
        at = at->pPre;
    }
    return at;
}

// A walk that stopped at the head puts the new packet in front of it, whatever the head's own
// number: a packet that belongs between the first and the second one lands first. This is
// deliberate; the completeness test counts on m_FirstSeq being the head's number.
void CFrameList::LinkBehind(PacketList* at, PacketList* packet) {
    if (at != m_ptListHead) {
        playersdk::RingInsertAfter(m_ptListHead, at, packet);
        return;
    }
    playersdk::RingPushFront(m_ptListHead, packet);
    m_FirstSeq = packet->head.seq;
}

int CFrameList::JudgePacketListState() {
    if (m_iJudgePkt > kJudgeLimit) {
        return FRAME_GIVEN_UP;
    }
    ++m_iJudgePkt;
    if (!m_bMarkFlag) {
        return FRAME_WAITING;
    }
    // Only the count is compared with the span: a run across the 16-bit wrap never passes,
    // and a reordered list whose span happens to match is joined in its list order.
    if (static_cast<DWORD>(m_LastSeq - m_FirstSeq) == m_uPtCount - 1) {
        JoinPayloads();
        return FRAME_COMPLETE;
    }
    if (m_iDisorderPkt > kDisorderLimit) {
        return FRAME_GIVEN_UP;
    }
    ++m_iDisorderPkt;
    return FRAME_WAITING;
}

void CFrameList::JoinPayloads() {
    if (m_FrameBuf.GetCurBuflen() < m_uPtTotalLen) {
        m_FrameBuf.FreeBuf();
        m_FrameBuf.getbuf(m_uPtTotalLen);
    }
    m_FrameBuf.m_curpos = 0;
    for (PacketList* packet = m_ptListHead; packet != nullptr; packet = packet->pNext) {
        if (packet->pRealBuf != nullptr) {
            m_FrameBuf.AddData(packet->pRealBuf, packet->length);
        }
    }
}

unsigned long GetUINTCritical(unsigned long v) {
    if (v <= 0xFFFE) {
        return v - 0xFFFF;  // wraps to just below 2^64
    }
    if (v > 0xFFFF0000UL) {
        return v - 0xFFFF0000UL;
    }
    return v;
}

namespace {
bool InMiddleZone(unsigned long v) {
    return v > 0xFFFE && v <= 0xFFFF0000UL;
}
}  // namespace

int IsUINTALittleB(unsigned long a, unsigned long b) {
    if (InMiddleZone(a) || InMiddleZone(b)) {
        return a < b ? 1 : 0;
    }
    return GetUINTCritical(a) < GetUINTCritical(b) ? 1 : 0;
}
