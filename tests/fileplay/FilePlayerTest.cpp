// Playback through the exported functions: frames reach the fake decoder, and FrameGapClock holds
// the play thread in each wait between frames and records how long it was asked to wait.
#include "FilePlayTestSupport.h"

using namespace playersdk::test;
using Numbers = std::vector<uint32_t>;
using Gaps = std::vector<int>;

TEST(FilePlayback, EveryFrameReachesTheDecoderByteExactThenPlayoverOnceAndTheThreadEnds) {
    FilePlayFixture fx;
    fx.clock.RunFree();
    int threads = ThreadCount();
    long handle = fx.Start(fx.WriteBrtFile(10, 4, /*frameRate=*/4));
    ASSERT_TRUE(fx.events.WaitForPlayover());
    EXPECT_TRUE(WaitForThreadCount(threads));
    EXPECT_EQ(fx.events.Events(), std::vector<int>{FILE_PLAYOVER});

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
    EXPECT_EQ(fx.clock.Gaps(), Gaps(9, 40));  // the initial 40 ms, none after the last frame
    EXPECT_EQ(FilePlay_GetCurTime(handle), 2);
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_EQ(fakedecoder::CallsNamed("CloseDecode").size(), 1u);
}

TEST(FilePlayback, Mpeg4GetsAnMpeg4DecoderOtherMakersNoneAndAFailedCreateDropsEveryFrame) {
    for (uint32_t type : {35u, 97u, 53u}) {
        FilePlayFixture fx;
        fx.clock.RunFree();
        ASSERT_NE(fx.Start(fx.WriteFile(type, 3)), -1);
        ASSERT_TRUE(fx.events.WaitForPlayover());
        EXPECT_EQ(fakedecoder::CallsNamed("Create").size(), type == 53 ? 0u : 1u);
        EXPECT_EQ(fakedecoder::Frames().size(), type == 53 ? 0u : 3u);
        if (type != 53) {
            EXPECT_EQ(fakedecoder::CallsNamed("Create")[0].args[0], VT_MPEG4);
        }
    }
    fakedecoder::Choices failing;
    failing.createResult = -1;
    FilePlayFixture broken(failing);
    broken.clock.RunFree();
    ASSERT_NE(broken.Start(broken.WriteBrtFile(3, 1)), -1);
    ASSERT_TRUE(broken.events.WaitForPlayover());
    EXPECT_EQ(fakedecoder::CallsNamed("Create").size(), 3u);  // tried again for every frame
    EXPECT_TRUE(fakedecoder::Frames().empty());
}

TEST(FilePlayback, WaitIs40msAt25FramesPerSecond80WhenSlowBy2And20WhenFastBy2) {
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(100, 10));
    fx.Walk();
    // A speed of 0 is normal play; 40 / 3 is 13.
    fx.ControlEach(handle, {{FILE_SLOW, 2}, {FILE_FAST, 2}, {FILE_SLOW, 0}, {FILE_FAST, 3}});
    EXPECT_EQ(fx.clock.Gaps(), (Gaps{40, 80, 20, 40, 13}));
    EXPECT_EQ(fx.PlayedNumbers(), (Numbers{1, 2, 3, 4, 5}));
}

TEST(FilePlayback, KeyFrameSteppingVisitsOnlyKeyFramesForwardAndBack) {
    {
        FilePlayFixture fx;
        long handle = fx.Start(fx.WriteBrtFile(17, 4));  // key frames 1, 5, 9, 13, 17
        fx.Walk();
        fx.Control(handle, FILE_FWORD, 4);  // the frame already chosen (2) comes first
        fx.clock.RunFree();
        ASSERT_TRUE(fx.events.WaitForPlayover());
        EXPECT_EQ(fx.PlayedNumbers(), (Numbers{1, 2, 5, 9, 13, 17}));
        EXPECT_EQ(fx.clock.Gaps(), (Gaps{40, 500, 500, 500, 500}));
    }
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(17, 4));
    fx.Walk(11);
    fx.Control(handle, FILE_BACK, 1);
    fx.clock.RunFree();
    ASSERT_TRUE(fx.events.WaitForPlayover());
    Numbers played = fx.PlayedNumbers();
    EXPECT_EQ(Numbers(played.begin() + 11, played.end()), (Numbers{12, 9, 5, 1}));
    EXPECT_EQ(fx.clock.Gaps().back(), 2000);
}

