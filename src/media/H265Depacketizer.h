// CH265Depacketizer: rebuilds H.265 access units in Annex B form (every NAL unit behind
// 00 00 00 01) from the payloads of an RTP stream: single NAL unit packets, aggregation packets
// (type 48) and fragmentation units (type 49), with or without decoding order number fields.
// Bytes in, access units out: it owns no socket and no clock, so it is driven by byte arrays.
//
//   CH265Depacketizer depacketizer;
//   depacketizer.SetFormatParameters(fmtpText);   // sprop-vps/sps/pps, sprop-max-don-diff
//   depacketizer.Input(payload, len, timestamp, sequence, marker);
//   H265AccessUnit unit;
//   while (depacketizer.Take(unit)) { ... unit.bytes ... }
//
// An access unit ends at the packet that carries the marker bit, or when a packet with another
// timestamp arrives. The parameter sets of the format parameters go in front of the first
// access unit put out. Decoding order numbers are read and skipped: units are put out in the
// order they arrive, as a camera that never interleaves sends them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>
#include <vector>

namespace playersdk {

// Why a packet (or a unit begun by earlier packets) was dropped.
enum class H265Drop : uint8_t {
    kNone = 0,
    kTooShort,              // shorter than the two-byte payload header
    kForbiddenBit,          // the header's forbidden bit is set
    kZeroTemporalId,        // the header's temporal id field is 0
    kUnsupportedType,       // PACI (50) or an unassigned type (51-63)
    kNoDonl,                // too short for the decoding order number it must carry
    kAggregateTruncated,    // an aggregated unit runs past the packet, or none is there
    kFragmentTooShort,      // no fragment header, or a first fragment without data
    kFragmentBadType,       // a fragment that claims to carry an aggregate or a fragment
    kFragmentStartAndEnd,   // start and end bits both set
    kFragmentWithoutStart,  // a middle or last fragment with no first fragment before it
    kFragmentLost,          // a gap in the sequence numbers inside a fragmented unit
    kAccessUnitTooLarge,    // the access unit grew past the limit; it is dropped whole
    kCount
};

struct H265AccessUnit {
    std::vector<uint8_t> bytes;  // Annex B: 00 00 00 01 before every NAL unit
    uint32_t timestamp = 0;
    bool key = false;  // holds an IRAP picture (IDR, CRA or BLA: NAL types 16 to 23)
};

class CH265Depacketizer {
public:
    // Far above any picture a camera sends; a stream that goes past it is broken.
    static constexpr size_t kDefaultMaxAccessUnit = 8 * 1024 * 1024;

    explicit CH265Depacketizer(size_t maxAccessUnit = kDefaultMaxAccessUnit);
    virtual ~CH265Depacketizer() = default;

    // Takes the a=fmtp text of the stream: sprop-vps, sprop-sps and sprop-pps (Base64, several
    // sets separated by commas) and sprop-max-don-diff (above 0: every packet carries decoding
    // order numbers). False when a parameter set is not valid Base64 of a NAL unit.
    bool SetFormatParameters(std::string_view fmtp);
    void SetDonPresent(bool present) { m_bDon = present; }

    // One RTP payload (after the header, extension and padding). kNone when it was taken.
    H265Drop Input(const uint8_t* payload, size_t len, uint32_t timestamp, uint16_t sequence,
                   bool marker);
    // Ends the access unit being built (end of stream).
    void Flush();
    // The next complete access unit, oldest first; false when there is none.
    bool Take(H265AccessUnit& out);

    // Packets and units dropped, by reason (index: H265Drop).
    uint64_t drops(H265Drop reason) const { return m_drops[static_cast<size_t>(reason)]; }
    // The parameter sets of the format parameters, in Annex B form.
    const std::vector<uint8_t>& parameterSets() const { return m_parameterSets; }

private:
    H265Drop Classify(const uint8_t* payload, size_t len) const;
    H265Drop TakeSingle(const uint8_t* payload, size_t len);
    H265Drop TakeAggregate(const uint8_t* payload, size_t len);
    H265Drop TakeFragment(const uint8_t* payload, size_t len, uint16_t sequence);
    void BeginPacket(uint32_t timestamp);
    // Appends a start code and the unit (header bytes included); false past the limit.
    bool AppendUnit(const uint8_t* unit, size_t len);
    bool AppendBytes(const uint8_t* bytes, size_t len);
    void AbandonFragment();
    void FinishAccessUnit();
    H265Drop Count(H265Drop reason);

    const size_t m_maxAccessUnit;
    bool m_bDon = false;
    std::vector<uint8_t> m_parameterSets;
    bool m_bParameterSetsSent = false;

    H265AccessUnit m_current;
    bool m_bOpen = false;      // m_current holds at least one packet's worth
    bool m_bOverflow = false;  // m_current went past the limit: dropped until it ends
    // A fragmented unit being joined: where it starts in m_current and the last sequence.
    bool m_bInFragment = false;
    size_t m_fragmentStart = 0;
    uint16_t m_fragmentSequence = 0;

    std::deque<H265AccessUnit> m_ready;
    std::array<uint64_t, static_cast<size_t>(H265Drop::kCount)> m_drops{};
};

}  // namespace playersdk
