// Irreversible 9/7 wavelet kernels (ITU-T T.800 F.4.8.2 lifting, Table F.4 extension lengths).
#ifndef KEP_WT97_H
#define KEP_WT97_H

#include <stddef.h>

#include "owndefs.h"

// Lifting constants and gains of the float form.
constexpr Kep32f kWt97Alpha = -1.5861343f;
constexpr Kep32f kWt97Beta = -0.052980117f;
constexpr Kep32f kWt97Gamma = 0.8829111f;
constexpr Kep32f kWt97Delta = 0.44350687f;
constexpr Kep32f kWt97LowGain = 0.8128931f;   // 1/K
constexpr Kep32f kWt97HighGain = 1.2301741f;  // K

// Outputs per chunk: a row is lifted in chunks whose samples are gathered into arrays on the
// stack, each chunk recomputing the few lifted values it shares with its neighbours (the same
// operations on the same inputs, so the results do not depend on the chunking).
constexpr int kWt97Chunk = 256;

// The chunked forward lifting of one row, over a policy that supplies the loops:
//   Ops::split(base, count, e, o)    e[j] = base[2j], o[j] = base[2j+1] for 2j (+1) < count
//   Ops::lift(dst, a, b, n, c, out, gain, keep)
//                                    t = (a[j] + b[j]) * c + dst[j] for j < n; dst[j] = t
//                                    unless keep is false; with out, also out[j] = t * gain
// The last two steps write the scaled outputs as they go. x points at the first sample of the
// region; lows sit at x[2i] (phase 0) or x[2i+1] (odd).
template <typename Ops>
static inline void ownWt97FwdRowChunks32f(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd) {
    Kep32f e[kWt97Chunk + 8], o[kWt97Chunk + 8];
    const Kep32f* s = x + (odd ? 1 : 0);  // lows at s[2i]; highs at s[2i+1] (phase 0) or s[2i-1]
    const int hOff = odd ? 1 : 2;
    for (int i0 = 0; i0 < w; i0 += kWt97Chunk) {
        const int n = w - i0 < kWt97Chunk ? w - i0 : kWt97Chunk;
        // e[j] = s[2(i0 + j - 2)], o[j] = s[2(i0 + j - 2) + 1]: s[2i0 - 4] .. s[2(i0 + n) + 2].
        Ops::split(s + 2 * i0 - 4, 2 * n + 7, e, o);
        Ops::lift(o, e, e + 1, n + 3, kWt97Alpha);               // o[0 .. n+2]
        Ops::lift(e + 1, o, o + 1, n + 2, kWt97Beta);            // e[1 .. n+2]
        // o[1 .. n+1], the highs o[hOff .. hOff+n-1] also scaled into hi.
        Ops::lift(o + 1, e + 1, e + 2, hOff - 1, kWt97Gamma);
        Ops::lift(o + hOff, e + hOff, e + hOff + 1, n, kWt97Gamma, hi + i0, kWt97HighGain);
        Ops::lift(o + hOff + n, e + hOff + n, e + hOff + n + 1, 2 - hOff, kWt97Gamma);
        Ops::lift(e + 2, o + 1, o + 2, n, kWt97Delta, lo + i0, kWt97LowGain, false);  // e[2 .. n+1], only scaled
    }
}

// Byte-addressed element n of a line at `stride` bytes per sample.
static inline const Kep8u* ownAt97(const void* p, ptrdiff_t stride, ptrdiff_t n) { return static_cast<const Kep8u*>(p) + n * stride; }
static inline Kep8u* ownAt97(void* p, ptrdiff_t stride, ptrdiff_t n) { return static_cast<Kep8u*>(p) + n * stride; }

// Float lifting over a "lane" type holding one sample (scalar) or four adjacent columns
// (SSSE3): Ln::V, load/store at a byte address, add, mul and set1. Every lane performs the
// scalar operations in the same order, so lanes and scalar agree bit for bit.
template <typename Ln>
static inline typename Ln::V ownWt97Step(typename Ln::V centre, typename Ln::V l, typename Ln::V r, Kep32f c) {
    return Ln::add(Ln::mul(Ln::add(l, r), Ln::set1(c)), centre);  // (left + right) * c + centre
}

