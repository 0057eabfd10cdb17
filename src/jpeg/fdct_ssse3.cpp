// SSSE3 forward 8x8 DCT with quantization. The column pass runs on all eight columns at once in
// 16-bit lanes (one row per register); the row pass forms the sums and differences of each row and
// takes the eight outputs from paired 16x16->32 multiply-adds; the quantization forms the 32-bit
// products x * f from their low and high halves. Bit for bit the arithmetic of fdct_c.cpp.

#include <tmmintrin.h>

#include "dct.h"

namespace {

// Row-pass weights: with A = (s0, s1), (d0, d1), (s0, s1), (d0, d1) and
// B = (s2, s3), (d2, d3), (s2, s3), (d2, d3), madd(A, W0) + madd(B, W1) is z0..z3 and
// madd(A, W2) + madd(B, W3) is z4..z7.
constexpr int kLayout[4][8] = {{4, 4, 1, 3, 2, 6, 3, -7},
                               {4, 4, 5, 7, -6, -2, -1, -5},
                               {4, -4, 5, -1, 6, -2, 7, -5},
                               {-4, 4, 7, 3, 2, -6, 3, -1}};
constexpr OwnMaddWeights kWeights = ownMaddWeights(kLayout);

inline __m128i ld(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline __m128i w(int group, int m) { return _mm_load_si128(reinterpret_cast<const __m128i*>(kWeights.v[group][m])); }

// Column pass over the eight row registers r[0..7]; see fdct_c.cpp for the arithmetic.
// Unshifted: the rows hold 8-bit samples s, not s - 128. Every sum that the level shift changes
// cancels in the differences, and h + f, the DC, is 8192 too large; with 8-bit samples nothing
// saturates or wraps, so subtracting 8192 from it gives exactly the result for s - 128.
template <bool Unshifted>
inline void columns(__m128i* r) {
    const __m128i one = _mm_set1_epi16(1);
    const __m128i t1 = _mm_set1_epi16(kDctT1), t2 = _mm_set1_epi16(kDctT2);
    const __m128i t3 = _mm_set1_epi16(kDctT3), c4 = _mm_set1_epi16(kDctC4);
    const __m128i s07 = _mm_adds_epi16(r[0], r[7]), s16 = _mm_adds_epi16(r[1], r[6]);
    const __m128i s25 = _mm_adds_epi16(r[2], r[5]), s34 = _mm_adds_epi16(r[3], r[4]);
    const __m128i d07 = _mm_subs_epi16(r[0], r[7]), d16 = _mm_subs_epi16(r[1], r[6]);
    const __m128i d25 = _mm_subs_epi16(r[2], r[5]), d34 = _mm_subs_epi16(r[3], r[4]);

    const __m128i A = _mm_slli_epi16(s16, 3), B = _mm_slli_epi16(s25, 3);
    const __m128i e = _mm_subs_epi16(A, B), f = _mm_adds_epi16(A, B);
    const __m128i g = _mm_slli_epi16(_mm_subs_epi16(s07, s34), 3);
    const __m128i h = _mm_slli_epi16(_mm_adds_epi16(s07, s34), 3);
    r[0] = _mm_adds_epi16(h, f);
    if constexpr (Unshifted) r[0] = _mm_sub_epi16(r[0], _mm_set1_epi16(8192));
    r[4] = _mm_subs_epi16(h, f);
    r[2] = _mm_or_si128(_mm_adds_epi16(g, _mm_mulhi_epi16(e, t2)), one);
    r[6] = _mm_or_si128(_mm_subs_epi16(_mm_mulhi_epi16(g, t2), e), one);

    const __m128i D16 = _mm_slli_epi16(d16, 4), D25 = _mm_slli_epi16(d25, 4);
    const __m128i p = _mm_or_si128(_mm_mulhi_epi16(_mm_adds_epi16(D16, D25), c4), one);
    const __m128i q = _mm_mulhi_epi16(_mm_subs_epi16(D16, D25), c4);
    const __m128i D34 = _mm_slli_epi16(d34, 3), D07 = _mm_slli_epi16(d07, 3);
    const __m128i u = _mm_adds_epi16(D34, q), wv = _mm_subs_epi16(D34, q);
    const __m128i a = _mm_adds_epi16(D07, p), b = _mm_subs_epi16(D07, p);
    r[1] = _mm_or_si128(_mm_adds_epi16(_mm_mulhi_epi16(u, t1), a), one);
    r[7] = _mm_subs_epi16(_mm_mulhi_epi16(a, t1), u);
    r[3] = _mm_subs_epi16(b, _mm_adds_epi16(_mm_mulhi_epi16(wv, t3), wv));
    r[5] = _mm_adds_epi16(_mm_adds_epi16(_mm_mulhi_epi16(b, t3), b), wv);
}

// Row pass of one row register y with the weights of its group: lanes 0..3 of y + reverse(y) and
// y - reverse(y) are s0..s3 and d0..d3; their pairs, interleaved and broadcast, are
// multiplied-added into z0..z3 and z4..z7 as 32-bit sums.
inline __m128i row(__m128i y, int group) {
    const __m128i reverse = _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
    const __m128i round = _mm_set1_epi32(1 << 19);
    const __m128i yr = _mm_shuffle_epi8(y, reverse);
    const __m128i sd = _mm_unpacklo_epi32(_mm_adds_epi16(y, yr), _mm_subs_epi16(y, yr));
    const __m128i a = _mm_shuffle_epi32(sd, 0x44), b = _mm_shuffle_epi32(sd, 0xEE);
    __m128i lo = _mm_add_epi32(_mm_madd_epi16(a, w(group, 0)), _mm_madd_epi16(b, w(group, 1)));
    __m128i hi = _mm_add_epi32(_mm_madd_epi16(a, w(group, 2)), _mm_madd_epi16(b, w(group, 3)));
    lo = _mm_srai_epi32(_mm_add_epi32(lo, round), 20);
    hi = _mm_srai_epi32(_mm_add_epi32(hi, round), 20);
    return _mm_packs_epi32(lo, hi);
}

// p = x * f with f unsigned, as its signed high half hi (the signed high product, plus x where
// f >= 32768) and its unsigned low half lo. Then (p + 16383 + ((p >> 15) & 1)) >> 15 is
// 2 hi + carry with carry = (lo + 16383 + (lo >> 15)) >> 15 = [lo >= 16385] + [lo >= 49152],
// saturated; hi + (hi + carry) saturates exactly when 2 hi + carry does. The unsigned comparisons
// are signed ones after flipping the top bit.
// Small: every f is below 32768. Then |p| < 2^30 and pmulhrsw's (p + 16384) >> 15 fits 16 bits;
// it differs from the rounding above only where bit 15 of p is clear and the low 15 bits are
// 16384 (a tie that rounds down to the even quotient), that is where the low half of p is 0x4000.
template <bool Small>
inline __m128i quantize(__m128i x, __m128i f) {
    if constexpr (Small)
        return _mm_add_epi16(_mm_mulhrs_epi16(x, f), _mm_cmpeq_epi16(_mm_mullo_epi16(x, f), _mm_set1_epi16(0x4000)));
    const __m128i lo = _mm_xor_si128(_mm_mullo_epi16(x, f), _mm_set1_epi16(-32768));
    const __m128i hi = _mm_add_epi16(_mm_mulhi_epi16(x, f), _mm_and_si128(x, _mm_srai_epi16(f, 15)));
    const __m128i ge16385 = _mm_cmpgt_epi16(lo, _mm_set1_epi16(16384 - 32768));
    const __m128i ge49152 = _mm_cmpgt_epi16(lo, _mm_set1_epi16(49151 - 32768));
    const __m128i carry = _mm_add_epi16(ge16385, ge49152);  // 0, -1 or -2
    return _mm_adds_epi16(hi, _mm_subs_epi16(hi, carry));
}

template <bool Small>
__attribute__((always_inline)) inline void rowsQuantize(const __m128i* r, Kep16s* pDst, const Kep16u* pTable) {
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) {
        const __m128i z = row(r[k], kDctRowGroup[k]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + 8 * k), quantize<Small>(z, ld(pTable + 8 * k)));
    }
}

