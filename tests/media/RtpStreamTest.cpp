#include <cstring>
#include <string>
#include <tuple>

#include "MediaTestSupport.h"
#include "api/PlayContainer.h"
#include "media/RtpStream.h"

namespace {
using fakedecoder::Call;
using rtpgen::Bytes;
using rtpgen::Packet;
using rtpgen::RtpFields;

constexpr uint32_t kSsrc = 0x11223344;

RtpFields Fields(uint16_t seq, bool marker, uint8_t pt = 96) {
    RtpFields f;
    f.seq = seq;
    f.marker = marker;
    f.pt = pt;
    f.ssrc = kSsrc;
    return f;
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

std::vector<std::string> Names(const std::vector<Call>& calls) {
    std::vector<std::string> names;
    for (const Call& call : calls) {
        names.push_back(call.name);
    }
    return names;
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

    const std::vector<Call> calls = fakedecoder::Calls();
    EXPECT_EQ(Names(calls), (std::vector<std::string>{"Create", "SetDrawCb", "SetPlayWnd",
                                                      "SetTimeScale", "EnableFrameControl",
                                                      "SetPictureCallback", "InputVideoData"}));
    const long handle = calls[0].handle;
    EXPECT_EQ(stream.m_DecHandle, handle);
    EXPECT_EQ(calls[0].args, (std::vector<long long>{VT_H264, 42, 0, 0, 0, 0}));
    EXPECT_EQ(calls[1].drawCb, &Draw);
    EXPECT_EQ(calls[1].args, (std::vector<long long>{5}));
    EXPECT_EQ(calls[2].args, (std::vector<long long>{77, 1}));
    EXPECT_EQ(calls[3].args, (std::vector<long long>{90000}));
    EXPECT_EQ(calls[4].args, (std::vector<long long>{0}));
    const Bytes accessUnit = Cat({kStartCode, sps, kStartCode, pps, kStartCode, idr});
    EXPECT_EQ(calls[5].args, (std::vector<long long>{reinterpret_cast<long>(&stream)}));
    EXPECT_EQ(calls[6].handle, handle);
    EXPECT_EQ(calls[6].bytes, accessUnit);
    EXPECT_EQ(calls[6].args,
              (std::vector<long long>{static_cast<long long>(accessUnit.size()), kSsrc}));
    ASSERT_EQ(g_capturedFrames.size(), 1u);
    EXPECT_EQ(g_capturedFrames[0].handle, reinterpret_cast<long>(&stream));
    EXPECT_EQ(g_capturedFrames[0].bytes, accessUnit);
    EXPECT_EQ(g_capturedFrames[0].userdata, 42);

    // A single NAL unit packet ends its frame without a marker of its own.
    const Bytes slice = rtpgen::Nal(0x41, 300);
    Feed(Packet(Fields(104, false), slice));
    ASSERT_EQ(fakedecoder::Frames().size(), 2u);
    EXPECT_EQ(fakedecoder::Frames()[1].bytes, Cat({kStartCode, slice}));
    EXPECT_EQ(stream.m_iFrameCount, 0);
    EXPECT_EQ(stream.m_iTotalFrame, 2);
    EXPECT_EQ(stream.m_iTotalPacket, 5);
    EXPECT_EQ(stream.m_MediaType, 96);
    EXPECT_EQ(stream.m_CurTs, kSsrc);
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
    Feed(ir, Packet(Fields(1, true, 98), {1, 2, 3}));
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
    EXPECT_EQ(frames[0].bytes, (Bytes{0, 0, 1, 0xB0}));
    EXPECT_EQ(frames[0].args[1], 0);
    EXPECT_EQ(frames[1].bytes, vop);
    EXPECT_EQ(frames[1].args[1], kSsrc);

    // The hex text runs on into a following parameter; non-hex pairs leave their byte 0.
    CRtpStream other;
    other.SetDeviceDecInfo(Description(35, "config=0A0b;x=1AB2"));
    EXPECT_EQ(other.m_DeviceDecinfo.config_len, 5);
    EXPECT_EQ(Config(other, 6), (Bytes{0x0A, 0x0B, 0, 0, 0xAB, 0}));
}

TEST_F(MediaTest, H264ParameterSetsFromTheSdpAreStoredWithStartCodes) {
    stream.SetDeviceDecInfo(
        Description(96, "packetization-mode=1;sprop-parameter-sets=Z0IAH5Wo,aM48gA==", 45000));
    const Bytes sps = {0x67, 0x42, 0x00, 0x1F, 0x95, 0xA8};
    const Bytes pps = {0x68, 0xCE, 0x3C, 0x80};
    EXPECT_EQ(stream.m_iSipLength, 18);
    EXPECT_EQ(Config(stream, 18), Cat({kStartCode, sps, kStartCode, pps}));
    EXPECT_EQ(stream.m_iTimeScale, 45000);
    EXPECT_EQ(stream.m_DeviceDecinfo.picWidth, 640);

    // Without a comma: hexadecimal sets, Base64 ones (the older decoder), or "config=".
    CRtpStream hex;
    hex.SetDeviceDecInfo(Description(96, "sprop-parameter-sets=00000001674200;x=2"));
    EXPECT_EQ(hex.m_iSipLength, 7);
    EXPECT_EQ(Config(hex, 7), (Bytes{0, 0, 0, 1, 0x67, 0x42, 0}));
    CRtpStream named;
    named.SetDeviceDecInfo(Description(96, "profile=1;config=12AB;y"));
    EXPECT_EQ(named.m_iSipLength, 5);  // "config=12AB" converted name and all
    EXPECT_EQ(Config(named, 5), (Bytes{0xC0, 0x0F, 0x00, 0x01, 0x2A}));

    // Parameter sets too long for the work areas are not taken.
    const std::string huge =
        "sprop-parameter-sets=" + std::string(300, 'A') + "," + std::string(150, 'B');
    CRtpStream big;
    big.SetDeviceDecInfo(Description(96, huge.c_str()));
    EXPECT_EQ(big.m_iSipLength, 0);
    EXPECT_EQ(Config(big, 4), (Bytes{0, 0, 0, 0}));
}

TEST_F(MediaTest, FrameWithoutHandlerReachesTheFrameCallbackUntilItIsGivenUp) {
    Feed(Packet(Fields(5, true, 0), {'x', 'y'}));
    EXPECT_EQ(g_capturedFrames.size(), 201u);
    EXPECT_EQ(g_capturedFrames.back().bytes, (Bytes{'x', 'y'}));
    EXPECT_EQ(stream.m_iFrameCount, 0);
    EXPECT_TRUE(fakedecoder::Calls().empty());
}

TEST_F(MediaTest, HeaderLengthExtensionAndPaddingDecideWhereThePayloadIs) {
    Bytes twelve = Packet(Fields(1, true, 0), {});
    Feed(twelve);
    EXPECT_EQ(stream.m_iTotalPacket, 0);
    Bytes versionOne = Packet(Fields(2, true, 0), {0x55});
    versionOne[0] = 0x40;
    Feed(versionOne);
    EXPECT_EQ(stream.m_iTotalPacket, 1);
    EXPECT_EQ(stream.m_iFrameCount, 0);

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
    EXPECT_EQ(g_capturedSends[0].handle, 31);
    EXPECT_TRUE(g_capturedSends[0].bytes.empty());
    EXPECT_EQ(g_capturedSends[0].userdata, 31);
    EXPECT_EQ(g_capturedSends[0].reserved, 1);
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
    EXPECT_EQ(std::make_pair(w, h), std::make_pair(640, 480));
    EXPECT_EQ(stream.GetMediaInfo(&info), 0);
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
    EXPECT_EQ(fakedecoder::CallsNamed("CapPicture")[0].path, path);
    stream.GetPicSize(&w, &h);
    EXPECT_EQ(std::make_pair(w, h), std::make_pair(352, 288));
    EXPECT_EQ(stream.GetMediaInfo(&info), 1);
    EXPECT_EQ(std::make_pair(info.pt, info.v_width), std::make_pair(96, 352));
    stream.SetPlayHwnd(0x99);
    EXPECT_EQ(fakedecoder::CallsNamed("SetPlayWnd").back().args, (std::vector<long long>{0x99, 1}));
    EXPECT_EQ(fakedecoder::CallsNamed("SetDrawCb").size(), 2u);

    Feed(Packet(Fields(2, false), rtpgen::FuA(rtpgen::Nal(0x65, 3000), 1400)[0]));
    stream.CloseStream();
    EXPECT_EQ(fakedecoder::CallsNamed("CloseDecode")[0].handle, handle);
    EXPECT_EQ(std::make_pair(stream.m_DecHandle.load(), stream.m_iFrameCount),
              std::make_pair(-1l, 0));
    EXPECT_EQ(stream.m_pFrameList, nullptr);
}

TEST_F(MediaTest, DecoderOutputIsPackedIntoRtpForTheSendCallback) {
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
    // Payload type 8, the marker only on the last piece.
    EXPECT_EQ(first[1] << 8 | last[1], 0x0888);
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
    EXPECT_EQ(DecGotPictureCallBackProc(1, picture, 320, 240, 3, reinterpret_cast<long>(&stream)),
              0);
    EXPECT_EQ(g_picture,
              (std::vector<long long>{reinterpret_cast<long>(&stream), 'P', 320, 240, 3, 8}));
    EXPECT_EQ(DecGotPictureCallBackProc(1, picture, 320, 240, 3, 0), 1);

    // The decoder opened for the first frame hands its pictures back through the stream.
    g_picture.clear();
    Feed(Packet(Fields(1, true), rtpgen::Nal(0x65, 50)));
    ASSERT_TRUE(fakedecoder::DeliverPicture(stream.m_DecHandle, picture, 64, 48, 1));
    EXPECT_EQ(g_picture,
              (std::vector<long long>{reinterpret_cast<long>(&stream), 'P', 64, 48, 1, 8}));
    NetPlay_SetGotPictureCallback(nullptr);
}

TEST_F(MediaTest, FrameStuckAcrossTheSequenceWrapIsGivenUpAndTheStreamRecovers) {
    rtpgen::StreamShape shape;
    shape.gop = 1000;
    shape.keyFrameBytes = 3000;
    shape.deltaFrameBytes = 3000;  // three FU-A fragments per access unit
    // The first access unit runs 65534, 65535, 0: it can never complete, and every later packet
    // of the source joins it.
    const auto packets = rtpgen::H264Stream(shape, 1500, 65534);
    size_t peakPackets = 0;
    for (const auto& p : packets) {
        Feed(p.datagram);
        if (stream.m_pFrameList != nullptr) {
            peakPackets = std::max<size_t>(peakPackets, stream.m_pFrameList->m_uPtCount);
        }
        ASSERT_LE(stream.m_iFrameCount, 1);
    }
    EXPECT_LE(peakPackets, CFrameList::kMaxPackets + 1);
    // Once the stuck frame is dropped, the access units that follow are delivered whole.
    const auto frames = fakedecoder::Frames();
    ASSERT_GT(frames.size(), 100u);
    EXPECT_EQ(frames.back().bytes.size(), 4 + 3000u);
}
