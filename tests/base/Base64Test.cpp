#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "base/Base64.h"

namespace {
std::string Decode(const char* text, int* result = nullptr) {
    std::vector<char> out(strlen(text) + 8, '\x7f');
    int n = Base64decode(out.data(), text);
    if (result) {
        *result = n;
    }
    return std::string(out.data(), n + 1);  // with the terminating zero
}

std::string OldDecode(const char* text) {
    std::vector<unsigned char> out(strlen(text) + 8, 0xEE);
    base64_decode(text, out.data());
    size_t n = 0;
    while (n < out.size() && out[n] != 0xEE) {
        ++n;
    }
    return std::string(out.begin(), out.begin() + n);
}
}  // namespace

TEST(Base64decode, DecodesTheWholeTextAndTerminatesIt) {
    int n = 0;
    EXPECT_EQ(Decode("Z2Q=", &n), std::string("gd\0", 3));
    EXPECT_EQ(n, 2);
    EXPECT_EQ(Decode("Z2Rl", &n), std::string("gde\0", 4));
    EXPECT_EQ(n, 3);
    EXPECT_EQ(Decode("Z0IAH5Wo", &n).size(), 7u);
    EXPECT_EQ(n, 6);
    EXPECT_EQ(Decode("", &n), std::string("\0", 1));
    EXPECT_EQ(n, 0);
    // Stops at the first character outside the alphabet.
    EXPECT_EQ(Decode("Z2Rl,Z2Rl", &n), std::string("gde\0", 4));
}

TEST(Base64decode, LengthFunctionsBoundTheResult) {
    EXPECT_EQ(Base64decode_len("Z2Q="), 4);
    EXPECT_EQ(Base64decode_len("Z2Rl"), 4);
    EXPECT_EQ(Base64decode_len("Z0IAH5Wo"), 7);
    EXPECT_EQ(Base64encode_len(2), 5);
    EXPECT_EQ(Base64encode_len(0), 1);
    EXPECT_EQ(Base64encode_len(3), 5);
}

TEST(Base64encode, PadsTheLastGroupAndCountsTheTerminator) {
    char out[16];
    EXPECT_EQ(Base64encode(out, "gd", 2), 5);
    EXPECT_STREQ(out, "Z2Q=");
    EXPECT_EQ(Base64encode(out, "g", 1), 5);
    EXPECT_STREQ(out, "Zw==");
    EXPECT_EQ(Base64encode(out, "gde", 3), 5);
    EXPECT_STREQ(out, "Z2Rl");
    EXPECT_EQ(Base64encode(out, "", 0), 1);
    EXPECT_STREQ(out, "");
}

TEST(Base64, EncodeThenDecodeRoundTripsRandomBytes) {
    std::mt19937 rng(7);
    for (int len = 0; len < 200; ++len) {
        std::string data(len, '\0');
        for (auto& c : data) {
            c = static_cast<char>(rng());
        }
        std::vector<char> text(Base64encode_len(len));
        ASSERT_EQ(Base64encode(text.data(), data.data(), len), Base64encode_len(len));
        std::vector<char> back(Base64decode_len(text.data()));
        ASSERT_EQ(Base64decode(back.data(), text.data()), len);
        ASSERT_EQ(memcmp(back.data(), data.data(), len), 0);
    }
}

TEST(OldBase64Decode, NeverCountsTheLastCharacter) {
    EXPECT_EQ(OldDecode("Z2Q="), "gd");
    EXPECT_EQ(OldDecode("Z2Rl"), "gd");  // the third byte of an unpadded last group is lost
    EXPECT_EQ(OldDecode("Z0IAH5Wo").size(), 5u);
    EXPECT_EQ(OldDecode("Z0IAH5Wo"), std::string("\x67\x42\x00\x1f\x95", 5));
    // Foreign characters in between are skipped.
    EXPECT_EQ(OldDecode("Z2\r\nQ=,"), "gd");
    EXPECT_EQ(OldDecode(""), "");
}

TEST(OldBase64Decode, SurvivesArbitraryTextWithinItsOutputBound) {
    std::mt19937 rng(11);
    for (int round = 0; round < 2000; ++round) {
        std::string text(rng() % 64, '\0');
        for (auto& c : text) {
            c = static_cast<char>(1 + rng() % 255);
        }
        std::vector<unsigned char> out((text.size() / 4 + 1) * 3);
        base64_decode(text.c_str(), out.data());  // sanitizers catch a write past 'out'
        std::vector<char> out2(Base64decode_len(text.c_str()));
        Base64decode(out2.data(), text.c_str());
    }
}

TEST(Decodeblock, PacksFourSixBitValuesIntoThreeBytes) {
    const unsigned char in[4] = {25, 54, 17, 37};  // Z2Rl
    unsigned char out[3];
    decodeblock(in, out);
    EXPECT_EQ(out[0], 0x67);
    EXPECT_EQ(out[1], 0x64);
    EXPECT_EQ(out[2], 0x65);
}

TEST(Ctoi, ReadsHexDigitsOfEitherCaseAndZeroOtherwise) {
    EXPECT_EQ(ctoi('0'), 0);
    EXPECT_EQ(ctoi('9'), 9);
    EXPECT_EQ(ctoi('a'), 10);
    EXPECT_EQ(ctoi('F'), 15);
    EXPECT_EQ(ctoi('g'), 0);
    EXPECT_EQ(ctoi(' '), 0);
}
