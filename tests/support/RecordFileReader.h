// Reads a framed record file back with the file format's own parsers, for tests of the
// recorder and of everything that records through it.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "base/ByteCursor.h"
#include "fileplay/FileFormat.h"
#include "support/TempDir.h"

namespace playersdk::test {
using Record = std::tuple<uint32_t, uint32_t, std::vector<uint8_t>>;  // payload type, key, frame

// 'valid' when the header is accepted and the records end exactly at the end of the file.
struct RecordFile {
    ZuFileHeader header{};
    std::vector<Record> records;
    bool valid = false;
    std::tuple<int, int, int, int, int> fields() const {
        return {header.frameRate, header.timeScale, header.reserve1, header.reserve2,
                header.extlength};
    }
};

inline RecordFile ReadRecordFile(const std::string& path) {
    const std::string bytes = ReadFileBytes(path);
    ByteReader in(bytes.data(), bytes.size());
    RecordFile file;
    const uint8_t* p = nullptr;
    if (!in.bytes(kFileHeaderSize, p) || !ParseFileHeader(p, kFileHeaderSize, file.header)) {
        return file;
    }
    ZuFrameData f{};
    while (in.bytes(kFrameRecordHeaderSize, p) &&
           ParseFrameRecordHeader(p, kFrameRecordHeaderSize, f)) {
        if (!in.bytes(f.dataLength, p)) {
            return file;
        }
        file.records.emplace_back(f.mediaType, f.timeStamp,
                                  std::vector<uint8_t>(p, p + f.dataLength));
    }
    file.valid = in.remaining() == 0;
    return file;
}
}  // namespace playersdk::test
