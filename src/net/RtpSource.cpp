#include "net/RtpSource.h"

namespace {
constexpr unsigned long RTP_SEQ_MOD = 1UL << 16;
constexpr unsigned long MAX_DROPOUT = 3000;
constexpr unsigned long MAX_MISORDER = 100;
constexpr unsigned long MIN_SEQUENTIAL = 2;
}  // namespace

void init_seq(source* s, unsigned short seq) {
    s->base_seq = static_cast<unsigned long>(seq) - 1;
    s->max_seq = seq;
    s->bad_seq = RTP_SEQ_MOD + 1;
    s->cycles = 0;
    s->received = 0;
    s->received_prior = 0;
    s->expected_prior = 0;
}

int update_seq(source* s, unsigned short seq) {
    const uint16_t udelta = static_cast<uint16_t>(seq - s->max_seq);

    if (s->probation != 0) {
        // The source is valid only after MIN_SEQUENTIAL packets in sequence.
        if (seq == s->max_seq + 1) {
            s->probation--;
            s->max_seq = seq;
            if (s->probation == 0) {
                init_seq(s, seq);
                s->received++;
                return 1;
            }
        } else {
            s->probation = MIN_SEQUENTIAL - 1;
            s->max_seq = seq;
        }
        return 0;
    }
    if (udelta < MAX_DROPOUT) {
        // In order, with a permissible gap.
        if (seq < s->max_seq) {
            s->cycles += RTP_SEQ_MOD;
        }
        s->max_seq = seq;
    } else if (udelta <= RTP_SEQ_MOD - MAX_MISORDER) {
        // A very large jump: the sender restarted if the next packet follows this one.
        if (seq == s->bad_seq) {
            init_seq(s, seq);
        } else {
            s->bad_seq = (seq + 1) & (RTP_SEQ_MOD - 1);
            return 0;
        }
    }
    // Otherwise a duplicate or reordered packet.
    s->received++;
    return 1;
}
