// Trick play of a URL play: the controls of NetPlay_Control, the request records they hand to
// the RTSP engine, and the play's time and position from the frame keys of its receiver.
//
// Every control reads the current time first, asks the engine and then moves to its state,
// whatever the engine answered; the outcome reaches the application as a notification.
#include <atomic>
#include <cstdio>

#include "base/BoundedCopy.h"
#include "media/RtpStream.h"
#include "net/NetSink.h"
#include "session/NetPlayUrl.h"

namespace {
constexpr long kMinFactor = 1;
constexpr long kMaxFactor = 16;
constexpr long kMaxPercent = 100;
constexpr double kSingleStepSeconds = 2.0;
// "+16", "-16", "+0.06": a factor's text is short.
constexpr size_t kFactorTextSize = 16;

bool IsFactor(long n) {
    return n >= kMinFactor && n <= kMaxFactor;
}

bool IsSeekVariant(int operate) {
    return operate == PLAY_FASTSEEK || operate == PLAY_SLOWSEEK || operate == PLAY_FWODSEEK ||
           operate == PLAY_BACKSEEK || operate == PLAY_PAUSESEEK;
}

// A position in seconds as the engine reads it: "r=" and the number.
template <size_t N>
void WriteSeconds(char (&field)[N], double t) {
    snprintf(field, N, "r=%f", t);
}

// Where the last scale request started, one value for the whole process: a scale request
// from normal play sets it, each single step moves it on. Nothing sends it, so neither a server
// nor an application would notice it going; it stays beside the requests it belongs to.
void NoteScaleStart(bool singleStep, double t) {
    static std::atomic<double> seekTime{0.0};
    if (!singleStep) {
        seekTime = t;
        return;
    }
    double current = seekTime.load();
    while (!seekTime.compare_exchange_weak(current, current + kSingleStepSeconds)) {
    }
}

// The source of a play's frame keys (its stream, or its sink for UDP) gives the first key
// once it has one, and the key of the last complete frame.
template <class Source>
bool RefreshStamps(Source* source, std::atomic<DWORD>& first, std::atomic<uint32_t>& latest) {
    if (first == 0) {
        unsigned long key = 0;
        if (source == nullptr || source->GetFirstTs(&key) == 0) {
            return false;
        }
        first = key;
    }
    if (source != nullptr) {
        latest = static_cast<uint32_t>(source->GetCurTs());
    }
    return true;
}
}  // namespace

// ---- the verbs of NetPlay_Control ------------------------------------------------------------

int CNetPlayUrl::PlayControl(ePlayOption operate, long para) {
    if (operate < PLAY_FAST || operate > PLAY_SETTIME || IsSeekVariant(operate)) {
        return -1;
    }
    switch (operate) {
        case PLAY_FAST:
            return PlayFast(para);
        case PLAY_SLOW:
            return PlaySlow(para);
        case PLAY_FWOD:
            return PlayForward(para);
        case PLAY_BACK:
            return PlayBack(para);
        case PLAY_PAUSE:
            return PlayPause();
        case PLAY_CONTINUE:
            return Play();
        case PLAY_SETPOS:
            return SetPlayPos(para);
        case PLAY_GETFRAMERATE:
            return GetFrameRate();
        case PLAY_SETTIME:
            return SetPlayTime(para);
        default:
            return -1;
    }
}

double CNetPlayUrl::CurrentTime() {
    double t = 0.0;
    GetCurTime(&t);
    return t;
}

// Deliberately reported as -1 although the seek to the current time is made: an application
// that acts on the result (by retrying or reporting) would change what it does if it passed.
int CNetPlayUrl::ReturnToNormalPlay() {
    RTSPSeekReq(CurrentTime(), 0);
    m_curPlayState = S_PLAYING;
    return -1;
}

template <class Send>
int CNetPlayUrl::RateControl(long n, ePlayState state, Send send) {
    if (m_pRtspCtx == nullptr) {
        return -1;
    }
    if (n == 0) {
        return ReturnToNormalPlay();
    }
    if (!IsFactor(n)) {
        return -1;
    }
    char text[kFactorTextSize];
    send(text, CurrentTime());
    m_curPlayState = state;
    return 0;
}

int CNetPlayUrl::PlayFast(long n) {
    return RateControl(n, S_FAST, [&](char(&text)[kFactorTextSize], double t) {
        snprintf(text, sizeof(text), "+%ld", n);
        RTSPSpeedReq(text, t > 0 ? t : 0.0);
    });
}

