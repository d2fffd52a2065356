#include "IngestRunner.h"

#include <cstdio>
#include <cstdlib>

namespace ingest {
namespace {
using Seconds = std::chrono::seconds;
constexpr Seconds kServerStart{120};  // the stream is encoded before the server listens
constexpr Seconds kServerStop{10};
constexpr Seconds kSessionReport{10};
// Beyond the stream: the client's own grace for a backlog, and closing its plays.
constexpr Seconds kClientExtra{45};

std::string RateName(double mbps) {
    char text[32];
    snprintf(text, sizeof(text), "%g Mbit/s", mbps);
    return text;
}

std::string SecondsArg(double s) {
    char text[32];
    snprintf(text, sizeof(text), "%g", s);
    return text;
}

// The last value that a line of the client's output gave for 'format'; 0 when none did.
uint64_t LastValue(CChildProcess& client, const char* format) {
    std::string line;
    unsigned long long value = 0;
    while (client.ReadLine(line, Seconds(0))) {
        sscanf(line.c_str(), format, &value);
    }
    return value;
}

std::chrono::steady_clock::duration ClientTimeout(double streamSeconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
               std::chrono::duration<double>(streamSeconds)) +
           kClientExtra;
}
}  // namespace

CIngestRunner::CIngestRunner(BenchOptions options) : m_options(std::move(options)) {}

std::vector<IngestRow> CIngestRunner::Run() {
    std::vector<IngestRow> rows;
    if (m_options.tcpRows) {
        for (double mbps : m_options.rates) {
            RunTcpRows(mbps, rows);
        }
    }
    if (m_options.concurrentRow) {
        RunConcurrentRow(rows);
    }
    if (m_options.udpRows) {
        RunUdpRows(rows);
    }
    return rows;
}

void CIngestRunner::RunTcpRows(double mbps, std::vector<IngestRow>& rows) {
    const std::string stream = "tcp " + RateName(mbps);
    Server server;
    if (!StartServer(mbps, m_options.seconds, server)) {
        rows.push_back(NotRun(stream, "library", "the server did not start"));
        return;
    }
    IngestRow library = RunLibrary(server, stream, m_options.seconds, 1, false);
    if (m_options.ffmpeg) {
        IngestRow ffmpeg = RunFfmpeg(server, stream, m_options.seconds);
        CompareCpu(library, ffmpeg, "ffmpeg");
        rows.push_back(library);
        rows.push_back(ffmpeg);
    } else {
        rows.push_back(library);
    }
    StopServer(server);
}

void CIngestRunner::RunConcurrentRow(std::vector<IngestRow>& rows) {
    const int plays = m_options.concurrentPlays;
    const std::string stream =
        std::to_string(plays) + " plays " + RateName(m_options.concurrentRate);
    Server server;
    if (!StartServer(m_options.concurrentRate, m_options.seconds, server)) {
        rows.push_back(NotRun(stream, "library", "the server did not start"));
        return;
    }
    IngestRow row = RunLibrary(server, stream, m_options.seconds, plays, false);
    row.note = (row.note.empty() ? "" : row.note + "; ") + "one container";
    rows.push_back(row);
    StopServer(server);
}

void CIngestRunner::RunUdpRows(std::vector<IngestRow>& rows) {
    const double rate = m_options.concurrentRate;
    Server server;
    if (!StartServer(rate, m_options.udpSeconds, server)) {
        rows.push_back(NotRun("udp " + RateName(rate), "library udp", "the server did not start"));
        return;
    }
    IngestRow udp = RunLibrary(server, "udp " + RateName(rate), m_options.udpSeconds, 1, true);
    udp.client = "library udp";
    IngestRow tcp = RunLibrary(server, "tcp " + RateName(rate), m_options.udpSeconds, 1, false);
    tcp.client = "library tcp";
    CompareCpu(udp, tcp, "tcp");
    rows.push_back(udp);
    rows.push_back(tcp);
    StopServer(server);
}

