// The exported Decoder_* functions: each one finds the live decoder behind the handle and
// forwards to it. No exception leaves the library.
#include <new>

#include "DecoderRegistry.h"
#include "PlayerDecoder.h"

using playerdecoder::CDecoderRegistry;
using playerdecoder::CVideoDecoder;
using playerdecoder::kDecBadCall;
using playerdecoder::kDecOk;

namespace {

// Runs 'call' on the decoder behind 'handle'; -1 when there is none or the call throws.
template <typename Call>
int WithDecoder(long handle, Call call) {
    try {
        std::shared_ptr<CVideoDecoder> decoder = CDecoderRegistry::Instance().Find(handle);
        return decoder ? call(*decoder) : kDecBadCall;
    } catch (...) {
        return kDecBadCall;
    }
}

}  // namespace

extern "C" PLAYERDECODER_API int Decoder_Create(long* handle, eMediaDecType type, long userData,
                                                int overlay, unsigned int colorKey, int width,
                                                int height) {
    if (!handle) {
        return kDecBadCall;
    }
    *handle = -1;
    try {
        std::shared_ptr<CVideoDecoder> decoder = CVideoDecoder::Create(type, width, height);
        if (!decoder) {
            return kDecBadCall;
        }
        *handle = CDecoderRegistry::Instance().Add(std::move(decoder));
        return kDecOk;
    } catch (...) {
        return kDecBadCall;
    }
}

extern "C" PLAYERDECODER_API int Decoder_InputVideoData(long handle, char* data, int len,
                                                        long long ts) {
    return WithDecoder(handle, [&](CVideoDecoder& d) {
        return d.InputVideoData(reinterpret_cast<const uint8_t*>(data), len, ts);
    });
}

extern "C" PLAYERDECODER_API int Decoder_SetPlayWnd(long handle, long hwnd, int show) {
    return WithDecoder(handle, [&](CVideoDecoder& d) {
        d.SetPlayWnd(hwnd, show != 0);
        return kDecOk;
    });
}

extern "C" PLAYERDECODER_API int Decoder_SetDrawCb(long handle, DrawCB cb, long user) {
    return WithDecoder(handle, [&](CVideoDecoder& d) {
        d.SetDrawCb(cb, user);
        return kDecOk;
    });
}

extern "C" PLAYERDECODER_API int Decoder_SetPictureCallback(long handle, DecPictureCallback cb,
                                                            long user) {
    return WithDecoder(handle, [&](CVideoDecoder& d) {
        d.SetPictureCallback(cb, user);
        return kDecOk;
    });
}

extern "C" PLAYERDECODER_API int Decoder_SetTimeScale(long handle, int scale) {
    return WithDecoder(
        handle, [&](CVideoDecoder& d) { return d.SetTimeScale(scale) ? kDecOk : kDecBadCall; });
}

extern "C" PLAYERDECODER_API int Decoder_EnableFrameControl(long handle, int on) {
    return WithDecoder(handle, [&](CVideoDecoder& d) {
        d.EnableFrameControl(on != 0);
        return kDecOk;
    });
}

extern "C" PLAYERDECODER_API int Decoder_CapPicture(long handle, const char* path) {
    return WithDecoder(handle, [&](CVideoDecoder& d) { return d.CapPicture(path); });
}

extern "C" PLAYERDECODER_API int Decoder_GetPictureSize(long handle, int* width, int* height) {
    if (!width || !height) {
        return kDecBadCall;
    }
    return WithDecoder(handle, [&](CVideoDecoder& d) { return d.GetPictureSize(*width, *height); });
}

extern "C" PLAYERDECODER_API int Decoder_RefreshSurface(long handle) {
    return WithDecoder(handle, [&](CVideoDecoder& d) { return d.RefreshSurface(); });
}

extern "C" PLAYERDECODER_API int Decoder_CloseDecode(long handle) {
    try {
        std::shared_ptr<CVideoDecoder> decoder = CDecoderRegistry::Instance().Remove(handle);
        if (!decoder) {
            return kDecBadCall;
        }
        decoder->Close();
        return kDecOk;
    } catch (...) {
        return kDecBadCall;
    }
}
