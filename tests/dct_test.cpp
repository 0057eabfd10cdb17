// The 8x8 DCT exports: documented values, rounding of the fused quantization, the shortcut and
// reduced-size forms, the single-precision 12-bit forms, round trips, and the argument checks.

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
struct Plane8 {
    alignas(16) Kep8u s[64];
};

Block forwardOf(const Kep8u* plane, int step, const Kep16u* fwd) {
    Block b;
    EXPECT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(plane, step, b.c, fwd));
    return b;
}
Plane8 inverseOf(const Block& b, const Kep16u* inv) {
    Plane8 p;
    EXPECT_EQ(kepOk, kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R(b.c, p.s, 8, inv));
    return p;
}

// ---- Constants -----------------------------------------------------------------------------------

// The fixed-point constants of the integer transforms against their definitions.
TEST(DctConstants, FollowTheirDefinitions) {
    const double pi = M_PI;
    EXPECT_EQ(std::lround(65536 * std::tan(pi / 16)), kDctT1);
    EXPECT_EQ(std::lround(65536 * std::tan(2 * pi / 16)), kDctT2);
    EXPECT_EQ(std::lround(65536 * (std::tan(3 * pi / 16) - 1)), kDctT3);
    EXPECT_EQ(std::lround(32768 * std::cos(4 * pi / 16)), kDctC4);
    EXPECT_EQ(std::lround(65536 * (std::cos(4 * pi / 16) - 1)), kDctC4m);
    // Row weights: round(32768 G cos(k pi/16)), G = cos(g pi/16) for the groups g = 4, 1, 2, 3, and
    // row r in the group of frequency r (rows r and 8 - r share one).
    const int groupAngle[4] = {4, 1, 2, 3};
    for (int g = 0; g < 4; ++g)
        for (int k = 1; k < 8; ++k)
            EXPECT_EQ(std::lround(32768 * std::cos(groupAngle[g] * pi / 16) * std::cos(k * pi / 16)), kDctWeights[g][k])
                << "group " << g << " k " << k;
    for (int r = 0; r < 8; ++r) EXPECT_EQ(r == 0 ? 4 : std::min(r, 8 - r), groupAngle[kDctRowGroup[r]]) << "row " << r;
}

// ---- Forward -------------------------------------------------------------------------------------

TEST(DctForward, ConstantBlocksGiveOnlyDc) {
    const Tables one = uniform(1);
    for (int v : {-128, -1, 0, 1, 100, 127}) {
        Plane8 p;
        std::memset(p.s, v + 128, sizeof p.s);
        const Block b = forwardOf(p.s, 8, one.fwd);
        EXPECT_EQ(8 * v, b.c[0]) << "level-shifted value " << v;
        for (int i = 1; i < 64; ++i) ASSERT_EQ(0, b.c[i]) << "value " << v << " coefficient " << i;
        // The same through the 16-bit block form, out of place and in place.
        Block in, out;
        std::fill(in.c, in.c + 64, static_cast<Kep16s>(v));
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8_JPEG_16s_C1(in.c, out.c, one.fwd));
        EXPECT_EQ(0, std::memcmp(out.c, b.c, sizeof b.c));
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8_JPEG_16s_C1I(in.c, one.fwd));
        EXPECT_EQ(0, std::memcmp(in.c, b.c, sizeof b.c));
    }
}

// Fused quantization rounds halves to even; kepiQuantFwd8x8_JPEG_16s_C1I rounds them up.
TEST(DctForward, FusedQuantizationRoundsHalvesToEven) {
    const Tables one = uniform(1), q16 = uniform(16);
    // DC 8v / 16 = v / 2: v = 3, 5, 7 and -3, -5 sit on halves.
    const int v[] = {3, 5, 7, -3, -5, 4};
    const int even[] = {2, 2, 4, -2, -2, 2};
    const int up[] = {2, 3, 4, -1, -2, 2};
    for (int k = 0; k < 6; ++k) {
        Plane8 p;
        std::memset(p.s, v[k] + 128, sizeof p.s);
        EXPECT_EQ(even[k], forwardOf(p.s, 8, q16.fwd).c[0]) << "v " << v[k];
        Block separate = forwardOf(p.s, 8, one.fwd);
        ASSERT_EQ(kepOk, kepiQuantFwd8x8_JPEG_16s_C1I(separate.c, q16.fwd));
        EXPECT_EQ(up[k], separate.c[0]) << "v " << v[k];
    }
    // Q = 3 on DC 800: 266.67 -> 267; Q = 255: 3.14 -> 3.
    Plane8 p;
    std::memset(p.s, 228, sizeof p.s);
    EXPECT_EQ(267, forwardOf(p.s, 8, uniform(3).fwd).c[0]);
    EXPECT_EQ(3, forwardOf(p.s, 8, uniform(255).fwd).c[0]);
}

