// CSocketFdSet: every socket the sink receive thread watches, kept twice: as the select()
// read mask and as a plain array of socket numbers that the thread walks after select().
#pragma once

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
    // Rebuilds the mask from the live entries; m_maxsocket is left as it is.
    void recreate();
    int getfdcount();
    int GetMaxSocket() const { return m_maxsocket.load(std::memory_order_relaxed); }
    // A private copy of the mask for select() to write into.
    fd_set GetFdSet();

    // The receive thread reads these two without the lock; they are atomic so that the walk
    // is race-free while application threads add and remove sinks.
    int LiveCount() const { return fd_count.load(std::memory_order_relaxed); }
    int SocketAt(int index) const;

    fd_set m_fdset;
    MUTEX_T m_mutexSock;
    std::atomic<SOCKET> m_maxsocket;
    std::atomic<int> fd_count;
    std::atomic<int> fd_array[kMaxSockets];  // 0 marks a free slot
};
