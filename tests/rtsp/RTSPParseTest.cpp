#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "rtsp/NetPlayer.h"
#include "support/Loopback.h"
#include "support/ReproInput.h"

using namespace playersdk::test;

namespace {
const std::string kDescribeReply =
    "RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Type: application/sdp\r\nContent-Length: 512\r\n\r\n"
    "v=0\r\no=- 1 1 IN IP4 192.168.1.10\r\ns=Session streamed by camera\r\n"
    "a=control:*\r\n"
    "a=range:npt=0-3600\r\n"
    "m=video 0 RTP/AVP 96\r\n"
    "a=fmtp:96 packetization-mode=1;sprop-parameter-sets=Z0IAH5Wo,aM48gA==\r\n"
    "a=rtpmap:96 H264/90000\r\n"
    "a=control:trackID=1\r\na=framerate:25\r\na=cliprect:0, 0,576 ,704\r\n"
    "m=audio 0 RTP/AVP 97\r\n"
    "a=rtpmap:97 mpeg4-generic/8000/1\r\n"
    "a=fmtp:97 streamtype=5;mode=AAC-hbr;config=1588\r\n"
    "a=control: trackID=2\r\n";

// Runs a parser over a copy of text, in place as the engine does; returns its result.
template <typename Parser>
int Parse(CRTSPProtocol& rtsp, Parser parser, std::string& text) {
    return (rtsp.*parser)(text.data(), static_cast<int>(text.size()));
}
}  // namespace

TEST(GetContentLength, FindsBothSpellingsOnlyInsideTheHeaders) {
    CRTSPProtocol rtsp;
    std::string upper = kDescribeReply;
    EXPECT_EQ(Parse(rtsp, &CRTSPProtocol::GetContentLength, upper), 512);
    EXPECT_EQ(upper, kDescribeReply);  // the header end is put back
    std::string lower = "RTSP/1.0 200 OK\r\nContent-length:  77\r\n\r\nv=0\r\n";
    EXPECT_EQ(Parse(rtsp, &CRTSPProtocol::GetContentLength, lower), 77);
    std::string noHeaderEnd = "RTSP/1.0 200 OK\r\nContent-Length: 12";
    EXPECT_EQ(Parse(rtsp, &CRTSPProtocol::GetContentLength, noHeaderEnd), 12);
    std::string other = "RTSP/1.0 200 OK\r\ncontent-length: 5\r\n\r\nContent-Length: 9\r\n";
    EXPECT_EQ(Parse(rtsp, &CRTSPProtocol::GetContentLength, other), -1);
    EXPECT_EQ(other.substr(34, 4), std::string("\0\n\r\n", 4));  // the cut stays
}

TEST(ParseSdp, CameraDescriptionFillsBothMedia) {
    CRTSPProtocol rtsp;
    std::string reply = kDescribeReply;
    ASSERT_EQ(Parse(rtsp, &CRTSPProtocol::ParseSdp, reply), 0);
    const t_sSdp& sdp = rtsp.m_sdp_info;
    EXPECT_EQ(std::make_tuple(sdp.videoPayLoadType, sdp.audioPayLoadType, sdp.u4videoTimescale,
                              sdp.u4audioTimescale, sdp.video_codec, sdp.audio_codec),
              std::make_tuple(96u, 97u, 90000u, 8000u, CODEC_ID_H264, CODEC_ID_AAC));
    EXPECT_STREQ(sdp.videoTrack, "trackID=1");
    EXPECT_STREQ(sdp.audioTrack, "trackID=2");
    EXPECT_EQ(sdp.s2videoTrackState + sdp.s2audioTrackState, -2);
    EXPECT_EQ(std::make_tuple(sdp.u4range, rtsp.m_end_time, sdp.frameRate),
              std::make_tuple(3600u, 3600.0f, 25u));
    EXPECT_EQ(std::make_pair(sdp.u1videoWith, sdp.u1videoHeight), std::make_pair(576u, 704u));
    EXPECT_STREQ(sdp.u1videoConfig,
                 "fmtp:96 packetization-mode=1;sprop-parameter-sets=Z0IAH5Wo,aM48gA==");
    EXPECT_STREQ(sdp.u1audioConfig, "fmtp:97 streamtype=5;mode=AAC-hbr;config=1588");
    // Lines whose encoding was recognised keep a NUL where their line end began.
    const size_t cut = reply.find("H264/90000") + 10;
    EXPECT_EQ(reply[cut], '\0');
    EXPECT_EQ(reply.substr(0, cut), kDescribeReply.substr(0, cut));
}

