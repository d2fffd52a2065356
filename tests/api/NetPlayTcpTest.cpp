// A live URL play over TCP through the exported functions, against the loopback RTSP server.
#include <gtest/gtest.h>

#include <algorithm>

#include "base/OsHelpers.h"
#include "fakedecoder/FakeDecoder.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;

namespace {
using NetPlayTcp = NetPlayFixture;

long Count(const std::vector<int>& codes, int code) {
    return std::count(codes.begin(), codes.end(), code);
}
}  // namespace

TEST_F(NetPlayTcp, PlayIsReportedFramesReachDecoderAndCallbackAndCloseTearsDown) {
    std::string url = server.url();
    long play = NetPlay_OpenUrl(container, url.data(), 7, frames.user(), nullptr);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    EXPECT_EQ(server.records().requests("SETUP").at(0).header("Transport"),
              "RTP/AVP/TCP;unicast;interleaved=0-1");

    // SPS and PPS alone, an IDR slice in FU-A fragments, P slices: one access unit each.
    RtpPacketBuilder rtp;
    std::vector<std::string> sent;
    uint32_t ts = 0;
    for (const Bytes& nal : {Nal(0x67, 12), Nal(0x68, 4), Nal(0x65, 3000), Nal(0x41, 900)}) {
        SendNal(Peer(), rtp, nal, ts += 3600);
        sent.push_back(AnnexB(nal));
    }
    ASSERT_TRUE(frames.WaitFor(sent.size()));
    ASSERT_TRUE(WaitUntil([&] { return fakedecoder::FrameCount() == sent.size(); }));
    ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAYING, play));
    EXPECT_EQ(frames.all(), sent);
    EXPECT_EQ(DecoderFrames(), sent);

    // One H.264 decoder with the play's user value and window, announced by its handle.
    std::vector<fakedecoder::Call> created = fakedecoder::CallsNamed("Create");
    ASSERT_EQ(created.size(), 1u);
    EXPECT_EQ(created[0].args.at(0), VT_H264);
    EXPECT_EQ(created[0].args.at(1), frames.user());
    EXPECT_EQ(fakedecoder::CallsNamed("SetPlayWnd").at(0).args.at(0), 7);
    EXPECT_EQ(notices.codesOf(created[0].handle), std::vector<int>{NOTIFY_ZU_VIDEO_DEC_CREATE});
    EXPECT_EQ(NetPlay_GetDecoderHandle(container, play), created[0].handle);
    EXPECT_EQ(NetPlay_RefreshSurface(container, play), 0);
    EXPECT_EQ(NetPlay_Control(container, play, PLAY_GETFRAMERATE, 9),
              NetPlay_GetFrameRate(container, play));

    // A server report is answered with a receiver report on channel 1.
    ASSERT_TRUE(Peer().SendInterleaved(1, BuildRtcpSenderReport({})));
    ASSERT_TRUE(server.records().WaitForFrames(1));
    const Bytes report = server.records().frames().at(0).payload;
    EXPECT_EQ(server.records().frames().at(0).channel, 1);
    ASSERT_GE(report.size(), 8u);
    EXPECT_EQ(report[0] >> 6, 2);
    EXPECT_EQ(report[1], 201);

    std::vector<int> codes = notices.codesOf(play);
    EXPECT_EQ(codes.front(), NOTIFY_CONNECT_SUCCESS);
    EXPECT_EQ(Count(codes, NOTIFY_CONNECT_SUCCESS), 1);
    EXPECT_EQ(Count(codes, NOTIFY_PLAYING), 1);
    for (const Notice& notice : notices.all()) {
        EXPECT_EQ(notice.container, container);
        EXPECT_EQ(notice.user, notices.user());
    }

    EXPECT_EQ(NetPlay_CloseUrl(container, play), 0);
    ASSERT_TRUE(server.records().WaitForMethod("TEARDOWN"));
    EXPECT_EQ(server.records().requests("TEARDOWN").at(0).header("Session"), "12345678");
    EXPECT_TRUE(server.records().WaitForClientClose(0));
    EXPECT_EQ(fakedecoder::CallsNamed("CloseDecode").size(), 1u);
    EXPECT_EQ(NetPlay_CloseUrl(container, play), -1);
    EXPECT_EQ(server.records().requests("TEARDOWN").size(), 1u);
}

TEST_F(NetPlayTcp, EndOfStreamAndServerCloseAreReportedAndThePlaysStayOpen) {
    long finished = OpenPlaying("finished");
    long closed = OpenPlaying("closed");
    Peer(0).SendRtcpBye();
    EXPECT_TRUE(notices.WaitFor(NOTIFY_PLAY_FINISHED, finished));
    Peer(1).Close();
    EXPECT_TRUE(notices.WaitFor(NOTIFY_PLAY_OTHER_ERROR, closed));
    EXPECT_EQ(NetPlay_CloseUrl(container, finished), 0);
    EXPECT_EQ(NetPlay_CloseUrl(container, closed), 0);
}

TEST_F(NetPlayTcp, SixFrameRateTicksWithoutFramesReportOneOtherError) {
    // Frame-rate ticks come only while the server sends; its reports complete no frame.
    long play = OpenPlaying();
    Peer().SendInterleaved(1, BuildRtcpSenderReport({}));
    ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAYING, play));
    Pause();
    // One count for every play of the process: wherever it stands, six ticks pass it once.
    const size_t before = notices.count(NOTIFY_PLAY_OTHER_ERROR);
    for (int tick = 0; tick < 6; ++tick) {
        playersdk::AdvanceTickCountForTest(1001);
        Peer().SendInterleaved(1, BuildRtcpSenderReport({}));
        Pause();
    }
    EXPECT_EQ(notices.count(NOTIFY_PLAY_OTHER_ERROR), before + 1);
    EXPECT_EQ(NetPlay_GetFrameRate(container, play), 0);
    // The report after the error makes the play report playing again, once.
    std::vector<int> codes = notices.codesOf(play);
    auto error = std::find(codes.begin(), codes.end(), NOTIFY_PLAY_OTHER_ERROR);
    EXPECT_EQ(std::count(error, codes.end(), NOTIFY_PLAYING), 1);
}
