// Reversible 5/3 wavelet through the exports: lossless round trips at every grain, agreement of
// the row, column and lifting forms with the whole-tile transform, the whole tile against an
// independent T.800 Annex F model (after the reversible component transform), the short-line
// rules, buffer sizes and argument checks.

#include <gtest/gtest.h>

#include <algorithm>

#include "j2k_plane.h"
#include "j2k_ref.h"
#include "kepcheck.h"

namespace {

using j2ktest::Plane;
using j2ktest::Wt53Api;
using kepcheck::Rng;

template <typename T>
class Wt53 : public ::testing::Test {};
using Types = ::testing::Types<Kep16s, Kep32s>;
TYPED_TEST_SUITE(Wt53, Types);

// Sample range that keeps every 16s sum inside 16 bits.
template <typename T>
int64_t amplitude() { return sizeof(T) == 2 ? 8000 : (1 << 28); }

TYPED_TEST(Wt53, WholeTileRoundTripEverySizeAndParity) {
    using T = TypeParam;
    using A = Wt53Api<T>;
    Rng rng(kepcheck::seed());
    for (int h = 1; h <= 17; ++h)
        for (int w = 1; w <= 17; ++w)
            for (int par = 0; par < 4; ++par) {
                const KepiRect r{par & 1, par >> 1, w, h};
                SCOPED_TRACE(testing::Message() << w << "x" << h << " origin " << r.x << "," << r.y);
                Plane<T> orig(w, h);
                j2ktest::fillRandom(rng, orig, -amplitude<T>(), amplitude<T>());
                // In place.
                Plane<T> p = orig;
                auto buf = j2ktest::scratch<T>(r, true);
                ASSERT_EQ(kepOk, A::fwdI(p.data(), p.step(), &r, buf.data()));
                if (w * h > 1) {
                    EXPECT_NE(p.v, orig.v);
                }
                ASSERT_EQ(kepOk, A::invI(p.data(), p.step(), &r, buf.data()));
                ASSERT_EQ(p.v, orig.v);
                // Not in place, through four separate band planes.
                auto buf2 = j2ktest::scratch<T>(r, false);
                std::vector<Plane<T>> bands = {Plane<T>((w + 1) / 2, (h + 1) / 2), Plane<T>((w + 1) / 2, h / 2), Plane<T>(w / 2, (h + 1) / 2),
                                               Plane<T>(w / 2, h / 2)};
                T* bp[4];
                int bs[4];
                for (int b = 0; b < 4; ++b) bp[b] = bands[b].data(), bs[b] = bands[b].step();
                ASSERT_EQ(kepOk, A::fwd(orig.data(), orig.step(), &r, bp, bs, buf2.data()));
                Plane<T> back(w, h);
                const T* cbp[4] = {bp[0], bp[1], bp[2], bp[3]};
                ASSERT_EQ(kepOk, A::inv(cbp, bs, back.data(), back.step(), &r, buf2.data()));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) ASSERT_EQ(orig.at(x, y), back.at(x, y)) << x << "," << y;
                // For an even origin the fixed band split is the parity split: the bands equal
                // the quadrants of the in-place result.
                if (r.x == 0 && r.y == 0) {
                    Plane<T> q = orig;
                    A::fwdI(q.data(), q.step(), &r, buf.data());
                    for (int b = 0; b < 4; ++b)
                        for (int y = 0; y < bands[b].h; ++y)
                            for (int x = 0; x < bands[b].w; ++x)
                                ASSERT_EQ(q.at(x + (b & 2 ? (w + 1) / 2 : 0), y + (b & 1 ? (h + 1) / 2 : 0)), bands[b].at(x, y)) << "band " << b;
                }
            }
}

