#include "net/SocketFdSet.h"

#include <time.h>

#include "base/MutexGuard.h"

namespace {
// Socket numbers outside the mask's range are never set or tested: FD_SET past FD_SETSIZE
// would write beyond the mask.
bool FitsInMask(int s) {
    return s >= 0 && s < FD_SETSIZE;
}
}  // namespace

CSocketFdSet::CSocketFdSet() : m_maxsocket(0), fd_count(0), m_inRound(false), m_roundEvents(0) {
    pthread_mutex_init(&m_mutexSock, nullptr);
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&m_condRound, &attr);
    pthread_condattr_destroy(&attr);
    for (auto& slot : fd_array) {
        slot.store(0, std::memory_order_relaxed);
    }
    // The mask is cleared by the owner's FdZero before first use; zeroed here only so that a
    // copy taken before that is defined.
    FD_ZERO(&m_fdset);
}

CSocketFdSet::~CSocketFdSet() {
    pthread_cond_destroy(&m_condRound);
    pthread_mutex_destroy(&m_mutexSock);
}

void CSocketFdSet::FdZero() {
    playersdk::MutexGuard lock(m_mutexSock);
    FD_ZERO(&m_fdset);
    m_maxsocket.store(0, std::memory_order_relaxed);
    fd_count.store(0, std::memory_order_relaxed);
    for (auto& slot : fd_array) {
        slot.store(0, std::memory_order_relaxed);
    }
}

void CSocketFdSet::fdset(int s) {
    // A full set refuses before the lock is taken; nothing at all changes then.
    if (fd_count.load(std::memory_order_relaxed) > kMaxSockets - 1 || !FitsInMask(s)) {
        return;
    }
    playersdk::MutexGuard lock(m_mutexSock);
    FD_SET(s, &m_fdset);
    if (s > m_maxsocket.load(std::memory_order_relaxed)) {
        m_maxsocket.store(s, std::memory_order_relaxed);
    }
    // Stored at the end of the live entries, so every added socket is one that recreate() and
    // the receive thread walk. What stays: no duplicate check, a full set refuses before the
    // lock, and m_maxsocket only grows.
    const int count = fd_count.load(std::memory_order_relaxed);
    if (count < kMaxSockets) {  // filled by another thread since the test above
        fd_array[count].store(s, std::memory_order_relaxed);
        fd_count.store(count + 1, std::memory_order_relaxed);
    }
}

void CSocketFdSet::fdclear(int s) {
    playersdk::MutexGuard lock(m_mutexSock);
    if (FitsInMask(s)) {
        FD_CLR(s, &m_fdset);
    }
    int count = fd_count.load(std::memory_order_relaxed);
    for (int i = 0; i < count; ++i) {
        if (fd_array[i].load(std::memory_order_relaxed) != s) {
            continue;
        }
        // Close the gap and free the vacated last slot.
        for (int j = i; j < count - 1; ++j) {
            fd_array[j].store(fd_array[j + 1].load(std::memory_order_relaxed),
                              std::memory_order_relaxed);
        }
        fd_array[count - 1].store(0, std::memory_order_relaxed);
        fd_count.store(--count, std::memory_order_relaxed);
        break;
    }
    // Looks for a higher live socket than the one removed, so m_maxsocket is in effect never
    // lowered; a too-high first argument to select() is harmless.
    if (s == m_maxsocket.load(std::memory_order_relaxed)) {
        for (int i = 0; i < count; ++i) {
            int live = fd_array[i].load(std::memory_order_relaxed);
            if (live > m_maxsocket.load(std::memory_order_relaxed)) {
                m_maxsocket.store(live, std::memory_order_relaxed);
            }
        }
    }
}

void CSocketFdSet::recreate() {
    playersdk::MutexGuard lock(m_mutexSock);
    NoteRoundEventLocked(false);
    FD_ZERO(&m_fdset);
    int count = fd_count.load(std::memory_order_relaxed);
    for (int i = 0; i < count; ++i) {
        int s = fd_array[i].load(std::memory_order_relaxed);
        if (FitsInMask(s)) {
            FD_SET(s, &m_fdset);
        }
    }
}

int CSocketFdSet::getfdcount() {
    playersdk::MutexGuard lock(m_mutexSock);
    return fd_count.load(std::memory_order_relaxed);
}

fd_set CSocketFdSet::GetFdSet() {
    // Copied under the lock: the mask is a plain structure that application threads change.
    playersdk::MutexGuard lock(m_mutexSock);
    NoteRoundEventLocked(true);
    return m_fdset;
}

void CSocketFdSet::NoteRoundEventLocked(bool inRound) {
    m_inRound = inRound;
    ++m_roundEvents;
    pthread_cond_broadcast(&m_condRound);
}

void CSocketFdSet::WaitForRoundEnd(int waitMs) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += waitMs / 1000;
    deadline.tv_nsec += (waitMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        ++deadline.tv_sec;
        deadline.tv_nsec -= 1000000000L;
    }
    playersdk::MutexGuard lock(m_mutexSock);
    const unsigned long seen = m_roundEvents;
    while (m_inRound && m_roundEvents == seen) {
        if (pthread_cond_timedwait(&m_condRound, &m_mutexSock, &deadline) != 0) {
            return;  // timed out: no receive thread is turning rounds
        }
    }
}

int CSocketFdSet::SocketAt(int index) const {
    if (index < 0 || index >= kMaxSockets) {
        return 0;
    }
    return fd_array[index].load(std::memory_order_relaxed);
}
