// Irreversible 9/7 wavelet exports: argument checks, then the row kernels of wt97.h, one row at
// a time.

#include "pjdispatch.h"
#include "wt97.h"

namespace {

template <typename T, typename Kernel>
KepResult fwdRows(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase, Kernel k) {
    if (!src || !lo || !hi) return kepErrNullPtr;
    if (srcStep < 1 || loStep < 1 || hiStep < 1) return kepErrStep;
    if (size.height < 1 || size.width < 1) return kepErrSize;
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
