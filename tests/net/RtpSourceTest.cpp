#include <gtest/gtest.h>

#include "net/RtpSource.h"

namespace {
// Started the way the RTP session starts it: one before the number the server announced.
source AnnouncedAt(unsigned short first) {
    source s{};
    init_seq(&s, static_cast<unsigned short>(first - 1));
    return s;
}
}  // namespace

TEST(UpdateSeq, StartsAtTheAnnouncedNumberAndTakesALargeJumpOnlyWhenTheNextFollows) {
    source s = AnnouncedAt(1000);
    EXPECT_EQ(s.base_seq, 998u);  // seq - 1, deliberately
    EXPECT_EQ(s.bad_seq, 65537u);
    EXPECT_EQ(update_seq(&s, 1000), 1);
    EXPECT_EQ(update_seq(&s, 4000), 0);  // a jump of exactly 3000
    EXPECT_EQ(s.max_seq, 1000);
    EXPECT_EQ(update_seq(&s, 9000), 0);  // another jump, not following the first
    EXPECT_EQ(update_seq(&s, 9001), 1);  // follows it: the sender restarted
    EXPECT_EQ(s.max_seq, 9001);
    EXPECT_EQ(s.base_seq, 9000u);
    EXPECT_EQ(s.received, 1u);
    EXPECT_EQ(update_seq(&s, 11999), 1);  // a gap of 2998 is still in order
}

TEST(UpdateSeq, WrapAddsACycleAndLateOrDuplicatePacketsKeepTheMaximum) {
    source s = AnnouncedAt(65535);
    update_seq(&s, 65535);
    EXPECT_EQ(update_seq(&s, 0), 1);
    EXPECT_EQ(s.cycles, 65536u);
    EXPECT_EQ(update_seq(&s, 65535), 1);  // reordered across the wrap
    EXPECT_EQ(s.cycles, 65536u);
    update_seq(&s, 200);
    EXPECT_EQ(update_seq(&s, 200), 1);  // duplicate
    EXPECT_EQ(update_seq(&s, 101), 1);  // 99 late
    EXPECT_EQ(update_seq(&s, 100), 0);  // 100 late counts as a jump
    EXPECT_EQ(s.max_seq, 200);
    EXPECT_EQ(s.received, 6u);
}
