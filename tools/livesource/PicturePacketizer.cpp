#include "livesource/PicturePacketizer.h"

#include <algorithm>

#include "media/H265Nal.h"
#include "rtpgen/RtpGen.h"

namespace playersdk::livesource {
namespace {
constexpr uint8_t kNalSei = 6;
constexpr uint8_t kNalSps = 7;
constexpr uint8_t kNalPps = 8;
constexpr uint8_t kNalDelimiter = 9;

// Parameter sets travel apart; SEI and delimiters are of no use to the player's decoder.
bool IsSlice(const NalUnit& unit) {
    const uint8_t type = unit.type();
    return unit.size > 0 && type != kNalSei && type != kNalSps && type != kNalPps &&
           type != kNalDelimiter;
}
}  // namespace

CPicturePacketizer::CPicturePacketizer(VideoCodec codec, const std::vector<uint8_t>& config,
                                       uint32_t ssrc, size_t maxPayload, bool fragmentEverySlice)
    : m_codec(codec),
      m_maxPayload(std::max<size_t>(maxPayload, 3)),
      m_fragmentEverySlice(fragmentEverySlice),
      m_builder(codec == VideoCodec::kMpeg4 ? kMpeg4PayloadType : kH264PayloadType, ssrc) {
    namespace h265 = playersdk::h265;
    for (const NalUnit& unit : AnnexBUnits(config)) {
        const int type = codec == VideoCodec::kH265 ? h265::NalType(unit.data[0]) : unit.type();
        if (codec == VideoCodec::kH265) {
            Bytes& set = type == h265::kNalVps ? m_vps : type == h265::kNalSps ? m_sps : m_pps;
            if (h265::IsParameterSet(type)) {
                set = unit.bytes();
            }
        } else if (type == kNalSps) {
            m_sps = unit.bytes();
        } else if (type == kNalPps) {
            m_pps = unit.bytes();
        }
    }
}

std::vector<CPicturePacketizer::Bytes> CPicturePacketizer::Packetize(const EncodedPicture& picture,
                                                                     uint32_t timestamp) {
    if (m_codec == VideoCodec::kMpeg4) {
        return PacketizeMpeg4(picture, timestamp);
    }
    if (m_codec == VideoCodec::kH265) {
        return PacketizeH265(picture, timestamp);
    }
    std::vector<NalUnit> slices;
    for (const NalUnit& unit : AnnexBUnits(picture.bytes)) {
        if (IsSlice(unit)) {
            slices.push_back(unit);
        }
    }
    std::vector<Bytes> packets;
    if (picture.key && !m_sps.empty() && !m_pps.empty()) {
        packets.push_back(m_builder.Next(rtpgen::StapA(m_sps, m_pps), timestamp, false));
    }
    for (size_t i = 0; i < slices.size(); ++i) {
        // Two fragments of a small slice each carry half its body behind the two FU bytes.
        const size_t halves = 2 + slices[i].size / 2;
        const size_t maxPayload = m_fragmentEverySlice
                                      ? std::max<size_t>(std::min(m_maxPayload, halves), 3)
                                      : m_maxPayload;
        for (Bytes& packet : m_builder.PacketizeH264Nal(slices[i].data, slices[i].size, timestamp,
                                                        i + 1 == slices.size(), maxPayload)) {
            packets.push_back(std::move(packet));
        }
    }
    return packets;
}

std::vector<CPicturePacketizer::Bytes> CPicturePacketizer::PacketizeH265(
    const EncodedPicture& picture, uint32_t timestamp) {
    namespace h265 = playersdk::h265;
    std::vector<NalUnit> slices;
    for (const NalUnit& unit : AnnexBUnits(picture.bytes)) {
        if (unit.size > h265::kNalHeaderSize && h265::NalType(unit.data[0]) <= h265::kNalVclLast) {
            slices.push_back(unit);
        }
    }
    std::vector<Bytes> packets;
    if (picture.key) {
        for (const Bytes* set : {&m_vps, &m_sps, &m_pps}) {
            if (!set->empty()) {
                packets.push_back(m_builder.Next(*set, timestamp, false));
            }
        }
    }
    for (size_t i = 0; i < slices.size(); ++i) {
        for (Bytes& packet : m_builder.PacketizeH265Nal(slices[i].data, slices[i].size, timestamp,
                                                        i + 1 == slices.size(), m_maxPayload)) {
            packets.push_back(std::move(packet));
        }
    }
    return packets;
}

// A video object plane may be cut at any byte.
std::vector<CPicturePacketizer::Bytes> CPicturePacketizer::PacketizeMpeg4(
    const EncodedPicture& picture, uint32_t timestamp) {
    std::vector<Bytes> packets;
    const Bytes& bytes = picture.bytes;
    for (size_t at = 0; at < bytes.size(); at += m_maxPayload) {
        const size_t n = std::min(m_maxPayload, bytes.size() - at);
        packets.push_back(m_builder.Next(Bytes(bytes.begin() + at, bytes.begin() + at + n),
                                         timestamp, at + n == bytes.size()));
    }
    return packets;
}

}  // namespace playersdk::livesource
