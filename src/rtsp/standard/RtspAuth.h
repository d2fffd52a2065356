// WWW-Authenticate challenges and the Authorization header that answers them: Basic, and
// Digest with MD5 or SHA-256 (plain or -sess), with qop=auth or without qop.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace playersdk::standard {

enum class AuthScheme { Basic, Digest };
enum class DigestAlgorithm { Md5, Md5Sess, Sha256, Sha256Sess };

struct AuthChallenge {
    AuthScheme scheme = AuthScheme::Basic;
    std::string realm;
    std::string nonce;
    std::string opaque;
    DigestAlgorithm algorithm = DigestAlgorithm::Md5;
    bool algorithmGiven = false;  // echoed in the answer only when the server named one
    bool qopAuth = false;         // the server offered qop=auth
    bool stale = false;
};

// Every challenge of one header value ("Digest realm=..., nonce=..., Basic realm=..."). A
// challenge of another scheme, with an unknown algorithm, or offering only qop=auth-int is
// left out; a Digest challenge without a nonce too.
std::vector<AuthChallenge> ParseWwwAuthenticate(std::string_view value);

// The challenge to answer: Digest SHA-256 before Digest MD5 before Basic; nothing when empty.
std::optional<AuthChallenge> StrongestChallenge(const std::vector<AuthChallenge>& challenges);

struct DigestRequest {
    std::string_view method;  // "DESCRIBE"
    std::string_view uri;     // the request URL
    uint32_t nonceCount = 1;  // how often this nonce has been used, this time included
    std::string_view cnonce;  // the client's nonce (used with qop=auth and -sess)
};

// The value of the Authorization header (without the header name).
std::string AuthorizationValue(const AuthChallenge& challenge, std::string_view user,
                               std::string_view password, const DigestRequest& request);

// A fresh client nonce: 16 random bytes as 32 hexadecimal digits.
std::string MakeCnonce();

}  // namespace playersdk::standard
