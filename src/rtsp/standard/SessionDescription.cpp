#include "rtsp/standard/SessionDescription.h"

namespace playersdk::standard {
namespace {
constexpr uint32_t kMaxPayloadType = 127;

std::optional<uint8_t> ParsePayloadType(std::string_view text) {
    auto pt = ParseDecimal(TrimBlanks(text), kMaxPayloadType);
    return pt ? std::optional<uint8_t>(static_cast<uint8_t>(*pt)) : std::nullopt;
}

// "m=video 0 RTP/AVP 96 97"
SdpMedia ParseMediaLine(std::string_view value) {
    SdpMedia media;
    media.type = std::string(NextPiece(value, ' '));
    std::string_view portText = NextPiece(value, ' ');
    auto port = ParseDecimal(NextPiece(portText, '/'), 65535);  // "port/count" keeps the port
    media.port = static_cast<uint16_t>(port.value_or(0));
    media.protocol = std::string(NextPiece(value, ' '));
    while (!value.empty()) {
        if (auto pt = ParsePayloadType(NextPiece(value, ' '))) {
            media.payloadTypes.push_back(*pt);
        }
    }
    return media;
}

// "96 H264/90000" or "97 mpeg4-generic/8000/2"
std::optional<SdpRtpMap> ParseRtpMap(std::string_view value) {
    auto pt = ParsePayloadType(NextPiece(value, ' '));
    std::string_view name = TrimBlanks(NextPiece(value, '/'));
    auto clock = ParseDecimal(TrimBlanks(NextPiece(value, '/')), UINT32_MAX);
    if (!pt || name.empty() || !clock) {
        return std::nullopt;
    }
    return SdpRtpMap{*pt, std::string(name), static_cast<uint32_t>(*clock)};
}

// "96 packetization-mode=1;sprop-parameter-sets=Z0IA,aM4="
std::optional<SdpFmtp> ParseFmtp(std::string_view value) {
    auto pt = ParsePayloadType(NextPiece(value, ' '));
    if (!pt) {
        return std::nullopt;
    }
    SdpFmtp fmtp{*pt, {}};
    while (!value.empty()) {
        KeyValue kv = SplitKeyValue(NextPiece(value, ';'));
        if (!kv.key.empty()) {
            fmtp.parameters.emplace_back(std::string(kv.key), std::string(kv.value));
        }
    }
    return fmtp;
}

// Attributes that may stand at session or media level.
void ApplyAttribute(std::string_view name, std::string_view value, std::string& control,
                    std::optional<NptRange>& range) {
    if (name == "control") {
        control = std::string(TrimBlanks(value));
    } else if (name == "range") {
        range = ParseRange(value);
    }
}

void ApplyMediaAttribute(std::string_view name, std::string_view value, SdpMedia& media) {
    if (name == "rtpmap") {
        if (auto map = ParseRtpMap(value)) {
            media.rtpmaps.push_back(std::move(*map));
        }
    } else if (name == "fmtp") {
        if (auto fmtp = ParseFmtp(value)) {
            media.fmtps.push_back(std::move(*fmtp));
        }
    } else if (name == "framerate" || name == "x-framerate") {
        media.framerate = ParseSeconds(TrimBlanks(value));
    } else {
        ApplyAttribute(name, value, media.control, media.range);
    }
}

std::optional<VideoCodec> CodecNamed(std::string_view name, bool withH265) {
    if (EqualsIgnoreCase(name, "H264")) {
        return VideoCodec::H264;
    }
    if (EqualsIgnoreCase(name, "MP4V-ES")) {
        return VideoCodec::Mpeg4;
    }
    if (withH265 && EqualsIgnoreCase(name, "H265")) {
        return VideoCodec::H265;
    }
    return std::nullopt;
}

std::optional<uint32_t> NumberParameter(std::string_view value) {
    auto n = ParseDecimal(value, UINT32_MAX);
    return n ? std::optional<uint32_t>(static_cast<uint32_t>(*n)) : std::nullopt;
}

void ApplyFmtp(const SdpFmtp& fmtp, VideoTrack& track) {
    for (const auto& [name, value] : fmtp.parameters) {
        if (EqualsIgnoreCase(name, "sprop-parameter-sets")) {
            track.spropParameterSets = value;
        } else if (EqualsIgnoreCase(name, "profile-level-id")) {
            track.profileLevelId = value;
        } else if (EqualsIgnoreCase(name, "packetization-mode")) {
            track.packetizationMode = NumberParameter(value);
        } else if (EqualsIgnoreCase(name, "config")) {
            track.config = value;
        } else if (EqualsIgnoreCase(name, "sprop-vps")) {
            track.spropVps = value;
        } else if (EqualsIgnoreCase(name, "sprop-sps")) {
            track.spropSps = value;
        } else if (EqualsIgnoreCase(name, "sprop-pps")) {
            track.spropPps = value;
        } else if (EqualsIgnoreCase(name, "sprop-max-don-diff")) {
            track.spropMaxDonDiff = NumberParameter(value);
        }
    }
}
}  // namespace

SessionDescription ParseSessionDescription(std::string_view body) {
    SessionDescription sdp;
    while (!body.empty()) {
        std::string_view line = NextPiece(body, '\n');
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (line.size() < 2 || line[1] != '=') {
            continue;
        }
        std::string_view value = line.substr(2);
        if (line[0] == 'm') {
            sdp.media.push_back(ParseMediaLine(value));
            continue;
        }
        if (line[0] != 'a') {
            continue;
        }
        std::string_view name = NextPiece(value, ':');
        if (sdp.media.empty()) {
            ApplyAttribute(name, value, sdp.control, sdp.range);
        } else {
            ApplyMediaAttribute(name, value, sdp.media.back());
        }
    }
    return sdp;
}

std::optional<VideoTrack> ChooseVideoTrack(const SessionDescription& sdp, bool withH265) {
    for (size_t i = 0; i < sdp.media.size(); ++i) {
        const SdpMedia& media = sdp.media[i];
        if (media.type != "video") {
            continue;
        }
        for (const SdpRtpMap& map : media.rtpmaps) {
            auto codec = CodecNamed(map.encodingName, withH265);
            bool listed = false;
            for (uint8_t pt : media.payloadTypes) {
                listed = listed || pt == map.payloadType;
            }
            if (!codec || !listed) {
                continue;
            }
            VideoTrack track;
            track.mediaIndex = i;
            track.codec = *codec;
            track.payloadType = map.payloadType;
            track.clockRate = map.clockRate;
            track.control = media.control;
            track.framerate = media.framerate;
            const std::optional<NptRange>& range = media.range ? media.range : sdp.range;
            track.stored = range && range->end.has_value();
            for (const SdpFmtp& fmtp : media.fmtps) {
                if (fmtp.payloadType == map.payloadType) {
                    ApplyFmtp(fmtp, track);
                }
            }
            return track;
        }
    }
    return std::nullopt;
}

}  // namespace playersdk::standard
