#include "media/RtpStream.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>

#include "PlayerDecoder.h"
#include "api/CallbackGlobals.h"
#include "api/PlayContainer.h"
#include "base/ByteCursor.h"
#include "media/H264Payload.h"
#include "media/PayloadTypes.h"
#include "media/RingList.h"
#include "media/RtpConstants.h"

namespace {

// Counters of the receive thread that CalcFrameRate reads and resets from another one.
void Bump(std::atomic<int>& counter) {
    counter.fetch_add(1, std::memory_order_relaxed);
}

eMediaDecType DecoderTypeFor(int payloadType) {
    if (payloadType == playersdk::kPayloadTypeIr) {
        return VT_IR;
    }
    return payloadType == playersdk::kPayloadTypeH264 ? VT_H264 : VT_MPEG4;
}
}  // namespace

CRtpStream::CRtpStream()
    : m_iTotalFrame(0),
      m_iTotalPacket(0),
      m_iPacketRate(0),
      m_iLosePacket(0),
      m_iLosePacketRate(0),
      m_iFrameCount(0),
      m_bGotPacket(0),
      m_GotTimeSpanFlag(0),
      m_GotMarkTsFlag(0),
      m_GotMarkTs(0),
      m_GotMarkSeq(0),
      m_UserData(0),
      m_MediaType(0),
      m_hAudioCapture(-1),
      m_LocalSendMediaPt(8),
      m_bSendMedia(0),
      m_bWaitIFrame(1),
      m_bFrameControl(0),
      m_pDrawCb(nullptr),
      m_lDrawPrivate(0),
      m_pCbMediaProcList(),
      m_bDecOpen(0),
      m_DecHandle(-1),
      m_bLoseReport(0),
      m_pContainer(nullptr),
      m_LocalRtpHead(),
      m_pLocalRtpBuf(nullptr),
      m_iFrameRate(0),
      m_iTimeScale(90000),
      m_CurTs(0),
      m_TimeSpan(0),
      m_hDisplayWnd(-1),
      m_bOverLay(0),
      m_clrKey(0),
      m_FirstTs(0),
      m_uSSRC(0),
      m_HighestSeq(0),
      m_DeviceDecinfo(),
      m_LastFullSeq(0),
      m_h264buf(nullptr),
      m_iSipLength(0),
      m_mutexRecord(),
      m_recordFirstFrameFlag(1),
      m_bRecordFlag(0),
      m_RecordFilepath(),
      m_RecordFile(nullptr),
      m_bRecordPrepare(0),
      m_RecordType(0),
      m_bH265(0),
      m_pFrameList(nullptr),
      m_iFrameKey(-1),
      m_bDoneSeqValid(false),
      m_DoneSeq(0),
      m_DoneKey(0) {
    m_LocalRtpHead.VERSION = playersdk::kRtpVersion;
    m_LocalRtpHead.seq = 1;
    m_LocalRtpHead.ssrc = rand();
    m_LocalRtpHead.ts = rand();
    for (uint32_t pt : {playersdk::kPayloadTypeMpeg4Other, playersdk::kPayloadTypeH264,
                        playersdk::kPayloadTypeMpeg4, playersdk::kPayloadTypeIr}) {
        m_pCbMediaProcList[pt] = &CRtpStream::VideoProcess;
    }
    pthread_mutex_init(&m_mutexRecord, nullptr);
}

// The decoder is not closed here: CloseStream or CloseDec does that. A recording still open
// is closed so that its frames reach the disk.
CRtpStream::~CRtpStream() {
    StopRecord();
    pthread_mutex_destroy(&m_mutexRecord);
    delete[] m_pLocalRtpBuf;
    free(m_h264buf);
    DestroyFrames();
}

void CRtpStream::InputData(void* data, int len) {
    if (data == nullptr || len <= kRtpFixedHeaderSize) {
        return;
    }
    Bump(m_iTotalPacket);
    unsigned char* datagram = static_cast<unsigned char*>(data);
    PacketPtr packet(new (std::nothrow) PacketList{});
    if (!packet || !ReadRtpHeader(datagram, len, packet->head)) {
        return;
    }
    m_HighestSeq.store(packet->head.seq, std::memory_order_relaxed);
    PacketDrop drop = LocatePayload(datagram, static_cast<size_t>(len), *packet);
    if (drop == PacketDrop::kNone && packet->head.pt == playersdk::kPayloadTypeH264) {
        drop = RewriteH264(*packet);
    }
    if (drop != PacketDrop::kNone) {
        m_drops.Count(drop);
        return;
    }
    NoteFirstPacket(*packet);
    MeasureFrameInterval(*packet);
    CFrameList* frame = GetFrameNode(packet.get());
    if (frame == nullptr) {
        return;  // older than every frame under construction
    }
    if (frame->InsertPacket(packet.release()) == 0) {
        PlayerSdkLog("[InputData] InsertPacket Failure111\n");
        Bump(m_iLosePacket);
    }
    JudgeFrames();
}

