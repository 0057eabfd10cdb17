// Argument checks shared by the whole-plane down- and up-samplers.
#ifndef KEP_RESAMPLE_H
#define KEP_RESAMPLE_H

#include "colour.h"

// Source pointer (-8), source step (-14), source region (-6), then the same for the destination.
static inline KepResult ownResampleCheck(const void* pSrc, int srcStep, KepiSize srcRoi, const void* pDst, int dstStep,
                                         KepiSize dstRoi) {
    if (!pSrc) return kepErrNullPtr;
    if (srcStep < 1) return kepErrStep;
    if (srcRoi.width < 1 || srcRoi.height < 1) return kepErrSize;
    if (!pDst) return kepErrNullPtr;
    if (dstStep < 1) return kepErrStep;
    if (dstRoi.width < 1 || dstRoi.height < 1) return kepErrSize;
    return kepOk;
}

// A whole-plane resampler: the checks, then row(y) for every destination row.
template <typename Row>
static inline KepResult ownResamplePlane(const void* pSrc, int srcStep, KepiSize srcRoi, const void* pDst, int dstStep,
                                         KepiSize dstRoi, Row row) {
    const KepResult r = ownResampleCheck(pSrc, srcStep, srcRoi, pDst, dstStep, dstRoi);
    if (r != kepOk) return r;
    for (int y = 0; y < dstRoi.height; ++y) row(y);
    return kepOk;
}

#endif  // KEP_RESAMPLE_H
