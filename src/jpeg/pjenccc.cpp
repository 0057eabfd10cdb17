// Encoder-side colour conversion: RGB-family pixels to YCbCr planes (4:4:4, 4:2:2 and 4:2:0
// chroma), to luminance alone, and CMYK to YCCK. The exports check their arguments and run the
// whole-image drivers on the SSSE3 row kernels.

#include "colour.h"
#include "pjdispatch.h"

namespace {

// Pixels per chunk of the subsampled forms: the full-resolution chroma of a chunk lives on the
// stack between conversion and down-sampling. Even, so that chunks start on a chroma sample.
constexpr int kChunk = 256;

}  // namespace

void ownCcFwd444(const OwnCcKernels& k, int layout, const void* const* src, int srcStep, Kep8u* const* dst, int nDst,
                 int dstStep, KepiSize roi) {
    const OwnCcFwdRow row = nDst == 1 ? k.luma[layout] : k.fwd[layout];
    const int planes = ownCcPlanes(layout);
    for (int y = 0; y < roi.height; ++y) {
        const void* s[4];
        Kep8u* d[4];
        for (int i = 0; i < planes; ++i) s[i] = ownRow(src[i], srcStep, y);
        for (int i = 0; i < nDst; ++i) d[i] = ownRow(dst[i], dstStep, y);
        row(s, d, roi.width);
    }
}

void ownCcFwdSub(const OwnCcKernels& k, int layout, bool vertical, const void* src, int srcStep, Kep8u* const* dst,
                 int dstStep, KepiSize roi) {
    Kep8u cb[2][kChunk + 1], cr[2][kChunk + 1];
    const int bpp = ownCcPixelBytes(layout);
    const int rows = vertical ? (roi.height + 1) / 2 : roi.height;
    for (int cy = 0; cy < rows; ++cy) {
        // Image rows feeding this chroma row; an odd last row is paired with itself.
        const int y0 = vertical ? 2 * cy : cy;
        const int y1 = vertical && y0 + 1 < roi.height ? y0 + 1 : y0;
        for (int x0 = 0; x0 < roi.width; x0 += kChunk) {
            const int n = roi.width - x0 < kChunk ? roi.width - x0 : kChunk;
            for (int t = 0; t < (vertical ? 2 : 1); ++t) {
                const int y = t ? y1 : y0;
                if (t && y1 == y0) {
                    memcpy(cb[1], cb[0], sizeof cb[0]);
                    memcpy(cr[1], cr[0], sizeof cr[0]);
                    continue;
                }
                const void* s[1] = {ownRow(src, srcStep, y) + static_cast<ptrdiff_t>(x0) * bpp};
                Kep8u* d[3] = {ownRow(dst[0], dstStep, y) + x0, cb[t], cr[t]};
                k.fwd[layout](s, d, n);
                cb[t][n] = cb[t][n - 1];  // an odd last column is paired with itself
                cr[t][n] = cr[t][n - 1];
            }
            const int dw = (n + 1) / 2;
            Kep8u* dcb = ownRow(dst[1], dstStep, cy) + x0 / 2;
            Kep8u* dcr = ownRow(dst[2], dstStep, cy) + x0 / 2;
            if (vertical) {
                k.downPlane22(cb[0], cb[1], dcb, dw);
                k.downPlane22(cr[0], cr[1], dcr, dw);
            } else {
                k.downPlane21(cb[0], dcb, dw);
                k.downPlane21(cr[0], dcr, dw);
            }
        }
    }
}

