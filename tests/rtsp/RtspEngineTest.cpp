// The RTSP engine's session phase over a real loopback connection: request bytes, replies,
// resends, time-outs on the test clock, server closes, trick play and shutdown.
#include <gtest/gtest.h>

#include <functional>

#include "rtsp/EngineHarness.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;
using namespace std::string_literals;

namespace {
const ReportKinds kPlaying{{RTSP_PLAY_REPLAY, 0}};
const std::string kAgent = "User-Agent: zuplayer\r\n\r\n";
}  // namespace

TEST(RtspSession, DescribeSetupPlayGoOutByteExactAndThePlayReplyIsReported) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    const std::string url = s.url();
    ASSERT_EQ(s.server.records().messages().size(), 3u);
    EXPECT_EQ(s.requests("DESCRIBE").at(0).raw,
              "DESCRIBE " + url + " RTSP/1.0\r\nCSeq: 1\r\nAccept: application/sdp\r\n" +
                  "Accept-Language: en-US\r\n" + kAgent);
    EXPECT_EQ(s.requests("SETUP").at(0).raw,
              "SETUP " + url + "/trackID=1 RTSP/1.0\r\nCSeq: 2\r\n" +
                  "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n" + kAgent);
    EXPECT_EQ(s.requests("PLAY").at(0).raw,
              "PLAY " + url + "\0 RTSP/1.0\r\nCSeq: 3\r\nRange: npt=0.000000-0.000000\r\n"s +
                  "x-prebuffer: maxtime=0.000000\r\nSession: 12345678\r\n" + kAgent);
    // The description travels up with the first report.
    auto reports = s.reports.all();
    ASSERT_EQ(reports.size(), 1u);
    const rtsp_sdp_info& info = reports[0].info;
    EXPECT_EQ(std::make_tuple(info.videoPayLoadType, info.audioPayLoadType, info.VideoTimescale),
              std::make_tuple(96u, 0u, 90000u));
    EXPECT_STREQ(info.VideoConfig,
                 "fmtp:96 packetization-mode=1;profile-level-id=42C01E;"
                 "sprop-parameter-sets=Z0LAHtoKD8g=,aM48gA==");
    EXPECT_STREQ(info.RTSPSessionId, "12345678");
    EXPECT_EQ(info.Socketmark, s.engine.m_rtsp_socket);
    EXPECT_EQ(info.pNetPlay, &s.reports);
    EXPECT_EQ(s.engine.m_setupType, ONLYVIDEO);
    EXPECT_EQ(int(s.engine.m_rtsp_state), eWaitRTPPkt);
}

TEST(RtspSession, BothTracksAreSetUpBeforePlayAndBothChannelsDeliver) {
    EngineSession s;
    SdpOptions sdp;
    sdp.audio = true;
    sdp.rangeSeconds = 3600;
    s.server.script().SetSdp(BuildH264Sdp(sdp));
    ASSERT_TRUE(s.StartPlaying());
    EXPECT_EQ(s.requests("SETUP").at(1).raw,
              "SETUP " + s.url() + "/trackID=2 RTSP/1.0\r\nCSeq: 3\r\n" +
                  "Transport: RTP/AVP/TCP;unicast;interleaved=2-3\r\nSession: 12345678\r\n" +
                  kAgent);
    EXPECT_EQ(s.requests("PLAY").at(0).cseq, 4);
    EXPECT_EQ(s.requests("PLAY").at(0).header("Range"), "npt=0.000000-3600.000000");
    const rtsp_sdp_info info = s.reports.all().at(0).info;
    EXPECT_EQ(std::make_tuple(info.Audiomode, info.AudioTimescale, info.range),
              std::make_tuple(20, 8000u, 3600u));
    EXPECT_EQ(std::string(info.AudioConfig).rfind("fmtp:97 streamtype=5", 0), 0u);
    EXPECT_EQ(s.engine.m_setupType, BOTHVA);

    Bytes audio = RtpPacketOfSize(60, 1), video = RtpPacketOfSize(70, 1);
    s.peer().SendInterleaved(2, audio);
    s.peer().SendInterleaved(0, video);
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTP_DATA, 0, 2));
    EXPECT_EQ(s.reports.media(RTSP_RTP_DATA),
              (std::vector<std::string>{AsText(audio), AsText(video)}));
}

TEST(RtspSession, UdpSessionOffersClientPortsAndStaysQuietDuringPlay) {
    EngineSession s(2);
    ASSERT_TRUE(s.Open(5000));
    ASSERT_TRUE(s.reports.WaitFor(RTSP_PLAY_REPLAY, 0));
    EXPECT_EQ(s.requests("SETUP").at(0).header("Transport"),
              "RTP/AVP;unicast;client_port=5000-5001");
    EXPECT_EQ(s.reports.all().at(0).info.NRUUdp_V_Port, s.server.script().defaults().serverRtpPort);
    AdvanceLibraryClock(60000);  // the media does not pass the RTSP connection: no time-out
    EXPECT_EQ(s.reports.kinds(), kPlaying);
}

