#include "livesource/LiveSource.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <thread>

#include "AvSupport.h"
#include "PlayerSDK.h"
#include "TcpClient.h"
#include "livesource/TestPattern.h"
#include "media/H265Depacketizer.h"
#include "media/H265Nal.h"
#include "rtpgen/RtpGen.h"
#include "rtspserver/RtspStreamParser.h"

using namespace playersdk::livesource;
using namespace playersdk::rtspserver;
using namespace playersdk::rtspserver::test;
using Clock = std::chrono::steady_clock;

namespace {
constexpr uint8_t kStapA = 24;
constexpr uint8_t kFuA = 28;

struct RtpView {
    uint8_t payloadType;
    bool marker;
    uint16_t sequence;
    uint32_t timestamp;
    Bytes payload;
};

RtpView Parse(const Bytes& p) {
    return {static_cast<uint8_t>(p[1] & 0x7F), (p[1] & 0x80) != 0,
            static_cast<uint16_t>(p[2] << 8 | p[3]),
            static_cast<uint32_t>(p[4] << 24 | p[5] << 16 | p[6] << 8 | p[7]),
            Bytes(p.begin() + 12, p.end())};
}

// The slices of a picture as the player rebuilds them from single NAL units and fragments.
std::vector<Bytes> JoinSlices(const std::vector<Bytes>& packets) {
    std::vector<Bytes> slices;
    for (const Bytes& packet : packets) {
        const Bytes payload = Parse(packet).payload;
        const uint8_t type = payload[0] & 0x1F;
        if (type == kFuA && (payload[1] & 0x80)) {
            slices.push_back({static_cast<uint8_t>((payload[0] & 0xE0) | (payload[1] & 0x1F))});
        }
        if (type == kFuA) {
            slices.back().insert(slices.back().end(), payload.begin() + 2, payload.end());
        } else if (type != kStapA) {
            slices.push_back(payload);
        }
    }
    return slices;
}

std::vector<EncodedPicture> EncodeFrames(VideoCodec codec, int count, int forcedKeyAt) {
    CVideoEncoder encoder;
    std::vector<EncodedPicture> pictures;
    EXPECT_TRUE(encoder.Open(codec, 320, 240, 25, 25));
    for (int i = 0; i < count; ++i) {
        encoder.Encode(DrawTestPattern(320, 240, i), i == forcedKeyAt, pictures);
    }
    return pictures;
}

std::vector<uint8_t> ConfigOf(VideoCodec codec) {
    CVideoEncoder encoder;
    encoder.Open(codec, 320, 240, 25, 25);
    return encoder.config();
}

// What a playing client reads: interleaved RTP packets, until 'pictures' markers came.
std::vector<Bytes> ReadPictures(TcpClient& client, int pictures) {
    RtspStreamParser parser;
    std::vector<Bytes> packets;
    int markers = 0;
    while (markers < pictures) {
        const std::string bytes = client.ReadSome();
        if (bytes.empty()) {
            break;
        }
        RtspStreamParser::Output out;
        parser.Feed(bytes.data(), bytes.size(), out);
        for (const ReceivedFrame& frame : out.frames) {
            packets.push_back(frame.payload);
            markers += Parse(frame.payload).marker;
        }
    }
    return packets;
}

bool WaitFor(const std::function<bool()>& condition) {
    const auto deadline = Clock::now() + std::chrono::seconds(3);
    while (!condition() && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return condition();
}
}  // namespace

TEST(TestPattern, BandShowsTheFrameNumberAlsoInAScaledPicture) {
    for (uint32_t frame : {0u, 1u, 0x5A5Au, 0xFFFFu}) {
        const Picture picture = DrawTestPattern(320, 240, frame);
        EXPECT_EQ(ReadFrameNumber(picture), static_cast<int>(frame));
        Picture scaled;
        scaled.width = 480;
        scaled.height = 360;
        scaled.bgr.resize(480 * 360 * 3);
        ASSERT_TRUE(playerdecoder::CPixelConverter().Convert(playerdecoder::PlanesOf(picture),
                                                             playerdecoder::PlanesOf(scaled)));
        EXPECT_EQ(ReadFrameNumber(scaled), static_cast<int>(frame));
    }
    EXPECT_EQ(DrawTestPattern(320, 240, 0x10007).bgr, DrawTestPattern(320, 240, 7).bgr);
    EXPECT_NE(DrawTestPattern(320, 240, 1).bgr, DrawTestPattern(320, 240, 0).bgr)
        << "the box moves";

    Picture grey = DrawTestPattern(64, 48, 3);
    std::fill(grey.bgr.begin(), grey.bgr.end(), 128);
    EXPECT_EQ(ReadFrameNumber(grey), -1);
    EXPECT_TRUE(DrawTestPattern(8, 8, 0).empty());
}

TEST(PicturePacketizer, H264KeyFramesStartWithTheParameterSetsAndBigSlicesTravelInFragments) {
    const std::vector<uint8_t> config = ConfigOf(VideoCodec::kH264);
    const std::vector<EncodedPicture> pictures = EncodeFrames(VideoCodec::kH264, 3, 2);
    ASSERT_EQ(pictures.size(), 3u);
    EXPECT_TRUE(pictures[0].key);
    EXPECT_FALSE(pictures[1].key);
    EXPECT_TRUE(pictures[2].key) << "a key frame on request";
    const std::vector<NalUnit> sets = AnnexBUnits(config);
    ASSERT_EQ(sets.size(), 2u);
    constexpr size_t kMaxPayload = 300;  // the pictures are small: their slices must be cut
    CPicturePacketizer packetizer(VideoCodec::kH264, config, kDefaultSsrc, kMaxPayload);
    uint16_t sequence = 0;

    for (size_t i = 0; i < pictures.size(); ++i) {
        const std::vector<Bytes> packets = packetizer.Packetize(pictures[i], 3600 * i);
        ASSERT_GE(packets.size(), pictures[i].key ? 3u : 1u);
        for (size_t k = 0; k < packets.size(); ++k) {
            const RtpView rtp = Parse(packets[k]);
            EXPECT_EQ(rtp.payloadType, 96);
            EXPECT_EQ(rtp.timestamp, 3600 * i);
            EXPECT_EQ(rtp.marker, k + 1 == packets.size());
            EXPECT_LE(rtp.payload.size(), kMaxPayload);
            EXPECT_EQ(rtp.sequence, sequence++);
        }
        const Bytes first = Parse(packets[0]).payload;
        EXPECT_EQ(first == rtpgen::StapA(sets[0].bytes(), sets[1].bytes()), pictures[i].key);
        std::vector<Bytes> slices;
        for (const NalUnit& unit : AnnexBUnits(pictures[i].bytes)) {
            if (unit.type() == 1 || unit.type() == 5) {
                slices.push_back(unit.bytes());
            }
        }
        EXPECT_EQ(JoinSlices(packets), slices);
    }
}

TEST(PicturePacketizer, SmallSlicesTravelInTwoFragmentsWhenEverySliceIsFragmented) {
    const std::vector<EncodedPicture> pictures = EncodeFrames(VideoCodec::kH264, 3, -1);
    ASSERT_EQ(pictures.size(), 3u);
    CPicturePacketizer packetizer(VideoCodec::kH264, ConfigOf(VideoCodec::kH264), kDefaultSsrc,
                                  kMaxRtpPayload, true);
    for (const EncodedPicture& picture : pictures) {
        const std::vector<Bytes> packets = packetizer.Packetize(picture, 0);
        size_t fragments = 0;
        for (const Bytes& packet : packets) {
            const Bytes payload = Parse(packet).payload;
            EXPECT_LE(payload.size(), kMaxRtpPayload);
            EXPECT_NE(payload[0] & 0x1F, 1) << "a slice in a single NAL unit packet";
            fragments += (payload[0] & 0x1F) == kFuA;
        }
        EXPECT_GE(fragments, 2u);
        std::vector<Bytes> slices;
        for (const NalUnit& unit : AnnexBUnits(picture.bytes)) {
            if (unit.type() == 1 || unit.type() == 5) {
                slices.push_back(unit.bytes());
            }
        }
        EXPECT_EQ(JoinSlices(packets), slices);
    }
    ASSERT_LT(pictures[1].bytes.size(), kMaxRtpPayload) << "the case needs a small slice";
}

TEST(PicturePacketizer, Mpeg4PicturesAreCutIntoPiecesThatJoinBackWhole) {
    const std::vector<EncodedPicture> pictures = EncodeFrames(VideoCodec::kMpeg4, 2, -1);
    ASSERT_EQ(pictures.size(), 2u);
    CPicturePacketizer packetizer(VideoCodec::kMpeg4, ConfigOf(VideoCodec::kMpeg4), kDefaultSsrc,
                                  300);
    for (const EncodedPicture& picture : pictures) {
        const std::vector<Bytes> packets = packetizer.Packetize(picture, 7200);
        EXPECT_GT(packets.size(), 1u);
        Bytes joined;
        for (size_t k = 0; k < packets.size(); ++k) {
            const RtpView rtp = Parse(packets[k]);
            EXPECT_EQ(rtp.payloadType, 97);
            EXPECT_EQ(rtp.marker, k + 1 == packets.size());
            joined.insert(joined.end(), rtp.payload.begin(), rtp.payload.end());
        }
        EXPECT_EQ(joined, picture.bytes);
    }
}

TEST(PicturePacketizer, H265PicturesComeBackWholeThroughTheDepacketizerWithTheSdpSetsFirst) {
    namespace h265 = playersdk::h265;
    CLiveSource source({VideoCodec::kH265});
    ASSERT_TRUE(source.Start());
    const std::string& sdp = source.sdp();
    ASSERT_NE(sdp.find("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H265/90000\r\na=fmtp:96 sprop-vps="),
              std::string::npos);
    const size_t at = sdp.find("a=fmtp:96 ") + 10;
    playersdk::CH265Depacketizer depacketizer;
    ASSERT_TRUE(depacketizer.SetFormatParameters(sdp.substr(at, sdp.find("\r\n", at) - at)));
    const std::vector<uint8_t> config = ConfigOf(VideoCodec::kH265);
    Bytes sets;
    for (const NalUnit& unit : AnnexBUnits(config)) {
        if (h265::IsParameterSet(h265::NalType(unit.data[0]))) {
            sets.insert(sets.end(), {0, 0, 0, 1});
            sets.insert(sets.end(), unit.data, unit.data + unit.size);
        }
    }
    EXPECT_EQ(depacketizer.parameterSets(), sets);
    const std::vector<EncodedPicture> pictures = EncodeFrames(VideoCodec::kH265, 3, 2);
    ASSERT_EQ(pictures.size(), 3u);
    constexpr size_t kMaxPayload = 100;  // the pictures are small: their slices must be cut
    CPicturePacketizer packetizer(VideoCodec::kH265, config, kDefaultSsrc, kMaxPayload);
    int fragments = 0;

    for (size_t i = 0; i < pictures.size(); ++i) {
        const std::vector<Bytes> packets = packetizer.Packetize(pictures[i], 3600 * i);
        for (const Bytes& packet : packets) {
            const RtpView rtp = Parse(packet);
            EXPECT_EQ(rtp.payloadType, 96);
            EXPECT_LE(rtp.payload.size(), kMaxPayload);
            fragments += h265::NalType(rtp.payload[0]) == h265::kNalFragment;
            EXPECT_EQ(depacketizer.Input(rtp.payload.data(), rtp.payload.size(), rtp.timestamp,
                                         rtp.sequence, rtp.marker),
                      playersdk::H265Drop::kNone);
        }
        playersdk::H265AccessUnit unit;
        ASSERT_TRUE(depacketizer.Take(unit));
        Bytes expected = i == 0 ? sets : Bytes();  // the SDP's sets go first, once
        if (pictures[i].key) {
            expected.insert(expected.end(), sets.begin(), sets.end());
        }
        for (const NalUnit& nal : AnnexBUnits(pictures[i].bytes)) {
            if (h265::NalType(nal.data[0]) <= h265::kNalVclLast) {
                expected.insert(expected.end(), {0, 0, 0, 1});
                expected.insert(expected.end(), nal.data, nal.data + nal.size);
            }
        }
        EXPECT_EQ(unit.bytes, expected) << "picture " << i;
        EXPECT_EQ(unit.key, pictures[i].key);
    }
    EXPECT_GT(fragments, 2);
}

TEST(LiveSource, SdpNamesTheEncodersConfigurationFrameRateAndPictureSize) {
    CLiveSource h264;
    ASSERT_TRUE(h264.Start());
    TcpClient client(h264.server().port());
    ASSERT_TRUE(client.Send(Describe(1)));
    const std::string reply = client.ReadReply();
    EXPECT_EQ(reply.substr(reply.find("\r\n\r\n") + 4), h264.sdp());
    const std::string& sdp = h264.sdp();
    EXPECT_NE(sdp.find("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\n"
                       "a=fmtp:96 packetization-mode=1;profile-level-id="),
              std::string::npos);
    EXPECT_NE(sdp.find("a=control:trackID=1\r\na=framerate:25\r\na=cliprect:0,0,320,240\r\n"),
              std::string::npos);
    const size_t at = sdp.find("sprop-parameter-sets=") + 21;
    const size_t comma = sdp.find(',', at), end = sdp.find("\r\n", at);
    const std::vector<uint8_t> config = ConfigOf(VideoCodec::kH264);
    const std::vector<NalUnit> sets = AnnexBUnits(config);
    for (auto [text, expected] :
         {std::pair(sdp.substr(at, comma - at), sets.at(0).bytes()),
          std::pair(sdp.substr(comma + 1, end - comma - 1), sets.at(1).bytes())}) {
        std::vector<char> decoded(text.size() + 4);
        const int n = Base64decode(decoded.data(), text.c_str());
        EXPECT_EQ(Bytes(decoded.begin(), decoded.begin() + n), expected);
    }

    CLiveSource mpeg4({VideoCodec::kMpeg4});
    ASSERT_TRUE(mpeg4.Start());
    std::string hex;
    for (uint8_t b : ConfigOf(VideoCodec::kMpeg4)) {
        hex += "0123456789ABCDEF"[b >> 4];
        hex += "0123456789ABCDEF"[b & 15];
    }
    EXPECT_NE(mpeg4.sdp().find("m=video 0 RTP/AVP 97\r\na=rtpmap:97 MP4V-ES/90000\r\n"
                               "a=fmtp:97 profile-level-id=1;config=" +
                               hex + "\r\na=control:trackID=1\r\n"),
              std::string::npos);
}

TEST(LiveSource, PlayingClientsGetPacedPicturesFromAKeyFrameOverTcpOrUdp) {
    CLiveSource source;
    ASSERT_TRUE(source.Start());
    const uint16_t port = source.server().port();
    TcpClient tcp(port), udpControl(port), idle(port);
    uint16_t udpPort = 0;
    const int udp = BindLoopback(SOCK_DGRAM, 0, udpPort);
    ASSERT_GE(udp, 0);
    ASSERT_TRUE(idle.Send(SetupRequest(1, "RTP/AVP/TCP;unicast;interleaved=0-1")));
    idle.ReadReply();
    ASSERT_TRUE(
        udpControl.Send(SetupRequest(1, "RTP/AVP;unicast;client_port=" + std::to_string(udpPort) +
                                            "-" + std::to_string(udpPort + 1))));
    udpControl.ReadReply();
    ASSERT_TRUE(tcp.Send(SetupRequest(1, "RTP/AVP/TCP;unicast;interleaved=0-1")));
    tcp.ReadReply();

    ASSERT_TRUE(tcp.Send(Request("PLAY", 2)));
    EXPECT_NE(tcp.ReadReply().find("200 OK"), std::string::npos);
    const auto start = Clock::now();
    const std::vector<Bytes> packets = ReadPictures(tcp, 8);
    const auto elapsed = Clock::now() - start;
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(Parse(packets[0]).payload[0] & 0x1F, kStapA) << "the first picture is a key frame";
    EXPECT_GE(elapsed, std::chrono::milliseconds(7 * 40 - 40)) << "25 pictures a second";
    uint32_t pictures = 0;
    for (size_t k = 1; k < packets.size(); ++k) {
        const RtpView previous = Parse(packets[k - 1]), rtp = Parse(packets[k]);
        EXPECT_EQ(static_cast<uint16_t>(rtp.sequence - previous.sequence), 1);
        EXPECT_EQ(rtp.timestamp - previous.timestamp, previous.marker ? 3600u : 0u);
        pictures += previous.marker;
    }
    EXPECT_EQ(pictures, 7u);

    ASSERT_TRUE(udpControl.Send(Request("PLAY", 2)));
    udpControl.ReadReply();
    pollfd ready{udp, POLLIN, 0};
    ASSERT_EQ(poll(&ready, 1, 3000), 1);
    uint8_t datagram[2048];
    const ssize_t n = recv(udp, datagram, sizeof(datagram), 0);
    ASSERT_GT(n, 12);
    EXPECT_EQ(datagram[12] & 0x1F, kStapA) << "a new client starts at a key frame";
    EXPECT_EQ(source.clientCount(), 2u);
    EXPECT_EQ(idle.ReadSome(100), "") << "nothing without PLAY";

    ASSERT_TRUE(tcp.Send(Request("TEARDOWN", 3)));
    EXPECT_TRUE(WaitFor([&] { return source.clientCount() == 1; }));
    udpControl.Close();
    EXPECT_TRUE(WaitFor([&] { return source.clientCount() == 0; })) << "a closed session ends";
    EXPECT_GT(source.framesEncoded(), 8u);
    close(udp);
}
