// Rows for the PackBits tests and benchmarks: runs of every length around the 128-byte limits,
// literal stretches with equal pairs and triples, and "photographic" rows (a smooth signal with
// noise, long literals broken by short runs in flat areas).
#ifndef TIFF_ROWS_H
#define TIFF_ROWS_H

#include <cmath>
#include <cstdint>
#include <vector>

#include "kepcheck_data.h"

namespace tiffrows {

// A row built from random pieces: equal runs (lengths clustered at 1..4 and 126..131, and
// longer), and literal stretches over a small alphabet so that pairs and triples happen.
inline std::vector<uint8_t> synthetic(kepcheck::Rng& rng, size_t length) {
    std::vector<uint8_t> row;
    row.reserve(length);
    while (row.size() < length) {
        const int kind = static_cast<int>(rng.range(0, 3));
        const uint8_t b = static_cast<uint8_t>(rng.next());
        size_t n;
        if (kind == 0) n = static_cast<size_t>(rng.range(1, 4));
        else if (kind == 1) n = static_cast<size_t>(rng.range(126, 131));
        else if (kind == 2) n = static_cast<size_t>(rng.range(1, 400));
        else n = 0;
        for (size_t i = 0; i < n && row.size() < length; ++i) row.push_back(b);
        if (kind == 3) {
            const int alphabet = static_cast<int>(rng.range(2, 256));
            const size_t m = static_cast<size_t>(rng.range(1, 300));
            for (size_t i = 0; i < m && row.size() < length; ++i) row.push_back(static_cast<uint8_t>(rng.range(0, alphabet - 1)));
        }
    }
    return row;
}

// A photographic row: smooth variation with sensor noise, and flat saturated stretches.
inline std::vector<uint8_t> photographic(kepcheck::Rng& rng, size_t length, int phase) {
    std::vector<uint8_t> row(length);
    for (size_t x = 0; x < length; ++x) {
        double v = 128 + 90 * std::sin(0.013 * static_cast<double>(x) + 0.4 * phase) + 30 * std::sin(0.051 * static_cast<double>(x) * (1 + phase % 3));
        v += static_cast<double>(rng.range(-3, 3));
        if (v > 230) v = 255;  // blown highlights
        if (v < 20) v = 0;     // crushed shadows
        row[x] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
    return row;
}

}  // namespace tiffrows

#endif  // TIFF_ROWS_H
