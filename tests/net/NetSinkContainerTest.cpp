// The sink container and its receive thread over real sockets on the fixed ports 10000 and up.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "NetTestSupport.h"
#include "base/OsHelpers.h"
#include "fakedecoder/FakeDecoder.h"
#include "net/NetSink.h"
#include "net/NetSinkContainer.h"

using namespace nettest;

namespace {
std::mutex g_reportsMutex;
std::vector<std::pair<long, int>> g_reports;  // (sink, code), from the receive thread

void OnLinkReport(long container, long sink, int code, long user) {
    std::lock_guard<std::mutex> lock(g_reportsMutex);
    g_reports.emplace_back(sink, code);
}

int Reports(const CNetSink* sink, int code) {
    std::lock_guard<std::mutex> lock(g_reportsMutex);
    return static_cast<int>(std::count(g_reports.begin(), g_reports.end(),
                                       std::make_pair(reinterpret_cast<long>(sink), code)));
}

double ProcessCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

std::string LastFrame() {
    auto frames = fakedecoder::Frames();
    return frames.empty() ? ""
                          : std::string(frames.back().bytes.begin(), frames.back().bytes.end());
}

class SinkContainer : public testing::Test {
protected:
    void SetUp() override {
        if (!playersdk::test::UdpPortsFree(10000, 6)) {
            GTEST_SKIP() << "ports 10000-10005 are taken on this host";
        }
        ASSERT_TRUE(server.valid());
        fakedecoder::Reset();
        std::lock_guard<std::mutex> lock(g_reportsMutex);
        g_reports.clear();
        container.SetReportCallback(OnLinkReport);
        container.Init();
    }
    void TearDown() override {
        for (CNetSink* sink : sinks) {
            container.RemoveSink(sink);
        }
    }

    // A sink registered with the container; pointed at the server's ports unless null.
    CNetSink* AddSink(const UdpPortPair* srv, eTransType trans = TT_UDP, uint16_t tcpPort = 0) {
        auto* sink = new CNetSink;
        sink->CreateNetSink(ip, 0, trans, PT_RTP);
        if (trans == TT_TCP) {
            sink->ResetSink(ip, tcpPort);
        }
        container.AddNetSink(sink);
        sinks.push_back(sink);
        if (srv != nullptr) {
            sink->ResetSink(ip, srv->rtp->port());
            srv->rtp->Drain();  // the holes sent at once
            srv->rtcp->Drain();
        }
        return sink;
    }
    void Remove(CNetSink* sink) {
        container.RemoveSink(sink);
        sinks.erase(std::find(sinks.begin(), sinks.end(), sink));
    }
    // One frame through the receive thread: after it, the thread is known to be running.
    void FrameThrough(const UdpSocket& from, uint16_t sinkPort, const std::string& text) {
        uint64_t before = fakedecoder::FrameCount();
        from.SendTo(sinkPort, Frame(nextSeq++, 1, Bytes(text)));
        ASSERT_TRUE(WaitUntil([&] { return fakedecoder::FrameCount() > before; }));
        EXPECT_EQ(LastFrame(), text);
    }

    char ip[16] = "127.0.0.1";
    UdpPortPair server;
    std::vector<CNetSink*> sinks;
    uint16_t nextSeq = 1;
    CNetSinkContainer container;
};
}  // namespace

TEST_F(SinkContainer,
       RtpIsRebuiltIntoFramesAtTheDecoderFromAnyPortUntilResetThenOnlyFromTheServer) {
    CNetSink* sink = AddSink(nullptr);
    UdpSocket stray;
    FrameThrough(stray, 10000, "before reset");

    sink->ResetSink(ip, server.rtp->port());
    stray.SendTo(10000, Frame(50, 2, Bytes("stray")));
    server.rtp->SendTo(10000, Frame(60, 3, Bytes("cam"), false));
    server.rtp->SendTo(10000, Frame(61, 3, Bytes("era"), false));
    server.rtp->SendTo(10000, Frame(62, 3, Bytes(" frame")));
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() >= 2; }));
    EXPECT_EQ(fakedecoder::FrameCount(), 2u);
    EXPECT_EQ(LastFrame(), "camera frame");
}

TEST_F(SinkContainer, PausedSinkDropsRtpButReportsEveryByeFromTheServerWithCode2) {
    CNetSink* sink = AddSink(&server);
    sink->pause();
    server.rtp->SendTo(10000, Frame(1, 1, Bytes("while paused")));
    server.rtcp->SendTo(10001, RtcpBye());
    server.rtcp->SendTo(10001, RtcpBye());
    ASSERT_TRUE(WaitUntil([&] { return Reports(sink, LINK_RTCP_BYE) == 2; }));
    EXPECT_EQ(fakedecoder::FrameCount(), 0u);

    UdpSocket stray;  // a BYE from another port is not the server's
    stray.SendTo(10001, RtcpBye());
    sink->start();
    FrameThrough(*server.rtp, 10000, "after start");
    EXPECT_EQ(Reports(sink, LINK_RTCP_BYE), 2);
}