// Forward line: w lows and w highs from the samples around x (stride xs), as the row export.
template <typename Ln>
static inline void ownWt97FwdLine32f(const void* x, ptrdiff_t xs, void* lo, ptrdiff_t ls, void* hi, ptrdiff_t hs, int w, bool odd) {
    using V = typename Ln::V;
    auto X = [&](ptrdiff_t i) { return Ln::load(ownAt97(x, xs, i)); };
    if (w == 1) {
        // Direct 9-tap and 7-tap filters, outermost pair first.
        const int c = odd ? 1 : 0, d = odd ? 0 : 1;
        auto pair = [&](int m, int k, Kep32f t) { return Ln::mul(Ln::add(X(m - k), X(m + k)), Ln::set1(t)); };
        V l = Ln::add(pair(c, 4, 0.026748758f), pair(c, 3, -0.01686412f));
        l = Ln::add(Ln::add(Ln::add(l, pair(c, 2, -0.078223266f)), pair(c, 1, 0.26686412f)), Ln::mul(X(c), Ln::set1(0.602949f)));
        V h = Ln::add(pair(d, 3, 0.091271766f), pair(d, 2, -0.057543527f));
        h = Ln::add(Ln::add(h, pair(d, 1, -0.59127176f)), Ln::mul(X(d), Ln::set1(1.115087f)));
        Ln::store(lo, l);
        Ln::store(hi, h);
        return;
    }
    V e[kWt97Chunk + 8], o[kWt97Chunk + 8];
    const ptrdiff_t s0 = odd ? 1 : 0;
    const int hOff = odd ? 1 : 2;
    for (int i0 = 0; i0 < w; i0 += kWt97Chunk) {
        const int n = w - i0 < kWt97Chunk ? w - i0 : kWt97Chunk;
        const ptrdiff_t base = s0 + 2 * static_cast<ptrdiff_t>(i0) - 4;
        for (int i = 0; i < 2 * n + 7; ++i) {
            if (i & 1) o[i / 2] = X(base + i);
            else e[i / 2] = X(base + i);
        }
        for (int j = 0; j <= n + 2; ++j) o[j] = ownWt97Step<Ln>(o[j], e[j], e[j + 1], kWt97Alpha);
        for (int j = 1; j <= n + 2; ++j) e[j] = ownWt97Step<Ln>(e[j], o[j - 1], o[j], kWt97Beta);
        for (int j = 1; j <= n + 1; ++j) o[j] = ownWt97Step<Ln>(o[j], e[j], e[j + 1], kWt97Gamma);
        for (int j = 2; j <= n + 1; ++j) e[j] = ownWt97Step<Ln>(e[j], o[j - 1], o[j], kWt97Delta);
        for (int k = 0; k < n; ++k) {
            Ln::store(ownAt97(lo, ls, i0 + k), Ln::mul(e[k + 2], Ln::set1(kWt97LowGain)));
            Ln::store(ownAt97(hi, hs, i0 + k), Ln::mul(o[k + hOff], Ln::set1(kWt97HighGain)));
        }
    }
}

// Inverse line: the forward lifting undone step by step, last step first. A policy P supplies
// V, load/store, the undone gains (low * K, high / K) and undo(centre, l, r, step), which
// removes lifting step 0..3 (alpha .. delta). The line is rebuilt in chunks of interleaved
// samples; y[q] is the sample at position q (a low-pass position when q + odd is even).
// Band samples read: phase 0 L[-1 .. w+1], H[-2 .. w+1]; odd phase L[-2 .. w], H[-2 .. w+1].
template <typename P>
static inline void ownWt97InvLine(const void* lo, ptrdiff_t ls, const void* hi, ptrdiff_t hs, void* x, ptrdiff_t xs, int w, bool odd) {
    using V = typename P::V;
    V y[2 * kWt97Chunk + 8];
    const int par = odd ? 1 : 0;
    for (int p0 = 0; p0 < 2 * w; p0 += 2 * kWt97Chunk) {
        const int p1 = 2 * w - p0 < 2 * kWt97Chunk ? 2 * w : p0 + 2 * kWt97Chunk;
        V* Y = y + 4 - p0;  // Y[q] for q in [p0 - 4, p1 + 4)
        // First position >= a with the wanted kind (low: (q + par) even).
        auto first = [par](int a, bool low) { return ((a + par) & 1) == (low ? 0 : 1) ? a : a + 1; };
        for (int q = first(p0 - 3, true); q <= p1 + 2; q += 2) Y[q] = P::lowIn(P::load(ownAt97(lo, ls, (q - par) >> 1)));
        for (int q = first(p0 - 4, false); q <= p1 + 3; q += 2) Y[q] = P::highIn(P::load(ownAt97(hi, hs, (q - 1 + par) >> 1)));
        for (int q = first(p0 - 3, true); q <= p1 + 2; q += 2) Y[q] = P::undo(Y[q], Y[q - 1], Y[q + 1], 3);
        for (int q = first(p0 - 2, false); q <= p1 + 1; q += 2) Y[q] = P::undo(Y[q], Y[q - 1], Y[q + 1], 2);
        for (int q = first(p0 - 1, true); q <= p1; q += 2) Y[q] = P::undo(Y[q], Y[q - 1], Y[q + 1], 1);
        for (int q = first(p0, false); q < p1; q += 2) Y[q] = P::undo(Y[q], Y[q - 1], Y[q + 1], 0);
        for (int q = p0; q < p1; ++q) P::store(ownAt97(x, xs, q), Y[q]);
    }
}

