// Equivalence of the colour conversion and resampling kernels: every export of the family, run
// on random images (odd widths, widths around the 8-pixel groups and the 256-pixel chunks of the
// subsampled forms, padded steps, misaligned planes), must equal the whole-image driver running
// on the plain C reference kernels, through the SSSE3 kernels, both dispatch slots and the stub.

#include <gtest/gtest.h>

#include <cstring>

#include "colour.h"
#include "colour_harness.h"
#include "pjdispatch.h"

namespace {

using colourcheck::Call;
using colourcheck::Shape;

const int kCases = kepcheck::iterations(120);
constexpr int kAlpha = 0x15A;  // only the low byte, 0x5A, is written

// ---- Export adapters, by signature ----------------------------------------------------------------

using PlanesToPlanes = KepResult (*)(const Kep8u* const*, int, Kep8u* const*, int, KepiSize);
template <typename T>
using PixelsToPlanes = KepResult (*)(const T*, int, Kep8u* const*, int, KepiSize);
template <typename T>
using PlanesToPixels = KepResult (*)(const Kep8u* const*, int, T*, int, KepiSize);
using PlanesToPixelsAlpha = KepResult (*)(const Kep8u* const*, int, Kep8u*, int, KepiSize, int);
using PixelsToPixels = KepResult (*)(const Kep8u*, int, Kep8u*, int, KepiSize);
using Resample = KepResult (*)(const Kep8u*, int, KepiSize, Kep8u*, int, KepiSize);

Call wrap(PlanesToPlanes f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) { return f(s, ss, d, ds, roi); };
}
template <typename T>
Call wrap(PixelsToPlanes<T> f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
        return f(reinterpret_cast<const T*>(s[0]), ss, d, ds, roi);
    };
}
template <typename T>
Call wrap(PlanesToPixels<T> f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
        return f(s, ss, reinterpret_cast<T*>(d[0]), ds, roi);
    };
}
Call wrap(PlanesToPixelsAlpha f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) { return f(s, ss, d[0], ds, roi, kAlpha); };
}
Call wrap(PixelsToPixels f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) { return f(s[0], ss, d[0], ds, roi); };
}
// Whole-plane resamplers: the case's region is the destination region (the source region is only
// checked).
Call wrap(Resample f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) { return f(s[0], ss, roi, d[0], ds, roi); };
}

// ---- References: the drivers on a kernel set -------------------------------------------------------

using Factory = std::function<Call(const OwnCcKernels&)>;

// A driver run on a kernel set, as a call returning kepOk.
template <class F>
Factory driver(F f) {
    return [f](const OwnCcKernels& k) -> Call {
        return [f, &k](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
            f(k, s, d, ss, ds, roi);
            return kepOk;
        };
    };
}
Factory fwd444(int layout, int nDst) {
    return driver([=](const OwnCcKernels& k, const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
        const void* src[4] = {s[0], s[1], s[2], s[3]};
        ownCcFwd444(k, layout, src, ss, d, nDst, ds, roi);
    });
}
Factory fwdSub(int layout, bool vertical) {
    return driver([=](const OwnCcKernels& k, const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
        ownCcFwdSub(k, layout, vertical, s[0], ss, d, ds, roi);
    });
}
Factory inv444(int layout, Kep8u alpha) {
    return driver([=](const OwnCcKernels& k, const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
        void* dst[4] = {d[0], d[1], d[2], d[3]};
        ownCcInv444(k, layout, s, ss, dst, ds, roi, alpha);
    });
}
Factory invSub(int layout, bool vertical) {
    return driver([=](const OwnCcKernels& k, const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
        ownCcInvSub(k, layout, vertical, s, ss, d[0], ds, roi, 255);
    });
}

