// Reversible 5/3 wavelet kernels (ITU-T T.800 F.3.8 / F.4.8 lifting).
//
// The arithmetic is written once, over a "lane" type that holds one coefficient (the scalar
// lanes below) or one SSSE3 vector of adjacent coefficients (wt53_ssse3.cpp). A lane type has
// load/store at a byte address and the four lifting operations:
//   pred(x, l, r)   = x - ((l + r) >> 1)        forward high-pass
//   upd(x, l, r)    = x + ((l + r + 2) >> 2)     forward low-pass
//   unupd(x, l, r)  = x - ((l + r + 2) >> 2)     inverse even sample
//   unpred(x, l, r) = x + ((l + r) >> 1)         inverse odd sample
// 32s: every sum wraps at 32 bits. 16s: the sums are exact and every result is kept as its low
// 16 bits, which the 16-bit vector lanes reproduce exactly with split shifts.
#ifndef KEP_WT53_H
#define KEP_WT53_H

#include <stddef.h>

#include "owndefs.h"

// The four lifting operations on top of a lane's add, sub, half and quarter.
template <typename B>
struct OwnWt53Lift : B {
    using V = typename B::V;
    static V pred(V x, V l, V r) { return B::sub(x, B::half(l, r)); }
    static V upd(V x, V l, V r) { return B::add(x, B::quarter(l, r)); }
    static V unupd(V x, V l, V r) { return B::sub(x, B::quarter(l, r)); }
    static V unpred(V x, V l, V r) { return B::add(x, B::half(l, r)); }
};

template <typename T> struct OwnWt53ScalarBase;

template <> struct OwnWt53ScalarBase<Kep32s> {
    using V = Kep32s;
    static V load(const void* p) { Kep32s v; memcpy(&v, p, 4); return v; }
    static void store(void* p, V v) { memcpy(p, &v, 4); }
    static V add(V a, V b) { return static_cast<V>(static_cast<Kep32u>(a) + static_cast<Kep32u>(b)); }
    static V sub(V a, V b) { return static_cast<V>(static_cast<Kep32u>(a) - static_cast<Kep32u>(b)); }
    static V half(V l, V r) { return add(l, r) >> 1; }
    static V quarter(V l, V r) { return add(add(l, r), 2) >> 2; }
    static V halfUp(V d) { return add(d, 1) >> 1; }  // (d + 1) >> 1
};

template <> struct OwnWt53ScalarBase<Kep16s> {
    using V = Kep16s;
    static V load(const void* p) { return ownLoad16s(p); }
    static void store(void* p, V v) { ownStore16s(p, v); }
    static V wrap(Kep32s v) { return static_cast<V>(static_cast<Kep16u>(v)); }
    static V add(V a, V b) { return wrap(a + b); }
    static V sub(V a, V b) { return wrap(a - b); }
    static V half(V l, V r) { return static_cast<V>((l + r) >> 1); }
    static V quarter(V l, V r) { return static_cast<V>((l + r + 2) >> 2); }
    static V halfUp(V d) { return static_cast<V>((d + 1) >> 1); }
};

template <typename T>
using OwnWt53Scalar = OwnWt53Lift<OwnWt53ScalarBase<T>>;

// Byte-addressed element n of a line that starts at p with `stride` bytes between samples.
static inline const Kep8u* ownAt(const void* p, ptrdiff_t stride, ptrdiff_t n) { return static_cast<const Kep8u*>(p) + n * stride; }
static inline Kep8u* ownAt(void* p, ptrdiff_t stride, ptrdiff_t n) { return static_cast<Kep8u*>(p) + n * stride; }

// Forward lifting of one line of 2n samples (x at stride xs) into n low-pass and n high-pass
// values, reading the caller's extension samples: phase 0 reads x[-2] .. x[2n], an odd phase
// x[-1] .. x[2n+1].
template <typename Ln>
static inline void ownWt53FwdLine(const void* x, ptrdiff_t xs, void* lo, ptrdiff_t ls, void* hi, ptrdiff_t hs, int n, bool odd) {
    using V = typename Ln::V;
    auto X = [&](ptrdiff_t i) { return Ln::load(ownAt(x, xs, i)); };
    if (!odd) {
        V hPrev = Ln::pred(X(-1), X(-2), X(0));
        for (int k = 0; k < n; ++k) {
            const V h = Ln::pred(X(2 * k + 1), X(2 * k), X(2 * k + 2));
            Ln::store(ownAt(lo, ls, k), Ln::upd(X(2 * k), hPrev, h));
            Ln::store(ownAt(hi, hs, k), h);
            hPrev = h;
        }
    } else {
        V hPrev = Ln::pred(X(0), X(-1), X(1));
        Ln::store(hi, hPrev);
        for (int k = 0; k < n; ++k) {
            const V h = Ln::pred(X(2 * k + 2), X(2 * k + 1), X(2 * k + 3));
            Ln::store(ownAt(lo, ls, k), Ln::upd(X(2 * k + 1), hPrev, h));
            if (k + 1 < n) Ln::store(ownAt(hi, hs, k + 1), h);
            hPrev = h;
        }
    }
}

