// Lossless JPEG differences (T.81 H.1.2.1): one row at a time, modulo 2^16.

#include "lossless.h"
#include "pjdispatch.h"

KepResult own_kepiDiffPredFirstRow_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, int width, int P, int Pt) {
    if (!pSrc || !pDst) return kepErrNullPtr;
    if (width < 1) return kepErrSize;
    if (ownLsBadPrecision(P, Pt)) return kepErrArgRange;
    // Backwards, so that pDst may be pSrc.
    for (int i = width - 1; i > 0; --i) pDst[i] = ownLsWrap(ownLsSample(pSrc[i]) - ownLsSample(pSrc[i - 1]));
    pDst[0] = ownLsWrap(ownLsSample(pSrc[0]) - (1 << (P - Pt - 1)));
    return kepOk;
}

KepResult own_kepiDiffPredRow_JPEG_16s_C1(const Kep16s* pSrc, const Kep16s* pPrevRow, Kep16s* pDst, int width,
                                          int predictor) {
    if (!pSrc || !pPrevRow || !pDst) return kepErrNullPtr;
    if (width < 1) return kepErrSize;
    if (predictor < 1 || predictor > 7) return kepErrArgRange;
    for (int i = width - 1; i > 0; --i) {
        const Kep32s px = ownLsPredict(predictor, ownLsSample(pSrc[i - 1]), ownLsSample(pPrevRow[i]),
                                       ownLsSample(pPrevRow[i - 1]));
        pDst[i] = ownLsWrap(ownLsSample(pSrc[i]) - px);
    }
    pDst[0] = ownLsWrap(ownLsSample(pSrc[0]) - ownLsSample(pPrevRow[0]));
    return kepOk;
}
