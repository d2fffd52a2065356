// A sink on its own, without the receive thread, on the fixed ports 10000 and up.
#include <gtest/gtest.h>

#include <cstring>

#include "NetTestSupport.h"
#include "net/NetSink.h"

using namespace nettest;

namespace {
// A sink made as the URL session makes it, destroyed with its sockets at the end.
struct TestSink : CNetSink {
    explicit TestSink(eTransType trans = TT_UDP, ePacketType packet = PT_RTP) {
        created = CreateNetSink(ip, 0, trans, packet);
    }
    ~TestSink() override { DestorySink(); }
    void ResetTo(uint16_t port) { ResetSink(ip, port); }
    int Rtp(std::vector<uint8_t> bytes, uint16_t fromPort) {
        return Deliver(GetRtpSocket(), bytes, fromPort);
    }
    int Rtcp(std::vector<uint8_t> bytes, uint16_t fromPort) {
        return Deliver(GetRtcpSocket(), bytes, fromPort);
    }
    int Deliver(int s, std::vector<uint8_t>& bytes, uint16_t fromPort) {
        return ReceiveData(s, static_cast<int>(bytes.size()), bytes.data(), From(fromPort));
    }
    int Packets() const { return m_pRtpStream->m_iTotalPacket; }
    char ip[16] = "127.0.0.1";
    int created = 0;
};

class NetSink : public testing::Test {
protected:
    void SetUp() override {
        if (!playersdk::test::UdpPortsFree(10000, 4)) {
            GTEST_SKIP() << "ports 10000-10003 are taken on this host";
        }
        ASSERT_TRUE(server.valid());
    }
    UdpPortPair server;
};

std::pair<unsigned, unsigned> Ports(const CNetSink& sink) {
    return {sink.m_RtpPortInfo.rtpport, sink.m_RtpPortInfo.rtcpport};
}
}  // namespace

TEST_F(NetSink, FirstSinkGets10000And10001TheNextThePairAfterAndATakenPortMovesTheSearchOn) {
    {
        TestSink first;
        TestSink second;
        EXPECT_EQ(first.created, 0);
        EXPECT_EQ(Ports(first), std::make_pair(10000u, 10001u));
        EXPECT_EQ(first.GetLocalPort(), 10000);
        EXPECT_EQ(Ports(second), std::make_pair(10002u, 10003u));
    }
    {
        UdpSocket taken(10000);
        ASSERT_TRUE(taken.valid());
        EXPECT_EQ(Ports(TestSink()), std::make_pair(10002u, 10003u));
    }
    // Other packet types keep their sockets without a stream and announce no port.
    TestSink ts(TT_UDP, PT_TS);
    EXPECT_EQ(std::make_tuple(ts.created, ts.m_pRtpStream, ts.GetLocalPort()),
              std::make_tuple(-1, nullptr, 0));
    EXPECT_GT(ts.GetRtpSocket(), 0);
}

TEST_F(NetSink, RtpIsTakenFromAnyPortUntilTheServerPortIsSetThenOnlyFromItAndNotWhilePaused) {
    TestSink sink;
    std::vector<uint8_t> small(100, 0), large(1400, 0);
    sink.Rtp(small, 4000);
    sink.Rtp(large, 4002);
    EXPECT_EQ(sink.Packets(), 2);
    sink.CalcFlux();                         // also starts the stream's counts afresh
    EXPECT_FLOAT_EQ(sink.GetFlux(), 10.0f);  // 100 / 128 adds 0, 1400 / 128 adds 10

    sink.ResetTo(server.rtp->port());
    sink.Rtp(large, 4000);
    sink.Rtcp(large, server.rtp->port());  // RTP on the RTCP socket
    EXPECT_EQ(sink.Packets(), 0);
    sink.Rtp(large, server.rtp->port());
    EXPECT_EQ(sink.Packets(), 1);
    sink.pause();
    sink.Rtp(large, server.rtp->port());
    EXPECT_EQ(sink.Packets(), 1);
    sink.CalcFlux();
    EXPECT_FLOAT_EQ(sink.GetFlux(), 10.0f);
}

