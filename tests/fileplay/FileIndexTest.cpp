#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fileplay/FilePlayer.h"
#include "support/RecordFileWriter.h"
#include "support/TempDir.h"

using namespace playersdk;
using namespace playersdk::test;

namespace {
// Reads a record file the way PlayFile does, without starting the play thread.
class IndexedFile {
public:
    explicit IndexedFile(const std::string& bytes) {
        std::string path = m_dir.file("rec.dat");
        WriteWholeFile(path, bytes);
        m_player.m_fileStream = fopen(path.c_str(), "rb");
        m_headerResult = m_player.ReadFileHeader(m_player.m_fFileheader);
        if (m_headerResult == 0) {
            m_mediaType = m_player.GetMediaType();
            m_player.CreateFileIndex(m_player.m_fFileheader);
        }
    }
    int headerResult() const { return m_headerResult; }
    int mediaType() const { return m_mediaType; }
    CFilePlayer& player() { return m_player; }
    std::vector<const FileIndex*> nodes() const {
        std::vector<const FileIndex*> out;
        for (const FileIndex* n = m_player.m_fFileIndex; n; n = n->next) {
            out.push_back(n);
        }
        return out;
    }
    std::vector<uint32_t> lengths() const {
        std::vector<uint32_t> out;
        for (const FileIndex* n : nodes()) {
            out.push_back(n->frameinfo.dataLength);
        }
        return out;
    }

private:
    TempDir m_dir;
    CFilePlayer m_player;
    int m_headerResult = -1;
    int m_mediaType = -1;
};

std::string H264Records(int count, uint32_t keyEvery) {
    std::string out;
    for (int i = 1; i <= count; ++i) {
        bool key = (i - 1) % keyEvery == 0;
        out += FrameRecordBytes(96, static_cast<uint32_t>(i * 3600), H264Frame(key, i, 40 + i));
    }
    return out;
}

std::string Filler(size_t n) {
    return std::string(n, '\x11');
}
}  // namespace

TEST(FileIndex, RecorderFileOfH264IsBrtWithNumberedFramesKeyFramesAndDataOffsets) {
    std::string file = FileHeaderBytes(RecordHeader{}) + H264Records(6, 3);
    IndexedFile rec(file);
    ASSERT_EQ(rec.headerResult(), 0);
    EXPECT_EQ(rec.mediaType(), 96);
    EXPECT_EQ(rec.player().m_mediaType, 96u);
    EXPECT_EQ(rec.player().m_ManuFileType, MANU_FILE_TYPE_BRT);
    EXPECT_EQ(rec.player().m_totalFrameNum, 6u);
    EXPECT_EQ(rec.player().m_keyFrameNum, 2u);

    auto nodes = rec.nodes();
    ASSERT_EQ(nodes.size(), 6u);
    EXPECT_EQ(rec.player().m_fFileTail, nodes.back());
    EXPECT_EQ(nodes.front()->prev, nullptr);
    for (size_t i = 0; i < nodes.size(); ++i) {
        const ZuFrameData& f = nodes[i]->frameinfo;
        SCOPED_TRACE(i);
        EXPECT_EQ(nodes[i]->index, i + 1);
        EXPECT_EQ(f.IsIKey, i % 3 == 0 ? TRUE : FALSE);
        EXPECT_EQ(f.mediaType, 96u);
        EXPECT_EQ(f.timeStamp, (i + 1) * 3600);
        EXPECT_EQ(file.substr(f.offset, f.dataLength), H264Frame(i % 3 == 0, i + 1, 41 + i));
        if (i > 0) {
            EXPECT_EQ(nodes[i]->prev, nodes[i - 1]);
        }
    }
}

