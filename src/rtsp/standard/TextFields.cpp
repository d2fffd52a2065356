#include "rtsp/standard/TextFields.h"

#include <cctype>

namespace playersdk::standard {
namespace {
char Lower(char c) {
    return static_cast<char>(tolower(static_cast<unsigned char>(c)));
}
bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
}  // namespace

std::string_view TrimBlanks(std::string_view s) {
    while (!s.empty() && IsBlank(s.front())) {
        s.remove_prefix(1);
    }
    while (!s.empty() && IsBlank(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && StartsWithIgnoreCase(a, b);
}

bool StartsWithIgnoreCase(std::string_view s, std::string_view prefix) {
    if (s.size() < prefix.size()) {
        return false;
    }
    for (size_t i = 0; i < prefix.size(); ++i) {
        if (Lower(s[i]) != Lower(prefix[i])) {
            return false;
        }
    }
    return true;
}

std::optional<uint64_t> ParseDecimal(std::string_view s, uint64_t maxValue) {
    if (s.empty()) {
        return std::nullopt;
    }
    uint64_t value = 0;
    for (char c : s) {
        if (!IsDigit(c)) {
            return std::nullopt;
        }
        value = value * 10 + static_cast<uint64_t>(c - '0');
        if (value > maxValue) {  // stops before the product could overflow
            return std::nullopt;
        }
    }
    return value;
}

int HexDigitValue(char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    char lower = Lower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<uint32_t> ParseHex32(std::string_view s) {
    if (s.empty() || s.size() > 8) {
        return std::nullopt;
    }
    uint32_t value = 0;
    for (char c : s) {
        int digit = HexDigitValue(c);
        if (digit < 0) {
            return std::nullopt;
        }
        value = (value << 4) | static_cast<uint32_t>(digit);
    }
    return value;
}

std::optional<double> ParseSeconds(std::string_view s) {
    std::string_view whole = NextPiece(s, '.');
    // Ten digits of seconds are three centuries: enough for any recording.
    auto seconds = ParseDecimal(whole, 9999999999ULL);
    if (!seconds) {
        return std::nullopt;
    }
    double value = static_cast<double>(*seconds);
    double scale = 0.1;
    for (char c : s.substr(0, 9)) {
        if (!IsDigit(c)) {
            return std::nullopt;
        }
        value += (c - '0') * scale;
        scale /= 10;
    }
    return value;
}

std::string_view NextPiece(std::string_view& rest, char sep) {
    size_t at = rest.find(sep);
    std::string_view piece = rest.substr(0, at);
    rest = at == std::string_view::npos ? std::string_view() : rest.substr(at + 1);
    return piece;
}

KeyValue SplitKeyValue(std::string_view item) {
    std::string_view key = NextPiece(item, '=');
    return {TrimBlanks(key), TrimBlanks(item)};
}

std::optional<NumberPair> ParseNumberPair(std::string_view s, uint32_t maxValue) {
    std::string_view first = NextPiece(s, '-');
    auto a = ParseDecimal(first, maxValue);
    if (!a) {
        return std::nullopt;
    }
    NumberPair pair{static_cast<uint32_t>(*a), std::nullopt};
    if (!s.empty()) {
        auto b = ParseDecimal(s, maxValue);
        if (!b) {
            return std::nullopt;
        }
        pair.second = static_cast<uint32_t>(*b);
    }
    return pair;
}

}  // namespace playersdk::standard