// A single NAL unit, and a payload passed on unchanged, end their frame: the marker is forced.
// A malformed or oversized payload drops the packet and counts as lost.
PacketDrop CRtpStream::RewriteH264(PacketList& packet) {
    if (m_h264buf == nullptr) {
        m_h264buf = static_cast<unsigned char*>(malloc(kH264WorkBufSize));
        if (m_h264buf == nullptr) {
            return PacketDrop::kNoWorkBuffer;
        }
    }
    const H264Rewrite r =
        ParseH264Payload(packet.pMediaBuf, static_cast<int>(packet.length), m_h264buf);
    if (r.drop != PacketDrop::kNone) {
        Bump(m_iLosePacket);
        return r.drop;
    }
    if ((r.type != kNalStapA && r.type != kNalFuA) || r.length == 0) {
        packet.head.m = 1;
    }
    if (r.length != 0) {
        packet.pMediaBuf = m_h264buf;
        packet.length = r.length;
    }
    return PacketDrop::kNone;
}

void CRtpStream::NoteFirstPacket(const PacketList& packet) {
    if (m_bGotPacket) {
        return;
    }
    m_FirstTs = packet.head.ts;
    m_uSSRC = packet.head.ssrc;
    m_bGotPacket = 1;
}

// The key difference between a marker packet and the packet right after it.
void CRtpStream::MeasureFrameInterval(const PacketList& packet) {
    if (m_GotTimeSpanFlag) {
        return;
    }
    const int seq = packet.head.seq;
    const uint32_t key = static_cast<uint32_t>(packet.head.ts);
    if (!m_GotMarkTsFlag) {
        if (packet.head.m) {
            m_GotMarkTs = static_cast<int>(key);
            m_GotMarkSeq = seq;
            m_GotMarkTsFlag = 1;
        }
        return;
    }
    if (seq != m_GotMarkSeq + 1) {
        m_GotMarkTsFlag = 0;
        return;
    }
    const uint32_t span = key - static_cast<uint32_t>(m_GotMarkTs);
    m_TimeSpan = static_cast<int>(span);
    m_GotTimeSpanFlag = 1;
    if (m_iTimeScale == 0) {
        m_iTimeScale = static_cast<int>(span * 25u);
        if (DecoderReady()) {
            Decoder_SetTimeScale(m_DecHandle, m_iTimeScale);
        }
    }
}

// Every packet of a source carries the same key, so a frame ends at its marker packet: a packet
// after the marker starts or joins a later frame, one before it still joins it.
CFrameList* CRtpStream::GetFrameNode(PacketList* packet) {
    const DWORD key = packet->head.ts;
    const uint16_t seq = packet->head.seq;
    if (m_pFrameList != nullptr && IsUINTALittleB(key, m_pFrameList->ts)) {
        return nullptr;
    }
    if (IsLate(key, seq)) {
        return nullptr;
    }
    for (CFrameList* frame = m_pFrameList; frame != nullptr; frame = frame->pNext) {
        if (frame->ts == key && !frame->EndsBefore(seq)) {
            if (packet->head.m && frame->HoldsPacketsAfter(seq)) {
                SplitAtLateMarker(frame, *packet);
            }
            return frame;
        }
    }
    CFrameList* frame = NewFrame(*packet);
    if (frame != nullptr) {
        LinkFrame(frame);
    }
    return frame;
}

// A packet before the marker of the last complete frame belongs to a frame already handed on
// (or given up) and is dropped. One far behind it starts a new run of numbers: the frames of
// the old run can never complete and are given up. A packet with the very number of that
// marker starts a new frame, so that a source sending one packet over and over (a test
// pattern, a still picture) keeps being shown.
bool CRtpStream::IsLate(DWORD key, uint16_t seq) {
    if (!m_bDoneSeqValid || key != m_DoneKey) {
        return false;
    }
    const uint16_t behind = static_cast<uint16_t>(m_DoneSeq - seq);
    if (behind != 0 && behind < kLateWindow) {
        return true;
    }
    if (behind < 0x8000) {
        GiveUpFramesBefore(nullptr, key);
        m_bDoneSeqValid = false;
    }
    return false;
}

