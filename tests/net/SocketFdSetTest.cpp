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

TEST_F(SocketFdSet, SameSocketTwiceIsStoredTwiceAndOneClearLeavesOneEntryWithTheBitCleared) {
    set.fdset(7);
    set.fdset(7);
    EXPECT_EQ(set.getfdcount(), 2);
    EXPECT_EQ(set.SocketAt(0), 7);
    EXPECT_EQ(set.SocketAt(1), 7);

    set.fdclear(7);
    EXPECT_EQ(set.getfdcount(), 1);
    EXPECT_EQ(set.SocketAt(0), 7);
    EXPECT_FALSE(InMask(7));
    set.recreate();
    EXPECT_TRUE(InMask(7));
}

TEST_F(SocketFdSet, FullSetIgnoresAFurtherSocketEntirely) {
    for (int i = 0; i < CSocketFdSet::kMaxSockets; ++i) {
        set.fdset(3 + (i % 500));
    }
    ASSERT_EQ(set.getfdcount(), CSocketFdSet::kMaxSockets);
    EXPECT_EQ(set.GetMaxSocket(), 502);

    set.fdset(900);
    EXPECT_EQ(set.getfdcount(), CSocketFdSet::kMaxSockets);
    EXPECT_FALSE(InMask(900));
    EXPECT_EQ(set.GetMaxSocket(), 502);
}

TEST_F(SocketFdSet, SocketNumbersOutsideTheMaskAreRefusedNotWrittenPast) {
    set.fdset(FD_SETSIZE);
    set.fdset(-1);
    EXPECT_EQ(set.getfdcount(), 0);
    EXPECT_EQ(set.GetMaxSocket(), 0);
    set.fdclear(FD_SETSIZE + 100);
    EXPECT_EQ(set.getfdcount(), 0);
}

TEST_F(SocketFdSet, RemovingTheHighestSocketLeavesMaxSocketAndAnAbsentOneOnlyClearsItsBit) {
    set.fdset(5);
    set.fdset(9);
    set.fdclear(9);
    EXPECT_EQ(set.GetMaxSocket(), 9);
    EXPECT_EQ(set.getfdcount(), 1);

    set.fdclear(6);  // never added
    EXPECT_EQ(set.getfdcount(), 1);
    EXPECT_EQ(set.SocketAt(0), 5);
    EXPECT_TRUE(InMask(5));
}

TEST_F(SocketFdSet, ReaddedSocketsLandBeyondTheLiveEntriesAndDropOutOfTheRebuiltMask) {
    set.fdset(10);
    set.fdset(11);
    set.fdclear(10);
    set.fdclear(11);
    EXPECT_EQ(set.getfdcount(), 0);
    EXPECT_EQ(set.SocketAt(0), 11);
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

TEST_F(SocketFdSet, RecreateOfAnEmptySetClearsTheMask) {
    set.fdset(4);
    set.fdclear(4);
    set.recreate();
    fd_set copy = set.GetFdSet();
    for (int s = 0; s < FD_SETSIZE; ++s) {
        ASSERT_FALSE(FD_ISSET(s, &copy)) << s;
    }
}
