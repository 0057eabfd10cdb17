// SSSE3 row split and join: eight samples per step.

#include <tmmintrin.h>

#include "rowsplit.h"

void ownSplitRow_ssse3(const Kep8u* src, Kep8u* hi, Kep8u* lo, int len) {
    // Odd bytes (high) to the low half, even bytes (low) to the high half.
    const __m128i sep = _mm_setr_epi8(1, 3, 5, 7, 9, 11, 13, 15, 0, 2, 4, 6, 8, 10, 12, 14);
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const __m128i v = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * static_cast<size_t>(i))), sep);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(hi + i), v);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(lo + i), _mm_unpackhi_epi64(v, v));
    }
    ownSplitRow_c(src + 2 * static_cast<size_t>(i), hi + i, lo + i, len - i);
}

void ownJoinRow_ssse3(const Kep8u* hi, const Kep8u* lo, Kep8u* dst, int len) {
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const __m128i h = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(hi + i));
        const __m128i l = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(lo + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * static_cast<size_t>(i)), _mm_unpacklo_epi8(l, h));
    }
    ownJoinRow_c(hi + i, lo + i, dst + 2 * static_cast<size_t>(i), len - i);
}
