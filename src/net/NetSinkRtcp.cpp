#include "net/NetSink.h"

#include <netinet/in.h>

#include "base/ByteCursor.h"
#include "base/MutexGuard.h"
#include "media/RtpConstants.h"
#include "net/NetHoleMsg.h"
#include "net/SinkDestination.h"

namespace {
struct HoleMsgBytes {
    explicit HoleMsgBytes(uint32_t localPort) {
        playersdk::WriteNetHoleMsg(playersdk::MakeNetHoleMsg(static_cast<uint16_t>(localPort)),
                                   bytes, sizeof(bytes));
    }
    uint8_t bytes[playersdk::kNetHoleMsgSize] = {};
};
}  // namespace

void CNetSink::SendHoles(const SinkDestination& dest, bool rtpMessage, bool clientIdProbe) {
    const RtpPacketPort& pair = m_RtpPortInfo;
    if (rtpMessage) {
        HoleMsgBytes msg(pair.rtpport);
        dest.SendFrom(pair.rtpsocket, msg.bytes, sizeof(msg.bytes), m_destport);
    }
    if (clientIdProbe) {
        dest.SendFrom(pair.rtpsocket, playersdk::kClientIdProbe, playersdk::kClientIdProbeSize,
                      m_destport);
    }
    HoleMsgBytes rtcpMsg(pair.rtcpport);
    dest.SendFrom(pair.rtcpsocket, rtcpMsg.bytes, sizeof(rtcpMsg.bytes), m_destport + 1);
    if (clientIdProbe) {
        dest.SendFrom(pair.rtcpsocket, playersdk::kClientIdProbe, playersdk::kClientIdProbeSize,
                      m_destport + 1);
    }
}

void CNetSink::SendSendHoles(const SinkDestination& dest) {
    const RtpPacketPort& pair = m_RtpPortInfo_send;
    HoleMsgBytes rtpMsg(pair.rtpport);
    dest.SendFrom(pair.rtpsocket, rtpMsg.bytes, sizeof(rtpMsg.bytes), m_DestRcvPort);
    HoleMsgBytes rtcpMsg(pair.rtcpport);
    dest.SendFrom(pair.rtcpsocket, rtcpMsg.bytes, sizeof(rtcpMsg.bytes), m_DestRcvPort + 1);
}

void CNetSink::SendNetHole() {
    if (m_TransType == TT_TCP) {
        return;
    }
    SinkDestination dest(m_destip, m_destport, SOCK_DGRAM, IPPROTO_UDP);
    if (!dest.ok()) {
        return;
    }
    if (m_sinkmode == 2) {
        uint8_t msg[playersdk::kShortHoleMsgSize];
        if (m_destport != 0 &&
            playersdk::WriteShortHoleMsg(static_cast<uint32_t>(m_urlssrc), m_RtpPortInfo.rtpport,
                                         msg, sizeof(msg))) {
            dest.SendFrom(m_RtpPortInfo.rtpsocket, msg, sizeof(msg), m_destport);
        }
        return;
    }
    // Only a receive-only sink sends the client-id probes and skips the RTP socket's message
    // for PT_RTP_VERSION2; the asymmetry is deliberate. The device sees exactly these
    // datagrams before its media starts, so one more or one fewer changes what it learns.
    switch (m_Direction) {
        case ZU_RCV_ONLY:
            if (m_destport != 0) {
                SendHoles(dest, m_PacketType != PT_RTP_VERSION2, true);
            }
            break;
        case ZU_SEND_ONLY:
            if (m_DestRcvPort != 0) {
                SendSendHoles(dest);
            }
            break;
        case ZU_SEND_RCV:
            if (m_destport != 0) {
                SendHoles(dest, true, false);
            }
            if (m_DestRcvPort != 0) {
                SendSendHoles(dest);
            }
            break;
    }
}

void CNetSink::SendReports(int type) {
    if (m_TransType == TT_TCP) {
        return;
    }
    SinkDestination dest(m_destip, m_destport + 1, SOCK_DGRAM, IPPROTO_UDP);
    if (!dest.ok() || m_pRtpStream == nullptr) {
        return;
    }
    unsigned char report[CRtpStream::kRtcpReportSize];
    auto send = [&](int reportType, int s, unsigned long port) {
        int len = m_pRtpStream->GetRtcpReport(reinterpret_cast<char*>(report), reportType);
        if (len > 0 && static_cast<size_t>(len) <= sizeof(report)) {
            dest.SendFrom(s, report, static_cast<size_t>(len), port);
        }
    };
    if (SinkReceives(m_Direction)) {
        send(type == playersdk::kRtcpBye ? playersdk::kRtcpBye : playersdk::kRtcpReceiverReport,
             m_RtpPortInfo.rtcpsocket, m_destport + 1);
    }
    if (SinkSends(m_Direction)) {
        send(type == playersdk::kRtcpBye ? playersdk::kRtcpBye : playersdk::kRtcpSenderReport,
             m_RtpPortInfo_send.rtcpsocket, m_DestRcvPort + 1);
    }
}

void CNetSink::SendRtcp() {
    SendReports(playersdk::kRtcpReceiverReport);
}

void CNetSink::SendBye() {
    SendReports(playersdk::kRtcpBye);
}

int CNetSink::SendData(char* data, int len) {
    SinkDestination dest(m_destip, m_DestRcvPort, SOCK_DGRAM, IPPROTO_UDP);
    if (!dest.ok()) {
        return 0;
    }
    if (data == nullptr || len < 0) {
        return -1;
    }
    int s = m_Direction == ZU_RCV_ONLY ? m_RtpPortInfo.rtpsocket : m_RtpPortInfo_send.rtpsocket;
    return static_cast<int>(dest.SendFrom(s, data, static_cast<size_t>(len), m_DestRcvPort));
}

int CNetSink::OnReceiveRtcp(int len, void* pkt) {
    // Only the first packet of a compound packet is looked at. A datagram too short to carry
    // a packet type is no BYE, so it counts as RTCP seen.
    playersdk::ByteReader reader(pkt, len > 0 ? static_cast<size_t>(len) : 0);
    uint8_t first = 0;
    uint8_t type = 0;
    if (reader.u8(first) && reader.u8(type) && type == playersdk::kRtcpBye) {
        return playersdk::kRtcpBye;
    }
    playersdk::MutexGuard lock(m_mutexRtcp);
    m_HasRecieveRtcp = 1;
    return 0;
}

int CNetSink::GetReceiveRtcpFlag() {
    playersdk::MutexGuard lock(m_mutexRtcp);
    return m_HasRecieveRtcp;
}

void CNetSink::RestReceiveRtcpFlag() {
    playersdk::MutexGuard lock(m_mutexRtcp);
    m_HasRecieveRtcp = m_bCheckRtcp ? 0 : 1;
}
