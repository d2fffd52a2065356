#include "IngestReport.h"

namespace ingest {
namespace {
constexpr double kKbPerMb = 1024;

std::string Text(const char* format, double value) {
    char text[32];
    snprintf(text, sizeof(text), format, value);
    return text;
}

// A figure, or "-" when it is unknown.
std::string Figure(const char* format, double value, bool known) {
    return known ? Text(format, value) : "-";
}

std::string JsonString(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + "\"";
}
}  // namespace

double IngestRow::CpuPerMinute() const {
    return seconds > 0 ? usage.cpuSeconds * 60 / seconds : 0;
}

double IngestRow::LostPercent() const {
    return sent > 0 ? 100.0 * (static_cast<double>(sent) - static_cast<double>(received)) /
                          static_cast<double>(sent)
                    : 0;
}

void CompareCpu(IngestRow& row, const IngestRow& base, const std::string& baseName) {
    if (row.ran && base.ran && base.usage.cpuSeconds > 0) {
        row.ratio = row.CpuPerMinute() / base.CpuPerMinute();
        row.ratioTo = baseName;
    }
}

void PrintTable(FILE* out, const std::string& title, const std::vector<IngestRow>& rows) {
    fprintf(out, "%s\n", title.c_str());
    fprintf(out, "%-20s %-12s %7s %9s %-13s %8s %8s %8s %7s %7s %8s %8s  %s\n", "stream", "client",
            "Mbit/s", "CPU s/min", "CPU ratio", "offered", "sent", "received", "lost", "threads",
            "VmHWM MB", "VmRSS MB", "note");
    for (const IngestRow& r : rows) {
        const bool ran = r.ran;
        const std::string ratio =
            r.ratio >= 0 ? Text("%.2f", r.ratio) + " to " + r.ratioTo : std::string("-");
        fprintf(out, "%-20s %-12s %7.1f %9s %-13s %8s %8s %8s %7s %7s %8s %8s  %s\n",
                r.stream.c_str(), r.client.c_str(), r.mbps,
                Figure("%.3f", r.CpuPerMinute(), ran).c_str(), ratio.c_str(),
                Figure("%.0f", static_cast<double>(r.offered), ran).c_str(),
                Figure("%.0f", static_cast<double>(r.sent), ran).c_str(),
                Figure("%.0f", static_cast<double>(r.received), ran).c_str(),
                Figure("%.1f%%", r.LostPercent(), ran && r.sent > 0).c_str(),
                Figure("%.0f", static_cast<double>(r.usage.peakThreads), ran).c_str(),
                Figure("%.1f", r.usage.maxRssKb / kKbPerMb, ran).c_str(),
                Figure("%.1f", r.usage.peakVmRssKb / kKbPerMb, ran).c_str(), r.note.c_str());
    }
    fprintf(out,
            "CPU s/min: user + system seconds of the client process per minute of stream. "
            "offered/sent: access units due/written whole by the server; received: frames the "
            "client counted. threads, VmRSS: peaks of its /proc status sampled every 200 ms; "
            "VmHWM: its peak resident set at exit.\n");
}

void PrintJson(FILE* out, const std::vector<IngestRow>& rows) {
    fprintf(out, "[\n");
    for (size_t i = 0; i < rows.size(); ++i) {
        const IngestRow& r = rows[i];
        fprintf(out,
                "  {\"stream\": %s, \"client\": %s, \"ran\": %s, \"mbps\": %.3f, \"seconds\": "
                "%.1f, \"plays\": %d, \"cpu_seconds\": %.3f, \"cpu_seconds_per_minute\": %.3f, "
                "\"cpu_ratio\": %s, \"cpu_ratio_to\": %s, \"frames_offered\": %llu, "
                "\"frames_sent\": %llu, \"frames_received\": %llu, \"sessions\": %d, "
                "\"threads\": %ld, \"vmhwm_kb\": %ld, \"vmrss_kb\": %ld, \"exit_code\": %d, "
                "\"note\": %s}%s\n",
                JsonString(r.stream).c_str(), JsonString(r.client).c_str(),
                r.ran ? "true" : "false", r.mbps, r.seconds, r.plays, r.usage.cpuSeconds,
                r.CpuPerMinute(), r.ratio >= 0 ? Text("%.3f", r.ratio).c_str() : "null",
                r.ratio >= 0 ? JsonString(r.ratioTo).c_str() : "null",
                static_cast<unsigned long long>(r.offered), static_cast<unsigned long long>(r.sent),
                static_cast<unsigned long long>(r.received), r.sessions, r.usage.peakThreads,
                r.usage.maxRssKb, r.usage.peakVmRssKb, r.usage.exitCode, JsonString(r.note).c_str(),
                i + 1 < rows.size() ? "," : "");
    }
    fprintf(out, "]\n");
}

}  // namespace ingest
