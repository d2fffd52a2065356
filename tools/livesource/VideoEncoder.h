// One libavcodec encoder for pictures of a fixed size: H.264 through libx264 or H.265 through
// libx265 (one slice a picture unless asked for more, parameter sets kept apart as the
// stream's configuration) or MPEG-4 Visual (the object layer kept apart). No B-frames and no
// delay: every picture comes out at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "AvSupport.h"
#include "Picture.h"

namespace playersdk::livesource {

using playerdecoder::Picture;

enum class VideoCodec { kH264, kMpeg4, kH265 };

struct EncodedPicture {
    std::vector<uint8_t> bytes;  // H.264 in Annex B form, MPEG-4 as video object planes
    bool key = false;
    int64_t index = 0;  // the number of the picture it came from, counted from 0
};

// One NAL unit inside an Annex B byte string, without its start code.
struct NalUnit {
    const uint8_t* data = nullptr;
    size_t size = 0;

    // The H.264 type; h265::NalType(data[0]) gives the H.265 one.
    uint8_t type() const { return size == 0 ? 0 : data[0] & 0x1F; }
    std::vector<uint8_t> bytes() const { return {data, data + size}; }
};

// The NAL units of an Annex B byte string, in order; they point into 'bytes'.
std::vector<NalUnit> AnnexBUnits(const std::vector<uint8_t>& bytes);

class CVideoEncoder {
public:
    // A key frame every 'gop' pictures, each picture cut into 'slices' slices (H.264 only);
    // false when the codec cannot be opened.
    bool Open(VideoCodec codec, int width, int height, int fps, int gop, int slices = 1);
    bool isOpen() const { return m_context != nullptr; }
    // H.264: SPS and PPS in Annex B form; H.265: VPS, SPS and PPS likewise; MPEG-4: the visual
    // object sequence and object layer.
    const std::vector<uint8_t>& config() const { return m_config; }

    // Encodes one picture of the opened size (forceKey: an intra picture that starts a new
    // group); appends what the encoder gives out. False when the encoder refused it.
    bool Encode(const Picture& picture, bool forceKey, std::vector<EncodedPicture>& out);
    // Whatever the encoder still holds.
    void Flush(std::vector<EncodedPicture>& out);

private:
    void Collect(std::vector<EncodedPicture>& out);

    playerdecoder::CodecContextPtr m_context;
    playerdecoder::FramePtr m_frame;
    playerdecoder::PacketPtr m_packet;
    playerdecoder::CPixelConverter m_converter;
    std::vector<uint8_t> m_config;
    int64_t m_next = 0;
};

}  // namespace playersdk::livesource
