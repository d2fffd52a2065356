/**
 * @file PlayerDecoder.h
 * @brief The decoder library that PlayerSDK feeds (libPlayerDecoder.so).
 *
 * It creates a decoder for an eMediaDecType and a display handle, takes whole frames, draws
 * them and grabs pictures. PlayerSDK calls these functions; the decoder library (or a test's
 * fake) defines them. An application calls them only with a handle from
 * NetPlay_GetDecoderHandle(). Compiles as C (C99 and later) and C++ (C++11 and later).
 *
 * Handles are longs; -1 means "no decoder". Every call of the reference decoder library
 * returns -1 for a handle that is not a live decoder (0, -1, closed or unknown).
 *
 * @par Threads
 * A decoder's calls may come from several threads; the picture and draw callbacks run on the
 * thread that called Decoder_InputVideoData() (or Decoder_RefreshSurface()), before it
 * returns. Decoder_CloseDecode() may be called from inside them.
 *
 * @par Pictures
 * Pictures are converted to BGR only for the picture callback and for snapshots; the window is
 * drawn from the decoded picture, which the decoder keeps for snapshots and refreshes.
 */
#ifndef PLAYERDECODER_H
#define PLAYERDECODER_H

#include "PlayerSDK.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Marks the functions the decoder library exports. */
#define PLAYERDECODER_API __attribute__((visibility("default")))

/**
 * Creates a decoder.
 * @param handle receives the new decoder's handle (-1 on failure)
 * @param type the stream's codec: VT_H264, VT_H265 or VT_MPEG4 (the reference decoder library
 *        refuses the others)
 * @param userData accepted as given
 * @param overlay accepted as given
 * @param colorKey accepted as given
 * @param width expected picture width in pixels (the decoded stream sets the real size)
 * @param height expected picture height in pixels
 * @return 0; -1 for a null handle pointer, a refused type, or a codec that cannot be opened
 */
PLAYERDECODER_API int Decoder_Create(long* handle, eMediaDecType type, long userData, int overlay,
                                     unsigned int colorKey, int width, int height);
/**
 * Decodes one frame (an H.264 or H.265 access unit with start codes, or an MPEG-4 frame or its
 * configuration), draws the picture into the decoder's window and hands it to the picture
 * callback.
 *
 * An H.264 or H.265 frame may hold a whole picture or a piece of one (one or more of its
 * slices): pieces are joined into pictures. The first frames of a stream are held until the
 * stream shows which kind it sends (one frame later); after that whole pictures are decoded as
 * they come and a picture in pieces is decoded when the first piece of the next one arrives.
 * The result of a frame that completes a picture is that picture's.
 * @param handle the decoder
 * @param data the frame; read during the call only
 * @param len bytes in data
 * @param ts the frame's time stamp in time-scale units (Decoder_SetTimeScale())
 * @return 0 frame taken (decoded, kept as the MPEG-4 configuration, or held to be joined with
 *         the rest of its picture); -1 bad handle or empty frame; -2 skipped while waiting for a
 *         key frame; -3 corrupt (decoding waits for the next key frame)
 */
PLAYERDECODER_API int Decoder_InputVideoData(long handle, char* data, int len, long long ts);
/**
 * Sets the window pictures are drawn into.
 * @param handle the decoder
 * @param hwnd an X11 window id on the display $DISPLAY names (0 or -1: none)
 * @param show 0 stops drawing
 * @return 0, or -1 for a bad handle
 */
PLAYERDECODER_API int Decoder_SetPlayWnd(long handle, long hwnd, int show);
/**
 * Sets the hook called after each picture is drawn, with a __DC holding the X Display* as
 * surface and the window.
 * @param handle the decoder
 * @param cb the hook, or null
 * @param user passed back as the hook's second argument
 * @return 0, or -1 for a bad handle
 */
PLAYERDECODER_API int Decoder_SetDrawCb(long handle, DrawCB cb, long user);
/**
 * Sets the clock of the time stamps Decoder_InputVideoData() receives.
 * @param handle the decoder
 * @param scale units a second (default 90000)
 * @return 0; -1 for a bad handle or a scale of 0 or less
 */
PLAYERDECODER_API int Decoder_SetTimeScale(long handle, int scale);
/**
 * Switches pacing: with it on, pictures are shown at the pace of their time stamps.
 * @param handle the decoder
 * @param on non-zero paces pictures
 * @return 0, or -1 for a bad handle
 */
PLAYERDECODER_API int Decoder_EnableFrameControl(long handle, int on);
/**
 * Writes the last decoded picture to a file.
 * @param handle the decoder
 * @param path the file; a name ending in ".jpg" or ".jpeg" (any case) gives a JPEG file, any
 *        other a 24-bit BMP file
 * @return 0 written; -1 bad handle or no path; -2 no picture decoded yet; -3 the file cannot
 *         be written; -4 the JPEG encoder failed
 */
PLAYERDECODER_API int Decoder_CapPicture(long handle, const char* path);
/**
 * The size of the decoded pictures.
 * @param handle the decoder
 * @param width receives the width in pixels
 * @param height receives the height in pixels
 * @return 0 with the decoded size; -2 before the first picture (the size given to
 *         Decoder_Create() is reported); -1 for a bad handle or a null pointer
 */
PLAYERDECODER_API int Decoder_GetPictureSize(long handle, int* width, int* height);
/**
 * Draws the last picture again.
 * @param handle the decoder
 * @return 1 drawn; 0 nothing to draw (no picture, no window or no display); -1 bad handle
 */
PLAYERDECODER_API int Decoder_RefreshSurface(long handle);
/**
 * Closes the decoder: the handle is dead at once, and no callback runs after the call returns
 * (unless it was called from inside one).
 * @param handle the decoder
 * @return 0, or -1 for a bad handle
 */
PLAYERDECODER_API int Decoder_CloseDecode(long handle);

/** Pixel layouts of the pictures handed to a DecPictureCallback. */
typedef enum {
    /** Packed 24-bit pixels, bytes blue, green, red; rows top to bottom, each width * 3
     * bytes long, without padding. */
    DEC_PIC_BGR24 = 1
} eDecPictureType;

/**
 * Receives every decoded picture, on the thread that called Decoder_InputVideoData(), before
 * the next frame is decoded.
 * @param handle the decoder
 * @param buf width * height pixels in the layout type names; valid only during the call
 * @param width picture width in pixels
 * @param height picture height in pixels
 * @param type an eDecPictureType
 * @param user the value given to Decoder_SetPictureCallback()
 * @return ignored
 */
typedef int (*DecPictureCallback)(long handle, char* buf, int width, int height, int type,
                                  long user);

/**
 * Registers the picture callback of a decoder.
 * @param handle the decoder
 * @param cb the callback, or null to switch it off
 * @param user passed back as the callback's last argument
 * @return 0, or -1 for a bad handle
 */
PLAYERDECODER_API int Decoder_SetPictureCallback(long handle, DecPictureCallback cb, long user);

#ifdef __cplusplus
}
#endif

#endif /* PLAYERDECODER_H */
