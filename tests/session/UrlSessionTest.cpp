// A play's reading of its URL, seen from outside: the scheme in any case, the host and port
// its UDP sink sends its first hole datagram to, and a URL longer than the play's field.
#include <gtest/gtest.h>

#include "net/NetSink.h"
#include "net/NetTestSupport.h"
#include "session/NetPlayUrl.h"
#include "support/Loopback.h"
#include "support/LoopbackUdp.h"
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

    // A UDP play's sink sends its first hole datagram to the URL's host and port, read from
    // seven characters at most: with zeros in front the port reads 0 and no hole goes out,
    // while the RTSP connection reads the port whole.
    UdpSocket rtspPortOverUdp(server.port());
    ASSERT_TRUE(rtspPortOverUdp.valid());
    long play = Open("a/b", TT_UDP);
    long padded =
        OpenUrl("rtsp://127.0.0.1:00000000" + std::to_string(server.port()) + "/m", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, padded));
    std::vector<Datagram> holes = nettest::ReceivedBeforeMarker(rtspPortOverUdp);
    ASSERT_EQ(holes.size(), 1u);
    EXPECT_EQ(holes[0].bytes.size(), 17u);
    EXPECT_EQ(holes[0].fromPort,
              reinterpret_cast<CNetPlayUrl*>(play)->m_pVideoSink->GetLocalPort());
    EXPECT_EQ(server.records().connectionCount(), 4u);  // the sinks make no connection
}
