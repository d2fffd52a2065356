#include "net/NetSink.h"

#include <netdb.h>
#include <netinet/in.h>

#include <new>

#include "base/BoundedCopy.h"
#include "base/MutexGuard.h"
#include "net/Sockets.h"

namespace {
constexpr unsigned long kFirstRtpPort = 10000;
constexpr unsigned long kLastRtpPort = 65534;

// Both sockets of a UDP pair. What a server and a SETUP see stays as it was: the first even
// port from 10000 up whose next port is free for RTCP, every search starting at 10000. A pair
// whose RTCP port is taken now moves the search on instead of leaving it unable to bind again,
// and the search ends after the last pair; the pair then has no sockets and no port.
void MakeUdpPair(int family, RtpPacketPort& pair) {
    playersdk::RtpSocketPair bound;
    if (!playersdk::OpenRtpSocketPair(family, kFirstRtpPort, kLastRtpPort, bound)) {
        return;
    }
    pair.rtpsocket = bound.rtp;
    pair.rtcpsocket = bound.rtcp;
    pair.rtpport = static_cast<uint32_t>(bound.rtpPort);
    pair.rtcpport = static_cast<uint32_t>(bound.rtpPort + 1);
    playersdk::SetSocketBufferSize(pair.rtpsocket, SO_RCVBUF);
    playersdk::SetSocketBufferSize(pair.rtcpsocket, SO_SNDBUF);
    playersdk::SetSocketNonBlocking(pair.rtpsocket);
    playersdk::SetSocketNonBlocking(pair.rtcpsocket);
}

bool CarriesRtp(ePacketType packet) {
    return packet == PT_RTP || packet == PT_RTP_VERSION2 || packet == PT_RTP_VERSION3;
}

}  // namespace

int CNetSink::CreateNetSink(char* ip, unsigned long port, eTransType trans, ePacketType packet) {
    m_PacketType = packet;
    m_TransType = trans;
    playersdk::copy_bounded(m_destip, ip);
    m_DestRcvPort = port;
    m_destport = port;
    return CreateNetSink2(trans, packet, ZU_RCV_ONLY);
}

int CNetSink::CreateNetSink2(eTransType trans, ePacketType packet, eSinkDirection dir) {
    m_TransType = trans;
    m_PacketType = packet;
    m_Direction = dir;
    if (SinkReceives(dir)) {
        GetSocket(m_destip, 0, trans, packet, &m_RtpPortInfo);
        SetReceiveBufferOnPortNumber();
    }
    if (SinkSends(dir)) {
        GetSocket(m_destip, 0, trans, packet, &m_RtpPortInfo_send);
    }
    if (packet != PT_RTP) {
        return -1;
    }
    return CreateStream();
}

// Names the port number where the socket was meant. No descriptor that high is open, so the
// call fails and changes nothing (the socket has this size from GetSocket); nothing reads its
// result. It stays only so the creation makes the same system calls.
void CNetSink::SetReceiveBufferOnPortNumber() {
    playersdk::SetSocketBufferSize(static_cast<int>(m_RtpPortInfo.rtpport), SO_RCVBUF);
}

int CNetSink::CreateStream() {
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->CloseStream();
        delete m_pRtpStream;
        m_pRtpStream = nullptr;
    }
    m_pRtpStream = new (std::nothrow) CRtpStream();
    if (m_pRtpStream == nullptr) {
        return -1;
    }
    m_pRtpStream->m_UserData = reinterpret_cast<long>(this);
    m_pRtpStream->EnableLosePakcetReport(1);
    m_pRtpStream->SetPlayHwnd(m_hDisplayWnd);
    m_pRtpStream->SetDrawCb(m_pDrawCb, m_lDrawPrivate);
    playersdk::MutexGuard lock(m_mutexRtcp);
    m_HasRecieveRtcp = 1;
    return 0;
}

int CNetSink::GetSocket(char* ip, unsigned long unused, unsigned long trans, unsigned long packet,
                        void* pair) {
    auto& ports = *static_cast<RtpPacketPort*>(pair);
    addrinfo hints{};
    addrinfo* res = nullptr;
    if (ip == nullptr || getaddrinfo(ip, nullptr, &hints, &res) != 0 || res == nullptr) {
        return 1;
    }
    int family = res->ai_family;
    freeaddrinfo(res);
    if (trans == TT_UDP) {
        MakeUdpPair(family, ports);
    } else if (trans == TT_TCP) {
        // Not bound and left blocking: ResetSink connects it to the server.
        ports = RtpPacketPort{};
        ports.rtpsocket = socket(family, SOCK_STREAM, 0);
        if (ports.rtpsocket < 0) {
            ports.rtpsocket = 0;
        } else {
            playersdk::SetSocketBufferSize(ports.rtpsocket, SO_RCVBUF);
        }
    }
    // TT_MULTICAST: no sockets; no group is joined anywhere, so nothing is received.
    return 1;
}

int CNetSink::Createsink_db33(unsigned short port) {
    m_PacketType = PT_RTP;
    m_TransType = TT_UDP;
    m_Direction = ZU_RCV_ONLY;
    m_RtpPortInfo.rtpsocket = socket(AF_INET, SOCK_DGRAM, 0);
    if (playersdk::BindAnyAddress(m_RtpPortInfo.rtpsocket, AF_INET, port)) {
        SetReceiveBufferOnPortNumber();
        return 0;
    }
    if (m_PacketType != PT_RTP) {
        return -1;
    }
    // The stream is made only when the bind failed; this is how this creation path behaves.
    CreateStream();
    return 1;
}

int CNetSink::ReleaseSocket(unsigned long unused, void* pair) {
    auto& ports = *static_cast<RtpPacketPort*>(pair);
    for (SOCKET* s : {&ports.rtpsocket, &ports.rtcpsocket}) {
        if (*s > 0) {
            playersdk::CloseSocket(*s);
        }
    }
    return 0;
}

void CNetSink::DestorySink() {
    ReleaseSocket(0, &m_RtpPortInfo);
    ReleaseSocket(0, &m_RtpPortInfo_send);
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->CloseStream();
        delete m_pRtpStream;
        m_pRtpStream = nullptr;
    }
    SafeFreeBuf();
}

int CNetSink::GetRtpSendSocket() const {
    return m_Direction == ZU_RCV_ONLY ? 0 : m_RtpPortInfo_send.rtpsocket;
}

int CNetSink::GetRtcpSendSocket() const {
    return m_Direction == ZU_RCV_ONLY ? 0 : m_RtpPortInfo_send.rtcpsocket;
}

int CNetSink::GetLocalPort() const {
    return CarriesRtp(m_PacketType) ? static_cast<int>(m_RtpPortInfo.rtpport) : 0;
}

int CNetSink::GetLocalSendPort() const {
    return CarriesRtp(m_PacketType) ? static_cast<int>(m_RtpPortInfo_send.rtpport) : 0;
}
