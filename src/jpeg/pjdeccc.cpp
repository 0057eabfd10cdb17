// Decoder-side colour conversion: YCbCr planes (4:4:4, 4:2:2, 4:2:0 chroma, or 4:2:2 Y0 Cb Y1 Cr
// pixels) to RGB-family pixels, and YCCK to CMYK. Subsampled chroma is up-sampled chunk by chunk
// into stack buffers with the row triangle filters and then converted as 4:4:4.

#include "colour.h"
#include "pjdispatch.h"

namespace {

constexpr int kChunk = 256;  // output pixels per chunk; even
constexpr Kep8u kOpaque = 255;

}  // namespace

void ownCcInv444(const OwnCcKernels& k, int layout, const Kep8u* const* src, int srcStep, void* const* dst,
                 int dstStep, KepiSize roi, Kep8u alpha) {
    const int planes = ownCcPlanes(layout), inputs = layout == kCcDstCMYK || layout == kCcDstCMYKP4 ? 4 : 3;
    for (int y = 0; y < roi.height; ++y) {
        const Kep8u* s[4];
        void* d[4];
        for (int i = 0; i < inputs; ++i) s[i] = ownRow(src[i], srcStep, y);
        for (int i = 0; i < planes; ++i) d[i] = ownRow(dst[i], dstStep, y);
        k.inv[layout](s, d, roi.width, alpha);
    }
}

void ownCcInvSub(const OwnCcKernels& k, int layout, bool vertical, const Kep8u* const* src, int srcStep, void* dst,
                 int dstStep, KepiSize roi, Kep8u alpha) {
    Kep8u cb[kChunk], cr[kChunk];
    const int cw = (roi.width + 1) / 2, ch = (roi.height + 1) / 2, bpp = ownCcPixelBytes(layout);
    for (int y = 0; y < roi.height; ++y) {
        // 4:2:0: the nearer chroma row and the farther one (above for even rows, below for odd
        // rows), replicated at the top and bottom edges.
        const int nearRow = vertical ? y / 2 : y;
        const int farRow = !vertical ? y : (y & 1) ? (nearRow + 1 < ch ? nearRow + 1 : nearRow) : (nearRow > 0 ? nearRow - 1 : 0);
        const Kep8u* nb = ownRow(src[1], srcStep, nearRow);
        const Kep8u* nr = ownRow(src[2], srcStep, nearRow);
        const Kep8u* fb = ownRow(src[1], srcStep, farRow);
        const Kep8u* fr = ownRow(src[2], srcStep, farRow);
        for (int x0 = 0; x0 < roi.width; x0 += kChunk) {
            const int n = roi.width - x0 < kChunk ? roi.width - x0 : kChunk;
            if (vertical) {
                k.upRow22(nb, fb, cw, x0, x0 + n, cb);
                k.upRow22(nr, fr, cw, x0, x0 + n, cr);
            } else {
                k.upRow21(nb, cw, x0, x0 + n, cb);
                k.upRow21(nr, cw, x0, x0 + n, cr);
            }
            const Kep8u* s[3] = {ownRow(src[0], srcStep, y) + x0, cb, cr};
            void* d[1] = {ownRow(dst, dstStep, y) + static_cast<ptrdiff_t>(x0) * bpp};
            k.inv[layout](s, d, n, alpha);
        }
    }
}

