#include "DemoRun.h"

#include <sys/stat.h>

#include <cerrno>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>

#include "DemoWindow.h"
#include "livesource/LiveSource.h"
#include "livesource/PictureCheck.h"
#include "livesource/TestPattern.h"

namespace {
using Clock = std::chrono::steady_clock;
using playersdk::livesource::CLiveSource;
using playersdk::livesource::LiveSourceOptions;
using playersdk::livesource::Picture;
using playersdk::livesource::ReadBmp;
using playersdk::livesource::ReadFrameNumber;
using playersdk::livesource::VideoCodec;

constexpr auto kTick = std::chrono::milliseconds(50);

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = vsnprintf(nullptr, 0, format, args);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(args);
    return text;
}

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

const char* PhaseName(CDemoPlayer::Phase phase) {
    switch (phase) {
        case CDemoPlayer::Phase::kIdle:
            return "IDLE";
        case CDemoPlayer::Phase::kConnecting:
            return "CONNECTING";
        case CDemoPlayer::Phase::kConnected:
            return "CONNECTED";
        case CDemoPlayer::Phase::kPlaying:
            return "PLAYING";
        case CDemoPlayer::Phase::kFailed:
            return "FAILED";
        case CDemoPlayer::Phase::kEnded:
            return "ENDED";
    }
    return "?";
}

std::string Describe(const std::string& label, const CDemoPlayer::Figures& f, double seconds) {
    return Format("%-5s %-10s %5.1f s  frames %5ld  pictures %5ld  %3d fps  %7.1f kbit/s  %s",
                  label.c_str(), PhaseName(f.phase), seconds, f.frames, f.pictures,
                  f.framesPerSecond, f.kbitPerSecond,
                  CDemoPlayer::NotificationName(f.lastNotification));
}

long FileSize(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? static_cast<long>(info.st_size) : -1;
}

// "320x240 BMP" for a 24-bit BMP file, "JPEG" for a JPEG one, empty for anything else; for
// the demo's own pattern also the frame the picture shows.
std::string PictureKind(const std::string& path, bool pattern) {
    std::ifstream in(path, std::ios::binary);
    char head[2] = {};
    in.read(head, sizeof(head));
    if (in.gcount() == 2 && head[0] == '\xFF' && head[1] == '\xD8') {
        return "JPEG";
    }
    const Picture picture = ReadBmp(path);
    if (picture.empty()) {
        return "";
    }
    const int frame = pattern ? ReadFrameNumber(picture) : -1;
    return Format("%dx%d BMP", picture.width, picture.height) +
           (frame >= 0 ? Format(", frame %d of the pattern", frame) : "");
}

bool MakeDirectories(const std::string& path) {
    for (size_t at = 1; at <= path.size(); ++at) {
        if (at == path.size() || path[at] == '/') {
            const std::string prefix = path.substr(0, at);
            if (mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) {
                return false;
            }
        }
    }
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// What the file player reports, from its own thread.
struct FilePlayState {
    std::mutex mutex;
    std::condition_variable over;
    bool finished = false;
    int lastEvent = -1;
};

void OnFileEvent(long user, tPlayInfo* info) {
    auto* state = reinterpret_cast<FilePlayState*>(user);
    std::lock_guard<std::mutex> lock(state->mutex);
    state->lastEvent = info ? info->fileevent : -1;
    if (state->lastEvent == FILE_PLAYOVER || state->lastEvent == FILE_MSG_PLAY_ERROR) {
        state->finished = true;
        state->over.notify_all();
    }
}

const char* FileEventName(int event) {
    switch (event) {
        case FILE_PLAYOK:
            return "FILE_PLAYOK";
        case FILE_PLAYHEAD:
            return "FILE_PLAYHEAD";
        case FILE_PLAYOVER:
            return "FILE_PLAYOVER";
        case FILE_MSG_PLAY_ERROR:
            return "FILE_MSG_PLAY_ERROR";
        default:
            return "no event";
    }
}
}  // namespace

CDemoRun::CDemoRun(const DemoOptions& options, const std::atomic<bool>& interrupted)
    : m_options(options), m_interrupted(interrupted) {}

