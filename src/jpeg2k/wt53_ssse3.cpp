// SSSE3 5/3 wavelet kernels. Column filters and lifting steps run the shared line arithmetic on
// vectors of adjacent columns. The whole-tile transform lifts the vertical direction across
// whole rows in place (mirrored rows stand for the extension), reorders the rows through the
// buffer, and lifts each row after splitting it into its even and odd samples.

#include <tmmintrin.h>

#include "wt53.h"

namespace {

// Unaligned 16-byte loads and stores, shared by both lane widths.
struct VecMem {
    using V = __m128i;
    static V load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
    static void store(void* p, V v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
};

struct Vec32Base : VecMem {
    using T = Kep32s;
    static constexpr int N = 4;
    static V add(V a, V b) { return _mm_add_epi32(a, b); }
    static V sub(V a, V b) { return _mm_sub_epi32(a, b); }
    static V half(V l, V r) { return _mm_srai_epi32(_mm_add_epi32(l, r), 1); }
    static V quarter(V l, V r) { return _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(l, r), _mm_set1_epi32(2)), 2); }
    static V halfUp(V d) { return _mm_srai_epi32(_mm_add_epi32(d, _mm_set1_epi32(1)), 1); }
    static V zipLo(V a, V b) { return _mm_unpacklo_epi32(a, b); }
    static V zipHi(V a, V b) { return _mm_unpackhi_epi32(a, b); }
    static void unzip(V v0, V v1, V* even, V* odd) {
        const __m128 f0 = _mm_castsi128_ps(v0), f1 = _mm_castsi128_ps(v1);
        *even = _mm_castps_si128(_mm_shuffle_ps(f0, f1, _MM_SHUFFLE(2, 0, 2, 0)));
        *odd = _mm_castps_si128(_mm_shuffle_ps(f0, f1, _MM_SHUFFLE(3, 1, 3, 1)));
    }
};

// 16-bit lanes: the floor of (l + r) / 2 and (l + r + 2) / 4 without leaving 16 bits, from the
// halves (quarters) of each operand plus the carry of their low bits.
struct Vec16Base : VecMem {
    using T = Kep16s;
    static constexpr int N = 8;
    static V add(V a, V b) { return _mm_add_epi16(a, b); }
    static V sub(V a, V b) { return _mm_sub_epi16(a, b); }
    static V half(V l, V r) {
        const V carry = _mm_and_si128(_mm_and_si128(l, r), _mm_set1_epi16(1));
        return _mm_add_epi16(_mm_add_epi16(_mm_srai_epi16(l, 1), _mm_srai_epi16(r, 1)), carry);
    }
    static V quarter(V l, V r) {
        const V three = _mm_set1_epi16(3);
        const V low = _mm_add_epi16(_mm_add_epi16(_mm_and_si128(l, three), _mm_and_si128(r, three)), _mm_set1_epi16(2));
        return _mm_add_epi16(_mm_add_epi16(_mm_srai_epi16(l, 2), _mm_srai_epi16(r, 2)), _mm_srai_epi16(low, 2));
    }
    static V halfUp(V d) { return _mm_add_epi16(_mm_srai_epi16(d, 1), _mm_and_si128(d, _mm_set1_epi16(1))); }
    static V zipLo(V a, V b) { return _mm_unpacklo_epi16(a, b); }
    static V zipHi(V a, V b) { return _mm_unpackhi_epi16(a, b); }
    static void unzip(V v0, V v1, V* even, V* odd) {
        const __m128i mask = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
        const V a = _mm_shuffle_epi8(v0, mask), b = _mm_shuffle_epi8(v1, mask);  // [evens | odds] each
        *even = _mm_unpacklo_epi64(a, b);
        *odd = _mm_unpackhi_epi64(a, b);
    }
};

using Vec32 = OwnWt53Lift<Vec32Base>;
using Vec16 = OwnWt53Lift<Vec16Base>;

template <typename T> struct VecOf;
template <> struct VecOf<Kep32s> { using type = Vec32; };
template <> struct VecOf<Kep16s> { using type = Vec16; };

template <typename T>
T* rowAt(T* p, int step, ptrdiff_t r) { return reinterpret_cast<T*>(ownAt(p, step, r)); }
template <typename T>
const T* rowAt(const T* p, int step, ptrdiff_t r) { return reinterpret_cast<const T*>(ownAt(p, step, r)); }

