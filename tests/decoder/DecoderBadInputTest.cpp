// Damaged, foreign and early input, unknown types and invented handles: nothing crashes, the
// damage is counted and decoding comes back at the next key frame.
#include <gtest/gtest.h>

#include <random>

#include "TestVideo.h"
#include "support/TempDir.h"

using namespace decodertest;

namespace {

class DecoderBadInput : public testing::TestWithParam<eMediaDecType> {
protected:
    void SetUp() override {
        codec = GetParam() == VT_H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_MPEG4;
        source = TestPatterns(160, 120, 12);
        stream = Encode(codec, source, 6);  // key frames at 0 and 6
        ASSERT_EQ(stream.frames.size(), 12u);
        ASSERT_TRUE(stream.frames[6].key);
        ASSERT_EQ(Decoder_Create(&handle, GetParam(), 0, 0, 0, 0, 0), 0);
        Decoder_SetPictureCallback(handle, RecordPicture, reinterpret_cast<long>(&log));
    }
    void TearDown() override { EXPECT_EQ(Decoder_CloseDecode(handle), 0); }

    AVCodecID codec = AV_CODEC_ID_NONE;
    std::vector<Picture> source;
    EncodedStream stream;
    long handle = -1;
    PictureLog log;
};

TEST_P(DecoderBadInput, RandomBytesAreCountedAndTheNextKeyFrameDecodes) {
    Feed(handle, stream, 0, 3);
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        std::vector<uint8_t> junk(1 + random() % 3000);
        for (auto& b : junk) {
            b = static_cast<uint8_t>(random());
        }
        if (i % 3 == 0) {  // some with a start code in front, so the codec itself sees them
            junk.insert(junk.begin(), {0, 0, 0, 1});
        }
        FeedBytes(handle, junk, i);
    }
    playerdecoder::DecoderStats stats = StatsOf(handle);
    EXPECT_GT(stats.corrupt + stats.skipped, 250u);
    EXPECT_EQ(Feed(handle, stream, 6, 12), 6);
    EXPECT_LT(MeanAbsDifference(log.last, source.back()), 4.0);
}

TEST_P(DecoderBadInput, TruncatedFrameIsCountedAndPicturesResumeAtTheNextKeyFrame) {
    Feed(handle, stream, 0, 2);
    const size_t picturesBefore = log.widths.size();
    std::vector<uint8_t> cut = stream.frames[2].bytes;
    cut.resize(cut.size() / 2);
    EXPECT_EQ(FeedBytes(handle, cut, stream.frames[2].ts), -3);
    EXPECT_EQ(Feed(handle, stream, 3, 6), 0);  // predicted from a damaged picture: skipped
    EXPECT_EQ(log.widths.size(), picturesBefore);
    EXPECT_EQ(Feed(handle, stream, 6, 12), 6);
    playerdecoder::DecoderStats stats = StatsOf(handle);
    EXPECT_EQ(stats.corrupt, 1u);
    EXPECT_EQ(stats.skipped, 3u);
    EXPECT_LT(MeanAbsDifference(log.last, source.back()), 4.0);
}

TEST_P(DecoderBadInput, FramesBeforeTheConfigurationAreCountedThenDecodingStarts) {
    EncodedStream withoutConfig = stream;
    withoutConfig.config.clear();
    Feed(handle, withoutConfig, 1, 6);  // predicted frames first: nothing to start from
    EXPECT_TRUE(log.widths.empty());
    EXPECT_EQ(StatsOf(handle).skipped, 5u);
    Feed(handle, stream, 0, 0);  // the configuration alone
    EXPECT_EQ(Feed(handle, stream, 6, 12), 6);
    EXPECT_EQ(log.widths.size(), 6u);
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecoderBadInput, testing::Values(VT_H264, VT_MPEG4),
                         [](const auto& info) {
                             return std::string(info.param == VT_H264 ? "H264" : "Mpeg4");
                         });

TEST(DecoderCalls, OnlyVideoTypesOfTheLibraryCreateADecoder) {
    for (int type : std::initializer_list<int>{0, AT_G711, VT_Hik, VT_DH, VT_IR, 99}) {
        long handle = 5;
        EXPECT_EQ(Decoder_Create(&handle, static_cast<eMediaDecType>(type), 0, 0, 0, 0, 0), -1);
        EXPECT_EQ(handle, -1);
    }
    EXPECT_EQ(Decoder_Create(nullptr, VT_H264, 0, 0, 0, 0, 0), -1);
}

TEST(DecoderCalls, StaleAndInventedHandlesAreRefusedEverywhere) {
    long closed = -1;
    ASSERT_EQ(Decoder_Create(&closed, VT_H264, 0, 0, 0, 0, 0), 0);
    ASSERT_EQ(Decoder_CloseDecode(closed), 0);
    char frame[] = "\0\0\0\1\x65\x88";
    char path[] = "/tmp/never-written.bmp";
    int w = 0, h = 0;
    for (long handle : {closed, 0L, -1L, 12345L, closed + 1, 0x7fffffffL}) {
        EXPECT_EQ(Decoder_InputVideoData(handle, frame, 6, 0), -1);
        EXPECT_EQ(Decoder_SetPlayWnd(handle, 1, 1), -1);
        EXPECT_EQ(Decoder_SetDrawCb(handle, nullptr, 0), -1);
        EXPECT_EQ(Decoder_SetPictureCallback(handle, nullptr, 0), -1);
        EXPECT_EQ(Decoder_SetTimeScale(handle, 90000), -1);
        EXPECT_EQ(Decoder_EnableFrameControl(handle, 1), -1);
        EXPECT_EQ(Decoder_CapPicture(handle, path), -1);
        EXPECT_EQ(Decoder_GetPictureSize(handle, &w, &h), -1);
        EXPECT_EQ(Decoder_RefreshSurface(handle), -1);
        EXPECT_EQ(Decoder_CloseDecode(handle), -1);
    }
}

TEST(DecoderCalls, SnapshotResultsTellWhyNothingWasWritten) {
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_MPEG4, 0, 0, 0, 0, 0), 0);
    char noPicture[] = "/tmp/no-picture-yet.bmp";
    EXPECT_EQ(Decoder_CapPicture(handle, noPicture), -2);
    EXPECT_EQ(Feed(handle, Encode(AV_CODEC_ID_MPEG4, TestPatterns(64, 48, 1), 1), 0, 1), 1);
    char badFolder[] = "/nonexistent-folder/snap.bmp";
    char empty[] = "";
    EXPECT_EQ(Decoder_CapPicture(handle, badFolder), -3);
    EXPECT_EQ(Decoder_CapPicture(handle, empty), -1);
    EXPECT_EQ(Decoder_CapPicture(handle, nullptr), -1);
    EXPECT_EQ(Decoder_InputVideoData(handle, nullptr, 10, 0), -1);
    EXPECT_EQ(Decoder_SetTimeScale(handle, 0), -1);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

}  // namespace