bool CIngestRunner::StartServer(double mbps, double seconds, Server& server) {
    server.process = std::make_unique<CChildProcess>(std::vector<std::string>{
        m_options.serverPath, "--mbps", SecondsArg(mbps), "--seconds", SecondsArg(seconds)});
    std::string line;
    unsigned port = 0;
    if (!server.process->Start() || !server.process->ReadLine(line, kServerStart) ||
        sscanf(line.c_str(), "port %u mbps %lf", &port, &server.mbps) != 2) {
        fprintf(stderr, "bench_ingest: %s did not start\n", m_options.serverPath.c_str());
        server.process.reset();
        m_allRan = false;
        return false;
    }
    server.url = "rtsp://127.0.0.1:" + std::to_string(port) + "/ingest";
    return true;
}

void CIngestRunner::StopServer(Server& server) {
    if (server.process) {
        server.process->Stop(kServerStop);
    }
}

IngestRow CIngestRunner::NotRun(const std::string& stream, const std::string& client,
                                const std::string& why) {
    IngestRow row;
    row.stream = stream;
    row.client = client;
    row.note = why;
    return row;
}

IngestRow CIngestRunner::RunLibrary(Server& server, const std::string& stream, double seconds,
                                    int plays, bool udp) {
    IngestRow row;
    row.stream = stream;
    row.client = plays > 1 ? "library x" + std::to_string(plays) : "library";
    row.mbps = server.mbps * plays;
    row.seconds = seconds;
    row.plays = plays;
    std::vector<std::string> argv{m_options.clientPath,  server.url,         "--plays",
                                  std::to_string(plays), "--transport",      udp ? "udp" : "tcp",
                                  "--seconds",           SecondsArg(seconds)};
    if (!m_options.logPath.empty()) {
        argv.insert(argv.end(), {"--log", m_options.logPath});
    }
    CChildProcess client(argv);
    if (!client.Start()) {
        m_allRan = false;
        return NotRun(stream, row.client, "the client did not start");
    }
    client.Wait(ClientTimeout(seconds));
    row.received = LastValue(client, "frames %llu");
    Finish(client, row);
    TakeSessions(server, row, plays);
    return row;
}

IngestRow CIngestRunner::RunFfmpeg(Server& server, const std::string& stream, double seconds) {
    IngestRow row;
    row.stream = stream;
    row.client = "ffmpeg";
    row.mbps = server.mbps;
    row.seconds = seconds;
    CChildProcess client({m_options.ffmpegPath, "-nostdin", "-hide_banner", "-loglevel", "error",
                          "-rtsp_transport", "tcp", "-i", server.url, "-c", "copy", "-f", "null",
                          "-", "-progress", "pipe:1"});
    if (!client.Start()) {
        m_allRan = false;
        return NotRun(stream, "ffmpeg", "ffmpeg did not start");
    }
    client.Wait(ClientTimeout(seconds));
    // -progress prints "frame=<n>" twice a second and once at the end.
    row.received = LastValue(client, "frame=%llu");
    Finish(client, row);
    TakeSessions(server, row, 1);
    return row;
}

void CIngestRunner::Finish(CChildProcess& client, IngestRow& row) {
    row.usage = client.usage();
    row.ran = row.usage.exitCode != 127;
    if (row.usage.timedOut) {
        row.note = "killed after its time-out";
    } else if (row.usage.exitCode != 0) {
        row.note = "exit code " + std::to_string(row.usage.exitCode);
    }
    if (!row.ran) {
        m_allRan = false;
    }
}

void CIngestRunner::TakeSessions(Server& server, IngestRow& row, int expected) {
    std::string line;
    while (row.sessions < expected && server.process->ReadLine(line, kSessionReport)) {
        unsigned long long offered = 0, sent = 0;
        if (sscanf(line.c_str(), "session %*u offered %llu sent %llu", &offered, &sent) == 2) {
            row.offered += offered;
            row.sent += sent;
            ++row.sessions;
        }
    }
    if (row.sessions < expected) {
        row.note += (row.note.empty() ? "" : "; ") + std::to_string(row.sessions) + " of " +
                    std::to_string(expected) + " sessions streamed";
    }
}

}  // namespace ingest
