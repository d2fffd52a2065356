// The status line of a trick-play reply read from byte arrays in every split: the line comes
// out whole, and the bytes behind it are left for the stream.
#include "rtsp/StatusLineReader.h"

#include <gtest/gtest.h>

#include <string>

#include "rtsp/EngineHarness.h"

using namespace std::string_literals;

namespace {
struct LineRead {
    CStatusLineReader::Status status = CStatusLineReader::Status::kIncomplete;
    std::string line;
    std::string rest;  // what the reader left of the input
};

LineRead ReadLine(const std::string& bytes, size_t cut) {
    CStatusLineReader reader;
    LineRead read;
    read.rest = playersdk::test::LeftAfterTwoPieces(bytes, cut, [&](std::string_view& in) {
        read.status = reader.Feed(in);
        read.line = std::string(reader.line());
        return read.status != CStatusLineReader::Status::kIncomplete;
    });
    return read;
}
}  // namespace

TEST(StatusLineReader, LineComesOutWholeAndLeavesTheBytesBehindItWhereverItIsCut) {
    using Status = CStatusLineReader::Status;
    const std::string longest = "RTSP" + std::string(CStatusLineReader::kMaxLine - 5, 'x') + "\r";
    const struct {
        std::string bytes;
        Status status;
        std::string line;
        std::string rest;
    } cases[] = {
        {"RTSP/1.0 200 OK\r\nCSeq: 5\r\n\r\n$\0"s, Status::kComplete, "RTSP/1.0 200 OK\r",
         "CSeq: 5\r\n\r\n$\0"s},
        {"$\0\0\2ab RTSP/1.0 454 Session Not Found\r\n"s, Status::kComplete,
         "RTSP/1.0 454 Session Not Found\r", ""},
        {"RRTSP/1.0 200 OK\r\n", Status::kComplete, "RTSP/1.0 200 OK\r", ""},
        {"RTSP/1.0 200 OK\rX\r\nrest", Status::kComplete, "RTSP/1.0 200 OK\r\r", "rest"},
        {"RTSP/1.0 200", Status::kIncomplete, "", ""},
        {longest + "\nrest", Status::kComplete, longest, "rest"},
        {"RTSP" + std::string(CStatusLineReader::kMaxLine - 3, 'x') + "\r\n", Status::kTooLong, "",
         "\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes.substr(0, 40));
        for (size_t cut = 0; cut <= c.bytes.size(); ++cut) {
            const LineRead read = ReadLine(c.bytes, cut);
            ASSERT_EQ(read.status, c.status) << "cut at " << cut;
            if (c.status == Status::kComplete) {
                ASSERT_EQ(read.line, c.line) << "cut at " << cut;
            }
            ASSERT_EQ(read.rest, c.rest) << "cut at " << cut;
        }
    }
}
