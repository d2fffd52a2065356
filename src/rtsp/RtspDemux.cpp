// The streaming half of CRtsp: "$"-framed RTP/RTCP packets cut out of the RTSP connection,
// the server's end-of-stream notice, status lines, traffic and the receiver report sent back.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "base/ByteCursor.h"
#include "base/Log.h"
#include "rtsp/HeaderScan.h"
#include "rtsp/Rtsp.h"

namespace {
// Longer frames are taken for a framing error.
constexpr int kMaxFrameLength = 1500;
constexpr uint8_t kRtcpBye = 203;
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
    return reader.u8(first) && reader.u8(type) && type == kRtcpBye;
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
    NotifyToUp(RTSP_CALC_FRAMERATE, 0);
}

float CRtsp::GetTcpFlux() {
    return m_flux;
}

bool CRtsp::ChannelAccepted(int channel) {
    const bool rtcp = channel == 1 || channel == 3;
    switch (m_setupType) {
        case ONLYVIDEO:
            return channel == 0 || rtcp;
        case ONLYAUDIO:
            return channel == 2 || rtcp;
        case BOTHVA:
            return channel == 0 || channel == 2 || rtcp;
    }
    return false;
}

int CRtsp::FrameReadFailed(ssize_t got, const char* closedLog, const char* errorLog) {
    sem_post(&m_semSendReq);
    Stop();
    PlayerSdkLog("%s", got == 0 ? closedLog : errorLog);
    NotifyToUp(got == 0 ? RTSP_SERVER_SHUTUP : RTSP_STREAM_RECV_ERROR, 0);
    return 0;
}

int CRtsp::dealRtpAndRtcpPack() {
    switch (m_rtpheadstep) {
        case RTP_STEP_GOT_NOTHING: {
            char c = 0;
            ssize_t got = recv(m_rtsp_socket, &c, 1, 0);
            if (got < 1) {
                return FrameReadFailed(got, "[dealRtpAndRtcpPack] RTP_STEP_GOT_NOTHING1\r\n",
                                       "[dealRtpAndRtcpPack] RTP_STEP_GOT_NOTHING2 \r\n");
            }
            if (c == '$') {
                m_rtpheadstep = RTP_STEP_GOT_DOLLOR;
                m_rtspheadstep = 0;
            } else {
                dealRtspPack(c);
            }
            return 0;
        }
        case RTP_STEP_GOT_DOLLOR: {
            unsigned char channel = 0;
            ssize_t got = recv(m_rtsp_socket, &channel, 1, 0);
            if (got < 1) {
                return FrameReadFailed(got, "[dealRtpAndRtcpPack] RTP_STEP_GOT_DOLLOR1\r\n",
                                       "[dealRtpAndRtcpPack] RTP_STEP_GOT_DOLLOR2\r\n");
            }
            if (m_setupType != BOTHVA && m_setupType != ONLYVIDEO && m_setupType != ONLYAUDIO) {
                return 0;
            }
            if (ChannelAccepted(channel)) {
                m_ReceiveDataFlag = channel == 0 || channel == 2 ? 1 : 2;
                m_rtpheadstep = RTP_STEP_GOT_CHANNEL;
            } else {
                // The rest of the frame is scanned as loose bytes.
                m_rtpheadstep = RTP_STEP_GOT_NOTHING;
            }
            return 0;
        }
        case RTP_STEP_GOT_CHANNEL: {
            ssize_t got = recv(m_rtsp_socket, m_rtp_buf, 2, 0);
            if (got < 1) {
                return FrameReadFailed(got, "[dealRtpAndRtcpPack] RTP_STEP_GOT_CHANNEL1\r\n",
                                       "[dealRtpAndRtcpPack] RTP_STEP_GOT_CHANNEL2\r\n");
            }
            uint16_t length = 0;
            if (got == 1 || !playersdk::ByteReader(m_rtp_buf, 2).be16(length)) {
                m_rtpheadstep = RTP_STEP_GOT_NOTHING;  // the one byte is lost
                return 0;
            }
            m_WantDataLength = length;
            if (m_WantDataLength < kMaxFrameLength) {
                m_rtpheadstep = RTP_STEP_GOT_LENGTH;
                m_RtpReceivedLength = 0;
            } else {
                // Framing error: resynchronise on the next "$".
                m_rtpheadstep = RTP_STEP_GOT_NOTHING;
                m_rtspheadstep = 0;
            }
            return 0;
        }
        case RTP_STEP_GOT_LENGTH: {
            // A packet may come in any number of pieces, one piece per readable pass.
            ssize_t got = recv(m_rtsp_socket, m_rtp_buf + m_RtpReceivedLength,
                               m_WantDataLength - m_RtpReceivedLength, 0);
            if (got < 1) {
                return FrameReadFailed(got, "[dealRtpAndRtcpPack] RTP_STEP_GOT_LENGTH1\r\n",
                                       "[dealRtpAndRtcpPack] RTP_STEP_GOT_LENGTH2\r\n");
            }
            m_RtpReceivedLength += static_cast<int>(got);
            if (m_RtpReceivedLength < m_WantDataLength) {
                return 0;
            }
            return OnFrameComplete();
        }
        default:
            m_rtpheadstep = RTP_STEP_GOT_NOTHING;
            m_rtspheadstep = 0;
            return 0;
    }
}

