// Construction and the request side of CRTSPProtocol: every message the client sends.
#include "rtsp/RTSPProtocol.h"

#include <sys/socket.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "PlayerSDK.h"
#include "base/MutexGuard.h"

namespace {
constexpr int kDefaultRtspPort = 554;
constexpr int kVideoChannel = 0;
constexpr int kAudioChannel = 2;
// The OPTIONS reply goes out with this fixed length: its 24 bytes and then zero bytes.
constexpr size_t kOptionsReplyLength = 45;
// "501 " and the GBK words for "not implemented".
constexpr char kOptionsReply[] = "RTSP/1.0 501 \xCE\xB4\xCA\xB5\xCF\xD6\r\n\r\n";
constexpr char kUserAgent[] = "User-Agent: zuplayer\r\n\r\n";

// A fixed text field as written by the string functions: up to its first NUL, never past it.
template <size_t N>
std::string_view Field(const char (&field)[N]) {
    return std::string_view(field, strnlen(field, N));
}

// Composes a message into a buffer of fixed capacity. Writes are formatted in place (each one
// leaves its NUL behind, as the layout of PLAY relies on); a message that would not fit is
// refused as a whole.
class RequestText {
public:
    RequestText(char* buf, size_t cap) : m_buf(buf), m_cap(buf ? cap : 0) {}

    void Format(const char* format, ...) __attribute__((format(printf, 2, 3))) {
        if (!m_ok) {
            return;
        }
        va_list args;
        va_start(args, format);
        int n = vsnprintf(m_buf + m_pos, m_cap - m_pos, format, args);
        va_end(args);
        if (n < 0 || static_cast<size_t>(n) >= m_cap - m_pos) {
            m_ok = false;
            return;
        }
        m_pos += static_cast<size_t>(n);
        Reached(m_pos + 1);
    }
    void Text(std::string_view text) { Format("%.*s", static_cast<int>(text.size()), text.data()); }
    void Bytes(const void* data, size_t n) {
        if (!m_ok || m_cap - m_pos < n) {
            m_ok = false;
            return;
        }
        memcpy(m_buf + m_pos, data, n);
        m_pos += n;
        Reached(m_pos);
    }
    // Moves the write position; bytes skipped over that were never written become zero.
    void MoveTo(size_t pos) {
        if (!m_ok || pos > m_cap) {
            m_ok = false;
            return;
        }
        if (pos > m_written) {
            memset(m_buf + m_written, 0, pos - m_written);
            m_written = pos;
        }
        m_pos = pos;
    }
    size_t Position() const { return m_pos; }
    int Length() const { return m_ok ? static_cast<int>(m_pos) : 0; }

private:
    void Reached(size_t end) { m_written = end > m_written ? end : m_written; }

    char* m_buf;
    size_t m_cap;
    size_t m_pos = 0;
    size_t m_written = 0;
    bool m_ok = true;
};

// "METHOD rtsp://host[:port]/movie"; the port only when it is not the RTSP default.
void WriteRequestUrl(RequestText& out, const char* method, const CRTSPProtocol& rtsp) {
    out.Format("%s rtsp://", method);
    out.Text(Field(rtsp.m_rtsp_server_addr));
    if (rtsp.m_rtsp_server_port != kDefaultRtspPort) {
        out.Format(":%d", rtsp.m_rtsp_server_port);
    }
    out.Format("/");
    out.Text(Field(rtsp.m_movie_name));
}

void WriteSessionLine(RequestText& out, const CRTSPProtocol& rtsp) {
    out.Format("Session: ");
    out.Text(Field(rtsp.m_rtsp_session_id));
    out.Format("\r\n");
}

int Finish(const RequestText& out, int* len) {
    if (len != nullptr) {
        *len = out.Length();
    }
    return 0;
}

// PAUSE and TEARDOWN share one shape.
int GenSessionRequest(CRTSPProtocol& rtsp, const char* method, char* buf, int* len) {
    RequestText out(buf, playersdk::kRtspBufferSize);
    WriteRequestUrl(out, method, rtsp);
    out.Format(" RTSP/1.0\r\nCSeq: %u\r\n", ++rtsp.m_cseq);
    WriteSessionLine(out, rtsp);
    out.Format("%s", kUserAgent);
    return Finish(out, len);
}

void ClearSendBuffer(CRTSPProtocol& rtsp) {
    memset(rtsp.m_rtsp_buffer, 0, sizeof(rtsp.m_rtsp_buffer));
}

// One send call, no retry on a short write. failedLog (may be null) takes the socket number.
int SendComposed(CRTSPProtocol& rtsp, const char* failedLog) {
    ssize_t sent = -1;
    if (rtsp.m_rtsp_buffer_len > 0) {
        // MSG_NOSIGNAL: a peer that has gone away must not raise SIGPIPE in the application.
        sent = send(rtsp.m_rtsp_socket, rtsp.m_rtsp_buffer,
                    static_cast<size_t>(rtsp.m_rtsp_buffer_len), MSG_NOSIGNAL);
    }
    if (sent <= 0) {
        if (failedLog != nullptr) {
            PlayerSdkLog(failedLog, rtsp.m_rtsp_socket);
        }
        return -1;
    }
    return 0;
}
}  // namespace

