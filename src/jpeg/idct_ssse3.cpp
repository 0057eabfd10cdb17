// SSSE3 inverse 8x8 DCT with dequantization. The row pass broadcasts each of the pairs
// (x0, x2), (x4, x6), (x1, x3), (x5, x7) of a row and takes the even and odd sums from paired 16x16->32
// multiply-adds; the column pass runs on all eight columns at once in 16-bit lanes. The 4x4 and
// 2x2 forms are the same arithmetic with the terms of the zero coefficients left out, which is
// exact (x + 0 and M(0, c) are x and 0 in saturating arithmetic too), so they equal the full
// transform on blocks whose other coefficients are zero. The rounding constants of the zero rows
// are kept: row 2's (2260) still gives 1 after the shift. Bit for bit the arithmetic of idct_c.cpp.

#include <tmmintrin.h>

#include <type_traits>

#include "dct.h"

namespace {

// Row-pass weights: madd of the broadcast pairs (x0, x2), (x4, x6) with W0, W1 gives E0..E3, of
// (x1, x3), (x5, x7) with W2, W3 gives O0..O3.
constexpr int kLayout[4][8] = {{4, 2, 4, 6, 4, -6, 4, -2},
                               {4, 6, -4, -2, -4, 2, 4, -6},
                               {1, 3, 3, -7, 5, -1, 7, -5},
                               {5, 7, -1, -5, 7, 3, 3, -1}};
constexpr OwnMaddWeights kWeights = ownMaddWeights(kLayout);

inline __m128i w(int group, int m) { return _mm_load_si128(reinterpret_cast<const __m128i*>(kWeights.v[group][m])); }

// The first n 16-bit values at p, the other lanes zero.
template <int N>
inline __m128i loadRow(const void* p) {
    if constexpr (N == 8) return _mm_loadu_si128(static_cast<const __m128i*>(p));
    else if constexpr (N == 4) return _mm_loadl_epi64(static_cast<const __m128i*>(p));
    else {
        int v;
        memcpy(&v, p, sizeof v);
        return _mm_cvtsi32_si128(v);
    }
}

// x * q with q unsigned 16-bit: the low 16 bits, or the 32-bit product saturated.
template <bool Saturate>
inline __m128i dequantize(__m128i x, __m128i q) {
    const __m128i lo = _mm_mullo_epi16(x, q);
    if constexpr (!Saturate) return lo;
    const __m128i hi = _mm_add_epi16(_mm_mulhi_epi16(x, q), _mm_and_si128(x, _mm_srai_epi16(q, 15)));
    return _mm_packs_epi32(_mm_unpacklo_epi16(lo, hi), _mm_unpackhi_epi16(lo, hi));
}

// Row pass of row r (coefficients x0..x7 in x); N < 8 leaves out x4..x7 (N = 4) or x2..x7 (N = 2),
// which are zero.
template <int N>
inline __m128i row(__m128i x, int r) {
    // Each pair broadcast to the four 32-bit lanes.
    const __m128i x02 = _mm_setr_epi8(0, 1, 4, 5, 0, 1, 4, 5, 0, 1, 4, 5, 0, 1, 4, 5);
    const __m128i x46 = _mm_setr_epi8(8, 9, 12, 13, 8, 9, 12, 13, 8, 9, 12, 13, 8, 9, 12, 13);
    const __m128i x13 = _mm_setr_epi8(2, 3, 6, 7, 2, 3, 6, 7, 2, 3, 6, 7, 2, 3, 6, 7);
    const __m128i x57 = _mm_setr_epi8(10, 11, 14, 15, 10, 11, 14, 15, 10, 11, 14, 15, 10, 11, 14, 15);
    const int g = kDctRowGroup[r];
    __m128i even = _mm_madd_epi16(_mm_shuffle_epi8(x, x02), w(g, 0));
    __m128i odd = _mm_madd_epi16(_mm_shuffle_epi8(x, x13), w(g, 2));
    if constexpr (N == 8) {
        even = _mm_add_epi32(even, _mm_madd_epi16(_mm_shuffle_epi8(x, x46), w(g, 1)));
        odd = _mm_add_epi32(odd, _mm_madd_epi16(_mm_shuffle_epi8(x, x57), w(g, 3)));
    }
    even = _mm_add_epi32(even, _mm_set1_epi32(kIdctRowRound[r]));
    const __m128i lo = _mm_srai_epi32(_mm_add_epi32(even, odd), 11);                               // y0..y3
    const __m128i hi = _mm_shuffle_epi32(_mm_srai_epi32(_mm_sub_epi32(even, odd), 11), 0x1B);  // y4..y7
    return _mm_packs_epi32(lo, hi);
}

// Column pass over the row registers R[0..7]. With N < 8, rows 3..7 are zero and their terms are
// left out; row 2 is a constant row of ones when N = 2.
template <int N>
inline void columns(__m128i* R) {
    const __m128i t1 = _mm_set1_epi16(kDctT1), t2 = _mm_set1_epi16(kDctT2), t3 = _mm_set1_epi16(kDctT3);
    const __m128i c4m = _mm_set1_epi16(kDctC4m), zero = _mm_setzero_si128();
    __m128i c = R[1], d = _mm_mulhi_epi16(R[1], t1), e = zero, f = zero, s04 = R[0], d04 = R[0];
    __m128i a = R[2], b = _mm_mulhi_epi16(R[2], t2);
    if constexpr (N >= 4) {
        e = R[3];
        f = _mm_subs_epi16(zero, _mm_adds_epi16(_mm_mulhi_epi16(R[3], t3), R[3]));
    }
    if constexpr (N == 8) {
        c = _mm_adds_epi16(c, _mm_mulhi_epi16(R[7], t1));
        d = _mm_subs_epi16(d, R[7]);
        e = _mm_adds_epi16(e, _mm_adds_epi16(_mm_mulhi_epi16(R[5], t3), R[5]));
        f = _mm_subs_epi16(R[5], _mm_adds_epi16(_mm_mulhi_epi16(R[3], t3), R[3]));
        a = _mm_adds_epi16(a, _mm_mulhi_epi16(R[6], t2));
        b = _mm_subs_epi16(b, R[6]);
        s04 = _mm_adds_epi16(R[0], R[4]);
        d04 = _mm_subs_epi16(R[0], R[4]);
    }
    const __m128i p = _mm_adds_epi16(c, e), q = _mm_subs_epi16(c, e);
    const __m128i s = _mm_subs_epi16(d, f), t = _mm_adds_epi16(d, f);
    const __m128i qs = _mm_adds_epi16(q, s), qd = _mm_subs_epi16(q, s);
    const __m128i g = _mm_adds_epi16(qs, _mm_mulhi_epi16(qs, c4m));
    const __m128i h = _mm_adds_epi16(qd, _mm_mulhi_epi16(qd, c4m));
    const __m128i E0 = _mm_adds_epi16(s04, a), E3 = _mm_subs_epi16(s04, a);
    const __m128i E1 = _mm_adds_epi16(d04, b), E2 = _mm_subs_epi16(d04, b);
    R[0] = _mm_srai_epi16(_mm_adds_epi16(E0, p), 6);
    R[7] = _mm_srai_epi16(_mm_subs_epi16(E0, p), 6);
    R[1] = _mm_srai_epi16(_mm_adds_epi16(E1, g), 6);
    R[6] = _mm_srai_epi16(_mm_subs_epi16(E1, g), 6);
    R[2] = _mm_srai_epi16(_mm_adds_epi16(E2, h), 6);
    R[5] = _mm_srai_epi16(_mm_subs_epi16(E2, h), 6);
    R[3] = _mm_srai_epi16(_mm_adds_epi16(E3, t), 6);
    R[4] = _mm_srai_epi16(_mm_subs_epi16(E3, t), 6);
}

// The transformed block in R[0..7], rows of 16-bit samples (not level-shifted), when the nonzero
// coefficients lie in rows 0..Rows-1 and columns 0..Cols-1.
template <int Rows, int Cols, bool Saturate>
inline void inverse(const Kep16s* pSrc, const Kep16u* pTable, __m128i* R) {
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r)
        R[r] = row<Cols>(dequantize<Saturate>(loadRow<Cols>(pSrc + 8 * r), loadRow<Cols>(pTable + 8 * r)), r);
    // An all-zero row r gives (0 + R_r + 0) >> 11 everywhere: 1 for rows 1 and 2 (2901, 2260), 0 for
    // rows 3..7.
    // (Unrolled, so that the constants fold into the column pass instead of going through memory.)
#pragma GCC unroll 8
    for (int r = Rows; r < 8; ++r) R[r] = _mm_set1_epi16(static_cast<Kep16s>(kIdctRowRound[r] >> 11));
    columns<Rows>(R);
}
template <int N, bool Saturate>
inline void inverse(const Kep16s* pSrc, const Kep16u* pTable, __m128i* R) {
    inverse<N, N, Saturate>(pSrc, pTable, R);
}

