// SSSE3 block quantization: the 64 coefficients as eight rows of eight 16-bit lanes.

#include <tmmintrin.h>

#include "quant.h"

namespace {

template <bool Aligned>
inline __m128i load(const void* p) {
    return Aligned ? _mm_load_si128(static_cast<const __m128i*>(p)) : _mm_loadu_si128(static_cast<const __m128i*>(p));
}

template <bool Aligned>
inline void store(void* p, __m128i v) {
    if (Aligned) _mm_store_si128(static_cast<__m128i*>(p), v);
    else _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

template <bool Aligned>
inline void quantFwd(Kep16s* pSrcDst, const Kep16u* pTable) {
    const __m128i one = _mm_set1_epi16(1);
    for (int r = 0; r < 64; r += 8) {
        const __m128i x = load<Aligned>(pSrcDst + r);
        // Halving the reciprocal makes it a non-negative signed 16-bit value for pmulhw; the *8
        // restores the scale, and (h + 1) >> 1 rounds with the bit that halving gave away.
        const __m128i f = _mm_srli_epi16(load<Aligned>(pTable + r), 1);
        const __m128i h = _mm_mulhi_epi16(_mm_slli_epi16(x, 3), f);
        store<Aligned>(pSrcDst + r, _mm_srai_epi16(_mm_add_epi16(h, one), 1));
    }
}

template <bool Aligned>
inline void quantInv(Kep16s* pSrcDst, const Kep16u* pTable) {
    for (int r = 0; r < 64; r += 8) {
        const __m128i x = load<Aligned>(pSrcDst + r);
        store<Aligned>(pSrcDst + r, _mm_mullo_epi16(x, load<Aligned>(pTable + r)));
    }
}

}  // namespace

void ownQuantFwd8x8A_ssse3(Kep16s* pSrcDst, const Kep16u* pTable) { quantFwd<true>(pSrcDst, pTable); }
void ownQuantFwd8x8U_ssse3(Kep16s* pSrcDst, const Kep16u* pTable) { quantFwd<false>(pSrcDst, pTable); }
void ownQuantInv8x8A_ssse3(Kep16s* pSrcDst, const Kep16u* pTable) { quantInv<true>(pSrcDst, pTable); }
void ownQuantInv8x8U_ssse3(Kep16s* pSrcDst, const Kep16u* pTable) { quantInv<false>(pSrcDst, pTable); }
