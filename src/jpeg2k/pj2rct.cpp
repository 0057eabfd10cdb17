// Reversible component transform (ITU-T T.800 G.2): integer, exactly invertible.

#include "pj2ct.h"
#include "pjdispatch.h"


KepResult own_kepiRCTFwd_JPEG2K_16s_C3P3R(const Kep16s* pSrc, int srcStep, Kep16s* pDst[3], int dstStep, KepiSize roiSize) {
    return ownCTToPlanes<Kep16s>(pSrc, srcStep, pDst, dstStep, roiSize, ownRctFwd<Kep16s>);
}
KepResult own_kepiRCTFwd_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlaceRows<Kep16s>(pSrcDst, srcDstStep, roiSize, ownRctFwdRow_ssse3<Kep16s>);
}
KepResult own_kepiRCTFwd_JPEG2K_32s_C3P3R(const Kep32s* pSrc, int srcStep, Kep32s* pDst[3], int dstStep, KepiSize roiSize) {
    return ownCTToPlanes<Kep32s>(pSrc, srcStep, pDst, dstStep, roiSize, ownRctFwd<Kep32s>);
}
KepResult own_kepiRCTFwd_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlaceRows<Kep32s>(pSrcDst, srcDstStep, roiSize, ownRctFwdRow_ssse3<Kep32s>);
}
KepResult own_kepiRCTInv_JPEG2K_16s_P3C3R(const Kep16s* pSrc[3], int srcStep, Kep16s* pDst, int dstStep, KepiSize roiSize) {
    return ownCTToPixels<Kep16s>(pSrc, srcStep, pDst, dstStep, roiSize, ownRctInv<Kep16s>);
}
KepResult own_kepiRCTInv_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlaceRows<Kep16s>(pSrcDst, srcDstStep, roiSize, ownRctInvRow_ssse3<Kep16s>);
}
KepResult own_kepiRCTInv_JPEG2K_32s_P3C3R(const Kep32s* pSrc[3], int srcStep, Kep32s* pDst, int dstStep, KepiSize roiSize) {
    return ownCTToPixels<Kep32s>(pSrc, srcStep, pDst, dstStep, roiSize, ownRctInv<Kep32s>);
}
KepResult own_kepiRCTInv_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize) {
    return ownCTInPlaceRows<Kep32s>(pSrcDst, srcDstStep, roiSize, ownRctInvRow_ssse3<Kep32s>);
}