// A block whose AC coefficients are all zero, w its dequantized DC (the low 16 bits of DC * Q).
// The row pass gives row 0 the value a = (16384 w + 65536) >> 11 = 8w + 32, saturated, in every
// column, and rows 1..7 their rounding constants >> 11: 1, 1, 0, 0, 0, 0, 0. In the column pass
// every M(1, c) is 0 except M(1, C4m) = -1, which cancels the 1 in g and h, so the even part is
// E0 = a + 1, E1 = E2 = a, E3 = a - 1 and the odd part is p = 1, g = h = t = 0: output rows
// (E0 + 1, a, a, E3, E3, a, a, E0 - 1) >> 6, each constant along the row. The saturating adds
// are done in the same order as in the full pass, so even the clamped ends agree bit for bit.
inline void dcOnlyLS(Kep32s w, Kep8u* pDst, int dstStep) {
    const Kep32s a = 8 * w + 32;
    __m128i v = _mm_set1_epi16(static_cast<Kep16s>(a > 32767 ? 32767 : a < -32768 ? -32768 : a));
    v = _mm_adds_epi16(v, _mm_setr_epi16(1, 0, 0, -1, -1, 0, 0, 1));   // E0 in lanes 0 and 7, E3 in 3 and 4
    v = _mm_adds_epi16(v, _mm_setr_epi16(1, 0, 0, 0, 0, 0, 0, -1));   // E0 + p, E0 - p
    v = _mm_add_epi16(_mm_srai_epi16(v, 6), _mm_set1_epi16(128));
    // Byte r of the packed row values spread over the eight bytes of row r.
    const __m128i b = _mm_packus_epi16(v, v);
    const __m128i pairs = _mm_unpacklo_epi8(b, b);
    const __m128i lo = _mm_unpacklo_epi16(pairs, pairs), hi = _mm_unpackhi_epi16(pairs, pairs);
    const auto store = [&](int r, __m128i x) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst + static_cast<ptrdiff_t>(r) * dstStep), x);
    };
    store(0, _mm_shuffle_epi32(lo, 0x00));
    store(1, _mm_shuffle_epi32(lo, 0x55));
    store(2, _mm_shuffle_epi32(lo, 0xAA));
    store(3, _mm_shuffle_epi32(lo, 0xFF));
    store(4, _mm_shuffle_epi32(hi, 0x00));
    store(5, _mm_shuffle_epi32(hi, 0x55));
    store(6, _mm_shuffle_epi32(hi, 0xAA));
    store(7, _mm_shuffle_epi32(hi, 0xFF));
}

