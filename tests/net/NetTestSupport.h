// Helpers shared by the sink tests: RTP/RTCP datagrams as a server sends them, sender
// addresses, a recorder for link reports and a bounded wait for the receive thread.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "rtpgen/RtpGen.h"
#include "support/LoopbackUdp.h"

namespace nettest {

constexpr char kLoopback[] = "127.0.0.1";

// A whole frame in one RTP datagram: marker set, payload type 98 (decoded as VT_IR, which
// takes no configuration first). The stream keys frames by the SSRC field.
inline std::vector<uint8_t> Frame(uint16_t seq, uint32_t key, const std::vector<uint8_t>& payload,
                                  bool marker = true) {
    rtpgen::RtpFields fields;
    fields.seq = seq;
    fields.marker = marker;
    fields.pt = 98;
    fields.ssrc = key;
    return rtpgen::Packet(fields, payload);
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

// The 64-byte hole message as sent from a socket bound to localPort.
inline std::vector<uint8_t> HoleMessage(uint16_t localPort) {
    const uint8_t head[] = {0xFE, 0xFE, 0xFE, 0xFE, 0, 0, 0, 0, 0, 0,
                            0,    0x40, 0,    0,    0, 0, 1, 0, 0, 36};
    const uint8_t ipPort[] = {2, 0, 0, 12, 127, 0, 0, 1};
    std::vector<uint8_t> m(64, 0);  // the 32-byte client id stays zero
    std::copy(std::begin(head), std::end(head), m.begin());
    std::copy(std::begin(ipPort), std::end(ipPort), m.begin() + 52);
    m[60] = static_cast<uint8_t>(localPort >> 8);
    m[61] = static_cast<uint8_t>(localPort);
    return m;
}

inline const std::vector<uint8_t> kProbe = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

// Everything the socket received before a marker datagram that the test sends after the
// action: the sink's sends are queued by then, so what is absent was not sent.
inline std::vector<playersdk::test::Datagram> ReceivedBeforeMarker(
    const playersdk::test::UdpSocket& sock) {
    playersdk::test::UdpSocket marker;
    const std::string end = "END-OF-TEST";
    marker.SendTo(sock.port(), end.data(), end.size());
    std::vector<playersdk::test::Datagram> got;
    playersdk::test::Datagram d;
    while (sock.Receive(d) && std::string(d.bytes.begin(), d.bytes.end()) != end) {
        got.push_back(d);
    }
    return got;
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
