// One play container with one URL play, and what the demo shows about it: the notifications
// the library sends, frames and pictures counted through the process-wide callbacks, and the
// library's own traffic and frame-rate figures (with the demo's measurement in their place
// while the library reports 0).
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include "PlayerSDK.h"

class CDemoPlayer {
public:
    enum class Phase { kIdle, kConnecting, kConnected, kPlaying, kFailed, kEnded };

    struct Figures {
        Phase phase = Phase::kIdle;
        long frames = 0;    // complete frames received
        long pictures = 0;  // pictures decoded
        int width = 0;      // of the last picture
        int height = 0;
        int framesPerSecond = 0;
        double kbitPerSecond = 0;
        int lastNotification = 0;
    };

    CDemoPlayer();
    virtual ~CDemoPlayer();
    CDemoPlayer(const CDemoPlayer&) = delete;
    CDemoPlayer& operator=(const CDemoPlayer&) = delete;

    // Opens the URL with the RTP transport 'transType' (TT_TCP or TT_UDP), drawing into 'window'
    // (0: none). False when the library gave no play: the connection could not be made, or no
    // UDP port pair was free (it says so with NOTIFY_CONNECT_ERROR at once).
    bool Open(const std::string& url, long window, int transType);
    // Waits until the first picture is decoded, the play fails or ends, or the time is up.
    Phase WaitForFirstPicture(std::chrono::milliseconds timeout);
    // Whether the play has connected at some point (the server answered PLAY).
    bool everConnected() const { return m_everConnected.load(); }
    Figures Sample();
    Phase phase() const { return m_phase.load(); }

    int StartRecord(const std::string& path);
    int StopRecord();
    int GrabPicture(const std::string& path);
    void Close();

    static const char* NotificationName(int code);

private:
    static int OnNotify(long container, long play, ePlayNotifyCode code, long user);
    // The library hands pictures over as (stream, buffer, width, height, type, user).
    static int OnPicture(long stream, char* buf, int width, int height, int type, long user);
    static int OnFrame(long stream, char* buf, int length, long user);
    void Notified(int code);

    long m_container = -1;
    long m_play = -1;
    std::atomic<Phase> m_phase{Phase::kIdle};
    std::atomic<bool> m_everConnected{false};
    std::atomic<int> m_lastCode{0};
    std::atomic<long> m_frames{0};
    std::atomic<long> m_bytes{0};
    std::atomic<long> m_pictures{0};
    std::atomic<int> m_width{0};
    std::atomic<int> m_height{0};

    std::mutex m_mutex;
    std::condition_variable m_changed;

    // The demo's own rates, measured between samples at least a second apart.
    std::chrono::steady_clock::time_point m_rateStart;
    long m_rateFrames = 0;
    long m_rateBytes = 0;
    int m_measuredFps = 0;
    double m_measuredKbit = 0;
};
