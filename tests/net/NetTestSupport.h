// Datagrams a server sends, the hole datagrams a sink sends, and bounded waits.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "rtpgen/RtpGen.h"
#include "support/LoopbackUdp.h"

namespace nettest {

using playersdk::test::Datagram;
using playersdk::test::UdpPortPair;
using playersdk::test::UdpSocket;

inline std::vector<uint8_t> Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

// RTP of payload type 98 (VT_IR: no configuration first), keyed by the SSRC field.
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
    return {0x81, 203, 0, 1, 0, 0, 0, 7};
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
    std::vector<uint8_t> m = {0xFE, 0xFE, 0xFE, 0xFE, 0, 0, 0, 0, 0, 0,
                              0,    0x40, 0,    0,    0, 0, 1, 0, 0, 36};
    m.resize(52, 0);  // the 32-byte client id stays zero
    std::vector<uint8_t> ipPort = {2, 0, 0, 12, 127, 0, 0, 1, 0, 0, 0, 0};
    ipPort[8] = static_cast<uint8_t>(localPort >> 8);
    ipPort[9] = static_cast<uint8_t>(localPort);
    m.insert(m.end(), ipPort.begin(), ipPort.end());
    return m;
}

inline const std::vector<uint8_t> kProbe = Bytes("123456789");

// Everything the socket received before a marker sent now: what is absent was not sent.
inline std::vector<Datagram> ReceivedBeforeMarker(const UdpSocket& sock) {
    UdpSocket marker;
    marker.SendTo(sock.port(), Bytes("END"));
    std::vector<Datagram> got;
    Datagram d;
    while (sock.Receive(d) && d.bytes != Bytes("END")) {
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

}  // namespace nettest
