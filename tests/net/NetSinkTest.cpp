// A sink on its own, without the receive thread: ports, datagram dispatch, TCP framing and the
// hole datagrams as the server's sockets receive them. Uses the fixed ports 10000 and up.
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
    int Deliver(int s, std::vector<uint8_t> bytes, uint16_t fromPort) {
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
}  // namespace

TEST_F(NetSink, FirstSinkGets10000And10001TheNextThePairAfterAndATakenPortMovesTheSearchOn) {
    {
        TestSink first;
        TestSink second;
        EXPECT_EQ(first.created, 0);
        EXPECT_EQ(first.m_RtpPortInfo.rtpport, 10000u);
        EXPECT_EQ(first.m_RtpPortInfo.rtcpport, 10001u);
        EXPECT_EQ(first.GetLocalPort(), 10000);
        EXPECT_EQ(second.m_RtpPortInfo.rtpport, 10002u);
        EXPECT_EQ(second.m_RtpPortInfo.rtcpport, 10003u);
    }
    UdpSocket taken(10000);
    ASSERT_TRUE(taken.valid());
    TestSink third;
    EXPECT_EQ(third.m_RtpPortInfo.rtpport, 10002u);
    EXPECT_EQ(third.m_RtpPortInfo.rtcpport, 10003u);
}

TEST_F(NetSink, OtherPacketTypesKeepTheirSocketsWithoutAStreamAndReceiveOnlyHasNoSendSockets) {
    TestSink ts(TT_UDP, PT_TS);
    EXPECT_EQ(ts.created, -1);
    EXPECT_EQ(ts.m_pRtpStream, nullptr);
    EXPECT_GT(ts.GetRtpSocket(), 0);
    EXPECT_EQ(ts.GetLocalPort(), 0);  // only RTP packet types announce a port

    ts.m_RtpPortInfo_send = RtpPacketPort{0, 0, 77, 78};
    EXPECT_EQ(ts.GetRtpSendSocket(), 0);
    EXPECT_EQ(ts.GetRtcpSendSocket(), 0);
    ts.m_RtpPortInfo_send = RtpPacketPort{};
}

TEST_F(NetSink, RtpIsTakenFromAnyPortUntilTheServerPortIsSetThenOnlyFromItAndNotWhilePaused) {
    TestSink sink;
    std::vector<uint8_t> small(100, 0), large(1400, 0);
    sink.Deliver(sink.GetRtpSocket(), small, 4000);
    sink.Deliver(sink.GetRtpSocket(), large, 4002);
    EXPECT_EQ(sink.Packets(), 2);
    sink.CalcFlux();                         // also starts the stream's counts afresh
    EXPECT_FLOAT_EQ(sink.GetFlux(), 10.0f);  // 100 / 128 adds 0, 1400 / 128 adds 10

    sink.ResetTo(server.rtp->port());
    sink.Deliver(sink.GetRtpSocket(), large, 4000);
    sink.Deliver(sink.GetRtcpSocket(), large, server.rtp->port());  // RTP on the RTCP socket
    EXPECT_EQ(sink.Packets(), 0);
    sink.Deliver(sink.GetRtpSocket(), large, server.rtp->port());
    EXPECT_EQ(sink.Packets(), 1);

    sink.pause();
    sink.Deliver(sink.GetRtpSocket(), large, server.rtp->port());
    EXPECT_EQ(sink.Packets(), 1);
    sink.CalcFlux();
    EXPECT_FLOAT_EQ(sink.GetFlux(), 10.0f);
}

TEST_F(NetSink, RtcpFromTheServerRtcpPortArmsTheFlagAByeReturns203AndOtherPortsAreIgnored) {
    TestSink sink;
    sink.ResetTo(server.rtp->port());
    uint16_t serverRtcp = server.rtcp->port();
    sink.RestReceiveRtcpFlag();
    ASSERT_EQ(sink.GetReceiveRtcpFlag(), 0);

    EXPECT_EQ(sink.Deliver(sink.GetRtcpSocket(), RtcpSenderReport(), serverRtcp + 1), 0);
    EXPECT_EQ(sink.Deliver(sink.GetRtcpSocket(), RtcpSenderReport(), server.rtp->port()), 0);
    EXPECT_EQ(sink.Deliver(sink.GetRtcpSocket(), RtcpBye(), serverRtcp), 203);
    EXPECT_EQ(sink.GetReceiveRtcpFlag(), 0);  // a BYE is no sign of life

    sink.pause();  // RTCP is still served while paused
    EXPECT_EQ(sink.Deliver(sink.GetRtcpSocket(), {0x81}, serverRtcp), 0);  // 1 byte: no type
    EXPECT_EQ(sink.GetReceiveRtcpFlag(), 1);
    EXPECT_EQ(sink.Deliver(sink.GetRtcpSocket(), RtcpBye(), serverRtcp), 203);

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
    sink.Deliver(sink.GetRtpSocket(), framed, 0);
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

TEST_F(NetSink, ReceiveOnlySinkSendsMessageThenProbeFromEachSocketAtResetAndAtEveryCall) {
    TestSink sink;
    sink.ResetTo(server.rtp->port());
    for (int call = 0; call < 2; ++call) {
        auto rtp = ReceivedBeforeMarker(*server.rtp);
        auto rtcp = ReceivedBeforeMarker(*server.rtcp);
        ASSERT_EQ(rtp.size(), 2u);
        ASSERT_EQ(rtcp.size(), 2u);
        EXPECT_EQ(rtp[0].bytes, HoleMessage(10000));
        EXPECT_EQ(rtp[1].bytes, kProbe);
        EXPECT_EQ(rtcp[0].bytes, HoleMessage(10001));
        EXPECT_EQ(rtcp[1].bytes, kProbe);
        EXPECT_EQ(rtp[0].fromPort + rtp[1].fromPort, 2 * 10000);
        EXPECT_EQ(rtcp[0].fromPort + rtcp[1].fromPort, 2 * 10001);
        sink.SendNetHole();
    }
}

TEST_F(NetSink, PacketTypeVersion2LeavesOutOnlyTheMessageFromTheRtpSocket) {
    TestSink sink(TT_UDP, PT_RTP_VERSION2);
    sink.ResetTo(server.rtp->port());
    auto rtp = ReceivedBeforeMarker(*server.rtp);
    auto rtcp = ReceivedBeforeMarker(*server.rtcp);
    ASSERT_EQ(rtp.size(), 1u);
    EXPECT_EQ(rtp[0].bytes, kProbe);
    ASSERT_EQ(rtcp.size(), 2u);
    EXPECT_EQ(rtcp[0].bytes, HoleMessage(10001));
    EXPECT_EQ(rtcp[1].bytes, kProbe);
}

TEST_F(NetSink, SinkMode2SendsOneShortMessageFromTheRtpSocketPerCall) {
    TestSink sink;
    sink.SetSinkMode(2);
    sink.m_urlssrc = 0x01020304;
    sink.ResetTo(server.rtp->port());
    sink.SendNetHole();
    std::vector<uint8_t> expected = Bytes("SSRC-PORT");
    expected.insert(expected.end(), {1, 2, 3, 4, 0, 0, 0x27, 0x10});
    auto rtp = ReceivedBeforeMarker(*server.rtp);
    ASSERT_EQ(rtp.size(), 2u);
    EXPECT_EQ(rtp[0].bytes, expected);
    EXPECT_EQ(rtp[1].bytes, expected);
    EXPECT_EQ(rtp[0].fromPort, 10000);
    EXPECT_TRUE(ReceivedBeforeMarker(*server.rtcp).empty());
}
