// The session half of CRtsp: URL, requests and the engine's lifecycle. The receive thread and
// the replies up to PLAY are in RtspReceive.cpp, the streaming phase (interleaved frames,
// notices, traffic) in RtspDemux.cpp.
#include "rtsp/Rtsp.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/BoundedCopy.h"
#include "base/Log.h"
#include "base/MutexGuard.h"
#include "base/OsHelpers.h"
#include "base/PortText.h"

namespace {
// The text from position 'pos' on, or "" when the text is shorter than that.
const char* TextFrom(const char* text, size_t pos) {
    if (text == nullptr || strnlen(text, pos) < pos) {
        return "";
    }
    return text + pos;
}

float ToFloat(double value) {
    if (std::isnan(value)) {
        return NAN;
    }
    return static_cast<float>(
        std::clamp(value, -static_cast<double>(FLT_MAX), static_cast<double>(FLT_MAX)));
}

// "+2" and "-0.5" set the value; any other text leaves it as it was.
void ReadSignedNumber(const char* text, float& value) {
    if (text == nullptr || (text[0] != '+' && text[0] != '-')) {
        return;
    }
    double number = atof(text + 1);
    value = ToFloat(text[0] == '-' ? -number : number);
}

bool StartsWithLetter(const char* text, char lower) {
    return text != nullptr && (text[0] == lower || text[0] == lower - 'a' + 'A');
}

// The rate of a scale or speed request: kept for the next request, and what is sent. A rate
// that is not a number is not sent.
bool ReadRate(const char* text, float& kept, float& sent) {
    ReadSignedNumber(text, kept);
    sent = kept;
    return !std::isnan(sent);
}

// "r=120" starts the play at 120 s; any other text keeps the last start.
void ReadStartSeconds(const char* seek, int& seconds) {
    if (StartsWithLetter(seek, 'r')) {
        seconds = atoi(TextFrom(seek, 2));
    }
}

bool IsTrickRequest(int type) {
    return type == RTSP_PAUSE_REQ || type == RTSP_SCALE_REQ || type == RTSP_SPEED_REQ ||
           type == RTSP_SEEK_REQ || type == RTSP_APPFRAME_REQ;
}
}  // namespace

void* HandleRecvEventThread(void* rtsp) {
    static_cast<CRtsp*>(rtsp)->RecvTcpPacket();
    return nullptr;
}

CRtsp::CRtsp()
    : sPort(0),
      ErrorCode(-1),
      m_playThread(),
      m_bPlayThreadRun(FALSE),
      m_closeThread(0),
      m_pContainer(nullptr),
      m_TotalFlux(0),
      m_flux(0),
      m_RTSPNotifyHandle(nullptr),
      m_TimeOutTime(0),
      fluxtimer(0),
      m_rtspTimeOutTime(0),
      m_desribeSendTime(0),
      m_SetupSendTime(0),
      m_setupType(ONLYVIDEO),
      m_demux(m_rtp_buf, sizeof(m_rtp_buf)) {
    memset(m_rtsp_buf, 0, sizeof(m_rtsp_buf));
    memset(m_rtp_buf, 0, sizeof(m_rtp_buf));
    memset(URL, 0, sizeof(URL));
    memset(server_addr, 0, sizeof(server_addr));
    memset(movie_name, 0, sizeof(movie_name));
    memset(user_id, 0, sizeof(user_id));
    local_msg = t_sMsg{};
    memset(scale_n, 0, sizeof(scale_n));
    memset(speed_n, 0, sizeof(speed_n));
    memset(seektime, 0, sizeof(seektime));
    memset(seekframe, 0, sizeof(seekframe));
    memset(&m_sdpinfo, 0, sizeof(m_sdpinfo));
    m_rtsp_state = eDisConnect;
    m_rtsp_socket = -1;
    sem_init(&m_semSendReq, 0, 0);
}

CRtsp::~CRtsp() {
    // Owners call DestoryRtsp first; a thread still running would outlive the object.
    if (m_bPlayThreadRun) {
        DestoryRtsp();
    }
    FreeSdpConfigs();
    m_rtp_session[0].m_transport_protocal = TT_TCP;
    m_rtp_session[1].m_transport_protocal = TT_TCP;
    m_media_Format = eH264;
    m_streaming_type = eISMA;
    m_TotalFlux = 0;
    m_flux = 0;
    sem_destroy(&m_semSendReq);
}

void CRtsp::FreeSdpConfigs() {
    free(m_sdp_info.u1videoConfig);
    free(m_sdp_info.u1audioConfig);
    m_sdp_info.u1videoConfig = nullptr;
    m_sdp_info.u1audioConfig = nullptr;
}

