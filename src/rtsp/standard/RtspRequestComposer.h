// Composes the requests of the standard dialect. Every request carries the next CSeq and
// the User-Agent; once a session is known every request carries its id; once a challenge
// is set every request carries the Authorization that answers it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "rtsp/standard/RtspAuth.h"

namespace playersdk::standard {

class CRtspRequestComposer {
public:
    static constexpr std::string_view kUserAgent = "PlayerSDK/2.6";

    virtual ~CRtspRequestComposer() = default;

    std::string Options(std::string_view url);
    std::string Describe(std::string_view url);
    // RTP on `rtpChannel`, RTCP on the next channel of the RTSP connection.
    std::string SetupInterleaved(std::string_view trackUrl, uint8_t rtpChannel);
    // RTP on `rtpPort`, RTCP on the next port.
    std::string SetupUdp(std::string_view trackUrl, uint16_t rtpPort);
    // A stored item plays from its start ("Range: npt=0.000-"); a live source has no range.
    std::string Play(std::string_view url, bool stored);
    std::string Pause(std::string_view url);
    std::string GetParameter(std::string_view url);
    std::string Teardown(std::string_view url);

    void SetSessionId(std::string_view id) { m_sessionId = std::string(id); }
    void SetCredentials(std::string_view user, std::string_view password);
    // Answers this challenge from now on; the nonce count starts again at 1. The client
    // nonce is fresh unless one is given.
    void SetChallenge(const AuthChallenge& challenge, std::string_view cnonce = {});

    uint32_t LastCSeq() const { return m_cseq; }

private:
    std::string Compose(std::string_view method, std::string_view url, std::string_view headers);

    uint32_t m_cseq = 0;
    std::string m_sessionId;
    std::string m_user;
    std::string m_password;
    std::optional<AuthChallenge> m_challenge;
    std::string m_cnonce;
    uint32_t m_nonceCount = 0;
};

}  // namespace playersdk::standard
