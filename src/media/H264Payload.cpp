#include "media/H264Payload.h"

#include <cstring>

#include "base/ByteCursor.h"
#include "media/RtpStream.h"

namespace {
constexpr uint32_t kStartCode = 1;
constexpr unsigned char kIdrHeader[5] = {0, 0, 0, 1, 0x65};
constexpr unsigned char kSpsHeader[5] = {0, 0, 0, 1, 0x67};
constexpr unsigned char kVideoObject[4] = {0, 0, 1, 0x00};
constexpr unsigned char kVisualObjectSequence[4] = {0, 0, 1, 0xB0};
constexpr unsigned char kVop[4] = {0, 0, 1, 0xB6};
constexpr unsigned char key_frame[7] = {0, 0, 1, 0, 0, 0, 1};

bool At(const char* buf, int i, const unsigned char* pattern, size_t n) {
    return memcmp(buf + i, pattern, n) == 0;
}

H264Rewrite Dropped(PacketDrop why) {
    H264Rewrite r;
    r.drop = why;
    return r;
}

// Start code and the whole payload: one NAL unit per packet.
H264Rewrite WriteSingleNal(const unsigned char* payload, int len, unsigned char* out) {
    if (len < 0 || len > kH264WorkBufSize - kStartCodeSize) {
        return Dropped(PacketDrop::kWorkBufferFull);
    }
    playersdk::ByteWriter(out, kH264WorkBufSize).be32(kStartCode).bytes(payload, len);
    return {len + kStartCodeSize, 0, PacketDrop::kNone};
}

enum class UnitFound { kWanted, kOtherType, kOverrun };

// The next aggregated unit of an STAP-A: a 16-bit size, then the unit, taken when its NAL type
// is 'wanted'.
UnitFound NextAggregatedUnit(playersdk::ByteReader& reader, int wanted, const uint8_t*& unit,
                             uint16_t& size) {
    if (!reader.be16(size) || reader.remaining() == 0) {
        return UnitFound::kOverrun;
    }
    if ((reader.current()[0] & 0x1F) != wanted) {
        return UnitFound::kOtherType;
    }
    return reader.bytes(size, unit) ? UnitFound::kWanted : UnitFound::kOverrun;
}
}  // namespace

Nal_unit NalUnitOf(uint8_t byte) {
    Nal_unit nal{};
    nal.nal_unit_type = byte & 0x1F;
    nal.nal_ref_idc = (byte >> 5) & 0x03;
    nal.forbidden_zero_bit = byte >> 7;
    return nal;
}

uint8_t NalUnitByte(Nal_unit nal) {
    return static_cast<uint8_t>((nal.forbidden_zero_bit << 7) | (nal.nal_ref_idc << 5) |
                                nal.nal_unit_type);
}

Nal_unit_FU_header FuHeaderOf(uint8_t byte) {
    Nal_unit_FU_header fu{};
    fu.nal_unit_type = byte & 0x1F;
    fu.reserved_bit = (byte >> 5) & 1;
    fu.end_bit = (byte >> 6) & 1;
    fu.start_bit = byte >> 7;
    return fu;
}

int CRtpStream::ReadH264Packet(const unsigned char* payload, int len) {
    if (payload == nullptr || len < 1) {
        return 0;
    }
    const int type = payload[0] & 0x1F;
    return type == kNalStapA || type == kNalFuA ? type : 0;
}

H264Rewrite CRtpStream::ParseH264Payload(unsigned char* payload, int len, unsigned char* out) {
    const int type = ReadH264Packet(payload, len);
    if (type == kNalStapA) {
        return ParseSTAP_A(payload, len, out);
    }
    if (type != kNalFuA) {
        return WriteSingleNal(payload, len, out);
    }
    int offset = 0;
    H264Rewrite r = ParseFU_A(payload, len, offset);
    if (r.drop != PacketDrop::kNone || r.length == 0) {
        return r;
    }
    if (r.length > kH264WorkBufSize) {
        return Dropped(PacketDrop::kWorkBufferFull);
    }
    memcpy(out, payload + offset, r.length);
    return r;
}

