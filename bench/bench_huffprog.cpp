// Progressive decoding of every scan of a 2.3-megapixel libjpeg-turbo progressive file (1920x1200,
// 4:2:0, its default progression script with optimised tables) against its own
// jpeg_read_coefficients on the same file (compare the "s/image" counters), and lossless row
// coding of a 12-bit, three-component 2048x1024 image (predictor 4) in MB/s of 16-bit samples.
//
//   build/bench/kep_bench --benchmark_filter='HuffProg|LosslessRow' --benchmark_min_time=0.5

#include <benchmark/benchmark.h>

#include <map>

#include "huffprog_jpeg.h"
#include "bench_jpeg_peer.h"

namespace {

struct Progressive {
    progtest::ProgFile file;
    struct ScanPlan {
        const progtest::Scan* scan;
        KepiDecodeHuffmanSpec dc[4], ac[4];
        std::vector<std::pair<int, size_t>> blocks;  // (scan component, offset of the block in `coef`)
        std::vector<int> comps;                      // component of each block
    };
    std::vector<ScanPlan> plans;
    std::vector<size_t> compOffset;  // start of each component in one flat coefficient array
    size_t total = 0;
};

Progressive& progressive(int quality) {
    static std::map<int, Progressive> cache;
    auto it = cache.find(quality);
    if (it != cache.end()) return it->second;
    const hufftest::MakeOptions o = benchjpeg::imageOptions(quality);
    Progressive& p = cache[quality];
    p.file = progtest::readProgressive(progtest::makeProgressiveJpeg(o));
    for (const auto& c : p.file.comps) {
        p.compOffset.push_back(p.total);
        p.total += c.coef.size();
    }
    p.plans.resize(p.file.scans.size());
    for (size_t i = 0; i < p.file.scans.size(); ++i) {
        const progtest::Scan& s = p.file.scans[i];
        Progressive::ScanPlan& plan = p.plans[i];
        plan.scan = &s;
        for (int t = 0; t < 4; ++t) {
            if (s.dc[t].count()) plan.dc[t] = hufftest::decSpec(s.dc[t]);
            if (s.ac[t].count()) plan.ac[t] = hufftest::decSpec(s.ac[t]);
        }
        progtest::forEachBlock(p.file, s, [&](int sc, int c, int bx, int by, int) {
            const auto& comp = p.file.comps[static_cast<size_t>(c)];
            plan.blocks.push_back({sc, p.compOffset[static_cast<size_t>(c)] + (static_cast<size_t>(by) * comp.allocX + bx) * 64});
        });
    }
    return p;
}

using benchjpeg::perImage;

void HuffProgDecode_ours(benchmark::State& state) {
    Progressive& p = progressive(static_cast<int>(state.range(0)));
    std::vector<Kep16s> coef(p.total);
    const Kep8u* bytes = p.file.bytes.data();
    const int len = static_cast<int>(p.file.bytes.size());
    for (auto _ : state) {
        std::memset(coef.data(), 0, coef.size() * sizeof(Kep16s));
        for (const auto& plan : p.plans) {
            const progtest::Scan& s = *plan.scan;
            KepiDecodeHuffmanState st;
            kepiDecodeHuffmanStateInit_JPEG_8u(&st);
            int pos = static_cast<int>(s.start), marker = 0;
            Kep16s lastDC[4] = {};
            KepResult r = kepOk;
            if (s.Ss == 0 && s.Ah == 0) {
                for (const auto& b : plan.blocks)
                    r |= kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(bytes, len, &pos, &coef[b.second], &lastDC[b.first], &marker,
                                                                    s.Al, &plan.dc[s.dcTable[static_cast<size_t>(b.first)]], &st);
            } else if (s.Ss == 0) {
                for (const auto& b : plan.blocks)
                    r |= kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(bytes, len, &pos, &coef[b.second], &marker, s.Al, &st);
            } else {
                auto fn = s.Ah == 0 ? kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1 : kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1;
                const KepiDecodeHuffmanSpec* ac = &plan.ac[s.acTable[0]];
                for (const auto& b : plan.blocks) r |= fn(bytes, len, &pos, &coef[b.second], &marker, s.Ss, s.Se, s.Al, ac, &st);
            }
            if (r != kepOk) state.SkipWithError("decode failed");
        }
        benchmark::DoNotOptimize(coef.data());
    }
    perImage(state);
}

void HuffProgDecode_libjpeg(benchmark::State& state) {
    benchjpeg::libjpegReadCoefficients(state, progressive(static_cast<int>(state.range(0))).file.bytes);
}

// ---- Lossless rows ----------------------------------------------------------------------------

struct Lossless {
    static constexpr int kWidth = 2048, kHeight = 1024, kComps = 3;
    std::vector<Kep16s> diff[kComps];
    KepiEncodeHuffmanSpec es;
    KepiDecodeHuffmanSpec ds;
    std::vector<Kep8u> stream;
    int streamLen = 0;
};

Lossless& lossless() {
    static Lossless l;
    if (!l.stream.empty()) return l;
    hufftest::MakeOptions o;
    o.width = Lossless::kWidth;
    o.height = Lossless::kHeight;
    o.components = Lossless::kComps;
    const std::vector<uint8_t> px = hufftest::makeImage(o);
    int stats[257] = {};
    for (int c = 0; c < Lossless::kComps; ++c) {
        std::vector<Kep16s> samples(static_cast<size_t>(Lossless::kWidth) * Lossless::kHeight);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<Kep16s>(px[i * Lossless::kComps + static_cast<size_t>(c)] * 16 + static_cast<int>(i % 13));
        l.diff[c].resize(samples.size());
        for (int y = 0; y < Lossless::kHeight; ++y) {
            const Kep16s* row = &samples[static_cast<size_t>(y) * Lossless::kWidth];
            Kep16s* d = &l.diff[c][static_cast<size_t>(y) * Lossless::kWidth];
            if (y == 0) kepiDiffPredFirstRow_JPEG_16s_C1(row, d, Lossless::kWidth, 12, 0);
            else kepiDiffPredRow_JPEG_16s_C1(row, row - Lossless::kWidth, d, Lossless::kWidth, 4);
        }
        for (const Kep16s& v : l.diff[c]) kepiGetHuffmanStatisticsOne_JPEG_16s_C1(&v, stats);
    }
    hufftest::Table t;
    kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, t.bits, t.vals);
    l.es = hufftest::encSpec(t);
    l.ds = hufftest::decSpec(t);
    l.stream.resize(static_cast<size_t>(Lossless::kWidth) * Lossless::kHeight * Lossless::kComps * 5);
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    const KepiEncodeHuffmanSpec* et[4] = {&l.es, &l.es, &l.es, &l.es};
    for (int y = 0; y < Lossless::kHeight; ++y) {
        const Kep16s* src[4] = {};
        for (int c = 0; c < Lossless::kComps; ++c) src[c] = &l.diff[c][static_cast<size_t>(y) * Lossless::kWidth];
        kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, Lossless::kWidth, Lossless::kComps, l.stream.data(),
                                             static_cast<int>(l.stream.size()), &l.streamLen, et, &st, 0);
    }
    kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, l.stream.data(), static_cast<int>(l.stream.size()), &l.streamLen,
                                         nullptr, &st, 1);
    return l;
}

