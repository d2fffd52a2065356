// Handles at the exported surface: what every function refuses, and the registry of plays.
#include <gtest/gtest.h>

#include "support/NetPlayFixture.h"

using namespace playersdk::test;

namespace {
using NetPlayHandles = NetPlayFixture;

void ExpectEveryPerPlayCallRefused(long container, long play) {
    char path[] = "/tmp/playersdk-refused";
    char url[] = "rtsp://127.0.0.1:1/movie";
    long position = 5;
    EXPECT_EQ(NetPlay_Control(container, play, PLAY_GETFRAMERATE, 0), -1);
    EXPECT_EQ(NetPlay_GetPlayPosition(container, play, &position), -1);
    EXPECT_EQ(position, 5);
    EXPECT_EQ(NetPlay_GetRecFileCurTs(container, play), ~0ull);
    EXPECT_EQ(NetPlay_GrabPic(container, play, path), -1);
    EXPECT_EQ(NetPlay_StartRecord(container, play, path), -1);
    EXPECT_EQ(NetPlay_StopRecord(container, play), -1);
    EXPECT_EQ(NetPlay_GetFrameRate(container, play), -1);
    EXPECT_EQ(NetPlay_GetFlux(container, play), -1.0f);
    EXPECT_EQ(NetPlay_RefreshSurface(container, play), -1);
    EXPECT_EQ(NetPlay_SetTranMode(container, play, TT_UDP), -1);
    EXPECT_EQ(NetPlay_SetePacketType(container, play, PT_TS), -1);
    EXPECT_EQ(NetPlay_GetDecoderHandle(container, play), -1);
    EXPECT_EQ(NetPlay_CloseUrl(container, play), -1);
    EXPECT_EQ(NetPlay_StopUDP(container, play), -1);
    EXPECT_EQ(NetPlay_StartUDP(container, play, url, 0, 0, TT_UDP), -1);
}
}  // namespace

TEST_F(NetPlayHandles, EveryFunctionRefusesNoHandleAClosedPlayAndAForeignPlay) {
    long play = OpenPlaying();
    long closed = OpenPlaying("closed");
    ASSERT_EQ(NetPlay_CloseUrl(container, closed), 0);
    long other = NetPlay_Init(nullptr, 0);
    std::string url = server.url("other");
    long foreign = NetPlay_OpenUrl(other, url.data(), 0, 0, nullptr);
    ASSERT_NE(foreign, -1);
    for (long bad : {0L, -1L, closed, foreign, container}) {
        SCOPED_TRACE(bad);
        ExpectEveryPerPlayCallRefused(container, bad);
    }
    ExpectEveryPerPlayCallRefused(0, play);
    ExpectEveryPerPlayCallRefused(-1, play);
    EXPECT_EQ(NetPlay_StopRecord(container, play), 0);
    EXPECT_EQ(NetPlay_StopRecord(other, foreign), 0);
    EXPECT_EQ(NetPlay_Destroy(other), 0);

    EXPECT_EQ(NetPlay_Destroy(0), -1);
    EXPECT_EQ(NetPlay_Destroy(-5), -1);
    EXPECT_EQ(NetPlay_OpenUrl(0, url.data(), 0, 0, nullptr), -1);
    EXPECT_EQ(NetPlay_OpenUrlEx(-1, url.data(), 0, 0, TT_TCP), -1);
    NetPlay_SetOwnerDraw(-1, nullptr, 0);
    NetPlay_SetLinkReportCallBack(-1, nullptr);
    EXPECT_EQ(server.records().connectionCount(), 3u);
    EXPECT_EQ(Player_GetVersion(), 0x02060001u);
}

TEST_F(NetPlayHandles, TheSameUrlTwiceGivesTwoPlaysAndClosingAnyKeepsTheOthers) {
    std::vector<long> plays;
    for (int i = 0; i < 5; ++i) {
        plays.push_back(OpenPlaying());
    }
    auto registered = [&] {
        std::vector<long> left;
        for (long play : plays) {
            if (NetPlay_StopRecord(container, play) == 0) {
                left.push_back(play);
            }
        }
        return left;
    };
    EXPECT_EQ(registered(), plays);
    EXPECT_EQ(NetPlay_CloseUrl(container, plays[2]), 0);
    EXPECT_EQ(NetPlay_CloseUrl(container, plays[0]), 0);
    EXPECT_EQ(NetPlay_CloseUrl(container, plays[4]), 0);
    EXPECT_EQ(registered(), (std::vector<long>{plays[1], plays[3]}));

    // A play switched to multicast has no statistics left, but closing releases it all.
    EXPECT_EQ(NetPlay_SetTranMode(container, plays[1], TT_MULTICAST), 0);
    EXPECT_EQ(NetPlay_GetFlux(container, plays[1]), -1.0f);
    // Destroy tears down what is still open.
    EXPECT_EQ(NetPlay_Destroy(container), 0);
    container = 0;
    // The server records what it read on its own threads: wait for it, then count.
    ASSERT_TRUE(server.records().WaitForMethod("TEARDOWN", 5));
    EXPECT_EQ(server.records().requests("TEARDOWN").size(), 5u);
    for (size_t connection = 0; connection < 5; ++connection) {
        EXPECT_TRUE(server.records().WaitForClientClose(connection));
    }
}