int CRtsp::ParseURL(char* url) {
    std::string_view text = url ? url : "";
    if (text.substr(0, 7) != "rtsp://" && text.substr(0, 7) != "RTSP://") {
        PlayerSdkLog("[ParseUrl] Please enter the correct URL \r\n");
        return -1;
    }
    std::string_view rest = text.substr(7);
    size_t slash = rest.find('/');
    if (slash == std::string_view::npos) {
        PlayerSdkLog("[ParseURL] URL for Player ERROR \r\n");
        return -1;
    }
    std::string_view host = rest.substr(0, slash);
    size_t colon = host.find(':');
    sPort = 554;
    if (colon != std::string_view::npos) {
        if (!playersdk::ParsePortText(host.substr(colon + 1), sPort)) {
            PlayerSdkLog("[ParseURL] URL for Player ERROR \r\n");
            return -1;
        }
        host = host.substr(0, colon);
    }
    playersdk::copy_bounded(server_addr, host);
    playersdk::copy_bounded(movie_name, rest.substr(slash + 1));
    return 0;
}

int CRtsp::InitRTSP(char* url, int transType, void* pNetPlay, void* pCon) {
    if (ParseURL(url) != 0 || InitNetPlay(server_addr, movie_name, sPort, transType) != 0) {
        return -1;
    }
    m_sdpinfo.pNetPlay = pNetPlay;
    m_sdpinfo.pCon = pCon;
    m_sdpinfo.TranType = transType;
    m_closeThread = 0;
    m_rtsp_state = eConnect;
    m_demux.Reset();
    if (pthread_create(&m_playThread, nullptr, HandleRecvEventThread, this) != 0) {
        PlayerSdkLog("[InitRTSP] create receive thread failed \r\n");
        return -1;
    }
    m_bPlayThreadRun = TRUE;
    return m_rtsp_socket;
}

int CRtsp::RTSPRequest(rtsp_request_info* req) {
    if (req == nullptr) {
        return -1;
    }
    playersdk::copy_bounded(URL, req->URL);
    if (req->User_Id[0] != '\0') {
        snprintf(user_id, sizeof(user_id), "?uid=%.*s",
                 static_cast<int>(strnlen(req->User_Id, sizeof(req->User_Id))), req->User_Id);
    }
    {
        playersdk::MutexGuard lock(m_mutexSend);  // a SETUP of the receive thread reads it
        m_iLocalUdpPort = req->Param;
    }
    // The token says that the previous trick request was answered; a requester waits for it
    // one second at most.
    if (IsTrickRequest(req->type) && sem_wait_timeout(&m_semSendReq, 1) == 1) {
        return -3;
    }
    if (Dispatch(req) != 0) {
        sem_post(&m_semSendReq);
        return -1;
    }
    return 0;
}

int CRtsp::Dispatch(rtsp_request_info* req) {
    switch (req->type) {
        case RTSP_GETINFO_REQ:
            return SendDescribeReq();
        case RTSP_SETUP_REQ:
            return SendSetUpReq();
        case RTSP_PLAY_REQ:
            return Play();
        case RTSP_PAUSE_REQ:
            return Pause();
        case RTSP_SCALE_REQ:
            playersdk::copy_bounded(scale_n, req->Scale_N);
            playersdk::copy_bounded(seektime, req->SeekTime);
            return Scale(scale_n, seektime);
        case RTSP_SPEED_REQ:
            playersdk::copy_bounded(speed_n, req->Speed_N);
            playersdk::copy_bounded(seektime, req->SeekTime);
            return Speed(speed_n, seektime);
        case RTSP_SEEK_REQ:
            playersdk::copy_bounded(seektime, req->SeekTime);
            return Seek(seektime);
        case RTSP_TEARDOWN_REQ:
            return Teardown();
        case RTSP_APPFRAME_REQ:
            playersdk::copy_bounded(seekframe, req->SeekFrame);
            return AppFrame(seekframe);
    }
    return 0;
}

template <class Send>
int CRtsp::SendInState(int nextState, Send send) {
    // While streaming, the receive thread takes every byte for stream data. A reply that
    // arrives before the send call returns would be lost, so the state moves first, and moves
    // back when the request did not go out.
    const int previous = m_rtsp_state.exchange(static_cast<int16_t>(nextState));
    if (send() != 0) {
        m_rtsp_state = static_cast<int16_t>(previous);
        return -1;
    }
    return 0;
}

int CRtsp::SendDescribeReq() {
    ErrorCode = -1;
    if (SendDescribe() != 0) {
        return -1;
    }
    m_desribeSendTime = GetTickCount();
    m_rtsp_state = eWaitDescribeResponse;
    return 0;
}

