// CRtpStream: the receiving end of one media stream. It takes every RTP datagram of the
// stream, rewrites H.264 payloads into Annex B form, reassembles frames and hands each complete
// frame to the application's frame callback, to the handler of its payload type, which feeds
// the decoder library, and, while recording, to the record file. It also builds the RTCP packets
// and outgoing RTP packets of the stream and keeps its traffic statistics.
//
// InputData runs on one receive thread; the window, snapshot and statistics calls come from
// other threads, so the values they share with it are atomic words; the record file has a lock.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdio>

#include "base/Types.h"
#include "media/FrameList.h"
#include "media/H264Payload.h"
#include "media/RtpPacket.h"

class CPlayContainer;

// What GetMediaInfo reports.
struct MediaInfo_rtp {
    int pt;  // payload type of the last frame
    int TimeSpan;
    int v_width;
    int v_height;
};

class CRtpStream;
// A frame handler: the joined frame, its length and its key.
typedef void (CRtpStream::*MediaProc)(char* buf, int len, long long ts);

class CRtpStream {
public:
    static constexpr int kPayloadTypes = 127;
    static constexpr int kSipWorkSize = 255;    // each SDP work area
    static constexpr int kSendBufSize = 1440;   // one outgoing RTP packet
    static constexpr int kRtcpReportSize = 56;  // every report this stream builds
    static constexpr int kFramePresize = 7200;  // frame buffers start at twice that

    CRtpStream();
    virtual ~CRtpStream();
    CRtpStream(const CRtpStream&) = delete;
    CRtpStream& operator=(const CRtpStream&) = delete;

    // ---- Input and reassembly
    // One RTP datagram. H.264 first fragments are rewritten in place in front of their
    // payload, so the datagram must be writable.
    void InputData(void* data, int len);
    CFrameList* GetFrameNode(PacketList* packet);
    // One whole access unit, already framed (the standard dialect's RTP path): it takes the
    // road of a complete frame, to the frame callback, a decoder of 'type' and the recorder,
    // whose records carry the record payload type of the codec. 'key' starts a bare recording.
    void InputFrame(const unsigned char* au, int len, eMediaDecType type, uint32_t ts, bool key);

    // ---- H.264 payload rewriting into 'out', the 1503-byte work buffer (see H264Rewrite).
    static H264Rewrite ParseH264Payload(unsigned char* payload, int len, unsigned char* out);
    static int ReadH264Packet(const unsigned char* payload, int len);
    static H264Rewrite ParseSTAP_A(const unsigned char* payload, int len, unsigned char* out);
    // The fragment's data: its length in 'length', where it starts relative to the payload
    // in 'offset'.
    static H264Rewrite ParseFU_A(unsigned char* payload, int len, int& offset);

    // Packets dropped before they reached a frame, by reason.
    const PacketDropCounts& DropCounts() const { return m_drops; }

    // ---- Stream description from the SDP
    void SetDeviceDecInfo(DeviceDecInfo info);
    void DecodeMpeg4Config(DeviceDecInfo* info);
    void Decoder_NewSip(char* sps, char* pps, char* out, DeviceDecInfo info);
    void Decoder_OldSip(char* text, char* hex, DeviceDecInfo info);

    // ---- Frame handlers and the decoder
    void VideoProcess(char* buf, int len, long long ts);
    int VideoProcessH264(char* buf, int len, long long ts);
    void OpenDec(eMediaDecType type);
    void CloseDec();
    void CloseStream();
    void SetPlayHwnd(long hwnd);
    void SetDrawCb(DrawCB cb, long user);
    int CapPicture(char* path);
    int GetPicSize(int* w, int* h);
    int RefreshPlayWnd();
    void EnableFrameControl(int on);
    int GetMediaInfo(MediaInfo_rtp* info);
    void SetPlayContainer(CPlayContainer* container) { m_pContainer = container; }
    void SetTimeScale(unsigned long scale) { m_iTimeScale = static_cast<int>(scale); }
    void SetOverLayMode(int overlay, unsigned int colorKey);
    void EnableLosePakcetReport(int on) { m_bLoseReport = on; }
    long GetDecoderHandle();
    int GetFrameRate() const { return m_iFrameRate; }
    DWORD GetCurTs() const { return m_CurTs; }

    // ---- Recording the complete frames to a file. Type 1 writes the framed file the file
    // player reads: a header, then length, payload type and key before every frame. Every other
    // type writes the bare frames from the first MPEG-4 key frame on.
    // 0 started; 1 already recording; 2 the file could not be opened (or the path does not fit
    // m_RecordFilepath).
    int StartRecord(const char* path, int type);
    // 0 stopped, the file flushed and closed; 1 not recording.
    int StopRecord();
    // Called by InputData for every complete frame while recording.
    void SaveRecord(char* buf, int len, long long ts);
    // Writes the framed file's header (and the MPEG-4 configuration record) once per file.
    void PrepareRecord();

    // ---- RTCP, outgoing RTP and statistics
    int GetRtcpReport(char* buf, int type);
    int GetRtcpSendreport(char* buf);
    char* EncodeRtpPacket(char* data, int len, int pt, int marker, int* outlen, int newframe);
    // Encodes one packet and passes it to the application's send callback.
    void SendRtpPacket(char* data, int len, int pt, int marker, int newframe);
    int CalcFrameRate();
    void GetPacketCount(int* total, int* lost);
    int GetFirstTs(unsigned long* ts);
    int GetSSRC(unsigned long* ssrc);

