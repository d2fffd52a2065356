#include "VideoDecoder.h"

#include "PictureWriter.h"

namespace playerdecoder {
namespace {

// A configuration is a few dozen bytes; a frame of a 4K camera stays well below this.
constexpr size_t kMaxConfigBytes = 64 * 1024;
constexpr size_t kMaxFrameBytes = 32 * 1024 * 1024;

// Marks the thread that feeds the decoder, so a callback that re-enters is recognised.
class InputThreadMark {
public:
    explicit InputThreadMark(std::atomic<std::thread::id>& mark) : m_mark(mark) {
        m_mark = std::this_thread::get_id();
    }
    ~InputThreadMark() { m_mark = std::thread::id(); }
    InputThreadMark(const InputThreadMark&) = delete;
    InputThreadMark& operator=(const InputThreadMark&) = delete;

private:
    std::atomic<std::thread::id>& m_mark;
};

AVCodecID CodecOf(eMediaDecType type) {
    switch (type) {
        case VT_H264:
            return AV_CODEC_ID_H264;
        case VT_H265:
            return AV_CODEC_ID_HEVC;
        case VT_MPEG4:
            return AV_CODEC_ID_MPEG4;
        default:
            return AV_CODEC_ID_NONE;
    }
}

}  // namespace

std::shared_ptr<CVideoDecoder> CVideoDecoder::Create(eMediaDecType type, int width, int height) {
    if (CodecOf(type) == AV_CODEC_ID_NONE) {
        return nullptr;
    }
    QuietFfmpegLog();
    std::shared_ptr<CVideoDecoder> decoder(new CVideoDecoder(type, width, height));
    return decoder->Open() ? decoder : nullptr;
}

CVideoDecoder::CVideoDecoder(eMediaDecType type, int width, int height)
    : m_type(type), m_iCreateWidth(width), m_iCreateHeight(height) {}

bool CVideoDecoder::Open() {
    const AVCodec* codec = avcodec_find_decoder(CodecOf(m_type));
    if (!codec) {
        return false;
    }
    m_codec.reset(avcodec_alloc_context3(codec));
    m_frame.reset(av_frame_alloc());
    m_last.reset(av_frame_alloc());
    m_packet.reset(av_packet_alloc());
    if (!m_codec || !m_frame || !m_last || !m_packet) {
        return false;
    }
    if (JoinsPictures() && !m_assembler.Open(codec->id)) {
        return false;
    }
    // One thread: every frame comes out as soon as it goes in, and a picture is never
    // delivered after the frame call that produced it returned.
    m_codec->thread_count = 1;
    // Damage is reported instead of hidden, so a damaged picture is never shown.
    m_codec->err_recognition = AV_EF_EXPLODE | AV_EF_BITSTREAM | AV_EF_BUFFER;
    return avcodec_open2(m_codec.get(), codec, nullptr) >= 0;
}

int CVideoDecoder::InputVideoData(const uint8_t* data, int len, long long ts) {
    if (!data || len <= 0 || m_inputThread.load() == std::this_thread::get_id()) {
        return kDecBadCall;  // a callback may not feed the decoder it was called from
    }
    std::lock_guard<std::mutex> input(m_inputMutex);
    if (m_bClosing) {
        return kDecBadCall;
    }
    InputThreadMark mark(m_inputThread);
    ++m_frames;
    if (!JoinsPictures() || static_cast<size_t>(len) > kMaxFrameBytes) {
        return TakeFrame(data, static_cast<size_t>(len), ts);
    }
    // A frame the assembler holds is taken; one it completes answers for the frames it joined.
    int result = kDecOk;
    m_assembler.Input(data, static_cast<size_t>(len), ts, Inspect(data, static_cast<size_t>(len)),
                      [&](const uint8_t* picture, size_t size, long long pictureTs) {
                          result = TakeFrame(picture, size, pictureTs);
                      });
    return result;
}

FrameFacts CVideoDecoder::Inspect(const uint8_t* data, size_t len) const {
    switch (m_type) {
        case VT_H264:
            return InspectH264Frame(data, len);
        case VT_H265:
            return InspectH265Frame(data, len);
        default:
            return InspectMpeg4Frame(data, len);
    }
}

int CVideoDecoder::TakeFrame(const uint8_t* data, size_t len, long long ts) {
    if (len > kMaxFrameBytes) {
        return MarkDamaged();
    }
    FrameKind kind = Inspect(data, len).kind;
    if (kind == FrameKind::kNothing) {
        ++m_skipped;  // nothing the codec could use; decoding goes on as it was
        return kDecNotYet;
    }
    if (kind == FrameKind::kConfig) {
        ++m_configs;
        if (m_type == VT_MPEG4) {
            // Kept and put in front of the next frame: the codec reads it in-band there.
            if (len > kMaxConfigBytes) {
                return MarkDamaged();
            }
            m_config.assign(data, data + len);
            return kDecOk;
        }
        // H.264 and H.265 parameter sets go straight in; they never make a picture of their own.
        return Decode(data, len, ts, kind);
    }
    if (m_bWaitKey && kind != FrameKind::kKey) {
        ++m_skipped;
        return kDecNotYet;
    }
    return Decode(data, len, ts, kind);
}

int CVideoDecoder::MarkDamaged() {
    ++m_corrupt;
    m_bWaitKey = true;
    avcodec_flush_buffers(m_codec.get());
    if (m_config.empty()) {
        // Damage may have come as a bogus object layer: the next key frame brings the real one.
        m_config = m_goodConfig;
    }
    return kDecCorrupt;
}

int CVideoDecoder::Decode(const uint8_t* data, size_t len, long long ts, FrameKind kind) {
    std::vector<uint8_t> config;
    config.swap(m_config);  // sent once: a bad configuration must not spoil every later frame
    bool decoded = SendAndDeliver(config, data, len, ts);
    if (!decoded && kind == FrameKind::kKey && !m_goodConfig.empty() && config != m_goodConfig) {
        // A configuration that spoils a key frame gives way to the last one that worked.
        ++m_corrupt;
        avcodec_flush_buffers(m_codec.get());
        config = m_goodConfig;
        decoded = SendAndDeliver(config, data, len, ts);
    }
    if (!decoded) {
        return MarkDamaged();
    }
    if (kind == FrameKind::kKey) {
        m_bWaitKey = false;
    }
    if (!config.empty()) {
        m_goodConfig.swap(config);
    }
    return kDecOk;
}

bool CVideoDecoder::SendAndDeliver(const std::vector<uint8_t>& config, const uint8_t* data,
                                   size_t len, long long ts) {
    // The codec reads a little past the end of a packet: the padding must be there and zero.
    m_packetBytes.assign(config.begin(), config.end());
    m_packetBytes.insert(m_packetBytes.end(), data, data + len);
    size_t size = m_packetBytes.size();
    m_packetBytes.resize(size + AV_INPUT_BUFFER_PADDING_SIZE, 0);
    av_packet_unref(m_packet.get());
    m_packet->data = m_packetBytes.data();
    m_packet->size = static_cast<int>(size);
    m_packet->pts = ts;
    if (avcodec_send_packet(m_codec.get(), m_packet.get()) < 0) {
        return false;
    }
    bool damaged = false;
    while (!m_bClosing) {
        int rc = avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (rc < 0) {
            damaged = damaged || (rc != AVERROR(EAGAIN) && rc != AVERROR_EOF);
            break;
        }
        if (m_frame->decode_error_flags != 0 || (m_frame->flags & AV_FRAME_FLAG_CORRUPT)) {
            damaged = true;  // concealed or incomplete: never shown
        } else {
            Deliver(*m_frame);
        }
        av_frame_unref(m_frame.get());
    }
    return !damaged;
}

bool CVideoDecoder::ToBgr(const AVFrame& frame, CPixelConverter& converter, Picture& out) {
    ++m_conversions;
    out.width = frame.width;
    out.height = frame.height;
    out.bgr.resize(static_cast<size_t>(frame.width) * frame.height * 3);
    return converter.Convert(PlanesOf(frame), PlanesOf(out));
}

// The decoded picture is kept by reference; it is converted only for the picture callback.
void CVideoDecoder::Deliver(AVFrame& frame) {
    if (frame.width <= 0 || frame.height <= 0) {
        return;
    }
    Pace(frame.pts != AV_NOPTS_VALUE ? frame.pts : frame.best_effort_timestamp);
    __DC dc{};
    bool drawn = false;
    DecPictureCallback pictureCb = nullptr;
    long pictureUser = 0;
    DrawCB drawCb = nullptr;
    long drawUser = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bClosing) {
            return;
        }
        av_frame_unref(m_last.get());
        av_frame_move_ref(m_last.get(), &frame);
        drawn = DrawLocked(dc);
        pictureCb = m_pPictureCb;
        pictureUser = m_lPictureUser;
        drawCb = m_pDrawCb;
        drawUser = m_lDrawUser;
    }
    ++m_pictures;
    if (pictureCb && ToBgr(*m_last, m_toBgr, m_work)) {
        pictureCb(m_lHandle, reinterpret_cast<char*>(m_work.bgr.data()), m_work.width,
                  m_work.height, DEC_PIC_BGR24, pictureUser);
    }
    if (drawn && drawCb) {
        drawCb(&dc, drawUser);
    }
}