CRTSPProtocol::CRTSPProtocol()
    : m_rtsp_netplayer_id(0),
      m_streaming_type(eISMA),
      m_rtsp_socket(-1),
      m_rtsp_state(0),
      m_sdp_info{},
      m_rtsp_server_addr{},
      m_rtsp_server_port(0),
      m_movie_name{},
      m_rtsp_session_id{},
      m_xprebuffer_time(0),
      m_start_time(0),
      m_end_time(0),
      m_cseq(0),
      m_rtsp_buffer{},
      m_rtsp_buffer_len(0),
      m_iLocalUdpPort(0),
      m_offset_live_time(0),
      m_base_rtp_time(0),
      m_base_sys_time(0),
      m_media_Format(eH264) {
    pthread_mutex_init(&m_mutexSend, nullptr);
}

// The socket is not closed here; the connection owner closes it.
CRTSPProtocol::~CRTSPProtocol() {
    m_rtsp_socket = -1;
    m_iLocalUdpPort = 0;
    free(m_sdp_info.u1audioConfig);
    m_sdp_info.u1audioConfig = nullptr;
    free(m_sdp_info.u1videoConfig);
    m_sdp_info.u1videoConfig = nullptr;
    pthread_mutex_destroy(&m_mutexSend);
}

int CRTSPProtocol::GenDescribe(char* buf, int* len) {
    RequestText out(buf, playersdk::kRtspBufferSize);
    WriteRequestUrl(out, "DESCRIBE", *this);
    out.Format(" RTSP/1.0\r\nCSeq: %u\r\n", ++m_cseq);
    out.Format("Accept: application/sdp\r\nAccept-Language: en-US\r\n%s", kUserAgent);
    return Finish(out, len);
}

// Sets up video while its track state is still -1, else audio.
int CRTSPProtocol::GenSetup(char* buf, int* len) {
    const bool video = m_sdp_info.s2videoTrackState == -1;
    CRTPSession& rtp = m_rtp_session[video ? 0 : 1];
    RequestText out(buf, playersdk::kRtspBufferSize);
    WriteRequestUrl(out, "SETUP", *this);
    out.Format("/");
    out.Text(video ? Field(m_sdp_info.videoTrack) : Field(m_sdp_info.audioTrack));
    out.Format(" RTSP/1.0\r\nCSeq: %u\r\n", ++m_cseq);
    if (rtp.m_transport_protocal == TT_TCP) {
        rtp.m_tcp_channel = video ? kVideoChannel : kAudioChannel;
        out.Format("Transport: RTP/AVP/TCP;unicast;interleaved=%d-%d\r\n", rtp.m_tcp_channel,
                   rtp.m_tcp_channel + 1);
    } else if (rtp.m_transport_protocal == TT_UDP) {
        const int port = m_iLocalUdpPort;
        (video ? m_sdp_info.u2videoClientUdpPort : m_sdp_info.u2audioClientUdpPort) =
            static_cast<uint16_t>(port);
        m_iLocalUdpPort = static_cast<int>(static_cast<unsigned>(port) + 2u);
        out.Format("Transport: RTP/AVP;unicast;client_port=%d-%d\r\n", port,
                   static_cast<int>(static_cast<unsigned>(port) + 1u));
    }
    if (m_rtsp_session_id[0] != '\0') {
        WriteSessionLine(out, *this);
    }
    out.Format("%s", kUserAgent);
    return Finish(out, len);
}

