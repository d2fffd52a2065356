// A play's reading of its URL, seen from outside: the scheme in any case, the host and port
// its UDP sink connects to, and a URL longer than the play's field.
#include <gtest/gtest.h>

#include "support/Loopback.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;

using UrlSession = NetPlayFixture;

TEST_F(UrlSession, SchemeIsReadInAnyCaseButTheConnectionTakesOnlyTwoSpellings) {
    LogCapture log;
    std::string rest = server.url().substr(7);
    long upper = OpenUrl("RTSP://" + rest);
    EXPECT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, upper));
    EXPECT_EQ(OpenUrl("Rtsp://" + rest), -1);
    EXPECT_EQ(notices.all().back().code, NOTIFY_CONNECT_ERROR);
    EXPECT_NE(log.text().find("[ParseUrl] Please enter the correct URL \r\n"), std::string::npos);
    EXPECT_EQ(log.text().find("[NetPlay] Please enter the correct URL"), std::string::npos);
    EXPECT_EQ(server.records().connectionCount(), 1u);
}

TEST_F(UrlSession, UdpSinkConnectsToTheHostAndPortOfTheUrl) {
    long play = Open("a/b", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    EXPECT_EQ(server.records().requests("DESCRIBE").at(0).url, server.url("a/b"));
    EXPECT_TRUE(server.records().WaitForConnections(2));
    // The port is read from seven characters at most: with zeros in front the sink misses the
    // server, while the RTSP connection reads the whole number.
    long padded =
        OpenUrl("rtsp://127.0.0.1:00000000" + std::to_string(server.port()) + "/m", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, padded));
    Pause();
    EXPECT_EQ(server.records().connectionCount(), 3u);
}

TEST_F(UrlSession, UrlLongerThanThePlayFieldIsCut) {
    const std::string path(600, 'p');
    long play = Open(path);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    EXPECT_EQ(server.records().requests("DESCRIBE").at(0).url, server.url(path).substr(0, 255));
}
