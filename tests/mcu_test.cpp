// The MCU-level conversions against the whole-image conversions of the same pixels (block
// geometry, level shift, box down-sampling, replication up-sampling, saturation), round trips
// through the sampling and split/join pairs, and the argument checks.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kepcheck_data.h"
#include "kepjx1.h"

namespace {

using Bytes = std::vector<Kep8u>;

struct Blocks {
    Kep16s c[4][256] = {};
    Kep16s* p[4] = {c[0], c[1], c[2], c[3]};
    const Kep16s* cp[4] = {c[0], c[1], c[2], c[3]};
};

// Sample (x, y) of a component laid out as blocks in raster order, `across` blocks per row.
int blockSample(const Kep16s* blocks, int across, int x, int y) {
    return blocks[64 * ((y / 8) * across + x / 8) + 8 * (y % 8) + x % 8];
}

struct Geometry {
    int sampling, w, h;  // 0 = 444, 1 = 422, 2 = 411
};
const Geometry kGeometries[3] = {{0, 8, 8}, {1, 16, 8}, {2, 16, 16}};

using Fwd = KepResult (*)(const Kep8u*, int, Kep16s* const*);
using Inv = KepResult (*)(const Kep16s* const*, Kep8u*, int);
using Inv565 = KepResult (*)(const Kep16s* const*, Kep16u*, int);

// RGB, BGR and CMYK (YCCK: the YCbCr of the complement, K level-shifted like Y) against the
// whole-image conversion, level-shifted.
TEST(McuForward, EqualsWholeImageConversionLevelShifted) {
    kepcheck::Rng rng(21);
    const Fwd rgb[3] = {kepiRGBToYCbCr444LS_MCU_8u16s_C3P3R, kepiRGBToYCbCr422LS_MCU_8u16s_C3P3R, kepiRGBToYCbCr411LS_MCU_8u16s_C3P3R};
    const Fwd bgr[3] = {kepiBGRToYCbCr444LS_MCU_8u16s_C3P3R, kepiBGRToYCbCr422LS_MCU_8u16s_C3P3R, kepiBGRToYCbCr411LS_MCU_8u16s_C3P3R};
    const Fwd cmyk[3] = {kepiCMYKToYCCK444LS_MCU_8u16s_C4P4R, kepiCMYKToYCCK422LS_MCU_8u16s_C4P4R, kepiCMYKToYCCK411LS_MCU_8u16s_C4P4R};
    for (const Geometry g : kGeometries) {
        const int step = g.w * 3 + 5, n = g.w * g.h;
        Bytes px(static_cast<size_t>(step) * g.h), swapped(px.size()), comp(4 * n);
        rng.fill(px.data(), px.size());
        rng.fill(comp.data(), comp.size());
        for (int i = 0; i < n; ++i) {
            Kep8u* p = &px[(i / g.w) * step + 3 * (i % g.w)];
            for (int c = 0; c < 3; ++c) {
                swapped[&p[c] - px.data() + 2 - 2 * c] = p[c];
                comp[4 * i + c] = static_cast<Kep8u>(255 - p[c]);
            }
        }
        Bytes y(n), cb(n), cr(n);
        Kep8u* planes[3] = {y.data(), cb.data(), cr.data()};
        const KepiSize roi{g.w, g.h};
        const KepResult r = g.sampling == 0 ? kepiRGBToYCbCr_JPEG_8u_C3P3R(px.data(), step, planes, g.w, roi)
                            : g.sampling == 1 ? kepiRGBToYCbCr422_JPEG_8u_C3P3R(px.data(), step, planes, g.w, roi)
                                              : kepiRGBToYCbCr411_JPEG_8u_C3P3R(px.data(), step, planes, g.w, roi);
        ASSERT_EQ(kepOk, r);
        Blocks b, bb, bc;
        ASSERT_EQ(kepOk, rgb[g.sampling](px.data(), step, b.p));
        ASSERT_EQ(kepOk, bgr[g.sampling](swapped.data(), step, bb.p));
        ASSERT_EQ(kepOk, cmyk[g.sampling](comp.data(), 4 * g.w, bc.p));
        EXPECT_EQ(0, std::memcmp(b.c, bb.c, sizeof(Kep16s) * 3 * 256)) << "BGR differs from RGB";
        EXPECT_EQ(0, std::memcmp(b.c, bc.c, sizeof(Kep16s) * 3 * 256)) << "YCC of YCCK differs from RGB";
        for (int yy = 0; yy < g.h; ++yy)
            for (int x = 0; x < g.w; ++x) {
                ASSERT_EQ(y[yy * g.w + x] - 128, blockSample(b.c[0], g.w / 8, x, yy)) << g.sampling;
                ASSERT_EQ(comp[4 * (yy * g.w + x) + 3] - 128, blockSample(bc.c[3], g.w / 8, x, yy)) << g.sampling;
            }
        for (int i = 0; i < 64; ++i) {
            ASSERT_EQ(cb[(i / 8) * g.w + i % 8] - 128, b.c[1][i]) << g.sampling;
            ASSERT_EQ(cr[(i / 8) * g.w + i % 8] - 128, b.c[2][i]) << g.sampling;
        }
    }
}

// Inverse: blocks + 128 clamped, chroma replicated, then the whole-image 4:4:4 conversion, as
// 8-bit RGB and as 565.
TEST(McuInverse, EqualsWholeImageConversionOfReplicatedPlanes) {
    kepcheck::Rng rng(29);
    const Inv rgb[3] = {kepiYCbCr444ToRGBLS_MCU_16s8u_P3C3R, kepiYCbCr422ToRGBLS_MCU_16s8u_P3C3R, kepiYCbCr411ToRGBLS_MCU_16s8u_P3C3R};
    const Inv565 f565[3] = {kepiYCbCr444ToRGB565LS_MCU_16s16u_P3C3R, kepiYCbCr422ToRGB565LS_MCU_16s16u_P3C3R,
                            kepiYCbCr411ToRGB565LS_MCU_16s16u_P3C3R};
    auto sample = [](int v) { return static_cast<Kep8u>(v + 128 < 0 ? 0 : v + 128 > 255 ? 255 : v + 128); };
    for (const Geometry g : kGeometries) {
        Blocks b;
        for (auto& c : b.c)
            for (Kep16s& v : c) v = rng.chance(5) ? rng.value<Kep16s>() : static_cast<Kep16s>(rng.range(-160, 160));
        const int n = g.w * g.h;
        Bytes y(n), cb(n), cr(n), expect(3 * n), got(3 * n);
        for (int i = 0; i < n; ++i) {
            const int x = i % g.w, yy = i / g.w, cx = g.sampling ? x / 2 : x, cy = g.sampling == 2 ? yy / 2 : yy;
            y[i] = sample(blockSample(b.c[0], g.w / 8, x, yy));
            cb[i] = sample(b.c[1][8 * cy + cx]);
            cr[i] = sample(b.c[2][8 * cy + cx]);
        }
        const Kep8u* planes[3] = {y.data(), cb.data(), cr.data()};
        ASSERT_EQ(kepOk, kepiYCbCrToRGB_JPEG_8u_P3C3R(planes, g.w, expect.data(), g.w * 3, KepiSize{g.w, g.h}));
        ASSERT_EQ(kepOk, rgb[g.sampling](b.cp, got.data(), g.w * 3));
        EXPECT_EQ(expect, got) << "sampling " << g.sampling;
        std::vector<Kep16u> packed(n), expect565(n);
        ASSERT_EQ(kepOk, f565[g.sampling](b.cp, packed.data(), g.w * 2));
        ASSERT_EQ(kepOk, kepiYCbCrToRGB565_JPEG_8u16u_P3C3R(planes, g.w, expect565.data(), g.w * 2, KepiSize{g.w, g.h}));
        EXPECT_EQ(expect565, packed) << "sampling " << g.sampling;
    }
}

TEST(McuRoundTrips, SamplingAndSplitJoin) {
    kepcheck::Rng rng(31);
    Bytes px(16 * 48), back(px.size());
    rng.fill(px.data(), px.size());
    Blocks b;
    // 4:4:4 sampling is lossless.
    ASSERT_EQ(kepOk, kepiSampleDown444LS_MCU_8u16s_C3P3R(px.data(), 24, b.p));
    ASSERT_EQ(kepOk, kepiSampleUp444LS_MCU_16s8u_P3C3R(b.cp, back.data(), 24));
    EXPECT_TRUE(std::equal(px.begin(), px.begin() + 8 * 24, back.begin()));
    // 4:2:0: luma exact, chroma the 2x2 box average replicated over the four pixels.
    ASSERT_EQ(kepOk, kepiSampleDown411LS_MCU_8u16s_C3P3R(px.data(), 48, b.p));
    ASSERT_EQ(kepOk, kepiSampleUp411LS_MCU_16s8u_P3C3R(b.cp, back.data(), 48));
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            ASSERT_EQ(px[y * 48 + 3 * x], back[y * 48 + 3 * x]);
            for (int c = 1; c < 3; ++c) {
                const Kep8u* q = &px[(y & ~1) * 48 + 3 * (x & ~1) + c];
                ASSERT_EQ((q[0] + q[3] + q[48] + q[51] + 3) >> 2, back[y * 48 + 3 * x + c]) << x << "," << y << " channel " << c;
            }
        }
    // Split and join are exact inverses over 16 x 8 pixels of Y0 Cb Y1 Cr.
    ASSERT_EQ(kepOk, kepiSplit422LS_MCU_8u16s_C2P3R(px.data(), 40, b.p));
    EXPECT_EQ(px[0] - 128, b.c[0][0]);
    EXPECT_EQ(px[1] - 128, b.c[1][0]);
    EXPECT_EQ(px[2] - 128, b.c[0][1]);
    EXPECT_EQ(px[3] - 128, b.c[2][0]);
    EXPECT_EQ(px[40 + 16] - 128, b.c[0][64 + 8]);  // row 1, pixel 8: the right luma block
    std::fill(back.begin(), back.end(), 0);
    ASSERT_EQ(kepOk, kepiJoin422LS_MCU_16s8u_P3C2R(b.cp, back.data(), 40));
    for (int y = 0; y < 8; ++y) ASSERT_TRUE(std::equal(&px[y * 40], &px[y * 40 + 32], &back[y * 40])) << y;
}

