// Inverse 8x8 DCT to 12-bit samples in single precision, with a caller-supplied multiplier table.

#include <xmmintrin.h>

#include "dct.h"
#include "pjdispatch.h"

namespace {

// Separable scaled inverse DCT (the factorisation of Arai, Agui and Nakajima, with the odd inputs
// pre-scaled by a further 2 cos(pi/8) so that the odd half needs only the multipliers 0.5411961,
// 0.76536685, 1.4142135 and 0.41421357). With the pre-scale below applied, one pass computes
// 1/2 sum_k C(k) X(k) cos((2n + 1) k pi / 16), the two passes together the T.81 inverse DCT.
void idct8(float* v, int stride) {
    float* z[8];
    for (int n = 0; n < 8; ++n) z[n] = v + n * stride;
    const float e0 = *z[0] + *z[4], e1 = *z[0] - *z[4];
    const float p = *z[2] + *z[6], m = (*z[2] - *z[6]) * 1.4142135f - p;
    const float E0 = e0 + p, E3 = e0 - p, E1 = e1 + m, E2 = e1 - m;

    const float z13 = *z[5] + *z[3], z10 = *z[5] - *z[3], z11 = *z[1] + *z[7], z12 = *z[1] - *z[7];
    const float o0 = (z11 + z13) * 0.5411961f;
    const float o1 = (z10 + z12 - z10 * 1.4142135f) - o0;
    const float o2 = (z11 - z13) * 0.76536685f - o1;
    const float o3 = (z10 + z12 * 0.41421357f) - o2;
    *z[0] = E0 + o0;
    *z[7] = E0 - o0;
    *z[1] = E1 + o1;
    *z[6] = E1 - o1;
    *z[2] = E2 + o2;
    *z[5] = E2 - o2;
    *z[3] = E3 + o3;
    *z[4] = E3 - o3;
}

// Pre-scale q(v) q(u) / 8 with q(0) = q(4) = 1, q(k) = sqrt(2) cos(k pi/16) for k = 2, 6 and
// q(k) = 2 cos(pi/8) sqrt(2) cos(k pi/16) for odd k; its first row is 0.125, 0.32036, 0.16332,
// 0.27159, 0.125, 0.18147, 0.06765, 0.06372.
struct PreScale {
    float v[64];
};
constexpr PreScale makePreScale() {
    PreScale s{};
    const double odd = 2.0 * 0.92387953251128674;  // 2 cos(pi/8)
    for (int i = 0; i < 64; ++i) s.v[i] = static_cast<float>(ownAanScale(i >> 3, odd) * ownAanScale(i & 7, odd) / 8.0);
    return s;
}
constexpr PreScale kPreScale = makePreScale();

}  // namespace

void ownDCTQuantInv8x8LS_32f(const Kep16s* pSrc, Kep16u* pDst, int dstStep, const Kep32f* pTable) {
    const Kep8u* src = reinterpret_cast<const Kep8u*>(pSrc);
    const Kep8u* tab = reinterpret_cast<const Kep8u*>(pTable);
    float b[64];
    for (int i = 0; i < 64; ++i) {
        float m;
        memcpy(&m, tab + 4 * i, sizeof m);
        b[i] = static_cast<float>(ownLoad16s(src + 2 * i)) * m * kPreScale.v[i];
    }
    for (int r = 0; r < 8; ++r) idct8(b + 8 * r, 1);
    for (int c = 0; c < 8; ++c) idct8(b + c, 8);
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

KepResult own_kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(const Kep16s* pSrc, Kep16u* pDst, int dstStep,
                                                    const Kep32f* pQuantInvTable) {
    const KepResult r = ownCheckBlockPlane(pSrc, pDst, dstStep, pQuantInvTable);
    if (r == kepOk) ownDCTQuantInv8x8LS_32f(pSrc, pDst, dstStep, pQuantInvTable);
    return r;
}
