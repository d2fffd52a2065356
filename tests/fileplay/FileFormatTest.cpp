#include <gtest/gtest.h>

#include "fileplay/FileFormat.h"
#include "support/RecordFileWriter.h"

using namespace playersdk;
using namespace playersdk::test;

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
