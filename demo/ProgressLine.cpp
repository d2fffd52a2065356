#include "ProgressLine.h"

#include <unistd.h>

namespace {
constexpr auto kTerminalPeriod = std::chrono::milliseconds(250);
constexpr auto kPlainPeriod = std::chrono::seconds(1);
}  // namespace

CProgressLine::CProgressLine(FILE* out) : m_out(out), m_tty(isatty(fileno(out)) == 1) {}

CProgressLine::~CProgressLine() {
    End();
}

void CProgressLine::Update(const std::string& text, bool now) {
    const auto time = std::chrono::steady_clock::now();
    const auto period = m_tty ? std::chrono::steady_clock::duration(kTerminalPeriod)
                              : std::chrono::steady_clock::duration(kPlainPeriod);
    if (!now && m_last.time_since_epoch().count() != 0 && time - m_last < period) {
        return;
    }
    m_last = time;
    if (m_tty) {
        // Back to the start of the line, the text, then clear what an older, longer text left.
        fprintf(m_out, "\r%s\x1b[K", text.c_str());
        m_shown = true;
    } else {
        fprintf(m_out, "%s\n", text.c_str());
    }
    fflush(m_out);
}

void CProgressLine::Clear() {
    if (m_shown) {
        fputs("\r\x1b[K", m_out);
        m_shown = false;
    }
}

void CProgressLine::Print(const std::string& line) {
    Clear();
    fprintf(m_out, "%s\n", line.c_str());
    fflush(m_out);
    m_last = {};
}

void CProgressLine::End() {
    if (m_shown) {
        fputc('\n', m_out);
        m_shown = false;
    }
    m_last = {};
    fflush(m_out);
}
