// The receive thread of CRtsp: it waits on the connection, reads it through the one reader
// and hands what came to the step machine of the state it is in: the DESCRIBE reply, the
// SETUP replies, the status line of the replies to PLAY and the trick requests, and the
// stream itself (RtspDemux.cpp). Resends and time-outs are checked between the waits.
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/BoundedCopy.h"
#include "base/Log.h"
#include "base/MutexGuard.h"
#include "base/OsHelpers.h"
#include "rtsp/Rtsp.h"

namespace {
// A resent DESCRIBE or SETUP goes out when the reply is this late.
constexpr DWORD kResendMs = 2000;
// No byte at all on the connection for this long ends the session.
constexpr DWORD kSilenceMs = 50000;
// Bytes keep coming but no reply line completes.
constexpr DWORD kReplyLineMs = 15000;
// The longest wait: duties are looked at least this often, and a clock moved by a test is
// seen soon after.
constexpr DWORD kMaxWaitMs = 100;

bool AwaitsSetupReply(int state) {
    return state == eWaitIsmaVSetupResponse || state == eWaitIsmaASetupResponse;
}

// Milliseconds until more than 'period' has passed since 'since'; 0 once it has.
DWORD Until(DWORD since, DWORD period, DWORD now) {
    const DWORD elapsed = now - since;
    return elapsed > period ? 0 : period - elapsed + 1;
}
}  // namespace

int CRtsp::RecvTcpPacket() {
    ErrorCode = -1;
    fluxtimer = m_TimeOutTime = GetTickCount();
    m_reader.Reset();
    m_reply.Reset();
    m_replyLine.Reset();
    while (!m_closeThread) {
        RecvLoopPass();
    }
    return 0;
}

// One wait, at most one recv, then every step the received bytes allow. This replaces a
// byte-per-pass loop on a 2 ms select; the requests, replies, reports, log lines and their
// order stay as they were, only the passes without work and the lost bytes are gone.
void CRtsp::RecvLoopPass() {
    if (ResendIfDue()) {
        return;
    }
    const int sock = m_rtsp_socket;
    // Once the connection has ended, or the buffer is full of bytes that wait for a state that
    // reads them, only the clock is waited on.
    const bool listen = !m_reader.ended() && !m_reader.full();
    pollfd wait{listen ? sock : -1, POLLIN, 0};
    int result = sock < 0 ? -1 : poll(&wait, 1, WaitMs(GetTickCount()));
    if (result < 0 && errno == EINTR) {
        result = 0;  // a signal is not a broken connection
    }
    if (result > 0 && (wait.revents & POLLNVAL) != 0) {
        result = -1;
    }
    if (m_closeThread) {
        return;  // DestoryRtsp ended the wait
    }
    const DWORD now = GetTickCount();
    if (result < 0) {
        OnSelectIdle(result, now);
        return;
    }
    if (result > 0) {
        m_reader.ReadOnce(sock);
    }
    // Bytes that wait for a state that reads them, and a connection at its end, are not
    // silence: a socket holding either was always readable.
    if (result == 0 && m_reader.Pending().empty() && !m_reader.ended()) {
        OnSelectIdle(0, now);
        return;
    }
    m_TimeOutTime = now;
    ServeReceived(now);
}

bool CRtsp::SilenceEndsSession(int state) const {
    // A paused or frame-stepping session may stay silent as long as it likes; over UDP the
    // media does not pass here, so a quiet connection during play is normal.
    if (state == ePauseState || state == eWaitFrameResponse) {
        return false;
    }
    return m_sdpinfo.TranType == TT_TCP || (m_sdpinfo.TranType == TT_UDP && state < eWaitRTPPkt);
}

int CRtsp::WaitMs(DWORD now) const {
    const int state = m_rtsp_state;
    DWORD wait = kMaxWaitMs;
    if (state == eWaitDescribeResponse) {
        wait = std::min(wait, Until(m_desribeSendTime, kResendMs, now));
    } else if (AwaitsSetupReply(state)) {
        wait = std::min(wait, Until(m_SetupSendTime, kResendMs, now));
    }
    if (SilenceEndsSession(state)) {
        wait = std::min(wait, Until(m_TimeOutTime, kSilenceMs, now));
    }
    return static_cast<int>(std::max<DWORD>(wait, 1));
}

bool CRtsp::ResendIfDue() {
    const int state = m_rtsp_state;
    const DWORD now = GetTickCount();
    int sent;
    if (state == eWaitDescribeResponse && now - m_desribeSendTime > kResendMs) {
        PlayerSdkLog("[RecvTcpPacket] Resend SendDescribeReq\n");
        sent = SendDescribeReq();
    } else if (AwaitsSetupReply(state) && now - m_SetupSendTime > kResendMs) {
        PlayerSdkLog("[RecvTcpPacket] Resend SendSetUpReq\n");
        sent = SendSetUpReq();
    } else {
        return false;
    }
    if (sent != 0) {
        EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_BROKEN);
    }
    return true;
}

