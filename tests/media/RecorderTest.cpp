#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>

#include "MediaTestSupport.h"
#include "support/RecordFileReader.h"
#include "support/TempDir.h"

namespace {
using playersdk::test::ReadFileBytes;
using playersdk::test::ReadRecordFile;
using playersdk::test::Record;
using playersdk::test::RecordFile;
using rtpgen::Bytes;

constexpr uint32_t kSsrc = 0x11223344;  // every frame's key

// A frame of one packet (marker set) of the payload type.
void FeedFrame(CRtpStream& stream, uint16_t seq, uint8_t pt, const Bytes& payload) {
    Bytes datagram = rtpgen::Packet({seq, true, pt, 0, kSsrc}, payload);
    stream.InputData(datagram.data(), static_cast<int>(datagram.size()));
}

// An H.264 single NAL unit whose bytes carry a number; the frame is the unit behind a start code.
Bytes NumberedNal(uint16_t number, uint8_t nalHeader = 0x41) {
    Bytes nal = {nalHeader, static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
    nal.resize(96, static_cast<uint8_t>(number * 7));
    return nal;
}
int NumberOf(const Record& record) {
    return (std::get<2>(record).at(5) << 8) | std::get<2>(record).at(6);
}
std::string AsString(const Bytes& b) {
    return std::string(b.begin(), b.end());
}

class RecorderTest : public MediaTest {
protected:
    int Start(const std::string& file, int type = 1) {
        return stream.StartRecord(file.c_str(), type);
    }
    playersdk::test::TempDir dir;
    const std::string path = dir.file("rec.dat");
};
}  // namespace

TEST_F(RecorderTest, FramedFileHoldsTheHeaderAndExactlyTheFramesTheDecoderGot) {
    rtpgen::StreamShape shape;
    shape.gop = 5;
    shape.keyFrameBytes = 3000;
    shape.deltaFrameBytes = 1200;
    shape.fragment = 1000;
    ASSERT_EQ(Start(path), 0);
    for (rtpgen::StreamPacket& p : rtpgen::H264Stream(shape, 12, 1)) {
        Feed(p.datagram);
        if (p.frame == 6) {  // a second start is refused and leaves the open file alone
            EXPECT_EQ(Start(dir.file("other.dat")), 1);
        }
    }
    ASSERT_EQ(stream.StopRecord(), 0);  // flushed and closed: all of it is on disk
    const RecordFile file = ReadRecordFile(path);
    EXPECT_TRUE(file.valid);
    EXPECT_EQ(file.fields(), std::make_tuple(25, 90000, 352, 288, 0));  // the decoder's size
    std::vector<Record> decoded;
    for (const fakedecoder::Call& frame : fakedecoder::Frames()) {
        decoded.emplace_back(96, static_cast<uint32_t>(frame.args[1]), frame.bytes);
    }
    EXPECT_EQ(decoded.size(), 12u);
    EXPECT_EQ(file.records, decoded);
    EXPECT_FALSE(std::filesystem::exists(dir.file("other.dat")));
}

TEST_F(RecorderTest, EachRecordingIsANewFileWithTheDescribedPictureSizeOr720x480) {
    fakedecoder::Choices noDecoder;
    noDecoder.createResult = -1;
    fakedecoder::Reset(noDecoder);
    for (int n : {1, 2}) {
        if (n == 2) {
            stream.m_DeviceDecinfo.picWidth = 640;
            stream.m_DeviceDecinfo.picHeight = 360;
        }
        ASSERT_EQ(Start(path), 0);
        FeedFrame(stream, n, 96, NumberedNal(n));
        ASSERT_EQ(stream.StopRecord(), 0);
        const RecordFile file = ReadRecordFile(path);
        EXPECT_EQ(file.fields(), n == 1 ? std::make_tuple(25, 90000, 720, 480, 0)
                                        : std::make_tuple(25, 90000, 640, 360, 0));
        EXPECT_EQ(file.records,
                  (std::vector<Record>{{96, kSsrc, Cat({kStartCode, NumberedNal(n)})}}));
    }
}

TEST_F(RecorderTest, Mpeg4FramedFileStartsWithTheConfigurationRecord) {
    DeviceDecInfo info{};
    info.videoPayLoadType = 97;
    snprintf(info.config, sizeof(info.config), "config=000001B001000001B50900000100000001200086");
    stream.SetDeviceDecInfo(info);
    ASSERT_EQ(stream.m_DeviceDecinfo.config_len, 20);
    const Bytes config(stream.m_DeviceDecinfo.config, stream.m_DeviceDecinfo.config + 20);
    const Bytes vop = {0, 0, 1, 0xB6, 0x10, 0x22, 0x33, 0x44};
    ASSERT_EQ(Start(path), 0);
    FeedFrame(stream, 1, 97, vop);
    FeedFrame(stream, 2, 97, vop);
    ASSERT_EQ(stream.StopRecord(), 0);
    const RecordFile file = ReadRecordFile(path);
    EXPECT_TRUE(file.valid);
    EXPECT_EQ(file.records,
              (std::vector<Record>{{97, 0, config}, {97, kSsrc, vop}, {97, kSsrc, vop}}));
}

TEST_F(RecorderTest, BareFileStartsAtTheFirstMpeg4KeyFrameAndStaysEmptyForH264) {
    const Bytes predicted = {0, 0, 1, 0xB6, 0x50, 1, 2, 3};  // P-VOP: top bits 01
    const Bytes intra = {0, 0, 1, 0xB6, 0x10, 4, 5, 6};      // I-VOP: top bits 00
    ASSERT_EQ(Start(path, 0), 0);
    uint16_t seq = 0;
    for (const Bytes& vop : {predicted, intra, predicted}) {
        FeedFrame(stream, ++seq, 97, vop);
    }
    ASSERT_EQ(stream.StopRecord(), 0);
    EXPECT_EQ(ReadFileBytes(path), AsString(Cat({intra, predicted})));

    // Payload type 35 with the seven-byte start; a frame shorter than it is no key frame.
    CRtpStream mpeg4;
    const Bytes sevenByteStart = {0, 0, 1, 0, 0, 0, 1, 9};
    ASSERT_EQ(mpeg4.StartRecord(path.c_str(), 2), 0);
    FeedFrame(mpeg4, 1, 35, {0, 0, 1, 0});
    FeedFrame(mpeg4, 2, 35, sevenByteStart);
    ASSERT_EQ(mpeg4.StopRecord(), 0);
    EXPECT_EQ(ReadFileBytes(path), AsString(sevenByteStart));

    CRtpStream h264;
    ASSERT_EQ(h264.StartRecord(path.c_str(), 0), 0);
    FeedFrame(h264, 1, 96, NumberedNal(1, 0x65));
    ASSERT_EQ(h264.StopRecord(), 0);
    EXPECT_TRUE(ReadFileBytes(path).empty());
}

TEST_F(RecorderTest, StartAndStopResultsPathsThatDoNotFitAndTheFlushOnDeletion) {
    EXPECT_EQ(stream.StopRecord(), 1);
    EXPECT_EQ(Start(dir.file("missing/rec.dat")), 2);
    EXPECT_EQ(stream.StartRecord(nullptr, 1), 2);
    EXPECT_EQ(stream.StopRecord(), 1);  // a failed start records nothing

    // 254 characters fit the field with its terminator; 255 are refused, not cut.
    const std::string prefix = dir.path() + "/";
    const std::string fits = prefix + std::string(254 - prefix.size(), 'a');
    const std::string tooLong = prefix + std::string(255 - prefix.size(), 'b');
    EXPECT_EQ(Start(tooLong), 2);
    EXPECT_FALSE(std::filesystem::exists(tooLong.substr(0, 254)));
    ASSERT_EQ(Start(fits), 0);
    FeedFrame(stream, 1, 96, NumberedNal(1));
    EXPECT_EQ(stream.StopRecord(), 0);
    EXPECT_EQ(stream.StopRecord(), 1);
    EXPECT_EQ(ReadRecordFile(fits).records.size(), 1u);

    {  // a stream deleted while recording still leaves its frames on disk
        CRtpStream doomed;
        ASSERT_EQ(doomed.StartRecord(path.c_str(), 1), 0);
        FeedFrame(doomed, 1, 96, NumberedNal(7));
    }
    const RecordFile file = ReadRecordFile(path);
    ASSERT_EQ(file.records.size(), 1u);
    EXPECT_EQ(NumberOf(file.records[0]), 7);
}

// Each file is a header and a gapless run of whole frames, later than the files before.
TEST_F(RecorderTest, RecordingStartsAndStopsWhileFramesArrive) {
    fakedecoder::Choices countOnly;
    countOnly.keepFrames = false;
    fakedecoder::Reset(countOnly);
    std::atomic<bool> stopFeeding{false};
    std::atomic<bool> fedAll{false};
    std::thread receiver([&] {
        for (uint16_t n = 1; n <= 60000 && !stopFeeding; ++n) {  // below the sequence wrap
            FeedFrame(stream, n, 96, NumberedNal(n));
            std::this_thread::yield();  // a camera paces its frames
        }
        fedAll = true;
    });
    std::vector<std::string> files;
    for (int round = 0; round < 50 && !fedAll; ++round) {
        files.push_back(dir.file("rec" + std::to_string(round)));
        EXPECT_EQ(Start(files.back()), 0);
        const uint64_t seen = fakedecoder::FrameCount();
        while (!fedAll && fakedecoder::FrameCount() < seen + 2) {
            std::this_thread::yield();
        }
        EXPECT_EQ(stream.StopRecord(), 0);
    }
    stopFeeding = true;
    receiver.join();

    int last = 0;
    for (const std::string& name : files) {
        const RecordFile file = ReadRecordFile(name);
        EXPECT_TRUE(file.valid && !file.records.empty()) << name;
        for (const Record& record : file.records) {
            EXPECT_EQ(std::get<2>(record), Cat({kStartCode, NumberedNal(NumberOf(record))}));
            EXPECT_TRUE(&record == &file.records.front() ? NumberOf(record) > last
                                                         : NumberOf(record) == last + 1)
                << name << ": " << NumberOf(record) << " after " << last;
            last = NumberOf(record);
        }
    }
    EXPECT_GT(files.size(), 1u);
}