void ownCcInv422C2(const OwnCcKernels& k, int layout, const Kep8u* src, int srcStep, void* dst, int dstStep,
                   KepiSize roi) {
    // Per chunk: gather the luma and the chroma pairs the chunk needs (one neighbour beyond each
    // end where the row has one, so that the edge replication of the filter only happens at the
    // true row ends), up-sample, convert.
    Kep8u luma[kChunk], gb[kChunk / 2 + 4], gr[kChunk / 2 + 4], cb[kChunk], cr[kChunk];
    const int cw = (roi.width + 1) / 2, bpp = ownCcPixelBytes(layout);
    for (int y = 0; y < roi.height; ++y) {
        const Kep8u* row = ownRow(src, srcStep, y);
        for (int x0 = 0; x0 < roi.width; x0 += kChunk) {
            const int n = roi.width - x0 < kChunk ? roi.width - x0 : kChunk;
            const int a = x0 / 2 > 0 ? x0 / 2 - 1 : 0;
            const int b = (x0 + n - 1) / 2 + 2 < cw ? (x0 + n - 1) / 2 + 2 : cw;
            for (int i = a; i < b; ++i) {
                gb[i - a] = row[4 * i + 1];
                gr[i - a] = row[4 * i + 3];
            }
            for (int t = 0; t < n; ++t) luma[t] = row[2 * (x0 + t)];
            k.upRow21(gb, b - a, x0 - 2 * a, x0 - 2 * a + n, cb);
            k.upRow21(gr, b - a, x0 - 2 * a, x0 - 2 * a + n, cr);
            const Kep8u* s[3] = {luma, cb, cr};
            void* d[1] = {ownRow(dst, dstStep, y) + static_cast<ptrdiff_t>(x0) * bpp};
            k.inv[layout](s, d, n, kOpaque);
        }
    }
}

namespace {

template <int Layout>
KepResult planesToPlanes(const Kep8u* const* pSrc, int srcStep, Kep8u* const* pDst, int dstStep, KepiSize roi) {
    const int planes = ownCcPlanes(Layout);
    const KepResult r = ownCcCheck(pSrc, pDst, pSrc, planes, pDst, planes, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    void* dst[4] = {};
    for (int i = 0; i < planes; ++i) dst[i] = pDst[i];
    ownCcInv444(ownCcKernels_ssse3, Layout, pSrc, srcStep, dst, dstStep, roi, 0);
    return kepOk;
}

template <int Layout>
KepResult planesToPixels(const Kep8u* const* pSrc, int srcStep, void* pDst, int dstStep, KepiSize roi, Kep8u alpha) {
    const int inputs = Layout == kCcDstCMYK ? 4 : 3;
    const KepResult r = ownCcCheck(pSrc, pDst, pSrc, inputs, pSrc, 0, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    void* dst[1] = {pDst};
    ownCcInv444(ownCcKernels_ssse3, Layout, pSrc, srcStep, dst, dstStep, roi, alpha);
    return kepOk;
}

template <int Layout, bool Vertical>
KepResult subsampledToPixels(const Kep8u* const* pSrc, int srcStep, void* pDst, int dstStep, KepiSize roi) {
    const KepResult r = ownCcCheck(pSrc, pDst, pSrc, 3, pSrc, 0, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    ownCcInvSub(ownCcKernels_ssse3, Layout, Vertical, pSrc, srcStep, pDst, dstStep, roi, kOpaque);
    return kepOk;
}

}  // namespace

KepResult own_kepiYCbCrToRGB_JPEG_8u_P3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* const pDst[3], int dstStep,
                                         KepiSize roiSize) {
    return planesToPlanes<kCcDstRGBP3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

KepResult own_kepiYCCKToCMYK_JPEG_8u_P4R(const Kep8u* const pSrc[4], int srcStep, Kep8u* const pDst[4], int dstStep,
                                         KepiSize roiSize) {
    return planesToPlanes<kCcDstCMYKP4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

#define KEP_PIX(name, T, layout)                                                                                 \
    KepResult own_##name(const Kep8u* const pSrc[3], int srcStep, T* pDst, int dstStep, KepiSize roiSize) {      \
        return planesToPixels<layout>(pSrc, srcStep, pDst, dstStep, roiSize, 0);                                  \
    }
KEP_PIX(kepiYCbCrToRGB_JPEG_8u_P3C3R, Kep8u, kCcDstRGB)
KEP_PIX(kepiYCbCrToBGR_JPEG_8u_P3C3R, Kep8u, kCcDstBGR)
KEP_PIX(kepiYCbCrToRGB555_JPEG_8u16u_P3C3R, Kep16u, kCcDstRGB555)
KEP_PIX(kepiYCbCrToRGB565_JPEG_8u16u_P3C3R, Kep16u, kCcDstRGB565)
KEP_PIX(kepiYCbCrToBGR555_JPEG_8u16u_P3C3R, Kep16u, kCcDstBGR555)
KEP_PIX(kepiYCbCrToBGR565_JPEG_8u16u_P3C3R, Kep16u, kCcDstBGR565)
#undef KEP_PIX

KepResult own_kepiYCCKToCMYK_JPEG_8u_P4C4R(const Kep8u* const pSrc[4], int srcStep, Kep8u* pDst, int dstStep,
                                           KepiSize roiSize) {
    return planesToPixels<kCcDstCMYK>(pSrc, srcStep, pDst, dstStep, roiSize, 0);
}

KepResult own_kepiYCbCrToBGR_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep,
                                           KepiSize roiSize, int aval) {
    return planesToPixels<kCcDstBGRA>(pSrc, srcStep, pDst, dstStep, roiSize, static_cast<Kep8u>(aval));
}

// The one colour export with its own check order: destination first, the size before the steps,
// a width of 1 rejected, and only zero steps rejected (negative steps walk upwards).
KepResult own_kepiYCbCrToRGB_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep,
                                           KepiSize roiSize, int aval) {
    if (!pDst || !pSrc || !pSrc[0] || !pSrc[1] || !pSrc[2]) return kepErrNullPtr;
    if (roiSize.width < 2 || roiSize.height < 1) return kepErrSize;
    if (srcStep == 0 || dstStep == 0) return kepErrStep;
    void* dst[1] = {pDst};
    ownCcInv444(ownCcKernels_ssse3, kCcDstRGBA, pSrc, srcStep, dst, dstStep, roiSize, static_cast<Kep8u>(aval));
    return kepOk;
}

#define KEP_SUB(name, layout, vertical)                                                                             \
    KepResult own_##name(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize) {    \
        return subsampledToPixels<layout, vertical>(pSrc, srcStep, pDst, dstStep, roiSize);                         \
    }
