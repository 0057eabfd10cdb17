// Plain C forward 8x8 DCT with quantization: the reference arithmetic, one value at a time.
// Built without auto-vectorisation; the SSSE3 kernels are checked against it bit for bit.

#include "dct.h"

namespace {

// Column pass: a scaled 8-point DCT of each column in 16-bit arithmetic. Row k of the result is
// frequency k times the factor that the row pass's group weights take out again. The "| 1" on
// outputs 1, 2, 6 and the shifts are part of the result.
void fdctColumns(Kep16s* b) {
    for (int j = 0; j < 8; ++j) {
        Kep16s x[8];
        for (int k = 0; k < 8; ++k) x[k] = b[8 * k + j];
        const Kep16s s07 = ownAdds16(x[0], x[7]), s16 = ownAdds16(x[1], x[6]);
        const Kep16s s25 = ownAdds16(x[2], x[5]), s34 = ownAdds16(x[3], x[4]);
        const Kep16s d07 = ownSubs16(x[0], x[7]), d16 = ownSubs16(x[1], x[6]);
        const Kep16s d25 = ownSubs16(x[2], x[5]), d34 = ownSubs16(x[3], x[4]);

        // Even half.
        const Kep16s A = ownShl16(s16, 3), B = ownShl16(s25, 3);
        const Kep16s e = ownSubs16(A, B), f = ownAdds16(A, B);
        const Kep16s g = ownShl16(ownSubs16(s07, s34), 3), h = ownShl16(ownAdds16(s07, s34), 3);
        Kep16s out[8];
        out[0] = ownAdds16(h, f);
        out[4] = ownSubs16(h, f);
        out[2] = static_cast<Kep16s>(ownAdds16(g, ownMulHi16(e, kDctT2)) | 1);
        out[6] = static_cast<Kep16s>(ownSubs16(ownMulHi16(g, kDctT2), e) | 1);

        // Odd half: the rotation by pi/4 of d16 and d25, then the butterflies with d07 and d34.
        const Kep16s D16 = ownShl16(d16, 4), D25 = ownShl16(d25, 4);
        const Kep16s p = static_cast<Kep16s>(ownMulHi16(ownAdds16(D16, D25), kDctC4) | 1);
        const Kep16s q = ownMulHi16(ownSubs16(D16, D25), kDctC4);
        const Kep16s D34 = ownShl16(d34, 3), D07 = ownShl16(d07, 3);
        const Kep16s u = ownAdds16(D34, q), w = ownSubs16(D34, q);
        const Kep16s a = ownAdds16(D07, p), bb = ownSubs16(D07, p);
        out[1] = static_cast<Kep16s>(ownAdds16(ownMulHi16(u, kDctT1), a) | 1);
        out[7] = ownSubs16(ownMulHi16(a, kDctT1), u);
        out[3] = ownSubs16(bb, ownAdds16(ownMulHi16(w, kDctT3), w));
        out[5] = ownAdds16(ownAdds16(ownMulHi16(bb, kDctT3), bb), w);
        for (int k = 0; k < 8; ++k) b[8 * k + j] = out[k];
    }
}

// (sum + 2^19) >> 20 of a wrapping 32-bit sum, saturated to 16 bits.
Kep16s rowOut(Kep64s sum) {
    return ownSat16s(ownWrap32(static_cast<Kep64s>(ownWrap32(sum)) + (1 << 19)) >> 20);
}

// Row pass: the 8-point DCT of each row with the weights of its group, in 32-bit sums.
void fdctRows(Kep16s* b) {
    for (int r = 0; r < 8; ++r) {
        Kep16s* y = b + 8 * r;
        const Kep16s* c = kDctWeights[kDctRowGroup[r]];
        Kep64s s[4], d[4];
        for (int k = 0; k < 4; ++k) {
            s[k] = ownAdds16(y[k], y[7 - k]);
            d[k] = ownSubs16(y[k], y[7 - k]);
        }
        Kep16s z[8];
        z[0] = rowOut(c[4] * s[0] + c[4] * s[1] + c[4] * s[2] + c[4] * s[3]);
        z[4] = rowOut(c[4] * s[0] - c[4] * s[1] - c[4] * s[2] + c[4] * s[3]);
        z[2] = rowOut(c[2] * s[0] + c[6] * s[1] - c[6] * s[2] - c[2] * s[3]);
        z[6] = rowOut(c[6] * s[0] - c[2] * s[1] + c[2] * s[2] - c[6] * s[3]);
        z[1] = rowOut(c[1] * d[0] + c[3] * d[1] + c[5] * d[2] + c[7] * d[3]);
        z[3] = rowOut(c[3] * d[0] - c[7] * d[1] - c[1] * d[2] - c[5] * d[3]);
        z[5] = rowOut(c[5] * d[0] - c[1] * d[1] + c[7] * d[2] + c[3] * d[3]);
        z[7] = rowOut(c[7] * d[0] - c[5] * d[1] + c[3] * d[2] - c[1] * d[3]);
        for (int k = 0; k < 8; ++k) y[k] = z[k];
    }
}

// Transform and quantize the block in b, writing it to pDst.
void transformQuantize(Kep16s* b, Kep16s* pDst, const Kep16u* pTable) {
    fdctColumns(b);
    fdctRows(b);
    const Kep8u* tab = reinterpret_cast<const Kep8u*>(pTable);
    Kep8u* dst = reinterpret_cast<Kep8u*>(pDst);
    for (int i = 0; i < 64; ++i) {
        // |x * f| <= 32768 * 65535 < 2^31, and the rounding terms keep it below 2^31.
        const Kep32s p = static_cast<Kep32s>(b[i]) * static_cast<Kep32s>(ownLoad16u(tab + 2 * i));
        ownStore16s(dst + 2 * i, ownSat16s((p + 16383 + ((p >> 15) & 1)) >> 15));
    }
}

}  // namespace

void ownDCTQuantFwd8x8_c(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable) {
    Kep16s b[64];
    const Kep8u* src = reinterpret_cast<const Kep8u*>(pSrc);
    for (int i = 0; i < 64; ++i) b[i] = ownLoad16s(src + 2 * i);
    transformQuantize(b, pDst, pTable);
}

void ownDCTQuantFwd8x8LS_c(const Kep8u* pSrc, int srcStep, Kep16s* pDst, const Kep16u* pTable) {
    Kep16s b[64];
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) b[8 * r + c] = static_cast<Kep16s>(pSrc[static_cast<ptrdiff_t>(r) * srcStep + c] - 128);
    transformQuantize(b, pDst, pTable);
}

void ownSub128_c(const Kep8u* pSrc, int srcStep, Kep16s* pDst, int dstStep, int width, int height) {
    for (int r = 0; r < height; ++r) {
        const Kep8u* s = pSrc + static_cast<ptrdiff_t>(r) * srcStep;
        Kep8u* d = reinterpret_cast<Kep8u*>(pDst) + static_cast<ptrdiff_t>(r) * dstStep;
        for (int c = 0; c < width; ++c) ownStore16s(d + 2 * c, static_cast<Kep16s>(s[c] - 128));
    }
}
