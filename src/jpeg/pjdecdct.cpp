// Decoder side of the 8x8 DCT: the integer inverse DCT fused with dequantization, its DC-only,
// 2x2 and 4x4 shortcuts, the reduced-size 2x2 and 4x4 forms, the level shift, and the
// single-precision inverse DCT to 12-bit samples. The exports check their arguments and run the
// kernels, which read and write at any address.

#include "dct.h"
#include "dct32f.h"
#include "pjdispatch.h"

namespace {

using LSKernel = void (*)(const Kep16s*, Kep8u*, int, const Kep16u*);

// The forms that write an 8-bit plane: the checks, then the kernel.
template <LSKernel K>
inline KepResult inverseLS(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    const KepResult r = ownCheckBlockPlane(pSrc, pDst, dstStep, pTable);
    if (r == kepOk) K(pSrc, pDst, dstStep, pTable);
    return r;
}

void reduced2x2(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    ownDCTQuantInv8x8ToNxNLS_c(pSrc, pDst, dstStep, pTable, 2);
}
void reduced4x4(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    ownDCTQuantInv8x8ToNxNLS_c(pSrc, pDst, dstStep, pTable, 4);
}

}  // namespace

KepResult own_kepiDCTQuantInv8x8_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pQuantInvTable) {
    if (!pSrc || !pDst || !pQuantInvTable) return kepErrNullPtr;
    // A pointer at an odd address dequantizes with saturation instead of wrapping.
    ownDCTQuantInv8x8_ssse3(pSrc, pDst, pQuantInvTable, !ownAllAligned(2, pSrc, pDst, pQuantInvTable));
    return kepOk;
}

KepResult own_kepiDCTQuantInv8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantInvTable) {
    if (!pSrcDst || !pQuantInvTable) return kepErrNullPtr;
    ownDCTQuantInv8x8_ssse3(pSrcDst, pSrcDst, pQuantInvTable, false);
    return kepOk;
}

#define KEP_INVERSE_LS(name, kernel)                                                                       \
    KepResult own_##name(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pQuantInvTable) { \
        return inverseLS<kernel>(pSrc, pDst, dstStep, pQuantInvTable);                                  \
    }
KEP_INVERSE_LS(kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R, ownDCTQuantInv8x8LS_ssse3)
KEP_INVERSE_LS(kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, ownDCTQuantInv8x8LS_1x1_ssse3)
KEP_INVERSE_LS(kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, ownDCTQuantInv8x8LS_2x2_ssse3)
KEP_INVERSE_LS(kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, ownDCTQuantInv8x8LS_4x4_ssse3)
KEP_INVERSE_LS(kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R, reduced2x2)
KEP_INVERSE_LS(kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R, reduced4x4)
#undef KEP_INVERSE_LS

KepResult own_kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(const Kep16s* pSrc, Kep16u* pDst, int dstStep,
                                                    const Kep32f* pQuantInvTable) {
    const KepResult r = ownCheckBlockPlane(pSrc, pDst, dstStep, pQuantInvTable);
    if (r == kepOk) ownDCTQuantInv8x8LS_32f_ssse3(pSrc, pDst, dstStep, pQuantInvTable);
    return r;
}

KepResult own_kepiAdd128_JPEG_16s8u_C1R(const Kep16s* pSrc, int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize) {
    const KepResult r = ownCheckRegion(pSrc, srcStep, pDst, dstStep, roiSize);
    if (r == kepOk) ownAdd128_ssse3(pSrc, srcStep, pDst, dstStep, roiSize.width, roiSize.height);
    return r;
}
