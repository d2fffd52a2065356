#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstring>
#include <string>

#include "base/ByteCursor.h"
#include "net/RTPSession.h"
#include "net/Sockets.h"
#include "support/Loopback.h"

using playersdk::ByteWriter;
using namespace playersdk::test;

namespace {
char kLoopback[] = "127.0.0.1";

std::string Bytes(const unsigned char* p, size_t n) {
    return std::string(reinterpret_cast<const char*>(p), n);
}

std::string RtpPacket(uint16_t seq, const std::string& payload) {
    unsigned char header[12];
    ByteWriter(header, sizeof(header)).be16(0x8060).be16(seq).be32(3600).be32(0xCAFE);
    return Bytes(header, sizeof(header)) + payload;
}

// A sender report (length field 6, 28 bytes), of which the datagram holds `bytes`.
std::string SenderReport(uint32_t ntpSeconds, uint32_t ntpFraction, uint32_t rtpTime,
                         size_t bytes = 28) {
    unsigned char sr[28];
    ByteWriter(sr, sizeof(sr)).be32(0x80C80006).be32(0xCAFE).be32(ntpSeconds).be32(ntpFraction);
    ByteWriter(sr + 16, 12).be32(rtpTime).be32(10).be32(1000);
    return Bytes(sr, bytes);
}

}  // namespace

TEST(RtpSession, BindsItsPortsAndDrainsDatagramsOnceTheConsumerOpensTheQueue) {
    const uint16_t port = FreeUdpPortPair();
    CRTPSession session;
    session.m_transport_protocal = 2;
    session.m_rtp_info.u2Rtpseq = 1000;
    ASSERT_EQ(session.InitRtpSession(kLoopback, port, 7000), 0);
    EXPECT_EQ(session.m_rtcp_session.m_client_port, port + 1);
    EXPECT_EQ(session.m_rtcp_session.m_server_port, 7001);

    LoopbackSocket server(SOCK_DGRAM);
    server.SendTo(port, RtpPacket(1000, "first"));
    server.SendTo(port, "\x80");  // too short to carry a sequence number
    server.SendTo(port, RtpPacket(1001, "second"));
    ASSERT_TRUE(WaitReadable(session.m_socket, 1000));
    sem_post(&session.m_semQueue);  // the consumer opens the queue
    EXPECT_EQ(session.Run(0), 100);
    ASSERT_EQ(session.m_packageList->m_Count, 2u);
    auto* pkt = reinterpret_cast<S_RTP_PKT*>(QUEUE_GetFirst(session.m_packageList));
    EXPECT_EQ(pkt->u2Seq, 1000);
    EXPECT_EQ(Bytes(pkt->u1pData, pkt->u2DataLen), RtpPacket(1000, "first"));
    EXPECT_EQ(session.m_rtcp_session.m_source.max_seq, 1001);
    EXPECT_EQ(session.m_rtcp_session.m_source.received, 2u);
    // The queue is left to the destructor, which frees packets and data.
    playersdk::CloseSocket(session.m_rtcp_session.m_socket);  // no destructor closes it
}

TEST(RtcpSession, ReceiverReportIsThe32FixedBytes) {
    CRTCPSession rtcp;
    rtcp.m_uSSRC = 0x11223344;
    rtcp.m_source.max_seq = 0xBEEF;
    rtcp.m_source.cycles = 65536;  // not reported
    unsigned char buf[32];
    int len = 0;
    EXPECT_EQ(rtcp.GenRtcpRR(reinterpret_cast<char*>(buf), &len), 0);
    const unsigned char want[32] = {0x81, 0xC9, 0, 7, 0, 0, 0, 0,    0x11, 0x22, 0x33,
                                    0x44, 0,    0, 0, 0, 0, 0, 0xBE, 0xEF, 0,    0,
                                    0x18, 0xB3, 0, 0, 0, 0, 0, 0,    0,    0};
    EXPECT_EQ(Bytes(buf, len), Bytes(want, 32));
}

TEST(RtcpSession, RunReportsWhenDueAndOnlyTheFirstWholeSenderReportSetsTheTimeBase) {
    LoopbackSocket server(SOCK_DGRAM);
    const uint16_t port = FreeUdpPortPair();
    CRTCPSession rtcp;
    ASSERT_EQ(rtcp.InitRtcpSession(kLoopback, port, server.port), 0);
    server.SendTo(port, SenderReport(3913056000u, 0, 1, 20));  // shorter than its length field
    // 2024-01-01 00:00:01 UTC and a half second.
    server.SendTo(port, SenderReport(3913056001u, 0x80000000u, 7));
    ASSERT_TRUE(WaitReadable(rtcp.m_socket, 1000));
    EXPECT_EQ(rtcp.Run(0), 500);
    char want[32];
    int len = 0;
    rtcp.GenRtcpRR(want, &len);
    EXPECT_EQ(ReadAvailable(server.fd), std::string(want, 32));
    EXPECT_DOUBLE_EQ(rtcp.m_base_ntp_time, 1704067201.5);
    EXPECT_EQ(rtcp.m_base_rtp_timestamp, 7.0);

    server.SendTo(port, SenderReport(3913056100u, 0, 999));
    ASSERT_TRUE(WaitReadable(rtcp.m_socket, 1000));
    rtcp.Run(0);
    EXPECT_FALSE(WaitReadable(rtcp.m_socket, 0));  // read, and left the time base alone
    EXPECT_EQ(rtcp.m_base_rtp_timestamp, 7.0);
    EXPECT_EQ(ReadAvailable(server.fd, 50), "");  // the next report is 3 s away
    rtcp.m_last_report_time -= rtcp.m_rev_report_interval;
    rtcp.Run(0);
    EXPECT_EQ(ReadAvailable(server.fd).size(), 32u);
    playersdk::CloseSocket(rtcp.m_socket);
}
