// The 512x512 natural-like test image of the JPEG 2000 code-block benchmarks (level-shifted
// 8-bit samples, -128..127), shared by the library's code-block coder benchmark and the
// OpenJPEG comparison on the same data.
#ifndef BENCH_J2K_IMAGE_H
#define BENCH_J2K_IMAGE_H

#include <cmath>
#include <cstdlib>
#include <vector>

#include "kepcheck_data.h"

constexpr int kJ2kBenchSize = 512;

// Sum of octaves of smoothly interpolated lattice noise (amplitude halving per octave: a 1/f
// spectrum as in natural images), plus a few hard-edged shapes.
inline std::vector<int> j2kBenchImage() {
    constexpr int kSize = kJ2kBenchSize;
    kepcheck::Rng rng(2026);
    std::vector<int> img(static_cast<size_t>(kSize) * kSize);
    std::vector<double> acc(img.size(), 0.0);
    for (int octave = 0, cell = 128; cell >= 2; ++octave, cell /= 2) {
        const int n = kSize / cell + 2;
        std::vector<double> lattice(static_cast<size_t>(n) * n);
        for (double& v : lattice) v = static_cast<double>(rng.range(-1000, 1000)) / 1000.0;
        const double amp = 90.0 / (1 << octave);
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x) {
                const double fx = static_cast<double>(x) / cell, fy = static_cast<double>(y) / cell;
                const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
                const double tx = fx - ix, ty = fy - iy;
                const double sx = tx * tx * (3 - 2 * tx), sy = ty * ty * (3 - 2 * ty);
                auto at = [&](int yy, int xx) { return lattice[static_cast<size_t>(yy) * n + xx]; };
                const double top = at(iy, ix) + (at(iy, ix + 1) - at(iy, ix)) * sx;
                const double bot = at(iy + 1, ix) + (at(iy + 1, ix + 1) - at(iy + 1, ix)) * sx;
                acc[static_cast<size_t>(y) * kSize + x] += amp * (top + (bot - top) * sy);
            }
    }
    for (int k = 0; k < 12; ++k) {  // discs and bars
        const int cx = static_cast<int>(rng.range(0, kSize - 1)), cy = static_cast<int>(rng.range(0, kSize - 1));
        const int r = static_cast<int>(rng.range(10, 60));
        const double shift = static_cast<double>(rng.range(-60, 60));
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x)
                if ((k % 2 ? std::abs(x - cx) < r / 3 && std::abs(y - cy) < r * 2 : (x - cx) * (x - cx) + (y - cy) * (y - cy) < r * r))
                    acc[static_cast<size_t>(y) * kSize + x] += shift;
    }
    for (size_t i = 0; i < img.size(); ++i) {
        const long v = std::lround(128.0 + acc[i] + static_cast<double>(rng.range(-3, 3)));
        img[i] = static_cast<int>(v < 0 ? 0 : (v > 255 ? 255 : v)) - 128;
    }
    return img;
}

#endif  // BENCH_J2K_IMAGE_H
