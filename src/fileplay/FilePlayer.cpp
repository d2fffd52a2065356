#include "fileplay/FilePlayer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "PlayerDecoder.h"
#include "base/ByteCursor.h"
#include "base/MutexGuard.h"
#include "media/H265Nal.h"
#include "media/PayloadTypes.h"

namespace {
std::atomic<playersdk::FilePlaySleepHook> g_sleepHook{nullptr};

// Play modes can ask for absurd gaps (slow by 2^40); keep the wait an int of at least 0.
int ClampWait(long long ms) {
    return static_cast<int>(std::clamp<long long>(ms, 0, INT_MAX));
}

// A divisor of 0 would fault; FilePlay_Control never sends one, the player treats it as 1.
long long NonZero(long value) {
    return value == 0 ? 1 : value;
}
}  // namespace

namespace playersdk {
void SetFilePlaySleepForTest(FilePlaySleepHook hook) {
    g_sleepHook.store(hook);
}
}  // namespace playersdk

CFilePlayer::CFilePlayer()
    : m_totalTime(0),
      m_curTime(0),
      m_cbFilePlay(nullptr),
      m_totalFrameNum(0),
      m_keyFrameNum(0),
      m_ManuFileType(MANU_FILE_TYPE_UNKOWN),
      m_mediaType(0),
      m_playFileThread(),
      m_mutexPlay(),
      m_fileStream(nullptr),
      m_hplayWnd(0),
      m_lPrivateData(0),
      m_closeFileThread(0),
      m_fileThreadId(0),
      m_filehead(),
      m_bCreatDecoder(FALSE),
      m_hDecoder(0),
      m_audioDecHandle(0),
      m_fFileheader(),
      m_fFileIndex(nullptr),
      m_fFileTail(nullptr),
      m_CurPlayIndex(nullptr),
      m_iWaitTime(40),
      m_PlayFrameType(0),
      m_bPaused(FALSE),
      m_bThreadStarted(FALSE) {
    pthread_mutex_init(&m_mutexPlay, nullptr);
}

// Releasing is StopFilePlay's work; it is repeated here (it is idempotent) so that a player
// deleted without it leaves no thread or file behind. The mutex lives as long as the object.
CFilePlayer::~CFilePlayer() {
    StopFilePlay();
    pthread_mutex_destroy(&m_mutexPlay);
}

int CFilePlayer::PlayFile(HWND hwnd, const char* path, FilePlayCallback callback) {
    m_hplayWnd = hwnd;
    m_cbFilePlay = callback;
    m_closeFileThread = 0;
    if (!path || m_fileStream) {
        return 1;
    }
    m_fileStream = fopen(path, "rb");
    if (!m_fileStream) {
        return 1;
    }
    if (ReadFileHeader(m_fFileheader) != 0) {
        PlayerSdkLog("ReadFileHeader error\n");
        return 1;
    }
    GetMediaType();
    CreateFileIndex(m_fFileheader);
    if (m_totalFrameNum == 0) {
        return 2;
    }
    m_totalTime = m_totalFrameNum / static_cast<uint32_t>(m_fFileheader.frameRate);
    m_CurPlayIndex = m_fFileIndex;
    m_curTime = 0;
    m_bPaused = FALSE;
    if (pthread_create(&m_playFileThread, nullptr, HandleRecProcTread, this) != 0) {
        return 3;
    }
    m_bThreadStarted = TRUE;
    return 0;
}

// ---- Record file reading ---------------------------------------------------------------------

int CFilePlayer::ReadFileHeader(ZuFileHeader& header) {
    ResetFileHead(header);
    uint8_t fields[playersdk::kFileHeaderSize];
    if (!m_fileStream || fseek(m_fileStream, 0, SEEK_SET) != 0 ||
        fread(fields, 1, sizeof(fields), m_fileStream) != sizeof(fields) ||
        !playersdk::ParseFileHeader(fields, sizeof(fields), header)) {
        return -1;
    }
    if (header.extlength == 0) {
        return 0;
    }
    header.extData = new (std::nothrow) unsigned char[header.extlength];
    if (!header.extData) {
        return -1;
    }
    size_t want = static_cast<size_t>(header.extlength);
    return fread(header.extData, 1, want, m_fileStream) == want ? 0 : -1;
}

