// Lossless JPEG reconstruction (T.81 H.1.2.1): the exact inverse of the differences, modulo 2^16.

#include "lossless.h"
#include "pjdispatch.h"

KepResult own_kepiReconstructPredFirstRow_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, int width, int P, int Pt) {
    if (!pSrc || !pDst) return kepErrNullPtr;
    if (width < 1) return kepErrSize;
    if (ownLsBadPrecision(P, Pt)) return kepErrArgRange;
    Kep32s ra = ownLsSample(ownLsWrap(ownLsSample(pSrc[0]) + (1 << (P - Pt - 1))));
    pDst[0] = ownLsWrap(ra);
    for (int i = 1; i < width; ++i) {
        ra = ownLsSample(ownLsWrap(ownLsSample(pSrc[i]) + ra));
        pDst[i] = ownLsWrap(ra);
    }
    return kepOk;
}

KepResult own_kepiReconstructPredRow_JPEG_16s_C1(const Kep16s* pSrc, const Kep16s* pPrevRow, Kep16s* pDst, int width,
                                                 int predictor) {
    if (!pSrc || !pPrevRow || !pDst) return kepErrNullPtr;
    if (width < 1) return kepErrSize;
    if (predictor < 1 || predictor > 7) return kepErrArgRange;
    Kep32s ra = ownLsSample(ownLsWrap(ownLsSample(pSrc[0]) + ownLsSample(pPrevRow[0])));
    pDst[0] = ownLsWrap(ra);
    for (int i = 1; i < width; ++i) {
        const Kep32s px = ownLsPredict(predictor, ra, ownLsSample(pPrevRow[i]), ownLsSample(pPrevRow[i - 1]));
        ra = ownLsSample(ownLsWrap(ownLsSample(pSrc[i]) + px));
        pDst[i] = ownLsWrap(ra);
    }
    return kepOk;
}
