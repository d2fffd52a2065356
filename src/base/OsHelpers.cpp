#include "base/OsHelpers.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <cstdio>

namespace {
std::atomic<DWORD> g_tickOffset{0};

// The deadline keeps whole seconds only: a wait of N seconds lasts between N-1 and N seconds.
// The UDP watchdog's one-second tick depends on that truncation.
timespec WholeSecondDeadline(int seconds) {
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + seconds;
    deadline.tv_nsec = 0;
    return deadline;
}

// Both waits decide by errno, also for the mutex whose error comes back as the result:
// callers only test for non-zero.
int WaitResult(int rc) {
    if (rc == 0) {
        return 0;
    }
    return errno == ETIMEDOUT ? 1 : -1;
}
}  // namespace

DWORD GetTickCount() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    DWORD ms = static_cast<DWORD>(ts.tv_sec) * 1000 + static_cast<DWORD>(ts.tv_nsec) / 1000000;
    return ms + g_tickOffset.load(std::memory_order_relaxed);
}

uint64_t Milliseconds() {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    return static_cast<uint64_t>(tv.tv_sec) * 1000 + static_cast<uint64_t>(tv.tv_usec) / 1000;
}

int mutex_lock_timeout(pthread_mutex_t* mutex, int seconds) {
    timespec deadline = WholeSecondDeadline(seconds);
    return WaitResult(pthread_mutex_timedlock(mutex, &deadline));
}

int sem_wait_timeout(sem_t* mutex, int seconds) {
    timespec deadline = WholeSecondDeadline(seconds);
    return WaitResult(sem_timedwait(mutex, &deadline));
}

void InitNonBlocking(int fd) {
    int flags = fcntl(fd, F_GETFL, 0);
    if (fcntl(fd, F_SETFL, flags | O_NONBLOCK) == -1) {
        printf("\r\n InitNonBlocking failed\r\n");
    }
}

namespace playersdk {
void AdvanceTickCountForTest(DWORD ms) {
    g_tickOffset.fetch_add(ms, std::memory_order_relaxed);
}
}  // namespace playersdk