// The scalar float lane.
struct OwnWt97Scalar {
    using V = Kep32f;
    static V load(const void* p) { V v; memcpy(&v, p, sizeof v); return v; }
    static void store(void* p, V v) { memcpy(p, &v, sizeof v); }
    static V add(V a, V b) { return a + b; }
    static V mul(V a, V b) { return a * b; }
    static V set1(Kep32f c) { return c; }
};

// The float inverse policy over a lane type: undo(centre, l, r, k) = (l + r) * -c_k + centre.
template <typename Ln>
struct OwnWt97InvFloat {
    using V = typename Ln::V;
    static V load(const void* p) { return Ln::load(p); }
    static void store(void* p, V v) { Ln::store(p, v); }
    static V lowIn(V v) { return Ln::mul(v, Ln::set1(kWt97HighGain)); }   // * K
    static V highIn(V v) { return Ln::mul(v, Ln::set1(kWt97LowGain)); }   // * 1/K
    static V undo(V centre, V l, V r, int k) {
        static constexpr Kep32f c[4] = {-kWt97Alpha, -kWt97Beta, -kWt97Gamma, -kWt97Delta};
        return ownWt97Step<Ln>(centre, l, r, c[k]);
    }
};

// One forward row (plain C reference and SSSE3 kernel for float; the fixed-point forms in plain
// C only), any w >= 1.
KEP_HIDDEN void ownWt97FwdRow_32f_c(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd);
KEP_HIDDEN void ownWt97FwdRow_32f_ssse3(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd);
KEP_HIDDEN void ownWt97FwdRow_16s_c(const Kep16s* x, Kep16s* lo, Kep16s* hi, int w, bool odd);
KEP_HIDDEN void ownWt97FwdRow_32s_c(const Kep32s* x, Kep32s* lo, Kep32s* hi, int w, bool odd);

// One inverse row, any w >= 1 (plain C): 2w samples from w lows and w highs.
KEP_HIDDEN void ownWt97InvRow_32f_c(const Kep32f* lo, const Kep32f* hi, Kep32f* x, int w, bool odd);
KEP_HIDDEN void ownWt97InvRow_16s_c(const Kep16s* lo, const Kep16s* hi, Kep16s* x, int w, bool odd);
KEP_HIDDEN void ownWt97InvRow_32s_c(const Kep32s* lo, const Kep32s* hi, Kep32s* x, int w, bool odd);

// Float columns (steps in bytes; size = columns x rows per band): plain C one column at a time,
// SSSE3 four columns at a time.
KEP_HIDDEN void ownWt97FwdCols_32f_c(const Kep32f* src, int srcStep, Kep32f* lo, int loStep, Kep32f* hi, int hiStep, KepiSize size, int phase);
KEP_HIDDEN void ownWt97FwdCols_32f_ssse3(const Kep32f* src, int srcStep, Kep32f* lo, int loStep, Kep32f* hi, int hiStep, KepiSize size, int phase);
KEP_HIDDEN void ownWt97InvCols_32f_c(const Kep32f* lo, int loStep, const Kep32f* hi, int hiStep, KepiSize size, Kep32f* dst, int dstStep, int phase);
KEP_HIDDEN void ownWt97InvCols_32f_ssse3(const Kep32f* lo, int loStep, const Kep32f* hi, int hiStep, KepiSize size, Kep32f* dst, int dstStep, int phase);

// Vertical lifting stages over rows (plain C): stage 0 = alpha/beta, 1 = gamma/delta, 2 = the
// gains (forward: in place on l0 and h0; inverse: undone from l1 and h0 into x2 and x1).
#define KEP_WT97_LIFT(T, t)                                                                                            \
    KEP_HIDDEN void ownWt97FwdLift_##t##_c(const T* x0, const T* x1, const T* x2, T* l0, const T* hPrev, T* h0, int width, int stage); \
    KEP_HIDDEN void ownWt97InvLift_##t##_c(const T* l1, const T* h0, const T* h1, const T* x0, T* x1, T* x2, int width, int stage);
KEP_WT97_LIFT(Kep32f, 32f)
KEP_WT97_LIFT(Kep16s, 16s)
KEP_WT97_LIFT(Kep32s, 32s)
#undef KEP_WT97_LIFT

// Whole tile in place, fixed point (wt97tile.cpp); the buffer holds 2 * max(w, h) + 24
// elements. w, h >= 1.
template <typename T>
KEP_HIDDEN void ownWt97FwdTile(T* p, int step, int w, int h, int px, int py, Kep8u* buf);
template <typename T>
KEP_HIDDEN void ownWt97InvTile(T* p, int step, int w, int h, int px, int py, Kep8u* buf);

#endif  // KEP_WT97_H
