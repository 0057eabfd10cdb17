// Quantization tables and block (de)quantization through the exports: the documented examples,
// the wrapping and saturating corners, and the argument checks.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>

#include "jpegref.h"
#include "kepcheck.h"
#include "kepjx1.h"

namespace {

const auto kLumaZz = jpegref::toZigzag(jpegref::kLumaNatural);
const Kep8u* const kLuma = kLumaZz.data();

struct Raw {
    Kep8u v[64];
};
Raw scaled(const Kep8u* base, int quality, KepResult* result = nullptr) {
    Raw r;
    std::memcpy(r.v, base, 64);
    const KepResult s = kepiQuantFwdRawTableInit_JPEG_8u(r.v, quality);
    if (result) *result = s;
    return r;
}
Raw filled(Kep8u value) {
    Raw r;
    std::memset(r.v, value, 64);
    return r;
}

TEST(QuantRawTable, QualityScalingCorners) {
    KepResult st;
    EXPECT_EQ(0, std::memcmp(scaled(kLuma, 50, &st).v, kLuma, 64));
    EXPECT_EQ(kepOk, st);
    for (int q : {100, 101, 1000, 4000000, INT_MAX}) {
        const Raw r = scaled(kLuma, q, &st);
        EXPECT_EQ(kepOk, st);
        for (int i = 0; i < 64; ++i) ASSERT_EQ(1, r.v[i]) << "quality " << q << " entry " << i;
    }
    // 75 halves (rounding up), 10 multiplies by five, 1 multiplies by fifty; all clamp to 1..255.
    Raw all;
    for (int i = 0; i < 64; ++i) all.v[i] = static_cast<Kep8u>(i * 4 + 3);
    const Raw q75 = scaled(all.v, 75), q10 = scaled(all.v, 10), q1 = scaled(all.v, 1);
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ((all.v[i] + 1) / 2, q75.v[i]);
        EXPECT_EQ(std::min(5 * all.v[i], 255), q10.v[i]);
        EXPECT_EQ(std::min(50 * all.v[i], 255), q1.v[i]);
    }
    EXPECT_EQ(255, scaled(filled(255).v, 1).v[0]);  // (255 * 5000 + 50) / 100 = 12750
    EXPECT_EQ(1, scaled(filled(0).v, 50).v[63]);    // a raw 0 always becomes 1
    EXPECT_EQ(1, scaled(filled(0).v, 1).v[0]);
    // Truncation toward zero of (raw * scale + 50) / 100: raw 1 at quality 51 (scale 98) is 1.
    EXPECT_EQ(1, scaled(filled(1).v, 51).v[0]);
    EXPECT_EQ(2, scaled(filled(3).v, 75).v[0]);  // (3 * 50 + 50) / 100 = 2
}

TEST(QuantRawTable, ArgumentChecks) {
    for (int q : {0, -5, INT_MIN}) {
        Raw r = filled(7);
        EXPECT_EQ(kepErrArgRange, kepiQuantFwdRawTableInit_JPEG_8u(r.v, q));
        EXPECT_EQ(7, r.v[0]);
        EXPECT_EQ(7, r.v[63]);
    }
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwdRawTableInit_JPEG_8u(nullptr, 0));  // pointer before range
}

TEST(QuantTables, ReciprocalsRoundToNearest) {
    // Every raw value 0..255 in turn: entry = round(32768 / Q), Q = 0 gives 65535 and warning 6.
    for (int q = 0; q < 256; ++q) {
        Raw r = filled(static_cast<Kep8u>(q));
        Kep16u fwd[64], inv[64];
        const KepResult st = kepiQuantFwdTableInit_JPEG_8u16u(r.v, fwd);
        ASSERT_EQ(q == 0 ? kepWarnDivByZero : kepOk, st);
        ASSERT_EQ(kepOk, kepiQuantInvTableInit_JPEG_8u16u(r.v, inv));
        const Kep16u expect = q == 0 ? 65535 : static_cast<Kep16u>(std::lround(32768.0 / q));
        for (int i = 0; i < 64; ++i) {
            ASSERT_EQ(expect, fwd[i]) << "Q " << q;
            ASSERT_EQ(q, inv[i]);
        }
    }
    const Kep16u spot[][2] = {{1, 32768}, {2, 16384}, {3, 10923}, {16, 2048}, {255, 129}};
    for (const auto& s : spot) {
        Raw r = filled(static_cast<Kep8u>(s[0]));
        Kep16u fwd[64];
        kepiQuantFwdTableInit_JPEG_8u16u(r.v, fwd);
        EXPECT_EQ(s[1], fwd[0]);
    }
}

