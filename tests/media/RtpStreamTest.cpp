#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>

#include "MediaTestSupport.h"
#include "api/PlayContainer.h"

namespace {
using fakedecoder::Call;
using rtpgen::Bytes;
using rtpgen::Packet;

constexpr uint32_t kSsrc = 0x11223344;  // rtpgen's default source, the frame key

rtpgen::RtpFields Fields(uint16_t seq, bool marker, uint8_t pt = 96) {
    return {seq, marker, pt, 0, kSsrc};
}

void Draw(__DC*, long) {}

struct Ack {
    long container;
    long play;
    int code;
    long user;
};
std::vector<Ack> g_acks;
int RecordAck(long container, long play, ePlayNotifyCode code, long user) {
    g_acks.push_back({container, play, code, user});
    return 0;
}

std::vector<long long> g_picture;
int RecordPicture(long handle, char* buf, int a, int b, int c, long user) {
    g_picture = {handle, buf[0], a, b, c, user};
    return 0;
}

DeviceDecInfo Description(unsigned int pt, const char* fmtp, unsigned int timescale = 90000) {
    DeviceDecInfo info{};
    info.videoPayLoadType = pt;
    info.picWidth = 640;
    info.picHeight = 480;
    info.timescale = timescale;
    strncpy(info.config, fmtp, sizeof(info.config) - 1);
    return info;
}

Bytes Config(const CRtpStream& s, size_t n) {
    return Bytes(s.m_DeviceDecinfo.config, s.m_DeviceDecinfo.config + n);
}
}  // namespace

TEST_F(MediaTest, WholeAccessUnitReachesTheDecoderAsStartCodedNalUnits) {
    stream.m_UserData = 42;
    stream.SetPlayHwnd(77);
    stream.SetDrawCb(Draw, 5);
    const Bytes sps = rtpgen::Nal(0x67, 10);
    const Bytes pps = rtpgen::Nal(0x68, 4);
    const Bytes idr = rtpgen::Nal(0x65, 3000);
    std::vector<Bytes> fragments = rtpgen::FuA(idr, 1400);
    ASSERT_EQ(fragments.size(), 3u);
    Feed(Packet(Fields(100, false), rtpgen::StapA(sps, pps)));
    Feed(Packet(Fields(101, false), fragments[0]));
    Feed(Packet(Fields(102, false), fragments[1]));
    EXPECT_TRUE(fakedecoder::Calls().empty());
    Feed(Packet(Fields(103, true), fragments[2]));

    const Bytes accessUnit = Cat({kStartCode, sps, kStartCode, pps, kStartCode, idr});
    const std::vector<Call> calls = fakedecoder::Calls();
    std::vector<std::pair<std::string, std::vector<long long>>> seen;
    for (const Call& call : calls) {
        seen.emplace_back(call.name, call.args);
    }
    const long long size = accessUnit.size();
    EXPECT_EQ(seen, (decltype(seen){{"Create", {VT_H264, 42, 0, 0, 0, 0}},
                                    {"SetDrawCb", {5}},
                                    {"SetPlayWnd", {77, 1}},
                                    {"SetTimeScale", {90000}},
                                    {"EnableFrameControl", {0}},
                                    {"SetPictureCallback", {reinterpret_cast<long>(&stream)}},
                                    {"InputVideoData", {size, kSsrc}}}));
    ASSERT_EQ(calls.size(), 7u);
    EXPECT_EQ(calls[1].drawCb, &Draw);
    EXPECT_EQ(std::make_pair(calls[6].handle, stream.m_DecHandle.load()),
              std::make_pair(calls[0].handle, calls[0].handle));
    EXPECT_EQ(calls[6].bytes, accessUnit);
    ASSERT_EQ(g_capturedFrames.size(), 1u);
    EXPECT_EQ(std::tie(g_capturedFrames[0].handle, g_capturedFrames[0].bytes,
                       g_capturedFrames[0].userdata),
              std::make_tuple(reinterpret_cast<long>(&stream), accessUnit, 42l));

    // A single NAL unit packet ends its frame without a marker of its own.
    const Bytes slice = rtpgen::Nal(0x41, 300);
    Feed(Packet(Fields(104, false), slice));
    ASSERT_EQ(fakedecoder::Frames().size(), 2u);
    EXPECT_EQ(fakedecoder::Frames()[1].bytes, Cat({kStartCode, slice}));
    EXPECT_EQ(std::make_tuple(stream.m_iFrameCount, stream.m_iTotalFrame.load(),
                              stream.m_iTotalPacket.load()),
              std::make_tuple(0, 2, 5));
}

