// SSSE3 component transforms on three planes in place. The 16s RCT keeps its sums exact in
// 16-bit lanes by splitting every operand into its quotient and remainder by four.

#include <tmmintrin.h>

#include "pj2ct.h"

namespace {

inline __m128i ld(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void st(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// floor((a + b) / 4) from the quarters and the remainders of a and b (16-bit lanes).
inline __m128i quarterSum16(__m128i a, __m128i b, __m128i extra) {
    const __m128i three = _mm_set1_epi16(3);
    const __m128i rem = _mm_add_epi16(_mm_add_epi16(_mm_and_si128(a, three), _mm_and_si128(b, three)), extra);
    return _mm_add_epi16(_mm_add_epi16(_mm_srai_epi16(a, 2), _mm_srai_epi16(b, 2)), _mm_srai_epi16(rem, 2));
}

}  // namespace

template <>
void ownRctFwdRow_ssse3<Kep32s>(Kep32s* p0, Kep32s* p1, Kep32s* p2, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i r = ld(p0 + i), g = ld(p1 + i), b = ld(p2 + i);
        st(p0 + i, _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(r, _mm_add_epi32(g, g)), b), 2));
        st(p1 + i, _mm_sub_epi32(b, g));
        st(p2 + i, _mm_sub_epi32(r, g));
    }
    for (; i < n; ++i) ownRctFwd(p0[i], p1[i], p2[i], p0[i], p1[i], p2[i]);
}
template <>
void ownRctInvRow_ssse3<Kep32s>(Kep32s* p0, Kep32s* p1, Kep32s* p2, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i y = ld(p0 + i), cb = ld(p1 + i), cr = ld(p2 + i);
        const __m128i g = _mm_sub_epi32(y, _mm_srai_epi32(_mm_add_epi32(cb, cr), 2));
        st(p0 + i, _mm_add_epi32(cr, g));
        st(p1 + i, g);
        st(p2 + i, _mm_add_epi32(cb, g));
    }
    for (; i < n; ++i) ownRctInv(p0[i], p1[i], p2[i], p0[i], p1[i], p2[i]);
}
template <>
void ownRctFwdRow_ssse3<Kep16s>(Kep16s* p0, Kep16s* p1, Kep16s* p2, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i r = ld(p0 + i), g = ld(p1 + i), b = ld(p2 + i);
        // R + 2G + B: 2G contributes G >> 1 to the quotient and 2 * (G & 1) to the remainder.
        const __m128i gOdd = _mm_add_epi16(_mm_and_si128(g, _mm_set1_epi16(1)), _mm_and_si128(g, _mm_set1_epi16(1)));
        st(p0 + i, _mm_add_epi16(quarterSum16(r, b, gOdd), _mm_srai_epi16(g, 1)));
        st(p1 + i, _mm_sub_epi16(b, g));
        st(p2 + i, _mm_sub_epi16(r, g));
    }
    for (; i < n; ++i) ownRctFwd(p0[i], p1[i], p2[i], p0[i], p1[i], p2[i]);
}
template <>
void ownRctInvRow_ssse3<Kep16s>(Kep16s* p0, Kep16s* p1, Kep16s* p2, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i y = ld(p0 + i), cb = ld(p1 + i), cr = ld(p2 + i);
        const __m128i g = _mm_sub_epi16(y, quarterSum16(cb, cr, _mm_setzero_si128()));
        st(p0 + i, _mm_add_epi16(cr, g));
        st(p1 + i, g);
        st(p2 + i, _mm_add_epi16(cb, g));
    }
    for (; i < n; ++i) ownRctInv(p0[i], p1[i], p2[i], p0[i], p1[i], p2[i]);
}

void ownIctFwdRow32f_ssse3(Kep32f* p0, Kep32f* p1, Kep32f* p2, int n) {
    auto c = [](float v) { return _mm_set1_ps(v); };
    auto dot = [](__m128 a, __m128 ka, __m128 b, __m128 kb, __m128 d, __m128 kd) {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(ka, a), _mm_mul_ps(kb, b)), _mm_mul_ps(kd, d));
    };
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128 r = _mm_loadu_ps(p0 + i), g = _mm_loadu_ps(p1 + i), b = _mm_loadu_ps(p2 + i);
        _mm_storeu_ps(p0 + i, dot(r, c(0.299f), g, c(0.587f), b, c(0.114f)));
        _mm_storeu_ps(p1 + i, dot(r, c(-0.16875f), g, c(-0.33126f), b, c(0.5f)));
        _mm_storeu_ps(p2 + i, dot(r, c(0.5f), g, c(-0.41869f), b, c(-0.08131f)));
    }
    for (; i < n; ++i) ownIctFwd32f(p0[i], p1[i], p2[i], p0[i], p1[i], p2[i]);
}
void ownIctInvRow32f_ssse3(Kep32f* p0, Kep32f* p1, Kep32f* p2, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128 y = _mm_loadu_ps(p0 + i), cb = _mm_loadu_ps(p1 + i), cr = _mm_loadu_ps(p2 + i);
        _mm_storeu_ps(p0 + i, _mm_add_ps(_mm_mul_ps(_mm_set1_ps(1.402f), cr), y));
        _mm_storeu_ps(p1 + i, _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(-0.34413f), cb), _mm_mul_ps(_mm_set1_ps(-0.71414f), cr)), y));
        _mm_storeu_ps(p2 + i, _mm_add_ps(_mm_mul_ps(_mm_set1_ps(1.772f), cb), y));
    }
    for (; i < n; ++i) ownIctInv32f(p0[i], p1[i], p2[i], p0[i], p1[i], p2[i]);
}