// The rate is the single-precision 1/n with two decimals: 2 gives +0.50, 3 gives +0.33.
int CNetPlayUrl::PlaySlow(long n) {
    return RateControl(n, S_SLOW, [&](char(&text)[kFactorTextSize], double t) {
        snprintf(text, sizeof(text), "+%.2f", static_cast<double>(1.0f / static_cast<float>(n)));
        RTSPSpeedReq(text, t);
    });
}

int CNetPlayUrl::PlayForward(long n) {
    return RateControl(n, S_FWORD, [&](char(&text)[kFactorTextSize], double t) {
        snprintf(text, sizeof(text), "+%ld", n);
        RTSPScaleReq(text, t);
    });
}

int CNetPlayUrl::PlayBack(long n) {
    return RateControl(n, S_BACK, [&](char(&text)[kFactorTextSize], double t) {
        snprintf(text, sizeof(text), "-%ld", n);
        RTSPScaleReq(text, t);
    });
}

int CNetPlayUrl::PlaySingle() {
    if (m_pRtspCtx == nullptr) {
        return -1;
    }
    char step[] = "+1";
    RTSPScaleReq(step, CurrentTime());
    m_curPlayState = S_SOLE;
    return 0;
}

int CNetPlayUrl::PlayFrame(long n) {
    if (m_pRtspCtx == nullptr || n < 1 || n >= GetTotalFileFrames()) {
        return -1;
    }
    RTSPFrameReq(n);
    m_curPlayState = S_APPFRAME;
    return 0;
}

// A URL play pauses and continues on its own side: the server keeps sending, and the play
// ignores its engine's events while paused.
int CNetPlayUrl::PlayPause() {
    if (m_pRtspCtx == nullptr) {
        return -1;
    }
    if (m_NetPlayStyle != PLAY_URL) {
        RTSPPauseReq();
    }
    m_curPlayState = S_PAUSE;
    return 0;
}

int CNetPlayUrl::Play() {
    if (m_pRtspCtx == nullptr) {
        return -1;
    }
    CRtpStream* stream = m_pRtpStream;
    if (m_TransType == TT_UDP && m_pVideoSink != nullptr) {
        m_pVideoSink->RefreshPlayWnd();
    } else if (m_TransType == TT_TCP && stream != nullptr) {
        stream->RefreshPlayWnd();
    }
    m_curPlayState = S_PLAYING;
    if (m_NetPlayStyle != PLAY_URL) {
        RTSPSeekReq(CurrentTime(), 0);
    }
    return 0;
}

// A live stream cannot be sought; that failure is not passed on.
int CNetPlayUrl::SetPlayPos(long pos) {
    if (m_pRtspCtx == nullptr || pos < 0 || pos > kMaxPercent) {
        return -1;
    }
    RTSPSeekReq(static_cast<double>(pos) / 100.0, 1);
    return 0;
}

int CNetPlayUrl::SetPlayTime(long t) {
    if (m_pRtspCtx == nullptr) {
        return -1;
    }
    RTSPSeekReq(static_cast<double>(t), 0);
    return 0;
}

int CNetPlayUrl::SetPlayDirection(int direction) {
    if (direction == 0) {
        return PlayBack(1) == 0 ? 0 : -1;
    }
    if (direction == 1) {
        return PlayForward(1) == 0 ? 0 : -1;
    }
    return 0;
}

// ---- requests to the engine -----------------------------------------------------------------

int CNetPlayUrl::RTSPSetupReq() {
    return Request(RTSP_SETUP_REQ, [](rtsp_request_info&) {});
}

int CNetPlayUrl::RTSPPlayReq() {
    return Request(RTSP_PLAY_REQ, [](rtsp_request_info&) {});
}

int CNetPlayUrl::RTSPPauseReq() {
    return Request(RTSP_PAUSE_REQ, [](rtsp_request_info&) {});
}

// A play whose set-up failed has no engine: there is nothing to tear down.
int CNetPlayUrl::RTSPTearDownReq() {
    if (m_pRtspCtx == nullptr) {
        return 0;
    }
    return Request(RTSP_TEARDOWN_REQ, [](rtsp_request_info&) {});
}

