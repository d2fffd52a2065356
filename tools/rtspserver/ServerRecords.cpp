#include "rtspserver/ServerRecords.h"

#include <algorithm>
#include <iterator>

namespace playersdk::rtspserver {
namespace {
bool Matches(size_t record, size_t wanted) {
    return wanted == ServerRecords::kAll || record == wanted;
}

template <class Record>
std::vector<Record> Select(const std::vector<Record>& all, size_t connection) {
    std::vector<Record> out;
    std::copy_if(all.begin(), all.end(), std::back_inserter(out),
                 [&](const Record& r) { return Matches(r.connection, connection); });
    return out;
}
}  // namespace

template <class Condition>
bool ServerRecords::WaitUntil(Timeout timeout, Condition condition) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, condition);
}

template <class Record>
size_t ServerRecords::CountLocked(const std::vector<Record>& records, size_t connection) const {
    return static_cast<size_t>(std::count_if(records.begin(), records.end(), [&](const Record& r) {
        return Matches(r.connection, connection);
    }));
}

size_t ServerRecords::CountMethodLocked(std::string_view method, size_t connection) const {
    return static_cast<size_t>(
        std::count_if(m_messages.begin(), m_messages.end(), [&](const ReceivedMessage& m) {
            return Matches(m.connection, connection) && m.method == method;
        }));
}

size_t ServerRecords::AddConnection() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.emplace_back();
    m_changed.notify_all();
    return m_connections.size() - 1;
}

void ServerRecords::AddReceived(size_t connection, const char* data, size_t len,
                                RtspStreamParser::Output&& parsed) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (connection >= m_connections.size()) {
        return;
    }
    m_connections[connection].raw.append(data, len);
    m_raw.append(data, len);
    std::move(parsed.messages.begin(), parsed.messages.end(), std::back_inserter(m_messages));
    std::move(parsed.frames.begin(), parsed.frames.end(), std::back_inserter(m_frames));
    m_changed.notify_all();
}

void ServerRecords::MarkClosedByClient(size_t connection) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (connection < m_connections.size()) {
        m_connections[connection].closedByClient = true;
        m_changed.notify_all();
    }
}

size_t ServerRecords::connectionCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_connections.size();
}

std::string ServerRecords::rawBytes(size_t connection) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (connection == kAll) {
        return m_raw;
    }
    return connection < m_connections.size() ? m_connections[connection].raw : std::string();
}

std::vector<ReceivedMessage> ServerRecords::messages(size_t connection) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Select(m_messages, connection);
}

std::vector<ReceivedMessage> ServerRecords::requests(std::string_view method,
                                                     size_t connection) const {
    std::vector<ReceivedMessage> out = messages(connection);
    out.erase(std::remove_if(out.begin(), out.end(),
                             [&](const ReceivedMessage& m) { return m.method != method; }),
              out.end());
    return out;
}

std::vector<ReceivedFrame> ServerRecords::frames(size_t connection) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Select(m_frames, connection);
}

bool ServerRecords::closedByClient(size_t connection) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return connection < m_connections.size() && m_connections[connection].closedByClient;
}

bool ServerRecords::WaitForConnections(size_t count, Timeout timeout) const {
    return WaitUntil(timeout, [&] { return m_connections.size() >= count; });
}

bool ServerRecords::WaitForMessages(size_t count, size_t connection, Timeout timeout) const {
    return WaitUntil(timeout, [&] { return CountLocked(m_messages, connection) >= count; });
}

bool ServerRecords::WaitForMethod(std::string_view method, size_t count, size_t connection,
                                  Timeout timeout) const {
    return WaitUntil(timeout, [&] { return CountMethodLocked(method, connection) >= count; });
}

bool ServerRecords::WaitForFrames(size_t count, size_t connection, Timeout timeout) const {
    return WaitUntil(timeout, [&] { return CountLocked(m_frames, connection) >= count; });
}

bool ServerRecords::WaitForBytes(size_t count, size_t connection, Timeout timeout) const {
    return WaitUntil(timeout, [&] {
        if (connection == kAll) {
            return m_raw.size() >= count;
        }
        return connection < m_connections.size() && m_connections[connection].raw.size() >= count;
    });
}

bool ServerRecords::WaitForClientClose(size_t connection, Timeout timeout) const {
    return WaitUntil(timeout, [&] {
        return connection < m_connections.size() && m_connections[connection].closedByClient;
    });
}

}  // namespace playersdk::rtspserver
