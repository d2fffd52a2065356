// Writes record files (type 1: header, then length / payload type / time stamp / bytes per
// frame) the way the recorder lays them out, so the file player can be tested against them.
// Lengths can be given apart from the bytes, to write broken files.
#pragma once

#include <cstdint>
#include <string>

namespace playersdk::test {
struct RecordHeader {
    int32_t frameRate = 25;
    int32_t timeScale = 90000;
    int32_t width = 720;
    int32_t height = 480;
    int32_t extlength = 0;
};

// The 20-byte header, followed by 'ext' (which need not match extlength).
std::string FileHeaderBytes(const RecordHeader& header, const std::string& ext = "");
// One frame record with a length field of data.size().
std::string FrameRecordBytes(uint32_t mediaType, uint32_t timeStamp, const std::string& data);
// One frame record whose length field says 'length', whatever follows.
std::string FrameRecordBytes(uint32_t length, uint32_t mediaType, uint32_t timeStamp,
                             const std::string& data);

// An H.264 frame of 'size' bytes (at least 9): start code, an IDR (65) or a non-IDR slice (41)
// header, the frame's number in four bytes and a pattern derived from it.
std::string H264Frame(bool key, uint32_t number, size_t size = 64);
// The number H264Frame wrote into a frame; 0 for other bytes.
uint32_t H264FrameNumber(const std::string& frame);

bool WriteWholeFile(const std::string& path, const std::string& bytes);
}  // namespace playersdk::test
