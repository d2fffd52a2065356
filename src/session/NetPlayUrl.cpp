// Set-up and teardown of a URL play, and its reaction to the RTSP engine's events.
#include "session/NetPlayUrl.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "api/PlayContainer.h"
#include "base/BoundedCopy.h"
#include "base/Log.h"
#include "base/MutexGuard.h"
#include "base/PortText.h"
#include "media/RtpConstants.h"
#include "media/RtpStream.h"
#include "net/NetSink.h"
#include "net/NetSinkContainer.h"

namespace {
constexpr std::string_view kScheme = "rtsp://";
// The sink mode of a URL play's sink: the short hole message and no frame control.
constexpr int kUrlSinkMode = 2;
constexpr int kReportBufferSize = 256;
constexpr int kDeviceTypeUrl = 12;
// Frame-rate ticks in a row with no frame before the play is reported as broken.
constexpr int kSilentRateTicks = 5;

// One counter for every play of the process, on purpose: the frame-rate ticks of all TCP plays
// count together. Returns true when this tick ends a run of silent ticks (and restarts it).
bool CountSilentRateTick() {
    static std::atomic<int> silentTicks{0};
    int current = silentTicks.load();
    int next = 0;
    do {
        next = current + 1 > kSilentRateTicks ? 0 : current + 1;
    } while (!silentTicks.compare_exchange_weak(current, next));
    return next == 0;
}
}  // namespace

CNetPlayUrl::CNetPlayUrl()
    : m_curPlayState(S_NOINIT),
      m_TimeOutTimer(0),
      m_FileRange(0),
      m_bFirstFrame(FALSE),
      m_FirstFrameStamp(0),
      m_TimeStamp(0),
      m_VTimeScale(0),
      m_ATimeScale(0),
      m_VFrameRate(0),
      m_DestIP(nullptr),
      m_remote_port(static_cast<DWORD>(-1)),
      m_SocketMark(0),
      m_bRecord(FALSE),
      m_pVideoSink(nullptr),
      m_pAudioSink(nullptr),
      m_UserData(0),
      m_pDrawCb(nullptr),
      m_lDrawPrivate(0),
      m_pRtpStream(nullptr),
      m_pContainer(nullptr),
      m_pRtspCtx(nullptr),
      m_NetPlayStyle(PLAY_URL),
      m_TransType(TT_TCP),
      m_PacketType(PT_RTP),
      m_bClose(FALSE),
      m_VideoHwnd(0),
      m_lLastNotifyCode(0) {
    memset(m_ServerURL, 0, sizeof(m_ServerURL));
    memset(m_server_addr, 0, sizeof(m_server_addr));
    memset(m_movie_name, 0, sizeof(m_movie_name));
    memset(m_RecordFileName, 0, sizeof(m_RecordFileName));
    memset(&m_RtspRequest, 0, sizeof(m_RtspRequest));
    pthread_mutex_init(&m_mutexRequest, nullptr);
}

CNetPlayUrl::~CNetPlayUrl() {
    // Owned objects went in ClosePlay or StopUdp; only the fields are cleared here.
    m_curPlayState = S_NOINIT;
    m_FirstFrameStamp = 0;
    m_TimeStamp = 0;
    ForgetReleasedObjects();
    pthread_mutex_destroy(&m_mutexRequest);
}

void CNetPlayUrl::ForgetReleasedObjects() {
    m_DestIP = nullptr;
    m_pRtspCtx = nullptr;
    m_pVideoSink = nullptr;
    m_pAudioSink = nullptr;
    m_pRtpStream = nullptr;
    memset(&m_RtspRequest, 0, sizeof(m_RtspRequest));
}

void CNetPlayUrl::SetDrawCb(DrawCB cb, long lPrivate) {
    m_pDrawCb = cb;
    m_lDrawPrivate = lPrivate;
}

void CNetPlayUrl::Report(ePlayNotifyCode code) {
    if (m_pContainer != nullptr) {
        m_pContainer->ReportToCaller(reinterpret_cast<long>(this), code);
    }
}

void CNetPlayUrl::ReportConnectErrorOnce() {
    if (m_lLastNotifyCode != NOTIFY_CONNECT_ERROR) {
        m_lLastNotifyCode = NOTIFY_CONNECT_ERROR;
        Report(NOTIFY_CONNECT_ERROR);
    }
}

// ---- set-up -----------------------------------------------------------------------------

