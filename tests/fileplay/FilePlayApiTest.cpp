#include <cstring>
#include <random>

#include "FilePlayTestSupport.h"

using namespace playersdk::test;

TEST(FilePlayApi, InfoTimesMakerPictureAndRefreshOfAPlayingBrtFile) {
    fakedecoder::Choices choices;
    choices.capPictureResult = 5;  // not passed on
    FilePlayFixture fx(choices);
    long handle = fx.Start(fx.WriteBrtFile(60, 4));
    fx.Walk();  // frame 1 played: the decoder exists
    tVideoFileInfo info{};
    EXPECT_EQ(FilePlay_GetInfo(handle, &info), 0);
    EXPECT_EQ(std::vector<int>({int(info.totalFrameNum), int(info.keyFrameNum), info.manufType}),
              std::vector<int>({60, 15, MANU_FILE_TYPE_BRT}));
    EXPECT_EQ(FilePlay_GetManufType(handle), MANU_FILE_TYPE_BRT);
    EXPECT_EQ(FilePlay_GetTotalTime(handle), 60 / 25);
    EXPECT_EQ(FilePlay_GetCurTime(handle), 1 / 25);
    fx.ControlEach(handle, {{FILE_PLAYSEEK, 50}});
    EXPECT_EQ(FilePlay_GetCurTime(handle), 31 / 25);

    EXPECT_EQ(FilePlay_CapturePic(handle, "/tmp/pic.bmp"), 0);
    auto caps = fakedecoder::CallsNamed("CapPicture");
    ASSERT_EQ(caps.size(), 1u);
    EXPECT_EQ(caps[0].path, "/tmp/pic.bmp");
    EXPECT_EQ(caps[0].handle, fakedecoder::Frames()[0].handle);
    EXPECT_EQ(FilePlay_RefreshSurface(handle), 0);  // the decoder's 1, inverted
    choices.refreshResult = 0;
    fakedecoder::Reset(choices);
    EXPECT_EQ(FilePlay_RefreshSurface(handle), -1);
    EXPECT_EQ(fakedecoder::CallsNamed("RefreshSurface").size(), 1u);
}

TEST(FilePlayApi, WithoutADecoderPictureFailsAndRefreshGivesMinusOne) {
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteFile(37, 3));
    fx.Walk();
    EXPECT_EQ(FilePlay_GetManufType(handle), MANU_FILE_TYPE_DAHU);
    EXPECT_EQ(FilePlay_CapturePic(handle, "/tmp/pic.bmp"), -1);
    EXPECT_EQ(FilePlay_RefreshSurface(handle), -1);
    EXPECT_TRUE(fakedecoder::Calls().empty());
}

TEST(FilePlayApi, BadHandlesGetTheirResultsAndUnknownModesDoNothing) {
    tPlayCtrlInfo ctrl{FILE_PAUSE, 0, 0, 0};
    tVideoFileInfo info{};
    for (long bad : {0L, -1L, -7L, 0x12345678L}) {
        EXPECT_EQ(FilePlay_Stop(bad), -1);
        EXPECT_EQ(FilePlay_Control(bad, &ctrl), -1);
        EXPECT_EQ(FilePlay_GetTotalTime(bad), -1);
        EXPECT_EQ(FilePlay_GetCurTime(bad), -1);
        EXPECT_EQ(FilePlay_GetManufType(bad), 0);
        EXPECT_EQ(FilePlay_CapturePic(bad, "/tmp/x.bmp"), -1);
        EXPECT_EQ(FilePlay_GetInfo(bad, &info), -1);
        EXPECT_EQ(FilePlay_RefreshSurface(bad), 0);
    }
    FilePlayFixture fx;
    long handle = fx.Start(fx.WriteBrtFile(10, 2));
    fx.Walk();
    for (int mode : {0, 1, 15, -3}) {
        memcpy(&ctrl.playmode, &mode, sizeof(mode));  // as a C application may store it
        ctrl.speed = 4;
        EXPECT_EQ(FilePlay_Control(handle, &ctrl), 0);
    }
    EXPECT_EQ(FilePlay_Control(handle, nullptr), -1);
    EXPECT_EQ(FilePlay_GetInfo(handle, nullptr), -1);
    fx.Walk();
    EXPECT_EQ(fx.PlayedNumbers(), (std::vector<uint32_t>{1, 2}));  // still playing
    EXPECT_EQ(fx.clock.Gaps(), (std::vector<int>{40, 40}));
    fx.clock.RunFree();
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_EQ(FilePlay_Stop(handle), -1);  // a stopped player is gone
    EXPECT_EQ(FilePlay_GetCurTime(handle), -1);
}

