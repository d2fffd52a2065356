// A play's services through the exported functions against the loopback server: recording
// (read back with the file format's parsers and played back by the file player), snapshots
// and their directories, traffic and frame rate, and the neutral results of UDP and multicast
// plays.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "base/OsHelpers.h"
#include "fakedecoder/FakeDecoder.h"
#include "fileplay/FilePlayer.h"
#include "net/NetSink.h"
#include "session/NetPlayUrl.h"
#include "support/NetPlayFixture.h"
#include "support/RecordFileReader.h"
#include "support/RecordFileWriter.h"

using namespace playersdk::test;
using namespace playersdk::rtspserver;
namespace fs = std::filesystem;

namespace {
using SessionServices = NetPlayFixture;

std::vector<std::string> RecordedFrames(const RecordFile& file) {
    std::vector<std::string> frames;
    for (const Record& record : file.records) {
        frames.emplace_back(std::get<2>(record).begin(), std::get<2>(record).end());
    }
    return frames;
}

// The receive thread answers a server report only after everything sent before it: once the
// receiver report is back, every earlier frame has been decoded and recorded.
void WaitForEarlierFrames(const RtspTestServer& server, RtspServerConnection& peer) {
    const size_t reports = server.records().frames().size();
    ASSERT_TRUE(peer.SendInterleaved(1, BuildRtcpSenderReport({})));
    ASSERT_TRUE(server.records().WaitForFrames(reports + 1));
}

// SPS, PPS, an IDR slice in FU-A fragments and two P slices, as their own access units.
std::vector<Bytes> SampleNals() {
    return {Nal(0x67, 12), Nal(0x68, 8), Nal(0x65, 3000), Nal(0x41, 900), Nal(0x41, 77)};
}

int StartRecording(long container, long play, const std::string& path) {
    std::string copy = path;
    return NetPlay_StartRecord(container, play, copy.data());
}
}  // namespace

TEST_F(SessionServices, RecordingMakesItsDirectoriesAndHoldsExactlyTheFramesTheDecoderGot) {
    long play = OpenPlaying();
    TempDir dir;
    const std::string path = dir.file("day/cam1/rec.dat");
    ASSERT_EQ(StartRecording(container, play, path), 0);
    EXPECT_TRUE(fs::is_directory(dir.file("day/cam1")));
    EXPECT_EQ(StartRecording(container, play, dir.file("other.dat")), -1);
    EXPECT_FALSE(fs::exists(dir.file("other.dat")));
    EXPECT_EQ(NetPlay_RefreshSurface(container, play), -1);  // not while recording

    RtpPacketBuilder rtp;
    for (const Bytes& nal : SampleNals()) {
        SendNal(Peer(), rtp, nal, 0);
    }
    WaitForEarlierFrames(server, Peer());
    EXPECT_EQ(NetPlay_StopRecord(container, play), 0);
    EXPECT_EQ(NetPlay_StopRecord(container, play), 0);
    SendNal(Peer(), rtp, Nal(0x41, 50), 0);  // after the stop: not recorded
    WaitForEarlierFrames(server, Peer());

    const RecordFile file = ReadRecordFile(path);
    ASSERT_TRUE(file.valid);
    EXPECT_EQ(file.fields(), std::make_tuple(25, 90000, 352, 288, 0));  // the decoder's size
    std::vector<std::string> decoded = DecoderFrames();
    decoded.pop_back();
    EXPECT_EQ(RecordedFrames(file), decoded);
    ASSERT_EQ(file.records.size(), SampleNals().size());
    for (const Record& record : file.records) {
        EXPECT_EQ(std::get<0>(record), 96u);
        EXPECT_EQ(std::get<1>(record), kDefaultSsrc);  // the frame key the decoder got too
    }
    EXPECT_EQ(fakedecoder::Frames().at(0).args.at(1), kDefaultSsrc);
    EXPECT_EQ(NetPlay_RefreshSurface(container, play), 0);
}

TEST_F(SessionServices, RecordingStartedAndStoppedWhileFramesArriveKeepsWholeFramesInOrder) {
    long play = OpenPlaying();
    TempDir dir;
    RtpPacketBuilder rtp;
    std::atomic<bool> stop{false};
    std::thread camera([&] {
        for (uint32_t n = 1; n < 20000 && !stop; ++n) {
            Bytes nal = Nal(0x41, 120);
            nal[1] = static_cast<uint8_t>(n >> 8);
            nal[2] = static_cast<uint8_t>(n);
            SendNal(Peer(), rtp, nal, 0);
        }
    });
    std::vector<std::string> files;
    for (int round = 0; round < 20; ++round) {
        files.push_back(dir.file("r" + std::to_string(round) + "/rec.dat"));
        EXPECT_EQ(StartRecording(container, play, files.back()), 0);
        const uint64_t seen = fakedecoder::FrameCount();
        EXPECT_TRUE(WaitUntil([&] { return fakedecoder::FrameCount() >= seen + 3; }));
        EXPECT_EQ(NetPlay_StopRecord(container, play), 0);
    }
    stop = true;
    camera.join();

    int last = 0;
    for (const std::string& name : files) {
        const RecordFile file = ReadRecordFile(name);
        EXPECT_TRUE(file.valid && file.records.size() >= 2) << name;
        for (const Record& record : file.records) {
            const std::vector<uint8_t>& frame = std::get<2>(record);
            ASSERT_EQ(frame.size(), 124u);
            const int number = frame[5] << 8 | frame[6];
            // Gapless inside a file, later than every frame of the files before.
            EXPECT_TRUE(&record == &file.records.front() ? number > last : number == last + 1)
                << name << ": " << number << " after " << last;
            last = number;
        }
    }
}

