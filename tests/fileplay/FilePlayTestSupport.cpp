#include "FilePlayTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <thread>

#include "fileplay/FilePlayer.h"

namespace playersdk::test {
namespace {
std::atomic<FrameGapClock*> g_clock{nullptr};

template <typename Pred>
bool WaitUntil(std::mutex& lock, std::condition_variable& changed, Pred pred) {
    std::unique_lock<std::mutex> held(lock);
    return changed.wait_for(held, std::chrono::seconds(5), pred);
}

std::string RecordsBytes(uint32_t mediaType, int frames, int keyEvery, int frameRate) {
    RecordHeader header;
    header.frameRate = frameRate;
    std::string out = FileHeaderBytes(header);
    for (int i = 1; i <= frames; ++i) {
        out += FrameRecordBytes(mediaType, static_cast<uint32_t>(i) * 3600,
                                H264Frame((i - 1) % keyEvery == 0, i, 60 + i));
    }
    return out;
}
}  // namespace

std::string BrtFileBytes(int frames, int keyEvery, int frameRate) {
    return RecordsBytes(96, frames, keyEvery, frameRate);
}

FrameGapClock::FrameGapClock() {
    g_clock = this;
    SetFilePlaySleepForTest(&FrameGapClock::Sleep);
}

FrameGapClock::~FrameGapClock() {
    RunFree();
    SetFilePlaySleepForTest(nullptr);
    g_clock = nullptr;
}

void FrameGapClock::Sleep(int ms) {
    FrameGapClock* clock = g_clock;
    if (!clock) {
        return;
    }
    std::unique_lock<std::mutex> lock(clock->m_lock);
    clock->m_gaps.push_back(ms);
    size_t mine = clock->m_gaps.size();
    clock->m_changed.notify_all();
    // Bounded, so that a test that forgets to let the thread go fails instead of hanging.
    clock->m_changed.wait_for(lock, std::chrono::seconds(5),
                              [&] { return clock->m_free || clock->m_released >= mine; });
}

bool FrameGapClock::WaitForGaps(size_t n) {
    return WaitUntil(m_lock, m_changed, [&] { return m_gaps.size() >= n; });
}

void FrameGapClock::Step() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_released++;
    m_changed.notify_all();
}

void FrameGapClock::RunFree() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_free = true;
    m_changed.notify_all();
}

std::vector<int> FrameGapClock::Gaps() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_gaps;
}

void PlayEvents::Callback(long user, tPlayInfo* info) {
    auto* self = reinterpret_cast<PlayEvents*>(user);
    std::lock_guard<std::mutex> lock(self->m_lock);
    // Only the event is set; a non-zero other field shows up as an unexpected event.
    bool clean = info->pPlayFile == nullptr && info->errorcode == 0;
    self->m_events.push_back(clean ? info->fileevent : -1);
    self->m_changed.notify_all();
}

bool PlayEvents::WaitForPlayover(size_t count) {
    return WaitUntil(m_lock, m_changed, [&] {
        return static_cast<size_t>(std::count(m_events.begin(), m_events.end(), FILE_PLAYOVER)) >=
               count;
    });
}

size_t PlayEvents::PlayoverCount() {
    std::lock_guard<std::mutex> lock(m_lock);
    return static_cast<size_t>(std::count(m_events.begin(), m_events.end(), FILE_PLAYOVER));
}

std::vector<int> PlayEvents::Events() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_events;
}

FilePlayFixture::FilePlayFixture(const fakedecoder::Choices& choices) {
    fakedecoder::Reset(choices);
}

FilePlayFixture::~FilePlayFixture() {
    clock.RunFree();
    FilePlay_Stop(m_handle);
}

std::string FilePlayFixture::WriteBrtFile(int frames, int keyEvery, int frameRate) {
    std::string path = m_dir.file("brt.dat");
    WriteWholeFile(path, BrtFileBytes(frames, keyEvery, frameRate));
    return path;
}

std::string FilePlayFixture::WriteFile(uint32_t mediaType, int frames, int frameRate) {
    std::string path = m_dir.file("other.dat");
    WriteWholeFile(path, RecordsBytes(mediaType, frames, 1, frameRate));
    return path;
}

long FilePlayFixture::Start(const std::string& path) {
    m_handle = FilePlay_Start(path.c_str(), kWnd, &PlayEvents::Callback, events.user());
    return m_handle;
}

void FilePlayFixture::Walk(int n) {
    for (int i = 0; i < n; ++i) {
        if (m_gapsSeen > 0) {
            clock.Step();
        }
        ASSERT_TRUE(clock.WaitForGaps(++m_gapsSeen));
    }
}

void FilePlayFixture::Control(long handle, eFilePlayMode mode, long value) {
    tPlayCtrlInfo ctrl{mode, value, value, value};
    ASSERT_EQ(FilePlay_Control(handle, &ctrl), 0);
}

void FilePlayFixture::ControlEach(long handle,
                                  std::initializer_list<std::pair<eFilePlayMode, long>> controls) {
    for (const auto& [mode, value] : controls) {
        Control(handle, mode, value);
        Walk();
    }
}

std::vector<uint32_t> FilePlayFixture::PlayedNumbers() const {
    std::vector<uint32_t> numbers;
    for (const fakedecoder::Call& frame : fakedecoder::Frames()) {
        numbers.push_back(H264FrameNumber(std::string(frame.bytes.begin(), frame.bytes.end())));
    }
    return numbers;
}

int ThreadCount() {
    std::ifstream status("/proc/self/status");
    std::string key;
    int count = -1;
    while (status >> key) {
        if (key == "Threads:") {
            status >> count;
            break;
        }
    }
    return count;
}

bool WaitForThreadCount(int count) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (ThreadCount() != count && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return ThreadCount() == count;
}

long MsSince(std::chrono::steady_clock::time_point start) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - start)
                                 .count());
}
}  // namespace playersdk::test
