// The streaming phase over a real loopback connection: interleaved frames cut out of the
// RTSP stream, framing errors, RTCP, the server's notices, traffic and the receiver report.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <numeric>

#include "rtsp/EngineHarness.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;
using namespace std::chrono_literals;
using namespace std::string_literals;

namespace {
using Packets = std::vector<std::string>;

// One traffic report once the running second is over: a loose byte makes the pass happen.
float NextTrafficFigure(EngineSession& s) {
    const size_t before = s.reports.traffic.all().size();
    AdvanceLibraryClock(1001);
    s.peer().Send("\n");
    const bool came = s.reports.traffic.WaitUntil([&](auto& all) { return all.size() > before; });
    return came ? s.reports.traffic.all().back() : -1;
}
}  // namespace

TEST(InterleavedDemux, FramesArriveWholeWhateverTheReadsAndAreCountedIn128ByteUnits) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    Bytes small = RtpPacketOfSize(13, 1), split = RtpPacketOfSize(1400, 2);
    s.peer().SendInterleaved(0, small);
    s.peer().SendInterleaved(0, split, {300, 900});
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTP_DATA, 0, 2));
    EXPECT_EQ(s.reports.media(RTSP_RTP_DATA), (Packets{AsText(small), AsText(split)}));
    EXPECT_EQ(s.reports.all().back().info.media_data.MediaType, 1);
    NextTrafficFigure(s);
    auto figures = s.reports.traffic.all();
    EXPECT_EQ(std::accumulate(figures.begin(), figures.end(), 0.0f), 10.0f);  // 1400 / 128
    EXPECT_EQ(figures.back(), s.engine.GetTcpFlux());
}

TEST(InterleavedDemux, Length1500AudioOnAVideoSessionAndUnknownChannelsAreSkipped) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    Bytes longest = RtpPacketOfSize(1499, 1), after = RtpPacketOfSize(40, 2);
    s.peer().Send(BuildInterleavedFrame(0, 1500, RtpPacketOfSize(1500)));  // resync at next '$'
    s.peer().SendInterleaved(0, longest);
    s.peer().SendInterleaved(2, RtpPacketOfSize(60, 1));
    s.peer().SendInterleaved(7, RtpPacketOfSize(30));
    s.peer().SendInterleaved(0, after);
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTP_DATA, 0, 2));
    Pause();
    EXPECT_EQ(s.reports.media(RTSP_RTP_DATA), (Packets{AsText(longest), AsText(after)}));
}

TEST(InterleavedDemux, SplitLengthAndFramesShorterThanTwoBytesNeitherLoseNorEndAnything) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    Bytes first = RtpPacketOfSize(200, 1), second = RtpPacketOfSize(300, 2);
    s.peer().SendInterleaved(0, first, {1, 2, 3});  // the length bytes in two reads
    s.peer().Send("$\0\0\0$\0\0\1x"s);
    s.peer().SendInterleaved(0, second);
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTP_DATA, 0, 2));
    Pause();
    EXPECT_EQ(s.reports.media(RTSP_RTP_DATA), (Packets{AsText(first), AsText(second)}));
    EXPECT_EQ(s.reports.kinds().size(), 3u);
}

TEST(InterleavedDemux, AllFramesOfOneReadAreDeliveredInOnePass) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    ReportLog reports;
    CRtsp engine;
    engine.m_rtsp_socket = fds[0];  // closed by the engine
    engine.m_rtsp_state = eWaitRTPPkt;
    engine.m_sdpinfo.pNetPlay = &reports;
    engine.m_sdpinfo.pCon = &engine;
    engine.m_RTSPNotifyHandle = &ReportLog::Handle;
    Packets sent;
    std::string stream;
    for (uint16_t i = 0; i < 40; ++i) {
        Bytes packet = RtpPacketOfSize(1400, i);
        sent.push_back(AsText(packet));
        stream += AsText(BuildInterleavedFrame(0, packet));
    }
    ASSERT_EQ(write(fds[1], stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
    EXPECT_EQ(engine.m_reader.ReadOnce(fds[0]), static_cast<ssize_t>(stream.size()));
    engine.dealRtpAndRtcpPack();
    EXPECT_EQ(reports.media(RTSP_RTP_DATA), sent);
    close(fds[1]);
}

TEST(InterleavedDemux, RtcpIsDeliveredUncountedAndByeEndsTheSession) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    Bytes report = BuildRtcpSenderReport({});
    s.peer().SendInterleaved(1, report);
    s.peer().SendInterleaved(3, report);
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTCP_DATA, 0, 2));
    EXPECT_EQ(s.reports.media(RTSP_RTCP_DATA), (Packets{AsText(report), AsText(report)}));
    EXPECT_EQ(NextTrafficFigure(s), 0.0f);
    s.peer().SendRtcpBye();
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTCP_DATA, 6));
    s.peer().SendInterleaved(0, RtpPacketOfSize(100));
    Pause();
    EXPECT_EQ(
        s.reports.kinds(),
        (ReportKinds{
            {RTSP_PLAY_REPLAY, 0}, {RTSP_RTCP_DATA, 0}, {RTSP_RTCP_DATA, 0}, {RTSP_RTCP_DATA, 6}}));
}