void CVideoDecoder::Pace(long long ts) {
    if (ts == AV_NOPTS_VALUE) {
        return;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_bFrameControl) {
        return;
    }
    CFramePacer::Clock::time_point due =
        m_pacer.DueTime(ts, m_iTimeScale, CFramePacer::Clock::now());
    // Closing, switching pacing off or a new time scale ends the wait at once.
    int scale = m_iTimeScale;
    m_wake.wait_until(lock, due,
                      [&] { return m_bClosing || !m_bFrameControl || m_iTimeScale != scale; });
}

bool CVideoDecoder::DrawLocked(__DC& dc) {
    if (!m_bShow || m_last->width <= 0 || !m_renderer.Draw(PlanesOf(*m_last))) {
        return false;
    }
    dc.surface = m_renderer.display();
    dc.hWnd = m_renderer.window();
    return true;
}

void CVideoDecoder::SetPlayWnd(long window, bool show) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_renderer.SetWindow(window);
    m_bShow = show;
}

void CVideoDecoder::SetDrawCb(DrawCB cb, long user) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pDrawCb = cb;
    m_lDrawUser = user;
}

void CVideoDecoder::SetPictureCallback(DecPictureCallback cb, long user) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pPictureCb = cb;
    m_lPictureUser = user;
}

bool CVideoDecoder::SetTimeScale(int scale) {
    if (scale <= 0) {
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_iTimeScale = scale;
        m_pacer.Reset();
    }
    m_wake.notify_all();
    return true;
}

