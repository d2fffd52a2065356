#include "media/RtpPacket.h"

#include <gtest/gtest.h>

#include <vector>

namespace {
using Bytes = std::vector<unsigned char>;

struct Located {
    PacketDrop drop;
    size_t offset;
    DWORD length;
};

Located Locate(Bytes datagram) {
    PacketList packet{};
    EXPECT_TRUE(ReadRtpHeader(datagram.data(), datagram.size(), packet.head));
    const PacketDrop drop = LocatePayload(datagram.data(), datagram.size(), packet);
    const size_t offset = packet.pMediaBuf != nullptr ? packet.pMediaBuf - datagram.data() : 0;
    return {drop, offset, packet.length};
}

Bytes Header(uint8_t first, Bytes rest) {
    Bytes datagram = {first, 96, 0, 1, 0, 0, 0, 0, 0x11, 0x22, 0x33, 0x44};
    datagram.insert(datagram.end(), rest.begin(), rest.end());
    return datagram;
}
}  // namespace

TEST(LocatePayload, NamesWhyAPacketIsDropped) {
    struct Case {
        const char* what;
        Bytes datagram;
        PacketDrop drop;
        size_t offset;  // checked with the length when the packet is kept
        DWORD length;
    };
    const Case cases[] = {
        {"plain", Header(0x80, {1, 2, 3}), PacketDrop::kNone, 12, 3},
        {"CSRC count is not added", Header(0x82, {1, 2, 3}), PacketDrop::kNone, 12, 3},
        {"one extension word", Header(0x90, {0xBE, 0xDE, 0, 1, 9, 9, 9, 9, 7}), PacketDrop::kNone,
         20, 1},
        {"padding of two", Header(0xA0, {1, 2, 3, 2}), PacketDrop::kNone, 12, 2},
        {"version 1", Header(0x40, {1}), PacketDrop::kBadVersion, 0, 0},
        {"version 3", Header(0xC0, {1}), PacketDrop::kBadVersion, 0, 0},
        {"extension header cut", Header(0x90, {0xBE, 0xDE, 0}), PacketDrop::kExtensionOverrun, 0,
         0},
        {"extension longer than the packet", Header(0x90, {0xBE, 0xDE, 0, 2, 1, 2, 3, 4}),
         PacketDrop::kExtensionOverrun, 0, 0},
        {"padding past the header", Header(0xA0, {1, 2, 9}), PacketDrop::kPaddingOverrun, 0, 0},
    };
    for (const Case& c : cases) {
        const Located got = Locate(c.datagram);
        EXPECT_EQ(got.drop, c.drop) << c.what;
        if (c.drop == PacketDrop::kNone) {
            EXPECT_EQ(got.offset, c.offset) << c.what;
            EXPECT_EQ(got.length, c.length) << c.what;
        }
    }
}
