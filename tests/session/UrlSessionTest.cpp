// A play's reading of its URL, seen from outside: the scheme in any case, the host and port
// its UDP sink connects to, and a URL longer than the play's field.
#include <gtest/gtest.h>

#include "support/Loopback.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;

using UrlSession = NetPlayFixture;

TEST_F(UrlSession, SchemeHostPortAndLengthOfTheUrlAsThePlayReadsThem) {
    LogCapture log;
    std::string rest = server.url().substr(7);
    long upper = OpenUrl("RTSP://" + rest);
    EXPECT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, upper));
    EXPECT_EQ(OpenUrl("Rtsp://" + rest), -1);  // any case is read, two spellings connect
    EXPECT_EQ(notices.all().back().code, NOTIFY_CONNECT_ERROR);
    EXPECT_NE(log.text().find("[ParseUrl] Please enter the correct URL \r\n"), std::string::npos);
    EXPECT_EQ(log.text().find("[NetPlay] Please enter the correct URL"), std::string::npos);
    EXPECT_EQ(server.records().connectionCount(), 1u);

    const std::string path(600, 'p');  // cut to the play's field
    long cut = Open(path);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, cut));
    EXPECT_EQ(server.records().requests("DESCRIBE").at(1).url, server.url(path).substr(0, 255));

    // The UDP sink connects to the URL's host and port, read from seven characters at most:
    // with zeros in front it misses the server, while the RTSP connection reads it whole.
    long play = Open("a/b", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    EXPECT_TRUE(server.records().WaitForConnections(4));
    long padded =
        OpenUrl("rtsp://127.0.0.1:00000000" + std::to_string(server.port()) + "/m", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, padded));
    Pause();
    EXPECT_EQ(server.records().connectionCount(), 5u);
}