int CRtsp::SendSetUpReq() {
    ErrorCode = -1;
    // The request generator names the video track while it is pending, else the audio one;
    // so a resend while waiting for the video reply sets up audio, which is deliberate.
    bool video = m_sdp_info.s2videoTrackState == -1;
    if (SendSetup() != 0) {
        return -1;
    }
    m_SetupSendTime = GetTickCount();
    if (video) {
        m_sdp_info.s2videoTrackState = 0;
        m_rtsp_state = eWaitIsmaVSetupResponse;
    } else {
        m_sdp_info.s2audioTrackState = 0;
        m_rtsp_state = eWaitIsmaASetupResponse;
    }
    return 0;
}

int CRtsp::Play() {
    ErrorCode = -1;
    if (SendDoPlay(0, 0, true, m_start_time, 0) != 0) {
        return -1;
    }
    m_sdp_info.s2audioTrackState = 0;
    m_rtsp_state = eWaitDoPlayResponse;
    return 0;
}

int CRtsp::Pause() {
    ErrorCode = -1;
    return SendInState(eWaitPauseResponse, [this] { return SendPause(); });
}

int CRtsp::SendTrickPlay(float scale, float speed, float start, int curFrame, int nextState) {
    return SendInState(nextState, [&] { return SendDoPlay(scale, speed, true, start, curFrame); });
}

int CRtsp::Scale(char* scale, char* seek) {
    ErrorCode = -1;
    if (!ReadRate(scale, local_msg.s4_msg_parm1, m_scale)) {
        return -1;
    }
    ReadStartSeconds(seek, local_msg.s4_msg_parm2);
    return SendTrickPlay(m_scale, 0, static_cast<float>(local_msg.s4_msg_parm2), 0,
                         eWaitScaleResponse);
}

int CRtsp::Speed(char* speed, char* seek) {
    ErrorCode = -1;
    if (!ReadRate(speed, local_msg.s4_msg_parm3, m_speed)) {
        return -1;
    }
    ReadStartSeconds(seek, local_msg.s4_msg_parm2);
    return SendTrickPlay(0, m_speed, static_cast<float>(local_msg.s4_msg_parm2), 0,
                         eWaitSpeedResponse);
}

int CRtsp::Seek(char* seek) {
    ErrorCode = -1;
    if (StartsWithLetter(seek, 'r')) {
        const char* position = TextFrom(seek, 2);
        local_msg.s4_msg_parm1 = 0;
        // -1 makes the request say "Range: npt=now-".
        local_msg.s4_msg_parm2 = strcmp(position, "now") == 0 ? -1 : atoi(position);
    }
    return SendTrickPlay(0, 0, static_cast<float>(local_msg.s4_msg_parm2), 0, eWaitSeekResponse);
}

int CRtsp::AppFrame(char* frame) {
    ErrorCode = -1;
    if (StartsWithLetter(frame, 'f')) {
        local_msg.s4_msg_parm1 = 0;
        local_msg.s4_msg_parm4 = atoi(TextFrom(frame, 2));
    }
    return SendTrickPlay(0, 0, 0, local_msg.s4_msg_parm4, eWaitFrameResponse);
}

int CRtsp::Teardown() {
    ErrorCode = -1;
    if (SendTeardown() != 0) {
        return -1;
    }
    m_rtsp_state = eWaitTeardownResponse;
    return 0;
}

void CRtsp::Stop() {
    m_closeThread = 1;
}

void CRtsp::EndSession(eRtspReplyType type, eRtspDetailCode code, const char* logLine) {
    sem_post(&m_semSendReq);
    Stop();
    if (logLine != nullptr) {
        PlayerSdkLog("%s", logLine);
    }
    NotifyToUp(type, code);
}

void CRtsp::DestoryRtsp() {
    m_RTSPNotifyHandle = nullptr;
    sem_post(&m_semSendReq);
    Stop();
    if (m_bPlayThreadRun) {
        // Wakes the thread's wait at once; it then sees the stop flag. The socket itself is
        // closed once the thread has ended.
        if (m_rtsp_socket > 0) {
            shutdown(m_rtsp_socket, SHUT_RDWR);
        }
        pthread_join(m_playThread, nullptr);
        m_bPlayThreadRun = FALSE;
    }
    if (m_rtsp_socket > 0) {
        shutdown(m_rtsp_socket, SHUT_RDWR);
        close(m_rtsp_socket);
    }
    m_rtsp_socket = -1;
}

int CRtsp::UDP_OperateResp() {
    const int state = m_rtsp_state;
    if (state >= eWaitPauseResponse && state <= eWaitFrameResponse) {
        sem_post(&m_semSendReq);
    }
    ssize_t got = recv(m_rtsp_socket, m_rtsp_buf, sizeof(m_rtsp_buf), 0);
    if (got < 1) {
        return -1;
    }
    int code = RtspStatusCode(std::string_view(m_rtsp_buf, got));
    return code == RTSP_200 ? 0 : code;
}
