// 8x8 DCT kernels: the SSSE3 kernels beside their plain C references, and the exports. Each
// iteration runs a pool of random blocks (level-shifted 8-bit content for the forward transforms,
// sparse quantized coefficients for the inverse ones); the "s/block" counter is the figure to
// compare.
//
//   build/bench/kep_bench --benchmark_filter=DCT --benchmark_min_time=0.2

#include <benchmark/benchmark.h>

#include <vector>

#include "dct.h"
#include "dct32f.h"
#include "kepcheck_data.h"
#include "kepjx1.h"

namespace {

constexpr int kBlocks = 64;

struct Pool {
    std::vector<Kep8u> planes;     // kBlocks planes of 8x8 samples, step 8
    std::vector<Kep16u> planes16;  // the same as 12-bit samples
    std::vector<Kep16s> coefs, out;
    std::vector<Kep8u> pixels;
    std::vector<Kep16s> dcOnly;    // the DC coefficients of coefs, every AC coefficient zero
    std::vector<Kep16s> topHalf;   // coefs with rows 4..7 zero
    alignas(16) Kep16u fwd[64], inv[64];
    alignas(16) Kep16u fwdUnit[64];  // Q = 1 everywhere (quality 100): reciprocals of 32768
    alignas(16) Kep32f ffwd[64], finv[64];
    Pool() : planes(64 * kBlocks), planes16(64 * kBlocks), coefs(64 * kBlocks), out(64 * kBlocks), pixels(64 * kBlocks), dcOnly(64 * kBlocks), topHalf(64 * kBlocks) {
        kepcheck::Rng rng(1);
        for (size_t i = 0; i < planes.size(); ++i) {
            planes[i] = static_cast<Kep8u>(rng.range(0, 255));
            planes16[i] = static_cast<Kep16u>(rng.range(0, 4095));
            coefs[i] = static_cast<Kep16s>((i & 63) < 10 || rng.chance(10) ? rng.range(-60, 60) : 0);
            if ((i & 63) == 0) dcOnly[i] = coefs[i];
            if ((i & 63) < 32) topHalf[i] = coefs[i];
        }
        Kep8u raw[64];
        for (Kep8u& q : raw) q = static_cast<Kep8u>(rng.range(2, 40));
        kepiQuantFwdTableInit_JPEG_8u16u(raw, fwd);
        kepiQuantInvTableInit_JPEG_8u16u(raw, inv);
        for (Kep8u& q : raw) q = 1;
        kepiQuantFwdTableInit_JPEG_8u16u(raw, fwdUnit);
        for (int i = 0; i < 64; ++i) {
            ffwd[i] = 1.0f / static_cast<float>(inv[i]);
            finv[i] = static_cast<float>(inv[i]);
        }
    }
};

template <typename Fn>
void run(benchmark::State& state, Fn fn) {
    Pool pool;
    for (auto _ : state) {
        for (int b = 0; b < kBlocks; ++b) fn(pool, b);
        benchmark::ClobberMemory();
    }
    state.counters["s/block"] = benchmark::Counter(static_cast<double>(state.iterations()) * kBlocks,
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Forward, 8-bit samples.
template <void (*K)(const Kep8u*, int, Kep16s*, const Kep16u*)>
void FwdLS(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.planes[64 * b], 8, &p.out[64 * b], p.fwd); });
}
// Tables with an entry of Q = 1 take the longer quantization.
void DCTQuantFwd8x8LS_8u_ssse3_unitTable(benchmark::State& s) {
    run(s, [](Pool& p, int b) { ownDCTQuantFwd8x8LS_ssse3(&p.planes[64 * b], 8, &p.out[64 * b], p.fwdUnit); });
}
void DCTQuantFwd8x8LS_8u_export(benchmark::State& s) {
    run(s, [](Pool& p, int b) { kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&p.planes[64 * b], 8, &p.out[64 * b], p.fwd); });
}
// Forward, 16-bit blocks.
template <void (*K)(const Kep16s*, Kep16s*, const Kep16u*)>
void Fwd16s(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.coefs[64 * b], &p.out[64 * b], p.fwd); });
}
template <void (*K)(const Kep16u*, int, Kep16s*, const Kep32f*)>
void Fwd16u(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.planes16[64 * b], 16, &p.out[64 * b], p.ffwd); });
}

