#include <gtest/gtest.h>

#include "FilePlayTestSupport.h"

using namespace playersdk;
using namespace playersdk::test;

namespace {
// Reads a record file the way PlayFile does, without starting the play thread.
class IndexedFile {
public:
    explicit IndexedFile(const std::string& bytes) {
        WriteWholeFile(m_dir.file("rec.dat"), bytes);
        player.m_fileStream = fopen(m_dir.file("rec.dat").c_str(), "rb");
        headerResult = player.ReadFileHeader(player.m_fFileheader);
        if (headerResult == 0) {
            mediaType = player.GetMediaType();
            player.CreateFileIndex(player.m_fFileheader);
        }
    }
    std::vector<const FileIndex*> Nodes() const {
        std::vector<const FileIndex*> out;
        for (const FileIndex* n = player.m_fFileIndex; n; n = n->next) {
            out.push_back(n);
        }
        return out;
    }
    size_t Count() const { return Nodes().size(); }

    TempDir m_dir;
    CFilePlayer player;
    int headerResult = -1;
    int mediaType = -1;
};

const std::string kHeader = FileHeaderBytes(RecordHeader{});
std::string Filler(size_t n) {
    return std::string(n, '\x11');
}
}  // namespace

TEST(FileIndex, RecorderFileOfH264IsBrtWithNumberedFramesKeyFramesAndDataOffsets) {
    std::string file = RecordFileBytes(96, 6, 3);
    IndexedFile rec(file);
    ASSERT_EQ(rec.headerResult, 0);
    EXPECT_EQ(rec.mediaType, 96);
    EXPECT_EQ(rec.player.m_ManuFileType, MANU_FILE_TYPE_BRT);
    EXPECT_EQ(rec.player.m_totalFrameNum, 6u);
    EXPECT_EQ(rec.player.m_keyFrameNum, 2u);

    auto nodes = rec.Nodes();
    ASSERT_EQ(nodes.size(), 6u);
    EXPECT_EQ(rec.player.m_fFileTail, nodes.back());
    for (uint32_t i = 1; i <= 6; ++i) {
        const FileIndex* node = nodes[i - 1];
        const ZuFrameData& f = node->frameinfo;
        EXPECT_EQ(node->index, i);
        EXPECT_EQ(node->prev, i > 1 ? nodes[i - 2] : nullptr);
        EXPECT_EQ(f.IsIKey, i % 3 == 1 ? TRUE : FALSE);
        EXPECT_EQ(f.mediaType, 96u);
        EXPECT_EQ(f.timeStamp, i * 3600);
        EXPECT_EQ(file.substr(f.offset, f.dataLength), H264Frame(i % 3 == 1, i, 60 + i));
    }
}

TEST(FileIndex, ExtensionUpTo35534BytesIsKeptLongerOrMissingBytesOrShortHeaderFail) {
    RecordHeader fields;
    fields.extlength = 35534;
    std::string ext(35534, '\x5A');
    IndexedFile longest(FileHeaderBytes(fields, ext) + FrameRecordBytes(96, 0, H264Frame(true, 1)));
    ASSERT_EQ(longest.headerResult, 0);
    EXPECT_EQ(longest.player.m_fFileheader.extData[35533], 0x5A);
    EXPECT_EQ(longest.Count(), 1u);

    fields.extlength = 35535;
    EXPECT_EQ(IndexedFile(FileHeaderBytes(fields, ext + "Z")).headerResult, -1);
    fields.extlength = 100;
    EXPECT_EQ(IndexedFile(FileHeaderBytes(fields, Filler(99))).headerResult, -1);
    EXPECT_EQ(IndexedFile(kHeader.substr(0, 19)).headerResult, -1);
}

TEST(FileIndex, ShortZeroOrCutRecordEndsTheIndex) {
    std::string two = RecordFileBytes(96, 2, 1);
    std::string next = FrameRecordBytes(96, 0, H264Frame(true, 9));
    EXPECT_EQ(IndexedFile(two + FrameRecordBytes(96, 0, "abcde") + next).Count(), 2u);
    EXPECT_EQ(IndexedFile(two + FrameRecordBytes(96, 0, "") + next).Count(), 2u);
    EXPECT_EQ(IndexedFile(two + FrameRecordBytes(100, 96, 0, Filler(99))).Count(), 2u);
    EXPECT_EQ(IndexedFile(two + FrameRecordBytes(0xFFFFFFFFu, 96, 0, Filler(8))).Count(), 2u);
    EXPECT_EQ(IndexedFile(two + next.substr(0, 7)).Count(), 2u);
    EXPECT_EQ(IndexedFile(two + FrameRecordBytes(100, 96, 0, Filler(100))).Count(), 3u);

    IndexedFile empty(kHeader + std::string("\x08\0\0", 3));
    EXPECT_EQ(empty.mediaType, -1);
    EXPECT_EQ(empty.Count(), 0u);
}

TEST(FileIndex, RecordOverTheSizeLimitIsSkippedAndTheNextGetsTheNextNumber) {
    IndexedFile rec(kHeader + FrameRecordBytes(96, 1, H264Frame(true, 1)) +
                    FrameRecordBytes(96, 2, H264Frame(true, 2, kMaxIndexedFrameLength + 1)) +
                    FrameRecordBytes(96, 3, H264Frame(true, 3, kMaxIndexedFrameLength)) +
                    FrameRecordBytes(96, 4, H264Frame(false, 4)));
    auto nodes = rec.Nodes();
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[1]->index, 2u);
    EXPECT_EQ(nodes[1]->frameinfo.dataLength, kMaxIndexedFrameLength);
    EXPECT_EQ(nodes[2]->index, 3u);
    EXPECT_EQ(nodes[2]->frameinfo.timeStamp, 4u);
    EXPECT_EQ(rec.player.m_keyFrameNum, 2u);
}

TEST(FileIndex, OtherMakersAreIndexedWithoutKeyFrames) {
    IndexedFile hik(kHeader + FrameRecordBytes(53, 0, H264Frame(true, 1)) +
                    FrameRecordBytes(96, 0, H264Frame(true, 2)));
    EXPECT_EQ(hik.player.m_ManuFileType, MANU_FILE_TYPE_HIK);
    EXPECT_EQ(hik.player.m_totalFrameNum, 2u);
    EXPECT_EQ(hik.player.m_keyFrameNum, 0u);
}
