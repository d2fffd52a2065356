#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "base/Base64.h"

namespace {
// The decoded bytes with the terminating zero: their count pins the result too.
std::string Decode(const char* text) {
    std::vector<char> out(strlen(text) + 8, '\x7f');
    return std::string(out.data(), Base64decode(out.data(), text) + 1);
}

std::string OldDecode(const char* text) {
    std::vector<unsigned char> out(strlen(text) + 8, 0xEE);
    base64_decode(text, out.data());
    return std::string(out.begin(), std::find(out.begin(), out.end(), 0xEE));
}
}  // namespace

TEST(Base64decode, DecodesTheWholeTextTerminatesItAndStopsAtAForeignCharacter) {
    EXPECT_EQ(Decode("Z2Q="), std::string("gd\0", 3));
    EXPECT_EQ(Decode("Z2Rl"), std::string("gde\0", 4));
    EXPECT_EQ(Decode("Z0IAH5Wo"), std::string("\x67\x42\x00\x1f\x95\xa8\0", 7));
    EXPECT_EQ(Decode(""), std::string("\0", 1));
    EXPECT_EQ(Decode("Z2Rl,Z2Rl"), std::string("gde\0", 4));
    EXPECT_EQ(Base64decode_len("Z2Q="), 4);
    EXPECT_EQ(Base64decode_len("Z2Rl"), 4);
    EXPECT_EQ(Base64decode_len("Z0IAH5Wo"), 7);
}

TEST(Base64encode, PadsTheLastGroupAndCountsTheTerminatorAsItsLengthBoundDoes) {
    const std::pair<std::string, const char*> rows[] = {
        {"gd", "Z2Q="}, {"g", "Zw=="}, {"gde", "Z2Rl"}, {"", ""}};
    for (const auto& [data, text] : rows) {
        char out[16];
        int size = static_cast<int>(data.size());
        EXPECT_EQ(Base64encode(out, data.data(), size), static_cast<int>(strlen(text)) + 1);
        EXPECT_STREQ(out, text);
        EXPECT_EQ(Base64encode_len(size), static_cast<int>(strlen(text)) + 1);
    }
}

TEST(OldBase64Decode, NeverCountsTheLastCharacterAndSkipsForeignOnes) {
    EXPECT_EQ(OldDecode("Z2Q="), "gd");
    EXPECT_EQ(OldDecode("Z2Rl"), "gd");  // the third byte of an unpadded last group is lost
    EXPECT_EQ(OldDecode("Z0IAH5Wo"), std::string("\x67\x42\x00\x1f\x95", 5));
    EXPECT_EQ(OldDecode("Z2\r\nQ=,"), "gd");
    EXPECT_EQ(OldDecode(""), "");
}

TEST(Base64, RandomBytesRoundTripAndRandomTextStaysWithinTheOutputBounds) {
    std::mt19937 rng(7);
    auto random = [&](size_t n, int from) {
        std::string s(n, '\0');
        std::generate(s.begin(), s.end(),
                      [&] { return static_cast<char>(from + rng() % (256 - from)); });
        return s;
    };
    for (int len = 0; len < 200; ++len) {
        std::string data = random(len, 0);
        std::vector<char> text(Base64encode_len(len));
        ASSERT_EQ(Base64encode(text.data(), data.data(), len), Base64encode_len(len));
        std::vector<char> back(Base64decode_len(text.data()));
        ASSERT_EQ(Base64decode(back.data(), text.data()), len);
        ASSERT_EQ(memcmp(back.data(), data.data(), len), 0);
    }
    for (int round = 0; round < 2000; ++round) {
        std::string text = random(rng() % 64, 1);  // no zero inside
        std::vector<unsigned char> out((text.size() / 4 + 1) * 3);
        base64_decode(text.c_str(), out.data());  // sanitizers catch a write past 'out'
        std::vector<char> out2(Base64decode_len(text.c_str()));
        Base64decode(out2.data(), text.c_str());
    }
}

TEST(Base64Helpers, DecodeblockPacksFourSixBitValuesAndCtoiReadsHexDigits) {
    const unsigned char in[4] = {25, 54, 17, 37};  // Z2Rl
    unsigned char out[3];
    decodeblock(in, out);
    EXPECT_EQ(std::string(out, out + 3), "gde");
    std::vector<int> digits;
    for (char c : std::string("09aFg ")) {
        digits.push_back(ctoi(c));
    }
    EXPECT_EQ(digits, (std::vector<int>{0, 9, 10, 15, 0, 0}));
}
