// Irreversible 9/7 wavelet exports: argument checks, then the row kernels of wt97.h, one row at
// a time.

#include "pjdispatch.h"
#include "wt97.h"
#include "wtframe.h"

namespace {

template <typename T, typename Kernel>
KepResult fwdRows(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase, Kernel k) {
    const KepResult r = ownWtLineCheck(src, lo, hi, srcStep, loStep, hiStep, size);
    if (r != kepOk) return r;
    for (int y = 0; y < size.height; ++y) {
        auto row = [y](auto* p, int step) { return reinterpret_cast<decltype(p)>(reinterpret_cast<uintptr_t>(p) + static_cast<ptrdiff_t>(y) * step); };
        k(row(src, srcStep), row(lo, loStep), row(hi, hiStep), size.width, phase != 0);
    }
    return kepOk;
}

}  // namespace

KepResult own_kepiWTFwdRow_D97_JPEG2K_32f_C1R(const Kep32f* pSrc, int srcStep, Kep32f* pDstLow, int dstLowStep, Kep32f* pDstHigh,
                                              int dstHighStep, KepiSize dstRoiSize, int phase) {
    return fwdRows(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase, ownWt97FwdRow_32f_ssse3);
}
KepResult own_kepiWTFwdRow_D97_JPEG2K_16s_C1R(const Kep16s* pSrc, int srcStep, Kep16s* pDstLow, int dstLowStep, Kep16s* pDstHigh,
                                              int dstHighStep, KepiSize dstRoiSize, int phase) {
    return fwdRows(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase, ownWt97FwdRow_16s_c);
}
KepResult own_kepiWTFwdRow_D97_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, Kep32s* pDstLow, int dstLowStep, Kep32s* pDstHigh,
                                              int dstHighStep, KepiSize dstRoiSize, int phase) {
    return fwdRows(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase, ownWt97FwdRow_32s_c);
}

namespace {

template <typename T, typename Kernel>
KepResult invRows(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase, Kernel k) {
    const KepResult r = ownWtLineCheck(lo, hi, dst, loStep, hiStep, dstStep, size);
    if (r != kepOk) return r;
    auto row = [](auto* p, int step, int y) { return reinterpret_cast<decltype(p)>(reinterpret_cast<uintptr_t>(p) + static_cast<ptrdiff_t>(y) * step); };
    for (int y = 0; y < size.height; ++y) k(row(lo, loStep, y), row(hi, hiStep, y), row(dst, dstStep, y), size.width, phase != 0);
    return kepOk;
}

// In-place scratch of the 9/7 whole-tile forms: two extended lines' worth.
template <typename T>
Kep64s inPlaceBytes97(Kep64s w, Kep64s h) {
    if (w < 1 || h < 1) return 0;
    return static_cast<Kep64s>(sizeof(T)) * (2 * (w > h ? w : h) + 24);
}

}  // namespace

KepResult own_kepiWTInvRow_D97_JPEG2K_32f_C1R(const Kep32f* pSrcLow, int srcLowStep, const Kep32f* pSrcHigh, int srcHighStep, KepiSize srcRoiSize,
                                              Kep32f* pDst, int dstStep, int phase) {
    return invRows(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase, ownWt97InvRow_32f_c);
}
KepResult own_kepiWTInvRow_D97_JPEG2K_16s_C1R(const Kep16s* pSrcLow, int srcLowStep, const Kep16s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize,
                                              Kep16s* pDst, int dstStep, int phase) {
    return invRows(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase, ownWt97InvRow_16s_c);
}
KepResult own_kepiWTInvRow_D97_JPEG2K_32s_C1R(const Kep32s* pSrcLow, int srcLowStep, const Kep32s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize,
                                              Kep32s* pDst, int dstStep, int phase) {
    return invRows(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase, ownWt97InvRow_32s_c);
}

