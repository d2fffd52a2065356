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

// Start code and the whole payload: one NAL unit per packet.
int WriteSingleNal(const unsigned char* payload, int len, unsigned char* out) {
    if (len < 0 || len > kH264WorkBufSize - kStartCodeSize) {
        return kH264Dropped;
    }
    playersdk::ByteWriter(out, kH264WorkBufSize).be32(kStartCode).bytes(payload, len);
    return len + kStartCodeSize;
}

// The next aggregated unit of an STAP-A: a 16-bit size, then the unit. 1 with the unit when its
// NAL type is 'wanted', 0 for a unit of another type, kH264Dropped when it runs past the packet.
int NextAggregatedUnit(playersdk::ByteReader& reader, int wanted, const uint8_t*& unit,
                       uint16_t& size) {
    if (!reader.be16(size) || reader.remaining() == 0) {
        return kH264Dropped;
    }
    if ((reader.current()[0] & 0x1F) != wanted) {
        return 0;
    }
    return reader.bytes(size, unit) ? 1 : kH264Dropped;
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

int CRtpStream::ParseH264Payload(unsigned char* payload, int len, unsigned char* out, int& type) {
    type = ReadH264Packet(payload, len);
    if (type == kNalStapA) {
        return ParseSTAP_A(payload, len, out);
    }
    if (type != kNalFuA) {
        return WriteSingleNal(payload, len, out);
    }
    int offset = 0;
    const int n = ParseFU_A(payload, len, offset);
    if (n <= 0) {
        return n;
    }
    if (n > kH264WorkBufSize) {
        return kH264Dropped;
    }
    memcpy(out, payload + offset, n);
    return n;
}

// Only an SPS followed by a PPS is taken; further aggregated units are dropped.
int CRtpStream::ParseSTAP_A(const unsigned char* payload, int len, unsigned char* out) {
    playersdk::ByteReader reader(payload, len > 0 ? len : 0);
    const uint8_t* sps = nullptr;
    const uint8_t* pps = nullptr;
    uint16_t spsSize = 0;
    uint16_t ppsSize = 0;
    if (!reader.skip(1)) {
        return kH264Dropped;
    }
    int found = NextAggregatedUnit(reader, kNalSps, sps, spsSize);
    if (found != 1) {
        return found;
    }
    found = NextAggregatedUnit(reader, kNalPps, pps, ppsSize);
    if (found != 1) {
        return found;
    }
    const int total = spsSize + ppsSize + 2 * kStartCodeSize;
    if (total > kH264WorkBufSize) {
        return kH264Dropped;
    }
    playersdk::ByteWriter(out, kH264WorkBufSize)
        .be32(kStartCode)
        .bytes(sps, spsSize)
        .be32(kStartCode)
        .bytes(pps, ppsSize);
    return total;
}

// A first fragment is rewritten in place: the start code goes over the three bytes in front of
// the payload (the end of the RTP header, already parsed into the packet record) and the FU
// indicator, the rebuilt NAL header over the FU header. The caller guarantees those three
// bytes belong to the same datagram. Other fragments are their data after the two FU bytes.
int CRtpStream::ParseFU_A(unsigned char* payload, int len, int& offset) {
    playersdk::ByteReader reader(payload, len > 0 ? len : 0);
    uint8_t indicator = 0;
    uint8_t header = 0;
    if (!reader.u8(indicator) || !reader.u8(header)) {
        return kH264Dropped;  // too short for a fragment header
    }
    const Nal_unit_FU_header fu = FuHeaderOf(header);
    if (!fu.start_bit) {
        offset = 2;
        return len - 2;
    }
    Nal_unit nal = NalUnitOf(indicator);
    nal.nal_unit_type = fu.nal_unit_type;
    playersdk::ByteWriter(payload - 3, kStartCodeSize + 1).be32(kStartCode).u8(NalUnitByte(nal));
    offset = -3;
    return len + 3;
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