int CNetPlayUrl::ParseUrl(char* url) {
    std::string_view text = url != nullptr ? url : "";
    if (text.size() < kScheme.size() ||
        strncasecmp(text.data(), kScheme.data(), kScheme.size()) != 0) {
        PlayerSdkLog("[NetPlay] Please enter the correct URL \r\n");
        return -1;
    }
    std::string_view rest = text.substr(kScheme.size());
    // Any ':' of the remainder, one in the path too, separates the port.
    size_t colon = rest.find(':');
    size_t slash = rest.find('/', colon == std::string_view::npos ? 0 : colon);
    if (slash == std::string_view::npos) {
        return -1;
    }
    int port = static_cast<int>(kDefaultRtspPort);
    if (colon != std::string_view::npos &&
        !playersdk::ParsePortText(rest.substr(colon + 1, slash - colon), port)) {
        return -1;
    }
    // Fields that cannot hold the host or the path take as much as fits.
    playersdk::copy_bounded(m_server_addr, rest.substr(0, std::min(colon, slash)));
    playersdk::copy_bounded(m_movie_name, rest.substr(slash + 1));
    m_remote_port = static_cast<DWORD>(port);
    return 0;
}

int CNetPlayUrl::InitPlay(char* url, long hWnd, long userdata, int transType) {
    m_bClose = FALSE;
    m_VideoHwnd = hWnd;
    playersdk::copy_bounded(m_ServerURL, url);
    m_curPlayState = S_CONNECTING;
    m_UserData = userdata;
    m_TransType = transType;
    return RTSPDescribeReq(m_ServerURL, static_cast<short>(transType)) != 0 ? -1 : 0;
}

int CNetPlayUrl::RTSPDescribeReq(char* url, short transType) {
    if (url != m_ServerURL) {
        playersdk::copy_bounded(m_ServerURL, url);
    }
    if (ParseUrl(url) != 0) {
        m_curPlayState = S_CONNECTING;
        ReportConnectErrorOnce();
        ClosePlay();
        return -1;
    }
    m_DestIP = m_server_addr;
    DestroyEngine();
    m_pRtspCtx = new (std::nothrow) CRtsp();
    if (m_pRtspCtx == nullptr) {
        return -1;
    }
    m_pRtspCtx->m_RTSPNotifyHandle = RTSP_NotifyHandle;
    m_SocketMark = m_pRtspCtx->InitRTSP(m_ServerURL, transType, this, m_pContainer);
    if (m_SocketMark < 1) {
        m_curPlayState = S_CONNECTING;
        ReportConnectErrorOnce();
        ClosePlay();
        return -1;
    }
    if (transType == TT_UDP && SetUpUdpReceiver() != 0) {
        return -1;
    }
    if (transType == TT_TCP && SetUpTcpStream() != 0) {
        return -1;
    }
    return Request(RTSP_GETINFO_REQ, [this](rtsp_request_info& request) {
        // The request's URL field is shorter than the play's; the engine only keeps it.
        playersdk::copy_bounded(request.URL, m_ServerURL);
        request.SocketMark = m_SocketMark;
    });
}

// The sink made by InitUdp learns the server and the display; its stream reports through the
// container from now on.
int CNetPlayUrl::SetUpUdpReceiver() {
    if (m_pVideoSink == nullptr) {
        ReportConnectErrorOnce();
        return -1;
    }
    m_pVideoSink->ResetSink(m_DestIP, m_remote_port);
    m_pVideoSink->SetPlayHwnd(m_VideoHwnd);
    m_pVideoSink->SetDrawCb(m_pDrawCb, m_lDrawPrivate);
    if (m_pVideoSink->m_pRtpStream != nullptr) {
        // The sink receive thread delivers to this stream under the sink lock.
        auto* sinks = reinterpret_cast<CNetSinkContainer*>(m_pVideoSink->m_pContainer);
        if (sinks != nullptr) {
            playersdk::MutexGuard lock(sinks->m_mutexSink);
            m_pVideoSink->m_pRtpStream->m_UserData = m_UserData;
            m_pVideoSink->m_pRtpStream->SetPlayContainer(m_pContainer);
        }
    }
    m_curPlayState = S_CONNECTING;
    return 0;
}

int CNetPlayUrl::SetUpTcpStream() {
    CloseRtpStream();
    auto* stream = new (std::nothrow) CRtpStream();
    if (stream == nullptr) {
        return -1;
    }
    stream->m_UserData = m_UserData;
    stream->SetPlayContainer(m_pContainer);
    if (m_VideoHwnd > 0) {
        stream->SetPlayHwnd(m_VideoHwnd);
        stream->SetDrawCb(m_pDrawCb, m_lDrawPrivate);
    }
    // Published whole: the receive thread already runs.
    m_pRtpStream = stream;
    return 0;
}

