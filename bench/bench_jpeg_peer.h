// Shared pieces of the JPEG entropy-coding benchmarks: the per-image counter and libjpeg-turbo's
// whole-file coefficient read, the peer both Huffman benchmarks compare against.
#ifndef KEP_BENCH_JPEG_PEER_H
#define KEP_BENCH_JPEG_PEER_H

#include <benchmark/benchmark.h>

#include <vector>

#include "huff_jpeg.h"

namespace benchjpeg {

// The photograph-sized test image both Huffman benchmarks code: 1920x1200, three components in
// 4:2:0, at the given quality, always from the same seed.
inline hufftest::MakeOptions imageOptions(int quality) {
    hufftest::MakeOptions o;
    o.width = 1920;
    o.height = 1200;
    o.components = 3;
    o.hSamp = o.vSamp = 2;
    o.quality = quality;
    o.seed = 7;
    return o;
}

// Seconds per image: kIsRate divides by the elapsed time, kInvert turns images/s into s/image.
inline void perImage(benchmark::State& state) {
    state.counters["s/image"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// jpeg_read_coefficients of a whole in-memory file per iteration (header parsing, coefficient
// arrays and entropy decoding of every scan), then finish and destroy.
inline void libjpegReadCoefficients(benchmark::State& state, const std::vector<uint8_t>& file) {
    for (auto _ : state) {
        jpeg_decompress_struct d;
        jpeg_error_mgr e;
        benchmark::DoNotOptimize(hufftest::readCoefficients(d, e, file));
        jpeg_finish_decompress(&d);
        jpeg_destroy_decompress(&d);
    }
    perImage(state);
}

}  // namespace benchjpeg

#endif  // KEP_BENCH_JPEG_PEER_H