TEST_F(MediaTest, DecoderCreationIsReportedThroughThePlayContainerAndAFailureIsRetried) {
    g_acks.clear();
    CPlayContainer container;
    container.m_cbPlayAck = RecordAck;
    container.m_lUserData = 9;
    fakedecoder::Choices choices;
    choices.createResult = -1;
    fakedecoder::Reset(choices);
    stream.SetPlayContainer(&container);
    Feed(Packet(Fields(1, true), rtpgen::Nal(0x65, 20)));
    EXPECT_TRUE(g_acks.empty());
    EXPECT_TRUE(fakedecoder::Frames().empty());
    EXPECT_EQ(g_capturedFrames.size(), 1u);  // the application still sees the frame

    choices.createResult = 77;  // an IR decoder reports this result instead of its handle
    fakedecoder::Reset(choices);
    Feed(Packet(Fields(2, true), rtpgen::Nal(0x41, 20)));
    CRtpStream ir;
    ir.SetPlayContainer(&container);
    Feed(Packet(Fields(1, true, 98), {1, 2, 3}), &ir);
    const long address = reinterpret_cast<long>(&container);
    ASSERT_EQ(g_acks.size(), 2u);
    EXPECT_EQ(std::make_tuple(g_acks[0].container, g_acks[0].play, g_acks[0].code, g_acks[0].user),
              std::make_tuple(address, stream.m_DecHandle.load(), 10, 9l));
    EXPECT_EQ(std::make_tuple(g_acks[1].container, g_acks[1].play, g_acks[1].code),
              std::make_tuple(address, 77l, 8));
    EXPECT_EQ(fakedecoder::CallsNamed("Create")[1].args[0], VT_IR);
    EXPECT_EQ(fakedecoder::Frames().size(), 2u);
}

TEST_F(MediaTest, Mpeg4ConfigurationIsConvertedAndFedBeforeTheFirstFrame) {
    stream.SetDeviceDecInfo(Description(97, "profile-level-id=1;config=000001B0", 1000));
    EXPECT_EQ(stream.m_DeviceDecinfo.config_len, 4);
    EXPECT_EQ(Config(stream, 5), (Bytes{0, 0, 1, 0xB0, 0}));
    EXPECT_EQ(stream.m_iTimeScale, 90000);  // not taken for MPEG-4
    const Bytes vop = {0, 0, 1, 0xB6, 0x10, 0x22, 0x33};
    Feed(Packet(Fields(7, true, 97), vop));
    const std::vector<Call> frames = fakedecoder::Frames();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(fakedecoder::CallsNamed("Create")[0].args[0], VT_MPEG4);
    EXPECT_EQ(std::make_pair(frames[0].bytes, frames[0].args[1]),
              std::make_pair(Bytes{0, 0, 1, 0xB0}, 0ll));
    EXPECT_EQ(std::make_pair(frames[1].bytes, frames[1].args[1]), std::make_pair(vop, 0ll + kSsrc));

    // The hex text runs on into a following parameter; non-hex pairs leave their byte 0.
    CRtpStream other;
    other.SetDeviceDecInfo(Description(35, "config=0A0b;x=1AB2"));
    EXPECT_EQ(other.m_DeviceDecinfo.config_len, 5);
    EXPECT_EQ(Config(other, 6), (Bytes{0x0A, 0x0B, 0, 0, 0xAB, 0}));
}

