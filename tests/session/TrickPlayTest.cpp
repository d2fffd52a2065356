// Trick play through NetPlay_Control against the loopback server: the PLAY requests the server
// receives, the controls that are refused, pause and continue, and the time and position that
// the play derives from the frame keys.
#include <gtest/gtest.h>

#include "fakedecoder/FakeDecoder.h"
#include "session/NetPlayUrl.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;
using namespace std::string_literals;

namespace {
constexpr unsigned kItemSeconds = 600;
constexpr uint32_t kClock = 90000;

class TrickPlay : public NetPlayFixture {
protected:
    void SetUp() override {
        NetPlayFixture::SetUp();
        UseSdpRange(kItemSeconds);
    }
    void UseSdpRange(unsigned seconds) {
        ReplyDefaults defaults = server.script().defaults();
        SdpOptions sdp;
        sdp.rangeSeconds = seconds;
        defaults.sdp = BuildH264Sdp(sdp);
        server.script().SetDefaults(defaults);
    }
    ePlayState StateOf(long play) { return reinterpret_cast<CNetPlayUrl*>(play)->m_curPlayState; }
    size_t PlayCount() { return server.records().requests("PLAY").size(); }

    // Runs a control that asks the server, waits until the server got the PLAY and its reply
    // came back (a reply to a trick request reaches the application as a connect error), and
    // compares the PLAY with one that carries the rate line (skipped over as the request
    // generator does) and the range start.
    void ExpectPlay(long play, ePlayOption operate, int para, int result, const std::string& rate,
                    const std::string& start) {
        SCOPED_TRACE(testing::Message() << "operate " << operate << ", para " << para);
        const size_t plays = PlayCount();
        const size_t replies = notices.count(NOTIFY_CONNECT_ERROR);
        EXPECT_EQ(NetPlay_Control(container, play, operate, para), result);
        ASSERT_TRUE(server.records().WaitForMethod("PLAY", plays + 1));
        ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_ERROR, play, replies + 1));
        const ReceivedMessage sent = server.records().requests("PLAY").back();
        const std::string request = "PLAY " + server.url();
        std::string rateBytes = rate.empty() ? "" : rate + "\r\n";
        rateBytes.resize(rate.empty() ? 0 : request.size(), '\0');
        EXPECT_EQ(sent.raw, request + "\0 RTSP/1.0\r\nCSeq: "s + std::to_string(sent.cseq) +
                                "\r\n" + rateBytes + "Range: npt=" + start +
                                "-600.000000\r\nx-prebuffer: maxtime=0.000000\r\nSession: " +
                                Peer().sessionId() + "\r\nUser-Agent: zuplayer\r\n\r\n");
    }
    // One frame whose key (the word in the RTP header's SSRC position) is 'key'.
    void SendKeyedFrame(uint32_t key) {
        RtpPacketBuilder keyed(96, key, m_sequence++);
        SendNal(Peer(), keyed, Nal(0x41, 40), 0);
    }
    uint16_t m_sequence = 100;
};
}  // namespace

TEST_F(TrickPlay, RateAndSeekControlsSendTheirPlayRequestsAndSetTheState) {
    long play = OpenPlaying();
    ExpectPlay(play, PLAY_FAST, 16, 0, "Speed: 16.000000", "0.000000");
    EXPECT_EQ(StateOf(play), S_FAST);
    ExpectPlay(play, PLAY_SLOW, 4, 0, "Speed: 0.250000", "0.000000");
    EXPECT_EQ(StateOf(play), S_SLOW);

    // Twelve seconds of frame keys: the rate controls start from the current whole second.
    SendKeyedFrame(kDefaultSsrc);
    SendKeyedFrame(kDefaultSsrc + 12 * kClock + kClock / 2);
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() == 2; }));
    ExpectPlay(play, PLAY_BACK, 2, 0, "Scale: -2.000000", "12.000000");
    EXPECT_EQ(StateOf(play), S_BACK);
    // Factor 0 seeks to the current second at normal rate, and still answers -1.
    ExpectPlay(play, PLAY_FWOD, 0, -1, "", "12.000000");
    EXPECT_EQ(StateOf(play), S_PLAYING);
    ExpectPlay(play, PLAY_SETPOS, 50, 0, "", "300.000000");
    ExpectPlay(play, PLAY_SETTIME, 42, 0, "", "42.000000");
    ExpectPlay(play, PLAY_FWOD, 3, 0, "Scale: 3.000000", "12.000000");
    EXPECT_EQ(StateOf(play), S_FWORD);
}

