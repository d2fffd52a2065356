// CRtpStream::InputData on a camera-like H.264 stream: 25 access units a second, an IDR with
// SPS/PPS in an STAP-A once a second, slices in 1400-byte FU-A fragments.
// Run with --benchmark_format=json (or csv) for script-readable figures.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "fakedecoder/FakeDecoder.h"
#include "media/RtpStream.h"
#include "rtpgen/RtpGen.h"

namespace {
constexpr int kFramesPerSecond = 25;
constexpr int kReorderPercent = 5;

struct Stream {
    std::vector<rtpgen::Bytes> datagrams;
    int64_t payloadBytes = 0;
};

Stream Take(const std::vector<rtpgen::StreamPacket>& packets) {
    Stream s;
    for (const rtpgen::StreamPacket& p : packets) {
        s.payloadBytes += static_cast<int64_t>(p.datagram.size()) - 12;
        s.datagrams.push_back(p.datagram);
    }
    return s;
}

std::vector<rtpgen::StreamPacket> Seconds(int seconds) {
    return rtpgen::H264Stream(rtpgen::StreamShape(), seconds * kFramesPerSecond, 0);
}

// Swaps 5% of the packets with their successor, inside an access unit and behind its first two
// packets: the reordering a frame can still be rebuilt from.
std::vector<rtpgen::StreamPacket> Reordered(std::vector<rtpgen::StreamPacket> packets) {
    std::mt19937 rng(7);
    for (size_t i = 0; i + 1 < packets.size(); ++i) {
        const rtpgen::StreamPacket& p = packets[i];
        if (p.index >= 2 && p.index + 1 < p.count && rng() % 100 < kReorderPercent) {
            std::swap(packets[i], packets[i + 1]);
            ++i;
        }
    }
    return packets;
}

// A first FU-A fragment is rewritten in place over bytes 9-13 of its datagram; those bytes are
// put back so that the same datagrams can be fed again.
void FeedOne(CRtpStream& stream, rtpgen::Bytes& d) {
    uint8_t saved[8];
    memcpy(saved, d.data() + 8, sizeof(saved));
    stream.InputData(d.data(), static_cast<int>(d.size()));
    memcpy(d.data() + 8, saved, sizeof(saved));
}

void FeedAll(CRtpStream& stream, std::vector<rtpgen::Bytes>& datagrams) {
    for (rtpgen::Bytes& d : datagrams) {
        FeedOne(stream, d);
    }
}

void QuietDecoder() {
    fakedecoder::Choices choices;
    choices.keepFrames = false;
    fakedecoder::Reset(choices);
}

void Report(benchmark::State& state, const Stream& s) {
    const double iterations = static_cast<double>(state.iterations());
    state.counters["packets_per_s"] =
        benchmark::Counter(s.datagrams.size() * iterations, benchmark::Counter::kIsRate);
    state.counters["payload_bytes_per_s"] =
        benchmark::Counter(s.payloadBytes * iterations, benchmark::Counter::kIsRate);
    state.counters["frames_decoded_per_pass"] = fakedecoder::FrameCount() / iterations;
    state.SetBytesProcessed(static_cast<int64_t>(s.payloadBytes * iterations));
}

void Replay(benchmark::State& state, Stream s) {
    QuietDecoder();
    auto stream = std::make_unique<CRtpStream>();
    for (auto _ : state) {
        FeedAll(*stream, s.datagrams);
    }
    Report(state, s);
}

void BM_InputDataInOrder(benchmark::State& state) {
    Replay(state, Take(Seconds(1)));
}

void BM_InputDataReordered(benchmark::State& state) {
    Replay(state, Take(Reordered(Seconds(1))));
}

// A minute of stream that loses every tenth packet, fed into a fresh stream each pass.
void BM_InputDataLosingEveryTenthPacket(benchmark::State& state) {
    std::vector<rtpgen::StreamPacket> minute = Seconds(60);
    std::vector<rtpgen::StreamPacket> kept;
    for (size_t i = 0; i < minute.size(); ++i) {
        if (i % 10 != 9) {
            kept.push_back(minute[i]);
        }
    }
    Stream s = Take(kept);
    QuietDecoder();
    int peakFrames = 0;
    DWORD heldPackets = 0;
    for (auto _ : state) {
        CRtpStream stream;
        for (rtpgen::Bytes& d : s.datagrams) {
            FeedOne(stream, d);
            peakFrames = stream.m_iFrameCount > peakFrames ? stream.m_iFrameCount : peakFrames;
        }
        heldPackets = 0;
        for (CFrameList* f = stream.m_pFrameList; f != nullptr; f = f->pNext) {
            heldPackets += f->m_uPtCount;
        }
    }
    Report(state, s);
    state.counters["peak_frames_under_construction"] = peakFrames;
    state.counters["packets_held_at_end"] = static_cast<double>(heldPackets);
}

BENCHMARK(BM_InputDataInOrder);
BENCHMARK(BM_InputDataReordered);
BENCHMARK(BM_InputDataLosingEveryTenthPacket)->Unit(benchmark::kMillisecond);
}  // namespace

BENCHMARK_MAIN();
