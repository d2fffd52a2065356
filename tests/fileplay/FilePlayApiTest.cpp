#include <algorithm>
#include <cstring>
#include <random>

#include "FilePlayTestSupport.h"

using namespace playersdk::test;

// Frames, key frames, maker (twice), total and current seconds.
static std::vector<long> InfoOf(long handle) {
    tVideoFileInfo info{};
    EXPECT_EQ(FilePlay_GetInfo(handle, &info), 0);
    return {
        long(info.totalFrameNum),      long(info.keyFrameNum),        info.manufType,
        FilePlay_GetManufType(handle), FilePlay_GetTotalTime(handle), FilePlay_GetCurTime(handle)};
}

TEST(FilePlayApi, InfoTimesMakerPictureAndRefreshWithAndWithoutADecoder) {
    fakedecoder::Choices choices;
    choices.capPictureResult = 5;  // not passed on
    {
        FilePlayFixture fx(choices);
        long handle = fx.StartFile(96, 60, 4);
        fx.Walk();  // frame 1 played: the decoder exists
        EXPECT_EQ(InfoOf(handle),
                  (std::vector<long>{60, 15, MANU_FILE_TYPE_BRT, MANU_FILE_TYPE_BRT, 2, 0}));
        fx.Control({{FILE_PLAYSEEK, 50}});
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
    // The first record names the maker; other makers have no key frames and no decoder.
    FilePlayFixture fx;
    long handle =
        fx.Start(fx.Write(RecordFileBytes(37, 2) + FrameRecordBytes(96, 0, H264Frame(true, 3))));
    fx.Walk();
    EXPECT_EQ(InfoOf(handle),
              (std::vector<long>{3, 0, MANU_FILE_TYPE_DAHU, MANU_FILE_TYPE_DAHU, 0, 0}));
    EXPECT_EQ(FilePlay_CapturePic(handle, "/tmp/pic.bmp"), -1);
    EXPECT_EQ(FilePlay_RefreshSurface(handle), -1);
    EXPECT_TRUE(fakedecoder::Calls().empty());
}

TEST(FilePlayApi, BadHandlesGetTheirResultsAndUnknownModesDoNothing) {
    tPlayCtrlInfo ctrl{FILE_PAUSE, 0, 0, 0};
    tVideoFileInfo info{};
    for (long bad : {0L, -1L, -7L, 0x12345678L}) {
        EXPECT_EQ(
            std::vector<long>({FilePlay_Stop(bad), FilePlay_Control(bad, &ctrl),
                               FilePlay_GetTotalTime(bad), FilePlay_GetCurTime(bad),
                               FilePlay_GetManufType(bad), FilePlay_CapturePic(bad, "/tmp/x.bmp"),
                               FilePlay_GetInfo(bad, &info), FilePlay_RefreshSurface(bad)}),
            std::vector<long>({-1, -1, -1, -1, 0, -1, -1, 0}));
    }
    FilePlayFixture fx;
    long handle = fx.StartFile(96, 10, 2);
    fx.Walk();
    for (int mode : {0, 1, 15, -3}) {
        memcpy(&ctrl.playmode, &mode, sizeof(mode));  // as a C application may store it
        ctrl.speed = 4;
        EXPECT_EQ(FilePlay_Control(handle, &ctrl), 0);
    }
    EXPECT_EQ(FilePlay_Control(handle, nullptr), -1);
    EXPECT_EQ(FilePlay_GetInfo(handle, nullptr), -1);
    fx.Walk();
    EXPECT_EQ(fx.Played(), (std::vector<uint32_t>{1, 2}));  // still playing
    EXPECT_EQ(fx.Gaps(), (std::vector<int>{40, 40}));
    fx.RunFree();
    EXPECT_EQ(FilePlay_Stop(handle), 0);
    EXPECT_EQ(FilePlay_Stop(handle), -1);  // a stopped player is gone
    EXPECT_EQ(FilePlay_GetCurTime(handle), -1);
}

TEST(FilePlayApi, FramesPlayUpToTheFirstBrokenRecordAndFilesWithoutFramesDoNotStart) {
    auto headed = [](int32_t rate, int32_t scale, int32_t extlength, const std::string& ext) {
        return FileHeaderBytes(RecordHeader{rate, scale, 720, 480, extlength}, ext);
    };
    const std::string header = FileHeaderBytes(RecordHeader{}), ext(35534, 'Z');
    const std::string two = RecordFileBytes(96, 2), three = H264Frame(true, 3, 100);
    const std::string next = FrameRecordBytes(96, 0, H264Frame(true, 9));
    const uint32_t maxLength = playersdk::kMaxIndexedFrameLength;
    // Each file and the frames it plays (none: it does not start); bad headers first.
    const std::pair<std::string, std::vector<uint32_t>> files[] = {
        {"", {}},
        {"abc", {}},
        {header.substr(0, 19), {}},
        {header, {}},
        {header + std::string("\x08\0\0", 3), {}},
        {header + FrameRecordBytes(96, 0, ""), {}},
        {headed(0, 90000, 0, "") + next, {}},
        {headed(-25, 90000, 0, "") + next, {}},
        {headed(25, 0, 0, "") + next, {}},
        {headed(25, INT32_MIN, 0, "") + next, {}},
        {headed(25, 90000, -1, "") + next, {}},
        {headed(1, 1, 35534, ext) + next, {9}},
        {headed(25, 90000, 35535, ext + "Z") + next, {}},
        {headed(25, 90000, 100, ext.substr(0, 99)), {}},
        // A record too short for a frame, empty, past the end or cut ends the file.
        {two + FrameRecordBytes(96, 0, "abcde") + next, {1, 2}},
        {two + FrameRecordBytes(96, 0, "") + next, {1, 2}},
        {two + FrameRecordBytes(101, 96, 0, three), {1, 2}},
        {two + FrameRecordBytes(0xFFFFFFFFu, 96, 0, three), {1, 2}},
        {two + next.substr(0, 7), {1, 2}},
        {two + FrameRecordBytes(96, 0, three), {1, 2, 3}},
        // A frame over the size limit is skipped; the one at the limit plays.
        {two + FrameRecordBytes(96, 0, H264Frame(true, 7, maxLength + 1)) +
             FrameRecordBytes(96, 0, H264Frame(true, 8, maxLength)) + next,
         {1, 2, 8, 9}}};
    FilePlayFixture fx;
    fx.RunFree();
    int threads = ThreadCount();
    size_t started = 0;
    for (const auto& [bytes, played] : files) {
        fakedecoder::Reset();
        long handle = fx.Start(fx.Write(bytes));
        ASSERT_EQ(handle != -1, !played.empty()) << bytes.size();
        if (handle != -1) {
            ASSERT_TRUE(fx.WaitForPlayover(++started));
            EXPECT_EQ(fx.Played(), played) << bytes.size();
            EXPECT_EQ(FilePlay_Stop(handle), 0);
        }
    }
    EXPECT_EQ(fx.Start("/nonexistent/rec.dat"), -1);
    EXPECT_EQ(fx.Start("/tmp"), -1);
    EXPECT_EQ(FilePlay_Start(nullptr, kWnd, nullptr, 0), -1);
    EXPECT_TRUE(WaitForThreadCount(threads));
    EXPECT_EQ(fx.Events(), std::vector<int>(started, FILE_PLAYOVER));  // none for a failed start
}

TEST(FilePlayApi, StopFromInsideTheCallbackIsRefusedAndWorksAfterwards) {
    static std::atomic<long> s_handle{0};
    static std::atomic<int> s_stopResult{0};
    FilePlayFixture fx;
    int threads = ThreadCount();
    auto stopInside = [](long, tPlayInfo*) { s_stopResult = FilePlay_Stop(s_handle); };
    s_handle = FilePlay_Start(fx.Write(RecordFileBytes(96, 3)).c_str(), kWnd, stopInside, 0);
    ASSERT_NE(s_handle, -1);
    fx.RunFree();  // the callback comes once the handle is known
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
    fx.RunFree();
    int threads = ThreadCount();
    const uint32_t types[] = {35, 96, 97, 37, 53, 7};
    size_t started = 0;
    for (int round = 0; round < 300; ++round) {
        std::string bytes(round % 4 == 0 ? any(120) : 0, '\0');  // noise
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(rng()); });
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
        size_t playovers = fx.Playovers();
        long handle = fx.Start(fx.Write(bytes));
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
                EXPECT_TRUE(fx.WaitForPlayover(playovers + 1));
            }
        }
        FilePlay_Stop(handle);
    }
    EXPECT_GT(started, 60u);  // the generator must reach playback, not only the checks
    EXPECT_GT(fakedecoder::FrameCount(), 50u);
    EXPECT_EQ(ThreadCount(), threads);
}
