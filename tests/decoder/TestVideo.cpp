#include "TestVideo.h"

#include <cmath>
#include <cstdlib>

#include "DecoderRegistry.h"
#include "support/TempDir.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace decodertest {
namespace {

const AVCodec* FindEncoder(AVCodecID codec) {
    const AVCodec* x264 =
        codec == AV_CODEC_ID_H264 ? avcodec_find_encoder_by_name("libx264") : nullptr;
    return x264 ? x264 : avcodec_find_encoder(codec);
}

playerdecoder::CodecContextPtr OpenEncoder(const AVCodec* codec, int width, int height, int gop) {
    playerdecoder::CodecContextPtr context(avcodec_alloc_context3(codec));
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = AVRational{1, 25};  // MPEG-4 allows no finer base
    context->gop_size = gop;
    context->max_b_frames = 0;
    if (codec->id == AV_CODEC_ID_MPEG4) {
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_QSCALE;
        context->global_quality = FF_QP2LAMBDA * 2;
    } else {
        av_opt_set(context->priv_data, "preset", "ultrafast", 0);
        av_opt_set(context->priv_data, "tune", "zerolatency", 0);
        av_opt_set(context->priv_data, "crf", "12", 0);
    }
    return avcodec_open2(context.get(), codec, nullptr) < 0 ? nullptr : std::move(context);
}

uint32_t Le(const std::string& bytes, size_t at, int n) {
    uint32_t value = 0;
    for (int i = n - 1; i >= 0 && at + i < bytes.size(); --i) {
        value = (value << 8) | static_cast<uint8_t>(bytes[at + i]);
    }
    return value;
}

}  // namespace

Picture TestPattern(int width, int height, int frame) {
    static const uint8_t kBarsBgr[8][3] = {{255, 255, 255}, {0, 255, 255}, {255, 255, 0},
                                           {0, 255, 0},     {255, 0, 255}, {0, 0, 255},
                                           {255, 0, 0},     {16, 16, 16}};
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.bgr.resize(static_cast<size_t>(width) * height * 3);
    const int boxX = (frame * 8) % (width - 40);
    const int boxY = height / 2 - 20;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            bool inBox = x >= boxX && x < boxX + 40 && y >= boxY && y < boxY + 40;
            const uint8_t grey[3] = {128, 128, 128};
            const uint8_t* colour = inBox ? grey : kBarsBgr[x * 8 / width];
            std::copy(colour, colour + 3, &picture.bgr[(static_cast<size_t>(y) * width + x) * 3]);
        }
    }
    return picture;
}

std::vector<Picture> TestPatterns(int width, int height, int count) {
    std::vector<Picture> pictures;
    for (int i = 0; i < count; ++i) {
        pictures.push_back(TestPattern(width, height, i));
    }
    return pictures;
}

std::string H264EncoderName() {
    return FindEncoder(AV_CODEC_ID_H264)->name;
}

