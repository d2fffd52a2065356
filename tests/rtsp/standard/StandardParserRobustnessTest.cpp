// Every parser of the standard dialect against the captured replies cut at every length and
// against seeded random mixes of protocol pieces and raw bytes. Each input sits in a heap
// block of exactly its size, so the address sanitizer catches any read past the end.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "rtsp/standard/Captures.h"
#include "rtsp/standard/RtspAuth.h"
#include "rtsp/standard/RtspUrl.h"
#include "rtsp/standard/SessionDescription.h"

using namespace playersdk::standard;

namespace {
const char* const kCaptures[] = {
    "gstreamer-describe.txt", "gstreamer-describe-401.txt", "gstreamer-setup-tcp.txt",
    "gstreamer-play-tcp.txt", "vlc-describe.txt",           "vlc-setup-udp.txt",
    "vlc-play-udp.txt",       "perl-describe.txt",          "perl-options.txt",
};

const std::vector<std::string> kPieces = {"rtsp://",
                                          "u:p@",
                                          "[::1]",
                                          ":8554",
                                          "/",
                                          "?",
                                          "%",
                                          "%4",
                                          "@",
                                          ":",
                                          "RTSP/1.0 ",
                                          "200 ",
                                          "\r\n",
                                          "\n",
                                          "\r\n\r\n",
                                          " ",
                                          "\t",
                                          ";",
                                          ",",
                                          "=",
                                          "-",
                                          "\"",
                                          "\\",
                                          "$",
                                          "Content-Length: ",
                                          "2147483648",
                                          "65535",
                                          "m=video 0 RTP/AVP 96",
                                          "a=rtpmap:96 H264/90000",
                                          "a=fmtp:96 ",
                                          "sprop-parameter-sets=",
                                          "a=control:",
                                          "a=range:npt=",
                                          "1:02:03.5",
                                          "now",
                                          "Digest ",
                                          "Basic ",
                                          "realm=",
                                          "nonce=",
                                          "qop=",
                                          "algorithm=SHA-256-sess",
                                          "interleaved=",
                                          "ssrc=",
                                          "client_port=",
                                          "url=",
                                          "seq=",
                                          "rtptime=",
                                          "timeout=",
                                          std::string(1, '\0'),
                                          std::string(300, '9')};

// Runs every text parser over the bytes and checks what each promises about its result.
void ParseEverything(const char* p, size_t n) {
    std::string_view text(p, n);
    if (auto url = ParseRtspUrl(text)) {
        EXPECT_NE(url->port, 0);
        EXPECT_FALSE(url->host.empty());
        EXPECT_EQ(ParseRtspUrl(url->RequestUrl())->host, url->host);
    }
    ResolveControl("rtsp://h/x", text);
    ResolveControl(text, "t");
    if (auto start = ParseStartLine(text); start && start->isReply) {
        EXPECT_GE(start->status, 100);
    }
    ParseHeaderLines(text);
    for (const AuthChallenge& c : ParseWwwAuthenticate(text)) {
        EXPECT_FALSE(AuthorizationValue(c, "u", "p", {"DESCRIBE", "rtsp://h/", 1, "c"}).empty());
    }
    if (auto track = ChooseVideoTrack(ParseSessionDescription(text), true)) {
        EXPECT_LE(track->payloadType, 127);
    }
    if (auto t = ParseTransport(text); t && t->interleaved) {
        EXPECT_LE(t->interleaved->first, 255u);
    }
    if (auto s = ParseSession(text)) {
        EXPECT_GT(s->timeoutSeconds, 0u);
    }
    ParseRtpInfo(text);
    if (auto r = ParseRange(text)) {
        EXPECT_GE(r->start, 0);
    }
    ParsePublic(text);

    CRtspMessageReader reader;
    reader.Feed(p, n);
    size_t delivered = 0;
    for (ReadEvent e = reader.Next(); e.kind != ReadEvent::Kind::NeedMore; e = reader.Next()) {
        if (e.kind == ReadEvent::Kind::Error) {
            break;
        }
        delivered += e.kind == ReadEvent::Kind::Frame ? e.frame.size : e.message.body.size();
    }
    EXPECT_LE(delivered, n);
}

void ParseInExactBlock(const std::string& bytes) {
    std::unique_ptr<char[]> block(new char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), block.get());
    ParseEverything(block.get(), bytes.size());
}
}  // namespace

TEST(StandardParserRobustness, CapturedRepliesCutAtEveryLengthAreReadSafely) {
    for (const char* name : kCaptures) {
        const std::string bytes = playersdk::test::Capture(name);
        ASSERT_FALSE(bytes.empty()) << name;
        for (size_t n = 0; n <= bytes.size(); ++n) {
            ParseInExactBlock(bytes.substr(0, n));
            ParseInExactBlock(bytes.substr(n));
        }
    }
}

TEST(StandardParserRobustness, RandomMixesOfPiecesAndBytesAreReadSafely) {
    std::mt19937 random(20261123);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes;
        const int parts = static_cast<int>(random() % 24);
        for (int i = 0; i < parts; ++i) {
            if (random() % 3 == 0) {
                bytes.push_back(static_cast<char>(random()));
            } else {
                bytes += kPieces[random() % kPieces.size()];
            }
        }
        ParseInExactBlock(bytes);
    }
}
