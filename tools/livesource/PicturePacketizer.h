// Cuts encoded pictures into RTP packets the way the player expects them. H.264
// (packetization mode 1): before every key frame an STAP-A with the SPS and PPS, then each
// slice as a single NAL unit or in FU-A fragments. H.265: before every key frame the VPS, SPS
// and PPS as single NAL unit packets, then each slice as a single NAL unit or in
// fragmentation units. MPEG-4: the video object plane cut into pieces. All packets of a
// picture share its time stamp; the marker is on the last one.
#pragma once

#include <cstdint>
#include <vector>

#include "livesource/VideoEncoder.h"
#include "rtspserver/RtpPacketBuilder.h"

namespace playersdk::livesource {

// RTP payload types the player expects for each codec (H.265 shares 96 with H.264: its
// rtpmap tells them apart), and the video clock.
constexpr uint8_t kH264PayloadType = 96;
constexpr uint8_t kMpeg4PayloadType = 97;
constexpr uint32_t kVideoClock = 90000;
constexpr size_t kMaxRtpPayload = 1400;

class CPicturePacketizer {
public:
    using Bytes = rtspserver::Bytes;

    // 'config' is the encoder's: the H.264 or H.265 parameter sets are taken from it. With
    // 'fragmentEverySlice' (H.264 only) a slice that would fit one packet goes in two FU-A
    // fragments too, so that every access unit arrives as a high-rate camera sends it (a
    // receiver may end a frame at a single NAL unit packet).
    CPicturePacketizer(VideoCodec codec, const std::vector<uint8_t>& config,
                       uint32_t ssrc = rtspserver::kDefaultSsrc, size_t maxPayload = kMaxRtpPayload,
                       bool fragmentEverySlice = false);

    // The packets of one picture, numbered on from the last call.
    std::vector<Bytes> Packetize(const EncodedPicture& picture, uint32_t timestamp);

private:
    std::vector<Bytes> PacketizeMpeg4(const EncodedPicture& picture, uint32_t timestamp);
    std::vector<Bytes> PacketizeH265(const EncodedPicture& picture, uint32_t timestamp);

    const VideoCodec m_codec;
    const size_t m_maxPayload;
    const bool m_fragmentEverySlice;
    Bytes m_vps;  // H.265 only
    Bytes m_sps;
    Bytes m_pps;
    rtspserver::RtpPacketBuilder m_builder;
};

}  // namespace playersdk::livesource
