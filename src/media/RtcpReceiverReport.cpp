#include "media/RtcpReceiverReport.h"

#include "base/ByteCursor.h"

namespace playersdk {
namespace {
constexpr uint32_t kSeqMod = 1u << 16;
constexpr uint64_t kMicrosPerSecond = 1000000;
constexpr int32_t kMaxLost = 0x7FFFFF;  // the field is 24 bits, signed
constexpr int32_t kMinLost = -0x800000;
constexpr size_t kMaxCname = 255;

void WriteHeader(ByteWriter& w, uint8_t count, uint8_t type, size_t bytes) {
    w.u8(static_cast<uint8_t>(kRtpVersion << 6 | count))
        .u8(type)
        .be16(static_cast<uint16_t>(bytes / 4 - 1));
}

void WriteReceiverReport(ByteWriter& w, uint32_t ownSsrc, const RtcpReportBlock* block) {
    WriteHeader(w, block != nullptr ? 1 : 0, kRtcpReceiverReport, block != nullptr ? 32 : 8);
    w.be32(ownSsrc);
    if (block != nullptr) {
        const uint32_t lost = static_cast<uint32_t>(block->cumulativeLost) & 0xFFFFFF;
        w.be32(block->ssrc).be32((uint32_t{block->fractionLost} << 24) | lost);
        w.be32(block->extendedHighestSeq).be32(block->jitter);
        w.be32(block->lastSenderReport).be32(block->delaySinceLastSenderReport);
    }
}

// One chunk: our source, the CNAME item, the end item and zeros to the next 32-bit boundary.
void WriteCname(ByteWriter& w, uint32_t ownSsrc, std::string_view cname) {
    cname = cname.substr(0, kMaxCname);
    const size_t chunk = (4 + 2 + cname.size() + 1 + 3) / 4 * 4;
    WriteHeader(w, 1, kRtcpSourceDescription, 4 + chunk);
    w.be32(ownSsrc).u8(kSdesCname).u8(static_cast<uint8_t>(cname.size()));
    w.bytes(cname.data(), cname.size());
    for (size_t n = 4 + 2 + cname.size(); n < chunk; ++n) {
        w.u8(kSdesEnd);
    }
}
}  // namespace

CRtcpReceiverReport::CRtcpReceiverReport(uint32_t ownSsrc, uint32_t clockRate)
    : m_ownSsrc(ownSsrc), m_clockRate(clockRate) {}

void CRtcpReceiverReport::OnRtpPacket(uint32_t ssrc, uint16_t seq, uint32_t rtpTimestamp,
                                      uint64_t arrivalUs) {
    if (!m_bStarted || ssrc != m_ssrc) {
        m_bStarted = true;
        m_ssrc = ssrc;
        m_bSenderReport = false;
        m_bTransitValid = false;
        m_jitter16 = 0;
        StartRun(seq);
    } else if (!UpdateSequence(seq)) {
        return;
    }
    ++m_received;
    UpdateJitter(rtpTimestamp, arrivalUs);
}

void CRtcpReceiverReport::StartRun(uint16_t seq) {
    m_baseSeq = seq;
    m_maxSeq = seq;
    m_cycles = 0;
    m_bBadSeqValid = false;
    m_received = 0;
    m_expectedPrior = 0;
    m_receivedPrior = 0;
}

// False for a packet after a large jump, until the packet after it confirms the new run.
bool CRtcpReceiverReport::UpdateSequence(uint16_t seq) {
    const uint16_t delta = static_cast<uint16_t>(seq - m_maxSeq);
    if (delta < kMaxDropout) {
        if (seq < m_maxSeq) {
            m_cycles += kSeqMod;
        }
        m_maxSeq = seq;
    } else if (delta <= kSeqMod - kMaxMisorder) {
        if (!m_bBadSeqValid || seq != m_badSeq) {
            m_badSeq = (seq + 1u) & (kSeqMod - 1);
            m_bBadSeqValid = true;
            return false;
        }
        StartRun(seq);  // two packets in sequence: the source restarted
    }
    return true;  // in order, late or duplicate: counted
}

void CRtcpReceiverReport::UpdateJitter(uint32_t rtpTimestamp, uint64_t arrivalUs) {
    const int64_t transit = static_cast<int32_t>(ToTimestampUnits(arrivalUs) - rtpTimestamp);
    if (m_bTransitValid) {
        int64_t d = transit - m_transit;
        d = d < 0 ? -d : d;
        m_jitter16 += static_cast<uint32_t>(d) - ((m_jitter16 + 8) >> 4);
    }
    m_transit = transit;
    m_bTransitValid = true;
}

uint32_t CRtcpReceiverReport::ToTimestampUnits(uint64_t us) const {
    const uint64_t seconds = us / kMicrosPerSecond;
    const uint64_t rest = us % kMicrosPerSecond;
    return static_cast<uint32_t>(seconds * m_clockRate + rest * m_clockRate / kMicrosPerSecond);
}

void CRtcpReceiverReport::OnSenderReport(uint32_t ssrc, uint32_t ntpSeconds, uint32_t ntpFraction,
                                         uint64_t arrivalUs) {
    if (m_bStarted && ssrc != m_ssrc) {
        return;
    }
    m_bSenderReport = true;
    m_lastSr = (ntpSeconds << 16) | (ntpFraction >> 16);
    m_lastSrArrivalUs = arrivalUs;
}

RtcpReportBlock CRtcpReceiverReport::MakeReportBlock(uint64_t nowUs) {
    RtcpReportBlock block;
    if (!m_bStarted) {
        return block;  // nothing expected yet
    }
    block.ssrc = m_ssrc;
    block.extendedHighestSeq = extendedHighestSeq();
    const uint64_t expected = uint64_t{block.extendedHighestSeq} - m_baseSeq + 1;
    const int64_t lost = static_cast<int64_t>(expected) - static_cast<int64_t>(m_received);
    block.cumulativeLost = static_cast<int32_t>(lost > kMaxLost   ? kMaxLost
                                                : lost < kMinLost ? kMinLost
                                                                  : lost);
    const int64_t expectedInterval = static_cast<int64_t>(expected - m_expectedPrior);
    const int64_t lostInterval =
        expectedInterval - static_cast<int64_t>(m_received - m_receivedPrior);
    m_expectedPrior = expected;
    m_receivedPrior = m_received;
    if (expectedInterval > 0 && lostInterval > 0) {
        block.fractionLost = static_cast<uint8_t>((lostInterval << 8) / expectedInterval);
    }
    block.jitter = m_jitter16 >> 4;
    if (m_bSenderReport) {
        block.lastSenderReport = m_lastSr;
        const uint64_t delayUs = nowUs > m_lastSrArrivalUs ? nowUs - m_lastSrArrivalUs : 0;
        block.delaySinceLastSenderReport =
            static_cast<uint32_t>(delayUs * 65536 / kMicrosPerSecond);
    }
    return block;
}

size_t CRtcpReceiverReport::BuildReport(uint8_t* buf, size_t cap, std::string_view cname,
                                        uint64_t nowUs) {
    ByteWriter w(buf, cap);
    RtcpReportBlock block;
    if (m_bStarted) {
        block = MakeReportBlock(nowUs);
    }
    WriteReceiverReport(w, m_ownSsrc, m_bStarted ? &block : nullptr);
    WriteCname(w, m_ownSsrc, cname);
    return w.ok() ? w.size() : 0;
}

size_t CRtcpReceiverReport::BuildGoodbye(uint8_t* buf, size_t cap, std::string_view cname,
                                         uint64_t nowUs) {
    const size_t report = BuildReport(buf, cap, cname, nowUs);
    if (report == 0) {
        return 0;
    }
    ByteWriter w(buf + report, cap - report);
    WriteHeader(w, 1, kRtcpBye, 8);
    w.be32(m_ownSsrc);
    return w.ok() ? report + w.size() : 0;
}

}  // namespace playersdk
