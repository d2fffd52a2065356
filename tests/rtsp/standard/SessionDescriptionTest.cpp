#include "rtsp/standard/SessionDescription.h"

#include <gtest/gtest.h>

#include "rtsp/standard/Captures.h"

using namespace playersdk::standard;

namespace {
std::optional<VideoTrack> CapturedVideo(const char* name) {
    return ChooseVideoTrack(ParseSessionDescription(playersdk::test::CapturedReply(name).body));
}
}  // namespace

TEST(StandardSdp, ChoosesTheH264TrackOfEachCapturedServer) {
    struct Case {
        const char* capture;
        const char* control;
        const char* spropParameterSets;
        const char* profileLevelId;
        std::optional<double> framerate;
    };
    const Case cases[] = {
        {"gstreamer-describe.txt", "stream=0",
         "Z0LAFdkBQfsBagwMDUoAAAMAAgAAAwB5HixckA==,aMuMsg==", "42c015", 30.0},
        {"vlc-describe.txt", "rtsp://127.0.0.1:57165/test/trackID=0",
         "Z/QADZDZsoKD9gLUGBgZAAADAAEAAAMAMo8UKZY=,aOvsRIRA", "f4000d", std::nullopt},
        {"perl-describe.txt", "streamid=0", "Z0LAHtkDxWhAAAADAEAAAAwDxYuS,aMuMsg==", "42C01E",
         std::nullopt},
    };
    for (const Case& c : cases) {
        auto track = CapturedVideo(c.capture);
        ASSERT_TRUE(track) << c.capture;
        EXPECT_EQ(track->codec, VideoCodec::H264) << c.capture;
        EXPECT_EQ(track->payloadType, 96) << c.capture;
        EXPECT_EQ(track->clockRate, 90000u) << c.capture;
        EXPECT_EQ(track->control, c.control) << c.capture;
        EXPECT_EQ(track->spropParameterSets, c.spropParameterSets) << c.capture;
        EXPECT_EQ(track->profileLevelId, c.profileLevelId) << c.capture;
        EXPECT_EQ(track->packetizationMode, 1u) << c.capture;
        EXPECT_EQ(track->framerate, c.framerate) << c.capture;
        EXPECT_FALSE(track->stored) << c.capture;  // all three serve live sources
    }
}

TEST(StandardSdp, ReadsSessionLevelControlAndRange) {
    SessionDescription sdp =
        ParseSessionDescription(playersdk::test::CapturedReply("gstreamer-describe.txt").body);
    EXPECT_EQ(sdp.control, "*");
    ASSERT_TRUE(sdp.range);
    EXPECT_FALSE(sdp.range->end);
    ASSERT_EQ(sdp.media.size(), 1u);
    EXPECT_EQ(sdp.media[0].protocol, "RTP/AVP");
}

TEST(StandardSdp, ChoosesByEncodingNameNeverByPayloadNumber) {
    struct Case {
        const char* sdp;
        std::optional<uint8_t> payloadType;  // of the chosen track; nothing when none is
    };
    const Case cases[] = {
        // A metadata section before the video is passed over.
        {"m=application 0 RTP/AVP 107\na=rtpmap:107 vnd.onvif.metadata/90000\n"
         "m=video 0 RTP/AVP 98\na=rtpmap:98 H264/90000\n",
         98},
        // Payload 96 is JPEG here, the H.264 format comes second.
        {"m=video 0 RTP/AVP 96 97\na=rtpmap:96 JPEG/90000\na=rtpmap:97 H264/90000\n", 97},
        // An H.264 map with no place in the m= line does not count.
        {"m=video 0 RTP/AVP 26\na=rtpmap:96 H264/90000\n", std::nullopt},
        // A video section the library cannot decode, then one it can.
        {"m=video 0 RTP/AVP 96\na=rtpmap:96 VP8/90000\nm=video 0 RTP/AVP 35\n"
         "a=rtpmap:35 MP4V-ES/90000\n",
         35},
        {"m=audio 0 RTP/AVP 96\na=rtpmap:96 H264/90000\n", std::nullopt},
        {"m=application 0 RTP/AVP 96\na=rtpmap:96 H264/90000\n", std::nullopt},
        {"m=video 0 RTP/AVP 96\na=rtpmap:96 H265/90000\n", std::nullopt},
    };
    for (const Case& c : cases) {
        auto track = ChooseVideoTrack(ParseSessionDescription(c.sdp));
        EXPECT_EQ(track ? std::optional<uint8_t>(track->payloadType) : std::nullopt, c.payloadType)
            << c.sdp;
    }
}

TEST(StandardSdp, ReadsH265AndMpeg4ConfigurationAndTheStoredRange) {
    auto h265 = ChooseVideoTrack(
        ParseSessionDescription("v=0\r\na=range:npt=0-3600.5\r\nm=video 0 RTP/AVP 98\r\n"
                                "a=rtpmap:98 H265/90000\r\na=fmtp:98 sprop-vps=QAEM;sprop-sps=QgEB;"
                                "sprop-pps=RAHA;sprop-max-don-diff=2\r\na=control:track1\r\n"),
        true);
    ASSERT_TRUE(h265);
    EXPECT_EQ(h265->codec, VideoCodec::H265);
    EXPECT_EQ(h265->spropVps, "QAEM");
    EXPECT_EQ(h265->spropSps, "QgEB");
    EXPECT_EQ(h265->spropPps, "RAHA");
    EXPECT_EQ(h265->spropMaxDonDiff, 2u);
    EXPECT_TRUE(h265->stored);

    auto mpeg4 = ChooseVideoTrack(ParseSessionDescription(
        "m=video 0 RTP/AVP 96\na=rtpmap:96 MP4V-ES/90000\n"
        "a=fmtp:96 profile-level-id=1;config=000001B001\na=range:npt=now-\na=framerate:12.5\n"));
    ASSERT_TRUE(mpeg4);
    EXPECT_EQ(mpeg4->codec, VideoCodec::Mpeg4);
    EXPECT_EQ(mpeg4->config, "000001B001");
    EXPECT_EQ(mpeg4->framerate, 12.5);
    EXPECT_FALSE(mpeg4->stored);
}
