// Every parser against random bytes and against real replies cut at every length, each in a
// heap block of exactly that size with no terminator behind it, so the address sanitizer
// catches any access past the end.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "rtsp/RTSPProtocol.h"
#include "support/Loopback.h"

namespace {
const std::vector<std::string> kRealReplies = {
    "RTSP/1.0 200 OK\r\nContent-Length: 300\r\n\r\nv=0\r\na=control:*\r\na=range:npt=0-3600\r\n"
    "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 sprop-parameter-sets=Z0IA,aM4=\r\n"
    "a=control:trackID=1\r\na=framerate:25\r\na=cliprect:0,0,576,704\r\nm=audio 0 RTP/AVP 97\r\n"
    "a=rtpmap:97 mpeg4-generic/8000/1\r\na=fmtp:97 mode=AAC-hbr\r\na=control:trackID=2\r\n",
    "RTSP/1.0 200 OK\r\nSession: 12345678;timeout=60\r\nTransport: RTP/AVP;unicast;"
    "client_port=5000-5001;server_port=6970-6971;ssrc=0000ABCD\r\n\r\n",
    "RTSP/1.0 200 OK\r\nRTP-Info: url=rtsp://h/m/trackID=1;seq=100;rtptime=3000\r\n\r\n",
    "SET_PARAMETER rtsp://h/m RTSP/1.0\r\nContent-length: 3\r\n\r\nEOS"};

// Pieces that reach deep into the parsers, separated by '|', mixed with raw bytes below.
const std::string kPieces =
    "\r\n|\r\n\r\n|m=video 0 RTP/AVP |m=audio 0 RTP/AVP |a=rtpmap:|H264/|MP4V-ES/|mpeg4-generic/|"
    "MPA/|a=fmtp:|a=control:|a=range:npt=|a=framerate:|a=cliprect:|client_port=|Session:|ssrc=|"
    "seq=|EOS|Content-Length:|-|;|,| |0|99999999999999|" +
    std::string(1, '\0') + "|" + std::string(200, 'A');

std::vector<std::string> Pieces() {
    std::vector<std::string> pieces{""};
    for (char c : kPieces) {
        if (c == '|') {
            pieces.emplace_back();
        } else {
            pieces.back().push_back(c);
        }
    }
    return pieces;
}

void FeedEveryParser(CRTSPProtocol& rtsp, const std::string& text) {
    for (auto parse : {&CRTSPProtocol::GetContentLength, &CRTSPProtocol::ParseSdp,
                       &CRTSPProtocol::ParseSetupReply, &CRTSPProtocol::ParseDoPlayReply,
                       &CRTSPProtocol::ParseSetParameterRequest}) {
        std::unique_ptr<char[]> exact(new char[text.size()]);
        memcpy(exact.get(), text.data(), text.size());
        (rtsp.*parse)(exact.get(), static_cast<int>(text.size()));
    }
    rtsp.m_rtsp_state ^= eWaitIsmaVSetupResponse ^ eWaitIsmaASetupResponse;  // both media
}
}  // namespace

TEST(ParserRobustness, RealRepliesCutAtEveryLengthAndRandomBytes) {
    playersdk::test::LogCapture log;  // the PLAYs answering SET_PARAMETER fail and log here
    CRTSPProtocol rtsp;
    rtsp.m_rtsp_state = eWaitIsmaVSetupResponse;
    for (const std::string& reply : kRealReplies) {
        for (size_t len = 0; len <= reply.size(); ++len) {
            FeedEveryParser(rtsp, reply.substr(0, len));
        }
    }
    const std::vector<std::string> pieces = Pieces();
    std::mt19937 rng(20240601);
    for (int i = 0; i < 3000; ++i) {
        std::string text;
        for (int n = static_cast<int>(rng() % 40); n > 0; --n) {
            text += rng() % 3 ? pieces[rng() % pieces.size()]
                              : std::string(1, static_cast<char>(rng()));
        }
        FeedEveryParser(rtsp, text);
    }
    EXPECT_LT(strnlen(rtsp.m_rtsp_session_id, 128), 128u);
    EXPECT_LT(strnlen(rtsp.m_sdp_info.videoTrack, 128), 128u);
    EXPECT_LT(strnlen(rtsp.m_sdp_info.audioTrack, 128), 128u);
}
