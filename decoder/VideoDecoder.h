// One decoder of the library: takes H.264, H.265 or MPEG-4 frames (H.264 and H.265 pictures
// may come in pieces: they are joined first), decodes them with libavcodec, keeps the last
// picture as it was decoded, paces and draws it into the X window, and hands it to the picture
// and draw callbacks. The picture is converted to BGR only for someone who looks at it: the
// picture callback or a snapshot (the window is drawn straight from the decoded planes).
//
// Threads: frames come in on one thread at a time (m_inputMutex); the window, callbacks,
// snapshot and refresh calls may come from any other thread (m_mutex guards what they share).
// No lock of ours is held while an application callback runs except m_inputMutex, so a
// callback may call every other function of its own decoder.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "AvSupport.h"
#include "FrameKind.h"
#include "FramePacer.h"
#include "Picture.h"
#include "PictureAssembler.h"
#include "PlayerDecoder.h"
#include "XWindowRenderer.h"

namespace playerdecoder {

// Results of the Decoder_* calls.
enum DecoderResult {
    kDecOk = 0,
    kDecBadCall = -1,       // bad handle, closed decoder or bad argument
    kDecNotYet = -2,        // InputVideoData: skipped until a key frame; no picture yet
    kDecCorrupt = -3,       // InputVideoData: damaged frame
    kDecCannotWrite = -3,   // CapPicture: the file cannot be written
    kDecEncoderFailed = -4  // CapPicture: JPEG encoding failed
};

struct DecoderStats {
    uint64_t frames = 0;       // frames handed in (configurations included)
    uint64_t pictures = 0;     // pictures delivered
    uint64_t corrupt = 0;      // frames the codec refused or reported damaged
    uint64_t skipped = 0;      // frames dropped while waiting for a key frame
    uint64_t configs = 0;      // inputs that carried a configuration and no picture
    uint64_t conversions = 0;  // pictures converted to BGR (for the callback or a snapshot)
};

class CVideoDecoder {
public:
    // Null for a type other than VT_H264, VT_H265 and VT_MPEG4, or when the codec cannot be
    // opened.
    static std::shared_ptr<CVideoDecoder> Create(eMediaDecType type, int width, int height);
    virtual ~CVideoDecoder() = default;
    CVideoDecoder(const CVideoDecoder&) = delete;
    CVideoDecoder& operator=(const CVideoDecoder&) = delete;

    // The handle the callbacks report, given once by the registry.
    void SetHandle(long handle) { m_lHandle = handle; }

    int InputVideoData(const uint8_t* data, int len, long long ts);
    void SetPlayWnd(long window, bool show);
    void SetDrawCb(DrawCB cb, long user);
    void SetPictureCallback(DecPictureCallback cb, long user);
    bool SetTimeScale(int scale);
    void EnableFrameControl(bool on);
    int CapPicture(const char* path);
    int GetPictureSize(int& width, int& height);
    int RefreshSurface();
    // Stops pacing at once and waits for a frame in progress (not when called from inside a
    // callback of that frame). Every later call fails.
    void Close();
    DecoderStats Stats() const;

private:
    CVideoDecoder(eMediaDecType type, int width, int height);
    bool Open();
    bool JoinsPictures() const { return m_type != VT_MPEG4; }
    FrameFacts Inspect(const uint8_t* data, size_t len) const;
    int TakeFrame(const uint8_t* data, size_t len, long long ts);
    int Decode(const uint8_t* data, size_t len, long long ts, FrameKind kind);
    bool SendAndDeliver(const std::vector<uint8_t>& config, const uint8_t* data, size_t len,
                        long long ts);
    int MarkDamaged();
    void Deliver(AVFrame& frame);
    // The picture in BGR, through the given converter; every call counts as a conversion.
    bool ToBgr(const AVFrame& frame, CPixelConverter& converter, Picture& out);
    void Pace(long long ts);
    bool DrawLocked(__DC& dc);

    const eMediaDecType m_type;
    const int m_iCreateWidth;
    const int m_iCreateHeight;
    long m_lHandle = -1;

    // Owned by the thread that holds m_inputMutex.
    std::mutex m_inputMutex;
    std::atomic<std::thread::id> m_inputThread{};
    CodecContextPtr m_codec;
    FramePtr m_frame;
    PacketPtr m_packet;
    std::vector<uint8_t> m_packetBytes;
    std::vector<uint8_t> m_config;      // MPEG-4 configuration for the next frame decoded
    std::vector<uint8_t> m_goodConfig;  // the last one that gave a picture
    bool m_bWaitKey = true;
    CPictureAssembler m_assembler;
    CPixelConverter m_toBgr;
    Picture m_work;  // the picture callback's BGR copy

    // Shared with the other threads, under m_mutex. m_last is written only by the input
    // thread, so that thread may read it without the lock. It holds a reference to the
    // decoder's picture, not a copy.
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::atomic<bool> m_bClosing{false};
    FramePtr m_last;
    CXWindowRenderer m_renderer;
    bool m_bShow = true;
    DrawCB m_pDrawCb = nullptr;
    long m_lDrawUser = 0;
    DecPictureCallback m_pPictureCb = nullptr;
    long m_lPictureUser = 0;
    int m_iTimeScale = 90000;
    bool m_bFrameControl = false;
    CFramePacer m_pacer;

    std::atomic<uint64_t> m_frames{0};
    std::atomic<uint64_t> m_pictures{0};
    std::atomic<uint64_t> m_corrupt{0};
    std::atomic<uint64_t> m_skipped{0};
    std::atomic<uint64_t> m_configs{0};
    std::atomic<uint64_t> m_conversions{0};
};

}  // namespace playerdecoder
