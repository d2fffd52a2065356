#include "IngestSession.h"

namespace ingest {
namespace {
constexpr uint8_t kRtpChannel = 0;
constexpr uint8_t kRtcpChannel = 1;
constexpr std::chrono::seconds kCloseAfterBye{1};
}  // namespace

CIngestSession::CIngestSession(const CIngestStream& stream, Connection connection,
                               const playersdk::rtspserver::UdpTestSender& udp,
                               uint16_t clientRtpPort, std::chrono::milliseconds duration,
                               Report report)
    : m_stream(stream),
      m_connection(std::move(connection)),
      m_udp(udp),
      m_clientRtpPort(clientRtpPort),
      m_duration(duration),
      m_report(std::move(report)) {
    m_counts.connection = m_connection->index();
}

CIngestSession::~CIngestSession() {
    Stop();
    Join();
}

void CIngestSession::Start() {
    m_thread = std::thread(&CIngestSession::Run, this);
}

void CIngestSession::Stop() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
}

void CIngestSession::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

bool CIngestSession::WaitUntil(Clock::time_point when) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_wake.wait_until(lock, when, [this] { return m_stopping; });
}

bool CIngestSession::Stopping() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_stopping;
}

void CIngestSession::Run() {
    const auto period = std::chrono::microseconds(1000000 / m_stream.options().fps);
    const Clock::time_point start = Clock::now();
    const Clock::time_point end = start + m_duration;
    m_counts.offered =
        static_cast<uint64_t>((m_duration + period - std::chrono::microseconds(1)) / period);
    std::vector<Bytes> packets;
    bool open = true;
    for (uint64_t n = 0; open && n < m_counts.offered; ++n) {
        // A client that held the writes back past the end gets nothing more.
        if (!WaitUntil(start + period * static_cast<int64_t>(n)) || Clock::now() >= end) {
            break;
        }
        m_stream.Unit(n, packets);
        open = SendUnit(packets);
    }
    const bool stopped = Stopping();
    if (open && !stopped) {
        SendBye();
    }
    m_report(m_counts);
    if (!stopped && WaitUntil(Clock::now() + kCloseAfterBye)) {
        m_connection->Close();
    }
}

bool CIngestSession::SendUnit(const std::vector<Bytes>& packets) {
    uint64_t bytes = 0;
    for (const Bytes& packet : packets) {
        bytes += packet.size();
    }
    if (m_clientRtpPort == 0) {
        m_wire.clear();
        for (const Bytes& packet : packets) {
            const Bytes frame = playersdk::rtspserver::BuildInterleavedFrame(kRtpChannel, packet);
            m_wire.append(frame.begin(), frame.end());
        }
        if (!m_connection->Send(m_wire)) {
            return false;
        }
    } else {
        // Datagrams leave without error after the session is over: the connection tells.
        if (!m_connection->isOpen()) {
            return false;
        }
        for (const Bytes& packet : packets) {
            if (!m_udp.SendTo(m_clientRtpPort, packet)) {
                return false;
            }
        }
    }
    ++m_counts.sent;
    m_counts.packets += packets.size();
    m_counts.bytes += bytes;
    return true;
}

void CIngestSession::SendBye() {
    if (m_clientRtpPort == 0) {
        m_connection->SendRtcpBye(m_stream.ssrc(), kRtcpChannel);
    } else {
        m_udp.SendTo(static_cast<uint16_t>(m_clientRtpPort + 1),
                     playersdk::rtspserver::BuildRtcpBye(m_stream.ssrc()));
    }
}

}  // namespace ingest
