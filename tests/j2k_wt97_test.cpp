// Irreversible 9/7 forward rows through the exports: the float lifting against a double-precision
// T.800 Annex F filter bank, the samples each phase reads, the direct width-1 filters, and the
// fixed-point forms (16s clamping at the step where a value leaves 16 bits, the one-sided clamp
// of its width-1 low-pass, the 32s form's 64-bit products).

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "j2k_plane.h"
#include "j2k_ref.h"
#include "kepcheck.h"

namespace {

using kepcheck::Rng;

// A region of n samples at origin parity par, extended symmetrically by `margin` samples on
// both sides; returns the line and the band sizes.
struct Region {
    std::vector<double> x;
    int par, nL, nH, width;
};
Region region(Rng& rng, int n, int par, double amp) {
    Region r{{}, par, (n + 1 - par) / 2, 0, 0};
    r.nH = n - r.nL;
    r.width = std::max(r.nL, r.nH);
    for (int i = 0; i < n; ++i) r.x.push_back(static_cast<double>(rng.range(static_cast<int64_t>(-amp), static_cast<int64_t>(amp))));
    return r;
}
// The extended line as type T, with the sample of index 0 at position `margin`.
template <typename T>
std::vector<T> extend(const Region& r, int margin, int extra) {
    std::vector<T> e(r.x.size() + 2 * static_cast<size_t>(margin) + static_cast<size_t>(extra));
    for (size_t i = 0; i < e.size(); ++i) e[i] = static_cast<T>(r.x[j2ktest::mirror(static_cast<long>(i) - margin, r.x.size())]);
    return e;
}

// Runs a forward row export on a symmetrically extended region and returns the interleaved
// coefficients in band order [lows | highs] as doubles.
template <typename T, typename F>
std::vector<double> runRow(F f, const Region& r) {
    constexpr int kM = 8;
    const auto e = extend<T>(r, kM, 2 * r.width + 8);
    std::vector<T> lo(static_cast<size_t>(r.width)), hi(static_cast<size_t>(r.width));
    EXPECT_EQ(kepOk, f(e.data() + kM, 64, lo.data(), 64, hi.data(), 64, KepiSize{r.width, 1}, r.par ? 1 : 0));
    std::vector<double> out;
    for (int k = 0; k < r.nL; ++k) out.push_back(lo[static_cast<size_t>(k)]);
    for (int k = 0; k < r.nH; ++k) out.push_back(hi[static_cast<size_t>(k)]);
    return out;
}

// The reference in the same band order.
std::vector<double> reference(const Region& r) {
    const auto y = j2kref::sd97(r.x, r.par);
    std::vector<double> out;
    for (size_t i = static_cast<size_t>(r.par); i < y.size(); i += 2) out.push_back(y[i]);
    for (size_t i = static_cast<size_t>(1 - r.par); i < y.size(); i += 2) out.push_back(y[i]);
    return out;
}

TEST(Wt97Rows, FloatMatchesFilterBank) {
    Rng rng(kepcheck::seed());
    for (int n = 1; n <= 40; ++n)
        for (int par = 0; par < 2; ++par) {
            const Region r = region(rng, n, par, 255);
            if (r.nL == 0 || r.nH == 0) continue;  // one sample: no row call of width >= 1 covers it usefully
            const auto got = runRow<Kep32f>(kepiWTFwdRow_D97_JPEG2K_32f_C1R, r);
            const auto want = reference(r);
            for (size_t i = 0; i < want.size(); ++i)
                ASSERT_NEAR(want[i], got[i], 2e-4 * 255) << "length " << n << " phase " << par << " coefficient " << i;
        }
    // A long row crosses the kernel's internal chunks.
    const Region r = region(rng, 1500, 1, 1000);
    const auto got = runRow<Kep32f>(kepiWTFwdRow_D97_JPEG2K_32f_C1R, r);
    const auto want = reference(r);
    for (size_t i = 0; i < want.size(); ++i) ASSERT_NEAR(want[i], got[i], 2e-4 * 1000) << "coefficient " << i;
}

// Each phase reads exactly x[-4] .. x[2w+2] (phase 0) or x[-3] .. x[2w+3] (odd): NaN just
// outside that range must not reach any output.
TEST(Wt97Rows, ReadsOnlyTheDocumentedSamples) {
    Rng rng(kepcheck::seed() + 1);
    const Kep32f nan = std::numeric_limits<Kep32f>::quiet_NaN();
    for (int w = 1; w <= 20; ++w)
        for (int par = 0; par < 2; ++par) {
            std::vector<Kep32f> x(static_cast<size_t>(2 * w + 16));
            for (auto& v : x) v = static_cast<Kep32f>(rng.range(-100, 100));
            const int origin = 8, first = par ? -3 : -4, last = par ? 2 * w + 3 : 2 * w + 2;
            x[static_cast<size_t>(origin + first - 1)] = nan;
            x[static_cast<size_t>(origin + last + 1)] = nan;
            std::vector<Kep32f> lo(static_cast<size_t>(w)), hi(static_cast<size_t>(w));
            ASSERT_EQ(kepOk, kepiWTFwdRow_D97_JPEG2K_32f_C1R(x.data() + origin, 4, lo.data(), 4, hi.data(), 4, KepiSize{w, 1}, par * 7));
            for (int k = 0; k < w; ++k) ASSERT_TRUE(std::isfinite(lo[static_cast<size_t>(k)]) && std::isfinite(hi[static_cast<size_t>(k)])) << w << " " << par;
            // And every sample of the range matters: NaN at either end reaches some output.
            for (int edge : {first, last}) {
                auto y = x;
                y[static_cast<size_t>(origin + edge)] = nan;
                kepiWTFwdRow_D97_JPEG2K_32f_C1R(y.data() + origin, 4, lo.data(), 4, hi.data(), 4, KepiSize{w, 1}, par);
                bool reached = false;
                for (int k = 0; k < w; ++k) reached |= std::isnan(lo[static_cast<size_t>(k)]) || std::isnan(hi[static_cast<size_t>(k)]);
                ASSERT_TRUE(reached) << "sample " << edge << " unused, width " << w << " phase " << par;
            }
        }
}

// Width 1 uses the direct filters. The fixed-point forms round their taps (within a unit of the
// real filter for 16s, a few units for 32s which rounds every tap).
TEST(Wt97Rows, WidthOneDirectFilters) {
    Rng rng(kepcheck::seed() + 2);
    for (int iter = 0; iter < 200; ++iter) {
        const int par = static_cast<int>(iter & 1);
        // Arbitrary (not mirrored) neighbours: the direct filter takes whatever the caller put there.
        std::vector<double> raw(12);
        for (auto& v : raw) v = static_cast<double>(rng.range(-2000, 2000));
        const int o = 4;  // x[0] at raw[4]
        const int c = par ? 1 : 0, d = par ? 0 : 1;
        double low = j2kref::kH97[0] * raw[static_cast<size_t>(o + c)], high = j2kref::kG97[0] * raw[static_cast<size_t>(o + d)];
        for (int k = 1; k <= 4; ++k) low += j2kref::kH97[k] * (raw[static_cast<size_t>(o + c - k)] + raw[static_cast<size_t>(o + c + k)]);
        for (int k = 1; k <= 3; ++k) high += j2kref::kG97[k] * (raw[static_cast<size_t>(o + d - k)] + raw[static_cast<size_t>(o + d + k)]);
        std::vector<Kep32f> xf(raw.begin(), raw.end());
        std::vector<Kep16s> x16(raw.begin(), raw.end());
        std::vector<Kep32s> x32(raw.begin(), raw.end());
        Kep32f lf, hf;
        Kep16s l16, h16;
        Kep32s l32, h32;
        ASSERT_EQ(kepOk, kepiWTFwdRow_D97_JPEG2K_32f_C1R(xf.data() + o, 4, &lf, 4, &hf, 4, KepiSize{1, 1}, par));
        ASSERT_EQ(kepOk, kepiWTFwdRow_D97_JPEG2K_16s_C1R(x16.data() + o, 4, &l16, 4, &h16, 4, KepiSize{1, 1}, par));
        ASSERT_EQ(kepOk, kepiWTFwdRow_D97_JPEG2K_32s_C1R(x32.data() + o, 4, &l32, 4, &h32, 4, KepiSize{1, 1}, par));
        EXPECT_NEAR(low, lf, 1e-3);
        EXPECT_NEAR(high, hf, 1e-3);
        EXPECT_LE(std::fabs(low - l16), 1.0);
        EXPECT_LE(std::fabs(high - h16), 1.0);
        EXPECT_LE(std::fabs(low - l32), 3.0);
        EXPECT_LE(std::fabs(high - h32), 3.0);
    }
}

// The 16s width-1 outputs at the edges of the range: the high-pass saturates both ways; the
// low-pass is clamped above, but a sum below -32768 keeps its low 16 bits.
TEST(Wt97Rows, SixteenBitWidthOneClamp) {
    auto run = [](const std::vector<int>& v, int par, Kep16s& lo, Kep16s& hi) {
        std::vector<Kep16s> x(v.begin(), v.end());
        return kepiWTFwdRow_D97_JPEG2K_16s_C1R(x.data() + 4, 2, &lo, 2, &hi, 2, KepiSize{1, 1}, par);
    };
    auto run32 = [](const std::vector<int>& v, int par, Kep32s& lo, Kep32s& hi) {
        std::vector<Kep32s> x(v.begin(), v.end());
        return kepiWTFwdRow_D97_JPEG2K_32s_C1R(x.data() + 4, 4, &lo, 4, &hi, 4, KepiSize{1, 1}, par);
    };
    const int P = 32767, N = -32768;
    // Phase 0: low centred on x[0] (index 4 below), high on x[1].
    const std::vector<int> lowUp = {P, N, N, P, P, P, N, N, P, 0};      // low ~ +45000
    const std::vector<int> lowDown = {N, P, P, N, N, N, P, P, N, 0};    // low ~ -45000
    Kep16s lo, hi;
    Kep32s lo32, hi32;
    ASSERT_EQ(kepOk, run(lowUp, 0, lo, hi));
    ASSERT_EQ(kepOk, run32(lowUp, 0, lo32, hi32));
    EXPECT_GT(lo32, 40000);
    EXPECT_EQ(32767, lo);
    ASSERT_EQ(kepOk, run(lowDown, 0, lo, hi));
    ASSERT_EQ(kepOk, run32(lowDown, 0, lo32, hi32));
    EXPECT_LT(lo32, -40000);
    EXPECT_GT(lo, 0) << "a low-pass sum below -32768 wraps instead of clamping";
    EXPECT_LE(std::abs(static_cast<Kep16s>(static_cast<Kep16u>(lo32)) - lo), 3);
    // High-pass centred on x[1] = index 5.
    const std::vector<int> highUp = {0, 0, N, P, N, P, N, P, N, 0};
    const std::vector<int> highDown = {0, 0, P, N, P, N, P, N, P, 0};
    ASSERT_EQ(kepOk, run(highUp, 0, lo, hi));
    ASSERT_EQ(kepOk, run32(highUp, 0, lo32, hi32));
    EXPECT_GT(hi32, 32767);
    EXPECT_EQ(32767, hi);
    ASSERT_EQ(kepOk, run(highDown, 0, lo, hi));
    ASSERT_EQ(kepOk, run32(highDown, 0, lo32, hi32));
    EXPECT_LT(hi32, -32768);
    EXPECT_EQ(-32768, hi);
}

// 16s and 32s share constants and rounding: equal while nothing leaves 16 bits. For a full-scale
// alternating row the 16s form clamps at the step where a value overflows, so its result is not
// the 32s result clamped at the end; the 32s form keeps the large values.
TEST(Wt97Rows, FixedPointFormsAndClamping) {
    Rng rng(kepcheck::seed() + 3);
    for (int n = 4; n <= 40; ++n)
        for (int par = 0; par < 2; ++par) {
            const Region r = region(rng, n, par, 4000);
            const auto a = runRow<Kep16s>(kepiWTFwdRow_D97_JPEG2K_16s_C1R, r);
            const auto b = runRow<Kep32s>(kepiWTFwdRow_D97_JPEG2K_32s_C1R, r);
            const auto f = reference(r);
            for (size_t i = 0; i < a.size(); ++i) {
                ASSERT_EQ(b[i], a[i]) << "length " << n << " phase " << par << " coefficient " << i;
                ASSERT_LE(std::fabs(f[i] - b[i]), 4.0) << "fixed point against the filter bank";
            }
        }
    Region r{{}, 0, 16, 16, 16};
    for (int i = 0; i < 32; ++i) r.x.push_back(i & 1 ? -32768 : 32767);
    const auto a = runRow<Kep16s>(kepiWTFwdRow_D97_JPEG2K_16s_C1R, r);
    const auto b = runRow<Kep32s>(kepiWTFwdRow_D97_JPEG2K_32s_C1R, r);
    bool big32 = false, differs = false;
    for (size_t i = 0; i < a.size(); ++i) {
        big32 |= std::fabs(b[i]) > 32768;
        differs |= a[i] != std::min(32767.0, std::max(-32768.0, b[i]));
    }
    EXPECT_TRUE(big32) << "the 32s form does not clamp";
    EXPECT_TRUE(differs) << "the 16s form clamps inside the lifting, not only at the end";

    // 64-bit products: large 32s samples still follow the real filter.
    const Region big = region(rng, 24, 1, 1 << 24);
    const auto g = runRow<Kep32s>(kepiWTFwdRow_D97_JPEG2K_32s_C1R, big);
    const auto want = reference(big);
    for (size_t i = 0; i < g.size(); ++i) ASSERT_NEAR(want[i], g[i], 1e-4 * (1 << 24)) << i;
}

TEST(Wt97Rows, ArgumentChecks) {
    Kep32f src[64] = {}, lo[4] = {9, 9, 9, 9}, hi[4] = {9, 9, 9, 9};
    EXPECT_EQ(kepErrNullPtr, kepiWTFwdRow_D97_JPEG2K_32f_C1R(src + 8, 16, lo, 16, nullptr, 16, KepiSize{0, 1}, 0));
    EXPECT_EQ(kepErrStep, kepiWTFwdRow_D97_JPEG2K_32f_C1R(src + 8, 16, lo, 16, hi, 0, KepiSize{0, 1}, 0));
    EXPECT_EQ(kepErrSize, kepiWTFwdRow_D97_JPEG2K_32f_C1R(src + 8, 16, lo, 16, hi, 16, KepiSize{0, 1}, 0));
    EXPECT_EQ(kepErrSize, kepiWTFwdRow_D97_JPEG2K_32f_C1R(src + 8, 16, lo, 16, hi, 16, KepiSize{2, 0}, 0));
    Kep16s s16[64] = {}, l16 = 9, h16 = 9;
    Kep32s s32[64] = {}, l32 = 9, h32 = 9;
    EXPECT_EQ(kepErrNullPtr, kepiWTFwdRow_D97_JPEG2K_16s_C1R(nullptr, 0, &l16, 2, &h16, 2, KepiSize{1, 1}, 0));
    EXPECT_EQ(kepErrStep, kepiWTFwdRow_D97_JPEG2K_16s_C1R(s16 + 8, -2, &l16, 2, &h16, 2, KepiSize{1, 1}, 0));
    EXPECT_EQ(kepErrSize, kepiWTFwdRow_D97_JPEG2K_32s_C1R(s32 + 8, 4, &l32, 4, &h32, 4, KepiSize{1, -1}, 0));
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(lo[i] == 9 && hi[i] == 9) << "written on failure";
    EXPECT_TRUE(l16 == 9 && h16 == 9 && l32 == 9 && h32 == 9) << "written on failure";
}

}  // namespace
