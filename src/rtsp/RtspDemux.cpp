// The streaming half of CRtsp: "$"-framed RTP/RTCP packets cut out of the RTSP connection,
// the server's end-of-stream notice, status lines, traffic and the receiver report sent back.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "base/ByteCursor.h"
#include "base/Log.h"
#include "media/RtpConstants.h"
#include "rtsp/HeaderScan.h"
#include "rtsp/Rtsp.h"

namespace {
// Traffic is counted in 128-byte units.
constexpr int kFluxUnit = 128;
// A receiver report frame: "$", channel, length and the report, in a 512-byte buffer.
constexpr int kFrameHeader = 4;
constexpr int kSendFrameSize = 512;

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    return playersdk::KeyAtIgnoreCase(text.data(), text.data() + text.size(), prefix);
}

bool IsRtcpBye(const char* packet, int len) {
    playersdk::ByteReader reader(packet, len);
    uint8_t first = 0;
    uint8_t type = 0;
    return reader.u8(first) && reader.u8(type) && type == playersdk::kRtcpBye;
}
}  // namespace

int RtspStatusCode(std::string_view line) {
    struct Known {
        std::string_view prefix;
        int code;
    };
    static constexpr Known kKnown[] = {
        {"RTSP/1.0 200 OK", RTSP_200},
        {"RTSP/1.0 404", RTSP_404},
        {"RTSP/1.0 400 Bad Request", RTSP_400},
        {"RTSP/1.0 500 Internal Server Error", RTSP_500},
        {"RTSP/1.0 461 Unsupported transport", RTSP_461},
    };
    for (const Known& known : kKnown) {
        if (StartsWithNoCase(line, known.prefix)) {
            return known.code;
        }
    }
    if (!StartsWithNoCase(line, "RTSP/1.0")) {
        return -1;
    }
    // The code starts at the tenth character; a character whose ninth predecessor is a blank
    // is not taken, which keeps a second number on the line out of the code.
    char kept[10] = {};  // nine digits always fit an int
    size_t count = 0;
    for (size_t i = 9; i < line.size(); ++i) {
        char c = line[i];
        if (!isdigit(static_cast<unsigned char>(c)) && c != ' ') {
            break;
        }
        if (line[i - 9] != ' ' && count < sizeof(kept) - 1) {
            kept[count++] = c;
        }
    }
    return atoi(kept);
}

int CRtsp::RTSPAckCode(char* text) {
    return RtspStatusCode(text ? text : "");
}

void CRtsp::NotifyToUp(eRtspReplyType type, int code) {
    m_sdpinfo.r_type = type;
    m_sdpinfo.Error_Code = code;
    RNotifyHandle handle = m_RTSPNotifyHandle.load();
    if (handle != nullptr) {
        handle(&m_sdpinfo);
    }
}

void CRtsp::CalcFlux() {
    m_flux = m_TotalFlux.load();
    m_TotalFlux = 0;
    NotifyToUp(RTSP_CALC_FRAMERATE, RTSP_DETAIL_NONE);
}

float CRtsp::GetTcpFlux() {
    return m_flux;
}

void CRtsp::OnStreaming(DWORD now) {
    // The figure of a period that has passed goes up before the packets that came after it,
    // which the play's frame-rate watch relies on: a play that gets packets after a period
    // without frames reports playing again after its error, not before it.
    if (now - fluxtimer > 1000) {
        CalcFlux();
        fluxtimer = now;
    }
    dealRtpAndRtcpPack();
}

int CRtsp::dealRtpAndRtcpPack() {
    std::string_view in = m_reader.Pending();
    // Every frame of the read is delivered in this one pass, unless the stream ends or a
    // request moves the session on: the bytes behind then belong to the next state.
    while (!m_closeThread && m_rtsp_state == eWaitRTPPkt) {
        const DemuxEvent event = m_demux.Next(in, m_setupType);
        if (event.kind == DemuxEvent::Kind::kFrame) {
            OnFrameComplete(event);
        } else if (event.kind == DemuxEvent::Kind::kNotice) {
            dealRtspPack(event.bytes);
        } else if (event.kind == DemuxEvent::Kind::kNone) {
            break;
        }
    }
    m_reader.ConsumeTo(in);
    if (in.empty() && m_reader.ended() && !m_closeThread && m_rtsp_state == eWaitRTPPkt) {
        FrameReadFailed();
    }
    return 0;
}

