/*
 * The decoder library that PlayerSDK feeds: it creates a decoder for an eMediaDecType and a
 * display handle, takes whole frames, renders them and grabs pictures. PlayerSDK calls these
 * functions; the decoder library (or a test's fake) defines them. Compiles as C and C++.
 * Handles are longs; -1 means "no decoder".
 */
#ifndef PLAYERDECODER_H
#define PLAYERDECODER_H

#include "PlayerSDK.h"

#ifdef __cplusplus
extern "C" {
#endif

#define PLAYERDECODER_API __attribute__((visibility("default")))

/* Stores the new decoder's handle in *handle; returns -1 on failure. */
PLAYERDECODER_API int Decoder_Create(long* handle, eMediaDecType type, long userData, int overlay,
                                     unsigned int colorKey, int width, int height);
PLAYERDECODER_API int Decoder_InputVideoData(long handle, char* data, int len, long long ts);
PLAYERDECODER_API int Decoder_SetPlayWnd(long handle, long hwnd, int show);
PLAYERDECODER_API int Decoder_SetDrawCb(long handle, DrawCB cb, long user);
PLAYERDECODER_API int Decoder_SetTimeScale(long handle, int scale);
PLAYERDECODER_API int Decoder_EnableFrameControl(long handle, int on);
PLAYERDECODER_API int Decoder_CapPicture(long handle, char* path);
PLAYERDECODER_API int Decoder_GetPictureSize(long handle, int* width, int* height);
PLAYERDECODER_API int Decoder_RefreshSurface(long handle);
PLAYERDECODER_API int Decoder_CloseDecode(long handle);

#ifdef __cplusplus
}
#endif

#endif /* PLAYERDECODER_H */