TEST(DctForward, PlaneOf128IsZeroAndStepIsHonoured) {
    const Tables t = uniform(2);
    std::vector<Kep8u> plane(8 * 13, 0);  // step 13: the bytes between the rows must be ignored
    for (int r = 0; r < 8; ++r) std::memset(&plane[13 * r], 128, 8);
    const Block b = forwardOf(plane.data(), 13, t.fwd);
    for (Kep16s c : b.c) ASSERT_EQ(0, c);
}

// ---- Inverse -------------------------------------------------------------------------------------

TEST(DctInverse, DcOnlyBlocks) {
    Tables t = uniform(1);
    Block b{};
    Plane8 p;
    // DC 10 with Q 16: 128 + 20 everywhere, in the DC-only and in the full form.
    t.inv[0] = 16;
    b.c[0] = 10;
    ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(b.c, p.s, 8, t.inv));
    for (Kep8u s : p.s) ASSERT_EQ(148, s);
    for (Kep8u s : inverseOf(b, t.inv).s) ASSERT_EQ(148, s);

    // DC -1 with Q 1: the DC-only form floors (127); the full form rounds (128).
    t.inv[0] = 1;
    b.c[0] = -1;
    ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(b.c, p.s, 8, t.inv));
    for (Kep8u s : p.s) ASSERT_EQ(127, s);
    for (Kep8u s : inverseOf(b, t.inv).s) ASSERT_EQ(128, s);

    // Clamping at both ends; the DC-only product is not wrapped to 16 bits (1000 * 100 / 8 + 128
    // is 12628 -> 255, where a wrapped product would give 0).
    const Kep16s dcs[] = {2000, -2000, 1000};
    const Kep16u qs[] = {1, 1, 100};
    const Kep8u expect[] = {255, 0, 255};
    for (int k = 0; k < 3; ++k) {
        b.c[0] = dcs[k];
        t.inv[0] = qs[k];
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(b.c, p.s, 8, t.inv));
        for (Kep8u s : p.s) ASSERT_EQ(expect[k], s) << "DC " << dcs[k];
    }
}

// Dequantization wraps: 300 * 200 keeps the low 16 bits (-5536) and the transform sees that.
TEST(DctInverse, DequantizationWrapsUnlessAPointerIsOdd) {
    Tables t = uniform(1);
    t.inv[0] = 200;
    Block b{}, wrapped{}, out;
    b.c[0] = 300;
    wrapped.c[0] = -5536;
    Block expect;
    ASSERT_EQ(kepOk, kepiDCTQuantInv8x8_JPEG_16s_C1(wrapped.c, expect.c, uniform(1).inv));
    ASSERT_EQ(kepOk, kepiDCTQuantInv8x8_JPEG_16s_C1(b.c, out.c, t.inv));
    EXPECT_EQ(0, std::memcmp(out.c, expect.c, sizeof out.c));
    EXPECT_EQ(-512, out.c[0]);  // 8 * -5536 + 32 saturates the row pass at -32768; >> 6 gives -512

    // At an odd address the product saturates to 32767, and the row pass again: 32767 >> 6 = 511.
    std::vector<Kep8u> bytes(3 * 128 + 1);
    Kep8u* src = bytes.data() + 1;
    std::memcpy(src, b.c, sizeof b.c);
    std::memcpy(src + 128, t.inv, sizeof t.inv);
    ASSERT_EQ(kepOk, kepiDCTQuantInv8x8_JPEG_16s_C1(reinterpret_cast<Kep16s*>(src), reinterpret_cast<Kep16s*>(src + 256),
                                                   reinterpret_cast<Kep16u*>(src + 128)));
    Kep16s first;
    std::memcpy(&first, src + 256, sizeof first);
    EXPECT_EQ(511, first);
}