TEST(QuantTables, ZigzagToNaturalOrder) {
    Raw r;
    for (int k = 0; k < 64; ++k) r.v[k] = static_cast<Kep8u>(k + 1);
    Kep16u inv[64], fwd[64];
    ASSERT_EQ(kepOk, kepiQuantInvTableInit_JPEG_8u16u(r.v, inv));
    ASSERT_EQ(kepOk, kepiQuantFwdTableInit_JPEG_8u16u(r.v, fwd));
    const int firstNatural[8] = {0, 1, 8, 16, 9, 2, 3, 10};
    for (int k = 0; k < 8; ++k) EXPECT_EQ(k + 1, inv[firstNatural[k]]) << "zigzag " << k;

    // The whole order against the zigzag walked from its definition.
    const auto nat = jpegref::zigzagToNatural();
    for (int k = 0; k < 64; ++k) {
        EXPECT_EQ(k + 1, inv[nat[k]]) << "zigzag " << k;
        EXPECT_EQ(std::lround(32768.0 / (k + 1)), fwd[nat[k]]);
    }
}

TEST(QuantTables, ZeroEntryWarnsButWritesEverything) {
    Raw r = filled(4);
    r.v[5] = 0;  // zigzag 5 is natural position 2
    Kep16u fwd[64];
    std::memset(fwd, 0, sizeof fwd);
    EXPECT_EQ(kepWarnDivByZero, kepiQuantFwdTableInit_JPEG_8u16u(r.v, fwd));
    for (int i = 0; i < 64; ++i) EXPECT_EQ(i == 2 ? 65535 : 8192, fwd[i]) << i;
    Kep16u inv[64];
    EXPECT_EQ(kepOk, kepiQuantInvTableInit_JPEG_8u16u(r.v, inv));
    EXPECT_EQ(0, inv[2]);
}

TEST(QuantTables, ArgumentChecks) {
    Raw r = filled(3);
    Kep16u t[64];
    std::fill(t, t + 64, 0x1234);
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwdTableInit_JPEG_8u16u(nullptr, t));
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwdTableInit_JPEG_8u16u(r.v, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInvTableInit_JPEG_8u16u(nullptr, t));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInvTableInit_JPEG_8u16u(r.v, nullptr));
    for (Kep16u v : t) ASSERT_EQ(0x1234, v);
}

struct Block {
    alignas(16) Kep16s c[64];
};
alignas(16) Kep16u gOnes[64];  // forward table of Q = 1

Kep16u* tableOf(Kep8u q, bool forward) {
    alignas(16) static Kep16u t[64];
    Raw r = filled(q);
    if (forward) kepiQuantFwdTableInit_JPEG_8u16u(r.v, t);
    else kepiQuantInvTableInit_JPEG_8u16u(r.v, t);
    return t;
}

TEST(QuantBlock, ForwardRoundsHalvesUpAndWraps) {
    // Q = 1: every input in -4096..4095 comes back unchanged; 4096 wraps to -4096.
    std::memcpy(gOnes, tableOf(1, true), sizeof gOnes);
    for (int base = -4096; base < 4096; base += 64) {
        Block b;
        for (int i = 0; i < 64; ++i) b.c[i] = static_cast<Kep16s>(base + i);
        ASSERT_EQ(kepOk, kepiQuantFwd8x8_JPEG_16s_C1I(b.c, gOnes));
        for (int i = 0; i < 64; ++i) ASSERT_EQ(base + i, b.c[i]);
    }
    Block w = {};
    w.c[7] = 4096;
    w.c[8] = -4097;
    kepiQuantFwd8x8_JPEG_16s_C1I(w.c, gOnes);
    EXPECT_EQ(-4096, w.c[7]);
    EXPECT_EQ(4095, w.c[8]);

    const int cases[][3] = {{2, 1, 1}, {2, -1, 0}, {2, 3, 2}, {2, -3, -1}, {3, 100, 33}, {3, -100, -33},
                            {16, 8, 1}, {16, -8, 0}, {16, 24, 2}, {255, 4095, 16}};
    for (const auto& c : cases) {
        Block b = {};
        b.c[0] = static_cast<Kep16s>(c[1]);
        b.c[63] = static_cast<Kep16s>(c[1]);
        ASSERT_EQ(kepOk, kepiQuantFwd8x8_JPEG_16s_C1I(b.c, tableOf(static_cast<Kep8u>(c[0]), true)));
        EXPECT_EQ(c[2], b.c[0]) << c[1] << " / " << c[0];
        EXPECT_EQ(c[2], b.c[63]);
    }
}

