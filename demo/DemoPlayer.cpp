#include "DemoPlayer.h"

#include <vector>

namespace {
using Clock = std::chrono::steady_clock;

// The one player whose callbacks count: the process-wide callbacks carry the play's user value.
CDemoPlayer* PlayerOf(long user) {
    return reinterpret_cast<CDemoPlayer*>(user);
}
}  // namespace

CDemoPlayer::CDemoPlayer() {
    m_container = NetPlay_Init(OnNotify, reinterpret_cast<long>(this));
    NetPlay_setGotFrameCallback(OnFrame);
    NetPlay_SetGotPictureCallback(OnPicture);
}

CDemoPlayer::~CDemoPlayer() {
    Close();
    NetPlay_setGotFrameCallback(nullptr);
    NetPlay_SetGotPictureCallback(nullptr);
    if (m_container != -1) {
        NetPlay_Destroy(m_container);
    }
}

const char* CDemoPlayer::NotificationName(int code) {
    switch (code) {
        case NOTIFY_CONNECTING:
            return "NOTIFY_CONNECTING";
        case NOTIFY_CONNECT_ERROR:
            return "NOTIFY_CONNECT_ERROR";
        case NOTIFY_SERVER_SHUTDOWN:
            return "NOTIFY_SERVER_SHUTDOWN";
        case NOTIFY_CONNECT_SUCCESS:
            return "NOTIFY_CONNECT_SUCCESS";
        case NOTIFY_PLAYING:
            return "NOTIFY_PLAYING";
        case NOTIFY_PLAY_FINISHED:
            return "NOTIFY_PLAY_FINISHED";
        case NOTIFY_PLAY_OTHER_ERROR:
            return "NOTIFY_PLAY_OTHER_ERROR";
        case NOTIFY_ZU_VIDEO_DEC_CREATE:
            return "NOTIFY_ZU_VIDEO_DEC_CREATE";
        case 0:
            return "-";
        default:
            return "NOTIFY_OTHER";
    }
}

bool CDemoPlayer::Open(const std::string& url, long window, int transType) {
    if (m_container == -1) {
        return false;
    }
    m_phase = Phase::kConnecting;
    m_rateStart = Clock::now();
    std::vector<char> text(url.begin(), url.end());
    text.push_back('\0');
    m_play = NetPlay_OpenUrlEx(m_container, text.data(), window, reinterpret_cast<long>(this),
                               transType);
    if (m_play == -1) {
        m_phase = Phase::kFailed;
    }
    return m_play != -1;
}

int CDemoPlayer::OnNotify(long, long, ePlayNotifyCode code, long user) {
    PlayerOf(user)->Notified(code);
    return 0;
}

int CDemoPlayer::OnFrame(long, char*, int length, long user) {
    CDemoPlayer* player = PlayerOf(user);
    player->m_frames.fetch_add(1);
    player->m_bytes.fetch_add(length);
    return 0;
}

int CDemoPlayer::OnPicture(long, char*, int width, int height, int, long user) {
    CDemoPlayer* player = PlayerOf(user);
    player->m_width = width;
    player->m_height = height;
    if (player->m_pictures.fetch_add(1) == 0) {
        std::lock_guard<std::mutex> lock(player->m_mutex);
        player->m_changed.notify_all();
    }
    return 0;
}

void CDemoPlayer::Notified(int code) {
    m_lastCode = code;
    Phase phase = m_phase;
    switch (code) {
        case NOTIFY_CONNECT_SUCCESS:
            m_everConnected = true;
            phase = Phase::kConnected;
            break;
        case NOTIFY_PLAYING:
            phase = Phase::kPlaying;
            break;
        case NOTIFY_CONNECT_ERROR:
            phase = Phase::kFailed;
            break;
        case NOTIFY_PLAY_FINISHED:
        case NOTIFY_PLAY_OTHER_ERROR:
            phase = Phase::kEnded;
            break;
        default:
            return;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_phase = phase;
    m_changed.notify_all();
}

CDemoPlayer::Phase CDemoPlayer::WaitForFirstPicture(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, timeout, [this] {
        return m_pictures > 0 || m_phase == Phase::kFailed || m_phase == Phase::kEnded;
    });
    return m_phase;
}

CDemoPlayer::Figures CDemoPlayer::Sample() {
    Figures figures;
    figures.phase = m_phase;
    figures.frames = m_frames;
    figures.pictures = m_pictures;
    figures.width = m_width;
    figures.height = m_height;
    figures.lastNotification = m_lastCode;
    const auto now = Clock::now();
    const double elapsed = std::chrono::duration<double>(now - m_rateStart).count();
    if (elapsed >= 1.0) {
        m_measuredFps = static_cast<int>((figures.frames - m_rateFrames) / elapsed + 0.5);
        m_measuredKbit = (m_bytes - m_rateBytes) * 8 / 1000.0 / elapsed;
        m_rateStart = now;
        m_rateFrames = figures.frames;
        m_rateBytes = m_bytes;
    }
    const int libraryFps = m_play != -1 ? NetPlay_GetFrameRate(m_container, m_play) : 0;
    const float libraryKbit = m_play != -1 ? NetPlay_GetFlux(m_container, m_play) : 0.0f;
    figures.framesPerSecond = libraryFps > 0 ? libraryFps : m_measuredFps;
    figures.kbitPerSecond = libraryKbit > 0 ? libraryKbit : m_measuredKbit;
    return figures;
}

int CDemoPlayer::StartRecord(const std::string& path) {
    std::vector<char> text(path.begin(), path.end());
    text.push_back('\0');
    return m_play == -1 ? -1 : NetPlay_StartRecord(m_container, m_play, text.data());
}

int CDemoPlayer::StopRecord() {
    return m_play == -1 ? -1 : NetPlay_StopRecord(m_container, m_play);
}

int CDemoPlayer::GrabPicture(const std::string& path) {
    std::vector<char> text(path.begin(), path.end());
    text.push_back('\0');
    return m_play == -1 ? -1 : NetPlay_GrabPic(m_container, m_play, text.data());
}

void CDemoPlayer::Close() {
    if (m_play != -1) {
        NetPlay_CloseUrl(m_container, m_play);
        m_play = -1;
    }
}
