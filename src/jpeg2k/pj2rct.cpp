// Reversible component transform (ITU-T T.800 G.2): integer, exactly invertible.

#include "pj2ct.h"
#include "pjdispatch.h"

namespace {

// Y = (R + 2G + B) >> 2, Cb = B - G, Cr = R - G; sums at 32 bits, stored as the low bits of T.
template <typename T>
void rctFwd(T r, T g, T b, T& y, T& cb, T& cr) {
    y = static_cast<T>(ownAdd32(ownAdd32(r, ownAdd32(g, g)), b) >> 2);
    cb = static_cast<T>(ownSub32(b, g));
    cr = static_cast<T>(ownSub32(r, g));
}

// G = Y - ((Cb + Cr) >> 2), R = Cr + G, B = Cb + G.
template <typename T>
void rctInv(T y, T cb, T cr, T& r, T& g, T& b) {
    const Kep32s gv = ownSub32(y, ownAdd32(cb, cr) >> 2);
    g = static_cast<T>(gv);
    r = static_cast<T>(ownAdd32(cr, gv));
    b = static_cast<T>(ownAdd32(cb, gv));
}

}  // namespace

KepResult own_kepiRCTFwd_JPEG2K_16s_C3P3R(const Kep16s* pSrc, int srcStep, Kep16s* pDst[3], int dstStep, KepiSize roiSize) {
    return ownCTToPlanes<Kep16s>(pSrc, srcStep, pDst, dstStep, roiSize, rctFwd<Kep16s>);
}
KepResult own_kepiRCTFwd_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep16s>(pSrcDst, srcDstStep, roiSize, rctFwd<Kep16s>);
}
KepResult own_kepiRCTFwd_JPEG2K_32s_C3P3R(const Kep32s* pSrc, int srcStep, Kep32s* pDst[3], int dstStep, KepiSize roiSize) {
    return ownCTToPlanes<Kep32s>(pSrc, srcStep, pDst, dstStep, roiSize, rctFwd<Kep32s>);
}
KepResult own_kepiRCTFwd_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep32s>(pSrcDst, srcDstStep, roiSize, rctFwd<Kep32s>);
}
KepResult own_kepiRCTInv_JPEG2K_16s_P3C3R(const Kep16s* pSrc[3], int srcStep, Kep16s* pDst, int dstStep, KepiSize roiSize) {
    return ownCTToPixels<Kep16s>(pSrc, srcStep, pDst, dstStep, roiSize, rctInv<Kep16s>);
}
KepResult own_kepiRCTInv_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep16s>(pSrcDst, srcDstStep, roiSize, rctInv<Kep16s>);
}
KepResult own_kepiRCTInv_JPEG2K_32s_P3C3R(const Kep32s* pSrc[3], int srcStep, Kep32s* pDst, int dstStep, KepiSize roiSize) {
    return ownCTToPixels<Kep32s>(pSrc, srcStep, pDst, dstStep, roiSize, rctInv<Kep32s>);
}
KepResult own_kepiRCTInv_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlace<Kep32s>(pSrcDst, srcDstStep, roiSize, rctInv<Kep32s>);
}
