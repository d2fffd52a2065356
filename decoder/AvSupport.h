// Owning pointers for FFmpeg objects and one picture conversion helper, so every path frees
// what it allocated and every scaling goes through one checked place.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include "Picture.h"

namespace playerdecoder {

struct CodecContextDeleter {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct FrameDeleter {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct PacketDeleter {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct ScalerDeleter {
    void operator()(SwsContext* s) const { sws_freeContext(s); }
};
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;

// The planes of one picture in any pixel format.
struct PlaneSet {
    const uint8_t* data[4] = {};
    int linesize[4] = {};
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_NONE;
};

PlaneSet PlanesOf(const Picture& picture);
PlaneSet PlanesOf(const AVFrame& frame);

// A swscale context kept between pictures: rebuilt only when sizes or formats change.
class CPixelConverter {
public:
    // Scales and converts src into dst (whose data pointers must be writable). fullRangeOut
    // asks for full-range YUV, as JPEG files expect. False when swscale refuses the job.
    bool Convert(const PlaneSet& src, const PlaneSet& dst, bool fullRangeOut = false);

private:
    std::unique_ptr<SwsContext, ScalerDeleter> m_context;
};

// FFmpeg reports every damaged frame on stderr; the library counts them instead. Lowers the
// log level once, unless the application has chosen a level of its own.
void QuietFfmpegLog();

}  // namespace playerdecoder
