#include <atomic>
#include <thread>

#include "MediaTestSupport.h"

// The receive thread feeds the stream while the application asks for pictures, sizes and
// statistics and changes the window: every value they share must be safe to touch from both
// (run under ThreadSanitizer to see it).
TEST_F(MediaTest, ApplicationCallsRunBesideTheReceiveThread) {
    fakedecoder::Choices choices;
    choices.keepFrames = false;
    fakedecoder::Reset(choices);
    std::vector<rtpgen::StreamPacket> packets = rtpgen::H264Stream(rtpgen::StreamShape(), 100, 1);
    std::atomic<bool> done{false};
    int framesCounted = 0;
    std::thread receiver([&] {
        for (rtpgen::StreamPacket& p : packets) {
            stream.InputData(p.datagram.data(), static_cast<int>(p.datagram.size()));
        }
        done = true;
    });
    char path[] = "/tmp/unused.bmp";
    while (!done) {
        MediaInfo_rtp info{};
        int w = 0;
        int h = 0;
        stream.GetMediaInfo(&info);
        stream.GetPicSize(&w, &h);
        stream.CapPicture(path);
        stream.SetPlayHwnd(5);
        stream.EnableFrameControl(1);
        framesCounted += stream.CalcFrameRate();
    }
    receiver.join();
    framesCounted += stream.CalcFrameRate();
    EXPECT_EQ(framesCounted, 100);
    EXPECT_EQ(fakedecoder::FrameCount(), 100u);
    EXPECT_EQ(fakedecoder::CallsNamed("Create").size(), 1u);
}
