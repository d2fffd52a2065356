#include <gtest/gtest.h>

#include <string>

#include "fileplay/FileFormat.h"
#include "support/RecordFileWriter.h"

using namespace playersdk;
using namespace playersdk::test;

namespace {
bool Parse(const std::string& bytes, ZuFileHeader& header) {
    header = ZuFileHeader{};
    return ParseFileHeader(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), header);
}

bool HeaderAccepted(int32_t frameRate, int32_t timeScale, int32_t extlength) {
    RecordHeader fields;
    fields.frameRate = frameRate;
    fields.timeScale = timeScale;
    fields.extlength = extlength;
    ZuFileHeader header{};
    return Parse(FileHeaderBytes(fields), header);
}

KeyProbe Probe(std::initializer_list<uint8_t> bytes) {
    KeyProbe probe{};
    std::copy(bytes.begin(), bytes.end(), probe.begin());
    return probe;
}
}  // namespace

TEST(FileHeader, RecorderHeaderIsReadLittleEndianFieldByField) {
    const std::string bytes("\x19\0\0\0\x90\x5f\x01\0\xd0\x02\0\0\xe0\x01\0\0\0\0\0\0", 20);
    ZuFileHeader header{};
    ASSERT_TRUE(Parse(bytes, header));
    EXPECT_EQ(header.frameRate, 25);
    EXPECT_EQ(header.timeScale, 90000);
    EXPECT_EQ(header.reserve1, 720);
    EXPECT_EQ(header.reserve2, 480);
    EXPECT_EQ(header.extlength, 0);
    EXPECT_EQ(bytes, FileHeaderBytes(RecordHeader{}));
    EXPECT_FALSE(Parse(bytes.substr(0, 19), header));
}

TEST(FileHeader, RateAndScaleMustBePositiveAndExtensionAtMost35534) {
    EXPECT_FALSE(HeaderAccepted(0, 90000, 0));
    EXPECT_FALSE(HeaderAccepted(-25, 90000, 0));
    EXPECT_FALSE(HeaderAccepted(25, 0, 0));
    EXPECT_FALSE(HeaderAccepted(25, INT32_MIN, 0));
    EXPECT_FALSE(HeaderAccepted(25, 90000, -1));
    EXPECT_FALSE(HeaderAccepted(25, 90000, 35535));
    EXPECT_TRUE(HeaderAccepted(25, 90000, 35534));
    EXPECT_TRUE(HeaderAccepted(1, 1, 0));
}

TEST(FrameRecord, HeaderGivesLengthTypeAndTimeStamp) {
    std::string bytes = FrameRecordBytes(0xA1B2C3D4u, 96, 0x01020304u, "xyz");
    ZuFrameData frame{};
    ASSERT_TRUE(ParseFrameRecordHeader(reinterpret_cast<const uint8_t*>(bytes.data()),
                                       kFrameRecordHeaderSize, frame));
    EXPECT_EQ(frame.dataLength, 0xA1B2C3D4u);
    EXPECT_EQ(frame.mediaType, 96u);
    EXPECT_EQ(frame.timeStamp, 0x01020304u);
    EXPECT_FALSE(ParseFrameRecordHeader(reinterpret_cast<const uint8_t*>(bytes.data()), 11, frame));
}

TEST(ManuFileType, FirstPayloadTypeNamesTheMakerAndUnknownTypesKeepIt) {
    EXPECT_EQ(ManuFileTypeOf(35, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_BRT);
    EXPECT_EQ(ManuFileTypeOf(96, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_BRT);
    EXPECT_EQ(ManuFileTypeOf(97, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_BRT);
    EXPECT_EQ(ManuFileTypeOf(37, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_DAHU);
    EXPECT_EQ(ManuFileTypeOf(40, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_STC);
    EXPECT_EQ(ManuFileTypeOf(44, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_LC);
    EXPECT_EQ(ManuFileTypeOf(50, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_HB);
    EXPECT_EQ(ManuFileTypeOf(53, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_HIK);
    EXPECT_EQ(ManuFileTypeOf(98, MANU_FILE_TYPE_UNKOWN), MANU_FILE_TYPE_UNKOWN);
    EXPECT_EQ(ManuFileTypeOf(0, MANU_FILE_TYPE_TOPSEE), MANU_FILE_TYPE_TOPSEE);
}

TEST(IsKeyFrame, BrtKnowsMpeg4VosVoAndH264IdrSpsOtherMakersNothing) {
    const KeyProbe keys[] = {Probe({0, 0, 1, 0xB0}), Probe({0, 0, 1, 0x00}),
                             Probe({0, 0, 0, 1, 0x65}), Probe({0, 0, 0, 1, 0x67})};
    for (const KeyProbe& key : keys) {
        EXPECT_EQ(IsKeyFrame(key, MANU_FILE_TYPE_BRT), 1);
        for (int other = MANU_FILE_TYPE_UNKOWN; other <= MANU_FILE_TYPE_STC; ++other) {
            if (other != MANU_FILE_TYPE_BRT) {
                EXPECT_EQ(IsKeyFrame(key, other), 0) << other;
            }
        }
    }
    EXPECT_EQ(IsKeyFrame(Probe({0, 0, 0, 1, 0x41}), MANU_FILE_TYPE_BRT), 0);  // P slice
    EXPECT_EQ(IsKeyFrame(Probe({0, 0, 0, 1, 0x68}), MANU_FILE_TYPE_BRT), 0);  // PPS
    EXPECT_EQ(IsKeyFrame(Probe({0, 0, 1, 0xB6}), MANU_FILE_TYPE_BRT), 0);     // any VOP
    EXPECT_EQ(IsKeyFrame(Probe({0, 0, 2, 0xB0}), MANU_FILE_TYPE_BRT), 0);
    EXPECT_EQ(IsKeyFrame(Probe({}), MANU_FILE_TYPE_BRT), 0);
}

TEST(FileHeader, ResetFreesTheExtensionAndZeroesEveryField) {
    ZuFileHeader header{25, 90000, 1, 2, 3, new unsigned char[3], nullptr};
    ResetFileHead(header);
    EXPECT_EQ(header.frameRate, 0);
    EXPECT_EQ(header.extlength, 0);
    EXPECT_EQ(header.extData, nullptr);
    ResetFileHead(header);  // a second reset is harmless
}
