// What the file player tests share: record files, the callback's events, a clock that holds the
// play thread in each wait between frames, and the thread count.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
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

// 'frames' records of a payload type; frame i is H264Frame(key, i, 60 + i), key every keyEvery.
inline std::string RecordFileBytes(uint32_t type, int frames, int keyEvery = 1, int rate = 25) {
    std::string out = FileHeaderBytes(RecordHeader{rate});
    for (int i = 1; i <= frames; ++i) {
        out += FrameRecordBytes(type, i * 3600u, H264Frame((i - 1) % keyEvery == 0, i, 60 + i));
    }
    return out;
}

// One player on a file of its own, with the fake decoder reset. Unless told to wait for real, it
// stands in for the wait between frames: it records the milliseconds asked for and holds the
// thread until the test steps it on, so pacing is read exactly and without waiting. It collects
// the callback's events (its address is the user value); any field but the event reads as -1.
class FilePlayFixture {
public:
    explicit FilePlayFixture(const fakedecoder::Choices& choices = {}, bool realWait = false) {
        fakedecoder::Reset(choices);
        if (!realWait) {
            s_current = this;
            SetFilePlaySleepForTest(&Sleep);
        }
    }
    ~FilePlayFixture() {
        RunFree();
        FilePlay_Stop(m_handle);
        SetFilePlaySleepForTest(nullptr);
        s_current = nullptr;
    }
    std::string Write(const std::string& bytes) {
        WriteWholeFile(m_dir.file("rec.dat"), bytes);
        return m_dir.file("rec.dat");
    }
    long Start(const std::string& path) {
        return m_handle =
                   FilePlay_Start(path.c_str(), kWnd, &Callback, reinterpret_cast<long>(this));
    }
    long StartFile(uint32_t type, int frames, int keyEvery = 1, int rate = 25) {
        return Start(Write(RecordFileBytes(type, frames, keyEvery, rate)));
    }
    // Lets the thread play on until it has waited n more times (the first call: its first wait).
    void Walk(int n = 1) {
        for (int i = 0; i < n; ++i) {
            if (m_gapsSeen++ > 0) {
                Change([&] { m_released++; });
            }
            ASSERT_TRUE(WaitUntil([&] { return m_gaps.size() >= m_gapsSeen; }));
        }
    }
    void RunFree() {
        Change([&] { m_free = true; });
    }
    // For each (mode, value): control, then Walk() once unless told otherwise.
    void Control(std::initializer_list<std::pair<eFilePlayMode, long>> controls, bool walk = true) {
        for (const auto& [mode, value] : controls) {
            tPlayCtrlInfo ctrl{mode, value, value, value};
            ASSERT_EQ(FilePlay_Control(m_handle, &ctrl), 0);
            if (walk) {
                Walk();
            }
        }
    }
    bool WaitForPlayover(size_t count = 1) {
        return WaitUntil([&] { return m_playovers >= count; });
    }
    size_t Playovers() { return Locked(m_playovers); }
    std::vector<int> Events() { return Locked(m_events); }
    std::vector<int> Gaps() { return Locked(m_gaps); }
    // The numbers of the frames the decoder received, in order.
    static std::vector<uint32_t> Played() {
        std::vector<uint32_t> numbers;
        for (const fakedecoder::Call& frame : fakedecoder::Frames()) {
            numbers.push_back(H264FrameNumber(std::string(frame.bytes.begin(), frame.bytes.end())));
        }
        return numbers;
    }

private:
    static void Callback(long user, tPlayInfo* info) {
        auto* self = reinterpret_cast<FilePlayFixture*>(user);
        self->Change([&] {
            self->m_events.push_back(info->pPlayFile || info->errorcode ? -1 : info->fileevent);
            self->m_playovers += info->fileevent == FILE_PLAYOVER;
        });
    }
    static void Sleep(int ms) {
        if (FilePlayFixture* self = s_current) {
            size_t mine = 0;
            self->Change([&] { mine = (self->m_gaps.push_back(ms), self->m_gaps.size()); });
            self->WaitUntil([&] { return self->m_free || self->m_released >= mine; });
        }
    }
    // Waits are bounded, so that a stuck test fails instead of hanging.
    template <typename Pred>
    bool WaitUntil(Pred pred) {
        std::unique_lock<std::mutex> held(m_lock);
        return m_changed.wait_for(held, std::chrono::seconds(5), pred);
    }
    template <typename Fn>
    void Change(Fn fn) {
        std::lock_guard<std::mutex> held(m_lock);
        fn();
        m_changed.notify_all();
    }
    template <typename T>
    T Locked(const T& value) {
        std::lock_guard<std::mutex> held(m_lock);
        return value;
    }
    static inline std::atomic<FilePlayFixture*> s_current{nullptr};
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<int> m_gaps, m_events;
    size_t m_released = 0, m_playovers = 0, m_gapsSeen = 0;
    bool m_free = false;
    TempDir m_dir;
    long m_handle = -1;
};

// Threads of this process; ThreadSanitizer's helper thread is started before the first count.
inline int ThreadCount() {
    static const bool warmedUp = (std::thread([] {}).join(), true);
    (void)warmedUp;
    auto tasks = std::filesystem::directory_iterator("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

inline bool WaitForThreadCount(int count) {
    for (int i = 0; i < 2500 && ThreadCount() != count; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return ThreadCount() == count;
}
}  // namespace playersdk::test