TEST_F(MediaTest, H264ParameterSetsFromTheSdpAreStoredWithStartCodes) {
    struct Case {
        const char* fmtp;
        int length;
        Bytes config;
    };
    const Case cases[] = {
        {"packetization-mode=1;sprop-parameter-sets=Z0IAH5Wo,aM48gA==", 18,
         Cat({kStartCode,
              {0x67, 0x42, 0x00, 0x1F, 0x95, 0xA8},
              kStartCode,
              {0x68, 0xCE, 0x3C, 0x80}})},
        // Without a comma: hexadecimal sets, or "config=" converted name and all.
        {"sprop-parameter-sets=00000001674200;x=2", 7, {0, 0, 0, 1, 0x67, 0x42, 0}},
        {"profile=1;config=12AB;y", 5, {0xC0, 0x0F, 0x00, 0x01, 0x2A}},
    };
    for (const Case& c : cases) {
        CRtpStream s;
        s.SetDeviceDecInfo(Description(96, c.fmtp, 45000));
        EXPECT_EQ(s.m_iSipLength, c.length) << c.fmtp;
        EXPECT_EQ(Config(s, c.config.size()), c.config) << c.fmtp;
        EXPECT_EQ(s.m_iTimeScale, 45000);
    }
    // Parameter sets too long for the work areas are not taken.
    const std::string huge =
        "sprop-parameter-sets=" + std::string(300, 'A') + "," + std::string(150, 'B');
    stream.SetDeviceDecInfo(Description(96, huge.c_str()));
    EXPECT_EQ(stream.m_iSipLength, 0);
    EXPECT_EQ(Config(stream, 4), (Bytes{0, 0, 0, 0}));
}

TEST_F(MediaTest, FrameWithoutHandlerReachesTheFrameCallbackUntilItIsGivenUp) {
    Feed(Packet(Fields(5, true, 0), {'x', 'y'}));
    EXPECT_EQ(g_capturedFrames.size(), 201u);
    EXPECT_EQ(g_capturedFrames.back().bytes, (Bytes{'x', 'y'}));
    EXPECT_EQ(stream.m_iFrameCount, 0);
    EXPECT_TRUE(fakedecoder::Calls().empty());
}

TEST_F(MediaTest, HeaderLengthExtensionAndPaddingDecideWhereThePayloadIs) {
    Feed(Packet(Fields(1, true, 0), {}));
    EXPECT_EQ(stream.m_iTotalPacket, 0);
    Bytes versionOne = Packet(Fields(2, true, 0), {0x55});
    versionOne[0] = 0x40;
    Feed(versionOne);
    EXPECT_EQ(std::make_pair(stream.m_iTotalPacket.load(), stream.m_iFrameCount),
              std::make_pair(1, 0));
    EXPECT_EQ(stream.DropCounts()[PacketDrop::kBadVersion], 1u);

    // Extension of two words: the payload starts at byte 24. Padding of 3 ends it early.
    Bytes extended =
        Packet(Fields(3, true, 35),
               Cat({{0xBE, 0xDE, 0x00, 0x02}, Bytes(8, 0xEE), {'p', 'a', 'y', 0, 0, 3}}));
    extended[0] |= 0x10 | 0x20;
    Feed(extended);
    ASSERT_EQ(g_capturedFrames.size(), 1u);
    EXPECT_EQ(g_capturedFrames[0].bytes, (Bytes{'p', 'a', 'y'}));

    // Padding longer than the payload, and an extension past the end, drop the packet.
    Bytes overPadded = Packet(Fields(4, true, 35), {1, 2, 9});
    overPadded[0] |= 0x20;
    Feed(overPadded);
    Bytes shortExtension = Packet(Fields(5, true, 35), {0xBE, 0xDE, 0x00, 0x09, 1});
    shortExtension[0] |= 0x10;
    Feed(shortExtension);
    EXPECT_EQ(g_capturedFrames.size(), 1u);
    EXPECT_EQ(stream.m_iTotalPacket, 4);
    EXPECT_EQ(stream.DropCounts()[PacketDrop::kPaddingOverrun], 1u);
    EXPECT_EQ(stream.DropCounts()[PacketDrop::kExtensionOverrun], 1u);
}