// RCT then the whole-tile 5/3 forward give the sub-bands of T.800 (G-1, then 2D_SD with PSE),
// for several sizes and every origin parity; and the inverse equals 2D_SR on arbitrary bands.
TYPED_TEST(Wt53, MatchesIndependentAnnexFModel) {
    using T = TypeParam;
    using A = Wt53Api<T>;
    Rng rng(kepcheck::seed() + 1);
    const int sizes[][2] = {{1, 1}, {1, 5}, {6, 1}, {2, 2}, {3, 2}, {5, 7}, {8, 8}, {16, 9}, {17, 17}, {33, 20}, {64, 3}};
    for (const auto& s : sizes)
        for (int ox : {0, 1, 2, 7})
            for (int oy : {0, 1, 4, 3}) {
                const int w = s[0], h = s[1];
                const KepiRect r{ox, oy, w, h};
                SCOPED_TRACE(testing::Message() << w << "x" << h << " at " << ox << "," << oy);
                // 8-bit RGB samples with the DC level shift, as an encoder would feed them.
                Plane<T> comp[3] = {Plane<T>(w, h), Plane<T>(w, h), Plane<T>(w, h)};
                std::vector<int64_t> refY(static_cast<size_t>(w * h));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        int64_t c[3];
                        for (int i = 0; i < 3; ++i) comp[i].at(x, y) = static_cast<T>(c[i] = rng.range(0, 255) - 128);
                        refY[static_cast<size_t>(y * w + x)] = j2kref::floorDiv(c[0] + 2 * c[1] + c[2], 4);  // G-1
                    }
                T* planes[3] = {comp[0].data(), comp[1].data(), comp[2].data()};
                const KepiSize roi{w, h};
                if constexpr (sizeof(T) == 2) {
                    ASSERT_EQ(kepOk, kepiRCTFwd_JPEG2K_16s_P3IR(planes, comp[0].step(), roi));
                } else {
                    ASSERT_EQ(kepOk, kepiRCTFwd_JPEG2K_32s_P3IR(planes, comp[0].step(), roi));
                }
                auto buf = j2ktest::scratch<T>(r, true);
                ASSERT_EQ(kepOk, A::fwdI(comp[0].data(), comp[0].step(), &r, buf.data()));
                const auto expect = j2kref::sd53Tile(refY, w, h, ox, oy);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) ASSERT_EQ(expect[static_cast<size_t>(y * w + x)], comp[0].at(x, y)) << x << "," << y;

                // Inverse on arbitrary coefficients.
                Plane<T> bands(w, h);
                std::vector<int64_t> rb(static_cast<size_t>(w * h));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) bands.at(x, y) = static_cast<T>(rb[static_cast<size_t>(y * w + x)] = rng.range(-2000, 2000));
                ASSERT_EQ(kepOk, A::invI(bands.data(), bands.step(), &r, buf.data()));
                const auto rec = j2kref::sr53Tile(rb, w, h, ox, oy);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) ASSERT_EQ(rec[static_cast<size_t>(y * w + x)], bands.at(x, y)) << "inverse " << x << "," << y;
            }
}

// A line of n samples at parity par placed in memory with `margin` mirrored samples on each
// side, as a caller of the row and column forms supplies it.
template <typename T>
std::vector<T> extended(const std::vector<T>& x, int margin) {
    std::vector<T> e(x.size() + 2 * static_cast<size_t>(margin));
    for (size_t i = 0; i < e.size(); ++i) e[i] = x[j2ktest::mirror(static_cast<long>(i) - margin, x.size())];
    return e;
}

