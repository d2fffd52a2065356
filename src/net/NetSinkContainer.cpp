#include "net/NetSinkContainer.h"

#include <errno.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <new>
#include <vector>

#include "base/MutexGuard.h"
#include "base/OsHelpers.h"
#include "net/NetSink.h"

namespace {
constexpr long kRoundTimeoutUs = 20000;
// Longer than any round of the receive thread.
constexpr int kRemoveWaitMs = 1000;

// The four sockets of a sink in the order they are registered and unregistered.
std::array<int, 4> SocketsOf(CNetSink* sink) {
    return {sink->GetRtpSocket(), sink->GetRtcpSocket(), sink->GetRtpSendSocket(),
            sink->GetRtcpSendSocket()};
}

bool OwnsSocket(CNetSink* sink, int s) {
    for (int own : SocketsOf(sink)) {
        if (own == s) {
            return true;
        }
    }
    return false;
}
}  // namespace

CNetSinkContainer::CNetSinkContainer()
    : m_SinkList(nullptr),
      m_ReportCallback(nullptr),
      m_RecvThread(0),
      m_RecvThreadid(0),
      m_UserData(0),
      m_serverip{} {
    // Made here rather than in Init, so that a container destroyed without Init is sound.
    sem_init(&m_semExit, 0, 0);
    pthread_mutex_init(&m_mutexSink, nullptr);
}

CNetSinkContainer::~CNetSinkContainer() {
    sem_post(&m_semExit);
    if (m_RecvThread != 0) {
        pthread_join(m_RecvThread, nullptr);
    }
    sem_destroy(&m_semExit);
    pthread_mutex_destroy(&m_mutexSink);
    m_RecvBuf.FreeBuf();
    // Sinks still listed belong to their owners, who remove them first; only the nodes go.
    while (m_SinkList != nullptr) {
        SinkNode* next = m_SinkList->pNext;
        delete m_SinkList;
        m_SinkList = next;
    }
}

void CNetSinkContainer::Init() {
    if (m_RecvThread != 0) {
        return;
    }
    m_SocketSet.FdZero();
    pthread_create(&m_RecvThread, nullptr, RcvDataProcess, this);
}

void CNetSinkContainer::AddNetSink(CNetSink* sink) {
    if (sink == nullptr) {
        return;
    }
    playersdk::MutexGuard lock(m_mutexSink);
    auto* node = new (std::nothrow) SinkNode{m_SinkList, sink};
    if (node == nullptr) {
        return;
    }
    m_SinkList = node;
    sink->m_pContainer = reinterpret_cast<long>(this);
    for (int s : SocketsOf(sink)) {
        if (s > 0) {
            m_SocketSet.fdset(s);
        }
    }
}

void CNetSinkContainer::RemoveSink(CNetSink* sink) {
    if (sink == nullptr) {
        return;
    }
    sink->pause();
    {
        playersdk::MutexGuard lock(m_mutexSink);
        // The BYE is built from stream state that the receive thread writes under this lock.
        sink->SendBye();
        SinkNode** link = &m_SinkList;
        while (*link != nullptr && (*link)->sink != sink) {
            link = &(*link)->pNext;
        }
        if (*link == nullptr) {
            return;
        }
        for (int s : SocketsOf(sink)) {
            if (s > 0) {
                m_SocketSet.fdclear(s);
            }
        }
        SinkNode* node = *link;
        *link = node->pNext;
        delete node;
    }
    // Unlisted, the sink is out of the receive thread's reach. A select() still watching its
    // sockets would keep them, and their ports, after close(): shutdown wakes that select()
    // and the sink goes once its round is over, so its ports are free when this returns.
    for (int s : SocketsOf(sink)) {
        if (s > 0) {
            shutdown(s, SHUT_RDWR);
        }
    }
    if (m_RecvThread == 0 || !pthread_equal(m_RecvThread, pthread_self())) {
        m_SocketSet.WaitForRoundEnd(kRemoveWaitMs);  // on its own thread no select() runs
    }
    sink->DestorySink();
    delete sink;
}

CNetSink* CNetSinkContainer::GetSinkBySocket(int s) {
    CNetSink* found = nullptr;
    for (SinkNode* node = m_SinkList; node != nullptr; node = node->pNext) {
        if (OwnsSocket(node->sink, s)) {
            found = node->sink;
        }
    }
    return found;
}

void CNetSinkContainer::Report(CNetSink* sink, int code) {
    NetLink_ReportCallBack callback = m_ReportCallback.load();
    if (callback != nullptr) {
        callback(reinterpret_cast<long>(this), reinterpret_cast<long>(sink), code,
                 m_UserData.load());
    }
}

void CNetSinkContainer::ReceiveData(int s, int len, sockaddr_storage from) {
    CNetSink* sink = nullptr;
    bool tcpClosed = false;
    int result = 0;
    {
        // Held while the sink takes the data, so that it cannot be destroyed mid-delivery.
        playersdk::MutexGuard lock(m_mutexSink);
        sink = GetSinkBySocket(s);
        if (sink == nullptr) {
            return;
        }
        if (len <= 0) {
            tcpClosed = sink->m_TransType == TT_TCP;
        } else if (m_RecvBuf.GetCurBuf() != nullptr &&
                   static_cast<unsigned long>(len) <= m_RecvBuf.GetCurBuflen()) {
            result = sink->ReceiveData(s, len, m_RecvBuf.GetCurBuf(), from);
        }
    }
    // The sink address is only passed on, never used, once the lock is gone.
    if (tcpClosed) {
        Report(sink, LINK_TCP_CLOSED);
    }
    if (result == 203) {
        Report(sink, LINK_RTCP_BYE);
    }
}

