// Decoders on several threads, closing while other threads use the handle, and pacing.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "TestVideo.h"

using namespace decodertest;
using Clock = std::chrono::steady_clock;

namespace {

long long MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

long NewDecoder(eMediaDecType type, PictureLog* log = nullptr) {
    long handle = -1;
    Decoder_Create(&handle, type, 0, 0, 0, 0, 0);
    Decoder_SetPictureCallback(handle, log ? RecordPicture : nullptr, reinterpret_cast<long>(log));
    return handle;
}

TEST(DecoderThreads, DecodersOnTwoThreadsEachDeliverTheirOwnPictures) {
    const std::vector<Picture> source = TestPatterns(160, 120, 24);
    PictureLog logs[2];
    auto run = [&](eMediaDecType type, AVCodecID codec, PictureLog* log) {
        long handle = NewDecoder(type, log);
        Feed(handle, Encode(codec, source, 8), 0, source.size());
        Decoder_CloseDecode(handle);
    };
    std::thread a(run, VT_H264, AV_CODEC_ID_H264, &logs[0]);
    std::thread b(run, VT_MPEG4, AV_CODEC_ID_MPEG4, &logs[1]);
    a.join();
    b.join();
    for (const PictureLog& log : logs) {
        EXPECT_EQ(log.calls.size(), 24u);
        EXPECT_LT(MeanAbsDifference(log.last, source.back()), 4.0);
    }
}

TEST(DecoderThreads, CloseWhileAnotherThreadRefreshesAndSnapshotsEndsThatThreadCleanly) {
    const EncodedStream stream = Encode(AV_CODEC_ID_H264, TestPatterns(160, 120, 40), 10);
    long handle = NewDecoder(VT_H264);
    Decoder_SetPlayWnd(handle, 0x1234, 1);
    std::string path = "/dev/null";
    std::atomic<int> rounds{0};
    std::thread other([&] {
        int w = 0, h = 0;
        while (Decoder_RefreshSurface(handle) != -1) {
            Decoder_GetPictureSize(handle, &w, &h);
            Decoder_CapPicture(handle, path.data());
            ++rounds;
        }
    });
    Feed(handle, stream, 0, 20);
    while (rounds < 5) {
        std::this_thread::yield();
    }
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
    other.join();
    EXPECT_EQ(Feed(handle, stream, 20, 40), 0);
}

TEST(DecoderThreads, ClosingFromInsideThePictureCallbackStopsTheDecoder) {
    static int closeResult = 1;
    long handle = NewDecoder(VT_MPEG4);
    Decoder_SetPictureCallback(
        handle,
        [](long h, char*, int, int, int, long) {
            closeResult = Decoder_CloseDecode(h);
            return 0;
        },
        0);
    EXPECT_EQ(Feed(handle, Encode(AV_CODEC_ID_MPEG4, TestPatterns(64, 48, 4), 4), 0, 4), 1);
    EXPECT_EQ(closeResult, 0);
    EXPECT_EQ(Decoder_CloseDecode(handle), -1);
}

TEST(DecoderPacing, PicturesFollowTheirStampsOnlyWhileFrameControlIsOn) {
    const EncodedStream stream = Encode(AV_CODEC_ID_H264, TestPatterns(64, 48, 8), 8);
    long handle = NewDecoder(VT_H264);
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
    EXPECT_LT(feedAll(100000000, 0), 300);  // a stamp far ahead shows at once, never stalls
    Decoder_EnableFrameControl(handle, 0);
    EXPECT_LT(feedAll(0, 60), 300);
    EXPECT_EQ(StatsOf(handle).pictures, 24u);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

TEST(DecoderPacing, ClosingEndsAWaitForAPictureAtOnce) {
    const EncodedStream stream = Encode(AV_CODEC_ID_H264, TestPatterns(64, 48, 2), 2);
    PictureLog log;
    long handle = NewDecoder(VT_H264, &log);
    Decoder_SetTimeScale(handle, 1000);
    Decoder_EnableFrameControl(handle, 1);
    FeedBytes(handle, stream.frames[0].bytes, 0);
    std::thread feeder([&] { FeedBytes(handle, stream.frames[1].bytes, 1900); });  // 1.9 s on
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    Clock::time_point closed = Clock::now();
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
    feeder.join();
    EXPECT_LT(MillisecondsSince(closed), 500);
    EXPECT_EQ(log.calls.size(), 1u);  // the waiting picture is never delivered after Close
}

}  // namespace