TEST(FilePlayback, KeyFrameSteppingOfOtherMakersOnlyContinuesAndScaleZeroIsNormalPlay) {
    {
        FilePlayFixture fx;
        long handle = fx.Start(fx.WriteFile(53, 6, 1, /*frameRate=*/1));  // time = frame number
        fx.Walk();
        fx.Control(handle, FILE_PAUSE, 0);
        fx.ControlEach(handle, {{FILE_FWORD, 4}, {FILE_BACK, 4}});
        EXPECT_EQ(FilePlay_GetCurTime(handle), 3);
        EXPECT_EQ(fx.clock.Gaps(), Gaps(3, 40));
    }
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(20, 4, /*frameRate=*/10));
    fx.Walk();
    fx.ControlEach(handle, {{FILE_FWORD, 0}, {FILE_BACK, 0}});
    EXPECT_EQ(fx.PlayedNumbers(), (Numbers{1, 2, 3}));
    EXPECT_EQ(fx.clock.Gaps(), (Gaps{40, 100, 100}));
}

TEST(FilePlayback, SeekToFiftyPercentOfAHundredFramesContinuesAtFrame51AndPastTheEndEnds) {
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(100, 10));
    fx.Walk();
    fx.ControlEach(handle, {{FILE_PLAYSEEK, 50}, {FILE_PLAYSEEK, 0}});
    fx.Control(handle, FILE_PLAYSEEK, 100);
    fx.clock.Step();
    ASSERT_TRUE(fx.events.WaitForPlayover());
    EXPECT_EQ(fx.PlayedNumbers(), (Numbers{1, 51, 1}));
}

TEST(FilePlayback, PauseStopsDeliveryAndAnyOtherModeResumesIt) {
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(10, 5));
    fx.Walk();
    fx.Control(handle, FILE_PAUSE, 0);
    fx.Walk(3);  // three idle passes, one wait each
    EXPECT_EQ(fx.PlayedNumbers(), (Numbers{1}));
    // Modes 9 to 14 only continue, keeping the wait.
    fx.ControlEach(handle, {{FILE_SOLE, 7}, {FILE_PAUSE, 0}, {FILE_PLAYING, 9}});
    EXPECT_EQ(fx.PlayedNumbers(), (Numbers{1, 2, 3}));
    EXPECT_EQ(fx.clock.Gaps(), Gaps(7, 40));
}

TEST(FilePlayback, RealWaitPacesFramesAndAStopCutsALongGapShort) {
    fakedecoder::Reset();
    PlayEvents events;
    TempDir dir;
    std::string path = dir.file("real.dat");
    WriteWholeFile(path, RecordFileBytes(96, 6, 3));
    auto start = Clock::now();
    long handle = FilePlay_Start(path.c_str(), kWnd, &PlayEvents::Callback, events.user());
    ASSERT_TRUE(events.WaitForPlayover());
    EXPECT_GE(MsSince(start), 5 * 40 - 5);
    EXPECT_EQ(FilePlay_Stop(handle), 0);

    handle = FilePlay_Start(path.c_str(), kWnd, &PlayEvents::Callback, events.user());
    tPlayCtrlInfo slow{FILE_SLOW, 1000, 0, 0};  // 40 s between frames
    FilePlay_Control(handle, &slow);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    start = Clock::now();
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_LT(MsSince(start), 500);
    EXPECT_LE(fakedecoder::Frames().size(), 6u + 2u);
}