TEST(QuantBlock, InverseWrapsOnAlignedAndSaturatesAtOddAddresses) {
    Block b = {};
    b.c[0] = 300;
    b.c[1] = -300;
    b.c[2] = 5;
    ASSERT_EQ(kepOk, kepiQuantInv8x8_JPEG_16s_C1I(b.c, tableOf(200, false)));
    EXPECT_EQ(-5536, b.c[0]);  // low 16 bits of 60000
    EXPECT_EQ(5536, b.c[1]);
    EXPECT_EQ(1000, b.c[2]);

    // The same block at an odd address takes the saturating fallback.
    kepcheck::Guarded<Kep16s> odd(64, 1);
    Block src = {};
    src.c[0] = 300;
    src.c[1] = -300;
    src.c[2] = 5;
    odd.load(src.c);
    ASSERT_EQ(kepOk, kepiQuantInv8x8_JPEG_16s_C1I(odd.data(), tableOf(200, false)));
    odd.store(src.c);
    EXPECT_EQ(32767, src.c[0]);
    EXPECT_EQ(-32768, src.c[1]);
    EXPECT_EQ(1000, src.c[2]);
    EXPECT_TRUE(odd.guardsIntact());
}

TEST(QuantBlock, OddAddressForwardRoundsHalfToEvenAndSaturates) {
    kepcheck::Guarded<Kep16s> odd(64, 3);
    Block src = {};
    // Q = 2 (f = 16384): p = 16384 x, so x / 2 rounds half to even: 1 -> 0, 3 -> 2, 5 -> 2, -1 -> 0.
    const Kep16s in[] = {1, 3, 5, -1, -3, 4096, 32767, -32768};
    const Kep16s expectQ2[] = {0, 2, 2, 0, -2, 2048, 16384, -16384};
    std::memcpy(src.c, in, sizeof in);
    odd.load(src.c);
    ASSERT_EQ(kepOk, kepiQuantFwd8x8_JPEG_16s_C1I(odd.data(), tableOf(2, true)));
    odd.store(src.c);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(expectQ2[i], src.c[i]) << in[i];

    // Q = 1: no wrap at 4096, and the product saturates instead of wrapping.
    std::memcpy(src.c, in, sizeof in);
    odd.load(src.c);
    ASSERT_EQ(kepOk, kepiQuantFwd8x8_JPEG_16s_C1I(odd.data(), tableOf(1, true)));
    odd.store(src.c);
    EXPECT_EQ(4096, src.c[5]);
    EXPECT_EQ(32767, src.c[6]);
    EXPECT_EQ(-32768, src.c[7]);
    EXPECT_TRUE(odd.guardsIntact());

    // An odd table alone also selects the fallback.
    kepcheck::Guarded<Kep16u> oddTable(64, 1);
    oddTable.load(tableOf(2, true));
    Block b = {};
    b.c[0] = 1;
    b.c[1] = 3;
    ASSERT_EQ(kepOk, kepiQuantFwd8x8_JPEG_16s_C1I(b.c, oddTable.data()));
    EXPECT_EQ(0, b.c[0]);  // the aligned path would give 1
    EXPECT_EQ(2, b.c[1]);
}

TEST(QuantBlock, NullPointersWriteNothing) {
    Block b;
    for (int i = 0; i < 64; ++i) b.c[i] = static_cast<Kep16s>(i * 3 - 7);
    const Block before = b;
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwd8x8_JPEG_16s_C1I(b.c, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInv8x8_JPEG_16s_C1I(b.c, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwd8x8_JPEG_16s_C1I(nullptr, gOnes));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInv8x8_JPEG_16s_C1I(nullptr, gOnes));
    EXPECT_EQ(0, std::memcmp(&b, &before, sizeof b));
}

}  // namespace
