// CNetPlayUrl: one network play of one RTSP URL; its address is the application's play handle.
// It parses the URL, runs the set-up of its RTSP engine and media receivers, reacts to every
// event the engine reports, and tears everything down again. Events arrive on the engine's
// receive thread; everything else runs on the application's threads.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "base/MutexGuard.h"
#include "base/Types.h"
#include "rtsp/Rtsp.h"

class CPlayContainer;
class CNetSink;
class CRtpStream;

enum ePlayState {
    S_NOINIT = 0,
    S_NOPLAY = 1,
    S_CONNECTING = 2,
    S_PLAYING = 3,
    S_PAUSE = 4,
    S_FWORD = 5,
    S_BACK = 6,
    S_SLOW = 7,
    S_FAST = 8,
    S_SOLE = 9,
    S_APPFRAME = 10
};

enum eNetPlayStyle { PLAY_URL = 0, PLAY_FILE = 1, PLAY_DEFAULT = 2 };

class CNetPlayUrl {
public:
    static constexpr DWORD kDefaultRtspPort = 554;

    CNetPlayUrl();
    virtual ~CNetPlayUrl();
    CNetPlayUrl(const CNetPlayUrl&) = delete;
    CNetPlayUrl& operator=(const CNetPlayUrl&) = delete;

    void SetContainer(CPlayContainer* container) { m_pContainer = container; }
    void SetDrawCb(DrawCB cb, long lPrivate);
    void SetTranMode(long mode) { m_TransType = static_cast<int>(mode); }
    void SetPacketType(long type) { m_PacketType = type; }
    void SetPlayState(ePlayState state) { m_curPlayState = state; }

    // ---- set-up
    // Host, port (554 when absent) and movie name of an rtsp:// URL. 0 or -1.
    int ParseUrl(char* url);
    // Starts the RTSP session of url; 0 when the first request is on its way, else -1.
    int InitPlay(char* url, long hWnd, long userdata, int transType);
    int RTSPDescribeReq(char* url, short transType);
    // Opens the UDP receiving sink: its local port, or -1.
    int InitUdp(char* ip, int port);

    // ---- events from the RTSP engine (its receive thread)
    void OnRecvRtsp(rtsp_sdp_info* info);
    void RecvRtpPacket(rtsp_sdp_info* info);

    // ---- teardown
    int StopUdp();
    int ClosePlay();
    int ReleaseNetPlay();
    void ResetVariable();
    // Stops the engine's receive thread and deletes the engine; no event comes afterwards.
    void DestroyEngine();
    // Closes the play's own stream and its decoder, and deletes it.
    void CloseRtpStream();

    // ---- trick play, requests, time and position (NetPlayUrlTrick.cpp)
    // The verbs of NetPlay_Control; -1 for the seek variants and values outside the table.
    int PlayControl(ePlayOption operate, long para);
    // Factors 1..16; 0 goes back to normal play (and returns -1).
    int PlayFast(long n);
    int PlaySlow(long n);
    int PlayForward(long n);
    int PlayBack(long n);
    int PlaySingle();
    int PlayFrame(long n);
    int PlayPause();
    int Play();
    int SetPlayPos(long pos);  // percent of the item, 0..100
    int SetPlayTime(long t);   // seconds
    int SetPlayDirection(int direction);

    // Each fills m_RtspRequest and hands it to the engine: the engine's result, or -1 when the
    // play has no engine (teardown: 0).
    int RTSPSetupReq();
    int RTSPPlayReq();
    int RTSPPauseReq();
    int RTSPTearDownReq();
    int RTSPScaleReq(char* scale, double t);
    int RTSPSpeedReq(char* speed, double t);
    int RTSPFrameReq(long n);
    int RTSPSeekReq(double t, int ratio);

