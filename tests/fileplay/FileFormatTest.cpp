#include <gtest/gtest.h>

#include "fileplay/FileFormat.h"
#include "support/RecordFileWriter.h"

using namespace playersdk;
using namespace playersdk::test;

namespace {
bool HeaderAccepted(int32_t frameRate, int32_t timeScale, int32_t extlength) {
    RecordHeader fields;
    fields.frameRate = frameRate;
    fields.timeScale = timeScale;
    fields.extlength = extlength;
    std::string bytes = FileHeaderBytes(fields);
    ZuFileHeader header{};
    return ParseFileHeader(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), header);
}
}  // namespace

TEST(FileHeader, FieldsAreLittleEndianAndRateScaleAndExtensionLengthAreChecked) {
    const std::string bytes("\x19\0\0\0\x90\x5f\x01\0\xd0\x02\0\0\xe0\x01\0\0\0\0\0\0", 20);
    ZuFileHeader h{};
    ASSERT_TRUE(ParseFileHeader(reinterpret_cast<const uint8_t*>(bytes.data()), 20, h));
    EXPECT_EQ(std::vector<int>({h.frameRate, h.timeScale, h.reserve1, h.reserve2, h.extlength}),
              std::vector<int>({25, 90000, 720, 480, 0}));
    EXPECT_FALSE(ParseFileHeader(reinterpret_cast<const uint8_t*>(bytes.data()), 19, h));

    EXPECT_TRUE(HeaderAccepted(1, 1, 35534));
    EXPECT_FALSE(HeaderAccepted(0, 90000, 0));
    EXPECT_FALSE(HeaderAccepted(-25, 90000, 0));
    EXPECT_FALSE(HeaderAccepted(25, 0, 0));
    EXPECT_FALSE(HeaderAccepted(25, INT32_MIN, 0));
    EXPECT_FALSE(HeaderAccepted(25, 90000, -1));
    EXPECT_FALSE(HeaderAccepted(25, 90000, 35535));
}

TEST(ManuFileType, FirstPayloadTypeNamesTheMakerAndOtherTypesKeepIt) {
    const std::pair<uint32_t, eManuFileType> table[] = {
        {35, MANU_FILE_TYPE_BRT},  {96, MANU_FILE_TYPE_BRT}, {97, MANU_FILE_TYPE_BRT},
        {37, MANU_FILE_TYPE_DAHU}, {40, MANU_FILE_TYPE_STC}, {44, MANU_FILE_TYPE_LC},
        {50, MANU_FILE_TYPE_HB},   {53, MANU_FILE_TYPE_HIK}, {98, MANU_FILE_TYPE_TOPSEE}};
    for (const auto& [type, maker] : table) {
        EXPECT_EQ(ManuFileTypeOf(type, MANU_FILE_TYPE_TOPSEE), maker) << type;
    }
}

TEST(IsKeyFrame, BrtKnowsMpeg4VosVoAndH264IdrSpsOtherMakersNothing) {
    const KeyProbe keys[] = {
        {0, 0, 1, 0xB0}, {0, 0, 1, 0x00}, {0, 0, 0, 1, 0x65}, {0, 0, 0, 1, 0x67}};
    for (const KeyProbe& key : keys) {
        EXPECT_EQ(IsKeyFrame(key, MANU_FILE_TYPE_BRT), 1);
        for (int other = MANU_FILE_TYPE_DAHU; other <= MANU_FILE_TYPE_STC + 1; ++other) {
            EXPECT_EQ(IsKeyFrame(key, other % 8), 0) << other;
        }
    }
    const KeyProbe others[] = {
        {0, 0, 0, 1, 0x41}, {0, 0, 0, 1, 0x68}, {0, 0, 1, 0xB6}, {0, 0, 2, 0xB0}};
    for (const KeyProbe& other : others) {
        EXPECT_EQ(IsKeyFrame(other, MANU_FILE_TYPE_BRT), 0);
    }
}
