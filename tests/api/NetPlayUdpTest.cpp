// URL plays over UDP and direct UDP plays through the exported functions, against the loopback
// RTSP server streaming from its UDP ports to the port pair the play offered in SETUP.
#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>

#include <memory>
#include <set>

#include "api/PlayContainer.h"
#include "base/OsHelpers.h"
#include "fakedecoder/FakeDecoder.h"
#include "media/RtpConstants.h"
#include "net/NetSink.h"
#include "net/NetSinkContainer.h"
#include "session/NetPlayUrl.h"
#include "support/LoopbackUdp.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;
using Channel = UdpTestSender::Channel;

namespace {
using playersdk::kRtcpBye;
using playersdk::kRtcpReceiverReport;

CPlayContainer& ContainerOf(long handle) {
    return *reinterpret_cast<CPlayContainer*>(handle);
}

CNetSink* SinkOf(long play) {
    return reinterpret_cast<CNetPlayUrl*>(play)->m_pVideoSink;
}

// The short hole message of a URL play's sink: "SSRC-PORT", SSRC 0, the local RTP port.
Bytes HoleMessage(uint16_t localPort) {
    Bytes msg{'S', 'S', 'R', 'C', '-', 'P', 'O', 'R', 'T', 0, 0, 0, 0, 0, 0};
    msg.push_back(static_cast<uint8_t>(localPort >> 8));
    msg.push_back(static_cast<uint8_t>(localPort));
    return msg;
}

// The link report callback has no user value of the application's: it records here.
Recorder<std::pair<long, int>>* g_linkReports = nullptr;
void OnLinkReport(long, long sink, int code, long) {
    g_linkReports->Add({sink, code});
}

class NetPlayUdp : public NetPlayFixture {
protected:
    // A URL play over UDP with 'user' as its user value, waited for until it plays.
    long OpenPlayingUdp(long user = 0) {
        const size_t playing = notices.count(NOTIFY_PLAYING);
        long play = Open("movie", TT_UDP, user);
        EXPECT_TRUE(notices.WaitFor(NOTIFY_PLAYING, 0, playing + 1));
        return play;
    }
    // Each NAL unit as one access unit from the server's RTP port to 'port'; their Annex B
    // forms, as the decoder must get them.
    std::vector<std::string> SendNals(uint16_t port, const std::vector<Bytes>& nals) {
        std::vector<std::string> sent;
        for (const Bytes& nal : nals) {
            m_timestamp += 3600;
            for (const Bytes& packet :
                 m_rtp.PacketizeH264Nal(nal.data(), nal.size(), m_timestamp, true)) {
                EXPECT_TRUE(server.udp().SendTo(port, packet));
            }
            sent.push_back(AnnexB(nal));
        }
        return sent;
    }
    // The next datagram that reached the server's port; no bytes when none came.
    UdpTestSender::Received AtServer(Channel channel) {
        UdpTestSender::Received got;
        server.udp().Receive(channel, got, 5000);
        return got;
    }
    // The watchdog ticks only when the test says so.
    void StopWatchdogThread() {
        CPlayContainer& c = ContainerOf(container);
        sem_post(&c.m_semUdpExit);
        pthread_join(c.m_hUdpTimerThread, nullptr);
        c.m_hUdpTimerThread = 0;
    }

    RtpPacketBuilder m_rtp;
    uint32_t m_timestamp = 0;
};
}  // namespace

