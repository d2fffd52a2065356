#include "support/RecordFileWriter.h"

#include <fstream>

#include "base/ByteCursor.h"

namespace playersdk::test {
namespace {
std::string Le32Fields(std::initializer_list<uint32_t> fields) {
    std::string out(fields.size() * 4, '\0');
    ByteWriter w(out.data(), out.size());
    for (uint32_t v : fields) {
        w.le32(v);
    }
    return out;
}
}  // namespace

std::string FileHeaderBytes(const RecordHeader& h, const std::string& ext) {
    return Le32Fields({static_cast<uint32_t>(h.frameRate), static_cast<uint32_t>(h.timeScale),
                       static_cast<uint32_t>(h.width), static_cast<uint32_t>(h.height),
                       static_cast<uint32_t>(h.extlength)}) +
           ext;
}

std::string FrameRecordBytes(uint32_t mediaType, uint32_t timeStamp, const std::string& data) {
    return FrameRecordBytes(static_cast<uint32_t>(data.size()), mediaType, timeStamp, data);
}

std::string FrameRecordBytes(uint32_t length, uint32_t mediaType, uint32_t timeStamp,
                             const std::string& data) {
    return Le32Fields({length, mediaType, timeStamp}) + data;
}

std::string H264Frame(bool key, uint32_t number, size_t size) {
    std::string frame("\x00\x00\x00\x01", 4);
    frame += static_cast<char>(key ? 0x65 : 0x41);
    frame += Le32Fields({number});
    while (frame.size() < size) {
        frame += static_cast<char>((number * 31 + frame.size()) & 0xFF);
    }
    return frame;
}

uint32_t H264FrameNumber(const std::string& frame) {
    uint32_t number = 0;
    ByteReader in(frame.data(), frame.size());
    if (!in.skip(5) || !in.le32(number)) {
        return 0;
    }
    return number;
}

bool WriteWholeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}
}  // namespace playersdk::test
