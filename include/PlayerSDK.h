/*
 * PlayerSDK: network video player library.
 *
 * The application-facing C interface: exported functions, callback types and the
 * enumerations and records that cross the library boundary. Compiles as C and C++.
 * Handles are object addresses carried in a long; 0 and -1 mean "no handle".
 */
#ifndef PLAYERSDK_H
#define PLAYERSDK_H

#ifdef __cplusplus
extern "C" {
#endif

#define PLAYERSDK_API __attribute__((visibility("default")))

typedef long HWND;

/* Notification codes delivered to NetPlayAckCallBack. */
typedef enum {
    NOTIFY_CONNECTING = 1,
    NOTIFY_CONNECT_ERROR = 2,
    NOTIFY_SERVER_SHUTDOWN = 3,
    NOTIFY_CONNECT_SUCCESS = 4,
    NOTIFY_PLAYING = 5,
    NOTIFY_PLAY_FINISHED = 6,
    NOTIFY_PLAY_OTHER_ERROR = 7,
    NOTIFY_ZU_IR_DEC_CREATE = 8,
    NOTIFY_ZU_IR_DEC_DELETE = 9,
    NOTIFY_ZU_VIDEO_DEC_CREATE = 10,
    NOTIFY_ZU_VIDEO_DEC_DELETE = 11
} ePlayNotifyCode;

/* Control verbs of NetPlay_Control. The *SEEK values are refused by URL play. Applications
 * may pass any int (values outside 0..13 are refused), so in C++ every int is a valid value. */
#ifdef __cplusplus
#define PLAYERSDK_ENUM_OF_INT : int
#else
#define PLAYERSDK_ENUM_OF_INT
#endif
typedef enum PLAYERSDK_ENUM_OF_INT {
    PLAY_FAST = 0,
    PLAY_FASTSEEK = 1,
    PLAY_SLOW = 2,
    PLAY_SLOWSEEK = 3,
    PLAY_FWOD = 4,
    PLAY_FWODSEEK = 5,
    PLAY_BACK = 6,
    PLAY_BACKSEEK = 7,
    PLAY_PAUSE = 8,
    PLAY_PAUSESEEK = 9,
    PLAY_CONTINUE = 10,
    PLAY_SETPOS = 11,
    PLAY_GETFRAMERATE = 12,
    PLAY_SETTIME = 13
} ePlayOption;

/* How the media of a URL play travels. */
typedef enum {
    TT_TCP = 1,      /* RTP interleaved in the RTSP connection */
    TT_UDP = 2,      /* RTP on UDP ports of the library's own */
    TT_MULTICAST = 3 /* accepted; nothing is received */
} eTransType;

typedef enum { PT_RTP = 1, PT_TS = 2, PT_RTP_VERSION2 = 3, PT_RTP_VERSION3 = 4 } ePacketType;

/* Decoder kinds of the decoder library. */
typedef enum {
    VT_MPEG4 = 1,
    VT_H264 = 2,
    AT_G711 = 3,
    AT_PCM1C16B8000 = 4,
    AT_PCM1C8B8000 = 5,
    AT_ADPCM2C16B8000 = 6,
    VT_Hik = 7,
    VT_LC = 8,
    AT_LC = 9,
    VT_DH = 10,
    VT_IR = 11,
    VT_H265 = 12
} eMediaDecType;

/* The stream description handed to the decoder set-up. On input 'config' holds the SDP
 * format-parameter text (NUL-terminated); inside a stream it holds the binary decoder
 * configuration. */
typedef struct DeviceDecInfo {
    int devtype;
    unsigned int videoPayLoadType;
    unsigned int audioPayLoadType;
    int picWidth;
    int picHeight;
    unsigned int timescale;
    int config_len;
    char config[512];
} DeviceDecInfo;

/* What the owner-draw callback receives after the decoder drew a picture. */
typedef struct __DC {
    void* surface;
    HWND hWnd;
} __DC;

typedef int (*NetPlayAckCallBack)(long hPlayContainer, long hUrlPlay, ePlayNotifyCode code,
                                  long lUserData);
typedef void (*DrawCB)(__DC* dc, long lPrivate);
typedef void (*NetLink_ReportCallBack)(long hSinkContainer, long hSink, int code, long lUserData);
typedef int (*SendDatacCallback)(long handle, char* packet, int length, long userdata,
                                 long reserved);
typedef int (*GotPictureCallback)(long handle, char* buf, int len, int width, int height,
                                  long userdata);
typedef int (*GotFrameCallback)(long handle, char* buf, int length, long userdata);
typedef int (*NetSink_GetPictureCallback)(long handle, char* buf, int len, int width, int height,
                                          long userdata);
typedef int (*NetSink_GotFramedataCallback)(long mshandle, char* pMediaBuf, long length,
                                            long userdata);

/* ---- Log file ---------------------------------------------------------------------------
 * One log file per process, "playersdk.log" in the working directory unless changed before
 * the first entry. The first entry of a process truncates the file. */
PLAYERSDK_API void SetPlayerSdkLogFile(const char* path);
PLAYERSDK_API int PlayerSdkLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* ---- Base64 (RFC 4648 alphabet) ---------------------------------------------------------- */
PLAYERSDK_API int Base64decode_len(const char* bufcoded);
PLAYERSDK_API int Base64decode(char* bufplain, const char* bufcoded);
PLAYERSDK_API int Base64encode_len(int len);
PLAYERSDK_API int Base64encode(char* encoded, const char* string, int len);

/* ---- Process-wide media callbacks --------------------------------------------------------
 * Each setter stores its function for every stream of the process and returns 0; a null
 * pointer switches the callback off. */
PLAYERSDK_API int NetPlay_SetSendDataCallback(SendDatacCallback sendprocess);
PLAYERSDK_API int NetPlay_SetGotPictureCallback(GotPictureCallback pictureprocess);
PLAYERSDK_API int NetPlay_setGotFrameCallback(GotFrameCallback gotframeProcess);
PLAYERSDK_API int NetSink_SetGotPictureCallBack(NetSink_GetPictureCallback GotPictureCallBack);
PLAYERSDK_API int NetSink_SetGotFrameCallback(NetSink_GotFramedataCallback GotFrameCallback);

/* ---- Sink adapters -------------------------------------------------------------------------
 * For the application to pass where a SendDatacCallback or NetSink_GotFramedataCallback is
 * wanted, with a sink as 'userdata'. g_SendDataCallback sends the packet from the sink when
 * 'reserved' is 0 and raises link report 4 when it is 1; GotFramedataCallback forwards the
 * frame to the NetSink_SetGotFrameCallback callback. Both return 0. */
PLAYERSDK_API int g_SendDataCallback(long mshandle, char* packet, int length, long userdata,
                                     long reserved);
PLAYERSDK_API int GotFramedataCallback(long mshandle, char* pMediaBuf, int length, long userdata);

/* ---- Version -------------------------------------------------------------------------------
 * One byte each for 2, 6, 0, 1, most significant first. */
PLAYERSDK_API unsigned int Player_GetVersion(void);

/* ---- Network play ------------------------------------------------------------------------
 * A container (NetPlay_Init) owns URL plays; every call names the container and the play.
 * Results are 0 for success and -1 for a refused handle or a failure; connection and stream
 * events reach the application as notification codes through the container's callback,
 * mostly on the library's own threads (a set-up that fails at once reports
 * NOTIFY_CONNECT_ERROR on the caller's thread before the call returns). */
struct rtsp_sdp_info;

PLAYERSDK_API long NetPlay_Init(NetPlayAckCallBack pFunc, long lUserData);
PLAYERSDK_API int NetPlay_Destroy(long RecvHandle);
/* Plays opened afterwards hand this hook to their decoder. */
PLAYERSDK_API void NetPlay_SetOwnerDraw(long hPlayContainer, DrawCB AfterDrawFunc, long lPrivate);
PLAYERSDK_API void NetPlay_SetLinkReportCallBack(long handle,
                                                 NetLink_ReportCallBack SinkReportCallBack);

/* Returns the play handle or -1. NetPlay_OpenUrl always plays over TCP and ignores
 * deviceinfo; NetPlay_OpenUrlEx takes an eTransType. */
PLAYERSDK_API long NetPlay_OpenUrl(long RecvHandle, char* url, long hPlayWnd, long userdata,
                                   DeviceDecInfo* deviceinfo);
PLAYERSDK_API long NetPlay_OpenUrlEx(long RecvHandle, char* url, long hPlayWnd, long userdata,
                                     int transType);
PLAYERSDK_API int NetPlay_CloseUrl(long RecvHandle, long hHandle);

/* Direct UDP play: open the receiving port, then start the session on it. */
PLAYERSDK_API long NetPlay_InitUDP(long RecvHandle, char* tmpip, int tmpport, int* localPort);
PLAYERSDK_API int NetPlay_StartUDP(long RecvHandle, long hHandle, char* url, long hPlayWnd,
                                   long userdata, int transType);
PLAYERSDK_API int NetPlay_StopUDP(long RecvHandle, long hHandle);

/* Per-play services; -1 (-1.0, all bits set) for a play that is not in the container. */
PLAYERSDK_API int NetPlay_Control(long RecvHandle, long hHandle, ePlayOption operate, int para);
PLAYERSDK_API int NetPlay_GetPlayPosition(long RecvHandle, long hHandle, long* pPosition);
PLAYERSDK_API unsigned long long NetPlay_GetRecFileCurTs(long RecvHandle, long hHandle);
PLAYERSDK_API int NetPlay_GrabPic(long RecvHandle, long hHandle, char* filename);
PLAYERSDK_API int NetPlay_StartRecord(long RecvHandle, long hHandle, char* FileName);
PLAYERSDK_API int NetPlay_StopRecord(long RecvHandle, long hHandle);
PLAYERSDK_API int NetPlay_GetFrameRate(long RecvHandle, long hHandle);
PLAYERSDK_API float NetPlay_GetFlux(long RecvHandle, long hHandle);
PLAYERSDK_API int NetPlay_RefreshSurface(long RecvHandle, long hHandle);
PLAYERSDK_API int NetPlay_SetTranMode(long RecvHandle, long hHandle, long tranmode);
PLAYERSDK_API int NetPlay_SetePacketType(long RecvHandle, long hHandle, long packettype);
PLAYERSDK_API long NetPlay_GetDecoderHandle(long RecvHandle, long hHandle);

/* The hook by which a play's RTSP engine reports; returns 0. */
PLAYERSDK_API int RTSP_NotifyHandle(struct rtsp_sdp_info* info);

/* ---- Elementary-stream helpers ------------------------------------------------------------
 * FindH264Header: 2 at the first 00 00 00 01 65 (IDR), 3 at the first 00 00 00 01 67 (SPS),
 * else 1. FindMpeg4Vol: 4 at 00 00 01 00, 5 at 00 00 01 B0 or B6, else 6.
 * PicChange: flips a 24-bit picture upside down into dst (width * height * 3 bytes each). */
PLAYERSDK_API int FindH264Header(const char* buf, int len);
PLAYERSDK_API int FindMpeg4Vol(const char* buf, int len);
PLAYERSDK_API void PicChange(const char* src, int width, int height, char* dst);

/* ---- Local file play ----------------------------------------------------------------------
 * Plays a file recorded by this library (record type 1) into the decoder library. The handle
 * is the player's address; 0 and -1 are never handles. */

/* The maker of the recorded stream, told by the first frame's payload type. */
typedef enum {
    MANU_FILE_TYPE_UNKOWN = 0,
    MANU_FILE_TYPE_BRT = 1,
    MANU_FILE_TYPE_DAHU = 2,
    MANU_FILE_TYPE_HIK = 3,
    MANU_FILE_TYPE_LC = 4,
    MANU_FILE_TYPE_HB = 5,
    MANU_FILE_TYPE_TOPSEE = 6,
    MANU_FILE_TYPE_STC = 7
} eManuFileType;

/* The play modes of FilePlay_Control. */
typedef enum {
    FILE_NOINIT = 0,
    FILE_NOPLAY = 1,
    FILE_PLAYING = 2,   /* normal play; speed unused */
    FILE_PAUSE = 3,     /* pause; any other mode continues */
    FILE_FWORD = 4,     /* key frames forward, scale frames/s (0: normal play) */
    FILE_BACK = 5,      /* key frames backward, scale frames/s (0: normal play) */
    FILE_SLOW = 6,      /* every frame, speed times slower (0: normal play) */
    FILE_FAST = 7,      /* every frame, speed times faster (0: normal play) */
    FILE_PLAYSEEK = 8,  /* normal play from seektime percent of the file */
    FILE_FWORDSEEK = 9, /* 9 to 14 only continue a paused play */
    FILE_BACKSEEK = 10,
    FILE_FASTSEEK = 11,
    FILE_SLOWSEEK = 12,
    FILE_SOLE = 13,
    FILE_SOLESEEK = 14
} eFilePlayMode;

typedef struct _tPlayCtrlInfo {
    eFilePlayMode playmode;
    long speed;
    long scale;
    long seektime;
} tPlayCtrlInfo;

/* Events of the file-play callback. */
typedef enum {
    FILE_PLAYOK = 0,
    FILE_PLAYHEAD = 1,
    FILE_PLAYOVER = 2, /* the last frame was played; the play thread has ended */
    FILE_MSG_PLAY_ERROR = 3
} eFileReplyType;

typedef struct _tPlayInfo {
    eFileReplyType fileevent;
    void* pPlayFile;
    int errorcode;
} tPlayInfo;

typedef struct _tVideoFileInfo {
    unsigned int totalFrameNum;
    unsigned int keyFrameNum;
    eManuFileType manufType;
} tVideoFileInfo;

/* Called on the play thread with the user value given to FilePlay_Start. Do not call
 * FilePlay_Stop for the same player from inside it. */
typedef void (*FilePlayCallback)(long lUserData, tPlayInfo* info);

/* Opens and indexes the file and starts playing it: the player handle, or -1. */
PLAYERSDK_API long FilePlay_Start(const char* path, HWND hWnd, FilePlayCallback callback,
                                  long lUserData);
PLAYERSDK_API int FilePlay_Stop(long hPlay);
PLAYERSDK_API int FilePlay_Control(long hPlay, tPlayCtrlInfo* ctrl);
/* Seconds: the file's frames / frame rate, and the last played frame's number / frame rate. */
PLAYERSDK_API long FilePlay_GetTotalTime(long hPlay);
PLAYERSDK_API long FilePlay_GetCurTime(long hPlay);
/* An eManuFileType; 0 for a bad handle. */
PLAYERSDK_API int FilePlay_GetManufType(long hPlay);
PLAYERSDK_API int FilePlay_CapturePic(long hPlay, const char* path);
PLAYERSDK_API int FilePlay_GetInfo(long hPlay, tVideoFileInfo* info);
/* 0 for a bad handle; else 0 when the decoder refreshed (non-zero answer), -1 when it did not. */
PLAYERSDK_API int FilePlay_RefreshSurface(long hPlay);

#ifdef __cplusplus
}
#endif

#endif /* PLAYERSDK_H */
