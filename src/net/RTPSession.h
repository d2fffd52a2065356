// A self-contained UDP RTP receiver with its RTCP companion: binds a client port, drains
// datagrams into a FIFO of packets and validates their sequence numbers.
//
// The queue is shared with a consumer through m_semQueue, which serves as its lock and starts
// at 0: the consumer opens it by posting once, and afterwards takes it around every access
// (take, QUEUE_GetFirst / QUEUE_DelHead, post) and frees each packet with FreeRtpPktNode.
#pragma once

#include <cstdint>

#include "base/Types.h"
#include "net/Queue.h"
#include "net/RTCPSession.h"

// One received datagram; `next` must stay the first member (the queue links through it).
struct S_RTP_PKT {
    QUEUE_NODE next;
    unsigned char* u1pData;  // malloc'ed copy of the datagram
    uint16_t u2DataLen;
    uint16_t u2Seq;         // RTP sequence number, host order
    int64_t s8ArrivedTime;  // not filled
};

struct S_RtpInfo {
    int s4TrackId;
    uint32_t u4Rtptime;
    uint16_t u2Rtpseq;  // first sequence number announced by the server
    uint16_t u2Reserv;
};

struct RTPInterleaveHeader {
    uint8_t u1magic;
    uint8_t u1channel;
    uint16_t u2len;
};

class CRTPSession {
public:
    CRTPSession();
    virtual ~CRTPSession();
    CRTPSession(const CRTPSession&) = delete;
    CRTPSession& operator=(const CRTPSession&) = delete;

    // For UDP (m_transport_protocal TT_UDP) binds client_port and starts the RTCP half on the next
    // ports; for any transport starts the sequence state, the semaphore and the queue.
    // 0 or -1.
    int InitRtpSession(char* server_addr, unsigned short client_port, unsigned short server_port);
    // Moves every waiting datagram into the queue. 100 when the socket is drained, 0 when the
    // queue could not be taken.
    long Run(int);
    // 0 for a plain RTP version 2 header (no padding, extension or CSRC), else -1.
    int HandleTCPData(unsigned char* data, int len, RTPInterleaveHeader* header);
    // Frees a packet and its data; a null packet is ignored. Returns 0.
    int FreeRtpPktNode(S_RTP_PKT* node);

    CRTCPSession m_rtcp_session;
    int m_socket;
    uint16_t m_client_port;
    uint16_t m_server_port;
    int16_t m_transport_protocal;  // an eTransType: TT_TCP or TT_UDP
    int m_tcp_channel;
    int16_t m_payload_type;
    uint32_t m_uSSRC;
    S_RtpInfo m_rtp_info;
    SEM_T m_semQueue;
    QUEUE* m_packageList;
};
