// What the loopback server answers, per request method and optionally per occurrence of
// that method on a connection. Tests change it at any time from their own thread.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "rtspserver/RtspReplyBuilder.h"

namespace playersdk::rtspserver {

class ReplyScript {
public:
    // Every request of this method ("DESCRIBE", "PLAY", ...).
    void Set(const std::string& method, ScriptedReply reply);
    // Only the n-th request of this method on a connection (1 = the first); wins over Set.
    void SetFor(const std::string& method, int occurrence, ScriptedReply reply);
    // Back to the defaults: every request answered 200 with the standard headers.
    void Clear();

    void SetDefaults(ReplyDefaults defaults);
    void SetSdp(std::string sdp);
    ReplyDefaults defaults() const;

    ScriptedReply Pick(const std::string& method, int occurrence) const;

private:
    mutable std::mutex m_mutex;
    std::map<std::string, ScriptedReply> m_every;
    std::map<std::pair<std::string, int>, ScriptedReply> m_nth;
    ReplyDefaults m_defaults;
};

}  // namespace playersdk::rtspserver
