#include "net/RTPSession.h"

#include <sys/socket.h>

#include <cstdlib>
#include <cstring>

#include "PlayerSDK.h"
#include "base/ByteCursor.h"
#include "base/OsHelpers.h"
#include "net/Sockets.h"

namespace {
constexpr int kDatagramSize = 2048;
// Seconds Run waits for the consumer to hand the queue back.
constexpr int kQueueWaitSeconds = 10;

// Frees every queued packet with its data, then the queue and its semaphore.
void ReleasePacketQueue(CRTPSession& session) {
    if (session.m_packageList == nullptr) {
        return;
    }
    while (QUEUE_NODE* node = QUEUE_GetFirst(session.m_packageList)) {
        QUEUE_DelHead(session.m_packageList);
        session.FreeRtpPktNode(reinterpret_cast<S_RTP_PKT*>(node));
    }
    QUEUE_Destroy(session.m_packageList);
    session.m_packageList = nullptr;
    sem_destroy(&session.m_semQueue);
}

// Each datagram is copied into its packet record so the receive buffer can be reused.
S_RTP_PKT* NewPacket(const unsigned char* data, size_t len, uint16_t seq) {
    S_RTP_PKT* pkt = static_cast<S_RTP_PKT*>(calloc(1, sizeof(S_RTP_PKT)));
    unsigned char* copy = static_cast<unsigned char*>(malloc(len));
    if (pkt == nullptr || copy == nullptr) {
        PlayerSdkLog("[RTPSession] ERROR: malloc failed ,not enough memory!\r\n");
        exit(0);
    }
    memcpy(copy, data, len);
    pkt->u1pData = copy;
    pkt->u2DataLen = static_cast<uint16_t>(len);
    pkt->u2Seq = seq;
    return pkt;
}
}  // namespace

CRTPSession::CRTPSession()
    : m_socket(-1),
      m_client_port(0),
      m_server_port(0),
      m_transport_protocal(TT_TCP),
      m_tcp_channel(0),
      m_payload_type(0),
      m_uSSRC(0),
      m_rtp_info{},
      m_semQueue{},
      m_packageList(nullptr) {}

CRTPSession::~CRTPSession() {
    ReleasePacketQueue(*this);
    playersdk::CloseSocket(m_socket);
}

int CRTPSession::InitRtpSession(char* server_addr, unsigned short client_port,
                                unsigned short server_port) {
    if (m_transport_protocal == TT_UDP) {
        m_client_port = client_port;
        m_server_port = server_port;
        playersdk::CloseSocket(m_socket);  // a second initialisation starts afresh
        m_socket = playersdk::OpenBoundUdpSocket(
            client_port, server_addr, "[InitRtpSession] InitRtpSession failed \r\n",
            "[InitRtpSession] local socket bind failed:m_socket=%d,m_client_port=%u,"
            "server_addr=%s\r\n");
        if (m_socket < 0) {
            return -1;
        }
    }
    init_seq(&m_rtcp_session.m_source, static_cast<unsigned short>(m_rtp_info.u2Rtpseq - 1));
    ReleasePacketQueue(*this);
    sem_init(&m_semQueue, 0, 0);
    m_packageList = QUEUE_Init();
    if (m_packageList == nullptr) {
        sem_destroy(&m_semQueue);
        return -1;
    }
    if (m_transport_protocal == TT_UDP) {
        return m_rtcp_session.InitRtcpSession(server_addr, client_port + 1, server_port + 1);
    }
    return 0;
}

long CRTPSession::Run(int) {
    if (m_packageList == nullptr) {
        return 0;
    }
    unsigned char datagram[kDatagramSize];
    for (;;) {
        ssize_t got =
            recvfrom(m_socket, datagram, sizeof(datagram), MSG_DONTWAIT, nullptr, nullptr);
        if (got < 1) {
            return 100;
        }
        playersdk::ByteReader header(datagram, static_cast<size_t>(got));
        uint16_t seq = 0;
        if (!header.skip(2) || !header.be16(seq)) {
            continue;  // too short to carry a sequence number
        }
        S_RTP_PKT* pkt = NewPacket(datagram, static_cast<size_t>(got), seq);
        if (sem_wait_timeout(&m_semQueue, kQueueWaitSeconds) != 0) {
            FreeRtpPktNode(pkt);
            return 0;
        }
        QUEUE_AddToTail(m_packageList, &pkt->next);
        sem_post(&m_semQueue);
        if (!update_seq(&m_rtcp_session.m_source, seq)) {
            PlayerSdkLog("[RTPSession] rtp :seq=%u \r\n", static_cast<unsigned>(seq));
        }
    }
}

int CRTPSession::HandleTCPData(unsigned char* data, int len, RTPInterleaveHeader*) {
    if (data != nullptr && len > 0 && data[0] == 0x80) {
        return 0;
    }
    PlayerSdkLog("[HandleTCPData] ERROR:invalid rtp header \r\n");
    return -1;
}

int CRTPSession::FreeRtpPktNode(S_RTP_PKT* node) {
    if (node != nullptr) {
        free(node->u1pData);
        free(node);
    }
    return 0;
}