int CNetPlayUrl::InitUdp(char* ip, int port) {
    CNetSinkContainer* sinks =
        m_pContainer != nullptr ? m_pContainer->m_pNetSinkContainer : nullptr;
    m_pVideoSink = sinks != nullptr ? new (std::nothrow) CNetSink() : nullptr;
    // The requested port is not used: the sink picks its own pair. The sink is a UDP sink and
    // the play a UDP play from here on, whatever transport the play held before (a URL play's
    // is only set by InitPlay, later); the sink mode, the unchecked RTCP silence, the port
    // offered in SETUP and the result stay as they were.
    char empty[] = "";
    m_TransType = TT_UDP;
    if (m_pVideoSink != nullptr) {
        m_pVideoSink->CreateNetSink(ip != nullptr ? ip : empty, 0, TT_UDP,
                                    static_cast<ePacketType>(m_PacketType));
    }
    const int localPort = m_pVideoSink != nullptr ? m_pVideoSink->GetLocalPort() : 0;
    if (localPort <= 0) {
        // No pair could be bound (or the address not read): nothing is registered.
        if (m_pVideoSink != nullptr) {
            m_pVideoSink->DestorySink();
            delete m_pVideoSink;
            m_pVideoSink = nullptr;
        }
        m_curPlayState = S_CONNECTING;
        ReportConnectErrorOnce();
        return -1;
    }
    sinks->AddNetSink(m_pVideoSink);
    m_pVideoSink->SetSinkMode(kUrlSinkMode);
    m_pVideoSink->m_bCheckRtcp = 0;
    m_RtspRequest.Param = localPort;
    return localPort;
}

// ---- events -----------------------------------------------------------------------------

void CNetPlayUrl::OnRecvRtsp(rtsp_sdp_info* info) {
    if (info == nullptr || m_bClose || m_curPlayState == S_PAUSE) {
        return;
    }
    switch (info->r_type) {
        case RTSP_PLAY_REPLAY:
            OnPlayReply(*info);
            break;
        case RTSP_RTP_DATA:
            RecvRtpPacket(info);
            ReportPlayingOnce();
            break;
        case RTSP_RTCP_DATA:
            OnRtcpData(info);
            break;
        case RTSP_CALC_FRAMERATE:
            OnFrameRateTick();
            break;
        default:  // stream cut, receive error, server shut down, anything unknown
            m_lLastNotifyCode = NOTIFY_PLAY_OTHER_ERROR;
            Report(NOTIFY_PLAY_OTHER_ERROR);
            break;
    }
}

void CNetPlayUrl::OnPlayReply(const rtsp_sdp_info& info) {
    if (m_curPlayState != S_CONNECTING || info.Error_Code != 0) {
        m_lLastNotifyCode = NOTIFY_CONNECT_ERROR;
        Report(NOTIFY_CONNECT_ERROR);
        return;
    }
    DeviceDecInfo dec;
    memset(&dec, 0, sizeof(dec));
    dec.devtype = kDeviceTypeUrl;
    dec.picWidth = static_cast<int>(info.VideoWidth);
    dec.picHeight = static_cast<int>(info.VideoHeight);
    dec.timescale = info.VideoTimescale;
    dec.audioPayLoadType = info.audioPayLoadType;
    dec.videoPayLoadType = info.videoPayLoadType;
    playersdk::copy_bounded(
        dec.config, sizeof(dec.config),
        std::string_view(info.VideoConfig, strnlen(info.VideoConfig, sizeof(info.VideoConfig))));
    m_curPlayState = S_PLAYING;
    m_FileRange = info.range;
    m_VTimeScale = info.VideoTimescale;
    CRtpStream* stream = m_pRtpStream;
    if (m_TransType == TT_TCP && stream != nullptr) {
        stream->SetDeviceDecInfo(dec);
        stream->SetTimeScale(info.VideoTimescale);
    }
    const bool udp = m_TransType == TT_UDP && m_pVideoSink != nullptr;
    if (udp) {
        // Described before the server's port is accepted, so the first packets find it.
        m_pVideoSink->SetPlayDeviceInfo(dec);
        m_pVideoSink->ResetSink(m_DestIP, info.NRUUdp_V_Port);
    }
    m_lLastNotifyCode = NOTIFY_CONNECT_SUCCESS;
    Report(NOTIFY_CONNECT_SUCCESS);
    if (udp) {
        // Not kept as the last code: the first packet reports playing once more.
        Report(NOTIFY_PLAYING);
    }
}

