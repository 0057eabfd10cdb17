// Irreversible component transform (ITU-T T.800 G.3): the YCbCr matrix in single precision and
// in two fixed-point formulations with 14 fraction bits.

#include "pj2ct.h"
#include "pjdispatch.h"

namespace {

constexpr Kep32s kHalf = 8192;  // rounding offset for 14 fraction bits

// 32s: the matrix rounded to 14 fraction bits, floor shift, 32-bit wrapping sums, no saturation.
Kep32s dot3(Kep32s c0, Kep32s a, Kep32s c1, Kep32s b, Kep32s c2, Kep32s c) {
    return ownAdd32(ownAdd32(ownAdd32(ownMul32(c0, a), ownMul32(c1, b)), ownMul32(c2, c)), kHalf) >> 14;
}
void ictFwd32s(Kep32s r, Kep32s g, Kep32s b, Kep32s& y, Kep32s& cb, Kep32s& cr) {
    y = dot3(4899, r, 9617, g, 1868, b);
    cb = dot3(-2765, r, -5427, g, 8192, b);
    cr = dot3(8192, r, -6860, g, -1332, b);
}
void ictInv32s(Kep32s y, Kep32s cb, Kep32s cr, Kep32s& r, Kep32s& g, Kep32s& b) {
    r = ownAdd32(y, ownAdd32(ownMul32(22970, cr), kHalf) >> 14);
    g = ownAdd32(y, dot3(-5638, cb, -11700, cr, 0, 0));
    b = ownAdd32(y, ownAdd32(ownMul32(29032, cb), kHalf) >> 14);
}

// 16s: luminance first, then the colour differences scaled from B - Y and R - Y (the factors
// 9246 = 0.5 / (1 - 0.114) and 11686 = 0.5 / (1 - 0.299) in 14 bits). No sum here leaves 32
// bits for 16-bit inputs.
void ictFwd16s(Kep16s r, Kep16s g, Kep16s b, Kep16s& y, Kep16s& cb, Kep16s& cr) {
    const Kep32s s = 4899 * r + 9617 * g + 1868 * b;
    const Kep16s db = static_cast<Kep16s>((b * 16384 - s + kHalf) >> 14);
    const Kep16s dr = static_cast<Kep16s>((r * 16384 - s + kHalf) >> 14);
    y = ownSat16s((s + kHalf) >> 14);
    cb = ownSat16s((db * 9246 + kHalf) >> 14);
    cr = ownSat16s((dr * 11686 + kHalf) >> 14);
}
void ictInv16s(Kep16s y, Kep16s cb, Kep16s cr, Kep16s& r, Kep16s& g, Kep16s& b) {
    const Kep32s yv = y;
    r = ownSat16s(yv + ((22970 * cr + kHalf) >> 14));
    g = ownSat16s(yv - ((5638 * cb + 11700 * cr + kHalf) >> 14));
    b = ownSat16s(yv + ((29032 * cb + kHalf) >> 14));
}

}  // namespace

KepResult own_kepiICTFwd_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep16s>(pSrcDst, srcDstStep, roiSize, ictFwd16s);
}
KepResult own_kepiICTFwd_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep32s>(pSrcDst, srcDstStep, roiSize, ictFwd32s);
}
KepResult own_kepiICTFwd_JPEG2K_32f_C3P3R(const Kep32f* pSrc, int srcStep, Kep32f* pDst[3], int dstStep, KepiSize roiSize) {
    return ownCTToPlanes<Kep32f>(pSrc, srcStep, pDst, dstStep, roiSize, ownIctFwd32f);
}
KepResult own_kepiICTFwd_JPEG2K_32f_P3IR(Kep32f* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlaceRows<Kep32f>(pSrcDst, srcDstStep, roiSize, ownIctFwdRow32f_ssse3);
}
KepResult own_kepiICTInv_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep16s>(pSrcDst, srcDstStep, roiSize, ictInv16s);
}
KepResult own_kepiICTInv_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep32s>(pSrcDst, srcDstStep, roiSize, ictInv32s);
}
KepResult own_kepiICTInv_JPEG2K_32f_P3C3R(const Kep32f* pSrc[3], int srcStep, Kep32f* pDst, int dstStep, KepiSize roiSize) {
    return ownCTToPixels<Kep32f>(pSrc, srcStep, pDst, dstStep, roiSize, ownIctInv32f);
}
KepResult own_kepiICTInv_JPEG2K_32f_P3IR(Kep32f* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlaceRows<Kep32f>(pSrcDst, srcDstStep, roiSize, ownIctInvRow32f_ssse3);
}