enum Op { kPred, kUpd, kUnupd, kUnpred };

template <Op op, typename Ln>
inline typename Ln::V apply(typename Ln::V x, typename Ln::V l, typename Ln::V r) {
    if (op == kPred) return Ln::pred(x, l, r);
    if (op == kUpd) return Ln::upd(x, l, r);
    if (op == kUnupd) return Ln::unupd(x, l, r);
    return Ln::unpred(x, l, r);
}

// dst[i] = op(c[i], l[i], r[i]) for i < n; dst may be c.
template <Op op, typename T>
void rowOp(T* dst, const T* c, const T* l, const T* r, int n) {
    using Vc = typename VecOf<T>::type;
    using Sc = OwnWt53Scalar<T>;
    int i = 0;
    for (; i + Vc::N <= n; i += Vc::N) Vc::store(dst + i, apply<op, Vc>(Vc::load(c + i), Vc::load(l + i), Vc::load(r + i)));
    for (; i < n; ++i) dst[i] = apply<op, Sc>(c[i], l[i], r[i]);
}

// Row r of an h-row line mirrored without repeating the edge row.
inline int mirrorIndex(int r, int h) { return r < 0 ? -r : (r >= h ? 2 * (h - 1) - r : r); }

// Reorders the h rows in place so that new row pos is old row from(pos), following each cycle
// once with one row of scratch. Cycles are found with a bit per row on the stack, or for very
// tall tiles by checking that a cycle's start is its smallest member.
template <typename T, typename From>
void permuteRows(T* p, int step, int w, int h, T* tmp, From from) {
    constexpr int kMaxMarked = 1 << 15;
    Kep8u done[kMaxMarked / 8];
    const bool marked = h <= kMaxMarked;
    if (marked) memset(done, 0, static_cast<size_t>((h + 7) / 8));
    const size_t bytes = static_cast<size_t>(w) * sizeof(T);
    for (int s = 0; s < h; ++s) {
        if (from(s) == s) continue;
        if (marked) {
            if (done[s >> 3] & (1 << (s & 7))) continue;
        } else {
            int q = from(s);
            while (q > s) q = from(q);
            if (q < s) continue;
        }
        memcpy(tmp, rowAt(p, step, s), bytes);
        int pos = s;
        for (;;) {
            if (marked) done[pos >> 3] = static_cast<Kep8u>(done[pos >> 3] | (1 << (pos & 7)));
            const int src = from(pos);
            if (src == s) {
                memcpy(rowAt(p, step, pos), tmp, bytes);
                break;
            }
            memcpy(rowAt(p, step, pos), rowAt(p, step, src), bytes);
            pos = src;
        }
    }
}

// Split of n interleaved samples: even indices to a, odd indices to b; and the merge back.
// Each vector step handles two vectors of interleaved samples.
template <typename T>
void split(const T* s, int n, T* a, T* b) {
    using Vc = typename VecOf<T>::type;
    int i = 0;
    for (; i + 2 * Vc::N <= n; i += 2 * Vc::N) {
        __m128i even, odd;
        Vc::unzip(Vc::load(s + i), Vc::load(s + i + Vc::N), &even, &odd);
        Vc::store(a + i / 2, even);
        Vc::store(b + i / 2, odd);
    }
    for (; i < n; ++i) {
        if (i & 1) b[i / 2] = s[i];
        else a[i / 2] = s[i];
    }
}
template <typename T>
void merge(const T* a, const T* b, int n, T* d) {
    using Vc = typename VecOf<T>::type;
    int i = 0;
    for (; i + 2 * Vc::N <= n; i += 2 * Vc::N) {
        const __m128i va = Vc::load(a + i / 2), vb = Vc::load(b + i / 2);
        Vc::store(d + i, Vc::zipLo(va, vb));
        Vc::store(d + i + Vc::N, Vc::zipHi(va, vb));
    }
    for (; i < n; ++i) d[i] = (i & 1) ? b[i / 2] : a[i / 2];
}

