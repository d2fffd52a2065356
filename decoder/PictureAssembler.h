// Joins pictures that arrive in pieces (each slice of a picture in its own frame, as the
// classic RTSP dialect delivers multi-slice H.264) into whole pictures with libavcodec's
// parser, and passes whole pictures straight on.
//
// The parser only knows that a picture has ended when the next one begins, so it holds every
// picture back by one. A stream that already delivers whole pictures must not pay for that, so
// the assembler watches the frames it is given:
//  - a frame that holds only later slices of a picture, with the time stamp of the frame
//    before it, shows a stream in pieces: from there on the parser joins them;
//  - two frames in a row that each start a picture (the first was whole: nothing continued
//    it) show a stream of whole pictures: the parser gives out what it holds and from there
//    on frames go straight to the decoder, with no delay.
// A new stream starts out joining, so its first picture is never cut in pieces; it is held
// back until the second frame shows which kind of stream it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "AvSupport.h"
#include "FrameKind.h"

namespace playerdecoder {

class CPictureAssembler {
public:
    // One whole picture (or configuration) for the decoder: bytes, length, time stamp.
    using Emit = std::function<void(const uint8_t*, size_t, long long)>;

    bool Open(AVCodecID codec);
    // Takes one frame; calls 'emit' for every whole picture it completes, oldest first.
    void Input(const uint8_t* data, size_t len, long long ts, const FrameFacts& facts,
               const Emit& emit);
    bool joining() const { return !m_bWhole; }

private:
    struct ParserDeleter {
        void operator()(AVCodecParserContext* p) const { av_parser_close(p); }
    };
    bool ResetParser();
    // Feeds bytes to the parser (none: give out what it holds).
    void Parse(const uint8_t* data, size_t len, long long ts, const Emit& emit);

    AVCodecID m_codecId = AV_CODEC_ID_NONE;
    std::unique_ptr<AVCodecParserContext, ParserDeleter> m_parser;
    CodecContextPtr m_parserContext;  // the parser's own: it writes what it learns there
    std::vector<uint8_t> m_padded;    // the parser reads a little past the bytes it is given
    bool m_bWhole = false;
    int m_startsInRow = 0;
    long long m_lastStartTs = 0;
};

}  // namespace playerdecoder
