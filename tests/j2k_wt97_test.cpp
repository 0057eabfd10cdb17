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

// ---- the other 9/7 forms ---------------------------------------------------------------

namespace {

template <typename T> struct Row97;
template <> struct Row97<Kep32f> { static constexpr auto fwd = kepiWTFwdRow_D97_JPEG2K_32f_C1R; static constexpr auto inv = kepiWTInvRow_D97_JPEG2K_32f_C1R; };
template <> struct Row97<Kep16s> { static constexpr auto fwd = kepiWTFwdRow_D97_JPEG2K_16s_C1R; static constexpr auto inv = kepiWTInvRow_D97_JPEG2K_16s_C1R; };
template <> struct Row97<Kep32s> { static constexpr auto fwd = kepiWTFwdRow_D97_JPEG2K_32s_C1R; static constexpr auto inv = kepiWTInvRow_D97_JPEG2K_32s_C1R; };

// Forward over a range four band samples wider on each side (an even shift keeps the phase),
// so that the inverse finds the band samples around the region it reads, then the inverse;
// returns the largest error over the region.
template <typename T>
double rowRoundTripError(const Region& r) {
    constexpr int kM = 16;
    const auto e = extend<T>(r, kM, 2 * r.width + 16);
    const int wide = r.width + 4;
    std::vector<T> lo(static_cast<size_t>(wide)), hi(static_cast<size_t>(wide)), y(static_cast<size_t>(2 * r.width));
    EXPECT_EQ(kepOk, Row97<T>::fwd(e.data() + kM - 4, 64, lo.data(), 64, hi.data(), 64, KepiSize{wide, 1}, r.par));
    EXPECT_EQ(kepOk, Row97<T>::inv(lo.data() + 2, 64, hi.data() + 2, 64, KepiSize{r.width, 1}, y.data(), 64, r.par ? -1 : 0));
    double err = 0;
    for (size_t i = 0; i < r.x.size(); ++i) err = std::max(err, std::fabs(r.x[i] - static_cast<double>(y[i])));
    return err;
}

TEST(Wt97Inverse, RowsUndoTheForwardRows) {
    Rng rng(kepcheck::seed() + 10);
    double worst[3] = {0, 0, 0};
    for (int n = 2; n <= 40; ++n)
        for (int par = 0; par < 2; ++par)
            for (int rep = 0; rep < 16; ++rep) {
                const Region r = region(rng, n, par, 2047);  // 12-bit samples
                worst[0] = std::max(worst[0], rowRoundTripError<Kep32f>(r));
                worst[1] = std::max(worst[1], rowRoundTripError<Kep16s>(r));
                worst[2] = std::max(worst[2], rowRoundTripError<Kep32s>(r));
            }
    EXPECT_LE(worst[0], 2047 * 1e-5) << "float";
    EXPECT_LE(worst[1], 4.0) << "16s";  // the documented bound for samples of up to 12 bits
    EXPECT_LE(worst[2], 4.0) << "32s";
    EXPECT_GT(worst[0], 0.0);  // the float inverse is not exact: the test measures something
}

// The float columns are the rows on transposed data, bit for bit, both directions.
TEST(Wt97Columns, EqualRowsOnTransposedData) {
    Rng rng(kepcheck::seed() + 11);
    for (int cols : {1, 3, 4, 9}) {
        for (int w = 1; w <= 12; ++w)
            for (int par = 0; par < 2; ++par) {
                const int len = 2 * w + 8;  // samples -4 .. 2w+3
                std::vector<Kep32f> plane(static_cast<size_t>(len * cols)), rows(static_cast<size_t>(len * cols));
                for (int i = 0; i < len; ++i)
                    for (int c = 0; c < cols; ++c) {
                        const Kep32f v = static_cast<Kep32f>(rng.range(-5000, 5000)) / 8.0f;
                        plane[static_cast<size_t>(i * cols + c)] = v;  // column c, sample i
                        rows[static_cast<size_t>(c * len + i)] = v;    // row c, sample i
                    }
                const int cs = cols * 4, rs = len * 4;
                std::vector<Kep32f> clo(static_cast<size_t>(w * cols)), chi(clo.size()), rlo(clo.size()), rhi(clo.size());
                ASSERT_EQ(kepOk, kepiWTFwdCol_D97_JPEG2K_32f_C1R(plane.data() + 4 * cols, cs, clo.data(), cs, chi.data(), cs, KepiSize{cols, w}, par));
                ASSERT_EQ(kepOk, kepiWTFwdRow_D97_JPEG2K_32f_C1R(rows.data() + 4, rs, rlo.data(), w * 4, rhi.data(), w * 4, KepiSize{w, cols}, par));
                for (int k = 0; k < w; ++k)
                    for (int c = 0; c < cols; ++c) {
                        ASSERT_EQ(rlo[static_cast<size_t>(c * w + k)], clo[static_cast<size_t>(k * cols + c)]) << cols << " " << w << " " << par;
                        ASSERT_EQ(rhi[static_cast<size_t>(c * w + k)], chi[static_cast<size_t>(k * cols + c)]);
                    }
                // Inverse: bands from the same planes (rows 2 .. 2+w of a wider band plane).
                std::vector<Kep32f> cx(static_cast<size_t>(2 * w * cols)), rx(cx.size());
                ASSERT_EQ(kepOk, kepiWTInvCol_D97_JPEG2K_32f_C1R(plane.data() + 2 * cols, cs, plane.data() + 3 * cols, cs, KepiSize{cols, w}, cx.data(), cs, par));
                ASSERT_EQ(kepOk, kepiWTInvRow_D97_JPEG2K_32f_C1R(rows.data() + 2, rs, rows.data() + 3, rs, KepiSize{w, cols}, rx.data(), 2 * w * 4, par));
                for (int i = 0; i < 2 * w; ++i)
                    for (int c = 0; c < cols; ++c) ASSERT_EQ(rx[static_cast<size_t>(c * 2 * w + i)], cx[static_cast<size_t>(i * cols + c)]) << "inverse";
            }
    }
}

template <typename T> struct Tile97;
template <> struct Tile97<Kep16s> {
    static constexpr auto fwdI = kepiWTFwd_D97_JPEG2K_16s_C1IR; static constexpr auto invI = kepiWTInv_D97_JPEG2K_16s_C1IR;
    static constexpr auto fwd = kepiWTFwd_D97_JPEG2K_16s_C1R; static constexpr auto inv = kepiWTInv_D97_JPEG2K_16s_C1R;
    static constexpr auto sizeI = kepiWTGetBufSize_D97_JPEG2K_16s_C1IR; static constexpr auto size = kepiWTGetBufSize_D97_JPEG2K_16s_C1R;
};
template <> struct Tile97<Kep32s> {
    static constexpr auto fwdI = kepiWTFwd_D97_JPEG2K_32s_C1IR; static constexpr auto invI = kepiWTInv_D97_JPEG2K_32s_C1IR;
    static constexpr auto fwd = kepiWTFwd_D97_JPEG2K_32s_C1R; static constexpr auto inv = kepiWTInv_D97_JPEG2K_32s_C1R;
    static constexpr auto sizeI = kepiWTGetBufSize_D97_JPEG2K_32s_C1IR; static constexpr auto size = kepiWTGetBufSize_D97_JPEG2K_32s_C1R;
};

template <typename T>
class Wt97Tile : public ::testing::Test {};
using FixedTypes = ::testing::Types<Kep16s, Kep32s>;
TYPED_TEST_SUITE(Wt97Tile, FixedTypes);

// Every size 1..17 and origin parity: the fixed-point tile against the T.800 filter bank in
// double precision, the round trip within its documented bound, and the not-in-place forms
// against the in-place ones.
TYPED_TEST(Wt97Tile, FilterBankRoundTripAndLayouts) {
    using T = TypeParam;
    using A = Tile97<T>;
    Rng rng(kepcheck::seed() + 12);
    double worstFwd = 0, worstTrip = 0;
    for (int h = 1; h <= 17; ++h)
        for (int w = 1; w <= 17; ++w)
            for (int par = 0; par < 4; ++par) {
                const KepiRect r{par & 1, par >> 1, w, h};
                SCOPED_TRACE(testing::Message() << w << "x" << h << " origin parity " << par);
                j2ktest::Plane<T> p(w, h);
                std::vector<double> ref(static_cast<size_t>(w * h));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) ref[static_cast<size_t>(y * w + x)] = p.at(x, y) = static_cast<T>(rng.range(-2048, 2047));
                const j2ktest::Plane<T> orig = p;
                int bytes = 0;
                ASSERT_EQ(kepOk, A::sizeI(&r, &bytes));
                std::vector<Kep8u> buf(static_cast<size_t>(bytes));
                ASSERT_EQ(kepOk, A::fwdI(p.data(), p.step(), &r, buf.data()));
                const auto want = j2kref::sd97Tile(ref, w, h, r.x, r.y);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) worstFwd = std::max(worstFwd, std::fabs(want[static_cast<size_t>(y * w + x)] - p.at(x, y)));
                const j2ktest::Plane<T> coeffs = p;
                ASSERT_EQ(kepOk, A::invI(p.data(), p.step(), &r, buf.data()));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) worstTrip = std::max(worstTrip, std::fabs(static_cast<double>(orig.v[static_cast<size_t>(y * p.stride + x)]) - p.at(x, y)));

                // Not in place through separate bands: same coefficients at an even origin (where
                // the fixed split is the parity split), and the inverse gives the same samples.
                if (par != 0) continue;
                ASSERT_EQ(kepOk, A::size(&r, &bytes));
                std::vector<Kep8u> buf2(static_cast<size_t>(bytes));
                std::vector<j2ktest::Plane<T>> bands = {j2ktest::Plane<T>((w + 1) / 2, (h + 1) / 2), j2ktest::Plane<T>((w + 1) / 2, h / 2),
                                                        j2ktest::Plane<T>(w / 2, (h + 1) / 2), j2ktest::Plane<T>(w / 2, h / 2)};
                T* bp[4];
                int bs[4];
                for (int b = 0; b < 4; ++b) bp[b] = bands[b].data(), bs[b] = bands[b].step();
                ASSERT_EQ(kepOk, A::fwd(orig.v.data(), p.step(), &r, bp, bs, buf2.data()));
                for (int b = 0; b < 4; ++b)
                    for (int y = 0; y < bands[b].h; ++y)
                        for (int x = 0; x < bands[b].w; ++x)
                            ASSERT_EQ(coeffs.v[static_cast<size_t>((y + (b & 1 ? (h + 1) / 2 : 0)) * p.stride + x + (b & 2 ? (w + 1) / 2 : 0))], bands[b].at(x, y));
                j2ktest::Plane<T> back(w, h);
                const T* cbp[4] = {bp[0], bp[1], bp[2], bp[3]};
                ASSERT_EQ(kepOk, A::inv(cbp, bs, back.data(), back.step(), &r, buf2.data()));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) ASSERT_EQ(p.at(x, y), back.at(x, y));
            }
    // The documented bounds for samples of up to 12 bits: both passes round to integers.
    EXPECT_LE(worstFwd, 8.0);
    EXPECT_LE(worstTrip, 10.0);
}

}  // namespace