// Horizontal forward lifting of one row of w >= 3 samples, first sample at parity px. The
// buffer holds the grid-even samples e[1..nL] and the grid-odd ones o[1..nH], each with one
// mirror sample on either side (the nearest sample of the same kind, which is what the
// symmetric extension puts there).
template <typename T>
void fwdRow(T* row, int w, int px, T* buf) {
    const int nL = (w + 1 - px) / 2, nH = w - nL;
    T* e = buf;
    T* o = buf + nL + 2;
    if (px) split(row, w, o + 1, e + 1);
    else split(row, w, e + 1, o + 1);
    e[0] = e[1];
    e[nL + 1] = e[nL];
    rowOp<kPred>(o + 1, o + 1, e + 1 - px, e + 2 - px, nH);
    o[0] = o[1];
    o[nH + 1] = o[nH];
    rowOp<kUpd>(row, e + 1, o + px, o + px + 1, nL);
    memcpy(row + nL, o + 1, static_cast<size_t>(nH) * sizeof(T));
}

template <typename T>
void invRow(T* row, int w, int px, T* buf) {
    const int nL = (w + 1 - px) / 2, nH = w - nL;
    T* e = buf;
    T* o = buf + nL + 2;
    memcpy(e + 1, row, static_cast<size_t>(nL) * sizeof(T));
    memcpy(o + 1, row + nL, static_cast<size_t>(nH) * sizeof(T));
    o[0] = o[1];
    o[nH + 1] = o[nH];
    rowOp<kUnupd>(e + 1, e + 1, o + px, o + px + 1, nL);
    e[0] = e[1];
    e[nL + 1] = e[nL];
    rowOp<kUnpred>(o + 1, o + 1, e + 1 - px, e + 2 - px, nH);
    if (px) merge(o + 1, e + 1, w, row);
    else merge(e + 1, o + 1, w, row);
}

// The short-line rules, over a run of n lanes: a line of two samples (a at the even position,
// b the other): forward d = b - a, low = a + ((d + 1) >> 1); inverse a = low - ((d + 1) >> 1),
// b = d + a. The low sample is stored first, d second.
template <typename Ln, bool forward>
inline void pairAt(void* first, void* second, void* pa, void* pb) {
    using V = typename Ln::V;
    if (forward) {
        const V a = Ln::load(pa), d = Ln::sub(Ln::load(pb), a);
        Ln::store(second, d);
        Ln::store(first, Ln::add(a, Ln::halfUp(d)));
    } else {
        const V d = Ln::load(second), a = Ln::sub(Ln::load(first), Ln::halfUp(d));
        Ln::store(pa, a);
        Ln::store(pb, Ln::add(d, a));
    }
}
template <bool forward, typename T>
void pairs(T* first, T* second, int n, int par) {
    using Vc = typename VecOf<T>::type;
    T* pa = par ? second : first;
    T* pb = par ? first : second;
    int i = 0;
    for (; i + Vc::N <= n; i += Vc::N) pairAt<Vc, forward>(first + i, second + i, pa + i, pb + i);
    for (; i < n; ++i) pairAt<OwnWt53Scalar<T>, forward>(first + i, second + i, pa + i, pb + i);
}
template <typename T>
void fwdPair(T* first, T* second, int n, int par) { pairs<true>(first, second, n, par); }
template <typename T>
void invPair(T* first, T* second, int n, int par) { pairs<false>(first, second, n, par); }

template <typename T>
void fwdSingle(T* p, int n, int par) {
    if (!par) return;
    for (int i = 0; i < n; ++i) p[i] = OwnWt53Scalar<T>::add(p[i], p[i]);
}
template <typename T>
void invSingle(T* p, int n, int par) {
    if (!par) return;
    for (int i = 0; i < n; ++i) p[i] = static_cast<T>(p[i] / 2);  // truncates toward zero
}

}  // namespace

