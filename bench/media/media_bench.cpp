// G.711 per sample against the encoders of spandsp: from a number to a byte in a buffer.
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <vdx/sample_buffer.h>

#include "media/g711_peers.h"
#include "support/ratio.h"

namespace {

constexpr int kSamples = 8000;  // One second of telephony.

// A dialling tone of two frequencies.
std::vector<double> tone() {
    std::vector<double> samples(kSamples);
    for (int i = 0; i < kSamples; ++i) {
        const double turn = 6.283185307179586 * i / kSamples;
        samples[static_cast<std::size_t>(i)] = 0.45 * std::sin(turn * 697) + 0.45 * std::sin(turn * 1209);
    }
    return samples;
}

std::vector<double> noise() {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> numbers(-1, 1);
    std::vector<double> samples(kSamples);
    for (double& x : samples)
        x = numbers(random);
    return samples;
}

std::vector<double> signalOf(const benchmark::State& state) {
    return state.range(0) == 0 ? tone() : noise();
}

template <class Buffer>
void BM_G711(benchmark::State& state) {
    const std::vector<double> samples = signalOf(state);
    Buffer buffer;
    buffer.AllocSampleBuffer(kSamples);
    for (auto _ : state) {
        buffer.Clear();
        for (const double x : samples)
            buffer.AppendSample(x);
        benchmark::DoNotOptimize(buffer.GetBuffer());
    }
    state.SetItemsProcessed(state.iterations() * kSamples);
}
BENCHMARK(BM_G711<uLawSample>)->Arg(0)->Arg(1);
BENCHMARK(BM_G711<aLawSample>)->Arg(0)->Arg(1);

// The peer's encoder is inline in its loop too, and its bytes go to a vector with room.
template <G711Law law>
void BM_G711_spandsp(benchmark::State& state) {
    const std::vector<double> samples = signalOf(state);
    std::vector<std::uint8_t> buffer;
    buffer.reserve(kSamples);
    for (auto _ : state) {
        buffer.clear();
        appendSpandsp<law>(samples, buffer);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(state.iterations() * kSamples);
}
BENCHMARK(BM_G711_spandsp<G711Law::mu>)->Arg(0)->Arg(1);
BENCHMARK(BM_G711_spandsp<G711Law::a>)->Arg(0)->Arg(1);

VDX_FIGURE("mu-law, tone", "BM_G711<uLawSample>/0", {"BM_G711_spandsp<G711Law::mu>/0"}, 1.4);
VDX_FIGURE("mu-law, noise", "BM_G711<uLawSample>/1", {"BM_G711_spandsp<G711Law::mu>/1"}, 1.4);
VDX_FIGURE("A-law, tone", "BM_G711<aLawSample>/0", {"BM_G711_spandsp<G711Law::a>/0"}, 1.4);
VDX_FIGURE("A-law, noise", "BM_G711<aLawSample>/1", {"BM_G711_spandsp<G711Law::a>/1"}, 1.4);

}  // namespace