// Whether the AC coefficients of the top-left N x N corner (N = 2 or 4: the only ones the corner
// forms read) are all zero.
template <int N>
inline bool acZero(const Kep16s* pSrc) {
    using Row = std::conditional_t<N == 4, Kep64u, Kep32u>;
    Row r[N];
    for (int i = 0; i < N; ++i) memcpy(&r[i], pSrc + 8 * i, sizeof(Row));
    Row any = r[0] & ~static_cast<Row>(0xFFFF);  // little-endian: the DC is the low 16 bits
    for (int i = 1; i < N; ++i) any |= r[i];
    return any == 0;
}

inline void storeLS(const __m128i* R, Kep8u* pDst, int dstStep) {
    const __m128i shift = _mm_set1_epi16(128);
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r) {
        const __m128i v = _mm_packus_epi16(_mm_add_epi16(R[r], shift), R[r]);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst + static_cast<ptrdiff_t>(r) * dstStep), v);
    }
}

template <int Rows, int Cols>
inline void inverseLS(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    __m128i R[8];
    inverse<Rows, Cols, false>(pSrc, pTable, R);
    storeLS(R, pDst, dstStep);
}

inline void dcOnlyLS(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    dcOnlyLS(static_cast<Kep16s>(static_cast<Kep16u>(ownLoad16s(pSrc) * ownLoad16u(pTable))), pDst, dstStep);
}