EncodedStream Encode(AVCodecID codec, const std::vector<Picture>& pictures, int gop) {
    playerdecoder::QuietFfmpegLog();
    EncodedStream stream;
    const AVCodec* encoder = FindEncoder(codec);
    auto context = OpenEncoder(encoder, pictures.at(0).width, pictures.at(0).height, gop);
    playerdecoder::FramePtr frame(av_frame_alloc());
    playerdecoder::PacketPtr packet(av_packet_alloc());
    if (!context) {
        return stream;
    }
    stream.config.assign(context->extradata, context->extradata + context->extradata_size);
    frame->width = context->width;
    frame->height = context->height;
    frame->format = AV_PIX_FMT_YUV420P;
    av_frame_get_buffer(frame.get(), 0);
    playerdecoder::CPixelConverter converter;
    for (size_t i = 0; i <= pictures.size(); ++i) {
        if (i < pictures.size()) {
            av_frame_make_writable(frame.get());
            converter.Convert(playerdecoder::PlanesOf(pictures[i]),
                              playerdecoder::PlanesOf(*frame));
            frame->pts = static_cast<long long>(i);
        }
        avcodec_send_frame(context.get(), i < pictures.size() ? frame.get() : nullptr);
        while (avcodec_receive_packet(context.get(), packet.get()) == 0) {
            stream.frames.push_back(
                {std::vector<uint8_t>(packet->data, packet->data + packet->size),
                 (packet->flags & AV_PKT_FLAG_KEY) != 0, packet->pts * 3600});
            av_packet_unref(packet.get());
        }
    }
    return stream;
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

playerdecoder::DecoderStats StatsOf(long handle) {
    auto decoder = playerdecoder::CDecoderRegistry::Instance().Find(handle);
    return decoder ? decoder->Stats() : playerdecoder::DecoderStats();
}

int RecordPicture(long handle, char* buf, int width, int height, int type, long user) {
    auto* log = reinterpret_cast<PictureLog*>(user);
    log->handles.push_back(handle);
    log->widths.push_back(width);
    log->heights.push_back(height);
    log->types.push_back(type);
    log->last.width = width;
    log->last.height = height;
    log->last.bgr.assign(buf, buf + static_cast<size_t>(width) * height * 3);
    return 0;
}

Picture ReadBmp(const std::string& path) {
    std::string bytes = playersdk::test::ReadFileBytes(path);
    Picture picture;
    if (bytes.size() < 54 || bytes.compare(0, 2, "BM") != 0 || Le(bytes, 28, 2) != 24 ||
        Le(bytes, 30, 4) != 0) {
        return picture;
    }
    const int width = static_cast<int>(Le(bytes, 18, 4));
    const int height = static_cast<int>(Le(bytes, 22, 4));
    const size_t rowBytes = (static_cast<size_t>(width) * 3 + 3) & ~size_t{3};
    const size_t offset = Le(bytes, 10, 4);
    if (width <= 0 || height <= 0 || bytes.size() < offset + rowBytes * height) {
        return picture;
    }
    picture.width = width;
    picture.height = height;
    for (int y = height - 1; y >= 0; --y) {  // bottom row first
        const char* row = bytes.data() + offset + rowBytes * y;
        picture.bgr.insert(picture.bgr.end(), row, row + width * 3);
    }
    return picture;
}

Picture DecodeJpeg(const std::string& path) {
    std::string bytes = playersdk::test::ReadFileBytes(path);
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    playerdecoder::CodecContextPtr context(avcodec_alloc_context3(codec));
    playerdecoder::FramePtr frame(av_frame_alloc());
    playerdecoder::PacketPtr packet(av_packet_alloc());
    Picture picture;
    bytes.append(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
    packet->data = reinterpret_cast<uint8_t*>(bytes.data());
    packet->size = static_cast<int>(bytes.size() - AV_INPUT_BUFFER_PADDING_SIZE);
    if (avcodec_open2(context.get(), codec, nullptr) < 0 ||
        avcodec_send_packet(context.get(), packet.get()) < 0 ||
        avcodec_receive_frame(context.get(), frame.get()) < 0) {
        return picture;
    }
    picture.width = frame->width;
    picture.height = frame->height;
    picture.bgr.resize(static_cast<size_t>(picture.width) * picture.height * 3);
    playerdecoder::CPixelConverter().Convert(playerdecoder::PlanesOf(*frame),
                                             playerdecoder::PlanesOf(picture));
    return picture;
}

Picture Scaled(const Picture& picture, int width, int height) {
    Picture out;
    out.width = width;
    out.height = height;
    out.bgr.resize(static_cast<size_t>(width) * height * 3);
    playerdecoder::CPixelConverter().Convert(playerdecoder::PlanesOf(picture),
                                             playerdecoder::PlanesOf(out));
    return out;
}

double MeanAbsDifference(const Picture& a, const Picture& b) {
    if (a.width != b.width || a.height != b.height || a.bgr.size() != b.bgr.size() ||
        a.bgr.empty()) {
        return 1e9;
    }
    double sum = 0;
    for (size_t i = 0; i < a.bgr.size(); ++i) {
        sum += std::abs(int{a.bgr[i]} - int{b.bgr[i]});
    }
    return sum / static_cast<double>(a.bgr.size());
}

}  // namespace decodertest