// The shortcuts equal the full form on blocks that meet their precondition (and ignore the rest).
TEST(DctInverse, ShortcutsEqualTheFullFormOnTheirBlocks) {
    Rng rng(kepcheck::seed());
    const int n[] = {2, 4};
    decltype(&kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R) shortcut[] = {kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R,
                                                                  kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R};
    for (int it = 0; it < kepcheck::iterations(3000); ++it) {
        Tables t = uniform(static_cast<Kep8u>(rng.range(1, 40)));
        for (int k = 0; k < 2; ++k) {
            Block b{}, noisy;
            for (int v = 0; v < n[k]; ++v)
                for (int u = 0; u < n[k]; ++u)
                    b.c[8 * v + u] = static_cast<Kep16s>(rng.chance(10) ? rng.value<Kep16s>() : rng.range(-64, 64));
            std::memcpy(noisy.c, b.c, sizeof b.c);
            for (int i = 0; i < 64; ++i)
                if ((i >> 3) >= n[k] || (i & 7) >= n[k]) noisy.c[i] = rng.value<Kep16s>();
            const Plane8 full = inverseOf(b, t.inv);
            Plane8 fast, fromNoisy;
            ASSERT_EQ(kepOk, shortcut[k](b.c, fast.s, 8, t.inv));
            ASSERT_EQ(kepOk, shortcut[k](noisy.c, fromNoisy.s, 8, t.inv));
            ASSERT_EQ(0, std::memcmp(full.s, fast.s, 64)) << n[k] << "x" << n[k] << " iteration " << it;
            ASSERT_EQ(0, std::memcmp(full.s, fromNoisy.s, 64)) << n[k] << "x" << n[k] << " iteration " << it;
        }
    }
}

// The reduced-size forms against the exact n-point inverse DCT: within one unit, constant blocks
// exact, and only n rows of n samples written.
TEST(DctInverse, ReducedSizeFormsAreTheNPointInverse) {
    Rng rng(kepcheck::seed() + 1);
    const int n[] = {2, 4};
    decltype(&kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R) reduced[] = {kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R,
                                                                 kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R};
    int worst[2] = {0, 0};
    for (int it = 0; it < kepcheck::iterations(5000); ++it) {
        const Tables t = uniform(static_cast<Kep8u>(rng.range(1, 8)));
        Block b;
        for (Kep16s& c : b.c) c = static_cast<Kep16s>(rng.range(-150, 150));
        b.c[0] = static_cast<Kep16s>(rng.range(-130, 130));
        for (int k = 0; k < 2; ++k) {
            double S[64], s[16];
            for (int i = 0; i < 64; ++i) S[i] = b.c[i] * t.inv[i];
            dctexact::inverse(S, s, n[k]);
            Kep8u out[8 * 8];
            std::memset(out, 0xEE, sizeof out);
            ASSERT_EQ(kepOk, reduced[k](b.c, out, 8, t.inv));
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) {
                    if (y >= n[k] || x >= n[k]) {
                        ASSERT_EQ(0xEE, out[8 * y + x]) << "written outside the " << n[k] << "x" << n[k] << " block";
                        continue;
                    }
                    const double exact = std::clamp(s[n[k] * y + x] + 128, 0.0, 255.0);
                    const int e = static_cast<int>(std::ceil(std::fabs(out[8 * y + x] - exact) - 1e-9));
                    worst[k] = std::max(worst[k], e);
                    ASSERT_LE(std::fabs(out[8 * y + x] - exact), 1.0) << n[k] << "x" << n[k] << " iteration " << it;
                }
        }
    }
    // A constant block (DC only) gives its mean, as the full transform does.
    Tables t = uniform(1);
    Block dc{};
    dc.c[0] = 400;  // 400 / 8 = 50
    for (int k = 0; k < 2; ++k) {
        Kep8u out[16];
        ASSERT_EQ(kepOk, reduced[k](dc.c, out, 4, t.inv));
        for (int i = 0; i < n[k] * n[k]; ++i) EXPECT_EQ(178, out[(i / n[k]) * 4 + i % n[k]]);
    }
}

// ---- Round trips ---------------------------------------------------------------------------------

// Sub128 and Add128 are inverses of each other over any region.
TEST(DctRoundTrip, LevelShiftsOverARegion) {
    Rng rng(kepcheck::seed() + 3);
    std::vector<Kep8u> src(7 * 23), back(7 * 23, 0);
    std::vector<Kep16s> mid(7 * 20, 0);
    rng.fill(src.data(), src.size());
    const KepiSize roi{19, 7};
    ASSERT_EQ(kepOk, kepiSub128_JPEG_8u16s_C1R(src.data(), 23, mid.data(), 40, roi));
    EXPECT_EQ(src[23 * 3 + 5] - 128, mid[20 * 3 + 5]);
    EXPECT_EQ(0, mid[19]);  // past the region
    ASSERT_EQ(kepOk, kepiAdd128_JPEG_16s8u_C1R(mid.data(), 40, back.data(), 23, roi));
    for (int r = 0; r < 7; ++r)
        for (int c = 0; c < 23; ++c) ASSERT_EQ(c < 19 ? src[23 * r + c] : 0, back[23 * r + c]);
    // Add128 clamps.
    const Kep16s wide[4] = {-129, 128, 32767, -32768};
    Kep8u out[4];
    ASSERT_EQ(kepOk, kepiAdd128_JPEG_16s8u_C1R(wide, 8, out, 4, KepiSize{4, 1}));
    EXPECT_EQ(0, out[0]);
    EXPECT_EQ(255, out[1]);
    EXPECT_EQ(255, out[2]);
    EXPECT_EQ(0, out[3]);
}