TEST_F(SessionServices, RecordedPlayPlaysBackThroughTheFilePlayerFrameByFrame) {
    long play = OpenPlaying();
    TempDir dir;
    const std::string path = dir.file("rec.dat");
    ASSERT_EQ(StartRecording(container, play, path), 0);
    RtpPacketBuilder rtp;
    for (const Bytes& nal : SampleNals()) {
        SendNal(Peer(), rtp, nal, 0);
    }
    WaitForEarlierFrames(server, Peer());
    ASSERT_EQ(NetPlay_StopRecord(container, play), 0);
    const std::vector<std::string> received = DecoderFrames();

    fakedecoder::Reset();
    playersdk::SetFilePlaySleepForTest([](int) {});
    Recorder<int> events;
    auto onEvent = [](long user, tPlayInfo* info) {
        reinterpret_cast<Recorder<int>*>(user)->Add(info->fileevent);
    };
    long player = FilePlay_Start(path.c_str(), 3, onEvent, events.user());
    ASSERT_NE(player, -1);
    EXPECT_TRUE(events.WaitUntil([](const std::vector<int>& all) {
        return std::count(all.begin(), all.end(), FILE_PLAYOVER) > 0;
    }));
    Pause();
    const std::vector<int> seen = events.all();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), FILE_PLAYOVER), 1);
    EXPECT_EQ(DecoderFrames(), received);
    EXPECT_EQ(FilePlay_Stop(player), 0);
    playersdk::SetFilePlaySleepForTest(nullptr);
}

TEST_F(SessionServices, FluxAndFrameRateAreTheLastSecondsTrafficOfTheConnection) {
    long play = OpenPlaying();
    // A period starts with the first data read once a second has passed.
    playersdk::AdvanceTickCountForTest(1001);
    WaitForEarlierFrames(server, Peer());

    RtpPacketBuilder rtp;
    size_t bytes = 0, packets = 0;
    float units = 0;
    for (size_t size : {40, 127, 128, 1000, 1399, 2900, 5000}) {
        const Bytes nal = Nal(0x41, size);
        for (const Bytes& packet : rtp.PacketizeH264Nal(nal.data(), nal.size(), 0, true)) {
            Peer().SendInterleaved(0, packet);
            bytes += packet.size();
            units += static_cast<float>(packet.size() / 128);  // kilobits, cut per packet
            ++packets;
        }
    }
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() == 7; }));
    playersdk::AdvanceTickCountForTest(1001);
    WaitForEarlierFrames(server, Peer());
    EXPECT_TRUE(WaitUntil([&] { return NetPlay_GetFrameRate(container, play) == 7; }));
    EXPECT_EQ(NetPlay_Control(container, play, PLAY_GETFRAMERATE, 0), 7);
    EXPECT_EQ(NetPlay_GetFlux(container, play), units);
    EXPECT_LT(static_cast<float>(bytes) / 128 - units, static_cast<float>(packets));
}

TEST_F(SessionServices, GrabPicMakesItsDirectoriesAndReachesTheDecoderWithThePath) {
    fakedecoder::Choices choices;
    choices.capPictureResult = 7;
    fakedecoder::Reset(choices);
    long play = OpenPlaying();
    TempDir dir;
    std::string early = dir.file("early/pic.bmp");
    EXPECT_EQ(NetPlay_GrabPic(container, play, early.data()), 1);  // no decoder yet
    EXPECT_TRUE(fs::is_directory(dir.file("early")));

    RtpPacketBuilder rtp;
    SendNal(Peer(), rtp, Nal(0x65, 100), 0);
    ASSERT_TRUE(WaitUntil([] { return fakedecoder::FrameCount() == 1; }));
    std::string path = dir.file("a/b/pic.bmp");
    EXPECT_EQ(NetPlay_GrabPic(container, play, path.data()), 7);
    std::string tooLong = dir.file(std::string(1100, 'x'));
    EXPECT_EQ(NetPlay_GrabPic(container, play, tooLong.data()), -1);
    const std::vector<fakedecoder::Call> grabs = fakedecoder::CallsNamed("CapPicture");
    ASSERT_EQ(grabs.size(), 1u);
    EXPECT_EQ(grabs[0].path, path);
    EXPECT_EQ(grabs[0].handle, NetPlay_GetDecoderHandle(container, play));
}

