// Plain C inverse 8x8 DCT with dequantization: the reference arithmetic, one value at a time.
// Built without auto-vectorisation; the SSSE3 kernels are checked against it bit for bit.

#include "dct.h"

namespace {

// Dequantizes the top-left n x n coefficients (the others become zero): the low 16 bits of x * q,
// or the product saturated.
void dequantize(const Kep16s* pSrc, const Kep16u* pTable, Kep16s* b, int n, bool saturate) {
    const Kep8u* src = reinterpret_cast<const Kep8u*>(pSrc);
    const Kep8u* tab = reinterpret_cast<const Kep8u*>(pTable);
    for (int i = 0; i < 64; ++i) {
        b[i] = 0;
        if ((i >> 3) >= n || (i & 7) >= n) continue;
        const Kep32s p = static_cast<Kep32s>(ownLoad16s(src + 2 * i)) * static_cast<Kep32s>(ownLoad16u(tab + 2 * i));
        b[i] = saturate ? ownSat16s(p) : static_cast<Kep16s>(static_cast<Kep16u>(p));
    }
}

// Row pass: each row through the weights of its group, (E + R + O) >> 11 and (E + R - O) >> 11 of
// wrapping 32-bit sums, saturated to 16 bits.
void idctRows(Kep16s* b) {
    for (int r = 0; r < 8; ++r) {
        Kep16s* x = b + 8 * r;
        const Kep16s* c = kDctWeights[kDctRowGroup[r]];
        const Kep64s v[8] = {x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7]};
        const Kep64s E[4] = {
            c[4] * v[0] + c[2] * v[2] + c[4] * v[4] + c[6] * v[6],
            c[4] * v[0] + c[6] * v[2] - c[4] * v[4] - c[2] * v[6],
            c[4] * v[0] - c[6] * v[2] - c[4] * v[4] + c[2] * v[6],
            c[4] * v[0] - c[2] * v[2] + c[4] * v[4] - c[6] * v[6],
        };
        const Kep64s O[4] = {
            c[1] * v[1] + c[3] * v[3] + c[5] * v[5] + c[7] * v[7],
            c[3] * v[1] - c[7] * v[3] - c[1] * v[5] - c[5] * v[7],
            c[5] * v[1] - c[1] * v[3] + c[7] * v[5] + c[3] * v[7],
            c[7] * v[1] - c[5] * v[3] + c[3] * v[5] - c[1] * v[7],
        };
        for (int k = 0; k < 4; ++k) {
            x[k] = ownSat16s(ownWrap32(E[k] + kIdctRowRound[r] + O[k]) >> 11);
            x[7 - k] = ownSat16s(ownWrap32(E[k] + kIdctRowRound[r] - O[k]) >> 11);
        }
    }
}

// Column pass in 16-bit arithmetic; the final >> 6 adds no rounding of its own.
void idctColumns(Kep16s* b) {
    for (int j = 0; j < 8; ++j) {
        Kep16s R[8];
        for (int k = 0; k < 8; ++k) R[k] = b[8 * k + j];
        const Kep16s c = ownAdds16(R[1], ownMulHi16(R[7], kDctT1));
        const Kep16s d = ownSubs16(ownMulHi16(R[1], kDctT1), R[7]);
        const Kep16s e = ownAdds16(R[3], ownAdds16(ownMulHi16(R[5], kDctT3), R[5]));
        const Kep16s f = ownSubs16(R[5], ownAdds16(ownMulHi16(R[3], kDctT3), R[3]));
        const Kep16s p = ownAdds16(c, e), q = ownSubs16(c, e), s = ownSubs16(d, f), t = ownAdds16(d, f);
        const Kep16s qs = ownAdds16(q, s), qd = ownSubs16(q, s);
        const Kep16s g = ownAdds16(qs, ownMulHi16(qs, kDctC4m)), h = ownAdds16(qd, ownMulHi16(qd, kDctC4m));
        const Kep16s a = ownAdds16(R[2], ownMulHi16(R[6], kDctT2));
        const Kep16s bb = ownSubs16(ownMulHi16(R[2], kDctT2), R[6]);
        const Kep16s s04 = ownAdds16(R[0], R[4]), d04 = ownSubs16(R[0], R[4]);
        const Kep16s E0 = ownAdds16(s04, a), E3 = ownSubs16(s04, a), E1 = ownAdds16(d04, bb), E2 = ownSubs16(d04, bb);
        const Kep16s out[8] = {ownAdds16(E0, p), ownAdds16(E1, g), ownAdds16(E2, h), ownAdds16(E3, t),
                               ownSubs16(E3, t), ownSubs16(E2, h), ownSubs16(E1, g), ownSubs16(E0, p)};
        for (int k = 0; k < 8; ++k) b[8 * k + j] = static_cast<Kep16s>(out[k] >> 6);
    }
}

