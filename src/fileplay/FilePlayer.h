// CFilePlayer: plays one record file into the decoder library. PlayFile reads the header,
// indexes every frame and starts the play thread, which hands the current frame to the decoder,
// moves on according to the play mode and waits m_iWaitTime ms. PlayControl changes the mode;
// StopFilePlay ends the thread and releases everything.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdio>

#include "base/Memory.h"
#include "base/Types.h"
#include "fileplay/FileFormat.h"

class CFilePlayer {
public:
    CFilePlayer();
    virtual ~CFilePlayer();
    CFilePlayer(const CFilePlayer&) = delete;
    CFilePlayer& operator=(const CFilePlayer&) = delete;

    // 0 playing; 1 the file cannot be opened or its header is invalid; 2 no frame in it;
    // 3 the play thread could not be started.
    int PlayFile(HWND hwnd, const char* path, FilePlayCallback callback);
    // Changes the play mode (an eFilePlayMode value) with its speed, scale or seek percent.
    void PlayControl(int mode, long value);
    void StopFilePlay();
    // The decoder's refresh answer for BRT files once a decoder exists; 0 otherwise.
    int RefreshSurface();
    // -1 when no decoder was created; else 0 after asking the decoder for the picture.
    int CapturePic(const char* path);
    BOOL IsOnPlayThread() const;

    // Record file reading.
    int ReadFileHeader(ZuFileHeader& header);
    int GetMediaType();
    int CreateFileIndex(ZuFileHeader& header);
    int GetFrameInfo(ZuFrameData& frame, uint32_t index);

    // Play thread.
    static void* HandleRecProcTread(void* arg);
    void LocaFileProc();
    FileIndex* GetNextFrame(FileIndex* from) const;
    void VideoProcess(unsigned char* data, int len, UINT64 time);
    int CreatDecoder(HWND hwnd, uint32_t mediaType);
    void NotifyToUp(eFileReplyType event);

    UINT64 m_totalTime;  // seconds
    // Seconds of the frame last played; read by the application while the thread writes it.
    std::atomic<UINT64> m_curTime;
    FilePlayCallback m_cbFilePlay;
    uint32_t m_totalFrameNum;
    uint32_t m_keyFrameNum;
    eManuFileType m_ManuFileType;
    uint32_t m_mediaType;
    pthread_t m_playFileThread;
    MUTEX_T m_mutexPlay;
    FILE* m_fileStream;
    HWND m_hplayWnd;
    std::atomic<long> m_lPrivateData;
    std::atomic<int> m_closeFileThread;  // stop request for the play thread
    uint32_t m_fileThreadId;             // not used
    KEL_FILE_HEAD m_filehead;            // held, never read
    std::atomic<BOOL> m_bCreatDecoder;
    std::atomic<long> m_hDecoder;
    long m_audioDecHandle;  // not used
    ZuFileHeader m_fFileheader;
    FileIndex* m_fFileIndex;
    FileIndex* m_fFileTail;
    FileIndex* m_CurPlayIndex;  // the next frame to play; guarded by m_mutexPlay
    std::atomic<int> m_iWaitTime;
    int m_PlayFrameType;  // 0 every frame forward, 1 key frames forward, 2 key frames backward
    std::atomic<BOOL> m_bPaused;

private:
    enum class FrameStep { Played, PlayOver, ReadFailed };
    FrameStep PlayCurrentFrame(CMemory& buffer);
    void WaitFrameGap() const;
    bool DataFitsInFile(const ZuFrameData& frame) const;
    int IndexH265Frame(ZuFrameData& frame);
    FileIndex* SeekIndex(long percent) const;
    void FreeFileIndex();
    BOOL m_bThreadStarted;
    CMemory m_indexScratch;  // one H.265 frame being indexed
};

namespace playersdk {
// Replaces the play threads' wait between frames (milliseconds asked for). Tests only; null
// restores the real wait.
using FilePlaySleepHook = void (*)(int ms);
void SetFilePlaySleepForTest(FilePlaySleepHook hook);
}  // namespace playersdk
