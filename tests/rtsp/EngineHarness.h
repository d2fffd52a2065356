// One CRtsp engine against its own loopback RTSP server, with every upward report recorded.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "rtsp/Rtsp.h"
#include "rtspserver/RtspTestServer.h"
#include "support/NetPlayFixture.h"

namespace playersdk::test {

using ReportKinds = std::vector<std::pair<eRtspReplyType, int>>;  // r_type, Error_Code

struct EngineReport {
    eRtspReplyType type;
    int code;
    std::string media;   // the packet of a data report
    rtsp_sdp_info info;  // the record as it was reported
};

// The engine's RNotifyHandle in the tests: pNetPlay is the log, pCon the engine. Traffic
// reports come once a second of real time, so they are kept apart from the others.
class ReportLog : public Recorder<EngineReport> {
public:
    static int Handle(rtsp_sdp_info* info);
    ReportKinds kinds() const;
    std::vector<std::string> media(eRtspReplyType type) const;
    bool WaitFor(eRtspReplyType type, int code, size_t count = 1) const;

    Recorder<float> traffic;  // GetTcpFlux at each traffic report
};

class EngineSession {
public:
    explicit EngineSession(int transType = 1);
    ~EngineSession();
    // Connects the engine and sends DESCRIBE.
    bool Open(int localUdpPort = 0);
    // Open, then wait until the PLAY reply has been reported.
    bool StartPlaying() { return Open() && reports.WaitFor(RTSP_PLAY_REPLAY, 0); }
    int Request(eRtspRequestType type, const char* text = "", const char* seek = "");
    rtspserver::RtspServerConnection& peer() { return *server.WaitForConnection(0); }
    std::vector<rtspserver::ReceivedMessage> requests(const char* method) const {
        return server.records().requests(method);
    }
    std::string url() const { return server.url("movie"); }

    rtspserver::RtspTestServer server;
    ReportLog reports;
    CRtsp engine;

private:
    int m_transType;
    rtsp_request_info m_request{};
};

template <class Action>
long MillisecondsOf(Action action) {
    auto start = std::chrono::steady_clock::now();
    action();
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - start)
                                 .count());
}

// Processor time (user and system) the whole process used while the caller slept 'wait':
// a thread that spins shows here.
double CpuSecondsOver(std::chrono::milliseconds wait);

std::string AsText(const rtspserver::Bytes& bytes);
// Gives 'bytes' cut in two at 'cut' to 'take', piece by piece, as long as it returns false
// (not done yet); returns what it left of the bytes.
std::string LeftAfterTwoPieces(std::string_view bytes, size_t cut,
                               const std::function<bool(std::string_view&)>& take);
// An RTP packet of 'size' bytes (more than its header) whose payload holds no "$".
rtspserver::Bytes RtpPacketOfSize(size_t size, uint16_t sequence = 0);

}  // namespace playersdk::test