// Tables of quantizers 2..255 hold only reciprocals below 32768 (Q = 1 gives 32768): those take the
// shorter quantization.
template <bool Unshifted>
__attribute__((always_inline)) inline void transformQuantize(__m128i* r, Kep16s* pDst, const Kep16u* pTable) {
    __m128i any = ld(pTable);
#pragma GCC unroll 8
    for (int k = 1; k < 8; ++k) any = _mm_or_si128(any, ld(pTable + 8 * k));
    columns<Unshifted>(r);
    if (_mm_movemask_epi8(any) & 0xAAAA) rowsQuantize<false>(r, pDst, pTable);
    else rowsQuantize<true>(r, pDst, pTable);
}

}  // namespace

void ownDCTQuantFwd8x8_ssse3(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable) {
    __m128i r[8];
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) r[k] = ld(pSrc + 8 * k);
    transformQuantize<false>(r, pDst, pTable);
}

void ownDCTQuantFwd8x8LS_ssse3(const Kep8u* pSrc, int srcStep, Kep16s* pDst, const Kep16u* pTable) {
    const __m128i zero = _mm_setzero_si128();
    __m128i r[8];
    // The loops of this file unrolled: rolled, the compiler keeps r[] on the stack.
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) {
        const __m128i s = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pSrc + static_cast<ptrdiff_t>(k) * srcStep));
        r[k] = _mm_unpacklo_epi8(s, zero);
    }
    transformQuantize<true>(r, pDst, pTable);  // the level shift is folded into the column pass
}

void ownSub128_ssse3(const Kep8u* pSrc, int srcStep, Kep16s* pDst, int dstStep, int width, int height) {
    const __m128i zero = _mm_setzero_si128(), shift = _mm_set1_epi16(128);
    for (int r = 0; r < height; ++r) {
        const Kep8u* s = pSrc + static_cast<ptrdiff_t>(r) * srcStep;
        Kep8u* d = reinterpret_cast<Kep8u*>(pDst) + static_cast<ptrdiff_t>(r) * dstStep;
        int c = 0;
        for (; c + 8 <= width; c += 8) {
            const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + c));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * c), _mm_sub_epi16(_mm_unpacklo_epi8(v, zero), shift));
        }
        for (; c < width; ++c) ownStore16s(d + 2 * c, static_cast<Kep16s>(s[c] - 128));
    }
}
