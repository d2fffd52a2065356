// Clocks, timed waits and socket mode: what the library uses instead of the OS directly.
#pragma once

#include "base/Types.h"

// Milliseconds of the monotonic clock; used for every time-out and interval.
DWORD GetTickCount();
// Milliseconds of the wall clock; used only where a wall-clock base is wanted (RTCP).
uint64_t Milliseconds();

// Whole-second waits: 0 acquired, 1 timed out, -1 other failure.
int mutex_lock_timeout(pthread_mutex_t* mutex, int seconds);
int sem_wait_timeout(sem_t* mutex, int seconds);

void InitNonBlocking(int fd);

namespace playersdk {
// Moves GetTickCount forward, so tests of long time-outs run in milliseconds. Not exported.
void AdvanceTickCountForTest(DWORD ms);
}  // namespace playersdk
