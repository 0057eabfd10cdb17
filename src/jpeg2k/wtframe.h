// The frame shared by the whole-tile wavelet exports (5/3 and 9/7): argument checks, the
// scratch-size rule of the not-in-place forms, and the fixed band split they copy through.
#ifndef KEP_WTFRAME_H
#define KEP_WTFRAME_H

#include <limits.h>
#include <stddef.h>

#include "owndefs.h"

// Checks of the row and column filters: the three plane pointers, their three steps, the size.
static inline KepResult ownWtLineCheck(const void* p0, const void* p1, const void* p2, int s0, int s1, int s2, KepiSize size) {
    if (!p0 || !p1 || !p2) return kepErrNullPtr;
    if (s0 < 1 || s1 < 1 || s2 < 1) return kepErrStep;
    if (size.width < 1 || size.height < 1) return kepErrSize;
    return kepOk;
}

// Row step of the tile copy made by the not-in-place forms: E * w rounded up to 32 bytes.
template <typename T>
static inline Kep64s ownWtCopyRowBytes(Kep64s w) { return (static_cast<Kep64s>(sizeof(T)) * w + 31) & ~static_cast<Kep64s>(31); }

// ...GetBufSize: inPlace(w, h) is the in-place scratch of the family; the not-in-place forms
// add the tile copy. Non-positive extents count as 0; sizes beyond INT_MAX report INT_MAX.
template <typename T, typename InPlaceBytes>
static inline KepResult ownWtBufSize(const KepiRect* r, int* size, bool inPlace, InPlaceBytes inPlaceBytes) {
    if (!r || !size) return kepErrNullPtr;
    const Kep64s w = r->width > 0 ? r->width : 0, h = r->height > 0 ? r->height : 0;
    Kep64s bytes = inPlaceBytes(w, h);
    if (!inPlace) bytes += ownWtCopyRowBytes<T>(w) * h;
    *size = bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes);
    return kepOk;
}

// In place: plane, step, rectangle and buffer checked; an empty tile is accepted untouched.
template <typename T, typename Tile>
static inline KepResult ownWtInPlace(T* p, int step, const KepiRect* r, Kep8u* buf, Tile tile) {
    if (!p) return kepErrNullPtr;
    if (step < 1) return kepErrStep;
    if (!r || !buf) return kepErrNullPtr;
    if (r->width > 0 && r->height > 0) tile(p, step, r->width, r->height, r->x & 1, r->y & 1, buf);
    return kepOk;
}

template <typename T>
static inline void ownWtCopyBlock(const T* s, ptrdiff_t sStep, T* d, ptrdiff_t dStep, int w, int h) {
    for (int y = 0; y < h; ++y)
        memcpy(reinterpret_cast<Kep8u*>(d) + y * dStep, reinterpret_cast<const Kep8u*>(s) + y * sStep, static_cast<size_t>(w) * sizeof(T));
}

// Band b (LL, LH, HL, HH) of the fixed split: column (b & 2 ? ceil(w/2) : 0), row (b & 1 ?
// ceil(h/2) : 0), extent floor or ceil of half the tile accordingly.
template <typename T>
static inline T* ownWtBand(T* tile, ptrdiff_t step, int b, int w, int h, int* bw, int* bh) {
    const int cw = (w + 1) / 2, ch = (h + 1) / 2;
    *bw = b & 2 ? w / 2 : cw;
    *bh = b & 1 ? h / 2 : ch;
    return reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(tile) + (b & 1 ? ch : 0) * step) + (b & 2 ? cw : 0);
}

// Not in place, forward: copy the tile into the buffer, transform it there in place with the
// rest of the buffer as scratch, copy the four bands out.
template <typename T, typename Tile>
static inline KepResult ownWtFwdCopy(const T* src, int srcStep, const KepiRect* r, T* dst[4], int dstStep[4], Kep8u* buf, Tile tile) {
    if (!src || !dst || !dstStep || !r || !buf) return kepErrNullPtr;
    if (srcStep < 1) return kepErrStep;
    for (int b = 0; b < 4; ++b)
        if (!dst[b]) return kepErrNullPtr;
    for (int b = 0; b < 4; ++b)
        if (dstStep[b] < 1) return kepErrStep;
    const int w = r->width, h = r->height;
    if (w < 1 || h < 1) return kepErrSize;
    const ptrdiff_t copyStep = static_cast<ptrdiff_t>(ownWtCopyRowBytes<T>(w));
    T* t = reinterpret_cast<T*>(buf);
    ownWtCopyBlock(src, srcStep, t, copyStep, w, h);
    tile(t, static_cast<int>(copyStep), w, h, r->x & 1, r->y & 1, buf + copyStep * h);
    for (int b = 0; b < 4; ++b) {
        int bw, bh;
        const T* band = ownWtBand(t, copyStep, b, w, h, &bw, &bh);
        ownWtCopyBlock(band, copyStep, dst[b], dstStep[b], bw, bh);
    }
    return kepOk;
}

// Not in place, inverse: the mirror image.
template <typename T, typename Tile>
static inline KepResult ownWtInvCopy(const T* src[4], int srcStep[4], T* dst, int dstStep, const KepiRect* r, Kep8u* buf, Tile tile) {
    if (!src || !srcStep || !dst || !r || !buf) return kepErrNullPtr;
    if (dstStep < 1) return kepErrStep;
    for (int b = 0; b < 4; ++b)
        if (!src[b]) return kepErrNullPtr;
    for (int b = 0; b < 4; ++b)
        if (srcStep[b] < 1) return kepErrStep;
    const int w = r->width, h = r->height;
    if (w < 1 || h < 1) return kepErrSize;
    const ptrdiff_t copyStep = static_cast<ptrdiff_t>(ownWtCopyRowBytes<T>(w));
    T* t = reinterpret_cast<T*>(buf);
    for (int b = 0; b < 4; ++b) {
        int bw, bh;
        T* band = ownWtBand(t, copyStep, b, w, h, &bw, &bh);
        ownWtCopyBlock(src[b], srcStep[b], band, copyStep, bw, bh);
    }
    tile(t, static_cast<int>(copyStep), w, h, r->x & 1, r->y & 1, buf + copyStep * h);
    ownWtCopyBlock(t, copyStep, dst, dstStep, w, h);
    return kepOk;
}

#endif  // KEP_WTFRAME_H
