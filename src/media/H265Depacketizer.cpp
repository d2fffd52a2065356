#include "media/H265Depacketizer.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "base/ByteCursor.h"
#include "media/H265Nal.h"
#include "media/ParameterSets.h"
#include "rtsp/HeaderScan.h"

namespace playersdk {
namespace {
constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
constexpr uint8_t kFuStart = 0x80;
constexpr uint8_t kFuEnd = 0x40;
constexpr size_t kDonlSize = 2;
constexpr size_t kDondSize = 1;
// Longest parameter value taken from the format text: several parameter sets in Base64.
constexpr size_t kMaxParameterText = 4096;

// The value of 'key' (e.g. "sprop-vps=") among the ';'-separated format parameters.
bool FindParameter(std::string_view fmtp, std::string_view key, std::string& value) {
    std::vector<char> text(kMaxParameterText);
    const char* end = fmtp.data() + fmtp.size();
    for (const char* p = fmtp.data(); p < end;) {
        while (p < end && (*p == ' ' || *p == '\t' || *p == ';')) {
            ++p;
        }
        if (ScanKeyValue(p, end, key, ";", text.data(), text.size())) {
            value = text.data();
            return true;
        }
        while (p < end && *p != ';') {
            ++p;
        }
    }
    return false;
}

}  // namespace

CH265Depacketizer::CH265Depacketizer(size_t maxAccessUnit) : m_maxAccessUnit(maxAccessUnit) {}

bool CH265Depacketizer::SetFormatParameters(std::string_view fmtp) {
    std::string value;
    m_bDon = FindParameter(fmtp, "sprop-max-don-diff=", value) && std::atoi(value.c_str()) > 0;
    std::vector<uint8_t> sets;
    for (std::string_view key : {"sprop-vps=", "sprop-sps=", "sprop-pps="}) {
        if (!FindParameter(fmtp, key, value)) {
            continue;
        }
        const std::vector<uint8_t> annexB =
            AnnexBFromSpropParameterSets(value, h265::kNalHeaderSize);
        if (annexB.empty()) {
            return false;
        }
        sets.insert(sets.end(), annexB.begin(), annexB.end());
    }
    m_parameterSets.swap(sets);
    return true;
}

H265Drop CH265Depacketizer::Count(H265Drop reason) {
    ++m_drops[static_cast<size_t>(reason)];
    return reason;
}

H265Drop CH265Depacketizer::Input(const uint8_t* payload, size_t len, uint32_t timestamp,
                                  uint16_t sequence, bool marker) {
    if (payload == nullptr) {
        len = 0;
    }
    H265Drop verdict = Classify(payload, len);
    if (verdict == H265Drop::kNone) {
        BeginPacket(timestamp);
        switch (h265::NalType(payload[0])) {
            case h265::kNalAggregate:
                verdict = TakeAggregate(payload, len);
                break;
            case h265::kNalFragment:
                verdict = TakeFragment(payload, len, sequence);
                break;
            default:
                verdict = TakeSingle(payload, len);
                break;
        }
        if (verdict == H265Drop::kNone && m_bOverflow) {
            verdict = Count(H265Drop::kAccessUnitTooLarge);
        }
    } else {
        Count(verdict);
    }
    // The marker ends the access unit even when its own packet was bad: the next one is new.
    if (marker && m_bOpen && m_current.timestamp == timestamp) {
        FinishAccessUnit();
    }
    return verdict;
}

H265Drop CH265Depacketizer::Classify(const uint8_t* payload, size_t len) const {
    if (len < h265::kNalHeaderSize) {
        return H265Drop::kTooShort;
    }
    if (payload[0] & 0x80) {
        return H265Drop::kForbiddenBit;
    }
    if ((payload[1] & 0x07) == 0) {
        return H265Drop::kZeroTemporalId;
    }
    if (h265::NalType(payload[0]) >= h265::kNalPaci) {
        return H265Drop::kUnsupportedType;
    }
    return H265Drop::kNone;
}

// A packet of another timestamp starts a new access unit; the one before it is complete.
void CH265Depacketizer::BeginPacket(uint32_t timestamp) {
    if (m_bOpen && m_current.timestamp != timestamp) {
        FinishAccessUnit();
    }
    if (!m_bOpen) {
        m_bOpen = true;
        m_current.timestamp = timestamp;
        if (!m_bParameterSetsSent) {
            m_current.bytes = m_parameterSets;
            m_bParameterSetsSent = true;
        }
    }
}

H265Drop CH265Depacketizer::TakeSingle(const uint8_t* payload, size_t len) {
    if (m_bInFragment) {
        AbandonFragment();  // its last fragment never came
    }
    if (!m_bDon) {
        AppendUnit(payload, len);
        return H265Drop::kNone;
    }
    // The decoding order number sits between the header and the rest of the unit.
    if (len < h265::kNalHeaderSize + kDonlSize) {
        return Count(H265Drop::kNoDonl);
    }
    if (AppendBytes(kStartCode, sizeof(kStartCode)) && AppendBytes(payload, h265::kNalHeaderSize)) {
        const size_t skip = h265::kNalHeaderSize + kDonlSize;
        AppendBytes(payload + skip, len - skip);
        m_current.key = m_current.key || h265::IsIrap(h265::NalType(payload[0]));
    }
    return H265Drop::kNone;
}

// Every unit is checked before any is taken: a truncated aggregate adds nothing.
H265Drop CH265Depacketizer::TakeAggregate(const uint8_t* payload, size_t len) {
    if (m_bInFragment) {
        AbandonFragment();
    }
    for (int pass = 0; pass < 2; ++pass) {
        ByteReader r(payload + h265::kNalHeaderSize, len - h265::kNalHeaderSize);
        if (m_bDon && !r.skip(kDonlSize)) {
            return Count(H265Drop::kNoDonl);
        }
        size_t units = 0;
        while (r.remaining() > 0) {
            uint16_t size = 0;
            const uint8_t* unit = nullptr;
            if ((m_bDon && units > 0 && !r.skip(kDondSize)) || !r.be16(size) ||
                size < h265::kNalHeaderSize || !r.bytes(size, unit)) {
                return Count(H265Drop::kAggregateTruncated);
            }
            if (pass == 1) {
                AppendUnit(unit, size);
            }
            ++units;
        }
        if (units == 0) {
            return Count(H265Drop::kAggregateTruncated);
        }
    }
    return H265Drop::kNone;
}

H265Drop CH265Depacketizer::TakeFragment(const uint8_t* payload, size_t len, uint16_t sequence) {
    ByteReader r(payload + h265::kNalHeaderSize, len - h265::kNalHeaderSize);
    uint8_t fuHeader = 0;
    if (!r.u8(fuHeader)) {
        return Count(H265Drop::kFragmentTooShort);
    }
    const bool start = fuHeader & kFuStart;
    const bool end = fuHeader & kFuEnd;
    const uint8_t type = fuHeader & 0x3F;
    if (type == h265::kNalAggregate || type == h265::kNalFragment || type >= h265::kNalPaci) {
        return Count(H265Drop::kFragmentBadType);
    }
    if (start && end) {
        return Count(H265Drop::kFragmentStartAndEnd);
    }
    if (start) {
        if (m_bInFragment) {
            AbandonFragment();
        }
        if (m_bDon && !r.skip(kDonlSize)) {
            return Count(H265Drop::kNoDonl);
        }
        if (r.remaining() == 0) {
            return Count(H265Drop::kFragmentTooShort);
        }
        // The unit's own header: forbidden bit and layer id from the payload header, the
        // type from the fragment header.
        const uint8_t header[2] = {static_cast<uint8_t>((payload[0] & 0x81) | (type << 1)),
                                   payload[1]};
        m_fragmentStart = m_current.bytes.size();
        m_bInFragment = true;
        m_fragmentSequence = sequence;
        AppendUnit(header, sizeof(header));
        AppendBytes(r.current(), r.remaining());
        return H265Drop::kNone;
    }
    if (!m_bInFragment) {
        return Count(H265Drop::kFragmentWithoutStart);
    }
    if (sequence != static_cast<uint16_t>(m_fragmentSequence + 1)) {
        AbandonFragment();  // counted there
        return H265Drop::kFragmentLost;
    }
    m_fragmentSequence = sequence;
    AppendBytes(r.current(), r.remaining());
    if (end) {
        m_bInFragment = false;
    }
    return H265Drop::kNone;
}

bool CH265Depacketizer::AppendUnit(const uint8_t* unit, size_t len) {
    if (!AppendBytes(kStartCode, sizeof(kStartCode)) || !AppendBytes(unit, len)) {
        return false;
    }
    m_current.key = m_current.key || h265::IsIrap(h265::NalType(unit[0]));
    return true;
}

bool CH265Depacketizer::AppendBytes(const uint8_t* bytes, size_t len) {
    if (m_bOverflow) {
        return false;
    }
    if (len > m_maxAccessUnit - std::min(m_maxAccessUnit, m_current.bytes.size())) {
        m_bOverflow = true;
        m_current.bytes.clear();
        m_current.key = false;
        return false;
    }
    m_current.bytes.insert(m_current.bytes.end(), bytes, bytes + len);
    return true;
}

// The joined part of a unit whose fragments stopped coming is taken out again; the unit
// counts as lost.
void CH265Depacketizer::AbandonFragment() {
    m_bInFragment = false;
    if (!m_bOverflow && m_fragmentStart <= m_current.bytes.size()) {
        // Erased, not resized: libPlayerSDK.so must not export a vector instantiation.
        m_current.bytes.erase(
            m_current.bytes.begin() + static_cast<std::ptrdiff_t>(m_fragmentStart),
            m_current.bytes.end());
        m_current.key = h265::HasIrapSlice(m_current.bytes.data(), m_current.bytes.size());
    }
    Count(H265Drop::kFragmentLost);
}

void CH265Depacketizer::FinishAccessUnit() {
    if (m_bInFragment) {
        AbandonFragment();
    }
    if (!m_bOverflow && !m_current.bytes.empty()) {
        m_ready.push_back(std::move(m_current));
    }
    m_current = H265AccessUnit{};
    m_bOpen = false;
    m_bOverflow = false;
}

void CH265Depacketizer::Flush() {
    if (m_bOpen) {
        FinishAccessUnit();
    }
}

bool CH265Depacketizer::Take(H265AccessUnit& out) {
    if (m_ready.empty()) {
        return false;
    }
    out = std::move(m_ready.front());
    m_ready.pop_front();
    return true;
}

}  // namespace playersdk