CFrameList* CRtpStream::NewFrame(const PacketList& packet) {
    CFrameList* frame = new (std::nothrow) CFrameList();
    if (frame == nullptr) {
        return nullptr;
    }
    ++m_iFrameCount;
    frame->extend = packet.head.extent;
    frame->ts = packet.head.ts;
    frame->packettype = packet.head.pt;
    frame->m_FrameBuf.getbuf(kFramePresize);
    return frame;
}

// Frames stay in key order, and the frames of one key in the order of their packets: a new
// frame goes behind every frame whose key is not later than its own. The caller has made sure
// the key is not earlier than the first frame's, so the walk never inserts in front of it.
void CRtpStream::LinkFrame(CFrameList* frame) {
    if (m_pFrameList == nullptr || !IsUINTALittleB(frame->ts, m_pFrameList->pPre->ts)) {
        playersdk::RingAppend(m_pFrameList, frame);
        return;
    }
    CFrameList* at = m_pFrameList->pPre;
    while (at != m_pFrameList && IsUINTALittleB(frame->ts, at->ts)) {
        at = at->pPre;
    }
    playersdk::RingInsertAfter(m_pFrameList, at, frame);
}

// A marker packet that arrives after packets of the next frame ends its own frame there: the
// packets after it move to a frame of their own, right behind.
void CRtpStream::SplitAtLateMarker(CFrameList* frame, const PacketList& packet) {
    CFrameList* later = NewFrame(packet);
    if (later == nullptr) {
        return;
    }
    frame->MovePacketsAfter(packet.head.seq, *later);
    playersdk::RingInsertAfter(m_pFrameList, frame, later);
}

// The repaired reassembly keeps what an in-order stream sees: the same frames, joined bytes,
// order, counters and decoder calls. Frames are ended by their markers, ordered across the
// sequence wrap, and one that cannot complete is given up as soon as a later one completes.
void CRtpStream::JudgeFrames() {
    CFrameList* frame = m_pFrameList;
    while (frame != nullptr) {
        CFrameList* next = frame->pNext;
        const int state = frame->JudgePacketListState();
        if (state == FRAME_WAITING) {
            frame = next;
            continue;
        }
        if (state == FRAME_COMPLETE) {
            FinishRun(*frame);
            // A complete frame that no handler takes is judged again at once, and so delivered
            // again, until the judgement limit gives it up. Deliberate: an application with
            // only a frame callback gets the frame once per judgement and counts on that.
            if (!DeliverFrame(*frame)) {
                continue;
            }
        }
        RemoveFrame(frame);
        frame = next;
    }
}

// Frames of the same key before a complete one can no longer be handed on in order.
void CRtpStream::FinishRun(const CFrameList& complete) {
    GiveUpFramesBefore(&complete, complete.ts);
    m_bDoneSeqValid = true;
    m_DoneSeq = static_cast<uint16_t>(complete.m_LastSeq);
    m_DoneKey = complete.ts;
}

// Gives up the frames of 'key' in front of 'stop' (all of them when stop is null).
void CRtpStream::GiveUpFramesBefore(const CFrameList* stop, DWORD key) {
    CFrameList* frame = m_pFrameList;
    while (frame != nullptr && frame != stop) {
        CFrameList* next = frame->pNext;
        if (frame->ts == key) {
            RemoveFrame(frame);
        }
        frame = next;
    }
}

// False when no handler is registered for the frame's payload type.
bool CRtpStream::DeliverFrame(CFrameList& frame) {
    Bump(m_iTotalFrame);
    ReportLossIfWaiting(frame);
    m_iFrameKey = -1;
    char* buf = static_cast<char*>(frame.m_FrameBuf.GetCurBuf());
    const int len = static_cast<int>(frame.m_FrameBuf.GetNextPos());
    if (!HandOnFrame(buf, len, frame.ts, frame.packettype, kDecoderByPayloadType)) {
        return false;
    }
    m_LastFullSeq = frame.MaxSeq;
    return true;
}

// The framer has already ordered, joined and checked the unit: no loss report here, since
// the framer holds back what a loss damaged.
void CRtpStream::InputFrame(const unsigned char* au, int len, eMediaDecType type, uint32_t ts,
                            bool key) {
    if (au == nullptr || len <= 0) {
        return;
    }
    Bump(m_iTotalFrame);
    m_iFrameKey = key ? 1 : 0;
    const int mediaType = static_cast<int>(playersdk::RecordPayloadTypeFor(type));
    // The decoder library takes frames as char*; it does not write to them.
    HandOnFrame(reinterpret_cast<char*>(const_cast<unsigned char*>(au)), len, ts, mediaType, type);
}

