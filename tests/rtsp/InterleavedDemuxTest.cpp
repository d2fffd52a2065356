// The interleaved stream cut into frames, notices and drops from byte arrays: fed whole, cut
// at every position and byte by byte, each stream must give the same events.
#include "rtsp/InterleavedDemux.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "rtsp/EngineHarness.h"
#include "rtsp/Rtsp.h"
#include "rtspserver/RtpPacketBuilder.h"
#include "rtspserver/RtspReplyBuilder.h"

using namespace playersdk::rtspserver;
using playersdk::test::AsText;
using playersdk::test::RtpPacketOfSize;

namespace {
std::string Frame(uint8_t channel, const Bytes& payload) {
    return AsText(BuildInterleavedFrame(channel, payload));
}

std::string Announce(const std::string& notice) {
    return BuildServerRequest("ANNOUNCE", "rtsp://127.0.0.1/movie", 7, "12345678",
                              {"x-Notice: " + notice});
}

std::string Describe(const DemuxEvent& event) {
    switch (event.kind) {
        case DemuxEvent::Kind::kFrame:
            return (event.rtcp ? "rtcp " : "rtp ") + std::to_string(event.channel) + " " +
                   std::string(event.bytes);
        case DemuxEvent::Kind::kNotice:
            return "notice " + std::to_string(NoticeCode(event.bytes));
        case DemuxEvent::Kind::kDropped: {
            static const char* const kWhy[] = {"channel", "short", "long"};
            return "drop " + std::to_string(event.channel) + " " + kWhy[int(event.drop)];
        }
        case DemuxEvent::Kind::kNone:
            break;
    }
    return "none";
}

// Feeds the stream in pieces ending at 'cuts' (then the rest), each piece in a heap block of
// exactly its size, and describes the events in order.
std::vector<std::string> Demux(const std::string& stream, std::vector<size_t> cuts,
                               eSetupType setup = ONLYVIDEO) {
    char packet[CInterleavedDemux::kMaxFrameLength];
    CInterleavedDemux demux(packet, sizeof(packet));
    std::vector<std::string> events;
    cuts.push_back(stream.size());
    size_t from = 0;
    for (size_t cut : cuts) {
        const size_t size = cut - from;
        std::unique_ptr<char[]> piece(new char[size + 1]);
        stream.copy(piece.get(), size, from);
        std::string_view in(piece.get(), size);
        for (DemuxEvent e = demux.Next(in, setup); e.kind != DemuxEvent::Kind::kNone;
             e = demux.Next(in, setup)) {
            events.push_back(Describe(e));
        }
        EXPECT_TRUE(in.empty());
        from = cut;
    }
    return events;
}

std::vector<size_t> EveryByte(size_t size) {
    std::vector<size_t> cuts;
    for (size_t i = 1; i < size; ++i) {
        cuts.push_back(i);
    }
    return cuts;
}

struct StreamCase {
    const char* name;
    std::string stream;
    eSetupType setup;
    std::vector<std::string> events;
};

std::vector<StreamCase> Cases() {
    const Bytes a = RtpPacketOfSize(40, 1), b = RtpPacketOfSize(1499, 2);
    const Bytes sr = BuildRtcpSenderReport({}), bye = BuildRtcpBye(kDefaultSsrc);
    const std::string rtpA = "rtp 0 " + AsText(a), rtpB = "rtp 0 " + AsText(b);
    return {
        {"frames back to back",
         Frame(0, a) + Frame(1, sr) + Frame(0, b) + Frame(3, sr) + Frame(1, bye),
         ONLYVIDEO,
         {rtpA, "rtcp 1 " + AsText(sr), rtpB, "rtcp 3 " + AsText(sr), "rtcp 1 " + AsText(bye)}},
        {"reply lines and garbage between frames",
         "RTSP/1.0 200 OK\r\nCSeq: 4\r\n\r\n" + Frame(0, a) + std::string("\0\xff junk\r\n", 9) +
             Frame(0, b),
         ONLYVIDEO,
         {rtpA, rtpB}},
        {"notices, in any case, with the stream going on behind them",
         Announce("2101") + Frame(0, a) + Announce("2102 \"End of stream\"") + Announce("2103") +
             "announce\r\nX-NOTICE: 2102\r\n\r\n" + Frame(0, b),
         ONLYVIDEO,
         {"notice 2101", rtpA, "notice 2102", "notice -1", "notice 2102", rtpB}},
        {"a frame inside the word breaks it",
         "ANNO" + Frame(0, a) + "UNCE x-Notice: 2101\r\n\r\n" + Frame(0, b),
         ONLYVIDEO,
         {rtpA, rtpB}},
        {"lengths 0, 1 and 1500 are framing errors",
         std::string("$\0\0\0$\0\0\1x", 9) +
             AsText(BuildInterleavedFrame(0, 1500, RtpPacketOfSize(1500))) + Frame(0, b),
         ONLYVIDEO,
         {"drop 0 short", "drop 0 short", "drop 0 long", rtpB}},
        {"a video session skips audio and unknown channels",
         Frame(2, a) + Frame(7, a) + Frame(0, b) + Frame(3, sr),
         ONLYVIDEO,
         {"drop 2 channel", "drop 7 channel", rtpB, "rtcp 3 " + AsText(sr)}},
        {"an audio session skips video",
         Frame(0, a) + Frame(2, b),
         ONLYAUDIO,
         {"drop 0 channel", "rtp 2 " + AsText(b)}},
        {"a session of both takes both",
         Frame(2, a) + Frame(0, b),
         BOTHVA,
         {"rtp 2 " + AsText(a), rtpB}},
    };
}
}  // namespace

