// The 8x8 DCT exports: the fixed-point constants, DC values and the rounding of the fused
// quantization, the DC-only and reduced-size forms, the single-precision 12-bit forms against the
// exact DCT, and the argument checks. Agreement of the kernels, slots and addresses is
// dct_equiv_test.cpp's job.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "dct.h"
#include "dct_exact.h"
#include "kepcheck.h"
#include "kepjx1.h"

namespace {

using kepcheck::Rng;

struct Tables {
    alignas(16) Kep16u fwd[64];
    alignas(16) Kep16u inv[64];
};
Tables uniform(Kep8u q) {
    Kep8u raw[64];
    std::memset(raw, q, sizeof raw);
    Tables t;
    kepiQuantFwdTableInit_JPEG_8u16u(raw, t.fwd);
    kepiQuantInvTableInit_JPEG_8u16u(raw, t.inv);
    return t;
}
struct Block {
    alignas(16) Kep16s c[64];
};
struct Floats {
    alignas(16) Kep32f v[64];
    explicit Floats(float f) { std::fill(v, v + 64, f); }
};

TEST(DctConstants, FollowTheirDefinitions) {
    const double pi = M_PI;
    EXPECT_EQ(std::lround(65536 * std::tan(pi / 16)), kDctT1);
    EXPECT_EQ(std::lround(65536 * std::tan(2 * pi / 16)), kDctT2);
    EXPECT_EQ(std::lround(65536 * (std::tan(3 * pi / 16) - 1)), kDctT3);
    EXPECT_EQ(std::lround(32768 * std::cos(4 * pi / 16)), kDctC4);
    EXPECT_EQ(std::lround(65536 * (std::cos(4 * pi / 16) - 1)), kDctC4m);
    // Row weights round(32768 cos(g pi/16) cos(k pi/16)) for the groups g = 4, 1, 2, 3; row r is in
    // the group of frequency r (rows r and 8 - r share one).
    const int groupAngle[4] = {4, 1, 2, 3};
    for (int g = 0; g < 4; ++g)
        for (int k = 1; k < 8; ++k)
            EXPECT_EQ(std::lround(32768 * std::cos(groupAngle[g] * pi / 16) * std::cos(k * pi / 16)), kDctWeights[g][k]) << g << "," << k;
    for (int r = 0; r < 8; ++r) EXPECT_EQ(r == 0 ? 4 : std::min(r, 8 - r), groupAngle[kDctRowGroup[r]]) << "row " << r;
}

// A constant plane gives only DC = 8 (s - 128) / Q, halves rounded to even, through the plane form
// and the 16-bit block forms out of place and in place; the step is honoured.
TEST(DctForward, ConstantPlanesGiveTheirDcOnly) {
    struct Case { int v, q, dc; };
    const Case cases[] = {{-128, 1, -1024}, {-1, 1, -8}, {0, 1, 0}, {127, 1, 1016}, {3, 16, 2}, {5, 16, 2},
                          {7, 16, 4},       {-3, 16, -2}, {-5, 16, -2}, {4, 16, 2}, {100, 3, 267}, {100, 255, 3}};
    for (const Case& c : cases) {
        const Tables t = uniform(static_cast<Kep8u>(c.q));
        std::vector<Kep8u> plane(8 * 13, 0);  // step 13: the bytes between the rows must be ignored
        for (int r = 0; r < 8; ++r) std::memset(&plane[13 * r], c.v + 128, 8);
        Block b, in, out;
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(plane.data(), 13, b.c, t.fwd));
        EXPECT_EQ(c.dc, b.c[0]) << "value " << c.v << " Q " << c.q;
        for (int i = 1; i < 64; ++i) ASSERT_EQ(0, b.c[i]) << "value " << c.v << " coefficient " << i;
        std::fill(in.c, in.c + 64, static_cast<Kep16s>(c.v));
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8_JPEG_16s_C1(in.c, out.c, t.fwd));
        EXPECT_EQ(0, std::memcmp(out.c, b.c, sizeof b.c));
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8_JPEG_16s_C1I(in.c, t.fwd));
        EXPECT_EQ(0, std::memcmp(in.c, b.c, sizeof b.c));
    }
}

