// The per-play services the exported API forwards to: control, position, recording, snapshot
// and statistics.
//
// Only the statistics that the set-up and the watchdog rely on are complete here (traffic,
// frame rate, decoder handle, display refresh). Trick play, position and time, recording and
// snapshots come with the next change; until then they refuse with -1 (StopRecord, which has
// nothing to stop, returns 0).
#include <cstdint>

#include "base/Log.h"
#include "media/RtpStream.h"
#include "net/NetSink.h"
#include "session/NetPlayUrl.h"

namespace {
constexpr int kLastPlayOption = PLAY_SETTIME;

bool IsSeekVariant(int operate) {
    return operate == PLAY_FASTSEEK || operate == PLAY_SLOWSEEK || operate == PLAY_FWODSEEK ||
           operate == PLAY_BACKSEEK || operate == PLAY_PAUSESEEK;
}
}  // namespace

int CNetPlayUrl::PlayControl(ePlayOption operate, long para) {
    if (operate < 0 || operate > kLastPlayOption || IsSeekVariant(operate)) {
        return -1;
    }
    if (operate == PLAY_GETFRAMERATE) {
        return GetFrameRate();
    }
    return -1;  // trick play comes with the next change
}

int CNetPlayUrl::GetPlayPos(long* pos) {
    if (pos != nullptr) {
        *pos = 0;
    }
    return -1;  // position comes with the next change
}

int CNetPlayUrl::GetCurTime(double* t) {
    if (t != nullptr) {
        *t = 0.0;
    }
    return -1;  // media time comes with the next change
}

int CNetPlayUrl::GrabPicture(char* path) {
    return -1;  // snapshots come with the next change
}

int CNetPlayUrl::StartRecord(char* path) {
    return -1;  // recording comes with the next change
}

int CNetPlayUrl::StopRecord() {
    return 0;
}

float CNetPlayUrl::GetFlux() {
    if (m_TransType == TT_TCP) {
        return m_pRtspCtx != nullptr ? m_pRtspCtx->GetTcpFlux() : -1.0f;
    }
    if (m_TransType == TT_UDP && m_pVideoSink != nullptr) {
        return m_pVideoSink->GetFlux();
    }
    return -1.0f;
}

int CNetPlayUrl::GetFrameRate() {
    CRtpStream* stream = m_pRtpStream;
    if (m_TransType == TT_TCP) {
        return stream != nullptr ? stream->GetFrameRate() : -1;
    }
    if (m_TransType == TT_UDP && m_pVideoSink != nullptr) {
        return m_pVideoSink->GetFrameRate();
    }
    return -1;
}

long CNetPlayUrl::GetDecoderHandle() {
    CRtpStream* stream = m_pRtpStream;
    PlayerSdkLog("GetDecoderHandle = %x\n",
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(stream) & 0xFFFFFFFFu));
    return stream != nullptr ? stream->GetDecoderHandle() : -1;
}

int CNetPlayUrl::RefreshSurface() {
    if (m_bRecord) {
        return 0;
    }
    CRtpStream* stream = m_pRtpStream;
    if (m_TransType == TT_TCP && stream != nullptr) {
        return stream->RefreshPlayWnd();
    }
    if (m_TransType == TT_UDP && m_pVideoSink != nullptr) {
        m_pVideoSink->RefreshPlayWnd();
    }
    return 0;
}
