// What the file player tests share: record files to play, the file-play callback's events, a
// clock that holds the play thread in each wait between frames, and the thread count.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "PlayerSDK.h"
#include "fakedecoder/FakeDecoder.h"
#include "support/RecordFileWriter.h"
#include "support/TempDir.h"

namespace playersdk::test {
constexpr long kWnd = 0x1234;

// A BRT (H.264, payload type 96) file: frame i is H264Frame(key, i, 60 + i), key every keyEvery.
std::string BrtFileBytes(int frames, int keyEvery, int frameRate = 25);

// Stands in for the play thread's wait between frames: records the milliseconds asked for and
// holds the thread until the test steps it on, so pacing is read exactly and without waiting.
class FrameGapClock {
public:
    FrameGapClock();             // installs itself; one at a time
    ~FrameGapClock();            // lets every wait go and restores the real wait
    bool WaitForGaps(size_t n);  // until the thread has entered its n-th wait (up to 5 s)
    void Step();                 // lets the thread out of its current wait
    void RunFree();              // no wait holds the thread any more
    std::vector<int> Gaps();

private:
    static void Sleep(int ms);
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<int> m_gaps;
    size_t m_released = 0;
    bool m_free = false;
};

// Collects the file-play callback's events; its address is the user value.
class PlayEvents {
public:
    static void Callback(long user, tPlayInfo* info);
    long user() { return reinterpret_cast<long>(this); }
    bool WaitForPlayover(size_t count = 1);  // until 'count' have come, up to 5 s
    size_t PlayoverCount();
    std::vector<int> Events();

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<int> m_events;
};

// One player on a file of its own, with the fake decoder reset and the gap clock installed.
class FilePlayFixture {
public:
    explicit FilePlayFixture(const fakedecoder::Choices& choices = fakedecoder::Choices());
    ~FilePlayFixture();  // stops the player
    std::string WriteBrtFile(int frames, int keyEvery, int frameRate = 25);
    // Key frames of BRT kind, 'frames' records of the payload type.
    std::string WriteFile(uint32_t mediaType, int frames, int frameRate = 25);
    long Start(const std::string& path);
    // Lets the thread play on until it has waited n more times (the first call: its first wait).
    void Walk(int n = 1);
    void Control(long handle, eFilePlayMode mode, long value);
    // For each (mode, value): control, then Walk() once.
    void ControlEach(long handle, std::initializer_list<std::pair<eFilePlayMode, long>> controls);
    // The numbers of the frames the decoder received, in order.
    std::vector<uint32_t> PlayedNumbers() const;

    FrameGapClock clock;
    PlayEvents events;

private:
    TempDir m_dir;
    long m_handle = -1;
    size_t m_gapsSeen = 0;
};

int ThreadCount();
bool WaitForThreadCount(int count);  // up to 5 s
long MsSince(std::chrono::steady_clock::time_point start);
}  // namespace playersdk::test