TEST(FilePlayApi, StartFailsCleanlyOnMissingDirectoryEmptyBadOrFramelessFiles) {
    FilePlayFixture fx;
    int threads = ThreadCount();
    RecordHeader zeroRate;
    zeroRate.frameRate = 0;
    const std::string header = FileHeaderBytes(RecordHeader{});
    for (const std::string& bytes : {std::string(), std::string("abc"), FileHeaderBytes(zeroRate),
                                     header, header + FrameRecordBytes(96, 0, "")}) {
        EXPECT_EQ(fx.Start(fx.WriteBytes(bytes)), -1) << bytes.size();
    }
    EXPECT_EQ(fx.Start("/nonexistent/rec.dat"), -1);
    EXPECT_EQ(fx.Start("/tmp"), -1);
    EXPECT_EQ(FilePlay_Start(nullptr, kWnd, nullptr, 0), -1);
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_TRUE(fx.events.Events().empty());
}

TEST(FilePlayApi, StopFromInsideTheCallbackIsRefusedAndWorksAfterwards) {
    static std::atomic<long> s_handle{0};
    static std::atomic<int> s_stopResult{0};
    FilePlayFixture fx;
    int threads = ThreadCount();
    auto stopInside = [](long, tPlayInfo*) { s_stopResult = FilePlay_Stop(s_handle); };
    s_handle = FilePlay_Start(fx.WriteBrtFile(3, 1).c_str(), kWnd, stopInside, 0);
    ASSERT_NE(s_handle, -1);
    fx.clock.RunFree();  // the callback comes once the handle is known
    EXPECT_TRUE(WaitForThreadCount(threads));
    EXPECT_EQ(s_stopResult, -1);
    EXPECT_EQ(FilePlay_Stop(s_handle), 0);
}

// Random files and controls under the sanitizers: every start fails with -1 or plays to its end
// (or its stop), and no thread is left behind.
TEST(FilePlayApi, RandomFilesAndControlsNeverCrashOrLeaveAThread) {
    std::mt19937 rng(20240611);
    auto any = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
    FilePlayFixture fx;
    fx.clock.RunFree();
    int threads = ThreadCount();
    const uint32_t types[] = {35, 96, 97, 37, 53, 7};
    size_t started = 0;
    for (int round = 0; round < 300; ++round) {
        std::string bytes;
        for (uint32_t i = round % 4 == 0 ? any(120) : 0; i > 0; --i) {  // noise
            bytes += static_cast<char>(rng());
        }
        if (round % 4 != 0) {
            RecordHeader header;
            header.frameRate = static_cast<int32_t>(any(8) == 0 ? rng() : 1 + any(60));
            header.extlength = static_cast<int32_t>(any(4) == 0 ? 35530 + any(10) : any(3));
            int32_t missing = std::min<int32_t>(header.extlength, static_cast<int32_t>(any(2)));
            bytes = FileHeaderBytes(header, std::string(header.extlength - missing, 'e'));
            for (uint32_t i = any(12); i > 0; --i) {
                std::string data = H264Frame(any(2) == 0, i, 9 + any(40));
                uint32_t length = any(6) == 0 ? rng() % 100 : static_cast<uint32_t>(data.size());
                bytes += FrameRecordBytes(length, types[any(6)], rng(), data);
            }
            bytes.resize(bytes.size() - any(2) * any(9));
        }
        size_t playovers = fx.events.PlayoverCount();
        long handle = fx.Start(fx.WriteBytes(bytes));
        tVideoFileInfo info{};
        if (handle != -1) {
            ASSERT_EQ(FilePlay_GetInfo(handle, &info), 0);
            EXPECT_GE(info.totalFrameNum, 1u);
            EXPECT_LE(info.keyFrameNum, info.totalFrameNum);
            tPlayCtrlInfo ctrl{static_cast<eFilePlayMode>(any(16)), long(any(5)) - 1, long(any(5)),
                               long(any(140))};
            if (++started % 2 == 0) {
                FilePlay_Control(handle, &ctrl);
            } else {
                EXPECT_TRUE(fx.events.WaitForPlayover(playovers + 1));
            }
        }
        FilePlay_Stop(handle);
    }
    EXPECT_GT(started, 60u);  // the generator must reach playback, not only the checks
    EXPECT_GT(fakedecoder::FrameCount(), 50u);
    EXPECT_EQ(ThreadCount(), threads);
}
