// Equivalence of the MCU-level conversions: each export, through both dispatch slots and its stub,
// must equal the MCU driver running on the plain C reference kernels and on the SSSE3 kernels,
// on random pixels (padded steps, any byte alignment) and random blocks (with values far outside
// the sample range, which must saturate). For kepiSampleUp422LS_MCU_16s8u_P3C3R the two slots
// are separately written kernels, proved identical here.

#include <gtest/gtest.h>

#include <memory>

#include "colour.h"
#include "kepcheck.h"
#include "pjdispatch.h"

namespace {

using kepcheck::Guarded;
using kepcheck::Rng;
using kepcheck::Variant;

constexpr int kPixelBytes = 16 * 80;

struct McuCase {
    Kep32s step, pixelOffset, blockOffset;
    Kep8u pixels[kPixelBytes];
    Kep16s blocks[4][256];
};

void generate(Rng& rng, McuCase& c) {
    c.step = static_cast<int>(rng.range(64, 79));
    c.pixelOffset = static_cast<int>(rng.range(0, 15));
    c.blockOffset = 2 * static_cast<int>(rng.range(0, 7));  // blocks keep their natural alignment
    rng.fill(c.pixels, kPixelBytes, {128});
    for (auto& b : c.blocks)
        for (Kep16s& v : b) v = rng.chance(10) ? rng.value<Kep16s>({-128, 127, -129, 128}) : static_cast<Kep16s>(rng.range(-200, 200));
}

// Calls fn on guarded copies: pixels at the case's offset, each component's blocks at its own.
using Fn = std::function<KepResult(Kep8u* pixels, int step, Kep16s* const* blocks)>;
KepResult placed(McuCase& c, int components, const Fn& fn) {
    Guarded<Kep8u> px(kPixelBytes, c.pixelOffset);
    px.load(c.pixels);
    std::unique_ptr<Guarded<Kep16s>> blk[4];
    Kep16s* b[4] = {};
    for (int i = 0; i < components; ++i) {
        blk[i] = std::make_unique<Guarded<Kep16s>>(256, c.blockOffset);
        blk[i]->load(c.blocks[i]);
        b[i] = blk[i]->data();
    }
    const KepResult r = fn(px.data(), c.step, b);
    EXPECT_TRUE(px.guardsIntact()) << "write outside the pixels";
    px.store(c.pixels);
    for (int i = 0; i < components; ++i) {
        EXPECT_TRUE(blk[i]->guardsIntact()) << "write outside blocks " << i;
        blk[i]->store(c.blocks[i]);
    }
    return r;
}

template <typename Export>
void runMember(const char* name, int components, const std::function<void(const OwnCcKernels&, Kep8u*, int, Kep16s* const*)>& driver,
               const Export (&tbl)[2], Export stub, const std::function<KepResult(Export, Kep8u*, int, Kep16s* const*)>& call) {
    auto v = [components](const char* n, Fn fn) {
        return Variant<McuCase>{n, [=](McuCase& c) { return placed(c, components, fn); }};
    };
    auto viaDriver = [&](const OwnCcKernels& k) {
        return Fn([&k, driver](Kep8u* p, int s, Kep16s* const* b) {
            driver(k, p, s, b);
            return kepOk;
        });
    };
    auto viaExport = [&](Export e) { return Fn([e, call](Kep8u* p, int s, Kep16s* const* b) { return call(e, p, s, b); }); };
    kepcheck::runVariants<McuCase>(name, kepcheck::iterations(400), generate,
                                   {v("c", viaDriver(ownCcKernels_c)), v("ssse3", viaDriver(ownCcKernels_ssse3)),
                                    v("slot 0", viaExport(tbl[0])), v("slot 1", viaExport(tbl[1])), v("stub", viaExport(stub))});
}

template <typename T>
using FwdExport = KepResult (*)(const T*, int, Kep16s* const*);
template <typename T>
using InvExport = KepResult (*)(const Kep16s* const*, T*, int);

template <typename T>
void forward(const char* name, const FwdExport<T> (&tbl)[2], FwdExport<T> stub, int layout, int sampling) {
    const int comps = layout == kCcSrcCMYK ? 4 : 3;
    runMember<FwdExport<T>>(
        name, comps, [=](const OwnCcKernels& k, Kep8u* p, int s, Kep16s* const* b) { ownMcuFwd(k, layout, sampling, p, s, b); }, tbl, stub,
        [](FwdExport<T> e, Kep8u* p, int s, Kep16s* const* b) { return e(reinterpret_cast<const T*>(p), s, b); });
}
template <typename T>
void inverse(const char* name, const InvExport<T> (&tbl)[2], InvExport<T> stub, int layout, int sampling) {
    const int comps = layout == kCcDstCMYK ? 4 : 3;
    runMember<InvExport<T>>(
        name, comps, [=](const OwnCcKernels& k, Kep8u* p, int s, Kep16s* const* b) { ownMcuInv(k, layout, sampling, b, p, s); }, tbl, stub,
        [](InvExport<T> e, Kep8u* p, int s, Kep16s* const* b) { return e(b, reinterpret_cast<T*>(p), s); });
}

#define KEP_FWD(name, layout, sampling) forward(#name, ownTbl_##name, name, layout, sampling)
#define KEP_INV(name, layout, sampling) inverse(#name, ownTbl_##name, name, layout, sampling)
#define KEP_FWD3(from, types, layout)                                        \
    KEP_FWD(kepi##from##ToYCbCr444LS_MCU_##types##_C3P3R, layout, 0);        \
    KEP_FWD(kepi##from##ToYCbCr422LS_MCU_##types##_C3P3R, layout, 1);        \
    KEP_FWD(kepi##from##ToYCbCr411LS_MCU_##types##_C3P3R, layout, 2)
#define KEP_INV3(to, types, layout)                                          \
    KEP_INV(kepiYCbCr444To##to##LS_MCU_##types##_P3C3R, layout, 0);          \
    KEP_INV(kepiYCbCr422To##to##LS_MCU_##types##_P3C3R, layout, 1);          \
    KEP_INV(kepiYCbCr411To##to##LS_MCU_##types##_P3C3R, layout, 2)

TEST(McuEquivalence, PixelsToBlocks) {
    KEP_FWD3(RGB, 8u16s, kCcSrcRGB);
    KEP_FWD3(BGR, 8u16s, kCcSrcBGR);
    KEP_FWD3(RGB555, 16u16s, kCcSrcRGB555);
    KEP_FWD3(RGB565, 16u16s, kCcSrcRGB565);
    KEP_FWD3(BGR555, 16u16s, kCcSrcBGR555);
    KEP_FWD3(BGR565, 16u16s, kCcSrcBGR565);
    KEP_FWD(kepiCMYKToYCCK444LS_MCU_8u16s_C4P4R, kCcSrcCMYK, 0);
    KEP_FWD(kepiCMYKToYCCK422LS_MCU_8u16s_C4P4R, kCcSrcCMYK, 1);
    KEP_FWD(kepiCMYKToYCCK411LS_MCU_8u16s_C4P4R, kCcSrcCMYK, 2);
    KEP_FWD(kepiSampleDown444LS_MCU_8u16s_C3P3R, kCcSrcYCC, 0);
    KEP_FWD(kepiSampleDown422LS_MCU_8u16s_C3P3R, kCcSrcYCC, 1);
    KEP_FWD(kepiSampleDown411LS_MCU_8u16s_C3P3R, kCcSrcYCC, 2);
    runMember<FwdExport<Kep8u>>(
        "split422", 3, [](const OwnCcKernels& k, Kep8u* p, int s, Kep16s* const* b) { ownMcuSplit422(k, p, s, b); },
        ownTbl_kepiSplit422LS_MCU_8u16s_C2P3R, kepiSplit422LS_MCU_8u16s_C2P3R,
        [](FwdExport<Kep8u> e, Kep8u* p, int s, Kep16s* const* b) { return e(p, s, b); });
}

TEST(McuEquivalence, BlocksToPixels) {
    KEP_INV3(RGB, 16s8u, kCcDstRGB);
    KEP_INV3(BGR, 16s8u, kCcDstBGR);
    KEP_INV3(RGB555, 16s16u, kCcDstRGB555);
    KEP_INV3(RGB565, 16s16u, kCcDstRGB565);
    KEP_INV3(BGR555, 16s16u, kCcDstBGR555);
    KEP_INV3(BGR565, 16s16u, kCcDstBGR565);
    KEP_INV(kepiYCCKToCMYK444LS_MCU_16s8u_P4C4R, kCcDstCMYK, 0);
    KEP_INV(kepiYCCKToCMYK422LS_MCU_16s8u_P4C4R, kCcDstCMYK, 1);
    KEP_INV(kepiYCCKToCMYK411LS_MCU_16s8u_P4C4R, kCcDstCMYK, 2);
    KEP_INV(kepiSampleUp444LS_MCU_16s8u_P3C3R, kCcDstYCC, 0);
    KEP_INV(kepiSampleUp411LS_MCU_16s8u_P3C3R, kCcDstYCC, 2);
    runMember<InvExport<Kep8u>>(
        "join422", 3, [](const OwnCcKernels& k, Kep8u* p, int s, Kep16s* const* b) { ownMcuJoin422(k, b, p, s); },
        ownTbl_kepiJoin422LS_MCU_16s8u_P3C2R, kepiJoin422LS_MCU_16s8u_P3C2R,
        [](InvExport<Kep8u> e, Kep8u* p, int s, Kep16s* const* b) { return e(b, p, s); });
}

// Slot 0 runs the general driver, slot 1 its own fused kernel: both against the C reference.
TEST(McuEquivalence, SampleUp422SlotsAreDistinctButIdentical) {
    ASSERT_NE(ownTbl_kepiSampleUp422LS_MCU_16s8u_P3C3R[0], ownTbl_kepiSampleUp422LS_MCU_16s8u_P3C3R[1]);
    KEP_INV(kepiSampleUp422LS_MCU_16s8u_P3C3R, kCcDstYCC, 1);
}

}  // namespace
