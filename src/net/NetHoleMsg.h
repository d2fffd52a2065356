// The datagrams a sink sends from its own ports so that a NAT or firewall lets the server's
// media back in: the 64-byte hole message, the client-id probe and the short SSRC-PORT message.
#pragma once

#include <cstddef>
#include <cstdint>

struct CuIdTLV {
    uint8_t type;  // 1
    uint8_t reserved;
    uint16_t length;  // 36: the whole record, header included
    char cuid[32];    // client id; no id is ever filled in
};

struct IPPortTLV {
    uint8_t type;  // 2
    uint8_t reserved;
    uint16_t length;  // 12: the whole record
    uint8_t ip1, ip2, ip3, ip4;
    uint16_t port;  // local port of the socket the message leaves from
    uint16_t padding;
};

struct NetHoleMsg {
    uint32_t flag;    // sent as an 8-byte field: the value, then four zero bytes
    uint32_t length;  // likewise
    CuIdTLV CuId;
    IPPortTLV IpPort;
};

namespace playersdk {

constexpr size_t kNetHoleMsgSize = 64;
constexpr size_t kShortHoleMsgSize = 17;
// The client-id probe that follows each hole message of a receive-only sink (no terminator).
constexpr char kClientIdProbe[] = "123456789";
constexpr size_t kClientIdProbeSize = sizeof(kClientIdProbe) - 1;

// The message as it is sent from a socket bound to localPort.
NetHoleMsg MakeNetHoleMsg(uint16_t localPort);
// Writes the 64 wire bytes; false when out is too small.
bool WriteNetHoleMsg(const NetHoleMsg& msg, uint8_t* out, size_t cap);
// "SSRC-PORT", the SSRC announced by the server and the local RTP port, both big-endian.
bool WriteShortHoleMsg(uint32_t ssrc, uint32_t rtpPort, uint8_t* out, size_t cap);

}  // namespace playersdk

static_assert(sizeof(CuIdTLV) == 36, "the CuId record is 36 bytes on the wire");
static_assert(sizeof(IPPortTLV) == 12, "the IpPort record is 12 bytes on the wire");