// DC-only blocks: the DC-only form floors DC * Q / 8 + 128 (the product not wrapped to 16 bits),
// the full form rounds; both clamp. -1 marks a value not checked.
TEST(DctInverse, DcOnlyBlocks) {
    struct Case { int dc, q, oneByOne, full; };
    const Case cases[] = {{10, 16, 148, 148}, {-1, 1, 127, 128}, {2000, 1, 255, 255}, {-2000, 1, 0, 0}, {1000, 100, 255, -1}};
    for (const Case& c : cases) {
        Tables t = uniform(1);
        t.inv[0] = static_cast<Kep16u>(c.q);
        Block b{};
        b.c[0] = static_cast<Kep16s>(c.dc);
        Kep8u p[64], full[64];
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(b.c, p, 8, t.inv));
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R(b.c, full, 8, t.inv));
        for (int i = 0; i < 64; ++i) {
            ASSERT_EQ(c.oneByOne, p[i]) << "DC " << c.dc << " Q " << c.q;
            if (c.full >= 0) {
                ASSERT_EQ(c.full, full[i]) << "DC " << c.dc << " Q " << c.q;
            }
        }
    }
}

// Dequantization wraps: 300 * 200 keeps the low 16 bits (-5536), and the row pass saturates
// 8 * -5536 to -32768 (>> 6: -512). With any pointer at an odd address it saturates to 32767 (511).
TEST(DctInverse, DequantizationWrapsUnlessAPointerIsOdd) {
    Tables t = uniform(1);
    t.inv[0] = 200;
    Block b{}, out;
    b.c[0] = 300;
    ASSERT_EQ(kepOk, kepiDCTQuantInv8x8_JPEG_16s_C1(b.c, out.c, t.inv));
    EXPECT_EQ(-512, out.c[0]);
    for (int odd = 0; odd < 3; ++odd) {  // source, table or destination at an odd address
        std::vector<Kep8u> bytes(3 * 130);
        Kep8u* at[3] = {bytes.data() + (odd == 0), bytes.data() + 130 + (odd == 1), bytes.data() + 260 + (odd == 2)};
        std::memcpy(at[0], b.c, sizeof b.c);
        std::memcpy(at[1], t.inv, sizeof t.inv);
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8_JPEG_16s_C1(reinterpret_cast<Kep16s*>(at[0]), reinterpret_cast<Kep16s*>(at[2]),
                                                       reinterpret_cast<Kep16u*>(at[1])));
        Kep16s first;
        std::memcpy(&first, at[2], sizeof first);
        EXPECT_EQ(511, first) << "odd pointer " << odd;
    }
}

// The shortcuts equal the full form on blocks that meet their precondition, whatever the
// coefficients outside their corner.
TEST(DctInverse, ShortcutsEqualTheFullFormOnTheirBlocks) {
    Rng rng(kepcheck::seed());
    const int n[] = {2, 4};
    decltype(&kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R) shortcut[] = {kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R,
                                                                  kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R};
    for (int it = 0; it < kepcheck::iterations(3000); ++it) {
        const Tables t = uniform(static_cast<Kep8u>(rng.range(1, 40)));
        for (int k = 0; k < 2; ++k) {
            Block b{}, noisy;
            for (int i = 0; i < 64; ++i) {
                const bool inside = (i >> 3) < n[k] && (i & 7) < n[k];
                if (inside) b.c[i] = static_cast<Kep16s>(rng.chance(10) ? rng.value<Kep16s>() : rng.range(-64, 64));
                noisy.c[i] = inside ? b.c[i] : rng.value<Kep16s>();
            }
            Kep8u full[64], fast[64], fromNoisy[64];
            ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R(b.c, full, 8, t.inv));
            ASSERT_EQ(kepOk, shortcut[k](b.c, fast, 8, t.inv));
            ASSERT_EQ(kepOk, shortcut[k](noisy.c, fromNoisy, 8, t.inv));
            ASSERT_EQ(0, std::memcmp(full, fast, 64)) << n[k] << "x" << n[k] << " iteration " << it;
            ASSERT_EQ(0, std::memcmp(full, fromNoisy, 64)) << n[k] << "x" << n[k] << " iteration " << it;
        }
    }
}