int CRtsp::OnFrameComplete() {
    if (m_ReceiveDataFlag == 1) {
        if (m_WantDataLength < 2) {
            m_WantDataLength = 0;
            m_RtpReceivedLength = 0;
            return 0;
        }
        m_TotalFlux = m_TotalFlux.load() + m_RtpReceivedLength / kFluxUnit;
        m_sdpinfo.r_type = RTSP_RTP_DATA;
    } else {
        m_sdpinfo.r_type = RTSP_RTCP_DATA;
        if (IsRtcpBye(m_rtp_buf, m_RtpReceivedLength)) {
            m_rtpheadstep = RTP_STEP_GOT_NOTHING;
            m_rtspheadstep = 0;
            m_sdpinfo.Error_Code = 6;
            sem_post(&m_semSendReq);
            PlayerSdkLog(" [dealRtpAndRtcpPack] rtcp say bye\r\n");
            Stop();
            NotifyToUp(RTSP_RTCP_DATA, 6);
            return 0;
        }
    }
    // The receiver copies the packet: the buffer takes the next frame.
    m_sdpinfo.Error_Code = 0;
    m_sdpinfo.media_data.MediaType = 1;
    m_sdpinfo.media_data.MediaBuf = reinterpret_cast<unsigned char*>(m_rtp_buf);
    m_sdpinfo.media_data.MediaLen = m_WantDataLength;
    NotifyToUp(m_sdpinfo.r_type, 0);
    m_rtpheadstep = RTP_STEP_GOT_NOTHING;
    m_rtspheadstep = 0;
    m_WantDataLength = 0;
    m_RtpReceivedLength = 0;
    return 0;
}

int CRtsp::dealRtspPack(char c) {
    // Steps 0 and 8 to 14 stand for the letters of the word.
    static constexpr char kWord[] = "ANNOUNCE";
    const int step = m_rtspheadstep;
    if (step != 0 && (step < 8 || step > 14)) {
        m_rtspheadstep = 0;
        return 1;
    }
    const int letter = step == 0 ? 0 : step - 7;
    if (toupper(static_cast<unsigned char>(c)) != kWord[letter]) {
        // Before the last letter the match starts again; at the last it keeps waiting for it.
        if (step != 14) {
            m_rtspheadstep = 0;
        }
        return 1;
    }
    if (step != 14) {
        m_rtspheadstep = step == 0 ? 8 : step + 1;
        return 1;
    }
    m_rtspheadstep = 0;
    m_rtpheadstep = 0;
    int notice = paraAnnounce();
    if (notice != RTSP_ANNOUNCE_2101 && notice != RTSP_ANNOUNCE_2102) {
        return 1;
    }
    // Both notices say the server has ended the stream (end of a recorded item).
    SendOk();
    m_sdpinfo.r_type = RTSP_RTCP_DATA;
    m_sdpinfo.Error_Code = 6;
    sem_post(&m_semSendReq);
    Stop();
    PlayerSdkLog("[dealRtspPack]  RTSP_RESP_FINISH ,Exit Thread\n");
    NotifyToUp(RTSP_RTCP_DATA, 6);
    return 0;
}

int CRtsp::paraAnnounce() {
    memset(m_rtsp_buf, 0, sizeof(m_rtsp_buf));
    // One read only: a notice split across reads is not put together.
    ssize_t got = recv(m_rtsp_socket, m_rtsp_buf, sizeof(m_rtsp_buf), 0);
    if (got < 1) {
        return -1;
    }
    std::string_view text(m_rtsp_buf, got);
    for (size_t i = 0; i < text.size(); ++i) {
        if (StartsWithNoCase(text.substr(i), "x-Notice: 2101")) {
            return RTSP_ANNOUNCE_2101;
        }
        if (StartsWithNoCase(text.substr(i), "x-Notice: 2102")) {
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
        // Channel 1 for every medium, deliberately.
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
