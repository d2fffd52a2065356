#include "IngestStream.h"

#include <algorithm>

#include "base/ByteCursor.h"
#include "livesource/LiveSource.h"
#include "livesource/PicturePacketizer.h"
#include "livesource/TestPattern.h"

namespace ingest {
namespace {
using playersdk::livesource::CPicturePacketizer;
using playersdk::livesource::CVideoEncoder;
using playersdk::livesource::EncodedPicture;
using playersdk::livesource::kMaxRtpPayload;
using playersdk::livesource::kVideoClock;
using playersdk::livesource::VideoCodec;

constexpr int kKeyFrameWeight = 4;
constexpr uint8_t kNalFiller = 12;
constexpr size_t kRtpHeaderSize = 12;
constexpr size_t kFuHeaderSize = 2;
constexpr size_t kSequenceAt = 2;  // bytes 2-3 of the RTP header, then the time stamp

// A fragment carries kMaxRtpPayload - 2 bytes of its unit in a packet of kMaxRtpPayload + 12.
size_t UnitBytesFor(size_t packetBytes) {
    const size_t carried = kMaxRtpPayload - kFuHeaderSize;
    return packetBytes * carried / (kMaxRtpPayload + kRtpHeaderSize);
}

// Start code, filler header, 0xFF bytes and the stop bit: 'size' bytes in all.
void AppendFiller(std::vector<uint8_t>& annexB, size_t size) {
    constexpr uint8_t kStart[] = {0, 0, 0, 1, kNalFiller};
    constexpr size_t kFramingBytes = sizeof(kStart) + 1;
    if (size <= kFramingBytes) {
        return;
    }
    annexB.insert(annexB.end(), std::begin(kStart), std::end(kStart));
    annexB.insert(annexB.end(), size - kFramingBytes, 0xFF);
    annexB.push_back(0x80);
}

// What each access unit of the pass may take, in RTP packet bytes.
std::vector<double> Budgets(const IngestStreamOptions& o) {
    const double passBytes = o.mbps * 1e6 / 8 * o.frames / o.fps;
    int weights = 0;
    for (int i = 0; i < o.frames; ++i) {
        weights += i % o.gop == 0 ? kKeyFrameWeight : 1;
    }
    std::vector<double> budgets;
    for (int i = 0; i < o.frames; ++i) {
        budgets.push_back(passBytes * (i % o.gop == 0 ? kKeyFrameWeight : 1) / weights);
    }
    return budgets;
}
}  // namespace

bool CIngestStream::Make(const IngestStreamOptions& options) {
    m_options = options;
    m_options.fps = std::max(options.fps, 1);
    m_options.gop = std::max(options.gop, 1);
    m_options.frames = std::max(options.frames, 1);
    CVideoEncoder encoder;
    if (!encoder.Open(VideoCodec::kH264, m_options.width, m_options.height, m_options.fps,
                      m_options.gop)) {
        return false;
    }
    playersdk::livesource::LiveSourceOptions source;
    source.width = m_options.width;
    source.height = m_options.height;
    source.fps = m_options.fps;
    source.gop = m_options.gop;
    m_sdp = playersdk::livesource::BuildSourceSdp(source, encoder.config());
    CPicturePacketizer packetizer(VideoCodec::kH264, encoder.config(), ssrc(), kMaxRtpPayload,
                                  true);
    const std::vector<double> budgets = Budgets(m_options);
    const uint32_t ticks = kVideoClock / static_cast<uint32_t>(m_options.fps);
    m_units.clear();
    m_packetsPerPass = 0;
    m_bytesPerPass = 0;
    double debt = 0;  // bytes a picture took beyond its budget, taken from the next ones
    for (int i = 0; i < m_options.frames; ++i) {
        std::vector<EncodedPicture> encoded;
        const auto picture = playersdk::livesource::DrawTestPattern(
            m_options.width, m_options.height, static_cast<uint32_t>(i));
        if (!encoder.Encode(picture, i % m_options.gop == 0, encoded) || encoded.size() != 1) {
            return false;
        }
        EncodedPicture& unit = encoded.front();
        const double wanted = UnitBytesFor(static_cast<size_t>(budgets[i])) - debt;
        const double filler = wanted - static_cast<double>(unit.bytes.size());
        debt = filler < 0 ? -filler : 0;
        AppendFiller(unit.bytes, filler > 0 ? static_cast<size_t>(filler) : 0);
        AccessUnit packed{packetizer.Packetize(unit, static_cast<uint32_t>(i) * ticks),
                          static_cast<uint16_t>(m_packetsPerPass)};
        m_packetsPerPass += packed.packets.size();
        for (const Bytes& packet : packed.packets) {
            m_bytesPerPass += packet.size();
        }
        m_units.push_back(std::move(packed));
    }
    return true;
}

uint32_t CIngestStream::ssrc() const {
    return playersdk::rtspserver::kDefaultSsrc;
}

void CIngestStream::Unit(uint64_t n, std::vector<Bytes>& packets) const {
    packets.clear();
    if (m_units.empty()) {
        return;
    }
    const uint64_t pass = n / m_units.size();
    const AccessUnit& unit = m_units[n % m_units.size()];
    const uint32_t ticks = kVideoClock / static_cast<uint32_t>(m_options.fps);
    uint16_t sequence = static_cast<uint16_t>(pass * m_packetsPerPass + unit.firstSequence);
    for (const Bytes& packet : unit.packets) {
        Bytes& out = packets.emplace_back(packet);
        playersdk::ByteWriter(out.data() + kSequenceAt, out.size() - kSequenceAt)
            .be16(sequence++)
            .be32(static_cast<uint32_t>(n * ticks));
    }
}

double CIngestStream::megabitsPerSecond() const {
    const double seconds = static_cast<double>(m_options.frames) / m_options.fps;
    return static_cast<double>(m_bytesPerPass) * 8 / seconds / 1e6;
}

}  // namespace ingest
