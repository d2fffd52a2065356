#include "AvSupport.h"

#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

namespace playerdecoder {

PlaneSet PlanesOf(const Picture& picture) {
    PlaneSet planes;
    planes.data[0] = picture.bgr.data();
    planes.linesize[0] = picture.stride();
    planes.width = picture.width;
    planes.height = picture.height;
    planes.format = AV_PIX_FMT_BGR24;
    return planes;
}

PlaneSet PlanesOf(const AVFrame& frame) {
    PlaneSet planes;
    for (int i = 0; i < 4; ++i) {
        planes.data[i] = frame.data[i];
        planes.linesize[i] = frame.linesize[i];
    }
    planes.width = frame.width;
    planes.height = frame.height;
    planes.format = static_cast<AVPixelFormat>(frame.format);
    return planes;
}

bool CPixelConverter::Convert(const PlaneSet& src, const PlaneSet& dst, bool fullRangeOut) {
    if (src.width <= 0 || src.height <= 0 || dst.width <= 0 || dst.height <= 0) {
        return false;
    }
    // The fast unscaled RGB-to-YUV path ignores the output range; accurate rounding avoids it.
    int flags = SWS_BILINEAR | (fullRangeOut ? SWS_ACCURATE_RND : 0);
    SwsContext* context =
        sws_getCachedContext(m_context.release(), src.width, src.height, src.format, dst.width,
                             dst.height, dst.format, flags, nullptr, nullptr, nullptr);
    m_context.reset(context);
    if (!context) {
        return false;
    }
    if (fullRangeOut) {
        const int* coefficients = sws_getCoefficients(SWS_CS_ITU601);
        sws_setColorspaceDetails(context, coefficients, 0, coefficients, 1, 0, 1 << 16, 1 << 16);
    }
    uint8_t* const* out = const_cast<uint8_t* const*>(dst.data);
    int rows = sws_scale(context, src.data, src.linesize, 0, src.height, out, dst.linesize);
    return rows > 0;
}

void QuietFfmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (av_log_get_level() == AV_LOG_INFO) {
            av_log_set_level(AV_LOG_QUIET);
        }
    });
}

}  // namespace playerdecoder
