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
    const uint16_t seq = packet->head.seq;
    if (m_ptListHead == nullptr) {
        m_FirstSeq = seq;
        packettype = packet->head.pt;
        ts = packet->head.ts;
        m_bLostFlag = 0;
        playersdk::RingAppend(m_ptListHead, packet);
    } else if (SeqBefore(m_ptListHead->pPre->head.seq, seq)) {
        playersdk::RingAppend(m_ptListHead, packet);
    } else {
        PacketList* at = WalkBackFrom(seq);
        if (at->head.seq == seq) {
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

// Walks back from the tail while the packets come after seq, never past the head: the walk
// stops at the packet seq belongs behind, at a copy of it, or at the head.
PacketList* CFrameList::WalkBackFrom(uint16_t seq) const {
    PacketList* at = m_ptListHead->pPre;
    while (at != m_ptListHead && SeqBefore(seq, at->head.seq)) {
        at = at->pPre;
    }
    return at;
}

// Packets are kept in serial order, across the 16-bit wrap: a packet that belongs between the
// head and the second packet goes there, one earlier than the head becomes the head.
void CFrameList::LinkBehind(PacketList* at, PacketList* packet) {
    if (SeqBefore(at->head.seq, packet->head.seq)) {
        playersdk::RingInsertAfter(m_ptListHead, at, packet);
        return;
    }
    playersdk::RingPushFront(m_ptListHead, packet);
    m_FirstSeq = packet->head.seq;
}

int CFrameList::JudgePacketListState() {
    if (m_iJudgePkt > kJudgeLimit || m_uPtCount > kMaxPackets) {
        return FRAME_GIVEN_UP;
    }
    ++m_iJudgePkt;
    if (!m_bMarkFlag) {
        return FRAME_WAITING;
    }
    // The packets are in serial order without copies, so a 16-bit span that matches the count
    // means that no number is missing, also across the wrap.
    const uint16_t span = static_cast<uint16_t>(m_LastSeq - m_FirstSeq);
    if (static_cast<DWORD>(span) == m_uPtCount - 1) {
        JoinPayloads();
        return FRAME_COMPLETE;
    }
    if (m_iDisorderPkt > kDisorderLimit) {
        return FRAME_GIVEN_UP;
    }
    ++m_iDisorderPkt;
    return FRAME_WAITING;
}

bool CFrameList::EndsBefore(uint16_t seq) const {
    return m_bMarkFlag && SeqBefore(static_cast<uint16_t>(m_LastSeq), seq);
}

bool CFrameList::HoldsPacketsAfter(uint16_t seq) const {
    return m_ptListHead != nullptr && SeqBefore(seq, m_ptListHead->pPre->head.seq);
}

void CFrameList::MovePacketsAfter(uint16_t seq, CFrameList& later) {
    while (HoldsPacketsAfter(seq)) {
        PacketList* packet = m_ptListHead->pPre;
        playersdk::RingUnlink(m_ptListHead, packet);
        --m_uPtCount;
        if (packet->pRealBuf != nullptr) {
            m_uPtTotalLen -= static_cast<uint32_t>(packet->length);
        }
        playersdk::RingPushFront(later.m_ptListHead, packet);
        later.CountMovedPacket(*packet);
    }
    RecountMarker();
    later.RecountMarker();
    later.ts = ts;
    later.extend = extend;
    later.packettype = packettype;
}

void CFrameList::CountMovedPacket(const PacketList& packet) {
    m_FirstSeq = packet.head.seq;
    ++m_uPtCount;
    if (packet.pRealBuf != nullptr) {
        m_uPtTotalLen += static_cast<uint32_t>(packet.length);
    }
}

// The marker of a frame cut in two is its last marker packet in sequence order.
void CFrameList::RecountMarker() {
    m_bMarkFlag = 0;
    for (PacketList* packet = m_ptListHead; packet != nullptr; packet = packet->pNext) {
        if (packet->head.m) {
            m_bMarkFlag = 1;
            m_LastSeq = packet->head.seq;
        }
    }
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
