// Encoder side of the 8x8 DCT: level shift, the integer forward DCT fused with quantization, and the
// single-precision forward DCT of 12-bit samples.
// The exports check their arguments and run the SSSE3 kernels, which read and write at any address.

#include "dct.h"
#include "dct32f.h"
#include "pjdispatch.h"

KepResult own_kepiSub128_JPEG_8u16s_C1R(const Kep8u* pSrc, int srcStep, Kep16s* pDst, int dstStep, KepiSize roiSize) {
    const KepResult r = ownCheckRegion(pSrc, srcStep, pDst, dstStep, roiSize);
    if (r == kepOk) ownSub128_ssse3(pSrc, srcStep, pDst, dstStep, roiSize.width, roiSize.height);
    return r;
}

KepResult own_kepiDCTQuantFwd8x8_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pQuantFwdTable) {
    if (!pSrc || !pDst || !pQuantFwdTable) return kepErrNullPtr;
    ownDCTQuantFwd8x8_ssse3(pSrc, pDst, pQuantFwdTable);
    return kepOk;
}

KepResult own_kepiDCTQuantFwd8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantFwdTable) {
    if (!pSrcDst || !pQuantFwdTable) return kepErrNullPtr;
    ownDCTQuantFwd8x8_ssse3(pSrcDst, pSrcDst, pQuantFwdTable);
    return kepOk;
}

KepResult own_kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Kep8u* pSrc, int srcStep, Kep16s* pDst,
                                                   const Kep16u* pQuantFwdTable) {
    // The step is tested after both block pointers and before the table.
    const KepResult r = ownCheckBlockPlane(pSrc, pDst, srcStep, pQuantFwdTable);
    if (r == kepOk) ownDCTQuantFwd8x8LS_ssse3(pSrc, srcStep, pDst, pQuantFwdTable);
    return r;
}

KepResult own_kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const Kep16u* pSrc, int srcStep, Kep16s* pDst,
                                                    const Kep32f* pQuantFwdTable) {
    const KepResult r = ownCheckBlockPlane(pSrc, pDst, srcStep, pQuantFwdTable);
    if (r == kepOk) ownDCTQuantFwd8x8LS_32f_ssse3(pSrc, srcStep, pDst, pQuantFwdTable);
    return r;
}