// The row and column forms, given the symmetric extension, produce the whole-tile bands of a
// one-line tile; the inverse forms, given the band samples around the region (taken from a
// wider forward run), restore the line. Every length 1..17 and both phases.
TYPED_TEST(Wt53, RowAndColumnFormsAgreeWithWholeTile) {
    using T = TypeParam;
    using A = Wt53Api<T>;
    Rng rng(kepcheck::seed() + 2);
    constexpr int kM = 8;
    for (int n = 2; n <= 17; ++n)
        for (int par = 0; par < 2; ++par) {
            SCOPED_TRACE(testing::Message() << "length " << n << " phase " << par);
            std::vector<T> x(static_cast<size_t>(n));
            for (T& v : x) v = static_cast<T>(rng.range(-amplitude<T>(), amplitude<T>()));
            // Whole-tile reference: a one-row tile (vertical pass is the identity at y = 0).
            std::vector<T> tile = x;
            KepiRect r{par, 0, n, 1};
            auto buf = j2ktest::scratch<T>(r, true);
            ASSERT_EQ(kepOk, A::fwdI(tile.data(), n * static_cast<int>(sizeof(T)), &r, buf.data()));
            const int nL = (n + 1 - par) / 2, nH = n - nL, width = std::max(nL, nH);
            const std::vector<T> ext = extended(x, kM);
            std::vector<T> lo(static_cast<size_t>(width) + 8), hi(static_cast<size_t>(width) + 8);
            const KepiSize one{width, 1};
            ASSERT_EQ(kepOk, A::fwdRow(ext.data() + kM, 64, lo.data(), 64, hi.data(), 64, one, par ? -3 : 0));
            for (int k = 0; k < nL; ++k) ASSERT_EQ(tile[static_cast<size_t>(k)], lo[static_cast<size_t>(k)]) << "row low " << k;
            for (int k = 0; k < nH; ++k) ASSERT_EQ(tile[static_cast<size_t>(nL + k)], hi[static_cast<size_t>(k)]) << "row high " << k;

            // The same line as a column of a three-column plane (columns 0 and 2 are noise).
            const int rows = n + 2 * kM, cstep = 3 * static_cast<int>(sizeof(T));
            std::vector<T> col(static_cast<size_t>(rows) * 3);
            for (int i = 0; i < rows; ++i) {
                col[static_cast<size_t>(i) * 3] = static_cast<T>(rng.range(-99, 99));
                col[static_cast<size_t>(i) * 3 + 1] = ext[static_cast<size_t>(i)];
                col[static_cast<size_t>(i) * 3 + 2] = static_cast<T>(rng.range(-99, 99));
            }
            std::vector<T> clo(static_cast<size_t>(width) * 3), chi(static_cast<size_t>(width) * 3);
            const KepiSize cs{3, width};
            ASSERT_EQ(kepOk, A::fwdCol(col.data() + kM * 3, cstep, clo.data(), cstep, chi.data(), cstep, cs, par));
            for (int k = 0; k < nL; ++k) ASSERT_EQ(lo[static_cast<size_t>(k)], clo[static_cast<size_t>(k) * 3 + 1]) << "column low " << k;
            for (int k = 0; k < nH; ++k) ASSERT_EQ(hi[static_cast<size_t>(k)], chi[static_cast<size_t>(k) * 3 + 1]) << "column high " << k;

            // Inverse rows and columns: bands over a wider range (four more on each side, an
            // even shift keeps the phase), then reconstruct the region from its band prefix.
            const int wide = width + 4;
            std::vector<T> wlo(static_cast<size_t>(wide)), whi(static_cast<size_t>(wide));
            const KepiSize ws{wide, 1};
            ASSERT_EQ(kepOk, A::fwdRow(ext.data() + kM - 4, 64, wlo.data(), 64, whi.data(), 64, ws, par));
            std::vector<T> y(static_cast<size_t>(2 * width) + 4, T(0));
            ASSERT_EQ(kepOk, A::invRow(wlo.data() + 2, 64, whi.data() + 2, 64, one, y.data(), 64, par));
            for (int i = 0; i < n; ++i) ASSERT_EQ(x[static_cast<size_t>(i)], y[static_cast<size_t>(i)]) << "inverse row " << i;
            std::vector<T> ycol(static_cast<size_t>(2 * width) * 3, T(0));
            const int one1 = static_cast<int>(sizeof(T));
            ASSERT_EQ(kepOk, A::invCol(wlo.data() + 2, one1, whi.data() + 2, one1, KepiSize{1, width}, ycol.data(), cstep, par));
            for (int i = 0; i < n; ++i) ASSERT_EQ(x[static_cast<size_t>(i)], ycol[static_cast<size_t>(i) * 3]) << "inverse column " << i;
        }
}

