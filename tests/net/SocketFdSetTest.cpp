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

TEST_F(SocketFdSet, DuplicatesStayTwiceClearsDropOneEntryAndTheRebuiltMaskFollowsTheEntries) {
    set.fdset(7);
    set.fdset(7);
    EXPECT_EQ(set.getfdcount(), 2);
    set.fdclear(7);
    EXPECT_EQ(set.getfdcount(), 1);
    EXPECT_EQ(set.SocketAt(0), 7);
    EXPECT_FALSE(InMask(7));  // the bit goes with the first clear
    set.recreate();
    EXPECT_TRUE(InMask(7));
    set.fdclear(6);  // never added: nothing but its bit changes
    EXPECT_EQ(set.getfdcount(), 1);

    set.FdZero();

    set.fdset(10);
    set.fdset(11);
    set.fdclear(10);
    set.fdclear(11);
    EXPECT_EQ(set.getfdcount(), 0);
    EXPECT_EQ(set.GetMaxSocket(), 11);  // never lowered
    EXPECT_EQ(std::make_pair(set.SocketAt(0), set.SocketAt(1)), std::make_pair(11, 11));
    set.recreate();
    fd_set copy = set.GetFdSet();
    for (int s = 0; s < FD_SETSIZE; ++s) {
        ASSERT_FALSE(FD_ISSET(s, &copy)) << s;
    }
    // Re-added sockets land beyond the vacated slots and drop out of the rebuilt mask.
    set.fdset(10);
    set.fdset(11);
    EXPECT_EQ(set.getfdcount(), 2);
    EXPECT_EQ(std::make_pair(set.SocketAt(2), set.SocketAt(3)), std::make_pair(10, 11));
    set.recreate();
    EXPECT_TRUE(InMask(11));
    EXPECT_FALSE(InMask(10));
    set.FdZero();
    EXPECT_EQ(std::make_pair(set.SocketAt(2), set.GetMaxSocket()), std::make_pair(0, 0));
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