TEST(RtspSession, RefusedDescribeIsResentEveryTwoSecondsWithoutAReport) {
    EngineSession s;
    s.server.script().Set("DESCRIBE", ScriptedReply::Status(404));
    s.server.script().SetFor("DESCRIBE", 3, ScriptedReply::Status(200));
    ASSERT_TRUE(s.Open());
    ASSERT_TRUE(s.server.records().WaitForMethod("DESCRIBE", 1));
    AdvanceLibraryClock(1500);
    EXPECT_EQ(s.requests("DESCRIBE").size(), 1u);
    AdvanceLibraryClock(600);
    ASSERT_TRUE(s.server.records().WaitForMethod("DESCRIBE", 2));
    EXPECT_EQ(s.requests("DESCRIBE")[1].cseq, 2);
    EXPECT_TRUE(s.reports.all().empty());
    AdvanceLibraryClock(2001);  // the third answer is 200: the session goes on from there
    ASSERT_TRUE(s.reports.WaitFor(RTSP_PLAY_REPLAY, 0));
    EXPECT_EQ(s.requests("DESCRIBE").size(), 3u);
    EXPECT_EQ(s.reports.kinds(), kPlaying);
}

// Each phase's silence, close or overflow ends the session with its own report: silence only
// once the test clock has passed the phase's time-out, a close at once.
TEST(RtspSession, SilenceCloseAndOverflowAtEachPhaseEndTheSessionWithTheirReport) {
    auto none = [](EngineSession&) {};
    const struct {
        const char* method;
        ScriptedReply reply;
        std::function<void(EngineSession&)> drive;
        ReportKinds expected;
    } cases[] = {
        {"DESCRIBE",
         ScriptedReply::Silence(),
         [](EngineSession& s) {
             AdvanceLibraryClock(49000);
             EXPECT_TRUE(s.reports.all().empty());
             AdvanceLibraryClock(1500);
         },
         {{RTSP_PLAY_REPLAY, 1}}},
        {"PLAY",
         ScriptedReply::Raw("RTSP/1.0 200"),  // a status line that never completes
         [](EngineSession& s) {
             AdvanceLibraryClock(14000);
             s.peer().Send(" O");
             Pause();
             EXPECT_TRUE(s.reports.all().empty());
             AdvanceLibraryClock(1100);
             s.peer().Send("K");
         },
         {{RTSP_PLAY_REPLAY, 1}}},
        {"SETUP",
         ScriptedReply::Silence(),  // the server goes: the reply can no longer come
         [](EngineSession& s) { s.server.Stop(); },
         {{RTSP_PLAY_REPLAY, 4}}},
        {"DESCRIBE", ScriptedReply::CloseConnection(), none, {{RTSP_PLAY_REPLAY, 4}}},
        {"PLAY",
         ScriptedReply::CloseConnection(),
         none,
         {{RTSP_STREAM_CUT, 4}, {RTSP_PLAY_REPLAY, 3}}},
        {"PLAY",
         ScriptedReply::Raw("RTSP/1.0 200 " + std::string(6000, 'x')),
         none,
         {{RTSP_PLAY_REPLAY, 4}, {RTSP_PLAY_REPLAY, 3}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.method << " " << c.expected.back().second);
        EngineSession s;
        s.server.script().Set(c.method, c.reply);
        ASSERT_TRUE(s.Open());
        ASSERT_TRUE(s.server.records().WaitForMethod(c.method));
        Pause();
        c.drive(s);
        ASSERT_TRUE(s.reports.WaitFor(c.expected.back().first, c.expected.back().second));
        EXPECT_EQ(s.reports.kinds(), c.expected);
    }
}

// No clock is moved: the session ends on the close itself, not on a failing resend.
TEST(RtspSession, ClosedConnectionWhileTheSetupReplyIsAwaitedEndsTheSessionWithoutSpinning) {
    const struct {
        const char* name;
        ScriptedReply reply;
        bool stopServer;
    } cases[] = {
        {"half close", ScriptedReply::CloseConnection(), false},
        {"close", ScriptedReply::Silence(), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EngineSession s;
        s.server.script().Set("SETUP", c.reply);
        ASSERT_TRUE(s.Open());
        ASSERT_TRUE(s.server.records().WaitForMethod("SETUP"));
        if (c.stopServer) {
            s.server.Stop();
        }
        EXPECT_LT(CpuSecondsOver(std::chrono::milliseconds(1000)), 0.2);
        EXPECT_EQ(s.reports.kinds(), (ReportKinds{{RTSP_PLAY_REPLAY, 4}}));
        EXPECT_EQ(s.requests("SETUP").size(), 1u);
    }
}

TEST(RtspSession, TrickRequestsCarryTheirValuesEachReplyIsReportedAndTeardownStopsReading) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    auto request = [&](eRtspRequestType type, const char* text, const char* seek, size_t n) {
        EXPECT_EQ(s.Request(type, text, seek), 0);
        EXPECT_TRUE(s.reports.WaitFor(RTSP_PLAY_REPLAY, 0, n));
        return s.requests("PLAY").back();
    };
    auto play = request(RTSP_SCALE_REQ, "-2", "r=30", 2);
    EXPECT_EQ(play.header("Scale"), "-2.000000");
    EXPECT_EQ(play.header("Range"), "npt=30.000000-0.000000");
    play = request(RTSP_SPEED_REQ, "+0.5", "", 3);
    EXPECT_EQ(play.header("Speed"), "0.500000");
    EXPECT_EQ(play.header("Range"), "npt=30.000000-0.000000");
    play = request(RTSP_SEEK_REQ, "r=now", "", 4);
    EXPECT_NE(play.raw.find("Range: npt=now-x-prebuffer"), std::string::npos);
    request(RTSP_PAUSE_REQ, "", "", 5);
    EXPECT_EQ(int(s.engine.m_rtsp_state), ePauseState);
    AdvanceLibraryClock(60000);  // a paused session may stay silent for ever
    EXPECT_EQ(s.reports.all().size(), 5u);
    EXPECT_EQ(request(RTSP_APPFRAME_REQ, "f=25", "", 6).header("CurFrame"), "25");
    EXPECT_EQ(int(s.engine.m_rtsp_state), eWaitRTPPkt);

    EXPECT_EQ(s.Request(RTSP_TEARDOWN_REQ), 0);
    ASSERT_TRUE(s.server.records().WaitForMethod("TEARDOWN"));
    EXPECT_EQ(s.requests("TEARDOWN")[0].header("Session"), "12345678");
    s.peer().SendInterleaved(0, RtpPacketOfSize(100));
    AdvanceLibraryClock(60000);
    EXPECT_EQ(s.reports.all().size(), 6u);
}

TEST(RtspSession, SecondTrickRequestWithoutAReplyIsBusyAfterAboutOneSecond) {
    EngineSession s;
    s.server.script().Set("PAUSE", ScriptedReply::Silence());
    ASSERT_TRUE(s.StartPlaying());
    EXPECT_EQ(s.Request(RTSP_SCALE_REQ, "+nan", ""), -1);  // not sent, the token given back
    EXPECT_LT(MillisecondsOf([&] { EXPECT_EQ(s.Request(RTSP_PAUSE_REQ), 0); }), 200);
    EXPECT_LE(MillisecondsOf([&] { EXPECT_EQ(s.Request(RTSP_SCALE_REQ, "+2", ""), -3); }), 1200);
    Pause();
    EXPECT_EQ(s.requests("PAUSE").size(), 1u);
    EXPECT_EQ(s.requests("PLAY").size(), 1u);
}

TEST(RtspSession, DestroyReturnsPromptlyAndNothingIsReportedAfterIt) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    s.peer().Send("ANNOUNCE");  // the engine now waits for the notice behind the word
    Pause();
    EXPECT_LT(MillisecondsOf([&] { s.engine.DestoryRtsp(); }), 500);
    EXPECT_EQ(s.engine.m_rtsp_socket, -1);
    EXPECT_FALSE(s.engine.m_bPlayThreadRun.load());
    s.peer().Send("x-Notice: 2102\r\n\r\n");
    s.peer().Close();
    AdvanceLibraryClock(60000);
    EXPECT_EQ(s.reports.kinds(), kPlaying);
}