bool CRtpStream::HandOnFrame(char* buf, int len, DWORD ts, int mediaType, int decoderType) {
    m_CurTs = ts;
    m_MediaType = mediaType;
    if (GotFrameCallback onFrame = g_gotFrameCallback.load()) {
        onFrame(reinterpret_cast<long>(this), buf, len, m_UserData);
    }
    if (decoderType != kDecoderByPayloadType) {
        DecodeAs(static_cast<eMediaDecType>(decoderType), buf, len, static_cast<long long>(ts));
    } else if (mediaType < kPayloadTypes) {
        MediaProc handler = m_pCbMediaProcList[mediaType];
        if (handler == nullptr) {
            return false;
        }
        (this->*handler)(buf, len, static_cast<long long>(ts));
    }
    if (m_bRecordFlag) {
        SaveRecord(buf, len, static_cast<long long>(ts));
    }
    return true;
}

// MinSeq and m_LastFullSeq are always 0, so every complete frame that finds the stream no
// longer waiting for a key frame raises the report; this is intended.
void CRtpStream::ReportLossIfWaiting(const CFrameList& frame) {
    if (m_bWaitIFrame || static_cast<uint32_t>(frame.MinSeq - m_LastFullSeq) == 1) {
        return;
    }
    m_bWaitIFrame = 1;
    SendDatacCallback send = g_SendCallback.load();
    if (send != nullptr && m_bLoseReport) {
        send(m_UserData, nullptr, 0, m_UserData, 1);
    }
}

void CRtpStream::RemoveFrame(CFrameList* frame) {
    playersdk::RingUnlink(m_pFrameList, frame);
    delete frame;
    --m_iFrameCount;
}

void CRtpStream::DestroyFrames() {
    while (m_pFrameList != nullptr) {
        RemoveFrame(m_pFrameList);
    }
    m_bDoneSeqValid = false;
}

void CRtpStream::VideoProcess(char* buf, int len, long long ts) {
    DecodeAs(DecoderTypeFor(m_MediaType), buf, len, ts);
}

int CRtpStream::VideoProcessH264(char* buf, int len, long long ts) {
    DecodeAs(VT_H264, buf, len, ts);
    return len == 0 ? 0 : 1;
}

// The decoder is opened by the first frame that is not empty, of the type given.
void CRtpStream::DecodeAs(eMediaDecType type, char* buf, int len, long long ts) {
    if (len == 0) {
        return;
    }
    if (m_DecHandle == -1) {
        OpenDec(type);
    }
    FeedDecoder(buf, len, ts);
}

void CRtpStream::FeedDecoder(char* buf, int len, long long ts) {
    if (!DecoderReady()) {
        return;
    }
    m_bWaitIFrame = 0;
    Decoder_InputVideoData(m_DecHandle, buf, len, ts);
}

// A failed creation leaves the stream without a decoder; the next frame tries again.
void CRtpStream::OpenDec(eMediaDecType type) {
    if (m_bDecOpen) {
        return;
    }
    m_DecHandle = -1;
    long handle = -1;
    const int result = Decoder_Create(&handle, type, m_UserData, m_bOverLay, m_clrKey,
                                      m_DeviceDecinfo.picWidth, m_DeviceDecinfo.picHeight);
    if (result == -1 || handle == -1) {
        return;
    }
    m_DecHandle = handle;
    ReportDecoderCreated(type, result, handle);
    Decoder_SetDrawCb(handle, m_pDrawCb, m_lDrawPrivate);
    Decoder_SetPlayWnd(handle, m_hDisplayWnd, 1);
    if (m_iTimeScale != 0) {
        Decoder_SetTimeScale(handle, m_iTimeScale);
    }
    Decoder_EnableFrameControl(handle, m_bFrameControl);
    // Decoded pictures come back through the stream to the application's picture callback.
    Decoder_SetPictureCallback(handle, DecGotPictureCallBackProc, reinterpret_cast<long>(this));
    // An MPEG-4 decoder needs the SDP configuration before the first frame; H.264 streams
    // carry their parameter sets in-band.
    if (type == VT_MPEG4) {
        Decoder_InputVideoData(handle, m_DeviceDecinfo.config, ConfigLength(), 0);
    }
    m_bDecOpen = 1;
}

// The configuration length as it can be read from the 512-byte field.
int CRtpStream::ConfigLength() const {
    const int len = m_DeviceDecinfo.config_len;
    const int cap = static_cast<int>(sizeof(m_DeviceDecinfo.config));
    return len < 0 ? 0 : (len > cap ? cap : len);
}

