// A play's reading of its URL, seen from outside: the scheme in any case, the host and port
// its UDP sink sends its first hole datagram to, and a URL longer than the play's field.
#include <gtest/gtest.h>

#include <set>

#include "net/NetSink.h"
#include "net/NetTestSupport.h"
#include "rtsp/Rtsp.h"
#include "session/NetPlayUrl.h"
#include "support/Loopback.h"
#include "support/LoopbackUdp.h"
#include "support/NetPlayFixture.h"
#include "support/ReproInput.h"

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

    // A UDP play's sink sends its first hole datagram to the URL's host and port. Zeros in
    // front of the port are read whole, as the RTSP connection reads them, so both sinks
    // reach the server's port.
    UdpSocket rtspPortOverUdp(server.port());
    ASSERT_TRUE(rtspPortOverUdp.valid());
    long play = Open("a/b", TT_UDP);
    long padded =
        OpenUrl("rtsp://127.0.0.1:00000000" + std::to_string(server.port()) + "/m", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, padded));
    std::vector<Datagram> holes = nettest::ReceivedBeforeMarker(rtspPortOverUdp);
    ASSERT_EQ(holes.size(), 2u);
    std::set<int> from;
    for (const Datagram& hole : holes) {
        EXPECT_EQ(hole.bytes.size(), 17u);
        from.insert(hole.fromPort);
    }
    EXPECT_EQ(from, (std::set<int>{
                        reinterpret_cast<CNetPlayUrl*>(play)->m_pVideoSink->GetLocalPort(),
                        reinterpret_cast<CNetPlayUrl*>(padded)->m_pVideoSink->GetLocalPort()}));
    EXPECT_EQ(server.records().connectionCount(), 4u);  // the sinks make no connection
}

// The play and its RTSP engine each read the URL: both must agree, and neither may hand a
// port to the socket that a 16-bit port field would wrap onto another one.
TEST(UrlPort, BothParsersTakeOnlyPortsFromOneTo65535) {
    struct Case {
        std::string url;
        int port;  // -1: refused
    };
    const Case cases[] = {
        {ReproInput("url", "port-above-65535"), -1},
        {ReproInput("url", "port-empty"), -1},
        {"rtsp://127.0.0.1:0/x", -1},
        {"rtsp://127.0.0.1:-8554/x", -1},
        {"rtsp://127.0.0.1:65536/x", -1},
        {"rtsp://127.0.0.1:99999999999999999999999/x", -1},
        {"rtsp://127.0.0.1:1/x", 1},
        {"rtsp://127.0.0.1:65535/x", 65535},
        {"rtsp://127.0.0.1:0000000000008554/x", 8554},
        {"rtsp://127.0.0.1/x", 554},
    };
    for (const Case& c : cases) {
        std::string url = c.url;
        CNetPlayUrl play;
        CRtsp engine;
        const int playResult = play.ParseUrl(url.data());
        const int engineResult = engine.ParseURL(url.data());
        if (c.port < 0) {
            EXPECT_EQ(std::make_pair(playResult, engineResult), std::make_pair(-1, -1)) << url;
        } else {
            EXPECT_EQ(std::make_pair(playResult, engineResult), std::make_pair(0, 0)) << url;
            EXPECT_EQ(std::make_pair(static_cast<int>(play.m_remote_port), engine.sPort),
                      std::make_pair(c.port, c.port))
                << url;
        }
    }
}

TEST_F(UrlSession, PortThatWrapsOntoTheServersPortIsRefusedWithoutConnecting) {
    const std::string url = "rtsp://127.0.0.1:" + std::to_string(server.port() + 65536) + "/movie";
    EXPECT_EQ(OpenUrl(url), -1);
    ASSERT_FALSE(notices.all().empty());
    EXPECT_EQ(notices.all().back().code, NOTIFY_CONNECT_ERROR);
    EXPECT_EQ(server.records().connectionCount(), 0u);
}