namespace {

template <int Layout, int NDst>
KepResult planarToPlanes(const Kep8u* const* pSrc, int srcStep, Kep8u* const* pDst, int dstStep, KepiSize roi) {
    const int planes = ownCcPlanes(Layout);
    const KepResult r = ownCcCheck(pSrc, pDst, pSrc, planes, pDst, NDst, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    const void* src[4] = {};
    for (int i = 0; i < planes; ++i) src[i] = pSrc[i];
    ownCcFwd444(ownCcKernels_ssse3, Layout, src, srcStep, pDst, NDst, dstStep, roi);
    return kepOk;
}

template <int Layout, int NDst>
KepResult pixelsToPlanes(const void* pSrc, int srcStep, Kep8u* const* pDst, int dstStep, KepiSize roi) {
    const KepResult r = ownCcCheck(pSrc, pDst, pDst, 0, pDst, NDst, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    const void* src[1] = {pSrc};
    ownCcFwd444(ownCcKernels_ssse3, Layout, src, srcStep, pDst, NDst, dstStep, roi);
    return kepOk;
}

template <int Layout, bool Vertical>
KepResult pixelsToSubsampled(const Kep8u* pSrc, int srcStep, Kep8u* const* pDst, int dstStep, KepiSize roi) {
    const KepResult r = ownCcCheck(pSrc, pDst, pDst, 0, pDst, 3, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    ownCcFwdSub(ownCcKernels_ssse3, Layout, Vertical, pSrc, srcStep, pDst, dstStep, roi);
    return kepOk;
}

}  // namespace

#define KEP_PIX(name, T, layout)                                                                            \
    KepResult own_##name(const T* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize) { \
        return pixelsToPlanes<layout, 3>(pSrc, srcStep, pDst, dstStep, roiSize);                             \
    }
KEP_PIX(kepiRGBToYCbCr_JPEG_8u_C3P3R, Kep8u, kCcSrcRGB)
KEP_PIX(kepiRGBToYCbCr_JPEG_8u_C4P3R, Kep8u, kCcSrcRGBA)
KEP_PIX(kepiBGRToYCbCr_JPEG_8u_C3P3R, Kep8u, kCcSrcBGR)
KEP_PIX(kepiBGRToYCbCr_JPEG_8u_C4P3R, Kep8u, kCcSrcBGRA)
KEP_PIX(kepiRGB555ToYCbCr_JPEG_16u8u_C3P3R, Kep16u, kCcSrcRGB555)
KEP_PIX(kepiRGB565ToYCbCr_JPEG_16u8u_C3P3R, Kep16u, kCcSrcRGB565)
KEP_PIX(kepiBGR555ToYCbCr_JPEG_16u8u_C3P3R, Kep16u, kCcSrcBGR555)
KEP_PIX(kepiBGR565ToYCbCr_JPEG_16u8u_C3P3R, Kep16u, kCcSrcBGR565)
#undef KEP_PIX

#define KEP_SUB(name, layout, vertical)                                                                        \
    KepResult own_##name(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize) { \
        return pixelsToSubsampled<layout, vertical>(pSrc, srcStep, pDst, dstStep, roiSize);                     \
    }
KEP_SUB(kepiRGBToYCbCr422_JPEG_8u_C3P3R, kCcSrcRGB, false)
KEP_SUB(kepiRGBToYCbCr422_JPEG_8u_C4P3R, kCcSrcRGBA, false)
KEP_SUB(kepiRGBToYCbCr411_JPEG_8u_C3P3R, kCcSrcRGB, true)
KEP_SUB(kepiRGBToYCbCr411_JPEG_8u_C4P3R, kCcSrcRGBA, true)
KEP_SUB(kepiBGRToYCbCr422_JPEG_8u_C3P3R, kCcSrcBGR, false)
KEP_SUB(kepiBGRToYCbCr422_JPEG_8u_C4P3R, kCcSrcBGRA, false)
KEP_SUB(kepiBGRToYCbCr411_JPEG_8u_C3P3R, kCcSrcBGR, true)
KEP_SUB(kepiBGRToYCbCr411_JPEG_8u_C4P3R, kCcSrcBGRA, true)
#undef KEP_SUB

KepResult own_kepiRGBToYCbCr_JPEG_8u_P3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* const pDst[3], int dstStep,
                                         KepiSize roiSize) {
    return planarToPlanes<kCcSrcRGBP3, 3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

KepResult own_kepiRGBToY_JPEG_8u_P3C1R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep,
                                       KepiSize roiSize) {
    // The single destination plane goes through the plane check: -8 either way.
    Kep8u* const dst[1] = {pDst};
    return planarToPlanes<kCcSrcRGBP3, 1>(pSrc, srcStep, dst, dstStep, roiSize);
}

KepResult own_kepiRGBToY_JPEG_8u_C3C1R(const Kep8u* pSrc, int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize) {
    Kep8u* const dst[1] = {pDst};
    return pixelsToPlanes<kCcSrcRGB, 1>(pSrc, srcStep, dst, dstStep, roiSize);
}

KepResult own_kepiBGRToY_JPEG_8u_C3C1R(const Kep8u* pSrc, int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize) {
    Kep8u* const dst[1] = {pDst};
    return pixelsToPlanes<kCcSrcBGR, 1>(pSrc, srcStep, dst, dstStep, roiSize);
}

KepResult own_kepiCMYKToYCCK_JPEG_8u_P4R(const Kep8u* const pSrc[4], int srcStep, Kep8u* const pDst[4], int dstStep,
                                         KepiSize roiSize) {
    return planarToPlanes<kCcSrcCMYKP4, 4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

KepResult own_kepiCMYKToYCCK_JPEG_8u_C4P4R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[4], int dstStep,
                                           KepiSize roiSize) {
    return pixelsToPlanes<kCcSrcCMYK, 4>(pSrc, srcStep, pDst, dstStep, roiSize);
}
