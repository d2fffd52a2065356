#include "rtspserver/RtspStreamParser.h"

#include <gtest/gtest.h>

#include <random>

using namespace playersdk::rtspserver;
using namespace std::string_literals;

namespace {
// A PLAY as the client writes it: a NUL after the movie name, NUL gaps after Scale and Speed,
// and "Range: npt=now-" without a line end.
const std::string kPlay =
    "PLAY rtsp://127.0.0.1:8554/movie\0 RTSP/1.0\r\nCSeq: 4\r\n"
    "Scale: 2.000000\r\n\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
    "Speed: 1.000000\r\n\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
    "Range: npt=now-x-prebuffer: maxtime=0.000000\r\nSession: 12345678\r\n"
    "User-Agent: zuplayer\r\n\r\n"s;

RtspStreamParser::Output FeedInPieces(const std::string& bytes, size_t piece) {
    RtspStreamParser parser(3);
    RtspStreamParser::Output out;
    for (size_t i = 0; i < bytes.size(); i += piece) {
        parser.Feed(bytes.data() + i, std::min(piece, bytes.size() - i), out);
    }
    return out;
}
}  // namespace

TEST(RtspStreamParser, PlayWithNulBytesAndRunOnRangeKeepsItsBytesAndHeaders) {
    RtspStreamParser::Output out = FeedInPieces(kPlay, 7);
    ASSERT_EQ(out.messages.size(), 1u);
    const ReceivedMessage& m = out.messages[0];
    EXPECT_EQ(m.raw, kPlay);
    EXPECT_EQ(m.connection, 3u);
    EXPECT_EQ(m.method, "PLAY");
    EXPECT_EQ(m.url, "rtsp://127.0.0.1:8554/movie");
    EXPECT_EQ(m.cseq, 4);
    EXPECT_EQ(m.header("scale"), "2.000000");
    EXPECT_EQ(m.header("Speed"), "1.000000");
    EXPECT_EQ(m.header("Range"), "npt=now-");
    EXPECT_EQ(m.header("x-prebuffer"), "maxtime=0.000000");
    EXPECT_EQ(m.header("Session"), "12345678");
    EXPECT_FALSE(m.hasHeader("Transport"));
}

TEST(RtspStreamParser, SeparatesRequestsClientRepliesPaddingAndInterleavedFrames) {
    const std::string optionsReply = "RTSP/1.0 501 \xCE\xB4\xCA\xB5\xCF\xD6\r\n\r\n"s +
                                     std::string(22, '\0');  // 45 bytes in all
    const std::string frame = "$\x01\x00\x03\xAA\xBB\xCC"s;
    const std::string ok = "RTSP/1.0 200 ok\r\nCSeq: 5\r\nSession: 1\r\n\r\n";
    const std::string teardown = "TEARDOWN rtsp://h/movie RTSP/1.0\r\nCSeq: 6\r\n\r\n";
    RtspStreamParser::Output out = FeedInPieces(optionsReply + frame + ok + teardown, 1000);

    ASSERT_EQ(out.messages.size(), 3u);
    EXPECT_EQ(out.messages[0].raw.size(), 45u);
    EXPECT_TRUE(out.messages[0].isReply());
    EXPECT_EQ(out.messages[1].raw, ok);
    EXPECT_EQ(out.messages[1].cseq, 5);
    EXPECT_EQ(out.messages[2].method, "TEARDOWN");
    ASSERT_EQ(out.frames.size(), 1u);
    EXPECT_EQ(out.frames[0].channel, 1);
    EXPECT_EQ(out.frames[0].payload, (Bytes{0xAA, 0xBB, 0xCC}));
}

TEST(RtspStreamParser, ArbitraryBytesNeverCrashAndEndlessTextIsCut) {
    std::mt19937 random(7);
    std::string noise(300000, '\0');
    for (char& c : noise) {
        c = static_cast<char>(random() % 5 == 0 ? '\r' : random());
    }
    RtspStreamParser parser;
    RtspStreamParser::Output out;
    for (size_t i = 0; i < noise.size(); i += 977) {
        parser.Feed(noise.data() + i, std::min<size_t>(977, noise.size() - i), out);
        EXPECT_LT(parser.pendingBytes(), 65540u + 977);  // a whole frame or a cut message
    }
    EXPECT_FALSE(out.messages.empty());
}
