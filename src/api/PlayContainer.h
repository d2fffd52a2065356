// CPlayContainer: the object behind a container handle. It owns the list of URL plays, the
// sink container and the UDP watchdog, and is the one path by which a play's notifications
// reach the application (ReportToCaller).
#pragma once

#include <pthread.h>

#include "base/Types.h"

class CNetPlayUrl;
class CNetSinkContainer;

// One registered play; the play's address is its public handle.
struct UrlContainer {
    UrlContainer* next;
    CNetPlayUrl* urlplay;
};

class CPlayContainer {
public:
    CPlayContainer();
    virtual ~CPlayContainer();
    CPlayContainer(const CPlayContainer&) = delete;
    CPlayContainer& operator=(const CPlayContainer&) = delete;

    // Calls the application's notification callback, when there is one, with this
    // container's address, the play, the code and the container's user value.
    void ReportToCaller(long hPlay, ePlayNotifyCode code);

    UrlContainer* m_pUrlPlayList;
    CNetSinkContainer* m_pNetSinkContainer;
    NetPlayAckCallBack m_cbPlayAck;
    SEM_T m_semUdpExit;  // posted once to end the UDP watchdog
    pthread_t m_hUdpTimerThread;
    long m_lUserData;
    DrawCB m_pDrawCb;  // copied into every URL play opened later
    long m_lDrawPrivate;
};