// Inverse lifting of one line: n low-pass and n high-pass values into 2n samples. Phase 0 reads
// L[0..n] and H[-1..n]; an odd phase L[-1..n-1] and H[-1..n].
template <typename Ln>
static inline void ownWt53InvLine(const void* lo, ptrdiff_t ls, const void* hi, ptrdiff_t hs, void* x, ptrdiff_t xs, int n, bool odd) {
    using V = typename Ln::V;
    auto L = [&](ptrdiff_t i) { return Ln::load(ownAt(lo, ls, i)); };
    auto H = [&](ptrdiff_t i) { return Ln::load(ownAt(hi, hs, i)); };
    if (!odd) {
        V e = Ln::unupd(L(0), H(-1), H(0));
        Ln::store(x, e);
        for (int k = 0; k < n; ++k) {
            const V e2 = Ln::unupd(L(k + 1), H(k), H(k + 1));  // for k = n - 1 not stored
            Ln::store(ownAt(x, xs, 2 * k + 1), Ln::unpred(H(k), e, e2));
            if (k + 1 < n) Ln::store(ownAt(x, xs, 2 * k + 2), e2);
            e = e2;
        }
    } else {
        V e = Ln::unupd(L(-1), H(-1), H(0));  // x[-1], not stored
        for (int k = 0; k < n; ++k) {
            const V e2 = Ln::unupd(L(k), H(k), H(k + 1));
            Ln::store(ownAt(x, xs, 2 * k), Ln::unpred(H(k), e, e2));
            Ln::store(ownAt(x, xs, 2 * k + 1), e2);
            e = e2;
        }
    }
}

// The column lifting steps over `count` lanes at byte distance `adv`.
template <typename Ln>
static inline void ownWt53FwdLift(const void* x0, const void* x1, const void* x2, void* l0, const void* hPrev, void* h0, int count, ptrdiff_t adv) {
    for (int i = 0; i < count; ++i) {
        const ptrdiff_t o = i * adv;
        const typename Ln::V h = Ln::pred(Ln::load(ownAt(x1, 1, o)), Ln::load(ownAt(x0, 1, o)), Ln::load(ownAt(x2, 1, o)));
        Ln::store(ownAt(l0, 1, o), Ln::upd(Ln::load(ownAt(x0, 1, o)), Ln::load(ownAt(hPrev, 1, o)), h));
        Ln::store(ownAt(h0, 1, o), h);
    }
}
template <typename Ln>
static inline void ownWt53InvLift(const void* l1, const void* h0, const void* h1, const void* x0, void* x1, void* x2, int count, ptrdiff_t adv) {
    for (int i = 0; i < count; ++i) {
        const ptrdiff_t o = i * adv;
        const typename Ln::V hk = Ln::load(ownAt(h0, 1, o));
        const typename Ln::V e = Ln::unupd(Ln::load(ownAt(l1, 1, o)), hk, Ln::load(ownAt(h1, 1, o)));
        Ln::store(ownAt(x1, 1, o), Ln::unpred(hk, Ln::load(ownAt(x0, 1, o)), e));
        Ln::store(ownAt(x2, 1, o), e);
    }
}

// The kernels, steps in bytes, each as a plain C reference one coefficient at a time
// (suffix _c, wt53_c.cpp) and as an SSSE3 kernel with the same results for every input
// (suffix _ssse3, wt53_ssse3.cpp). The SSSE3 rows split each row into its two sample phases.
//   Tile: the whole tile in place, w, h >= 1. The C reference follows the procedure literally
//   (every line copied into the buffer with its mirror extension, lifted there, copied back
//   (de-)interleaved); the SSSE3 kernel lifts the vertical direction across whole rows,
//   reorders the rows through the buffer and lifts split rows. Buffer: h + 4 (C), w + 4
//   (SSSE3) elements.
#define KEP_WT53_KERNELS(sfx)                                                                                            \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53FwdRows_##sfx(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase); \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53InvRows_##sfx(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase); \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53FwdCols_##sfx(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase); \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53InvCols_##sfx(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase); \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53FwdLift_##sfx(const T* x0, const T* x1, const T* x2, T* l0, const T* hPrev, T* h0, int width); \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53InvLift_##sfx(const T* l1, const T* h0, const T* h1, const T* x0, T* x1, T* x2, int width);    \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53FwdTile_##sfx(T* p, int step, int w, int h, int px, int py, Kep8u* buf);                      \
    template <typename T>                                                                                                \
    KEP_HIDDEN void ownWt53InvTile_##sfx(T* p, int step, int w, int h, int px, int py, Kep8u* buf);
KEP_WT53_KERNELS(c)
KEP_WT53_KERNELS(ssse3)
#undef KEP_WT53_KERNELS

#endif  // KEP_WT53_H
