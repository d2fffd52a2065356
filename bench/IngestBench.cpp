// The end-to-end ingest benchmark: a loopback RTSP server process streams a fixed H.264
// stream interleaved over TCP (or over UDP) and a client process takes it in: libPlayerSDK.so
// with a decoder that only counts frames, or Debian's ffmpeg copying to the null muxer. For
// each client: CPU seconds per minute of stream, the library's CPU against ffmpeg's, and
// frames received against frames sent. See IngestRunner.h for the rows.
//   bench_ingest [--seconds 20] [--udp-seconds 10] [--rates 4,16,64] [--plays 64]
//                [--rows tcp,plays,udp] [--no-ffmpeg] [--ffmpeg PATH] [--json] [--check]
// --check: exit 1 unless every library TCP play ended normally and received frames (the
// smoke run of the test suite).
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "IngestRunner.h"
#include "IngestStream.h"

namespace {
struct Options {
    ingest::BenchOptions bench;
    bool json = false;
    bool check = false;
};

std::vector<std::string> Split(const std::string& list, char separator = ',') {
    std::vector<std::string> items;
    std::stringstream in(list);
    for (std::string item; std::getline(in, item, separator);) {
        items.push_back(item);
    }
    return items;
}

bool ParseRates(const std::string& list, std::vector<double>& rates) {
    rates.clear();
    for (const std::string& item : Split(list)) {
        const double rate = strtod(item.c_str(), nullptr);
        if (rate <= 0) {
            return false;
        }
        rates.push_back(rate);
    }
    return !rates.empty();
}

bool ParseRows(const std::string& list, ingest::BenchOptions& o) {
    o.tcpRows = o.concurrentRow = o.udpRows = false;
    for (const std::string& row : Split(list)) {
        bool& chosen = row == "tcp" ? o.tcpRows : row == "plays" ? o.concurrentRow : o.udpRows;
        if (row != "tcp" && row != "plays" && row != "udp") {
            return false;
        }
        chosen = true;
    }
    return true;
}

bool Parse(int argc, char** argv, Options& options) {
    ingest::BenchOptions& o = options.bench;
    for (int i = 1; i < argc; ++i) {
        const std::string key = argv[i];
        const bool hasValue = i + 1 < argc;
        const std::string value = hasValue ? argv[i + 1] : "";
        if (key == "--json") {
            options.json = true;
            continue;
        }
        if (key == "--check") {
            options.check = true;
            continue;
        }
        if (key == "--no-ffmpeg") {
            o.ffmpeg = false;
            continue;
        }
        if (!hasValue) {
            return false;
        }
        ++i;
        bool ok = true;
        if (key == "--seconds") {
            o.seconds = strtod(value.c_str(), nullptr);
            ok = o.seconds > 0;
        } else if (key == "--udp-seconds") {
            o.udpSeconds = strtod(value.c_str(), nullptr);
            ok = o.udpSeconds > 0;
        } else if (key == "--rates") {
            ok = ParseRates(value, o.rates);
        } else if (key == "--plays") {
            o.concurrentPlays = atoi(value.c_str());
            ok = o.concurrentPlays > 0;
        } else if (key == "--rows") {
            ok = ParseRows(value, o);
        } else if (key == "--ffmpeg") {
            o.ffmpegPath = value;
        } else {
            ok = false;
        }
        if (!ok) {
            return false;
        }
    }
    return true;
}

// The library's log goes to a directory of its own, removed at the end.
class LogDir {
public:
    LogDir() {
        char pattern[] = "/tmp/bench-ingest-XXXXXX";
        if (mkdtemp(pattern) != nullptr) {
            m_dir = pattern;
        }
    }
    ~LogDir() {
        if (!m_dir.empty()) {
            unlink(file().c_str());
            rmdir(m_dir.c_str());
        }
    }
    std::string file() const { return m_dir.empty() ? "" : m_dir + "/playersdk.log"; }

private:
    std::string m_dir;
};

// An executable file at 'path', or on PATH when the name has no slash.
bool Executable(const std::string& path) {
    if (path.find('/') != std::string::npos) {
        return access(path.c_str(), X_OK) == 0;
    }
    const char* dirs = getenv("PATH");
    for (const std::string& dir : Split(dirs != nullptr ? dirs : "", ':')) {
        if (!dir.empty() && access((dir + "/" + path).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

bool Healthy(const std::vector<ingest::IngestRow>& rows) {
    for (const ingest::IngestRow& r : rows) {
        const bool libraryTcp = r.client.rfind("library", 0) == 0 && r.client != "library udp";
        if (libraryTcp && (!r.ran || r.usage.exitCode != 0 || r.received == 0)) {
            return false;
        }
    }
    return true;
}
}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        fprintf(stderr,
                "usage: %s [--seconds 20] [--udp-seconds 10] [--rates 4,16,64] [--plays 64]\n"
                "          [--rows tcp,plays,udp] [--no-ffmpeg] [--ffmpeg PATH] [--json] "
                "[--check]\n",
                argv[0]);
        return 2;
    }
    LogDir log;
    ingest::BenchOptions& bench = options.bench;
    if (bench.ffmpeg && !Executable(bench.ffmpegPath)) {
        fprintf(stderr,
                "bench_ingest: no %s; its rows are left out (scripts/install-deps.sh ffmpeg)\n",
                bench.ffmpegPath.c_str());
        bench.ffmpeg = false;
    }
    bench.serverPath = BENCH_INGEST_SERVER;
    bench.clientPath = BENCH_INGEST_CLIENT;
    bench.logPath = log.file();
    ingest::CIngestRunner runner(bench);
    const std::vector<ingest::IngestRow> rows = runner.Run();
    if (options.json) {
        ingest::PrintJson(stdout, rows);
    } else {
        const ingest::IngestStreamOptions stream;
        char title[256];
        snprintf(title, sizeof(title),
                 "PlayerSDK ingest over loopback RTSP: H.264 %dx%d at %d frames/s in RTP packets "
                 "of up to 1400 payload bytes, %g s of stream a row (udp rows %g s)",
                 stream.width, stream.height, stream.fps, bench.seconds, bench.udpSeconds);
        ingest::PrintTable(stdout, title, rows);
    }
    if (!runner.allRan()) {
        return 1;
    }
    return options.check && !Healthy(rows) ? 1 : 0;
}