void inverse(const Kep16s* pSrc, const Kep16u* pTable, Kep16s* b, int n, bool saturate) {
    dequantize(pSrc, pTable, b, n, saturate);
    idctRows(b);
    idctColumns(b);
}

}  // namespace

void ownDCTQuantInv8x8_c(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable, bool saturate) {
    Kep16s b[64];
    inverse(pSrc, pTable, b, 8, saturate);
    Kep8u* dst = reinterpret_cast<Kep8u*>(pDst);
    for (int i = 0; i < 64; ++i) ownStore16s(dst + 2 * i, b[i]);
}

void ownDCTQuantInv8x8LS_c(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable, int n) {
    Kep16s b[64];
    inverse(pSrc, pTable, b, n, false);
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) pDst[static_cast<ptrdiff_t>(r) * dstStep + c] = ownSat8u(b[8 * r + c] + 128);
}

void ownDCTQuantInv8x8LS_1x1_c(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable) {
    const Kep32s p = static_cast<Kep32s>(ownLoad16s(pSrc)) * static_cast<Kep32s>(ownLoad16u(pTable));
    const Kep16s v = static_cast<Kep16s>(static_cast<Kep16u>((p >> 3) + 128));
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) pDst[static_cast<ptrdiff_t>(r) * dstStep + c] = ownSat8u(v);
}

void ownAdd128_c(const Kep16s* pSrc, int srcStep, Kep8u* pDst, int dstStep, int width, int height) {
    for (int r = 0; r < height; ++r) {
        const Kep8u* s = reinterpret_cast<const Kep8u*>(pSrc) + static_cast<ptrdiff_t>(r) * srcStep;
        Kep8u* d = pDst + static_cast<ptrdiff_t>(r) * dstStep;
        for (int c = 0; c < width; ++c) d[c] = ownSat8u(ownLoad16s(s + 2 * c) + 128);
    }
}

// Reduced-size decoding. The n-point inverse DCT with the normalisation of T.81 A.3.3,
// s(y, x) = 1/4 sum_v sum_u C(u) C(v) S(v, u) cos((2x + 1) u pi / 2n) cos((2y + 1) v pi / 2n),
// maps a block of constant value c (DC 8c) to c, as the 8-point transform does, so each output
// sample stands for the mean of the 8/n x 8/n samples it replaces.
// n = 2: every cosine is +-1/sqrt(2) and s = (S00 +- S01 +- S10 +- S11 + 4) >> 3, exact.
// n = 4: two passes with the weights of 1/2 C(k) cos((2x + 1) k pi / 8) at 13 fraction bits; the
// row pass keeps 2 fraction bits, ((sum + 2^10) >> 11), the column pass rounds, ((sum + 2^14) >> 15).
// Dequantized values are 16-bit, so every sum stays below 2^31.
void ownDCTQuantInv8x8ToNxNLS_c(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable, int n) {
    Kep16s b[64];
    dequantize(pSrc, pTable, b, n, false);
    Kep32s out[4][4];
    if (n == 2) {
        const Kep32s s = b[0] + b[1], d = b[0] - b[1], s8 = b[8] + b[9], d8 = b[8] - b[9];
        out[0][0] = (s + s8 + 4) >> 3;
        out[0][1] = (d + d8 + 4) >> 3;
        out[1][0] = (s - s8 + 4) >> 3;
        out[1][1] = (d - d8 + 4) >> 3;
    } else {
        enum : Kep32s { W0 = 2896, W1 = 3784, W3 = 1567 };  // 8192 * (1/2)(cos(pi/4), cos(pi/8), cos(3pi/8))
        const Kep32s w[4][4] = {{W0, W1, W0, W3}, {W0, W3, -W0, -W1}, {W0, -W3, -W0, W1}, {W0, -W1, W0, -W3}};
        Kep32s t[4][4];
        for (int v = 0; v < 4; ++v)
            for (int x = 0; x < 4; ++x) {
                Kep32s sum = 1 << 10;
                for (int u = 0; u < 4; ++u) sum += w[x][u] * b[8 * v + u];
                t[v][x] = sum >> 11;
            }
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                Kep32s sum = 1 << 14;
                for (int v = 0; v < 4; ++v) sum += w[y][v] * t[v][x];
                out[y][x] = sum >> 15;
            }
    }
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) pDst[static_cast<ptrdiff_t>(y) * dstStep + x] = ownSat8u(out[y][x] + 128);
}