// Streaming: the forward lifting step applied row pair by row pair reproduces the column
// filter, and the inverse step rebuilds every row from the bands and the first row.
TYPED_TEST(Wt53, LiftingStepsStreamAColumnTransform) {
    using T = TypeParam;
    using A = Wt53Api<T>;
    Rng rng(kepcheck::seed() + 3);
    for (int width : {1, 3, 8, 17, 40}) {
        const int n = 6, rows = 2 * n + 3;  // rows -2 .. 2n: extension above, one below
        Plane<T> x(width, rows);
        j2ktest::fillRandom(rng, x, -amplitude<T>(), amplitude<T>());
        auto X = [&](int r) { return x.row(r + 2); };
        Plane<T> lo(width, n), hi(width, n + 1), clo(width, n), chi(width, n);
        ASSERT_EQ(kepOk, A::fwdCol(X(0), x.step(), clo.data(), clo.step(), chi.data(), chi.step(), KepiSize{width, n}, 0));
        // H[-1] from the extension rows, then one lifting step per band row.
        std::vector<T> hPrev(static_cast<size_t>(width)), scratchLow(static_cast<size_t>(width));
        ASSERT_EQ(kepOk, A::fwdLift(X(-2), X(-1), X(0), scratchLow.data(), X(-1), hPrev.data(), width));
        // hPrev now holds H[-1] = x[-1] - ((x[-2] + x[0]) >> 1); the low row of that call is unused.
        for (int k = 0; k < n; ++k) {
            ASSERT_EQ(kepOk, A::fwdLift(X(2 * k), X(2 * k + 1), X(2 * k + 2), lo.row(k), k ? hi.row(k - 1) : hPrev.data(), hi.row(k), width));
        }
        for (int k = 0; k < n; ++k)
            for (int i = 0; i < width; ++i) {
                ASSERT_EQ(clo.at(i, k), lo.at(i, k)) << "low " << i << "," << k;
                ASSERT_EQ(chi.at(i, k), hi.at(i, k)) << "high " << i << "," << k;
            }
        // Inverse: rows 1 .. 2n-2 from row 0 and the bands.
        Plane<T> back(width, 2 * n);
        std::copy(X(0), X(0) + width, back.row(0));
        for (int k = 0; k + 1 < n; ++k)
            ASSERT_EQ(kepOk, A::invLift(lo.row(k + 1), hi.row(k), hi.row(k + 1), back.row(2 * k), back.row(2 * k + 1), back.row(2 * k + 2), width));
        for (int r = 0; r < 2 * n - 1; ++r)
            for (int i = 0; i < width; ++i) ASSERT_EQ(X(r)[i], back.at(i, r)) << "row " << r << " column " << i;
    }
}

