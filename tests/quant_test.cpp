// Quantization tables and block (de)quantization through the exports: quality scaling, the
// reciprocal and zigzag-to-natural tables, the rounding, wrapping and saturating corners of the
// aligned and odd-address paths, and the argument checks.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>

#include "jpegref.h"
#include "kepcheck.h"
#include "kepjx1.h"

namespace {

struct Raw {
    Kep8u v[64];
};
Raw filled(Kep8u value) {
    Raw r;
    std::memset(r.v, value, 64);
    return r;
}

TEST(QuantRawTable, QualityScalingAndChecks) {
    const auto luma = jpegref::toZigzag(jpegref::kLumaNatural);
    Raw r;
    std::memcpy(r.v, luma.data(), 64);
    ASSERT_EQ(kepOk, kepiQuantFwdRawTableInit_JPEG_8u(r.v, 50));
    EXPECT_EQ(0, std::memcmp(r.v, luma.data(), 64));
    // entry = clamp((raw * scale + 50) / 100, 1, 255), scale = 5000 / q below 50, 200 - 2q above.
    struct Case { int raw, quality, want; };
    const Case cases[] = {{3, 75, 2},   {4, 75, 2},    {7, 10, 35},    {60, 10, 255}, {5, 1, 250}, {255, 1, 255},
                          {0, 50, 1},   {0, 1, 1},     {1, 51, 1},     {200, 100, 1}, {255, 101, 1}, {255, 1000, 1},
                          {255, 4000000, 1}, {255, INT_MAX, 1}};
    for (const Case& c : cases) {
        Raw t = filled(static_cast<Kep8u>(c.raw));
        ASSERT_EQ(kepOk, kepiQuantFwdRawTableInit_JPEG_8u(t.v, c.quality));
        for (Kep8u v : t.v) ASSERT_EQ(c.want, v) << "raw " << c.raw << " quality " << c.quality;
    }
    for (int q : {0, -5, INT_MIN}) {
        Raw t = filled(7);
        EXPECT_EQ(kepErrArgRange, kepiQuantFwdRawTableInit_JPEG_8u(t.v, q));
        for (Kep8u v : t.v) ASSERT_EQ(7, v) << "written on failure";
    }
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwdRawTableInit_JPEG_8u(nullptr, 0));  // pointer before range
}

// Forward entries are round(32768 / Q) (65535 and a warning for Q = 0, the rest still written),
// inverse entries Q, both moved from zigzag to natural order.
TEST(QuantTables, ReciprocalsInNaturalOrder) {
    for (int q = 0; q < 256; ++q) {
        Raw r = filled(static_cast<Kep8u>(q));
        Kep16u fwd[64], inv[64];
        ASSERT_EQ(q == 0 ? kepWarnDivByZero : kepOk, kepiQuantFwdTableInit_JPEG_8u16u(r.v, fwd));
        ASSERT_EQ(kepOk, kepiQuantInvTableInit_JPEG_8u16u(r.v, inv));
        for (int i = 0; i < 64; ++i) {
            ASSERT_EQ(q == 0 ? 65535 : std::lround(32768.0 / q), fwd[i]) << "Q " << q;
            ASSERT_EQ(q, inv[i]);
        }
    }
    Raw r;
    for (int k = 0; k < 64; ++k) r.v[k] = static_cast<Kep8u>(k == 5 ? 0 : k + 1);
    Kep16u fwd[64], inv[64];
    EXPECT_EQ(kepWarnDivByZero, kepiQuantFwdTableInit_JPEG_8u16u(r.v, fwd));
    ASSERT_EQ(kepOk, kepiQuantInvTableInit_JPEG_8u16u(r.v, inv));
    const auto nat = jpegref::zigzagToNatural();
    for (int k = 0; k < 64; ++k) {
        EXPECT_EQ(r.v[k], inv[nat[k]]) << "zigzag " << k;
        EXPECT_EQ(k == 5 ? 65535 : std::lround(32768.0 / (k + 1)), fwd[nat[k]]) << "zigzag " << k;
    }

    Kep16u t[64];
    std::fill(t, t + 64, 0x1234);
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwdTableInit_JPEG_8u16u(nullptr, t));
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwdTableInit_JPEG_8u16u(r.v, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInvTableInit_JPEG_8u16u(nullptr, t));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInvTableInit_JPEG_8u16u(r.v, nullptr));
    for (Kep16u v : t) ASSERT_EQ(0x1234, v);
}

