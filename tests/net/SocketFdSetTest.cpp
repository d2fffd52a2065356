#include <gtest/gtest.h>

#include "net/SocketFdSet.h"

namespace {
class SocketFdSet : public testing::Test {
protected:
    SocketFdSet() { set.FdZero(); }
    bool InMask(int s) {
        fd_set copy = set.GetFdSet();
        return FD_ISSET(s, &copy);
    }
    CSocketFdSet set;
};
}  // namespace

TEST_F(SocketFdSet, DuplicatesAreStoredTwiceAndAClearRemovesOneEntryButTheBit) {
    set.fdset(7);
    set.fdset(7);
    EXPECT_EQ(set.getfdcount(), 2);
    set.fdclear(7);
    EXPECT_EQ(set.getfdcount(), 1);
    EXPECT_EQ(set.SocketAt(0), 7);
    EXPECT_FALSE(InMask(7));
    set.recreate();
    EXPECT_TRUE(InMask(7));

    set.fdclear(6);  // never added: nothing but its bit changes
    EXPECT_EQ(set.getfdcount(), 1);
    EXPECT_TRUE(InMask(7));
}

TEST_F(SocketFdSet, AFullSetAndSocketsOutsideTheMaskAreRefusedWithoutAnyChange) {
    for (int i = 0; i < CSocketFdSet::kMaxSockets; ++i) {
        set.fdset(3 + (i % 500));
    }
    ASSERT_EQ(set.getfdcount(), CSocketFdSet::kMaxSockets);
    for (int s : {900, FD_SETSIZE, -1}) {
        set.fdset(s);
        EXPECT_EQ(set.getfdcount(), CSocketFdSet::kMaxSockets);
        EXPECT_EQ(set.GetMaxSocket(), 502);
    }
    EXPECT_FALSE(InMask(900));
}

TEST_F(SocketFdSet, MaxSocketIsNeverLoweredAndAnEmptySetRebuildsAClearMask) {
    set.fdset(5);
    set.fdset(9);
    set.fdclear(9);
    set.fdclear(5);
    EXPECT_EQ(set.GetMaxSocket(), 9);
    set.recreate();
    fd_set copy = set.GetFdSet();
    for (int s = 0; s < FD_SETSIZE; ++s) {
        ASSERT_FALSE(FD_ISSET(s, &copy)) << s;
    }
}

TEST_F(SocketFdSet, ReaddedSocketsLandBeyondTheLiveEntriesAndDropOutOfTheRebuiltMask) {
    set.fdset(10);
    set.fdset(11);
    set.fdclear(10);
    set.fdclear(11);
    EXPECT_EQ(set.getfdcount(), 0);
    EXPECT_EQ(set.SocketAt(0), 11);  // vacated slots keep their values
    EXPECT_EQ(set.SocketAt(1), 11);

    set.fdset(10);
    set.fdset(11);
    EXPECT_EQ(set.getfdcount(), 2);
    EXPECT_EQ(set.SocketAt(2), 10);
    EXPECT_EQ(set.SocketAt(3), 11);
    set.recreate();
    EXPECT_TRUE(InMask(11));
    EXPECT_FALSE(InMask(10));

    set.FdZero();
    EXPECT_EQ(set.SocketAt(2), 0);
    EXPECT_EQ(set.GetMaxSocket(), 0);
}
