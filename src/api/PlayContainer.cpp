#include "api/PlayContainer.h"

#include <semaphore.h>

#include <cmath>
#include <new>
#include <vector>

#include "base/MutexGuard.h"
#include "base/OsHelpers.h"
#include "net/NetSinkContainer.h"
#include "rtsp/Rtsp.h"
#include "session/NetPlayUrl.h"

namespace {
// A playing UDP play without traffic for longer than this restarts the measurement.
constexpr DWORD kNoTrafficMs = 5000;
constexpr int kWatchdogPeriodSeconds = 1;
}  // namespace

void* HandleUdpTimerThread(void* arg) {
    if (arg != nullptr) {
        static_cast<CPlayContainer*>(arg)->OnUdpTimer();
    }
    return nullptr;
}

CPlayContainer::CPlayContainer()
    : m_pUrlPlayList(nullptr),
      m_pNetSinkContainer(nullptr),
      m_cbPlayAck(nullptr),
      m_hUdpTimerThread(),
      m_lUserData(0),
      m_pDrawCb(nullptr),
      m_lDrawPrivate(0) {
    sem_init(&m_semUdpExit, 0, 0);
    pthread_mutex_init(&m_mutexPlayList, nullptr);
    pthread_cond_init(&m_condPlayUnused, nullptr);
}

CPlayContainer::~CPlayContainer() {
    // Destroy has closed the plays; the list head is only cleared here.
    if (m_hUdpTimerThread != 0) {
        sem_post(&m_semUdpExit);
        pthread_join(m_hUdpTimerThread, nullptr);
    }
    m_pUrlPlayList = nullptr;
    delete m_pNetSinkContainer;
    m_pNetSinkContainer = nullptr;
    sem_destroy(&m_semUdpExit);
    pthread_cond_destroy(&m_condPlayUnused);
    pthread_mutex_destroy(&m_mutexPlayList);
}

int CPlayContainer::Init(NetPlayAckCallBack cb, long lUserData) {
    m_pNetSinkContainer = new (std::nothrow) CNetSinkContainer();
    if (m_pNetSinkContainer == nullptr) {
        return -1;
    }
    m_pNetSinkContainer->Init();
    m_cbPlayAck = cb;
    m_lUserData = lUserData;
    if (pthread_create(&m_hUdpTimerThread, nullptr, HandleUdpTimerThread, this) != 0) {
        m_hUdpTimerThread = 0;
    }
    return 0;
}

int CPlayContainer::Destroy() {
    // The watchdog goes first, so it never looks at a play that is being closed.
    if (m_hUdpTimerThread != 0) {
        sem_post(&m_semUdpExit);
        pthread_join(m_hUdpTimerThread, nullptr);
        m_hUdpTimerThread = 0;
    }
    UrlContainer* list = nullptr;
    {
        playersdk::MutexGuard lock(m_mutexPlayList);
        list = m_pUrlPlayList;
        m_pUrlPlayList = nullptr;
        for (UrlContainer* node = list; node != nullptr; node = node->next) {
            WaitUnusedLocked(node);
        }
    }
    while (list != nullptr) {
        UrlContainer* next = list->next;
        ClosePlayAndDelete(list->urlplay, kClosePlay);
        delete list;
        list = next;
    }
    delete m_pNetSinkContainer;
    m_pNetSinkContainer = nullptr;
    return 0;
}

void CPlayContainer::SetDrawCb(DrawCB cb, long lPrivate) {
    playersdk::MutexGuard lock(m_mutexPlayList);
    m_pDrawCb = cb;
    m_lDrawPrivate = lPrivate;
}

void CPlayContainer::ReportToCaller(long hPlay, ePlayNotifyCode code) {
    if (m_cbPlayAck != nullptr) {
        m_cbPlayAck(reinterpret_cast<long>(this), hPlay, code, m_lUserData);
    }
}

// ---- the list ---------------------------------------------------------------------------

UrlContainer* CPlayContainer::FindLocked(long hPlay, bool hiddenToo) const {
    for (UrlContainer* node = m_pUrlPlayList; node != nullptr; node = node->next) {
        if (reinterpret_cast<long>(node->urlplay) == hPlay && (hiddenToo || !node->hidden)) {
            return node;
        }
    }
    return nullptr;
}

UrlContainer* CPlayContainer::AppendLocked(CNetPlayUrl* play, bool hidden) {
    auto* node = new (std::nothrow) UrlContainer{nullptr, play, 0, hidden, hidden, {}, 0};
    if (node == nullptr) {
        return nullptr;
    }
    if (hidden) {
        node->starter = pthread_self();
    }
    UrlContainer** link = &m_pUrlPlayList;
    while (*link != nullptr) {
        link = &(*link)->next;
    }
    *link = node;
    return node;
}

