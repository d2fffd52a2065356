#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "base/OsHelpers.h"

namespace {
using Clock = std::chrono::steady_clock;
long ElapsedMs(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}
}  // namespace

TEST(GetTickCount, IsMonotonicMillisecondsTheTestHookMovesItAndMillisecondsIsTheWallClock) {
    DWORD a = GetTickCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    DWORD b = GetTickCount();
    EXPECT_GE(b - a, 19u);
    EXPECT_LT(b - a, 1000u);
    playersdk::AdvanceTickCountForTest(60000);
    DWORD c = GetTickCount();
    EXPECT_GE(c - b, 60000u);
    EXPECT_LT(c - b, 61000u);
    int64_t wall = static_cast<int64_t>(Milliseconds()) - int64_t{time(nullptr)} * 1000;
    EXPECT_LT(std::abs(wall), 2000);
}

TEST(SemWaitTimeout, CountedReturnsAtOnceEmptyTimesOutWithinASecondPostedWakes) {
    sem_t sem;
    ASSERT_EQ(sem_init(&sem, 0, 1), 0);
    auto start = Clock::now();
    EXPECT_EQ(sem_wait_timeout(&sem, 1), 0);
    EXPECT_LT(ElapsedMs(start), 100);
    start = Clock::now();
    EXPECT_EQ(sem_wait_timeout(&sem, 1), 1);
    // The deadline drops the sub-second part: one second at most, possibly almost nothing.
    EXPECT_LE(ElapsedMs(start), 1100);
    std::thread poster([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        sem_post(&sem);
    });
    EXPECT_EQ(sem_wait_timeout(&sem, 5), 0);
    poster.join();
    sem_destroy(&sem);
}

TEST(MutexLockTimeout, FreeMutexLocksHeldOneFails) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    EXPECT_EQ(mutex_lock_timeout(&mutex, 1), 0);
    int result = 0;
    std::thread other([&] { result = mutex_lock_timeout(&mutex, 1); });
    other.join();
    // Decided by errno, so a time-out reads as 1 or -1: never as acquired.
    EXPECT_NE(result, 0);
    pthread_mutex_unlock(&mutex);
}

TEST(InitNonBlocking, SetsONonblockAndKeepsOtherFlags) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    fcntl(fds[0], F_SETFL, O_APPEND);
    InitNonBlocking(fds[0]);
    EXPECT_EQ(fcntl(fds[0], F_GETFL, 0) & (O_NONBLOCK | O_APPEND), O_NONBLOCK | O_APPEND);
    close(fds[0]);
    close(fds[1]);
}
