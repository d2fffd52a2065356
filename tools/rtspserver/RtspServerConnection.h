// One client connection of the loopback RTSP server: its own thread reads and records what
// the client sends and answers each request from the script; the test thread pushes
// interleaved frames and server requests through the same socket.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "rtspserver/ReplyScript.h"
#include "rtspserver/RtpPacketBuilder.h"
#include "rtspserver/RtspStreamParser.h"
#include "rtspserver/ServerRecords.h"

namespace playersdk::rtspserver {

// 'bytes' cut at the given offsets; offsets that are not increasing or not inside are ignored.
std::vector<std::string_view> CutAt(std::string_view bytes, const std::vector<size_t>& offsets);

// Called on a connection's thread once its reply to a request has been written whole (never
// for a request the script silences or answers by closing): a live source starts streaming to
// a client as soon as the client has read the answer to its PLAY.
using AnsweredHook =
    std::function<void(size_t connection, const ReceivedMessage& request, int status)>;

class RtspServerConnection {
public:
    static constexpr std::chrono::milliseconds kPiecePause{5};

    RtspServerConnection(int fd, size_t index, std::string sessionId, std::string url,
                         ServerRecords& records, const ReplyScript& script, int stopFd,
                         const AnsweredHook& answered);
    ~RtspServerConnection();
    RtspServerConnection(const RtspServerConnection&) = delete;
    RtspServerConnection& operator=(const RtspServerConnection&) = delete;

    size_t index() const { return m_index; }
    const std::string& sessionId() const { return m_sessionId; }
    // First port of client_port= in the last SETUP; 0 when none came.
    uint16_t clientRtpPort() const { return m_clientRtpPort.load(); }
    // False once the server closed its sending side (Close, a scripted close, Stop).
    bool isOpen() const;

    // Pushes from any thread; each returns false when not every byte could be written.
    // With split offsets the bytes go out in several writes, 'pause' apart.
    bool Send(std::string_view bytes, const std::vector<size_t>& splitAt = {},
              std::chrono::milliseconds pause = kPiecePause);
    bool Send(const Bytes& bytes, const std::vector<size_t>& splitAt = {},
              std::chrono::milliseconds pause = kPiecePause);
    bool SendInterleaved(uint8_t channel, const Bytes& payload,
                         const std::vector<size_t>& splitAt = {});
    bool SendRtcpBye(uint32_t ssrc = kDefaultSsrc, uint8_t channel = 1);
    // ANNOUNCE with "x-Notice: <notice>", e.g. "2101" or "2102 \"End of stream\"".
    bool SendAnnounce(std::string_view notice);
    bool SendSetParameter(std::string_view body, std::string_view contentType = "text/parameters");
    bool SendOptions();
    // Ends the server's sending side (the client reads end of stream); what the client still
    // sends is recorded until it closes its side or the server stops.
    void Close();

    // Used by the server.
    void Start();
    void Shutdown();
    void Join();

private:
    using Clock = std::chrono::steady_clock;
    struct PendingWrite {
        std::string bytes;
        bool close = false;
        std::function<void()> then;  // after the bytes went out
    };

    void Run();
    bool ReadOnce();
    void Answer(const ReceivedMessage& request);
    void WriteDue();
    int PollTimeoutMs() const;
    bool WriteAll(std::string_view bytes);
    bool SendServerRequest(std::string_view method, const std::vector<std::string>& headers,
                           std::string_view body = {});

    const size_t m_index;
    const std::string m_sessionId;
    ServerRecords& m_records;
    const ReplyScript& m_script;
    const int m_stopFd;
    const AnsweredHook& m_answered;
    std::atomic<uint16_t> m_clientRtpPort{0};
    std::atomic<bool> m_stopping{false};

    // Only the connection's own thread touches these.
    RtspStreamParser m_parser;
    std::map<std::string, int> m_occurrences;
    std::multimap<Clock::time_point, PendingWrite> m_pending;

    // The socket is closed only by the connection's thread; pushes and shutdowns from other
    // threads take this lock, so they never see a closed or reused descriptor.
    mutable std::mutex m_writeMutex;
    int m_fd;
    bool m_writeOpen = true;
    std::string m_url;
    int m_serverCseq = 0;

    std::thread m_thread;
};

}  // namespace playersdk::rtspserver
