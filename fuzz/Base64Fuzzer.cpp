// Base64: any text decodes within the bound its length function gives, and whatever is encoded
// decodes back to the same bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/Base64.h"

namespace {
void Require(bool holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "Base64 property broken: %s\n", what);
        abort();
    }
}

void DecodeText(const std::string& text) {
    const int bound = Base64decode_len(text.c_str());
    Require(bound >= 1, "the decode bound holds the terminator");
    std::vector<char> out(static_cast<size_t>(bound));
    const int got = Base64decode(out.data(), text.c_str());
    Require(got >= 0 && got < bound, "Base64decode stays inside its bound");

    // The stream set-up's decoder: at most (length / 4 + 1) * 3 bytes.
    std::vector<unsigned char> tolerant((text.size() / 4 + 1) * 3);
    base64_decode(text.c_str(), tolerant.data());
}

void RoundTrip(const uint8_t* data, size_t size) {
    const int len = static_cast<int>(size);
    std::vector<char> coded(static_cast<size_t>(Base64encode_len(len)));
    const int written = Base64encode(coded.data(), reinterpret_cast<const char*>(data), len);
    Require(written == static_cast<int>(coded.size()), "Base64encode writes its length");
    Require(strlen(coded.data()) + 1 == coded.size(), "the text ends at its terminator");

    std::vector<char> back(static_cast<size_t>(Base64decode_len(coded.data())));
    const int got = Base64decode(back.data(), coded.data());
    Require(got == len && memcmp(back.data(), data, size) == 0, "decode(encode(x)) == x");
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The decoders read NUL-terminated text: the input up to its first NUL byte.
    const auto* chars = reinterpret_cast<const char*>(data);
    DecodeText(std::string(chars, strnlen(chars, size)));
    RoundTrip(data, size);
    return 0;
}
