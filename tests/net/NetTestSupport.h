// Helpers shared by the sink tests: RTP/RTCP datagrams as a server sends them, sender
// addresses, a recorder for link reports and a bounded wait for the receive thread.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace nettest {

constexpr char kLoopback[] = "127.0.0.1";

// One RTP datagram: version 2, the given marker and payload type; the frame key goes where
// RTP puts the SSRC (bytes 8-11), which is what the stream groups frames by.
inline std::vector<uint8_t> Rtp(uint16_t seq, bool marker, uint8_t pt, uint32_t key,
                                const std::vector<uint8_t>& payload) {
    std::vector<uint8_t> d = {0x80,
                              static_cast<uint8_t>((marker ? 0x80 : 0) | pt),
                              static_cast<uint8_t>(seq >> 8),
                              static_cast<uint8_t>(seq),
                              0,
                              0,
                              0,
                              0,
                              static_cast<uint8_t>(key >> 24),
                              static_cast<uint8_t>(key >> 16),
                              static_cast<uint8_t>(key >> 8),
                              static_cast<uint8_t>(key)};
    d.insert(d.end(), payload.begin(), payload.end());
    return d;
}

inline std::vector<uint8_t> RtcpBye() {
    return {0x81, 203, 0x00, 0x01, 0, 0, 0, 7};
}
inline std::vector<uint8_t> RtcpSenderReport() {
    std::vector<uint8_t> d(28, 0);
    d[0] = 0x80;
    d[1] = 200;
    d[3] = 6;
    return d;
}

inline sockaddr_storage From(uint16_t port) {
    sockaddr_storage from{};
    auto* in = reinterpret_cast<sockaddr_in*>(&from);
    in->sin_family = AF_INET;
    in->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    in->sin_port = htons(port);
    return from;
}

template <typename Pred>
bool WaitUntil(Pred pred, int ms = 3000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Link reports as (sink, code), recorded from the receive thread.
class LinkReports {
public:
    static void Callback(long container, long sink, int code, long user) {
        Instance().Add(sink, code);
    }
    static LinkReports& Instance() {
        static LinkReports reports;
        return reports;
    }
    void Add(long sink, int code) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_reports.emplace_back(sink, code);
    }
    int Count(const void* sink, int code) {
        std::lock_guard<std::mutex> lock(m_mutex);
        int n = 0;
        for (const auto& [s, c] : m_reports) {
            n += s == reinterpret_cast<long>(sink) && c == code;
        }
        return n;
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_reports.clear();
    }

private:
    std::mutex m_mutex;
    std::vector<std::pair<long, int>> m_reports;
};

}  // namespace nettest
