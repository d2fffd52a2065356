/**
 * @file PlayerSDK.h
 * @brief PlayerSDK: the application-facing C interface of the network video player library.
 *
 * The exported functions, the callback types and the enumerations and records that cross the
 * library boundary. The header compiles as C (C99 and later) and as C++ (C++11 and later).
 *
 * @par Handles
 * Handles are object addresses carried in a @c long. The value 0 and the value -1 mean
 * "no handle": every function refuses both. A container handle comes from NetPlay_Init(), a
 * play handle from NetPlay_OpenUrl(), NetPlay_OpenUrlEx() or NetPlay_InitUDP(), a file-player
 * handle from FilePlay_Start(). Play handles are looked up in their container, so a closed
 * play is refused; a container handle is taken as given, so it must not be used after
 * NetPlay_Destroy().
 *
 * @par Results
 * Functions return 0 for success and -1 for a refused handle or a failure, unless their
 * description says otherwise. Connection and stream events are not results: they reach the
 * application as ePlayNotifyCode values through the container's NetPlayAckCallBack.
 *
 * @par Threads and callbacks
 * Every function may be called from any application thread. The library calls back on threads
 * of its own: each URL play has an RTSP receive thread (its notifications, and for TCP plays
 * its frames and pictures), each container has a receive thread for the UDP sockets of its
 * plays (their frames, pictures and link reports), and each file player has a play thread.
 * A callback must return quickly (media waits behind it) and must not close or destroy what
 * it is called for: no NetPlay_CloseUrl(), NetPlay_StopUDP() or NetPlay_Destroy() for its own
 * container, and no FilePlay_Stop() for its own player. Reading figures and switching callbacks
 * is allowed from inside them.
 */
#ifndef PLAYERSDK_H
#define PLAYERSDK_H