void CVideoDecoder::EnableFrameControl(bool on) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (on && !m_bFrameControl) {
            m_pacer.Reset();
        }
        m_bFrameControl = on;
    }
    m_wake.notify_all();
}

int CVideoDecoder::CapPicture(const char* path) {
    if (!path || !*path) {
        return kDecBadCall;
    }
    FramePtr last(av_frame_alloc());
    if (!last) {
        return kDecEncoderFailed;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bClosing) {
            return kDecBadCall;
        }
        if (m_last->width <= 0 || av_frame_ref(last.get(), m_last.get()) < 0) {
            return kDecNotYet;
        }
    }
    // Converted and written outside the lock: decoding goes on meanwhile.
    CPixelConverter converter;
    Picture picture;
    if (!ToBgr(*last, converter, picture)) {
        return kDecEncoderFailed;
    }
    switch (WritePictureFile(picture, path)) {
        case WriteResult::kWritten:
            return kDecOk;
        case WriteResult::kCannotWrite:
            return kDecCannotWrite;
        case WriteResult::kEncoderFailed:
            break;
    }
    return kDecEncoderFailed;
}

int CVideoDecoder::GetPictureSize(int& width, int& height) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_last->width <= 0) {
        width = m_iCreateWidth;
        height = m_iCreateHeight;
        return kDecNotYet;
    }
    width = m_last->width;
    height = m_last->height;
    return kDecOk;
}

int CVideoDecoder::RefreshSurface() {
    __DC dc{};
    DrawCB drawCb = nullptr;
    long drawUser = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bClosing) {
            return kDecBadCall;
        }
        if (!DrawLocked(dc)) {
            return 0;
        }
        drawCb = m_pDrawCb;
        drawUser = m_lDrawUser;
    }
    if (drawCb) {
        drawCb(&dc, drawUser);
    }
    return 1;
}

void CVideoDecoder::Close() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bClosing = true;
    }
    m_wake.notify_all();
    if (m_inputThread.load() != std::this_thread::get_id()) {
        std::lock_guard<std::mutex> input(m_inputMutex);  // the frame in progress ends first
    }
}

DecoderStats CVideoDecoder::Stats() const {
    DecoderStats stats;
    stats.frames = m_frames;
    stats.pictures = m_pictures;
    stats.corrupt = m_corrupt;
    stats.skipped = m_skipped;
    stats.configs = m_configs;
    stats.conversions = m_conversions;
    return stats;
}

}  // namespace playerdecoder