int CFilePlayer::GetMediaType() {
    if (!m_fileStream) {
        return -1;
    }
    long start = ftell(m_fileStream);
    uint8_t head[8];
    size_t got = fread(head, 1, sizeof(head), m_fileStream);
    // The first record is indexed like every other: go back to its start.
    fseek(m_fileStream, start, SEEK_SET);
    playersdk::ByteReader in(head, got);
    uint32_t dataLength = 0;
    uint32_t mediaType = 0;
    if (!in.le32(dataLength) || !in.le32(mediaType)) {
        return -1;
    }
    m_mediaType = mediaType;
    m_ManuFileType = playersdk::ManuFileTypeOf(mediaType, m_ManuFileType);
    return static_cast<int>(mediaType);
}

bool CFilePlayer::DataFitsInFile(const ZuFrameData& frame) const {
    struct stat st {};
    if (fstat(fileno(m_fileStream), &st) != 0) {
        return false;
    }
    return static_cast<long long>(frame.offset) + frame.dataLength <= st.st_size;
}

int CFilePlayer::GetFrameInfo(ZuFrameData& frame, uint32_t /*index*/) {
    frame = ZuFrameData{};
    uint8_t head[playersdk::kFrameRecordHeaderSize];
    if (!m_fileStream || fread(head, 1, sizeof(head), m_fileStream) != sizeof(head)) {
        return -1;
    }
    playersdk::ParseFrameRecordHeader(head, sizeof(head), frame);
    frame.offset = ftell(m_fileStream);
    if (frame.dataLength < playersdk::kKeyProbeSize) {
        fseek(m_fileStream, frame.dataLength, SEEK_CUR);
        return -1;
    }
    // A record cut short by the end of the file is not a frame: it ends the index.
    if (!DataFitsInFile(frame)) {
        return -1;
    }
    if (frame.mediaType == playersdk::kRecordPayloadTypeH265) {
        return IndexH265Frame(frame);
    }
    playersdk::KeyProbe probe{};
    if (fread(probe.data(), 1, probe.size(), m_fileStream) != probe.size()) {
        return -1;
    }
    frame.IsIKey = IsKeyFrame(probe, m_ManuFileType);
    fseek(m_fileStream, static_cast<long>(frame.dataLength - probe.size()), SEEK_CUR);
    return 0;
}

// An H.265 key frame is an IRAP picture, whose slices may follow parameter sets and SEI of any
// length: the whole frame is read to find them. Frames too long to be indexed are not read.
int CFilePlayer::IndexH265Frame(ZuFrameData& frame) {
    if (frame.dataLength > playersdk::kMaxIndexedFrameLength) {
        return fseek(m_fileStream, static_cast<long>(frame.dataLength), SEEK_CUR) == 0 ? 0 : -1;
    }
    auto* data = static_cast<uint8_t*>(m_indexScratch.getbuf(frame.dataLength));
    if (!data || fread(data, 1, frame.dataLength, m_fileStream) != frame.dataLength) {
        return -1;
    }
    frame.IsIKey = m_ManuFileType == MANU_FILE_TYPE_BRT &&
                   playersdk::h265::HasIrapSlice(data, frame.dataLength);
    return 0;
}

int CFilePlayer::CreateFileIndex(ZuFileHeader& /*header*/) {
    uint32_t number = 0;
    while (m_fileStream && !feof(m_fileStream) && !ferror(m_fileStream)) {
        std::unique_ptr<FileIndex> node(new (std::nothrow) FileIndex{});
        if (!node || GetFrameInfo(node->frameinfo, number) != 0 ||
            node->frameinfo.dataLength == 0) {
            break;
        }
        if (node->frameinfo.dataLength > playersdk::kMaxIndexedFrameLength) {
            continue;
        }
        node->index = ++number;
        m_totalFrameNum++;
        if (node->frameinfo.IsIKey) {
            m_keyFrameNum++;
        }
        node->prev = m_fFileTail;
        if (m_fFileTail) {
            m_fFileTail->next = node.get();
        } else {
            m_fFileIndex = node.get();
        }
        m_fFileTail = node.release();
    }
    return 0;
}