TEST(McuArguments, CheckOrder) {
    Blocks b;
    std::memset(b.c, 0x5A, sizeof b.c);
    Kep8u px[16 * 64];
    std::memset(px, 0xA5, sizeof px);
    Kep16s* hole[3] = {b.c[0], nullptr, b.c[2]};
    Kep16s* four[4] = {b.c[0], b.c[1], b.c[2], nullptr};
    const Kep16s* chole[4] = {b.c[0], b.c[1], b.c[2], nullptr};
    // Forward: pixels and step as a pair, then the block array and its pointers.
    EXPECT_EQ(kepErrNullPtr, kepiRGBToYCbCr411LS_MCU_8u16s_C3P3R(nullptr, 0, nullptr));
    EXPECT_EQ(kepErrStep, kepiRGBToYCbCr411LS_MCU_8u16s_C3P3R(px, 0, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiRGBToYCbCr411LS_MCU_8u16s_C3P3R(px, 48, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiSampleDown422LS_MCU_8u16s_C3P3R(px, 48, hole));
    EXPECT_EQ(kepErrStep, kepiSplit422LS_MCU_8u16s_C2P3R(px, -32, b.p));
    EXPECT_EQ(kepErrNullPtr, kepiCMYKToYCCK444LS_MCU_8u16s_C4P4R(px, 32, four));
    // Inverse: the block array and its pointers, then the pixels and their step.
    EXPECT_EQ(kepErrNullPtr, kepiYCbCr422ToBGRLS_MCU_16s8u_P3C3R(nullptr, px, 0));
    EXPECT_EQ(kepErrNullPtr, kepiYCCKToCMYK411LS_MCU_16s8u_P4C4R(chole, px, 0));
    EXPECT_EQ(kepErrNullPtr, kepiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(b.cp, nullptr, 0));
    EXPECT_EQ(kepErrStep, kepiJoin422LS_MCU_16s8u_P3C2R(b.cp, px, 0));
    EXPECT_EQ(kepErrNullPtr, kepiSampleUp422LS_MCU_16s8u_P3C3R(chole + 1, px, 48));
    EXPECT_EQ(kepErrStep, kepiSampleUp422LS_MCU_16s8u_P3C3R(b.cp, px, -48));
    for (auto& c : b.c)
        for (Kep16s v : c) ASSERT_EQ(0x5A5A, v) << "block written on failure";
    for (Kep8u v : px) ASSERT_EQ(0xA5, v) << "pixels written on failure";
}

}  // namespace
