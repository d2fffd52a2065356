// H.265 recorded by a stream and played back: the frames carry the H.265 record value, the
// player opens an H.265 decoder and steps from IRAP picture to IRAP picture.
#include "FilePlayTestSupport.h"
#include "media/PayloadTypes.h"
#include "media/RtpStream.h"
#include "support/RecordFileReader.h"

using namespace playersdk::test;
using Numbers = std::vector<uint32_t>;

namespace {
// A frame of one H.265 access unit: a first unit of type 'first' carrying the frame's number,
// then, for 'slice' >= 0, a slice of that type (16 to 23 make the picture a key frame).
std::string H265Frame(uint32_t number, int first, int slice) {
    std::string frame = std::string("\0\0\0\1", 4) + char(first << 1) + '\1' +
                        Le32Fields({number}) + std::string(8, char(0x55));
    if (slice >= 0) {
        frame += std::string("\0\0\0\1", 4) + char(slice << 1) + '\1' + std::string(20, '\x66');
    }
    return frame;
}

uint32_t H265FrameNumber(const std::vector<unsigned char>& frame) {
    uint32_t number = 0;
    playersdk::ByteReader in(frame.data(), frame.size());
    return in.skip(6) && in.le32(number) ? number : 0;
}

// Frames 1 to 9: an IDR behind its parameter sets, a CRA and a BLA picture are key frames;
// the others are trailing pictures, a RASL picture (8) and a lone parameter set (9).
const std::vector<std::string> kFrames = {
    H265Frame(1, 32, 19), H265Frame(2, 1, -1), H265Frame(3, 1, -1),
    H265Frame(4, 21, -1), H265Frame(5, 0, -1), H265Frame(6, 1, -1),
    H265Frame(7, 39, 16), H265Frame(8, 8, -1), H265Frame(9, 34, -1)};

std::string RecordH265(const std::string& path) {
    CRtpStream stream;
    stream.m_bH265 = TRUE;
    stream.m_MediaType = 96;  // the camera's payload type
    EXPECT_EQ(stream.StartRecord(path.c_str(), 1), 0);
    for (size_t i = 0; i < kFrames.size(); ++i) {
        std::string frame = kFrames[i];
        stream.SaveRecord(frame.data(), static_cast<int>(frame.size()), 3600 * i);
    }
    EXPECT_EQ(stream.StopRecord(), 0);
    return path;
}
}  // namespace

TEST(H265RecordPlay, RecordedFramesCarryTheH265RecordValue) {
    TempDir dir;
    RecordFile file = ReadRecordFile(RecordH265(dir.file("h265.dat")));
    ASSERT_TRUE(file.valid);
    ASSERT_EQ(file.records.size(), kFrames.size());
    for (size_t i = 0; i < kFrames.size(); ++i) {
        const auto& [type, ts, bytes] = file.records[i];
        EXPECT_EQ(type, playersdk::kRecordPayloadTypeH265);
        EXPECT_EQ(ts, 3600 * i);
        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), kFrames[i]);
    }
}

TEST(H265RecordPlay, PlayerOpensAnH265DecoderAndCountsIrapPicturesAsKeyFrames) {
    FilePlayFixture fx;
    TempDir dir;
    long handle = fx.Start(RecordH265(dir.file("h265.dat")));
    ASSERT_NE(handle, -1);
    tVideoFileInfo info{};
    ASSERT_EQ(FilePlay_GetInfo(handle, &info), 0);
    EXPECT_EQ(info.totalFrameNum, 9u);
    EXPECT_EQ(info.keyFrameNum, 3u);
    EXPECT_EQ(info.manufType, MANU_FILE_TYPE_BRT);
    fx.Walk();
    auto creates = fakedecoder::CallsNamed("Create");
    ASSERT_EQ(creates.size(), 1u);
    EXPECT_EQ(creates[0].args[0], VT_H265);
}

TEST(H265RecordPlay, SteppingVisitsOnlyIrapPictures) {
    const struct {
        eFilePlayMode mode;
        int walks;  // frames played before stepping
        Numbers stepped;
    } rows[] = {{FILE_FWORD, 1, {2, 4, 7}},
                {FILE_BACK, 8, {9, 7, 4, 1}}};  // the next frame was already chosen
    for (const auto& row : rows) {
        FilePlayFixture fx;
        TempDir dir;
        fx.Start(RecordH265(dir.file("h265.dat")));
        fx.Walk(row.walks);
        fx.Control({{FILE_PAUSE, 0}, {row.mode, 1}}, false);
        fx.RunFree();
        ASSERT_TRUE(fx.WaitForPlayover());
        Numbers played;
        for (const fakedecoder::Call& frame : fakedecoder::Frames()) {
            played.push_back(H265FrameNumber(frame.bytes));
        }
        ASSERT_GE(played.size(), static_cast<size_t>(row.walks));
        EXPECT_EQ(Numbers(played.begin() + row.walks, played.end()), row.stepped) << row.mode;
    }
}