void CRtsp::FrameReadFailed() {
    // By the step the frame parser had reached when the connection ended.
    static constexpr const char* kClosed[] = {
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_NOTHING1\r\n",
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_DOLLOR1\r\n",
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_CHANNEL1\r\n",
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_LENGTH1\r\n",
    };
    static constexpr const char* kFailed[] = {
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_NOTHING2 \r\n",
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_DOLLOR2\r\n",
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_CHANNEL2\r\n",
        "[dealRtpAndRtcpPack] RTP_STEP_GOT_LENGTH2\r\n",
    };
    const bool closed = m_reader.endResult() == 0;
    const int step = std::clamp(m_demux.step(), static_cast<int>(RTP_STEP_GOT_NOTHING),
                                static_cast<int>(RTP_STEP_GOT_LENGTH));
    EndSession(closed ? RTSP_SERVER_SHUTUP : RTSP_STREAM_RECV_ERROR, RTSP_DETAIL_NONE,
               closed ? kClosed[step] : kFailed[step]);
}

void CRtsp::OnFrameComplete(const DemuxEvent& frame) {
    const int length = static_cast<int>(frame.bytes.size());
    if (!frame.rtcp) {
        m_TotalFlux = m_TotalFlux.load() + length / kFluxUnit;
        m_sdpinfo.r_type = RTSP_RTP_DATA;
    } else {
        m_sdpinfo.r_type = RTSP_RTCP_DATA;
        if (IsRtcpBye(frame.bytes.data(), length)) {
            m_demux.Reset();
            EndSession(RTSP_RTCP_DATA, RTSP_DETAIL_FINISHED,
                       " [dealRtpAndRtcpPack] rtcp say bye\r\n");
            return;
        }
    }
    // The packet lies in the receive buffer or in m_rtp_buf; the receiver copies it, as
    // both take the next bytes after this report.
    m_sdpinfo.Error_Code = RTSP_DETAIL_NONE;
    m_sdpinfo.media_data.MediaType = 1;
    m_sdpinfo.media_data.MediaBuf =
        reinterpret_cast<unsigned char*>(const_cast<char*>(frame.bytes.data()));
    m_sdpinfo.media_data.MediaLen = length;
    NotifyToUp(m_sdpinfo.r_type, RTSP_DETAIL_NONE);
}

int CRtsp::dealRtspPack(std::string_view notice) {
    const int code = paraAnnounce(notice);
    if (code != RTSP_ANNOUNCE_2101 && code != RTSP_ANNOUNCE_2102) {
        return 1;
    }
    // Both notices say the server has ended the stream (end of a recorded item).
    SendOk();
    EndSession(RTSP_RTCP_DATA, RTSP_DETAIL_FINISHED,
               "[dealRtspPack]  RTSP_RESP_FINISH ,Exit Thread\n");
    return 0;
}

int CRtsp::paraAnnounce(std::string_view notice) {
    return NoticeCode(notice);
}

int NoticeCode(std::string_view notice) {
    for (size_t i = 0; i < notice.size(); ++i) {
        if (StartsWithNoCase(notice.substr(i), "x-Notice: 2101")) {
            return RTSP_ANNOUNCE_2101;
        }
        if (StartsWithNoCase(notice.substr(i), "x-Notice: 2102")) {
            return RTSP_ANNOUNCE_2102;
        }
    }
    return -1;
}

int CRtsp::SendData(char* data, int len, eRtspSendDataType type) {
    unsigned char frame[kSendFrameSize] = {};
    playersdk::ByteWriter writer(frame, sizeof(frame));
    if (type == RTSP_RTCP_RR) {
        if (len < 0 || len > kSendFrameSize - kFrameHeader || (data == nullptr && len > 0)) {
            return -1;
        }
        // Channel 1 for every medium, deliberately: the server gets every receiver report on
        // the video RTCP channel, and would see audio reports move if this followed the medium.
        writer.u8('$').u8(1).be16(static_cast<uint16_t>(len));
        if (len > 0) {
            writer.bytes(data, len);
        }
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(sPort));
    to.sin_addr.s_addr = inet_addr(server_addr);
    return static_cast<int>(sendto(m_rtsp_socket, frame, writer.size(), MSG_NOSIGNAL,
                                   reinterpret_cast<sockaddr*>(&to), sizeof(to)));
}
