#include "net/NetSink.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/BoundedCopy.h"
#include "base/ByteCursor.h"
#include "base/MutexGuard.h"
#include "net/NetHoleMsg.h"
#include "net/NetSinkContainer.h"
#include "net/SinkDestination.h"
#include "net/Sockets.h"

namespace {
constexpr int kSocketBufferSize = 131072;
constexpr unsigned long kFirstRtpPort = 10000;
constexpr unsigned long kLastRtpPort = 65534;
constexpr unsigned long kTcpHeaderSize = 8;
constexpr int kRtcpBye = 203;
constexpr int kRtcpReceiverReport = 201;
constexpr int kRtcpSenderReport = 200;
constexpr size_t kRtcpReportSize = 128;

void SetBufferSize(int s, int option) {
    int size = kSocketBufferSize;
    setsockopt(s, SOL_SOCKET, option, &size, sizeof(size));
}

void SetNonBlocking(int s) {
    int on = 1;
    ioctl(s, FIONBIO, &on);
}

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
    SetBufferSize(pair.rtpsocket, SO_RCVBUF);
    SetBufferSize(pair.rtcpsocket, SO_SNDBUF);
    SetNonBlocking(pair.rtpsocket);
    SetNonBlocking(pair.rtcpsocket);
}

unsigned long SenderPort(const sockaddr_storage& from) {
    if (from.ss_family == AF_INET) {
        return ntohs(reinterpret_cast<const sockaddr_in*>(&from)->sin_port);
    }
    if (from.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&from)->sin6_port);
    }
    return 0;
}

// The frame header test as the TCP media path has always made it: the first header bytes are
// read as one native DWORD and compared with 0x24242424, and byte 4 must be '$' too. With a
// 64-bit DWORD both cannot hold, so every header is judged bad and TCP-framed media never
// reaches the stream; kept deliberately. The header meant is five '$', one byte, then a
// non-zero big-endian payload length.
bool ReadTcpHeader(const unsigned char* header, unsigned long& payloadLen) {
    static_assert(sizeof(DWORD) <= kTcpHeaderSize, "the test reads within the header");
    DWORD lead = 0;
    memcpy(&lead, header, sizeof(lead));
    if (lead != 0x24242424 || header[4] != '$') {
        return false;
    }
    playersdk::ByteReader reader(header + 6, 2);
    uint16_t len = 0;
    reader.be16(len);
    payloadLen = len;
    return len != 0;
}

// Sinks registered with a container share its sink lock with the receive thread, which reads
// the destination and the TCP framing state under it.
class ContainerLock {
public:
    explicit ContainerLock(long container)
        : m_mutex(container != 0 ? &reinterpret_cast<CNetSinkContainer*>(container)->m_mutexSink
                                 : nullptr) {
        if (m_mutex != nullptr) {
            pthread_mutex_lock(m_mutex);
        }
    }
    ~ContainerLock() {
        if (m_mutex != nullptr) {
            pthread_mutex_unlock(m_mutex);
        }
    }
    ContainerLock(const ContainerLock&) = delete;
    ContainerLock& operator=(const ContainerLock&) = delete;

private:
    pthread_mutex_t* m_mutex;
};

bool CarriesRtp(ePacketType packet) {
    return packet == PT_RTP || packet == PT_RTP_VERSION2 || packet == PT_RTP_VERSION3;
}

bool Receives(eSinkDirection dir) {
    return dir == ZU_RCV_ONLY || dir == ZU_SEND_RCV;
}
bool Sends(eSinkDirection dir) {
    return dir == ZU_SEND_ONLY || dir == ZU_SEND_RCV;
}
}  // namespace

