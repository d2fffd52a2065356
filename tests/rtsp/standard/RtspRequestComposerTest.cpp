#include "rtsp/standard/RtspRequestComposer.h"

#include <gtest/gtest.h>

using namespace playersdk::standard;

TEST(StandardRequestComposer, ComposesEachRequestWithItsOwnHeadersAndTheNextCSeq) {
    CRtspRequestComposer composer;
    const std::string tail = "User-Agent: PlayerSDK/2.6\r\n\r\n";
    const std::string u = "rtsp://127.0.0.1:8554/test";
    const std::pair<std::string, std::string> cases[] = {
        {composer.Options(u), "OPTIONS " + u + " RTSP/1.0\r\nCSeq: 1\r\n" + tail},
        {composer.Describe(u),
         "DESCRIBE " + u + " RTSP/1.0\r\nCSeq: 2\r\nAccept: application/sdp\r\n" + tail},
        {composer.SetupInterleaved(u + "/stream=0", 0),
         "SETUP " + u +
             "/stream=0 RTSP/1.0\r\nCSeq: 3\r\n"
             "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n" +
             tail},
        {composer.SetupUdp(u + "/stream=0", 50000),
         "SETUP " + u +
             "/stream=0 RTSP/1.0\r\nCSeq: 4\r\n"
             "Transport: RTP/AVP;unicast;client_port=50000-50001\r\n" +
             tail},
        {composer.Play(u, true),
         "PLAY " + u + " RTSP/1.0\r\nCSeq: 5\r\nRange: npt=0.000-\r\n" + tail},
        {composer.Play(u, false), "PLAY " + u + " RTSP/1.0\r\nCSeq: 6\r\n" + tail},
        {composer.Pause(u), "PAUSE " + u + " RTSP/1.0\r\nCSeq: 7\r\n" + tail},
        {composer.GetParameter(u), "GET_PARAMETER " + u + " RTSP/1.0\r\nCSeq: 8\r\n" + tail},
        {composer.Teardown(u), "TEARDOWN " + u + " RTSP/1.0\r\nCSeq: 9\r\n" + tail},
    };
    for (const auto& [request, expected] : cases) {
        EXPECT_EQ(request, expected);
    }
    EXPECT_EQ(composer.LastCSeq(), 9u);
}

TEST(StandardRequestComposer, CarriesTheWholeSessionIdOnceItIsKnown) {
    CRtspRequestComposer composer;
    composer.SetSessionId("7MlZW18vM_M-3T+E");
    EXPECT_EQ(composer.SetupInterleaved("rtsp://h/t", 2),
              "SETUP rtsp://h/t RTSP/1.0\r\nCSeq: 1\r\nTransport: RTP/AVP/TCP;unicast;"
              "interleaved=2-3\r\nSession: 7MlZW18vM_M-3T+E\r\nUser-Agent: PlayerSDK/2.6\r\n\r\n");
}

TEST(StandardRequestComposer, AnswersTheChallengeOnEveryRequestWithACountedNonce) {
    CRtspRequestComposer composer;
    composer.SetCredentials("user", "secret");
    composer.SetChallenge(
        ParseWwwAuthenticate("Digest realm=\"r\", nonce=\"n\", qop=\"auth\"").at(0), "c0ffee");
    std::string first = composer.Describe("rtsp://h/t");
    std::string second = composer.Options("rtsp://h/t");
    EXPECT_NE(first.find("\r\nAuthorization: Digest username=\"user\", realm=\"r\", nonce=\"n\", "
                         "uri=\"rtsp://h/t\", response=\""),
              std::string::npos)
        << first;
    EXPECT_NE(first.find("nc=00000001, cnonce=\"c0ffee\"\r\n"), std::string::npos) << first;
    EXPECT_NE(second.find("nc=00000002"), std::string::npos) << second;
    composer.SetChallenge(ParseWwwAuthenticate("Basic realm=\"r\"").at(0));
    EXPECT_NE(
        composer.Play("rtsp://h/t", false).find("\r\nAuthorization: Basic dXNlcjpzZWNyZXQ=\r\n"),
        std::string::npos);
}
