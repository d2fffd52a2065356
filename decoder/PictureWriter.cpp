#include "PictureWriter.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "AvSupport.h"

namespace playerdecoder {
namespace {

void PutLe(std::vector<uint8_t>& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
}

bool HasJpegName(const char* path) {
    size_t len = strlen(path);
    auto endsWith = [&](const char* suffix) {
        size_t n = strlen(suffix);
        return len >= n && strcasecmp(path + len - n, suffix) == 0;
    };
    return endsWith(".jpg") || endsWith(".jpeg");
}

bool WriteWholeFile(const char* path, const std::vector<uint8_t>& bytes) {
    FILE* file = fopen(path, "wb");
    if (!file) {
        return false;
    }
    bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return fclose(file) == 0 && written;
}

CodecContextPtr OpenJpegEncoder(int width, int height) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    if (!codec) {
        return nullptr;
    }
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context) {
        return nullptr;
    }
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->color_range = AVCOL_RANGE_JPEG;
    context->time_base = AVRational{1, 25};
    // A fixed, fine quantiser: a snapshot is for looking at, not for saving bytes.
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * 2;
    if (avcodec_open2(context.get(), codec, nullptr) < 0) {
        return nullptr;
    }
    return context;
}

}  // namespace

std::vector<uint8_t> EncodeBmp(const Picture& picture) {
    const uint32_t kHeaderBytes = 14 + 40;
    const uint32_t rowBytes = (static_cast<uint32_t>(picture.width) * 3 + 3) & ~3u;
    const uint32_t imageBytes = rowBytes * static_cast<uint32_t>(picture.height);
    std::vector<uint8_t> out;
    out.reserve(kHeaderBytes + imageBytes);
    // File header: "BM", file size, two reserved words, offset of the pixels.
    out.push_back('B');
    out.push_back('M');
    PutLe(out, kHeaderBytes + imageBytes, 4);
    PutLe(out, 0, 4);
    PutLe(out, kHeaderBytes, 4);
    // Info header: positive height means rows bottom to top; 24 bits, uncompressed, 72 dpi.
    PutLe(out, 40, 4);
    PutLe(out, static_cast<uint32_t>(picture.width), 4);
    PutLe(out, static_cast<uint32_t>(picture.height), 4);
    PutLe(out, 1, 2);
    PutLe(out, 24, 2);
    PutLe(out, 0, 4);
    PutLe(out, imageBytes, 4);
    PutLe(out, 2835, 4);
    PutLe(out, 2835, 4);
    PutLe(out, 0, 4);
    PutLe(out, 0, 4);
    const size_t padding = rowBytes - static_cast<size_t>(picture.stride());
    for (int y = picture.height - 1; y >= 0; --y) {
        const uint8_t* row = picture.bgr.data() + static_cast<size_t>(y) * picture.stride();
        out.insert(out.end(), row, row + picture.stride());
        out.insert(out.end(), padding, 0);
    }
    return out;
}

bool EncodeJpeg(const Picture& picture, std::vector<uint8_t>& out) {
    CodecContextPtr encoder = OpenJpegEncoder(picture.width, picture.height);
    FramePtr frame(av_frame_alloc());
    PacketPtr packet(av_packet_alloc());
    if (!encoder || !frame || !packet) {
        return false;
    }
    frame->width = picture.width;
    frame->height = picture.height;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->color_range = AVCOL_RANGE_JPEG;
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
        return false;
    }
    CPixelConverter converter;
    if (!converter.Convert(PlanesOf(picture), PlanesOf(*frame), true)) {
        return false;
    }
    if (avcodec_send_frame(encoder.get(), frame.get()) < 0 ||
        avcodec_send_frame(encoder.get(), nullptr) < 0 ||
        avcodec_receive_packet(encoder.get(), packet.get()) < 0) {
        return false;
    }
    out.assign(packet->data, packet->data + packet->size);
    return true;
}

WriteResult WritePictureFile(const Picture& picture, const char* path) {
    std::vector<uint8_t> bytes;
    if (HasJpegName(path)) {
        if (!EncodeJpeg(picture, bytes)) {
            return WriteResult::kEncoderFailed;
        }
    } else {
        bytes = EncodeBmp(picture);
    }
    return WriteWholeFile(path, bytes) ? WriteResult::kWritten : WriteResult::kCannotWrite;
}

}  // namespace playerdecoder
