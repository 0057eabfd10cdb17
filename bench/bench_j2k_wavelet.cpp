// JPEG 2000 wavelets on a 2048 x 2048 tile: the whole-tile 5/3 forward and inverse (32s, in
// place) and the 9/7 float forward rows, SSSE3 kernels beside their plain C references. The
// "Msamples/s" counter is the figure to compare.
//
//   build/bench/kep_bench --benchmark_filter=J2k --benchmark_min_time=0.2

#include <benchmark/benchmark.h>

#include <vector>

#include "kepcheck_data.h"
#include "wt53.h"
#include "wt97.h"

namespace {

constexpr int kSide = 2048;

void report(benchmark::State& state) {
    state.counters["Msamples/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kSide * kSide / 1e6, benchmark::Counter::kIsRate);
}

// The tile is transformed again on every iteration (values wrap, which costs nothing extra).
template <void (*Tile)(Kep32s*, int, int, int, int, int, Kep8u*)>
void Wt53Tile(benchmark::State& state) {
    std::vector<Kep32s> tile(static_cast<size_t>(kSide) * kSide);
    kepcheck::Rng rng(7);
    for (Kep32s& v : tile) v = static_cast<Kep32s>(rng.range(-128, 127));
    std::vector<Kep8u> buf((kSide + 4) * sizeof(Kep32s));
    for (auto _ : state) {
        Tile(tile.data(), kSide * 4, kSide, kSide, 0, 0, buf.data());
        benchmark::ClobberMemory();
    }
    report(state);
}

template <void (*Row)(const Kep32f*, Kep32f*, Kep32f*, int, bool)>
void Wt97Rows32f(benchmark::State& state) {
    constexpr int stride = kSide + 16;  // each row keeps its extension samples around it
    std::vector<Kep32f> src(static_cast<size_t>(stride) * kSide), lo(static_cast<size_t>(kSide) * kSide / 2), hi(lo.size());
    kepcheck::Rng rng(8);
    for (Kep32f& v : src) v = static_cast<Kep32f>(rng.range(-128, 127));
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y)
            Row(src.data() + static_cast<size_t>(y) * stride + 8, lo.data() + static_cast<size_t>(y) * kSide / 2, hi.data() + static_cast<size_t>(y) * kSide / 2,
                kSide / 2, false);
        benchmark::ClobberMemory();
    }
    report(state);
}

BENCHMARK_TEMPLATE(Wt53Tile, ownWt53FwdTile_c<Kep32s>)->Name("J2kWt53Fwd32s_c")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Wt53Tile, ownWt53FwdTile_ssse3<Kep32s>)->Name("J2kWt53Fwd32s_ssse3")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Wt53Tile, ownWt53InvTile_c<Kep32s>)->Name("J2kWt53Inv32s_c")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Wt53Tile, ownWt53InvTile_ssse3<Kep32s>)->Name("J2kWt53Inv32s_ssse3")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Wt97Rows32f, ownWt97FwdRow_32f_c)->Name("J2kWt97FwdRows32f_c")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Wt97Rows32f, ownWt97FwdRow_32f_ssse3)->Name("J2kWt97FwdRows32f_ssse3")->Unit(benchmark::kMillisecond);

}  // namespace