// The reduced-size forms against the exact n-point inverse DCT: within one unit, and only n rows of
// n samples written. DC-only blocks give their mean, halves rounded up (DC 4: 128.5 -> 129).
TEST(DctInverse, ReducedSizeFormsAreTheNPointInverse) {
    Rng rng(kepcheck::seed() + 1);
    const int n[] = {2, 4};
    decltype(&kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R) reduced[] = {kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R,
                                                                 kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R};
    for (int k = 0; k < 2; ++k)
        for (const auto& [dc, mean] : {std::pair<int, int>{4, 129}, {400, 178}, {-400, 78}}) {
            const Tables t = uniform(1);
            Block b{};
            b.c[0] = static_cast<Kep16s>(dc);
            Kep8u out[64];
            ASSERT_EQ(kepOk, reduced[k](b.c, out, 8, t.inv));
            for (int i = 0; i < n[k] * n[k]; ++i) EXPECT_EQ(mean, out[(i / n[k]) * 8 + i % n[k]]) << n[k] << "x" << n[k] << " DC " << dc;
        }
    for (int it = 0; it < kepcheck::iterations(5000); ++it) {
        const Tables t = uniform(static_cast<Kep8u>(rng.range(1, 8)));
        Block b;
        for (Kep16s& c : b.c) c = static_cast<Kep16s>(rng.range(-150, 150));
        b.c[0] = static_cast<Kep16s>(rng.range(-130, 130));
        for (int k = 0; k < 2; ++k) {
            double S[64], s[16];
            for (int i = 0; i < 64; ++i) S[i] = b.c[i] * t.inv[i];
            dctexact::inverse(S, s, n[k]);
            Kep8u out[64];
            std::memset(out, 0xEE, sizeof out);
            ASSERT_EQ(kepOk, reduced[k](b.c, out, 8, t.inv));
            for (int i = 0; i < 64; ++i) {
                const int y = i / 8, x = i % 8;
                if (y >= n[k] || x >= n[k]) {
                    ASSERT_EQ(0xEE, out[i]) << "written outside the " << n[k] << "x" << n[k] << " block";
                    continue;
                }
                const double exact = std::clamp(s[n[k] * y + x] + 128, 0.0, 255.0);
                ASSERT_LE(std::fabs(out[i] - exact), 1.0) << n[k] << "x" << n[k] << " iteration " << it;
            }
        }
    }
}

// ---- 12-bit, single precision --------------------------------------------------------------------

// Constant planes: DC = 8 (s - 2048) * m rounded to even and clamped, the samples read as signed
// 16-bit values (40000 is -25536); inverse of DC x: x * m / 8 + 2048 truncated and clamped.
TEST(Dct12Bit, ConstantBlocks) {
    struct Fwd { int sample; float m; int dc; };
    for (const Fwd c : {Fwd{2148, 1.0f, 800}, Fwd{2053, 0.0625f, 2}, Fwd{2055, 0.0625f, 4}, Fwd{2043, 0.0625f, -2},
                        Fwd{40000, 1.0f, -32768}}) {
        alignas(16) Kep16u p[64];
        std::fill(p, p + 64, static_cast<Kep16u>(c.sample));
        Block b;
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(p, 16, b.c, Floats(c.m).v));
        EXPECT_EQ(c.dc, b.c[0]) << "sample " << c.sample;
        for (int i = 1; i < 64; ++i) ASSERT_EQ(0, b.c[i]) << "sample " << c.sample;
    }
    struct Inv { float m; int sample; };
    for (const Inv c : {Inv{2047.9f, 4095}, Inv{-0.5f, 2047}, Inv{3000.0f, 4095}, Inv{-3000.0f, 0}, Inv{0.0f, 2048}}) {
        Block b{};
        b.c[0] = 8;
        alignas(16) Kep16u p[64];
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(b.c, p, 16, Floats(c.m).v));
        for (Kep16u s : p) ASSERT_EQ(c.sample, s) << "multiplier " << c.m;
    }
}

// Random 12-bit planes: the forward coefficients within half a unit of the exact DCT (rounding),
// the inverse at most the exact value and less than one below it (truncation), and back within 2.
TEST(Dct12Bit, FollowsTheExactDctAndRoundTrips) {
    Rng rng(kepcheck::seed() + 4);
    const Floats one(1.0f);
    for (int it = 0; it < kepcheck::iterations(2000); ++it) {
        alignas(16) Kep16u p[64], back[64];
        double s[64], S[64], r[64];
        for (int i = 0; i < 64; ++i) {
            p[i] = static_cast<Kep16u>(rng.range(0, 4095));
            s[i] = p[i] - 2048.0;
        }
        dctexact::forward(s, S);
        Block b;
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(p, 16, b.c, one.v));
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(b.c, back, 16, one.v));
        for (int i = 0; i < 64; ++i) {
            ASSERT_LE(std::fabs(b.c[i] - S[i]), 0.5 + 1e-2) << "iteration " << it << " coefficient " << i;
            S[i] = b.c[i];
        }
        dctexact::inverse(S, r);
        for (int i = 0; i < 64; ++i) {
            const double exact = std::clamp(r[i] + 2048.0, 0.0, 4095.0);
            ASSERT_LE(back[i], exact + 1e-2) << "iteration " << it;
            ASSERT_GT(back[i], exact - 1.0 - 1e-2) << "iteration " << it;
            ASSERT_LE(std::abs(back[i] - p[i]), 2) << "iteration " << it;
        }
    }
}

// ---- Argument checks: the expected code, in order, and nothing written -----------------------------