TEST(RtspSession, UrlIsSplitIntoHostPortAndMovieWithinTheirFields) {
    CRtsp rtsp;
    auto parse = [&](std::string url) { return rtsp.ParseURL(url.data()); };
    ASSERT_EQ(parse("rtsp://10.0.0.1/live/cam1"), 0);
    EXPECT_STREQ(rtsp.server_addr, "10.0.0.1");
    EXPECT_EQ(rtsp.sPort, 554);
    EXPECT_STREQ(rtsp.movie_name, "live/cam1");
    ASSERT_EQ(parse("RTSP://127.0.0.1:8554/"), 0);
    EXPECT_EQ(rtsp.sPort, 8554);
    EXPECT_STREQ(rtsp.movie_name, "");
    EXPECT_EQ(parse("rtsp://127.0.0.1:8554"), -1);
    EXPECT_EQ(parse("http://127.0.0.1/movie"), -1);
    ASSERT_EQ(parse("rtsp://" + std::string(300, 'h') + ":1/" + std::string(900, 'm')), 0);
    EXPECT_EQ(std::string(rtsp.server_addr), std::string(127, 'h'));
    EXPECT_EQ(std::string(rtsp.movie_name), std::string(511, 'm'));
    EXPECT_EQ(rtsp.sPort, 1);
    char unreachable[] = "rtsp://not-an-address/movie";
    EXPECT_EQ(rtsp.InitRTSP(unreachable, 1, nullptr, nullptr), -1);
    EXPECT_FALSE(rtsp.m_bPlayThreadRun.load());
}
