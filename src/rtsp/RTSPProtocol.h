// The lowest layer of the RTSP client: composes every message the client sends into one fixed
// send buffer and writes it to the RTSP socket, and reads replies and the session description.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "net/RTPSession.h"
#include "rtsp/Sdp.h"

enum eStreamingType {
    eISMA = 0,  // separate video and audio tracks
    eTS = 1     // one transport-stream track
};

enum eMediaFormat { eMPEG4 = 0, eH264 = 1 };

// The RTSP session state held in m_rtsp_state.
enum eRtspState {
    eDisConnect = 0,
    eConnect = 1,
    eWaitDescribeResponse = 2,
    eWaitIsmaVSetupResponse = 3,
    eWaitIsmaASetupResponse = 4,
    eWaiTsSetupResponse = 5,
    eWaitDoPlayResponse = 6,
    eWaitRTPPkt = 7,
    eWaitPauseResponse = 8,
    eWaitScaleResponse = 9,
    eWaitSeekResponse = 10,
    eWaitSpeedResponse = 11,
    eWaitFrameResponse = 12,
    eWaitGetParameterResponse = 13,
    eWaitTeardownResponse = 14,
    ePauseState = 15,
    ePlayingState = 16
};

namespace playersdk {
// Size of the RTSP send and receive buffers. Every generator's `buf` must hold this many bytes.
constexpr int kRtspBufferSize = 4086;
}  // namespace playersdk

class CRTSPProtocol {
public:
    CRTSPProtocol();
    virtual ~CRTSPProtocol();
    CRTSPProtocol(const CRTSPProtocol&) = delete;
    CRTSPProtocol& operator=(const CRTSPProtocol&) = delete;

    // Generators: compose one message into buf (kRtspBufferSize bytes) and set *len; return 0.
    // A message that would not fit the buffer is refused with *len 0.
    int GenDescribe(char* buf, int* len);
    int GenSetup(char* buf, int* len);
    int GenDoPlay(char* buf, int* len, float scale, float speed, bool range, float start,
                  int curFrame);
    int GenPause(char* buf, int* len);
    int GenTeardown(char* buf, int* len);
    int GenOptionsReply(char* buf, int* len);
    int GenOk(char* buf, int* len);

    // Senders: compose into m_rtsp_buffer and send it on m_rtsp_socket. 0 or -1.
    int SendDescribe();
    int SendSetup();
    int SendDoPlay(float scale, float speed, bool range, float start, int curFrame);
    int SendPause();
    int SendTeardown();
    int SendOptionsReply();
    int SendOk();

    // Parsers of received text. They read only buf[0, len) (no NUL terminator is needed) and
    // work in place: GetContentLength and ParseSdp may write NUL bytes into the text.
    // Content-Length of the header block, or -1.
    int GetContentLength(char* buf, int len);
    // Reads the SDP body into m_sdp_info; -1 when the text holds no header end.
    int ParseSdp(char* buf, int len);
    // Ports, session id and SSRC of a SETUP reply (video while the state is
    // eWaitIsmaVSetupResponse, else audio). Returns 0.
    int ParseSetupReply(char* buf, int len);
    // Scans a PLAY reply's RTP-Info; nothing is kept. Returns 0.
    int ParseDoPlayReply(char* buf, int len);
    // Answers each end-of-stream ("EOS") or start-of-stream ("BOS") word with a PLAY.
    // Returns 0.
    int ParseSetParameterRequest(char* buf, int len);

    int16_t m_rtsp_netplayer_id;   // index into g_netplayer_list
    CRTPSession m_rtp_session[2];  // [0] video, [1] audio
    eStreamingType m_streaming_type;
    int m_rtsp_socket;  // -1 when none
    // eRtspState; the session engine's receive thread and its requesters both use it.
    std::atomic<int16_t> m_rtsp_state;
    t_sSdp m_sdp_info;
    char m_rtsp_server_addr[128];
    int m_rtsp_server_port;
    char m_movie_name[512];  // URL path without the leading "/"
    char m_rtsp_session_id[128];
    float m_xprebuffer_time;
    float m_start_time;
    float m_end_time;
    uint32_t m_cseq;  // last CSeq used
    char m_rtsp_buffer[playersdk::kRtspBufferSize];
    int m_rtsp_buffer_len;
    // The send buffer, the CSeq and the session id: the application's requests and the
    // receive thread's resends, answers and reply parsing share them.
    pthread_mutex_t m_mutexSend;
    int m_iLocalUdpPort;  // next local UDP port offered by a UDP SETUP
    double m_offset_live_time;
    double m_base_rtp_time;
    double m_base_sys_time;
    eMediaFormat m_media_Format;
};
