#include "rtsp/standard/RtspUrl.h"

#include "rtsp/standard/TextFields.h"

namespace playersdk::standard {
namespace {
constexpr std::string_view kScheme = "rtsp://";
constexpr uint16_t kDefaultPort = 554;

std::optional<std::string> PercentDecode(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '%') {
            out.push_back(s[i]);
            continue;
        }
        if (i + 2 >= s.size()) {
            return std::nullopt;
        }
        int hi = HexDigitValue(s[i + 1]);
        int lo = HexDigitValue(s[i + 2]);
        const int value = hi * 16 + lo;
        // A decoded line end would end the Authorization header early: control bytes are
        // refused.
        if (hi < 0 || lo < 0 || value < 0x20 || value == 0x7f) {
            return std::nullopt;
        }
        out.push_back(static_cast<char>(value));
        i += 2;
    }
    return out;
}

bool IsHostChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

bool IsIpv6Char(char c) {
    return HexDigitValue(c) >= 0 || c == ':' || c == '.';
}

// host[:port] or [v6][:port]; fills host and port.
bool ParseHostPort(std::string_view hostPort, RtspUrl& url) {
    std::string_view portText;
    bool hasPort = false;
    if (!hostPort.empty() && hostPort.front() == '[') {
        size_t close = hostPort.find(']');
        if (close == std::string_view::npos || close < 2) {
            return false;
        }
        std::string_view literal = hostPort.substr(1, close - 1);
        for (char c : literal) {
            if (!IsIpv6Char(c)) {
                return false;
            }
        }
        url.host = std::string(literal);
        std::string_view after = hostPort.substr(close + 1);
        if (!after.empty()) {
            if (after.front() != ':') {
                return false;
            }
            portText = after.substr(1);
            hasPort = true;
        }
    } else {
        size_t colon = hostPort.find(':');
        std::string_view name = hostPort.substr(0, colon);
        if (name.empty()) {
            return false;
        }
        for (char c : name) {
            if (!IsHostChar(c)) {
                return false;
            }
        }
        url.host = std::string(name);
        if (colon != std::string_view::npos) {
            portText = hostPort.substr(colon + 1);
            hasPort = true;
        }
    }
    if (hasPort) {
        auto port = ParseDecimal(portText, 65535);
        if (!port || *port == 0) {
            return false;
        }
        url.port = static_cast<uint16_t>(*port);
    }
    return true;
}

// Takes "user[:password]@" off the front of authority when it is there.
bool ParseUserInfo(std::string_view& authority, RtspUrl& url) {
    const size_t at = authority.rfind('@');
    if (at == std::string_view::npos) {
        return true;
    }
    std::string_view password = authority.substr(0, at);
    std::string_view user = NextPiece(password, ':');
    auto decodedUser = PercentDecode(user);
    auto decodedPassword = PercentDecode(password);
    if (!decodedUser || !decodedPassword) {
        return false;
    }
    url.user = std::move(*decodedUser);
    url.password = std::move(*decodedPassword);
    url.hasCredentials = true;
    authority.remove_prefix(at + 1);
    return true;
}

bool HasScheme(std::string_view s) {
    size_t colon = s.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        return false;
    }
    for (char c : s.substr(0, colon)) {
        bool alpha = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!alpha && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.') {
            return false;
        }
    }
    return !(s[0] >= '0' && s[0] <= '9');
}
}  // namespace

std::optional<RtspUrl> ParseRtspUrl(std::string_view text) {
    if (!StartsWithIgnoreCase(text, kScheme)) {
        return std::nullopt;
    }
    for (char c : text) {
        if (static_cast<unsigned char>(c) <= ' ' || c == 0x7f) {
            return std::nullopt;  // no blanks or control bytes anywhere in a request URL
        }
    }
    std::string_view rest = text.substr(kScheme.size());
    const size_t pathAt = rest.find_first_of("/?");
    std::string_view authority = rest.substr(0, pathAt);
    RtspUrl url;
    if (!ParseUserInfo(authority, url) || !ParseHostPort(authority, url)) {
        return std::nullopt;
    }
    std::string_view path = pathAt == std::string_view::npos ? "/" : rest.substr(pathAt);
    url.path = path.front() == '?' ? "/" + std::string(path) : std::string(path);
    return url;
}

std::string RtspUrl::RequestUrl() const {
    std::string out(kScheme);
    bool v6 = host.find(':') != std::string::npos;
    out += v6 ? "[" + host + "]" : host;
    if (port != kDefaultPort) {
        out += ":" + std::to_string(port);
    }
    return out + path;
}

std::string_view ControlBase(std::string_view contentBase, std::string_view contentLocation,
                             std::string_view requestUrl) {
    if (!TrimBlanks(contentBase).empty()) {
        return TrimBlanks(contentBase);
    }
    if (!TrimBlanks(contentLocation).empty()) {
        return TrimBlanks(contentLocation);
    }
    return requestUrl;
}

std::string ResolveControl(std::string_view base, std::string_view control) {
    control = TrimBlanks(control);
    if (control.empty() || control == "*") {
        return std::string(base);
    }
    if (HasScheme(control)) {
        return std::string(control);
    }
    if (control.front() == '/') {
        size_t authorityAt = base.find("://");
        size_t pathAt = authorityAt == std::string_view::npos
                            ? std::string_view::npos
                            : base.find_first_of("/?", authorityAt + 3);
        return std::string(base.substr(0, pathAt)) + std::string(control);
    }
    std::string out(base);
    if (out.empty() || out.back() != '/') {
        out += '/';
    }
    return out + std::string(control);
}

}  // namespace playersdk::standard
