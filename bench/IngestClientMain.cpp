// bench_ingest_client: plays an RTSP URL through libPlayerSDK.so (classic dialect) with a
// decoder that takes frames and does nothing but count them.
//   bench_ingest_client URL [--plays 1] [--transport tcp|udp] [--seconds 20] [--log FILE]
// Opens the plays one after the other in one container and waits until each has ended (the
// server's BYE or end of connection after 'seconds' of stream, or a connection error), or
// until 'seconds' + 15 s have passed; closes them and prints one line:
//   frames <frames given to the decoder> plays <opened> ended <n> decoders <created>
// The Decoder_* functions below take the place of the decoder library's: the program exports
// them (linked with --export-dynamic) and an executable's symbols come first. When the library
// reports more decoders than were created here, the real decoder took the frames and the
// program exits with 3.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "PlayerDecoder.h"
#include "PlayerSDK.h"

namespace {
std::atomic<unsigned long long> g_frames{0};
std::atomic<long> g_decoders{0};
}  // namespace

extern "C" {
int Decoder_Create(long* handle, eMediaDecType, long, int, unsigned int, int, int) {
    if (handle == nullptr) {
        return -1;
    }
    *handle = ++g_decoders;
    return 0;
}
int Decoder_InputVideoData(long, char*, int, long long) {
    g_frames.fetch_add(1, std::memory_order_relaxed);
    return 0;
}
int Decoder_SetPlayWnd(long, long, int) {
    return 0;
}
int Decoder_SetDrawCb(long, DrawCB, long) {
    return 0;
}
int Decoder_SetTimeScale(long, int) {
    return 0;
}
int Decoder_EnableFrameControl(long, int) {
    return 0;
}
int Decoder_CapPicture(long, const char*) {
    return -2;
}
int Decoder_GetPictureSize(long, int*, int*) {
    return -2;
}
int Decoder_RefreshSurface(long) {
    return 0;
}
int Decoder_CloseDecode(long) {
    return 0;
}
int Decoder_SetPictureCallback(long, DecPictureCallback, long) {
    return 0;
}
}

namespace {
using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kGrace{15};
// UDP packets still on their way when the server's end arrives over TCP.
constexpr std::chrono::milliseconds kSettle{200};

struct Options {
    std::string url;
    int plays = 1;
    int transport = TT_TCP;
    double seconds = 20;
    std::string log;
};

bool Parse(int argc, char** argv, Options& o) {
    if (argc < 2 || argc % 2 != 0) {
        return false;
    }
    o.url = argv[1];
    for (int i = 2; i + 1 < argc; i += 2) {
        const std::string key = argv[i];
        const char* value = argv[i + 1];
        if (key == "--plays" && atoi(value) > 0) {
            o.plays = atoi(value);
        } else if (key == "--transport" &&
                   (strcmp(value, "tcp") == 0 || strcmp(value, "udp") == 0)) {
            o.transport = strcmp(value, "udp") == 0 ? TT_UDP : TT_TCP;
        } else if (key == "--seconds" && strtod(value, nullptr) > 0) {
            o.seconds = strtod(value, nullptr);
        } else if (key == "--log") {
            o.log = value;
        } else {
            return false;
        }
    }
    return true;
}

// What the notifications said of each play, by play handle.
class PlayBook {
public:
    explicit PlayBook(Clock::duration stream) : m_stream(stream) {}

    void OnNotify(long play, ePlayNotifyCode code) {
        std::lock_guard<std::mutex> lock(m_mutex);
        Play& p = m_plays[play];
        switch (code) {
            case NOTIFY_CONNECT_SUCCESS:
                p.connected = Clock::now();
                break;
            case NOTIFY_ZU_VIDEO_DEC_CREATE:
                ++m_decoderReports;
                break;
            case NOTIFY_PLAY_FINISHED:
            case NOTIFY_CONNECT_ERROR:
            case NOTIFY_SERVER_SHUTDOWN:
                p.ended = true;
                break;
            case NOTIFY_PLAY_OTHER_ERROR:
                // Also raised for a few seconds without frames while the stream goes on; it
                // ends the play only once the stream is over (the server closing).
                p.ended = p.ended || (p.connected && Clock::now() >= *p.connected + m_stream);
                break;
            default:
                break;
        }
        m_changed.notify_all();
    }

    // True when every play in 'handles' ended before the deadline.
    bool WaitForEnds(const std::vector<long>& handles, Clock::time_point deadline) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_until(lock, deadline,
                                    [&] { return EndedLocked(handles) == handles.size(); });
    }
    size_t Ended(const std::vector<long>& handles) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return EndedLocked(handles);
    }
    long decoderReports() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_decoderReports;
    }

private:
    struct Play {
        std::optional<Clock::time_point> connected;
        bool ended = false;
    };
    size_t EndedLocked(const std::vector<long>& handles) {
        size_t n = 0;
        for (long h : handles) {
            auto it = m_plays.find(h);
            n += it != m_plays.end() && it->second.ended ? 1 : 0;
        }
        return n;
    }

    const Clock::duration m_stream;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<long, Play> m_plays;
    long m_decoderReports = 0;
};

int OnNotify(long, long play, ePlayNotifyCode code, long user) {
    reinterpret_cast<PlayBook*>(user)->OnNotify(play, code);
    return 0;
}
}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!Parse(argc, argv, o)) {
        fprintf(stderr,
                "usage: %s URL [--plays 1] [--transport tcp|udp] [--seconds 20] [--log FILE]\n",
                argv[0]);
        return 2;
    }
    if (!o.log.empty()) {
        SetPlayerSdkLogFile(o.log.c_str());
    }
    const auto stream =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(o.seconds));
    const Clock::time_point deadline = Clock::now() + stream + kGrace;
    PlayBook book(stream);
    const long container = NetPlay_Init(OnNotify, reinterpret_cast<long>(&book));
    if (container == -1) {
        fprintf(stderr, "bench_ingest_client: NetPlay_Init failed\n");
        return 1;
    }
    std::vector<long> opened;
    for (int i = 0; i < o.plays; ++i) {
        const long play = NetPlay_OpenUrlEx(container, o.url.data(), 0, i, o.transport);
        if (play != -1) {
            opened.push_back(play);
        }
    }
    if (book.WaitForEnds(opened, deadline)) {
        std::this_thread::sleep_for(kSettle);
    }
    const size_t ended = book.Ended(opened);
    for (long play : opened) {
        NetPlay_CloseUrl(container, play);
    }
    NetPlay_Destroy(container);
    printf("frames %llu plays %zu ended %zu decoders %ld\n", g_frames.load(), opened.size(), ended,
           g_decoders.load());
    fflush(stdout);
    return book.decoderReports() > g_decoders.load() ? 3 : 0;
}
