// Playback through the exported functions: frames reach the fake decoder, and the fixture holds
// the play thread in each wait between frames and records how long it was asked to wait.
#include <algorithm>
#include <tuple>

#include "FilePlayTestSupport.h"

using namespace playersdk::test;
using Numbers = std::vector<uint32_t>;
using Gaps = std::vector<int>;
using Clock = std::chrono::steady_clock;

TEST(FilePlayback, EveryFrameReachesTheDecoderByteExactThenPlayoverOnceAndTheThreadEnds) {
    FilePlayFixture fx;
    fx.RunFree();
    int threads = ThreadCount();
    long handle = fx.StartFile(96, 10, 4, /*rate=*/4);
    ASSERT_TRUE(fx.WaitForPlayover());
    EXPECT_TRUE(WaitForThreadCount(threads));
    EXPECT_EQ(fx.Events(), std::vector<int>{FILE_PLAYOVER});

    auto frames = fakedecoder::Frames();
    ASSERT_EQ(frames.size(), 10u);
    for (uint32_t i = 1; i <= 10; ++i) {
        std::string frame = H264Frame((i - 1) % 4 == 0, i, 60 + i);
        EXPECT_EQ(std::string(frames[i - 1].bytes.begin(), frames[i - 1].bytes.end()), frame);
        EXPECT_EQ(frames[i - 1].args, (std::vector<long long>{long(frame.size()), i / 4}));
    }
    auto creates = fakedecoder::CallsNamed("Create");
    ASSERT_EQ(creates.size(), 1u);
    EXPECT_EQ(creates[0].args, (std::vector<long long>{VT_H264, 0, 0, 0, 0, 0}));
    EXPECT_EQ(frames[0].handle, creates[0].handle);
    EXPECT_EQ(fakedecoder::CallsNamed("SetPlayWnd")[0].args, (std::vector<long long>{kWnd, 1}));
    EXPECT_EQ(fx.Gaps(), Gaps(9, 40));  // the initial 40 ms, none after the last frame
    EXPECT_EQ(FilePlay_GetCurTime(handle), 2);
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_EQ(fakedecoder::CallsNamed("CloseDecode").size(), 1u);
}

TEST(FilePlayback, Mpeg4GetsAnMpeg4DecoderOtherMakersNoneAndAFailedCreateDropsEveryFrame) {
    fakedecoder::Choices failing;
    failing.createResult = -1;
    // payload type, decoder choices, decoders created, frames decoded
    const std::tuple<uint32_t, fakedecoder::Choices, size_t, size_t> rows[] = {
        {35, {}, 1, 3}, {97, {}, 1, 3}, {53, {}, 0, 0}, {96, failing, 3, 0}};
    for (const auto& [type, choices, creates, decoded] : rows) {
        FilePlayFixture fx(choices);
        fx.RunFree();
        ASSERT_NE(fx.StartFile(type, 3), -1);
        ASSERT_TRUE(fx.WaitForPlayover());
        auto created = fakedecoder::CallsNamed("Create");  // a failed one is tried for each frame
        ASSERT_EQ(created.size(), creates) << type;
        EXPECT_EQ(fakedecoder::Frames().size(), decoded) << type;
        if (creates == 1) {
            EXPECT_EQ(created[0].args[0], VT_MPEG4);
        }
    }
}

TEST(FilePlayback, SpeedSetsTheWaitPauseHoldsTheFrameAndSeekFiftyPercentContinuesAtFrame51) {
    FilePlayFixture fx;
    fx.StartFile(96, 100, 10);
    fx.Walk();
    // A speed of 0 is normal play; 40 / 3 is 13.
    fx.Control({{FILE_SLOW, 2}, {FILE_FAST, 2}, {FILE_SLOW, 0}, {FILE_FAST, 3}, {FILE_PAUSE, 0}});
    fx.Walk(2);  // idle passes, one wait each
    EXPECT_EQ(fx.Played(), (Numbers{1, 2, 3, 4, 5}));
    // Modes 9 to 14 only continue, keeping the wait; normal play restores it.
    fx.Control({{FILE_SOLE, 7}, {FILE_PAUSE, 0}, {FILE_PLAYING, 9}});
    EXPECT_EQ(fx.Gaps(), (Gaps{40, 80, 20, 40, 13, 13, 13, 13, 13, 13, 40}));
    fx.Control({{FILE_PLAYSEEK, 50}, {FILE_PLAYSEEK, 0}});
    fx.Control({{FILE_PLAYSEEK, 100}}, false);
    fx.RunFree();
    ASSERT_TRUE(fx.WaitForPlayover());
    EXPECT_EQ(fx.Played(), (Numbers{1, 2, 3, 4, 5, 6, 7, 51, 1}));
}

TEST(FilePlayback, KeyFrameSteppingVisitsOnlyBrtKeyFramesAndScaleZeroIsNormalPlay) {
    // type, frame rate, waits before the controls, mode, scale, frames and waits after them
    const std::tuple<uint32_t, int, int, eFilePlayMode, long, Numbers, Gaps> rows[] = {
        {96, 25, 1, FILE_FWORD, 4, {2, 5, 9, 13, 17}, Gaps(4, 500)},  // 2 was already chosen
        {96, 25, 11, FILE_BACK, 1, {12, 9, 5, 1}, Gaps(3, 2000)},
        {96, 10, 14, FILE_FWORD, 0, {15, 16, 17}, Gaps(2, 100)},
        {96, 10, 14, FILE_BACK, 0, {15, 16, 17}, Gaps(2, 100)},
        {53, 25, 1, FILE_FWORD, 4, {}, Gaps(15, 40)},  // other makers: no decoder, no stepping
        {53, 25, 1, FILE_BACK, 4, {}, Gaps(15, 40)}};
    for (const auto& [type, rate, walks, mode, scale, played, gaps] : rows) {
        FilePlayFixture fx;
        fx.StartFile(type, 17, 4, rate);  // key frames 1, 5, 9, 13, 17
        fx.Walk(walks);
        fx.Control({{FILE_PAUSE, 0}, {mode, scale}}, false);
        fx.RunFree();
        ASSERT_TRUE(fx.WaitForPlayover());
        Numbers all = fx.Played();
        Gaps waits = fx.Gaps();
        EXPECT_EQ(Numbers(all.begin() + std::min<size_t>(walks, all.size()), all.end()), played);
        EXPECT_EQ(Gaps(waits.begin() + walks, waits.end()), gaps) << type << " " << mode;
    }
}

TEST(FilePlayback, RealWaitPacesFramesAndAStopCutsALongGapShort) {
    FilePlayFixture fx({}, /*realWait=*/true);
    auto msSince = [](auto start) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    };
    auto start = Clock::now();
    long handle = fx.StartFile(96, 6, 3);
    ASSERT_TRUE(fx.WaitForPlayover());
    EXPECT_GE(msSince(start), 5 * 40 - 5);
    EXPECT_EQ(FilePlay_Stop(handle), 0);

    handle = fx.StartFile(96, 6, 3);
    fx.Control({{FILE_SLOW, 1000}}, false);  // 40 s between frames
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    start = Clock::now();
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_LT(msSince(start), 500);
    EXPECT_LE(fakedecoder::Frames().size(), 6u + 2u);
}
