#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/ByteCursor.h"
#include "net/RTPSession.h"
#include "net/Sockets.h"
#include "support/Loopback.h"

using playersdk::ByteWriter;
using playersdk::test::FreeUdpPortPair;
using playersdk::test::LogCapture;
using playersdk::test::ReadAvailable;
using playersdk::test::UdpEndpoint;
using playersdk::test::WaitReadable;

namespace {
char kLoopback[] = "127.0.0.1";

std::string RtpPacket(uint16_t seq, const std::string& payload) {
    unsigned char header[12];
    ByteWriter(header, sizeof(header)).be16(0x8060).be16(seq).be32(3600).be32(0xCAFE);
    return std::string(reinterpret_cast<char*>(header), sizeof(header)) + payload;
}

// A sender report whose RTCP length field says `words`; the datagram holds `bytes` of it.
std::string SenderReport(uint32_t ntpSeconds, uint32_t ntpFraction, uint32_t rtpTime,
                         uint16_t words = 6, size_t bytes = 28) {
    unsigned char sr[28];
    ByteWriter(sr, sizeof(sr))
        .be16(0x80C8)
        .be16(words)
        .be32(0xCAFE)
        .be32(ntpSeconds)
        .be32(ntpFraction)
        .be32(rtpTime)
        .be32(10)
        .be32(1000);
    return std::string(reinterpret_cast<char*>(sr), bytes);
}

S_RTP_PKT* First(CRTPSession& s) {
    return reinterpret_cast<S_RTP_PKT*>(QUEUE_GetFirst(s.m_packageList));
}
}  // namespace

TEST(RtpSession, UdpSessionBindsBothPortsAndDrainsDatagramsOnceTheConsumerOpensTheQueue) {
    const uint16_t port = FreeUdpPortPair();
    CRTPSession session;
    session.m_transport_protocal = 2;
    session.m_rtp_info.u2Rtpseq = 1000;
    ASSERT_EQ(session.InitRtpSession(kLoopback, port, 7000), 0);
    EXPECT_GT(session.m_socket, 0);
    EXPECT_GT(session.m_rtcp_session.m_socket, 0);
    EXPECT_EQ(session.m_rtcp_session.m_client_port, port + 1);
    EXPECT_EQ(session.m_rtcp_session.m_server_port, 7001);
    EXPECT_STREQ(session.m_rtcp_session.m_rtsp_server_addr, kLoopback);

    UdpEndpoint server;
    server.SendTo(port, RtpPacket(1000, "first"));
    server.SendTo(port, RtpPacket(1001, "second"));
    server.SendTo(port, "\x80");  // too short to carry a sequence number
    server.SendTo(port, RtpPacket(1002, "third"));
    ASSERT_TRUE(WaitReadable(session.m_socket, 1000));

    sem_post(&session.m_semQueue);  // the consumer opens the queue
    EXPECT_EQ(session.Run(0), 100);
    ASSERT_EQ(session.m_packageList->m_Count, 3u);
    S_RTP_PKT* pkt = First(session);
    EXPECT_EQ(pkt->u2Seq, 1000);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(pkt->u1pData), pkt->u2DataLen),
              RtpPacket(1000, "first"));
    EXPECT_EQ(session.m_rtcp_session.m_source.max_seq, 1002);
    EXPECT_EQ(session.m_rtcp_session.m_source.received, 3u);

    // The consumer takes one; the destructor frees the rest with their data.
    ASSERT_EQ(sem_trywait(&session.m_semQueue), 0);
    QUEUE_DelHead(session.m_packageList);
    sem_post(&session.m_semQueue);
    EXPECT_EQ(session.FreeRtpPktNode(pkt), 0);
    EXPECT_EQ(First(session)->u2Seq, 1001);
    EXPECT_EQ(session.Run(0), 100);                           // nothing more waiting
    playersdk::CloseSocket(session.m_rtcp_session.m_socket);  // not closed by any destructor
}

