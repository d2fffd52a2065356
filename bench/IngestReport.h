// The rows of the ingest benchmark and how they are printed: a table for people, or JSON.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace ingest {

struct IngestRow {
    std::string stream;  // what was served: "tcp 4 Mbit/s", "64 plays 4 Mbit/s", ...
    std::string client;  // "library", "ffmpeg", "library udp", ...
    double mbps = 0;     // the stream's rate, all plays together
    double seconds = 0;  // of stream
    int plays = 1;
    bool ran = false;  // false: the note says why not
    ChildUsage usage;
    uint64_t offered = 0;   // access units due in the server's sessions
    uint64_t sent = 0;      // access units the server wrote whole
    uint64_t received = 0;  // frames the client counted
    int sessions = 0;       // sessions the server reported
    double ratio = -1;      // CPU against 'ratioTo'; -1: none
    std::string ratioTo;
    std::string note;

    double CpuPerMinute() const;
    // Frames sent and not received, in percent of those sent (negative: more came than went).
    double LostPercent() const;
};

// CPU of 'row' against 'base' (both per minute of stream), stored in row.
void CompareCpu(IngestRow& row, const IngestRow& base, const std::string& baseName);

void PrintTable(FILE* out, const std::string& title, const std::vector<IngestRow>& rows);
void PrintJson(FILE* out, const std::vector<IngestRow>& rows);

}  // namespace ingest
