// Accuracy of the integer transforms against the exact T.81 DCT: the IEEE 1180-1990 procedure on
// the 8-bit inverse (inverse table of ones, no level shift), and the forward transform of
// level-shifted 8-bit blocks against the double-precision forward DCT. The promise asserted is
// "within one unit of the exact transform"; the IEEE 1180 figures are printed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "dct_exact.h"
#include "kepcheck.h"
#include "kepjx1.h"

namespace {

// The random number generator of IEEE 1180-1990: uniform integers in [-L, H].
class Ieee1180Random {
public:
    long next(long L, long H) {
        randx_ = randx_ * 1103515245 + 12345;
        const long i = static_cast<long>(randx_ & 0x7ffffffe);
        const double x = static_cast<double>(i) / 0x7fffffff * (L + H + 1);
        return static_cast<long>(x) - L;
    }

private:
    unsigned long randx_ = 1;  // the procedure's seed
};

struct Ieee1180Figures {
    int peak = 0;
    double pixelMse = 0, overallMse = 0, pixelMean = 0, overallMean = 0;
};

// One run of the procedure: `blocks` random blocks in [-L, H] (times sign), the exact forward DCT
// rounded and clipped to -2048..2047, then the exact inverse and the tested inverse, both rounded
// or taken as they are and clipped to -256..255, compared pixel by pixel.
Ieee1180Figures ieee1180(long L, long H, int sign, int blocks) {
    Ieee1180Random rng;
    alignas(16) Kep16u ones[64];
    std::fill(ones, ones + 64, Kep16u{1});
    long long err[64] = {}, sq[64] = {};
    Ieee1180Figures f;
    for (int n = 0; n < blocks; ++n) {
        double s[64], S[64], r[64];
        for (double& v : s) v = static_cast<double>(rng.next(L, H) * sign);
        dctexact::forward(s, S);
        alignas(16) Kep16s coef[64], out[64];
        for (int i = 0; i < 64; ++i) {
            S[i] = std::clamp(std::nearbyint(S[i]), -2048.0, 2047.0);
            coef[i] = static_cast<Kep16s>(S[i]);
        }
        dctexact::inverse(S, r);
        EXPECT_EQ(kepOk, kepiDCTQuantInv8x8_JPEG_16s_C1(coef, out, ones));
        for (int i = 0; i < 64; ++i) {
            const long ref = std::clamp(std::lround(r[i]), -256L, 255L);
            const long got = std::clamp(static_cast<long>(out[i]), -256L, 255L);
            const long e = got - ref;
            err[i] += e;
            sq[i] += e * e;
            f.peak = std::max(f.peak, static_cast<int>(std::labs(e)));
        }
    }
    long long errSum = 0, sqSum = 0;
    for (int i = 0; i < 64; ++i) {
        f.pixelMse = std::max(f.pixelMse, static_cast<double>(sq[i]) / blocks);
        f.pixelMean = std::max(f.pixelMean, std::fabs(static_cast<double>(err[i]) / blocks));
        errSum += err[i];
        sqSum += sq[i];
    }
    f.overallMse = static_cast<double>(sqSum) / (64.0 * blocks);
    f.overallMean = std::fabs(static_cast<double>(errSum) / (64.0 * blocks));
    return f;
}

// The IEEE 1180 runs: three input ranges, each with both signs, 10000 blocks each. Asserted: peak
// error of one (the library's promise). Printed: the figures and whether each IEEE 1180 limit
// (peak 1, pixel MSE 0.06, overall MSE 0.02, pixel mean 0.015, overall mean 0.0015) is met.
TEST(DctAccuracy, Ieee1180InverseWithTableOfOnes) {
    const int blocks = kepcheck::iterations(10000);
    const long ranges[3][2] = {{256, 255}, {5, 5}, {300, 300}};
    for (const auto& rg : ranges)
        for (int sign : {1, -1}) {
            const Ieee1180Figures f = ieee1180(rg[0], rg[1], sign, blocks);
            const bool meets = f.peak <= 1 && f.pixelMse <= 0.06 && f.overallMse <= 0.02 && f.pixelMean <= 0.015 &&
                               f.overallMean <= 0.0015;
            std::printf("IEEE 1180 L=%ld H=%ld sign=%+d blocks=%d: peak %d, pixel MSE %.5f, overall MSE %.5f, "
                        "pixel mean %.5f, overall mean %.6f -> %s\n",
                        rg[0], rg[1], sign, blocks, f.peak, f.pixelMse, f.overallMse, f.pixelMean, f.overallMean,
                        meets ? "all limits met" : "some limits exceeded");
            EXPECT_LE(f.peak, 1) << "L=" << rg[0] << " H=" << rg[1] << " sign " << sign;
        }
}

// Level-shifted 8-bit blocks of several kinds: uniform noise, the extremes -128 and 127 in random
// patterns, smooth ramps, and single spikes.
void levelShifted(kepcheck::Rng& rng, Kep8u* plane) {
    const int kind = static_cast<int>(rng.range(0, 3));
    const int a = static_cast<int>(rng.range(-16, 16)), b = static_cast<int>(rng.range(-16, 16));
    const int base = static_cast<int>(rng.range(0, 255)), spike = static_cast<int>(rng.range(0, 63));
    for (int i = 0; i < 64; ++i) {
        int v;
        switch (kind) {
        case 0: v = static_cast<int>(rng.range(0, 255)); break;
        case 1: v = rng.chance(50) ? 0 : 255; break;
        case 2: v = base + a * (i & 7) + b * (i >> 3); break;
        default: v = i == spike ? 255 - base : base; break;
        }
        plane[i] = static_cast<Kep8u>(std::clamp(v, 0, 255));
    }
}

// With the table of Q = 1 the fused forward call returns the rounded integer DCT; every coefficient
// must lie within one unit of the exact value.
TEST(DctAccuracy, ForwardWithinOneUnitOfExact) {
    kepcheck::Rng rng(kepcheck::seed());
    Kep8u rawOnes[64];
    std::fill(rawOnes, rawOnes + 64, Kep8u{1});
    alignas(16) Kep16u fwd[64];
    ASSERT_EQ(kepOk, kepiQuantFwdTableInit_JPEG_8u16u(rawOnes, fwd));
    const int blocks = kepcheck::iterations(20000);
    double peak = 0, sumSq = 0, sum = 0;
    for (int n = 0; n < blocks; ++n) {
        Kep8u plane[64];
        levelShifted(rng, plane);
        alignas(16) Kep16s out[64];
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(plane, 8, out, fwd));
        double s[64], S[64];
        for (int i = 0; i < 64; ++i) s[i] = plane[i] - 128.0;
        dctexact::forward(s, S);
        for (int i = 0; i < 64; ++i) {
            const double e = out[i] - S[i];
            peak = std::max(peak, std::fabs(e));
            sum += e;
            sumSq += e * e;
            ASSERT_LE(std::fabs(e), 1.0) << "block " << n << " coefficient " << i << ": " << out[i] << " vs " << S[i];
        }
    }
    std::printf("forward integer DCT vs exact, %d level-shifted blocks: peak %.4f, mean %.5f, MSE %.5f\n", blocks,
                peak, sum / (64.0 * blocks), sumSq / (64.0 * blocks));
}

}  // namespace
