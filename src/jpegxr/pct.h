// Photo core transform kernels. Each exists as a plain C reference (pct_c.cpp), one block at a
// time in strip order, and an SSSE3 kernel (pct_ssse3.cpp) that transforms four blocks at once,
// one block per 32-bit lane; both run the steps of pctsteps.h and agree bit for bit. A kernel
// transforms blocksX x blocksY blocks of 4x4 starting at p, rows `step` bytes apart (any byte
// address and any step; the caller has checked that rows do not overlap).
#ifndef KEP_PCT_H
#define KEP_PCT_H

#include "owndefs.h"

#define KEP_PCT_KERNEL(name, T) KEP_HIDDEN void name(T* p, Kep32u step, int blocksX, int blocksY);
#define KEP_PCT_KERNELS(dir)                                    \
    KEP_PCT_KERNEL(ownPCT##dir##_16s_c, Kep16s)                 \
    KEP_PCT_KERNEL(ownPCT##dir##_32s_c, Kep32s)                 \
    KEP_PCT_KERNEL(ownPCT##dir##_32f_c, Kep32f)                 \
    KEP_PCT_KERNEL(ownPCT##dir##_16s_ssse3, Kep16s)             \
    KEP_PCT_KERNEL(ownPCT##dir##_32s_ssse3, Kep32s)             \
    KEP_PCT_KERNEL(ownPCT##dir##_32f_ssse3, Kep32f)
KEP_PCT_KERNELS(Fwd)
KEP_PCT_KERNELS(Inv)
#undef KEP_PCT_KERNELS
#undef KEP_PCT_KERNEL

// Defines the six kernel entry points of a kernel file from its region<T, Forward> template.
#define KEP_PCT_DEFINE_KERNEL(dir, forward, t, T, suffix) \
    void ownPCT##dir##_##t##_##suffix(T* p, Kep32u step, int bx, int by) { region<T, forward>(p, step, bx, by); }
#define KEP_PCT_DEFINE_KERNELS(suffix)                         \
    KEP_PCT_DEFINE_KERNEL(Fwd, true, 16s, Kep16s, suffix)      \
    KEP_PCT_DEFINE_KERNEL(Fwd, true, 32s, Kep32s, suffix)      \
    KEP_PCT_DEFINE_KERNEL(Fwd, true, 32f, Kep32f, suffix)      \
    KEP_PCT_DEFINE_KERNEL(Inv, false, 16s, Kep16s, suffix)     \
    KEP_PCT_DEFINE_KERNEL(Inv, false, 32s, Kep32s, suffix)     \
    KEP_PCT_DEFINE_KERNEL(Inv, false, 32f, Kep32f, suffix)

// Argument checks of the ROI forms, in their order: pointer, size, step against the row
// length, then the multiple-of-4 rule.
template <typename T>
inline KepResult ownPCTCheckRoi(const T* p, Kep32u step, KepiSize roi) {
    if (!p) return kepErrNullPtr;
    if (roi.width < 1 || roi.height < 1) return kepErrSize;
    if (step < static_cast<Kep64u>(roi.width) * sizeof(T)) return kepErrStep;
    if ((roi.width & 3) != 0 || (roi.height & 3) != 0) return kepErrSize;
    return kepOk;
}

// Argument checks of the macroblock forms: pointer, then the step against the region's width.
template <typename T>
inline KepResult ownPCTCheckMB(const T* p, Kep32u step, int width) {
    if (!p) return kepErrNullPtr;
    if (step < static_cast<Kep32u>(width) * sizeof(T)) return kepErrStep;
    return kepOk;
}

// The eighteen exports of one direction: three ROI forms and the macroblock forms, all running
// the SSSE3 kernels once the checks pass.
#define KEP_PCT_ROI_EXPORT(dir, t, T)                                                                  \
    KepResult own_kepiPCT##dir##_JPEGXR_##t##_C1IR(T* pSrcDst, Kep32u srcDstStep, KepiSize roiSize) { \
        const KepResult r = ownPCTCheckRoi(pSrcDst, srcDstStep, roiSize);                            \
        if (r == kepOk) ownPCT##dir##_##t##_ssse3(pSrcDst, srcDstStep, roiSize.width / 4, roiSize.height / 4); \
        return r;                                                                                    \
    }
#define KEP_PCT_MB_EXPORT(dir, w, h, t, T)                                                        \
    KepResult own_kepiPCT##dir##w##x##h##_JPEGXR_##t##_C1IR(T* pSrcDst, Kep32u srcDstStep) {      \
        const KepResult r = ownPCTCheckMB(pSrcDst, srcDstStep, w);                               \
        if (r == kepOk) ownPCT##dir##_##t##_ssse3(pSrcDst, srcDstStep, w / 4, h / 4);            \
        return r;                                                                                \
    }
#define KEP_PCT_EXPORTS_OF_TYPE(dir, t, T) \
    KEP_PCT_ROI_EXPORT(dir, t, T)          \
    KEP_PCT_MB_EXPORT(dir, 8, 8, t, T)     \
    KEP_PCT_MB_EXPORT(dir, 8, 16, t, T)    \
    KEP_PCT_MB_EXPORT(dir, 16, 16, t, T)
#define KEP_PCT_EXPORTS(dir)                   \
    KEP_PCT_EXPORTS_OF_TYPE(dir, 16s, Kep16s)  \
    KEP_PCT_EXPORTS_OF_TYPE(dir, 32s, Kep32s)  \
    KEP_PCT_EXPORTS_OF_TYPE(dir, 32f, Kep32f)

#endif  // KEP_PCT_H
