// Everything the loopback server received: raw bytes, parsed messages and interleaved
// frames, per connection and combined in arrival order. Readers get copies and may wait
// (with a short real time-out) for something to arrive.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "rtspserver/RtspStreamParser.h"

namespace playersdk::rtspserver {

class ServerRecords {
public:
    static constexpr size_t kAll = SIZE_MAX;  // every connection
    using Timeout = std::chrono::milliseconds;
    static constexpr Timeout kWait{3000};

    // Writers: the server's threads.
    size_t AddConnection();
    void AddReceived(size_t connection, const char* data, size_t len,
                     RtspStreamParser::Output&& parsed);
    void MarkClosedByClient(size_t connection);

    // Readers, from any thread.
    size_t connectionCount() const;
    std::string rawBytes(size_t connection = kAll) const;
    // Requests and the client's replies, in arrival order.
    std::vector<ReceivedMessage> messages(size_t connection = kAll) const;
    std::vector<ReceivedMessage> requests(std::string_view method, size_t connection = kAll) const;
    std::vector<ReceivedFrame> frames(size_t connection = kAll) const;
    bool closedByClient(size_t connection) const;

    // True as soon as the condition holds; false after the time-out.
    bool WaitForConnections(size_t count, Timeout timeout = kWait) const;
    bool WaitForMessages(size_t count, size_t connection = kAll, Timeout timeout = kWait) const;
    bool WaitForMethod(std::string_view method, size_t count = 1, size_t connection = kAll,
                       Timeout timeout = kWait) const;
    bool WaitForFrames(size_t count, size_t connection = kAll, Timeout timeout = kWait) const;
    bool WaitForBytes(size_t count, size_t connection = kAll, Timeout timeout = kWait) const;
    bool WaitForClientClose(size_t connection, Timeout timeout = kWait) const;

private:
    struct Connection {
        std::string raw;
        bool closedByClient = false;
    };
    template <class Condition>
    bool WaitUntil(Timeout timeout, Condition condition) const;
    template <class Record>
    size_t CountLocked(const std::vector<Record>& records, size_t connection) const;
    size_t CountMethodLocked(std::string_view method, size_t connection) const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Connection> m_connections;
    std::string m_raw;
    std::vector<ReceivedMessage> m_messages;
    std::vector<ReceivedFrame> m_frames;
};

}  // namespace playersdk::rtspserver