TEST_F(SinkContainer, ReceiverReportEverySevenSecondsHolesEveryThirtyAndByeOnRemoval) {
    CNetSink* sink = AddSink(&server);
    FrameThrough(*server.rtp, 10000, "sync");
    Datagram d;
    EXPECT_FALSE(server.rtcp->Receive(d, 50));
    auto next = [&d](const UdpSocket& sock, uint16_t from) {
        d = {};
        EXPECT_TRUE(sock.Receive(d));
        EXPECT_EQ(d.fromPort, from);
        return d.bytes;
    };
    playersdk::AdvanceTickCountForTest(7001);
    EXPECT_EQ(next(*server.rtcp, 10001).size(), 56u);
    EXPECT_EQ(d.bytes.at(1), 201);
    EXPECT_TRUE(ReceivedBeforeMarker(*server.rtp).empty());

    playersdk::AdvanceTickCountForTest(23000);  // 30001 since the thread started
    EXPECT_EQ(next(*server.rtcp, 10001).at(1), 201);
    EXPECT_EQ(next(*server.rtcp, 10001), HoleMessage(10001));
    EXPECT_EQ(next(*server.rtcp, 10001), kProbe);
    EXPECT_EQ(next(*server.rtp, 10000), HoleMessage(10000));
    EXPECT_EQ(next(*server.rtp, 10000), kProbe);

    Remove(sink);
    auto bye = ReceivedBeforeMarker(*server.rtcp);
    ASSERT_EQ(bye.size(), 1u);
    EXPECT_EQ(bye[0].bytes, (std::vector<uint8_t>{0x81, 203, 0, 7, 0, 0, 0, 0}));
    EXPECT_EQ(bye[0].fromPort, 10001);
}

TEST_F(SinkContainer, RtcpSilenceIsReportedWithCode1OnlyForSinksWhoseCheckIsEnabled) {
    UdpPortPair otherServer;
    ASSERT_TRUE(otherServer.valid());
    CNetSink* checked = AddSink(&server);
    CNetSink* unchecked = AddSink(&otherServer);
    unchecked->m_bCheckRtcp = 0;
    FrameThrough(*server.rtp, 10000, "sync");

    // A check finding the flag set re-arms it; the next finding it clear reports silence.
    for (int silentPeriod = 1; silentPeriod <= 2; ++silentPeriod) {
        playersdk::AdvanceTickCountForTest(60001);
        ASSERT_TRUE(WaitUntil([&] { return checked->GetReceiveRtcpFlag() == 0; }));
        playersdk::AdvanceTickCountForTest(60001);
        ASSERT_TRUE(WaitUntil([&] { return Reports(checked, LINK_RTCP_SILENCE) == silentPeriod; }));
        // RTCP from the server counts as a sign of life for the next check.
        server.rtcp->SendTo(10001, RtcpSenderReport());
        ASSERT_TRUE(WaitUntil([&] { return checked->GetReceiveRtcpFlag() == 1; }));
    }
    EXPECT_EQ(Reports(unchecked, LINK_RTCP_SILENCE), 0);
    EXPECT_EQ(unchecked->GetReceiveRtcpFlag(), 1);
}

TEST_F(SinkContainer, TcpSinkWhosePeerClosedReportsCode3EveryRoundEvenWhilePaused) {
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t len = sizeof(addr);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&addr), len), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len);
    CNetSink* sink = AddSink(nullptr, TT_TCP, ntohs(addr.sin_port));
    int peer = accept(listener, nullptr, nullptr);
    ASSERT_GE(peer, 0);
    sink->pause();
    close(peer);
    EXPECT_TRUE(WaitUntil([&] { return Reports(sink, LINK_TCP_CLOSED) >= 3; }));
    close(listener);
}

