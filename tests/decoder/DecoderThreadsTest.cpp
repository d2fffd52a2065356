// Decoders on several threads, closing while other threads use the handle, and pacing.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "TestVideo.h"
#include "support/TempDir.h"

using namespace decodertest;
using Clock = std::chrono::steady_clock;

namespace {

long long MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST(DecoderThreads, DecodersOnTwoThreadsEachDeliverTheirOwnPictures) {
    const std::vector<Picture> source = TestPatterns(160, 120, 24);
    auto run = [&](eMediaDecType type, AVCodecID codec, PictureLog& log) {
        const EncodedStream stream = Encode(codec, source, 8);
        long handle = -1;
        Decoder_Create(&handle, type, 0, 0, 0, 0, 0);
        Decoder_SetPictureCallback(handle, RecordPicture, reinterpret_cast<long>(&log));
        Feed(handle, stream, 0, stream.frames.size());
        Decoder_CloseDecode(handle);
    };
    PictureLog h264, mpeg4;
    std::thread a(run, VT_H264, AV_CODEC_ID_H264, std::ref(h264));
    std::thread b(run, VT_MPEG4, AV_CODEC_ID_MPEG4, std::ref(mpeg4));
    a.join();
    b.join();
    EXPECT_EQ(h264.widths.size(), 24u);
    EXPECT_EQ(mpeg4.widths.size(), 24u);
    EXPECT_LT(MeanAbsDifference(h264.last, source.back()), 4.0);
    EXPECT_LT(MeanAbsDifference(mpeg4.last, source.back()), 4.0);
}

TEST(DecoderThreads, CloseWhileAnotherThreadRefreshesAndSnapshotsEndsThatThreadCleanly) {
    const EncodedStream stream = Encode(AV_CODEC_ID_H264, TestPatterns(160, 120, 40), 10);
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0), 0);
    Decoder_SetPlayWnd(handle, 0x1234, 1);
    playersdk::test::TempDir dir;
    std::string path = dir.file("busy.bmp");
    std::atomic<int> calls{0};
    std::thread other([&] {
        int w = 0, h = 0;
        while (Decoder_RefreshSurface(handle) != -1) {
            Decoder_GetPictureSize(handle, &w, &h);
            Decoder_CapPicture(handle, path.data());
            ++calls;
        }
    });
    Feed(handle, stream, 0, 20);
    while (calls < 5) {
        std::this_thread::yield();
    }
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
    other.join();
    EXPECT_EQ(Feed(handle, stream, 20, 40), 0);
    EXPECT_EQ(Decoder_CapPicture(handle, path.data()), -1);
}

TEST(DecoderThreads, ClosingFromInsideThePictureCallbackStopsTheDecoder) {
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_MPEG4, 0, 0, 0, 0, 0), 0);
    auto closeOnPicture = [](long h, char*, int, int, int, long user) {
        *reinterpret_cast<int*>(user) = Decoder_CloseDecode(h);
        return 0;
    };
    int closeResult = 1;
    Decoder_SetPictureCallback(handle, closeOnPicture, reinterpret_cast<long>(&closeResult));
    const EncodedStream stream = Encode(AV_CODEC_ID_MPEG4, TestPatterns(64, 48, 4), 4);
    EXPECT_EQ(Feed(handle, stream, 0, 4), 1);
    EXPECT_EQ(closeResult, 0);
    EXPECT_EQ(Decoder_CloseDecode(handle), -1);
}

TEST(DecoderPacing, PicturesFollowTheirStampsOnlyWhileFrameControlIsOn) {
    const EncodedStream stream = Encode(AV_CODEC_ID_H264, TestPatterns(64, 48, 8), 8);
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0), 0);
    ASSERT_EQ(Decoder_SetTimeScale(handle, 1000), 0);  // stamps in milliseconds
    auto feedAll = [&](long long first, long long step) {
        Clock::time_point start = Clock::now();
        for (size_t i = 0; i < stream.frames.size(); ++i) {
            FeedBytes(handle, stream.frames[i].bytes, first + static_cast<long long>(i) * step);
        }
        return MillisecondsSince(start);
    };
    ASSERT_EQ(Decoder_EnableFrameControl(handle, 1), 0);
    EXPECT_GE(feedAll(0, 60), 7 * 60 - 5);  // 8 pictures, 60 ms apart
    // A stamp far ahead (a broken clock) is shown at once instead of stalling the picture.
    EXPECT_LT(feedAll(100000000, 0), 300);
    Decoder_EnableFrameControl(handle, 0);
    EXPECT_LT(feedAll(0, 60), 300);
    EXPECT_EQ(StatsOf(handle).pictures, 24u);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

TEST(DecoderPacing, ClosingEndsAWaitForAPictureAtOnce) {
    const EncodedStream stream = Encode(AV_CODEC_ID_H264, TestPatterns(64, 48, 2), 2);
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0), 0);
    Decoder_SetTimeScale(handle, 1000);
    Decoder_EnableFrameControl(handle, 1);
    PictureLog log;
    Decoder_SetPictureCallback(handle, RecordPicture, reinterpret_cast<long>(&log));
    FeedBytes(handle, stream.frames[0].bytes, 0);
    Clock::time_point closed;
    std::thread feeder([&] { FeedBytes(handle, stream.frames[1].bytes, 1900); });  // 1.9 s later
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    closed = Clock::now();
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
    feeder.join();
    EXPECT_LT(MillisecondsSince(closed), 500);
    EXPECT_EQ(log.widths.size(), 1u);  // the waiting picture is never delivered after Close
}

}  // namespace
