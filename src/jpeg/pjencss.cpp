// Chroma down-sampling by two: whole planes with constant biases, single rows with alternating
// biases.

#include "pjdispatch.h"
#include "resample.h"

KepResult own_kepiSampleDownH2V1_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst,
                                             int dstStep, KepiSize dstRoiSize) {
    return ownResamplePlane(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, [&](int y) {
        ownCcKernels_ssse3.downPlane21(ownRow(pSrc, srcStep, y), ownRow(pDst, dstStep, y), dstRoiSize.width);
    });
}

KepResult own_kepiSampleDownH2V2_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst,
                                             int dstStep, KepiSize dstRoiSize) {
    return ownResamplePlane(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, [&](int y) {
        ownCcKernels_ssse3.downPlane22(ownRow(pSrc, srcStep, 2 * y), ownRow(pSrc, srcStep, 2 * y + 1),
                                       ownRow(pDst, dstStep, y), dstRoiSize.width);
    });
}

KepResult own_kepiSampleDownRowH2V1_Box_JPEG_8u_C1(const Kep8u* pSrc, int srcWidth, Kep8u* pDst) {
    if (!pSrc || !pDst) return kepErrNullPtr;
    if (srcWidth / 2 < 1) return kepErrSize;
    ownCcKernels_ssse3.downRow21(pSrc, srcWidth, pDst);
    return (srcWidth & 1) ? kepWarnOddWidth : kepOk;
}

KepResult own_kepiSampleDownRowH2V2_Box_JPEG_8u_C1(const Kep8u* pSrc1, const Kep8u* pSrc2, int srcWidth, Kep8u* pDst) {
    if (!pSrc1 || !pSrc2 || !pDst) return kepErrNullPtr;
    if (srcWidth < 1) return kepErrSize;
    ownCcKernels_ssse3.downRow22(pSrc1, pSrc2, srcWidth, pDst);
    return kepOk;
}
