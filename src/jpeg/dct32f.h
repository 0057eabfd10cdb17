// Single-precision 8x8 DCT of 12-bit samples: the one-dimensional butterflies and the scale tables,
// shared by the plain C reference (dct32f_c.cpp) and the SSE kernels (dct32f_ssse3.cpp). T is
// float or __m128 (four lanes); both run exactly the same operations in the same order, so the
// kernels equal the reference bit for bit.
#ifndef KEP_DCT32F_H
#define KEP_DCT32F_H

#include <xmmintrin.h>

#include "dct.h"

template <typename T> inline T ownSplat(float c);
template <> inline float ownSplat<float>(float c) { return c; }
template <> inline __m128 ownSplat<__m128>(float c) { return _mm_set1_ps(c); }

// Forward, one pass over x[0..7] in place: the scaled factorisation of Arai, Agui and Nakajima,
// with the odd half scaled by 2 cos(pi/8) / sqrt(2) = 1.0823922 so that its rotations need only
// tan(pi/8). Output k is sqrt(2) C(k) sum_n x[n] cos((2n + 1) k pi / 16) / (8 p(k)), which the
// post-scale 8 p(v) p(u) turns into the T.81 coefficient.
template <typename T>
inline void ownFdct8(T* x) {
    const T s07 = x[0] + x[7], s16 = x[1] + x[6], s25 = x[2] + x[5], s34 = x[3] + x[4];
    const T d07 = x[0] - x[7], d16 = x[1] - x[6], d25 = x[2] - x[5], d34 = x[3] - x[4];

    const T a = s07 + s34, b = s16 + s25, c = s07 - s34, d = s16 - s25;
    const T z1 = (c + d) * ownSplat<T>(0.70710677f);
    x[0] = a + b;
    x[4] = a - b;
    x[2] = c + z1;
    x[6] = c - z1;

    const T t = ownSplat<T>(0.41421357f), k = ownSplat<T>(1.0823922f);
    const T t10 = d34 + d25, t11 = d25 + d16, t12 = d16 + d07;
    const T z2 = t10 - t * t12, z4 = t12 + t * t10, z3 = t11 * ownSplat<T>(0.76536685f);
    const T z11 = d07 * k + z3, z13 = d07 * k - z3;
    x[5] = z13 + z2;
    x[3] = z13 - z2;
    x[1] = z11 + z4;
    x[7] = z11 - z4;
}

// Inverse, one pass over z[0..7] in place: the same factorisation, with the odd inputs pre-scaled
// by a further 2 cos(pi/8) so that the odd half needs only the multipliers 0.5411961, 0.76536685,
// 1.4142135 and 0.41421357. With the pre-scale applied, one pass computes
// 1/2 sum_k C(k) X(k) cos((2n + 1) k pi / 16), the two passes the T.81 inverse DCT.
template <typename T>
inline void ownIdct8(T* z) {
    const T r2 = ownSplat<T>(1.4142135f);
    const T e0 = z[0] + z[4], e1 = z[0] - z[4];
    const T p = z[2] + z[6], m = (z[2] - z[6]) * r2 - p;
    const T E0 = e0 + p, E3 = e0 - p, E1 = e1 + m, E2 = e1 - m;

    const T z13 = z[5] + z[3], z10 = z[5] - z[3], z11 = z[1] + z[7], z12 = z[1] - z[7];
    const T o0 = (z11 + z13) * ownSplat<T>(0.5411961f);
    const T o1 = (z10 + z12 - z10 * r2) - o0;
    const T o2 = (z11 - z13) * ownSplat<T>(0.76536685f) - o1;
    const T o3 = (z10 + z12 * ownSplat<T>(0.41421357f)) - o2;
    z[0] = E0 + o0;
    z[7] = E0 - o0;
    z[1] = E1 + o1;
    z[6] = E1 - o1;
    z[2] = E2 + o2;
    z[5] = E2 - o2;
    z[3] = E3 + o3;
    z[4] = E3 - o3;
}

// Scale factors of the factorisation: sqrt(2) cos(k pi / 16) for k = 2, 6; 1 for k = 0, 4; and for
// odd k the same times `odd`, the extra factor of the odd half.
constexpr double ownAanScale(int k, double odd) {
    constexpr double c[8] = {1.0, 0.98078528040323043, 0.92387953251128674, 0.83146961230254524,
                             0.70710678118654752, 0.55557023301960218, 0.38268343236508977, 0.19509032201612826};
    return (k == 0 || k == 4) ? 1.0 : 1.4142135623730951 * c[k] * ((k & 1) ? odd : 1.0);
}

struct alignas(16) OwnScale32f {
    float v[64];
};
// Forward post-scale P(v, u) = 8 p(v) p(u), p(k) = 1 / (8 s(k)) with odd factor 1.0823922
// (p = 0.125, 0.08326, 0.09567, 0.09821, 0.125, 0.14698, 0.23097, 0.41858 to five digits).
constexpr OwnScale32f ownFdctPostScale() {
    OwnScale32f s{};
    const double odd = 1.0823922002923940;  // 2 cos(pi/8) / sqrt(2)
    for (int i = 0; i < 64; ++i) s.v[i] = static_cast<float>(1.0 / (8.0 * ownAanScale(i >> 3, odd) * ownAanScale(i & 7, odd)));
    return s;
}
// Inverse pre-scale s(v) s(u) / 8 with odd factor 2 cos(pi/8); its first row is 0.125, 0.32036,
// 0.16332, 0.27159, 0.125, 0.18147, 0.06765, 0.06372.
constexpr OwnScale32f ownIdctPreScale() {
    OwnScale32f s{};
    const double odd = 2.0 * 0.92387953251128674;  // 2 cos(pi/8)
    for (int i = 0; i < 64; ++i) s.v[i] = static_cast<float>(ownAanScale(i >> 3, odd) * ownAanScale(i & 7, odd) / 8.0);
    return s;
}
inline constexpr OwnScale32f kFdctPostScale = ownFdctPostScale();
inline constexpr OwnScale32f kIdctPreScale = ownIdctPreScale();

// Forward: samples read as signed 16-bit, minus 2048; rows then columns; each coefficient times
// the post-scale, times the table entry, clamped to -32768..32767 (a NaN gives -32768) and rounded
// to nearest even.
KEP_HIDDEN void ownDCTQuantFwd8x8LS_32f_c(const Kep16u* pSrc, int srcStep, Kep16s* pDst, const Kep32f* pTable);
KEP_HIDDEN void ownDCTQuantFwd8x8LS_32f_ssse3(const Kep16u* pSrc, int srcStep, Kep16s* pDst, const Kep32f* pTable);
// Inverse: each coefficient times its table entry, times the pre-scale; rows then columns; + 2048,
// clamped to 0..4095 (a NaN gives 0) and truncated toward zero.
KEP_HIDDEN void ownDCTQuantInv8x8LS_32f_c(const Kep16s* pSrc, Kep16u* pDst, int dstStep, const Kep32f* pTable);
KEP_HIDDEN void ownDCTQuantInv8x8LS_32f_ssse3(const Kep16s* pSrc, Kep16u* pDst, int dstStep, const Kep32f* pTable);

#endif  // KEP_DCT32F_H
