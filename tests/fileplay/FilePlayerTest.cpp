// Playback through the exported functions: frames reach the fake decoder, FrameGapClock holds
// the play thread in each wait between frames and records how long it was asked to wait.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "FilePlayTestSupport.h"

using namespace playersdk::test;

TEST(FilePlayback, EveryFrameReachesTheDecoderByteExactThenPlayoverOnceAndTheThreadEnds) {
    FilePlayFixture fx;
    fx.clock.RunFree();
    int threads = ThreadCount();
    std::string path = fx.WriteBrtFile(10, 4, /*frameRate=*/4);
    long handle = fx.Start(path);
    ASSERT_NE(handle, -1);
    ASSERT_TRUE(fx.events.WaitForPlayover());

    auto frames = fakedecoder::Frames();
    ASSERT_EQ(frames.size(), 10u);
    for (uint32_t i = 1; i <= 10; ++i) {
        const fakedecoder::Call& f = frames[i - 1];
        std::string frame = H264Frame((i - 1) % 4 == 0, i, 60 + i);
        EXPECT_EQ(std::string(f.bytes.begin(), f.bytes.end()), frame) << i;
        EXPECT_EQ(f.args, (std::vector<long long>{static_cast<long long>(frame.size()), i / 4}));
    }
    auto creates = fakedecoder::CallsNamed("Create");
    ASSERT_EQ(creates.size(), 1u);
    EXPECT_EQ(creates[0].args, (std::vector<long long>{VT_H264, 0, 0, 0, 0, 0}));
    EXPECT_EQ(frames[0].handle, creates[0].handle);
    EXPECT_EQ(fakedecoder::CallsNamed("SetPlayWnd")[0].args, (std::vector<long long>{kWnd, 1}));
    // Nine gaps of the initial 40 ms, none after the last frame.
    EXPECT_EQ(fx.clock.Gaps(), std::vector<int>(9, 40));
    EXPECT_TRUE(WaitForThreadCount(threads));
    EXPECT_EQ(fx.events.Events(), (std::vector<int>{FILE_PLAYOVER}));
    EXPECT_EQ(FilePlay_GetCurTime(handle), 2);
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_EQ(fakedecoder::CallsNamed("CloseDecode").size(), 1u);
}

