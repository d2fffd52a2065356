#include "rtsp/InterleavedDemux.h"

#include <algorithm>
#include <cstring>

namespace {
bool ChannelAccepted(int channel, eSetupType setup) {
    const bool rtcp = channel == 1 || channel == 3;
    switch (setup) {
        case ONLYVIDEO:
            return channel == 0 || rtcp;
        case ONLYAUDIO:
            return channel == 2 || rtcp;
        case BOTHVA:
            return channel == 0 || channel == 2 || rtcp;
    }
    return false;
}

char TakeByte(std::string_view& in) {
    const char c = in.front();
    in.remove_prefix(1);
    return c;
}
}  // namespace

CInterleavedDemux::CInterleavedDemux(char* packet, size_t packetSize)
    : m_packet(packet), m_packetSize(packetSize) {}

DemuxEvent CInterleavedDemux::Next(std::string_view& in, eSetupType setup) {
    while (!in.empty()) {
        if (m_notice.collecting()) {
            if (m_notice.Collect(in)) {
                return DemuxEvent{DemuxEvent::Kind::kNotice, -1, false, m_notice.text()};
            }
            continue;
        }
        DemuxEvent event;
        switch (m_rtpheadstep) {
            case RTP_STEP_GOT_NOTHING:
                event = Loose(in);
                break;
            case RTP_STEP_GOT_DOLLOR:
            case RTP_STEP_GOT_CHANNEL:
                event = Header(in, setup);
                break;
            case RTP_STEP_GOT_LENGTH:
                event = Packet(in);
                break;
            default:
                Reset();
                break;
        }
        if (event.kind != DemuxEvent::Kind::kNone) {
            return event;
        }
    }
    return DemuxEvent{};
}

DemuxEvent CInterleavedDemux::Loose(std::string_view& in) {
    while (!in.empty()) {
        const char c = TakeByte(in);
        if (c == '$') {
            m_rtpheadstep = RTP_STEP_GOT_DOLLOR;
            m_notice.ResetWord();
            break;
        }
        if (m_notice.MatchWord(c)) {
            break;  // the notice text follows
        }
    }
    return DemuxEvent{};
}

DemuxEvent CInterleavedDemux::Header(std::string_view& in, eSetupType setup) {
    if (m_rtpheadstep == RTP_STEP_GOT_DOLLOR) {
        m_channel = static_cast<uint8_t>(TakeByte(in));
        if (!ChannelAccepted(m_channel, setup)) {
            // The rest of the frame is read as bytes between frames.
            m_rtpheadstep = RTP_STEP_GOT_NOTHING;
            return Dropped(FrameDrop::kChannelNotSetUp);
        }
        m_ReceiveDataFlag = m_channel == 0 || m_channel == 2 ? 1 : 2;
        m_rtpheadstep = RTP_STEP_GOT_CHANNEL;
        m_haveLengthHigh = false;
        return DemuxEvent{};
    }
    // The two length bytes may come in two reads.
    if (!m_haveLengthHigh) {
        m_lengthHigh = static_cast<uint8_t>(TakeByte(in));
        m_haveLengthHigh = true;
        if (in.empty()) {
            return DemuxEvent{};
        }
    }
    m_haveLengthHigh = false;
    m_WantDataLength = (m_lengthHigh << 8) | static_cast<uint8_t>(TakeByte(in));
    m_RtpReceivedLength = 0;
    if (m_WantDataLength < 2 || m_WantDataLength >= kMaxFrameLength) {
        // A framing error: look for the next "$".
        m_rtpheadstep = RTP_STEP_GOT_NOTHING;
        m_notice.ResetWord();
        return Dropped(m_WantDataLength < 2 ? FrameDrop::kTooShort : FrameDrop::kTooLong);
    }
    m_rtpheadstep = RTP_STEP_GOT_LENGTH;
    return DemuxEvent{};
}

DemuxEvent CInterleavedDemux::Packet(std::string_view& in) {
    const size_t want = static_cast<size_t>(m_WantDataLength - m_RtpReceivedLength);
    std::string_view packet;
    if (m_RtpReceivedLength == 0 && in.size() >= want) {
        packet = in.substr(0, want);  // whole in this read: no copy
        in.remove_prefix(want);
    } else {
        const size_t take = std::min({want, in.size(), m_packetSize - m_RtpReceivedLength});
        memcpy(m_packet + m_RtpReceivedLength, in.data(), take);
        in.remove_prefix(take);
        m_RtpReceivedLength += static_cast<int>(take);
        if (m_RtpReceivedLength < m_WantDataLength) {
            return DemuxEvent{};
        }
        packet = std::string_view(m_packet, static_cast<size_t>(m_WantDataLength));
    }
    DemuxEvent event{DemuxEvent::Kind::kFrame, m_channel, m_ReceiveDataFlag == 2, packet};
    m_rtpheadstep = RTP_STEP_GOT_NOTHING;
    m_notice.ResetWord();
    m_WantDataLength = 0;
    m_RtpReceivedLength = 0;
    return event;
}

DemuxEvent CInterleavedDemux::Dropped(FrameDrop why) {
    DemuxEvent event;
    event.kind = DemuxEvent::Kind::kDropped;
    event.channel = m_channel;
    event.drop = why;
    return event;
}

void CInterleavedDemux::Reset() {
    m_rtpheadstep = RTP_STEP_GOT_NOTHING;
    m_haveLengthHigh = false;
    m_WantDataLength = 0;
    m_RtpReceivedLength = 0;
    m_notice.Reset();
}
