// SSSE3 photo core transform: four blocks at once, one block per 32-bit lane. The blocks of the
// region are taken in strip order and grouped by four (a group may span two strips); the rows of
// the four blocks are loaded and transposed so that vector a[4r + c] holds element (r, c) of all
// four blocks, the steps of pctsteps.h run on whole vectors, and the transpose is undone on the
// way out. A last group of fewer than four blocks repeats its last block in the free lanes: all
// lanes are loaded before any is stored, and a repeated block stores the same values twice.

#include <tmmintrin.h>

#include "pct.h"
#include "pctsteps.h"

namespace {

template <bool Wrap16>
struct IntVec {
    using V = __m128i;
    static V add(V a, V b) { return _mm_add_epi32(a, b); }
    static V sub(V a, V b) { return _mm_sub_epi32(a, b); }
    static V neg(V a) { return _mm_sub_epi32(_mm_setzero_si128(), a); }
    static V times3(V x) { return _mm_add_epi32(_mm_add_epi32(x, x), x); }
    static V half(V x) { return _mm_srai_epi32(x, 1); }
    static V halfUp(V x) { return _mm_srai_epi32(_mm_add_epi32(x, _mm_set1_epi32(1)), 1); }
    static V halfR(V x, int r) { return r ? halfUp(x) : half(x); }
    static V m3o8a(V x) { return _mm_srai_epi32(_mm_add_epi32(times3(x), _mm_set1_epi32(4)), 3); }
    static V m3o8b(V x) { return _mm_srai_epi32(_mm_add_epi32(times3(x), _mm_set1_epi32(3)), 3); }
    static V m3o4(V x) { return _mm_srai_epi32(_mm_add_epi32(times3(x), _mm_set1_epi32(3)), 2); }
    static V el(V x) { return Wrap16 ? _mm_srai_epi32(_mm_slli_epi32(x, 16), 16) : x; }
};

struct FloatVec {
    using V = __m128;
    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V sub(V a, V b) { return _mm_sub_ps(a, b); }
    static V neg(V a) { return _mm_xor_ps(a, _mm_set1_ps(-0.0f)); }  // exact, like scalar negation
    static V half(V x) { return _mm_mul_ps(_mm_set1_ps(0.5f), x); }
    static V halfUp(V x) { return half(x); }
    static V halfR(V x, int) { return half(x); }
    static V m3o8a(V x) { return _mm_mul_ps(_mm_set1_ps(0.375f), x); }
    static V m3o8b(V x) { return m3o8a(x); }
    static V m3o4(V x) { return _mm_mul_ps(_mm_set1_ps(0.75f), x); }
    static V el(V x) { return x; }
};

inline void transpose4(__m128i& a, __m128i& b, __m128i& c, __m128i& d) {
    const __m128i ab0 = _mm_unpacklo_epi32(a, b), ab1 = _mm_unpackhi_epi32(a, b);
    const __m128i cd0 = _mm_unpacklo_epi32(c, d), cd1 = _mm_unpackhi_epi32(c, d);
    a = _mm_unpacklo_epi64(ab0, cd0);
    b = _mm_unpackhi_epi64(ab0, cd0);
    c = _mm_unpacklo_epi64(ab1, cd1);
    d = _mm_unpackhi_epi64(ab1, cd1);
}

// Loading and storing row r of four blocks as four vectors of 32-bit lanes, one per column.
struct Lanes32 {
    static void load(Kep8u* const* blk, size_t off, __m128i* col) {
        for (int k = 0; k < 4; ++k) col[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(blk[k] + off));
        transpose4(col[0], col[1], col[2], col[3]);
    }
    static void store(Kep8u* const* blk, size_t off, __m128i* col) {
        transpose4(col[0], col[1], col[2], col[3]);
        for (int k = 0; k < 4; ++k) _mm_storeu_si128(reinterpret_cast<__m128i*>(blk[k] + off), col[k]);
    }
};

// 16s rows are eight bytes; lanes hold the elements sign-extended to 32 bits.
struct Lanes16 {
    static void load(Kep8u* const* blk, size_t off, __m128i* col) {
        __m128i x[4];
        for (int k = 0; k < 4; ++k) x[k] = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(blk[k] + off));
        const __m128i x01 = _mm_unpacklo_epi16(x[0], x[1]);  // b0c0 b1c0 b0c1 b1c1 ... (block k, column c)
        const __m128i x23 = _mm_unpacklo_epi16(x[2], x[3]);
        const __m128i c01 = _mm_unpacklo_epi32(x01, x23);    // columns 0 and 1 of blocks 0..3
        const __m128i c23 = _mm_unpackhi_epi32(x01, x23);
        col[0] = _mm_srai_epi32(_mm_unpacklo_epi16(c01, c01), 16);
        col[1] = _mm_srai_epi32(_mm_unpackhi_epi16(c01, c01), 16);
        col[2] = _mm_srai_epi32(_mm_unpacklo_epi16(c23, c23), 16);
        col[3] = _mm_srai_epi32(_mm_unpackhi_epi16(c23, c23), 16);
    }
    static void store(Kep8u* const* blk, size_t off, __m128i* col) {
        // Every lane already holds a sign-extended 16-bit value, so the saturating pack is exact.
        const __m128i pair = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
        const __m128i c01 = _mm_shuffle_epi8(_mm_packs_epi32(col[0], col[1]), pair);  // per block: c0 c1
        const __m128i c23 = _mm_shuffle_epi8(_mm_packs_epi32(col[2], col[3]), pair);  // per block: c2 c3
        const __m128i r01 = _mm_unpacklo_epi32(c01, c23), r23 = _mm_unpackhi_epi32(c01, c23);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(blk[0] + off), r01);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(blk[1] + off), _mm_unpackhi_epi64(r01, r01));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(blk[2] + off), r23);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(blk[3] + off), _mm_unpackhi_epi64(r23, r23));
    }
};

