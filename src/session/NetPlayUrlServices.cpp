// The per-play services besides trick play: recording, snapshots and the directories their
// paths need, traffic and frame rate, the decoder handle and a display refresh.
//
// Each service picks its worker by the play's transport: a TCP play's own stream (or its
// engine, for the traffic on the RTSP connection), a UDP play's video sink. A multicast play
// has neither and gets the neutral results.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "base/BoundedCopy.h"
#include "base/Log.h"
#include "media/RtpStream.h"
#include "net/NetSink.h"
#include "session/NetPlayUrl.h"

namespace {
// The longest recording or picture path taken; a longer one is refused rather than cut,
// because cut it would name other directories.
constexpr size_t kDirectoryPathSize = 1024;
constexpr mode_t kDirectoryMode = 0777;
// Framed files, which the file player reads.
constexpr int kRecordTypeFramed = 1;

bool Exists(const char* path) {
    return access(path, F_OK) == 0;
}

// Windows-style paths work as well: a '\' anywhere further on is taken before a nearer '/'.
char* NextSeparator(char* from) {
    char* backslash = strchr(from, '\\');
    return backslash != nullptr ? backslash : strchr(from, '/');
}
}  // namespace

int CNetPlayUrl::CreateAllDirectory(char* path) {
    if (path == nullptr || strnlen(path, kDirectoryPathSize) >= kDirectoryPathSize) {
        return 0;
    }
    char work[kDirectoryPathSize];
    playersdk::copy_bounded(work, path);
    if (Exists(work)) {
        return 1;
    }
    char* from = work + strspn(work, "\\/");
    // The last component is the file name and is never made.
    for (char* separator = NextSeparator(from); separator != nullptr;
         separator = NextSeparator(from)) {
        from = separator + 1;
        if (separator[-1] == ':') {
            continue;  // a drive prefix such as "C:"
        }
        const char kept = *separator;
        *separator = '\0';
        const bool made = Exists(work) || mkdir(work, kDirectoryMode) == 0;
        *separator = kept;
        if (!made) {
            return 0;
        }
    }
    return 1;
}

// The workers' own results are not passed on: a file that could not be opened still leaves
// the play marked as recording.
int CNetPlayUrl::StartRecord(char* path) {
    if (m_bRecord || CreateAllDirectory(path) == 0) {
        return -1;
    }
    const int transport = m_TransType;
    if (transport != TT_TCP && transport != TT_UDP) {
        return 0;  // nothing to record from
    }
    if (m_bRecord.exchange(TRUE)) {
        return -1;  // another thread started first
    }
    CRtpStream* stream = m_pRtpStream;
    if (transport == TT_TCP && stream != nullptr) {
        stream->StartRecord(path, kRecordTypeFramed);
    } else if (transport == TT_UDP && m_pVideoSink != nullptr) {
        if (path[0] == '\0') {
            // The play stays marked as recording until StopRecord: an application that
            // retries with a path gets -1 until it has called StopRecord.
            return -1;
        }
        m_pVideoSink->m_RecordType = kRecordTypeFramed;
        m_pVideoSink->StartRecord(path);
    }
    return 0;
}

// The stream flushes and closes the file; frames it already took are written before that.
int CNetPlayUrl::StopRecord() {
    if (!m_bRecord.exchange(FALSE)) {
        return 0;
    }
    const int transport = m_TransType;
    CRtpStream* stream = m_pRtpStream;
    if (transport == TT_TCP && stream != nullptr) {
        stream->StopRecord();
    } else if (transport == TT_UDP && m_pVideoSink != nullptr) {
        m_pVideoSink->m_RecordType = 0;
        m_pVideoSink->StopRecord();
    }
    return 0;
}

// The decoder writes the picture; without a decoder the worker answers 1.
int CNetPlayUrl::GrabPicture(char* path) {
    if (CreateAllDirectory(path) == 0) {
        return -1;
    }
    const int transport = m_TransType;
    CRtpStream* stream = m_pRtpStream;
    if (transport == TT_UDP && m_pVideoSink != nullptr) {
        return m_pVideoSink->CapPicture(path);
    }
    if (transport == TT_TCP) {
        return stream != nullptr ? stream->CapPicture(path) : 1;
    }
    return 0;
}

// 0.0 means no traffic in the last second: the UDP watchdog counts on it.
float CNetPlayUrl::GetFlux() {
    const int transport = m_TransType;
    if (transport == TT_TCP) {
        return m_pRtspCtx != nullptr ? m_pRtspCtx->GetTcpFlux() : -1.0f;
    }
    if (transport == TT_UDP && m_pVideoSink != nullptr) {
        return m_pVideoSink->GetFlux();
    }
    return -1.0f;
}

int CNetPlayUrl::GetFrameRate() {
    const int transport = m_TransType;
    CRtpStream* stream = m_pRtpStream;
    if (transport == TT_TCP) {
        return stream != nullptr ? stream->GetFrameRate() : -1;
    }
    if (transport == TT_UDP && m_pVideoSink != nullptr) {
        return m_pVideoSink->GetFrameRate();
    }
    return -1;
}

// A UDP play's stream lives in its sink, so it has no handle to give here.
long CNetPlayUrl::GetDecoderHandle() {
    CRtpStream* stream = m_pRtpStream;
    PlayerSdkLog("GetDecoderHandle = %x\n",
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(stream) & 0xFFFFFFFFu));
    return stream != nullptr ? stream->GetDecoderHandle() : -1;
}

// A UDP play refreshes yet answers 0, which the exported function turns into a failure.
// Deliberate: an application that checks NetPlay_RefreshSurface on a UDP play sees it fail,
// and would see the result change if this answered otherwise.
int CNetPlayUrl::RefreshSurface() {
    if (m_bRecord) {
        return 0;
    }
    const int transport = m_TransType;
    CRtpStream* stream = m_pRtpStream;
    if (transport == TT_TCP && stream != nullptr) {
        return stream->RefreshPlayWnd();
    }
    if (transport == TT_UDP && m_pVideoSink != nullptr) {
        m_pVideoSink->RefreshPlayWnd();
    }
    return 0;
}