void CNetPlayUrl::RecvRtpPacket(rtsp_sdp_info* info) {
    CRtpStream* stream = m_pRtpStream;
    if (info->media_data.MediaBuf != nullptr && info->media_data.MediaLen > 0 &&
        stream != nullptr) {
        stream->InputData(info->media_data.MediaBuf, info->media_data.MediaLen);
    }
}

void CNetPlayUrl::ReportPlayingOnce() {
    if (m_lLastNotifyCode != NOTIFY_PLAYING) {
        m_lLastNotifyCode = NOTIFY_PLAYING;
        Report(NOTIFY_PLAYING);
    }
}

void CNetPlayUrl::OnRtcpData(rtsp_sdp_info* info) {
    if (info->Error_Code != 0) {
        m_lLastNotifyCode = NOTIFY_PLAY_FINISHED;
        Report(NOTIFY_PLAY_FINISHED);
        return;
    }
    CRtpStream* stream = m_pRtpStream;
    if (stream != nullptr) {
        char report[kReportBufferSize] = {};
        int len = stream->GetRtcpReport(report, playersdk::kRtcpReceiverReport);
        if (len > 0 && len <= kReportBufferSize && m_pRtspCtx != nullptr) {
            m_pRtspCtx->SendData(report, len, RTSP_RTCP_RR);
        }
    }
    ReportPlayingOnce();
}

void CNetPlayUrl::OnFrameRateTick() {
    CRtpStream* stream = m_pRtpStream;
    if (m_TransType != TT_TCP || stream == nullptr) {
        return;
    }
    stream->CalcFrameRate();
    if (GetFrameRate() == 0 && CountSilentRateTick()) {
        m_lLastNotifyCode = NOTIFY_PLAY_OTHER_ERROR;
        Report(NOTIFY_PLAY_OTHER_ERROR);
    }
}

// ---- teardown ---------------------------------------------------------------------------

int CNetPlayUrl::StopUdp() {
    CNetSinkContainer* sinks =
        m_pContainer != nullptr ? m_pContainer->m_pNetSinkContainer : nullptr;
    if (m_pVideoSink != nullptr && sinks != nullptr) {
        sinks->RemoveSink(m_pVideoSink);
    }
    m_pVideoSink = nullptr;
    if (m_pAudioSink != nullptr && sinks != nullptr) {
        sinks->RemoveSink(m_pAudioSink);
        m_pAudioSink = nullptr;
    }
    return 0;
}

int CNetPlayUrl::ClosePlay() {
    ReleaseNetPlay();
    ResetVariable();
    m_bClose = TRUE;
    return 0;
}

void CNetPlayUrl::DestroyEngine() {
    if (m_pRtspCtx != nullptr) {
        // Joins the receive thread: no event reaches this play any more.
        m_pRtspCtx->DestoryRtsp();
        delete m_pRtspCtx;
        m_pRtspCtx = nullptr;
    }
}

void CNetPlayUrl::CloseRtpStream() {
    CRtpStream* stream = m_pRtpStream.exchange(nullptr);
    if (stream != nullptr) {
        stream->CloseStream();
        delete stream;
    }
}

int CNetPlayUrl::ReleaseNetPlay() {
    if (m_curPlayState != S_NOPLAY) {
        RTSPTearDownReq();
        m_curPlayState = S_NOPLAY;
    }
    DestroyEngine();
    // A UDP play releases its sinks, a TCP play its stream. A play whose transport was changed
    // after its set-up may hold the other kind as well; that goes too, so nothing outlives it.
    StopUdp();
    CloseRtpStream();
    memset(&m_RtspRequest, 0, sizeof(m_RtspRequest));
    m_FirstFrameStamp = 0;
    m_TimeStamp = 0;
    m_bFirstFrame = FALSE;
    return 0;
}

void CNetPlayUrl::ResetVariable() {
    // These defaults differ from the constructor's (UDP transport, port 0) on purpose.
    m_VideoHwnd = 0;
    m_SocketMark = 0;
    m_FileRange = 0;
    m_curPlayState = S_NOINIT;
    m_bFirstFrame = FALSE;
    m_FirstFrameStamp = 0;
    m_TimeStamp = 0;
    m_VTimeScale = 0;
    m_ATimeScale = 0;
    m_TransType = TT_UDP;
    m_remote_port = 0;
    m_PacketType = PT_RTP;
    ForgetReleasedObjects();  // pointers only: the objects were released before
    memset(m_server_addr, 0, sizeof(m_server_addr));
    memset(m_movie_name, 0, sizeof(m_movie_name));
    memset(m_ServerURL, 0, sizeof(m_ServerURL));
}
