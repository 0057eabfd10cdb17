// Shared frame of the JPEG 2000 component transforms (ITU-T T.800 Annex G): the argument checks
// and a per-pixel driver over the three layouts (three planes in place, interleaved to planes,
// planes to interleaved). Each pixel's three inputs are read before its outputs are written, so
// the in-place layout needs no scratch.
#ifndef KEP_PJ2CT_H
#define KEP_PJ2CT_H

#include <stddef.h>

#include "owndefs.h"

// Wrapping 32-bit arithmetic: the integer transforms form their sums at 32 bits.
static inline Kep32s ownAdd32(Kep32s a, Kep32s b) { return static_cast<Kep32s>(static_cast<Kep32u>(a) + static_cast<Kep32u>(b)); }
static inline Kep32s ownSub32(Kep32s a, Kep32s b) { return static_cast<Kep32s>(static_cast<Kep32u>(a) - static_cast<Kep32u>(b)); }
static inline Kep32s ownMul32(Kep32s a, Kep32s b) { return static_cast<Kep32s>(static_cast<Kep32u>(a) * static_cast<Kep32u>(b)); }

// The per-pixel transforms (the plain C reference of every layout).
// RCT (G.2): Y = (R + 2G + B) >> 2, Cb = B - G, Cr = R - G; sums at 32 bits, stored as the low
// bits of T. Inverse: G = Y - ((Cb + Cr) >> 2), R = Cr + G, B = Cb + G.
template <typename T>
static inline void ownRctFwd(T r, T g, T b, T& y, T& cb, T& cr) {
    y = static_cast<T>(ownAdd32(ownAdd32(r, ownAdd32(g, g)), b) >> 2);
    cb = static_cast<T>(ownSub32(b, g));
    cr = static_cast<T>(ownSub32(r, g));
}
template <typename T>
static inline void ownRctInv(T y, T cb, T cr, T& r, T& g, T& b) {
    const Kep32s gv = ownSub32(y, ownAdd32(cb, cr) >> 2);
    g = static_cast<T>(gv);
    r = static_cast<T>(ownAdd32(cr, gv));
    b = static_cast<T>(ownAdd32(cb, gv));
}
// ICT (G.3), single precision; each sum is formed left to right, ((p1 + p2) + p3).
static inline void ownIctFwd32f(Kep32f r, Kep32f g, Kep32f b, Kep32f& y, Kep32f& cb, Kep32f& cr) {
    y = (0.299f * r + 0.587f * g) + 0.114f * b;
    cb = (-0.16875f * r - 0.33126f * g) + 0.5f * b;
    cr = (0.5f * r - 0.41869f * g) - 0.08131f * b;
}
static inline void ownIctInv32f(Kep32f y, Kep32f cb, Kep32f cr, Kep32f& r, Kep32f& g, Kep32f& b) {
    r = 1.402f * cr + y;
    g = (-0.34413f * cb + -0.71414f * cr) + y;
    b = 1.772f * cb + y;
}

// SSSE3 in-place kernels over one row of each of the three planes (ct_ssse3.cpp): four (32s,
// 32f) or eight (16s) pixels per vector step, the per-pixel functions above for the rest; the
// results equal theirs for every input.
template <typename T>
KEP_HIDDEN void ownRctFwdRow_ssse3(T* p0, T* p1, T* p2, int n);
template <typename T>
KEP_HIDDEN void ownRctInvRow_ssse3(T* p0, T* p1, T* p2, int n);
KEP_HIDDEN void ownIctFwdRow32f_ssse3(Kep32f* p0, Kep32f* p1, Kep32f* p2, int n);
KEP_HIDDEN void ownIctInvRow32f_ssse3(Kep32f* p0, Kep32f* p1, Kep32f* p2, int n);

