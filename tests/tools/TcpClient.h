// A plain blocking TCP client for the tool tests, and the requests it sends: no RTSP code of
// the library takes part.
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "rtspserver/LoopbackSocket.h"

namespace playersdk::rtspserver::test {

class TcpClient {
public:
    explicit TcpClient(uint16_t port) : m_fd(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in addr = LoopbackAddress(port);
        if (connect(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
            close(m_fd);
            m_fd = -1;
        }
    }
    ~TcpClient() { Close(); }
    bool connected() const { return m_fd >= 0; }
    void Close() {
        if (m_fd >= 0) {
            close(m_fd);
        }
        m_fd = -1;
    }
    bool Send(const std::string& bytes) {
        return send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    // What one read returns within the time-out; empty on time-out or end of stream.
    std::string ReadSome(int timeoutMs = 3000) {
        pollfd p{m_fd, POLLIN, 0};
        if (poll(&p, 1, timeoutMs) != 1) {
            return {};
        }
        char buf[8192];
        ssize_t n = recv(m_fd, buf, sizeof(buf), 0);
        m_eof = n == 0;
        return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
    }
    std::string ReadExactly(size_t n) {
        std::string out;
        while (out.size() < n) {
            pollfd p{m_fd, POLLIN, 0};
            if (poll(&p, 1, 3000) != 1) {
                break;
            }
            char buf[8192];
            ssize_t got = recv(m_fd, buf, std::min(sizeof(buf), n - out.size()), 0);
            if (got <= 0) {
                break;
            }
            out.append(buf, static_cast<size_t>(got));
        }
        return out;
    }
    // One reply: the header block and as many body bytes as its Content-Length says.
    std::string ReadReply() {
        std::string out;
        while (out.find("\r\n\r\n") == std::string::npos) {
            std::string more = ReadExactly(1);
            if (more.empty()) {
                return out;
            }
            out += more;
        }
        size_t at = out.find("Content-Length: ");
        return at == std::string::npos ? out : out + ReadExactly(std::stoul(out.substr(at + 16)));
    }
    bool ReadsEndOfStream() {
        m_eof = false;
        while (!m_eof && !ReadSome().empty()) {
        }
        return m_eof;
    }

private:
    int m_fd;
    bool m_eof = false;
};

// Requests as the player writes them, for the default session of the loopback server.
inline std::string Describe(int cseq) {
    return "DESCRIBE rtsp://127.0.0.1/movie RTSP/1.0\r\nCSeq: " + std::to_string(cseq) +
           "\r\nAccept: application/sdp\r\nAccept-Language: en-US\r\nUser-Agent: zuplayer\r\n\r\n";
}

inline std::string SetupRequest(int cseq, const std::string& transport) {
    return "SETUP rtsp://127.0.0.1/movie/trackID=1 RTSP/1.0\r\nCSeq: " + std::to_string(cseq) +
           "\r\nTransport: " + transport + "\r\nUser-Agent: zuplayer\r\n\r\n";
}

inline std::string Request(const std::string& method, int cseq) {
    return method + " rtsp://127.0.0.1/movie RTSP/1.0\r\nCSeq: " + std::to_string(cseq) +
           "\r\nSession: 12345678\r\nUser-Agent: zuplayer\r\n\r\n";
}

}  // namespace playersdk::rtspserver::test
