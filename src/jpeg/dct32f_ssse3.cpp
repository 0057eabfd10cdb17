// SSE single-precision 8x8 DCT of 12-bit samples. The block is held as 16 registers, row r in
// lo[r] (columns 0..3) and hi[r] (columns 4..7); the column pass runs on them directly, the row
// pass between two transpositions. Bit for bit the arithmetic of dct32f_c.cpp.

#include <emmintrin.h>

#include "dct32f.h"

namespace {

// Transposes the 8x8 block in place: the four 4x4 quarters, the off-diagonal ones swapped.
inline void transpose(__m128* lo, __m128* hi) {
    _MM_TRANSPOSE4_PS(lo[0], lo[1], lo[2], lo[3]);
    _MM_TRANSPOSE4_PS(hi[4], hi[5], hi[6], hi[7]);
    _MM_TRANSPOSE4_PS(hi[0], hi[1], hi[2], hi[3]);
    _MM_TRANSPOSE4_PS(lo[4], lo[5], lo[6], lo[7]);
    for (int k = 0; k < 4; ++k) {
        const __m128 t = hi[k];
        hi[k] = lo[4 + k];
        lo[4 + k] = t;
    }
}

// Row pass then column pass, each a one-dimensional transform on eight registers.
template <void (*Pass)(__m128*)>
inline void transform2d(__m128* lo, __m128* hi) {
    transpose(lo, hi);
    Pass(lo);
    Pass(hi);
    transpose(lo, hi);
    Pass(lo);
    Pass(hi);
}

inline __m128 loadTable(const Kep32f* p) { return _mm_loadu_ps(p); }

}  // namespace

void ownDCTQuantFwd8x8LS_32f_ssse3(const Kep16u* pSrc, int srcStep, Kep16s* pDst, const Kep32f* pTable) {
    __m128 lo[8], hi[8];
    const __m128 shift = _mm_set1_ps(2048.0f);
    for (int r = 0; r < 8; ++r) {
        const Kep8u* s = reinterpret_cast<const Kep8u*>(pSrc) + static_cast<ptrdiff_t>(r) * srcStep;
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        // Sign-extend the 16-bit samples: the signed reading of the reference.
        lo[r] = _mm_sub_ps(_mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16)), shift);
        hi[r] = _mm_sub_ps(_mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16)), shift);
    }
    transform2d<ownFdct8<__m128>>(lo, hi);
    const __m128 min = _mm_set1_ps(-32768.0f), max = _mm_set1_ps(32767.0f);
    for (int r = 0; r < 8; ++r) {
        __m128 a = _mm_mul_ps(_mm_mul_ps(lo[r], _mm_load_ps(kFdctPostScale.v + 8 * r)), loadTable(pTable + 8 * r));
        __m128 b = _mm_mul_ps(_mm_mul_ps(hi[r], _mm_load_ps(kFdctPostScale.v + 8 * r + 4)), loadTable(pTable + 8 * r + 4));
        a = _mm_min_ps(_mm_max_ps(a, min), max);
        b = _mm_min_ps(_mm_max_ps(b, min), max);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + 8 * r), _mm_packs_epi32(_mm_cvtps_epi32(a), _mm_cvtps_epi32(b)));
    }
}

void ownDCTQuantInv8x8LS_32f_ssse3(const Kep16s* pSrc, Kep16u* pDst, int dstStep, const Kep32f* pTable) {
    __m128 lo[8], hi[8];
    for (int r = 0; r < 8; ++r) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSrc + 8 * r));
        const __m128 a = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16));
        const __m128 b = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16));
        lo[r] = _mm_mul_ps(_mm_mul_ps(a, loadTable(pTable + 8 * r)), _mm_load_ps(kIdctPreScale.v + 8 * r));
        hi[r] = _mm_mul_ps(_mm_mul_ps(b, loadTable(pTable + 8 * r + 4)), _mm_load_ps(kIdctPreScale.v + 8 * r + 4));
    }
    transform2d<ownIdct8<__m128>>(lo, hi);
    const __m128 shift = _mm_set1_ps(2048.0f), zero = _mm_setzero_ps(), max = _mm_set1_ps(4095.0f);
    for (int r = 0; r < 8; ++r) {
        const __m128 a = _mm_min_ps(_mm_max_ps(_mm_add_ps(lo[r], shift), zero), max);
        const __m128 b = _mm_min_ps(_mm_max_ps(_mm_add_ps(hi[r], shift), zero), max);
        // 0..4095 packs unchanged with signed saturation.
        const __m128i v = _mm_packs_epi32(_mm_cvttps_epi32(a), _mm_cvttps_epi32(b));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(reinterpret_cast<Kep8u*>(pDst) + static_cast<ptrdiff_t>(r) * dstStep), v);
    }
}
