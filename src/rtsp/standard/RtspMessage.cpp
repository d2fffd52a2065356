#include "rtsp/standard/RtspMessage.h"

#include "rtsp/standard/TextFields.h"

namespace playersdk::standard {
namespace {
constexpr std::string_view kVersionPrefix = "RTSP/";

// "1.0": digits, a dot, digits.
bool IsVersion(std::string_view v) {
    std::string_view major = NextPiece(v, '.');
    return ParseDecimal(major, 9).has_value() && ParseDecimal(v, 9).has_value();
}

std::string_view StripLineEnd(std::string_view line) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}
}  // namespace

std::optional<std::string_view> RtspMessage::Header(std::string_view name) const {
    for (const RtspHeader& h : headers) {
        if (EqualsIgnoreCase(h.name, name)) {
            return std::string_view(h.value);
        }
    }
    return std::nullopt;
}

std::vector<std::string_view> RtspMessage::AllHeaders(std::string_view name) const {
    std::vector<std::string_view> out;
    for (const RtspHeader& h : headers) {
        if (EqualsIgnoreCase(h.name, name)) {
            out.emplace_back(h.value);
        }
    }
    return out;
}

std::optional<RtspStartLine> ParseStartLine(std::string_view line) {
    line = StripLineEnd(line);
    RtspStartLine start;
    if (line.substr(0, kVersionPrefix.size()) == kVersionPrefix) {
        std::string_view rest = line.substr(kVersionPrefix.size());
        std::string_view version = NextPiece(rest, ' ');
        std::string_view code = NextPiece(rest, ' ');
        auto status = ParseDecimal(code, 999);
        if (!IsVersion(version) || code.size() != 3 || !status || *status < 100) {
            return std::nullopt;
        }
        start.isReply = true;
        start.status = static_cast<int>(*status);
        start.reason = std::string(TrimBlanks(rest));
        return start;
    }
    std::string_view rest = line;
    std::string_view method = NextPiece(rest, ' ');
    std::string_view uri = NextPiece(rest, ' ');
    if (method.empty() || uri.empty() || rest.substr(0, kVersionPrefix.size()) != kVersionPrefix ||
        !IsVersion(rest.substr(kVersionPrefix.size()))) {
        return std::nullopt;
    }
    for (char c : method) {
        if (!(c >= 'A' && c <= 'Z') && c != '_' && c != '-') {
            return std::nullopt;
        }
    }
    start.method = std::string(method);
    start.uri = std::string(uri);
    return start;
}

std::vector<RtspHeader> ParseHeaderLines(std::string_view lines) {
    std::vector<RtspHeader> headers;
    while (!lines.empty()) {
        std::string_view line = StripLineEnd(NextPiece(lines, '\n'));
        if (line.empty()) {
            continue;
        }
        if (line.front() == ' ' || line.front() == '\t') {
            if (!headers.empty()) {
                std::string& value = headers.back().value;
                value += value.empty() ? "" : " ";
                value += TrimBlanks(line);
            }
            continue;
        }
        size_t colon = line.find(':');
        std::string_view name = TrimBlanks(line.substr(0, colon));
        if (colon == std::string_view::npos || name.empty()) {
            continue;
        }
        headers.push_back({std::string(name), std::string(TrimBlanks(line.substr(colon + 1)))});
    }
    return headers;
}

}  // namespace playersdk::standard
