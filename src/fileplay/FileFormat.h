// The framed record file that the recorder writes with record type 1 and the file player
// reads: a 20-byte header, optional extension bytes, then one record per frame
// (length, payload type, time stamp, frame bytes). Integers are 32-bit little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/Types.h"

namespace playersdk {
constexpr size_t kFileHeaderSize = 20;
constexpr size_t kFrameRecordHeaderSize = 12;
constexpr int kMaxExtLength = 35534;
// Longer records are left out of the index (they are skipped, not played).
constexpr uint32_t kMaxIndexedFrameLength = 1216512;
// Key frames are told by the first bytes of the frame data.
constexpr size_t kKeyProbeSize = 8;
using KeyProbe = std::array<uint8_t, kKeyProbeSize>;
}  // namespace playersdk

// The file header as read, with the extension bytes it announces.
struct ZuFileHeader {
    int frameRate;
    int timeScale;
    int reserve1;  // the recorder stores the picture width here
    int reserve2;  // and the height here
    int extlength;
    unsigned char* extData;  // owned; freed by ResetFileHead
    unsigned char* pb;       // not used
};

// One frame record's header, and where its data lies in the file.
struct ZuFrameData {
    uint32_t dataLength;
    uint32_t mediaType;
    uint32_t timeStamp;
    unsigned char* mediaData;  // not used by the index
    BOOL IsIKey;
    long offset;  // file position of the frame data
};

// One indexed frame, in the player's doubly linked list.
struct FileIndex {
    FileIndex* next;
    FileIndex* prev;
    uint32_t index;  // 1-based frame number
    ZuFrameData frameinfo;
};

// A second header layout the player holds but never reads or writes.
struct KEL_FILE_HEAD {
    char m_filemask[16];
    int32_t m_fileversion;
    int32_t videofoucc;
    int32_t videoid;
    WORD m_width;
    WORD m_height;
    WORD m_audiotag;
    WORD m_haveaudio;
    WORD m_auchs;
    WORD m_aurates;
    int32_t m_ausample;
    uint32_t m_totalframes;
    uint32_t m_firsttick;
    uint32_t m_losttick;
    int32_t maskend;
};

namespace playersdk {
// Reads the five header fields and checks them (frame rate and time scale at least 1, extension
// length 0 to kMaxExtLength). The extension bytes are not touched.
bool ParseFileHeader(const uint8_t* data, size_t len, ZuFileHeader& header);
// Reads a frame record's length, payload type and time stamp.
bool ParseFrameRecordHeader(const uint8_t* data, size_t len, ZuFrameData& frame);
// The header and a frame record's header as the recorder writes them (the extension bytes and
// the frame data follow them in the file).
void PackFileHeader(const ZuFileHeader& header, uint8_t (&out)[kFileHeaderSize]);
void PackFrameRecordHeader(const ZuFrameData& frame, uint8_t (&out)[kFrameRecordHeaderSize]);
// The maker a first frame's payload type stands for; 'current' for types that name none.
eManuFileType ManuFileTypeOf(uint32_t mediaType, eManuFileType current);
}  // namespace playersdk

// Frees the extension bytes and zeroes the header.
void ResetFileHead(ZuFileHeader& header);
// 1 when the frame starting with 'probe' is a key frame of a maker whose streams are understood
// (only MANU_FILE_TYPE_BRT: MPEG-4 VOS/VO start or H.264 IDR/SPS with NRI 3), else 0. H.265
// frames (kRecordPayloadTypeH265) are judged by their IRAP slices instead.
int IsKeyFrame(const playersdk::KeyProbe& probe, int type);
