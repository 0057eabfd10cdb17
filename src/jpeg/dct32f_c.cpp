// Plain C single-precision 8x8 DCT of 12-bit samples: the reference, one value at a time.

#include "dct32f.h"

namespace {

// Rows, then columns, of the block in b.
template <void (*Pass)(float*)>
void separable(float* b) {
    for (int r = 0; r < 8; ++r) Pass(b + 8 * r);
    for (int c = 0; c < 8; ++c) {
        float col[8];
        for (int k = 0; k < 8; ++k) col[k] = b[8 * k + c];
        Pass(col);
        for (int k = 0; k < 8; ++k) b[8 * k + c] = col[k];
    }
}

}  // namespace

void ownDCTQuantFwd8x8LS_32f_c(const Kep16u* pSrc, int srcStep, Kep16s* pDst, const Kep32f* pTable) {
    float b[64];
    for (int r = 0; r < 8; ++r) {
        const Kep8u* s = reinterpret_cast<const Kep8u*>(pSrc) + static_cast<ptrdiff_t>(r) * srcStep;
        // Samples are read as signed: values above 32767 are negative.
        for (int c = 0; c < 8; ++c) b[8 * r + c] = static_cast<float>(ownLoad16s(s + 2 * c)) - 2048.0f;
    }
    separable<ownFdct8<float>>(b);
    const Kep8u* tab = reinterpret_cast<const Kep8u*>(pTable);
    Kep8u* dst = reinterpret_cast<Kep8u*>(pDst);
    for (int i = 0; i < 64; ++i) {
        float m;
        memcpy(&m, tab + 4 * i, sizeof m);
        // Clamp first (max returns its second operand for a NaN), then round in the default mode.
        __m128 v = _mm_set_ss(b[i] * kFdctPostScale.v[i] * m);
        v = _mm_min_ss(_mm_max_ss(v, _mm_set_ss(-32768.0f)), _mm_set_ss(32767.0f));
        ownStore16s(dst + 2 * i, static_cast<Kep16s>(_mm_cvtss_si32(v)));
    }
}

void ownDCTQuantInv8x8LS_32f_c(const Kep16s* pSrc, Kep16u* pDst, int dstStep, const Kep32f* pTable) {
    const Kep8u* src = reinterpret_cast<const Kep8u*>(pSrc);
    const Kep8u* tab = reinterpret_cast<const Kep8u*>(pTable);
    float b[64];
    for (int i = 0; i < 64; ++i) {
        float m;
        memcpy(&m, tab + 4 * i, sizeof m);
        b[i] = static_cast<float>(ownLoad16s(src + 2 * i)) * m * kIdctPreScale.v[i];
    }
    separable<ownIdct8<float>>(b);
    for (int r = 0; r < 8; ++r) {
        Kep8u* d = reinterpret_cast<Kep8u*>(pDst) + static_cast<ptrdiff_t>(r) * dstStep;
        for (int c = 0; c < 8; ++c) {
            // + 2048 truncated toward zero, then clamped to 0..4095: the same as clamping first
            // (a NaN becomes 0) and truncating.
            __m128 v = _mm_add_ss(_mm_set_ss(b[8 * r + c]), _mm_set_ss(2048.0f));
            v = _mm_min_ss(_mm_max_ss(v, _mm_setzero_ps()), _mm_set_ss(4095.0f));
            const Kep16u s = static_cast<Kep16u>(_mm_cvttss_si32(v));
            memcpy(d + 2 * c, &s, sizeof s);
        }
    }
}
