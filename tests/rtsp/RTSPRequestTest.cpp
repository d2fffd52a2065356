#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "rtsp/RTSPProtocol.h"
#include "support/Loopback.h"

using namespace std::string_literals;
using namespace playersdk::test;

namespace {
const std::string kAgent = "User-Agent: zuplayer\r\n\r\n";
const std::string kPlayTail = "x-prebuffer: maxtime=0.000000\r\nSession: \r\n" + kAgent;
std::string PlayHead(int cseq) {
    return "PLAY rtsp://192.168.1.10/live/ch1\0 RTSP/1.0\r\nCSeq: "s + std::to_string(cseq) +
           "\r\n";
}
// "PLAY rtsp://192.168.1.10/live/ch1" is 33 characters: after Scale or Speed the next line
// starts 33 bytes after the line start, the rest being zero.
std::string Skipped(const std::string& line) {
    return line + std::string(33 - line.size(), '\0');
}

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
    // What a generator composes into a dirty buffer.
    template <typename Gen>
    std::string Compose(Gen gen) {
        char buf[playersdk::kRtspBufferSize];
        memset(buf, 'Z', sizeof(buf));
        int len = -1;
        EXPECT_EQ((rtsp.*gen)(buf, &len), 0);
        return std::string(buf, static_cast<size_t>(len));
    }
    std::string Play(float scale, float speed, bool range, float start, int frame) {
        char buf[playersdk::kRtspBufferSize];
        int len = 0;
        rtsp.GenDoPlay(buf, &len, scale, speed, range, start, frame);
        return std::string(buf, static_cast<size_t>(len));
    }
    CRTSPProtocol rtsp;
};
}  // namespace

TEST_F(RtspRequest, DescribeNamesThePortOnlyWhenItIsNot554) {
    const std::string rest =
        " RTSP/1.0\r\nCSeq: 1\r\nAccept: application/sdp\r\nAccept-Language: en-US\r\n";
    EXPECT_EQ(Compose(&CRTSPProtocol::GenDescribe),
              "DESCRIBE rtsp://192.168.1.10/live/ch1" + rest + kAgent);
    rtsp.m_rtsp_server_port = 8554;
    rtsp.m_cseq = 0;
    EXPECT_EQ(Compose(&CRTSPProtocol::GenDescribe),
              "DESCRIBE rtsp://192.168.1.10:8554/live/ch1" + rest + kAgent);
}

TEST_F(RtspRequest, SetupAsksForInterleavedChannelsOrTheNextLocalUdpPortPair) {
    const std::string head = "SETUP rtsp://192.168.1.10/live/ch1/trackID=";
    EXPECT_EQ(Compose(&CRTSPProtocol::GenSetup),
              head + "1 RTSP/1.0\r\nCSeq: 1\r\nTransport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n" +
                  kAgent);
    rtsp.m_sdp_info.s2videoTrackState = 0;
    strcpy(rtsp.m_rtsp_session_id, "12345678");
    EXPECT_EQ(Compose(&CRTSPProtocol::GenSetup),
              head + "2 RTSP/1.0\r\nCSeq: 2\r\nTransport: RTP/AVP/TCP;unicast;interleaved=2-3\r\n" +
                  "Session: 12345678\r\n" + kAgent);
    EXPECT_EQ(rtsp.m_rtp_session[1].m_tcp_channel, 2);

    rtsp.m_rtp_session[0].m_transport_protocal = rtsp.m_rtp_session[1].m_transport_protocal = 2;
    rtsp.m_iLocalUdpPort = 5000;
    rtsp.m_sdp_info.s2videoTrackState = -1;
    rtsp.m_rtsp_session_id[0] = '\0';
    EXPECT_EQ(Compose(&CRTSPProtocol::GenSetup),
              head +
                  "1 RTSP/1.0\r\nCSeq: 3\r\nTransport: RTP/AVP;unicast;client_port=5000-5001\r\n" +
                  kAgent);
    rtsp.m_sdp_info.s2videoTrackState = 0;
    EXPECT_NE(Compose(&CRTSPProtocol::GenSetup).find(";client_port=5002-5003\r\nUser"),
              std::string::npos);
    EXPECT_EQ(rtsp.m_iLocalUdpPort, 5004);
    EXPECT_EQ(rtsp.m_sdp_info.u2videoClientUdpPort, 5000);
    EXPECT_EQ(rtsp.m_sdp_info.u2audioClientUdpPort, 5002);
    rtsp.m_rtp_session[1].m_transport_protocal = 3;  // no Transport line at all
    EXPECT_EQ(Compose(&CRTSPProtocol::GenSetup).find("Transport"), std::string::npos);
}

TEST_F(RtspRequest, PlayKeepsTheNulAfterTheMovieAndTheSkippedGapAfterScaleAndSpeed) {
    EXPECT_EQ(Play(0, 0, false, 0, 0), PlayHead(1) + kPlayTail);
    EXPECT_EQ(Play(2, 0, false, 0, 0), PlayHead(2) + Skipped("Scale: 2.000000\r\n") + kPlayTail);
    EXPECT_EQ(Play(0, -1, false, 0, 0), PlayHead(3) + Skipped("Speed: -1.000000\r\n") + kPlayTail);
    EXPECT_EQ(Play(0.5f, 4, true, 10, 25),
              PlayHead(4) + Skipped("Scale: 0.500000\r\n") + Skipped("Speed: 4.000000\r\n") +
                  "CurFrame: 25\r\nRange: npt=10.000000-0.000000\r\n" + kPlayTail);
    rtsp.m_end_time = 3600;
    EXPECT_EQ(Play(0, 0, true, -1.0f, 0), PlayHead(5) + "Range: npt=now-" + kPlayTail);
    EXPECT_NE(Play(0, 0, true, 5, 0).find("\r\nRange: npt=5.000000-3600.000000\r\nx-"),
              std::string::npos);
    // With a URL shorter than the Scale line the next header writes over its line end.
    strcpy(rtsp.m_rtsp_server_addr, "h");
    strcpy(rtsp.m_movie_name, "m");
    EXPECT_NE(Play(2, 0, false, 0, 0).find("\r\nScale: 2.000000x-prebuffer"), std::string::npos);
}