void CRtsp::OnSelectIdle(int result, DWORD now) {
    const int state = m_rtsp_state;
    if (state == ePauseState || state == eWaitFrameResponse) {
        return;
    }
    if (result < 0) {
        EndSession(state == eWaitRTPPkt ? RTSP_STREAM_CUT : RTSP_PLAY_REPLAY, RTSP_DETAIL_BROKEN);
        return;
    }
    if (now - m_TimeOutTime <= kSilenceMs || !SilenceEndsSession(state)) {
        return;
    }
    if (m_sdpinfo.TranType == TT_TCP) {
        PlayerSdkLog("[RecvTcpPacket] TCP TimerOut,Exit Thread: m_TimeOutTime=%lu\n",
                     m_TimeOutTime);
        m_TimeOutTime = 0;
        EndSession(state == eWaitRTPPkt ? RTSP_STREAM_CUT : RTSP_PLAY_REPLAY, RTSP_DETAIL_TIMEOUT);
    } else {
        m_TimeOutTime = 0;
        EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_TIMEOUT);
    }
}

void CRtsp::ServeReceived(DWORD now) {
    for (;;) {
        const int state = m_rtsp_state;
        ServeState(state, now);
        // A state that ends with bytes behind its reply hands them on to the next one.
        if (m_closeThread || m_rtsp_state == state ||
            (m_reader.Pending().empty() && !m_reader.ended())) {
            return;
        }
    }
}

void CRtsp::ServeState(int state, DWORD now) {
    switch (state) {
        case eWaitDescribeResponse:
            OnDescribeReply();
            return;
        case eWaitIsmaVSetupResponse:
        case eWaitIsmaASetupResponse:
            OnSetupReply();
            return;
        case eWaitDoPlayResponse:
        case eWaitPauseResponse:
        case eWaitScaleResponse:
        case eWaitSeekResponse:
        case eWaitSpeedResponse:
        case eWaitFrameResponse:
            OnTrickReply(now);
            return;
        case eWaitRTPPkt:
            OnStreaming(now);
            return;
        default:
            return;  // nothing is read here: the bytes wait for a state that reads them
    }
}

void CRtsp::OnDescribeReply() {
    while (m_rtsp_state == eWaitDescribeResponse && !m_closeThread) {
        std::string_view in = m_reader.Pending();
        const bool complete = m_reply.Feed(in);
        m_reader.ConsumeTo(in);
        if (!complete) {
            if (m_reader.ended()) {
                PlayerSdkLog(
                    "[RecvTcpPacket]  eWaitDescribeResponse Error2,decriRecvLen=%d,Exit Thread\n",
                    static_cast<int>(m_reader.endResult()));
                EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_BROKEN);
            }
            return;
        }
        ErrorCode = RtspStatusCode(std::string_view(m_reply.text(), m_reply.length()));
        if (ErrorCode != RTSP_200) {
            // Not reported: the DESCRIBE resend keeps asking.
            sem_post(&m_semSendReq);
            m_reply.Reset();
            continue;
        }
        if (GetContentLength(m_reply.text(), m_reply.length()) == -1) {
            PlayerSdkLog("[RecvTcpPacket]  GetContentLength Error,Exit Thread\n");
            m_reply.Reset();
            EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_BROKEN);
            return;
        }
        OnDescribeComplete();
    }
}

void CRtsp::OnDescribeComplete() {
    FreeSdpConfigs();
    memset(&m_sdp_info, 0, sizeof(m_sdp_info));
    ParseSdp(m_reply.text(), m_reply.length());
    m_reply.Reset();

    m_sdpinfo.videoPayLoadType = m_sdp_info.videoPayLoadType;
    m_sdpinfo.audioPayLoadType = m_sdp_info.audioPayLoadType;
    m_sdpinfo.VideoTimescale = m_sdp_info.u4videoTimescale;
    m_sdpinfo.AudioTimescale = m_sdp_info.u4audioTimescale;
    m_sdpinfo.Error_Code = ErrorCode;
    m_sdpinfo.Socketmark = m_rtsp_socket;
    m_sdpinfo.VideoWidth = m_sdp_info.u1videoWith;
    m_sdpinfo.VideoHeight = m_sdp_info.u1videoHeight;
    if (m_sdp_info.u1videoConfig != nullptr) {
        playersdk::copy_bounded(m_sdpinfo.VideoConfig, m_sdp_info.u1videoConfig);
    }
    if (m_sdp_info.u1audioConfig != nullptr) {
        playersdk::copy_bounded(m_sdpinfo.AudioConfig, m_sdp_info.u1audioConfig);
    }
    m_sdpinfo.range = m_sdp_info.u4range;
    m_sdpinfo.Audiomode = m_sdp_info.audio_codec;

    m_rtsp_state = eConnect;
    if (m_sdp_info.videoPayLoadType != 0 && m_sdp_info.audioPayLoadType != 0) {
        m_setupType = BOTHVA;
    } else if (m_sdp_info.audioPayLoadType != 0) {
        m_setupType = ONLYAUDIO;
    } else {
        m_setupType = ONLYVIDEO;
    }
    // Nothing is read or resent in the connected state, so a SETUP that cannot go out ends
    // the session as a failed resend would.
    if (SendSetUpReq() != 0) {
        EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_BROKEN);
    }
}