void CPlayContainer::UnlinkLocked(UrlContainer* node) {
    for (UrlContainer** link = &m_pUrlPlayList; *link != nullptr; link = &(*link)->next) {
        if (*link == node) {
            *link = node->next;
            node->next = nullptr;
            return;
        }
    }
}

void CPlayContainer::WaitUnusedLocked(UrlContainer* node) {
    while (node->users > 0 || node->starting) {
        pthread_cond_wait(&m_condPlayUnused, &m_mutexPlayList);
    }
}

void CPlayContainer::ReleaseUse(UrlContainer* node) {
    playersdk::MutexGuard lock(m_mutexPlayList);
    if (--node->users == 0) {
        pthread_cond_broadcast(&m_condPlayUnused);
    }
}

int CPlayContainer::CheckHandle(long hPlay) {
    playersdk::MutexGuard lock(m_mutexPlayList);
    return FindLocked(hPlay, false) != nullptr ? 1 : 0;
}

CPlayContainer::PlayUse::PlayUse(CPlayContainer& container, long hPlay)
    : m_container(container), m_node(nullptr) {
    playersdk::MutexGuard lock(container.m_mutexPlayList);
    // A play being started waits for its start, unless the call comes from inside that start
    // (the application's callback on the starting thread).
    for (;;) {
        UrlContainer* node = container.FindLocked(hPlay, false);
        if (node == nullptr) {
            return;
        }
        if (!node->starting || pthread_equal(node->starter, pthread_self())) {
            ++node->users;
            m_node = node;
            return;
        }
        pthread_cond_wait(&container.m_condPlayUnused, &container.m_mutexPlayList);
    }
}

CPlayContainer::PlayUse::~PlayUse() {
    if (m_node != nullptr) {
        m_container.ReleaseUse(m_node);
    }
}

// ---- opening and closing ----------------------------------------------------------------

void CPlayContainer::ClosePlayAndDelete(CNetPlayUrl* play, int kind) {
    if (kind == kStopUdp) {
        play->StopUdp();
        // A play that also ran an RTSP session keeps no engine thread or stream behind it.
        play->DestroyEngine();
        play->CloseRtpStream();
    } else {
        play->ClosePlay();
    }
    delete play;
}

int CPlayContainer::RunStart(UrlContainer* node, char* url, long hWnd, long userdata,
                             int transType) {
    CNetPlayUrl* play = node->urlplay;
    int result = play->InitPlay(url, hWnd, userdata, transType);
    int closeKind = 0;
    {
        playersdk::MutexGuard lock(m_mutexPlayList);
        node->starting = false;
        pthread_cond_broadcast(&m_condPlayUnused);
        if (node->hidden) {
            // A first start registers the play only when it succeeded.
            if (result == 0) {
                node->hidden = false;
            } else {
                UnlinkLocked(node);
                closeKind = kClosePlay;
            }
        } else {
            closeKind = node->closeAfterStart;
        }
        if (closeKind != 0) {
            WaitUnusedLocked(node);
        }
    }
    if (closeKind != 0) {
        // A play that failed to start may still hold its engine (the DESCRIBE could not be
        // sent); closing it once more releases whatever is left.
        ClosePlayAndDelete(play, closeKind);
        delete node;
    }
    return result;
}

long CPlayContainer::StartUrlPlay(char* url, long hWnd, long userdata, int transType) {
    auto* play = new (std::nothrow) CNetPlayUrl();
    if (play == nullptr) {
        return -1;
    }
    play->SetContainer(this);
    {
        playersdk::MutexGuard lock(m_mutexPlayList);
        play->SetDrawCb(m_pDrawCb, m_lDrawPrivate);
    }
    if (transType == TT_UDP) {
        // The sink and its port pair come first: SETUP offers that pair. When none can be
        // made, InitPlay finds no sink and the start fails (reported once).
        play->ParseUrl(url);
        play->InitUdp(play->m_server_addr, static_cast<int>(play->m_remote_port));
    }
    UrlContainer* node = nullptr;
    {
        // Listed but hidden while it starts: replies that come before InitPlay returns
        // already find their play.
        playersdk::MutexGuard lock(m_mutexPlayList);
        node = AppendLocked(play, true);
    }
    if (node == nullptr) {
        ClosePlayAndDelete(play, kClosePlay);
        return -1;
    }
    return RunStart(node, url, hWnd, userdata, transType) == 0 ? reinterpret_cast<long>(play) : -1;
}

