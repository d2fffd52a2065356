#include "IngestServer.h"

#include <vector>

namespace ingest {

CIngestServer::CIngestServer(const CIngestStream& stream, std::chrono::milliseconds duration,
                             CIngestSession::Report report)
    : m_stream(stream), m_duration(duration), m_report(std::move(report)) {}

CIngestServer::~CIngestServer() {
    Stop();
}

bool CIngestServer::Start() {
    m_server.script().SetSdp(m_stream.sdp());
    m_server.SetAnsweredHook([this](size_t connection,
                                    const playersdk::rtspserver::ReceivedMessage& request,
                                    int status) { OnAnswered(connection, request, status); });
    return m_server.Start();
}

void CIngestServer::Stop() {
    std::map<size_t, std::unique_ptr<CIngestSession>> sessions;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
        sessions.swap(m_sessions);
    }
    for (auto& [index, session] : sessions) {
        session->Stop();
    }
    // Shutting the connections down also ends a write that a client holds back.
    m_server.Stop();
    sessions.clear();
}

void CIngestServer::OnAnswered(size_t connection,
                               const playersdk::rtspserver::ReceivedMessage& request, int status) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_sessions.find(connection);
    if (request.method == "PAUSE" || request.method == "TEARDOWN") {
        if (it != m_sessions.end()) {
            it->second->Stop();  // joined when the server stops
        }
        return;
    }
    if (request.method != "PLAY" || status != 200 || m_stopped || it != m_sessions.end()) {
        return;
    }
    auto peer = m_server.connection(connection);
    if (!peer) {
        return;
    }
    auto session = std::make_unique<CIngestSession>(m_stream, peer, m_server.udp(),
                                                    peer->clientRtpPort(), m_duration, m_report);
    session->Start();
    m_sessions.emplace(connection, std::move(session));
}

}  // namespace ingest
