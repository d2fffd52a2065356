#include <gtest/gtest.h>

#include "net/RtpSource.h"

namespace {
// A source started the way the RTP session starts it: one before the announced number.
source StartedBefore(unsigned short announced) {
    source s{};
    init_seq(&s, static_cast<unsigned short>(announced - 1));
    return s;
}
}  // namespace

TEST(UpdateSeq, StreamStartingAtTheAnnouncedNumberIsValidFromItsFirstPacket) {
    source s = StartedBefore(1000);
    EXPECT_EQ(s.max_seq, 999);
    EXPECT_EQ(s.base_seq, 998u);  // seq - 1, deliberately
    EXPECT_EQ(s.bad_seq, 65537u);
    EXPECT_EQ(s.probation, 0u);
    EXPECT_EQ(update_seq(&s, 1000), 1);
    EXPECT_EQ(update_seq(&s, 1001), 1);
    EXPECT_EQ(s.max_seq, 1001);
    EXPECT_EQ(s.received, 2u);
}

TEST(UpdateSeq, LargeJumpIsRejectedOnceThenTakenAsARestartWhenTheNextFollows) {
    source s = StartedBefore(1000);
    update_seq(&s, 1000);
    EXPECT_EQ(update_seq(&s, 4000), 0);  // udelta exactly 3000
    EXPECT_EQ(s.bad_seq, 4001u);
    EXPECT_EQ(s.max_seq, 1000);
    EXPECT_EQ(update_seq(&s, 9000), 0);  // another jump that does not follow the first
    EXPECT_EQ(update_seq(&s, 9001), 1);  // follows it: the sender restarted
    EXPECT_EQ(s.max_seq, 9001);
    EXPECT_EQ(s.base_seq, 9000u);
    EXPECT_EQ(s.cycles, 0u);
    EXPECT_EQ(s.received, 1u);
    EXPECT_EQ(update_seq(&s, 11999), 1);  // a gap of 2998 is still in order
}

TEST(UpdateSeq, WrapCountsACycleAndLatePacketsAreAcceptedWithoutMovingTheMaximum) {
    source s = StartedBefore(65534);
    update_seq(&s, 65534);
    update_seq(&s, 65535);
    EXPECT_EQ(update_seq(&s, 0), 1);
    EXPECT_EQ(s.cycles, 65536u);
    EXPECT_EQ(s.max_seq, 0);
    EXPECT_EQ(update_seq(&s, 65535), 1);  // reordered across the wrap
    EXPECT_EQ(s.max_seq, 0);
    EXPECT_EQ(s.cycles, 65536u);
    update_seq(&s, 200);
    EXPECT_EQ(update_seq(&s, 200), 1);  // duplicate
    EXPECT_EQ(update_seq(&s, 101), 1);  // 99 behind: a late packet
    EXPECT_EQ(update_seq(&s, 100), 0);  // 100 behind counts as a jump
    EXPECT_EQ(s.max_seq, 200);
}

TEST(UpdateSeq, ProbationWantsTwoPacketsInSequence) {
    source s = StartedBefore(10);
    s.probation = 2;
    EXPECT_EQ(update_seq(&s, 10), 0);
    EXPECT_EQ(s.probation, 1u);
    EXPECT_EQ(update_seq(&s, 20), 0);  // out of sequence: probation starts over
    EXPECT_EQ(s.probation, 1u);
    EXPECT_EQ(update_seq(&s, 21), 1);
    EXPECT_EQ(s.probation, 0u);
    EXPECT_EQ(s.base_seq, 20u);
    EXPECT_EQ(s.received, 1u);
}