TEST(FilePlayback, Mpeg4GetsAnMpeg4DecoderOtherMakersAndFailedDecodersDropEveryFrame) {
    for (uint32_t type : {35u, 97u}) {
        FilePlayFixture fx;
        fx.clock.RunFree();
        ASSERT_NE(fx.Start(fx.WriteFile(type, 3)), -1);
        ASSERT_TRUE(fx.events.WaitForPlayover());
        EXPECT_EQ(fakedecoder::CallsNamed("Create")[0].args[0], VT_MPEG4);
        EXPECT_EQ(fakedecoder::Frames().size(), 3u);
    }
    {
        FilePlayFixture hik;
        hik.clock.RunFree();
        ASSERT_NE(hik.Start(hik.WriteFile(53, 3)), -1);
        ASSERT_TRUE(hik.events.WaitForPlayover());
        EXPECT_TRUE(fakedecoder::Calls().empty());
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
    EXPECT_EQ(fx.clock.Gaps(), (std::vector<int>{40, 80, 20, 40, 13}));
    EXPECT_EQ(fx.PlayedNumbers(), (std::vector<uint32_t>{1, 2, 3, 4, 5}));
}

TEST(FilePlayback, KeyFrameSteppingVisitsOnlyKeyFramesForwardAndBack) {
    {
        FilePlayFixture fx;
        long handle = fx.Start(fx.WriteBrtFile(17, 4));  // key frames 1, 5, 9, 13, 17
        fx.Walk();
        fx.Control(handle, FILE_FWORD, 4);  // the frame already chosen (2) comes first
        fx.clock.RunFree();
        ASSERT_TRUE(fx.events.WaitForPlayover());
        EXPECT_EQ(fx.PlayedNumbers(), (std::vector<uint32_t>{1, 2, 5, 9, 13, 17}));
        EXPECT_EQ(fx.clock.Gaps(), (std::vector<int>{40, 500, 500, 500, 500}));
    }
    FilePlayFixture back;
    long handle = back.Start(back.WriteBrtFile(17, 4));
    back.Walk(11);
    back.Control(handle, FILE_BACK, 1);
    back.clock.RunFree();
    ASSERT_TRUE(back.events.WaitForPlayover());
    auto played = back.PlayedNumbers();
    EXPECT_EQ(std::vector<uint32_t>(played.begin() + 11, played.end()),
              (std::vector<uint32_t>{12, 9, 5, 1}));
    EXPECT_EQ(back.clock.Gaps().back(), 2000);
}

TEST(FilePlayback, KeyFrameSteppingOfOtherMakersOnlyContinuesAndScaleZeroIsNormalPlay) {
    {
        FilePlayFixture fx;
        long handle = fx.Start(fx.WriteFile(53, 6, /*frameRate=*/1));
        fx.Walk();
        fx.Control(handle, FILE_PAUSE, 0);
        fx.Control(handle, FILE_FWORD, 4);
        fx.Walk(2);
        EXPECT_EQ(FilePlay_GetCurTime(handle), 3);  // one frame a second: the time is the number
        fx.ControlEach(handle, {{FILE_BACK, 4}});
        EXPECT_EQ(FilePlay_GetCurTime(handle), 4);
        EXPECT_EQ(fx.clock.Gaps(), std::vector<int>(4, 40));
    }
    FilePlayFixture brt;
    long handle = brt.Start(brt.WriteBrtFile(20, 4, /*frameRate=*/10));
    brt.Walk();
    brt.Control(handle, FILE_FWORD, 0);
    brt.Walk(2);
    EXPECT_EQ(brt.PlayedNumbers(), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(brt.clock.Gaps(), (std::vector<int>{40, 100, 100}));
}

TEST(FilePlayback, SeekToFiftyPercentOfAHundredFramesContinuesAtFrame51AndPastTheEndEnds) {
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(100, 10));
    fx.Walk();
    fx.ControlEach(handle, {{FILE_PLAYSEEK, 50}, {FILE_PLAYSEEK, 0}});
    EXPECT_EQ(fx.PlayedNumbers(), (std::vector<uint32_t>{1, 51, 1}));
    fx.Control(handle, FILE_PLAYSEEK, 100);
    fx.clock.Step();
    ASSERT_TRUE(fx.events.WaitForPlayover());
    EXPECT_EQ(fx.PlayedNumbers().size(), 3u);
}

TEST(FilePlayback, PauseStopsDeliveryAndAnyOtherModeResumesIt) {
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(10, 5));
    fx.Walk();
    fx.Control(handle, FILE_PAUSE, 0);
    fx.Walk(3);  // three idle passes, each one wait long
    EXPECT_EQ(fx.PlayedNumbers(), (std::vector<uint32_t>{1}));
    // Modes 9 to 14 only continue, keeping the wait.
    fx.ControlEach(handle, {{FILE_SOLE, 7}, {FILE_PAUSE, 0}, {FILE_PLAYING, 9}});
    EXPECT_EQ(fx.PlayedNumbers(), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(fx.clock.Gaps(), std::vector<int>(7, 40));
}

TEST(FilePlayback, RealWaitPacesFramesAndAStopCutsALongGapShort) {
    fakedecoder::Reset();
    PlayEvents events;
    TempDir dir;
    std::string path = dir.file("real.dat");
    WriteWholeFile(path, BrtFileBytes(6, 3, 25));
    auto start = std::chrono::steady_clock::now();
    long handle = FilePlay_Start(path.c_str(), kWnd, &PlayEvents::Callback, events.user());
    ASSERT_TRUE(events.WaitForPlayover());
    EXPECT_GE(MsSince(start), 5 * 40 - 5);
    EXPECT_EQ(FilePlay_Stop(handle), 0);

    WriteWholeFile(path, BrtFileBytes(100, 3, 25));
    fakedecoder::Reset();
    handle = FilePlay_Start(path.c_str(), kWnd, &PlayEvents::Callback, events.user());
    tPlayCtrlInfo slow{FILE_SLOW, 1000, 0, 0};  // 40 s between frames
    FilePlay_Control(handle, &slow);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_LT(MsSince(start), 500);
    EXPECT_LE(fakedecoder::Frames().size(), 3u);
}