TEST_F(RtspRequest, PauseOkOptionsReplyAndTeardownCountTheirCSeqs) {
    strcpy(rtsp.m_rtsp_session_id, "ABCD");
    EXPECT_EQ(
        Compose(&CRTSPProtocol::GenPause),
        "PAUSE rtsp://192.168.1.10/live/ch1 RTSP/1.0\r\nCSeq: 1\r\nSession: ABCD\r\n" + kAgent);
    EXPECT_EQ(Compose(&CRTSPProtocol::GenOk),
              "RTSP/1.0 200 ok\r\nCSeq: 2\r\nSession: ABCD\r\n\r\n");
    EXPECT_EQ(Compose(&CRTSPProtocol::GenOptionsReply),
              "RTSP/1.0 501 \xCE\xB4\xCA\xB5\xCF\xD6\r\n\r\n" + std::string(22, '\0'));
    EXPECT_EQ(
        Compose(&CRTSPProtocol::GenTeardown),
        "TEARDOWN rtsp://192.168.1.10/live/ch1 RTSP/1.0\r\nCSeq: 3\r\nSession: ABCD\r\n" + kAgent);
}

TEST_F(RtspRequest, UnterminatedFieldsAndExtremeNumbersStayInsideTheBuffer) {
    memset(rtsp.m_rtsp_server_addr, 'h', sizeof(rtsp.m_rtsp_server_addr));
    memset(rtsp.m_movie_name, 'm', sizeof(rtsp.m_movie_name));
    memset(rtsp.m_rtsp_session_id, 's', sizeof(rtsp.m_rtsp_session_id));
    memset(rtsp.m_sdp_info.videoTrack, 't', sizeof(rtsp.m_sdp_info.videoTrack));
    const std::string play = Play(-3.4e38f, 3.4e38f, true, -3.4e38f, -2147483647);
    EXPECT_EQ(
        play.find("PLAY rtsp://" + std::string(128, 'h') + "/" + std::string(512, 'm') + '\0'), 0u);
    EXPECT_NE(play.find("Session: " + std::string(128, 's') + "\r\n" + kAgent), std::string::npos);
    EXPECT_NE(Compose(&CRTSPProtocol::GenSetup).find(std::string(128, 't') + " RTSP"),
              std::string::npos);
}

TEST_F(RtspRequest, SendersPutTheComposedBytesOnTheSocket) {
    SocketPair pair;
    rtsp.m_rtsp_socket = pair.ours;
    memset(rtsp.m_rtsp_buffer, 'X', sizeof(rtsp.m_rtsp_buffer));
    ASSERT_EQ(rtsp.SendDescribe(), 0);
    EXPECT_EQ(ReadAvailable(pair.peer).substr(0, 25), "DESCRIBE rtsp://192.168.1");
    EXPECT_EQ(rtsp.m_rtsp_buffer[rtsp.m_rtsp_buffer_len + 1], 'X');  // written over, not cleared
    ASSERT_EQ(rtsp.SendDoPlay(2, 0, false, 0, 0), 0);
    EXPECT_EQ(ReadAvailable(pair.peer), PlayHead(2) + Skipped("Scale: 2.000000\r\n") + kPlayTail);
    ASSERT_EQ(rtsp.SendOptionsReply(), 0);
    EXPECT_EQ(ReadAvailable(pair.peer).size(), 45u);
    for (auto send : {&CRTSPProtocol::SendSetup, &CRTSPProtocol::SendPause, &CRTSPProtocol::SendOk,
                      &CRTSPProtocol::SendTeardown}) {
        ASSERT_EQ((rtsp.*send)(), 0);
        EXPECT_EQ(ReadAvailable(pair.peer),
                  std::string(rtsp.m_rtsp_buffer, rtsp.m_rtsp_buffer_len));
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
    close(pair.peer);  // gone: -1, and no SIGPIPE
    pair.peer = -1;
    EXPECT_EQ(
        rtsp.SendSetup() + rtsp.SendDoPlay(0, 0, false, 0, 0) + rtsp.SendTeardown() + rtsp.SendOk(),
        -4);
    rtsp.m_rtsp_socket = -1;
    EXPECT_EQ(rtsp.SendDescribe() + rtsp.SendPause() + rtsp.SendOptionsReply(), -3);
    EXPECT_NE(log.text().find("[SendSetup] SendSetup failed:socket=" + std::to_string(pair.ours) +
                              " \r\n"),
              std::string::npos);
    EXPECT_NE(log.text().find("[SendDescribe] SendDescribe failed:socket=-1 \r\n"),
              std::string::npos);
    EXPECT_EQ(log.text().find("Teardown"), std::string::npos);  // these two fail quietly
    EXPECT_EQ(log.text().find("SendOk"), std::string::npos);
}
