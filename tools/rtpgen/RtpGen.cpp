#include "rtpgen/RtpGen.h"

#include "base/ByteCursor.h"
#include "rtspserver/RtpPacketBuilder.h"

namespace rtpgen {
namespace {
const Bytes kSps = {0x67, 0x42, 0x00, 0x1F, 0x95, 0xA8, 0x14, 0x01, 0x6E, 0x40};
const Bytes kPps = {0x68, 0xCE, 0x3C, 0x80};
}  // namespace

Bytes Packet(const RtpFields& f, const Bytes& payload) {
    playersdk::rtspserver::RtpHeaderFields header;
    header.payloadType = f.pt;
    header.marker = f.marker;
    header.sequence = f.seq;
    header.timestamp = f.timestamp;
    header.ssrc = f.ssrc;
    return playersdk::rtspserver::BuildRtpPacket(header, payload);
}

Bytes StapA(const Bytes& sps, const Bytes& pps) {
    Bytes out(1 + 2 + sps.size() + 2 + pps.size());
    playersdk::ByteWriter w(out.data(), out.size());
    w.u8(0x18).be16(static_cast<uint16_t>(sps.size())).bytes(sps.data(), sps.size());
    w.be16(static_cast<uint16_t>(pps.size())).bytes(pps.data(), pps.size());
    return out;
}

std::vector<Bytes> FuA(const Bytes& nal, size_t maxPayload) {
    return playersdk::rtspserver::FragmentH264Nal(nal.data(), nal.size(), maxPayload);
}

Bytes Nal(uint8_t header, size_t size) {
    Bytes nal(size);
    nal[0] = header;
    for (size_t i = 1; i < size; ++i) {
        nal[i] = static_cast<uint8_t>(i * 7 + 1);
    }
    return nal;
}

std::vector<StreamPacket> H264Stream(const StreamShape& shape, int frames, uint16_t firstSeq) {
    std::vector<StreamPacket> stream;
    uint16_t seq = firstSeq;
    for (int frame = 0; frame < frames; ++frame) {
        const bool key = frame % shape.gop == 0;
        std::vector<Bytes> payloads;
        if (key) {
            payloads.push_back(StapA(kSps, kPps));
        }
        const Bytes slice =
            Nal(key ? 0x65 : 0x41, key ? shape.keyFrameBytes : shape.deltaFrameBytes);
        for (Bytes& fragment : FuA(slice, shape.fragment)) {
            payloads.push_back(std::move(fragment));
        }
        const int count = static_cast<int>(payloads.size());
        for (int i = 0; i < count; ++i) {
            RtpFields fields;
            fields.seq = seq++;
            fields.marker = i == count - 1;
            fields.timestamp = frame * shape.ticksPerFrame;
            fields.ssrc = shape.ssrc;
            stream.push_back({Packet(fields, payloads[i]), frame, i, count});
        }
    }
    return stream;
}

}  // namespace rtpgen
