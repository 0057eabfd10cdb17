// JPEG 2000 code-block coding: decoding and encoding of the lossless 64x64 code-blocks of a
// 512x512 natural-like image (1/f fractal texture with edges; 5 levels of the reversible 5/3
// wavelet, computed here plainly), all passes of every block. The "coef/s" counter is the figure
// to compare; style variants show the cost of bypass and of terminating every pass, and the
// "Ref" variants run the plain generic passes that the fast ones are held to.
//
//   build/bench/kep_bench --benchmark_filter=J2kCodeBlock

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench_j2k_image.h"
#include "kepcheck_data.h"
#include "kepjx1.h"
#include "pj2passes.h"

namespace {

constexpr int kSize = kJ2kBenchSize, kLevels = 5, kCb = 64;

// One level of the reversible 5/3 lifting (T.800 F.3.8) on n samples at stride s, symmetric
// extension, even-start: lows to the first half, highs to the second.
void fwd53(int* p, int n, int s) {
    if (n < 2) return;
    std::vector<int> x(static_cast<size_t>(n)), out(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) x[static_cast<size_t>(i)] = p[i * s];
    auto ext = [&](int i) { return x[static_cast<size_t>(i < 0 ? -i : (i >= n ? 2 * (n - 1) - i : i))]; };
    std::vector<int> d(static_cast<size_t>(n / 2)), a(static_cast<size_t>((n + 1) / 2));
    auto dAt = [&](int i) { return i < 0 ? d[0] : (i >= n / 2 ? d[static_cast<size_t>(n / 2 - 1)] : d[static_cast<size_t>(i)]); };
    for (int i = 0; i < n / 2; ++i) d[static_cast<size_t>(i)] = ext(2 * i + 1) - (ext(2 * i) + ext(2 * i + 2)) / 2 - ((ext(2 * i) + ext(2 * i + 2)) % 2 < 0 ? 1 : 0);
    for (int i = 0; i < (n + 1) / 2; ++i)
        a[static_cast<size_t>(i)] = ext(2 * i) + static_cast<int>(std::floor((dAt(i - 1) + dAt(i) + 2) / 4.0));
    for (int i = 0; i < (n + 1) / 2; ++i) p[i * s] = a[static_cast<size_t>(i)];
    for (int i = 0; i < n / 2; ++i) p[((n + 1) / 2 + i) * s] = d[static_cast<size_t>(i)];
}

struct Block {
    std::vector<Kep32s> c;  // sign-magnitude
    int w, h, subband, magnBits;
};

// The code-blocks of every subband after kLevels levels.
std::vector<Block> codeBlocks() {
    std::vector<int> img = j2kBenchImage();
    for (int l = 0, n = kSize; l < kLevels; ++l, n /= 2) {
        for (int y = 0; y < n; ++y) fwd53(&img[static_cast<size_t>(y) * kSize], n, 1);
        for (int x = 0; x < n; ++x) fwd53(&img[static_cast<size_t>(x)], n, kSize);
    }
    std::vector<Block> blocks;
    auto cut = [&](int x0, int y0, int w, int h, int subband) {
        for (int by = y0; by < y0 + h; by += kCb)
            for (int bx = x0; bx < x0 + w; bx += kCb) {
                Block b{{}, kCb < x0 + w - bx ? kCb : x0 + w - bx, kCb < y0 + h - by ? kCb : y0 + h - by, subband, 0};
                Kep32u all = 0;
                for (int y = 0; y < b.h; ++y)
                    for (int x = 0; x < b.w; ++x) {
                        const int v = img[static_cast<size_t>(by + y) * kSize + bx + x];
                        const Kep32u m = static_cast<Kep32u>(v < 0 ? -v : v);
                        all |= m;
                        b.c.push_back(static_cast<Kep32s>(m | (v < 0 ? 0x80000000u : 0u)));
                    }
                while (b.magnBits < 31 && (all >> b.magnBits)) ++b.magnBits;
                if (b.magnBits == 0) b.magnBits = 1;
                blocks.push_back(b);
            }
    };
    const int ll = kSize >> kLevels;
    cut(0, 0, ll, ll, 0);
    for (int l = kLevels, n = ll; l >= 1; --l, n *= 2) {
        cut(n, 0, n, n, 2);      // HL
        cut(0, n, n, n, 1);      // LH
        cut(n, n, n, n, 3);      // HH
    }
    return blocks;
}

struct Coded {
    std::vector<uint8_t> data;
    std::vector<int> segLen;
    int planes, nPasses;
};

std::vector<Coded> encodeAll(const std::vector<Block>& blocks, int flags, KepiEncodeState_JPEG2K* st) {
    std::vector<Coded> out;
    for (const Block& b : blocks) {
        Coded c;
        int sf, ns, more = 1;
        kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(b.c.data(), b.w * 4, {b.w, b.h}, st, b.subband, b.magnBits, kepMQTermFlush, flags,
                                               &sf, &c.nPasses, &ns);
        c.planes = b.magnBits - sf;
        c.data.resize(static_cast<size_t>(b.w) * b.h * 16 + 1024);
        int len = static_cast<int>(c.data.size());
        kepiEncodeStoreBits_JPEG2K_1u(c.data.data(), &len, st, &more);
        c.data.resize(static_cast<size_t>(len));
        for (int s = 0; s < ns; ++s) {
            int l;
            kepiEncodeGetTermPassLen_JPEG2K(st, s, &l);
            c.segLen.push_back(l);
        }
        out.push_back(c);
    }
    return out;
}

long coefficients(const std::vector<Block>& blocks) {
    long n = 0;
    for (const Block& b : blocks) n += static_cast<long>(b.w) * b.h;
    return n;
}

void decode(benchmark::State& state, int flags, bool ref = false) {
    const auto run = ref ? ownpj_DecodeCodeBlockRef_JPEG2K : kepiDecodeCodeBlock_JPEG2K_1u32s_C1R;
    const std::vector<Block> blocks = codeBlocks();
    KepiEncodeState_JPEG2K* enc;
    kepiEncodeInitAlloc_JPEG2K(&enc, {kCb, kCb});
    const std::vector<Coded> coded = encodeAll(blocks, flags, enc);
    kepiEncodeFree_JPEG2K(enc);
    KepiDecodeCBProgrState_JPEG2K* st;
    kepiDecodeCBProgrInitAlloc_JPEG2K(&st, {kCb, kCb});
    std::vector<Kep32s> out(kCb * kCb);
    long bytes = 0;
    for (const Coded& c : coded) bytes += static_cast<long>(c.data.size());
    for (auto _ : state) {
        for (size_t i = 0; i < blocks.size(); ++i) {
            const Block& b = blocks[i];
            const Coded& c = coded[i];
            const uint8_t none = 0;
            run(c.data.empty() ? &none : c.data.data(), out.data(), b.w * 4, {b.w, b.h}, b.subband, c.planes, c.nPasses,
                c.segLen.empty() ? &c.planes : c.segLen.data(), static_cast<int>(c.segLen.size()), flags, nullptr, st);
        }
        benchmark::ClobberMemory();
    }
    kepiDecodeCBProgrFree_JPEG2K(st);
    state.counters["coef/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * coefficients(blocks), benchmark::Counter::kIsRate);
    state.counters["bpp"] = static_cast<double>(bytes) * 8 / (kSize * kSize);
}

void encode(benchmark::State& state, int flags, bool ref = false) {
    const auto load = ref ? ownpj_EncodeLoadCodeBlockRef_JPEG2K : kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R;
    const std::vector<Block> blocks = codeBlocks();
    KepiEncodeState_JPEG2K* st;
    kepiEncodeInitAlloc_JPEG2K(&st, {kCb, kCb});
    for (auto _ : state) {
        for (const Block& b : blocks) {
            int sf, np, ns;
            load(b.c.data(), b.w * 4, {b.w, b.h}, st, b.subband, b.magnBits, kepMQTermFlush, flags, &sf, &np, &ns);
        }
        benchmark::ClobberMemory();
    }
    kepiEncodeFree_JPEG2K(st);
    state.counters["coef/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * coefficients(blocks), benchmark::Counter::kIsRate);
}

void J2kCodeBlockDecode(benchmark::State& s) { decode(s, 0); }
void J2kCodeBlockDecodeBypass(benchmark::State& s) { decode(s, KEP_J2K_CB_BYPASS); }
void J2kCodeBlockDecodeTermAll(benchmark::State& s) { decode(s, KEP_J2K_CB_TERMALL | KEP_J2K_CB_RESET); }
void J2kCodeBlockDecodeRef(benchmark::State& s) { decode(s, 0, true); }
void J2kCodeBlockDecodeBypassRef(benchmark::State& s) { decode(s, KEP_J2K_CB_BYPASS, true); }
void J2kCodeBlockEncode(benchmark::State& s) { encode(s, 0); }
void J2kCodeBlockEncodeBypass(benchmark::State& s) { encode(s, KEP_J2K_CB_BYPASS); }
void J2kCodeBlockEncodeRef(benchmark::State& s) { encode(s, 0, true); }
void J2kCodeBlockEncodeBypassRef(benchmark::State& s) { encode(s, KEP_J2K_CB_BYPASS, true); }

BENCHMARK(J2kCodeBlockDecode)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockDecodeBypass)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockDecodeTermAll)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockDecodeRef)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockDecodeBypassRef)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockEncode)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockEncodeBypass)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockEncodeRef)->Unit(benchmark::kMillisecond);
BENCHMARK(J2kCodeBlockEncodeBypassRef)->Unit(benchmark::kMillisecond);

}  // namespace