void CRtsp::OnSetupReply() {
    while (AwaitsSetupReply(m_rtsp_state) && !m_closeThread) {
        std::string_view in = m_reader.Pending();
        const bool complete = m_reply.Feed(in);
        m_reader.ConsumeTo(in);
        if (!complete) {
            // The reply can no longer come: the session ends as the failing resend would
            // have ended it.
            if (m_reader.ended()) {
                EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_BROKEN);
            }
            return;
        }
        const int result = RecSetUpResp(m_reply.text(), m_reply.length());
        m_reply.Reset();
        if (result != 0) {
            sem_post(&m_semSendReq);
            continue;
        }
        m_sdpinfo.NRUUdp_V_Port = m_sdp_info.u2videoServerUdpPort;
        playersdk::copy_bounded(m_sdpinfo.RTSPSessionId, m_rtsp_session_id);
    }
}

int CRtsp::RecSetUpResp(char* reply, int len) {
    ErrorCode = RtspStatusCode(std::string_view(reply, static_cast<size_t>(len)));
    if (ErrorCode != RTSP_200) {
        return ErrorCode;
    }
    // The session id it takes is read by the application's requests.
    auto parseReply = [&] {
        playersdk::MutexGuard lock(m_mutexSend);
        ParseSetupReply(reply, len);
    };
    if (m_rtsp_state == eWaitIsmaVSetupResponse) {
        parseReply();
        if (m_setupType == BOTHVA) {
            // The audio SETUP goes out directly, so the resend clock keeps the video time.
            if (SendSetup() == 0) {
                m_sdp_info.s2audioTrackState = 0;
                m_rtsp_state = eWaitIsmaASetupResponse;
            }
        } else {
            Play();
        }
    } else if (m_rtsp_state == eWaitIsmaASetupResponse) {
        parseReply();
        Play();
    }
    return 0;
}

void CRtsp::OnTrickReply(DWORD now) {
    int result = tcp_RecRTSPResp();
    if (result == -1) {
        m_rtspTimeOutTime = 0;
        char line[96];
        snprintf(line, sizeof(line),
                 "[RecvTcpPacket]  eWaitDoPlayResponse Error,errorcode =%d,Exit Thread\n",
                 ErrorCode.load());
        EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_REPLY_FAILED, line);
    } else if (result == 0) {
        m_rtspTimeOutTime = 0;
        NotifyToUp(RTSP_PLAY_REPLAY, RTSP_DETAIL_NONE);
    } else if (result == 1) {
        if (m_rtspTimeOutTime == 0) {
            m_rtspTimeOutTime = now;
        } else if (now - m_rtspTimeOutTime > kReplyLineMs && m_sdpinfo.TranType == TT_TCP) {
            PlayerSdkLog("[RecvTcpPacket]  RTSP_RESP_ERROR_TIMEOUT,errorcode=%d ,Exit Thread\n",
                         ErrorCode.load());
            m_rtspTimeOutTime = 0;
            EndSession(RTSP_PLAY_REPLAY, RTSP_DETAIL_TIMEOUT);
        }
    }
    // Any other status: the reply is dropped without a report.
}

int CRtsp::tcp_RecRTSPResp() {
    std::string_view in = m_reader.Pending();
    const CStatusLineReader::Status status = m_replyLine.Feed(in);
    m_reader.ConsumeTo(in);
    switch (status) {
        case CStatusLineReader::Status::kComplete:
            return ReplyLineDone();
        case CStatusLineReader::Status::kTooLong:
            sem_post(&m_semSendReq);
            NotifyToUp(RTSP_PLAY_REPLAY, RTSP_DETAIL_BROKEN);
            return -1;
        case CStatusLineReader::Status::kIncomplete:
            break;
    }
    return m_reader.ended() ? ReplyReadFailed(m_reader.endResult()) : 1;
}

int CRtsp::ReplyReadFailed(ssize_t got) {
    m_replyLine.Reset();
    sem_post(&m_semSendReq);
    NotifyToUp(got == 0 ? RTSP_STREAM_CUT : RTSP_STREAM_RECV_ERROR, RTSP_DETAIL_BROKEN);
    return -1;
}

int CRtsp::ReplyLineDone() {
    sem_post(&m_semSendReq);
    // Every reply returns the session to streaming, the one to PAUSE to paused. A frame cut
    // by the reply is not continued.
    m_rtsp_state = m_rtsp_state == eWaitPauseResponse ? ePauseState : eWaitRTPPkt;
    m_demux.Reset();
    ErrorCode = RtspStatusCode(m_replyLine.line());
    m_replyLine.Reset();
    return ErrorCode == RTSP_200 ? 0 : ErrorCode.load();
}
