// The RTP/RTCP port pair search, on a stretch of ports that was free when each test began.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "net/Sockets.h"
#include "support/LoopbackUdp.h"

using playersdk::test::FreeEvenUdpPorts;
using playersdk::test::OpenDescriptorCount;
using playersdk::test::UdpSocket;

namespace {
uint16_t BoundPort(int s) {
    sockaddr_in addr{};
    socklen_t len = sizeof(addr);
    return getsockname(s, reinterpret_cast<sockaddr*>(&addr), &len) == 0 ? ntohs(addr.sin_port) : 0;
}

// Holds the ports at these offsets from 'base' on 127.0.0.1, which an any-address bind of the
// same port cannot share.
std::vector<std::unique_ptr<UdpSocket>> Take(uint16_t base, const std::vector<int>& offsets) {
    std::vector<std::unique_ptr<UdpSocket>> held;
    for (int offset : offsets) {
        held.push_back(std::make_unique<UdpSocket>(static_cast<uint16_t>(base + offset)));
    }
    return held;
}
}  // namespace

TEST(RtpSocketPair, TakesTheFirstEvenPortWhoseNextPortIsFreeToo) {
    struct Case {
        const char* name;
        std::vector<int> taken;  // offsets from the first port of the search
        int rtpOffset;
    };
    const Case cases[] = {
        {"all free", {}, 0},
        {"first RTP port taken", {0}, 2},
        {"first RTCP port taken", {1}, 2},
        {"both ports of two pairs taken", {0, 1, 2, 3}, 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const uint16_t base = FreeEvenUdpPorts(6);
        ASSERT_NE(base, 0);
        auto held = Take(base, c.taken);
        playersdk::RtpSocketPair pair;

        ASSERT_TRUE(playersdk::OpenRtpSocketPair(AF_INET, base, base + 4, pair));

        EXPECT_EQ(pair.rtpPort, base + c.rtpOffset);
        EXPECT_EQ(BoundPort(pair.rtp), base + c.rtpOffset);
        EXPECT_EQ(BoundPort(pair.rtcp), base + c.rtpOffset + 1);
        close(pair.rtp);
        close(pair.rtcp);
    }
}

TEST(RtpSocketPair, ARangeWithEveryPairTakenFailsWithNoSocketLeftOpen) {
    const uint16_t base = FreeEvenUdpPorts(4);
    ASSERT_NE(base, 0);
    // Each pair has one port taken: the RTCP port of the first, the RTP port of the second.
    auto held = Take(base, {1, 2});
    const size_t open = OpenDescriptorCount();
    playersdk::RtpSocketPair pair;

    EXPECT_FALSE(playersdk::OpenRtpSocketPair(AF_INET, base, base + 2, pair));

    EXPECT_EQ(pair.rtp, -1);
    EXPECT_EQ(pair.rtcp, -1);
    EXPECT_EQ(pair.rtpPort, 0u);
    EXPECT_EQ(OpenDescriptorCount(), open);
}