// Checks in the documented order: every pointer (arrays first, then their planes), the steps,
// then the size.
template <typename P0, typename P1>
static inline KepResult ownCTCheck(P0 const* planes, const P1* other, bool hasOther, int step0, int step1, KepiSize roi) {
    if (!planes || !planes[0] || !planes[1] || !planes[2]) return kepErrNullPtr;
    if (hasOther && !other) return kepErrNullPtr;
    if (step0 < 1 || step1 < 1) return kepErrStep;
    if (roi.width < 1 || roi.height < 1) return kepErrSize;
    return kepOk;
}

// Runs f(c0, c1, c2, o0, o1, o2) for every pixel. Component i of a pixel x of row y is at
// s[i] + y * sStep bytes + x * sPix elements; likewise for the outputs.
template <typename T, typename F>
static inline void ownCT3(const T* const s[3], int sPix, int sStep, T* const d[3], int dPix, int dStep, KepiSize roi, F f) {
    for (int y = 0; y < roi.height; ++y) {
        const T* s0 = reinterpret_cast<const T*>(reinterpret_cast<const Kep8u*>(s[0]) + static_cast<ptrdiff_t>(y) * sStep);
        const T* s1 = reinterpret_cast<const T*>(reinterpret_cast<const Kep8u*>(s[1]) + static_cast<ptrdiff_t>(y) * sStep);
        const T* s2 = reinterpret_cast<const T*>(reinterpret_cast<const Kep8u*>(s[2]) + static_cast<ptrdiff_t>(y) * sStep);
        T* d0 = reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(d[0]) + static_cast<ptrdiff_t>(y) * dStep);
        T* d1 = reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(d[1]) + static_cast<ptrdiff_t>(y) * dStep);
        T* d2 = reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(d[2]) + static_cast<ptrdiff_t>(y) * dStep);
        for (int x = 0; x < roi.width; ++x) {
            const T a = s0[x * sPix], b = s1[x * sPix], c = s2[x * sPix];
            f(a, b, c, d0[x * dPix], d1[x * dPix], d2[x * dPix]);
        }
    }
}

// The three layouts on top of ownCT3.
template <typename T, typename F>
static inline KepResult ownCTInPlace(T* p[3], int step, KepiSize roi, F f) {
    const KepResult r = ownCTCheck<T*, T>(p, nullptr, false, step, step, roi);
    if (r != kepOk) return r;
    const T* s[3] = {p[0], p[1], p[2]};
    ownCT3<T>(s, 1, step, p, 1, step, roi, f);
    return kepOk;
}
// In place, one row kernel call per row.
template <typename T, typename Row>
static inline KepResult ownCTInPlaceRows(T* p[3], int step, KepiSize roi, Row row) {
    const KepResult r = ownCTCheck<T*, T>(p, nullptr, false, step, step, roi);
    if (r != kepOk) return r;
    for (int y = 0; y < roi.height; ++y) {
        const ptrdiff_t o = static_cast<ptrdiff_t>(y) * step;
        row(reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(p[0]) + o), reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(p[1]) + o),
            reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(p[2]) + o), roi.width);
    }
    return kepOk;
}
template <typename T, typename F>
static inline KepResult ownCTToPlanes(const T* src, int srcStep, T* dst[3], int dstStep, KepiSize roi, F f) {
    const KepResult r = ownCTCheck<T*, T>(dst, src, true, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    const T* s[3] = {src, src + 1, src + 2};
    ownCT3<T>(s, 3, srcStep, dst, 1, dstStep, roi, f);
    return kepOk;
}
template <typename T, typename F>
static inline KepResult ownCTToPixels(const T* src[3], int srcStep, T* dst, int dstStep, KepiSize roi, F f) {
    const KepResult r = ownCTCheck<const T*, T>(src, dst, true, srcStep, dstStep, roi);
    if (r != kepOk) return r;
    T* d[3] = {dst, dst + 1, dst + 2};
    ownCT3<T>(src, 1, srcStep, d, 3, dstStep, roi, f);
    return kepOk;
}

#endif  // KEP_PJ2CT_H
