// Runs the ingest benchmark's rows one after the other. Each group of rows gets its own
// server process (bench_ingest_server) on 127.0.0.1; each client runs in its own process,
// so that its CPU time is its own:
//   tcp <rate>: the library (one TCP play) and then ffmpeg, for every rate asked for;
//   <n> plays: n TCP plays of one container in one process, each at 4 Mbit/s;
//   udp: one UDP play and then one TCP play at 4 Mbit/s, for the UDP duration.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "IngestReport.h"

namespace ingest {

struct BenchOptions {
    double seconds = 20;
    double udpSeconds = 10;
    std::vector<double> rates{4, 16, 64};  // Mbit/s of the single-play rows
    double concurrentRate = 4;
    int concurrentPlays = 64;
    bool tcpRows = true;
    bool concurrentRow = true;
    bool udpRows = true;
    bool ffmpeg = true;
    std::string ffmpegPath = "ffmpeg";
    std::string serverPath;
    std::string clientPath;
    std::string logPath;  // the library's log file
};

class CIngestRunner {
public:
    explicit CIngestRunner(BenchOptions options);

    std::vector<IngestRow> Run();
    // False when a server or a client could not be run at all.
    bool allRan() const { return m_allRan; }

private:
    struct Server {
        std::unique_ptr<CChildProcess> process;
        std::string url;
        double mbps = 0;
    };

    void RunTcpRows(double mbps, std::vector<IngestRow>& rows);
    void RunConcurrentRow(std::vector<IngestRow>& rows);
    void RunUdpRows(std::vector<IngestRow>& rows);

    bool StartServer(double mbps, double seconds, Server& server);
    void StopServer(Server& server);
    IngestRow NotRun(const std::string& stream, const std::string& client, const std::string& why);
    IngestRow RunLibrary(Server& server, const std::string& stream, double seconds, int plays,
                         bool udp);
    IngestRow RunFfmpeg(Server& server, const std::string& stream, double seconds);
    // Counts of the sessions the server reports for 'row'.
    void TakeSessions(Server& server, IngestRow& row, int expected);
    void Finish(CChildProcess& client, IngestRow& row);

    const BenchOptions m_options;
    bool m_allRan = true;
};

}  // namespace ingest
