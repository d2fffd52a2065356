#include "net/NetSinkContainer.h"

#include <errno.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>
#include <vector>

#include "base/MutexGuard.h"
#include "base/OsHelpers.h"
#include "media/RtpConstants.h"
#include "net/NetSink.h"

namespace {
// The longest wait of a round with sockets registered: a duty made due by moving the test
// clock forward runs within this time.
constexpr DWORD kMaxWaitMs = 100;

struct Duty {
    DWORD period;
    void (CNetSinkContainer::*run)();
    DWORD lastRun;
};
using Duties = std::array<Duty, 4>;

// A duty runs once more than its period has passed since its last run.
DWORD MsUntilNextDuty(const Duties& duties, DWORD now) {
    DWORD wait = kMaxWaitMs;
    for (const Duty& duty : duties) {
        const DWORD elapsed = now - duty.lastRun;
        wait = std::min(wait, elapsed > duty.period ? 0 : duty.period - elapsed + 1);
    }
    return wait;
}

void RunDueDuties(CNetSinkContainer& container, Duties& duties) {
    const DWORD now = GetTickCount();
    for (Duty& duty : duties) {
        if (now - duty.lastRun > duty.period) {
            (container.*duty.run)();
            duty.lastRun = now;
        }
    }
}

// One read takes at most this much: any UDP datagram fits.
constexpr unsigned long kReadSize = 65536;
// Reads of one socket in one round, so that a flooded socket cannot starve the others.
constexpr int kMaxReadsPerSocket = 64;
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
      m_serverip{},
      m_WakeFd(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      m_uWakeUps(0),
      m_uIdleWaits(0) {
    // Made here rather than in Init, so that a container destroyed without Init is sound.
    sem_init(&m_semExit, 0, 0);
    pthread_mutex_init(&m_mutexSink, nullptr);
}

CNetSinkContainer::~CNetSinkContainer() {
    sem_post(&m_semExit);
    WakeLoop();
    if (m_RecvThread != 0) {
        pthread_join(m_RecvThread, nullptr);
    }
    if (m_WakeFd >= 0) {
        close(m_WakeFd);
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
    WakeLoop();
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
        WakeLoop();  // a loop waiting for a wake-up alone also comes round
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
    if (result == playersdk::kRtcpBye) {
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

// Every readable socket is read until it is empty, one datagram (for a TCP sink, what the
// stream holds) a read, into a buffer large enough for any datagram: a burst of packets costs
// one select() instead of one each, and no size query precedes a read. What stays the same:
// each datagram reaches its sink whole and in order, and a TCP sink whose read fails or whose
// peer has closed reports code 3 once a round.
void CNetSinkContainer::ServeReadableSockets(const fd_set& readable) {
    const int count = m_SocketSet.LiveCount();
    for (int i = 0; i < count; ++i) {
        const int s = m_SocketSet.SocketAt(i);
        if (s < 0 || s >= FD_SETSIZE || !FD_ISSET(s, &readable)) {
            continue;
        }
        for (int reads = 0; reads < kMaxReadsPerSocket && ReadOnce(s); ++reads) {
        }
    }
}

bool CNetSinkContainer::ReadOnce(int s) {
    sockaddr_storage from{};
    ssize_t got = 0;
    int readError = 0;
    {
        playersdk::MutexGuard lock(m_mutexSink);
        // A sink removed since select() has closed this socket, and its number may already
        // belong to another socket of the process: leave it alone.
        if (GetSinkBySocket(s) == nullptr) {
            return false;
        }
        void* buf = m_RecvBuf.getbuf(kReadSize);
        if (buf == nullptr) {
            return false;  // no memory: the data stays queued for a later round
        }
        socklen_t fromlen = sizeof(from);
        // Never waits: one thread serves every sink.
        got =
            recvfrom(s, buf, kReadSize, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &fromlen);
        readError = got < 0 ? errno : 0;
    }
    if (readError == EAGAIN || readError == EWOULDBLOCK) {
        return false;  // emptied
    }
    if (got < 0) {
        ReceiveDataError(s, readError);
        return false;
    }
    ReceiveData(s, static_cast<int>(got), from);
    return got > 0;
}

void CNetSinkContainer::WakeLoop() {
    if (m_WakeFd < 0) {
        return;
    }
    const uint64_t one = 1;
    // Only a counter at its limit refuses the write, and then a wake-up is pending anyway.
    [[maybe_unused]] const ssize_t written = write(m_WakeFd, &one, sizeof(one));
}

void CNetSinkContainer::TakeWakeUp() {
    uint64_t count = 0;
    if (read(m_WakeFd, &count, sizeof(count)) == static_cast<ssize_t>(sizeof(count))) {
        m_uWakeUps.fetch_add(1);
    }
}

void CNetSinkContainer::WaitForWakeUp(int ms) {
    if (m_WakeFd < 0 && (ms < 0 || ms > static_cast<int>(kMaxWaitMs))) {
        ms = static_cast<int>(kMaxWaitMs);  // nothing can wake the loop: come round again
    }
    pollfd wake{m_WakeFd, POLLIN, 0};
    if (poll(&wake, 1, ms) > 0 && (wake.revents & POLLIN) != 0) {
        TakeWakeUp();
    }
}

bool CNetSinkContainer::AddWakeUp(fd_set& set) const {
    if (m_WakeFd < 0 || m_WakeFd >= FD_SETSIZE) {
        return false;
    }
    FD_SET(m_WakeFd, &set);
    return true;
}

// Every round waits until a socket is readable, a sink is added or removed, or the next duty
// falls due (at most kMaxWaitMs); with no socket registered it waits for a wake-up alone. What
// stays the same: the duties, their periods, their order and their reports, and no duty runs
// while no socket is registered.
void CNetSinkContainer::ReceiveLoop() {
    const DWORD start = GetTickCount();
    Duties duties{{{1000, &CNetSinkContainer::CalcFlux, start},
                   {7000, &CNetSinkContainer::SendRtcp, start},
                   {30000, &CNetSinkContainer::SendNetHole, start},
                   {60000, &CNetSinkContainer::CheckRtcpReport, start}}};
    while (sem_trywait(&m_semExit) != 0) {
        fd_set readable = m_SocketSet.GetFdSet();
        if (m_SocketSet.LiveCount() == 0) {
            m_uIdleWaits.fetch_add(1);
            WaitForWakeUp(-1);
            continue;
        }
        const DWORD waitMs = MsUntilNextDuty(duties, GetTickCount());
        timeval timeout{static_cast<time_t>(waitMs / 1000),
                        static_cast<suseconds_t>(waitMs % 1000 * 1000)};
        const bool wakeable = AddWakeUp(readable);
        const int nfds = std::max(m_SocketSet.GetMaxSocket(), wakeable ? m_WakeFd : 0) + 1;
        if (select(nfds, &readable, nullptr, nullptr, &timeout) >= 0) {
            if (wakeable && FD_ISSET(m_WakeFd, &readable)) {
                TakeWakeUp();
            }
            ServeReadableSockets(readable);
        } else if (errno != EINTR) {
            // A socket closed after the set was copied fails select() at once: wait instead of
            // coming straight round again.
            WaitForWakeUp(static_cast<int>(waitMs));
        }
        m_SocketSet.recreate();
        RunDueDuties(*this, duties);
    }
}

void* RcvDataProcess(void* container) {
    if (container != nullptr) {
        static_cast<CNetSinkContainer*>(container)->ReceiveLoop();
    }
    return nullptr;
}
