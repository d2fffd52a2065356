// H.264 NAL unit headers and the byte-pattern tests for H.264 and MPEG-4 elementary streams.
// The per-packet rewriting into Annex B form is CRtpStream::ParseH264Payload.
#pragma once

#include <cstdint>

#include "media/RtpPacket.h"

// The H.264 work buffer of a stream: one rewritten packet at a time.
constexpr int kH264WorkBufSize = 1503;

// What the payload rewriting made of one packet.
struct H264Rewrite {
    int length = 0;                       // bytes rewritten; 0 for a payload passed on unchanged
    int type = 0;                         // kNalStapA or kNalFuA as read from the payload, else 0
    PacketDrop drop = PacketDrop::kNone;  // when not kNone the packet is dropped
};

constexpr int kNalSps = 7;
constexpr int kNalPps = 8;
constexpr int kNalStapA = 24;
constexpr int kNalFuA = 28;
constexpr int kStartCodeSize = 4;  // 00 00 00 01

struct Nal_unit {
    uint8_t nal_unit_type : 5;
    uint8_t nal_ref_idc : 2;
    uint8_t forbidden_zero_bit : 1;
};

struct Nal_unit_FU_header {
    uint8_t nal_unit_type : 5;
    uint8_t reserved_bit : 1;
    uint8_t end_bit : 1;
    uint8_t start_bit : 1;
};

Nal_unit NalUnitOf(uint8_t byte);
uint8_t NalUnitByte(Nal_unit nal);
Nal_unit_FU_header FuHeaderOf(uint8_t byte);

// 1 for an MPEG-4 I-VOP or visual object sequence start (00 00 01 B6/B0, next byte's two top
// bits 0) or the seven bytes 00 00 01 00 00 00 01; else 0 (always 0 for H.264). Reads up to
// seven bytes: callers pass a joined frame buffer, which is always larger than that.
int IsKeyFrame(char* buf);
