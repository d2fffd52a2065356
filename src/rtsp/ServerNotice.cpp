#include "rtsp/ServerNotice.h"

#include <cctype>

bool CServerNotice::MatchWord(char c) {
    static constexpr char kWord[] = "ANNOUNCE";
    const int step = m_rtspheadstep;
    const int letter = step == kExpectA ? 0 : step - kSecondLetter + 1;
    if (toupper(static_cast<unsigned char>(c)) != kWord[letter]) {
        // Before the last letter the match starts again; at the last one it keeps waiting for
        // the "E", deliberately: "ANNOUNC" and anything up to the next "E" count as the word.
        if (step != kLastLetter) {
            m_rtspheadstep = kExpectA;
        }
        return false;
    }
    if (step != kLastLetter) {
        m_rtspheadstep = step == kExpectA ? kSecondLetter : step + 1;
        return false;
    }
    m_rtspheadstep = kExpectA;
    m_collecting = true;
    m_length = 0;
    return true;
}

bool CServerNotice::Collect(std::string_view& in) {
    static constexpr std::string_view kHeaderEnd = "\r\n\r\n";
    while (m_collecting && !in.empty()) {
        m_text[m_length++] = in.front();
        in.remove_prefix(1);
        const bool ended = text().size() >= kHeaderEnd.size() &&
                           text().substr(m_length - kHeaderEnd.size()) == kHeaderEnd;
        if (ended || m_length == m_text.size()) {
            m_collecting = false;
            return true;
        }
    }
    return false;
}

void CServerNotice::Reset() {
    m_rtspheadstep = kExpectA;
    m_collecting = false;
    m_length = 0;
}
