#include "rtsp/standard/ReplyHeaders.h"

#include <gtest/gtest.h>

#include "rtsp/standard/Captures.h"

using namespace playersdk::standard;
using playersdk::test::CapturedReply;

namespace {
std::string Header(const char* capture, const char* name) {
    return std::string(CapturedReply(capture).Header(name).value_or(""));
}
std::optional<uint32_t> Second(const std::optional<NumberPair>& pair) {
    return pair ? pair->second : std::nullopt;
}
}  // namespace

TEST(StandardReplyHeaders, ReadsTheTransportOfEachCapturedSetup) {
    struct Case {
        const char* capture;
        bool overTcp;
        std::optional<uint32_t> interleavedSecond;
        std::optional<uint32_t> serverPortSecond;
        uint32_t ssrc;
    };
    const Case cases[] = {
        {"gstreamer-setup-tcp.txt", true, 1, std::nullopt, 0x53011122},
        {"gstreamer-setup-udp.txt", false, std::nullopt, 54545, 0x1073EBFD},
        {"vlc-setup-udp.txt", false, std::nullopt, 46763, 0x562D77ED},
    };
    for (const Case& c : cases) {
        auto t = ParseTransport(Header(c.capture, "Transport"));
        ASSERT_TRUE(t) << c.capture;
        EXPECT_EQ(t->overTcp, c.overTcp) << c.capture;
        EXPECT_EQ(Second(t->interleaved), c.interleavedSecond) << c.capture;
        EXPECT_EQ(Second(t->serverPort), c.serverPortSecond) << c.capture;
        EXPECT_EQ(t->ssrc, c.ssrc) << c.capture;
    }
    auto perl = ParseTransport(Header("perl-setup-udp.txt", "Transport"));
    ASSERT_TRUE(perl);
    EXPECT_EQ(perl->serverPort->first, 20002u);
    EXPECT_FALSE(perl->ssrc);
}

TEST(StandardReplyHeaders, TransportNamesItsSourceAndRefusesBrokenChannelsOrPorts) {
    auto t = ParseTransport(
        "RTP/AVP;multicast;source=10.1.2.3;client_port=5000;ssrc=1234567890, RTP/AVP/TCP");
    ASSERT_TRUE(t);
    EXPECT_TRUE(t->multicast);
    EXPECT_EQ(t->source, "10.1.2.3");
    EXPECT_EQ(t->clientPort->first, 5000u);
    EXPECT_FALSE(t->clientPort->second);
    EXPECT_FALSE(t->ssrc);  // decimal, as some cameras write it: not read, not fatal
    for (const char* broken : {"", "RAW/RAW/UDP;unicast", "RTP/AVP/TCP;interleaved=256-257",
                               "RTP/AVP;server_port=70000-70001", "RTP/AVP;client_port=-"}) {
        EXPECT_FALSE(ParseTransport(broken)) << broken;
    }
}

TEST(StandardReplyHeaders, SessionIdRunsToTheSemicolonWithItsTimeout) {
    struct Case {
        std::string value;
        const char* id;
        uint32_t timeout;
    };
    const Case cases[] = {
        {Header("gstreamer-setup-udp.txt", "Session"), "7MlZW18vM_M-3T+E", 60},
        {Header("vlc-setup-udp.txt", "Session"), "3aa66f438b75d75", 60},
        {"12345678;timeout=30", "12345678", 30},
        {"abc ; Timeout = 5", "abc", 5},
        {"abc;timeout=0", "abc", 60},
        {"abc;timeout=99999999999", "abc", 60},
    };
    for (const Case& c : cases) {
        auto s = ParseSession(c.value);
        ASSERT_TRUE(s) << c.value;
        EXPECT_EQ(s->id, c.id) << c.value;
        EXPECT_EQ(s->timeoutSeconds, c.timeout) << c.value;
    }
    EXPECT_FALSE(ParseSession(" ;timeout=60"));
}

TEST(StandardReplyHeaders, RtpInfoGivesUrlSeqAndRtptimePerStream) {
    auto gst = ParseRtpInfo(Header("gstreamer-play-tcp.txt", "RTP-Info"));
    ASSERT_EQ(gst.size(), 1u);
    EXPECT_EQ(gst[0].url, "rtsp://127.0.0.1:44167/test/stream=0");
    EXPECT_EQ(gst[0].seq, 21483);
    EXPECT_EQ(gst[0].rtptime, 3638749639u);
    auto two =
        ParseRtpInfo("url=rtsp://h/t/1;seq=65535, url=rtsp://h/t/2;rtptime=7;seq=65536, seq=4");
    ASSERT_EQ(two.size(), 2u);
    EXPECT_EQ(two[0].seq, 65535);
    EXPECT_FALSE(two[0].rtptime);
    EXPECT_EQ(two[1].url, "rtsp://h/t/2");
    EXPECT_FALSE(two[1].seq);
    EXPECT_EQ(two[1].rtptime, 7u);
}

TEST(StandardReplyHeaders, RangeReadsNptInSecondsAndClockForm) {
    struct Case {
        std::string value;
        bool startsNow;
        double start;
        std::optional<double> end;
    };
    const Case cases[] = {
        {Header("vlc-play-udp.txt", "Range"), false, 0.790558, std::nullopt},
        {Header("gstreamer-play-tcp.txt", "Range"), false, 0, std::nullopt},
        {"npt=now-", true, 0, std::nullopt},
        {"npt=10.5-3600", false, 10.5, 3600.0},
        {"npt=1:02:03.5-2:00:00", false, 3723.5, 7200.0},
        {"npt = 0.000-12.250;time=20260101T000000Z", false, 0, 12.25},
    };
    for (const Case& c : cases) {
        auto r = ParseRange(c.value);
        ASSERT_TRUE(r) << c.value;
        EXPECT_EQ(r->startsNow, c.startsNow) << c.value;
        EXPECT_DOUBLE_EQ(r->start, c.start) << c.value;
        EXPECT_EQ(r->end, c.end) << c.value;
    }
    for (const char* broken : {"", "clock=19961108T143720.25Z-", "npt=", "npt=a-", "npt=1-b",
                               "npt=1:60:00-", "npt=-1"}) {
        EXPECT_FALSE(ParseRange(broken)) << broken;
    }
}

TEST(StandardReplyHeaders, PublicListsTheMethodsForTheKeepAliveChoice) {
    struct Case {
        const char* capture;
        bool getParameter;
    };
    for (const Case& c : {Case{"gstreamer-options.txt", true}, Case{"vlc-options.txt", true},
                          Case{"perl-options.txt", false}}) {
        auto methods = ParsePublic(Header(c.capture, "Public"));
        EXPECT_TRUE(OffersMethod(methods, "DESCRIBE")) << c.capture;
        EXPECT_EQ(OffersMethod(methods, "get_parameter"), c.getParameter) << c.capture;
    }
}