void perSampleBytes(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * Lossless::kWidth * Lossless::kHeight *
                            Lossless::kComps * 2);
}

void LosslessRowEncode(benchmark::State& state) {
    Lossless& l = lossless();
    std::vector<Kep8u> out(l.stream.size());
    const KepiEncodeHuffmanSpec* et[4] = {&l.es, &l.es, &l.es, &l.es};
    for (auto _ : state) {
        KepiEncodeHuffmanState st;
        kepiEncodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0;
        for (int y = 0; y < Lossless::kHeight; ++y) {
            const Kep16s* src[4] = {};
            for (int c = 0; c < Lossless::kComps; ++c) src[c] = &l.diff[c][static_cast<size_t>(y) * Lossless::kWidth];
            kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, Lossless::kWidth, Lossless::kComps, out.data(),
                                                 static_cast<int>(out.size()), &pos, et, &st, 0);
        }
        benchmark::DoNotOptimize(out.data());
    }
    perSampleBytes(state);
}

void LosslessRowDecode(benchmark::State& state) {
    Lossless& l = lossless();
    std::vector<Kep16s> rows(static_cast<size_t>(Lossless::kWidth) * Lossless::kComps);
    const KepiDecodeHuffmanSpec* dt[4] = {&l.ds, &l.ds, &l.ds, &l.ds};
    for (auto _ : state) {
        KepiDecodeHuffmanState st;
        kepiDecodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0, marker = 0;
        for (int y = 0; y < Lossless::kHeight; ++y) {
            Kep16s* dst[4] = {&rows[0], &rows[Lossless::kWidth], &rows[2 * Lossless::kWidth], nullptr};
            if (kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(l.stream.data(), l.streamLen, &pos, dst, Lossless::kWidth,
                                                     Lossless::kComps, &marker, dt, &st) != kepOk)
                state.SkipWithError("decode failed");
        }
        benchmark::DoNotOptimize(rows.data());
    }
    perSampleBytes(state);
}

BENCHMARK(HuffProgDecode_ours)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);
BENCHMARK(HuffProgDecode_libjpeg)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);
BENCHMARK(LosslessRowEncode)->Unit(benchmark::kMillisecond);
BENCHMARK(LosslessRowDecode)->Unit(benchmark::kMillisecond);

}  // namespace
