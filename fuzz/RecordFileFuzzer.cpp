// Record files through the file player: the header, the frame index, the key-frame probe and
// every indexed frame played into the decoder, in one of the player's modes. The file lives in
// memory (a memfd: the player asks the file system for its size); the play loop runs on the
// harness thread and does not wait between frames.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "FuzzStream.h"
#include "fileplay/FilePlayer.h"

namespace {
constexpr int kModes[] = {FILE_PLAYING, FILE_FWORD, FILE_BACK, FILE_SLOW, FILE_FAST, FILE_PLAYSEEK};

void NoWait(int) {}

FILE* FileInMemory(const uint8_t* data, size_t size) {
    const int fd = memfd_create("record", 0);
    if (fd < 0) {
        return nullptr;
    }
    if (write(fd, data, size) != static_cast<ssize_t>(size) || lseek(fd, 0, SEEK_SET) != 0) {
        close(fd);
        return nullptr;
    }
    FILE* file = fdopen(fd, "rb");
    if (file == nullptr) {
        close(fd);
    }
    return file;
}

// The steps of PlayFile, with the play loop called here instead of on a thread of its own.
void PlayToTheEnd(CFilePlayer& player, FILE* file, int mode, long value) {
    player.m_fileStream = file;
    if (player.ReadFileHeader(player.m_fFileheader) != 0) {
        return;
    }
    player.GetMediaType();
    player.CreateFileIndex(player.m_fFileheader);
    if (player.m_totalFrameNum == 0) {
        return;
    }
    player.m_CurPlayIndex = player.m_fFileIndex;
    player.m_closeFileThread = 0;
    player.PlayControl(mode, value);
    player.LocaFileProc();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ForgetDecoderCalls();
    playersdk::SetFilePlaySleepForTest(NoWait);
    if (size < 3) {
        return 0;
    }
    const int mode = kModes[data[0] % (sizeof(kModes) / sizeof(kModes[0]))];
    const long value = static_cast<int8_t>(data[1]);
    FILE* file = FileInMemory(data + 2, size - 2);
    if (file == nullptr) {
        return 0;
    }
    CFilePlayer player;
    PlayToTheEnd(player, file, mode, value);
    player.StopFilePlay();  // closes the file
    return 0;
}
