#include "FrameKind.h"

#include "base/ByteCursor.h"

using playersdk::ByteReader;

namespace playerdecoder {
namespace {

// Moves the reader just past the next 00 00 01 prefix; false when there is none.
bool SkipToStartCode(ByteReader& r) {
    int zeros = 0;
    uint8_t b = 0;
    while (r.u8(b)) {
        if (b == 1 && zeros >= 2) {
            return true;
        }
        zeros = (b == 0) ? zeros + 1 : 0;
    }
    return false;
}

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

// A non-IDR slice is still a starting point when it is the first slice of an intra picture
// (cameras with periodic intra refresh send I slices without IDR).
bool IsIntraPictureStart(const ByteReader& slice) {
    GolombReader g(slice);
    uint32_t firstMb = 0;
    uint32_t sliceType = 0;
    if (!g.ue(firstMb) || !g.ue(sliceType)) {
        return false;
    }
    return firstMb == 0 && (sliceType % 5 == 2 || sliceType % 5 == 4);
}

// What the units of one frame showed.
struct Findings {
    bool config = false;
    bool picture = false;
    bool key = false;

    FrameKind Kind() const {
        if (key) {
            return FrameKind::kKey;
        }
        if (picture) {
            return FrameKind::kDelta;
        }
        return config ? FrameKind::kConfig : FrameKind::kNothing;
    }
};

// Calls 'judge(code, rest, findings)' for the first byte after every start code, with the
// bytes that follow it.
template <typename Judge>
FrameKind InspectUnits(const uint8_t* data, size_t len, Judge judge) {
    ByteReader r(data, len);
    Findings findings;
    uint8_t code = 0;
    while (SkipToStartCode(r) && r.u8(code)) {
        judge(code, r, findings);
    }
    return findings.Kind();
}

}  // namespace

FrameKind InspectH264Frame(const uint8_t* data, size_t len) {
    enum { kSliceNonIdr = 1, kSliceIdr = 5, kSps = 7, kPps = 8 };  // 2-4: data partitions
    return InspectUnits(data, len, [](uint8_t header, const ByteReader& rest, Findings& f) {
        int type = header & 0x1f;
        f.config = f.config || type == kSps || type == kPps;
        f.picture = f.picture || (type >= kSliceNonIdr && type <= kSliceIdr);
        f.key = f.key || type == kSliceIdr || (type == kSliceNonIdr && IsIntraPictureStart(rest));
    });
}

FrameKind InspectMpeg4Frame(const uint8_t* data, size_t len) {
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
