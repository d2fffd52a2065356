// Per-sender RTP sequence state and its validation (the algorithm of RFC 3550 appendix A.1).
#pragma once

#include <cstdint>

struct source {
    uint16_t max_seq;              // highest sequence number seen
    unsigned long cycles;          // shifted count of sequence number wraps
    unsigned long base_seq;        // base sequence number
    unsigned long bad_seq;         // last 'bad' sequence number + 1
    unsigned long probation;       // sequential packets still wanted before the source is valid
    unsigned long received;        // packets received
    unsigned long expected_prior;  // packets expected at the last interval
    unsigned long received_prior;  // packets received at the last interval
    unsigned long transit;         // relative transit time of the previous packet
    unsigned long jitter;          // estimated jitter
};

// Starts the state at seq. base_seq is seq - 1 (not seq), deliberately; probation is left as
// it is, so a zeroed source runs no probation phase.
void init_seq(source* s, unsigned short seq);
// 1 when seq is valid, 0 when it is rejected (a large jump is rejected once, then taken as a
// sender restart when the next packet follows it).
int update_seq(source* s, unsigned short seq);
