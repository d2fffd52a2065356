// The connection's one reader over a socket pair: one read takes all that waits, as far as
// the buffer goes, and the end of the connection is kept behind the bytes that came first.
#include "rtsp/ConnectionReader.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace {
struct SocketPair {
    int fds[2] = {-1, -1};
    SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0); }
    ~SocketPair() {
        for (int fd : fds) {
            if (fd >= 0) {
                close(fd);
            }
        }
    }
    void Write(const std::string& bytes) {
        ASSERT_EQ(write(fds[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void CloseWriter() {
        close(fds[1]);
        fds[1] = -1;
    }
};
}  // namespace

TEST(ConnectionReader, OneReadTakesAllThatWaitsUpToTheBufferSize) {
    SocketPair pair;
    const std::string bytes(CConnectionReader::kCapacity + 1000, 'b');
    pair.Write(bytes);
    CConnectionReader reader;
    EXPECT_EQ(reader.ReadOnce(pair.fds[0]), static_cast<ssize_t>(CConnectionReader::kCapacity));
    EXPECT_TRUE(reader.full());
    reader.ConsumeTo(reader.Pending().substr(10));
    EXPECT_EQ(reader.ReadOnce(pair.fds[0]), 10);  // the kept bytes move to the front
    EXPECT_EQ(reader.Pending(), std::string_view(bytes).substr(10, CConnectionReader::kCapacity));
}

TEST(ConnectionReader, PeerCloseIsKeptBehindThePendingBytes) {
    SocketPair pair;
    pair.Write("RTSP/1.0 200");
    pair.CloseWriter();
    CConnectionReader reader;
    EXPECT_EQ(reader.ReadOnce(pair.fds[0]), 12);
    EXPECT_FALSE(reader.ended());
    EXPECT_EQ(reader.ReadOnce(pair.fds[0]), 0);
    EXPECT_TRUE(reader.ended());
    EXPECT_EQ(reader.endResult(), 0);
    EXPECT_EQ(reader.Pending(), "RTSP/1.0 200");
}

TEST(ConnectionReader, NothingToReadIsNotTheEnd) {
    SocketPair pair;
    CConnectionReader reader;
    EXPECT_EQ(reader.ReadOnce(pair.fds[0]), -1);
    EXPECT_FALSE(reader.ended());
}