int CPlayContainer::RemovePlay(long hPlay, CloseKind kind) {
    if (hPlay == 0) {
        return -1;
    }
    UrlContainer* node = nullptr;
    {
        playersdk::MutexGuard lock(m_mutexPlayList);
        node = FindLocked(hPlay, false);
        if (node == nullptr) {
            return -1;
        }
        UnlinkLocked(node);
        if (node->starting && pthread_equal(node->starter, pthread_self())) {
            // Closed from inside its own start: the start finishes the job.
            node->closeAfterStart = kind;
            return 0;
        }
        WaitUnusedLocked(node);
    }
    ClosePlayAndDelete(node->urlplay, kind);
    delete node;
    return 0;
}

int CPlayContainer::StopUrlPlay(long hPlay) {
    return RemovePlay(hPlay, kClosePlay);
}

int CPlayContainer::StopUdp(long hPlay) {
    return RemovePlay(hPlay, kStopUdp);
}

long CPlayContainer::InitUdp(char* ip, int port, int* localPort) {
    auto* play = new (std::nothrow) CNetPlayUrl();
    if (play == nullptr) {
        if (localPort != nullptr) {
            *localPort = -1;
        }
        return -1;
    }
    // No draw hook for a play opened this way, on purpose.
    play->SetContainer(this);
    int local = play->InitUdp(ip, port);
    if (localPort != nullptr) {
        *localPort = local;
    }
    if (local > 0) {
        playersdk::MutexGuard lock(m_mutexPlayList);
        if (AppendLocked(play, false) != nullptr) {
            return reinterpret_cast<long>(play);
        }
    }
    // Its sink is already registered with the sink container; it goes with the play.
    ClosePlayAndDelete(play, kStopUdp);
    return -1;
}

int CPlayContainer::StartUdp(long hPlay, char* url, long hWnd, long userdata, int transType) {
    if (hPlay == 0) {
        return -1;
    }
    UrlContainer* node = nullptr;
    {
        playersdk::MutexGuard lock(m_mutexPlayList);
        // The start changes the play's engine and sinks: no other use may overlap it.
        for (;;) {
            node = FindLocked(hPlay, false);
            if (node == nullptr) {
                return -1;
            }
            if (node->users == 0 && !node->starting) {
                break;
            }
            pthread_cond_wait(&m_condPlayUnused, &m_mutexPlayList);
        }
        node->starting = true;
        node->starter = pthread_self();
    }
    RunStart(node, url, hWnd, userdata, transType);
    return 0;
}

void CPlayContainer::OnRecvRtspNotify(rtsp_sdp_info* info) {
    if (info == nullptr) {
        return;
    }
    // Only this play's engine thread reports for it, and the play is closed (which joins that
    // thread) before it is deleted: a play found here lives until OnRecvRtsp returns.
    CNetPlayUrl* play = nullptr;
    {
        playersdk::MutexGuard lock(m_mutexPlayList);
        UrlContainer* node = FindLocked(reinterpret_cast<long>(info->pNetPlay), true);
        if (node != nullptr) {
            play = node->urlplay;
        }
    }
    if (play != nullptr) {
        play->OnRecvRtsp(info);
    }
}

// ---- UDP watchdog -----------------------------------------------------------------------

void CPlayContainer::OnUdpTimer() {
    while (sem_wait_timeout(&m_semUdpExit, kWatchdogPeriodSeconds) != 0) {
        UdpTimerTick();
    }
}

void CPlayContainer::UdpTimerTick() {
    std::vector<UrlContainer*> watched;
    {
        playersdk::MutexGuard lock(m_mutexPlayList);
        for (UrlContainer* node = m_pUrlPlayList; node != nullptr; node = node->next) {
            if (node->hidden || node->starting) {
                continue;
            }
            try {
                watched.push_back(node);
            } catch (const std::bad_alloc&) {
                break;
            }
            ++node->users;
        }
    }
    for (UrlContainer* node : watched) {
        if (!WatchUdpTraffic(*node->urlplay)) {
            break;
        }
    }
    for (UrlContainer* node : watched) {
        ReleaseUse(node);
    }
}

// The expiry of a no-traffic interval reports nothing and closes nothing: it restarts the
// measurement and ends the tick. That is all the watchdog does, deliberately.
bool CPlayContainer::WatchUdpTraffic(CNetPlayUrl& play) {
    const ePlayState state = play.m_curPlayState;
    if (play.m_pVideoSink == nullptr || state < S_PLAYING || state == S_PAUSE) {
        play.m_TimeOutTimer = 0;
        return true;
    }
    const float flux = play.GetFlux();
    if (std::isnan(flux) || flux != 0.0f) {
        play.m_TimeOutTimer = 0;
        return true;
    }
    if (play.m_TimeOutTimer == 0) {
        play.m_TimeOutTimer = GetTickCount();
    }
    if (play.m_TimeOutTimer != 0 && GetTickCount() - play.m_TimeOutTimer > kNoTrafficMs) {
        play.m_TimeOutTimer = 0;
        return false;
    }
    return true;
}