void CFilePlayer::FreeFileIndex() {
    for (FileIndex* node = m_fFileIndex; node;) {
        FileIndex* next = node->next;
        delete node;
        node = next;
    }
    m_fFileIndex = m_fFileTail = m_CurPlayIndex = nullptr;
}

// ---- Play thread -----------------------------------------------------------------------------

void* CFilePlayer::HandleRecProcTread(void* arg) {
    static_cast<CFilePlayer*>(arg)->LocaFileProc();
    return nullptr;
}

void CFilePlayer::LocaFileProc() {
    CMemory buffer;  // grows to the largest frame played, never shrinks
    while (!m_closeFileThread) {
        if (!m_bPaused) {
            FrameStep step = PlayCurrentFrame(buffer);
            if (step == FrameStep::ReadFailed) {
                return;
            }
            if (step == FrameStep::PlayOver) {
                m_closeFileThread = 1;
                NotifyToUp(FILE_PLAYOVER);  // outside the lock: the callback may control us
                return;
            }
        }
        WaitFrameGap();
    }
}

CFilePlayer::FrameStep CFilePlayer::PlayCurrentFrame(CMemory& buffer) {
    playersdk::MutexGuard lock(m_mutexPlay);
    FileIndex* current = m_CurPlayIndex;
    if (!current) {
        return FrameStep::PlayOver;  // a seek past the end
    }
    uint32_t len = current->frameinfo.dataLength;
    auto* data = static_cast<unsigned char*>(buffer.getbuf(len));
    if (!data) {
        return FrameStep::ReadFailed;
    }
    memset(data, 0, len);
    if (fseek(m_fileStream, current->frameinfo.offset, SEEK_SET) != 0) {
        return FrameStep::ReadFailed;
    }
    size_t got = fread(data, 1, len, m_fileStream);
    if (got == 0) {
        return FrameStep::ReadFailed;
    }
    m_curTime = current->index / static_cast<uint32_t>(m_fFileheader.frameRate);
    VideoProcess(data, static_cast<int>(got), m_curTime);
    m_CurPlayIndex = GetNextFrame(current);
    return m_CurPlayIndex ? FrameStep::Played : FrameStep::PlayOver;
}

void CFilePlayer::WaitFrameGap() const {
    int ms = m_iWaitTime;
    if (m_bPaused && ms < 1) {
        ms = 1;  // fast play can leave a gap of 0: a paused player must not spin
    }
    if (playersdk::FilePlaySleepHook hook = g_sleepHook.load()) {
        hook(ms);
        return;
    }
    // Short slices, so that a stop does not wait out a long gap of slow play.
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
    for (auto now = Clock::now(); now < deadline && !m_closeFileThread; now = Clock::now()) {
        auto slice = std::min<Clock::duration>(deadline - now, std::chrono::milliseconds(10));
        usleep(static_cast<useconds_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(slice).count()));
    }
}

FileIndex* CFilePlayer::GetNextFrame(FileIndex* from) const {
    if (!from) {
        return nullptr;
    }
    switch (m_PlayFrameType) {
        case 1:
            for (from = from->next; from && !from->frameinfo.IsIKey; from = from->next) {
            }
            return from;
        case 2:
            for (from = from->prev; from && !from->frameinfo.IsIKey; from = from->prev) {
            }
            return from;
        default:
            return from->next;
    }
}

void CFilePlayer::VideoProcess(unsigned char* data, int len, UINT64 time) {
    if (!m_bCreatDecoder && CreatDecoder(m_hplayWnd, m_mediaType) != 0) {
        return;  // no decoder for this file: the frame is dropped
    }
    Decoder_InputVideoData(m_hDecoder, reinterpret_cast<char*>(data), len,
                           static_cast<long long>(time));
}