TYPED_TEST(Wt53, ShortLinesAndDocumentedValues) {
    using T = TypeParam;
    using A = Wt53Api<T>;
    Kep8u buf[64];
    for (int par = 0; par < 4; ++par) {
        // A lone sample: doubled by each pass at an odd origin, unchanged at an even one.
        T v = 1234;
        const KepiRect r{par & 1, par >> 1, 1, 1};
        ASSERT_EQ(kepOk, A::fwdI(&v, 64, &r, buf));
        EXPECT_EQ(1234 << ((par & 1) + (par >> 1)), v) << "origin parity " << par;
        ASSERT_EQ(kepOk, A::invI(&v, 64, &r, buf));
        EXPECT_EQ(1234, v);
    }
    // Halving back truncates toward zero: -3 at an odd origin.
    T v = -3;
    const KepiRect odd{1, 0, 1, 1};
    ASSERT_EQ(kepOk, A::invI(&v, 64, &odd, buf));
    EXPECT_EQ(-1, v);
    // Two samples [a, b] at an even origin: [a + ((b - a + 1) >> 1), b - a]; at an odd origin the
    // even sample is the second one.
    for (auto ab : {std::pair<int, int>{10, 3}, {-7, 8}, {5, 5}, {-100, -101}}) {
        T line[2] = {static_cast<T>(ab.first), static_cast<T>(ab.second)};
        const KepiRect r{0, 0, 2, 1};
        ASSERT_EQ(kepOk, A::fwdI(line, 64, &r, buf));
        EXPECT_EQ(ab.first + j2kref::floorDiv(ab.second - ab.first + 1, 2), line[0]);
        EXPECT_EQ(ab.second - ab.first, line[1]);
        ASSERT_EQ(kepOk, A::invI(line, 64, &r, buf));
        EXPECT_EQ(ab.first, line[0]);
        EXPECT_EQ(ab.second, line[1]);
        T col[2] = {static_cast<T>(ab.first), static_cast<T>(ab.second)};
        const KepiRect rc{0, 1, 1, 2};  // vertical pair at an odd origin: row 1 is the even one
        ASSERT_EQ(kepOk, A::fwdI(col, static_cast<int>(sizeof(T)), &rc, buf));
        EXPECT_EQ(ab.second + j2kref::floorDiv(ab.first - ab.second + 1, 2), col[0]);
        EXPECT_EQ(ab.first - ab.second, col[1]);
    }
    // In place, a size <= 0 is accepted and leaves the plane alone.
    T keep[4] = {1, 2, 3, 4};
    for (KepiRect r : {KepiRect{0, 0, 0, 4}, KepiRect{0, 0, 4, -1}}) {
        EXPECT_EQ(kepOk, A::fwdI(keep, 8, &r, buf));
        EXPECT_EQ(kepOk, A::invI(keep, 8, &r, buf));
    }
    EXPECT_EQ(1, keep[0]);
    EXPECT_EQ(4, keep[3]);
}

TYPED_TEST(Wt53, BufferSizes) {
    using T = TypeParam;
    using A = Wt53Api<T>;
    constexpr int e = sizeof(T);
    int s = -1;
    const KepiRect r22{1, 1, 2, 2}, r31{0, 0, 3, 1}, r1x9{0, 0, 1, 9}, r10x7{3, 2, 10, 7};
    ASSERT_EQ(kepOk, A::sizeI(&r22, &s));
    EXPECT_EQ(0, s);
    ASSERT_EQ(kepOk, A::sizeI(&r31, &s));
    EXPECT_EQ(3 * e + 4 * e, s);  // 28 for 32s
    ASSERT_EQ(kepOk, A::sizeI(&r1x9, &s));
    EXPECT_EQ(9 * e + 4 * e, s);
    ASSERT_EQ(kepOk, A::size(&r22, &s));
    EXPECT_EQ(32 * 2, s);  // two rows rounded up to 32 bytes, no line scratch
    ASSERT_EQ(kepOk, A::size(&r10x7, &s));
    EXPECT_EQ(((10 * e + 31) / 32 * 32) * 7 + 10 * e + 4 * e, s);
    EXPECT_EQ(kepErrNullPtr, A::size(nullptr, &s));
    EXPECT_EQ(kepErrNullPtr, A::sizeI(&r22, nullptr));
}