TEST_F(SinkContainer, BadDatagramsAreDroppedAndTheThreadKeepsServingEverySink) {
    UdpPortPair otherServer;
    ASSERT_TRUE(otherServer.valid());
    CNetSink* first = AddSink(&server);
    // The very first datagram of the thread is empty: it must not stay queued in front.
    server.rtp->SendTo(10000, "", 0);
    server.rtcp->SendTo(10001, "", 0);
    server.rtcp->SendTo(10001, "\x81", 1);
    ASSERT_TRUE(server.rtp->SendTo(10000, Frame(1, 1, std::vector<uint8_t>(65507 - 12, 0x5A))));
    UdpSocket stray;
    for (int i = 0; i < 200; ++i) {
        stray.SendTo(10000, Frame(static_cast<uint16_t>(i), 9, Bytes("stray")));
        stray.SendTo(10001, RtcpBye());
    }
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() == 1; }));
    EXPECT_EQ(fakedecoder::Frames()[0].bytes.size(), 65507u - 12);

    CNetSink* second = AddSink(&otherServer);
    FrameThrough(*otherServer.rtp, 10002, "second sink");
    FrameThrough(*server.rtp, 10000, "first sink");
    EXPECT_EQ(fakedecoder::FrameCount(), 3u);
    for (CNetSink* sink : {first, second}) {
        EXPECT_EQ(Reports(sink, LINK_RTCP_BYE) + Reports(sink, LINK_TCP_CLOSED), 0);
    }
}

// A select() asleep on a socket keeps it, and its port, after close(): removal waits for it.
TEST_F(SinkContainer, PortsOfARemovedSinkAreFreeWhenRemoveSinkReturns) {
    for (int round = 0; round < 20; ++round) {
        // Fresh, the receive thread sleeps in each select() with the sink's sockets.
        CNetSinkContainer fresh;
        fresh.Init();
        auto* sink = new CNetSink;
        sink->CreateNetSink(ip, 0, TT_UDP, PT_RTP);
        const uint16_t port = static_cast<uint16_t>(sink->GetLocalPort());
        fresh.AddNetSink(sink);
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 3));

        fresh.RemoveSink(sink);

        ASSERT_TRUE(UdpSocket(port).valid()) << round;
        ASSERT_TRUE(UdpSocket(port + 1).valid()) << round;
    }
}

TEST_F(SinkContainer, SinksRemovedWhileFloodedNeitherCrashNorReceiveAfterRemoval) {
    fakedecoder::Choices countOnly;
    countOnly.keepFrames = false;
    fakedecoder::Reset(countOnly);
    std::atomic<bool> flooding{true};
    std::thread flood([&] {
        std::vector<uint8_t> frame = Frame(1, 1, Bytes("flood")), report = RtcpSenderReport();
        while (flooding) {
            for (uint16_t port : {10000, 10002, 10004}) {
                server.rtp->SendTo(port, frame);
                server.rtcp->SendTo(port + 1, report);
            }
        }
    });
    // A fresh container each round, so that no closed socket stays in a running thread's set.
    for (int round = 0; round < 12; ++round) {
        CNetSinkContainer flooded;
        flooded.Init();
        std::vector<CNetSink*> busy;
        for (int i = 0; i < 3; ++i) {
            busy.push_back(new CNetSink);
            busy.back()->CreateNetSink(ip, 0, TT_UDP, PT_RTP);
            flooded.AddNetSink(busy.back());
            busy.back()->ResetSink(ip, server.rtp->port());
        }
        uint64_t before = fakedecoder::FrameCount();
        EXPECT_TRUE(WaitUntil([&] { return fakedecoder::FrameCount() > before + 10; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 3));
        for (int i = 0; i < 3; ++i) {
            flooded.RemoveSink(busy[(round + i) % 3]);
        }
        uint64_t afterRemoval = fakedecoder::FrameCount();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_EQ(fakedecoder::FrameCount(), afterRemoval);
    }
    flooding = false;
    flood.join();

    fakedecoder::Reset();
    AddSink(&server);
    FrameThrough(*server.rtp, 10000, "still serving");
}

// The one timed check: an idle loop waits in select() instead of polling.
TEST_F(SinkContainer, IdleLoopWithARegisteredSinkUsesUnderOnePercentOfACore) {
    AddSink(&server);
    FrameThrough(*server.rtp, 10000, "sync");
    const double before = ProcessCpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_LT(ProcessCpuSeconds() - before, 0.02);
}

TEST_F(SinkContainer, RemovingASinkWakesTheLoopAtOnce) {
    CNetSink* sink = AddSink(&server);
    FrameThrough(*server.rtp, 10000, "sync");
    ASSERT_TRUE(WaitUntil([&] { return container.WakeUps() == 1; }));  // the addition's
    Remove(sink);
    EXPECT_TRUE(WaitUntil([&] { return container.WakeUps() == 2; }));
}

// With no socket registered the loop waits for nothing but a wake-up: without the one that
// AddNetSink gives, the new sink would never be served.
TEST_F(SinkContainer, SinkAddedWhileTheLoopWaitsWithoutSocketsGetsItsFirstDatagram) {
    ASSERT_TRUE(WaitUntil([&] { return container.IdleWaits() == 1; }));
    AddSink(&server);
    FrameThrough(*server.rtp, 10000, "first datagram");
}
