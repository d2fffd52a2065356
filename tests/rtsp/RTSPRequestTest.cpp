#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "rtsp/RTSPProtocol.h"
#include "support/Loopback.h"

using namespace std::string_literals;
using playersdk::test::LogCapture;
using playersdk::test::ReadAvailable;
using playersdk::test::SocketPair;

namespace {
class RtspRequest : public testing::Test {
protected:
    RtspRequest() {
        strcpy(rtsp.m_rtsp_server_addr, "192.168.1.10");
        strcpy(rtsp.m_movie_name, "live/ch1");
        rtsp.m_rtsp_server_port = 554;
        strcpy(rtsp.m_sdp_info.videoTrack, "trackID=1");
        strcpy(rtsp.m_sdp_info.audioTrack, "trackID=2");
        rtsp.m_sdp_info.s2videoTrackState = -1;
    }
    // The bytes a generator composes into a dirty buffer.
    template <typename Gen>
    std::string Compose(Gen gen) {
        char buf[playersdk::kRtspBufferSize];
        memset(buf, 'Z', sizeof(buf));
        int len = -1;
        EXPECT_EQ(gen(buf, &len), 0);
        return std::string(buf, static_cast<size_t>(len));
    }
    std::string PlayText(float scale, float speed, bool range, float start, int frame) {
        return Compose([&](char* b, int* l) {
            return rtsp.GenDoPlay(b, l, scale, speed, range, start, frame);
        });
    }
    std::string SetupText() {
        return Compose([&](char* b, int* l) { return rtsp.GenSetup(b, l); });
    }
    CRTSPProtocol rtsp;
};

const std::string kAgent = "User-Agent: zuplayer\r\n\r\n";
const std::string kPlayHead = "PLAY rtsp://192.168.1.10/live/ch1\0 RTSP/1.0\r\nCSeq: 1\r\n"s;
// "PLAY rtsp://192.168.1.10/live/ch1" is 33 characters: after Scale or Speed the next line
// starts 33 bytes after the line start.
std::string Skipped(const std::string& line) {
    return line + std::string(33 - line.size(), '\0');
}
}  // namespace

TEST_F(RtspRequest, DescribeNamesThePortOnlyWhenItIsNot554) {
    EXPECT_EQ(Compose([&](char* b, int* l) { return rtsp.GenDescribe(b, l); }),
              "DESCRIBE rtsp://192.168.1.10/live/ch1 RTSP/1.0\r\nCSeq: 1\r\n"
              "Accept: application/sdp\r\nAccept-Language: en-US\r\n" +
                  kAgent);
    rtsp.m_rtsp_server_port = 8554;
    EXPECT_EQ(Compose([&](char* b, int* l) { return rtsp.GenDescribe(b, l); }),
              "DESCRIBE rtsp://192.168.1.10:8554/live/ch1 RTSP/1.0\r\nCSeq: 2\r\n"
              "Accept: application/sdp\r\nAccept-Language: en-US\r\n" +
                  kAgent);
}

TEST_F(RtspRequest, SetupOverTcpAsksForChannels01ForVideoAnd23ForAudio) {
    EXPECT_EQ(SetupText(),
              "SETUP rtsp://192.168.1.10/live/ch1/trackID=1 RTSP/1.0\r\nCSeq: 1\r\n"
              "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n" +
                  kAgent);
    EXPECT_EQ(rtsp.m_rtp_session[0].m_tcp_channel, 0);
    rtsp.m_sdp_info.s2videoTrackState = 0;
    strcpy(rtsp.m_rtsp_session_id, "12345678");
    EXPECT_EQ(SetupText(),
              "SETUP rtsp://192.168.1.10/live/ch1/trackID=2 RTSP/1.0\r\nCSeq: 2\r\n"
              "Transport: RTP/AVP/TCP;unicast;interleaved=2-3\r\nSession: 12345678\r\n" +
                  kAgent);
    EXPECT_EQ(rtsp.m_rtp_session[1].m_tcp_channel, 2);
}

TEST_F(RtspRequest, SetupOverUdpOffersTheNextLocalPortPair) {
    rtsp.m_rtp_session[0].m_transport_protocal = 2;
    rtsp.m_rtp_session[1].m_transport_protocal = 2;
    rtsp.m_iLocalUdpPort = 5000;
    EXPECT_EQ(SetupText(),
              "SETUP rtsp://192.168.1.10/live/ch1/trackID=1 RTSP/1.0\r\nCSeq: 1\r\n"
              "Transport: RTP/AVP;unicast;client_port=5000-5001\r\n" +
                  kAgent);
    rtsp.m_sdp_info.s2videoTrackState = 0;
    EXPECT_NE(SetupText().find("Transport: RTP/AVP;unicast;client_port=5002-5003\r\n"),
              std::string::npos);
    EXPECT_EQ(rtsp.m_iLocalUdpPort, 5004);
    EXPECT_EQ(rtsp.m_sdp_info.u2videoClientUdpPort, 5000);
    EXPECT_EQ(rtsp.m_sdp_info.u2audioClientUdpPort, 5002);

    rtsp.m_rtp_session[1].m_transport_protocal = 3;  // no Transport line at all
    EXPECT_EQ(SetupText().find("Transport"), std::string::npos);
}