template <typename T>
void ownWt53FwdTile_ssse3(T* p, int step, int w, int h, int px, int py, Kep8u* buf) {
    T* b = reinterpret_cast<T*>(buf);
    auto row = [&](int r) { return rowAt(p, step, r); };
    if (h >= 3) {
        // High rows from the original even rows; each low row as soon as both its (mirrored)
        // high neighbours exist.
        int m = 1 - py;
        for (; m < h; m += 2) {
            rowOp<kPred>(row(m), row(m), row(mirrorIndex(m - 1, h)), row(mirrorIndex(m + 1, h)), w);
            if (m >= 1) rowOp<kUpd>(row(m - 1), row(m - 1), row(mirrorIndex(m - 2, h)), row(m), w);
        }
        if (m - 1 == h - 1) rowOp<kUpd>(row(h - 1), row(h - 1), row(h - 2), row(h - 2), w);
        const int nL = (h + 1 - py) / 2;
        permuteRows(p, step, w, h, b, [=](int pos) { return pos < nL ? 2 * pos + py : 2 * (pos - nL) + 1 - py; });
    } else if (h == 2) {
        fwdPair(row(0), row(1), w, py);
    } else {
        fwdSingle(row(0), w, py);
    }
    for (int y = 0; y < h; ++y) {
        if (w >= 3) fwdRow(row(y), w, px, b);
        else if (w == 2) fwdPair(row(y), row(y) + 1, 1, px);
        else fwdSingle(row(y), 1, px);
    }
}

template <typename T>
void ownWt53InvTile_ssse3(T* p, int step, int w, int h, int px, int py, Kep8u* buf) {
    T* b = reinterpret_cast<T*>(buf);
    auto row = [&](int r) { return rowAt(p, step, r); };
    for (int y = 0; y < h; ++y) {
        if (w >= 3) invRow(row(y), w, px, b);
        else if (w == 2) invPair(row(y), row(y) + 1, 1, px);
        else invSingle(row(y), 1, px);
    }
    if (h >= 3) {
        const int nL = (h + 1 - py) / 2;
        permuteRows(p, step, w, h, b, [=](int pos) { return ((pos + py) & 1) == 0 ? (pos - py) / 2 : nL + (pos + py - 1) / 2; });
        // Even rows from the high rows around them; each odd row as soon as both its (mirrored)
        // even neighbours are rebuilt.
        int n = py;
        for (; n < h; n += 2) {
            rowOp<kUnupd>(row(n), row(n), row(mirrorIndex(n - 1, h)), row(mirrorIndex(n + 1, h)), w);
            if (n >= 1) rowOp<kUnpred>(row(n - 1), row(n - 1), row(mirrorIndex(n - 2, h)), row(n), w);
        }
        if (n - 1 == h - 1) rowOp<kUnpred>(row(h - 1), row(h - 1), row(h - 2), row(h - 2), w);
    } else if (h == 2) {
        invPair(row(0), row(1), w, py);
    } else {
        invSingle(row(0), w, py);
    }
}

// Rows: each row is split into its two sample phases on the stack, a chunk at a time, and lifted
// with whole vectors. With base = x - 2 (phase 0) or x - 1 (odd phase), a[j] = base[2j] are the
// low-pass positions and b[j] = base[2j+1] the high-pass ones; hx[j] = b[j] - ((a[j] + a[j+1])
// >> 1) is the high-pass sample left of low-pass k = j (phase 0: H[j-1]; odd phase: H[j]).
constexpr int kRowChunk = 256;

template <typename T>
void fwdRowSplit(const T* x, T* lo, T* hi, int n, bool odd) {
    T a[kRowChunk + 2], b[kRowChunk + 1], hx[kRowChunk + 1];
    const T* base = x - (odd ? 1 : 2);
    for (int k0 = 0; k0 < n; k0 += kRowChunk) {
        const int m = n - k0 < kRowChunk ? n - k0 : kRowChunk;
        split(base + 2 * k0, 2 * m + 3, a, b);
        rowOp<kPred>(hx, b, a, a + 1, m + 1);
        rowOp<kUpd>(lo + k0, a + 1, hx, hx + 1, m);
        memcpy(hi + k0, hx + (odd ? 0 : 1), static_cast<size_t>(m) * sizeof(T));
    }
}

// Inverse: e[j] = L[j - odd] - ((H[j-1] + H[j] + 2) >> 2) are the even-position samples
// (x[2j] for phase 0, x[2j-1] for the odd phase), v[k] = H[k] + ((e[k] + e[k+1]) >> 1) the others.
template <typename T>
void invRowSplit(const T* lo, const T* hi, T* x, int n, bool odd) {
    T e[kRowChunk + 1], v[kRowChunk];
    const T* lb = lo - (odd ? 1 : 0);
    const T* hb = hi - 1;
    for (int k0 = 0; k0 < n; k0 += kRowChunk) {
        const int m = n - k0 < kRowChunk ? n - k0 : kRowChunk;
        rowOp<kUnupd>(e, lb + k0, hb + k0, hb + k0 + 1, m + 1);
        rowOp<kUnpred>(v, hb + k0 + 1, e, e + 1, m);
        if (odd) merge(v, e + 1, 2 * m, x + 2 * k0);
        else merge(e, v, 2 * m, x + 2 * k0);
    }
}