KEP_SUB(kepiYCbCr422ToRGB_JPEG_8u_P3C3R, kCcDstRGB, false)
KEP_SUB(kepiYCbCr422ToRGB_JPEG_8u_P3C4R, kCcDstRGBA, false)
KEP_SUB(kepiYCbCr422ToBGR_JPEG_8u_P3C3R, kCcDstBGR, false)
KEP_SUB(kepiYCbCr422ToBGR_JPEG_8u_P3C4R, kCcDstBGRA, false)
KEP_SUB(kepiYCbCr411ToRGB_JPEG_8u_P3C3R, kCcDstRGB, true)
KEP_SUB(kepiYCbCr411ToRGB_JPEG_8u_P3C4R, kCcDstRGBA, true)
KEP_SUB(kepiYCbCr411ToBGR_JPEG_8u_P3C3R, kCcDstBGR, true)
KEP_SUB(kepiYCbCr411ToBGR_JPEG_8u_P3C4R, kCcDstBGRA, true)
#undef KEP_SUB

KepResult own_kepiYCbCr422ToRGB_JPEG_8u_C2C3R(const Kep8u* pSrc, int srcStep, Kep8u* pDst, int dstStep,
                                              KepiSize roiSize) {
    const KepResult r = ownCcCheck(pSrc, pDst, &pSrc, 0, &pSrc, 0, srcStep, dstStep, roiSize);
    if (r != kepOk) return r;
    ownCcInv422C2(ownCcKernels_ssse3, kCcDstRGB, pSrc, srcStep, pDst, dstStep, roiSize);
    return kepOk;
}