TEST(RtpSession, TakenPortFailsWithItsLogLineAndTcpSessionOpensNoSocket) {
    UdpEndpoint taken;
    CRTPSession udp;
    udp.m_transport_protocal = 2;
    {
        LogCapture log;
        EXPECT_EQ(udp.InitRtpSession(kLoopback, taken.port, 7000), -1);
        EXPECT_EQ(udp.m_socket, -1);
        const std::string want =
            "m_client_port=" + std::to_string(taken.port) + ",server_addr=127.0.0.1\r\n";
        EXPECT_NE(log.text().find("[InitRtpSession] local socket bind failed:m_socket="),
                  std::string::npos);
        EXPECT_NE(log.text().find(want), std::string::npos) << log.text();
    }

    CRTPSession tcp;  // transport 1 after construction
    tcp.m_rtp_info.u2Rtpseq = 500;
    EXPECT_EQ(tcp.InitRtpSession(kLoopback, 0, 0), 0);
    EXPECT_EQ(tcp.m_socket, -1);
    EXPECT_EQ(tcp.m_rtcp_session.m_socket, -1);
    EXPECT_NE(tcp.m_packageList, nullptr);
    EXPECT_EQ(tcp.m_rtcp_session.m_source.max_seq, 499);

    unsigned char rtp[] = {0x80, 0x60};
    unsigned char withExtension[] = {0x90, 0x60};
    EXPECT_EQ(tcp.HandleTCPData(rtp, 2, nullptr), 0);
    EXPECT_EQ(tcp.HandleTCPData(withExtension, 2, nullptr), -1);
    EXPECT_EQ(tcp.HandleTCPData(rtp, 0, nullptr), -1);
}

TEST(RtcpSession, ReceiverReportIsThe32FixedBytes) {
    CRTCPSession rtcp;
    rtcp.m_uSSRC = 0x11223344;
    rtcp.m_source.max_seq = 0xBEEF;
    rtcp.m_source.cycles = 65536;  // not part of the report
    unsigned char buf[40];
    memset(buf, 0xAA, sizeof(buf));
    int len = 0;
    EXPECT_EQ(rtcp.GenRtcpRR(reinterpret_cast<char*>(buf), &len), 0);
    ASSERT_EQ(len, 32);
    const unsigned char want[32] = {0x81, 0xC9, 0x00, 0x07, 0, 0, 0, 0,    0x11, 0x22, 0x33,
                                    0x44, 0,    0,    0,    0, 0, 0, 0xBE, 0xEF, 0x00, 0x00,
                                    0x18, 0xB3, 0,    0,    0, 0, 0, 0,    0,    0};
    EXPECT_EQ(memcmp(buf, want, 32), 0);
    EXPECT_EQ(buf[32], 0xAA);
}

TEST(RtcpSession, FirstSenderReportSetsTheTimeBaseAndLaterOnesDoNot) {
    CRTCPSession rtcp;
    std::string truncated = SenderReport(1, 1, 1, 2, 12);
    rtcp.ParseRtcpSR(reinterpret_cast<unsigned char*>(truncated.data()), 2);
    EXPECT_EQ(rtcp.m_base_ntp_time, -1.0);

    // 2024-01-01 00:00:00 UTC and a half second.
    std::string first = SenderReport(3913056000u, 0x80000000u, 123456);
    EXPECT_EQ(rtcp.ParseRtcpSR(reinterpret_cast<unsigned char*>(first.data()), 6), 0);
    EXPECT_DOUBLE_EQ(rtcp.m_base_ntp_time, 1704067200.5);
    EXPECT_EQ(rtcp.m_base_rtp_timestamp, 123456.0);

    std::string second = SenderReport(3913056100u, 0, 999);
    rtcp.ParseRtcpSR(reinterpret_cast<unsigned char*>(second.data()), 6);
    EXPECT_DOUBLE_EQ(rtcp.m_base_ntp_time, 1704067200.5);
    EXPECT_EQ(rtcp.m_base_rtp_timestamp, 123456.0);
}

TEST(RtcpSession, RunSendsAReportWhenDueAndReadsSenderReports) {
    UdpEndpoint server;
    const uint16_t port = FreeUdpPortPair();
    CRTCPSession rtcp;
    rtcp.m_uSSRC = 0xCAFE;
    ASSERT_EQ(rtcp.InitRtcpSession(kLoopback, port, server.port), 0);

    // A report that claims more words than the datagram holds is not read.
    server.SendTo(port, SenderReport(3913056000u, 0, 1, 6, 20));
    server.SendTo(port, SenderReport(3913056001u, 0, 7));
    ASSERT_TRUE(WaitReadable(rtcp.m_socket, 1000));
    EXPECT_EQ(rtcp.Run(0), 500);
    char want[32];
    int len = 0;
    rtcp.GenRtcpRR(want, &len);
    EXPECT_EQ(ReadAvailable(server.fd), std::string(want, 32));
    EXPECT_DOUBLE_EQ(rtcp.m_base_ntp_time, 1704067201.0);
    EXPECT_EQ(rtcp.m_base_rtp_timestamp, 7.0);

    EXPECT_EQ(rtcp.Run(0), 500);
    EXPECT_EQ(ReadAvailable(server.fd, 50), "");  // the next report is 3 s away
    rtcp.m_last_report_time -= rtcp.m_rev_report_interval;
    rtcp.Run(0);
    EXPECT_EQ(ReadAvailable(server.fd).size(), 32u);
    playersdk::CloseSocket(rtcp.m_socket);
}
