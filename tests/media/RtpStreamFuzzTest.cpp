// Arbitrary datagrams shaped just enough to reach every parser; run under the sanitizers.
#include <cstring>
#include <random>

#include "MediaTestSupport.h"
#include "base/ByteCursor.h"

namespace {
using rtpgen::Bytes;

uint64_t g_frameBytesSeen = 0;
int TouchEveryByte(long, char* buf, int length, long) {
    for (int i = 0; i < length; ++i) {
        g_frameBytesSeen += static_cast<unsigned char>(buf[i]) | 1u;
    }
    return 0;
}

// Runs of packets with one key and rising sequence numbers so that frames complete, wait or are
// given up; every other field a parser looks at is random.
class Shaper {
public:
    explicit Shaper(uint32_t seed) : m_rng(seed) {}

    void Shape(Bytes& d, bool anyPayloadType) {
        if (d.size() < 16) {
            RandomBytes(d, 0, d.size());
            return;
        }
        if (m_runLeft-- <= 0) {
            m_runLeft = Pick(20);
            m_key += 1 + Pick(3);
            m_seq = static_cast<uint16_t>(m_rng());
            m_pt = PickPayloadType(anyPayloadType);
        }
        const bool extension = Pick(8) == 0;
        d[0] = static_cast<uint8_t>((Pick(8) == 0 ? Pick(4) : 2) << 6 | (Pick(4) == 0) << 5 |
                                    extension << 4 | Pick(16));
        const bool marker = m_runLeft == 0 ? Pick(8) != 0 : Pick(16) == 0;
        d[1] = static_cast<uint8_t>(marker << 7 | m_pt);
        const uint16_t seq = Pick(16) == 0 ? static_cast<uint16_t>(m_rng()) : m_seq++;
        playersdk::ByteWriter(d.data() + 2, 10).be16(seq).be32(m_rng()).be32(m_key);
        size_t payload = 12;
        if (extension) {
            const uint16_t words = Pick(4) == 0 ? static_cast<uint16_t>(m_rng()) : Pick(4);
            playersdk::ByteWriter(d.data() + 12, 4).be16(0xBEDE).be16(words);
            payload += (words + 1u) * 4;
        }
        if (payload + 3 <= d.size()) {
            ShapeNalHeader(d.data() + payload, d.size() - payload);
        }
        d.back() = static_cast<uint8_t>(Pick(4) == 0 ? m_rng() : Pick(8));  // padding length
    }

    void RandomBytes(Bytes& d, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
            d[i] = static_cast<uint8_t>(m_rng());
        }
    }

private:
    int Pick(int n) { return static_cast<int>(m_rng() % n); }

    int PickPayloadType(bool any) {
        static const int kHandled[] = {96, 96, 96, 35, 97, 98};
        return any && Pick(5) == 0 ? Pick(128) : kHandled[Pick(6)];
    }

    // Single NAL units, STAP-A with sizes inside or beyond the packet, FU-A of every kind.
    void ShapeNalHeader(uint8_t* p, size_t left) {
        static const uint8_t kTypes[] = {24, 28, 28, 5, 1, 7};
        p[0] = static_cast<uint8_t>((m_rng() & 0xE0) | kTypes[Pick(6)]);
        if ((p[0] & 0x1F) == 24) {
            const uint16_t size = Pick(2) == 0 ? Pick(static_cast<int>(left)) : m_rng();
            playersdk::ByteWriter(p + 1, 2).be16(size);
            if (3u + size < left) {
                p[3] = static_cast<uint8_t>(Pick(2) == 0 ? 0x67 : m_rng());
            }
        }
    }

    std::mt19937 m_rng;
    uint32_t m_key = 1000;
    uint16_t m_seq = 0;
    int m_runLeft = 0;
    int m_pt = 96;
};
}  // namespace

TEST_F(MediaTest, DatagramsOfEveryLengthAndShapeStayInsideTheirBuffers) {
    fakedecoder::Choices choices;
    choices.keepFrames = false;
    fakedecoder::Reset(choices);
    NetPlay_setGotFrameCallback(TouchEveryByte);
    stream.EnableLosePakcetReport(1);
    Shaper shaper(20240611);
    Bytes pool(65536 + 64);
    shaper.RandomBytes(pool, 0, pool.size());
    int counted = 0;
    // Every length a datagram can have, each in a block of exactly that size, then short ones.
    for (int len = 0; len <= 65535; ++len) {
        Bytes datagram(pool.begin() + (len % 61), pool.begin() + (len % 61) + len);
        shaper.Shape(datagram, false);
        stream.InputData(datagram.empty() ? nullptr : datagram.data(), len);
        counted += len > 12;
    }
    for (int i = 0; i < 100000; ++i) {
        Bytes datagram(i % 97);
        shaper.RandomBytes(datagram, 0, datagram.size());
        shaper.Shape(datagram, true);
        stream.InputData(datagram.data(), static_cast<int>(datagram.size()));
        counted += datagram.size() > 12;
    }
    EXPECT_EQ(stream.m_iTotalPacket, counted);
    EXPECT_GT(stream.m_iTotalFrame, 1000);
    EXPECT_GT(stream.m_iLosePacket, 1000);
    EXPECT_GT(fakedecoder::FrameCount(), 1000u);
    EXPECT_GT(g_frameBytesSeen, 0u);
    stream.CloseStream();
    EXPECT_EQ(stream.m_iFrameCount, 0);
}
