#include "FrameKind.h"

#include "base/ByteCursor.h"
#include "media/AnnexB.h"
#include "media/H265Nal.h"

using playersdk::ByteReader;
using playersdk::SkipToStartCode;

namespace playerdecoder {
namespace {

// Reads unsigned Exp-Golomb codes from the first bytes of a slice header. Emulation
// prevention bytes cannot occur this early in a slice, so the raw bytes are read as they are.
class GolombReader {
public:
    explicit GolombReader(ByteReader r) : m_r(r) {}

    bool ue(uint32_t& v) {
        int leadingZeros = 0;
        bool bit = false;
        while (next(bit) && !bit) {
            if (++leadingZeros > 31) {
                return false;
            }
        }
        if (!bit) {
            return false;
        }
        uint32_t suffix = 0;
        for (int i = 0; i < leadingZeros; ++i) {
            if (!next(bit)) {
                return false;
            }
            suffix = (suffix << 1) | (bit ? 1u : 0u);
        }
        v = ((1u << leadingZeros) - 1) + suffix;
        return true;
    }

private:
    bool next(bool& bit) {
        if (m_bitsLeft == 0) {
            if (!m_r.u8(m_byte)) {
                return false;
            }
            m_bitsLeft = 8;
        }
        --m_bitsLeft;
        bit = (m_byte >> m_bitsLeft) & 1;
        return true;
    }
    ByteReader m_r;
    uint8_t m_byte = 0;
    int m_bitsLeft = 0;
};

// The first two fields of an H.264 slice header.
struct SliceStart {
    bool read = false;
    uint32_t firstMb = 0;
    uint32_t sliceType = 0;
};

SliceStart ReadSliceStart(const ByteReader& slice) {
    GolombReader g(slice);
    SliceStart s;
    s.read = g.ue(s.firstMb) && g.ue(s.sliceType);
    return s;
}

// What the units of one frame showed.
struct Findings {
    bool config = false;
    bool picture = false;
    bool key = false;
    bool starts = false;
    bool continues = false;

    FrameFacts Facts() const {
        FrameFacts facts;
        facts.kind = key       ? FrameKind::kKey
                     : picture ? FrameKind::kDelta
                     : config  ? FrameKind::kConfig
                               : FrameKind::kNothing;
        facts.startsPicture = starts;
        facts.continuesPicture = continues && !starts;
        return facts;
    }
};

// Calls 'judge(code, rest, findings)' for the first byte after every start code, with the
// bytes that follow it.
template <typename Judge>
FrameFacts InspectUnits(const uint8_t* data, size_t len, Judge judge) {
    ByteReader r(data, len);
    Findings findings;
    uint8_t code = 0;
    while (SkipToStartCode(r) && r.u8(code)) {
        judge(code, r, findings);
    }
    return findings.Facts();
}

}  // namespace

FrameFacts InspectH264Frame(const uint8_t* data, size_t len) {
    enum { kSliceNonIdr = 1, kSliceIdr = 5, kSps = 7, kPps = 8 };  // 2-4: data partitions
    return InspectUnits(data, len, [](uint8_t header, const ByteReader& rest, Findings& f) {
        int type = header & 0x1f;
        f.config = f.config || type == kSps || type == kPps;
        if (type != kSliceNonIdr && type != kSliceIdr) {
            f.picture = f.picture || (type > kSliceNonIdr && type < kSliceIdr);
            return;
        }
        f.picture = true;
        SliceStart slice = ReadSliceStart(rest);
        const bool first = slice.read && slice.firstMb == 0;
        f.starts = f.starts || first;
        f.continues = f.continues || (slice.read && !first);
        // A non-IDR slice is still a starting point when it is the first slice of an intra
        // picture (cameras with periodic intra refresh send I slices without IDR).
        const bool intra = slice.sliceType % 5 == 2 || slice.sliceType % 5 == 4;
        f.key = f.key || type == kSliceIdr || (first && intra);
    });
}

FrameFacts InspectH265Frame(const uint8_t* data, size_t len) {
    namespace h265 = playersdk::h265;
    return InspectUnits(data, len, [](uint8_t header, ByteReader rest, Findings& f) {
        const int type = h265::NalType(header);
        f.config = f.config || h265::IsParameterSet(type);
        uint8_t secondHeaderByte = 0;
        uint8_t sliceStart = 0;
        if (type > h265::kNalVclLast || !rest.u8(secondHeaderByte) || !rest.u8(sliceStart)) {
            return;
        }
        f.picture = true;
        f.key = f.key || h265::IsIrap(type);
        // The slice header opens with first_slice_segment_in_pic_flag.
        const bool first = (sliceStart & 0x80) != 0;
        f.starts = f.starts || first;
        f.continues = f.continues || !first;
    });
}

FrameFacts InspectMpeg4Frame(const uint8_t* data, size_t len) {
    enum : uint8_t { kLayerFirst = 0x20, kLayerLast = 0x2F, kSequence = 0xB0, kVop = 0xB6 };
    return InspectUnits(data, len, [](uint8_t code, ByteReader rest, Findings& f) {
        f.config = f.config || code == kSequence || (code >= kLayerFirst && code <= kLayerLast);
        uint8_t codingType = 0;
        if (code == kVop) {
            f.picture = true;
            // The two top bits of the VOP header: 0 intra, 1 predicted, 2 bidirectional, 3 sprite.
            f.key = f.key || (rest.u8(codingType) && (codingType >> 6) == 0);
        }
    });
}

}  // namespace playerdecoder
