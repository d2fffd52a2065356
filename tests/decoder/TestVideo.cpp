#include "TestVideo.h"

#include "DecoderRegistry.h"
#include "livesource/PictureCheck.h"
#include "livesource/TestPattern.h"
#include "livesource/VideoEncoder.h"
#include "support/TempDir.h"

namespace decodertest {

using namespace playerdecoder;
using namespace playersdk::livesource;

std::vector<Picture> TestPatterns(int width, int height, int count) {
    std::vector<Picture> pictures;
    for (int frame = 0; frame < count; ++frame) {
        pictures.push_back(DrawTestPattern(width, height, static_cast<uint32_t>(frame)));
    }
    return pictures;
}

EncodedStream Encode(AVCodecID codec, const std::vector<Picture>& pictures, int gop, int slices) {
    EncodedStream stream;
    CVideoEncoder encoder;
    const bool annexB = codec != AV_CODEC_ID_MPEG4;
    const VideoCodec kind = codec == AV_CODEC_ID_HEVC   ? VideoCodec::kH265
                            : codec == AV_CODEC_ID_H264 ? VideoCodec::kH264
                                                        : VideoCodec::kMpeg4;
    if (pictures.empty() ||
        !encoder.Open(kind, pictures[0].width, pictures[0].height, 25, gop, slices)) {
        return stream;
    }
    std::vector<EncodedPicture> encoded;
    for (const Picture& picture : pictures) {
        encoder.Encode(picture, false, encoded);
    }
    encoder.Flush(encoded);
    // H.264 and H.265 parameter sets go in-band, in front of each key frame, as cameras send
    // them.
    const std::vector<uint8_t>& config = encoder.config();
    if (!annexB) {
        stream.config = config;
    }
    for (EncodedPicture& picture : encoded) {
        if (annexB && picture.key) {
            picture.bytes.insert(picture.bytes.begin(), config.begin(), config.end());
        }
        stream.frames.push_back({std::move(picture.bytes), picture.key, picture.index * 3600});
    }
    return stream;
}

EncodedStream Encode(eMediaDecType type, const std::vector<Picture>& pictures, int gop) {
    const AVCodecID codec = type == VT_H265   ? AV_CODEC_ID_HEVC
                            : type == VT_H264 ? AV_CODEC_ID_H264
                                              : AV_CODEC_ID_MPEG4;
    return Encode(codec, pictures, gop);
}

const char* NameOf(eMediaDecType type) {
    return type == VT_H265 ? "H265" : type == VT_H264 ? "H264" : "Mpeg4";
}

int Feed(long handle, const EncodedStream& stream, size_t from, size_t to) {
    if (from == 0 && !stream.config.empty()) {
        FeedBytes(handle, stream.config, 0);
    }
    int taken = 0;
    for (size_t i = from; i < to && i < stream.frames.size(); ++i) {
        taken += FeedBytes(handle, stream.frames[i].bytes, stream.frames[i].ts) == 0;
    }
    return taken;
}

int FeedBytes(long handle, std::vector<uint8_t> bytes, long long ts) {
    return Decoder_InputVideoData(handle, reinterpret_cast<char*>(bytes.data()),
                                  static_cast<int>(bytes.size()), ts);
}

DecoderStats StatsOf(long handle) {
    auto decoder = CDecoderRegistry::Instance().Find(handle);
    return decoder ? decoder->Stats() : DecoderStats();
}

int RecordPicture(long handle, char* buf, int width, int height, int type, long user) {
    auto* log = reinterpret_cast<PictureLog*>(user);
    log->calls.push_back({handle, width, height, type});
    log->last = BlankPicture(width, height);
    std::copy(buf, buf + log->last.bgr.size(), log->last.bgr.begin());
    return 0;
}

Picture DecodeJpeg(const std::string& path) {
    std::string bytes = playersdk::test::ReadFileBytes(path);
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    CodecContextPtr context(avcodec_alloc_context3(codec));
    FramePtr frame(av_frame_alloc());
    PacketPtr packet(av_packet_alloc());
    bytes.append(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
    packet->data = reinterpret_cast<uint8_t*>(bytes.data());
    packet->size = static_cast<int>(bytes.size() - AV_INPUT_BUFFER_PADDING_SIZE);
    if (avcodec_open2(context.get(), codec, nullptr) < 0 ||
        avcodec_send_packet(context.get(), packet.get()) < 0 ||
        avcodec_receive_frame(context.get(), frame.get()) < 0) {
        return Picture();
    }
    Picture picture = BlankPicture(frame->width, frame->height);
    CPixelConverter().Convert(PlanesOf(*frame), PlanesOf(picture));
    return picture;
}

}  // namespace decodertest
