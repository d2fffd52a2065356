#include "PictureAssembler.h"

#include <cstring>

namespace playerdecoder {

bool CPictureAssembler::Open(AVCodecID codec) {
    m_codecId = codec;
    m_parserContext.reset(avcodec_alloc_context3(avcodec_find_decoder(codec)));
    return m_parserContext && ResetParser();
}

bool CPictureAssembler::ResetParser() {
    m_parser.reset(av_parser_init(m_codecId));
    return m_parser != nullptr;
}

void CPictureAssembler::Input(const uint8_t* data, size_t len, long long ts,
                              const FrameFacts& facts, const Emit& emit) {
    if (facts.continuesPicture) {
        m_startsInRow = 0;
        if (m_bWhole && ts == m_lastStartTs) {
            m_bWhole = false;  // the picture before this piece has gone out cut; join from here
        }
    } else if (facts.startsPicture) {
        m_startsInRow = m_startsInRow + 1;
        m_lastStartTs = ts;
    }
    if (m_bWhole) {
        emit(data, len, ts);
        return;
    }
    Parse(data, len, ts, emit);
    if (m_startsInRow >= 2) {
        // Whole pictures: what the parser holds is one, and it steps aside.
        Parse(nullptr, 0, ts, emit);
        m_bWhole = ResetParser();
    }
}

void CPictureAssembler::Parse(const uint8_t* data, size_t len, long long ts, const Emit& emit) {
    m_padded.assign(data, data + len);
    m_padded.resize(len + AV_INPUT_BUFFER_PADDING_SIZE, 0);
    const uint8_t* at = m_padded.data();
    int left = static_cast<int>(len);
    do {
        uint8_t* out = nullptr;
        int outLen = 0;
        int used = av_parser_parse2(m_parser.get(), m_parserContext.get(), &out, &outLen, at, left,
                                    ts, ts, 0);
        if (used < 0) {
            return;
        }
        at += used;
        left -= used;
        if (outLen > 0) {
            emit(out, static_cast<size_t>(outLen),
                 m_parser->pts != AV_NOPTS_VALUE ? m_parser->pts : ts);
        }
        if (used == 0 && outLen == 0) {
            return;  // nothing more comes out of these bytes
        }
    } while (left > 0);
}

}  // namespace playerdecoder
