#include "rtsp/HeaderScan.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace playersdk {
namespace {
bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// The number text at p, copied (bounded and terminated) so atoi/atof cannot read past end.
// Longer than any number a server sends; a longer run of digits is cut.
struct NumberText {
    char text[64] = {};
    NumberText(const char* p, const char* end) {
        size_t n = 0;
        while (p + n < end && n < sizeof(text) - 1 && p[n] != '\0') {
            text[n] = p[n];
            ++n;
        }
    }
};
}  // namespace

char* FindText(char* begin, const char* end, std::string_view needle) {
    if (begin == nullptr || begin >= end || needle.empty()) {
        return nullptr;
    }
    const size_t textLen = strnlen(begin, static_cast<size_t>(end - begin));
    std::string_view text(begin, textLen);
    size_t at = text.find(needle);
    return at == std::string_view::npos ? nullptr : begin + at;
}

bool KeyAtIgnoreCase(const char* p, const char* end, std::string_view key) {
    if (p == nullptr || p >= end || static_cast<size_t>(end - p) < key.size()) {
        return false;
    }
    for (size_t i = 0; i < key.size(); ++i) {
        if (tolower(static_cast<unsigned char>(p[i])) !=
            tolower(static_cast<unsigned char>(key[i]))) {
            return false;
        }
    }
    return true;
}

bool ScanKeyValue(const char* p, const char* end, std::string_view key, std::string_view stops,
                  char* dst, size_t dstSize) {
    if (dst == nullptr || dstSize == 0 || !KeyAtIgnoreCase(p, end, key)) {
        return false;
    }
    size_t n = 0;
    for (const char* c = p + key.size(); c < end && *c != '\0'; ++c) {
        if (stops.find(*c) != std::string_view::npos) {
            break;
        }
        if (!IsBlank(*c) && n < dstSize - 1) {
            dst[n++] = *c;
        }
    }
    dst[n] = '\0';
    return true;
}

int ContentLengthOf(std::string_view header) {
    static constexpr std::string_view kKeys[] = {"Content-Length:", "Content-length:"};
    header = header.substr(0, strnlen(header.data(), header.size()));
    for (std::string_view key : kKeys) {
        const size_t at = header.find(key);
        if (at != std::string_view::npos) {
            return BoundedAtoi(header.data() + at + key.size(), header.data() + header.size());
        }
    }
    return -1;
}

int BoundedAtoi(const char* p, const char* end) {
    return atoi(NumberText(p, end).text);
}

double BoundedAtof(const char* p, const char* end) {
    return atof(NumberText(p, end).text);
}

}  // namespace playersdk