int CRTSPProtocol::GenDoPlay(char* buf, int* len, float scale, float speed, bool range, float start,
                             int curFrame) {
    RequestText out(buf, playersdk::kRtspBufferSize);
    WriteRequestUrl(out, "PLAY", *this);
    // The string length of the whole buffer stops at this NUL, which servers in the field
    // receive and accept after the movie name; it is sent deliberately.
    const size_t textBeforeNul = out.Position();
    const char nul = '\0';
    out.Bytes(&nul, 1);
    out.Format(" RTSP/1.0\r\nCSeq: %u\r\n", ++m_cseq);
    // After Scale and Speed the position moves on by the string length of the whole buffer,
    // not by the line's length; the gap (or overlap) this leaves is part of the wire format.
    if (scale != 0) {
        const size_t lineStart = out.Position();
        out.Format("Scale: %f\r\n", static_cast<double>(scale));
        out.MoveTo(lineStart + textBeforeNul);
    }
    if (speed != 0) {
        const size_t lineStart = out.Position();
        out.Format("Speed: %f\r\n", static_cast<double>(speed));
        out.MoveTo(lineStart + textBeforeNul);
    }
    if (curFrame != 0) {
        out.Format("CurFrame: %d\r\n", curFrame);
    }
    if (range) {
        if (start == -1.0f) {
            out.Format("Range: npt=now-");  // no line end: the next header continues the line
        } else {
            out.Format("Range: npt=%f-%f\r\n", static_cast<double>(start),
                       static_cast<double>(m_end_time));
        }
    }
    out.Format("x-prebuffer: maxtime=%f\r\n", static_cast<double>(m_xprebuffer_time));
    WriteSessionLine(out, *this);
    out.Format("%s", kUserAgent);
    return Finish(out, len);
}

int CRTSPProtocol::GenPause(char* buf, int* len) {
    return GenSessionRequest(*this, "PAUSE", buf, len);
}

int CRTSPProtocol::GenTeardown(char* buf, int* len) {
    return GenSessionRequest(*this, "TEARDOWN", buf, len);
}

// No CSeq and a fixed length, as the servers in the field expect it.
int CRTSPProtocol::GenOptionsReply(char* buf, int* len) {
    RequestText out(buf, playersdk::kRtspBufferSize);
    out.Bytes(kOptionsReply, sizeof(kOptionsReply));
    out.MoveTo(kOptionsReplyLength);
    return Finish(out, len);
}

// Answers a server request with our own next CSeq, not the server's.
int CRTSPProtocol::GenOk(char* buf, int* len) {
    RequestText out(buf, playersdk::kRtspBufferSize);
    out.Format("RTSP/1.0 200 ok\r\nCSeq: %u\r\n", ++m_cseq);
    WriteSessionLine(out, *this);
    out.Format("\r\n");
    return Finish(out, len);
}

// DESCRIBE writes over what the buffer holds; the other senders clear it first.
int CRTSPProtocol::SendDescribe() {
    playersdk::MutexGuard lock(m_mutexSend);
    GenDescribe(m_rtsp_buffer, &m_rtsp_buffer_len);
    return SendComposed(*this, "[SendDescribe] SendDescribe failed:socket=%d \r\n");
}

int CRTSPProtocol::SendSetup() {
    playersdk::MutexGuard lock(m_mutexSend);
    ClearSendBuffer(*this);
    GenSetup(m_rtsp_buffer, &m_rtsp_buffer_len);
    return SendComposed(*this, "[SendSetup] SendSetup failed:socket=%d \r\n");
}

int CRTSPProtocol::SendDoPlay(float scale, float speed, bool range, float start, int curFrame) {
    playersdk::MutexGuard lock(m_mutexSend);
    ClearSendBuffer(*this);
    GenDoPlay(m_rtsp_buffer, &m_rtsp_buffer_len, scale, speed, range, start, curFrame);
    return SendComposed(*this, "[SendDoPlay] SendDoPlay failed:socket=%d \r\n");
}

int CRTSPProtocol::SendPause() {
    playersdk::MutexGuard lock(m_mutexSend);
    ClearSendBuffer(*this);
    GenPause(m_rtsp_buffer, &m_rtsp_buffer_len);
    return SendComposed(*this, "[SendPause] SendPause failed:socket=%d \r\n");
}

// Without a connection nothing is composed or sent.
int CRTSPProtocol::SendTeardown() {
    playersdk::MutexGuard lock(m_mutexSend);
    ClearSendBuffer(*this);
    if (m_rtsp_socket < 1) {
        return -1;
    }
    GenTeardown(m_rtsp_buffer, &m_rtsp_buffer_len);
    return SendComposed(*this, nullptr);
}

int CRTSPProtocol::SendOptionsReply() {
    playersdk::MutexGuard lock(m_mutexSend);
    ClearSendBuffer(*this);
    GenOptionsReply(m_rtsp_buffer, &m_rtsp_buffer_len);
    return SendComposed(*this, "[SendOptionsReply] SendOptionsReply failed:socket=%d \r\n");
}

int CRTSPProtocol::SendOk() {
    playersdk::MutexGuard lock(m_mutexSend);
    ClearSendBuffer(*this);
    GenOk(m_rtsp_buffer, &m_rtsp_buffer_len);
    return SendComposed(*this, nullptr);
}
