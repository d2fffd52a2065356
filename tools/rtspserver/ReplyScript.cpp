#include "rtspserver/ReplyScript.h"

namespace playersdk::rtspserver {

void ReplyScript::Set(const std::string& method, ScriptedReply reply) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_every[method] = std::move(reply);
}

void ReplyScript::SetFor(const std::string& method, int occurrence, ScriptedReply reply) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nth[{method, occurrence}] = std::move(reply);
}

void ReplyScript::Clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_every.clear();
    m_nth.clear();
}

void ReplyScript::SetDefaults(ReplyDefaults defaults) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_defaults = std::move(defaults);
}

void ReplyScript::SetSdp(std::string sdp) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_defaults.sdp = std::move(sdp);
}

ReplyDefaults ReplyScript::defaults() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_defaults;
}

ScriptedReply ReplyScript::Pick(const std::string& method, int occurrence) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (auto nth = m_nth.find({method, occurrence}); nth != m_nth.end()) {
        return nth->second;
    }
    if (auto every = m_every.find(method); every != m_every.end()) {
        return every->second;
    }
    return ScriptedReply{};
}

}  // namespace playersdk::rtspserver