TEST_F(TrickPlay, SeekVariantsBadFactorsAndSeeksOnALiveStreamSendNothing) {
    long play = OpenPlaying();
    for (int operate : {1, 3, 5, 7, 9, 14, -1}) {
        EXPECT_EQ(NetPlay_Control(container, play, static_cast<ePlayOption>(operate), 1), -1);
    }
    for (int para : {17, -1}) {
        EXPECT_EQ(NetPlay_Control(container, play, PLAY_FAST, para), -1);
        EXPECT_EQ(NetPlay_Control(container, play, PLAY_SLOW, para), -1);
        EXPECT_EQ(NetPlay_Control(container, play, PLAY_FWOD, para), -1);
        EXPECT_EQ(NetPlay_Control(container, play, PLAY_BACK, para), -1);
    }
    EXPECT_EQ(NetPlay_Control(container, play, PLAY_SETPOS, 101), -1);
    EXPECT_EQ(NetPlay_Control(container, play, PLAY_SETPOS, -1), -1);

    UseSdpRange(0);
    long live = OpenPlaying("live");
    EXPECT_EQ(NetPlay_Control(container, live, PLAY_SETPOS, 50), 0);
    EXPECT_EQ(NetPlay_Control(container, live, PLAY_SETTIME, 5), 0);
    EXPECT_EQ(NetPlay_Control(container, live, PLAY_BACK, 0), -1);
    Pause();
    EXPECT_EQ(PlayCount(), 2u);  // the two plays' own
    EXPECT_EQ(StateOf(play), S_PLAYING);
    EXPECT_EQ(StateOf(live), S_PLAYING);  // the factor 0 reset
}

TEST_F(TrickPlay, PauseAndContinueSendNothingAndFramesWhilePausedNeverReachTheDecoder) {
    long play = OpenPlaying();
    RtpPacketBuilder rtp;
    SendNal(Peer(), rtp, Nal(0x65, 300), 0);
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() == 1; }));

    EXPECT_EQ(NetPlay_Control(container, play, PLAY_PAUSE, 9), 0);
    EXPECT_EQ(StateOf(play), S_PAUSE);
    SendNal(Peer(), rtp, Nal(0x41, 200), 0);
    SendNal(Peer(), rtp, Nal(0x41, 201), 0);
    Pause();
    EXPECT_EQ(fakedecoder::FrameCount(), 1u);

    EXPECT_EQ(NetPlay_Control(container, play, PLAY_CONTINUE, 9), 0);
    EXPECT_EQ(StateOf(play), S_PLAYING);
    EXPECT_EQ(fakedecoder::CallsNamed("RefreshSurface").size(), 1u);
    const Bytes after = Nal(0x41, 202);
    SendNal(Peer(), rtp, after, 0);
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() == 2; }));
    EXPECT_EQ(DecoderFrames().back(), AnnexB(after));
    EXPECT_EQ(PlayCount(), 1u);
    EXPECT_TRUE(server.records().requests("PAUSE").empty());
}

// The frame key is the word in the SSRC position of the RTP header, not its timestamp: a
// server with one SSRC plays at 0 s whatever its timestamps say.
TEST_F(TrickPlay, TimeAndPositionComeFromTheFrameKeysInCoarseSteps) {
    long play = OpenPlaying();
    long position = -5;
    EXPECT_EQ(NetPlay_GetRecFileCurTs(container, play), 0u);  // no key yet
    EXPECT_EQ(NetPlay_GetPlayPosition(container, play, &position), 0);
    EXPECT_EQ(position, 0);

    RtpPacketBuilder rtp;
    for (uint32_t second = 0; second < 12; ++second) {
        SendNal(Peer(), rtp, Nal(0x41, 30), second * kClock);
    }
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() == 12; }));
    EXPECT_EQ(NetPlay_GetRecFileCurTs(container, play), 0u);

    auto timeAndPosition = [&](uint32_t key) {
        const uint64_t frames = fakedecoder::FrameCount();
        SendKeyedFrame(key);
        EXPECT_TRUE(WaitUntil([&] { return fakedecoder::FrameCount() == frames + 1; }));
        // The position uses the stamps the last time reading stored.
        unsigned long long seconds = NetPlay_GetRecFileCurTs(container, play);
        int result = NetPlay_GetPlayPosition(container, play, &position);
        return std::make_tuple(seconds, position, result);
    };
    EXPECT_EQ(timeAndPosition(kDefaultSsrc + 599 * kClock), std::make_tuple(599ull, 0L, 0));
    EXPECT_EQ(timeAndPosition(kDefaultSsrc + 600 * kClock), std::make_tuple(600ull, 100L, 0));
    EXPECT_EQ(timeAndPosition(kDefaultSsrc + 1300 * kClock), std::make_tuple(1300ull, 200L, -1));
    // A key behind the first: the time wraps in 32 bits, the position goes by the signed
    // difference (-1 s, which is 0 items).
    EXPECT_EQ(timeAndPosition(kDefaultSsrc - kClock),
              std::make_tuple((0x100000000ull - kClock) / kClock, 0L, 0));
}
