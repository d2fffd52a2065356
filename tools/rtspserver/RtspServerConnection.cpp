#include "rtspserver/RtspServerConnection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

namespace playersdk::rtspserver {
namespace {
// First port of "client_port=5000-5001" in a Transport value; 0 when there is none.
uint16_t ClientRtpPort(const std::string& transport) {
    constexpr std::string_view kKey = "client_port=";
    size_t at = transport.find(kKey);
    if (at == std::string::npos) {
        return 0;
    }
    long port = strtol(transport.c_str() + at + kKey.size(), nullptr, 10);
    return port > 0 && port < 65536 ? static_cast<uint16_t>(port) : 0;
}

std::string_view AsText(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
}  // namespace

std::vector<std::string_view> CutAt(std::string_view bytes, const std::vector<size_t>& offsets) {
    std::vector<std::string_view> pieces;
    size_t start = 0;
    for (size_t cut : offsets) {
        if (cut > start && cut < bytes.size()) {
            pieces.push_back(bytes.substr(start, cut - start));
            start = cut;
        }
    }
    pieces.push_back(bytes.substr(start));
    return pieces;
}

RtspServerConnection::RtspServerConnection(int fd, size_t index, std::string sessionId,
                                           std::string url, ServerRecords& records,
                                           const ReplyScript& script, int stopFd,
                                           const AnsweredHook& answered)
    : m_index(index),
      m_sessionId(std::move(sessionId)),
      m_records(records),
      m_script(script),
      m_stopFd(stopFd),
      m_answered(answered),
      m_parser(index),
      m_fd(fd),
      m_url(std::move(url)) {}

RtspServerConnection::~RtspServerConnection() {
    Shutdown();
    Join();
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool RtspServerConnection::isOpen() const {
    std::lock_guard<std::mutex> lock(m_writeMutex);
    return m_fd >= 0 && m_writeOpen;
}

void RtspServerConnection::Start() {
    m_thread = std::thread(&RtspServerConnection::Run, this);
}

void RtspServerConnection::Shutdown() {
    m_stopping = true;
    std::lock_guard<std::mutex> lock(m_writeMutex);
    if (m_fd >= 0) {
        shutdown(m_fd, SHUT_RDWR);
    }
    m_writeOpen = false;
}

void RtspServerConnection::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void RtspServerConnection::Close() {
    std::lock_guard<std::mutex> lock(m_writeMutex);
    if (m_fd >= 0 && m_writeOpen) {
        shutdown(m_fd, SHUT_WR);
    }
    m_writeOpen = false;
}

bool RtspServerConnection::WriteAll(std::string_view bytes) {
    std::lock_guard<std::mutex> lock(m_writeMutex);
    while (!bytes.empty()) {
        if (m_fd < 0 || !m_writeOpen) {
            return false;
        }
        ssize_t sent = send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

bool RtspServerConnection::Send(std::string_view bytes, const std::vector<size_t>& splitAt,
                                std::chrono::milliseconds pause) {
    std::vector<std::string_view> pieces = CutAt(bytes, splitAt);
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) {
            std::this_thread::sleep_for(pause);
        }
        if (!WriteAll(pieces[i])) {
            return false;
        }
    }
    return true;
}

bool RtspServerConnection::Send(const Bytes& bytes, const std::vector<size_t>& splitAt,
                                std::chrono::milliseconds pause) {
    return Send(AsText(bytes), splitAt, pause);
}

bool RtspServerConnection::SendInterleaved(uint8_t channel, const Bytes& payload,
                                           const std::vector<size_t>& splitAt) {
    return Send(BuildInterleavedFrame(channel, payload), splitAt);
}

bool RtspServerConnection::SendRtcpBye(uint32_t ssrc, uint8_t channel) {
    return SendInterleaved(channel, BuildRtcpBye(ssrc));
}

bool RtspServerConnection::SendServerRequest(std::string_view method,
                                             const std::vector<std::string>& headers,
                                             std::string_view body) {
    std::string request;
    {
        std::lock_guard<std::mutex> lock(m_writeMutex);
        request = BuildServerRequest(method, m_url, ++m_serverCseq, m_sessionId, headers, body);
    }
    return WriteAll(request);
}

bool RtspServerConnection::SendAnnounce(std::string_view notice) {
    return SendServerRequest("ANNOUNCE", {"x-Notice: " + std::string(notice)});
}

bool RtspServerConnection::SendSetParameter(std::string_view body, std::string_view contentType) {
    return SendServerRequest("SET_PARAMETER", {"Content-Type: " + std::string(contentType)}, body);
}

bool RtspServerConnection::SendOptions() {
    return SendServerRequest("OPTIONS", {});
}

void RtspServerConnection::Run() {
    bool clientOpen = true;
    while (clientOpen) {
        std::array<pollfd, 2> fds{pollfd{m_fd, POLLIN, 0}, pollfd{m_stopFd, POLLIN, 0}};
        int ready = poll(fds.data(), fds.size(), PollTimeoutMs());
        if (ready < 0 && errno != EINTR) {
            break;
        }
        if (fds[1].revents != 0) {
            break;
        }
        if (fds[0].revents != 0) {
            clientOpen = ReadOnce();
        }
        WriteDue();
    }
    std::lock_guard<std::mutex> lock(m_writeMutex);
    close(m_fd);
    m_fd = -1;
    m_writeOpen = false;
}

bool RtspServerConnection::ReadOnce() {
    std::array<char, 16384> buffer;
    ssize_t n = recv(m_fd, buffer.data(), buffer.size(), 0);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    if (n <= 0) {
        // After our own shutdown the end of stream is ours, not the client's.
        if (!m_stopping) {
            m_records.MarkClosedByClient(m_index);
        }
        return false;
    }
    RtspStreamParser::Output parsed;
    m_parser.Feed(buffer.data(), static_cast<size_t>(n), parsed);
    std::vector<ReceivedMessage> requests = parsed.messages;
    m_records.AddReceived(m_index, buffer.data(), static_cast<size_t>(n), std::move(parsed));
    for (const ReceivedMessage& request : requests) {
        Answer(request);
    }
    return true;
}

void RtspServerConnection::Answer(const ReceivedMessage& request) {
    if (request.isReply() || request.method.empty()) {
        return;
    }
    if (!request.url.empty()) {
        std::lock_guard<std::mutex> lock(m_writeMutex);
        m_url = request.url;
    }
    if (request.method == "SETUP") {
        m_clientRtpPort = ClientRtpPort(request.header("Transport"));
    }
    const ScriptedReply reply = m_script.Pick(request.method, ++m_occurrences[request.method]);
    const Clock::time_point due = Clock::now() + reply.delay;
    switch (reply.action) {
        case ScriptedReply::Action::Silence:
            return;
        case ScriptedReply::Action::Close:
            m_pending.emplace(due, PendingWrite{{}, true, {}});
            return;
        case ScriptedReply::Action::Answer:
            break;
    }
    const std::string text = ComposeReply(request, reply, m_script.defaults(), m_sessionId);
    Clock::time_point at = due;
    auto last = m_pending.end();
    for (std::string_view piece : CutAt(text, reply.splitAt)) {
        last = m_pending.emplace(at, PendingWrite{std::string(piece), false, {}});
        at += reply.piecePause;
    }
    if (m_answered) {
        last->second.then = [this, request, status = reply.status] {
            m_answered(m_index, request, status);
        };
    }
}

int RtspServerConnection::PollTimeoutMs() const {
    if (m_pending.empty()) {
        return -1;
    }
    auto wait = m_pending.begin()->first - Clock::now();
    if (wait <= Clock::duration::zero()) {
        return 0;
    }
    // Round up, so the loop does not spin just before the write is due.
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wait).count());
}

void RtspServerConnection::WriteDue() {
    const Clock::time_point now = Clock::now();
    while (!m_pending.empty() && m_pending.begin()->first <= now) {
        PendingWrite write = std::move(m_pending.begin()->second);
        m_pending.erase(m_pending.begin());
        if (write.close) {
            Close();
        } else if (WriteAll(write.bytes) && write.then) {
            write.then();
        }
    }
}

}  // namespace playersdk::rtspserver
