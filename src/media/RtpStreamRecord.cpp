// CRtpStream's recorder: writes every complete frame of the stream to a file, either framed
// for the file player (type 1) or as the bare elementary stream (any other type).
//
// StartRecord and StopRecord come from the application's thread, SaveRecord from the receive
// thread. Every write and every change of the file happens under m_mutexRecord, so a frame
// that passed the flag test just before a stop is either written whole before the file closes
// or finds the file gone; it never touches a closed file.
#include <cstring>

#include "base/BoundedCopy.h"
#include "base/MutexGuard.h"
#include "fileplay/FileFormat.h"
#include "media/H264Payload.h"
#include "media/PayloadTypes.h"
#include "media/RtpStream.h"

namespace {
constexpr int kRecordTypeFramed = 1;
constexpr int kRecordFrameRate = 25;
constexpr int kRecordTimeScale = 90000;
// Written when neither the decoder nor the stream description knows the picture size.
constexpr int kDefaultWidth = 720;
constexpr int kDefaultHeight = 480;
// The longest start that IsKeyFrame compares.
constexpr size_t kKeyPatternSize = 7;

// A frame shorter than the key patterns is compared as if zeros followed it.
bool StartsWithKeyFrame(const char* buf, int len) {
    char probe[kKeyPatternSize] = {};
    memcpy(probe, buf, len < static_cast<int>(sizeof(probe)) ? len : sizeof(probe));
    return IsKeyFrame(probe) == 1;
}
}  // namespace

int CRtpStream::StartRecord(const char* path, int type) {
    playersdk::MutexGuard lock(m_mutexRecord);
    if (m_bRecordFlag) {
        return 1;
    }
    // A path longer than the field is refused rather than cut: cut, it would name another file.
    if (path == nullptr || strnlen(path, sizeof(m_RecordFilepath)) >= sizeof(m_RecordFilepath)) {
        return 2;
    }
    playersdk::copy_bounded(m_RecordFilepath, path);
    m_RecordFile = fopen(m_RecordFilepath, "wb");
    if (m_RecordFile == nullptr) {
        return 2;
    }
    m_RecordType = type;
    m_bRecordPrepare = 0;
    m_bRecordFlag = 1;
    return 0;
}

int CRtpStream::StopRecord() {
    playersdk::MutexGuard lock(m_mutexRecord);
    if (!m_bRecordFlag) {
        return 1;
    }
    m_bRecordFlag = 0;
    m_recordFirstFrameFlag = 1;
    fflush(m_RecordFile);
    fclose(m_RecordFile);
    m_RecordFile = nullptr;
    m_RecordType = 0;
    m_bRecordPrepare = 0;
    return 0;
}

void CRtpStream::SaveRecord(char* buf, int len, long long ts) {
    if (buf == nullptr || len < 0) {
        return;
    }
    if (m_RecordType == kRecordTypeFramed && !m_bRecordPrepare) {
        PrepareRecord();
    }
    playersdk::MutexGuard lock(m_mutexRecord);
    if (m_RecordFile == nullptr) {
        return;  // stopped after this frame passed the flag test
    }
    if (m_RecordType == kRecordTypeFramed) {
        // Without a header the recording was restarted between PrepareRecord and here; the
        // frame belongs to the one that ended, and the next frame starts the new file.
        if (m_bRecordPrepare) {
            WriteFrameRecord(buf, len, RecordMediaType(), static_cast<uint32_t>(ts));
        }
    } else {
        WriteRawFrame(buf, len);
    }
}

uint32_t CRtpStream::RecordMediaType() const {
    return m_bH265 ? playersdk::kRecordPayloadTypeH265 : static_cast<uint32_t>(m_MediaType);
}

// The picture size is asked before the lock is taken: the decoder is not called under it.
void CRtpStream::PrepareRecord() {
    int width = 0;
    int height = 0;
    GetPicSize(&width, &height);
    if (width == 0) {
        width = kDefaultWidth;
        height = kDefaultHeight;
    }
    playersdk::MutexGuard lock(m_mutexRecord);
    if (m_RecordFile != nullptr && m_RecordType == kRecordTypeFramed && !m_bRecordPrepare) {
        WriteRecordHeader(width, height);
        m_bRecordPrepare = 1;
    }
}

// The frame rate and time scale are always written as 25 and 90000, whatever the stream's.
void CRtpStream::WriteRecordHeader(int width, int height) {
    ZuFileHeader header{};
    header.frameRate = kRecordFrameRate;
    header.timeScale = kRecordTimeScale;
    header.reserve1 = width;
    header.reserve2 = height;
    uint8_t bytes[playersdk::kFileHeaderSize];
    playersdk::PackFileHeader(header, bytes);
    fwrite(bytes, 1, sizeof(bytes), m_RecordFile);
    // An MPEG-4 decoder needs its configuration before the first frame: it goes first, as a
    // frame record with key 0.
    if (m_MediaType == static_cast<int>(playersdk::kPayloadTypeMpeg4)) {
        WriteFrameRecord(m_DeviceDecinfo.config, ConfigLength(), playersdk::kPayloadTypeMpeg4, 0);
    }
}

void CRtpStream::WriteFrameRecord(const char* buf, int len, uint32_t type, uint32_t ts) {
    ZuFrameData frame{};
    frame.dataLength = static_cast<uint32_t>(len);
    frame.mediaType = type;
    frame.timeStamp = ts;
    uint8_t head[playersdk::kFrameRecordHeaderSize];
    playersdk::PackFrameRecordHeader(frame, head);
    fwrite(head, 1, sizeof(head), m_RecordFile);
    fwrite(buf, 1, static_cast<size_t>(len), m_RecordFile);
}

// Bare files start at the first key frame. Classic frames are told by their first bytes, and
// only MPEG-4 ones, so classic streams of other payload types (H.264 included) leave the file
// empty: deliberate, the applications that record bare files expect it. Whole access units
// from the framer carry the framer's key flag, whatever their codec.
void CRtpStream::WriteRawFrame(const char* buf, int len) {
    if (!m_bRecordPrepare) {
        const bool key = m_iFrameKey < 0 ? playersdk::IsMpeg4PayloadType(m_MediaType) &&
                                               StartsWithKeyFrame(buf, len)
                                         : m_iFrameKey == 1;
        if (!key) {
            return;
        }
        m_bRecordPrepare = 1;
    }
    fwrite(buf, 1, static_cast<size_t>(len), m_RecordFile);
}
