// The exported functions of libPlayerSDK.so, with the real decoder library behind them, play
// the loopback live test pattern over TCP and over UDP: the snapshot must show the picture that
// was sent.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "PlayerSDK.h"
#include "livesource/LiveSource.h"
#include "livesource/PictureCheck.h"
#include "support/TempDir.h"

using namespace playersdk::livesource;

namespace {

struct PlayLog {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> codes;
    int pictures = 0;
    Picture last;

    bool WaitForPictures(int count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] { return pictures >= count; });
    }
    bool Received(int code) {
        std::lock_guard<std::mutex> lock(mutex);
        return std::find(codes.begin(), codes.end(), code) != codes.end();
    }
};

int OnNotify(long, long, ePlayNotifyCode code, long user) {
    auto* log = reinterpret_cast<PlayLog*>(user);
    std::lock_guard<std::mutex> lock(log->mutex);
    log->codes.push_back(code);
    return 0;
}

// Pictures arrive as (stream, BGR24 rows, width, height, type, the play's user value).
int OnPicture(long, char* buf, int width, int height, int, long user) {
    auto* log = reinterpret_cast<PlayLog*>(user);
    std::lock_guard<std::mutex> lock(log->mutex);
    ++log->pictures;
    log->last = BlankPicture(width, height);
    std::copy(buf, buf + log->last.bgr.size(), log->last.bgr.begin());
    log->changed.notify_all();
    return 0;
}

class LoopbackPlay : public testing::TestWithParam<std::tuple<VideoCodec, int>> {};

TEST_P(LoopbackPlay, PicturesAndTheSnapshotShowWhatWasSent) {
    const auto [codec, transType] = GetParam();
    CLiveSource source({codec});
    ASSERT_TRUE(source.Start());
    PlayLog log;
    NetPlay_SetGotPictureCallback(OnPicture);
    const long container = NetPlay_Init(OnNotify, reinterpret_cast<long>(&log));
    std::string url = source.url();

    const long play =
        NetPlay_OpenUrlEx(container, url.data(), 0, reinterpret_cast<long>(&log), transType);

    ASSERT_NE(play, -1);
    ASSERT_TRUE(log.WaitForPictures(10));
    playersdk::test::TempDir dir;
    std::string bmp = dir.file("snapshot.bmp");
    EXPECT_EQ(NetPlay_GrabPic(container, play, bmp.data()), 0);
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
    EXPECT_EQ(NetPlay_CloseUrl(container, play), 0);
    EXPECT_EQ(NetPlay_Destroy(container), 0);
    NetPlay_SetGotPictureCallback(nullptr);
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
