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

// One level of 2D_SD on a tile [x0, x0+w) x [y0, y0+h) stored row-major: VER_SD on every column,
// then HOR_SD on every row, then 2D_DEINTERLEAVE. The result is the four sub-bands in the
// layout of one plane: LL top left, HL top right, LH bottom left, HH bottom right, where the
// low-pass extents are the counts of even coordinates.
inline std::vector<int64_t> sd53Tile(const std::vector<int64_t>& a, int w, int h, int64_t x0, int64_t y0) {
    std::vector<int64_t> t = a, line;
    for (int x = 0; x < w; ++x) {
        line.clear();
        for (int y = 0; y < h; ++y) line.push_back(t[static_cast<size_t>(y * w + x)]);
        line = sd53(line, y0);
        for (int y = 0; y < h; ++y) t[static_cast<size_t>(y * w + x)] = line[static_cast<size_t>(y)];
    }
    for (int y = 0; y < h; ++y) {
        line.assign(t.begin() + y * w, t.begin() + (y + 1) * w);
        line = sd53(line, x0);
        std::copy(line.begin(), line.end(), t.begin() + y * w);
    }
    // Deinterleave: coordinate parity decides the band, order within a band is kept.
    const int nlx = static_cast<int>((x0 + w + 1) / 2 - (x0 + 1) / 2);  // even coordinates in range
    const int nly = static_cast<int>((y0 + h + 1) / 2 - (y0 + 1) / 2);
    std::vector<int64_t> out(t.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int64_t gx = x0 + x, gy = y0 + y;
            const int ox = gx % 2 == 0 ? static_cast<int>(gx / 2 - (x0 + 1) / 2) : nlx + static_cast<int>(gx / 2 - x0 / 2);
            const int oy = gy % 2 == 0 ? static_cast<int>(gy / 2 - (y0 + 1) / 2) : nly + static_cast<int>(gy / 2 - y0 / 2);
            out[static_cast<size_t>(oy * w + ox)] = t[static_cast<size_t>(y * w + x)];
        }
    return out;
}

// One level of 2D_SR: 2D_INTERLEAVE, HOR_SR on every row, then VER_SR on every column.
inline std::vector<int64_t> sr53Tile(const std::vector<int64_t>& bands, int w, int h, int64_t x0, int64_t y0) {
    const int nlx = static_cast<int>((x0 + w + 1) / 2 - (x0 + 1) / 2);
    const int nly = static_cast<int>((y0 + h + 1) / 2 - (y0 + 1) / 2);
    std::vector<int64_t> t(bands.size()), line;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int64_t gx = x0 + x, gy = y0 + y;
            const int ox = gx % 2 == 0 ? static_cast<int>(gx / 2 - (x0 + 1) / 2) : nlx + static_cast<int>(gx / 2 - x0 / 2);
            const int oy = gy % 2 == 0 ? static_cast<int>(gy / 2 - (y0 + 1) / 2) : nly + static_cast<int>(gy / 2 - y0 / 2);
            t[static_cast<size_t>(y * w + x)] = bands[static_cast<size_t>(oy * w + ox)];
        }
    for (int y = 0; y < h; ++y) {
        line.assign(t.begin() + y * w, t.begin() + (y + 1) * w);
        line = sr53(line, x0);
        std::copy(line.begin(), line.end(), t.begin() + y * w);
    }
    for (int x = 0; x < w; ++x) {
        line.clear();
        for (int y = 0; y < h; ++y) line.push_back(t[static_cast<size_t>(y * w + x)]);
        line = sr53(line, y0);
        for (int y = 0; y < h; ++y) t[static_cast<size_t>(y * w + x)] = line[static_cast<size_t>(y)];
    }
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

}  // namespace j2kref

#endif  // J2K_REF_H