void CNetSinkContainer::ReceiveDataError(int s, int err) {
    CNetSink* sink = nullptr;
    bool report = false;
    {
        playersdk::MutexGuard lock(m_mutexSink);
        sink = GetSinkBySocket(s);
        report = sink != nullptr && !sink->m_bPaused && sink->m_TransType == TT_TCP;
    }
    if (report) {
        Report(sink, LINK_TCP_CLOSED);
    }
}

void CNetSinkContainer::ForEachSink(void (CNetSink::*duty)()) {
    playersdk::MutexGuard lock(m_mutexSink);
    for (SinkNode* node = m_SinkList; node != nullptr; node = node->pNext) {
        (node->sink->*duty)();
    }
}

void CNetSinkContainer::CalcFlux() {
    ForEachSink(&CNetSink::CalcFlux);
}
void CNetSinkContainer::SendRtcp() {
    ForEachSink(&CNetSink::SendRtcp);
}
void CNetSinkContainer::SendNetHole() {
    ForEachSink(&CNetSink::SendNetHole);
}

void CNetSinkContainer::CheckRtcpReport() {
    std::vector<CNetSink*> silent;
    {
        playersdk::MutexGuard lock(m_mutexSink);
        for (SinkNode* node = m_SinkList; node != nullptr; node = node->pNext) {
            CNetSink* sink = node->sink;
            if (sink->m_bPaused || sink->m_TransType == TT_TCP) {
                continue;
            }
            // A silent sink keeps its cleared flag, so it is reported again next period.
            if (sink->GetReceiveRtcpFlag() == 0) {
                silent.push_back(sink);
            } else {
                sink->RestReceiveRtcpFlag();
            }
        }
    }
    for (CNetSink* sink : silent) {
        Report(sink, LINK_RTCP_SILENCE);
    }
}

void CNetSinkContainer::ServeReadableSockets(const fd_set& readable, unsigned long& pending) {
    int count = m_SocketSet.LiveCount();
    for (int i = 0; i < count; ++i) {
        int s = m_SocketSet.SocketAt(i);
        if (s < 0 || s >= FD_SETSIZE || !FD_ISSET(s, &readable)) {
            continue;
        }
        sockaddr_storage from{};
        ssize_t got = 0;
        int queryError = 0;
        {
            playersdk::MutexGuard lock(m_mutexSink);
            // A sink removed since select() has closed this socket, and its number may
            // already belong to another socket of the process: leave it alone.
            if (GetSinkBySocket(s) == nullptr) {
                continue;
            }
            if (ioctl(s, FIONREAD, &pending) != 0) {
                queryError = errno;
            } else {
                // Sized from the exact readable count. At least one byte is asked for, so that
                // a first datagram of 0 bytes is read (and dropped) instead of staying queued.
                void* buf = m_RecvBuf.getbuf(pending > 0 ? pending : 1);
                if (buf == nullptr) {
                    continue;  // no memory: the data stays queued for a later round
                }
                socklen_t fromlen = sizeof(from);
                // Never waits: one thread serves every sink.
                got = recvfrom(s, buf, pending, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from),
                               &fromlen);
            }
        }
        if (queryError != 0) {
            ReceiveDataError(s, queryError);
        } else {
            ReceiveData(s, static_cast<int>(got), from);
        }
    }
}

void CNetSinkContainer::ReceiveLoop() {
    // Armed once, before the loop: select() leaves the time it did not wait in here, so after
    // the first round that times out every later round polls without waiting. Deliberate.
    timeval timeout{0, kRoundTimeoutUs};
    struct Duty {
        DWORD period;
        void (CNetSinkContainer::*run)();
        DWORD lastRun;
    };
    DWORD start = GetTickCount();
    std::array<Duty, 4> duties{{{1000, &CNetSinkContainer::CalcFlux, start},
                                {7000, &CNetSinkContainer::SendRtcp, start},
                                {30000, &CNetSinkContainer::SendNetHole, start},
                                {60000, &CNetSinkContainer::CheckRtcpReport, start}}};
    unsigned long pending = 0;
    while (sem_trywait(&m_semExit) != 0) {
        fd_set readable = m_SocketSet.GetFdSet();
        if (m_SocketSet.LiveCount() == 0) {
            usleep(kRoundTimeoutUs);
            continue;
        }
        if (select(m_SocketSet.GetMaxSocket() + 1, &readable, nullptr, nullptr, &timeout) >= 0) {
            ServeReadableSockets(readable, pending);
        }
        m_SocketSet.recreate();
        DWORD now = GetTickCount();
        for (Duty& duty : duties) {
            if (now - duty.lastRun > duty.period) {
                (this->*duty.run)();
                duty.lastRun = now;
            }
        }
    }
}

void* RcvDataProcess(void* container) {
    if (container != nullptr) {
        static_cast<CNetSinkContainer*>(container)->ReceiveLoop();
    }
    return nullptr;
}