template <typename T> struct Traits;
template <> struct Traits<Kep16s> { using O = IntVec<true>; using L = Lanes16; };
template <> struct Traits<Kep32s> { using O = IntVec<false>; using L = Lanes32; };
template <> struct Traits<Kep32f> { using O = FloatVec; using L = Lanes32; };

template <typename V> V fromInt(__m128i x);
template <> inline __m128i fromInt<__m128i>(__m128i x) { return x; }
template <> inline __m128 fromInt<__m128>(__m128i x) { return _mm_castsi128_ps(x); }
inline __m128i toInt(__m128i x) { return x; }
inline __m128i toInt(__m128 x) { return _mm_castps_si128(x); }

template <typename T, bool Forward>
inline void fourBlocks(Kep8u* const* blk, size_t step) {
    using O = typename Traits<T>::O;
    using L = typename Traits<T>::L;
    using V = typename O::V;
    V a[16];
    for (int r = 0; r < 4; ++r) {
        __m128i col[4];
        L::load(blk, r * step, col);
        for (int c = 0; c < 4; ++c) a[4 * r + c] = fromInt<V>(col[c]);
    }
    if (Forward) pct::forward<O>(a);
    else pct::inverse<O>(a);
    for (int r = 0; r < 4; ++r) {
        __m128i col[4];
        for (int c = 0; c < 4; ++c) col[c] = toInt(a[4 * r + c]);
        L::store(blk, r * step, col);
    }
}

template <typename T, bool Forward>
__attribute__((always_inline)) inline void walk(T* p, Kep32u step, int blocksX, int blocksY) {
    Kep8u* const base = reinterpret_cast<Kep8u*>(p);
    Kep8u* blk[4];
    int n = 0;
    for (int by = 0; by < blocksY; ++by) {
        Kep8u* const strip = base + static_cast<size_t>(by) * 4 * step;
        for (int bx = 0; bx < blocksX; ++bx) {
            blk[n++] = strip + static_cast<size_t>(bx) * 4 * sizeof(T);
            if (n == 4) {
                fourBlocks<T, Forward>(blk, step);
                n = 0;
            }
        }
    }
    if (n > 0) {
        for (int k = n; k < 4; ++k) blk[k] = blk[n - 1];
        fourBlocks<T, Forward>(blk, step);
    }
}

// The macroblock sizes get copies of the walk with constant block counts, unrolled by the
// compiler: one group of four blocks for 8x8, two for 8x16, four for 16x16.
template <typename T, bool Forward>
void region(T* p, Kep32u step, int blocksX, int blocksY) {
    if (blocksX == 2 && blocksY == 2) walk<T, Forward>(p, step, 2, 2);
    else if (blocksX == 2 && blocksY == 4) walk<T, Forward>(p, step, 2, 4);
    else if (blocksX == 4 && blocksY == 4) walk<T, Forward>(p, step, 4, 4);
    else walk<T, Forward>(p, step, blocksX, blocksY);
}

}  // namespace

KEP_PCT_DEFINE_KERNELS(ssse3)
