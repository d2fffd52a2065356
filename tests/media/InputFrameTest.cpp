#include <tuple>

#include "MediaTestSupport.h"
#include "support/RecordFileReader.h"
#include "support/TempDir.h"

namespace {
using playersdk::test::ReadFileBytes;
using playersdk::test::ReadRecordFile;
using playersdk::test::Record;
using rtpgen::Bytes;

const Bytes kH264Unit = Cat({kStartCode, rtpgen::Nal(0x65, 40), kStartCode, rtpgen::Nal(0x65, 30)});
const Bytes kH264Delta = Cat({kStartCode, rtpgen::Nal(0x41, 20)});
// An IDR_W_RADL slice (type 19) behind its start code.
const Bytes kH265Unit = Cat({kStartCode, Bytes{0x26, 0x01, 0xAF, 0x10, 0x20}});
const Bytes kVop = {0, 0, 1, 0xB6, 0x10, 7, 8, 9};

void Input(CRtpStream& stream, const Bytes& unit, eMediaDecType type, uint32_t ts, bool key) {
    stream.InputFrame(unit.data(), static_cast<int>(unit.size()), type, ts, key);
}

class InputFrameTest : public MediaTest {
protected:
    playersdk::test::TempDir dir;
    const std::string path = dir.file("rec.dat");
};
}  // namespace

// The payload type 96 of the stream's last frame would choose H.264: the given type decides.
TEST_F(InputFrameTest, UnitReachesTheCallbackAndADecoderOfTheGivenType) {
    const std::tuple<eMediaDecType, Bytes> cases[] = {{VT_H264, kH264Unit}, {VT_MPEG4, kVop}};
    for (const auto& [type, unit] : cases) {
        fakedecoder::Reset();
        g_capturedFrames.clear();
        CRtpStream s;
        s.m_MediaType = 96;
        Input(s, unit, type, 123456, true);
        ASSERT_EQ(fakedecoder::CallsNamed("Create").size(), 1u);
        EXPECT_EQ(fakedecoder::CallsNamed("Create")[0].args[0], type);
        ASSERT_FALSE(fakedecoder::Frames().empty());
        EXPECT_EQ(fakedecoder::Frames().back().bytes, unit);
        EXPECT_EQ(fakedecoder::Frames().back().args,
                  (std::vector<long long>{static_cast<long long>(unit.size()), 123456}));
        ASSERT_EQ(g_capturedFrames.size(), 1u);
        EXPECT_EQ(g_capturedFrames[0].bytes, unit);
        EXPECT_EQ(s.CalcFrameRate(), 1);
        EXPECT_EQ(s.GetCurTs(), 123456u);
    }
}

TEST_F(InputFrameTest, RecordsCarryTheCodecsRecordPayloadType) {
    const std::tuple<eMediaDecType, Bytes, std::vector<Record>> cases[] = {
        {VT_H264, kH264Unit, {{96, 9000, kH264Unit}}},
        {VT_H265, kH265Unit, {{265, 9000, kH265Unit}}},
        // The configuration record of an MPEG-4 file (empty here: the unit carries it).
        {VT_MPEG4, kVop, {{97, 0, {}}, {97, 9000, kVop}}},
    };
    for (const auto& [type, unit, records] : cases) {
        CRtpStream s;
        ASSERT_EQ(s.StartRecord(path.c_str(), 1), 0);
        Input(s, unit, type, 9000, true);
        ASSERT_EQ(s.StopRecord(), 0);
        const playersdk::test::RecordFile file = ReadRecordFile(path);
        EXPECT_TRUE(file.valid);
        EXPECT_EQ(file.records, records);
    }
}

TEST_F(InputFrameTest, BareRecordingStartsAtTheFirstUnitMarkedKey) {
    ASSERT_EQ(stream.StartRecord(path.c_str(), 0), 0);
    Input(stream, kH264Delta, VT_H264, 0, false);
    Input(stream, kH264Unit, VT_H264, 3000, true);
    Input(stream, kH264Delta, VT_H264, 6000, false);
    ASSERT_EQ(stream.StopRecord(), 0);
    const Bytes expected = Cat({kH264Unit, kH264Delta});
    EXPECT_EQ(ReadFileBytes(path), std::string(expected.begin(), expected.end()));
}
