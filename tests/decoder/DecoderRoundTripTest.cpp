// Known pictures, encoded, go through the decoder and come back as files and callbacks.
#include <gtest/gtest.h>

#include "TestVideo.h"
#include "support/TempDir.h"

using namespace decodertest;

namespace {

struct CodecCase {
    eMediaDecType type;
    AVCodecID codec;
};

class DecoderRoundTrip : public testing::TestWithParam<CodecCase> {};

TEST_P(DecoderRoundTrip, SnapshotMatchesTheSourceAndEveryPictureReachesTheCallback) {
    const std::vector<Picture> source = TestPatterns(320, 240, 12);
    const EncodedStream stream = Encode(GetParam().codec, source, 6);
    ASSERT_EQ(stream.frames.size(), source.size());
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, GetParam().type, 0, 0, 0, 352, 288), 0);
    int width = 0, height = 0;
    EXPECT_EQ(Decoder_GetPictureSize(handle, &width, &height), -2);  // nothing decoded yet
    EXPECT_EQ(width, 352);
    PictureLog log;
    ASSERT_EQ(Decoder_SetPictureCallback(handle, RecordPicture, reinterpret_cast<long>(&log)), 0);

    EXPECT_EQ(Feed(handle, stream, 0, stream.frames.size()), 12);

    EXPECT_EQ(log.widths, std::vector<int>(12, 320));
    EXPECT_EQ(log.heights, std::vector<int>(12, 240));
    EXPECT_EQ(log.types, std::vector<int>(12, DEC_PIC_BGR24));
    EXPECT_EQ(log.handles, std::vector<long>(12, handle));
    EXPECT_LT(MeanAbsDifference(log.last, source.back()), 4.0);
    EXPECT_EQ(Decoder_GetPictureSize(handle, &width, &height), 0);
    EXPECT_EQ(width, 320);
    EXPECT_EQ(height, 240);
    playersdk::test::TempDir dir;
    std::string bmp = dir.file("snap.bmp"), jpg = dir.file("snap.JPG");
    EXPECT_EQ(Decoder_CapPicture(handle, bmp.data()), 0);
    EXPECT_LT(MeanAbsDifference(ReadBmp(bmp), source.back()), 4.0);
    EXPECT_EQ(Decoder_CapPicture(handle, jpg.data()), 0);
    EXPECT_EQ(playersdk::test::ReadFileBytes(jpg).compare(0, 2, "\xff\xd8"), 0);
    EXPECT_LT(MeanAbsDifference(DecodeJpeg(jpg), source.back()), 6.0);
    EXPECT_EQ(StatsOf(handle).corrupt, 0u);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecoderRoundTrip,
                         testing::Values(CodecCase{VT_H264, AV_CODEC_ID_H264},
                                         CodecCase{VT_MPEG4, AV_CODEC_ID_MPEG4}),
                         [](const auto& info) {
                             return std::string(info.param.type == VT_H264 ? "H264" : "Mpeg4");
                         });

}  // namespace
