#include "rtsp/standard/RtspMessageReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rtsp/standard/Captures.h"

using namespace playersdk::standard;
using playersdk::test::Capture;
using Kind = ReadEvent::Kind;

namespace {
const char* const kCapturedReplies[] = {
    "gstreamer-options.txt",   "gstreamer-describe.txt",  "gstreamer-describe-401.txt",
    "gstreamer-setup-tcp.txt", "gstreamer-setup-udp.txt", "gstreamer-play-tcp.txt",
    "vlc-options.txt",         "vlc-describe.txt",        "vlc-setup-tcp.txt",
    "vlc-setup-udp.txt",       "vlc-play-udp.txt",        "perl-options.txt",
    "perl-describe.txt",       "perl-setup-tcp.txt",      "perl-setup-udp.txt",
};

std::string Frame(uint8_t channel, size_t size) {
    std::string f = {'$', static_cast<char>(channel), static_cast<char>(size >> 8),
                     static_cast<char>(size & 0xff)};
    return f + std::string(size, 'x');
}

ReadEvent FeedAll(CRtspMessageReader& reader, const std::string& bytes) {
    reader.Feed(bytes.data(), bytes.size());
    return reader.Next();
}
}  // namespace

TEST(StandardMessageReader, CapturedRepliesArriveWholeWhereverTheyAreSplit) {
    for (const char* name : kCapturedReplies) {
        const std::string bytes = Capture(name);
        ASSERT_FALSE(bytes.empty()) << name;
        CRtspMessageReader whole;
        ReadEvent expected = FeedAll(whole, bytes);
        ASSERT_EQ(expected.kind, Kind::Message) << name;
        EXPECT_EQ(whole.Next().kind, Kind::NeedMore) << name;
        for (size_t cut = 1; cut < bytes.size(); ++cut) {
            CRtspMessageReader reader;
            reader.Feed(bytes.data(), cut);
            ASSERT_EQ(reader.Next().kind, Kind::NeedMore) << name << " cut at " << cut;
            reader.Feed(bytes.data() + cut, bytes.size() - cut);
            ReadEvent event = reader.Next();
            ASSERT_EQ(event.kind, Kind::Message) << name << " cut at " << cut;
            EXPECT_EQ(event.message.start.status, expected.message.start.status);
            EXPECT_EQ(event.message.headers.size(), expected.message.headers.size());
            EXPECT_EQ(event.message.body, expected.message.body);
        }
    }
}

TEST(StandardMessageReader, ReadsStatusHeadersAndBodyOfACapturedDescribe) {
    CRtspMessageReader reader;
    ReadEvent event = FeedAll(reader, Capture("vlc-describe.txt"));
    ASSERT_EQ(event.kind, Kind::Message);
    EXPECT_TRUE(event.message.start.isReply);
    EXPECT_EQ(event.message.start.status, 200);
    EXPECT_EQ(event.message.start.reason, "OK");
    EXPECT_EQ(event.message.Header("CSEQ"), "2");  // VLC writes "Cseq"
    EXPECT_EQ(event.message.Header("content-base"), "rtsp://127.0.0.1:57165/test");
    EXPECT_EQ(event.message.body.size(), 452u);
    EXPECT_EQ(event.message.body.substr(0, 5), "v=0\r\n");
}

TEST(StandardMessageReader, CapturedInterleavedStreamGivesEveryFrameInAnySizeOfRead) {
    const std::string stream = Capture("gstreamer-play-tcp-stream.bin");
    ASSERT_EQ(stream.size(), 8192u);
    std::vector<std::pair<uint8_t, size_t>> expected;
    for (size_t readSize : {size_t{8192}, size_t{1}, size_t{3}, size_t{1000}}) {
        CRtspMessageReader reader;
        std::vector<std::pair<uint8_t, size_t>> frames;
        for (size_t at = 0; at < stream.size(); at += readSize) {
            reader.Feed(stream.data() + at, std::min(readSize, stream.size() - at));
            for (ReadEvent e = reader.Next(); e.kind != Kind::NeedMore; e = reader.Next()) {
                ASSERT_EQ(e.kind, Kind::Frame);
                ASSERT_GE(e.frame.size, 12u);
                EXPECT_EQ(e.frame.data[0] & 0xc0, 0x80);  // RTP version 2
                frames.emplace_back(e.frame.channel, e.frame.size);
            }
        }
        if (expected.empty()) {
            expected = frames;
        }
        EXPECT_EQ(frames, expected) << "reads of " << readSize;
    }
    ASSERT_GT(expected.size(), 3u);
    EXPECT_EQ(expected[0], std::make_pair(uint8_t{0}, size_t{14}));
    EXPECT_EQ(expected[1], std::make_pair(uint8_t{0}, size_t{40}));  // the SPS
}

