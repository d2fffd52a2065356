// A live camera on the loopback interface: the test pattern, encoded as it is drawn (H.264,
// H.265 or MPEG-4), paced in real time and streamed through its own RtspTestServer to every client
// whose PLAY was answered: interleaved in the RTSP connection, or over UDP to the client_port
// the client offered in SETUP. A client starts at a key frame (one is made when it joins).
//
//   CLiveSource source;               // H.264, 320x240, 25 frames a second
//   if (source.Start()) { ... NetPlay_OpenUrl(container, source.url(), ...) ... }
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "livesource/PicturePacketizer.h"
#include "livesource/VideoEncoder.h"
#include "rtspserver/RtspTestServer.h"

namespace playersdk::livesource {

struct LiveSourceOptions {
    VideoCodec codec = VideoCodec::kH264;
    int width = 320;
    int height = 240;
    int fps = 25;
    int gop = 25;  // a key frame every second besides those made for new clients
};

// The SDP a source with these options serves for its encoder's configuration ('config' as
// CVideoEncoder::config gives it): H.264 with its parameter sets and profile, H.265 with its
// VPS, SPS and PPS, or MPEG-4 with its configuration; frame rate and picture size from the
// options.
std::string BuildSourceSdp(const LiveSourceOptions& options, const std::vector<uint8_t>& config);

class CLiveSource {
public:
    using Bytes = rtspserver::Bytes;

    explicit CLiveSource(LiveSourceOptions options = {});
    virtual ~CLiveSource();
    CLiveSource(const CLiveSource&) = delete;
    CLiveSource& operator=(const CLiveSource&) = delete;

    // Opens the encoder, serves the stream's SDP on 127.0.0.1 (port 0: ephemeral) and starts
    // drawing; false when the encoder or the server could not be set up.
    bool Start(uint16_t port = 0);
    // Stops the server (its clients read end of stream) and the drawing thread.
    void Stop();

    std::string url() const { return m_server.url("live"); }
    const std::string& sdp() const { return m_sdp; }
    const LiveSourceOptions& options() const { return m_options; }
    rtspserver::RtspTestServer& server() { return m_server; }
    // Pictures encoded so far, and how many clients are being streamed to now.
    uint32_t framesEncoded() const { return m_frames.load(); }
    size_t clientCount() const;

private:
    struct Client {
        std::shared_ptr<rtspserver::RtspServerConnection> connection;
        uint16_t udpPort = 0;  // 0: interleaved in the RTSP connection
        bool started = false;  // a key frame has gone out to it
    };
    using Clock = std::chrono::steady_clock;

    void OnAnswered(size_t connection, const rtspserver::ReceivedMessage& request, int status);
    void Run();
    void SendNextFrame();
    void SendToClients(const std::vector<Bytes>& packets, bool key);
    bool SendTo(const Client& client, const std::vector<Bytes>& packets);

    const LiveSourceOptions m_options;
    CVideoEncoder m_encoder;
    std::unique_ptr<CPicturePacketizer> m_packetizer;  // made once the encoder is open
    std::string m_sdp;
    rtspserver::RtspTestServer m_server;
    std::atomic<uint32_t> m_frames{0};
    std::atomic<bool> m_keyWanted{false};

    mutable std::mutex m_clientsMutex;
    std::map<size_t, Client> m_clients;  // by connection index

    std::mutex m_runMutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
    std::thread m_thread;
};

}  // namespace playersdk::livesource
