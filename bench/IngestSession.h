// One client of the ingest server. From the answer to its PLAY it gets the stream's access
// units at their times (25 a second) for a fixed duration: each access unit in one write of
// interleaved frames on the RTSP connection, or as datagrams to the RTP port the client
// offered in SETUP. Then an RTCP BYE (on the interleaved channel 1, or to the RTCP port), and
// a second later the server ends its side of the connection. A client that cannot keep up
// holds the writes back (TCP); what is not sent by the end of the duration is not sent.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IngestStream.h"
#include "rtspserver/RtspServerConnection.h"
#include "rtspserver/UdpTestSender.h"

namespace ingest {

struct SessionCounts {
    size_t connection = 0;
    uint64_t offered = 0;  // access units due within the duration
    uint64_t sent = 0;     // access units written whole
    uint64_t packets = 0;
    uint64_t bytes = 0;  // RTP packets, headers included
};

class CIngestSession {
public:
    using Report = std::function<void(const SessionCounts&)>;
    using Connection = std::shared_ptr<playersdk::rtspserver::RtspServerConnection>;

    // 'udp' and 'clientRtpPort' (0: interleaved) name where the packets go; 'report' is called
    // once, on the session's thread, when the stream has ended.
    CIngestSession(const CIngestStream& stream, Connection connection,
                   const playersdk::rtspserver::UdpTestSender& udp, uint16_t clientRtpPort,
                   std::chrono::milliseconds duration, Report report);
    virtual ~CIngestSession();
    CIngestSession(const CIngestSession&) = delete;
    CIngestSession& operator=(const CIngestSession&) = delete;

    void Start();
    // Ends the stream early (TEARDOWN, PAUSE, the server stopping), without a BYE.
    void Stop();
    void Join();

private:
    using Clock = std::chrono::steady_clock;

    void Run();
    // False once the session was stopped.
    bool WaitUntil(Clock::time_point when);
    bool Stopping();
    bool SendUnit(const std::vector<Bytes>& packets);
    void SendBye();

    const CIngestStream& m_stream;
    const Connection m_connection;
    const playersdk::rtspserver::UdpTestSender& m_udp;
    const uint16_t m_clientRtpPort;
    const std::chrono::milliseconds m_duration;
    const Report m_report;
    SessionCounts m_counts;
    std::string m_wire;  // one access unit as interleaved frames

    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
    std::thread m_thread;
};

}  // namespace ingest