int CDemoRun::Run() {
    if (!m_options.url.empty() && !IsPlayableUrl(m_options.url)) {
        fprintf(stderr,
                "playersdk-demo: '%s' is not a URL the player can open: it needs "
                "rtsp://<IPv4 address>[:port]/<path>\n",
                m_options.url.c_str());
        return kExitBadUrl;
    }
    if (!PrepareOutDir()) {
        return kExitFileFailed;
    }
    // Before the library's first log entry: the log goes with the other files.
    const std::string log = m_outDir + "/playersdk.log";
    SetPlayerSdkLogFile(log.c_str());

    CDemoWindow window;
    if (m_options.window) {
        std::string error;
        if (window.Open(640, 480, "PlayerSDK demo", error)) {
            m_line.Print(Format("Window 0x%lx on display %s", window.id(), getenv("DISPLAY")));
        } else {
            m_line.Print("--window: " + error + "; playing without a window");
        }
    }
    const int rc = m_options.url.empty() ? RunLivePattern(window.id()) : RunUrl(window.id());
    m_line.End();
    Note("library log", log);
    PrintSummary();
    return rc;
}

bool CDemoRun::PrepareOutDir() {
    if (!m_options.outDir.empty()) {
        m_outDir = m_options.outDir;
        if (!MakeDirectories(m_outDir)) {
            fprintf(stderr, "playersdk-demo: cannot create the folder %s\n", m_outDir.c_str());
            return false;
        }
        return true;
    }
    char folder[] = "/tmp/playersdk-demo-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        fprintf(stderr, "playersdk-demo: cannot create a folder in /tmp\n");
        return false;
    }
    m_outDir = folder;
    return true;
}

void CDemoRun::Note(const std::string& what, const std::string& path) {
    if (FileSize(path) >= 0) {
        m_written.push_back({what, path});
    }
}

int CDemoRun::RunLivePattern(long window) {
    LiveSourceOptions sourceOptions;
    sourceOptions.codec = m_options.h265    ? VideoCodec::kH265
                          : m_options.mpeg4 ? VideoCodec::kMpeg4
                                            : VideoCodec::kH264;
    const char* codec = m_options.h265 ? "H.265" : m_options.mpeg4 ? "MPEG-4" : "H.264";
    CLiveSource source(sourceOptions);
    if (!source.Start()) {
        fprintf(stderr,
                "playersdk-demo: cannot serve the test pattern: libavcodec has no %s "
                "encoder here (H.264 needs libx264, H.265 libx265)\n",
                codec);
        return kExitSourceFailed;
    }
    m_line.Print(Format("Serving the live test pattern (%s, %dx%d, %d frames/s) at %s", codec,
                        sourceOptions.width, sourceOptions.height, sourceOptions.fps,
                        source.url().c_str()));
    const std::string record = m_outDir + "/live.rec";
    const std::string snapshot = m_outDir + "/snapshot.bmp";
    {
        CDemoPlayer player;
        int rc = StartPlay(player, source.url(), window);
        if (rc != kExitOk) {
            return rc;
        }
        if (player.StartRecord(record) != 0) {
            m_line.Print("Recording into " + record + " failed (NetPlay_StartRecord)");
            return kExitFileFailed;
        }
        m_line.Print(Format("Recording %d s into %s", m_options.seconds, record.c_str()));
        rc = ShowLive(player, "live", m_options.seconds);
        player.StopRecord();
        Note("recording", record);
        m_summary.push_back(
            Format("recording   %d s, %ld bytes", m_options.seconds, FileSize(record)));
        if (rc != kExitOk) {
            return rc;
        }
        rc = Grab(player, snapshot);
        if (rc != kExitOk) {
            return rc;
        }
        player.Close();
    }
    source.Stop();
    return PlayRecording(record, window);
}

