#include "media/ParameterSets.h"

#include <string>

#include "base/Base64.h"
#include "rtsp/standard/TextFields.h"

namespace playersdk {
namespace {
constexpr uint8_t kStartCode[4] = {0, 0, 0, 1};

bool IsBase64Text(std::string_view text) {
    for (char c : text) {
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        const bool digit = c >= '0' && c <= '9';
        if (!letter && !digit && c != '+' && c != '/' && c != '=') {
            return false;
        }
    }
    return !text.empty();
}
}  // namespace

std::vector<uint8_t> AnnexBFromSpropParameterSets(std::string_view sprop, size_t minSetSize) {
    std::vector<uint8_t> out;
    std::string text;  // Base64decode reads a terminated text
    while (!sprop.empty()) {
        const std::string_view set = standard::NextPiece(sprop, ',');
        if (!IsBase64Text(set)) {
            return {};
        }
        text.assign(set);
        std::vector<char> plain(static_cast<size_t>(Base64decode_len(text.c_str())));
        const int n = Base64decode(plain.data(), text.c_str());
        if (n <= 0 || static_cast<size_t>(n) < minSetSize) {
            return {};
        }
        out.insert(out.end(), kStartCode, kStartCode + sizeof(kStartCode));
        out.insert(out.end(), plain.begin(), plain.begin() + n);
    }
    return out;
}

std::vector<uint8_t> BytesFromHex(std::string_view hex) {
    if (hex.size() % 2 != 0) {
        return {};
    }
    std::vector<uint8_t> out(hex.size() / 2);
    for (size_t i = 0; i < out.size(); ++i) {
        const int high = standard::HexDigitValue(hex[2 * i]);
        const int low = standard::HexDigitValue(hex[2 * i + 1]);
        if (high < 0 || low < 0) {
            return {};
        }
        out[i] = static_cast<uint8_t>(high * 16 + low);
    }
    return out;
}

}  // namespace playersdk
