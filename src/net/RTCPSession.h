// The RTCP half of a standalone RTP session: sends a fixed receiver report every few seconds
// and takes the wall-clock base from the first sender report it hears.
#pragma once

#include <cstdint>

#include "net/RtpSource.h"

class CRTCPSession {
public:
    CRTCPSession();
    virtual ~CRTCPSession();
    CRTCPSession(const CRTCPSession&) = delete;
    CRTCPSession& operator=(const CRTCPSession&) = delete;

    // Binds a non-blocking UDP socket to client_port and remembers where reports go.
    // 0, or -1 with the socket at -1.
    int InitRtcpSession(char* server_addr, unsigned short client_port, unsigned short server_port);
    // Writes the 32-byte receiver report into buf (which must hold 32 bytes) and sets *len.
    int GenRtcpRR(char* buf, int* len);
    // Sends a report when one is due, then reads every waiting datagram. Returns 500.
    long Run(int);
    // pkt is one sender report and len its RTCP length field: the packet spans (len + 1) * 4
    // bytes. Only the first report sets the time base.
    int ParseRtcpSR(unsigned char* pkt, int len);
    // Sets m_base_ntp_time from an NTP time stamp: Unix seconds, microsecond resolution.
    int GetRtcpNtpTime(double ntp_sec, double ntp_frac);

    source m_source;
    int m_socket;
    uint16_t m_client_port;
    uint16_t m_server_port;
    char m_rtsp_server_addr[128];
    int16_t m_transport_protocal;
    int16_t m_payload_type;
    uint32_t m_uSSRC;
    unsigned long m_rev_report_interval;  // ms
    unsigned long m_last_report_time;     // ms of the wall clock
    bool m_rtcp_time_is_using;
    double m_base_rtp_timestamp;
    double m_base_ntp_time;
    long m_rtp_pkt_num;
};
