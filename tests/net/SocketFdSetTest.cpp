#include <gtest/gtest.h>

#include <iterator>
#include <set>

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
}

// Removed slots are freed and added sockets go to the end of the live entries, so the rebuilt
// mask holds every live socket however often sinks come and go.
TEST_F(SocketFdSet, EveryLiveSocketIsInTheRebuiltMaskAfterAnyAddAndRemoveCycles) {
    set.fdset(10);
    set.fdset(11);
    set.fdclear(10);
    set.fdclear(11);
    EXPECT_EQ(set.getfdcount(), 0);
    EXPECT_EQ(set.GetMaxSocket(), 11);  // never lowered
    EXPECT_EQ(std::make_pair(set.SocketAt(0), set.SocketAt(1)), std::make_pair(0, 0));
    set.fdset(10);
    set.fdset(11);
    EXPECT_EQ(std::make_pair(set.SocketAt(0), set.SocketAt(1)), std::make_pair(10, 11));

    // Sinks of four sockets each come and go in a changing order.
    std::multiset<int> live{10, 11};
    for (int round = 0; round < 300; ++round) {
        const int base = 20 + (round * 7) % 400;
        for (int s = base; s < base + 4; ++s) {
            set.fdset(s);
            live.insert(s);
        }
        const int gone = *std::next(live.begin(), round % live.size());
        set.fdclear(gone);
        live.erase(live.find(gone));
        set.recreate();
        ASSERT_EQ(set.getfdcount(), static_cast<int>(live.size())) << round;
        std::multiset<int> entries;
        for (int i = 0; i < set.getfdcount(); ++i) {
            entries.insert(set.SocketAt(i));
        }
        ASSERT_EQ(entries, live) << round;
        fd_set copy = set.GetFdSet();
        for (int s = 0; s < FD_SETSIZE; ++s) {
            ASSERT_EQ(FD_ISSET(s, &copy) != 0, live.count(s) > 0) << round << " socket " << s;
        }
        ASSERT_EQ(set.SocketAt(set.getfdcount()), 0) << round;  // the slot after is free
    }
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