TEST(DctChecks, InOrderAndNothingWritten) {
    alignas(16) Kep16s blk[64] = {}, out[64];
    alignas(16) Kep8u plane[64], in[64] = {};
    alignas(16) Kep16u plane16[64], table[64];
    alignas(16) Kep32f ftable[64];
    std::fill(out, out + 64, Kep16s{0x5A5A});
    std::memset(plane, 0x5A, sizeof plane);
    std::fill(plane16, plane16 + 64, Kep16u{0x5A5A});
    std::fill(table, table + 64, Kep16u{1});
    std::fill(ftable, ftable + 64, 1.0f);
    for (auto f : {kepiDCTQuantFwd8x8_JPEG_16s_C1, kepiDCTQuantInv8x8_JPEG_16s_C1}) {
        EXPECT_EQ(kepErrNullPtr, f(nullptr, out, table));
        EXPECT_EQ(kepErrNullPtr, f(blk, nullptr, table));
        EXPECT_EQ(kepErrNullPtr, f(blk, out, nullptr));
    }
    for (auto f : {kepiDCTQuantFwd8x8_JPEG_16s_C1I, kepiDCTQuantInv8x8_JPEG_16s_C1I}) {
        EXPECT_EQ(kepErrNullPtr, f(nullptr, table));
        EXPECT_EQ(kepErrNullPtr, f(out, nullptr));
    }
    // Block pointers, then the step (0 gives the step error before the table is looked at), then the table.
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(nullptr, 0, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, 0, nullptr, table));
    EXPECT_EQ(kepErrStep, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, 0, out, nullptr));
    EXPECT_EQ(kepErrStep, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, -8, out, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, 8, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(nullptr, 0, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(plane16, 16, nullptr, ftable));
    EXPECT_EQ(kepErrStep, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(plane16, 0, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(plane16, 16, out, nullptr));
    for (auto f : {kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R,
                   kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R,
                   kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R}) {
        EXPECT_EQ(kepErrNullPtr, f(nullptr, plane, 0, nullptr));
        EXPECT_EQ(kepErrNullPtr, f(blk, nullptr, 0, nullptr));
        EXPECT_EQ(kepErrStep, f(blk, plane, 0, nullptr));
        EXPECT_EQ(kepErrStep, f(blk, plane, -1, table));
        EXPECT_EQ(kepErrNullPtr, f(blk, plane, 8, nullptr));
    }
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(nullptr, plane16, 0, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(blk, nullptr, 16, ftable));
    EXPECT_EQ(kepErrStep, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(blk, plane16, 0, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(blk, plane16, 16, nullptr));
    // Level shifts: source, its step, destination, its step, then the region.
    const KepiSize none{0, 0};
    EXPECT_EQ(kepErrNullPtr, kepiSub128_JPEG_8u16s_C1R(nullptr, 0, nullptr, 0, none));
    EXPECT_EQ(kepErrStep, kepiSub128_JPEG_8u16s_C1R(in, 0, nullptr, 0, none));
    EXPECT_EQ(kepErrNullPtr, kepiSub128_JPEG_8u16s_C1R(in, 8, nullptr, 0, none));
    EXPECT_EQ(kepErrStep, kepiSub128_JPEG_8u16s_C1R(in, 8, out, -16, none));
    EXPECT_EQ(kepErrSize, kepiSub128_JPEG_8u16s_C1R(in, 8, out, 16, KepiSize{0, 8}));
    EXPECT_EQ(kepErrSize, kepiSub128_JPEG_8u16s_C1R(in, 8, out, 16, KepiSize{8, -1}));
    EXPECT_EQ(kepErrNullPtr, kepiAdd128_JPEG_16s8u_C1R(nullptr, 0, nullptr, 0, none));
    EXPECT_EQ(kepErrStep, kepiAdd128_JPEG_16s8u_C1R(blk, 0, nullptr, 0, none));
    EXPECT_EQ(kepErrNullPtr, kepiAdd128_JPEG_16s8u_C1R(blk, 16, nullptr, 0, none));
    EXPECT_EQ(kepErrStep, kepiAdd128_JPEG_16s8u_C1R(blk, 16, plane, 0, none));
    EXPECT_EQ(kepErrSize, kepiAdd128_JPEG_16s8u_C1R(blk, 16, plane, 8, KepiSize{-3, 8}));
    EXPECT_EQ(kepErrSize, kepiAdd128_JPEG_16s8u_C1R(blk, 16, plane, 8, KepiSize{8, 0}));
    for (Kep16s v : out) ASSERT_EQ(0x5A5A, v);
    for (Kep8u v : plane) ASSERT_EQ(0x5A, v);
    for (Kep16u v : plane16) ASSERT_EQ(0x5A5A, v);
    // A valid region succeeds: in is all zeros.
    EXPECT_EQ(kepOk, kepiSub128_JPEG_8u16s_C1R(in, 8, out, 16, KepiSize{8, 8}));
    EXPECT_EQ(-128, out[63]);
}

}  // namespace