TEST_F(NetPlayUdp, SetupOffersABoundEvenPairAndEveryFrameReachesTheDecoderWhole) {
    long play = OpenPlayingUdp(frames.user());
    const uint16_t port = Peer().clientRtpPort();
    EXPECT_EQ(
        server.records().requests("SETUP").at(0).header("Transport"),
        "RTP/AVP;unicast;client_port=" + std::to_string(port) + "-" + std::to_string(port + 1));
    EXPECT_GE(port, 10000);
    EXPECT_EQ(port % 2, 0);
    EXPECT_FALSE(UdpSocket(port).valid());  // the play holds both ports
    EXPECT_FALSE(UdpSocket(port + 1).valid());

    // SPS and PPS alone, an IDR slice in FU-A fragments, P slices: one access unit each.
    std::vector<std::string> sent =
        SendNals(port, {Nal(0x67, 12), Nal(0x68, 4), Nal(0x65, 3000), Nal(0x41, 900)});

    ASSERT_TRUE(frames.WaitFor(sent.size()));
    ASSERT_TRUE(WaitUntil([&] { return fakedecoder::FrameCount() == sent.size(); }));
    EXPECT_EQ(frames.all(), sent);
    EXPECT_EQ(DecoderFrames(), sent);
    // The sink's stream reports its decoder through the play's container.
    EXPECT_EQ(notices.count(NOTIFY_ZU_VIDEO_DEC_CREATE), 1u);
    EXPECT_EQ(notices.codesOf(play), (std::vector<int>{NOTIFY_CONNECT_SUCCESS, NOTIFY_PLAYING}));
}

TEST_F(NetPlayUdp, RtpFromAnyPortButTheServerRtpPortIsDropped) {
    OpenPlayingUdp(frames.user());
    const uint16_t port = Peer().clientRtpPort();
    UdpSocket stranger;
    RtpPacketBuilder rtp;
    for (const Bytes& packet : rtp.PacketizeH264Nal(Nal(0x65, 50).data(), 50, 3600, true)) {
        ASSERT_TRUE(stranger.SendTo(port, packet));
    }
    std::vector<std::string> sent = SendNals(port, {Nal(0x41, 60)});

    // The server's datagram came after the stranger's on the same socket.
    ASSERT_TRUE(frames.WaitFor(1));
    EXPECT_EQ(frames.all(), sent);
}

TEST_F(NetPlayUdp, HoleDatagramGoesFromTheRtpPortToTheServerAtPlayAndEveryThirtySeconds) {
    OpenPlayingUdp(frames.user());
    const uint16_t port = Peer().clientRtpPort();
    // A frame through the sink's receive thread: it runs, its periods counted from before now.
    SendNals(port, {Nal(0x41, 60)});
    ASSERT_TRUE(frames.WaitFor(1));
    for (unsigned long advance : {0ul, 30001ul}) {
        SCOPED_TRACE(advance);
        playersdk::AdvanceTickCountForTest(advance);
        const UdpTestSender::Received hole = AtServer(Channel::kRtp);
        EXPECT_EQ(hole.bytes, HoleMessage(port));
        EXPECT_EQ(hole.fromPort, port);
    }
}

TEST_F(NetPlayUdp, ReceiverReportsGoEverySevenSecondsFromTheRtcpPortToTheServerRtcpPort) {
    OpenPlayingUdp(frames.user());
    const uint16_t port = Peer().clientRtpPort();
    SendNals(port, {Nal(0x41, 60)});
    ASSERT_TRUE(frames.WaitFor(1));  // the receive thread runs, its periods counted from before
    ASSERT_TRUE(server.udp().SendRtcpTo(port + 1, BuildRtcpSenderReport({})));  // as cameras do

    playersdk::AdvanceTickCountForTest(7001);

    const UdpTestSender::Received report = AtServer(Channel::kRtcp);
    EXPECT_EQ(report.fromPort, port + 1);
    ASSERT_EQ(report.bytes.size(), 56u);
    EXPECT_EQ(Bytes(report.bytes.begin(), report.bytes.begin() + 4),
              (Bytes{0x81, kRtcpReceiverReport, 0, 7}));
}

TEST_F(NetPlayUdp, ByeFromTheServerRtcpPortIsLinkReportTwoForThePlaysSink) {
    Recorder<std::pair<long, int>> reports;
    g_linkReports = &reports;
    NetPlay_SetLinkReportCallBack(container, OnLinkReport);
    long play = OpenPlayingUdp();
    const uint16_t port = Peer().clientRtpPort();
    UdpSocket stranger;
    ASSERT_TRUE(stranger.SendTo(port + 1, BuildRtcpBye(kDefaultSsrc)));  // not the server's
    ASSERT_TRUE(server.udp().SendRtcpTo(port + 1, BuildRtcpBye(kDefaultSsrc)));

    ASSERT_TRUE(reports.WaitUntil([](const auto& got) { return !got.empty(); }));
    Pause();  // the stranger's BYE, read before the server's, would have come by now
    EXPECT_EQ(reports.all(),
              (std::vector<std::pair<long, int>>{{reinterpret_cast<long>(SinkOf(play)), 2}}));
    NetPlay_SetLinkReportCallBack(container, nullptr);
}

