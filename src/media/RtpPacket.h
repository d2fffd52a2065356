// The RTP header as the library holds it and the record of one received packet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/Types.h"

constexpr int kRtpFixedHeaderSize = 12;

// The seven bit fields share one 32-bit word, packed from the least significant bit, so on a
// little-endian machine its bytes look like the first four bytes of an RTP header.
struct RtpHeader {
    uint32_t cc : 4;
    uint32_t x : 1;
    uint32_t p : 1;
    uint32_t VERSION : 2;
    uint32_t pt : 7;
    uint32_t m : 1;
    uint32_t seq : 16;
    DWORD ts;  // the frame key
    DWORD ssrc;
    DWORD csrc[1];
    DWORD extent;
};

// One received packet. The head's pPre points at the tail of its list.
struct PacketList {
    PacketList* pNext;
    PacketList* pPre;
    RtpHeader head;
    uint8_t padlen;
    DWORD pos;
    DWORD length;              // payload bytes after header, extension and padding
    unsigned char* pMediaBuf;  // the payload in the datagram or the H.264 work buffer
    unsigned char* pRealBuf;   // the record's own copy, owned
};

// Fills 'head' from a datagram: the bit-field word from bytes 0-3, the frame key from bytes
// 8-11, ssrc, csrc and extent 0. False when the datagram is shorter than the fixed header.
bool ReadRtpHeader(const unsigned char* data, size_t len, RtpHeader& head);

// Releases a packet record and its payload copy.
void FreePacket(PacketList* packet);

struct PacketDeleter {
    void operator()(PacketList* packet) const { FreePacket(packet); }
};
using PacketPtr = std::unique_ptr<PacketList, PacketDeleter>;
