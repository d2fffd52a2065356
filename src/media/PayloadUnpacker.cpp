#include "media/PayloadUnpacker.h"

#include "base/ByteCursor.h"

namespace playersdk {
namespace {
constexpr uint8_t kStartCode[4] = {0, 0, 0, 1};
constexpr uint8_t kNalTypeMask = 0x1F;
constexpr uint8_t kNalIdr = 5;
constexpr uint8_t kNalStapA = 24;
constexpr uint8_t kNalFuA = 28;
constexpr uint8_t kFuStart = 0x80;
constexpr uint8_t kFuEnd = 0x40;

class CH264Unpacker : public IPayloadUnpacker {
public:
    FramerDrop Unpack(const uint8_t* payload, size_t len, AccessUnitBytes& unit) override {
        const uint8_t header = payload[0];
        if (header & 0x80) {
            return FramerDrop::kForbiddenBit;
        }
        const uint8_t type = header & kNalTypeMask;
        if (type == kNalStapA) {
            return Aggregate(payload, len, unit);
        }
        if (type == kNalFuA) {
            return Fragment(payload, len, unit);
        }
        if (type == 0 || type >= kNalStapA) {
            return FramerDrop::kUnsupportedNalType;
        }
        m_bInFragment = false;
        return Single(payload, len, unit);
    }
    void Reset() override { m_bInFragment = false; }
    bool HoldsBackAfterLoss() const override { return true; }

private:
    static FramerDrop Single(const uint8_t* nal, size_t len, AccessUnitBytes& unit) {
        if (!unit.AppendNal(nal, len)) {
            return FramerDrop::kAccessUnitTooLarge;
        }
        unit.key = unit.key || (nal[0] & kNalTypeMask) == kNalIdr;
        return FramerDrop::kNone;
    }

    // Every unit is checked before the first is appended, so a truncated aggregate adds nothing.
    FramerDrop Aggregate(const uint8_t* payload, size_t len, AccessUnitBytes& unit) {
        m_bInFragment = false;
        if (!ForEachAggregated(payload, len, [](const uint8_t*, size_t) { return true; })) {
            return FramerDrop::kAggregateTruncated;
        }
        const size_t before = unit.bytes.size();
        const bool wasKey = unit.key;
        FramerDrop result = FramerDrop::kNone;
        ForEachAggregated(payload, len, [&](const uint8_t* nal, size_t size) {
            result = Single(nal, size, unit);
            return result == FramerDrop::kNone;
        });
        if (result != FramerDrop::kNone) {
            unit.bytes.resize(before);
            unit.key = wasKey;
        }
        return result;
    }

    // False when there is no unit, or one is empty or runs past the packet.
    template <class Visit>
    static bool ForEachAggregated(const uint8_t* payload, size_t len, Visit visit) {
        ByteReader reader(payload + 1, len - 1);
        if (reader.remaining() == 0) {
            return false;
        }
        while (reader.remaining() > 0) {
            uint16_t size = 0;
            const uint8_t* nal = nullptr;
            if (!reader.be16(size) || size == 0 || !reader.bytes(size, nal)) {
                return false;
            }
            if (!visit(nal, size)) {
                return true;
            }
        }
        return true;
    }

    // The first fragment rebuilds the NAL header (forbidden bit and NRI from the indicator,
    // type from the fragment header); the others append their data to it.
    FramerDrop Fragment(const uint8_t* payload, size_t len, AccessUnitBytes& unit) {
        if (len < 3) {
            return FramerDrop::kFragmentTooShort;
        }
        const uint8_t fu = payload[1];
        if ((fu & kFuStart) && (fu & kFuEnd)) {
            return FramerDrop::kFragmentStartAndEnd;
        }
        if (fu & kFuStart) {
            const uint8_t nal = static_cast<uint8_t>((payload[0] & 0xE0) | (fu & kNalTypeMask));
            const size_t before = unit.bytes.size();
            if (!unit.AppendNal(&nal, 1) || !unit.Append(payload + 2, len - 2)) {
                unit.bytes.resize(before);
                return FramerDrop::kAccessUnitTooLarge;
            }
            unit.key = unit.key || (nal & kNalTypeMask) == kNalIdr;
            m_bInFragment = true;
            return FramerDrop::kNone;
        }
        if (!m_bInFragment) {
            return FramerDrop::kFragmentWithoutStart;
        }
        if (!unit.Append(payload + 2, len - 2)) {
            return FramerDrop::kAccessUnitTooLarge;
        }
        m_bInFragment = (fu & kFuEnd) == 0;
        return FramerDrop::kNone;
    }

    bool m_bInFragment = false;
};

class CMpeg4Unpacker : public IPayloadUnpacker {
public:
    FramerDrop Unpack(const uint8_t* payload, size_t len, AccessUnitBytes& unit) override {
        if (!m_bVopSeen) {
            NoteFirstVop(payload, len, unit);
        }
        return unit.Append(payload, len) ? FramerDrop::kNone : FramerDrop::kAccessUnitTooLarge;
    }
    void Reset() override { m_bVopSeen = false; }
    bool HoldsBackAfterLoss() const override { return false; }

private:
    // 00 00 01 B6, then the coding type in the two top bits: 0 is an I-VOP.
    void NoteFirstVop(const uint8_t* p, size_t len, AccessUnitBytes& unit) {
        for (size_t i = 0; i + 4 < len; ++i) {
            if (p[i] == 0 && p[i + 1] == 0 && p[i + 2] == 1 && p[i + 3] == 0xB6) {
                m_bVopSeen = true;
                unit.key = (p[i + 4] & 0xC0) == 0;
                return;
            }
        }
    }

    bool m_bVopSeen = false;
};
}  // namespace

bool AccessUnitBytes::AppendNal(const uint8_t* nal, size_t len) {
    if (len > limit || bytes.size() > limit - len || limit - len - bytes.size() < 4) {
        return false;
    }
    bytes.insert(bytes.end(), kStartCode, kStartCode + sizeof(kStartCode));
    bytes.insert(bytes.end(), nal, nal + len);
    return true;
}

bool AccessUnitBytes::Append(const uint8_t* data, size_t len) {
    if (len > limit || bytes.size() > limit - len) {
        return false;
    }
    bytes.insert(bytes.end(), data, data + len);
    return true;
}

std::unique_ptr<IPayloadUnpacker> MakeH264Unpacker() {
    return std::make_unique<CH264Unpacker>();
}

std::unique_ptr<IPayloadUnpacker> MakeMpeg4Unpacker() {
    return std::make_unique<CMpeg4Unpacker>();
}

std::unique_ptr<IPayloadUnpacker> MakePayloadUnpacker(MediaCodec codec) {
    switch (codec) {
        case MediaCodec::H264:
            return MakeH264Unpacker();
        case MediaCodec::Mpeg4:
            return MakeMpeg4Unpacker();
        default:
            return nullptr;
    }
}

}  // namespace playersdk
