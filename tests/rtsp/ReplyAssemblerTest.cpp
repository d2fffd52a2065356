// DESCRIBE and SETUP replies put together from byte arrays in every split: header and body
// whole, cut to the buffer when longer, and the bytes behind the reply left alone.
#include "rtsp/ReplyAssembler.h"

#include <gtest/gtest.h>

#include <string>

#include "rtsp/EngineHarness.h"
#include "rtspserver/RtspReplyBuilder.h"

namespace {
constexpr size_t kCapacity = CReplyAssembler::kCapacity;

struct Assembled {
    bool complete = false;
    std::string text;
    std::string rest;
};

Assembled Assemble(const std::string& bytes, size_t cut) {
    CReplyAssembler reply;
    Assembled out;
    out.rest = playersdk::test::LeftAfterTwoPieces(
        bytes, cut, [&](std::string_view& in) { return out.complete = reply.Feed(in); });
    out.text.assign(reply.text(), static_cast<size_t>(reply.length()));
    return out;
}

std::string WithBody(const std::string& body) {
    return "RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}
}  // namespace

TEST(ReplyAssembler, ReplyIsPutTogetherWholeAndCutToItsBufferWhereverItIsCut) {
    const std::string next = "RTSP/1.0 200 OK\r\nCSeq: 2\r\n";
    const std::string described = WithBody(playersdk::rtspserver::BuildH264Sdp());
    const std::string setup =
        "RTSP/1.0 200 OK\r\nSession: 12345678;timeout=60\r\nTransport: RTP/AVP/TCP\r\n\r\n";
    const std::string oversized = WithBody(std::string(6000, 'b'));
    const std::string endless(5000, 'h');
    const struct {
        const char* name;
        std::string bytes;
        std::string kept;
        std::string rest;
    } cases[] = {
        {"description", described + next, described, next},
        {"no body", setup + next, setup, next},
        {"body longer than the buffer", oversized + next, oversized.substr(0, kCapacity), next},
        {"header without end", endless + next, endless.substr(0, kCapacity),
         endless.substr(kCapacity) + next},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (size_t cut = 0; cut <= c.bytes.size(); ++cut) {
            const Assembled got = Assemble(c.bytes, cut);
            ASSERT_TRUE(got.complete) << "cut at " << cut;
            ASSERT_EQ(got.text, c.kept) << "cut at " << cut;
            ASSERT_EQ(got.rest, c.rest) << "cut at " << cut;
        }
    }
}

TEST(ReplyAssembler, ReplyIsIncompleteUntilItsLastBodyByte) {
    const std::string reply = WithBody("v=0\r\n");
    CReplyAssembler assembler;
    std::string_view in(reply.data(), reply.size() - 1);
    EXPECT_FALSE(assembler.Feed(in));
    EXPECT_TRUE(in.empty());
    std::string_view last(reply.data() + reply.size() - 1, 1);
    EXPECT_TRUE(assembler.Feed(last));
}
