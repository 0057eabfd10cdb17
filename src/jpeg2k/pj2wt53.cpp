// Reversible 5/3 wavelet exports: argument checks, then the kernels of wt53.h.

#include <limits.h>

#include "pjdispatch.h"
#include "wt53.h"

namespace {

template <typename T>
KepResult fwdRows(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase, bool cols) {
    if (!src || !lo || !hi) return kepErrNullPtr;
    if (srcStep < 1 || loStep < 1 || hiStep < 1) return kepErrStep;
    if (size.width < 1 || size.height < 1) return kepErrSize;
    if (cols) ownWt53FwdCols_ssse3(src, srcStep, lo, loStep, hi, hiStep, size, phase);
    else ownWt53FwdRows_c(src, srcStep, lo, loStep, hi, hiStep, size, phase);
    return kepOk;
}

template <typename T>
KepResult invRows(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase, bool cols) {
    if (!lo || !hi || !dst) return kepErrNullPtr;
    if (loStep < 1 || hiStep < 1 || dstStep < 1) return kepErrStep;
    if (size.width < 1 || size.height < 1) return kepErrSize;
    if (cols) ownWt53InvCols_ssse3(lo, loStep, hi, hiStep, size, dst, dstStep, phase);
    else ownWt53InvRows_c(lo, loStep, hi, hiStep, size, dst, dstStep, phase);
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

// Scratch sizes (E = sizeof(T)); sizes beyond INT_MAX are reported as INT_MAX.
template <typename T>
Kep64s inPlaceBytes(Kep64s w, Kep64s h) {
    constexpr Kep64s e = sizeof(T);
    if (w < 3 && h < 3) return 0;
    return (w > h ? w : h) * e + 4 * e;
}
template <typename T>
Kep64s copyRowBytes(Kep64s w) { return (static_cast<Kep64s>(sizeof(T)) * w + 31) & ~static_cast<Kep64s>(31); }

template <typename T>
KepResult bufSize(const KepiRect* r, int* size, bool inPlace) {
    if (!r || !size) return kepErrNullPtr;
    const Kep64s w = r->width > 0 ? r->width : 0, h = r->height > 0 ? r->height : 0;
    Kep64s bytes = inPlaceBytes<T>(w, h);
    if (!inPlace) bytes += copyRowBytes<T>(w) * h;
    *size = bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes);
    return kepOk;
}

template <typename T>
KepResult fwdInPlace(T* p, int step, const KepiRect* r, Kep8u* buf) {
    if (!p) return kepErrNullPtr;
    if (step < 1) return kepErrStep;
    if (!r || !buf) return kepErrNullPtr;
    if (r->width > 0 && r->height > 0) ownWt53FwdTile_ssse3(p, step, r->width, r->height, r->x & 1, r->y & 1, buf);
    return kepOk;
}

template <typename T>
KepResult invInPlace(T* p, int step, const KepiRect* r, Kep8u* buf) {
    if (!p) return kepErrNullPtr;
    if (step < 1) return kepErrStep;
    if (!r || !buf) return kepErrNullPtr;
    if (r->width > 0 && r->height > 0) ownWt53InvTile_ssse3(p, step, r->width, r->height, r->x & 1, r->y & 1, buf);
    return kepOk;
}

// Copies a w x h block of elements between two planes.
template <typename T>
void copyBlock(const T* s, ptrdiff_t sStep, T* d, ptrdiff_t dStep, int w, int h) {
    for (int y = 0; y < h; ++y)
        memcpy(ownAt(d, dStep, y), ownAt(s, sStep, y), static_cast<size_t>(w) * sizeof(T));
}

// The fixed band split of the not-in-place forms: band b (LL, LH, HL, HH) starts at column
// (b & 2 ? ceil(w/2) : 0) and row (b & 1 ? ceil(h/2) : 0) of the tile copy.
struct Band {
    int x, y, w, h;
};
Band band(int b, int w, int h) {
    const int cw = (w + 1) / 2, ch = (h + 1) / 2;
    return {b & 2 ? cw : 0, b & 1 ? ch : 0, b & 2 ? w / 2 : cw, b & 1 ? h / 2 : ch};
}

template <typename T>
KepResult fwdCopy(const T* src, int srcStep, const KepiRect* r, T* dst[4], int dstStep[4], Kep8u* buf) {
    if (!src || !dst || !dstStep || !r || !buf) return kepErrNullPtr;
    if (srcStep < 1) return kepErrStep;
    for (int b = 0; b < 4; ++b)
        if (!dst[b]) return kepErrNullPtr;
    for (int b = 0; b < 4; ++b)
        if (dstStep[b] < 1) return kepErrStep;
    const int w = r->width, h = r->height;
    if (w < 1 || h < 1) return kepErrSize;
    const ptrdiff_t copyStep = static_cast<ptrdiff_t>(copyRowBytes<T>(w));
    T* tile = reinterpret_cast<T*>(buf);
    copyBlock(src, srcStep, tile, copyStep, w, h);
    ownWt53FwdTile_ssse3(tile, static_cast<int>(copyStep), w, h, r->x & 1, r->y & 1, buf + copyStep * h);
    for (int b = 0; b < 4; ++b) {
        const Band k = band(b, w, h);
        copyBlock(reinterpret_cast<const T*>(ownAt(tile, copyStep, k.y)) + k.x, copyStep, dst[b], dstStep[b], k.w, k.h);
    }
    return kepOk;
}

template <typename T>
KepResult invCopy(const T* src[4], int srcStep[4], T* dst, int dstStep, const KepiRect* r, Kep8u* buf) {
    if (!src || !srcStep || !dst || !r || !buf) return kepErrNullPtr;
    if (dstStep < 1) return kepErrStep;
    for (int b = 0; b < 4; ++b)
        if (!src[b]) return kepErrNullPtr;
    for (int b = 0; b < 4; ++b)
        if (srcStep[b] < 1) return kepErrStep;
    const int w = r->width, h = r->height;
    if (w < 1 || h < 1) return kepErrSize;
    const ptrdiff_t copyStep = static_cast<ptrdiff_t>(copyRowBytes<T>(w));
    T* tile = reinterpret_cast<T*>(buf);
    for (int b = 0; b < 4; ++b) {
        const Band k = band(b, w, h);
        copyBlock(src[b], srcStep[b], reinterpret_cast<T*>(ownAt(tile, copyStep, k.y)) + k.x, copyStep, k.w, k.h);
    }
    ownWt53InvTile_ssse3(tile, static_cast<int>(copyStep), w, h, r->x & 1, r->y & 1, buf + copyStep * h);
    copyBlock(tile, copyStep, dst, dstStep, w, h);
    return kepOk;
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
        return fwdCopy(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);                                                       \
    }                                                                                                                            \
    KepResult own_kepiWTFwd_B53_JPEG2K_##t##_C1IR(T* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer) {      \
        return fwdInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer);                                                             \
    }                                                                                                                            \
    KepResult own_kepiWTInv_B53_JPEG2K_##t##_C1R(const T* pSrc[4], int srcStep[4], T* pDst, int dstStep,                        \
                                                  const KepiRect* pTileRect, Kep8u* pBuffer) {                                   \
        return invCopy(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);                                                       \
    }                                                                                                                            \
    KepResult own_kepiWTInv_B53_JPEG2K_##t##_C1IR(T* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer) {      \
        return invInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer);                                                             \
    }                                                                                                                            \
    KepResult own_kepiWTGetBufSize_B53_JPEG2K_##t##_C1R(const KepiRect* pTileRect, int* pSize) {                                \
        return bufSize<T>(pTileRect, pSize, false);                                                                             \
    }                                                                                                                            \
    KepResult own_kepiWTGetBufSize_B53_JPEG2K_##t##_C1IR(const KepiRect* pTileRect, int* pSize) {                               \
        return bufSize<T>(pTileRect, pSize, true);                                                                              \
    }
KEP_WT53_EXPORTS(Kep16s, 16s)
KEP_WT53_EXPORTS(Kep32s, 32s)