    // Whole seconds since the first frame, from the frame keys of the play's receiver.
    int GetCurTime(double* t);
    long GetCurPlayTime();
    int GetPlayPos(long* pos);
    INT64 GetTotalFileFrames() const { return m_FileRange * static_cast<INT64>(m_VFrameRate); }
    DWORD GetCurrentTimeStamp() const { return m_TimeStamp; }
    DWORD GetFirstTimeStamp() const { return m_FirstFrameStamp; }
    uint32_t GetVTimeScale() const { return m_VTimeScale; }

    // ---- recording, snapshot and statistics (NetPlayUrlServices.cpp)
    // 1 when every directory of path exists or was made (the last component is the file
    // name), 0 when one could not be made or the path is too long.
    int CreateAllDirectory(char* path);
    int StartRecord(char* path);
    int StopRecord();
    int GrabPicture(char* path);
    float GetFlux();
    int GetFrameRate();
    long GetDecoderHandle();
    int RefreshSurface();

    // Written on the application's thread, read by the engine's receive thread and the
    // watchdog: the state and the last notification.
    std::atomic<ePlayState> m_curPlayState;
    std::atomic<DWORD> m_TimeOutTimer;  // the watchdog's no-traffic start tick, 0 when none
    std::atomic<INT64> m_FileRange;
    BOOL m_bFirstFrame;
    // The frame keys behind the play's time; any application thread may refresh them.
    std::atomic<DWORD> m_FirstFrameStamp;
    std::atomic<uint32_t> m_TimeStamp;
    std::atomic<uint32_t> m_VTimeScale;
    uint32_t m_ATimeScale;
    uint32_t m_VFrameRate;
    char m_ServerURL[256];
    char* m_DestIP;
    char m_server_addr[128];
    char m_movie_name[512];
    DWORD m_remote_port;
    int m_SocketMark;
    std::atomic<BOOL> m_bRecord;  // start and stop may come from several threads
    char m_RecordFileName[255];
    CNetSink* m_pVideoSink;
    CNetSink* m_pAudioSink;
    long m_UserData;
    DrawCB m_pDrawCb;
    long m_lDrawPrivate;
    // Set on the application's thread while the receive thread may already run.
    std::atomic<CRtpStream*> m_pRtpStream;
    CPlayContainer* m_pContainer;
    CRtsp* m_pRtspCtx;
    eNetPlayStyle m_NetPlayStyle;
    std::atomic<int> m_TransType;  // eTransType; NetPlay_SetTranMode may change it any time
    long m_PacketType;             // ePacketType
    std::atomic<BOOL> m_bClose;
    RTSPRequest_Info m_RtspRequest;
    HWND m_VideoHwnd;
    std::atomic<long> m_lLastNotifyCode;

private:
    void Report(ePlayNotifyCode code);
    // NOTIFY_CONNECT_ERROR unless it was the last notification already.
    void ReportConnectErrorOnce();
    int SetUpUdpReceiver();
    int SetUpTcpStream();
    void OnPlayReply(const rtsp_sdp_info& info);
    void OnRtcpData(rtsp_sdp_info* info);
    void OnFrameRateTick();
    void ReportPlayingOnce();
    // Clears the pointers to owned objects and the request record.
    void ForgetReleasedObjects();

    // Fills m_RtspRequest (type, then 'fill') and hands it to the engine, one request at a
    // time; -1 without an engine.
    template <class Fill>
    int Request(eRtspRequestType type, Fill fill);
    // The four rate controls: the factor's checks, the request and the state.
    template <class Send>
    int RateControl(long n, ePlayState state, Send send);
    int ReturnToNormalPlay();
    // GetCurTime's t, its result ignored.
    double CurrentTime();

    // Guards m_RtspRequest from its filling until the engine has taken it.
    pthread_mutex_t m_mutexRequest;
};

template <class Fill>
int CNetPlayUrl::Request(eRtspRequestType type, Fill fill) {
    playersdk::MutexGuard lock(m_mutexRequest);
    if (m_pRtspCtx == nullptr) {
        return -1;
    }
    m_RtspRequest.type = type;
    fill(m_RtspRequest);
    return m_pRtspCtx->RTSPRequest(&m_RtspRequest);
}