TEST(CreateAllDirectory, MakesEveryDirectoryButTheFileNameInEitherPathStyle) {
    CNetPlayUrl play;
    TempDir dir;
    auto create = [&](std::string path) { return play.CreateAllDirectory(path.data()); };
    EXPECT_EQ(create(dir.file("a/b/c/f.dat")), 1);
    EXPECT_TRUE(fs::is_directory(dir.file("a/b/c")));
    EXPECT_FALSE(fs::exists(dir.file("a/b/c/f.dat")));
    // A drive prefix is stepped over; on this system '\' is part of a name.
    EXPECT_EQ(create(dir.file("D:\\rec\\f.dat")), 1);
    EXPECT_TRUE(fs::is_directory(dir.file("D:\\rec")));
    EXPECT_FALSE(fs::exists(dir.file("D:")));
    // With both kinds, '\' is taken first: the cut "m/n" needs "m", which nobody made.
    EXPECT_EQ(create(dir.file("m/n\\o")), 0);

    const std::string file = dir.file("a/plain");
    WriteWholeFile(file, "x");
    EXPECT_EQ(create(file), 1);  // exists as a whole
    EXPECT_EQ(create(file + "/sub/f.dat"), 0);
    EXPECT_FALSE(fs::exists(file + "/sub"));
    EXPECT_EQ(create(dir.file(std::string(1024, 'y'))), 0);
    EXPECT_EQ(play.CreateAllDirectory(nullptr), 0);
    EXPECT_EQ(create("relative-file-only"), 1);
}

TEST_F(SessionServices, UdpAndMulticastPlaysGiveTheirWorkersOrNeutralResults) {
    TempDir dir;
    long udp = Open("movie", TT_UDP);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, udp));
    CNetSink& sink = *reinterpret_cast<CNetPlayUrl*>(udp)->m_pVideoSink;
    ASSERT_EQ(StartRecording(container, udp, dir.file("u/rec.dat")), 0);
    EXPECT_EQ(sink.m_RecordType, 1);
    EXPECT_TRUE(fs::exists(dir.file("u/rec.dat")));  // opened by the sink's stream
    EXPECT_EQ(NetPlay_StopRecord(container, udp), 0);
    EXPECT_EQ(sink.m_RecordType, 0);
    // An empty path fails yet leaves the play recording until it is stopped.
    EXPECT_EQ(StartRecording(container, udp, ""), -1);
    EXPECT_EQ(StartRecording(container, udp, dir.file("u/2.dat")), -1);
    EXPECT_EQ(NetPlay_StopRecord(container, udp), 0);
    std::string pic = dir.file("u/p.bmp");
    EXPECT_EQ(NetPlay_GrabPic(container, udp, pic.data()), 1);  // the sink has no decoder
    EXPECT_EQ(NetPlay_GetFlux(container, udp), 0.0f);
    EXPECT_EQ(NetPlay_GetFrameRate(container, udp), 0);
    EXPECT_EQ(NetPlay_RefreshSurface(container, udp), -1);

    long multicast = Open("group", TT_MULTICAST);
    ASSERT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, multicast));
    EXPECT_EQ(StartRecording(container, multicast, dir.file("m/rec.dat")), 0);
    EXPECT_TRUE(fs::is_directory(dir.file("m")));
    EXPECT_FALSE(fs::exists(dir.file("m/rec.dat")));
    EXPECT_EQ(StartRecording(container, multicast, dir.file("m/rec.dat")), 0);  // never marked
    EXPECT_EQ(NetPlay_GrabPic(container, multicast, pic.data()), 0);
    EXPECT_EQ(NetPlay_GetFlux(container, multicast), -1.0f);
    EXPECT_EQ(NetPlay_GetFrameRate(container, multicast), -1);
    EXPECT_EQ(NetPlay_GetRecFileCurTs(container, multicast), 0u);
    EXPECT_EQ(NetPlay_GetDecoderHandle(container, multicast), -1);
}

TEST(NetPlayWithoutEngine, EveryControlIsRefusedWithoutARequestButTeardownSucceeds) {
    CNetPlayUrl play;
    play.m_FileRange = 600;
    for (int operate : {PLAY_FAST, PLAY_SLOW, PLAY_FWOD, PLAY_BACK, PLAY_PAUSE, PLAY_CONTINUE,
                        PLAY_SETPOS, PLAY_SETTIME}) {
        EXPECT_EQ(play.PlayControl(static_cast<ePlayOption>(operate), 2), -1) << operate;
        EXPECT_EQ(play.PlayControl(static_cast<ePlayOption>(operate), 0), -1) << operate;
    }
    EXPECT_EQ(play.PlaySingle(), -1);
    EXPECT_EQ(play.PlayFrame(1), -1);
    EXPECT_EQ(play.SetPlayDirection(1), -1);
    EXPECT_EQ(play.m_curPlayState, S_NOINIT);
    EXPECT_EQ(play.RTSPSeekReq(0.5, 1), -1);
    EXPECT_EQ(play.RTSPPlayReq(), -1);
    EXPECT_EQ(play.RTSPTearDownReq(), 0);
    EXPECT_EQ(play.PlayControl(PLAY_GETFRAMERATE, 0), -1);  // no stream either
}