TEST(StandardMessageReader, FramesAroundAReplyArriveInOrderWithTheirChannels) {
    const std::string reply = "RTSP/1.0 200 OK\r\nCSeq: 5\r\nContent-Length: 3\r\n\r\nabc";
    const std::string bytes = Frame(1, 0) + Frame(0, 65535) + reply + "\r\n" + Frame(3, 7);
    CRtspMessageReader reader;
    reader.Feed(bytes.data(), bytes.size());
    ReadEvent e = reader.Next();
    EXPECT_EQ(e.kind, Kind::Frame);
    EXPECT_EQ(e.frame.channel, 1);
    EXPECT_EQ(e.frame.size, 0u);
    e = reader.Next();
    EXPECT_EQ(e.frame.channel, 0);
    EXPECT_EQ(e.frame.size, 65535u);
    e = reader.Next();
    ASSERT_EQ(e.kind, Kind::Message);
    EXPECT_EQ(e.message.body, "abc");
    e = reader.Next();
    EXPECT_EQ(e.kind, Kind::Frame);
    EXPECT_EQ(e.frame.channel, 3);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(e.frame.data), e.frame.size), "xxxxxxx");
    EXPECT_EQ(reader.Next().kind, Kind::NeedMore);
}

TEST(StandardMessageReader, ReadsServerRequestsAndFoldedHeaders) {
    CRtspMessageReader reader;
    ReadEvent e = FeedAll(reader,
                          "SET_PARAMETER rtsp://h/s RTSP/1.0\nCSeq: 9\nX-Notice: 2101\n"
                          "  End of stream\n\tfolded\nbroken line\n\n");
    ASSERT_EQ(e.kind, Kind::Message);
    EXPECT_FALSE(e.message.start.isReply);
    EXPECT_EQ(e.message.start.method, "SET_PARAMETER");
    EXPECT_EQ(e.message.start.uri, "rtsp://h/s");
    EXPECT_EQ(e.message.Header("x-notice"), "2101 End of stream folded");
    EXPECT_EQ(e.message.headers.size(), 2u);
}

TEST(StandardMessageReader, RefusesOversizedOrBrokenInputWithAnErrorThatStays) {
    struct Case {
        std::string bytes;
        ReadError error;
    };
    const Case cases[] = {
        {"RTSP/1.0 200 OK\r\nX: " + std::string(1 << 20, 'a'), ReadError::HeaderTooLong},
        {"RTSP/1.0 200 OK\r\nContent-Length: 2147483648\r\n\r\n", ReadError::BodyTooLong},
        {"RTSP/1.0 200 OK\r\nContent-Length: 1048577\r\n\r\n", ReadError::BodyTooLong},
        {"RTSP/1.0 200 OK\r\nContent-Length: -1\r\n\r\n", ReadError::BadContentLength},
        {"RTSP/1.0 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\n",
         ReadError::BadContentLength},
        {"HTTP/1.1 200 OK\r\n\r\n", ReadError::BadStartLine},
        {"RTSP/1.0 20 OK\r\n\r\n", ReadError::BadStartLine},
        {"RTSP/1.0 099 x\r\n\r\n", ReadError::BadStartLine},
        {"RTSP/x 200 OK\r\n\r\n", ReadError::BadStartLine},
        {"play rtsp://h/ RTSP/1.0\r\n\r\n", ReadError::BadStartLine},
        {"\x01\x02\r\n\r\n", ReadError::BadStartLine},
        {std::string(2 << 20, '$'), ReadError::TooMuchUnread},
    };
    for (const Case& c : cases) {
        CRtspMessageReader reader;
        reader.Feed(c.bytes.data(), c.bytes.size());
        ReadEvent e = reader.Next();
        EXPECT_EQ(e.kind, Kind::Error) << c.bytes.substr(0, 40);
        EXPECT_EQ(e.error, c.error) << c.bytes.substr(0, 40);
        reader.Feed("RTSP/1.0 200 OK\r\n\r\n", 19);
        EXPECT_EQ(reader.Next().error, c.error) << c.bytes.substr(0, 40);
    }
}

TEST(StandardMessageReader, LongHeaderLineFedInSmallReadsIsRefusedWithoutHoldingItAll) {
    CRtspMessageReader reader;
    const std::string chunk(4096, 'a');
    reader.Feed("RTSP/1.0 200 OK\r\nX: ", 20);
    size_t fed = 20;
    ReadEvent e = reader.Next();
    while (e.kind == Kind::NeedMore && fed < (1u << 20)) {
        reader.Feed(chunk.data(), chunk.size());
        fed += chunk.size();
        e = reader.Next();
    }
    EXPECT_EQ(e.error, ReadError::HeaderTooLong);
    EXPECT_LE(fed, CRtspMessageReader::kMaxHeaderBytes + chunk.size());
}
