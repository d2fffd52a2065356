// The one reader of an RTSP connection: each readable event becomes one recv of whatever fits
// a 64 KiB buffer, and the step machines take their bytes from the front of that buffer. The
// end of the connection (the peer closed, or an error) is kept, so that the state that reads
// next sees it, whichever state that is.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>
#include <vector>

class CConnectionReader {
public:
    static constexpr size_t kCapacity = 64 * 1024;

    CConnectionReader();
    virtual ~CConnectionReader() = default;

    // One recv without waiting, appended behind the bytes still pending. Returns what recv
    // returned; 0 (closed) and errors other than "try again" end the connection for good.
    ssize_t ReadOnce(int fd);
    // The bytes received and not yet taken.
    std::string_view Pending() const {
        return std::string_view(m_buf.data() + m_begin, m_end - m_begin);
    }
    // Takes every pending byte before 'rest', a tail of Pending().
    void ConsumeTo(std::string_view rest);
    bool full() const { return m_end - m_begin == kCapacity; }
    bool ended() const { return m_ended; }
    // What recv returned when the connection ended: 0 closed, -1 failed.
    ssize_t endResult() const { return m_endResult; }
    void Reset();

private:
    std::vector<char> m_buf;
    size_t m_begin = 0;
    size_t m_end = 0;
    bool m_ended = false;
    ssize_t m_endResult = 0;
};