// For an IR decoder the application gets Decoder_Create's result, for every other the handle.
void CRtpStream::ReportDecoderCreated(eMediaDecType type, int result, long handle) {
    if (m_pContainer == nullptr || m_pContainer->m_cbPlayAck == nullptr) {
        return;
    }
    if (type == VT_IR) {
        m_pContainer->ReportToCaller(result, NOTIFY_ZU_IR_DEC_CREATE);
    } else {
        m_pContainer->ReportToCaller(handle, NOTIFY_ZU_VIDEO_DEC_CREATE);
    }
}

void CRtpStream::CloseDec() {
    if (DecoderReady()) {
        Decoder_CloseDecode(m_DecHandle);
    }
    m_bDecOpen = 0;
    m_DecHandle = -1;
}

void CRtpStream::CloseStream() {
    CloseDec();
    DestroyFrames();
}

void CRtpStream::SetPlayHwnd(long hwnd) {
    m_hDisplayWnd = hwnd;
    if (!DecoderReady()) {
        return;
    }
    PlayerSdkLog("SetPlayHwnd hWnd:%x\n", static_cast<unsigned int>(hwnd));
    Decoder_SetPlayWnd(m_DecHandle, hwnd, 1);
    Decoder_SetDrawCb(m_DecHandle, m_pDrawCb, m_lDrawPrivate);
}

void CRtpStream::SetDrawCb(DrawCB cb, long user) {
    m_pDrawCb = cb;
    m_lDrawPrivate = user;
}

void CRtpStream::SetOverLayMode(int overlay, unsigned int colorKey) {
    m_bOverLay = overlay;
    m_clrKey = colorKey;
}

int CRtpStream::CapPicture(char* path) {
    return DecoderReady() ? Decoder_CapPicture(m_DecHandle, path) : 1;
}

int CRtpStream::GetPicSize(int* w, int* h) {
    if (DecoderReady()) {
        return Decoder_GetPictureSize(m_DecHandle, w, h);
    }
    if (w != nullptr) {
        *w = m_DeviceDecinfo.picWidth;
    }
    if (h != nullptr) {
        *h = m_DeviceDecinfo.picHeight;
    }
    return 0;
}

int CRtpStream::RefreshPlayWnd() {
    return DecoderReady() ? Decoder_RefreshSurface(m_DecHandle) : 0;
}

void CRtpStream::EnableFrameControl(int on) {
    m_bFrameControl = on;
    if (DecoderReady()) {
        Decoder_EnableFrameControl(m_DecHandle, on);
    }
}

int CRtpStream::GetMediaInfo(MediaInfo_rtp* info) {
    if (!m_bGotPacket || info == nullptr) {
        return 0;
    }
    info->pt = m_MediaType;
    info->TimeSpan = m_TimeSpan;
    if (DecoderReady()) {
        Decoder_GetPictureSize(m_DecHandle, &info->v_width, &info->v_height);
    }
    return 1;
}

long CRtpStream::GetDecoderHandle() {
    const long handle = m_DecHandle;
    PlayerSdkLog("m_DecHandle = %x\n", static_cast<unsigned int>(handle));
    return handle;
}

void CRtpStream::SendRtpPacket(char* data, int len, int pt, int marker, int newframe) {
    int outlen = 0;
    char* packet = EncodeRtpPacket(data, len, pt, marker, &outlen, newframe);
    SendDatacCallback send = g_SendCallback.load();
    if (send != nullptr && packet != nullptr) {
        send(m_UserData, packet, outlen, m_UserData, 0);
    }
}

int DecDataCallbackProc(long handle, long stream, char* data, int len, int pt) {
    if (stream != 0) {
        reinterpret_cast<CRtpStream*>(stream)->SendRtpPacket(data, len, pt, 1, 1);
    }
    return 0;
}

int DecGotPictureCallBackProc(long handle, char* buf, int width, int height, int type,
                              long stream) {
    if (stream == 0) {
        return 1;
    }
    if (GotPictureCallback onPicture = g_GotPictureCallback.load()) {
        onPicture(stream, buf, width, height, type,
                  reinterpret_cast<CRtpStream*>(stream)->m_UserData);
    }
    return 0;
}

int MFR_GotFrameCallBackProc(long stream, char* data, int len) {
    constexpr int kPiece = 1024;
    constexpr int kPayloadType = 97;
    if (stream == 0 || data == nullptr) {
        return 0;
    }
    CRtpStream* rtp = reinterpret_cast<CRtpStream*>(stream);
    for (int offset = 0; offset < len; offset += kPiece) {
        const int piece = len - offset < kPiece ? len - offset : kPiece;
        const bool last = offset + piece >= len;
        rtp->SendRtpPacket(data + offset, piece, kPayloadType, last ? 1 : 0, offset == 0 ? 1 : 0);
    }
    return 0;
}
