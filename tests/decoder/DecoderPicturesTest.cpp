// Pictures that arrive in pieces are joined, whole pictures are not held back, and pictures
// are converted to BGR only for someone who looks at them.
#include <gtest/gtest.h>

#include "TestVideo.h"
#include "livesource/VideoEncoder.h"
#include "support/TempDir.h"

using namespace decodertest;

namespace {

// Every picture the callback saw.
int KeepPicture(long, char* buf, int width, int height, int, long user) {
    auto* pictures = reinterpret_cast<std::vector<Picture>*>(user);
    Picture picture = BlankPicture(width, height);
    std::copy(buf, buf + picture.bgr.size(), picture.bgr.begin());
    pictures->push_back(std::move(picture));
    return 0;
}

// One frame per slice, as the classic dialect delivers a multi-slice stream: the units in
// front of the first slice (parameter sets) travel with it.
std::vector<std::vector<uint8_t>> SlicePieces(const std::vector<uint8_t>& frame) {
    std::vector<std::vector<uint8_t>> pieces(1);
    for (const NalUnit& unit : AnnexBUnits(frame)) {
        std::vector<uint8_t>& piece = pieces.back();
        piece.insert(piece.end(), {0, 0, 0, 1});
        piece.insert(piece.end(), unit.data, unit.data + unit.size);
        if (unit.type() == 1 || unit.type() == 5) {
            pieces.emplace_back();
        }
    }
    pieces.pop_back();
    return pieces;
}

TEST(DecoderPictures, MultiSliceH264FedSliceBySliceDecodesEveryPictureWhole) {
    const std::vector<Picture> source = TestPatterns(320, 240, 12);
    const EncodedStream stream = Encode(AV_CODEC_ID_H264, source, 6, 4);
    ASSERT_EQ(stream.frames.size(), 12u);
    ASSERT_EQ(SlicePieces(stream.frames[1].bytes).size(), 4u);
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0), 0);
    std::vector<Picture> pictures;
    Decoder_SetPictureCallback(handle, KeepPicture, reinterpret_cast<long>(&pictures));

    for (const EncodedFrame& frame : stream.frames) {
        for (std::vector<uint8_t>& piece : SlicePieces(frame.bytes)) {
            EXPECT_EQ(FeedBytes(handle, piece, frame.ts), 0);
        }
    }

    // Each picture is complete when the next one starts: all but the last are out.
    ASSERT_EQ(pictures.size(), 11u);
    for (size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_LT(MeanAbsDifference(pictures[i], source[i]), 4.0) << "picture " << i;
    }
    EXPECT_EQ(StatsOf(handle).corrupt, 0u);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

TEST(DecoderPictures, WholePicturesAreDecodedAsTheyComeOnceTheSecondHasShownTheKind) {
    const std::vector<Picture> source = TestPatterns(160, 120, 8);
    for (eMediaDecType type : {VT_H264, VT_H265}) {
        SCOPED_TRACE(NameOf(type));
        const EncodedStream stream = Encode(type, source, 4);
        long handle = -1;
        ASSERT_EQ(Decoder_Create(&handle, type, 0, 0, 0, 0, 0), 0);
        std::vector<size_t> picturesAfter;
        for (const EncodedFrame& frame : stream.frames) {
            FeedBytes(handle, frame.bytes, frame.ts);
            picturesAfter.push_back(StatsOf(handle).pictures);
        }
        EXPECT_EQ(picturesAfter, (std::vector<size_t>{0, 2, 3, 4, 5, 6, 7, 8}));
        EXPECT_EQ(Decoder_CloseDecode(handle), 0);
    }
}

TEST(DecoderPictures, NothingIsConvertedWithoutACallbackOrSnapshot) {
    const std::vector<Picture> source = TestPatterns(320, 240, 10);
    for (eMediaDecType type : {VT_H264, VT_H265, VT_MPEG4}) {
        SCOPED_TRACE(NameOf(type));
        long handle = -1;
        ASSERT_EQ(Decoder_Create(&handle, type, 0, 0, 0, 0, 0), 0);
        EXPECT_EQ(Feed(handle, Encode(type, source, 5), 0, source.size()), 10);
        EXPECT_EQ(StatsOf(handle).pictures, 10u);
        EXPECT_EQ(StatsOf(handle).conversions, 0u);
        playersdk::test::TempDir dir;
        std::string bmp = dir.file("last.bmp");
        EXPECT_EQ(Decoder_CapPicture(handle, bmp.data()), 0);
        EXPECT_EQ(StatsOf(handle).conversions, 1u);
        EXPECT_LT(MeanAbsDifference(ReadBmp(bmp), source.back()), 4.0);
        EXPECT_EQ(Decoder_CloseDecode(handle), 0);
    }
}

}  // namespace
