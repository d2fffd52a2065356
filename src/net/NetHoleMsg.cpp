#include "net/NetHoleMsg.h"

#include "base/ByteCursor.h"

namespace playersdk {

NetHoleMsg MakeNetHoleMsg(uint16_t localPort) {
    NetHoleMsg msg{};
    msg.flag = 0xFEFEFEFE;
    msg.length = kNetHoleMsgSize;
    msg.CuId.type = 1;
    msg.CuId.length = sizeof(CuIdTLV);
    msg.IpPort.type = 2;
    msg.IpPort.length = sizeof(IPPortTLV);
    msg.IpPort.ip1 = 127;
    msg.IpPort.ip4 = 1;
    msg.IpPort.port = localPort;
    return msg;
}

bool WriteNetHoleMsg(const NetHoleMsg& msg, uint8_t* out, size_t cap) {
    ByteWriter w(out, cap);
    w.be32(msg.flag).be32(0).be32(msg.length).be32(0);
    w.u8(msg.CuId.type).u8(msg.CuId.reserved).be16(msg.CuId.length);
    w.bytes(msg.CuId.cuid, sizeof(msg.CuId.cuid));
    w.u8(msg.IpPort.type).u8(msg.IpPort.reserved).be16(msg.IpPort.length);
    w.u8(msg.IpPort.ip1).u8(msg.IpPort.ip2).u8(msg.IpPort.ip3).u8(msg.IpPort.ip4);
    w.be16(msg.IpPort.port).be16(msg.IpPort.padding);
    return w.ok() && w.size() == kNetHoleMsgSize;
}

bool WriteShortHoleMsg(uint32_t ssrc, uint32_t rtpPort, uint8_t* out, size_t cap) {
    ByteWriter w(out, cap);
    w.bytes("SSRC-PORT", 9).be32(ssrc).be32(rtpPort);
    return w.ok() && w.size() == kShortHoleMsgSize;
}

}  // namespace playersdk
