// What the file player tests share: record files to play, the file-play callback's events, a
// clock that holds the play thread in each wait between frames, and the thread count.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "PlayerSDK.h"
#include "fakedecoder/FakeDecoder.h"
#include "fileplay/FilePlayer.h"
#include "support/RecordFileWriter.h"
#include "support/TempDir.h"

namespace playersdk::test {
constexpr long kWnd = 0x1234;
using Clock = std::chrono::steady_clock;

// 'frames' records of a payload type; frame i is H264Frame(key, i, 60 + i), key every keyEvery.
inline std::string RecordFileBytes(uint32_t type, int frames, int keyEvery, int frameRate = 25) {
    RecordHeader header;
    header.frameRate = frameRate;
    std::string out = FileHeaderBytes(header);
    for (int i = 1; i <= frames; ++i) {
        out += FrameRecordBytes(type, i * 3600u, H264Frame((i - 1) % keyEvery == 0, i, 60 + i));
    }
    return out;
}

// Waits on a condition for up to five seconds.
struct Waitable {
    template <typename Pred>
    bool WaitUntil(Pred pred) {
        std::unique_lock<std::mutex> held(lock);
        return changed.wait_for(held, std::chrono::seconds(5), pred);
    }
    std::mutex lock;
    std::condition_variable changed;
};

// Stands in for the play thread's wait between frames: records the milliseconds asked for and
// holds the thread until the test steps it on, so pacing is read exactly and without waiting.
class FrameGapClock : Waitable {
public:
    FrameGapClock() {
        Current() = this;
        SetFilePlaySleepForTest(&Sleep);
    }
    ~FrameGapClock() {
        RunFree();
        SetFilePlaySleepForTest(nullptr);
        Current() = nullptr;
    }
    bool WaitForGaps(size_t n) {
        return WaitUntil([&] { return m_gaps.size() >= n; });
    }
    void Step() {
        Change([&] { m_released++; });
    }
    void RunFree() {
        Change([&] { m_free = true; });
    }
    std::vector<int> Gaps() {
        std::lock_guard<std::mutex> held(lock);
        return m_gaps;
    }

private:
    static std::atomic<FrameGapClock*>& Current() {
        static std::atomic<FrameGapClock*> clock{nullptr};
        return clock;
    }
    static void Sleep(int ms) {
        FrameGapClock* self = Current();
        if (!self) {
            return;
        }
        size_t mine = 0;
        self->Change([&] {
            self->m_gaps.push_back(ms);
            mine = self->m_gaps.size();
        });
        // Bounded, so that a test that forgets to let the thread go fails instead of hanging.
        self->WaitUntil([&] { return self->m_free || self->m_released >= mine; });
    }
    template <typename Fn>
    void Change(Fn fn) {
        std::lock_guard<std::mutex> held(lock);
        fn();
        changed.notify_all();
    }
    std::vector<int> m_gaps;
    size_t m_released = 0;
    bool m_free = false;
};

// Collects the file-play callback's events; its address is the user value.
class PlayEvents : Waitable {
public:
    static void Callback(long user, tPlayInfo* info) {
        auto* self = reinterpret_cast<PlayEvents*>(user);
        std::lock_guard<std::mutex> held(self->lock);
        // Only the event may be set: anything else shows up as an event of -1.
        self->m_events.push_back(info->pPlayFile || info->errorcode ? -1 : info->fileevent);
        self->changed.notify_all();
    }
    long user() { return reinterpret_cast<long>(this); }
    bool WaitForPlayover(size_t count = 1) {
        return WaitUntil([&] { return Playovers() >= count; });
    }
    size_t PlayoverCount() {
        std::lock_guard<std::mutex> held(lock);
        return Playovers();
    }
    std::vector<int> Events() {
        std::lock_guard<std::mutex> held(lock);
        return m_events;
    }

private:
    size_t Playovers() const { return std::count(m_events.begin(), m_events.end(), FILE_PLAYOVER); }
    std::vector<int> m_events;
};

// One player on a file of its own, with the fake decoder reset and the gap clock installed.
class FilePlayFixture {
public:
    explicit FilePlayFixture(const fakedecoder::Choices& choices = fakedecoder::Choices()) {
        fakedecoder::Reset(choices);
    }
    ~FilePlayFixture() {
        clock.RunFree();
        FilePlay_Stop(m_handle);
    }
    std::string WriteBytes(const std::string& bytes) {
        WriteWholeFile(m_dir.file("rec.dat"), bytes);
        return m_dir.file("rec.dat");
    }
    std::string WriteFile(uint32_t type, int frames, int keyEvery = 1, int frameRate = 25) {
        return WriteBytes(RecordFileBytes(type, frames, keyEvery, frameRate));
    }
    std::string WriteBrtFile(int frames, int keyEvery, int frameRate = 25) {
        return WriteFile(96, frames, keyEvery, frameRate);
    }
    long Start(const std::string& path) {
        m_handle = FilePlay_Start(path.c_str(), kWnd, &PlayEvents::Callback, events.user());
        return m_handle;
    }
    // Lets the thread play on until it has waited n more times (the first call: its first wait).
    void Walk(int n = 1) {
        for (int i = 0; i < n; ++i) {
            if (m_gapsSeen > 0) {
                clock.Step();
            }
            ASSERT_TRUE(clock.WaitForGaps(++m_gapsSeen));
        }
    }
    void Control(long handle, eFilePlayMode mode, long value) {
        tPlayCtrlInfo ctrl{mode, value, value, value};
        ASSERT_EQ(FilePlay_Control(handle, &ctrl), 0);
    }
    // For each (mode, value): control, then Walk() once.
    void ControlEach(long handle, std::initializer_list<std::pair<eFilePlayMode, long>> controls) {
        for (const auto& [mode, value] : controls) {
            Control(handle, mode, value);
            Walk();
        }
    }
    // The numbers of the frames the decoder received, in order.
    static std::vector<uint32_t> PlayedNumbers() {
        std::vector<uint32_t> numbers;
        for (const fakedecoder::Call& frame : fakedecoder::Frames()) {
            numbers.push_back(H264FrameNumber(std::string(frame.bytes.begin(), frame.bytes.end())));
        }
        return numbers;
    }

    FrameGapClock clock;
    PlayEvents events;

private:
    TempDir m_dir;
    long m_handle = -1;
    size_t m_gapsSeen = 0;
};

inline int ThreadCount() {
    // ThreadSanitizer starts a helper thread with the first thread of the process: let that
    // happen before the first count.
    static const bool warmedUp = (std::thread([] {}).join(), true);
    (void)warmedUp;
    std::ifstream status("/proc/self/status");
    std::string key;
    int count = -1;
    while (status >> key && key != "Threads:") {
    }
    status >> count;
    return count;
}

inline bool WaitForThreadCount(int count) {
    auto deadline = Clock::now() + std::chrono::seconds(5);
    while (ThreadCount() != count && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return ThreadCount() == count;
}

inline long MsSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}
}  // namespace playersdk::test