CNetSink::CNetSink()
    : m_PacketType(PT_RTP),
      m_TransType(TT_UDP),
      m_Direction(ZU_RCV_ONLY),
      m_RtpPortInfo{},
      m_RtpPortInfo_send{},
      m_destip{},
      m_destport(0),
      m_DestRcvPort(0),
      m_TotalFlux(0),
      m_flux(0),
      m_hDisplayWnd(0),
      m_pRtpStream(nullptr),
      m_bPaused(0),
      m_sinkmode(1),
      m_TcpReceivedBytes(0),
      m_TcpPacketLen(0),
      m_bLostPkt(0),
      m_continues(0),
      m_pTcpBuf(nullptr),
      m_tcpbuflen(0),
      m_RecordType(0),
      m_devinfo{},
      m_pDrawCb(nullptr),
      m_lDrawPrivate(0),
      m_urlssrc(0),
      m_HasRecieveRtcp(1),
      m_bCheckRtcp(1),
      m_pContainer(0) {
    // Made once for the sink's whole life rather than with each stream, so that the flag is
    // always safe to read and DestorySink of a sink without a stream is sound.
    pthread_mutex_init(&m_mutexRtcp, nullptr);
}

CNetSink::~CNetSink() {
    pthread_mutex_destroy(&m_mutexRtcp);
}

// ---- creation and release ------------------------------------------------------------------

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
    if (Receives(dir)) {
        GetSocket(m_destip, 0, trans, packet, &m_RtpPortInfo);
        // Given the port number where the socket was meant; it normally fails, and the socket
        // already has this size from GetSocket. Kept as the creation has always done it.
        int size = kSocketBufferSize;
        setsockopt(static_cast<int>(m_RtpPortInfo.rtpport), SOL_SOCKET, SO_RCVBUF, &size,
                   sizeof(size));
    }
    if (Sends(dir)) {
        GetSocket(m_destip, 0, trans, packet, &m_RtpPortInfo_send);
    }
    if (packet != PT_RTP) {
        return -1;
    }
    return CreateStream();
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
            SetBufferSize(ports.rtpsocket, SO_RCVBUF);
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
        int size = kSocketBufferSize;
        setsockopt(static_cast<int>(m_RtpPortInfo.rtpport), SOL_SOCKET, SO_RCVBUF, &size,
                   sizeof(size));
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

// ---- reception ----------------------------------------------------------------------------

int CNetSink::ReceiveData(int s, int len, void* buf, sockaddr_storage from) {
    unsigned long senderPort = SenderPort(from);
    if (s == m_RtpPortInfo.rtcpsocket && senderPort == m_destport + 1) {
        return OnReceiveRtcp(len, buf);
    }
    if (s == m_RtpPortInfo_send.rtcpsocket && senderPort == m_DestRcvPort + 1) {
        return OnReceiveRtcp(len, buf);
    }
    // RTCP from any other port ends here too.
    if (s != m_RtpPortInfo.rtpsocket || m_bPaused || m_pRtpStream == nullptr || len <= 0) {
        return 0;
    }
    if (m_TransType == TT_TCP) {
        m_TotalFlux += static_cast<float>(len / 128);
        ReceiveTcpData(s, len, buf);
        return 0;
    }
    if (m_destport != 0 && senderPort != m_destport) {
        return 0;
    }
    m_TotalFlux += static_cast<float>(len / 128);
    m_pRtpStream->InputData(buf, len);
    return 0;
}

bool CNetSink::AppendTcpBytes(const unsigned char* data, unsigned long len) {
    unsigned long needed = m_TcpReceivedBytes + len;
    if (needed > m_tcpbuflen) {
        if (needed > INT_MAX / 2 || AdjustBuf(static_cast<int>(2 * needed)) == nullptr) {
            return false;
        }
    }
    if (len > 0) {
        memcpy(m_pTcpBuf + m_TcpReceivedBytes, data, len);
    }
    m_TcpReceivedBytes = needed;
    return true;
}