TYPED_TEST(Wt53, ArgumentChecksInOrderWriteNothing) {
    using T = TypeParam;
    using A = Wt53Api<T>;
    T src[64] = {}, lo[16], hi[16];
    std::fill(lo, lo + 16, T(77));
    std::fill(hi, hi + 16, T(77));
    const KepiSize ok{2, 2}, zero{0, 2};
    for (auto f : {A::fwdRow, A::fwdCol}) {
        EXPECT_EQ(kepErrNullPtr, f(src + 8, 16, lo, 0, nullptr, 16, zero, 0));  // null before step and size
        EXPECT_EQ(kepErrStep, f(src + 8, 16, lo, 0, hi, 16, zero, 0));
        EXPECT_EQ(kepErrSize, f(src + 8, 16, lo, 16, hi, 16, zero, 0));
        EXPECT_EQ(kepErrSize, f(src + 8, 16, lo, 16, hi, 16, KepiSize{2, -1}, 0));
    }
    for (auto f : {A::invRow, A::invCol}) {
        EXPECT_EQ(kepErrNullPtr, f(lo, 0, hi, 16, zero, nullptr, 16, 0));
        EXPECT_EQ(kepErrStep, f(lo, 16, hi, 16, ok, src + 8, 0, 0));
        EXPECT_EQ(kepErrSize, f(lo, 16, hi, 16, zero, src + 8, 16, 0));
    }
    EXPECT_EQ(kepErrNullPtr, A::fwdLift(src, src, src, lo, nullptr, hi, 0));
    EXPECT_EQ(kepErrSize, A::fwdLift(src, src, src, lo, src, hi, 0));
    EXPECT_EQ(kepErrNullPtr, A::invLift(src, src, src, src, lo, nullptr, 0));
    EXPECT_EQ(kepErrSize, A::invLift(src, src, src, src, lo, hi, -3));
    for (int i = 0; i < 16; ++i) ASSERT_TRUE(lo[i] == 77 && hi[i] == 77) << "written on failure";

    Kep8u buf[512];
    const KepiRect r{0, 0, 4, 4}, r0{0, 0, 0, 4};
    T* d[4] = {lo, lo + 4, hi, hi + 4};
    int ds[4] = {4, 4, 4, 4};
    EXPECT_EQ(kepErrNullPtr, A::fwd(src, 0, &r, d, ds, nullptr));   // pointers before the source step
    EXPECT_EQ(kepErrStep, A::fwd(src, 0, &r, d, ds, buf));
    T* dn[4] = {lo, nullptr, hi, hi};
    EXPECT_EQ(kepErrNullPtr, A::fwd(src, 8, &r0, dn, ds, buf));      // band pointer before size
    int dz[4] = {4, 4, 0, 4};
    EXPECT_EQ(kepErrStep, A::fwd(src, 8, &r0, d, dz, buf));
    EXPECT_EQ(kepErrSize, A::fwd(src, 8, &r0, d, ds, buf));
    const T* s4[4] = {lo, lo, hi, hi};
    EXPECT_EQ(kepErrNullPtr, A::inv(s4, ds, src, 0, nullptr, buf));
    EXPECT_EQ(kepErrStep, A::inv(s4, ds, src, 0, &r, buf));
    const T* sn[4] = {lo, lo, nullptr, hi};
    EXPECT_EQ(kepErrNullPtr, A::inv(sn, ds, src, 8, &r, buf));
    EXPECT_EQ(kepErrStep, A::inv(s4, dz, src, 8, &r, buf));
    EXPECT_EQ(kepErrSize, A::inv(s4, ds, src, 8, &r0, buf));
    for (int i = 0; i < 16; ++i) ASSERT_TRUE(lo[i] == 77 && hi[i] == 77) << "written on failure";
    EXPECT_EQ(kepErrNullPtr, A::fwdI(nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(kepErrStep, A::fwdI(src, 0, nullptr, nullptr));
    EXPECT_EQ(kepErrNullPtr, A::fwdI(src, 8, &r0, nullptr));  // buffer checked even for an empty tile
    EXPECT_EQ(kepErrNullPtr, A::invI(src, 8, nullptr, buf));
    EXPECT_EQ(kepErrStep, A::invI(src, -8, &r, buf));
}

}  // namespace
