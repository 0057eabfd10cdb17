// Independent models of the JPEG 2000 wavelet for the tests, written from ITU-T T.800 Annex F
// and nothing else: periodic symmetric extension (F.3.7, PSE_O), the one-dimensional 5/3
// sub-band decomposition and reconstruction procedures 1D_SD and 1D_SR (F.4.8.1, F.3.8.1,
// equations F-9, F-10, F-5, F-6), the two-dimensional procedures (2D_SD, 2D_SR) for one level,
// and the 9/7 analysis filter bank as plain convolutions in double precision (Table F.4).
// Coordinates are absolute (i0 .. i1-1), as in the recommendation; arithmetic is 64-bit.
#ifndef J2K_REF_H
#define J2K_REF_H

#include <cstdint>
#include <vector>

namespace j2kref {

// Floor division by a positive power of two for any sign.
inline int64_t floorDiv(int64_t a, int64_t d) { return a >= 0 ? a / d : -((-a + d - 1) / d); }

// PSE_O(i, i0, i1): the index whose sample the periodic symmetric extension puts at i.
inline int64_t pse(int64_t i, int64_t i0, int64_t i1) {
    if (i1 - i0 == 1) return i0;
    const int64_t period = 2 * (i1 - i0 - 1);
    int64_t m = (i - i0) % period;
    if (m < 0) m += period;
    return i0 + (m < period - m ? m : period - m);
}

// 1D_SD, 5/3: x holds X(i0) .. X(i1-1); returns Y(i0) .. Y(i1-1), interleaved.
inline std::vector<int64_t> sd53(const std::vector<int64_t>& x, int64_t i0) {
    const int64_t i1 = i0 + static_cast<int64_t>(x.size());
    std::vector<int64_t> y(x.size());
    if (x.size() == 1) {
        y[0] = (i0 % 2 == 0) ? x[0] : 2 * x[0];
        return y;
    }
    auto X = [&](int64_t i) { return x[static_cast<size_t>(pse(i, i0, i1) - i0)]; };
    // Y(2n+1) for i0 - 1 <= 2n+1 < i1 + 1 (F-9), kept by absolute index with an offset of 1.
    std::vector<int64_t> yo(x.size() + 3);
    auto odd = [](int64_t i) { return (i % 2 + 2) % 2 == 1; };
    for (int64_t i = i0 - 1; i < i1 + 1; ++i)
        if (odd(i)) yo[static_cast<size_t>(i - i0 + 1)] = X(i) - floorDiv(X(i - 1) + X(i + 1), 2);
    for (int64_t i = i0; i < i1; ++i) {
        if (odd(i)) y[static_cast<size_t>(i - i0)] = yo[static_cast<size_t>(i - i0 + 1)];
        else y[static_cast<size_t>(i - i0)] = X(i) + floorDiv(yo[static_cast<size_t>(i - i0)] + yo[static_cast<size_t>(i - i0 + 2)] + 2, 4);
    }
    return y;
}

// 1D_SR, 5/3: the inverse of sd53 (F-5, F-6) on interleaved coefficients Y(i0) .. Y(i1-1).
inline std::vector<int64_t> sr53(const std::vector<int64_t>& y, int64_t i0) {
    const int64_t i1 = i0 + static_cast<int64_t>(y.size());
    std::vector<int64_t> x(y.size());
    if (y.size() == 1) {
        x[0] = (i0 % 2 == 0) ? y[0] : y[0] / 2;
        return x;
    }
    auto Y = [&](int64_t i) { return y[static_cast<size_t>(pse(i, i0, i1) - i0)]; };
    auto odd = [](int64_t i) { return (i % 2 + 2) % 2 == 1; };
    // X(2n) for i0 - 1 <= 2n < i1 + 1 (F-5), offset 1.
    std::vector<int64_t> xe(y.size() + 3);
    for (int64_t i = i0 - 1; i < i1 + 1; ++i)
        if (!odd(i)) xe[static_cast<size_t>(i - i0 + 1)] = Y(i) - floorDiv(Y(i - 1) + Y(i + 1) + 2, 4);
    for (int64_t i = i0; i < i1; ++i) {
        if (!odd(i)) x[static_cast<size_t>(i - i0)] = xe[static_cast<size_t>(i - i0 + 1)];
        else x[static_cast<size_t>(i - i0)] = Y(i) + floorDiv(xe[static_cast<size_t>(i - i0)] + xe[static_cast<size_t>(i - i0 + 2)], 2);
    }
    return x;
}

// Position of coordinate g of a line starting at o with n samples in the band order
// [even coordinates | odd coordinates], as 2D_DEINTERLEAVE places it.
inline int bandIndex(int64_t g, int64_t o, int n) {
    const int nLow = static_cast<int>((o + n + 1) / 2 - (o + 1) / 2);
    return g % 2 == 0 ? static_cast<int>(g / 2 - (o + 1) / 2) : nLow + static_cast<int>(g / 2 - o / 2);
}

// Applies f(line, origin) to every column of a row-major w x h tile, or to every row.
template <typename V, typename F>
void eachLine(std::vector<V>& t, int w, int h, bool columns, int64_t origin, F f) {
    std::vector<V> line;
    const int lines = columns ? w : h, len = columns ? h : w;
    for (int l = 0; l < lines; ++l) {
        line.clear();
        for (int i = 0; i < len; ++i) line.push_back(t[static_cast<size_t>(columns ? i * w + l : l * w + i)]);
        line = f(line, origin);
        for (int i = 0; i < len; ++i) t[static_cast<size_t>(columns ? i * w + l : l * w + i)] = line[static_cast<size_t>(i)];
    }
}

// 2D_DEINTERLEAVE (or, with inverse, 2D_INTERLEAVE): LL top left, HL top right, LH bottom left,
// HH bottom right, low-pass extents being the counts of even coordinates.
template <typename V>
std::vector<V> deinterleave(const std::vector<V>& t, int w, int h, int64_t x0, int64_t y0, bool inverse = false) {
    std::vector<V> out(t.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t band = static_cast<size_t>(bandIndex(y0 + y, y0, h) * w + bandIndex(x0 + x, x0, w));
            const size_t grid = static_cast<size_t>(y * w + x);
            if (inverse) out[grid] = t[band];
            else out[band] = t[grid];
        }
    return out;
}

// One level of 2D_SD: VER_SD on every column, HOR_SD on every row, then 2D_DEINTERLEAVE.
inline std::vector<int64_t> sd53Tile(std::vector<int64_t> t, int w, int h, int64_t x0, int64_t y0) {
    eachLine(t, w, h, true, y0, sd53);
    eachLine(t, w, h, false, x0, sd53);
    return deinterleave(t, w, h, x0, y0);
}

// One level of 2D_SR: 2D_INTERLEAVE, HOR_SR on every row, then VER_SR on every column.
inline std::vector<int64_t> sr53Tile(const std::vector<int64_t>& bands, int w, int h, int64_t x0, int64_t y0) {
    std::vector<int64_t> t = deinterleave(bands, w, h, x0, y0, true);
    eachLine(t, w, h, false, x0, sr53);
    eachLine(t, w, h, true, y0, sr53);
    return t;
}

// 9/7 analysis filters (T.800 Table F.4): low-pass taps h[0..4], high-pass taps g[0..3], both
// symmetric. The low-pass output at an even coordinate n is sum h[|k|] X(n + k); the high-pass
// output at an odd coordinate n is sum g[|k|] X(n + k).
constexpr double kH97[5] = {0.602949018236358, 0.266864118442875, -0.078223266528990, -0.016864118442875, 0.026748757410810};
constexpr double kG97[4] = {1.115087052457000, -0.591271763114250, -0.057543526228500, 0.091271763114250};

// Filter-bank analysis of the signal x (coordinates i0 ..) with periodic symmetric extension:
// the coefficient at every coordinate, interleaved like 1D_SD.
inline std::vector<double> sd97(const std::vector<double>& x, int64_t i0) {
    const int64_t i1 = i0 + static_cast<int64_t>(x.size());
    auto X = [&](int64_t i) { return x[static_cast<size_t>(pse(i, i0, i1) - i0)]; };
    std::vector<double> y(x.size());
    for (int64_t n = i0; n < i1; ++n) {
        double s = 0;
        if ((n % 2 + 2) % 2 == 0)
            for (int k = -4; k <= 4; ++k) s += kH97[k < 0 ? -k : k] * X(n + k);
        else
            for (int k = -3; k <= 3; ++k) s += kG97[k < 0 ? -k : k] * X(n + k);
        y[static_cast<size_t>(n - i0)] = s;
    }
    return y;
}

// One level of 2D_SD with the 9/7 filter bank (the lone-sample rule of 1D_SD for lines of one
// sample), in the band layout of sd53Tile.
inline std::vector<double> sd97Tile(std::vector<double> t, int w, int h, int64_t x0, int64_t y0) {
    auto sd = [](const std::vector<double>& x, int64_t i0) {
        if (x.size() == 1) return std::vector<double>{(i0 % 2 == 0) ? x[0] : 2 * x[0]};
        return sd97(x, i0);
    };
    eachLine(t, w, h, true, y0, sd);
    eachLine(t, w, h, false, x0, sd);
    return deinterleave(t, w, h, x0, y0);
}

}  // namespace j2kref

#endif  // J2K_REF_H