// Runs a block export on `in` (64 copies of x) with the table of Q, the block and table at the
// given byte offsets (0: aligned; odd: the saturating, half-to-even fallback).
Kep16s quantOne(bool forward, int q, Kep16s x, size_t blockOffset, size_t tableOffset) {
    Raw r = filled(static_cast<Kep8u>(q));
    Kep16u table[64];
    Kep16s block[64];
    if (forward) kepiQuantFwdTableInit_JPEG_8u16u(r.v, table);
    else kepiQuantInvTableInit_JPEG_8u16u(r.v, table);
    std::fill(block, block + 64, x);
    kepcheck::Guarded<Kep16s> b(64, blockOffset);
    kepcheck::Guarded<Kep16u> t(64, tableOffset);
    b.load(block);
    t.load(table);
    EXPECT_EQ(kepOk, (forward ? kepiQuantFwd8x8_JPEG_16s_C1I : kepiQuantInv8x8_JPEG_16s_C1I)(b.data(), t.data()));
    EXPECT_TRUE(b.guardsIntact() && t.guardsIntact());
    b.store(block);
    for (int i = 1; i < 64; ++i) EXPECT_EQ(block[0], block[i]) << "coefficient " << i;
    return block[0];
}

TEST(QuantBlock, RoundingWrappingAndSaturation) {
    // Aligned forward: (x * 8 wrapped to 16 bits) * f, halves rounded up. Odd address: x * f / 2^15
    // rounded half to even and saturated.
    struct Case { bool forward; int q, x, aligned, odd; };
    const Case cases[] = {
        {true, 1, 4095, 4095, 4095},  {true, 1, -4096, -4096, -4096}, {true, 1, 4096, -4096, 4096},
        {true, 1, -4097, 4095, -4097}, {true, 1, 32767, -1, 32767},    {true, 1, -32768, 0, -32768},
        {true, 2, 1, 1, 0},           {true, 2, -1, 0, 0},            {true, 2, 3, 2, 2},
        {true, 2, 5, 3, 2},           {true, 2, -3, -1, -2},          {true, 3, 100, 33, 33},
        {true, 3, -100, -33, -33},    {true, 16, 8, 1, 0},            {true, 16, 24, 2, 2},
        {true, 16, -8, 0, 0},         {true, 255, 4095, 16, 16},
        {false, 200, 300, -5536, 32767}, {false, 200, -300, 5536, -32768}, {false, 200, 5, 1000, 1000},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.aligned, quantOne(c.forward, c.q, static_cast<Kep16s>(c.x), 0, 0)) << c.x << " Q " << c.q;
        EXPECT_EQ(c.aligned, quantOne(c.forward, c.q, static_cast<Kep16s>(c.x), 2, 6)) << c.x << " Q " << c.q;
        EXPECT_EQ(c.odd, quantOne(c.forward, c.q, static_cast<Kep16s>(c.x), 3, 0)) << c.x << " Q " << c.q;
        EXPECT_EQ(c.odd, quantOne(c.forward, c.q, static_cast<Kep16s>(c.x), 0, 1)) << c.x << " Q " << c.q;  // odd table alone
    }
    // Q = 1 keeps every coefficient of -4096..4095.
    Raw one = filled(1);
    alignas(16) Kep16u ones[64];
    kepiQuantFwdTableInit_JPEG_8u16u(one.v, ones);
    for (int base = -4096; base < 4096; base += 64) {
        alignas(16) Kep16s b[64];
        for (int i = 0; i < 64; ++i) b[i] = static_cast<Kep16s>(base + i);
        ASSERT_EQ(kepOk, kepiQuantFwd8x8_JPEG_16s_C1I(b, ones));
        for (int i = 0; i < 64; ++i) ASSERT_EQ(base + i, b[i]);
    }
    // Null pointers: nothing written.
    alignas(16) Kep16s b[64] = {1, 2, 3};
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwd8x8_JPEG_16s_C1I(b, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInv8x8_JPEG_16s_C1I(b, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiQuantFwd8x8_JPEG_16s_C1I(nullptr, ones));
    EXPECT_EQ(kepErrNullPtr, kepiQuantInv8x8_JPEG_16s_C1I(nullptr, ones));
    EXPECT_EQ(1, b[0]);
    EXPECT_EQ(3, b[2]);
}

}  // namespace
