#include "base/Base64.h"

#include <array>

namespace {
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char kNotInAlphabet = 64;

// Each byte's 6-bit value; 64 for every byte outside the alphabet ("=" and NUL included).
constexpr std::array<unsigned char, 256> MakeDecodeTable() {
    std::array<unsigned char, 256> table{};
    for (auto& v : table) {
        v = kNotInAlphabet;
    }
    for (unsigned char i = 0; i < 64; ++i) {
        table[static_cast<unsigned char>(kAlphabet[i])] = i;
    }
    return table;
}
constexpr std::array<unsigned char, 256> kDecode = MakeDecodeTable();

unsigned char SixBits(char c) {
    return kDecode[static_cast<unsigned char>(c)];
}

int LeadingAlphabetCount(const char* text) {
    int n = 0;
    while (SixBits(text[n]) != kNotInAlphabet) {
        ++n;
    }
    return n;
}

void DecodeQuad(const char* in, unsigned char* out, int outBytes) {
    unsigned char quad[4] = {};
    for (int i = 0; i < 4 && i <= outBytes; ++i) {
        quad[i] = SixBits(in[i]);
    }
    unsigned char three[3];
    decodeblock(quad, three);
    for (int i = 0; i < outBytes; ++i) {
        out[i] = three[i];
    }
}
}  // namespace

extern "C" PLAYERSDK_API int Base64decode_len(const char* bufcoded) {
    int n = LeadingAlphabetCount(bufcoded);
    return ((n + 3) / 4) * 3 + 1;
}

extern "C" PLAYERSDK_API int Base64decode(char* bufplain, const char* bufcoded) {
    const int n = LeadingAlphabetCount(bufcoded);
    unsigned char* out = reinterpret_cast<unsigned char*>(bufplain);
    const char* in = bufcoded;
    int left = n;
    while (left > 4) {
        DecodeQuad(in, out, 3);
        in += 4;
        out += 3;
        left -= 4;
    }
    // 1 to 4 characters remain (none for an empty text): r characters give r - 1 bytes.
    if (left > 1) {
        DecodeQuad(in, out, left - 1);
        out += left - 1;
    }
    *out = 0;
    return ((n + 3) / 4) * 3 - ((4 - left) & 3);
}

extern "C" PLAYERSDK_API int Base64encode_len(int len) {
    return ((len + 2) / 3) * 4 + 1;
}

extern "C" PLAYERSDK_API int Base64encode(char* encoded, const char* string, int len) {
    const unsigned char* in = reinterpret_cast<const unsigned char*>(string);
    char* p = encoded;
    int i = 0;
    for (; i + 2 < len; i += 3) {
        *p++ = kAlphabet[in[i] >> 2];
        *p++ = kAlphabet[((in[i] & 0x03) << 4) | (in[i + 1] >> 4)];
        *p++ = kAlphabet[((in[i + 1] & 0x0F) << 2) | (in[i + 2] >> 6)];
        *p++ = kAlphabet[in[i + 2] & 0x3F];
    }
    if (i < len) {
        *p++ = kAlphabet[in[i] >> 2];
        if (i == len - 1) {
            *p++ = kAlphabet[(in[i] & 0x03) << 4];
            *p++ = '=';
        } else {
            *p++ = kAlphabet[((in[i] & 0x03) << 4) | (in[i + 1] >> 4)];
            *p++ = kAlphabet[(in[i + 1] & 0x0F) << 2];
        }
        *p++ = '=';
    }
    *p++ = '\0';
    return static_cast<int>(p - encoded);
}

void decodeblock(const unsigned char in[4], unsigned char out[3]) {
    out[0] = static_cast<unsigned char>(in[0] << 2 | in[1] >> 4);
    out[1] = static_cast<unsigned char>(in[1] << 4 | in[2] >> 2);
    out[2] = static_cast<unsigned char>(((in[2] << 6) & 0xC0) | in[3]);
}

void base64_decode(const char* in, unsigned char* out) {
    while (*in != '\0') {
        unsigned char group[4] = {};
        int counted = 0;
        for (int slot = 0; slot < 4 && *in != '\0'; ++slot) {
            unsigned char v = kNotInAlphabet;
            while (*in != '\0' && v == kNotInAlphabet) {
                v = SixBits(*in++);
            }
            // The end test comes after the character was consumed: the last one never counts.
            if (*in != '\0') {
                ++counted;
                group[slot] = v;
            }
        }
        if (counted > 0) {
            unsigned char three[3];
            decodeblock(group, three);
            for (int i = 0; i < counted - 1; ++i) {
                *out++ = three[i];
            }
        }
    }
}

int ctoi(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return 0;
}