TEST(InterleavedDemux, ServerCloseWhileStreamingIsReported) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    s.peer().Close();
    ASSERT_TRUE(s.reports.WaitFor(RTSP_SERVER_SHUTUP, 0));
    EXPECT_EQ(s.reports.kinds(), (ReportKinds{{RTSP_PLAY_REPLAY, 0}, {RTSP_SERVER_SHUTUP, 0}}));
}

TEST(ServerNotice, OnlyTheEndOfStreamNoticeIsAnsweredOkAndEndsTheSession) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    s.peer().SendAnnounce("2103");
    s.peer().SendOptions();
    s.peer().SendSetParameter("EOS");
    s.peer().Send("announce x-Notice: 2104\r\n\r\n");  // the word in any case
    Pause();
    Bytes frame = RtpPacketOfSize(80);
    s.peer().SendInterleaved(0, frame);
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTP_DATA, 0));
    Pause();
    EXPECT_EQ(s.reports.media(RTSP_RTP_DATA), Packets{AsText(frame)});
    EXPECT_EQ(s.server.records().messages().size(), 3u);  // nothing answered

    s.peer().SendAnnounce("2102");
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTCP_DATA, 6));
    ASSERT_TRUE(s.server.records().WaitForMessages(4));
    EXPECT_EQ(s.server.records().messages().back().raw,
              "RTSP/1.0 200 ok\r\nCSeq: 4\r\nSession: 12345678\r\n\r\n");
    s.peer().SendInterleaved(0, RtpPacketOfSize(100));
    Pause();
    EXPECT_EQ(s.reports.kinds(),
              (ReportKinds{{RTSP_PLAY_REPLAY, 0}, {RTSP_RTP_DATA, 0}, {RTSP_RTCP_DATA, 6}}));
}

TEST(ServerNotice, NoticeSplitAcrossReadsIsPutTogetherAndEndsTheStream) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    const std::string notice =
        BuildServerRequest("ANNOUNCE", s.url(), 1, "12345678", {"x-Notice: 2101"});
    s.peer().Send(notice, {3, notice.find("2101") + 2, notice.size() - 1});
    ASSERT_TRUE(s.reports.WaitFor(RTSP_RTCP_DATA, 6));
    ASSERT_TRUE(s.server.records().WaitForMessages(4));
    EXPECT_EQ(s.server.records().messages().back().raw,
              "RTSP/1.0 200 ok\r\nCSeq: 4\r\nSession: 12345678\r\n\r\n");
}

TEST(ServerNotice, AnnounceFollowedBySilenceEndsTheSessionAtTheSilenceTimeOutWithoutSpinning) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    s.peer().Send("ANNOUNCE");
    EXPECT_LT(CpuSecondsOver(1000ms), 0.2);
    AdvanceLibraryClock(47000);  // with the second just waited, short of the time-out
    EXPECT_EQ(s.reports.kinds(), (ReportKinds{{RTSP_PLAY_REPLAY, 0}}));
    AdvanceLibraryClock(3000);
    ASSERT_TRUE(s.reports.WaitFor(RTSP_STREAM_CUT, 1));
    EXPECT_EQ(s.reports.kinds(), (ReportKinds{{RTSP_PLAY_REPLAY, 0}, {RTSP_STREAM_CUT, 1}}));
}

TEST(ReceiverReport, IsFramedOnChannelOneAndOversizedOnesAreRefused) {
    EngineSession s;
    ASSERT_TRUE(s.StartPlaying());
    std::string report(32, 'r'), largest(508, 'l'), oversized(509, 'o');
    EXPECT_EQ(s.engine.SendData(report.data(), 32, RTSP_RTCP_RR), 36);
    EXPECT_EQ(s.engine.SendData(largest.data(), 508, RTSP_RTCP_RR), 512);
    EXPECT_EQ(s.engine.SendData(oversized.data(), 509, RTSP_RTCP_RR), -1);
    EXPECT_EQ(s.engine.SendData(report.data(), 32, static_cast<eRtspSendDataType>(2)), 0);
    ASSERT_TRUE(s.server.records().WaitForFrames(2));
    Pause();
    auto frames = s.server.records().frames();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].channel, 1);
    EXPECT_EQ(AsText(frames[0].payload), report);
    EXPECT_EQ(AsText(frames[1].payload), largest);
}

TEST(RtspAckCode, ClassifiesStatusLines) {
    CRtsp rtsp;
    const std::pair<std::string, int> cases[] = {
        {"RTSP/1.0 200 OK\r\n", 200},
        {"rtsp/1.0 200 ok", 200},
        {"RTSP/1.0 404 Stream Not Found", 404},
        {"RTSP/1.0 400 Bad Request", 400},
        {"RTSP/1.0 500 Internal", 500},
        {"RTSP/1.0 461 Unsupported", 461},
        {"RTSP/1.0 454 Session Not Found", 454},
        {"RTSP/1.0 302 Found", 302},
        {"RTSP/2.0 200 OK", -1},
        {"", -1},
        {"RTSP/1.0", 0},
        {"RTSP/1.0 " + std::string(5000, '9'), 999999999},  // cut, not overrun
    };
    for (auto [line, code] : cases) {
        EXPECT_EQ(rtsp.RTSPAckCode(line.data()), code) << line.substr(0, 40);
    }
    EXPECT_EQ(RtspStatusCode(std::string_view("RTSP/1.0 2001", 11)), 20);
}