TEST(ParseSdp, Mpeg4VideoSessionControlPortsRangeAndASecondDescription) {
    CRTSPProtocol rtsp;
    std::string first =
        "RTSP/1.0 200 OK\r\n\r\na=control:rtsp://192.168.1.10/live\r\n"
        "m=video 0 RTP/AVP 96\r\na=rtpmap:96 MP4V-ES/90000\r\n"
        "a=fmtp:96 config=000001B0\r\na=range:npt=0.000-3600.000\r\n"
        "m=audio 5000 RTP/AVP 8\r\na=rtpmap:8 MPA/90000\r\n";
    ASSERT_EQ(Parse(rtsp, &CRTSPProtocol::ParseSdp, first), 0);
    EXPECT_EQ(rtsp.m_sdp_info.video_codec, CODEC_ID_MPEG4);
    EXPECT_EQ(rtsp.m_sdp_info.u4videoTimescale, 0u);  // never taken from the SDP
    EXPECT_STREQ(rtsp.m_sdp_info.videoTrack, "");     // the session-level control is ignored
    EXPECT_EQ(rtsp.m_sdp_info.u4range, 0u);           // "0.000-..." stops at the "."
    EXPECT_EQ(rtsp.m_sdp_info.audioPayLoadType, 0u);  // only port 0 media lines are read
    EXPECT_EQ(rtsp.m_sdp_info.audio_codec, CODEC_ID_MP2);

    std::string second = "RTSP/1.0 200 OK\r\n\r\nm=video 0 RTP/AVP 97\r\na=fmtp:97 config=1\r\n";
    ASSERT_EQ(Parse(rtsp, &CRTSPProtocol::ParseSdp, second), 0);
    EXPECT_STREQ(rtsp.m_sdp_info.u1videoConfig, "fmtp:97 config=1");  // the old text is freed
    EXPECT_EQ(rtsp.m_sdp_info.video_codec, CODEC_ID_NONE);
    std::string noBody = "RTSP/1.0 200 OK\r\nm=video 0 RTP/AVP 99\r\n";
    EXPECT_EQ(Parse(rtsp, &CRTSPProtocol::ParseSdp, noBody), -1);
    EXPECT_EQ(rtsp.m_sdp_info.videoPayLoadType, 97u);
}

TEST(ParseSdp, BareControlLineGivesAnEmptyTrack) {
    CRTSPProtocol rtsp;
    std::string reply = ReproInput("rtsp_reply", "sdp-bare-control");
    ASSERT_EQ(Parse(rtsp, &CRTSPProtocol::ParseSdp, reply), 0);
    EXPECT_EQ(rtsp.m_sdp_info.videoPayLoadType, 96u);
    EXPECT_STREQ(rtsp.m_sdp_info.videoTrack, "");
}

