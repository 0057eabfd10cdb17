// Block quantization: the SSSE3 kernels beside their plain C references, and the exports (which
// add the argument checks, the alignment test and the dispatch stub). Each iteration processes a
// pool of random blocks; the "s/block" counter is the figure to compare.
//
//   build/bench/kep_bench --benchmark_filter=Quant

#include <benchmark/benchmark.h>

#include <vector>

#include "kepcheck_data.h"
#include "kepjx1.h"
#include "quant.h"

namespace {

constexpr int kBlocks = 64;  // 8 KiB of coefficients: the pool stays in L1

struct Pool {
    std::vector<Kep16s> blocks;
    alignas(16) Kep16u table[64];
    Pool() {
        kepcheck::Rng rng(1);
        blocks.resize(64 * kBlocks + 8);  // vector storage is 16-byte aligned on x86-64
        rng.fill(blocks.data(), blocks.size(), {-4096, 4095});
        for (Kep16u& t : table) t = static_cast<Kep16u>(rng.range(1, 65535));
    }
};

template <typename Fn>
void run(benchmark::State& state, Fn fn) {
    Pool pool;
    for (auto _ : state) {
        for (int b = 0; b < kBlocks; ++b) fn(pool.blocks.data() + 64 * b, pool.table);
        benchmark::ClobberMemory();
    }
    // kIsRate divides by the elapsed seconds and kInvert turns blocks/s into seconds per block,
    // printed with an SI prefix (e.g. "10.7n" is 10.7 ns).
    state.counters["s/block"] = benchmark::Counter(static_cast<double>(state.iterations()) * kBlocks,
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void QuantFwd8x8_c(benchmark::State& s) { run(s, ownQuantFwd8x8_c); }
void QuantFwd8x8_ssse3(benchmark::State& s) { run(s, ownQuantFwd8x8A_ssse3); }
void QuantFwd8x8_export(benchmark::State& s) { run(s, kepiQuantFwd8x8_JPEG_16s_C1I); }
void QuantInv8x8_c(benchmark::State& s) { run(s, ownQuantInv8x8_c); }
void QuantInv8x8_ssse3(benchmark::State& s) { run(s, ownQuantInv8x8A_ssse3); }
void QuantInv8x8_export(benchmark::State& s) { run(s, kepiQuantInv8x8_JPEG_16s_C1I); }

BENCHMARK(QuantFwd8x8_c);
BENCHMARK(QuantFwd8x8_ssse3);
BENCHMARK(QuantFwd8x8_export);
BENCHMARK(QuantInv8x8_c);
BENCHMARK(QuantInv8x8_ssse3);
BENCHMARK(QuantInv8x8_export);

}  // namespace
