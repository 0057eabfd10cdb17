// Reversible 5/3 wavelet exports: argument checks, then the kernels of wt53.h.

#include "pjdispatch.h"
#include "wt53.h"
#include "wtframe.h"

namespace {

template <typename T>
KepResult fwdRows(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase, bool cols) {
    const KepResult r = ownWtLineCheck(src, lo, hi, srcStep, loStep, hiStep, size);
    if (r != kepOk) return r;
    if (cols) ownWt53FwdCols_ssse3(src, srcStep, lo, loStep, hi, hiStep, size, phase);
    else ownWt53FwdRows_ssse3(src, srcStep, lo, loStep, hi, hiStep, size, phase);
    return kepOk;
}

template <typename T>
KepResult invRows(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase, bool cols) {
    const KepResult r = ownWtLineCheck(lo, hi, dst, loStep, hiStep, dstStep, size);
    if (r != kepOk) return r;
    if (cols) ownWt53InvCols_ssse3(lo, loStep, hi, hiStep, size, dst, dstStep, phase);
    else ownWt53InvRows_ssse3(lo, loStep, hi, hiStep, size, dst, dstStep, phase);
    return kepOk;
}

template <typename T>
KepResult fwdLift(const T* x0, const T* x1, const T* x2, T* l0, const T* hPrev, T* h0, int width) {
    if (!x0 || !x1 || !x2 || !l0 || !hPrev || !h0) return kepErrNullPtr;
    if (width < 1) return kepErrSize;
    ownWt53FwdLift_ssse3(x0, x1, x2, l0, hPrev, h0, width);
    return kepOk;
}

template <typename T>
KepResult invLift(const T* l1, const T* h0, const T* h1, const T* x0, T* x1, T* x2, int width) {
    if (!l1 || !h0 || !h1 || !x0 || !x1 || !x2) return kepErrNullPtr;
    if (width < 1) return kepErrSize;
    ownWt53InvLift_ssse3(l1, h0, h1, x0, x1, x2, width);
    return kepOk;
}

// In-place scratch: one extended line, 0 when no line reaches 3 samples.
template <typename T>
Kep64s inPlaceBytes(Kep64s w, Kep64s h) {
    constexpr Kep64s e = sizeof(T);
    if (w < 3 && h < 3) return 0;
    return (w > h ? w : h) * e + 4 * e;
}

template <typename T>
KepResult bufSize(const KepiRect* r, int* size, bool inPlace) {
    return ownWtBufSize<T>(r, size, inPlace, inPlaceBytes<T>);
}

}  // namespace

#define KEP_WT53_EXPORTS(T, t)                                                                                                   \
    KepResult own_kepiWTFwdRow_B53_JPEG2K_##t##_C1R(const T* pSrc, int srcStep, T* pDstLow, int dstLowStep, T* pDstHigh,        \
                                                     int dstHighStep, KepiSize dstRoiSize, int phase) {                          \
        return fwdRows(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase, false);                    \
    }                                                                                                                            \
    KepResult own_kepiWTFwdCol_B53_JPEG2K_##t##_C1R(const T* pSrc, int srcStep, T* pDstLow, int dstLowStep, T* pDstHigh,        \
                                                     int dstHighStep, KepiSize dstRoiSize, int phase) {                          \
        return fwdRows(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase, true);                     \
    }                                                                                                                            \
    KepResult own_kepiWTInvRow_B53_JPEG2K_##t##_C1R(const T* pSrcLow, int srcLowStep, const T* pSrcHigh, int srcHighStep,       \
                                                     KepiSize srcRoiSize, T* pDst, int dstStep, int phase) {                     \
        return invRows(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase, false);                    \
    }                                                                                                                            \
    KepResult own_kepiWTInvCol_B53_JPEG2K_##t##_C1R(const T* pSrcLow, int srcLowStep, const T* pSrcHigh, int srcHighStep,       \
                                                     KepiSize srcRoiSize, T* pDst, int dstStep, int phase) {                     \
        return invRows(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase, true);                     \
    }                                                                                                                            \
    KepResult own_kepiWTFwdColLift_B53_JPEG2K_##t##_C1(const T* pSrc0, const T* pSrc1, const T* pSrc2, T* pDstLow0,             \
                                                        const T* pSrcHighPrev, T* pDstHigh0, int width) {                        \
        return fwdLift(pSrc0, pSrc1, pSrc2, pDstLow0, pSrcHighPrev, pDstHigh0, width);                                          \
    }                                                                                                                            \
    KepResult own_kepiWTInvColLift_B53_JPEG2K_##t##_C1(const T* pSrcLow1, const T* pSrcHigh0, const T* pSrcHigh1,               \
                                                        const T* pSrc0, T* pDst1, T* pDst2, int width) {                         \
        return invLift(pSrcLow1, pSrcHigh0, pSrcHigh1, pSrc0, pDst1, pDst2, width);                                             \
    }                                                                                                                            \
    KepResult own_kepiWTFwd_B53_JPEG2K_##t##_C1R(const T* pSrc, int srcStep, const KepiRect* pTileRect, T* pDst[4],             \
                                                  int dstStep[4], Kep8u* pBuffer) {                                              \
        return ownWtFwdCopy(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer, ownWt53FwdTile_ssse3<T>);                                                       \
    }                                                                                                                            \
    KepResult own_kepiWTFwd_B53_JPEG2K_##t##_C1IR(T* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer) {      \
        return ownWtInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer, ownWt53FwdTile_ssse3<T>);                                                             \
    }                                                                                                                            \
    KepResult own_kepiWTInv_B53_JPEG2K_##t##_C1R(const T* pSrc[4], int srcStep[4], T* pDst, int dstStep,                        \
                                                  const KepiRect* pTileRect, Kep8u* pBuffer) {                                   \
        return ownWtInvCopy(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer, ownWt53InvTile_ssse3<T>);                                                       \
    }                                                                                                                            \
    KepResult own_kepiWTInv_B53_JPEG2K_##t##_C1IR(T* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer) {      \
        return ownWtInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer, ownWt53InvTile_ssse3<T>);                                                             \
    }                                                                                                                            \
    KepResult own_kepiWTGetBufSize_B53_JPEG2K_##t##_C1R(const KepiRect* pTileRect, int* pSize) {                                \
        return bufSize<T>(pTileRect, pSize, false);                                                                             \
    }                                                                                                                            \
    KepResult own_kepiWTGetBufSize_B53_JPEG2K_##t##_C1IR(const KepiRect* pTileRect, int* pSize) {                               \
        return bufSize<T>(pTileRect, pSize, true);                                                                              \
    }
KEP_WT53_EXPORTS(Kep16s, 16s)
KEP_WT53_EXPORTS(Kep32s, 32s)