// The whole block: besides DC-only blocks, blocks with rows 4..7 or columns 4..7 all zero (most
// of those that are not in the 4x4 corner) leave the row passes of the zero rows, or the terms of
// the zero columns, out: the same arithmetic, as in the corner forms.
inline void inverseLS8(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    __m128i x[8];
    for (int r = 0; r < 8; ++r) x[r] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSrc + 8 * r));
    const __m128i top = _mm_or_si128(_mm_or_si128(x[0], x[1]), _mm_or_si128(x[2], x[3]));
    const __m128i bottom = _mm_or_si128(_mm_or_si128(x[4], x[5]), _mm_or_si128(x[6], x[7]));
    const __m128i zero = _mm_setzero_si128();
    // Bit pairs 0..7 of each mask: lanes 0..7 of the rows 0..3 (with the DC lane cleared) and 4..7.
    const int topZero = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(top, _mm_setr_epi16(0, -1, -1, -1, -1, -1, -1, -1)), zero));
    const int bottomZero = _mm_movemask_epi8(_mm_cmpeq_epi16(bottom, zero));
    const bool lowerZero = bottomZero == 0xFFFF, rightZero = ((topZero & bottomZero) >> 8) == 0xFF;
    if (lowerZero && topZero == 0xFFFF) dcOnlyLS(pSrc, pDst, dstStep, pTable);
    else if (lowerZero) rightZero ? inverseLS<4, 4>(pSrc, pDst, dstStep, pTable) : inverseLS<4, 8>(pSrc, pDst, dstStep, pTable);
    else rightZero ? inverseLS<8, 4>(pSrc, pDst, dstStep, pTable) : inverseLS<8, 8>(pSrc, pDst, dstStep, pTable);
}

template <int N>
inline void inverseLS(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    if (acZero<N>(pSrc)) dcOnlyLS(pSrc, pDst, dstStep, pTable);
    else inverseLS<N, N>(pSrc, pDst, dstStep, pTable);
}

}  // namespace

void ownDCTQuantInv8x8_ssse3(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable, bool saturate) {
    __m128i R[8];
    if (saturate) inverse<8, true>(pSrc, pTable, R);
    else inverse<8, false>(pSrc, pTable, R);
    for (int r = 0; r < 8; ++r) _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + 8 * r), R[r]);
}

void ownDCTQuantInv8x8LS_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    inverseLS8(pSrc, pDst, dstStep, pTable);
}
void ownDCTQuantInv8x8LS_4x4_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    inverseLS<4>(pSrc, pDst, dstStep, pTable);
}
void ownDCTQuantInv8x8LS_2x2_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    inverseLS<2>(pSrc, pDst, dstStep, pTable);
}

void ownDCTQuantInv8x8LS_1x1_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    const Kep32s p = static_cast<Kep32s>(ownLoad16s(pSrc)) * static_cast<Kep32s>(ownLoad16u(pTable));
    const Kep16s v = static_cast<Kep16s>(static_cast<Kep16u>((p >> 3) + 128));  // floor(p / 8) + 128, 16 bits
    const __m128i fill = _mm_set1_epi8(static_cast<char>(ownSat8u(v)));
    for (int r = 0; r < 8; ++r) _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst + static_cast<ptrdiff_t>(r) * dstStep), fill);
}

void ownAdd128_ssse3(const Kep16s* pSrc, int srcStep, Kep8u* pDst, int dstStep, int width, int height) {
    const __m128i shift = _mm_set1_epi16(128);
    for (int r = 0; r < height; ++r) {
        const Kep8u* s = reinterpret_cast<const Kep8u*>(pSrc) + static_cast<ptrdiff_t>(r) * srcStep;
        Kep8u* d = pDst + static_cast<ptrdiff_t>(r) * dstStep;
        int c = 0;
        for (; c + 8 <= width; c += 8) {
            const __m128i v = _mm_adds_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 2 * c)), shift);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d + c), _mm_packus_epi16(v, v));
        }
        for (; c < width; ++c) d[c] = ownSat8u(ownLoad16s(s + 2 * c) + 128);
    }
}
