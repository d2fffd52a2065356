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

/* ---- Pictures handed to the library --------------------------------------------------------
 * Every decoded picture goes to the registered callback, on the thread that called
 * Decoder_InputVideoData, before the next frame is decoded. 'buf' holds width * height pixels
 * in the layout that 'type' names and is valid only during the call.
 * DEC_PIC_BGR24: packed 24-bit pixels, bytes blue, green, red; rows top to bottom, each
 * width * 3 bytes long, without padding. */
typedef enum { DEC_PIC_BGR24 = 1 } eDecPictureType;

typedef int (*DecPictureCallback)(long handle, char* buf, int width, int height, int type,
                                  long user);

/* Registers the picture callback of a decoder (null switches it off); 0, or -1 for a bad
 * handle. 'user' comes back as the callback's last argument. */
PLAYERDECODER_API int Decoder_SetPictureCallback(long handle, DecPictureCallback cb, long user);

/* ---- Results of the reference decoder library ---------------------------------------------
 * Every call returns -1 for a handle that is not a live decoder (0, -1, closed or unknown).
 * Decoder_Create: 0, or -1 for a null handle pointer, a type other than VT_H264, VT_H265 and
 *   VT_MPEG4, or a codec that cannot be opened (then *handle is -1). userData, overlay,
 *   colorKey and the picture size are accepted as given; the decoded stream sets the real size.
 * Decoder_InputVideoData: 0 frame taken (decoded, kept as the MPEG-4 configuration, or held to
 *   be joined with the rest of its picture); -1 bad handle or empty frame; -2 skipped while
 *   waiting for a key frame; -3 corrupt (decoding waits for the next key frame). ts is the
 *   frame's time stamp in time-scale units. H.264 and H.265 frames may each hold a whole
 *   picture or a piece of one (one or more of its slices): pieces are joined into pictures.
 *   The first frames of a stream are held until the stream shows which kind it sends (one
 *   frame later); after that whole pictures are decoded as they come and a picture in pieces
 *   is decoded when the first piece of the next one arrives. The result of a frame that
 *   completes a picture is that picture's.
 * Decoder_SetPlayWnd: hwnd is an X11 window id (0 or -1: none); show 0 stops drawing.
 * Decoder_SetDrawCb: the callback gets a __DC with the X Display* as surface and the window,
 *   after each picture is drawn.
 * Decoder_SetTimeScale: -1 also for a scale of 0 or less (default 90000 units a second).
 * Decoder_EnableFrameControl: non-zero paces pictures by their time stamps.
 * Pictures are converted to BGR only for the picture callback and for snapshots; the window is
 *   drawn from the decoded picture, which the decoder keeps for snapshots and refreshes.
 * Decoder_CapPicture: 0 written; -1 bad handle or no path; -2 no picture decoded yet;
 *   -3 the file cannot be written; -4 the JPEG encoder failed. A name ending in ".jpg" or
 *   ".jpeg" (any case) gives a JPEG file, any other a 24-bit BMP file.
 * Decoder_GetPictureSize: 0 with the decoded size; -2 before the first picture (the size given
 *   to Decoder_Create is reported).
 * Decoder_RefreshSurface: 1 the last picture was drawn again; 0 nothing to draw (no picture,
 *   no window or no display).
 * Decoder_CloseDecode: 0; the handle is dead at once, and no callback runs after it returns
 *   (unless it was called from inside one). */

#ifdef __cplusplus
}
#endif

#endif /* PLAYERDECODER_H */
