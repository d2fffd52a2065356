#include "livesource/VideoEncoder.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace playersdk::livesource {
namespace {
using playerdecoder::CodecContextPtr;

const AVCodec* FindEncoder(VideoCodec codec) {
    if (codec == VideoCodec::kMpeg4) {
        return avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    }
    if (codec == VideoCodec::kH265) {
        return avcodec_find_encoder_by_name("libx265");
    }
    const AVCodec* x264 = avcodec_find_encoder_by_name("libx264");
    return x264 ? x264 : avcodec_find_encoder(AV_CODEC_ID_H264);
}

CodecContextPtr OpenContext(VideoCodec codec, int width, int height, int fps, int gop, int slices) {
    const AVCodec* encoder = FindEncoder(codec);
    if (encoder == nullptr) {
        return nullptr;
    }
    CodecContextPtr context(avcodec_alloc_context3(encoder));
    if (!context) {
        return nullptr;
    }
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = AVRational{1, fps};
    context->gop_size = gop;
    context->max_b_frames = 0;
    // One slice a picture unless asked otherwise: a receiver that ends a frame at every single
    // NAL unit packet still gets whole pictures.
    context->thread_count = 1;
    context->slices = slices;
    // A fine fixed quantiser: pictures that come back are compared with the ones sent.
    context->flags |= AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_GLOBAL_HEADER;
    context->global_quality = FF_QP2LAMBDA * 2;
    av_opt_set(context->priv_data, "preset", "ultrafast", 0);
    av_opt_set(context->priv_data, "tune", "zerolatency", 0);
    av_opt_set(context->priv_data, "crf", "12", 0);
    av_opt_set(context->priv_data, "forced-idr", "1", 0);
    // libx265 talks on stderr and starts thread pools of its own unless told otherwise.
    av_opt_set(context->priv_data, "x265-params", "log-level=error:pools=none:frame-threads=1", 0);
    if (avcodec_open2(context.get(), encoder, nullptr) < 0) {
        return nullptr;
    }
    return context;
}
}  // namespace

std::vector<NalUnit> AnnexBUnits(const std::vector<uint8_t>& bytes) {
    std::vector<NalUnit> units;
    const size_t n = bytes.size();
    size_t start = SIZE_MAX;  // first byte of the unit being read
    for (size_t i = 0; i + 2 < n; ++i) {
        if (bytes[i] != 0 || bytes[i + 1] != 0 || bytes[i + 2] != 1) {
            continue;
        }
        if (start != SIZE_MAX) {
            size_t end = i;
            while (end > start && bytes[end - 1] == 0) {  // the zero of a 4-byte start code
                --end;
            }
            units.push_back({bytes.data() + start, end - start});
        }
        start = i + 3;
        i += 2;
    }
    if (start != SIZE_MAX && start < n) {
        units.push_back({bytes.data() + start, n - start});
    }
    return units;
}

bool CVideoEncoder::Open(VideoCodec codec, int width, int height, int fps, int gop, int slices) {
    playerdecoder::QuietFfmpegLog();
    m_context = OpenContext(codec, width, height, fps, gop, slices);
    m_frame.reset(av_frame_alloc());
    m_packet.reset(av_packet_alloc());
    if (!m_context || !m_frame || !m_packet) {
        m_context.reset();
        return false;
    }
    m_frame->width = width;
    m_frame->height = height;
    m_frame->format = AV_PIX_FMT_YUV420P;
    if (av_frame_get_buffer(m_frame.get(), 0) < 0) {
        m_context.reset();
        return false;
    }
    m_config.assign(m_context->extradata, m_context->extradata + m_context->extradata_size);
    m_next = 0;
    return true;
}

bool CVideoEncoder::Encode(const Picture& picture, bool forceKey,
                           std::vector<EncodedPicture>& out) {
    if (!m_context || picture.width != m_context->width || picture.height != m_context->height ||
        av_frame_make_writable(m_frame.get()) < 0 ||
        !m_converter.Convert(playerdecoder::PlanesOf(picture), playerdecoder::PlanesOf(*m_frame))) {
        return false;
    }
    m_frame->pts = m_next++;
    m_frame->pict_type = forceKey ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    if (avcodec_send_frame(m_context.get(), m_frame.get()) < 0) {
        return false;
    }
    Collect(out);
    return true;
}

void CVideoEncoder::Flush(std::vector<EncodedPicture>& out) {
    if (m_context && avcodec_send_frame(m_context.get(), nullptr) == 0) {
        Collect(out);
    }
}

void CVideoEncoder::Collect(std::vector<EncodedPicture>& out) {
    while (avcodec_receive_packet(m_context.get(), m_packet.get()) == 0) {
        out.push_back({{m_packet->data, m_packet->data + m_packet->size},
                       (m_packet->flags & AV_PKT_FLAG_KEY) != 0,
                       m_packet->pts});
        av_packet_unref(m_packet.get());
    }
}

}  // namespace playersdk::livesource