TEST_F(NetPlayUdp, CloseSaysByeFromTheRtcpPortTearsDownAndFreesThePair) {
    long play = OpenPlayingUdp();
    const uint16_t port = Peer().clientRtpPort();

    EXPECT_EQ(NetPlay_CloseUrl(container, play), 0);

    const UdpTestSender::Received bye = AtServer(Channel::kRtcp);
    ASSERT_EQ(bye.bytes.size(), 8u);
    EXPECT_EQ(bye.bytes[1], kRtcpBye);
    EXPECT_EQ(bye.fromPort, port + 1);
    EXPECT_TRUE(server.records().WaitForMethod("TEARDOWN"));
    EXPECT_TRUE(UdpSocket(port).valid());
    EXPECT_TRUE(UdpSocket(port + 1).valid());
    EXPECT_EQ(ContainerOf(container).m_pNetSinkContainer->m_SinkList, nullptr);
}

TEST_F(NetPlayUdp, InitUdpGivesThePortThatStartUdpOffersAndReceivesOn) {
    char ip[] = "127.0.0.1";
    int localPort = 0;
    long play = NetPlay_InitUDP(container, ip, 6000, &localPort);
    ASSERT_NE(play, -1);
    EXPECT_GE(localPort, 10000);
    EXPECT_EQ(localPort % 2, 0);
    std::string url = server.url();

    EXPECT_EQ(NetPlay_StartUDP(container, play, url.data(), 0, frames.user(), TT_UDP), 0);

    ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAYING, play));
    EXPECT_EQ(server.records().requests("SETUP").at(0).header("Transport"),
              "RTP/AVP;unicast;client_port=" + std::to_string(localPort) + "-" +
                  std::to_string(localPort + 1));
    std::vector<std::string> sent =
        SendNals(static_cast<uint16_t>(localPort), {Nal(0x65, 2000), Nal(0x41, 300)});
    ASSERT_TRUE(frames.WaitFor(sent.size()));
    EXPECT_EQ(frames.all(), sent);
}

TEST_F(NetPlayUdp, StopUdpSaysByeFreesThePairAndSendsNoTeardown) {
    long play = OpenPlayingUdp();
    const uint16_t port = Peer().clientRtpPort();

    EXPECT_EQ(NetPlay_StopUDP(container, play), 0);

    const UdpTestSender::Received bye = AtServer(Channel::kRtcp);
    ASSERT_EQ(bye.bytes.size(), 8u);
    EXPECT_EQ(bye.bytes[1], kRtcpBye);
    EXPECT_TRUE(server.records().WaitForClientClose(0));
    EXPECT_TRUE(server.records().requests("TEARDOWN").empty());
    EXPECT_TRUE(UdpSocket(port).valid());
    EXPECT_EQ(ContainerOf(container).m_pNetSinkContainer->m_SinkList, nullptr);
    EXPECT_EQ(NetPlay_StopUDP(container, play), -1);
}

TEST_F(NetPlayUdp, InitUdpWithoutAPortWritesMinusOneAndReportsConnectErrorAtOnce) {
    char unreadable[] = "";
    int localPort = 12345;

    EXPECT_EQ(NetPlay_InitUDP(container, unreadable, 6000, &localPort), -1);

    EXPECT_EQ(localPort, -1);
    std::vector<Notice> after = notices.all();
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0].code, NOTIFY_CONNECT_ERROR);
    EXPECT_EQ(ContainerOf(container).m_pNetSinkContainer->m_SinkList, nullptr);
    localPort = 12345;
    char ip[] = "127.0.0.1";
    EXPECT_EQ(NetPlay_InitUDP(-1, ip, 6000, &localPort), -1);
    EXPECT_EQ(localPort, 12345);  // a refused container writes nothing
}

