// The RTP header as the library holds it and the record of one received packet.
#pragma once

#include <array>
#include <atomic>
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

// Why a received packet was dropped before it reached its frame.
enum class PacketDrop : uint8_t {
    kNone,
    kBadVersion,        // the RTP version is not 2
    kExtensionOverrun,  // the header extension runs past the datagram
    kPaddingOverrun,    // the padding count is longer than what follows the header
    kFragmentTooShort,  // an FU-A too short for its two header bytes
    kUnitOverrun,       // an aggregated unit, or its size, runs past the packet
    kWorkBufferFull,    // the rewritten payload does not fit the H.264 work buffer
    kNoWorkBuffer,      // the H.264 work buffer could not be allocated
};
constexpr size_t kPacketDropKinds = static_cast<size_t>(PacketDrop::kNoWorkBuffer) + 1;

// How many packets a stream dropped, by reason. Counted on the receive thread, read by any.
class PacketDropCounts {
public:
    void Count(PacketDrop why) { m_counts[Index(why)].fetch_add(1, std::memory_order_relaxed); }
    uint32_t operator[](PacketDrop why) const {
        return m_counts[Index(why)].load(std::memory_order_relaxed);
    }

private:
    static size_t Index(PacketDrop why) { return static_cast<size_t>(why); }
    std::array<std::atomic<uint32_t>, kPacketDropKinds> m_counts{};
};

// Fills 'head' from a datagram: the bit-field word from bytes 0-3, the frame key from bytes
// 8-11, ssrc, csrc and extent 0. False when the datagram is shorter than the fixed header.
bool ReadRtpHeader(const unsigned char* data, size_t len, RtpHeader& head);

// Points the packet's pMediaBuf and length at the payload of the datagram its head was read
// from: the header is 12 bytes plus the extension (the CSRC count is not added), and padding
// is taken off the end. kNone, or why the packet is dropped.
PacketDrop LocatePayload(unsigned char* datagram, size_t len, PacketList& packet);

// Releases a packet record and its payload copy.
void FreePacket(PacketList* packet);

struct PacketDeleter {
    void operator()(PacketList* packet) const { FreePacket(packet); }
};
using PacketPtr = std::unique_ptr<PacketList, PacketDeleter>;