namespace {

template <typename T> struct Lift97;
#define J2K_LIFT97(T, t)                                                                                           \
    template <> struct Lift97<T> {                                                                                 \
        static constexpr auto fwd = kepiWTFwdColLift_D97_JPEG2K_##t##_C1;                                          \
        static constexpr auto inv = kepiWTInvColLift_D97_JPEG2K_##t##_C1;                                          \
    };
J2K_LIFT97(Kep32f, 32f)
J2K_LIFT97(Kep16s, 16s)
J2K_LIFT97(Kep32s, 32s)
#undef J2K_LIFT97

template <typename T>
class Wt97Lift : public ::testing::Test {};
using AllTypes = ::testing::Types<Kep32f, Kep16s, Kep32s>;
TYPED_TEST_SUITE(Wt97Lift, AllTypes);

// Rows indexed from -kOff: a small plane of `cols` columns per row.
constexpr int kCols = 3, kOff = 12;
template <typename T>
struct Rows {
    std::vector<T> v;
    explicit Rows(int n) : v(static_cast<size_t>((n + 2 * kOff) * kCols)) {}
    T* operator[](int r) { return v.data() + static_cast<size_t>((r + kOff) * kCols); }
};

// Streaming the three forward stages down phase-0 columns gives the row form's bands (the row
// form's fused first low-pass excepted for the fixed-point types), and streaming the inverse
// stages gives the inverse row form's samples exactly.
TYPED_TEST(Wt97Lift, StreamedStagesReproduceTheRowForms) {
    using T = TypeParam;
    using L = Lift97<T>;
    Rng rng(kepcheck::seed() + 13);
    for (int n = 2; n <= 9; ++n) {
        Rows<T> x(2 * n + 8), l0(n + 8), h0(n + 8), l1(n + 8), h1(n + 8), junk(2);
        for (int r = -4; r <= 2 * n + 2; ++r)
            for (int c = 0; c < kCols; ++c) x[r][c] = static_cast<T>(rng.range(-2000, 2000));
        // Stage 0 for k = -2 .. n (the first call only provides H0[-2]), stage 1 for k = -1 .. n-1.
        for (int k = -2; k <= n; ++k)
            ASSERT_EQ(kepOk, L::fwd(x[2 * k], x[2 * k + 1], x[2 * k + 2], l0[k], k > -2 ? h0[k - 1] : junk[0], h0[k], kCols, 0));
        for (int k = -1; k < n; ++k)
            ASSERT_EQ(kepOk, L::fwd(l0[k], h0[k], l0[k + 1], l1[k], k > -1 ? h1[k - 1] : junk[0], h1[k], kCols, 1));
        for (int k = 0; k < n; ++k) ASSERT_EQ(kepOk, L::fwd(junk[0], junk[0], junk[0], l1[k], junk[0], h1[k], kCols, 2));
        for (int c = 0; c < kCols; ++c) {
            std::vector<T> col;
            for (int r = -4; r <= 2 * n + 2; ++r) col.push_back(x[r][c]);
            std::vector<T> lo(static_cast<size_t>(n)), hi(static_cast<size_t>(n));
            ASSERT_EQ(kepOk, Row97<T>::fwd(col.data() + 4, 64, lo.data(), 64, hi.data(), 64, KepiSize{n, 1}, 0));
            for (int k = 0; k < n; ++k) {
                ASSERT_EQ(hi[static_cast<size_t>(k)], h1[k][c]) << "high " << k << " column " << c << " n " << n;
                if (k > 0 || std::is_floating_point<T>::value) {
                    ASSERT_EQ(lo[static_cast<size_t>(k)], l1[k][c]) << "low " << k;
                }
            }
        }
        // Inverse: arbitrary bands L[-3 .. n+2], H[-3 .. n+2]; gains undone, then stage 1 and 0
        // each started far enough left that every row they feed on is rebuilt.
        Rows<T> bl(n + 8), bh(n + 8), y1(2 * n + 12), y0(2 * n + 12);
        for (int k = -3; k <= n + 2; ++k)
            for (int c = 0; c < kCols; ++c) bl[k][c] = static_cast<T>(rng.range(-2000, 2000)), bh[k][c] = static_cast<T>(rng.range(-500, 500));
        Rows<T> ul(n + 8), uh(n + 8);
        for (int k = -3; k <= n + 2; ++k) ASSERT_EQ(kepOk, L::inv(bl[k], bh[k], junk[0], junk[0], uh[k], ul[k], kCols, 2));
        // Stage 1 undone: y1[2k+2] (even) and y1[2k+1] (odd) for k = -3 .. n+1.
        for (int k = -3; k <= n + 1; ++k) ASSERT_EQ(kepOk, L::inv(ul[k + 1], uh[k], uh[k + 1], y1[2 * k], y1[2 * k + 1], y1[2 * k + 2], kCols, 1));
        // Stage 0 undone on the stage-0 rows (evens y1[2k], odds y1[2k+1]).
        for (int k = -2; k <= n; ++k) ASSERT_EQ(kepOk, L::inv(y1[2 * k + 2], y1[2 * k + 1], y1[2 * k + 3], y0[2 * k], y0[2 * k + 1], y0[2 * k + 2], kCols, 0));
        for (int c = 0; c < kCols; ++c) {
            std::vector<T> lo, hi, out(static_cast<size_t>(2 * n));
            for (int k = -3; k <= n + 2; ++k) lo.push_back(bl[k][c]), hi.push_back(bh[k][c]);
            ASSERT_EQ(kepOk, Row97<T>::inv(lo.data() + 3, 64, hi.data() + 3, 64, KepiSize{n, 1}, out.data(), 64, 0));
            for (int i = 0; i < 2 * n; ++i) ASSERT_EQ(out[static_cast<size_t>(i)], y0[i][c]) << "sample " << i << " column " << c << " n " << n;
        }
    }
    T row[4] = {};
    EXPECT_EQ(kepErrArgRange, L::fwd(row, row, row, row, row, row, 4, 3));
    EXPECT_EQ(kepErrSize, L::inv(row, row, row, row, row, row, 0, 7));  // size before range
    EXPECT_EQ(kepErrNullPtr, L::fwd(row, row, row, row, nullptr, row, 0, 9));
}

}  // namespace
