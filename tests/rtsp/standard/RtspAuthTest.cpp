#include "rtsp/standard/RtspAuth.h"

#include <gtest/gtest.h>

#include "rtsp/standard/Captures.h"

using namespace playersdk::standard;

namespace {
AuthChallenge OnlyChallenge(std::string_view header) {
    auto challenges = ParseWwwAuthenticate(header);
    EXPECT_EQ(challenges.size(), 1u) << header;
    return challenges.empty() ? AuthChallenge{} : challenges[0];
}
}  // namespace

TEST(StandardAuth, AnswersTheWorkedExampleOfDigestWithQopAuth) {
    AuthChallenge c = OnlyChallenge(
        "Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\", "
        "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
        "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"");
    EXPECT_EQ(
        AuthorizationValue(c, "Mufasa", "Circle Of Life",
                           {"GET", "/dir/index.html", 1, "0a4f113b"}),
        "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", "
        "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", uri=\"/dir/index.html\", "
        "response=\"6629fae49393a05397450978507c4ef1\", "
        "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\", qop=auth, nc=00000001, cnonce=\"0a4f113b\"");
}

TEST(StandardAuth, AnswersTheWorkedExamplesOfMd5AndSha256) {
    const std::string rest =
        " nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", "
        "opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\"";
    const std::pair<std::string, std::string> cases[] = {
        {"MD5", "8ca523f5e9506fed4657c9700eebdbec"},
        {"SHA-256", "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1"},
    };
    for (const auto& [algorithm, response] : cases) {
        AuthChallenge c = OnlyChallenge(
            "Digest realm=\"http-auth@example.org\", qop=\"auth, auth-int\", algorithm=" +
            algorithm + "," + rest);
        std::string value = AuthorizationValue(
            c, "Mufasa", "Circle of Life",
            {"GET", "/dir/index.html", 1, "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ"});
        EXPECT_NE(value.find("response=\"" + response + "\""), std::string::npos) << value;
        EXPECT_NE(value.find("algorithm=" + algorithm + ","), std::string::npos) << value;
    }
}

TEST(StandardAuth, AnswersTheCapturedGStreamerChallengeWithoutQop) {
    auto reply = playersdk::test::CapturedReply("gstreamer-describe-401.txt");
    ASSERT_EQ(reply.start.status, 401);
    AuthChallenge c = OnlyChallenge(*reply.Header("WWW-Authenticate"));
    EXPECT_EQ(c.realm, "GStreamer RTSP Server");
    EXPECT_FALSE(c.qopAuth);
    EXPECT_EQ(
        AuthorizationValue(c, "user", "secret", {"DESCRIBE", "rtsp://127.0.0.1/test", 1, "x"}),
        "Digest username=\"user\", realm=\"GStreamer RTSP Server\", nonce=\"e097ee38c9f96e2a\", "
        "uri=\"rtsp://127.0.0.1/test\", response=\"805bea7668f06a2e0dc586545c01a7cd\"");
}

TEST(StandardAuth, SessionVariantHashesTheNonceAndCnonceIntoTheKey) {
    AuthChallenge c = OnlyChallenge(
        "Digest realm=\"GStreamer RTSP Server\", nonce=\"e097ee38c9f96e2a\", algorithm=MD5-sess, "
        "qop=auth");
    std::string value = AuthorizationValue(c, "user", "secret",
                                           {"DESCRIBE", "rtsp://127.0.0.1/test", 2, "0a4f113b"});
    EXPECT_NE(value.find("response=\"09d40e343d89005b46d54e2426ae7da7\""), std::string::npos)
        << value;
    EXPECT_NE(value.find("nc=00000002"), std::string::npos) << value;
}

TEST(StandardAuth, BasicCarriesUserAndPasswordInBase64) {
    AuthChallenge c = OnlyChallenge("Basic realm=\"WallyWorld\"");
    EXPECT_EQ(c.scheme, AuthScheme::Basic);
    EXPECT_EQ(AuthorizationValue(c, "Aladdin", "open sesame", {}),
              "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
}

TEST(StandardAuth, ReadsEveryAnswerableChallengeOfAList) {
    auto challenges = ParseWwwAuthenticate(
        "Basic realm=\"a, b\", NTLM, Digest realm=\"c\", nonce=\"n\", algorithm=sha-256, "
        "qop=\"auth\", stale=TRUE, Digest realm=\"only-int\", nonce=\"m\", qop=\"auth-int\", "
        "Digest realm=\"unknown\", nonce=\"x\", algorithm=SHA-512-256, Digest realm=\"no-nonce\", "
        "Negotiate abc=, Digest realm=\"q\\\"uoted\", nonce=plain");
    ASSERT_EQ(challenges.size(), 3u);
    EXPECT_EQ(challenges[0].scheme, AuthScheme::Basic);
    EXPECT_EQ(challenges[0].realm, "a, b");
    EXPECT_EQ(challenges[1].algorithm, DigestAlgorithm::Sha256);
    EXPECT_TRUE(challenges[1].qopAuth);
    EXPECT_TRUE(challenges[1].stale);
    EXPECT_EQ(challenges[2].realm, "q\"uoted");
    EXPECT_EQ(challenges[2].nonce, "plain");
    EXPECT_FALSE(challenges[2].algorithmGiven);
}

TEST(StandardAuth, StrongestChallengeIsSha256DigestThenMd5DigestThenBasic) {
    auto pick = [](const char* header) {
        auto best = StrongestChallenge(ParseWwwAuthenticate(header));
        return best ? best->realm : std::string("none");
    };
    EXPECT_EQ(pick("Basic realm=\"b\", Digest realm=\"m\", nonce=1, "
                   "Digest realm=\"s\", nonce=1, algorithm=SHA-256"),
              "s");
    EXPECT_EQ(pick("Basic realm=\"b\", Digest realm=\"m\", nonce=1"), "m");
    EXPECT_EQ(pick("Basic realm=\"b\""), "b");
    EXPECT_EQ(pick("Bearer realm=\"x\""), "none");
}

TEST(StandardAuth, ClientNoncesAreFreshHexadecimal) {
    std::string a = MakeCnonce();
    EXPECT_EQ(a.size(), 32u);
    EXPECT_EQ(a.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_NE(a, MakeCnonce());
}