#ifdef __cplusplus
extern "C" {
#endif

/** Marks the functions the shared library exports. */
#define PLAYERSDK_API __attribute__((visibility("default")))

/** A display handle: an X11 window id on Linux, 0 for none. Passed through to the decoder. */
typedef long HWND;

/** Notification codes, delivered to the container's NetPlayAckCallBack. */
typedef enum {
    NOTIFY_CONNECTING = 1,           /**< Defined for applications; never delivered. */
    NOTIFY_CONNECT_ERROR = 2,        /**< The connection or the session set-up failed. */
    NOTIFY_SERVER_SHUTDOWN = 3,      /**< Defined for applications; never delivered. */
    NOTIFY_CONNECT_SUCCESS = 4,      /**< The server accepted PLAY: the play is playing. */
    NOTIFY_PLAYING = 5,              /**< Media arrives (sent again after any other code). */
    NOTIFY_PLAY_FINISHED = 6,        /**< The server ended the stream (RTCP BYE, end of item). */
    NOTIFY_PLAY_OTHER_ERROR = 7,     /**< The stream was cut, failed, or no frame arrived. */
    NOTIFY_ZU_IR_DEC_CREATE = 8,     /**< A VT_IR decoder was created. */
    NOTIFY_ZU_IR_DEC_DELETE = 9,     /**< Defined for applications; never delivered. */
    NOTIFY_ZU_VIDEO_DEC_CREATE = 10, /**< The video decoder was created for the first frame. */
    NOTIFY_ZU_VIDEO_DEC_DELETE = 11  /**< Defined for applications; never delivered. */
} ePlayNotifyCode;

/** @cond INTERNAL */
/* Applications may pass any int as an ePlayOption (values outside 0..13 are refused), so in
 * C++ the enumeration has int as its underlying type and every int is a valid value. */
#ifdef __cplusplus
#define PLAYERSDK_ENUM_OF_INT : int
#else
#define PLAYERSDK_ENUM_OF_INT
#endif
/** @endcond */

/**
 * Control verbs of NetPlay_Control(), for recorded streams served over RTSP. The factors of
 * the speed verbs are 1 to 16; a factor of 0 returns to normal play (and the call returns
 * -1). The *SEEK values exist but are refused by URL play.
 */
typedef enum PLAYERSDK_ENUM_OF_INT {
    PLAY_FAST = 0,          /**< Play faster: para is the speed factor (RTSP Speed +para). */
    PLAY_FASTSEEK = 1,      /**< Refused (-1). */
    PLAY_SLOW = 2,          /**< Play slower: para is the slow factor (RTSP Speed +1/para). */
    PLAY_SLOWSEEK = 3,      /**< Refused (-1). */
    PLAY_FWOD = 4,          /**< Play forward: para is the scale factor (RTSP Scale +para). */
    PLAY_FWODSEEK = 5,      /**< Refused (-1). */
    PLAY_BACK = 6,          /**< Play backward: para is the scale factor (RTSP Scale -para). */
    PLAY_BACKSEEK = 7,      /**< Refused (-1). */
    PLAY_PAUSE = 8,         /**< Pause, sending nothing: TCP media stops reaching the decoder. */
    PLAY_PAUSESEEK = 9,     /**< Refused (-1). */
    PLAY_CONTINUE = 10,     /**< Continue after a pause; the last picture is drawn again. */
    PLAY_SETPOS = 11,       /**< Seek to para percent (0 to 100) of the recorded item. */
    PLAY_GETFRAMERATE = 12, /**< Return the frame rate instead of a status; para is ignored. */
    PLAY_SETTIME = 13       /**< Seek to para seconds from the start of the recorded item. */
} ePlayOption;

/** How the media of a URL play travels. */
typedef enum {
    TT_TCP = 1,      /**< RTP interleaved in the RTSP connection. */
    TT_UDP = 2,      /**< RTP on UDP ports of the library's own. */
    TT_MULTICAST = 3 /**< Accepted as a value; nothing is received. */
} eTransType;

/** Packet formats of a play's UDP sink; only PT_RTP sinks rebuild frames. */
typedef enum {
    PT_RTP = 1,          /**< RTP (the default). */
    PT_TS = 2,           /**< MPEG transport stream; received, not decoded. */
    PT_RTP_VERSION2 = 3, /**< Reserved; received, not decoded. */
    PT_RTP_VERSION3 = 4  /**< Reserved; received, not decoded. */
} ePacketType;

/** Decoder kinds of the decoder library (the reference decoder library decodes VT_MPEG4,
 * VT_H264 and VT_H265). */
typedef enum {
    VT_MPEG4 = 1,          /**< MPEG-4 Visual. */
    VT_H264 = 2,           /**< H.264. */
    AT_G711 = 3,           /**< G.711 audio. */
    AT_PCM1C16B8000 = 4,   /**< PCM audio, one channel, 16 bits, 8000 samples a second. */
    AT_PCM1C8B8000 = 5,    /**< PCM audio, one channel, 8 bits, 8000 samples a second. */
    AT_ADPCM2C16B8000 = 6, /**< ADPCM audio, two channels, 16 bits, 8000 samples a second. */
    VT_Hik = 7,            /**< A maker's own video format. */
    VT_LC = 8,             /**< A maker's own video format. */
    AT_LC = 9,             /**< A maker's own audio format. */
    VT_DH = 10,            /**< A maker's own video format. */
    VT_IR = 11,            /**< Infrared video; its decoder raises NOTIFY_ZU_IR_DEC_CREATE. */
    VT_H265 = 12           /**< H.265. */
} eMediaDecType;

/** The stream description handed to the decoder set-up. */
typedef struct DeviceDecInfo {
    int devtype;                   /**< The device's kind; not interpreted. */
    unsigned int videoPayLoadType; /**< RTP payload type of the video (96 H.264, 97 MPEG-4). */
    unsigned int audioPayLoadType; /**< RTP payload type of the audio. */
    int picWidth;                  /**< Picture width in pixels, 0 when unknown. */
    int picHeight;                 /**< Picture height in pixels, 0 when unknown. */
    unsigned int timescale;        /**< RTP clock of the video, units a second (90000). */
    int config_len;                /**< Number of valid bytes in config. */
    /** On input the SDP format-parameter text (NUL-terminated); inside a stream the binary
     * decoder configuration. */
    char config[512];
} DeviceDecInfo;

/** What the owner-draw callback (DrawCB) receives after the decoder drew a picture. */
typedef struct __DC {
    void* surface; /**< The decoder's drawing surface (the reference decoder: the X Display*). */
    HWND hWnd;     /**< The window drawn into. */
} __DC;

/**
 * The container's notification callback, given to NetPlay_Init().
 *
 * Called on the play's RTSP receive thread, the container's UDP receive thread or (for a
 * connection that fails at once) the application's thread inside NetPlay_OpenUrl(),
 * NetPlay_OpenUrlEx(), NetPlay_InitUDP() or NetPlay_StartUDP(). It must not close the play or
 * destroy the container.
 * @param hPlayContainer the container handle
 * @param hUrlPlay the play handle (for a connection error inside NetPlay_OpenUrl() a handle
 *        that the call does not return); for NOTIFY_ZU_VIDEO_DEC_CREATE the new decoder's
 *        handle, for NOTIFY_ZU_IR_DEC_CREATE the result of Decoder_Create()
 * @param code what happened
 * @param lUserData the user value given to NetPlay_Init()
 * @return ignored
 */
typedef int (*NetPlayAckCallBack)(long hPlayContainer, long hUrlPlay, ePlayNotifyCode code,
                                  long lUserData);
/**
 * Owner-draw hook: called by the decoder library after it drew a picture, on the thread that
 * fed the frame (the play's receive thread).
 * @param dc the surface and window drawn into
 * @param lPrivate the value given to NetPlay_SetOwnerDraw()
 */
typedef void (*DrawCB)(__DC* dc, long lPrivate);
/**
 * Link reports of a container's UDP sinks, called on the container's receive thread. It must
 * not open or close UDP plays of the same container.
 * @param hSinkContainer the reporting sink container (inside the play container)
 * @param hSink the sink concerned
 * @param code 1 no RTCP packet arrived in the last check period (60 s); 2 an RTCP BYE
 *        arrived; 3 a read failed on a TCP sink; 4 raised through g_SendDataCallback()
 * @param lUserData 0
 */
typedef void (*NetLink_ReportCallBack)(long hSinkContainer, long hSink, int code, long lUserData);
/**
 * Outgoing data of the media pipeline: packets to send, and sequence-gap reports. Called on the
 * receive thread of the stream concerned.
 * @param handle the stream's user value
 * @param packet the RTP packet (null for a gap report); valid only during the call
 * @param length bytes in packet (0 for a gap report)
 * @param userdata the stream's user value
 * @param reserved 0 for a packet to send, 1 for a gap report
 * @return ignored
 */
typedef int (*SendDatacCallback)(long handle, char* packet, int length, long userdata,
                                 long reserved);
/**
 * Decoded pictures, called on the thread that fed the frame to the decoder, before the next
 * frame is decoded.
 * @param handle the stream that decoded it
 * @param buf the pixels; valid only during the call
 * @param width picture width in pixels
 * @param height picture height in pixels
 * @param type the pixel layout, an eDecPictureType of PlayerDecoder.h (DEC_PIC_BGR24: rows of
 *        width * 3 bytes, blue, green, red, top row first)
 * @param userdata the stream's user value
 * @return ignored
 */
typedef int (*GotPictureCallback)(long handle, char* buf, int width, int height, int type,
                                  long userdata);
/**
 * Every reassembled frame (H.264 with start codes, or MPEG-4), before it is decoded. Called on
 * the receive thread of the stream (the RTSP receive thread for TCP plays, the container's
 * receive thread for UDP plays).
 * @param handle the stream
 * @param buf the frame; valid only during the call
 * @param length bytes in buf
 * @param userdata the stream's user value
 * @return ignored
 */
typedef int (*GotFrameCallback)(long handle, char* buf, int length, long userdata);
/**
 * Stored by NetSink_SetGotPictureCallBack(); the library never calls it.
 * @param handle unused
 * @param buf unused
 * @param width unused
 * @param height unused
 * @param type unused
 * @param userdata unused
 * @return unused
 */
typedef int (*NetSink_GetPictureCallback)(long handle, char* buf, int width, int height, int type,
                                          long userdata);
/**
 * Frames forwarded by GotFramedataCallback(), on the thread that called it.
 * @param mshandle the sink given to GotFramedataCallback() as its userdata
 * @param pMediaBuf the frame; valid only during the call
 * @param length bytes in pMediaBuf
 * @param userdata the sink container's user value (0)
 * @return ignored
 */
typedef int (*NetSink_GotFramedataCallback)(long mshandle, char* pMediaBuf, long length,
                                            long userdata);

/** @name Log file
 * One log file per process: "playersdk.log" in the working directory unless
 * SetPlayerSdkLogFile() names another before the first entry. The first entry of a process
 * truncates the file; each entry is stamped with the time and flushed.
 * @{ */

/**
 * Names the log file. Takes effect only before the first entry of the process.
 * @param path the file's path, shorter than 256 bytes (a longer path or null is ignored);
 *        copied
 */
PLAYERSDK_API void SetPlayerSdkLogFile(const char* path);
/**
 * Writes one entry to the log file, opening (and truncating) it on first use. Entries longer
 * than 2048 bytes are cut. Safe on any thread.
 * @param format printf format
 * @return a positive count when the entry was written, -1 when the file cannot be opened or
 *         the format fails
 */
PLAYERSDK_API int PlayerSdkLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
/** @} */

/** @name Base64 (RFC 4648 alphabet)
 * @{ */

/**
 * The buffer size Base64decode() needs for a text.
 * @param bufcoded NUL-terminated Base64 text (decoding stops at the first character outside
 *        the alphabet)
 * @return bytes, including one for a terminating NUL
 */
PLAYERSDK_API int Base64decode_len(const char* bufcoded);
/**
 * Decodes Base64 text, up to its first character outside the alphabet, and NUL-terminates.
 * @param bufplain receives the bytes; at least Base64decode_len(bufcoded) bytes
 * @param bufcoded NUL-terminated Base64 text
 * @return the number of decoded bytes (without the NUL)
 */
PLAYERSDK_API int Base64decode(char* bufplain, const char* bufcoded);
/**
 * The buffer size Base64encode() needs.
 * @param len bytes to encode
 * @return characters, including the terminating NUL
 */
PLAYERSDK_API int Base64encode_len(int len);
/**
 * Encodes bytes as NUL-terminated Base64 text with '=' padding.
 * @param encoded receives the text; at least Base64encode_len(len) bytes
 * @param string the bytes
 * @param len number of bytes
 * @return characters written, including the NUL
 */
PLAYERSDK_API int Base64encode(char* encoded, const char* string, int len);
/** @} */

/** @name Process-wide media callbacks
 * Each setter stores its function for every stream of the process and returns 0; a null
 * pointer switches the callback off. Set them before opening plays.
 * @{ */

/**
 * Sets the callback for outgoing packets and gap reports.
 * @param sendprocess the callback, or null
 * @return 0
 */
PLAYERSDK_API int NetPlay_SetSendDataCallback(SendDatacCallback sendprocess);
/**
 * Sets the callback for decoded pictures.
 * @param pictureprocess the callback, or null
 * @return 0
 */
PLAYERSDK_API int NetPlay_SetGotPictureCallback(GotPictureCallback pictureprocess);
/**
 * Sets the callback for every reassembled frame (note the lower-case "set").
 * @param gotframeProcess the callback, or null
 * @return 0
 */
PLAYERSDK_API int NetPlay_setGotFrameCallback(GotFrameCallback gotframeProcess);
/**
 * Stores a picture callback that the library never calls (kept for applications that set it).
 * @param GotPictureCallBack the callback, or null
 * @return 0
 */
PLAYERSDK_API int NetSink_SetGotPictureCallBack(NetSink_GetPictureCallback GotPictureCallBack);
/**
 * Sets the callback to which GotFramedataCallback() forwards frames.
 * @param GotFrameCallback the callback, or null
 * @return 0
 */
PLAYERSDK_API int NetSink_SetGotFrameCallback(NetSink_GotFramedataCallback GotFrameCallback);
/** @} */

/** @name Sink adapters
 * For the application to pass where a SendDatacCallback or a NetSink_GotFramedataCallback is
 * wanted, with a sink as the user value. Nothing inside the library calls them.
 * @{ */

/**
 * Sends a packet from a sink, or raises link report 4.
 * @param mshandle unused
 * @param packet the packet to send (reserved 0)
 * @param length bytes in packet
 * @param userdata the sink (a handle passed to a NetLink_ReportCallBack as hSink)
 * @param reserved 0 sends the packet from the sink; 1 calls the sink container's
 *        NetLink_ReportCallBack with code 4; other values do nothing
 * @return 0
 */
PLAYERSDK_API int g_SendDataCallback(long mshandle, char* packet, int length, long userdata,
                                     long reserved);
/**
 * Forwards a frame to the NetSink_SetGotFrameCallback() callback, with the sink as its first
 * argument, when the sink belongs to a container and the callback is set.
 * @param mshandle unused
 * @param pMediaBuf the frame
 * @param length bytes in pMediaBuf
 * @param userdata the sink
 * @return 0
 */
PLAYERSDK_API int GotFramedataCallback(long mshandle, char* pMediaBuf, int length, long userdata);
/** @} */

/**
 * The library's version, one byte each for 2, 6, 0, 1, most significant first.
 * @return 0x02060001
 */
PLAYERSDK_API unsigned int Player_GetVersion(void);

/** @name Network play: containers
 * A container owns URL plays and the receive thread of their UDP sockets; every play call names
 * the container and the play. Containers are independent of each other.
 * @{ */

/** The RTSP engine's report record; opaque to applications. */
struct rtsp_sdp_info;

/**
 * Creates a container with its UDP receive thread and its UDP watchdog thread.
 * @param pFunc the notification callback for every play of this container, or null
 * @param lUserData passed back as the callback's last argument
 * @return the container handle, or -1 when it cannot be allocated
 */
PLAYERSDK_API long NetPlay_Init(NetPlayAckCallBack pFunc, long lUserData);
/**
 * Closes every play of the container (each gets its RTSP TEARDOWN), stops its threads and
 * frees it. Must not be called from one of the container's callbacks.
 * @param RecvHandle the container handle
 * @return 0, or -1 when RecvHandle is not greater than 0
 */
PLAYERSDK_API int NetPlay_Destroy(long RecvHandle);
/**
 * Sets the owner-draw hook that URL plays opened afterwards hand to their decoder (plays
 * already open, and plays made by NetPlay_InitUDP(), keep theirs).
 * @param hPlayContainer the container handle
 * @param AfterDrawFunc the hook, or null
 * @param lPrivate passed back as the hook's second argument
 */
PLAYERSDK_API void NetPlay_SetOwnerDraw(long hPlayContainer, DrawCB AfterDrawFunc, long lPrivate);
/**
 * Sets the container's link report callback (UDP sinks; called on its receive thread).
 * @param handle the container handle
 * @param SinkReportCallBack the callback, or null
 */
PLAYERSDK_API void NetPlay_SetLinkReportCallBack(long handle,
                                                 NetLink_ReportCallBack SinkReportCallBack);
/** @} */

/** @name Network play: URL plays
 * @{ */

/**
 * Opens an RTSP URL over TCP (RTP interleaved in the RTSP connection): connects, starts the
 * play's receive thread and sends DESCRIBE; SETUP and PLAY follow on that thread, and
 * NOTIFY_CONNECT_SUCCESS reports the answered PLAY. A connection that fails at once is
 * reported (NOTIFY_CONNECT_ERROR) before the call returns.
 * @param RecvHandle the container handle
 * @param url "rtsp://host[:port]/path", host a numeric IPv4 address, port 554 by default
 * @param hPlayWnd the window the decoder draws into (an X11 window id), or 0
 * @param userdata the play's user value
 * @param deviceinfo ignored (the stream is described by the server); may be null
 * @return the play handle, or -1
 */
PLAYERSDK_API long NetPlay_OpenUrl(long RecvHandle, const char* url, long hPlayWnd, long userdata,
                                   DeviceDecInfo* deviceinfo);
/**
 * NetPlay_OpenUrl() with a choice of transport.
 * @param RecvHandle the container handle
 * @param url "rtsp://host[:port]/path", host a numeric IPv4 address, port 554 by default
 * @param hPlayWnd the window the decoder draws into (an X11 window id), or 0
 * @param userdata the play's user value
 * @param transType an eTransType: TT_TCP, TT_UDP (RTP on a local UDP port offered in SETUP),
 *        or TT_MULTICAST (accepted; nothing is received)
 * @return the play handle, or -1
 */
PLAYERSDK_API long NetPlay_OpenUrlEx(long RecvHandle, const char* url, long hPlayWnd, long userdata,
                                     int transType);
/**
 * Closes a play: sends TEARDOWN, stops its receive thread, closes its decoder and recording,
 * and frees it. Must not be called from one of the container's callbacks.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return 0, or -1 when the play is not in the container
 */
PLAYERSDK_API int NetPlay_CloseUrl(long RecvHandle, long hHandle);
/** @} */

/** @name Network play: direct UDP plays
 * The receiving port is opened first (NetPlay_InitUDP()), then the session is started on it
 * (NetPlay_StartUDP()) and finally stopped (NetPlay_StopUDP()).
 * @{ */

/**
 * Opens a UDP receiving sink and registers a play for it.
 * @param RecvHandle the container handle
 * @param tmpip the sender's numeric IPv4 address
 * @param tmpport the sender's port; the local port is chosen by the library
 * @param localPort receives the local port, or -1 when the sink cannot be made; untouched
 *        when RecvHandle is refused
 * @return the play handle, or -1
 */
PLAYERSDK_API long NetPlay_InitUDP(long RecvHandle, const char* tmpip, int tmpport, int* localPort);
/**
 * Starts the RTSP session of a play made by NetPlay_InitUDP(). A failed start is reported as a
 * notification, not as a result; the play stays registered.
 * @param RecvHandle the container handle
 * @param hHandle the play handle from NetPlay_InitUDP()
 * @param url "rtsp://host[:port]/path", host a numeric IPv4 address
 * @param hPlayWnd the window the decoder draws into, or 0
 * @param userdata the play's user value
 * @param transType an eTransType
 * @return 0 when the play is in the container, else -1
 */
PLAYERSDK_API int NetPlay_StartUDP(long RecvHandle, long hHandle, const char* url, long hPlayWnd,
                                   long userdata, int transType);
/**
 * Removes the play's sinks from the container (sending RTCP BYE) and frees the play.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return 0, or -1 when the play is not in the container
 */
PLAYERSDK_API int NetPlay_StopUDP(long RecvHandle, long hHandle);
/** @} */

/** @name Network play: per-play services
 * Each returns -1 (-1.0 for NetPlay_GetFlux(), all bits set for NetPlay_GetRecFileCurTs())
 * when the container handle is 0 or -1 or the play is not in the container.
 * @{ */

/**
 * Trick play on a recorded stream. Returns 0 once the request is handed to the RTSP session,
 * whatever the server answers.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @param operate an ePlayOption
 * @param para the factor (1 to 16; 0 returns to normal play and gives -1), the position in
 *        percent (0 to 100) or the time in seconds, as the ePlayOption value says; ignored
 *        by the other verbs
 * @return 0; the frame rate for PLAY_GETFRAMERATE; -1 for a refused verb or parameter
 */
PLAYERSDK_API int NetPlay_Control(long RecvHandle, long hHandle, ePlayOption operate, int para);
/**
 * The play position in percent of the recorded item, from the time stamps read by the last
 * NetPlay_GetRecFileCurTs(): 0 until the elapsed whole seconds reach the item's length, then
 * 100.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @param pPosition receives the percentage (0 for a live stream)
 * @return 0, or -1 for a live stream (no length) or a position outside 0 to 100
 */
PLAYERSDK_API int NetPlay_GetPlayPosition(long RecvHandle, long hHandle, long* pPosition);
/**
 * The media time played since the first frame, in whole seconds, from the RTP time stamps.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return the seconds (0 before the first time stamp), or all bits set for a refused handle
 */
PLAYERSDK_API unsigned long long NetPlay_GetRecFileCurTs(long RecvHandle, long hHandle);
/**
 * Writes the picture the decoder shows now to a file; missing folders of the path are made.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @param filename the file; a name ending in ".jpg" or ".jpeg" gives JPEG, any other BMP
 * @return 0 written; 1 no decoder yet (no frame has arrived); otherwise the decoder
 *         library's result (the reference decoder library: -2 no picture decoded yet, -3 the
 *         file cannot be written, -4 the JPEG encoder failed); -1 the folders cannot be made
 */
PLAYERSDK_API int NetPlay_GrabPic(long RecvHandle, long hHandle, const char* filename);
/**
 * Starts recording the received frames to a file (the library's record format, which
 * FilePlay_Start() plays); missing folders of the path are made.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @param FileName the record file
 * @return 0; -1 when the play already records or the folders cannot be made
 */
PLAYERSDK_API int NetPlay_StartRecord(long RecvHandle, long hHandle, const char* FileName);
/**
 * Stops recording and closes the record file.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return 0 (also when the play does not record)
 */
PLAYERSDK_API int NetPlay_StopRecord(long RecvHandle, long hHandle);
/**
 * Frames received in the last whole second.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return frames per second; -1 for a multicast play
 */
PLAYERSDK_API int NetPlay_GetFrameRate(long RecvHandle, long hHandle);
/**
 * Traffic received in the last whole second: the RTSP connection of a TCP play, the RTP socket
 * of a UDP play.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return kbit/s (1 kbit = 1024 bits); -1.0 for a multicast play
 */
PLAYERSDK_API float NetPlay_GetFlux(long RecvHandle, long hHandle);
/**
 * Draws the last picture again.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return 0 when the decoder drew it; -1 otherwise (always for a recording play and for a UDP
 *         play)
 */
PLAYERSDK_API int NetPlay_RefreshSurface(long RecvHandle, long hHandle);
/**
 * Changes the transport the per-play services assume (an eTransType); how the media arrives
 * does not change.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @param tranmode an eTransType
 * @return 0
 */
PLAYERSDK_API int NetPlay_SetTranMode(long RecvHandle, long hHandle, long tranmode);
/**
 * Stores the play's packet format (an ePacketType); a UDP sink the play already made keeps the
 * format it was made with.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @param packettype an ePacketType
 * @return 0
 */
PLAYERSDK_API int NetPlay_SetePacketType(long RecvHandle, long hHandle, long packettype);
/**
 * The decoder library's handle of a TCP play's decoder, for calls into the decoder library.
 * @param RecvHandle the container handle
 * @param hHandle the play handle
 * @return the decoder handle (-1 before the first frame); -1 for a UDP play
 */
PLAYERSDK_API long NetPlay_GetDecoderHandle(long RecvHandle, long hHandle);

/**
 * The hook by which a play's RTSP engine reports to its container; applications do not call
 * it.
 * @param info the engine's report
 * @return 0
 */
PLAYERSDK_API int RTSP_NotifyHandle(struct rtsp_sdp_info* info);
/** @} */

/** @name Elementary-stream helpers
 * @{ */

/**
 * Looks for the first H.264 IDR or SPS unit behind a four-byte start code.
 * @param buf the bytes
 * @param len number of bytes
 * @return 2 at the first 00 00 00 01 65 (IDR), 3 at the first 00 00 00 01 67 (SPS), else 1
 */
PLAYERSDK_API int FindH264Header(const char* buf, int len);
/**
 * Looks for an MPEG-4 Visual header.
 * @param buf the bytes
 * @param len number of bytes
 * @return 4 at 00 00 01 00 (video object), 5 at 00 00 01 B0 or B6 (sequence or VOP), else 6
 */
PLAYERSDK_API int FindMpeg4Vol(const char* buf, int len);
/**
 * Flips a 24-bit picture upside down.
 * @param src width * height * 3 bytes
 * @param width picture width in pixels
 * @param height picture height in pixels
 * @param dst receives width * height * 3 bytes
 */
PLAYERSDK_API void PicChange(const char* src, int width, int height, char* dst);
/** @} */

/** @name Local file play
 * Plays a file recorded by this library (NetPlay_StartRecord()) into the decoder library, on
 * a play thread of its own. The handle is the player's address; 0 and -1 are never handles.
 * @{ */

/** The maker of the recorded stream, told by the first frame's payload type. */
typedef enum {
    MANU_FILE_TYPE_UNKOWN = 0, /**< Unknown maker (or a bad handle). */
    MANU_FILE_TYPE_BRT = 1,    /**< This library's recordings: played and decoded. */
    MANU_FILE_TYPE_DAHU = 2,   /**< A maker's recording. */
    MANU_FILE_TYPE_HIK = 3,    /**< A maker's recording. */
    MANU_FILE_TYPE_LC = 4,     /**< A maker's recording. */
    MANU_FILE_TYPE_HB = 5,     /**< A maker's recording. */
    MANU_FILE_TYPE_TOPSEE = 6, /**< A maker's recording. */
    MANU_FILE_TYPE_STC = 7     /**< A maker's recording. */
} eManuFileType;

/** The play modes of FilePlay_Control(). */
typedef enum {
    FILE_NOINIT = 0,    /**< Does nothing. */
    FILE_NOPLAY = 1,    /**< Does nothing. */
    FILE_PLAYING = 2,   /**< Normal play at the file's frame rate; speed unused. */
    FILE_PAUSE = 3,     /**< Pause; any other mode continues. */
    FILE_FWORD = 4,     /**< Key frames forward, scale frames a second (0: normal play). */
    FILE_BACK = 5,      /**< Key frames backward, scale frames a second (0: normal play). */
    FILE_SLOW = 6,      /**< Every frame, speed times slower (0: normal play). */
    FILE_FAST = 7,      /**< Every frame, speed times faster (0: normal play). */
    FILE_PLAYSEEK = 8,  /**< Normal play from seektime percent of the file. */
    FILE_FWORDSEEK = 9, /**< Only continues a paused play. */
    FILE_BACKSEEK = 10, /**< Only continues a paused play. */
    FILE_FASTSEEK = 11, /**< Only continues a paused play. */
    FILE_SLOWSEEK = 12, /**< Only continues a paused play. */
    FILE_SOLE = 13,     /**< Only continues a paused play. */
    FILE_SOLESEEK = 14  /**< Only continues a paused play. */
} eFilePlayMode;

/** A FilePlay_Control() request. */
typedef struct _tPlayCtrlInfo {
    eFilePlayMode playmode; /**< What to do. */
    long speed;             /**< Slow-down or speed-up factor of FILE_SLOW and FILE_FAST. */
    long scale;             /**< Key frames a second of FILE_FWORD and FILE_BACK. */
    long seektime;          /**< Position in percent of the file's frames for FILE_PLAYSEEK. */
} tPlayCtrlInfo;

/** Events of the file-play callback. */
typedef enum {
    FILE_PLAYOK = 0,        /**< Defined for applications; not raised. */
    FILE_PLAYHEAD = 1,      /**< Defined for applications; not raised. */
    FILE_PLAYOVER = 2,      /**< The last frame was played; the play thread has ended. */
    FILE_MSG_PLAY_ERROR = 3 /**< Defined for applications; not raised. */
} eFileReplyType;

/** What the file-play callback receives. */
typedef struct _tPlayInfo {
    eFileReplyType fileevent; /**< The event. */
    void* pPlayFile;          /**< Null. */
    int errorcode;            /**< 0. */
} tPlayInfo;

/** What FilePlay_GetInfo() reports. */
typedef struct _tVideoFileInfo {
    unsigned int totalFrameNum; /**< Frames in the file. */
    unsigned int keyFrameNum;   /**< Key frames in the file. */
    eManuFileType manufType;    /**< The maker of the recorded stream. */
} tVideoFileInfo;

/**
 * The file player's event callback, called on the player's play thread. It must not call
 * FilePlay_Stop() for the same player (that call is refused from there).
 * @param lUserData the user value given to FilePlay_Start()
 * @param info the event; valid only during the call
 */
typedef void (*FilePlayCallback)(long lUserData, tPlayInfo* info);

/**
 * Opens and indexes a recorded file and starts playing it at its frame rate.
 * @param path the record file
 * @param hWnd the window the decoder draws into (an X11 window id), or 0
 * @param callback the event callback, or null
 * @param lUserData passed back as the callback's first argument
 * @return the player handle, or -1 when the file cannot be opened, is not a record file or
 *         holds no frame
 */
PLAYERSDK_API long FilePlay_Start(const char* path, HWND hWnd, FilePlayCallback callback,
                                  long lUserData);
/**
 * Stops the play thread, closes the decoder and the file, and frees the player.
 * @param hPlay the player handle
 * @return 0; -1 for a bad handle, or when called from the player's own callback
 */
PLAYERSDK_API int FilePlay_Stop(long hPlay);
/**
 * Changes the play mode: see eFilePlayMode. Key-frame stepping works on this library's
 * recordings only; for other makers only the pause state changes.
 * @param hPlay the player handle
 * @param ctrl the request (read during the call)
 * @return 0 (also for modes that do nothing); -1 for a bad handle or a null ctrl
 */
PLAYERSDK_API int FilePlay_Control(long hPlay, tPlayCtrlInfo* ctrl);
/**
 * The file's length.
 * @param hPlay the player handle
 * @return seconds (frames / frame rate), or -1 for a bad handle
 */
PLAYERSDK_API long FilePlay_GetTotalTime(long hPlay);
/**
 * The time of the frame played last.
 * @param hPlay the player handle
 * @return seconds (frame number / frame rate), or -1 for a bad handle
 */
PLAYERSDK_API long FilePlay_GetCurTime(long hPlay);
/**
 * The maker of the recorded stream.
 * @param hPlay the player handle
 * @return an eManuFileType; 0 for a bad handle
 */
PLAYERSDK_API int FilePlay_GetManufType(long hPlay);
/**
 * Writes the picture shown now to a file.
 * @param hPlay the player handle
 * @param path the file; a name ending in ".jpg" or ".jpeg" gives JPEG, any other BMP
 * @return 0 when handed to the decoder; -1 for a bad handle or before the first frame
 */
PLAYERSDK_API int FilePlay_CapturePic(long hPlay, const char* path);
/**
 * Reports the file's frame counts and maker.
 * @param hPlay the player handle
 * @param info receives the figures
 * @return 0, or -1 for a bad handle or a null info
 */
PLAYERSDK_API int FilePlay_GetInfo(long hPlay, tVideoFileInfo* info);
/**
 * Draws the last picture again.
 * @param hPlay the player handle
 * @return 0 when the decoder drew it; -1 when it did not (always for other makers' files);
 *         0 for a bad handle
 */
PLAYERSDK_API int FilePlay_RefreshSurface(long hPlay);
/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PLAYERSDK_H */
