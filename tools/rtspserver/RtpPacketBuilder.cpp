#include "rtspserver/RtpPacketBuilder.h"

#include <algorithm>

#include "base/ByteCursor.h"

namespace playersdk::rtspserver {
namespace {
constexpr size_t kRtpHeaderSize = 12;
constexpr uint8_t kRtcpSenderReport = 200;
constexpr uint8_t kRtcpBye = 203;
constexpr uint8_t kFuA = 28;
constexpr uint8_t kH265Fu = 49;

// First RTCP word: version 2, no padding, 'count' sources or blocks, type, length in words - 1.
void WriteRtcpHeader(ByteWriter& w, uint8_t count, uint8_t type, uint16_t words) {
    w.u8(static_cast<uint8_t>(0x80 | count)).u8(type).be16(static_cast<uint16_t>(words - 1));
}

Bytes Finish(Bytes& buffer, const ByteWriter& w) {
    buffer.resize(w.ok() ? w.size() : 0);
    return std::move(buffer);
}
}  // namespace

Bytes BuildRtpPacket(const RtpHeaderFields& header, const uint8_t* payload, size_t len) {
    Bytes packet(kRtpHeaderSize + len);
    ByteWriter w(packet.data(), packet.size());
    w.u8(0x80)
        .u8(static_cast<uint8_t>((header.marker ? 0x80 : 0) | (header.payloadType & 0x7F)))
        .be16(header.sequence)
        .be32(header.timestamp)
        .be32(header.ssrc)
        .bytes(payload, len);
    return Finish(packet, w);
}

Bytes BuildRtpPacket(const RtpHeaderFields& header, const Bytes& payload) {
    return BuildRtpPacket(header, payload.data(), payload.size());
}

Bytes BuildRtcpSenderReport(const SenderReportFields& fields) {
    Bytes packet(28);
    ByteWriter w(packet.data(), packet.size());
    WriteRtcpHeader(w, 0, kRtcpSenderReport, 7);
    w.be32(fields.ssrc)
        .be32(fields.ntpSeconds)
        .be32(fields.ntpFraction)
        .be32(fields.rtpTimestamp)
        .be32(fields.packetCount)
        .be32(fields.octetCount);
    return Finish(packet, w);
}

Bytes BuildRtcpBye(uint32_t ssrc) {
    Bytes packet(8);
    ByteWriter w(packet.data(), packet.size());
    WriteRtcpHeader(w, 1, kRtcpBye, 2);
    w.be32(ssrc);
    return Finish(packet, w);
}

Bytes BuildInterleavedFrame(uint8_t channel, uint16_t declaredLength, const Bytes& payload) {
    Bytes frame(4 + payload.size());
    ByteWriter w(frame.data(), frame.size());
    w.u8('$').u8(channel).be16(declaredLength).bytes(payload.data(), payload.size());
    return Finish(frame, w);
}

Bytes BuildInterleavedFrame(uint8_t channel, const Bytes& payload) {
    return BuildInterleavedFrame(channel, static_cast<uint16_t>(payload.size()), payload);
}

namespace {
// The bytes of one NAL unit after its header, in pieces of at most maxPayload bytes, each
// behind 'indicator' (the payload header that names a fragment) and a fragment header: the
// start and end bits and the unit's own type.
std::vector<Bytes> Fragment(const uint8_t* nal, size_t len, size_t headerSize,
                            const Bytes& indicator, uint8_t type, size_t maxPayload) {
    std::vector<Bytes> pieces;
    if (len <= headerSize || maxPayload < indicator.size() + 2) {
        return pieces;
    }
    const size_t pieceMax = maxPayload - indicator.size() - 1;
    for (size_t pos = headerSize; pos < len; pos += pieceMax) {
        const size_t n = std::min(pieceMax, len - pos);
        const bool first = pos == headerSize;
        const bool last = pos + n == len;
        Bytes piece = indicator;
        piece.push_back(static_cast<uint8_t>((first ? 0x80 : 0) | (last ? 0x40 : 0) | type));
        piece.insert(piece.end(), nal + pos, nal + pos + n);
        pieces.push_back(std::move(piece));
    }
    return pieces;
}
}  // namespace

std::vector<Bytes> FragmentH264Nal(const uint8_t* nal, size_t len, size_t maxPayload) {
    if (len == 0) {
        return {};
    }
    // The NAL header byte is replaced by an indicator (its NRI, type 28) and a fragment
    // header (start/end bits and the original type) in front of every piece.
    return Fragment(nal, len, 1, {static_cast<uint8_t>((nal[0] & 0xE0) | kFuA)},
                    static_cast<uint8_t>(nal[0] & 0x1F), maxPayload);
}

std::vector<Bytes> FragmentH265Nal(const uint8_t* nal, size_t len, size_t maxPayload) {
    if (len < 2) {
        return {};
    }
    // The two header bytes become a payload header of type 49 with the unit's forbidden bit,
    // layer and temporal id; the fragment header carries the unit's type.
    return Fragment(nal, len, 2, {static_cast<uint8_t>((nal[0] & 0x81) | (kH265Fu << 1)), nal[1]},
                    static_cast<uint8_t>((nal[0] >> 1) & 0x3F), maxPayload);
}

RtpPacketBuilder::RtpPacketBuilder(uint8_t payloadType, uint32_t ssrc, uint16_t firstSequence) {
    m_header.payloadType = payloadType;
    m_header.ssrc = ssrc;
    m_header.sequence = firstSequence;
}

Bytes RtpPacketBuilder::NextFrom(const uint8_t* payload, size_t len, uint32_t timestamp,
                                 bool marker) {
    m_header.timestamp = timestamp;
    m_header.marker = marker;
    Bytes packet = BuildRtpPacket(m_header, payload, len);
    ++m_header.sequence;
    return packet;
}

Bytes RtpPacketBuilder::Next(const Bytes& payload, uint32_t timestamp, bool marker) {
    return NextFrom(payload.data(), payload.size(), timestamp, marker);
}

std::vector<Bytes> RtpPacketBuilder::PacketizeNal(const uint8_t* nal, size_t len,
                                                  uint32_t timestamp, bool endOfAccessUnit,
                                                  size_t maxPayload, Fragmenter fragment) {
    std::vector<Bytes> packets;
    if (len == 0 || maxPayload < 3) {
        return packets;
    }
    if (len <= maxPayload) {
        packets.push_back(NextFrom(nal, len, timestamp, endOfAccessUnit));
        return packets;
    }
    const std::vector<Bytes> pieces = fragment(nal, len, maxPayload);
    for (size_t i = 0; i < pieces.size(); ++i) {
        const bool last = i + 1 == pieces.size();
        packets.push_back(Next(pieces[i], timestamp, last && endOfAccessUnit));
    }
    return packets;
}

std::vector<Bytes> RtpPacketBuilder::PacketizeH264Nal(const uint8_t* nal, size_t len,
                                                      uint32_t timestamp, bool endOfAccessUnit,
                                                      size_t maxPayload) {
    return PacketizeNal(nal, len, timestamp, endOfAccessUnit, maxPayload, FragmentH264Nal);
}

std::vector<Bytes> RtpPacketBuilder::PacketizeH265Nal(const uint8_t* nal, size_t len,
                                                      uint32_t timestamp, bool endOfAccessUnit,
                                                      size_t maxPayload) {
    return PacketizeNal(nal, len, timestamp, endOfAccessUnit, maxPayload, FragmentH265Nal);
}

}  // namespace playersdk::rtspserver