// The start sent is t itself, not the process-wide value noted beside it.
int CNetPlayUrl::RTSPScaleReq(char* scale, double t) {
    return Request(RTSP_SCALE_REQ, [&](rtsp_request_info& request) {
        NoteScaleStart(m_curPlayState == S_SOLE, t);
        WriteSeconds(request.SeekTime, t);
        playersdk::copy_bounded(request.Scale_N, scale);
        request.Speed_N[0] = '\0';
    });
}

int CNetPlayUrl::RTSPSpeedReq(char* speed, double t) {
    return Request(RTSP_SPEED_REQ, [&](rtsp_request_info& request) {
        WriteSeconds(request.SeekTime, t);
        playersdk::copy_bounded(request.Speed_N, speed);
        request.Scale_N[0] = '\0';
    });
}

int CNetPlayUrl::RTSPFrameReq(long n) {
    return Request(RTSP_APPFRAME_REQ, [&](rtsp_request_info& request) {
        snprintf(request.SeekFrame, sizeof(request.SeekFrame), "f=%ld", n);
    });
}

// With a ratio, t is a fraction of the item's length. An item without a length is live.
int CNetPlayUrl::RTSPSeekReq(double t, int ratio) {
    const INT64 range = m_FileRange;
    if (range == 0) {
        return -1;
    }
    const double target = ratio != 0 ? t * static_cast<double>(range) : t;
    return Request(RTSP_SEEK_REQ, [&](rtsp_request_info& request) {
        WriteSeconds(request.SeekTime, target);
        playersdk::copy_bounded(request.Scale_N, "+1");
        playersdk::copy_bounded(request.Speed_N, "+1");
    });
}

// ---- time and position ----------------------------------------------------------------------

// The keys are what the receiver keeps as frame keys (the RTP header's SSRC word, see
// CRtpStream::InputData), so a server whose SSRC stays the same plays at time 0.
int CNetPlayUrl::GetCurTime(double* t) {
    double unused = 0.0;
    double& seconds = t != nullptr ? *t : unused;
    seconds = 0.0;
    const int transport = m_TransType;
    if (transport == TT_TCP) {
        if (!RefreshStamps(m_pRtpStream.load(), m_FirstFrameStamp, m_TimeStamp)) {
            return -1;
        }
    } else if (transport == TT_UDP) {
        // Without a sink the stamps stored last are used.
        if (m_pVideoSink != nullptr &&
            !RefreshStamps(m_pVideoSink, m_FirstFrameStamp, m_TimeStamp)) {
            return -1;
        }
    } else {
        return 0;
    }
    const uint32_t timescale = m_VTimeScale;
    if (timescale == 0) {
        return 0;
    }
    // Taken in 32 bits, so a wrap of the key between the two stamps is absorbed; whole seconds
    // only, read as a signed 32-bit number.
    const auto elapsed = static_cast<uint32_t>(m_TimeStamp - m_FirstFrameStamp);
    seconds = static_cast<double>(static_cast<int32_t>(elapsed / timescale));
    return seconds >= 0 ? 0 : -1;
}

// The stamps GetCurTime stored last, as a signed difference.
long CNetPlayUrl::GetCurPlayTime() {
    const uint32_t timescale = m_VTimeScale;
    if (timescale == 0) {
        return -1;
    }
    const INT64 elapsed =
        static_cast<INT64>(m_TimeStamp.load()) - static_cast<INT64>(m_FirstFrameStamp.load());
    const auto seconds = static_cast<long>(static_cast<double>(elapsed) / timescale);
    return seconds < 0 ? -1 : seconds;
}

// Whole seconds, then whole items, then percent: 0 until the elapsed time reaches the item's
// length and 100 from then on. Applications rely on this coarse figure; keep it.
int CNetPlayUrl::GetPlayPos(long* pos) {
    long unused = 0;
    long& percent = pos != nullptr ? *pos : unused;
    const INT64 range = m_FileRange;
    const INT64 timescale = m_VTimeScale;
    percent = 0;
    if (range == 0 || timescale == 0) {
        return -1;
    }
    const INT64 elapsed =
        static_cast<INT64>(m_TimeStamp.load()) - static_cast<INT64>(m_FirstFrameStamp.load());
    // Both stamps are 32-bit keys and the range is a 32-bit count: the product fits a long.
    percent = static_cast<long>(static_cast<double>(elapsed / timescale / range) * 100.0);
    return percent >= 0 && percent <= kMaxPercent ? 0 : -1;
}