// Only an SPS followed by a PPS is taken; further aggregated units are dropped. A first unit
// that is no SPS, or a second that is no PPS, passes the payload on unchanged.
H264Rewrite CRtpStream::ParseSTAP_A(const unsigned char* payload, int len, unsigned char* out) {
    playersdk::ByteReader reader(payload, len > 0 ? len : 0);
    const uint8_t* sps = nullptr;
    const uint8_t* pps = nullptr;
    uint16_t spsSize = 0;
    uint16_t ppsSize = 0;
    if (!reader.skip(1)) {
        return Dropped(PacketDrop::kUnitOverrun);
    }
    UnitFound found = NextAggregatedUnit(reader, kNalSps, sps, spsSize);
    if (found == UnitFound::kWanted) {
        found = NextAggregatedUnit(reader, kNalPps, pps, ppsSize);
    }
    if (found == UnitFound::kOverrun) {
        return Dropped(PacketDrop::kUnitOverrun);
    }
    if (found == UnitFound::kOtherType) {
        return {0, kNalStapA, PacketDrop::kNone};
    }
    const int total = spsSize + ppsSize + 2 * kStartCodeSize;
    if (total > kH264WorkBufSize) {
        return Dropped(PacketDrop::kWorkBufferFull);
    }
    playersdk::ByteWriter(out, kH264WorkBufSize)
        .be32(kStartCode)
        .bytes(sps, spsSize)
        .be32(kStartCode)
        .bytes(pps, ppsSize);
    return {total, kNalStapA, PacketDrop::kNone};
}

// A first fragment is rewritten in place: the start code goes over the three bytes in front of
// the payload (the end of the RTP header, already parsed into the packet record) and the FU
// indicator, the rebuilt NAL header over the FU header. The caller guarantees those three
// bytes belong to the same datagram. Other fragments are their data after the two FU bytes.
H264Rewrite CRtpStream::ParseFU_A(unsigned char* payload, int len, int& offset) {
    playersdk::ByteReader reader(payload, len > 0 ? len : 0);
    uint8_t indicator = 0;
    uint8_t header = 0;
    if (!reader.u8(indicator) || !reader.u8(header)) {
        return Dropped(PacketDrop::kFragmentTooShort);
    }
    const Nal_unit_FU_header fu = FuHeaderOf(header);
    if (!fu.start_bit) {
        offset = 2;
        return {len - 2, kNalFuA, PacketDrop::kNone};
    }
    Nal_unit nal = NalUnitOf(indicator);
    nal.nal_unit_type = fu.nal_unit_type;
    playersdk::ByteWriter(payload - 3, kStartCodeSize + 1).be32(kStartCode).u8(NalUnitByte(nal));
    offset = -3;
    return {len + 3, kNalFuA, PacketDrop::kNone};
}

extern "C" PLAYERSDK_API int FindH264Header(const char* buf, int len) {
    for (int i = 0; buf != nullptr && i < len - 4; ++i) {
        if (At(buf, i, kIdrHeader, sizeof(kIdrHeader))) {
            return 2;
        }
        if (At(buf, i, kSpsHeader, sizeof(kSpsHeader))) {
            return 3;
        }
    }
    return 1;
}

extern "C" PLAYERSDK_API int FindMpeg4Vol(const char* buf, int len) {
    for (int i = 0; buf != nullptr && i < len - 4; ++i) {
        if (At(buf, i, kVideoObject, sizeof(kVideoObject))) {
            return 4;
        }
        if (At(buf, i, kVisualObjectSequence, sizeof(kVisualObjectSequence)) ||
            At(buf, i, kVop, sizeof(kVop))) {
            return 5;
        }
    }
    return 6;
}

int IsKeyFrame(char* buf) {
    if (buf == nullptr) {
        return 0;
    }
    const unsigned char* b = reinterpret_cast<const unsigned char*>(buf);
    if ((At(buf, 0, kVop, sizeof(kVop)) || At(buf, 0, kVisualObjectSequence, 4)) &&
        (b[4] & 0xC0) == 0) {
        return 1;
    }
    return At(buf, 0, key_frame, sizeof(key_frame)) ? 1 : 0;
}

extern "C" PLAYERSDK_API void PicChange(const char* src, int width, int height, char* dst) {
    if (src == nullptr || dst == nullptr || width <= 0 || height <= 0) {
        return;
    }
    const size_t row = static_cast<size_t>(width) * 3;
    for (int r = 0; r < height; ++r) {
        memcpy(dst + row * r, src + row * (height - 1 - r), row);
    }
}