TEST_F(NetPlayUdp, SixteenPlaysAtOnceEachGetTheirOwnPairAndFrames) {
    constexpr size_t kPlays = 16;
    std::vector<std::unique_ptr<FrameLog>> logs;
    std::set<uint16_t> ports;
    for (size_t i = 0; i < kPlays; ++i) {
        logs.push_back(std::make_unique<FrameLog>());
        OpenPlayingUdp(logs.back()->user());
        ports.insert(Peer(i).clientRtpPort());
    }
    ASSERT_EQ(ports.size(), kPlays);

    std::vector<std::vector<std::string>> sent;
    for (size_t i = 0; i < kPlays; ++i) {
        sent.push_back(
            SendNals(Peer(i).clientRtpPort(), {Nal(0x65, 1500 + i), Nal(0x41, 100 + i)}));
    }

    for (size_t i = 0; i < kPlays; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(logs[i]->WaitFor(2));
        EXPECT_EQ(logs[i]->all(), sent[i]);
    }
}

TEST_F(NetPlayUdp, CloseAndReopenAtOnceAHundredTimesReusesThePairAndLeaksNoDescriptor) {
    // The first round also opens what stays open for the process (the log file).
    long play = OpenPlayingUdp();
    const uint16_t port = Peer(0).clientRtpPort();
    ASSERT_EQ(NetPlay_CloseUrl(container, play), 0);
    ASSERT_TRUE(server.records().WaitForClientClose(0));
    const size_t open = OpenDescriptorCount();

    for (size_t round = 1; round <= 100; ++round) {
        play = OpenPlayingUdp();
        // The closed pair is free at once, so the search never climbs past it (another process
        // may free a lower pair meanwhile, and then that one is taken).
        ASSERT_LE(Peer(round).clientRtpPort(), port) << round;
        ASSERT_EQ(NetPlay_CloseUrl(container, play), 0) << round;
    }

    for (size_t round = 1; round <= 100; ++round) {
        ASSERT_TRUE(server.records().WaitForClientClose(round)) << round;
    }
    EXPECT_EQ(OpenDescriptorCount(), open);
}

// The watchdog only restarts its measurement: after five silent seconds it clears the play's
// start tick and ends that tick's walk, reporting and closing nothing.
TEST_F(NetPlayUdp, WatchdogMeasuresSilenceRestartsAfterFiveSecondsAndReportsNothing) {
    StopWatchdogThread();
    long first = OpenPlayingUdp(frames.user());
    long second = OpenPlayingUdp();
    auto& a = *reinterpret_cast<CNetPlayUrl*>(first);
    auto& b = *reinterpret_cast<CNetPlayUrl*>(second);
    const std::vector<int> firstCodes = notices.codesOf(first);
    const std::vector<int> secondCodes = notices.codesOf(second);

    ContainerOf(container).UdpTimerTick();
    EXPECT_NE(a.m_TimeOutTimer, 0u);
    EXPECT_NE(b.m_TimeOutTimer, 0u);
    const DWORD secondStart = b.m_TimeOutTimer;
    AdvanceLibraryClock(5001);
    ContainerOf(container).UdpTimerTick();
    EXPECT_EQ(a.m_TimeOutTimer, 0u);
    EXPECT_EQ(b.m_TimeOutTimer, secondStart);  // not reached in the tick that expired the first
    ContainerOf(container).UdpTimerTick();
    EXPECT_NE(a.m_TimeOutTimer, 0u);  // measuring again
    EXPECT_EQ(b.m_TimeOutTimer, 0u);

    // Traffic measured by the sinks' next second puts the measurement at rest.
    SendNals(Peer(0).clientRtpPort(), {Nal(0x65, 3000)});
    ASSERT_TRUE(frames.WaitFor(1));
    playersdk::AdvanceTickCountForTest(1001);
    ASSERT_TRUE(WaitUntil([&] { return NetPlay_GetFlux(container, first) > 0.0f; }));
    ContainerOf(container).UdpTimerTick();
    EXPECT_EQ(a.m_TimeOutTimer, 0u);
    EXPECT_EQ(notices.codesOf(first), firstCodes);
    EXPECT_EQ(notices.codesOf(second), secondCodes);
    EXPECT_EQ(NetPlay_StopRecord(container, first), 0);  // both still registered
    EXPECT_EQ(NetPlay_StopRecord(container, second), 0);
}
