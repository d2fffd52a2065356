// CRtcpReceiverReport: what a receiver counts about one RTP source, and the RTCP packets it
// sends back: the compound receiver report (RR and SDES CNAME) and the goodbye (RR, SDES and
// BYE). Pure: the caller passes arrival and sending times (microseconds of any monotonic clock)
// and the source's clock rate.
//
// Sequence numbers are extended across their wrap; losses are expected minus received
// (negative when duplicates arrive); interarrival jitter is the running estimate
// J += (|D| - J) / 16 over the transit-time differences of successive packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "media/RtpConstants.h"

namespace playersdk {

class CRtcpReceiverReport {
public:
    // A jump larger than this starts a new run only when the next packet confirms it.
    static constexpr uint32_t kMaxDropout = 3000;
    static constexpr uint32_t kMaxMisorder = 100;
    // An RR with one block and an SDES with a CNAME of up to 255 bytes, then a BYE.
    static constexpr size_t kMaxPacketSize = 32 + 8 + 256 + 8 + 8;

    CRtcpReceiverReport(uint32_t ownSsrc, uint32_t clockRate);
    virtual ~CRtcpReceiverReport() = default;

    // One RTP packet of the source arrived.
    void OnRtpPacket(uint32_t ssrc, uint16_t seq, uint32_t rtpTimestamp, uint64_t arrivalUs);
    // A sender report of the source arrived: its NTP time (seconds and fraction).
    void OnSenderReport(uint32_t ssrc, uint32_t ntpSeconds, uint32_t ntpFraction,
                        uint64_t arrivalUs);

    bool HasSource() const { return m_bStarted; }
    // The block for a report sent now; starts a new interval for the fraction lost.
    RtcpReportBlock MakeReportBlock(uint64_t nowUs);

    // RR (with a block once a packet arrived) and SDES CNAME (cut to 255 bytes). The bytes
    // written, 0 when they do not fit.
    size_t BuildReport(uint8_t* buf, size_t cap, std::string_view cname, uint64_t nowUs);
    // The same, followed by a BYE for our own source.
    size_t BuildGoodbye(uint8_t* buf, size_t cap, std::string_view cname, uint64_t nowUs);

    uint32_t extendedHighestSeq() const { return m_cycles + m_maxSeq; }
    uint64_t received() const { return m_received; }

private:
    void StartRun(uint16_t seq);
    bool UpdateSequence(uint16_t seq);
    void UpdateJitter(uint32_t rtpTimestamp, uint64_t arrivalUs);
    uint32_t ToTimestampUnits(uint64_t us) const;

    const uint32_t m_ownSsrc;
    const uint32_t m_clockRate;

    bool m_bStarted = false;
    uint32_t m_ssrc = 0;
    uint16_t m_maxSeq = 0;
    uint32_t m_cycles = 0;  // wraps counted, times 65536
    uint32_t m_baseSeq = 0;
    uint32_t m_badSeq = 0;  // the number after a jump, awaiting confirmation
    bool m_bBadSeqValid = false;
    uint64_t m_received = 0;
    uint64_t m_expectedPrior = 0;
    uint64_t m_receivedPrior = 0;

    bool m_bTransitValid = false;
    int64_t m_transit = 0;
    uint32_t m_jitter16 = 0;  // the estimate, times 16

    bool m_bSenderReport = false;
    uint32_t m_lastSr = 0;
    uint64_t m_lastSrArrivalUs = 0;
};

}  // namespace playersdk
