// The one-line live display. On a terminal the line is rewritten in place a few times a
// second; when the output goes to a file or a pipe it becomes one plain line a second.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

class CProgressLine {
public:
    explicit CProgressLine(FILE* out = stdout);
    virtual ~CProgressLine();

    // Shows the text if the last one was shown long enough ago (or 'now' is set).
    void Update(const std::string& text, bool now = false);
    // A message on its own line; the live line comes back with the next update.
    void Print(const std::string& line);
    // Leaves the last live text standing and moves to a fresh line.
    void End();

private:
    void Clear();

    FILE* m_out;
    bool m_tty;
    bool m_shown = false;  // a live line is on the screen (terminal only)
    std::chrono::steady_clock::time_point m_last;
};
