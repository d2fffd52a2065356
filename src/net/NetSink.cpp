#include "net/NetSink.h"

#include <netinet/in.h>

#include "base/BoundedCopy.h"
#include "net/NetSinkContainer.h"
#include "net/SinkDestination.h"

namespace {
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
        if (SinkReceives(m_Direction)) {
            server.Connect(m_RtpPortInfo.rtpsocket, m_destport);
        }
        if (SinkSends(m_Direction)) {
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
    // The receive thread may already feed the stream, which reads this under the sink lock.
    ContainerLock lock(m_pContainer);
    m_devinfo = info;
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->SetDeviceDecInfo(info);
    }
}
