#include "rtspserver/RtspTestServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "rtspserver/LoopbackSocket.h"

namespace playersdk::rtspserver {
namespace {
constexpr unsigned kFirstSessionId = 12345678;

int ListenOnLoopback(uint16_t port, uint16_t& bound) {
    int fd = BindLoopback(SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, port, bound);
    if (fd >= 0 && listen(fd, SOMAXCONN) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}
}  // namespace

RtspTestServer::~RtspTestServer() {
    Stop();
}

bool RtspTestServer::Start(uint16_t port) {
    if (m_running) {
        return false;
    }
    uint16_t bound = 0;
    m_listenFd = ListenOnLoopback(port, bound);
    m_stopFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_listenFd < 0 || m_stopFd < 0 || !m_udp.Open()) {
        CloseSockets();
        return false;
    }
    ReplyDefaults defaults = m_script.defaults();
    defaults.serverRtpPort = m_udp.port();
    m_script.SetDefaults(defaults);
    m_port = bound;
    m_running = true;
    m_acceptThread = std::thread(&RtspTestServer::AcceptLoop, this);
    return true;
}

void RtspTestServer::Stop() {
    if (!m_running.exchange(false)) {
        return;
    }
    const uint64_t one = 1;
    ssize_t ignored = write(m_stopFd, &one, sizeof(one));
    (void)ignored;
    m_acceptThread.join();
    std::vector<std::shared_ptr<RtspServerConnection>> connections;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        connections = m_connections;
    }
    for (const auto& c : connections) {
        c->Shutdown();
    }
    for (const auto& c : connections) {
        c->Join();
    }
    CloseSockets();
}

void RtspTestServer::CloseSockets() {
    for (int* fd : {&m_listenFd, &m_stopFd}) {
        if (*fd >= 0) {
            close(*fd);
        }
        *fd = -1;
    }
    m_udp.Close();
}

std::string RtspTestServer::url(std::string_view path) const {
    return "rtsp://127.0.0.1:" + std::to_string(port()) + "/" + std::string(path);
}

std::shared_ptr<RtspServerConnection> RtspTestServer::connection(size_t index) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return index < m_connections.size() ? m_connections[index] : nullptr;
}

std::shared_ptr<RtspServerConnection> RtspTestServer::WaitForConnection(
    size_t index, ServerRecords::Timeout timeout) const {
    m_records.WaitForConnections(index + 1, timeout);
    return connection(index);
}

void RtspTestServer::AcceptLoop() {
    while (true) {
        std::array<pollfd, 2> fds{pollfd{m_listenFd, POLLIN, 0}, pollfd{m_stopFd, POLLIN, 0}};
        if (poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) {
            return;
        }
        if (fds[1].revents != 0) {
            return;
        }
        if (fds[0].revents != 0) {
            Accept();
        }
    }
}

void RtspTestServer::Accept() {
    int fd = accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        return;
    }
    // Every write leaves as its own segment, so replies split into pieces arrive in pieces.
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
    std::shared_ptr<RtspServerConnection> connection;
    {
        // The connection is in the list before a waiter on the records can look for it.
        std::lock_guard<std::mutex> lock(m_mutex);
        size_t index = m_records.AddConnection();
        connection = std::make_shared<RtspServerConnection>(
            fd, index, std::to_string(kFirstSessionId + index), url(""), m_records, m_script,
            m_stopFd, m_answered);
        m_connections.push_back(connection);
    }
    connection->Start();
}

}  // namespace playersdk::rtspserver
