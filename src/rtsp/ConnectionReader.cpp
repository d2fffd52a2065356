#include "rtsp/ConnectionReader.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

CConnectionReader::CConnectionReader() : m_buf(kCapacity) {}

ssize_t CConnectionReader::ReadOnce(int fd) {
    if (m_ended || full()) {
        return m_ended ? m_endResult : 0;
    }
    if (m_begin == m_end) {
        m_begin = m_end = 0;
    } else if (m_end == kCapacity) {
        // A piece of a message lies at the end: move it to the front to make room behind it.
        memmove(m_buf.data(), m_buf.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    const ssize_t got = recv(fd, m_buf.data() + m_end, kCapacity - m_end, MSG_DONTWAIT);
    if (got > 0) {
        m_end += static_cast<size_t>(got);
    } else if (got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
        m_ended = true;
        m_endResult = got;
    }
    return got;
}

void CConnectionReader::ConsumeTo(std::string_view rest) {
    const std::string_view pending = Pending();
    if (rest.size() <= pending.size() &&
        rest.data() + rest.size() == pending.data() + pending.size()) {
        m_begin = m_end - rest.size();
    }
}

void CConnectionReader::Reset() {
    m_begin = m_end = 0;
    m_ended = false;
    m_endResult = 0;
}
