// The exported functions of libPlayerSDK.so, with the real decoder library behind them, play
// the loopback live test pattern over TCP and over UDP: the snapshot must show the picture that
// was sent.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "PlayLog.h"
#include "PlayerSDK.h"
#include "livesource/LiveSource.h"
#include "livesource/PictureCheck.h"
#include "support/TempDir.h"

using namespace playersdk::livesource;

namespace {

using playersdk::test::PlayLog;

class LoopbackPlay : public testing::TestWithParam<std::tuple<VideoCodec, int>> {};

TEST_P(LoopbackPlay, PicturesAndTheSnapshotShowWhatWasSent) {
    const auto [codec, transType] = GetParam();
    CLiveSource source({codec});
    ASSERT_TRUE(source.Start());
    PlayLog log;

    const long play = log.Open(source.url(), transType);

    ASSERT_NE(play, -1);
    ASSERT_TRUE(log.WaitForPictures(10));
    playersdk::test::TempDir dir;
    std::string bmp = dir.file("snapshot.bmp");
    EXPECT_EQ(NetPlay_GrabPic(log.container, play, bmp.data()), 0);
    const Picture snapshot = ReadBmp(bmp);
    int frame = -1;
    EXPECT_LT(DistanceFromPattern(snapshot, 320, 240, &frame), 6.0) << "frame " << frame;
    EXPECT_GE(frame, 0);
    EXPECT_TRUE(log.Received(NOTIFY_CONNECT_SUCCESS));
    EXPECT_TRUE(log.Received(NOTIFY_ZU_VIDEO_DEC_CREATE));
    EXPECT_TRUE(log.Received(NOTIFY_PLAYING));
    EXPECT_FALSE(log.Received(NOTIFY_CONNECT_ERROR));
    EXPECT_FALSE(log.Received(NOTIFY_PLAY_OTHER_ERROR));
    {
        std::lock_guard<std::mutex> lock(log.mutex);
        EXPECT_LT(DistanceFromPattern(log.last, 320, 240), 6.0) << "the picture callback";
    }
    EXPECT_TRUE(log.Close(play));
}

INSTANTIATE_TEST_SUITE_P(CodecsAndTransports, LoopbackPlay,
                         testing::Combine(testing::Values(VideoCodec::kH264, VideoCodec::kMpeg4),
                                          testing::Values(TT_TCP, TT_UDP)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param) == VideoCodec::kH264
                                                    ? "H264"
                                                    : "Mpeg4") +
                                    (std::get<1>(info.param) == TT_UDP ? "OverUdp" : "OverTcp");
                         });

}  // namespace
