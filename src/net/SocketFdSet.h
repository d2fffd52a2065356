// CSocketFdSet: every socket the sink receive thread watches, kept twice: as the select()
// read mask and as a plain array of socket numbers that the thread walks after select().
#pragma once

#include <pthread.h>
#include <sys/select.h>

#include <atomic>

#include "base/Types.h"

class CSocketFdSet {
public:
    static constexpr int kMaxSockets = 1024;

    CSocketFdSet();
    virtual ~CSocketFdSet();
    CSocketFdSet(const CSocketFdSet&) = delete;
    CSocketFdSet& operator=(const CSocketFdSet&) = delete;

    void FdZero();
    void fdset(int s);
    void fdclear(int s);
    // Rebuilds the mask from the live entries; m_maxsocket is left as it is. Ends the receive
    // thread's round that GetFdSet began.
    void recreate();
    int getfdcount();
    int GetMaxSocket() const { return m_maxsocket.load(std::memory_order_relaxed); }
    // A private copy of the mask for select() to write into; begins a round of the receive
    // thread.
    fd_set GetFdSet();
    // Returns once no select() that may watch sockets cleared before this call is running:
    // after the round in progress (if any) ends or a new one begins, or after waitMs. A socket
    // watched by a sleeping select() stays open, its port bound, until the select() returns.
    void WaitForRoundEnd(int waitMs);

    // The receive thread reads these two without the lock; they are atomic so that the walk
    // is race-free while application threads add and remove sinks.
    int LiveCount() const { return fd_count.load(std::memory_order_relaxed); }
    int SocketAt(int index) const;

    fd_set m_fdset;
    MUTEX_T m_mutexSock;
    std::atomic<SOCKET> m_maxsocket;
    std::atomic<int> fd_count;
    std::atomic<int> fd_array[kMaxSockets];  // 0 marks a free slot

private:
    // Under m_mutexSock: a round has begun and not ended; every begin and end counted.
    pthread_cond_t m_condRound;
    bool m_inRound;
    unsigned long m_roundEvents;
    void NoteRoundEventLocked(bool inRound);
};
