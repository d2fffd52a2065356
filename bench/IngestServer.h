// The ingest benchmark's RTSP server: the loopback test server answering with the fixed
// stream's SDP, and one CIngestSession for every client whose PLAY it answered.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "IngestSession.h"
#include "IngestStream.h"
#include "rtspserver/RtspTestServer.h"

namespace ingest {

class CIngestServer {
public:
    CIngestServer(const CIngestStream& stream, std::chrono::milliseconds duration,
                  CIngestSession::Report report);
    virtual ~CIngestServer();
    CIngestServer(const CIngestServer&) = delete;
    CIngestServer& operator=(const CIngestServer&) = delete;

    // Listens on 127.0.0.1 on an ephemeral port; false when it cannot.
    bool Start();
    // Ends every session and connection and joins their threads.
    void Stop();
    uint16_t port() const { return m_server.port(); }

private:
    void OnAnswered(size_t connection, const playersdk::rtspserver::ReceivedMessage& request,
                    int status);

    const CIngestStream& m_stream;
    const std::chrono::milliseconds m_duration;
    const CIngestSession::Report m_report;
    playersdk::rtspserver::RtspTestServer m_server;

    std::mutex m_mutex;
    bool m_stopped = false;
    std::map<size_t, std::unique_ptr<CIngestSession>> m_sessions;  // by connection index
};

}  // namespace ingest
