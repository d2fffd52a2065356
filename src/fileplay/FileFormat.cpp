#include "fileplay/FileFormat.h"

#include <cstring>

#include "base/ByteCursor.h"
#include "media/PayloadTypes.h"

namespace playersdk {
bool ParseFileHeader(const uint8_t* data, size_t len, ZuFileHeader& header) {
    ByteReader in(data, len);
    uint32_t fields[5];
    for (uint32_t& field : fields) {
        if (!in.le32(field)) {
            return false;
        }
    }
    // The counts are signed on disk: a rate of 0x80000000 is negative and refused.
    header.frameRate = static_cast<int32_t>(fields[0]);
    header.timeScale = static_cast<int32_t>(fields[1]);
    header.reserve1 = static_cast<int32_t>(fields[2]);
    header.reserve2 = static_cast<int32_t>(fields[3]);
    header.extlength = static_cast<int32_t>(fields[4]);
    return header.frameRate >= 1 && header.timeScale >= 1 && header.extlength >= 0 &&
           header.extlength <= kMaxExtLength;
}

bool ParseFrameRecordHeader(const uint8_t* data, size_t len, ZuFrameData& frame) {
    ByteReader in(data, len);
    return in.le32(frame.dataLength) && in.le32(frame.mediaType) && in.le32(frame.timeStamp);
}

void PackFileHeader(const ZuFileHeader& header, uint8_t (&out)[kFileHeaderSize]) {
    ByteWriter(out, sizeof(out))
        .le32(static_cast<uint32_t>(header.frameRate))
        .le32(static_cast<uint32_t>(header.timeScale))
        .le32(static_cast<uint32_t>(header.reserve1))
        .le32(static_cast<uint32_t>(header.reserve2))
        .le32(static_cast<uint32_t>(header.extlength));
}

void PackFrameRecordHeader(const ZuFrameData& frame, uint8_t (&out)[kFrameRecordHeaderSize]) {
    ByteWriter(out, sizeof(out)).le32(frame.dataLength).le32(frame.mediaType).le32(frame.timeStamp);
}

eManuFileType ManuFileTypeOf(uint32_t mediaType, eManuFileType current) {
    switch (mediaType) {
        case 35:
        case 96:
        case 97:
        case kRecordPayloadTypeH265:
            return MANU_FILE_TYPE_BRT;
        case 37:
            return MANU_FILE_TYPE_DAHU;
        case 40:
            return MANU_FILE_TYPE_STC;
        case 44:
            return MANU_FILE_TYPE_LC;
        case 50:
            return MANU_FILE_TYPE_HB;
        case 53:
            return MANU_FILE_TYPE_HIK;
        default:
            return current;
    }
}
}  // namespace playersdk

void ResetFileHead(ZuFileHeader& header) {
    delete[] header.extData;
    header = ZuFileHeader{};
}

int IsKeyFrame(const playersdk::KeyProbe& probe, int type) {
    if (type != MANU_FILE_TYPE_BRT) {
        return 0;
    }
    // MPEG-4 visual object sequence (B0) or video object (00) start code.
    bool mpeg4 =
        probe[0] == 0 && probe[1] == 0 && probe[2] == 1 && (probe[3] == 0xB0 || probe[3] == 0x00);
    // H.264 IDR slice (65) or sequence parameter set (67) behind a four-byte start code.
    bool h264 = probe[0] == 0 && probe[1] == 0 && probe[2] == 0 && probe[3] == 1 &&
                (probe[4] == 0x65 || probe[4] == 0x67);
    return mpeg4 || h264 ? 1 : 0;
}
