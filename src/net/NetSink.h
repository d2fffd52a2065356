// CNetSink: one media endpoint of a play. The local socket pair on which a camera's RTP and
// RTCP arrive (and, for a sending sink, the pair media and reports leave from), with the
// CRtpStream that depacketises and decodes what arrives.
#pragma once

#include <sys/socket.h>

#include <atomic>

#include "base/Types.h"
#include "media/RtpStream.h"

struct SinkDestination;

enum eSinkDirection { ZU_RCV_ONLY = 1, ZU_SEND_ONLY = 2, ZU_SEND_RCV = 3 };

inline bool SinkReceives(eSinkDirection dir) {
    return dir == ZU_RCV_ONLY || dir == ZU_SEND_RCV;
}
inline bool SinkSends(eSinkDirection dir) {
    return dir == ZU_SEND_ONLY || dir == ZU_SEND_RCV;
}

// One socket pair. A socket of 0 is none, -1 is closed.
struct RtpPacketPort {
    uint32_t rtpport;
    uint32_t rtcpport;  // rtpport + 1 for UDP
    SOCKET rtpsocket;   // for TCP the one stream socket
    SOCKET rtcpsocket;
};

class CNetSink {
public:
    CNetSink();
    virtual ~CNetSink();
    CNetSink(const CNetSink&) = delete;
    CNetSink& operator=(const CNetSink&) = delete;

    // ---- creation and release
    int CreateNetSink(char* ip, unsigned long port, eTransType trans, ePacketType packet);
    int CreateNetSink2(eTransType trans, ePacketType packet, eSinkDirection dir);
    int GetSocket(char* ip, unsigned long unused, unsigned long trans, unsigned long packet,
                  void* pair);
    int Createsink_db33(unsigned short port);
    int ReleaseSocket(unsigned long unused, void* pair);
    void DestorySink();

    int GetRtpSocket() const { return m_RtpPortInfo.rtpsocket; }
    int GetRtcpSocket() const { return m_RtpPortInfo.rtcpsocket; }
    int GetRtpSendSocket() const;
    int GetRtcpSendSocket() const;
    int GetLocalPort() const;
    int GetLocalSendPort() const;

    // ---- reception (on the container's receive thread, under its sink lock)
    int ReceiveData(int s, int len, void* buf, sockaddr_storage from);
    void ReceiveTcpData(int s, int len, void* buf);
    // Takes the container's sink lock while it changes the destination and sends the holes,
    // so it must not be called from a frame callback (those run under that lock).
    void ResetSink(char* ip, unsigned long port);
    void ResetSink(char* ip, unsigned long port, unsigned long sendport);
    void pause() { m_bPaused = 1; }
    void start() { m_bPaused = 0; }
    void CalcFlux();
    float GetFlux() const { return m_flux.load(); }

    // ---- NAT holes and RTCP
    void SendNetHole();
    void SendRtcp();
    void SendBye();
    int SendData(char* data, int len);
    int OnReceiveRtcp(int len, void* pkt);
    int GetReceiveRtcpFlag();
    void RestReceiveRtcpFlag();

    // ---- settings and forwarders to the stream
    void SetSinkMode(int mode);
    void SetPlayHwnd(long h);
    void SetDrawCb(DrawCB cb, long priv);
    void SetPlayDeviceInfo(DeviceDecInfo info);
    int GetFrameRate();
    DWORD GetCurTs();
    int CapPicture(char* path);
    int GetFirstTs(unsigned long* ts);
    int GetSSRC(unsigned long* ssrc);
    int GetMediaInfo(MediaInfo_rtp* info);
    int RefreshPlayWnd();
    // Records with m_RecordType; 1 without a stream.
    int StartRecord(char* path);
    int StopRecord();
    void EnableFrameControl(int on);
    void GetPacketCount(int* total, int* lost);
    void SetOverLayMode(int on, unsigned int colorKey);

    // ---- TCP reassembly buffer
    unsigned char* SafeMallocBuf(int size);
    void SafeFreeBuf();
    unsigned char* AdjustBuf(int size);

    ePacketType m_PacketType;
    eTransType m_TransType;
    eSinkDirection m_Direction;
    RtpPacketPort m_RtpPortInfo;
    RtpPacketPort m_RtpPortInfo_send;
    char m_destip[64];
    unsigned long m_destport;
    unsigned long m_DestRcvPort;
    float m_TotalFlux;          // units of 128 bytes in the current second
    std::atomic<float> m_flux;  // read by the application's threads
    long m_hDisplayWnd;
    CRtpStream* m_pRtpStream;
    std::atomic<BOOL> m_bPaused;  // written by application threads, read on reception
    std::atomic<int> m_sinkmode;  // 2: short hole message, no frame control
    unsigned long m_TcpReceivedBytes;
    unsigned long m_TcpPacketLen;
    BOOL m_bLostPkt;
    BOOL m_continues;
    unsigned char* m_pTcpBuf;
    unsigned long m_tcpbuflen;
    int m_RecordType;
    DeviceDecInfo m_devinfo;
    DrawCB m_pDrawCb;
    long m_lDrawPrivate;
    int m_urlssrc;
    BOOL m_HasRecieveRtcp;
    MUTEX_T m_mutexRtcp;
    std::atomic<BOOL> m_bCheckRtcp;
    long m_pContainer;

private:
    int CreateStream();
    void SetReceiveBufferOnPortNumber();
    bool AppendTcpBytes(const unsigned char* data, unsigned long len);
    void SendHoles(const SinkDestination& dest, bool rtpMessage, bool clientIdProbe);
    void SendSendHoles(const SinkDestination& dest);
    void SendReports(int type);
};
