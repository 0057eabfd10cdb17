// Colour conversion, chroma up-sampling and 4:2:0 MCU conversion: SSSE3 kernels beside their plain C references, per
// pixel (the "s/px" counter; for the up-samplers a pixel is one output sample).
//
//   build/bench/kep_bench --benchmark_filter=Colour --benchmark_min_time=0.2

#include <benchmark/benchmark.h>

#include <vector>

#include "colour.h"
#include "kepcheck_data.h"
#include "kepjx1.h"

namespace {

constexpr int kW = 1024, kH = 16;  // 16 K pixels: planes and pixels stay in L2

struct Images {
    std::vector<Kep8u> rgb, y, cb, cr;
    Images() : rgb(kW * kH * 3), y(kW * kH), cb(kW * kH), cr(kW * kH) {
        kepcheck::Rng rng(1);
        rng.fill(rgb.data(), rgb.size());
        rng.fill(y.data(), y.size());
        rng.fill(cb.data(), cb.size());
        rng.fill(cr.data(), cr.size());
    }
};

void perPixel(benchmark::State& state, double pixelsPerIteration) {
    state.counters["s/px"] = benchmark::Counter(static_cast<double>(state.iterations()) * pixelsPerIteration,
                                                benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void forward(benchmark::State& state, const OwnCcKernels* k) {
    Images im;
    Kep8u* dst[3] = {im.y.data(), im.cb.data(), im.cr.data()};
    for (auto _ : state) {
        if (k) {
            const void* src[1] = {im.rgb.data()};
            ownCcFwd444(*k, kCcSrcRGB, src, kW * 3, dst, 3, kW, KepiSize{kW, kH});
        } else {
            kepiRGBToYCbCr_JPEG_8u_C3P3R(im.rgb.data(), kW * 3, dst, kW, KepiSize{kW, kH});
        }
        benchmark::ClobberMemory();
    }
    perPixel(state, kW * kH);
}

void inverse(benchmark::State& state, const OwnCcKernels* k) {
    Images im;
    const Kep8u* src[3] = {im.y.data(), im.cb.data(), im.cr.data()};
    for (auto _ : state) {
        if (k) {
            void* dst[1] = {im.rgb.data()};
            ownCcInv444(*k, kCcDstRGB, src, kW, dst, kW * 3, KepiSize{kW, kH}, 0);
        } else {
            kepiYCbCrToRGB_JPEG_8u_P3C3R(src, kW, im.rgb.data(), kW * 3, KepiSize{kW, kH});
        }
        benchmark::ClobberMemory();
    }
    perPixel(state, kW * kH);
}

void upRow(benchmark::State& state, const OwnCcKernels& k, bool vertical) {
    Images im;
    const int n = kW / 2;
    for (auto _ : state) {
        for (int r = 0; r < kH; ++r) {
            const Kep8u* p = im.cb.data() + r * kW;
            if (vertical) k.upRow22(p, p + n, n, 0, 2 * n, im.y.data() + r * kW);
            else k.upRow21(p, n, 0, 2 * n, im.y.data() + r * kW);
        }
        benchmark::ClobberMemory();
    }
    perPixel(state, kW * kH);
}

// One 16 x 16 MCU, 4:2:0: pixels to six level-shifted blocks and back.
void mcu411(benchmark::State& state, const OwnCcKernels& k, bool forward) {
    Images im;
    alignas(16) Kep16s blocks[6][64];
    Kep16s* dst[3] = {blocks[0], blocks[4], blocks[5]};
    const Kep16s* src[3] = {blocks[0], blocks[4], blocks[5]};
    for (auto& b : blocks)
        for (int i = 0; i < 64; ++i) b[i] = static_cast<Kep16s>(im.y[i] - 128);
    for (auto _ : state) {
        if (forward) ownMcuFwd(k, kCcSrcRGB, 2, im.rgb.data(), 48, dst);
        else ownMcuInv(k, kCcDstRGB, 2, src, im.rgb.data(), 48);
        benchmark::ClobberMemory();
    }
    perPixel(state, 256);
}

void Colour_RGBToYCbCr444_c(benchmark::State& s) { forward(s, &ownCcKernels_c); }
void Colour_RGBToYCbCr444_ssse3(benchmark::State& s) { forward(s, &ownCcKernels_ssse3); }
void Colour_RGBToYCbCr444_export(benchmark::State& s) { forward(s, nullptr); }
void Colour_YCbCrToRGB444_c(benchmark::State& s) { inverse(s, &ownCcKernels_c); }
void Colour_YCbCrToRGB444_ssse3(benchmark::State& s) { inverse(s, &ownCcKernels_ssse3); }
void Colour_YCbCrToRGB444_export(benchmark::State& s) { inverse(s, nullptr); }
void Colour_UpRowH2V1_c(benchmark::State& s) { upRow(s, ownCcKernels_c, false); }
void Colour_UpRowH2V1_ssse3(benchmark::State& s) { upRow(s, ownCcKernels_ssse3, false); }
void Colour_UpRowH2V2_c(benchmark::State& s) { upRow(s, ownCcKernels_c, true); }
void Colour_UpRowH2V2_ssse3(benchmark::State& s) { upRow(s, ownCcKernels_ssse3, true); }

void Colour_Mcu411Fwd_c(benchmark::State& s) { mcu411(s, ownCcKernels_c, true); }
void Colour_Mcu411Fwd_ssse3(benchmark::State& s) { mcu411(s, ownCcKernels_ssse3, true); }
void Colour_Mcu411Inv_c(benchmark::State& s) { mcu411(s, ownCcKernels_c, false); }
void Colour_Mcu411Inv_ssse3(benchmark::State& s) { mcu411(s, ownCcKernels_ssse3, false); }

BENCHMARK(Colour_RGBToYCbCr444_c);
BENCHMARK(Colour_RGBToYCbCr444_ssse3);
BENCHMARK(Colour_RGBToYCbCr444_export);
BENCHMARK(Colour_YCbCrToRGB444_c);
BENCHMARK(Colour_YCbCrToRGB444_ssse3);
BENCHMARK(Colour_YCbCrToRGB444_export);
BENCHMARK(Colour_UpRowH2V1_c);
BENCHMARK(Colour_UpRowH2V1_ssse3);
BENCHMARK(Colour_UpRowH2V2_c);
BENCHMARK(Colour_UpRowH2V2_ssse3);
BENCHMARK(Colour_Mcu411Fwd_c);
BENCHMARK(Colour_Mcu411Fwd_ssse3);
BENCHMARK(Colour_Mcu411Inv_c);
BENCHMARK(Colour_Mcu411Inv_ssse3);

}  // namespace