#define KEP_MEMBER(name, shape, factory, ...)                                                                   \
    colourcheck::runMember(#name, shape, factory(ownCcKernels_c), factory(ownCcKernels_ssse3),                 \
                           wrap(kepcheck::slot(ownTbl_##name, 0)), wrap(kepcheck::slot(ownTbl_##name, 1)), wrap(name), \
                           kCases, ##__VA_ARGS__)

const Shape kP3toP3{3, 3, 1, 1, 0}, kP4toP4{4, 4, 1, 1, 0}, kC3toP3{1, 3, 3, 1, 0}, kC4toP3{1, 3, 4, 1, 0},
    kC4toP4{1, 4, 4, 1, 0}, k16toP3{1, 3, 2, 1, 0}, kP3toC1{3, 1, 1, 1, 0}, kC3toC1{1, 1, 3, 1, 0},
    kP3toC3{3, 1, 1, 3, 0}, kP3toC4{3, 1, 1, 4, 0}, kP4toC4{4, 1, 1, 4, 0}, kP3to16{3, 1, 1, 2, 0},
    kC2toC3{1, 1, 2, 3, 0};

TEST(ColourEquivalence, ForwardFullResolution) {
    KEP_MEMBER(kepiRGBToYCbCr_JPEG_8u_P3R, kP3toP3, fwd444(kCcSrcRGBP3, 3));
    KEP_MEMBER(kepiRGBToYCbCr_JPEG_8u_C3P3R, kC3toP3, fwd444(kCcSrcRGB, 3));
    KEP_MEMBER(kepiRGBToYCbCr_JPEG_8u_C4P3R, kC4toP3, fwd444(kCcSrcRGBA, 3));
    KEP_MEMBER(kepiBGRToYCbCr_JPEG_8u_C3P3R, kC3toP3, fwd444(kCcSrcBGR, 3));
    KEP_MEMBER(kepiBGRToYCbCr_JPEG_8u_C4P3R, kC4toP3, fwd444(kCcSrcBGRA, 3));
    KEP_MEMBER(kepiRGB555ToYCbCr_JPEG_16u8u_C3P3R, k16toP3, fwd444(kCcSrcRGB555, 3));
    KEP_MEMBER(kepiRGB565ToYCbCr_JPEG_16u8u_C3P3R, k16toP3, fwd444(kCcSrcRGB565, 3));
    KEP_MEMBER(kepiBGR555ToYCbCr_JPEG_16u8u_C3P3R, k16toP3, fwd444(kCcSrcBGR555, 3));
    KEP_MEMBER(kepiBGR565ToYCbCr_JPEG_16u8u_C3P3R, k16toP3, fwd444(kCcSrcBGR565, 3));
    KEP_MEMBER(kepiRGBToY_JPEG_8u_P3C1R, kP3toC1, fwd444(kCcSrcRGBP3, 1));
    KEP_MEMBER(kepiRGBToY_JPEG_8u_C3C1R, kC3toC1, fwd444(kCcSrcRGB, 1));
    KEP_MEMBER(kepiBGRToY_JPEG_8u_C3C1R, kC3toC1, fwd444(kCcSrcBGR, 1));
    KEP_MEMBER(kepiCMYKToYCCK_JPEG_8u_P4R, kP4toP4, fwd444(kCcSrcCMYKP4, 4));
    KEP_MEMBER(kepiCMYKToYCCK_JPEG_8u_C4P4R, kC4toP4, fwd444(kCcSrcCMYK, 4));
}

TEST(ColourEquivalence, ForwardSubsampled) {
    KEP_MEMBER(kepiRGBToYCbCr422_JPEG_8u_C3P3R, kC3toP3, fwdSub(kCcSrcRGB, false));
    KEP_MEMBER(kepiRGBToYCbCr422_JPEG_8u_C4P3R, kC4toP3, fwdSub(kCcSrcRGBA, false));
    KEP_MEMBER(kepiRGBToYCbCr411_JPEG_8u_C3P3R, kC3toP3, fwdSub(kCcSrcRGB, true));
    KEP_MEMBER(kepiRGBToYCbCr411_JPEG_8u_C4P3R, kC4toP3, fwdSub(kCcSrcRGBA, true));
    KEP_MEMBER(kepiBGRToYCbCr422_JPEG_8u_C3P3R, kC3toP3, fwdSub(kCcSrcBGR, false));
    KEP_MEMBER(kepiBGRToYCbCr422_JPEG_8u_C4P3R, kC4toP3, fwdSub(kCcSrcBGRA, false));
    KEP_MEMBER(kepiBGRToYCbCr411_JPEG_8u_C3P3R, kC3toP3, fwdSub(kCcSrcBGR, true));
    KEP_MEMBER(kepiBGRToYCbCr411_JPEG_8u_C4P3R, kC4toP3, fwdSub(kCcSrcBGRA, true));
}

TEST(ColourEquivalence, InverseFullResolution) {
    KEP_MEMBER(kepiYCbCrToRGB_JPEG_8u_P3R, kP3toP3, inv444(kCcDstRGBP3, 0));
    KEP_MEMBER(kepiYCbCrToRGB_JPEG_8u_P3C3R, kP3toC3, inv444(kCcDstRGB, 0));
    // This member rejects a width of 1 (its own check order); the reference does the same.
    auto rgba = [](const OwnCcKernels& k) -> Call {
        const Call run = inv444(kCcDstRGBA, kAlpha & 255)(k);
        return [run](const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
            return roi.width < 2 ? kepErrSize : run(s, d, ss, ds, roi);
        };
    };
    KEP_MEMBER(kepiYCbCrToRGB_JPEG_8u_P3C4R, kP3toC4, rgba);
    KEP_MEMBER(kepiYCbCrToBGR_JPEG_8u_P3C3R, kP3toC3, inv444(kCcDstBGR, 0));
    KEP_MEMBER(kepiYCbCrToBGR_JPEG_8u_P3C4R, kP3toC4, inv444(kCcDstBGRA, kAlpha & 255));
    KEP_MEMBER(kepiYCbCrToRGB555_JPEG_8u16u_P3C3R, kP3to16, inv444(kCcDstRGB555, 0));
    KEP_MEMBER(kepiYCbCrToRGB565_JPEG_8u16u_P3C3R, kP3to16, inv444(kCcDstRGB565, 0));
    KEP_MEMBER(kepiYCbCrToBGR555_JPEG_8u16u_P3C3R, kP3to16, inv444(kCcDstBGR555, 0));
    KEP_MEMBER(kepiYCbCrToBGR565_JPEG_8u16u_P3C3R, kP3to16, inv444(kCcDstBGR565, 0));
    KEP_MEMBER(kepiYCCKToCMYK_JPEG_8u_P4R, kP4toP4, inv444(kCcDstCMYKP4, 0));
    KEP_MEMBER(kepiYCCKToCMYK_JPEG_8u_P4C4R, kP4toC4, inv444(kCcDstCMYK, 0));
}

TEST(ColourEquivalence, InverseSubsampled) {
    KEP_MEMBER(kepiYCbCr422ToRGB_JPEG_8u_P3C3R, kP3toC3, invSub(kCcDstRGB, false));
    KEP_MEMBER(kepiYCbCr422ToRGB_JPEG_8u_P3C4R, kP3toC4, invSub(kCcDstRGBA, false));
    KEP_MEMBER(kepiYCbCr422ToBGR_JPEG_8u_P3C3R, kP3toC3, invSub(kCcDstBGR, false));
    KEP_MEMBER(kepiYCbCr422ToBGR_JPEG_8u_P3C4R, kP3toC4, invSub(kCcDstBGRA, false));
    KEP_MEMBER(kepiYCbCr411ToRGB_JPEG_8u_P3C3R, kP3toC3, invSub(kCcDstRGB, true));
    KEP_MEMBER(kepiYCbCr411ToRGB_JPEG_8u_P3C4R, kP3toC4, invSub(kCcDstRGBA, true));
    KEP_MEMBER(kepiYCbCr411ToBGR_JPEG_8u_P3C3R, kP3toC3, invSub(kCcDstBGR, true));
    KEP_MEMBER(kepiYCbCr411ToBGR_JPEG_8u_P3C4R, kP3toC4, invSub(kCcDstBGRA, true));
    KEP_MEMBER(kepiYCbCr422ToRGB_JPEG_8u_C2C3R, kC2toC3,
               driver([](const OwnCcKernels& k, const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
                   ownCcInv422C2(k, kCcDstRGB, s[0], ss, d[0], ds, roi);
               }));
}

// Every (Cb, Cr) pair, each with a different Y, through every inverse row layout: the fixed-point
// multipliers of the SSSE3 rows are only exact over the 256 chroma values, so all of them are run.
TEST(ColourEquivalence, InverseAllChromaPairs) {
    constexpr int kW = 256;
    Kep8u y[kW], cb[kW], cr[kW], ref[4 * kW], got[4 * kW];
    for (int d = 0; d < kCcDstCount; ++d)
        for (int row = 0; row < 256; ++row) {
            for (int x = 0; x < kW; ++x) {
                y[x] = static_cast<Kep8u>(x * 37 + row * 11 + d);
                cb[x] = static_cast<Kep8u>(row);
                cr[x] = static_cast<Kep8u>(x);
            }
            const Kep8u* src[4] = {y, cb, cr, y};
            void* dr[4] = {ref, ref + kW, ref + 2 * kW, ref + 3 * kW};
            void* dg[4] = {got, got + kW, got + 2 * kW, got + 3 * kW};
            std::memset(ref, 0, sizeof ref);
            std::memset(got, 0, sizeof got);
            ownCcKernels_c.inv[d](src, dr, kW, 7);
            ownCcKernels_ssse3.inv[d](src, dg, kW, 7);
            ASSERT_EQ(0, std::memcmp(ref, got, sizeof ref)) << "layout " << d << " Cb " << row;
        }
}

// ---- Resampling ------------------------------------------------------------------------------------

Factory planeLoop(bool up, bool vertical) {
    return driver([=](const OwnCcKernels& k, const Kep8u* const* s, Kep8u* const* d, int ss, int ds, KepiSize roi) {
        for (int y = 0; y < roi.height; ++y) {
            Kep8u* row = d[0] + y * ds;
            if (!up && !vertical) k.downPlane21(s[0] + y * ss, row, roi.width);
            if (!up && vertical) k.downPlane22(s[0] + 2 * y * ss, s[0] + (2 * y + 1) * ss, row, roi.width);
            if (up && !vertical) k.upPlane21(s[0] + y * ss, row, roi.width);
            if (up && vertical) k.upPlane22(s[0] + (y / 2) * ss, s[0] + ((y & 1) ? y / 2 + 1 : y / 2 - 1) * ss, row, roi.width);
        }
    });
}

TEST(ColourEquivalence, WholePlaneResampling) {
    // Down: two source samples (and rows) per output; up: a one-sample border around the source.
    KEP_MEMBER(kepiSampleDownH2V1_JPEG_8u_C1R, (Shape{1, 1, 2, 1, 0}), planeLoop(false, false));
    KEP_MEMBER(kepiSampleDownH2V2_JPEG_8u_C1R, (Shape{1, 1, 2, 1, 0}), planeLoop(false, true), 200);
    KEP_MEMBER(kepiSampleUpH2V1_JPEG_8u_C1R, (Shape{1, 1, 1, 1, 1}), planeLoop(true, false));
    KEP_MEMBER(kepiSampleUpH2V2_JPEG_8u_C1R, (Shape{1, 1, 1, 1, 1}), planeLoop(true, true));
}

// Row forms: the case's width is the source width; results and warnings must agree too.
using Row1 = KepResult (*)(const Kep8u*, int, Kep8u*);
using Row2 = KepResult (*)(const Kep8u*, const Kep8u*, int, Kep8u*);
Call wrapRow(Row1 f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int, int, KepiSize roi) { return f(s[0], roi.width, d[0]); };
}
Call wrapRow(Row2 f) {
    return [f](const Kep8u* const* s, Kep8u* const* d, int, int, KepiSize roi) { return f(s[0], s[1], roi.width, d[0]); };
}

TEST(ColourEquivalence, RowResampling) {
    const Shape down{2, 1, 1, 1, 0}, up{2, 1, 1, 2, 0};
#define KEP_ROW(name, shape, body)                                                                                  \
    {                                                                                                               \
        auto ref = [](const OwnCcKernels& k) -> Call {                                                              \
            return [&k](const Kep8u* const* s, Kep8u* const* d, int, int, KepiSize roi) -> KepResult {              \
                const int w = roi.width;                                                                            \
                body;                                                                                               \
            };                                                                                                      \
        };                                                                                                          \
        colourcheck::runMember(#name, shape, ref(ownCcKernels_c), ref(ownCcKernels_ssse3),                         \
                               wrapRow(kepcheck::slot(ownTbl_##name, 0)), wrapRow(kepcheck::slot(ownTbl_##name, 1)), \
                               wrapRow(name), 4 * kCases);                                                         \
    }
    KEP_ROW(kepiSampleDownRowH2V1_Box_JPEG_8u_C1, down,
            if (w < 2) return kepErrSize; k.downRow21(s[0], w, d[0]); return (w & 1) ? kepWarnOddWidth : kepOk)
    KEP_ROW(kepiSampleDownRowH2V2_Box_JPEG_8u_C1, down, k.downRow22(s[0], s[1], w, d[0]); return kepOk)
    KEP_ROW(kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1, up, k.upRow21(s[0], w, 0, 2 * w, d[0]); return kepOk)
    KEP_ROW(kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1, up, k.upRow22(s[0], s[1], w, 0, 2 * w, d[0]); return kepOk)
#undef KEP_ROW
}

// The row up-samplers on sub-ranges of a row, as the subsampled conversions call them chunk by
// chunk: any range [j0, j1) must equal the same outputs of the whole row.
TEST(ColourEquivalence, RowUpSamplerRanges) {
    kepcheck::Rng rng(kepcheck::seed());
    for (int n = 0; n < kepcheck::iterations(3000); ++n) {
        Kep8u p[300], q[300], whole[600], part[600];
        rng.fill(p, 300);
        rng.fill(q, 300);
        const int w = static_cast<int>(rng.range(1, 300));
        const int j0 = static_cast<int>(rng.range(0, 2 * w - 1)), j1 = static_cast<int>(rng.range(j0 + 1, 2 * w));
        const bool vertical = rng.chance(50);
        for (const OwnCcKernels* k : {&ownCcKernels_c, &ownCcKernels_ssse3}) {
            if (vertical) {
                ownCcKernels_c.upRow22(p, q, w, 0, 2 * w, whole);
                k->upRow22(p, q, w, j0, j1, part);
            } else {
                ownCcKernels_c.upRow21(p, w, 0, 2 * w, whole);
                k->upRow21(p, w, j0, j1, part);
            }
            ASSERT_EQ(0, std::memcmp(whole + j0, part, static_cast<size_t>(j1 - j0)))
                << "width " << w << " range " << j0 << ".." << j1 << (vertical ? " H2V2" : " H2V1");
        }
    }
}

}  // namespace
