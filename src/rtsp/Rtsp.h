// CRtsp: the RTSP engine of one URL play. The play hands it requests (DESCRIBE, SETUP, PLAY,
// PAUSE and the trick-play variants of PLAY, TEARDOWN); its receive thread reads everything the
// server sends on the RTSP connection, walks DESCRIBE -> SETUP -> PLAY, resends and times out,
// cuts interleaved RTP/RTCP frames out of the stream, and reports upward through one hook
// with the session's one rtsp_sdp_info record.
#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string_view>

#include "base/Types.h"
#include "rtsp/ConnectionReader.h"
#include "rtsp/InterleavedDemux.h"
#include "rtsp/NetPlayer.h"
#include "rtsp/ReplyAssembler.h"
#include "rtsp/StatusLineReader.h"

enum eRtspRequestType {
    RTSP_GETINFO_REQ = 1,  // DESCRIBE
    RTSP_SETUP_REQ = 2,
    RTSP_PLAY_REQ = 3,
    RTSP_PAUSE_REQ = 4,
    RTSP_SCALE_REQ = 5,
    RTSP_SPEED_REQ = 6,
    RTSP_SEEK_REQ = 7,
    RTSP_TEARDOWN_REQ = 8,
    RTSP_APPFRAME_REQ = 9
};

// A request from the play to its engine; the play fills it before each RTSPRequest.
typedef struct rtsp_request_info {
    eRtspRequestType type;
    char URL[128];
    int Param;  // first local UDP port to offer in SETUP
    char User_Id[128];
    int SocketMark;
    char Scale_N[128];    // "+2", "-1.5"
    char SeekTime[128];   // "r=120", "r=now"
    char Speed_N[128];    // "+2", "-0.5"
    char SeekFrame[128];  // "f=25"
} RTSPRequest_Info;

enum eRtspReplyType {
    RTSP_PLAY_REPLAY = 1,
    RTSP_STREAM_CUT = 2,
    RTSP_STREAM_RECV_ERROR = 3,
    RTSP_SERVER_SHUTUP = 4,
    RTSP_RTP_DATA = 5,
    RTSP_RTCP_DATA = 6,
    RTSP_CALC_FRAMERATE = 7
};

typedef struct rtp_media_data {
    int MediaType;
    unsigned char* MediaBuf;
    uint32_t ts;  // left unset: receivers read the time stamp from the RTP header
    int MediaLen;
} cm_media_data_t;

// The one record by which the engine reports upward, passed by address on every report.
typedef struct rtsp_sdp_info {
    eRtspReplyType r_type;
    uint32_t videoPayLoadType;
    uint32_t audioPayLoadType;
    uint32_t FrameRate;
    cm_media_data_t media_data;
    uint32_t VideoTimescale;
    uint32_t AudioTimescale;
    char VideoConfig[1024];
    char AudioConfig[1024];
    uint32_t range;
    uint16_t Audiomode;
    int A_Config;
    int Error_Code;
    int Socketmark;
    void* pNetPlay;
    void* pCon;
    uint16_t NRUUdp_V_Port;
    uint16_t NRUUdp_A_Port;
    uint16_t Client_V_Port;
    uint16_t Client_A_Port;
    char RTSPSessionId[128];
    uint32_t VideoSSRC;
    uint32_t AudioSSRC;
    int TranType;
    uint32_t VideoWidth;
    uint32_t VideoHeight;
} RSDP_info;

typedef int (*RNotifyHandle)(rtsp_sdp_info* info);

// Trick-play parameters kept between requests; the engine uses the four parameters only.
typedef struct S_local_msg {
    uint16_t u2_netplayer_id;
    uint16_t u2_msg_type;
    bool bSignal;
    float s4_msg_parm1;  // scale
    float s4_msg_parm3;  // speed
    int s4_msg_parm2;    // position in seconds, -1 for "now"
    int s4_msg_parm4;    // frame number
    uint32_t u4_msg_buffer_len;
    unsigned char* u1_msg_buffer;
} t_sMsg;

// The detail code (Error_Code) of an upward report; what it means depends on the report type.
enum eRtspDetailCode {
    RTSP_DETAIL_NONE = 0,
    RTSP_DETAIL_TIMEOUT = 1,       // no data, or no reply line, for too long
    RTSP_DETAIL_REPLY_FAILED = 3,  // the reply line reader failed
    RTSP_DETAIL_BROKEN = 4,        // a request could not go out or a reply could not be read
    RTSP_DETAIL_FINISHED = 6       // the server ended the stream (RTCP BYE or a notice)
};

enum eRtspStatusCode {
    NOT_RTSPMESSAGE = 1,
    RTSP_200 = 200,
    RTSP_400 = 400,
    RTSP_404 = 404,
    RTSP_500 = 500,
    RTSP_461 = 461,
    RTSP_SET_PARAMETER_800 = 800,
    RTSP_SET_PARAMETER_801 = 801,
    RTSP_ANNOUNCE_2101 = 2101,
    RTSP_ANNOUNCE_2102 = 2102
};