TEST(ParseSetupReply, VideoAndAudioRepliesGivePortsSessionAndSsrc) {
    CRTSPProtocol rtsp;
    rtsp.m_rtsp_state = eWaitIsmaVSetupResponse;
    std::string video =
        "RTSP/1.0 200 OK\r\nCSeq: 2\r\nSession: 12345678;timeout=60\r\nTransport: RTP/AVP;"
        "unicast;client_port=5000-5001;server_port=6970-6971;ssrc=0000ABCD\r\n\r\n";
    EXPECT_EQ(Parse(rtsp, &CRTSPProtocol::ParseSetupReply, video), 0);
    EXPECT_EQ(rtsp.m_sdp_info.u2videoClientUdpPort, 5000);
    EXPECT_EQ(rtsp.m_sdp_info.u2videoServerUdpPort, 6970);
    EXPECT_EQ(rtsp.m_sdp_info.u1videoSSRC, 0x0000ABCDu);
    EXPECT_STREQ(rtsp.m_rtsp_session_id, "12345678");

    rtsp.m_rtsp_state = eWaitIsmaASetupResponse;
    std::string audio =
        "RTSP/1.0 200 OK\r\nsession: ab-cd\r\nTransport: RTP/AVP;SERVER_PORT= "
        "6972-6973;ssrc=1a2b3c4d\r\n";
    Parse(rtsp, &CRTSPProtocol::ParseSetupReply, audio);
    EXPECT_EQ(rtsp.m_sdp_info.u2audioServerUdpPort, 6972);
    EXPECT_EQ(rtsp.m_sdp_info.u1audioSSRC, 0x718293A4u);  // lower case counts as byte values
    EXPECT_STREQ(rtsp.m_rtsp_session_id, "ab");           // a "-" ends the identifier
    std::string shortSsrc = "Transport: RTP/AVP/TCP;interleaved=2-3;ssrc=1A2B\r\n";
    Parse(rtsp, &CRTSPProtocol::ParseSetupReply, shortSsrc);
    EXPECT_EQ(rtsp.m_sdp_info.u1audioSSRC, 0x1A2B0000u);  // left-aligned
    std::string longId = "Session: " + std::string(300, '7') + "\r\n";
    Parse(rtsp, &CRTSPProtocol::ParseSetupReply, longId);
    EXPECT_EQ(std::string(rtsp.m_rtsp_session_id), std::string(127, '7'));
}

TEST(ParseSetParameterRequest, EachEndOrStartWordSendsItsOwnPlay) {
    SocketPair pair;
    CRTSPProtocol rtsp;
    rtsp.m_rtsp_socket = pair.ours;
    rtsp.m_rtsp_netplayer_id = 3;
    std::string eos =
        "SET_PARAMETER rtsp://h/m RTSP/1.0\r\nCSeq: 9\r\nContent-Length: 3\r\n\r\nEOS";
    EXPECT_EQ(Parse(rtsp, &CRTSPProtocol::ParseSetParameterRequest, eos), 0);
    EXPECT_EQ(rtsp.m_rtsp_state, eWaitDoPlayResponse);
    EXPECT_EQ(g_netplayer_list[3].m_player_state, eLiving);
    EXPECT_EQ(ReadAvailable(pair.peer).find("PLAY rtsp://"), 0u);

    std::string both = "SET_PARAMETER rtsp://h/m RTSP/1.0\r\n\r\neos\r\nbos\r\n";
    Parse(rtsp, &CRTSPProtocol::ParseSetParameterRequest, both);
    const std::string sent = ReadAvailable(pair.peer);
    EXPECT_NE(sent.find("CSeq: 2\r\n"), std::string::npos);
    EXPECT_NE(sent.find("CSeq: 3\r\n"), std::string::npos);
    EXPECT_EQ(g_netplayer_list[3].m_player_state, eShiftTime);

    rtsp.m_rtsp_socket = -1;  // a PLAY that cannot be sent changes nothing
    rtsp.m_rtsp_state = ePlayingState;
    Parse(rtsp, &CRTSPProtocol::ParseSetParameterRequest, eos);
    EXPECT_EQ(rtsp.m_rtsp_state, ePlayingState);
    EXPECT_EQ(g_netplayer_list[3].m_player_state, eShiftTime);
    g_netplayer_list[3].m_player_state = 0;
}
