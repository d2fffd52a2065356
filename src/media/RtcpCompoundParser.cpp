#include "media/RtcpCompoundParser.h"

#include "base/ByteCursor.h"

namespace playersdk {
namespace {
constexpr size_t kSenderInfoSize = 24;  // after the sender's SSRC
constexpr size_t kBlockSize = 24;

RtcpError ReadBlocks(ByteReader& r, uint8_t count, RtcpCompound& out) {
    for (uint8_t i = 0; i < count; ++i) {
        RtcpReportBlock b;
        uint32_t lost = 0;
        if (r.remaining() < kBlockSize) {
            return RtcpError::kCountPastLength;
        }
        r.be32(b.ssrc);
        r.be32(lost);
        r.be32(b.extendedHighestSeq);
        r.be32(b.jitter);
        r.be32(b.lastSenderReport);
        r.be32(b.delaySinceLastSenderReport);
        b.fractionLost = static_cast<uint8_t>(lost >> 24);
        // 24-bit two's complement, widened with its sign.
        b.cumulativeLost = static_cast<int32_t>(lost << 8) >> 8;
        out.reportBlocks.push_back(b);
    }
    return RtcpError::kNone;
}

RtcpError ReadSenderReport(ByteReader& r, uint8_t count, RtcpCompound& out) {
    RtcpSenderInfo s;
    if (r.remaining() < 4 + kSenderInfoSize) {
        return RtcpError::kTooShort;
    }
    r.be32(s.ssrc);
    r.be32(s.ntpSeconds);
    r.be32(s.ntpFraction);
    r.be32(s.rtpTimestamp);
    r.be32(s.packetCount);
    r.be32(s.octetCount);
    out.senderReports.push_back(s);
    return ReadBlocks(r, count, out);
}

RtcpError ReadReceiverReport(ByteReader& r, uint8_t count, RtcpCompound& out) {
    return r.skip(4) ? ReadBlocks(r, count, out) : RtcpError::kTooShort;
}

// Chunks of a source and its items, each list ended by a zero item and padded to 32 bits.
RtcpError ReadDescription(ByteReader& r, uint8_t count, RtcpCompound& out) {
    for (uint8_t i = 0; i < count; ++i) {
        uint32_t ssrc = 0;
        if (!r.be32(ssrc)) {
            return RtcpError::kSdesPastLength;
        }
        size_t used = 4;
        uint8_t type = 0;
        while (r.u8(type) && type != kSdesEnd) {
            uint8_t size = 0;
            const uint8_t* text = nullptr;
            if (!r.u8(size) || !r.bytes(size, text)) {
                return RtcpError::kSdesPastLength;
            }
            used += 2u + size;
            if (type == kSdesCname) {
                out.cnames.emplace_back(ssrc, std::string(text, text + size));
            }
        }
        if (type != kSdesEnd) {
            return RtcpError::kSdesPastLength;
        }
        const size_t padding = 3 - used % 4;  // the end item took one byte
        if (!r.skip(padding)) {
            return RtcpError::kSdesPastLength;
        }
    }
    return RtcpError::kNone;
}

RtcpError ReadGoodbye(ByteReader& r, uint8_t count, RtcpCompound& out) {
    for (uint8_t i = 0; i < count; ++i) {
        uint32_t ssrc = 0;
        if (!r.be32(ssrc)) {
            return RtcpError::kCountPastLength;
        }
        out.goodbyes.push_back(ssrc);
    }
    return RtcpError::kNone;  // a reason may follow; it is not needed
}

RtcpError ReadPacket(ByteReader& all, RtcpCompound& out) {
    uint8_t first = 0;
    uint8_t type = 0;
    uint16_t words = 0;
    if (!all.u8(first) || !all.u8(type) || !all.be16(words)) {
        return RtcpError::kTooShort;
    }
    if (static_cast<unsigned>(first >> 6) != kRtpVersion) {
        return RtcpError::kBadVersion;
    }
    const uint8_t* body = nullptr;
    const size_t size = size_t{words} * 4;
    if (!all.bytes(size, body)) {
        return RtcpError::kLengthPastEnd;
    }
    size_t used = size;
    if (first & 0x20) {
        const uint8_t padding = size > 0 ? body[size - 1] : 0;
        if (padding == 0 || padding > size) {
            return RtcpError::kBadPadding;
        }
        used -= padding;
    }
    ByteReader r(body, used);
    const uint8_t count = first & 0x1F;
    switch (type) {
        case kRtcpSenderReport:
            return ReadSenderReport(r, count, out);
        case kRtcpReceiverReport:
            return ReadReceiverReport(r, count, out);
        case kRtcpSourceDescription:
            return ReadDescription(r, count, out);
        case kRtcpBye:
            return ReadGoodbye(r, count, out);
        default:
            return RtcpError::kNone;
    }
}
}  // namespace

RtcpError ParseRtcpCompound(const uint8_t* data, size_t len, RtcpCompound& out) {
    out = RtcpCompound{};
    ByteReader all(data, len);
    if (all.remaining() == 0) {
        return RtcpError::kEmpty;
    }
    while (all.remaining() > 0) {
        const RtcpError error = ReadPacket(all, out);
        if (error != RtcpError::kNone) {
            out = RtcpCompound{};
            return error;
        }
    }
    return RtcpError::kNone;
}

}  // namespace playersdk
