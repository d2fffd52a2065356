#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PlayerSDK.h"
#include "base/BoundedCopy.h"
#include "net/NetSink.h"
#include "net/NetSinkContainer.h"
#include "support/LoopbackUdp.h"

namespace {
std::vector<std::vector<long>> g_calls;  // every callback call's arguments, in order

void OnLinkReport(long container, long sink, int code, long user) {
    g_calls.push_back({container, sink, code, user});
}
int OnFrame(long sink, char* buf, long len, long user) {
    g_calls.push_back({sink, reinterpret_cast<long>(buf), len, user});
    return 0;
}

// A sink that sends from a test socket, so no fixed port is needed.
struct AdapterSink : testing::Test {
    AdapterSink() {
        g_calls.clear();
        playersdk::copy_bounded(sink.m_destip, "127.0.0.1");
        sink.m_DestRcvPort = server.port();
        sink.m_RtpPortInfo.rtpsocket = local.fd();
        container.SetReportCallback(OnLinkReport);
        container.SetUserdata(77);
    }
    playersdk::test::UdpSocket local, server;
    CNetSink sink;
    CNetSinkContainer container;
    long self = reinterpret_cast<long>(&sink);
};
}  // namespace

TEST_F(AdapterSink, SendDataKindZeroSendsFromTheSinkKindOneRaisesLinkReport4) {
    char packet[] = "rtp";
    EXPECT_EQ(g_SendDataCallback(0, packet, 3, self, 0), 0);
    playersdk::test::Datagram d;
    ASSERT_TRUE(server.Receive(d));
    EXPECT_EQ(std::string(d.bytes.begin(), d.bytes.end()), "rtp");
    EXPECT_EQ(d.fromPort, local.port());

    EXPECT_EQ(g_SendDataCallback(0, nullptr, 0, self, 1), 0);  // not yet in a container
    sink.m_pContainer = reinterpret_cast<long>(&container);
    EXPECT_EQ(g_SendDataCallback(0, nullptr, 0, self, 1), 0);
    EXPECT_EQ(g_SendDataCallback(0, nullptr, 0, self, 2), 0);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0], (std::vector<long>{reinterpret_cast<long>(&container), self, 4, 77}));
}

TEST_F(AdapterSink, FrameDataReachesTheSinkFrameCallbackOnlyForASinkInAContainer) {
    char frame[] = "frame";
    NetSink_SetGotFrameCallback(OnFrame);
    EXPECT_EQ(GotFramedataCallback(0, frame, 5, self), 0);
    sink.m_pContainer = reinterpret_cast<long>(&container);
    EXPECT_EQ(GotFramedataCallback(0, frame, 5, self), 0);
    NetSink_SetGotFrameCallback(nullptr);
    EXPECT_EQ(GotFramedataCallback(0, frame, 5, self), 0);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0], (std::vector<long>{self, reinterpret_cast<long>(frame), 5, 77}));
}