TEST_F(RtspRequest, PlainPlayHasTheNulAfterTheMovieNameAndAnEmptySession) {
    EXPECT_EQ(PlayText(0, 0, false, 0, 0),
              kPlayHead + "x-prebuffer: maxtime=0.000000\r\nSession: \r\n" + kAgent);
}

TEST_F(RtspRequest, PlayOptionsWriteTheirHeadersWithTheSkippedGapAfterScaleAndSpeed) {
    const std::string tail = "x-prebuffer: maxtime=0.000000\r\nSession: \r\n" + kAgent;
    EXPECT_EQ(PlayText(2, 0, false, 0, 0), kPlayHead + Skipped("Scale: 2.000000\r\n") + tail);
    EXPECT_EQ(PlayText(0, -1, false, 0, 0),
              "PLAY rtsp://192.168.1.10/live/ch1\0 RTSP/1.0\r\nCSeq: 2\r\n"s +
                  Skipped("Speed: -1.000000\r\n") + tail);
    const std::string play = PlayText(0.5f, 4, true, 10, 25);
    EXPECT_NE(play.find(Skipped("Scale: 0.500000\r\n") + Skipped("Speed: 4.000000\r\n") +
                        "CurFrame: 25\r\nRange: npt=10.000000-0.000000\r\n" + tail),
              std::string::npos);
    rtsp.m_end_time = 3600;
    EXPECT_NE(
        PlayText(0, 0, true, -1.0f, 0).find("Range: npt=now-x-prebuffer: maxtime=0.000000\r\n"),
        std::string::npos);
    EXPECT_NE(PlayText(0, 0, true, 5, 0).find("Range: npt=5.000000-3600.000000\r\n"),
              std::string::npos);
    EXPECT_EQ(PlayText(0, 0, false, 0, -3).find("CurFrame: -3\r\n"), kPlayHead.size());

    // With a URL shorter than the Scale line the next header writes over its line end.
    strcpy(rtsp.m_rtsp_server_addr, "h");
    strcpy(rtsp.m_movie_name, "m");
    EXPECT_NE(PlayText(2, 0, false, 0, 0).find("\r\nScale: 2.000000x-prebuffer"),
              std::string::npos);
}

TEST_F(RtspRequest, PauseTeardownOkAndOptionsReplyAndTheirCSeqs) {
    strcpy(rtsp.m_rtsp_session_id, "ABCD");
    EXPECT_EQ(
        Compose([&](char* b, int* l) { return rtsp.GenPause(b, l); }),
        "PAUSE rtsp://192.168.1.10/live/ch1 RTSP/1.0\r\nCSeq: 1\r\nSession: ABCD\r\n" + kAgent);
    EXPECT_EQ(Compose([&](char* b, int* l) { return rtsp.GenOk(b, l); }),
              "RTSP/1.0 200 ok\r\nCSeq: 2\r\nSession: ABCD\r\n\r\n");
    EXPECT_EQ(Compose([&](char* b, int* l) { return rtsp.GenOptionsReply(b, l); }),
              "RTSP/1.0 501 \xCE\xB4\xCA\xB5\xCF\xD6\r\n\r\n" + std::string(22, '\0'));
    EXPECT_EQ(
        Compose([&](char* b, int* l) { return rtsp.GenTeardown(b, l); }),
        "TEARDOWN rtsp://192.168.1.10/live/ch1 RTSP/1.0\r\nCSeq: 3\r\nSession: ABCD\r\n" + kAgent);
    EXPECT_EQ(rtsp.m_cseq, 3u);
}

