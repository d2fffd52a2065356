#include "livesource/LiveSource.h"

#include <algorithm>
#include <cstdio>

#include "PlayerSDK.h"
#include "livesource/TestPattern.h"
#include "media/H265Nal.h"
#include "rtpgen/RtpGen.h"

namespace playersdk::livesource {
namespace {
using rtspserver::Bytes;

constexpr uint8_t kNalSps = 7;
constexpr uint8_t kNalPps = 8;
constexpr uint8_t kRtpChannel = 0;

std::string Base64(const Bytes& bytes) {
    std::string text(static_cast<size_t>(Base64encode_len(static_cast<int>(bytes.size()))), '\0');
    Base64encode(text.data(), reinterpret_cast<const char*>(bytes.data()),
                 static_cast<int>(bytes.size()));
    text.resize(text.find('\0'));
    return text;
}

std::string Hex(const Bytes& bytes, size_t from = 0, size_t count = SIZE_MAX) {
    std::string text;
    char pair[3];
    for (size_t i = from; i < bytes.size() && i - from < count; ++i) {
        snprintf(pair, sizeof(pair), "%02X", bytes[i]);
        text += pair;
    }
    return text;
}

// The VPS, SPS and PPS of an H.265 configuration, in Base64 as sprop-vps/sps/pps carry them.
rtspserver::H265ParameterSets H265SetsOf(const Bytes& config) {
    namespace h265 = playersdk::h265;
    rtspserver::H265ParameterSets sets;
    for (const NalUnit& unit : AnnexBUnits(config)) {
        const int type = h265::NalType(unit.data[0]);
        std::string& text = type == h265::kNalVps   ? sets.vps
                            : type == h265::kNalSps ? sets.sps
                                                    : sets.pps;
        if (h265::IsParameterSet(type)) {
            text = Base64(unit.bytes());
        }
    }
    return sets;
}
}  // namespace

std::string BuildSourceSdp(const LiveSourceOptions& source, const std::vector<uint8_t>& config) {
    rtspserver::SdpOptions options;
    options.frameRate = static_cast<unsigned>(source.fps);
    options.width = source.width;
    options.height = source.height;
    if (source.codec == VideoCodec::kMpeg4) {
        return rtspserver::BuildMpeg4Sdp(Hex(config), options);
    }
    if (source.codec == VideoCodec::kH265) {
        return rtspserver::BuildH265Sdp(H265SetsOf(config), options);
    }
    std::string sets;
    for (const NalUnit& unit : AnnexBUnits(config)) {
        if (unit.type() == kNalSps && unit.size >= 4) {
            options.profileLevelId = Hex(unit.bytes(), 1, 3);
        }
        if (unit.type() == kNalSps || unit.type() == kNalPps) {
            sets += (sets.empty() ? "" : ",") + Base64(unit.bytes());
        }
    }
    options.spropParameterSets = sets;
    return rtspserver::BuildH264Sdp(options);
}

CLiveSource::CLiveSource(LiveSourceOptions options) : m_options(options) {}

CLiveSource::~CLiveSource() {
    Stop();
}

bool CLiveSource::Start(uint16_t port) {
    if (m_thread.joinable() || !m_encoder.Open(m_options.codec, m_options.width, m_options.height,
                                               m_options.fps, m_options.gop)) {
        return false;
    }
    m_packetizer = std::make_unique<CPicturePacketizer>(m_options.codec, m_encoder.config(),
                                                        m_server.script().defaults().ssrc);
    m_sdp = BuildSourceSdp(m_options, m_encoder.config());
    m_server.script().SetSdp(m_sdp);
    m_server.SetAnsweredHook([this](size_t connection, const rtspserver::ReceivedMessage& request,
                                    int status) { OnAnswered(connection, request, status); });
    if (!m_server.Start(port)) {
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_runMutex);
        m_stopping = false;
    }
    m_thread = std::thread(&CLiveSource::Run, this);
    return true;
}

void CLiveSource::Stop() {
    // The server goes first: once it has stopped no answer adds a client any more.
    m_server.Stop();
    {
        std::lock_guard<std::mutex> lock(m_runMutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    std::lock_guard<std::mutex> lock(m_clientsMutex);
    m_clients.clear();
}

size_t CLiveSource::clientCount() const {
    std::lock_guard<std::mutex> lock(m_clientsMutex);
    return m_clients.size();
}

// A client is streamed to from the moment it has read the answer to its PLAY, until it
// pauses or ends the session.
void CLiveSource::OnAnswered(size_t connection, const rtspserver::ReceivedMessage& request,
                             int status) {
    if (request.method == "PAUSE" || request.method == "TEARDOWN") {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        m_clients.erase(connection);
        return;
    }
    if (request.method != "PLAY" || status != 200) {
        return;
    }
    auto peer = m_server.connection(connection);
    if (!peer) {
        return;
    }
    std::lock_guard<std::mutex> lock(m_clientsMutex);
    if (m_clients.count(connection) == 0) {
        m_clients[connection] = Client{peer, peer->clientRtpPort(), false};
        m_keyWanted = true;
    }
}

void CLiveSource::Run() {
    const auto period = std::chrono::microseconds(1000000 / std::max(m_options.fps, 1));
    Clock::time_point next = Clock::now();
    std::unique_lock<std::mutex> lock(m_runMutex);
    while (!m_wake.wait_until(lock, next, [this] { return m_stopping; })) {
        lock.unlock();
        SendNextFrame();
        lock.lock();
        next += period;
        // A machine too busy to keep up loses pictures instead of sending a burst of them.
        if (Clock::now() > next + 5 * period) {
            next = Clock::now();
        }
    }
}

void CLiveSource::SendNextFrame() {
    const uint32_t number = m_frames.load();
    std::vector<EncodedPicture> encoded;
    const Picture picture = DrawTestPattern(m_options.width, m_options.height, number);
    if (!m_encoder.Encode(picture, m_keyWanted.exchange(false), encoded)) {
        return;
    }
    m_frames = number + 1;
    const uint32_t ticksPerFrame = kVideoClock / static_cast<uint32_t>(std::max(m_options.fps, 1));
    for (const EncodedPicture& frame : encoded) {
        const uint32_t timestamp = static_cast<uint32_t>(frame.index) * ticksPerFrame;
        SendToClients(m_packetizer->Packetize(frame, timestamp), frame.key);
    }
}

void CLiveSource::SendToClients(const std::vector<Bytes>& packets, bool key) {
    std::vector<Client> clients;
    {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        for (auto& [index, client] : m_clients) {
            client.started = client.started || key;
            if (client.started) {
                clients.push_back(client);
            }
        }
    }
    // Sent without the lock: a slow reader must not hold up the server's answers.
    for (const Client& client : clients) {
        if (!SendTo(client, packets)) {
            std::lock_guard<std::mutex> lock(m_clientsMutex);
            m_clients.erase(client.connection->index());
        }
    }
}

bool CLiveSource::SendTo(const Client& client, const std::vector<Bytes>& packets) {
    if (!client.connection->isOpen()) {
        return false;  // the session is over; UDP datagrams would still leave without error
    }
    for (const Bytes& packet : packets) {
        const bool sent = client.udpPort != 0
                              ? m_server.udp().SendTo(client.udpPort, packet)
                              : client.connection->SendInterleaved(kRtpChannel, packet);
        if (!sent) {
            return false;
        }
    }
    return true;
}

}  // namespace playersdk::livesource
