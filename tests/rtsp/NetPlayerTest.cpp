#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "rtsp/NetPlayer.h"
#include "support/Loopback.h"

using namespace playersdk::test;

namespace {
char kLoopback[] = "127.0.0.1";

// The type is chosen before connecting, so the refused connection does not matter.
eStreamingType StreamingTypeOf(std::string movie) {
    CNetPlayer player;
    player.InitNetPlay(kLoopback, movie.data(), ClosedTcpPort(), 1);
    return player.m_streaming_type;
}

bool PeerClosed(int fd) {
    char byte;
    return WaitReadable(fd, 1000) && recv(fd, &byte, 1, MSG_DONTWAIT) == 0;
}
}  // namespace

TEST(NetPlayer, TransportStreamIsChosenByTheMovieNameEnding) {
    LogCapture log;
    EXPECT_EQ(StreamingTypeOf("record/cam1.ts"), eTS);
    EXPECT_EQ(StreamingTypeOf("a.mpg"), eTS);
    EXPECT_EQ(StreamingTypeOf("ts"), eISMA);
    EXPECT_EQ(StreamingTypeOf(".ts"), eISMA);
    EXPECT_EQ(StreamingTypeOf("x.TS"), eISMA);
    EXPECT_NE(log.text().find("[InitNetPlay] transport streaming \r\n"), std::string::npos);
}

TEST(NetPlayer, ConnectsToANumericAddressAndASecondConnectClosesTheFirst) {
    LoopbackSocket server(SOCK_STREAM);
    auto player = std::make_unique<CNetPlayer>();
    char movie[] = "live/ch1";
    ASSERT_EQ(player->InitNetPlay(kLoopback, movie, server.port, 2), 0);
    EXPECT_GT(player->m_rtsp_socket, 0);
    EXPECT_EQ(player->m_rtp_session[0].m_transport_protocal +
                  player->m_rtp_session[1].m_transport_protocal,
              4);
    const int first = server.Accept();
    ASSERT_EQ(player->InitRtspSocket(), 0);
    const int second = server.Accept();
    EXPECT_TRUE(PeerClosed(first));
    player.reset();  // the destructor closes the connection
    EXPECT_TRUE(PeerClosed(second));
    close(first);
    close(second);
}

TEST(NetPlayer, HostNamesFailSilentlyAndClosedPortsWithALogLine) {
    LogCapture log;
    CNetPlayer player;
    std::string host = "localhost";
    std::string movie(900, 'm');
    EXPECT_EQ(player.InitNetPlay(host.data(), movie.data(), 554, 1), -1);
    EXPECT_EQ(log.text(), "");  // no name lookup, no log line
    EXPECT_EQ(std::string(player.m_movie_name), std::string(511, 'm'));
    std::string longHost(300, '1');
    EXPECT_EQ(player.InitNetPlay(longHost.data(), movie.data(), 554, 1), -1);
    EXPECT_EQ(std::string(player.m_rtsp_server_addr), std::string(127, '1'));

    EXPECT_EQ(player.InitNetPlay(kLoopback, movie.data(), ClosedTcpPort(), 1), -1);
    EXPECT_EQ(player.m_rtsp_socket, -1);
    EXPECT_NE(log.text().find("[InitRtspSocket] connect rtsp server failed:m_rtsp_socket="),
              std::string::npos);
    EXPECT_NE(log.text().find(",addr=127.0.0.1 \r\n"), std::string::npos);
}