void CNetSink::ReceiveTcpData(int s, int len, void* buf) {
    if (len <= 0 || buf == nullptr || m_pRtpStream == nullptr) {
        return;
    }
    const auto* data = static_cast<const unsigned char*>(buf);
    auto left = static_cast<unsigned long>(len);
    auto loseSync = [this] {
        m_bLostPkt = 1;
        m_TcpPacketLen = 0;
        m_TcpReceivedBytes = 0;
    };
    if (m_bLostPkt) {
        // Hunting: the count of '$' in a row carries over from the previous read.
        bool synced = false;
        while (left > 0 && !synced) {
            m_continues = *data == '$' ? m_continues + 1 : 0;
            synced = m_continues == 5;
            ++data;
            --left;
        }
        if (!synced) {
            return;
        }
        m_bLostPkt = 0;
        m_continues = 0;
        m_TcpReceivedBytes = 0;
        static const unsigned char kSyncMark[] = {'$', '$', '$', '$', '$'};
        if (!AppendTcpBytes(kSyncMark, sizeof(kSyncMark))) {
            return;
        }
    }
    if (!AppendTcpBytes(data, left)) {
        return;
    }
    if (m_TcpPacketLen == 0 && m_TcpReceivedBytes >= kTcpHeaderSize &&
        !ReadTcpHeader(m_pTcpBuf, m_TcpPacketLen)) {
        loseSync();
        return;
    }
    // A frame goes out only once the header after it has arrived and is valid too.
    while (m_TcpPacketLen != 0 && m_TcpReceivedBytes >= m_TcpPacketLen + 2 * kTcpHeaderSize) {
        unsigned long frameEnd = kTcpHeaderSize + m_TcpPacketLen;
        unsigned long nextLen = 0;
        if (!ReadTcpHeader(m_pTcpBuf + frameEnd, nextLen)) {
            loseSync();
            return;
        }
        m_pRtpStream->InputData(m_pTcpBuf + kTcpHeaderSize, static_cast<int>(m_TcpPacketLen));
        m_TcpReceivedBytes -= frameEnd;
        memmove(m_pTcpBuf, m_pTcpBuf + frameEnd, m_TcpReceivedBytes);
        if (m_TcpReceivedBytes < kTcpHeaderSize) {
            m_TcpPacketLen = 0;
            break;
        }
        m_TcpPacketLen = nextLen;
    }
}

void CNetSink::ResetSink(char* ip, unsigned long port) {
    ResetSink(ip, port, port);
}

void CNetSink::ResetSink(char* ip, unsigned long port, unsigned long sendport) {
    {
        ContainerLock lock(m_pContainer);
        playersdk::copy_bounded(m_destip, ip);
        switch (m_Direction) {
            case ZU_RCV_ONLY:
                m_DestRcvPort = port;
                m_destport = port;
                break;
            case ZU_SEND_ONLY:
                m_DestRcvPort = sendport;
                break;
            case ZU_SEND_RCV:
                m_destport = port;
                m_DestRcvPort = sendport;
                break;
        }
        SendNetHole();
    }
    if (m_TransType != TT_TCP) {
        return;
    }
    // The connects block; they are made without the container's lock.
    SinkDestination server(m_destip, m_destport, SOCK_STREAM, IPPROTO_TCP);
    if (server.ok()) {
        if (Receives(m_Direction)) {
            server.Connect(m_RtpPortInfo.rtpsocket, m_destport);
        }
        if (Sends(m_Direction)) {
            server.Connect(m_RtpPortInfo_send.rtpsocket, m_DestRcvPort);
        }
    }
    ContainerLock lock(m_pContainer);
    m_TcpPacketLen = 0;
    m_TcpReceivedBytes = 0;
    m_bLostPkt = 0;
    m_continues = 0;
}

void CNetSink::CalcFlux() {
    m_flux = m_TotalFlux;
    m_TotalFlux = 0;
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->CalcFrameRate();
    }
}

// ---- NAT holes and RTCP -------------------------------------------------------------------

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
    // for PT_RTP_VERSION2; the asymmetry is deliberate.
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
    unsigned char report[kRtcpReportSize];
    auto send = [&](int reportType, int s, unsigned long port) {
        int len = m_pRtpStream->GetRtcpReport(reinterpret_cast<char*>(report), reportType);
        if (len > 0 && static_cast<size_t>(len) <= sizeof(report)) {
            dest.SendFrom(s, report, static_cast<size_t>(len), port);
        }
    };
    if (Receives(m_Direction)) {
        send(type == kRtcpBye ? kRtcpBye : kRtcpReceiverReport, m_RtpPortInfo.rtcpsocket,
             m_destport + 1);
    }
    if (Sends(m_Direction)) {
        send(type == kRtcpBye ? kRtcpBye : kRtcpSenderReport, m_RtpPortInfo_send.rtcpsocket,
             m_DestRcvPort + 1);
    }
}

void CNetSink::SendRtcp() {
    SendReports(kRtcpReceiverReport);
}