TEST_F(MediaTest, LossReportGoesToTheSendCallbackOnceFramesAreBeingFed) {
    Feed(Packet(Fields(1, true), rtpgen::Nal(0x65, 20)));
    Feed(Packet(Fields(2, true), rtpgen::Nal(0x41, 20)));
    EXPECT_TRUE(g_capturedSends.empty());  // reports are off by default
    stream.m_UserData = 31;
    stream.EnableLosePakcetReport(1);
    Feed(Packet(Fields(3, true), rtpgen::Nal(0x41, 20)));
    Feed(Packet(Fields(4, true), rtpgen::Nal(0x41, 20)));
    ASSERT_EQ(g_capturedSends.size(), 2u);
    const CapturedCall& send = g_capturedSends[0];
    EXPECT_EQ(std::make_tuple(send.handle, send.bytes.size(), send.userdata, send.reserved),
              std::make_tuple(31l, size_t{0}, 31l, 1l));
}

TEST_F(MediaTest, WindowSnapshotAndSizeCallsFallBackWithoutADecoderAndReachAnOpenOne) {
    stream.SetDeviceDecInfo(Description(96, ""));
    char path[] = "/tmp/picture.bmp";
    int w = 0;
    int h = 0;
    MediaInfo_rtp info{};
    EXPECT_EQ(std::make_pair(stream.CapPicture(path), stream.RefreshPlayWnd()),
              std::make_pair(1, 0));
    EXPECT_EQ(stream.GetPicSize(&w, &h), 0);
    EXPECT_EQ(std::make_tuple(w, h, stream.GetMediaInfo(&info)), std::make_tuple(640, 480, 0));
    stream.EnableFrameControl(1);
    EXPECT_TRUE(fakedecoder::Calls().empty());

    fakedecoder::Choices choices;
    choices.capPictureResult = 5;
    fakedecoder::Reset(choices);
    Feed(Packet(Fields(1, true), rtpgen::Nal(0x65, 20)));
    const long handle = stream.GetDecoderHandle();
    EXPECT_EQ(fakedecoder::CallsNamed("EnableFrameControl")[0].args[0], 1);
    EXPECT_EQ(std::make_pair(stream.CapPicture(path), stream.RefreshPlayWnd()),
              std::make_pair(5, 1));
    stream.GetPicSize(&w, &h);
    EXPECT_EQ(std::make_tuple(w, h, stream.GetMediaInfo(&info)), std::make_tuple(352, 288, 1));
    EXPECT_EQ(fakedecoder::CallsNamed("CapPicture")[0].path, path);
    EXPECT_EQ(std::make_pair(info.pt, info.v_width), std::make_pair(96, 352));

    Feed(Packet(Fields(2, false), rtpgen::FuA(rtpgen::Nal(0x65, 3000), 1400)[0]));
    stream.CloseStream();
    EXPECT_EQ(fakedecoder::CallsNamed("CloseDecode")[0].handle, handle);
    EXPECT_EQ(std::make_tuple(stream.m_DecHandle.load(), stream.m_iFrameCount, stream.m_pFrameList),
              std::make_tuple(-1l, 0, nullptr));
}

