// The 8x8 DCT of ITU-T T.81 A.3.3 in double precision, written from its definition, as the
// yardstick of the accuracy tests:
//   S(v,u) = 1/4 C(u) C(v) sum_y sum_x s(y,x) cos((2x+1) u pi/16) cos((2y+1) v pi/16)
//   s(y,x) = 1/4 sum_v sum_u C(u) C(v) S(v,u) cos((2x+1) u pi/16) cos((2y+1) v pi/16)
// with C(0) = 1/sqrt(2), C(k) = 1 otherwise. Blocks are natural order, entry 8*row + column. The
// n-point form (n = 2, 4, 8) is the same with 2n in place of 16.
#ifndef KEP_TEST_DCT_EXACT_H
#define KEP_TEST_DCT_EXACT_H

#include <cmath>

namespace dctexact {

// basis(n)[k][x] = C(k) cos((2x + 1) k pi / 2n) / 2
struct Basis {
    double b[8][8];
    explicit Basis(int n) {
        for (int k = 0; k < n; ++k)
            for (int x = 0; x < n; ++x)
                b[k][x] = (k == 0 ? std::sqrt(0.5) : 1.0) * std::cos((2 * x + 1) * k * M_PI / (2.0 * n)) / 2.0;
    }
};

inline const Basis& basis(int n) {
    static const Basis b8(8), b4(4), b2(2);
    return n == 8 ? b8 : n == 4 ? b4 : b2;
}

// Forward DCT of an 8x8 block of samples.
inline void forward(const double* s, double* S) {
    const Basis& B = basis(8);
    double t[64];
    for (int y = 0; y < 8; ++y)
        for (int u = 0; u < 8; ++u) {
            double a = 0;
            for (int x = 0; x < 8; ++x) a += B.b[u][x] * s[8 * y + x];
            t[8 * y + u] = a;
        }
    for (int v = 0; v < 8; ++v)
        for (int u = 0; u < 8; ++u) {
            double a = 0;
            for (int y = 0; y < 8; ++y) a += B.b[v][y] * t[8 * y + u];
            S[8 * v + u] = a;
        }
}

// n-point inverse DCT of the top-left n x n coefficients of an 8x8 block (stride 8) into an n x n
// block (stride n).
inline void inverse(const double* S, double* s, int n = 8) {
    const Basis& B = basis(n);
    double t[64];
    for (int v = 0; v < n; ++v)
        for (int x = 0; x < n; ++x) {
            double a = 0;
            for (int u = 0; u < n; ++u) a += B.b[u][x] * S[8 * v + u];
            t[8 * v + x] = a;
        }
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            double a = 0;
            for (int v = 0; v < n; ++v) a += B.b[v][y] * t[8 * v + x];
            s[n * y + x] = a;
        }
}

}  // namespace dctexact

#endif  // KEP_TEST_DCT_EXACT_H
