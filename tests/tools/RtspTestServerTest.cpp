#include "rtspserver/RtspTestServer.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <mutex>
#include <set>
#include <thread>

#include "TcpClient.h"
#include "rtspserver/LoopbackSocket.h"

using namespace playersdk::rtspserver;
using namespace playersdk::rtspserver::test;
using namespace std::string_literals;
using Clock = std::chrono::steady_clock;

namespace {
long ElapsedMs(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

const std::string kPlay =
    "PLAY rtsp://127.0.0.1/movie\0 RTSP/1.0\r\nCSeq: 3\r\n"
    "Scale: 2.000000\r\n\0\0\0\0\0\0\0\0\0\0"
    "Range: npt=now-x-prebuffer: maxtime=0.000000\r\nSession: 12345678\r\n"
    "User-Agent: zuplayer\r\n\r\n"s;

std::string AsText(const Bytes& b) {
    return std::string(b.begin(), b.end());
}
}  // namespace

TEST(RtspTestServer, DefaultSessionAnswersEveryStepAndRecordsTheExactBytes) {
    RtspTestServer server;
    ASSERT_TRUE(server.Start());
    ASSERT_NE(server.port(), 0);
    TcpClient client(server.port());
    ASSERT_TRUE(client.connected());

    ASSERT_TRUE(client.Send(Describe(1)));
    const std::string sdp = BuildH264Sdp();
    EXPECT_EQ(client.ReadReply(),
              "RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Type: application/sdp\r\n"
              "Content-Length: " +
                  std::to_string(sdp.size()) + "\r\n\r\n" + sdp);
    EXPECT_NE(sdp.find("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\n"), std::string::npos);
    EXPECT_NE(sdp.find("sprop-parameter-sets="), std::string::npos);

    ASSERT_TRUE(client.Send(SetupRequest(2, "RTP/AVP/TCP;unicast;interleaved=0-1")));
    const std::string port = std::to_string(server.udp().port());
    EXPECT_EQ(client.ReadReply(),
              "RTSP/1.0 200 OK\r\nCSeq: 2\r\nSession: 12345678;timeout=60\r\n"
              "Transport: RTP/AVP/TCP;unicast;interleaved=0-1;server_port=" +
                  port + "-" + std::to_string(server.udp().port() + 1) + ";ssrc=1A2B3C4D\r\n\r\n");

    // The PLAY comes in two writes, the cut inside its NUL gap.
    ASSERT_TRUE(client.Send(kPlay.substr(0, 60)));
    ASSERT_TRUE(client.Send(kPlay.substr(60)));
    EXPECT_EQ(client.ReadReply(),
              "RTSP/1.0 200 OK\r\nCSeq: 3\r\nSession: 12345678;timeout=60\r\n\r\n");

    const ServerRecords& records = server.records();
    ASSERT_TRUE(records.WaitForMethod("PLAY"));
    EXPECT_EQ(records.rawBytes(0),
              Describe(1) + SetupRequest(2, "RTP/AVP/TCP;unicast;interleaved=0-1") + kPlay);
    std::vector<ReceivedMessage> plays = records.requests("PLAY", 0);
    ASSERT_EQ(plays.size(), 1u);
    EXPECT_EQ(plays[0].raw, kPlay);
    EXPECT_EQ(plays[0].header("Range"), "npt=now-");
    EXPECT_EQ(plays[0].header("x-prebuffer"), "maxtime=0.000000");
    EXPECT_EQ(records.messages().size(), 3u);
}

TEST(RtspTestServer, ScriptSetsStatusPerOccurrenceReasonHeadersAndBody) {
    RtspTestServer server;
    server.script().SetFor("DESCRIBE", 1, ScriptedReply::Status(404));
    ScriptedReply parameters = ScriptedReply::Status(454, "Session Gone");
    parameters.headers = {"x-Extra: 1"};
    parameters.body = "abc";
    server.script().Set("GET_PARAMETER", parameters);
    ASSERT_TRUE(server.Start());
    TcpClient client(server.port());

    ASSERT_TRUE(client.Send(Describe(1)));
    EXPECT_EQ(client.ReadReply(), "RTSP/1.0 404 Not Found\r\nCSeq: 1\r\n\r\n");
    ASSERT_TRUE(client.Send(Describe(2)));
    EXPECT_EQ(client.ReadReply().rfind("RTSP/1.0 200 OK\r\nCSeq: 2\r\n", 0), 0u);
    ASSERT_TRUE(client.Send(Request("GET_PARAMETER", 3)));
    EXPECT_EQ(client.ReadReply(),
              "RTSP/1.0 454 Session Gone\r\nCSeq: 3\r\nSession: 12345678;timeout=60\r\n"
              "x-Extra: 1\r\nContent-Length: 3\r\n\r\nabc");
}

TEST(RtspTestServer, ScriptCanStaySilentDelayAndSplitAReplyOrCloseInstead) {
    RtspTestServer server;
    server.script().Set("PLAY", ScriptedReply::Silence());
    ScriptedReply pause;
    pause.delay = std::chrono::milliseconds(100);
    pause.splitAt = {9};
    pause.piecePause = std::chrono::milliseconds(120);
    server.script().Set("PAUSE", pause);
    server.script().Set("TEARDOWN", ScriptedReply::CloseConnection());
    ASSERT_TRUE(server.Start());
    TcpClient client(server.port());

    ASSERT_TRUE(client.Send(Request("PLAY", 1)));
    EXPECT_EQ(client.ReadSome(150), "");

    const auto start = Clock::now();
    ASSERT_TRUE(client.Send(Request("PAUSE", 2)));
    EXPECT_EQ(client.ReadSome(), "RTSP/1.0 ");
    EXPECT_GE(ElapsedMs(start), 95);
    EXPECT_EQ(client.ReadReply(), "200 OK\r\nCSeq: 2\r\nSession: 12345678;timeout=60\r\n\r\n");

    ASSERT_TRUE(client.Send(Request("TEARDOWN", 3)));
    EXPECT_TRUE(client.ReadsEndOfStream());
    auto connection = server.connection(0);
    ASSERT_NE(connection, nullptr);
    EXPECT_FALSE(connection->isOpen());
    EXPECT_FALSE(server.records().closedByClient(0));
    client.Close();
    EXPECT_TRUE(server.records().WaitForClientClose(0));
}

TEST(RtspTestServer, PushedFramesAndServerRequestsArriveByteExact) {
    RtspTestServer server;
    ASSERT_TRUE(server.Start());
    TcpClient client(server.port());
    ASSERT_TRUE(client.Send(Describe(1)));
    client.ReadReply();
    auto connection = server.WaitForConnection(0);
    ASSERT_NE(connection, nullptr);

    RtpHeaderFields header;
    header.sequence = 7;
    const Bytes rtp = BuildRtpPacket(header, Bytes(1388, 0x41));
    ASSERT_TRUE(connection->SendInterleaved(0, rtp, {1, 3, 700}));
    EXPECT_EQ(client.ReadExactly(1404), AsText(BuildInterleavedFrame(0, rtp)));

    ASSERT_TRUE(connection->Send(BuildInterleavedFrame(0, 1500, Bytes{1, 2})));
    EXPECT_EQ(client.ReadExactly(6), "$\x00\x05\xDC\x01\x02"s);
    ASSERT_TRUE(connection->SendRtcpBye(0x01020304));
    EXPECT_EQ(client.ReadExactly(12), "$\x01\x00\x08\x81\xCB\x00\x01\x01\x02\x03\x04"s);

    const std::string url = "rtsp://127.0.0.1/movie";
    ASSERT_TRUE(connection->SendAnnounce("2102"));
    EXPECT_EQ(client.ReadReply(), "ANNOUNCE " + url +
                                      " RTSP/1.0\r\nCSeq: 1\r\nSession: 12345678\r\n"
                                      "x-Notice: 2102\r\n\r\n");
    ASSERT_TRUE(connection->SendSetParameter("EOS"));
    EXPECT_EQ(client.ReadReply(),
              "SET_PARAMETER " + url +
                  " RTSP/1.0\r\nCSeq: 2\r\nSession: 12345678\r\n"
                  "Content-Type: text/parameters\r\nContent-Length: 3\r\n\r\nEOS");

    // The client's answer and its receiver report come back as a message and a frame.
    ASSERT_TRUE(
        client.Send("RTSP/1.0 200 ok\r\nCSeq: 2\r\nSession: 12345678\r\n\r\n"
                    "$\x01\x00\x02\xAB\xCD"s));
    ASSERT_TRUE(server.records().WaitForFrames(1));
    EXPECT_EQ(server.records().frames()[0].payload, (Bytes{0xAB, 0xCD}));
    EXPECT_TRUE(server.records().messages().back().isReply());
}

TEST(RtspTestServer, ThirtyTwoClientsAtOnceEachGetTheirOwnSession) {
    RtspTestServer server;
    ASSERT_TRUE(server.Start());
    constexpr size_t kClients = 32;
    std::vector<std::string> replies(kClients);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < kClients; ++i) {
        threads.emplace_back([&, i] {
            TcpClient client(server.port());
            if (client.Send(SetupRequest(1, "RTP/AVP/TCP;unicast;interleaved=0-1"))) {
                replies[i] = client.ReadReply();
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    std::set<std::string> sessions;
    for (const std::string& reply : replies) {
        size_t at = reply.find("Session: ");
        ASSERT_NE(at, std::string::npos) << reply;
        sessions.insert(reply.substr(at, reply.find(';', at) - at));
    }
    EXPECT_EQ(sessions.size(), kClients);
    EXPECT_EQ(server.records().connectionCount(), kClients);
    EXPECT_EQ(server.records().requests("SETUP").size(), kClients);
    for (size_t i = 0; i < kClients; ++i) {
        EXPECT_EQ(server.records().messages(i).size(), 1u);
    }
}

TEST(RtspTestServer, StopWithAConnectedClientReturnsPromptlyAndClosesIt) {
    RtspTestServer server;
    ScriptedReply late;
    late.delay = std::chrono::seconds(30);
    server.script().Set("PLAY", late);
    ASSERT_TRUE(server.Start());
    TcpClient client(server.port());
    ASSERT_TRUE(client.Send(Request("PLAY", 1)));
    ASSERT_TRUE(server.records().WaitForMethod("PLAY"));
    auto connection = server.connection(0);

    const auto start = Clock::now();
    server.Stop();
    EXPECT_LT(ElapsedMs(start), 500);
    EXPECT_TRUE(client.ReadsEndOfStream());
    EXPECT_FALSE(connection->SendOptions());
    EXPECT_EQ(server.records().requests("PLAY").size(), 1u);
    EXPECT_FALSE(server.records().closedByClient(0));
}

TEST(RtspTestServer, UdpSenderStreamsToTheClientPortOfferedInSetup) {
    uint16_t clientPort = 0;
    int udp = BindLoopback(SOCK_DGRAM, 0, clientPort);
    ASSERT_GE(udp, 0);

    RtspTestServer server;
    ASSERT_TRUE(server.Start());
    TcpClient client(server.port());
    const std::string transport = "RTP/AVP;unicast;client_port=" + std::to_string(clientPort) +
                                  "-" + std::to_string(clientPort + 1);
    ASSERT_TRUE(client.Send(SetupRequest(1, transport)));
    EXPECT_NE(
        client.ReadReply().find(transport + ";server_port=" + std::to_string(server.udp().port())),
        std::string::npos);
    auto connection = server.connection(0);
    ASSERT_EQ(connection->clientRtpPort(), clientPort);

    const Bytes rtp = BuildRtpPacket({}, Bytes{1, 2, 3});
    ASSERT_TRUE(server.udp().SendTo(connection->clientRtpPort(), rtp));
    pollfd p{udp, POLLIN, 0};
    ASSERT_EQ(poll(&p, 1, 3000), 1);
    uint8_t buf[64];
    ssize_t n = recv(udp, buf, sizeof(buf), 0);
    EXPECT_EQ(Bytes(buf, buf + std::max<ssize_t>(n, 0)), rtp);
    close(udp);
}

TEST(RtspTestServer, AnsweredHookRunsOnceTheReplyIsOutSoWhatItSendsFollowsTheReply) {
    RtspTestServer server;
    server.script().Set("PAUSE", ScriptedReply::Silence());
    std::mutex mutex;
    std::vector<std::string> answered;
    server.SetAnsweredHook([&](size_t index, const ReceivedMessage& request, int status) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            answered.push_back(request.method + " " + std::to_string(status));
        }
        if (request.method == "PLAY") {
            server.connection(index)->SendInterleaved(0, Bytes{7});
        }
    });
    ASSERT_TRUE(server.Start());
    TcpClient client(server.port());

    ASSERT_TRUE(client.Send(Request("PAUSE", 1) + Request("PLAY", 2)));
    EXPECT_EQ(client.ReadReply(),
              "RTSP/1.0 200 OK\r\nCSeq: 2\r\nSession: 12345678;timeout=60\r\n\r\n");
    EXPECT_EQ(client.ReadExactly(5), "$\x00\x00\x01\x07"s);
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(answered, std::vector<std::string>{"PLAY 200"})
        << "a silenced request is not answered";
}
