#include "rtpgen/RtpGen.h"

#include "base/ByteCursor.h"

namespace rtpgen {
namespace {
constexpr size_t kHeader = 12;
const Bytes kSps = {0x67, 0x42, 0x00, 0x1F, 0x95, 0xA8, 0x14, 0x01, 0x6E, 0x40};
const Bytes kPps = {0x68, 0xCE, 0x3C, 0x80};
}  // namespace

Bytes Packet(const RtpFields& f, const Bytes& payload) {
    Bytes out(kHeader + payload.size());
    playersdk::ByteWriter w(out.data(), out.size());
    w.u8(0x80).u8(static_cast<uint8_t>((f.marker ? 0x80 : 0) | (f.pt & 0x7F))).be16(f.seq);
    w.be32(f.timestamp).be32(f.ssrc).bytes(payload.data(), payload.size());
    return out;
}

Bytes StapA(const Bytes& sps, const Bytes& pps) {
    Bytes out(1 + 2 + sps.size() + 2 + pps.size());
    playersdk::ByteWriter w(out.data(), out.size());
    w.u8(0x18).be16(static_cast<uint16_t>(sps.size())).bytes(sps.data(), sps.size());
    w.be16(static_cast<uint16_t>(pps.size())).bytes(pps.data(), pps.size());
    return out;
}

std::vector<Bytes> FuA(const Bytes& nal, size_t maxPayload) {
    std::vector<Bytes> fragments;
    const uint8_t indicator = static_cast<uint8_t>((nal[0] & 0xE0) | 28);
    const size_t step = maxPayload - 2;
    for (size_t at = 1; at < nal.size(); at += step) {
        const size_t n = nal.size() - at < step ? nal.size() - at : step;
        uint8_t header = nal[0] & 0x1F;
        header |= at == 1 ? 0x80 : 0;
        header |= at + n == nal.size() ? 0x40 : 0;
        Bytes fragment = {indicator, header};
        fragment.insert(fragment.end(), nal.begin() + at, nal.begin() + at + n);
        fragments.push_back(std::move(fragment));
    }
    return fragments;
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