TEST_F(MediaTest, DecoderOutputIsPackedIntoRtpAndPicturesReachThePictureCallback) {
    stream.m_UserData = 8;
    char data[2500];
    for (int i = 0; i < 2500; ++i) {
        data[i] = static_cast<char>(i);
    }
    EXPECT_EQ(MFR_GotFrameCallBackProc(reinterpret_cast<long>(&stream), data, 2500), 0);
    ASSERT_EQ(g_capturedSends.size(), 3u);
    const Bytes& first = g_capturedSends[0].bytes;
    const Bytes& last = g_capturedSends[2].bytes;
    EXPECT_EQ(std::make_pair(first.size(), last.size()), std::make_pair(1036ul, 464ul));
    EXPECT_EQ(first[1] << 8 | last[1], 0x0888);  // payload type 8, the marker on the last
    EXPECT_EQ(((last[2] << 8) | last[3]) - ((first[2] << 8) | first[3]), 2);
    EXPECT_EQ(Bytes(first.begin() + 8, first.begin() + 12),
              Bytes(last.begin() + 8, last.begin() + 12));
    EXPECT_EQ(g_capturedSends[1].bytes[16], static_cast<uint8_t>(1024 + 4));
    EXPECT_EQ(std::make_pair(g_capturedSends[1].handle, g_capturedSends[1].reserved),
              std::make_pair(8l, 0l));
    EXPECT_EQ(DecDataCallbackProc(1, reinterpret_cast<long>(&stream), data, 10, 96), 0);
    EXPECT_EQ(g_capturedSends.back().bytes.size(), 22u);
    EXPECT_EQ(g_capturedSends.back().bytes[1], 0x88);

    NetPlay_SetGotPictureCallback(RecordPicture);
    char picture[] = "P";
    const long self = reinterpret_cast<long>(&stream);
    EXPECT_EQ(DecGotPictureCallBackProc(1, picture, 320, 240, 3, self), 0);
    EXPECT_EQ(g_picture, (std::vector<long long>{self, 'P', 320, 240, 3, 8}));
    EXPECT_EQ(DecGotPictureCallBackProc(1, picture, 320, 240, 3, 0), 1);
    // The decoder opened for the first frame hands its pictures back through the stream.
    g_picture.clear();
    Feed(Packet(Fields(1, true), rtpgen::Nal(0x65, 50)));
    ASSERT_TRUE(fakedecoder::DeliverPicture(stream.m_DecHandle, picture, 64, 48, 1));
    EXPECT_EQ(g_picture, (std::vector<long long>{self, 'P', 64, 48, 1, 8}));
}

TEST_F(MediaTest, FrameStuckAcrossTheSequenceWrapIsGivenUpAndTheStreamRecovers) {
    rtpgen::StreamShape shape;
    shape.gop = 1000;
    shape.keyFrameBytes = 3000;
    shape.deltaFrameBytes = 3000;  // three FU-A fragments per access unit
    // The first access unit runs 65534, 65535, 0 and can never complete.
    size_t peakPackets = 0;
    for (const auto& p : rtpgen::H264Stream(shape, 1500, 65534)) {
        Feed(p.datagram);
        if (stream.m_pFrameList != nullptr) {
            peakPackets = std::max<size_t>(peakPackets, stream.m_pFrameList->m_uPtCount);
        }
        ASSERT_LE(stream.m_iFrameCount, 1);
    }
    EXPECT_LE(peakPackets, CFrameList::kMaxPackets + 1);
    const auto frames = fakedecoder::Frames();
    ASSERT_GT(frames.size(), 100u);
    EXPECT_EQ(frames.back().bytes.size(), 4 + 3000u);
}

// Shared values must be safe to touch from both threads (run under ThreadSanitizer).
TEST_F(MediaTest, ApplicationCallsRunBesideTheReceiveThread) {
    fakedecoder::Choices choices;
    choices.keepFrames = false;
    fakedecoder::Reset(choices);
    std::atomic<bool> done{false};
    int framesCounted = 0;
    std::thread receiver([&] {
        for (rtpgen::StreamPacket& p : rtpgen::H264Stream(rtpgen::StreamShape(), 100, 1)) {
            Feed(p.datagram);
        }
        done = true;
    });
    char path[] = "/tmp/unused.bmp";
    MediaInfo_rtp info{};
    int w = 0;
    int h = 0;
    while (!done) {
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
