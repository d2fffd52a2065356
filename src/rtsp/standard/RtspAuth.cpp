#include "rtsp/standard/RtspAuth.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <cstdio>

#include "rtsp/standard/TextFields.h"

namespace playersdk::standard {
namespace {

// The tokens of a challenge list: a scheme word, or a name=value parameter (value quoted
// or not), each ending at a comma or a blank.
class ChallengeTokens {
public:
    explicit ChallengeTokens(std::string_view text) : m_rest(text) {}

    struct Token {
        std::string_view name;
        std::string value;
        bool isParameter = false;
    };

    std::optional<Token> Next() {
        SkipSeparators();
        if (m_rest.empty()) {
            return std::nullopt;
        }
        Token token;
        size_t n = 0;
        while (n < m_rest.size() && m_rest[n] != '=' && m_rest[n] != ',' && m_rest[n] != ' ' &&
               m_rest[n] != '\t') {
            ++n;
        }
        token.name = m_rest.substr(0, n);
        m_rest.remove_prefix(n);
        std::string_view afterBlanks = TrimBlanks(m_rest);
        if (afterBlanks.empty() || afterBlanks.front() != '=') {
            return token;  // a scheme word
        }
        m_rest = TrimBlanks(afterBlanks.substr(1));
        token.isParameter = true;
        token.value = !m_rest.empty() && m_rest.front() == '"' ? Quoted() : Plain();
        return token;
    }

private:
    void SkipSeparators() {
        while (!m_rest.empty() &&
               (m_rest.front() == ',' || m_rest.front() == ' ' || m_rest.front() == '\t')) {
            m_rest.remove_prefix(1);
        }
    }
    std::string Quoted() {
        std::string value;
        size_t i = 1;
        for (; i < m_rest.size() && m_rest[i] != '"'; ++i) {
            if (m_rest[i] == '\\' && i + 1 < m_rest.size()) {
                ++i;
            }
            value.push_back(m_rest[i]);
        }
        m_rest.remove_prefix(i < m_rest.size() ? i + 1 : m_rest.size());
        return value;
    }
    std::string Plain() {
        size_t n = m_rest.find(',');
        std::string value(TrimBlanks(m_rest.substr(0, n)));
        m_rest.remove_prefix(n == std::string_view::npos ? m_rest.size() : n);
        return value;
    }
    std::string_view m_rest;
};

constexpr std::array<std::pair<std::string_view, DigestAlgorithm>, 4> kAlgorithmNames = {{
    {"MD5", DigestAlgorithm::Md5},
    {"MD5-sess", DigestAlgorithm::Md5Sess},
    {"SHA-256", DigestAlgorithm::Sha256},
    {"SHA-256-sess", DigestAlgorithm::Sha256Sess},
}};

std::optional<DigestAlgorithm> AlgorithmNamed(std::string_view name) {
    for (const auto& [text, algorithm] : kAlgorithmNames) {
        if (EqualsIgnoreCase(name, text)) {
            return algorithm;
        }
    }
    return std::nullopt;
}

std::string_view AlgorithmName(DigestAlgorithm algorithm) {
    for (const auto& [text, named] : kAlgorithmNames) {
        if (named == algorithm) {
            return text;
        }
    }
    return "MD5";
}

bool IsSha256(DigestAlgorithm a) {
    return a == DigestAlgorithm::Sha256 || a == DigestAlgorithm::Sha256Sess;
}

bool IsSess(DigestAlgorithm a) {
    return a == DigestAlgorithm::Md5Sess || a == DigestAlgorithm::Sha256Sess;
}

// A challenge being read, and what decides whether it can be answered.
struct Pending {
    AuthChallenge challenge;
    bool usable = true;
    bool qopOffered = false;
};

void ApplyParameter(Pending& p, std::string_view name, const std::string& value) {
    if (EqualsIgnoreCase(name, "realm")) {
        p.challenge.realm = value;
    } else if (EqualsIgnoreCase(name, "nonce")) {
        p.challenge.nonce = value;
    } else if (EqualsIgnoreCase(name, "opaque")) {
        p.challenge.opaque = value;
    } else if (EqualsIgnoreCase(name, "stale")) {
        p.challenge.stale = EqualsIgnoreCase(value, "true");
    } else if (EqualsIgnoreCase(name, "algorithm")) {
        auto algorithm = AlgorithmNamed(value);
        p.usable = p.usable && algorithm.has_value();
        p.challenge.algorithm = algorithm.value_or(DigestAlgorithm::Md5);
        p.challenge.algorithmGiven = true;
    } else if (EqualsIgnoreCase(name, "qop")) {
        p.qopOffered = true;
        std::string_view rest = value;
        while (!rest.empty()) {
            if (EqualsIgnoreCase(TrimBlanks(NextPiece(rest, ',')), "auth")) {
                p.challenge.qopAuth = true;
            }
        }
    }
}

void Finish(std::optional<Pending>& p, std::vector<AuthChallenge>& out) {
    if (!p) {
        return;
    }
    bool digestReady = p->challenge.scheme != AuthScheme::Digest ||
                       (!p->challenge.nonce.empty() && (!p->qopOffered || p->challenge.qopAuth));
    if (p->usable && digestReady) {
        out.push_back(std::move(p->challenge));
    }
    p.reset();
}

std::string Hex(const unsigned char* bytes, size_t n) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(n * 2);
    for (size_t i = 0; i < n; ++i) {
        out.push_back(kDigits[bytes[i] >> 4]);
        out.push_back(kDigits[bytes[i] & 15]);
    }
    return out;
}

std::string HashHex(DigestAlgorithm algorithm, std::string_view text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> md{};
    unsigned int mdLen = 0;
    const EVP_MD* type = IsSha256(algorithm) ? EVP_sha256() : EVP_md5();
    if (EVP_Digest(text.data(), text.size(), md.data(), &mdLen, type, nullptr) != 1) {
        return {};
    }
    return Hex(md.data(), mdLen);
}

std::string Join(std::initializer_list<std::string_view> parts) {
    std::string out;
    for (std::string_view part : parts) {
        out += part;
        out += ':';
    }
    out.pop_back();  // the colon after the last part
    return out;
}

std::string BasicValue(std::string_view user, std::string_view password) {
    std::string plain = std::string(user) + ":" + std::string(password);
    std::string encoded(4 * ((plain.size() + 2) / 3) + 1, '\0');
    int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                            reinterpret_cast<const unsigned char*>(plain.data()),
                            static_cast<int>(plain.size()));
    encoded.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return "Basic " + encoded;
}