TEST_F(NetSink, RtcpFromTheServerRtcpPortArmsTheFlagAByeReturns203AndOtherPortsAreIgnored) {
    TestSink sink;
    sink.ResetTo(server.rtp->port());
    const uint16_t serverRtcp = server.rtcp->port();
    sink.RestReceiveRtcpFlag();
    ASSERT_EQ(sink.GetReceiveRtcpFlag(), 0);
    EXPECT_EQ(sink.Rtcp(RtcpSenderReport(), serverRtcp + 1), 0);
    EXPECT_EQ(sink.Rtcp(RtcpSenderReport(), server.rtp->port()), 0);
    EXPECT_EQ(sink.Rtcp(RtcpBye(), serverRtcp), 203);
    EXPECT_EQ(sink.GetReceiveRtcpFlag(), 0);  // a BYE is no sign of life

    sink.pause();                                 // RTCP is still served while paused
    EXPECT_EQ(sink.Rtcp({0x81}, serverRtcp), 0);  // 1 byte: no type
    EXPECT_EQ(sink.GetReceiveRtcpFlag(), 1);
    EXPECT_EQ(sink.Rtcp(RtcpBye(), serverRtcp), 203);
    sink.m_bCheckRtcp = 0;
    sink.RestReceiveRtcpFlag();
    EXPECT_EQ(sink.GetReceiveRtcpFlag(), 1);  // an unchecked sink is always re-armed
}

TEST_F(NetSink, TcpFramedMediaNeverReachesTheStreamAndTheSinkKeepsHuntingForTheMark) {
    TestSink sink(TT_TCP, PT_RTP);
    ASSERT_GT(sink.GetRtpSocket(), 0);
    EXPECT_EQ(sink.m_RtpPortInfo.rtpport, 0u);  // a stream socket is not bound
    std::vector<uint8_t> rtp = Frame(1, 1, std::vector<uint8_t>(20, 7)), framed;
    for (int i = 0; i < 3; ++i) {
        framed.insert(framed.end(), {'$', '$', '$', '$', '$', 0, 0, uint8_t(rtp.size())});
        framed.insert(framed.end(), rtp.begin(), rtp.end());
    }
    // The header test compares a 64-bit word with a 32-bit pattern, so no header passes.
    sink.Rtp(framed, 0);
    EXPECT_EQ(sink.Packets(), 0);
    EXPECT_TRUE(sink.m_bLostPkt);
    EXPECT_EQ(sink.m_TcpReceivedBytes, 0u);

    // Hunting counts '$' in a row across reads; the bytes after the fifth are kept.
    char noise[] = "x$$$", rest[] = "$$ab", one[] = "c";
    sink.ReceiveTcpData(sink.GetRtpSocket(), 4, noise);
    EXPECT_EQ(sink.m_continues, 3);
    sink.ReceiveTcpData(sink.GetRtpSocket(), 4, rest);
    EXPECT_FALSE(sink.m_bLostPkt);
    ASSERT_EQ(sink.m_TcpReceivedBytes, 7u);
    EXPECT_EQ(std::memcmp(sink.m_pTcpBuf, "$$$$$ab", 7), 0);
    sink.ReceiveTcpData(sink.GetRtpSocket(), 1, one);  // completes a header: judged bad again
    EXPECT_TRUE(sink.m_bLostPkt);
    EXPECT_EQ(sink.m_TcpReceivedBytes, 0u);
}

// Sent once at the reset and once by the call, from the sink's own ports.
TEST_F(NetSink, HoleDatagramsAtResetAndAtEveryCallPerPacketTypeAndSinkMode) {
    std::vector<uint8_t> shortMessage = Bytes("SSRC-PORT");
    shortMessage.insert(shortMessage.end(), {1, 2, 3, 4, 0, 0, 0x27, 0x10});
    using List = std::vector<std::vector<uint8_t>>;
    struct Case {
        ePacketType packet;
        int mode;
        List rtp;  // per sending
        List rtcp;
    };
    const Case cases[] = {
        {PT_RTP, 0, {HoleMessage(10000), kProbe}, {HoleMessage(10001), kProbe}},
        {PT_RTP_VERSION2, 0, {kProbe}, {HoleMessage(10001), kProbe}},
        {PT_RTP, 2, {shortMessage}, {}},
    };
    for (const Case& c : cases) {
        TestSink sink(TT_UDP, c.packet);
        if (c.mode != 0) {
            sink.SetSinkMode(c.mode);
            sink.m_urlssrc = 0x01020304;
        }
        sink.ResetTo(server.rtp->port());
        sink.SendNetHole();
        for (auto [socket, want, from] : {std::make_tuple(server.rtp.get(), &c.rtp, 10000),
                                          std::make_tuple(server.rtcp.get(), &c.rtcp, 10001)}) {
            List got;
            for (const Datagram& d : ReceivedBeforeMarker(*socket)) {
                got.push_back(d.bytes);
                EXPECT_EQ(d.fromPort, from);
            }
            List twice = *want;
            twice.insert(twice.end(), want->begin(), want->end());
            EXPECT_EQ(got, twice) << c.packet << " mode " << c.mode << " to " << from;
        }
    }
}
