// CTimestampFramer on a camera-like H.264 stream (25 access units a second, an IDR with
// SPS/PPS once a second, slices in 1400-byte FU-A fragments), in order and with 5% of the
// packets swapped with their successor. One framer serves every pass: the figures are those of
// a running stream, whose buffers have reached their size.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "media/TimestampFramer.h"
#include "rtpgen/RtpGen.h"

namespace {
using playersdk::CTimestampFramer;
using playersdk::FramedAccessUnit;

struct Totals {
    uint64_t units = 0;
    uint64_t bytes = 0;
};

void Count(void* user, const FramedAccessUnit& unit) {
    Totals* totals = static_cast<Totals*>(user);
    ++totals->units;
    totals->bytes += unit.len;
}

std::vector<rtpgen::Bytes> OneSecond(bool reorder) {
    std::vector<rtpgen::StreamPacket> packets = rtpgen::H264Stream(rtpgen::StreamShape(), 25, 0);
    std::mt19937 rng(7);
    std::vector<rtpgen::Bytes> out;
    for (size_t i = 0; i < packets.size(); ++i) {
        if (reorder && i > 0 && i + 1 < packets.size() && rng() % 100 < 5) {
            out.push_back(packets[i + 1].datagram);
            out.push_back(packets[i].datagram);
            ++i;
        } else {
            out.push_back(packets[i].datagram);
        }
    }
    return out;
}

void Replay(benchmark::State& state, bool reorder) {
    const std::vector<rtpgen::Bytes> datagrams = OneSecond(reorder);
    Totals totals;
    CTimestampFramer framer({}, Count, &totals);
    int64_t bytes = 0;
    for (auto _ : state) {
        for (const rtpgen::Bytes& d : datagrams) {
            framer.Input(d.data(), d.size());
            bytes += static_cast<int64_t>(d.size());
        }
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["packets_per_s"] =
        benchmark::Counter(datagrams.size() * iterations, benchmark::Counter::kIsRate);
    state.counters["units_per_pass"] = totals.units / iterations;
    state.counters["lost_packets"] = static_cast<double>(framer.lostPackets());
    state.SetBytesProcessed(bytes);
}

void BM_FramerInOrder(benchmark::State& state) {
    Replay(state, false);
}

void BM_FramerReordered(benchmark::State& state) {
    Replay(state, true);
}

BENCHMARK(BM_FramerInOrder);
BENCHMARK(BM_FramerReordered);
}  // namespace

BENCHMARK_MAIN();