TEST(InterleavedDemux, EveryStreamGivesTheSameEventsWhereverItIsCut) {
    for (const StreamCase& c : Cases()) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(Demux(c.stream, {}, c.setup), c.events);
        EXPECT_EQ(Demux(c.stream, EveryByte(c.stream.size()), c.setup), c.events);
        for (size_t cut = 1; cut < c.stream.size(); ++cut) {
            ASSERT_EQ(Demux(c.stream, {cut}, c.setup), c.events) << "cut at " << cut;
        }
    }
}

TEST(InterleavedDemux, PacketIsHandedOutWhereItLiesOrPutTogetherInThePacketBuffer) {
    char packet[CInterleavedDemux::kMaxFrameLength];
    CInterleavedDemux demux(packet, sizeof(packet));
    const std::string frame = Frame(0, RtpPacketOfSize(100));
    std::string_view whole(frame);
    EXPECT_EQ(demux.Next(whole, ONLYVIDEO).bytes.data(), frame.data() + 4);  // no copy
    std::string_view head(frame.data(), 50), tail(frame.data() + 50, frame.size() - 50);
    EXPECT_EQ(demux.Next(head, ONLYVIDEO).kind, DemuxEvent::Kind::kNone);
    EXPECT_EQ(demux.Next(tail, ONLYVIDEO).bytes, std::string_view(packet, 100));
}

TEST(InterleavedDemux, NoticeWithoutHeaderEndIsCutAtItsBufferSize) {
    char packet[CInterleavedDemux::kMaxFrameLength];
    CInterleavedDemux demux(packet, sizeof(packet));
    const std::string stream = "ANNOUNCE" + std::string(5000, 'n') + Frame(0, RtpPacketOfSize(40));
    std::string_view in(stream);
    const DemuxEvent notice = demux.Next(in, ONLYVIDEO);
    EXPECT_EQ(notice.kind, DemuxEvent::Kind::kNotice);
    EXPECT_EQ(notice.bytes, std::string(playersdk::kRtspBufferSize, 'n'));
    EXPECT_EQ(demux.Next(in, ONLYVIDEO).kind, DemuxEvent::Kind::kFrame);
}
