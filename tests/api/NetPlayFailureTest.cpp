// Opens that fail at once on the caller's thread, and set-ups that the engine's rules end later.
#include <gtest/gtest.h>

#include "api/PlayContainer.h"
#include "net/NetSinkContainer.h"
#include "support/Loopback.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;

using NetPlayFailure = NetPlayFixture;

TEST_F(NetPlayFailure, SetUpThatFailsAtOnceReportsConnectErrorBeforeReturning) {
    LogCapture log;
    const std::string port = std::to_string(server.port());
    std::vector<std::pair<std::string, int>> opens;
    for (const std::string& url :
         {"http://127.0.0.1:" + port + "/movie", "rtsp://127.0.0.1:" + port, std::string(),
          "rtsp://127.0.0.1:" + std::to_string(ClosedTcpPort()) + "/movie"}) {
        opens.emplace_back(url, TT_TCP);
        opens.emplace_back(url, TT_UDP);
    }
    // Names are not looked up (a UDP sink would resolve one, so only over TCP here), and a host
    // longer than its field is cut into no address.
    opens.emplace_back("rtsp://localhost:" + port + "/movie", TT_TCP);
    opens.emplace_back("rtsp://" + std::string(300, '1') + ":" + port + "/movie", TT_TCP);
    for (const auto& [url, transType] : opens) {
        SCOPED_TRACE(url + " over " + std::to_string(transType));
        const size_t before = notices.all().size();
        EXPECT_EQ(OpenUrl(url, transType), -1);
        std::vector<Notice> after = notices.all();
        ASSERT_EQ(after.size(), before + 1);
        EXPECT_EQ(after.back().code, NOTIFY_CONNECT_ERROR);
        EXPECT_EQ(after.back().container, container);
        EXPECT_EQ(after.back().user, notices.user());
        EXPECT_EQ(NetPlay_StopRecord(container, after.back().play), -1);  // not registered
    }
    EXPECT_NE(log.text().find("[NetPlay] Please enter the correct URL \r\n"), std::string::npos);
    EXPECT_EQ(reinterpret_cast<CPlayContainer*>(container)->m_pNetSinkContainer->m_SinkList,
              nullptr);
    EXPECT_EQ(server.records().connectionCount(), 0u);
}

TEST_F(NetPlayFailure, RefusedDescribeIsResentEveryTwoSecondsAndNeverReported) {
    server.script().Set("DESCRIBE", ScriptedReply::Status(404));
    long play = Open();
    ASSERT_TRUE(server.records().WaitForMethod("DESCRIBE"));
    AdvanceLibraryClock(2001);
    EXPECT_TRUE(server.records().WaitForMethod("DESCRIBE", 2));
    AdvanceLibraryClock(2001);
    EXPECT_TRUE(server.records().WaitForMethod("DESCRIBE", 3));
    EXPECT_TRUE(notices.all().empty());
    EXPECT_TRUE(server.records().requests("SETUP").empty());
    // Still connecting: closing it says TEARDOWN.
    EXPECT_EQ(NetPlay_CloseUrl(container, play), 0);
    EXPECT_TRUE(server.records().WaitForMethod("TEARDOWN"));
}

TEST_F(NetPlayFailure, SilentServerEndsTheSetUpWithConnectErrorAfterFiftySeconds) {
    server.script().Set("DESCRIBE", ScriptedReply::Silence());
    long play = Open();
    ASSERT_TRUE(server.records().WaitForMethod("DESCRIBE"));
    AdvanceLibraryClock(49000);
    EXPECT_TRUE(notices.all().empty());
    AdvanceLibraryClock(1001);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_ERROR, play));
    EXPECT_EQ(notices.codesOf(play), std::vector<int>{NOTIFY_CONNECT_ERROR});
    EXPECT_EQ(NetPlay_CloseUrl(container, play), 0);
}

TEST_F(NetPlayFailure, RefusedPlayIsNotReportedAndTheSilentStreamEndsWithOtherError) {
    server.script().Set("PLAY", ScriptedReply::Status(454, "Session Not Found"));
    long play = Open();
    ASSERT_TRUE(server.records().WaitForMethod("PLAY"));
    Pause();
    EXPECT_TRUE(notices.codesOf(play).empty());
    // The session streams anyway: a packet makes the play report playing, never connected.
    RtpPacketBuilder rtp;
    SendNal(*server.WaitForConnection(0), rtp, Nal(0x41, 50), 3600);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAYING, play));
    AdvanceLibraryClock(50001);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAY_OTHER_ERROR, play));
    // The session has ended: what the server sends now reaches nobody.
    SendNal(*server.WaitForConnection(0), rtp, Nal(0x41, 50), 7200);
    Pause();
    std::vector<int> codes = notices.codesOf(play);
    EXPECT_EQ(std::count(codes.begin(), codes.end(), NOTIFY_PLAYING), 1);
    EXPECT_EQ(std::count(codes.begin(), codes.end(), NOTIFY_CONNECT_SUCCESS), 0);
    EXPECT_EQ(NetPlay_CloseUrl(container, play), 0);
}
