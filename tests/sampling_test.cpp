// Down- and up-sampling through the exports: the documented examples, the alternating biases of
// the row box filters (which keep rounding errors from drifting), the warning for odd widths, the
// whole-plane up-samplers against the row forms (with the border they read), and the argument
// checks.

#include <gtest/gtest.h>

#include <vector>

#include "kepcheck_data.h"
#include "kepjx1.h"

namespace {

using Bytes = std::vector<Kep8u>;

TEST(SamplingBox, ExamplesBiasesAndOddWidths) {
    // H2V1 rows: bias 0, 1, 0, 1 ...; an odd width warns and ignores the last sample.
    const Kep8u s[] = {1, 2, 1, 2, 1};
    Kep8u d[4] = {9, 9, 9, 9};
    EXPECT_EQ(kepOk, kepiSampleDownRowH2V1_Box_JPEG_8u_C1(s, 4, d));
    EXPECT_EQ(Bytes({1, 2, 9, 9}), Bytes(d, d + 4));  // (1 + 2 + 0) >> 1, (1 + 2 + 1) >> 1
    EXPECT_EQ(kepWarnOddWidth, kepiSampleDownRowH2V1_Box_JPEG_8u_C1(s, 5, d));
    EXPECT_EQ(9, d[2]);
    EXPECT_EQ(kepErrSize, kepiSampleDownRowH2V1_Box_JPEG_8u_C1(s, 1, d));
    // Pair means of 4.5 everywhere come out 4, 5, 4, 5 ... over a long row.
    Bytes row(64), out(32);
    for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<Kep8u>(i & 1 ? 4 : 5);
    ASSERT_EQ(kepOk, kepiSampleDownRowH2V1_Box_JPEG_8u_C1(row.data(), 64, out.data()));
    for (int j = 0; j < 32; ++j) ASSERT_EQ(j & 1 ? 5 : 4, out[j]) << j;

    // H2V2 rows: bias 1, 2, 1, 2 ...: sums 5, 5, 6, 6 give 1, 1, 1, 2; an odd last sample pairs
    // with itself, without a warning.
    const Kep8u u[] = {1, 1, 1, 1, 1, 2, 2, 1}, l[] = {2, 1, 2, 1, 2, 1, 1, 2};
    EXPECT_EQ(kepOk, kepiSampleDownRowH2V2_Box_JPEG_8u_C1(u, l, 8, d));
    EXPECT_EQ(Bytes({1, 1, 1, 2}), Bytes(d, d + 4));
    const Kep8u a[] = {10, 20, 30}, b[] = {40, 50, 61};
    EXPECT_EQ(kepOk, kepiSampleDownRowH2V2_Box_JPEG_8u_C1(a, b, 3, d));
    EXPECT_EQ((10 + 20 + 40 + 50 + 1) >> 2, d[0]);
    EXPECT_EQ((30 + 30 + 61 + 61 + 2) >> 2, d[1]);

    // Whole planes: the bias is constant (3 for H2V2, 1 for H2V1).
    const Kep8u p[2][4] = {{0, 0, 1, 2}, {0, 1, 2, 2}};
    EXPECT_EQ(kepOk, kepiSampleDownH2V2_JPEG_8u_C1R(&p[0][0], 4, KepiSize{4, 2}, d, 2, KepiSize{2, 1}));
    EXPECT_EQ(1, d[0]);  // (0 + 0 + 0 + 1 + 3) >> 2
    EXPECT_EQ(2, d[1]);  // (1 + 2 + 2 + 2 + 3) >> 2
    EXPECT_EQ(kepOk, kepiSampleDownH2V1_JPEG_8u_C1R(&p[0][0], 4, KepiSize{4, 1}, d, 2, KepiSize{2, 1}));
    EXPECT_EQ(0, d[0]);
    EXPECT_EQ(2, d[1]);  // (1 + 2 + 1) >> 1
}

TEST(SamplingTriangle, RowExamplesAndEdges) {
    Kep8u d[4];
    const Kep8u s[] = {0, 4};
    ASSERT_EQ(kepOk, kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(s, 2, d));
    EXPECT_EQ(Bytes({0, 1, 3, 4}), Bytes(d, d + 4));
    // Width 1: two copies (H2V1); H2V2 from v = 3 p + q with the edge sums replicated.
    const Kep8u one[] = {77}, far[] = {10};
    ASSERT_EQ(kepOk, kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(one, 1, d));
    EXPECT_EQ(Bytes({77, 77}), Bytes(d, d + 2));
    ASSERT_EQ(kepOk, kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(one, far, 1, d));
    EXPECT_EQ(Bytes({(4 * (3 * 77 + 10) + 8) >> 4, (4 * (3 * 77 + 10) + 7) >> 4}), Bytes(d, d + 2));
    // H2V2 on two samples: v = (3 * 0 + 8, 3 * 16 + 0) = (8, 48).
    const Kep8u p[] = {0, 16}, q[] = {8, 0};
    ASSERT_EQ(kepOk, kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(p, q, 2, d));
    EXPECT_EQ(Bytes({(4 * 8 + 8) >> 4, (3 * 8 + 48 + 7) >> 4, (3 * 48 + 8 + 8) >> 4, (4 * 48 + 7) >> 4}), Bytes(d, d + 4));
}

// The whole-plane up-samplers read one sample and one row beyond the region: with the border
// filled by replicating the edges they equal the row forms, which replicate internally.
TEST(SamplingTriangle, WholePlaneWithReplicatedBorderEqualsRowForms) {
    kepcheck::Rng rng(17);
    for (int n : {1, 2, 3, 8, 9, 16, 17, 40}) {
        const int rows = 5, step = n + 2, dw = 2 * n;
        Bytes src(static_cast<size_t>(step) * (rows + 2));
        for (int y = 1; y <= rows; ++y) {
            Kep8u* r = &src[static_cast<size_t>(y) * step];
            for (int x = 1; x <= n; ++x) r[x] = static_cast<Kep8u>(rng.range(0, 255));
            r[0] = r[1];
            r[n + 1] = r[n];
        }
        std::copy(&src[step], &src[2 * step], &src[0]);
        std::copy(&src[static_cast<size_t>(rows) * step], &src[static_cast<size_t>(rows + 1) * step], &src[static_cast<size_t>(rows + 1) * step]);
        const Kep8u* origin = &src[step + 1];
        Bytes whole(static_cast<size_t>(dw) * 2 * rows), row(dw);
        ASSERT_EQ(kepOk, kepiSampleUpH2V1_JPEG_8u_C1R(origin, step, KepiSize{n, rows}, whole.data(), dw, KepiSize{dw, rows}));
        for (int y = 0; y < rows; ++y) {
            ASSERT_EQ(kepOk, kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(origin + y * step, n, row.data()));
            ASSERT_TRUE(std::equal(row.begin(), row.end(), &whole[static_cast<size_t>(y) * dw])) << "H2V1 width " << n << " row " << y;
        }
        ASSERT_EQ(kepOk, kepiSampleUpH2V2_JPEG_8u_C1R(origin, step, KepiSize{n, rows}, whole.data(), dw, KepiSize{dw, 2 * rows}));
        for (int y = 0; y < 2 * rows; ++y) {
            const int nearRow = y / 2, farRow = (y & 1) ? std::min(nearRow + 1, rows - 1) : std::max(nearRow - 1, 0);
            ASSERT_EQ(kepOk, kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(origin + nearRow * step, origin + farRow * step, n, row.data()));
            ASSERT_TRUE(std::equal(row.begin(), row.end(), &whole[static_cast<size_t>(y) * dw])) << "H2V2 width " << n << " row " << y;
        }
    }
}

TEST(SamplingArguments, CheckOrder) {
    Kep8u s[64] = {}, d[64];
    std::fill(d, d + 64, 0xAB);
    const KepiSize ok{4, 2}, bad{0, 2};
    using Plane = KepResult (*)(const Kep8u*, int, KepiSize, Kep8u*, int, KepiSize);
    for (Plane f : {kepiSampleDownH2V1_JPEG_8u_C1R, kepiSampleDownH2V2_JPEG_8u_C1R, kepiSampleUpH2V1_JPEG_8u_C1R,
                    kepiSampleUpH2V2_JPEG_8u_C1R}) {
        EXPECT_EQ(kepErrNullPtr, f(nullptr, 0, bad, nullptr, 0, bad));
        EXPECT_EQ(kepErrStep, f(s, 0, bad, nullptr, 0, bad));
        EXPECT_EQ(kepErrSize, f(s, 8, KepiSize{1, 0}, nullptr, 0, bad));  // the source region before the destination
        EXPECT_EQ(kepErrNullPtr, f(s, 8, ok, nullptr, 0, bad));
        EXPECT_EQ(kepErrStep, f(s, 8, ok, d, -4, bad));
        EXPECT_EQ(kepErrSize, f(s, 8, ok, d, 8, KepiSize{3, -1}));
    }
    EXPECT_EQ(kepErrNullPtr, kepiSampleDownRowH2V1_Box_JPEG_8u_C1(nullptr, 0, d));
    EXPECT_EQ(kepErrNullPtr, kepiSampleDownRowH2V1_Box_JPEG_8u_C1(s, 0, nullptr));
    EXPECT_EQ(kepErrSize, kepiSampleDownRowH2V1_Box_JPEG_8u_C1(s, -3, d));
    EXPECT_EQ(kepErrNullPtr, kepiSampleDownRowH2V2_Box_JPEG_8u_C1(s, nullptr, 0, d));
    EXPECT_EQ(kepErrSize, kepiSampleDownRowH2V2_Box_JPEG_8u_C1(s, s, 0, d));
    EXPECT_EQ(kepErrNullPtr, kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(s, 0, nullptr));
    EXPECT_EQ(kepErrSize, kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(s, 0, d));
    EXPECT_EQ(kepErrNullPtr, kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(nullptr, s, 0, d));
    EXPECT_EQ(kepErrSize, kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(s, s, 0, d));
    for (Kep8u v : d) ASSERT_EQ(0xAB, v) << "written on failure";
}

}  // namespace