template <typename T>
void ownWt53FwdRows_ssse3(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase) {
    for (int y = 0; y < size.height; ++y)
        fwdRowSplit(rowAt(src, srcStep, y), rowAt(lo, loStep, y), rowAt(hi, hiStep, y), size.width, phase != 0);
}
template <typename T>
void ownWt53InvRows_ssse3(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase) {
    for (int y = 0; y < size.height; ++y)
        invRowSplit(rowAt(lo, loStep, y), rowAt(hi, hiStep, y), rowAt(dst, dstStep, y), size.width, phase != 0);
}

template <typename T>
void ownWt53FwdCols_ssse3(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase) {
    using Vc = typename VecOf<T>::type;
    int x = 0;
    for (; x + Vc::N <= size.width; x += Vc::N)
        ownWt53FwdLine<Vc>(src + x, srcStep, lo + x, loStep, hi + x, hiStep, size.height, phase != 0);
    for (; x < size.width; ++x)
        ownWt53FwdLine<OwnWt53Scalar<T>>(src + x, srcStep, lo + x, loStep, hi + x, hiStep, size.height, phase != 0);
}
template <typename T>
void ownWt53InvCols_ssse3(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase) {
    using Vc = typename VecOf<T>::type;
    int x = 0;
    for (; x + Vc::N <= size.width; x += Vc::N)
        ownWt53InvLine<Vc>(lo + x, loStep, hi + x, hiStep, dst + x, dstStep, size.height, phase != 0);
    for (; x < size.width; ++x)
        ownWt53InvLine<OwnWt53Scalar<T>>(lo + x, loStep, hi + x, hiStep, dst + x, dstStep, size.height, phase != 0);
}
template <typename T>
void ownWt53FwdLift_ssse3(const T* x0, const T* x1, const T* x2, T* l0, const T* hPrev, T* h0, int width) {
    using Vc = typename VecOf<T>::type;
    const int v = width / Vc::N * Vc::N;
    ownWt53FwdLift<Vc>(x0, x1, x2, l0, hPrev, h0, v / Vc::N, sizeof(T) * Vc::N);
    ownWt53FwdLift<OwnWt53Scalar<T>>(x0 + v, x1 + v, x2 + v, l0 + v, hPrev + v, h0 + v, width - v, sizeof(T));
}
template <typename T>
void ownWt53InvLift_ssse3(const T* l1, const T* h0, const T* h1, const T* x0, T* x1, T* x2, int width) {
    using Vc = typename VecOf<T>::type;
    const int v = width / Vc::N * Vc::N;
    ownWt53InvLift<Vc>(l1, h0, h1, x0, x1, x2, v / Vc::N, sizeof(T) * Vc::N);
    ownWt53InvLift<OwnWt53Scalar<T>>(l1 + v, h0 + v, h1 + v, x0 + v, x1 + v, x2 + v, width - v, sizeof(T));
}

#define KEP_WT53_SSSE3(T)                                                                                         \
    template void ownWt53FwdRows_ssse3<T>(const T*, int, T*, int, T*, int, KepiSize, int);                       \
    template void ownWt53InvRows_ssse3<T>(const T*, int, const T*, int, KepiSize, T*, int, int);                 \
    template void ownWt53FwdCols_ssse3<T>(const T*, int, T*, int, T*, int, KepiSize, int);                       \
    template void ownWt53InvCols_ssse3<T>(const T*, int, const T*, int, KepiSize, T*, int, int);                 \
    template void ownWt53FwdLift_ssse3<T>(const T*, const T*, const T*, T*, const T*, T*, int);                  \
    template void ownWt53InvLift_ssse3<T>(const T*, const T*, const T*, const T*, T*, T*, int);                  \
    template void ownWt53FwdTile_ssse3<T>(T*, int, int, int, int, int, Kep8u*);                                  \
    template void ownWt53InvTile_ssse3<T>(T*, int, int, int, int, int, Kep8u*);
KEP_WT53_SSSE3(Kep16s)
KEP_WT53_SSSE3(Kep32s)
