// Loopback RTSP server for end-to-end tests and the demo player. It listens on 127.0.0.1 on
// an ephemeral port, serves any number of client connections (each on its own thread, with
// its own session id), answers from a script (a working H.264 session by default), records
// every byte received and lets the test push interleaved frames and server requests.
//
//   RtspTestServer server;
//   ASSERT_TRUE(server.Start());
//   server.script().SetFor("DESCRIBE", 1, ScriptedReply::Status(404));
//   ... the client opens server.url("movie") ...
//   ASSERT_TRUE(server.records().WaitForMethod("PLAY"));
//   server.WaitForConnection(0)->SendInterleaved(0, BuildRtpPacket({}, payload));
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "rtspserver/ReplyScript.h"
#include "rtspserver/RtspServerConnection.h"
#include "rtspserver/ServerRecords.h"
#include "rtspserver/UdpTestSender.h"

namespace playersdk::rtspserver {

class RtspTestServer {
public:
    RtspTestServer() = default;
    ~RtspTestServer();
    RtspTestServer(const RtspTestServer&) = delete;
    RtspTestServer& operator=(const RtspTestServer&) = delete;

    // Listens on 127.0.0.1 (port 0: ephemeral) and opens the UDP sender whose port SETUP
    // replies give as server_port. False when a socket could not be set up.
    bool Start(uint16_t port = 0);
    // Set before Start; see AnsweredHook.
    void SetAnsweredHook(AnsweredHook hook) { m_answered = std::move(hook); }
    // Closes every connection and socket and joins every thread. Records stay readable.
    void Stop();
    bool isRunning() const { return m_running.load(); }

    uint16_t port() const { return m_port.load(); }
    // "rtsp://127.0.0.1:<port>/<path>"
    std::string url(std::string_view path = "movie") const;

    ReplyScript& script() { return m_script; }
    const ServerRecords& records() const { return m_records; }
    UdpTestSender& udp() { return m_udp; }

    // Connections in accept order; null when there is none with that index (yet).
    std::shared_ptr<RtspServerConnection> connection(size_t index) const;
    std::shared_ptr<RtspServerConnection> WaitForConnection(
        size_t index = 0, ServerRecords::Timeout timeout = ServerRecords::kWait) const;

private:
    void AcceptLoop();
    void Accept();
    void CloseSockets();

    ReplyScript m_script;
    ServerRecords m_records;
    UdpTestSender m_udp;
    AnsweredHook m_answered;

    std::atomic<bool> m_running{false};
    std::atomic<uint16_t> m_port{0};
    int m_listenFd = -1;
    int m_stopFd = -1;  // readable once Stop has begun; wakes every thread's poll
    std::thread m_acceptThread;

    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<RtspServerConnection>> m_connections;
};

}  // namespace playersdk::rtspserver
