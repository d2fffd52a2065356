// The interleaved stream of an RTSP connection cut into its parts: "$", channel, 16-bit
// length and one RTP or RTCP packet per frame; the bytes between frames are searched for the
// server's notices. Pure: bytes in any split go in, events come out, no socket inside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "rtsp/ServerNotice.h"

// Which media the session set up; decides the channels taken.
enum eSetupType { BOTHVA = 1, ONLYVIDEO = 2, ONLYAUDIO = 3 };

// Steps of the frame parser; the names are those of the log texts.
enum {
    RTP_STEP_GOT_NOTHING = 0,
    RTP_STEP_GOT_DOLLOR = 1,  // named so on purpose: the log texts spell it so
    RTP_STEP_GOT_CHANNEL = 2,
    RTP_STEP_GOT_LENGTH = 3
};

// Why a frame header was not followed into a packet. The parser then looks for the next "$"
// and reads what lies before it as bytes between frames.
enum class FrameDrop {
    kChannelNotSetUp,  // a channel of a medium the session did not set up
    kTooShort,         // length 0 or 1: no packet is that short
    kTooLong,          // length 1500 or more
};

struct DemuxEvent {
    enum class Kind { kNone, kFrame, kNotice, kDropped };
    Kind kind = Kind::kNone;
    int channel = -1;
    bool rtcp = false;       // frame: channel 1 or 3
    std::string_view bytes;  // frame: the packet; notice: the text behind ANNOUNCE
    FrameDrop drop = FrameDrop::kTooShort;
};

class CInterleavedDemux {
public:
    static constexpr int kMaxFrameLength = 1500;

    // A frame that arrives in pieces is put together in 'packet' (at least kMaxFrameLength
    // bytes); a frame that lies whole in the input is handed out where it lies.
    CInterleavedDemux(char* packet, size_t packetSize);
    virtual ~CInterleavedDemux() = default;

    // Takes bytes from the front of 'in' up to the end of the next event and returns it;
    // kNone once 'in' is used up. The event's bytes stay valid until the next call.
    DemuxEvent Next(std::string_view& in, eSetupType setup);
    // Back to looking for "$", forgetting a frame or notice in progress.
    void Reset();
    int step() const { return m_rtpheadstep; }

private:
    DemuxEvent Loose(std::string_view& in);
    DemuxEvent Header(std::string_view& in, eSetupType setup);
    DemuxEvent Packet(std::string_view& in);
    DemuxEvent Dropped(FrameDrop why);

    char* const m_packet;
    const size_t m_packetSize;
    int m_rtpheadstep = RTP_STEP_GOT_NOTHING;
    int m_ReceiveDataFlag = 0;  // 1 RTP, 2 RTCP
    int m_channel = 0;
    uint8_t m_lengthHigh = 0;  // the first length byte, when the second has not come yet
    bool m_haveLengthHigh = false;
    int m_WantDataLength = 0;
    int m_RtpReceivedLength = 0;
    CServerNotice m_notice;
};