// Inverse to 8-bit samples.
template <void (*K)(const Kep16s*, Kep8u*, int, const Kep16u*, int), int N>
void InvLS_c(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.coefs[64 * b], &p.pixels[64 * b], 8, p.inv, N); });
}
template <void (*K)(const Kep16s*, Kep8u*, int, const Kep16u*)>
void InvLS(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.coefs[64 * b], &p.pixels[64 * b], 8, p.inv); });
}
// Blocks with only a DC coefficient (most chroma blocks of a photograph at usual qualities).
template <void (*K)(const Kep16s*, Kep8u*, int, const Kep16u*)>
void InvLS_dcOnly(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.dcOnly[64 * b], &p.pixels[64 * b], 8, p.inv); });
}
void DCTQuantInv8x8LS_8u_ssse3_topHalf(benchmark::State& s) {
    run(s, [](Pool& p, int b) { ownDCTQuantInv8x8LS_ssse3(&p.topHalf[64 * b], &p.pixels[64 * b], 8, p.inv); });
}
void DCTQuantInv8x8LS_8u_export(benchmark::State& s) {
    run(s, [](Pool& p, int b) { kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R(&p.coefs[64 * b], &p.pixels[64 * b], 8, p.inv); });
}
template <void (*K)(const Kep16s*, Kep16s*, const Kep16u*, bool)>
void Inv16s(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.coefs[64 * b], &p.out[64 * b], p.inv, false); });
}
template <void (*K)(const Kep16s*, Kep16u*, int, const Kep32f*)>
void Inv16u(benchmark::State& s) {
    run(s, [](Pool& p, int b) { K(&p.coefs[64 * b], reinterpret_cast<Kep16u*>(&p.out[64 * b]), 16, p.finv); });
}
void DCTQuantInv8x8To4x4LS_c(benchmark::State& s) { InvLS_c<ownDCTQuantInv8x8ToNxNLS_c, 4>(s); }
void DCTQuantInv8x8To2x2LS_c(benchmark::State& s) { InvLS_c<ownDCTQuantInv8x8ToNxNLS_c, 2>(s); }

BENCHMARK(FwdLS<ownDCTQuantFwd8x8LS_c>)->Name("DCTQuantFwd8x8LS_8u_c");
BENCHMARK(FwdLS<ownDCTQuantFwd8x8LS_ssse3>)->Name("DCTQuantFwd8x8LS_8u_ssse3");
BENCHMARK(DCTQuantFwd8x8LS_8u_ssse3_unitTable);
BENCHMARK(DCTQuantFwd8x8LS_8u_export);
BENCHMARK(Fwd16s<ownDCTQuantFwd8x8_c>)->Name("DCTQuantFwd8x8_16s_c");
BENCHMARK(Fwd16s<ownDCTQuantFwd8x8_ssse3>)->Name("DCTQuantFwd8x8_16s_ssse3");
BENCHMARK(Fwd16u<ownDCTQuantFwd8x8LS_32f_c>)->Name("DCTQuantFwd8x8LS_16u_c");
BENCHMARK(Fwd16u<ownDCTQuantFwd8x8LS_32f_ssse3>)->Name("DCTQuantFwd8x8LS_16u_ssse3");
BENCHMARK(InvLS_c<ownDCTQuantInv8x8LS_c, 8>)->Name("DCTQuantInv8x8LS_8u_c");
BENCHMARK(InvLS<ownDCTQuantInv8x8LS_ssse3>)->Name("DCTQuantInv8x8LS_8u_ssse3");
BENCHMARK(DCTQuantInv8x8LS_8u_export);
BENCHMARK(Inv16s<ownDCTQuantInv8x8_c>)->Name("DCTQuantInv8x8_16s_c");
BENCHMARK(Inv16s<ownDCTQuantInv8x8_ssse3>)->Name("DCTQuantInv8x8_16s_ssse3");
BENCHMARK(InvLS_c<ownDCTQuantInv8x8LS_c, 4>)->Name("DCTQuantInv8x8LS_4x4_c");
BENCHMARK(InvLS<ownDCTQuantInv8x8LS_4x4_ssse3>)->Name("DCTQuantInv8x8LS_4x4_ssse3");
BENCHMARK(InvLS_c<ownDCTQuantInv8x8LS_c, 2>)->Name("DCTQuantInv8x8LS_2x2_c");
BENCHMARK(InvLS<ownDCTQuantInv8x8LS_2x2_ssse3>)->Name("DCTQuantInv8x8LS_2x2_ssse3");
BENCHMARK(InvLS_dcOnly<ownDCTQuantInv8x8LS_ssse3>)->Name("DCTQuantInv8x8LS_8u_ssse3_dcOnly");
BENCHMARK(DCTQuantInv8x8LS_8u_ssse3_topHalf);
BENCHMARK(InvLS_dcOnly<ownDCTQuantInv8x8LS_2x2_ssse3>)->Name("DCTQuantInv8x8LS_2x2_ssse3_dcOnly");
BENCHMARK(InvLS<ownDCTQuantInv8x8LS_1x1_c>)->Name("DCTQuantInv8x8LS_1x1_c");
BENCHMARK(InvLS<ownDCTQuantInv8x8LS_1x1_ssse3>)->Name("DCTQuantInv8x8LS_1x1_ssse3");
BENCHMARK(DCTQuantInv8x8To4x4LS_c);
BENCHMARK(DCTQuantInv8x8To2x2LS_c);
BENCHMARK(Inv16u<ownDCTQuantInv8x8LS_32f_c>)->Name("DCTQuantInv8x8LS_16u_c");
BENCHMARK(Inv16u<ownDCTQuantInv8x8LS_32f_ssse3>)->Name("DCTQuantInv8x8LS_16u_ssse3");

}  // namespace
