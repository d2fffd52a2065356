// Writes record files the way the recorder lays them out (record type 1: a 20-byte header, then
// length, payload type, time stamp and bytes per frame, little-endian), so the file player can
// be tested against them. A length can be given apart from the bytes, to write broken files.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "base/ByteCursor.h"

namespace playersdk::test {
struct RecordHeader {
    int32_t frameRate = 25;
    int32_t timeScale = 90000;
    int32_t width = 720;
    int32_t height = 480;
    int32_t extlength = 0;
};

inline std::string Le32Fields(std::initializer_list<uint32_t> fields) {
    std::string out(fields.size() * 4, '\0');
    ByteWriter w(out.data(), out.size());
    for (uint32_t v : fields) {
        w.le32(v);
    }
    return out;
}

// The header, followed by 'ext' (which need not match extlength).
inline std::string FileHeaderBytes(const RecordHeader& h, const std::string& ext = "") {
    return Le32Fields({uint32_t(h.frameRate), uint32_t(h.timeScale), uint32_t(h.width),
                       uint32_t(h.height), uint32_t(h.extlength)}) +
           ext;
}

inline std::string FrameRecordBytes(uint32_t length, uint32_t type, uint32_t ts,
                                    const std::string& data) {
    return Le32Fields({length, type, ts}) + data;
}
inline std::string FrameRecordBytes(uint32_t type, uint32_t ts, const std::string& data) {
    return FrameRecordBytes(static_cast<uint32_t>(data.size()), type, ts, data);
}

// An H.264 frame of 'size' (at least 9) bytes: start code, IDR (65) or non-IDR slice (41)
// header, the frame's number in four bytes, then a pattern derived from it.
inline std::string H264Frame(bool key, uint32_t number, size_t size = 64) {
    std::string frame = std::string("\0\0\0\1", 4) + char(key ? 0x65 : 0x41) + Le32Fields({number});
    while (frame.size() < size) {
        frame += static_cast<char>((number * 31 + frame.size()) & 0xFF);
    }
    return frame;
}

// The number H264Frame wrote into a frame; 0 for other bytes.
inline uint32_t H264FrameNumber(const std::string& frame) {
    uint32_t number = 0;
    ByteReader in(frame.data(), frame.size());
    return in.skip(5) && in.le32(number) ? number : 0;
}

inline void WriteWholeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}
}  // namespace playersdk::test
