// CPlayContainer: the object behind a container handle. It owns the list of URL plays, the
// sink container and the UDP watchdog, and is the one path by which a play's notifications
// reach the application (ReportToCaller).
//
// The list has a lock that is never held while a play or the application is called. A play
// is used outside the lock only while it is marked in use on its node; removal unlinks the
// node first and then waits for those uses to end before it closes and deletes the play.
// Events of a play's RTSP engine need no mark: they come from the engine's receive thread,
// and a play is closed (which joins that thread) before it is deleted.
#pragma once

#include <pthread.h>

#include "base/Types.h"

class CNetPlayUrl;
class CNetSinkContainer;
struct rtsp_sdp_info;

// One registered play; the play's address is its public handle.
struct UrlContainer {
    UrlContainer* next;
    CNetPlayUrl* urlplay;
    // Uses of the play outside the list lock (watchdog ticks, per-play calls).
    int users;
    // Its first start runs: only its own engine's events may find it yet.
    bool hidden;
    // InitPlay runs on it (first start or NetPlay_StartUDP), on the thread 'starter'.
    bool starting;
    pthread_t starter;
    // Closed from inside its own start (by the application's callback on the starting
    // thread): the start closes and deletes it when it returns. 1 ClosePlay, 2 StopUdp.
    int closeAfterStart;
};

class CPlayContainer {
public:
    // A play found in the list and marked in use until this object goes.
    class PlayUse {
    public:
        PlayUse(CPlayContainer& container, long hPlay);
        ~PlayUse();
        PlayUse(const PlayUse&) = delete;
        PlayUse& operator=(const PlayUse&) = delete;
        CNetPlayUrl* operator->() const { return m_node->urlplay; }
        explicit operator bool() const { return m_node != nullptr; }

    private:
        CPlayContainer& m_container;
        UrlContainer* m_node;
    };

    CPlayContainer();
    virtual ~CPlayContainer();
    CPlayContainer(const CPlayContainer&) = delete;
    CPlayContainer& operator=(const CPlayContainer&) = delete;

    int Init(NetPlayAckCallBack cb, long lUserData);
    int Destroy();
    void SetDrawCb(DrawCB cb, long lPrivate);

    long StartUrlPlay(char* url, long hWnd, long userdata, int transType);
    int StopUrlPlay(long hPlay);
    // 1 when the play is in the list, else 0.
    int CheckHandle(long hPlay);
    void OnRecvRtspNotify(rtsp_sdp_info* info);

    long InitUdp(char* ip, int port, int* localPort);
    int StartUdp(long hPlay, char* url, long hWnd, long userdata, int transType);
    int StopUdp(long hPlay);

    // Calls the application's notification callback, when there is one, with this
    // container's address, the play, the code and the container's user value.
    void ReportToCaller(long hPlay, ePlayNotifyCode code);

    // The UDP watchdog: one tick a second until m_semUdpExit is posted.
    void OnUdpTimer();
    void UdpTimerTick();

    UrlContainer* m_pUrlPlayList;
    CNetSinkContainer* m_pNetSinkContainer;
    NetPlayAckCallBack m_cbPlayAck;
    SEM_T m_semUdpExit;  // posted once to end the UDP watchdog
    pthread_t m_hUdpTimerThread;
    long m_lUserData;
    DrawCB m_pDrawCb;  // copied into every URL play opened later
    long m_lDrawPrivate;

private:
    enum CloseKind { kClosePlay = 1, kStopUdp = 2 };

    UrlContainer* FindLocked(long hPlay, bool hiddenToo) const;
    UrlContainer* AppendLocked(CNetPlayUrl* play, bool hidden);
    void UnlinkLocked(UrlContainer* node);
    void ReleaseUse(UrlContainer* node);
    void WaitUnusedLocked(UrlContainer* node);
    // Runs InitPlay on a listed play with its node marked as starting; the play's result.
    int RunStart(UrlContainer* node, char* url, long hWnd, long userdata, int transType);
    int RemovePlay(long hPlay, CloseKind kind);
    static void ClosePlayAndDelete(CNetPlayUrl* play, int kind);
    // One play's share of a watchdog tick; false ends the tick.
    static bool WatchUdpTraffic(CNetPlayUrl& play);

    pthread_mutex_t m_mutexPlayList;
    pthread_cond_t m_condPlayUnused;  // a use ended or a start finished
};

// Thread entry of the UDP watchdog; the argument is the container.
void* HandleUdpTimerThread(void* arg);