TEST(FileIndex, ExtensionUpTo35534BytesIsReadAndKeptLongerOrMissingBytesFail) {
    RecordHeader fields;
    fields.extlength = 35534;
    std::string ext(35534, '\x5A');
    IndexedFile longest(FileHeaderBytes(fields, ext) + H264Records(2, 1));
    ASSERT_EQ(longest.headerResult(), 0);
    ASSERT_NE(longest.player().m_fFileheader.extData, nullptr);
    EXPECT_EQ(longest.player().m_fFileheader.extData[35533], 0x5A);
    EXPECT_EQ(longest.player().m_totalFrameNum, 2u);

    fields.extlength = 35535;
    EXPECT_EQ(IndexedFile(FileHeaderBytes(fields, ext + "Z")).headerResult(), -1);
    fields.extlength = 100;
    EXPECT_EQ(IndexedFile(FileHeaderBytes(fields, Filler(99))).headerResult(), -1);
    EXPECT_EQ(IndexedFile(FileHeaderBytes(RecordHeader{}).substr(0, 19)).headerResult(), -1);
    EXPECT_EQ(IndexedFile("").headerResult(), -1);
}

TEST(FileIndex, ShortZeroOrCutRecordEndsTheIndex) {
    std::string head = FileHeaderBytes(RecordHeader{}) + H264Records(2, 1);
    std::string after = FrameRecordBytes(96, 0, H264Frame(true, 9));

    EXPECT_EQ(IndexedFile(head + FrameRecordBytes(96, 0, "abcde") + after).lengths().size(), 2u);
    EXPECT_EQ(IndexedFile(head + FrameRecordBytes(96, 0, "") + after).lengths().size(), 2u);
    // The last record announces more bytes than the file holds.
    EXPECT_EQ(IndexedFile(head + FrameRecordBytes(100, 96, 0, Filler(99))).lengths().size(), 2u);
    EXPECT_EQ(IndexedFile(head + FrameRecordBytes(0xFFFFFFFFu, 96, 0, Filler(8))).lengths().size(),
              2u);
    // A header cut inside the next record's twelve bytes.
    EXPECT_EQ(IndexedFile(head + after.substr(0, 7)).lengths().size(), 2u);
    EXPECT_EQ(IndexedFile(head + FrameRecordBytes(100, 96, 0, Filler(100))).lengths().size(), 3u);
}

TEST(FileIndex, RecordOverTheSizeLimitIsSkippedAndTheNextGetsTheNextNumber) {
    std::string file = FileHeaderBytes(RecordHeader{}) +
                       FrameRecordBytes(96, 1, H264Frame(true, 1)) +
                       FrameRecordBytes(96, 2, H264Frame(true, 2, kMaxIndexedFrameLength + 1)) +
                       FrameRecordBytes(96, 3, H264Frame(true, 3, kMaxIndexedFrameLength)) +
                       FrameRecordBytes(96, 4, H264Frame(false, 4));
    IndexedFile rec(file);
    EXPECT_EQ(rec.lengths(), (std::vector<uint32_t>{64, kMaxIndexedFrameLength, 64}));
    auto nodes = rec.nodes();
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[1]->index, 2u);
    EXPECT_EQ(nodes[1]->frameinfo.timeStamp, 3u);
    EXPECT_EQ(nodes[2]->index, 3u);
    EXPECT_EQ(rec.player().m_totalFrameNum, 3u);
    EXPECT_EQ(rec.player().m_keyFrameNum, 2u);
}

TEST(FileIndex, OtherMakersAreIndexedWithoutKeyFramesAndUnknownTypesStayUnknown) {
    std::string hik = FileHeaderBytes(RecordHeader{}) +
                      FrameRecordBytes(53, 0, H264Frame(true, 1)) +
                      FrameRecordBytes(96, 0, H264Frame(true, 2));
    IndexedFile rec(hik);
    EXPECT_EQ(rec.player().m_ManuFileType, MANU_FILE_TYPE_HIK);
    EXPECT_EQ(rec.player().m_totalFrameNum, 2u);
    EXPECT_EQ(rec.player().m_keyFrameNum, 0u);

    IndexedFile odd(FileHeaderBytes(RecordHeader{}) + FrameRecordBytes(120, 0, H264Frame(true, 1)));
    EXPECT_EQ(odd.mediaType(), 120);
    EXPECT_EQ(odd.player().m_ManuFileType, MANU_FILE_TYPE_UNKOWN);

    IndexedFile empty(FileHeaderBytes(RecordHeader{}) + std::string("\x08\0\0", 3));
    EXPECT_EQ(empty.mediaType(), -1);
    EXPECT_EQ(empty.player().m_totalFrameNum, 0u);
}