KepResult own_kepiWTFwdCol_D97_JPEG2K_32f_C1R(const Kep32f* pSrc, int srcStep, Kep32f* pDstLow, int dstLowStep, Kep32f* pDstHigh,
                                              int dstHighStep, KepiSize dstRoiSize, int phase) {
    const KepResult r = ownWtLineCheck(pSrc, pDstLow, pDstHigh, srcStep, dstLowStep, dstHighStep, dstRoiSize);
    if (r != kepOk) return r;
    ownWt97FwdCols_32f_ssse3(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
    return kepOk;
}
KepResult own_kepiWTInvCol_D97_JPEG2K_32f_C1R(const Kep32f* pSrcLow, int srcLowStep, const Kep32f* pSrcHigh, int srcHighStep, KepiSize srcRoiSize,
                                              Kep32f* pDst, int dstStep, int phase) {
    const KepResult r = ownWtLineCheck(pSrcLow, pSrcHigh, pDst, srcLowStep, srcHighStep, dstStep, srcRoiSize);
    if (r != kepOk) return r;
    ownWt97InvCols_32f_ssse3(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
    return kepOk;
}

#define KEP_WT97_TILE_EXPORTS(T, t)                                                                                              \
    KepResult own_kepiWTFwd_D97_JPEG2K_##t##_C1R(const T* pSrc, int srcStep, const KepiRect* pTileRect, T* pDst[4],             \
                                                  int dstStep[4], Kep8u* pBuffer) {                                              \
        return ownWtFwdCopy(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer, ownWt97FwdTile<T>);                               \
    }                                                                                                                            \
    KepResult own_kepiWTFwd_D97_JPEG2K_##t##_C1IR(T* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer) {      \
        return ownWtInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer, ownWt97FwdTile<T>);                                        \
    }                                                                                                                            \
    KepResult own_kepiWTInv_D97_JPEG2K_##t##_C1R(const T* pSrc[4], int srcStep[4], T* pDst, int dstStep,                        \
                                                  const KepiRect* pTileRect, Kep8u* pBuffer) {                                   \
        return ownWtInvCopy(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer, ownWt97InvTile<T>);                               \
    }                                                                                                                            \
    KepResult own_kepiWTInv_D97_JPEG2K_##t##_C1IR(T* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer) {      \
        return ownWtInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer, ownWt97InvTile<T>);                                        \
    }                                                                                                                            \
    KepResult own_kepiWTGetBufSize_D97_JPEG2K_##t##_C1R(const KepiRect* pTileRect, int* pSize) {                                \
        return ownWtBufSize<T>(pTileRect, pSize, false, inPlaceBytes97<T>);                                                     \
    }                                                                                                                            \
    KepResult own_kepiWTGetBufSize_D97_JPEG2K_##t##_C1IR(const KepiRect* pTileRect, int* pSize) {                               \
        return ownWtBufSize<T>(pTileRect, pSize, true, inPlaceBytes97<T>);                                                      \
    }
KEP_WT97_TILE_EXPORTS(Kep16s, 16s)
KEP_WT97_TILE_EXPORTS(Kep32s, 32s)

// Vertical lifting stages: six rows, a width and the stage (0: alpha/beta, 1: gamma/delta,
// 2: gains).
#define KEP_WT97_LIFT_EXPORTS(T, t)                                                                                              \
    KepResult own_kepiWTFwdColLift_D97_JPEG2K_##t##_C1(const T* pSrc0, const T* pSrc1, const T* pSrc2, T* pDstLow0,             \
                                                        const T* pSrcHighPrev, T* pDstHigh0, int width, int stage) {             \
        if (!pSrc0 || !pSrc1 || !pSrc2 || !pDstLow0 || !pSrcHighPrev || !pDstHigh0) return kepErrNullPtr;                       \
        if (width < 1) return kepErrSize;                                                                                        \
        if (stage < 0 || stage > 2) return kepErrArgRange;                                                                       \
        ownWt97FwdLift_##t##_c(pSrc0, pSrc1, pSrc2, pDstLow0, pSrcHighPrev, pDstHigh0, width, stage);                           \
        return kepOk;                                                                                                            \
    }                                                                                                                            \
    KepResult own_kepiWTInvColLift_D97_JPEG2K_##t##_C1(const T* pSrcLow1, const T* pSrcHigh0, const T* pSrcHigh1,               \
                                                        const T* pSrc0, T* pDst1, T* pDst2, int width, int stage) {              \
        if (!pSrcLow1 || !pSrcHigh0 || !pSrcHigh1 || !pSrc0 || !pDst1 || !pDst2) return kepErrNullPtr;                          \
        if (width < 1) return kepErrSize;                                                                                        \
        if (stage < 0 || stage > 2) return kepErrArgRange;                                                                       \
        ownWt97InvLift_##t##_c(pSrcLow1, pSrcHigh0, pSrcHigh1, pSrc0, pDst1, pDst2, width, stage);                              \
        return kepOk;                                                                                                            \
    }
KEP_WT97_LIFT_EXPORTS(Kep32f, 32f)
KEP_WT97_LIFT_EXPORTS(Kep16s, 16s)
KEP_WT97_LIFT_EXPORTS(Kep32s, 32s)
