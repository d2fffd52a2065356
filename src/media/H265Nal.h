// H.265 NAL unit headers: two bytes, forbidden bit, six bits of type, six of layer id, three of
// temporal id plus one. Header-only, so the decoder library shares it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/AnnexB.h"

namespace playersdk::h265 {

constexpr size_t kNalHeaderSize = 2;
constexpr int kNalIrapFirst = 16;  // BLA, IDR and CRA pictures, and two reserved IRAP types
constexpr int kNalIrapLast = 23;
constexpr int kNalVclLast = 31;  // types 0 to 31 carry slices of a picture
constexpr int kNalVps = 32;
constexpr int kNalSps = 33;
constexpr int kNalPps = 34;
// Types that only appear in RTP payloads.
constexpr int kNalAggregate = 48;
constexpr int kNalFragment = 49;
constexpr int kNalPaci = 50;

constexpr int NalType(uint8_t firstHeaderByte) {
    return (firstHeaderByte >> 1) & 0x3F;
}
constexpr bool IsIrap(int type) {
    return type >= kNalIrapFirst && type <= kNalIrapLast;
}
constexpr bool IsParameterSet(int type) {
    return type == kNalVps || type == kNalSps || type == kNalPps;
}

// Whether an Annex B access unit holds a slice of an IRAP picture: a key frame, from which
// decoding can start.
inline bool HasIrapSlice(const uint8_t* data, size_t len) {
    ByteReader r(data, len);
    uint8_t header = 0;
    while (SkipToStartCode(r) && r.u8(header)) {
        if (IsIrap(NalType(header))) {
            return true;
        }
    }
    return false;
}

}  // namespace playersdk::h265