int CFilePlayer::CreatDecoder(HWND hwnd, uint32_t mediaType) {
    if (m_ManuFileType != MANU_FILE_TYPE_BRT) {
        return -1;
    }
    eMediaDecType type;
    if (playersdk::IsMpeg4PayloadType(mediaType)) {
        type = VT_MPEG4;
    } else if (mediaType == playersdk::kPayloadTypeH264) {
        type = VT_H264;
    } else if (mediaType == playersdk::kRecordPayloadTypeH265) {
        type = VT_H265;
    } else {
        return -1;
    }
    long handle = 0;
    if (Decoder_Create(&handle, type, 0, 0, 0, 0, 0) == -1 || handle == 0 || handle == -1) {
        return -1;
    }
    Decoder_SetPlayWnd(handle, hwnd, 1);
    m_hDecoder = handle;
    m_bCreatDecoder = TRUE;
    return 0;
}

void CFilePlayer::NotifyToUp(eFileReplyType event) {
    if (!m_cbFilePlay) {
        return;
    }
    tPlayInfo info{};
    info.fileevent = event;
    m_cbFilePlay(m_lPrivateData, &info);
}

// ---- Control -----------------------------------------------------------------------------------

FileIndex* CFilePlayer::SeekIndex(long percent) const {
    // Past 100 % every value lands beyond the last frame; the cap keeps the product in range.
    long long steps =
        static_cast<long long>(m_totalFrameNum) * std::clamp<long>(percent, 0, 101) / 100;
    FileIndex* node = m_fFileIndex;
    for (; node && steps > 0; --steps) {
        node = node->next;
    }
    return node;
}

void CFilePlayer::PlayControl(int mode, long value) {
    playersdk::MutexGuard lock(m_mutexPlay);
    const long long frameGap = 1000 / std::max(m_fFileheader.frameRate, 1);
    const bool keyFramesKnown =
        m_ManuFileType == MANU_FILE_TYPE_BRT || m_ManuFileType == MANU_FILE_TYPE_DAHU;
    switch (mode) {
        case FILE_PLAYING:
            m_PlayFrameType = 0;
            m_iWaitTime = ClampWait(frameGap);
            break;
        case FILE_FWORD:
        case FILE_BACK:
            if (keyFramesKnown) {
                m_PlayFrameType = mode == FILE_FWORD ? 1 : 2;
                m_iWaitTime = ClampWait((1000 / NonZero(value)) * 2);
            }
            break;
        case FILE_SLOW:
            m_PlayFrameType = 0;
            m_iWaitTime = ClampWait(std::clamp<long long>(value, -INT_MAX, INT_MAX) * frameGap);
            break;
        case FILE_FAST:
            m_PlayFrameType = 0;
            m_iWaitTime = ClampWait(frameGap / NonZero(value));
            break;
        case FILE_PLAYSEEK:
            m_PlayFrameType = 0;
            m_iWaitTime = ClampWait(frameGap);
            m_CurPlayIndex = SeekIndex(value);
            break;
        default:
            break;
    }
    m_bPaused = mode == FILE_PAUSE ? TRUE : FALSE;
}

void CFilePlayer::StopFilePlay() {
    m_closeFileThread = 1;
    if (m_bThreadStarted) {
        pthread_join(m_playFileThread, nullptr);
        m_bThreadStarted = FALSE;
        m_playFileThread = pthread_t{};
    }
    playersdk::MutexGuard lock(m_mutexPlay);
    ResetFileHead(m_fFileheader);
    if (m_bCreatDecoder) {
        Decoder_CloseDecode(m_hDecoder);
        m_bCreatDecoder = FALSE;
        m_hDecoder = 0;
    }
    FreeFileIndex();
    if (m_fileStream) {
        fclose(m_fileStream);
        m_fileStream = nullptr;
    }
}

BOOL CFilePlayer::IsOnPlayThread() const {
    return pthread_equal(pthread_self(), m_playFileThread) ? TRUE : FALSE;
}

// ---- Decoder requests from the application ---------------------------------------------------

int CFilePlayer::RefreshSurface() {
    if (m_ManuFileType != MANU_FILE_TYPE_BRT || !m_bCreatDecoder) {
        return 0;
    }
    return Decoder_RefreshSurface(m_hDecoder);
}

int CFilePlayer::CapturePic(const char* path) {
    if (!m_bCreatDecoder || !path) {
        return -1;
    }
    Decoder_CapPicture(m_hDecoder, path);  // its answer is not passed on
    return 0;
}
