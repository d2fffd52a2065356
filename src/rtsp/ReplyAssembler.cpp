#include "rtsp/ReplyAssembler.h"

#include <algorithm>
#include <cstring>

#include "rtsp/HeaderScan.h"

bool CReplyAssembler::Feed(std::string_view& in) {
    while (m_received != m_total) {
        if (m_total == kUnknown) {
            if (!TakeHeader(in)) {
                return false;
            }
        } else if (in.empty()) {
            return false;
        } else {
            TakeBody(in);
        }
    }
    return true;
}

bool CReplyAssembler::TakeHeader(std::string_view& in) {
    static constexpr std::string_view kHeaderEnd = "\r\n\r\n";
    if (m_kept == kCapacity) {
        m_total = m_received;  // a header this long is cut here
        return true;
    }
    if (in.empty()) {
        return false;
    }
    const size_t before = m_kept;
    const size_t take = std::min(in.size(), kCapacity - m_kept);
    memcpy(m_text + m_kept, in.data(), take);
    m_kept += take;
    // The blank line may straddle the previous read.
    const std::string_view kept(m_text, m_kept);
    const size_t end = kept.find(kHeaderEnd, before >= 3 ? before - 3 : 0);
    if (end == std::string_view::npos) {
        m_received = m_kept;
        in.remove_prefix(take);
        m_text[m_kept] = '\0';
        return true;
    }
    const size_t header = end + kHeaderEnd.size();
    in.remove_prefix(header - before);
    m_kept = m_received = header;
    m_text[m_kept] = '\0';
    const int contentLength = playersdk::ContentLengthOf(std::string_view(m_text, header));
    m_total = header + static_cast<size_t>(std::max(contentLength, 0));
    return true;
}

void CReplyAssembler::TakeBody(std::string_view& in) {
    const size_t take = std::min(in.size(), m_total - m_received);
    const size_t keep = std::min(take, kCapacity - m_kept);
    memcpy(m_text + m_kept, in.data(), keep);
    m_kept += keep;
    m_text[m_kept] = '\0';
    m_received += take;
    in.remove_prefix(take);
}

void CReplyAssembler::Reset() {
    m_kept = 0;
    m_received = 0;
    m_total = kUnknown;
    m_text[0] = '\0';
}
