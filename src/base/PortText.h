// The port of a URL ("rtsp://host:8554/path"), read as atoi reads it (leading blanks and a sign
// skipped, digits up to the first other character), but only a port a socket can use is taken.
#pragma once

#include <cctype>
#include <string_view>

namespace playersdk {

// True with 'port' set for 1 to 65535; false for no digits, 0, a negative value or one above
// 65535 (which a 16-bit port field would silently wrap to another port).
inline bool ParsePortText(std::string_view text, int& port) {
    size_t i = 0;
    while (i < text.size() && isspace(static_cast<unsigned char>(text[i]))) {
        ++i;
    }
    const bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        ++i;
    }
    long value = 0;
    size_t digits = 0;
    for (; i < text.size() && isdigit(static_cast<unsigned char>(text[i])); ++i, ++digits) {
        if (value <= 65535) {  // stop growing once out of range: no overflow
            value = value * 10 + (text[i] - '0');
        }
    }
    if (digits == 0 || negative || value < 1 || value > 65535) {
        return false;
    }
    port = static_cast<int>(value);
    return true;
}

}  // namespace playersdk
