#include "TestVideo.h"

#include <cmath>

#include "DecoderRegistry.h"
#include "support/TempDir.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace decodertest {

using namespace playerdecoder;

namespace {

CodecContextPtr OpenEncoder(AVCodecID id, int width, int height, int gop) {
    const AVCodec* x264 = id == AV_CODEC_ID_H264 ? avcodec_find_encoder_by_name("libx264") : 0;
    const AVCodec* codec = x264 ? x264 : avcodec_find_encoder(id);
    CodecContextPtr context(avcodec_alloc_context3(codec));
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = AVRational{1, 25};  // MPEG-4 allows no finer base
    context->gop_size = gop;
    context->max_b_frames = 0;
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * 2;
    if (id == AV_CODEC_ID_MPEG4) {
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    av_opt_set(context->priv_data, "preset", "ultrafast", 0);
    av_opt_set(context->priv_data, "tune", "zerolatency", 0);
    av_opt_set(context->priv_data, "crf", "12", 0);
    return avcodec_open2(context.get(), codec, nullptr) < 0 ? nullptr : std::move(context);
}

Picture Blank(int width, int height) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.bgr.resize(static_cast<size_t>(width) * height * 3);
    return picture;
}

uint32_t Le(const std::string& bytes, size_t at, int n) {
    uint32_t value = 0;
    for (int i = n - 1; i >= 0 && at + i < bytes.size(); --i) {
        value = (value << 8) | static_cast<uint8_t>(bytes[at + i]);
    }
    return value;
}

}  // namespace

std::vector<Picture> TestPatterns(int width, int height, int count) {
    static const uint8_t kBars[8][3] = {{255, 255, 255}, {0, 255, 255}, {255, 255, 0},
                                        {0, 255, 0},     {255, 0, 255}, {0, 0, 255},
                                        {255, 0, 0},     {16, 16, 16}};
    static const uint8_t kGrey[3] = {128, 128, 128};
    std::vector<Picture> pictures(count, Blank(width, height));
    for (int frame = 0; frame < count; ++frame) {
        const int boxX = (frame * 8) % (width - 40), boxY = height / 2 - 20;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                bool box = x >= boxX && x < boxX + 40 && y >= boxY && y < boxY + 40;
                const uint8_t* colour = box ? kGrey : kBars[x * 8 / width];
                std::copy(colour, colour + 3, &pictures[frame].bgr[(y * width + x) * 3]);
            }
        }
    }
    return pictures;
}

EncodedStream Encode(AVCodecID codec, const std::vector<Picture>& pictures, int gop) {
    QuietFfmpegLog();
    EncodedStream stream;
    CodecContextPtr context = OpenEncoder(codec, pictures[0].width, pictures[0].height, gop);
    FramePtr frame(av_frame_alloc());
    PacketPtr packet(av_packet_alloc());
    frame->width = pictures[0].width;
    frame->height = pictures[0].height;
    frame->format = AV_PIX_FMT_YUV420P;
    if (!context || av_frame_get_buffer(frame.get(), 0) < 0) {
        return stream;
    }
    stream.config.assign(context->extradata, context->extradata + context->extradata_size);
    CPixelConverter converter;
    for (size_t i = 0; i <= pictures.size(); ++i) {  // the last round drains the encoder
        bool more = i < pictures.size();
        if (more) {
            av_frame_make_writable(frame.get());
            converter.Convert(PlanesOf(pictures[i]), PlanesOf(*frame));
            frame->pts = static_cast<long long>(i);
        }
        avcodec_send_frame(context.get(), more ? frame.get() : nullptr);
        while (avcodec_receive_packet(context.get(), packet.get()) == 0) {
            stream.frames.push_back({{packet->data, packet->data + packet->size},
                                     (packet->flags & AV_PKT_FLAG_KEY) != 0,
                                     packet->pts * 3600});
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

DecoderStats StatsOf(long handle) {
    auto decoder = CDecoderRegistry::Instance().Find(handle);
    return decoder ? decoder->Stats() : DecoderStats();
}

int RecordPicture(long handle, char* buf, int width, int height, int type, long user) {
    auto* log = reinterpret_cast<PictureLog*>(user);
    log->calls.push_back({handle, width, height, type});
    log->last = Blank(width, height);
    std::copy(buf, buf + log->last.bgr.size(), log->last.bgr.begin());
    return 0;
}

Picture ReadBmp(const std::string& path) {
    std::string bytes = playersdk::test::ReadFileBytes(path);
    const int width = static_cast<int>(Le(bytes, 18, 4)),
              height = static_cast<int>(Le(bytes, 22, 4));
    const size_t offset = Le(bytes, 10, 4), rowBytes = (width * 3 + 3) & ~3;
    if (bytes.compare(0, 2, "BM") != 0 || Le(bytes, 28, 2) != 24 || width <= 0 || height <= 0 ||
        bytes.size() < offset + rowBytes * height) {
        return Picture();
    }
    Picture picture = Blank(width, height);
    for (int y = 0; y < height; ++y) {  // the file holds the bottom row first
        const char* row = bytes.data() + offset + rowBytes * (height - 1 - y);
        std::copy(row, row + width * 3, &picture.bgr[y * picture.stride()]);
    }
    return picture;
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
    Picture picture = Blank(frame->width, frame->height);
    CPixelConverter().Convert(PlanesOf(*frame), PlanesOf(picture));
    return picture;
}

Picture Scaled(const Picture& picture, int width, int height) {
    Picture out = Blank(width, height);
    CPixelConverter().Convert(PlanesOf(picture), PlanesOf(out));
    return out;
}

double MeanAbsDifference(const Picture& a, const Picture& b) {
    if (a.width != b.width || a.height != b.height || a.bgr.empty()) {
        return 1e9;
    }
    double sum = 0;
    for (size_t i = 0; i < a.bgr.size(); ++i) {
        sum += std::abs(a.bgr[i] - b.bgr[i]);
    }
    return sum / static_cast<double>(a.bgr.size());
}

}  // namespace decodertest
