#include "media/TimestampFramer.h"

#include <algorithm>

#include "base/ByteCursor.h"
#include "media/RtpConstants.h"

namespace playersdk {
namespace {
constexpr size_t kFixedHeader = 12;

// Serial-number distance from a to b: positive when b is ahead.
int SeqDistance(uint16_t a, uint16_t b) {
    return static_cast<int16_t>(static_cast<uint16_t>(b - a));
}
}  // namespace

CTimestampFramer::CTimestampFramer(const FramerConfig& config,
                                   std::unique_ptr<IPayloadUnpacker> unpacker,
                                   AccessUnitCallback callback, void* user)
    : m_config(config),
      m_window(std::clamp<size_t>(config.reorderWindow, 1, kMaxWindow)),
      m_unpacker(std::move(unpacker)),
      m_callback(callback),
      m_user(user),
      m_bWaitKey(m_unpacker != nullptr && m_unpacker->HoldsBackAfterLoss()) {
    m_unit.limit = config.maxAccessUnit;
}

CTimestampFramer::CTimestampFramer(const FramerConfig& config, AccessUnitCallback callback,
                                   void* user)
    : CTimestampFramer(config, MakePayloadUnpacker(config.codec), callback, user) {}

void CTimestampFramer::SetParameterSets(const uint8_t* data, size_t len) {
    m_parameterSets.assign(data, data + (data != nullptr ? len : 0));
    m_bParameterSetsSent = false;
}

FramerDrop CTimestampFramer::Input(const uint8_t* data, size_t len) {
    Packet packet;
    const FramerDrop invalid = Parse(data, len, packet);
    if (invalid != FramerDrop::kNone) {
        return Count(invalid);
    }
    return Place(packet);
}

// Version 2; the header is 12 bytes, the CSRC list and the extension; padding is counted by
// the last byte and must leave the header whole.
FramerDrop CTimestampFramer::Parse(const uint8_t* data, size_t len, Packet& out) const {
    ByteReader reader(data, len);
    uint8_t first = 0;
    uint8_t second = 0;
    if (!reader.u8(first) || !reader.u8(second) || !reader.be16(out.seq) ||
        !reader.be32(out.timestamp) || !reader.skip(4)) {
        return FramerDrop::kTooShort;
    }
    if (static_cast<unsigned>(first >> 6) != kRtpVersion) {
        return FramerDrop::kBadVersion;
    }
    if (!reader.skip(4u * (first & 0x0F))) {
        return FramerDrop::kHeaderPastEnd;
    }
    if (first & 0x10) {
        uint16_t words = 0;
        if (!reader.skip(2) || !reader.be16(words) || !reader.skip(4u * words)) {
            return FramerDrop::kHeaderPastEnd;
        }
    }
    size_t payloadLen = reader.remaining();
    if (first & 0x20) {
        const uint8_t padding = payloadLen > 0 ? data[len - 1] : 0;
        if (padding == 0 || padding > payloadLen) {
            return FramerDrop::kBadPadding;
        }
        payloadLen -= padding;
    }
    if (payloadLen == 0) {
        return FramerDrop::kEmptyPayload;
    }
    out.payloadType = second & 0x7F;
    if (out.payloadType != m_config.payloadType) {
        return FramerDrop::kWrongPayloadType;
    }
    out.marker = (second & 0x80) != 0;
    out.payload = reader.current();
    out.len = payloadLen;
    return FramerDrop::kNone;
}

// In order: handed on at once, from the caller's buffer. Ahead: kept in the window; a packet
// beyond the window gives up the oldest missing ones.
FramerDrop CTimestampFramer::Place(const Packet& packet) {
    if (!m_bStarted) {
        m_bStarted = true;
        m_expected = packet.seq;
    }
    int ahead = SeqDistance(m_expected, packet.seq);
    if (ahead < 0 && ahead >= -kMaxMisorder) {
        return Count(FramerDrop::kLate);
    }
    if (ahead < 0 || ahead >= kMaxDropout) {
        Restart(packet.seq);
        ahead = 0;
    }
    if (ahead >= static_cast<int>(m_window)) {
        while (ahead >= static_cast<int>(m_window)) {
            Release(m_expected++);
            --ahead;
        }
        Drain();  // what waited behind the given-up packets follows them
        ahead = SeqDistance(m_expected, packet.seq);
    }
    Slot& slot = SlotOf(packet.seq);
    if (slot.used) {
        return Count(FramerDrop::kDuplicate);
    }
    if (ahead > 0) {
        slot.used = true;
        slot.packet = packet;
        slot.payload.assign(packet.payload, packet.payload + packet.len);
        slot.packet.payload = slot.payload.data();
        return FramerDrop::kNone;
    }
    const FramerDrop result = Process(packet);
    ++m_expected;
    Drain();
    return result;
}

// A new run of sequence numbers: what waits of the old one is handed on, and the jump counts
// as a loss.
void CTimestampFramer::Restart(uint16_t seq) {
    ReleaseWaiting();
    m_expected = seq;
    NoteLoss();
}

// Hands on the packet with this number, or counts it lost.
void CTimestampFramer::Release(uint16_t seq) {
    Slot& slot = SlotOf(seq);
    if (!slot.used || slot.packet.seq != seq) {
        ++m_lost;
        NoteLoss();
        return;
    }
    slot.used = false;
    Process(slot.packet);
}

void CTimestampFramer::Drain() {
    for (Slot* slot = &SlotOf(m_expected); slot->used && slot->packet.seq == m_expected;
         slot = &SlotOf(m_expected)) {
        slot->used = false;
        Process(slot->packet);
        ++m_expected;
    }
}

// A unit being built lost a piece (its middle or its marker packet). Between units the lost
// packets are taken as whole units: the next one is kept, but a codec that needs references
// waits for a key frame.
void CTimestampFramer::NoteLoss() {
    if (m_bUnitOpen) {
        m_bUnitDamaged = true;
    } else if (m_unpacker != nullptr && m_unpacker->HoldsBackAfterLoss()) {
        m_bWaitKey = true;
    }
}

// Up to the last packet waiting in the window; the gaps before it are lost.
void CTimestampFramer::ReleaseWaiting() {
    size_t count = 0;
    for (size_t i = 0; i < m_window; ++i) {
        if (SlotOf(static_cast<uint16_t>(m_expected + i)).used) {
            count = i + 1;
        }
    }
    for (size_t i = 0; i < count; ++i) {
        Release(m_expected++);
    }
}

void CTimestampFramer::Flush() {
    ReleaseWaiting();
    if (m_bUnitOpen) {
        FinishUnit();
    }
}

// A unit ends at its marker packet, or at a packet of another timestamp when the marker was
// not sent.
FramerDrop CTimestampFramer::Process(const Packet& packet) {
    if (m_bUnitOpen && packet.timestamp != m_unitTimestamp) {
        FinishUnit();
    }
    if (!m_bUnitOpen) {
        BeginUnit(packet);
    }
    FramerDrop result = FramerDrop::kUnsupportedNalType;
    if (m_unpacker != nullptr) {
        result = m_unpacker->Unpack(packet.payload, packet.len, m_unit);
    }
    if (result != FramerDrop::kNone) {
        m_bUnitDamaged = true;
        Count(result);
    }
    if (packet.marker) {
        FinishUnit();
    }
    return result;
}

void CTimestampFramer::BeginUnit(const Packet& packet) {
    m_bUnitOpen = true;
    m_bUnitDamaged = false;
    m_unitTimestamp = packet.timestamp;
    m_unitPayloadType = packet.payloadType;
    m_unit.bytes.clear();
    m_unit.key = false;
    if (m_unpacker != nullptr) {
        m_unpacker->Reset();
    }
}

void CTimestampFramer::FinishUnit() {
    m_bUnitOpen = false;
    const bool holdsBack = m_unpacker != nullptr && m_unpacker->HoldsBackAfterLoss();
    if (m_bUnitDamaged || m_unit.bytes.empty()) {
        Count(FramerDrop::kAccessUnitDamaged);
        m_bWaitKey = m_bWaitKey || holdsBack;
        return;
    }
    if (m_bWaitKey && !m_unit.key) {
        Count(FramerDrop::kWaitingForKeyFrame);
        return;
    }
    m_bWaitKey = false;
    Emit();
}

// The parameter sets go in front once: the only copy of a unit, made for the first one.
void CTimestampFramer::Emit() {
    if (!m_bParameterSetsSent && !m_parameterSets.empty()) {
        m_unit.bytes.insert(m_unit.bytes.begin(), m_parameterSets.begin(), m_parameterSets.end());
    }
    m_bParameterSetsSent = true;
    FramedAccessUnit out;
    out.data = m_unit.bytes.data();
    out.len = m_unit.bytes.size();
    out.timestamp = m_unitTimestamp;
    out.payloadType = m_unitPayloadType;
    out.key = m_unit.key;
    if (m_callback != nullptr) {
        m_callback(m_user, out);
    }
}

FramerDrop CTimestampFramer::Count(FramerDrop reason) {
    ++m_drops[static_cast<size_t>(reason)];
    return reason;
}

}  // namespace playersdk
