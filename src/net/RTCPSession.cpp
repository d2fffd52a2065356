#include "net/RTCPSession.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cmath>
#include <cstring>

#include "base/BoundedCopy.h"
#include "base/ByteCursor.h"
#include "base/OsHelpers.h"
#include "media/RtpConstants.h"
#include "net/Sockets.h"

namespace {
constexpr int kReceiverReportSize = 32;
// Seconds from the NTP epoch (1900) to the Unix epoch (1970).
constexpr double kNtpToUnixSeconds = 2208988800.0;
}  // namespace

CRTCPSession::CRTCPSession()
    : m_source{},
      m_socket(-1),
      m_client_port(0),
      m_server_port(0),
      m_rtsp_server_addr{},
      m_transport_protocal(0),
      m_payload_type(0),
      m_uSSRC(0),
      m_rev_report_interval(3000),
      m_last_report_time(0),
      m_rtcp_time_is_using(false),
      m_base_rtp_timestamp(-1.0),
      m_base_ntp_time(-1.0),
      m_rtp_pkt_num(0) {}

// The socket is left open: whoever owns the session closes it (as the RTP half does not).
CRTCPSession::~CRTCPSession() = default;

int CRTCPSession::InitRtcpSession(char* server_addr, unsigned short client_port,
                                  unsigned short server_port) {
    playersdk::copy_bounded(m_rtsp_server_addr, server_addr);
    m_client_port = client_port;
    m_server_port = server_port;
    m_socket = playersdk::OpenBoundUdpSocket(
        client_port, server_addr, "[InitRtcpSession] InitRtpSession failed \r\n",
        "[InitRtcpSession] local socket bind "
        "failed:m_socket=%d,m_client_port=%u,server_addr=%s\r\n");
    return m_socket < 0 ? -1 : 0;
}

int CRTCPSession::GenRtcpRR(char* buf, int* len) {
    playersdk::ByteWriter out(buf, buf ? kReceiverReportSize : 0);
    out.u8(playersdk::kRtcpVersionOneBlock)
        .u8(playersdk::kRtcpReceiverReport)
        .be16(playersdk::kRtcpOneBlockLength)
        .be32(0)                 // our own SSRC
        .be32(m_uSSRC)           // the sender reported on
        .be32(0)                 // fraction and cumulative number lost
        .be32(m_source.max_seq)  // highest sequence number, without the wrap count
        .be32(playersdk::kRtcpFixedJitter)
        .be32(0)   // last SR
        .be32(0);  // delay since last SR
    if (len != nullptr) {
        *len = out.ok() ? kReceiverReportSize : 0;
    }
    return 0;
}

long CRTCPSession::Run(int) {
    const uint64_t now = Milliseconds();
    if (m_last_report_time + m_rev_report_interval <= now) {
        char report[kReceiverReportSize];
        int len = 0;
        GenRtcpRR(report, &len);
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = inet_addr(m_rtsp_server_addr);
        to.sin_port = htons(m_server_port);
        sendto(m_socket, report, len, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&to), sizeof(to));
        m_last_report_time = now;
    }

    unsigned char pkt[1024];
    for (;;) {
        ssize_t got = recvfrom(m_socket, pkt, sizeof(pkt), MSG_DONTWAIT, nullptr, nullptr);
        if (got < 1) {
            break;
        }
        playersdk::ByteReader header(pkt, static_cast<size_t>(got));
        uint8_t type = 0;
        uint16_t words = 0;
        if (!header.skip(1) || !header.u8(type) || !header.be16(words)) {
            continue;
        }
        // A report whose length field claims more than the datagram holds is not read.
        if (type == playersdk::kRtcpSenderReport && (words + 1u) * 4u <= static_cast<size_t>(got)) {
            ParseRtcpSR(pkt, words);
        }
    }
    return 500;
}

int CRTCPSession::ParseRtcpSR(unsigned char* pkt, int len) {
    if (pkt == nullptr || len < 0) {
        return 0;
    }
    playersdk::ByteReader in(pkt, (static_cast<size_t>(len) + 1) * 4);
    uint32_t ntpSeconds = 0;
    uint32_t ntpFraction = 0;
    uint32_t rtpTimestamp = 0;
    if (!in.skip(8) || !in.be32(ntpSeconds) || !in.be32(ntpFraction) || !in.be32(rtpTimestamp)) {
        return 0;
    }
    if (m_base_ntp_time == -1.0) {
        m_base_rtp_timestamp = rtpTimestamp;
        GetRtcpNtpTime(ntpSeconds, ntpFraction);
    }
    return 0;
}

int CRTCPSession::GetRtcpNtpTime(double ntp_sec, double ntp_frac) {
    // fraction / 2^32 seconds, in whole microseconds: fraction * 10^6 / 2^32 = * 15625 / 2^26.
    const double micros = std::round(ntp_frac * 15625.0 / 67108864.0);
    m_base_ntp_time = (ntp_sec - kNtpToUnixSeconds) + micros / 1000000.0;
    PlayerSdkLog("[GetRtcpNtpTime] GetRtcpNtpTime :m_base_ntp_time=%f,rtp_timestamp=%f\r\n",
                 m_base_ntp_time, m_base_rtp_timestamp);
    return 0;
}
