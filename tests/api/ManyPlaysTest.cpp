// Thirty-two TCP plays of one container, each opened, streamed and closed on its own
// application thread at the same time. Run under ThreadSanitizer as well.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "fakedecoder/FakeDecoder.h"
#include "support/NetPlayFixture.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;

namespace {
constexpr int kPlays = 32;
constexpr Wait kSlowWait{30000};  // sanitizers on a shared machine

struct PlayRun {
    FrameLog frames;
    long handle = -1;
    std::vector<std::string> sent;
};

void OnThreads(const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kPlays; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
}  // namespace

using ManyPlays = NetPlayFixture;

TEST_F(ManyPlays, ThirtyTwoPlaysOpenStreamAndCloseConcurrently) {
    std::vector<PlayRun> runs(kPlays);
    // All are open at once before any closes, so no closed play's address is reused while the
    // handles in the notices are compared.
    OnThreads([&](int i) {
        PlayRun& run = runs[i];
        std::string url = server.url("play" + std::to_string(i));
        run.handle = NetPlay_OpenUrl(container, url.data(), 0, run.frames.user(), nullptr);
        ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, run.handle, 1, kSlowWait));
        ReceivedMessage describe;
        for (const ReceivedMessage& message : server.records().requests("DESCRIBE")) {
            describe = message.url == url ? message : describe;
        }
        auto peer = server.connection(describe.connection);
        RtpPacketBuilder rtp(96, 0x1000 + i);
        uint32_t ts = 0;
        for (const Bytes& nal : {Nal(0x67, 12), Nal(0x65, 3000 + i), Nal(0x41, 500 + i)}) {
            SendNal(*peer, rtp, nal, ts += 3600);
            run.sent.push_back(AnnexB(nal));
        }
        ASSERT_TRUE(run.frames.WaitFor(run.sent.size(), kSlowWait));
        ASSERT_TRUE(notices.WaitFor(NOTIFY_PLAYING, run.handle, 1, kSlowWait));
    });
    OnThreads([&](int i) { EXPECT_EQ(NetPlay_CloseUrl(container, runs[i].handle), 0); });

    for (const PlayRun& run : runs) {
        SCOPED_TRACE(run.handle);
        EXPECT_EQ(run.frames.all(), run.sent);
        std::vector<int> codes = notices.codesOf(run.handle);
        ASSERT_FALSE(codes.empty());
        EXPECT_EQ(codes.front(), NOTIFY_CONNECT_SUCCESS);
        EXPECT_EQ(std::count(codes.begin(), codes.end(), NOTIFY_CONNECT_SUCCESS), 1);
        EXPECT_EQ(std::count(codes.begin(), codes.end(), NOTIFY_CONNECT_ERROR), 0);
    }
    // One decoder per play, each announced once under its own handle, each closed.
    std::vector<fakedecoder::Call> created = fakedecoder::CallsNamed("Create");
    EXPECT_EQ(created.size(), static_cast<size_t>(kPlays));
    for (const fakedecoder::Call& decoder : created) {
        EXPECT_EQ(notices.codesOf(decoder.handle), std::vector<int>{NOTIFY_ZU_VIDEO_DEC_CREATE});
    }
    EXPECT_EQ(fakedecoder::CallsNamed("CloseDecode").size(), static_cast<size_t>(kPlays));
    EXPECT_EQ(server.records().requests("TEARDOWN").size(), static_cast<size_t>(kPlays));
}