int CDemoRun::RunUrl(long window) {
    CDemoPlayer player;
    int rc = StartPlay(player, m_options.url, window);
    if (rc != kExitOk) {
        return rc;
    }
    const std::string& record = m_options.record;
    if (!record.empty() && player.StartRecord(record) != 0) {
        m_line.Print("Recording into " + record + " failed (NetPlay_StartRecord)");
        return kExitFileFailed;
    }
    rc = ShowLive(player, "play", m_options.seconds);
    if (!record.empty()) {
        player.StopRecord();
        Note("recording", record);
        m_summary.push_back(Format("recording   %ld bytes", FileSize(record)));
    }
    if (!m_options.snapshot.empty() && rc != kExitInterrupted) {
        const int grabbed = Grab(player, m_options.snapshot);
        rc = rc == kExitOk ? grabbed : rc;
    }
    return rc;
}

// Connects and waits for the first decoded picture; kExitOk once there is one.
int CDemoRun::StartPlay(CDemoPlayer& player, const std::string& url, long window) {
    m_line.Print("Opening " + url + (m_options.udp ? " (RTP over UDP)" : " (RTP over TCP)"));
    const auto start = Clock::now();
    if (!player.Open(url, window, m_options.udp ? TT_UDP : TT_TCP)) {
        m_line.Print("Cannot connect to " + url +
                     ": the connection was refused or could not be made (NOTIFY_CONNECT_ERROR)");
        return kExitConnectFailed;
    }
    const auto deadline = start + std::chrono::seconds(m_options.timeout);
    CDemoPlayer::Phase phase = player.phase();
    while (Clock::now() < deadline && !interrupted()) {
        phase = player.WaitForFirstPicture(kTick);
        m_line.Update(Describe("open", player.Sample(), SecondsSince(start)));
        if (phase == CDemoPlayer::Phase::kFailed || phase == CDemoPlayer::Phase::kEnded ||
            player.Sample().pictures > 0) {
            break;
        }
    }
    const CDemoPlayer::Figures figures = player.Sample();
    const char* last = CDemoPlayer::NotificationName(figures.lastNotification);
    if (figures.pictures > 0) {
        m_line.Print(Format("Playing after %.2f s: %dx%d pictures", SecondsSince(start),
                            figures.width, figures.height));
        return kExitOk;
    }
    if (interrupted()) {
        return kExitInterrupted;
    }
    if (phase == CDemoPlayer::Phase::kFailed || !player.everConnected()) {
        if (phase == CDemoPlayer::Phase::kFailed || phase == CDemoPlayer::Phase::kEnded) {
            m_line.Print(
                Format("The server at %s refused the stream or closed the connection "
                       "before playing (%s)",
                       url.c_str(), last));
            return kExitRefused;
        }
        // The library reports nothing for a refused DESCRIBE: it keeps asking.
        m_line.Print(
            Format("No answer from the server at %s within %d s: it stays silent or "
                   "keeps refusing the stream (%s)",
                   url.c_str(), m_options.timeout, last));
        return kExitNoAnswer;
    }
    if (phase == CDemoPlayer::Phase::kEnded) {
        m_line.Print(Format("The server ended the stream before the first picture (%s)", last));
        return kExitStreamEnded;
    }
    m_line.Print(Format("Connected, but no picture arrived within %d s (%ld frames, %s)",
                        m_options.timeout, figures.frames, last));
    return kExitNoAnswer;
}

