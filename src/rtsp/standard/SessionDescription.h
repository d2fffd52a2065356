// The session description of a DESCRIBE reply: sessions, media sections, and the video
// track this library can play, chosen by encoding name (never by payload number).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rtsp/standard/ReplyHeaders.h"

namespace playersdk::standard {

struct SdpRtpMap {
    uint8_t payloadType = 0;
    std::string encodingName;  // as written ("H264", "MP4V-ES")
    uint32_t clockRate = 0;
};

struct SdpFmtp {
    uint8_t payloadType = 0;
    std::vector<std::pair<std::string, std::string>> parameters;  // in order, names as written
};

struct SdpMedia {
    std::string type;  // "video", "audio", "application", ...
    uint16_t port = 0;
    std::string protocol;               // "RTP/AVP"
    std::vector<uint8_t> payloadTypes;  // the formats of the m= line that are numbers
    std::string control;
    std::optional<NptRange> range;
    std::optional<double> framerate;
    std::vector<SdpRtpMap> rtpmaps;
    std::vector<SdpFmtp> fmtps;
};

struct SessionDescription {
    std::string control;  // session level
    std::optional<NptRange> range;
    std::vector<SdpMedia> media;
};

// Every line is "x=value" ending in "\r\n" or "\n"; lines of any other form are passed over.
SessionDescription ParseSessionDescription(std::string_view body);

enum class VideoCodec { H264, Mpeg4, H265 };

struct VideoTrack {
    size_t mediaIndex = 0;
    VideoCodec codec = VideoCodec::H264;
    uint8_t payloadType = 0;
    uint32_t clockRate = 0;
    std::string control;  // as written; resolve it against the reply's base
    std::optional<double> framerate;
    bool stored = false;  // the range has an end: a recording, not a live source
    // Codec configuration from a=fmtp (empty or absent when not given).
    std::string spropParameterSets;
    std::string profileLevelId;
    std::optional<uint32_t> packetizationMode;
    std::string config;  // MPEG-4 configuration, hexadecimal
    std::string spropVps;
    std::string spropSps;
    std::string spropPps;
    std::optional<uint32_t> spropMaxDonDiff;
};

// The first video section whose format maps to H264 or MP4V-ES (and H265 when withH265),
// or nothing. Application and metadata sections are never chosen.
std::optional<VideoTrack> ChooseVideoTrack(const SessionDescription& sdp, bool withH265 = false);

}  // namespace playersdk::standard