    std::atomic<int> m_iTotalFrame;
    std::atomic<int> m_iTotalPacket;
    std::atomic<int> m_iPacketRate;
    std::atomic<int> m_iLosePacket;
    std::atomic<int> m_iLosePacketRate;
    int m_iFrameCount;  // frames under construction
    std::atomic<BOOL> m_bGotPacket;
    BOOL m_GotTimeSpanFlag;
    BOOL m_GotMarkTsFlag;
    int m_GotMarkTs;
    int m_GotMarkSeq;
    long m_UserData;
    std::atomic<int> m_MediaType;
    long m_hAudioCapture;
    int m_LocalSendMediaPt;
    BOOL m_bSendMedia;
    BOOL m_bWaitIFrame;
    std::atomic<BOOL> m_bFrameControl;
    std::atomic<DrawCB> m_pDrawCb;
    std::atomic<long> m_lDrawPrivate;
    MediaProc m_pCbMediaProcList[kPayloadTypes];
    std::atomic<BOOL> m_bDecOpen;
    std::atomic<long> m_DecHandle;
    std::atomic<BOOL> m_bLoseReport;
    CPlayContainer* m_pContainer;
    RtpHeader m_LocalRtpHead;
    char* m_pLocalRtpBuf;
    std::atomic<int> m_iFrameRate;
    std::atomic<int> m_iTimeScale;
    std::atomic<DWORD> m_CurTs;
    std::atomic<int> m_TimeSpan;
    std::atomic<long> m_hDisplayWnd;
    std::atomic<BOOL> m_bOverLay;
    std::atomic<COLORREF> m_clrKey;
    std::atomic<DWORD> m_FirstTs;
    std::atomic<DWORD> m_uSSRC;
    std::atomic<uint16_t> m_HighestSeq;
    DeviceDecInfo m_DeviceDecinfo;
    uint16_t m_LastFullSeq;
    unsigned char* m_h264buf;
    int m_iSipLength;
    // Recorder. m_mutexRecord lives as long as the stream and guards the file, the path and
    // every change of the state below; the receive thread tests the flag, the type and
    // m_bRecordPrepare before taking it, so those are atomic.
    MUTEX_T m_mutexRecord;
    BOOL m_recordFirstFrameFlag;
    std::atomic<BOOL> m_bRecordFlag;
    char m_RecordFilepath[255];
    FILE* m_RecordFile;
    // Framed files: the header is written. Raw files: the first key frame is written.
    std::atomic<BOOL> m_bRecordPrepare;
    std::atomic<int> m_RecordType;
    // The stream carries H.265 (its rtpmap says so; the payload type cannot): its frames are
    // recorded under kRecordPayloadTypeH265.
    std::atomic<BOOL> m_bH265;
    CFrameList* m_pFrameList;

private:
    // How far behind the marker of the last complete frame a packet is still taken for a late
    // copy; a packet further behind means that the source began a new run of numbers.
    static constexpr uint16_t kLateWindow = 100;

    static constexpr int kDecoderByPayloadType = -1;
    // Whether the frame being recorded is a key frame: -1 when it is told by its first bytes
    // (classic frames), else the framer's answer.
    int m_iFrameKey;

    // The marker of the last complete frame, for the key it had: packets before it come late.
    bool m_bDoneSeqValid;
    uint16_t m_DoneSeq;
    DWORD m_DoneKey;

    PacketDropCounts m_drops;

    PacketDrop RewriteH264(PacketList& packet);
    void NoteFirstPacket(const PacketList& packet);
    void MeasureFrameInterval(const PacketList& packet);
    bool IsLate(DWORD key, uint16_t seq);
    CFrameList* NewFrame(const PacketList& packet);
    void LinkFrame(CFrameList* frame);
    void SplitAtLateMarker(CFrameList* frame, const PacketList& packet);
    void JudgeFrames();
    void FinishRun(const CFrameList& complete);
    void GiveUpFramesBefore(const CFrameList* stop, DWORD key);
    bool DeliverFrame(CFrameList& frame);
    // The one delivery path of a complete frame. kDecoderByPayloadType: the handler registered
    // for the payload type decodes it (false when there is none); else a decoder of that type.
    bool HandOnFrame(char* buf, int len, DWORD ts, int mediaType, int decoderType);
    void DecodeAs(eMediaDecType type, char* buf, int len, long long ts);
    void ReportLossIfWaiting(const CFrameList& frame);
    void RemoveFrame(CFrameList* frame);
    void DestroyFrames();
    bool DecoderReady() const { return m_bDecOpen && m_DecHandle != -1; }
    void FeedDecoder(char* buf, int len, long long ts);
    void ReportDecoderCreated(eMediaDecType type, int result, long handle);
    int ConfigLength() const;
    // The payload type a frame record carries: the frame's, or the H.265 record value.
    uint32_t RecordMediaType() const;
    // The recorder's writers; m_mutexRecord is held and the file is open.
    void WriteRecordHeader(int width, int height);
    void WriteFrameRecord(const char* buf, int len, uint32_t type, uint32_t ts);
    void WriteRawFrame(const char* buf, int len);
};

// Procedures for the decoder library and for sending; 'stream' is the CRtpStream's address.
// Packs decoder output into one RTP packet (marker set) for the send callback. Returns 0.
int DecDataCallbackProc(long handle, long stream, char* data, int len, int pt);
// Passes a decoded picture to the application's picture callback: 1 without a stream, else 0.
int DecGotPictureCallBackProc(long handle, char* buf, int width, int height, int type, long stream);
// Cuts a frame into RTP packets of at most 1024 payload bytes, payload type 97, the marker on
// the last one, each passed to the send callback. Returns 0.
int MFR_GotFrameCallBackProc(long stream, char* data, int len);