std::string QuotedParameter(std::string_view name, std::string_view value) {
    std::string out = std::string(name) + "=\"";
    for (char c : value) {
        if (c == '"' || c == '\\') {
            out.push_back('\\');
        }
        out.push_back(c);
    }
    return out + "\"";
}
}  // namespace

std::vector<AuthChallenge> ParseWwwAuthenticate(std::string_view value) {
    std::vector<AuthChallenge> out;
    std::optional<Pending> pending;
    ChallengeTokens tokens(value);
    while (auto token = tokens.Next()) {
        if (token->isParameter) {
            if (pending) {
                ApplyParameter(*pending, token->name, token->value);
            }
            continue;
        }
        Finish(pending, out);
        // A challenge of a scheme this library does not answer is passed over, parameters too.
        if (EqualsIgnoreCase(token->name, "Basic") || EqualsIgnoreCase(token->name, "Digest")) {
            pending.emplace();
            pending->challenge.scheme =
                EqualsIgnoreCase(token->name, "Digest") ? AuthScheme::Digest : AuthScheme::Basic;
        }
    }
    Finish(pending, out);
    return out;
}

std::optional<AuthChallenge> StrongestChallenge(const std::vector<AuthChallenge>& challenges) {
    auto rank = [](const AuthChallenge& c) {
        return c.scheme == AuthScheme::Basic ? 0 : IsSha256(c.algorithm) ? 2 : 1;
    };
    const AuthChallenge* best = nullptr;
    for (const AuthChallenge& c : challenges) {
        if (best == nullptr || rank(c) > rank(*best)) {
            best = &c;
        }
    }
    return best ? std::optional<AuthChallenge>(*best) : std::nullopt;
}

std::string AuthorizationValue(const AuthChallenge& challenge, std::string_view user,
                               std::string_view password, const DigestRequest& request) {
    if (challenge.scheme == AuthScheme::Basic) {
        return BasicValue(user, password);
    }
    const DigestAlgorithm algorithm = challenge.algorithm;
    std::string ha1 = HashHex(algorithm, Join({user, challenge.realm, password}));
    if (IsSess(algorithm)) {
        ha1 = HashHex(algorithm, Join({ha1, challenge.nonce, request.cnonce}));
    }
    const std::string ha2 = HashHex(algorithm, Join({request.method, request.uri}));
    char nc[9];
    snprintf(nc, sizeof(nc), "%08x", request.nonceCount);
    const std::string response =
        challenge.qopAuth
            ? HashHex(algorithm, Join({ha1, challenge.nonce, nc, request.cnonce, "auth", ha2}))
            : HashHex(algorithm, Join({ha1, challenge.nonce, ha2}));

    std::string out = "Digest " + QuotedParameter("username", user) + ", " +
                      QuotedParameter("realm", challenge.realm) + ", " +
                      QuotedParameter("nonce", challenge.nonce) + ", " +
                      QuotedParameter("uri", request.uri) + ", " +
                      QuotedParameter("response", response);
    if (challenge.algorithmGiven) {
        out += ", algorithm=" + std::string(AlgorithmName(algorithm));
    }
    if (!challenge.opaque.empty()) {
        out += ", " + QuotedParameter("opaque", challenge.opaque);
    }
    if (challenge.qopAuth) {
        out +=
            ", qop=auth, nc=" + std::string(nc) + ", " + QuotedParameter("cnonce", request.cnonce);
    }
    return out;
}

std::string MakeCnonce() {
    std::array<unsigned char, 16> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        return {};
    }
    return Hex(bytes.data(), bytes.size());
}

}  // namespace playersdk::standard
