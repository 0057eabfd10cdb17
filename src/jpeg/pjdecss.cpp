// Chroma up-sampling by two with the triangle filter: whole planes (every sample interior, the
// caller provides a one-sample border) and single rows (edges replicated).

#include "pjdispatch.h"
#include "resample.h"

KepResult own_kepiSampleUpH2V1_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst,
                                           int dstStep, KepiSize dstRoiSize) {
    return ownResamplePlane(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, [&](int y) {
        ownCcKernels_ssse3.upPlane21(ownRow(pSrc, srcStep, y), ownRow(pDst, dstStep, y), dstRoiSize.width);
    });
}

KepResult own_kepiSampleUpH2V2_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst,
                                           int dstStep, KepiSize dstRoiSize) {
    return ownResamplePlane(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, [&](int y) {
        // Nearer source row y / 2; the farther one below it for odd rows, above it for even rows
        // (row -1 for y = 0: the caller's border).
        const int nearRow = y >> 1, farRow = (y & 1) ? nearRow + 1 : nearRow - 1;
        ownCcKernels_ssse3.upPlane22(ownRow(pSrc, srcStep, nearRow), ownRow(pSrc, srcStep, farRow),
                                     ownRow(pDst, dstStep, y), dstRoiSize.width);
    });
}

KepResult own_kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Kep8u* pSrc, int srcWidth, Kep8u* pDst) {
    if (!pSrc || !pDst) return kepErrNullPtr;
    if (srcWidth < 1) return kepErrSize;
    ownCcKernels_ssse3.upRow21(pSrc, srcWidth, 0, 2 * srcWidth, pDst);
    return kepOk;
}

KepResult own_kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(const Kep8u* pSrc1, const Kep8u* pSrc2, int srcWidth,
                                                      Kep8u* pDst) {
    if (!pSrc1 || !pSrc2 || !pDst) return kepErrNullPtr;
    if (srcWidth < 1) return kepErrSize;
    ownCcKernels_ssse3.upRow22(pSrc1, pSrc2, srcWidth, 0, 2 * srcWidth, pDst);
    return kepOk;
}
