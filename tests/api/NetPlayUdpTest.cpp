// URL plays over UDP and direct UDP plays. A play makes its video sink while it still holds
// the constructor's TCP transport: a TCP sink without a local port, connected to the RTSP
// server, and a SETUP that offers client port 0. Direct UDP plays therefore never get a port.
#include <gtest/gtest.h>

#include "api/PlayContainer.h"
#include "base/OsHelpers.h"
#include "net/NetSinkContainer.h"
#include "session/NetPlayUrl.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;

namespace {
using NetPlayUdp = NetPlayFixture;

CPlayContainer& ContainerOf(long handle) {
    return *reinterpret_cast<CPlayContainer*>(handle);
}
}  // namespace

TEST_F(NetPlayUdp, UrlPlaySinkIsATcpSinkAndDirectUdpGetsNoPort) {
    long play = Open("movie", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAYING, play));
    EXPECT_EQ(notices.codesOf(play), (std::vector<int>{NOTIFY_CONNECT_SUCCESS, NOTIFY_PLAYING}));
    EXPECT_EQ(server.records().requests("SETUP").at(0).header("Transport"),
              "RTP/AVP;unicast;client_port=0-1");
    // The sink's connection to the RTSP port comes second and stays silent; the server port of
    // the SETUP reply finds it connected already.
    ASSERT_TRUE(server.records().WaitForConnections(2));
    Pause();
    EXPECT_EQ(server.records().rawBytes(1), "");
    EXPECT_EQ(server.records().connectionCount(), 2u);
    EXPECT_EQ(NetPlay_GetFlux(container, play), 0.0f);
    EXPECT_EQ(NetPlay_GetDecoderHandle(container, play), -1);  // the stream is the sink's

    int localPort = 12345;
    char ip[] = "127.0.0.1";
    EXPECT_EQ(NetPlay_InitUDP(container, ip, 6000, &localPort), -1);
    EXPECT_EQ(localPort, 0);
    localPort = 12345;
    EXPECT_EQ(NetPlay_InitUDP(-1, ip, 6000, &localPort), -1);
    EXPECT_EQ(localPort, 12345);

    EXPECT_EQ(NetPlay_CloseUrl(container, play), 0);
    EXPECT_TRUE(server.records().WaitForMethod("TEARDOWN"));
    EXPECT_TRUE(server.records().WaitForClientClose(1));
    EXPECT_EQ(ContainerOf(container).m_pNetSinkContainer->m_SinkList, nullptr);
}

TEST_F(NetPlayUdp, StopUdpRemovesTheSinkAndEndsTheSessionWithoutTeardown) {
    long play = Open("movie", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    EXPECT_EQ(NetPlay_StopUDP(container, play), 0);
    EXPECT_EQ(ContainerOf(container).m_pNetSinkContainer->m_SinkList, nullptr);
    EXPECT_TRUE(server.records().WaitForClientClose(1));
    EXPECT_TRUE(server.records().WaitForClientClose(0));
    EXPECT_TRUE(server.records().requests("TEARDOWN").empty());
    EXPECT_EQ(NetPlay_StopUDP(container, play), -1);
}

TEST_F(NetPlayUdp, WatchdogReportsNothingAndClosesNothingForASilentPlay) {
    long play = Open("movie", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAYING, play));
    auto& watched = *reinterpret_cast<CNetPlayUrl*>(play);
    const size_t before = notices.all().size();
    // The container's own watchdog ticks once a second as well, and may restart it first.
    ContainerOf(container).UdpTimerTick();
    EXPECT_NE(watched.m_TimeOutTimer.load(), 0u);
    playersdk::AdvanceTickCountForTest(5001);
    ContainerOf(container).UdpTimerTick();
    EXPECT_TRUE(watched.m_TimeOutTimer == 0 || watched.m_TimeOutTimer == GetTickCount());
    AdvanceLibraryClock(60000);
    ContainerOf(container).UdpTimerTick();
    EXPECT_EQ(notices.all().size(), before);
    EXPECT_EQ(NetPlay_StopRecord(container, play), 0);  // still registered
}