enum eRtspSendDataType { RTSP_RTCP_RR = 1 };

// Receive thread entry: runs RecvTcpPacket of the CRtsp given.
void* HandleRecvEventThread(void* rtsp);

class CRtsp : public CNetPlayer {
public:
    CRtsp();
    virtual ~CRtsp();
    CRtsp(const CRtsp&) = delete;
    CRtsp& operator=(const CRtsp&) = delete;

    // Connects and starts the receive thread; the RTSP socket, or -1.
    int InitRTSP(char* url, int transType, void* pNetPlay, void* pCon);
    // 0 sent, -1 not sent, -3 the previous trick request is still unanswered.
    int RTSPRequest(rtsp_request_info* req);
    // Stops the thread and closes the socket; no report is delivered afterwards.
    void DestoryRtsp();
    float GetTcpFlux();

    int ParseURL(char* url);
    int SendDescribeReq();
    int SendSetUpReq();
    // Acts on one whole SETUP reply (parsed in place): 0 for 200, else the status.
    int RecSetUpResp(char* reply, int len);
    int Play();
    int Pause();
    int Scale(char* scale, char* seek);
    int Seek(char* seek);
    int Speed(char* speed, char* seek);
    int AppFrame(char* frame);
    int Teardown();
    // Reads the status line of the awaited reply from the received bytes: 1 while it is
    // incomplete, 0 for 200, the status otherwise, -1 when the line cannot be read.
    int tcp_RecRTSPResp();
    int RecvTcpPacket();
    int UDP_OperateResp();

    // Streaming phase: every interleaved frame and notice in the received bytes. Returns 0.
    int dealRtpAndRtcpPack();
    // Acts on one server notice (the text behind ANNOUNCE): 0 when it ended the stream, else 1.
    int dealRtspPack(std::string_view notice);
    // 2101 or 2102 for the end-of-stream notice found in the text, -1 otherwise.
    int paraAnnounce(std::string_view notice);
    int RTSPAckCode(char* text);
    void NotifyToUp(eRtspReplyType type, int code);
    void CalcFlux();
    int SendData(char* data, int len, eRtspSendDataType type);

    char m_rtsp_buf[playersdk::kRtspBufferSize];  // replies
    char m_rtp_buf[playersdk::kRtspBufferSize];   // an interleaved packet that came in pieces
    char URL[128];
    int sPort;
    char server_addr[128];
    char movie_name[512];
    char user_id[128];
    t_sMsg local_msg;
    char scale_n[128];
    char speed_n[128];
    char seektime[128];
    char seekframe[128];
    std::atomic<int> ErrorCode;  // last status code, -1 while waiting
    pthread_t m_playThread;
    std::atomic<BOOL> m_bPlayThreadRun;
    std::atomic<int> m_closeThread;
    void* m_pContainer;
    std::atomic<float> m_TotalFlux;  // RTP payload of the running second, in 128-byte units
    std::atomic<float> m_flux;       // the last whole second's figure
    std::atomic<RNotifyHandle> m_RTSPNotifyHandle;
    DWORD m_TimeOutTime;
    DWORD fluxtimer;
    DWORD m_rtspTimeOutTime;
    std::atomic<DWORD> m_desribeSendTime;
    std::atomic<DWORD> m_SetupSendTime;
    RSDP_info m_sdpinfo;
    eSetupType m_setupType;
    sem_t m_semSendReq;
    // The receive thread's own: the connection's bytes and the step machines they go through.
    CConnectionReader m_reader;
    CInterleavedDemux m_demux;
    CStatusLineReader m_replyLine;
    CReplyAssembler m_reply;  // the DESCRIBE or SETUP reply

private:
    template <class Send>
    int SendInState(int nextState, Send send);
    int Dispatch(rtsp_request_info* req);
    int SendTrickPlay(float scale, float speed, float start, int curFrame, int nextState);
    void RecvLoopPass();
    int WaitMs(DWORD now) const;
    bool SilenceEndsSession(int state) const;
    bool ResendIfDue();
    void OnSelectIdle(int result, DWORD now);
    void ServeReceived(DWORD now);
    void ServeState(int state, DWORD now);
    void OnDescribeReply();
    void OnDescribeComplete();
    void OnSetupReply();
    void OnTrickReply(DWORD now);
    void OnStreaming(DWORD now);
    int ReplyLineDone();
    int ReplyReadFailed(ssize_t got);
    void FrameReadFailed();
    void OnFrameComplete(const DemuxEvent& frame);
    // Frees the fmtp texts of the parsed description and forgets them.
    void FreeSdpConfigs();
    // Ends the session from the receive thread: the waiting requester is released, the
    // thread stops after this pass, then logLine (when given) is logged and the report sent.
    void EndSession(eRtspReplyType type, eRtspDetailCode code, const char* logLine = nullptr);
    void Stop();
};

// Status code of a status line: the classifier behind RTSPAckCode, bounded by the view.
int RtspStatusCode(std::string_view line);
// The end-of-stream code of a server notice (2101 or 2102), or -1: behind paraAnnounce.
int NoticeCode(std::string_view notice);