// The live display for 'playSeconds' (0: until Ctrl-C), the stream's end or Ctrl-C.
int CDemoRun::ShowLive(CDemoPlayer& player, const std::string& label, int playSeconds) {
    const auto start = Clock::now();
    auto lastFrameAt = start;
    long lastFrames = -1;
    while (true) {
        std::this_thread::sleep_for(kTick);
        const CDemoPlayer::Figures figures = player.Sample();
        const double seconds = SecondsSince(start);
        if (figures.frames != lastFrames) {
            lastFrames = figures.frames;
            lastFrameAt = Clock::now();
        }
        const bool ended = figures.phase == CDemoPlayer::Phase::kEnded ||
                           figures.phase == CDemoPlayer::Phase::kFailed;
        const bool stalled = SecondsSince(lastFrameAt) > m_options.timeout;
        const bool done = interrupted() || (playSeconds > 0 && seconds >= playSeconds);
        m_line.Update(Describe(label, figures, seconds), ended || stalled || done);
        if (!ended && !stalled && !done) {
            continue;
        }
        m_line.End();
        m_summary.push_back(
            Format("%-11s %.1f s, %ld frames, %ld pictures of %dx%d, %d fps, "
                   "%.0f kbit/s, last %s",
                   label == "live" ? "live play" : "play", seconds, figures.frames,
                   figures.pictures, figures.width, figures.height, figures.framesPerSecond,
                   figures.kbitPerSecond, CDemoPlayer::NotificationName(figures.lastNotification)));
        if (ended) {
            m_line.Print(Format("The server ended the stream or it was cut after %.1f s (%s)",
                                seconds, CDemoPlayer::NotificationName(figures.lastNotification)));
            return kExitStreamEnded;
        }
        if (stalled) {
            m_line.Print(Format("No frame for %d s: the stream has stalled", m_options.timeout));
            return kExitStreamEnded;
        }
        return interrupted() && playSeconds > 0 ? kExitInterrupted : kExitOk;
    }
}

int CDemoRun::Grab(CDemoPlayer& player, const std::string& path) {
    const int result = player.GrabPicture(path);
    const std::string kind = PictureKind(path, m_options.url.empty());
    if (result != 0 || kind.empty()) {
        m_line.Print(
            Format("Grabbing a picture into %s failed (NetPlay_GrabPic %d)", path.c_str(), result));
        return kExitFileFailed;
    }
    Note("snapshot", path);
    m_summary.push_back("snapshot    " + path + " (" + kind + ")");
    return kExitOk;
}

int CDemoRun::PlayRecording(const std::string& path, long window) {
    FilePlayState state;
    const long handle =
        FilePlay_Start(path.c_str(), window, OnFileEvent, reinterpret_cast<long>(&state));
    if (handle == -1) {
        m_line.Print("Playing back " + path + " failed (FilePlay_Start)");
        return kExitFileFailed;
    }
    tVideoFileInfo info{};
    FilePlay_GetInfo(handle, &info);
    const long total = FilePlay_GetTotalTime(handle);
    m_line.Print(Format("Playing back %s: %u frames (%u of them key frames), %ld s", path.c_str(),
                        info.totalFrameNum, info.keyFrameNum, total));
    const auto start = Clock::now();
    const auto deadline = start + std::chrono::seconds(total + m_options.timeout);
    bool finished = false;
    while (!finished && !interrupted() && Clock::now() < deadline) {
        std::unique_lock<std::mutex> lock(state.mutex);
        finished = state.over.wait_for(lock, kTick, [&] { return state.finished; });
        lock.unlock();
        m_line.Update(Format("file  %-10s %3ld / %ld s", finished ? "OVER" : "PLAYING",
                             FilePlay_GetCurTime(handle), total),
                      finished);
    }
    m_line.End();
    const double took = SecondsSince(start);
    int event = 0;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        event = state.lastEvent;
    }
    const std::string picture = m_outDir + "/playback.bmp";
    if (event == FILE_PLAYOVER && FilePlay_CapturePic(handle, picture.c_str()) == 0) {
        Note("last picture of the play-back", picture);
    }
    FilePlay_Stop(handle);
    m_summary.push_back(Format("file play   %u frames (%u of them key frames, %ld s) in %.1f s, %s",
                               info.totalFrameNum, info.keyFrameNum, total, took,
                               FileEventName(event)));
    if (interrupted()) {
        return kExitInterrupted;
    }
    if (event != FILE_PLAYOVER) {
        m_line.Print(Format("The play-back did not reach its end (%s)", FileEventName(event)));
        return kExitFileFailed;
    }
    return kExitOk;
}

void CDemoRun::PrintSummary() {
    printf("Summary\n");
    for (const std::string& line : m_summary) {
        printf("  %s\n", line.c_str());
    }
    printf("Files written\n");
    for (const Output& file : m_written) {
        printf("  %-30s %s\n", file.what.c_str(), file.path.c_str());
    }
    fflush(stdout);
}
