// CPU spent decoding a 720p H.264 stream (the live test pattern, 25 frames a second, a key
// frame every second): the reference decoder library with no window and no picture callback,
// the same with a picture callback (every picture converted to BGR), and Debian's ffmpeg
// decoding the same stream to nothing ("ffmpeg -i file -f null -"), single-threaded like the
// library and with its default threads. Each row reports CPU milliseconds per frame
// (cpu_ms_per_frame: user + system time of the process or of the ffmpeg child); the row of
// ffmpeg decoding one frame shows what its start-up adds to its rows.
// Run with --benchmark_format=json (or csv) for script-readable figures.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "PlayerDecoder.h"
#include "livesource/TestPattern.h"
#include "livesource/VideoEncoder.h"

namespace {
using namespace playersdk::livesource;

constexpr int kWidth = 1280;
constexpr int kHeight = 720;
constexpr int kFrames = 750;  // thirty seconds

// The test pattern encoded once: the frames, and the same frames as one Annex B file in a
// folder of its own that goes when the program ends.
class Stream {
public:
    Stream() {
        CVideoEncoder encoder;
        char dir[] = "/tmp/playersdk-bench-XXXXXX";
        if (!encoder.Open(VideoCodec::kH264, kWidth, kHeight, 25, 25) || mkdtemp(dir) == nullptr) {
            return;
        }
        std::vector<EncodedPicture> pictures;
        for (int i = 0; i < kFrames; ++i) {
            encoder.Encode(DrawTestPattern(kWidth, kHeight, static_cast<uint32_t>(i)), false,
                           pictures);
        }
        encoder.Flush(pictures);
        m_dir = dir;
        path = m_dir + "/pattern720p.h264";
        FILE* file = fopen(path.c_str(), "wb");
        for (EncodedPicture& picture : pictures) {
            if (picture.key) {  // parameter sets in front of key frames, as cameras send them
                picture.bytes.insert(picture.bytes.begin(), encoder.config().begin(),
                                     encoder.config().end());
            }
            if (file != nullptr) {
                fwrite(picture.bytes.data(), 1, picture.bytes.size(), file);
            }
            frames.push_back(std::move(picture.bytes));
        }
        if (file != nullptr) {
            fclose(file);
        }
    }
    ~Stream() {
        if (!m_dir.empty()) {
            unlink(path.c_str());
            rmdir(m_dir.c_str());
        }
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    std::vector<std::vector<uint8_t>> frames;
    std::string path;

private:
    std::string m_dir;
};

const Stream& TestStream() {
    static const Stream stream;
    return stream;
}

double CpuSeconds(const rusage& usage) {
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double ProcessCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return CpuSeconds(usage);
}

int CountPicture(long, char*, int, int, int, long user) {
    ++*reinterpret_cast<long*>(user);
    return 0;
}

// The iteration's time is the CPU it took; the counter sums milliseconds per frame over the
// iterations and is shown as their mean.
void Report(benchmark::State& state, double cpuSeconds, long frames) {
    state.SetIterationTime(cpuSeconds);
    benchmark::Counter& counter = state.counters["cpu_ms_per_frame"];
    counter.flags = benchmark::Counter::kAvgIterations;
    counter.value += cpuSeconds * 1000.0 / static_cast<double>(frames);
}

// The decoder library through its exported functions, as PlayerSDK feeds it.
void LibraryDecode(benchmark::State& state, bool pictureCallback) {
    const Stream& stream = TestStream();
    if (stream.frames.empty()) {
        state.SkipWithError("libx264 is not available to make the stream");
        return;
    }
    for (auto _ : state) {
        long handle = -1;
        long pictures = 0;
        Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0);
        if (pictureCallback) {
            Decoder_SetPictureCallback(handle, CountPicture, reinterpret_cast<long>(&pictures));
        }
        const double start = ProcessCpuSeconds();
        long long ts = 0;
        for (const std::vector<uint8_t>& frame : stream.frames) {
            Decoder_InputVideoData(handle,
                                   const_cast<char*>(reinterpret_cast<const char*>(frame.data())),
                                   static_cast<int>(frame.size()), ts += 3600);
        }
        Decoder_CloseDecode(handle);
        Report(state, ProcessCpuSeconds() - start, static_cast<long>(stream.frames.size()));
    }
}

void BM_LibraryNoWindowNoCallback(benchmark::State& state) {
    LibraryDecode(state, false);
}

void BM_LibraryWithPictureCallback(benchmark::State& state) {
    LibraryDecode(state, true);
}

// Debian's ffmpeg on the same stream (the first 'frames' of it, 0: all); its CPU time is the
// child's, start-up included.
void FfmpegDecode(benchmark::State& state, const char* threads, int frames = 0) {
    const Stream& stream = TestStream();
    if (stream.path.empty()) {
        state.SkipWithError("libx264 is not available to make the stream");
        return;
    }
    const std::string count = std::to_string(frames > 0 ? frames : kFrames);
    for (auto _ : state) {
        const pid_t child = fork();
        if (child == 0) {
            execlp("ffmpeg", "ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-threads",
                   threads, "-i", stream.path.c_str(), "-frames:v", count.c_str(), "-f", "null",
                   "-", static_cast<char*>(nullptr));
            _exit(127);
        }
        int status = 0;
        rusage usage{};
        if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) ||
            WEXITSTATUS(status) != 0) {
            state.SkipWithError("ffmpeg did not run (Debian package ffmpeg)");
            return;
        }
        Report(state, CpuSeconds(usage),
               frames > 0 ? frames : static_cast<long>(stream.frames.size()));
    }
}

void BM_FfmpegOneThread(benchmark::State& state) {
    FfmpegDecode(state, "1");
}

void BM_FfmpegDefaultThreads(benchmark::State& state) {
    FfmpegDecode(state, "0");
}

// What ffmpeg spends to start and read the stream's head: one frame decoded. Its time per
// iteration is to be taken off the rows above for the cost of decoding alone.
void BM_FfmpegStartOneFrame(benchmark::State& state) {
    FfmpegDecode(state, "1", 1);
}

BENCHMARK(BM_LibraryNoWindowNoCallback)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_LibraryWithPictureCallback)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_FfmpegOneThread)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_FfmpegDefaultThreads)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_FfmpegStartOneFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
