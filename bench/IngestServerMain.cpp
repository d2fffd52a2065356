// bench_ingest_server: serves the ingest benchmark's fixed H.264 stream on 127.0.0.1 until it
// is sent SIGTERM or SIGINT.
//   bench_ingest_server [--mbps 4] [--seconds 20]
// Standard output, one line each, flushed at once:
//   port <tcp port> mbps <rate of the stream> packets <per pass of the loop>
//   session <connection> offered <access units> sent <access units> packets <n> bytes <n>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "IngestServer.h"
#include "IngestStream.h"

namespace {
struct Options {
    double mbps = 4;
    double seconds = 20;
};

bool Parse(int argc, char** argv, Options& options) {
    for (int i = 1; i + 1 < argc; i += 2) {
        const double value = strtod(argv[i + 1], nullptr);
        if (strcmp(argv[i], "--mbps") == 0 && value > 0) {
            options.mbps = value;
        } else if (strcmp(argv[i], "--seconds") == 0 && value > 0) {
            options.seconds = value;
        } else {
            return false;
        }
    }
    return argc % 2 == 1;
}

std::mutex g_outputMutex;

void PrintSession(const ingest::SessionCounts& c) {
    std::lock_guard<std::mutex> lock(g_outputMutex);
    printf("session %zu offered %llu sent %llu packets %llu bytes %llu\n", c.connection,
           static_cast<unsigned long long>(c.offered), static_cast<unsigned long long>(c.sent),
           static_cast<unsigned long long>(c.packets), static_cast<unsigned long long>(c.bytes));
    fflush(stdout);
}
}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        fprintf(stderr, "usage: %s [--mbps 4] [--seconds 20]\n", argv[0]);
        return 2;
    }
    // Blocked before any thread starts, so that only sigwait below takes them.
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    sigaddset(&stop, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);

    ingest::IngestStreamOptions streamOptions;
    streamOptions.mbps = options.mbps;
    ingest::CIngestStream stream;
    if (!stream.Make(streamOptions)) {
        fprintf(stderr, "bench_ingest_server: the H.264 encoder cannot be opened\n");
        return 1;
    }
    const auto duration = std::chrono::milliseconds(static_cast<long>(options.seconds * 1000));
    ingest::CIngestServer server(stream, duration, PrintSession);
    if (!server.Start()) {
        fprintf(stderr, "bench_ingest_server: cannot listen on 127.0.0.1\n");
        return 1;
    }
    {
        std::lock_guard<std::mutex> lock(g_outputMutex);
        printf("port %u mbps %.3f packets %zu\n", unsigned{server.port()},
               stream.megabitsPerSecond(), stream.packetsPerPass());
        fflush(stdout);
    }
    int signal = 0;
    sigwait(&stop, &signal);
    server.Stop();
    return 0;
}