// ---- 12-bit, single precision --------------------------------------------------------------------

struct Plane16 {
    alignas(16) Kep16u s[64];
};
struct Floats {
    alignas(16) Kep32f v[64];
};
Floats filledF(float v) {
    Floats f;
    std::fill(f.v, f.v + 64, v);
    return f;
}

TEST(Dct12Bit, ForwardRoundsToEvenAndReadsSamplesAsSigned) {
    const Floats one = filledF(1.0f), sixteenth = filledF(0.0625f);
    Plane16 p;
    Block b;
    std::fill(p.s, p.s + 64, Kep16u{2148});  // 100 above the level shift: DC 800, no AC
    ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(p.s, 16, b.c, one.v));
    EXPECT_EQ(800, b.c[0]);
    for (int i = 1; i < 64; ++i) ASSERT_EQ(0, b.c[i]);
    for (const auto& [sample, dc] : {std::pair<int, int>{2053, 2}, {2055, 4}, {2043, -2}}) {  // 2.5, 3.5, -2.5
        std::fill(p.s, p.s + 64, static_cast<Kep16u>(sample));
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(p.s, 16, b.c, sixteenth.v));
        EXPECT_EQ(dc, b.c[0]) << "sample " << sample;
    }
    // 40000 reads as -25536: a large negative DC, clamped.
    std::fill(p.s, p.s + 64, Kep16u{40000});
    ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(p.s, 16, b.c, one.v));
    EXPECT_EQ(-32768, b.c[0]);
}

TEST(Dct12Bit, ForwardMatchesTheExactDct) {
    Rng rng(kepcheck::seed() + 4);
    const Floats one = filledF(1.0f);
    for (int it = 0; it < kepcheck::iterations(2000); ++it) {
        Plane16 p;
        double s[64], S[64];
        for (int i = 0; i < 64; ++i) {
            p.s[i] = static_cast<Kep16u>(rng.range(0, 4095));
            s[i] = p.s[i] - 2048.0;
        }
        dctexact::forward(s, S);
        Block b;
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(p.s, 16, b.c, one.v));
        for (int i = 0; i < 64; ++i) ASSERT_LE(std::fabs(b.c[i] - S[i]), 0.5 + 1e-2) << "iteration " << it << " coefficient " << i;
    }
}

TEST(Dct12Bit, InverseTruncatesAndClamps) {
    // A DC-only block with DC x and multiplier m gives x * m / 8 at every sample.
    Block b{};
    b.c[0] = 8;
    Plane16 p;
    const float m[] = {2047.9f, -0.5f, 3000.0f, -3000.0f, 0.0f};
    const Kep16u expect[] = {4095, 2047, 4095, 0, 2048};
    for (int k = 0; k < 5; ++k) {
        const Floats t = filledF(m[k]);
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(b.c, p.s, 16, t.v));
        for (Kep16u s : p.s) ASSERT_EQ(expect[k], s) << "multiplier " << m[k];
    }
}

TEST(Dct12Bit, InverseMatchesTheExactDctAndRoundTrips) {
    Rng rng(kepcheck::seed() + 5);
    const Floats one = filledF(1.0f);
    for (int it = 0; it < kepcheck::iterations(2000); ++it) {
        Plane16 p, back;
        for (Kep16u& s : p.s) s = static_cast<Kep16u>(rng.range(0, 4095));
        Block b;
        ASSERT_EQ(kepOk, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(p.s, 16, b.c, one.v));
        ASSERT_EQ(kepOk, kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(b.c, back.s, 16, one.v));
        double S[64], s[64];
        for (int i = 0; i < 64; ++i) S[i] = b.c[i];
        dctexact::inverse(S, s);
        for (int i = 0; i < 64; ++i) {
            const double exact = std::clamp(s[i] + 2048.0, 0.0, 4095.0);
            // Truncation: the result is at most the exact value and less than one below it.
            ASSERT_LE(back.s[i], exact + 1e-2) << "iteration " << it;
            ASSERT_GT(back.s[i], exact - 1.0 - 1e-2) << "iteration " << it;
            ASSERT_LE(std::abs(back.s[i] - p.s[i]), 2) << "iteration " << it;
        }
    }
}

