// The application's side of the exported play API in tests: a loopback RTSP server, one
// container from NetPlay_Init, and callbacks that record what they get into the object whose
// address is their user value, so tests can wait (real time) for it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "PlayerSDK.h"
#include "rtspserver/RtspTestServer.h"

namespace playersdk::test {

using Wait = std::chrono::milliseconds;
constexpr Wait kCallbackWait{5000};

template <class T>
class Recorder {
public:
    void Add(T item) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_items.push_back(std::move(item));
        m_changed.notify_all();
    }
    std::vector<T> all() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_items;
    }
    bool WaitUntil(const std::function<bool(const std::vector<T>&)>& done,
                   Wait wait = kCallbackWait) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, wait, [&] { return done(m_items); });
    }
    long user() const { return reinterpret_cast<long>(this); }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<T> m_items;
};

struct Notice {
    long container;
    long play;  // the decoder handle for the decoder notices
    int code;
    long user;
};

class NoticeLog : public Recorder<Notice> {
public:
    static int Callback(long hPlayContainer, long hUrlPlay, ePlayNotifyCode code, long lUserData);
    std::vector<int> codesOf(long play) const;
    size_t count(int code) const;
    // True once 'count' notices of 'code' have come (for 'play' unless it is 0).
    bool WaitFor(int code, long play = 0, size_t count = 1, Wait wait = kCallbackWait) const;
};

class FrameLog : public Recorder<std::string> {
public:
    static int Callback(long stream, char* buf, int length, long userdata);
    bool WaitFor(size_t count, Wait wait = kCallbackWait) const {
        return WaitUntil([&](const auto& frames) { return frames.size() >= count; }, wait);
    }
};

class NetPlayFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    long OpenUrl(std::string url, int transType = TT_TCP, long userdata = 0);
    long Open(const std::string& path = "movie", int transType = TT_TCP, long userdata = 0) {
        return OpenUrl(server.url(path), transType, userdata);
    }
    // Over TCP with 'frames' as the play's user value, waiting until it is connected.
    long OpenPlaying(const std::string& path = "movie");
    rtspserver::RtspServerConnection& Peer(size_t index = 0) {
        return *server.WaitForConnection(index);
    }

    rtspserver::RtspTestServer server;
    NoticeLog notices;
    FrameLog frames;
    long container = 0;
};

// A NAL unit of 'size' bytes with the given header byte, and the same after a start code.
rtspserver::Bytes Nal(uint8_t header, size_t size);
std::string AnnexB(const rtspserver::Bytes& nal);
// One NAL unit as one access unit on interleaved channel 0 (FU-A fragments when large).
void SendNal(rtspserver::RtspServerConnection& peer, rtspserver::RtpPacketBuilder& rtp,
             const rtspserver::Bytes& nal, uint32_t timestamp);
// The frames the fake decoder was given, in order.
std::vector<std::string> DecoderFrames();
// Polls until 'condition' holds (true) or the wait is over (false).
bool WaitUntil(const std::function<bool()>& condition, Wait wait = kCallbackWait);
// Moves the library's clock forward, then gives its threads a moment (a short real pause).
void AdvanceLibraryClock(unsigned long ms);
void Pause();

}  // namespace playersdk::test
