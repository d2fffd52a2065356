// What the demo player does once its command line is read: the live test pattern played,
// recorded, grabbed and played back from the file, or a given URL played; the live display
// while it plays, clear messages when something fails, and the summary at the end.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "DemoOptions.h"
#include "DemoPlayer.h"
#include "ProgressLine.h"

class CDemoRun {
public:
    CDemoRun(const DemoOptions& options, const std::atomic<bool>& interrupted);
    virtual ~CDemoRun() = default;

    // Returns a DemoExit code.
    int Run();

private:
    struct Output {
        std::string what;
        std::string path;
    };

    int RunLivePattern(long window);
    int RunUrl(long window);
    int StartPlay(CDemoPlayer& player, const std::string& url, long window);
    int ShowLive(CDemoPlayer& player, const std::string& label, int playSeconds);
    int PlayRecording(const std::string& path, long window);
    int Grab(CDemoPlayer& player, const std::string& path);
    bool PrepareOutDir();
    void Note(const std::string& what, const std::string& path);
    void PrintSummary();
    bool interrupted() const { return m_interrupted.load(); }

    const DemoOptions m_options;
    const std::atomic<bool>& m_interrupted;
    CProgressLine m_line;
    std::string m_outDir;
    std::vector<std::string> m_summary;
    std::vector<Output> m_written;
};
