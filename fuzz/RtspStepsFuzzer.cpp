// The classic engine's step machines on one connection, as the engine drives them: the
// DESCRIBE and SETUP replies through the reply assembler, the PLAY reply's status line, then
// the interleaved stream with its server notices. The first input byte picks the media set up,
// how many whole replies come first and the largest read; the rest is the connection's bytes,
// delivered in reads whose lengths the bytes themselves decide.
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "FuzzCheck.h"
#include "InputPieces.h"
#include "rtsp/InterleavedDemux.h"
#include "rtsp/ReplyAssembler.h"
#include "rtsp/StatusLineReader.h"

namespace {

bool ChannelTaken(int channel, eSetupType setup) {
    switch (channel) {
        case 0:
            return setup != ONLYAUDIO;
        case 2:
            return setup != ONLYVIDEO;
        case 1:
        case 3:
            return true;
        default:
            return false;
    }
}

bool Within(std::string_view inner, const char* begin, size_t size) {
    return inner.data() >= begin && inner.data() + inner.size() <= begin + size;
}

class Connection {
public:
    Connection(eSetupType setup, int replies) : m_setup(setup), m_repliesLeft(replies) {}

    // One read: appended behind what the machines left, then taken as far as it goes.
    void Receive(const uint8_t* bytes, size_t length) {
        m_pending.insert(m_pending.end(), bytes, bytes + length);
        // An exact heap copy: a machine reading past what was received is caught.
        std::vector<char> read(m_pending.begin(), m_pending.end());
        std::string_view in(read.data(), read.size());
        while (!in.empty()) {
            const size_t before = in.size();
            const bool event = Step(in, read);
            FUZZ_CHECK(event || in.empty());          // only an event stops short of the end
            FUZZ_CHECK(event || in.size() < before);  // and without one bytes were taken
        }
        m_pending.assign(in.begin(), in.end());
    }

private:
    bool Step(std::string_view& in, const std::vector<char>& read) {
        if (m_repliesLeft > 0) {
            return Reply(in);
        }
        if (!m_playAnswered) {
            return StatusLine(in);
        }
        return Demux(in, read);
    }

    bool Reply(std::string_view& in) {
        const bool complete = m_reply.Feed(in);
        FUZZ_CHECK(m_reply.length() >= 0 &&
                   static_cast<size_t>(m_reply.length()) <= CReplyAssembler::kCapacity);
        FUZZ_CHECK(m_reply.text()[m_reply.length()] == '\0');
        if (complete) {
            m_reply.Reset();
            --m_repliesLeft;
        }
        return complete;
    }

    bool StatusLine(std::string_view& in) {
        const CStatusLineReader::Status status = m_line.Feed(in);
        if (status == CStatusLineReader::Status::kComplete) {
            const std::string_view line = m_line.line();
            FUZZ_CHECK(line.size() >= 4 && line.size() <= CStatusLineReader::kMaxLine);
            FUZZ_CHECK(line.substr(0, 4) == "RTSP");
            FUZZ_CHECK(line.back() == '\r');  // its "\n" is not kept
            m_playAnswered = true;
            m_line.Reset();
            m_demux.Reset();
        }
        return status != CStatusLineReader::Status::kIncomplete;
    }

    bool Demux(std::string_view& in, const std::vector<char>& read) {
        const DemuxEvent event = m_demux.Next(in, m_setup);
        switch (event.kind) {
            case DemuxEvent::Kind::kNone:
                return false;
            case DemuxEvent::Kind::kFrame:
                FUZZ_CHECK(event.bytes.size() >= 2 &&
                           event.bytes.size() <
                               static_cast<size_t>(CInterleavedDemux::kMaxFrameLength));
                FUZZ_CHECK(ChannelTaken(event.channel, m_setup));
                FUZZ_CHECK(event.rtcp == (event.channel == 1 || event.channel == 3));
                FUZZ_CHECK(Within(event.bytes, read.data(), read.size()) ||
                           Within(event.bytes, m_packet.data(), m_packet.size()));
                Touch(event.bytes);
                break;
            case DemuxEvent::Kind::kNotice:
                FUZZ_CHECK(event.bytes.size() <= playersdk::kRtspBufferSize);
                Touch(event.bytes);
                break;
            case DemuxEvent::Kind::kDropped:
                FUZZ_CHECK(event.drop != FrameDrop::kChannelNotSetUp ||
                           !ChannelTaken(event.channel, m_setup));
                break;
        }
        return true;
    }

    // Every byte handed out is read, so one outside its buffer is caught.
    void Touch(std::string_view bytes) {
        for (char c : bytes) {
            m_sum += static_cast<unsigned char>(c);
        }
    }

    const eSetupType m_setup;
    int m_repliesLeft;
    bool m_playAnswered = false;
    std::vector<char> m_pending;
    std::vector<char> m_packet = std::vector<char>(CInterleavedDemux::kMaxFrameLength);
    CReplyAssembler m_reply;
    CStatusLineReader m_line;
    CInterleavedDemux m_demux{m_packet.data(), m_packet.size()};
    unsigned m_sum = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    static constexpr eSetupType kSetups[] = {ONLYVIDEO, ONLYAUDIO, BOTHVA, BOTHVA};
    const uint8_t choice = data[0];
    Connection connection(kSetups[choice & 3], (choice >> 2) & 3);
    fuzz::InputPieces pieces(data + 1, size - 1, size_t{1} << ((choice >> 4) % 12));
    const uint8_t* piece = nullptr;
    size_t length = 0;
    while (pieces.Next(piece, length)) {
        connection.Receive(piece, length);
    }
    return 0;
}
