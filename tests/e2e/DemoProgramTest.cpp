// The demo player run as a program, the way a user or a script runs it.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "DemoProcess.h"
#include "livesource/LiveSource.h"
#include "livesource/PictureCheck.h"
#include "rtspserver/LoopbackSocket.h"
#include "rtspserver/RtspTestServer.h"
#include "support/TempDir.h"
#include "support/XvfbServer.h"

using namespace playersdk::livesource;
using namespace playersdk::rtspserver;
using playersdk::test::CDemoProcess;
using playersdk::test::TempDir;

namespace {

long FileSize(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? static_cast<long>(info.st_size) : -1;
}

// A port of 127.0.0.1 that nothing listens on (it was free a moment ago).
uint16_t ClosedPort() {
    uint16_t port = 0;
    const int fd = BindLoopback(SOCK_STREAM, 0, port);
    close(fd);
    return port;
}

class DemoWithoutUrl : public testing::TestWithParam<const char*> {};

TEST_P(DemoWithoutUrl, PlaysRecordsGrabsAndPlaysTheRecordingBackThenSumsUp) {
    TempDir dir;
    std::vector<std::string> args{"--seconds", "2", "--out", dir.path()};
    if (*GetParam() != '\0') {
        args.push_back(GetParam());
    }
    CDemoProcess demo(args);
    ASSERT_TRUE(demo.Start());

    ASSERT_EQ(demo.Wait(), 0) << demo.output();

    const std::string& out = demo.output();
    EXPECT_NE(out.find("Summary"), std::string::npos) << out;
    EXPECT_NE(out.find("FILE_PLAYOVER"), std::string::npos) << out;
    EXPECT_NE(out.find(dir.file("snapshot.bmp")), std::string::npos) << out;
    EXPECT_NE(out.find(dir.file("live.rec")), std::string::npos) << out;
    EXPECT_NE(out.find(std::string("(RTP over ") + (args.back() == "--udp" ? "UDP)" : "TCP)")),
              std::string::npos)
        << out;
    EXPECT_GT(FileSize(dir.file("live.rec")), 1000);
    EXPECT_LT(DistanceFromPattern(ReadBmp(dir.file("snapshot.bmp")), 320, 240), 6.0);
    EXPECT_LT(DistanceFromPattern(ReadBmp(dir.file("playback.bmp")), 320, 240), 6.0);
}

INSTANTIATE_TEST_SUITE_P(CodecsAndTransports, DemoWithoutUrl,
                         testing::Values("", "--mpeg4", "--udp"), [](const auto& info) {
                             const std::string param = info.param;
                             return param.empty()      ? "H264"
                                    : param == "--udp" ? "H264OverUdp"
                                                       : "Mpeg4";
                         });

TEST(DemoProgram, EachFailureEndsWithAMessageAndItsOwnExitCode) {
    RtspTestServer silent, notFound, closing;
    silent.script().Set("DESCRIBE", ScriptedReply::Silence());
    notFound.script().Set("DESCRIBE", ScriptedReply::Status(404));
    closing.script().Set("DESCRIBE", ScriptedReply::CloseConnection());
    for (RtspTestServer* server : {&silent, &notFound, &closing}) {
        ASSERT_TRUE(server->Start());
    }
    const std::string closed = "rtsp://127.0.0.1:" + std::to_string(ClosedPort()) + "/live";
    struct Case {
        std::vector<std::string> args;
        int code;
        std::string message;
    };
    const Case cases[] = {
        {{"--frobnicate"}, 1, "unknown option --frobnicate"},
        {{"http://127.0.0.1/live"}, 2, "is not a URL the player can open"},
        {{"rtsp://camera.example/live"}, 2, "is not a URL the player can open"},
        {{closed}, 3, "Cannot connect to " + closed},
        {{closing.url()}, 4, "closed the connection before playing"},
        {{silent.url()}, 5, "No answer from the server"},
        {{notFound.url()}, 5, "keeps refusing the stream"},  // the player retries DESCRIBE
    };
    TempDir dir;
    for (const Case& c : cases) {
        std::vector<std::string> args{"--timeout", "1", "--out", dir.path()};
        args.insert(args.end(), c.args.begin(), c.args.end());
        CDemoProcess demo(args);
        ASSERT_TRUE(demo.Start());
        EXPECT_EQ(demo.Wait(), c.code) << demo.output();
        EXPECT_NE(demo.output().find(c.message), std::string::npos) << demo.output();
    }
}

TEST(DemoProgram, AServerThatEndsTheStreamEndsThePlayWithCode6) {
    CLiveSource source;
    ASSERT_TRUE(source.Start());
    TempDir dir;
    CDemoProcess demo({source.url(), "--seconds", "30", "--timeout", "3", "--out", dir.path()});
    ASSERT_TRUE(demo.Start());
    ASSERT_TRUE(demo.WaitForText("Playing after")) << demo.output();

    source.Stop();

    EXPECT_EQ(demo.Wait(std::chrono::seconds(20)), 6) << demo.output();
    EXPECT_NE(demo.output().find("ended the stream"), std::string::npos) << demo.output();
}

TEST(DemoProgram, WindowShowsThePatternInARealXWindow) {
    if (!playersdk::test::CXvfbServer::Installed()) {
        GTEST_SKIP() << "Xvfb is not installed (Debian package xvfb): no X server to draw on";
    }
    playersdk::test::CXvfbServer xvfb;
    const std::string display = xvfb.Start();
    ASSERT_FALSE(display.empty()) << "Xvfb did not report a display";
    CLiveSource source;
    ASSERT_TRUE(source.Start());
    TempDir dir;
    CDemoProcess demo({source.url(), "--window", "--seconds", "2", "--out", dir.path()}, display);
    ASSERT_TRUE(demo.Start());
    ASSERT_TRUE(demo.WaitForText("Playing after")) << demo.output();
    const size_t at = demo.output().find("Window 0x");
    ASSERT_NE(at, std::string::npos) << demo.output();
    const unsigned long window = std::stoul(demo.output().substr(at + 7), nullptr, 16);

    // The picture in the window is the pattern of some frame, scaled to the window's size.
    double distance = 1e9;
    for (int attempt = 0; attempt < 20 && distance >= 8.0; ++attempt) {
        Picture shown = BlankPicture(640, 480);
        shown.bgr = xvfb.Capture(window, 640, 480);
        distance = DistanceFromPattern(shown, 320, 240);
        if (distance >= 8.0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    EXPECT_LT(distance, 8.0);
    EXPECT_EQ(demo.Wait(), 0) << demo.output();
}

}  // namespace