void CNetSink::SendBye() {
    SendReports(kRtcpBye);
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
    if (reader.u8(first) && reader.u8(type) && type == kRtcpBye) {
        return kRtcpBye;
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

// ---- settings and forwarders --------------------------------------------------------------

void CNetSink::SetSinkMode(int mode) {
    m_sinkmode = mode;
    if (mode == 2) {
        EnableFrameControl(0);
    }
}

void CNetSink::SetPlayHwnd(long h) {
    m_hDisplayWnd = h;
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->SetPlayHwnd(h);
        m_pRtpStream->SetDrawCb(m_pDrawCb, m_lDrawPrivate);
    }
}

void CNetSink::SetDrawCb(DrawCB cb, long priv) {
    m_pDrawCb = cb;
    m_lDrawPrivate = priv;
}

void CNetSink::SetPlayDeviceInfo(DeviceDecInfo info) {
    m_devinfo = info;
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->SetDeviceDecInfo(info);
    }
}

int CNetSink::GetFrameRate() {
    return m_pRtpStream ? m_pRtpStream->GetFrameRate() : 0;
}
DWORD CNetSink::GetCurTs() {
    return m_pRtpStream ? m_pRtpStream->GetCurTs() : 0;
}
int CNetSink::CapPicture(char* path) {
    return m_pRtpStream ? m_pRtpStream->CapPicture(path) : 1;
}
int CNetSink::GetFirstTs(unsigned long* ts) {
    return m_pRtpStream ? m_pRtpStream->GetFirstTs(ts) : 0;
}
int CNetSink::GetSSRC(unsigned long* ssrc) {
    return m_pRtpStream ? m_pRtpStream->GetSSRC(ssrc) : 0;
}
int CNetSink::GetMediaInfo(MediaInfo_rtp* info) {
    return m_pRtpStream ? m_pRtpStream->GetMediaInfo(info) : 0;
}
int CNetSink::RefreshPlayWnd() {
    return m_pRtpStream ? m_pRtpStream->RefreshPlayWnd() : 0;
}
int CNetSink::StartRecord(char* path) {
    return m_pRtpStream ? m_pRtpStream->StartRecord(path, m_RecordType) : 1;
}
int CNetSink::StopRecord() {
    return m_pRtpStream ? m_pRtpStream->StopRecord() : 1;
}
void CNetSink::EnableFrameControl(int on) {
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->EnableFrameControl(on);
    }
}
void CNetSink::GetPacketCount(int* total, int* lost) {
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->GetPacketCount(total, lost);
    }
}
// Forwarded without a check, as it always was; a sink without a stream ignores it here
// rather than call through a null stream.
void CNetSink::SetOverLayMode(int on, unsigned int colorKey) {
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->SetOverLayMode(on, colorKey);
    }
}

// ---- TCP reassembly buffer ----------------------------------------------------------------

unsigned char* CNetSink::SafeMallocBuf(int size) {
    SafeFreeBuf();
    if (size <= 0) {
        return nullptr;
    }
    m_pTcpBuf = static_cast<unsigned char*>(malloc(static_cast<size_t>(size)));
    if (m_pTcpBuf != nullptr) {
        m_tcpbuflen = static_cast<unsigned long>(size);
    }
    return m_pTcpBuf;
}

void CNetSink::SafeFreeBuf() {
    free(m_pTcpBuf);
    m_pTcpBuf = nullptr;
    m_tcpbuflen = 0;
}

unsigned char* CNetSink::AdjustBuf(int size) {
    if (size <= 0) {
        return nullptr;
    }
    auto* grown = static_cast<unsigned char*>(malloc(static_cast<size_t>(size)));
    if (grown == nullptr) {
        return nullptr;  // the old buffer stays
    }
    unsigned long keep = m_TcpReceivedBytes < static_cast<unsigned long>(size)
                             ? m_TcpReceivedBytes
                             : static_cast<unsigned long>(size);
    if (m_pTcpBuf != nullptr && keep > 0) {
        memcpy(grown, m_pTcpBuf, keep);
    }
    free(m_pTcpBuf);
    m_pTcpBuf = grown;
    m_tcpbuflen = static_cast<unsigned long>(size);
    return grown;
}
