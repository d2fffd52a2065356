#include "rtsp/standard/RtspRequestComposer.h"

namespace playersdk::standard {
namespace {
std::string PairText(unsigned first) {
    return std::to_string(first) + "-" + std::to_string(first + 1);
}
}  // namespace

std::string CRtspRequestComposer::Compose(std::string_view method, std::string_view url,
                                          std::string_view headers) {
    std::string out;
    out.reserve(256 + url.size() + headers.size());
    out.append(method).append(" ").append(url).append(" RTSP/1.0\r\n");
    out.append("CSeq: ").append(std::to_string(++m_cseq)).append("\r\n");
    out.append(headers);
    if (!m_sessionId.empty()) {
        out.append("Session: ").append(m_sessionId).append("\r\n");
    }
    if (m_challenge) {
        DigestRequest request{method, url, ++m_nonceCount, m_cnonce};
        out.append("Authorization: ")
            .append(AuthorizationValue(*m_challenge, m_user, m_password, request))
            .append("\r\n");
    }
    out.append("User-Agent: ").append(kUserAgent).append("\r\n\r\n");
    return out;
}

std::string CRtspRequestComposer::Options(std::string_view url) {
    return Compose("OPTIONS", url, {});
}

std::string CRtspRequestComposer::Describe(std::string_view url) {
    return Compose("DESCRIBE", url, "Accept: application/sdp\r\n");
}

std::string CRtspRequestComposer::SetupInterleaved(std::string_view trackUrl, uint8_t rtpChannel) {
    return Compose("SETUP", trackUrl,
                   "Transport: RTP/AVP/TCP;unicast;interleaved=" + PairText(rtpChannel) + "\r\n");
}

std::string CRtspRequestComposer::SetupUdp(std::string_view trackUrl, uint16_t rtpPort) {
    return Compose("SETUP", trackUrl,
                   "Transport: RTP/AVP;unicast;client_port=" + PairText(rtpPort) + "\r\n");
}

std::string CRtspRequestComposer::Play(std::string_view url, bool stored) {
    return Compose("PLAY", url, stored ? "Range: npt=0.000-\r\n" : "");
}

std::string CRtspRequestComposer::Pause(std::string_view url) {
    return Compose("PAUSE", url, {});
}

std::string CRtspRequestComposer::GetParameter(std::string_view url) {
    return Compose("GET_PARAMETER", url, {});
}

std::string CRtspRequestComposer::Teardown(std::string_view url) {
    return Compose("TEARDOWN", url, {});
}

void CRtspRequestComposer::SetCredentials(std::string_view user, std::string_view password) {
    m_user = std::string(user);
    m_password = std::string(password);
}

void CRtspRequestComposer::SetChallenge(const AuthChallenge& challenge, std::string_view cnonce) {
    m_challenge = challenge;
    m_cnonce = cnonce.empty() ? MakeCnonce() : std::string(cnonce);
    m_nonceCount = 0;
}

}  // namespace playersdk::standard