// ---- Argument checks -----------------------------------------------------------------------------

// Each call fails with the expected code and leaves the sentinel-filled destination untouched.
class DctChecks : public ::testing::Test {
protected:
    alignas(16) Kep16s blk[64] = {};
    alignas(16) Kep16s out[64];
    alignas(16) Kep8u plane[8 * 8];
    alignas(16) Kep16u plane16[8 * 8];
    alignas(16) Kep16u table[64];
    alignas(16) Kep32f ftable[64];
    void SetUp() override {
        std::fill(out, out + 64, Kep16s{0x5A5A});
        std::memset(plane, 0x5A, sizeof plane);
        std::fill(plane16, plane16 + 64, Kep16u{0x5A5A});
        std::fill(table, table + 64, Kep16u{1});
        std::fill(ftable, ftable + 64, 1.0f);
    }
    void expectUntouched() {
        for (Kep16s v : out) ASSERT_EQ(0x5A5A, v);
        for (Kep8u v : plane) ASSERT_EQ(0x5A, v);
        for (Kep16u v : plane16) ASSERT_EQ(0x5A5A, v);
    }
};

TEST_F(DctChecks, ForwardInOrder) {
    Kep8u in[64];
    std::memset(in, 7, sizeof in);
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8_JPEG_16s_C1(nullptr, out, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8_JPEG_16s_C1(blk, nullptr, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8_JPEG_16s_C1(blk, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8_JPEG_16s_C1I(nullptr, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8_JPEG_16s_C1I(out, nullptr));
    // Block pointers, then the step (0 gives -14 before the table is looked at), then the table.
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(nullptr, 0, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, 0, nullptr, table));
    EXPECT_EQ(kepErrStep, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, 0, out, nullptr));
    EXPECT_EQ(kepErrStep, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, -8, out, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(in, 8, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(nullptr, 0, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(plane16, 16, nullptr, ftable));
    EXPECT_EQ(kepErrStep, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(plane16, 0, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(plane16, 16, out, nullptr));
    expectUntouched();
}

TEST_F(DctChecks, InverseInOrder) {
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8_JPEG_16s_C1(nullptr, out, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8_JPEG_16s_C1(blk, nullptr, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8_JPEG_16s_C1(blk, out, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8_JPEG_16s_C1I(nullptr, table));
    EXPECT_EQ(kepErrNullPtr, kepiDCTQuantInv8x8_JPEG_16s_C1I(out, nullptr));
    decltype(&kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R) ls[] = {
        kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R,     kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R,
        kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R,
        kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R, kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R};
    for (auto f : ls) {
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
    expectUntouched();
}

TEST_F(DctChecks, LevelShiftsInOrder) {
    Kep8u src[64] = {};
    const KepiSize ok{8, 8};
    // Sub128: pSrc, srcStep, pDst, dstStep, then the region.
    EXPECT_EQ(kepErrNullPtr, kepiSub128_JPEG_8u16s_C1R(nullptr, 0, nullptr, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrStep, kepiSub128_JPEG_8u16s_C1R(src, 0, nullptr, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrNullPtr, kepiSub128_JPEG_8u16s_C1R(src, 8, nullptr, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrStep, kepiSub128_JPEG_8u16s_C1R(src, 8, out, -16, KepiSize{0, 0}));
    EXPECT_EQ(kepErrSize, kepiSub128_JPEG_8u16s_C1R(src, 8, out, 16, KepiSize{0, 8}));
    EXPECT_EQ(kepErrSize, kepiSub128_JPEG_8u16s_C1R(src, 8, out, 16, KepiSize{8, -1}));
    // Add128 likewise.
    EXPECT_EQ(kepErrNullPtr, kepiAdd128_JPEG_16s8u_C1R(nullptr, 0, nullptr, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrStep, kepiAdd128_JPEG_16s8u_C1R(blk, 0, nullptr, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrNullPtr, kepiAdd128_JPEG_16s8u_C1R(blk, 16, nullptr, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrStep, kepiAdd128_JPEG_16s8u_C1R(blk, 16, plane, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrSize, kepiAdd128_JPEG_16s8u_C1R(blk, 16, plane, 8, KepiSize{-3, 8}));
    EXPECT_EQ(kepErrSize, kepiAdd128_JPEG_16s8u_C1R(blk, 16, plane, 8, KepiSize{8, 0}));
    expectUntouched();
    // The same arguments with a valid region succeed.
    EXPECT_EQ(kepOk, kepiSub128_JPEG_8u16s_C1R(src, 8, out, 16, ok));
    EXPECT_EQ(-128, out[63]);
}

}  // namespace