TEST_F(RtspRequest, OverlongFieldsWithoutTerminatorStayInsideTheBuffer) {
    memset(rtsp.m_rtsp_server_addr, 'h', sizeof(rtsp.m_rtsp_server_addr));
    memset(rtsp.m_movie_name, 'm', sizeof(rtsp.m_movie_name));
    memset(rtsp.m_rtsp_session_id, 's', sizeof(rtsp.m_rtsp_session_id));
    memset(rtsp.m_sdp_info.videoTrack, 't', sizeof(rtsp.m_sdp_info.videoTrack));
    const std::string play = PlayText(-3.4e38f, 3.4e38f, true, -3.4e38f, -2147483647);
    EXPECT_EQ(
        play.find("PLAY rtsp://" + std::string(128, 'h') + "/" + std::string(512, 'm') + '\0'), 0u);
    EXPECT_NE(play.find("Session: " + std::string(128, 's') + "\r\n" + kAgent), std::string::npos);
    EXPECT_NE(SetupText().find("/" + std::string(128, 't') + " RTSP/1.0"), std::string::npos);
}

TEST_F(RtspRequest, SendersPutExactlyTheComposedBytesOnTheSocket) {
    SocketPair pair;
    rtsp.m_rtsp_socket = pair.ours;
    memset(rtsp.m_rtsp_buffer, 'X', sizeof(rtsp.m_rtsp_buffer));
    ASSERT_EQ(rtsp.SendDescribe(), 0);
    EXPECT_EQ(ReadAvailable(pair.peer).substr(0, 9), "DESCRIBE ");
    EXPECT_EQ(rtsp.m_rtsp_buffer[rtsp.m_rtsp_buffer_len + 1], 'X');  // written over, not cleared

    ASSERT_EQ(rtsp.SendDoPlay(2, 0, false, 0, 0), 0);
    EXPECT_EQ(ReadAvailable(pair.peer),
              "PLAY rtsp://192.168.1.10/live/ch1\0 RTSP/1.0\r\nCSeq: 2\r\n"s +
                  Skipped("Scale: 2.000000\r\n") +
                  "x-prebuffer: maxtime=0.000000\r\nSession: \r\n" + kAgent);
    EXPECT_EQ(rtsp.m_rtsp_buffer[rtsp.m_rtsp_buffer_len + 1], '\0');  // cleared first

    ASSERT_EQ(rtsp.SendOptionsReply(), 0);
    EXPECT_EQ(ReadAvailable(pair.peer).size(), 45u);
    ASSERT_EQ(rtsp.SendOk(), 0);
    EXPECT_EQ(ReadAvailable(pair.peer), "RTSP/1.0 200 ok\r\nCSeq: 3\r\nSession: \r\n\r\n");
    for (auto send :
         {&CRTSPProtocol::SendSetup, &CRTSPProtocol::SendPause, &CRTSPProtocol::SendTeardown}) {
        ASSERT_EQ((rtsp.*send)(), 0);
        std::string got = ReadAvailable(pair.peer);
        EXPECT_EQ(got, std::string(rtsp.m_rtsp_buffer, rtsp.m_rtsp_buffer_len));
        EXPECT_NE(got.find("CSeq: " + std::to_string(rtsp.m_cseq) + "\r\n"), std::string::npos);
    }
    EXPECT_EQ(rtsp.m_cseq, 6u);
}

TEST_F(RtspRequest, FailedSendsReturnMinusOneAndLogTheirSocket) {
    LogCapture log;
    rtsp.m_rtsp_socket = 0;
    EXPECT_EQ(rtsp.SendTeardown(), -1);  // nothing is composed or sent without a connection
    EXPECT_EQ(rtsp.m_cseq, 0u);

    SocketPair pair;
    rtsp.m_rtsp_socket = pair.ours;
    close(pair.peer);
    pair.peer = -1;
    // The peer is gone: no SIGPIPE, just -1.
    EXPECT_EQ(rtsp.SendSetup(), -1);
    EXPECT_EQ(rtsp.SendTeardown(), -1);
    EXPECT_EQ(rtsp.SendOk(), -1);
    rtsp.m_rtsp_socket = -1;
    EXPECT_EQ(rtsp.SendDescribe(), -1);
    EXPECT_EQ(rtsp.SendDoPlay(0, 0, false, 0, 0), -1);
    EXPECT_EQ(rtsp.SendPause(), -1);
    EXPECT_EQ(rtsp.SendOptionsReply(), -1);
    const std::string sock = std::to_string(pair.ours);
    for (const char* line : {"[SendDescribe] SendDescribe failed:socket=-1 \r\n",
                             "[SendDoPlay] SendDoPlay failed:socket=-1 \r\n",
                             "[SendPause] SendPause failed:socket=-1 \r\n",
                             "[SendOptionsReply] SendOptionsReply failed:socket=-1 \r\n"}) {
        EXPECT_NE(log.text().find(line), std::string::npos) << line;
    }
    EXPECT_NE(log.text().find("[SendSetup] SendSetup failed:socket=" + sock + " \r\n"),
              std::string::npos);
    EXPECT_EQ(log.text().find("Teardown"), std::string::npos);
}
