// Known pictures, encoded, go through the decoder and come back as files and callbacks.
#include <gtest/gtest.h>

#include "TestVideo.h"
#include "support/TempDir.h"

using namespace decodertest;

namespace {

class DecoderRoundTrip : public testing::TestWithParam<eMediaDecType> {};

TEST_P(DecoderRoundTrip, SnapshotsMatchTheSourceAndEveryPictureReachesTheCallback) {
    const std::vector<Picture> source = TestPatterns(320, 240, 12);
    const EncodedStream stream = Encode(GetParam(), source, 6);
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, GetParam(), 0, 0, 0, 352, 288), 0);
    int width = 0, height = 0;
    EXPECT_EQ(Decoder_GetPictureSize(handle, &width, &height), -2);  // the size it was given
    EXPECT_EQ(width, 352);
    playersdk::test::TempDir dir;
    std::string bmp = dir.file("snap.bmp"), jpg = dir.file("snap.JPG");
    std::string badFolder = "/nonexistent-folder/snap.bmp";
    EXPECT_EQ(Decoder_CapPicture(handle, bmp.data()), -2);  // nothing decoded yet
    PictureLog log;
    ASSERT_EQ(Decoder_SetPictureCallback(handle, RecordPicture, reinterpret_cast<long>(&log)), 0);

    EXPECT_EQ(Feed(handle, stream, 0, stream.frames.size()), 12);

    EXPECT_EQ(log.calls, decltype(log.calls)(12, {handle, 320, 240, DEC_PIC_BGR24}));
    EXPECT_LT(MeanAbsDifference(log.last, source.back()), 4.0);
    EXPECT_EQ(Decoder_GetPictureSize(handle, &width, &height), 0);
    EXPECT_EQ(width * 1000 + height, 320240);
    EXPECT_EQ(Decoder_CapPicture(handle, bmp.data()), 0);
    EXPECT_LT(MeanAbsDifference(ReadBmp(bmp), source.back()), 4.0);
    EXPECT_EQ(Decoder_CapPicture(handle, jpg.data()), 0);
    EXPECT_EQ(playersdk::test::ReadFileBytes(jpg).compare(0, 2, "\xff\xd8"), 0);
    EXPECT_LT(MeanAbsDifference(DecodeJpeg(jpg), source.back()), 6.0);
    EXPECT_EQ(Decoder_CapPicture(handle, badFolder.data()), -3);
    EXPECT_EQ(Decoder_CapPicture(handle, nullptr), -1);
    EXPECT_EQ(StatsOf(handle).corrupt, 0u);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecoderRoundTrip, testing::Values(VT_H264, VT_H265, VT_MPEG4),
                         [](const auto& info) { return NameOf(info.param); });

}  // namespace
