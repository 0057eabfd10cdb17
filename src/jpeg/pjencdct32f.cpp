// Forward 8x8 DCT of 12-bit samples in single precision, with a caller-supplied multiplier table.

#include <xmmintrin.h>

#include "dct.h"
#include "pjdispatch.h"

namespace {

// Separable scaled DCT (the factorisation of Arai, Agui and Nakajima, with the odd half scaled by
// 2 cos(pi/8) / sqrt(2) = 1.0823922 so that its rotations need only tan(pi/8)). Output k of one pass
// is sqrt(2) * C(k) * sum_n x[n] cos((2n + 1) k pi / 16) / (8 p(k)), which the post-scale
// 8 p(v) p(u) turns into the T.81 coefficient.
void fdct8(float* v, int stride) {
    float* x[8];
    for (int n = 0; n < 8; ++n) x[n] = v + n * stride;
    const float s07 = *x[0] + *x[7], s16 = *x[1] + *x[6], s25 = *x[2] + *x[5], s34 = *x[3] + *x[4];
    const float d07 = *x[0] - *x[7], d16 = *x[1] - *x[6], d25 = *x[2] - *x[5], d34 = *x[3] - *x[4];

    const float a = s07 + s34, b = s16 + s25, c = s07 - s34, d = s16 - s25;
    const float z1 = (c + d) * 0.70710677f;
    *x[0] = a + b;
    *x[4] = a - b;
    *x[2] = c + z1;
    *x[6] = c - z1;

    const float t10 = d34 + d25, t11 = d25 + d16, t12 = d16 + d07;
    const float z2 = t10 - 0.41421357f * t12, z4 = t12 + 0.41421357f * t10, z3 = t11 * 0.76536685f;
    const float z11 = d07 * 1.0823922f + z3, z13 = d07 * 1.0823922f - z3;
    *x[5] = z13 + z2;
    *x[3] = z13 - z2;
    *x[1] = z11 + z4;
    *x[7] = z11 - z4;
}

// P(v, u) = 8 p(v) p(u) with p(0) = p(4) = 1/8, p(2) = 1 / (8 sqrt(2) cos(2pi/16)),
// p(6) = 1 / (8 sqrt(2) cos(6pi/16)) and p(k) = 1 / (8 * 1.0823922 * sqrt(2) cos(k pi/16)) for odd k
// (0.125, 0.08326, 0.09567, 0.09821, 0.125, 0.14698, 0.23097, 0.41858 to five digits).
struct PostScale {
    float v[64];
};
constexpr PostScale makePostScale() {
    PostScale s{};
    const double odd = 1.0823922002923940;  // 2 cos(pi/8) / sqrt(2)
    for (int i = 0; i < 64; ++i) s.v[i] = static_cast<float>(1.0 / (8.0 * ownAanScale(i >> 3, odd) * ownAanScale(i & 7, odd)));
    return s;
}
constexpr PostScale kPostScale = makePostScale();

}  // namespace

void ownDCTQuantFwd8x8LS_32f(const Kep16u* pSrc, int srcStep, Kep16s* pDst, const Kep32f* pTable) {
    float b[64];
    for (int r = 0; r < 8; ++r) {
        const Kep8u* s = reinterpret_cast<const Kep8u*>(pSrc) + static_cast<ptrdiff_t>(r) * srcStep;
        // Samples are read as signed: values above 32767 are negative.
        for (int c = 0; c < 8; ++c) b[8 * r + c] = static_cast<float>(ownLoad16s(s + 2 * c)) - 2048.0f;
    }
    for (int r = 0; r < 8; ++r) fdct8(b + 8 * r, 1);
    for (int c = 0; c < 8; ++c) fdct8(b + c, 8);
    const Kep8u* tab = reinterpret_cast<const Kep8u*>(pTable);
    Kep8u* dst = reinterpret_cast<Kep8u*>(pDst);
    for (int i = 0; i < 64; ++i) {
        float m;
        memcpy(&m, tab + 4 * i, sizeof m);
        // Clamp first (a NaN becomes -32768), then round to nearest even in the default mode.
        __m128 v = _mm_set_ss(b[i] * kPostScale.v[i] * m);
        v = _mm_min_ss(_mm_max_ss(v, _mm_set_ss(-32768.0f)), _mm_set_ss(32767.0f));
        ownStore16s(dst + 2 * i, static_cast<Kep16s>(_mm_cvtss_si32(v)));
    }
}

KepResult own_kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const Kep16u* pSrc, int srcStep, Kep16s* pDst,
                                                    const Kep32f* pQuantFwdTable) {
    const KepResult r = ownCheckBlockPlane(pSrc, pDst, srcStep, pQuantFwdTable);
    if (r == kepOk) ownDCTQuantFwd8x8LS_32f(pSrc, srcStep, pDst, pQuantFwdTable);
    return r;
}
