// 8x8 DCT kernels fused with quantization (ITU-T T.81 A.3.3, A.3.4).
//
// The integer transforms exist as a plain C reference (fdct_c.cpp, idct_c.cpp) that spells out the
// fixed-point arithmetic one value at a time, and as SSSE3 kernels (fdct_ssse3.cpp,
// idct_ssse3.cpp) that must equal the reference bit for bit for every input, saturating ones
// included. Every kernel reads and writes its blocks, tables and planes at any address (the C
// references through memcpy, the SSSE3 kernels with unaligned loads and stores), reads its whole
// input before it writes, and so may run in place.
//
// Notation of the fixed-point arithmetic below: + and - on 16-bit values saturate; a << n on a
// 16-bit value wraps; M(a, c) = floor(a * c / 65536), the high half of the signed product.
#ifndef KEP_DCT_H
#define KEP_DCT_H

#include <stddef.h>

#include "owndefs.h"

// ---- Constants shared by the forward and the inverse integer transforms ----------------------

// Column-pass multipliers, 16-bit signed: tan(pi/16), tan(2pi/16), tan(3pi/16) - 1 at 16 fraction
// bits; cos(4pi/16) at 15 fraction bits; cos(4pi/16) - 1 at 16 fraction bits.
enum : Kep16s { kDctT1 = 13036, kDctT2 = 27146, kDctT3 = -21746, kDctC4 = 23170, kDctC4m = -19195 };

// Row-pass weights of the four row groups, c1..c7: round(32768 * G * cos(k pi / 16)), with the
// group factor G = cos(g pi / 16) for g = 4, 1, 2, 3 (entry 0 unused; the DC weight is c4). The
// column pass leaves row r scaled by the factor of frequency r, and rows r and 8 - r alike, so row r
// uses group kDctRowGroup[r] and its weights take the factor out again.
inline constexpr Kep16s kDctWeights[4][8] = {
    {0, 22725, 21407, 19266, 16384, 12873, 8867, 4520},
    {0, 31521, 29692, 26722, 22725, 17855, 12299, 6270},
    {0, 29692, 27969, 25172, 21407, 16819, 11585, 5906},
    {0, 26722, 25172, 22654, 19266, 15137, 10426, 5315},
};
inline constexpr int kDctRowGroup[8] = {0, 1, 2, 3, 0, 3, 2, 1};
// Rounding constants of the inverse row pass, one per row. The 65536 of row 0 reaches every output
// through the DC path as half a unit of the final >> 6; the column pass adds no rounding of its own.
inline constexpr Kep32s kIdctRowRound[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};

// Weight vectors for paired 16x16->32 multiply-adds (pmaddwd) in the row passes: for each group,
// four vectors of eight lanes; a lane holds +-c_k as named by a layout entry +-k.
struct OwnMaddWeights {
    alignas(16) Kep16s v[4][4][8];  // [group][vector][lane]
};
constexpr OwnMaddWeights ownMaddWeights(const int (&layout)[4][8]) {
    OwnMaddWeights w{};
    for (int g = 0; g < 4; ++g)
        for (int m = 0; m < 4; ++m)
            for (int l = 0; l < 8; ++l) {
                const int k = layout[m][l];
                w.v[g][m][l] = static_cast<Kep16s>(k < 0 ? -kDctWeights[g][-k] : kDctWeights[g][k]);
            }
    return w;
}

// Argument checks shared by the exports. A block and a plane (either way round), the plane's step,
// then the table.
static inline KepResult ownCheckBlockPlane(const void* pSrc, const void* pDst, int step, const void* pTable) {
    if (!pSrc || !pDst) return kepErrNullPtr;
    if (step < 1) return kepErrStep;
    if (!pTable) return kepErrNullPtr;
    return kepOk;
}
// A region copy: each pointer followed by its step, then the region.
static inline KepResult ownCheckRegion(const void* pSrc, int srcStep, const void* pDst, int dstStep, KepiSize roi) {
    if (!pSrc) return kepErrNullPtr;
    if (srcStep < 1) return kepErrStep;
    if (!pDst) return kepErrNullPtr;
    if (dstStep < 1) return kepErrStep;
    if (roi.width < 1 || roi.height < 1) return kepErrSize;
    return kepOk;
}

// Scalar forms of the 16-bit operations, for the references.
static inline Kep16s ownAdds16(Kep16s a, Kep16s b) { return ownSat16s(static_cast<Kep32s>(a) + b); }
static inline Kep16s ownSubs16(Kep16s a, Kep16s b) { return ownSat16s(static_cast<Kep32s>(a) - b); }
static inline Kep16s ownShl16(Kep16s a, int n) { return static_cast<Kep16s>(static_cast<Kep16u>(static_cast<Kep16u>(a) << n)); }
static inline Kep16s ownMulHi16(Kep16s a, Kep16s c) { return static_cast<Kep16s>((static_cast<Kep32s>(a) * c) >> 16); }
// A 32-bit sum that wraps like the SIMD lanes do (only saturated 16-bit inputs get that far).
static inline Kep32s ownWrap32(Kep64s v) { return static_cast<Kep32s>(static_cast<Kep32u>(static_cast<Kep64u>(v))); }

// ---- Forward -------------------------------------------------------------------------------------

// Integer forward DCT of a 16-bit block followed by quantization with a reciprocal table f:
// p = x * f, x' = sat16((p + 16383 + ((p >> 15) & 1)) >> 15) (round half to even at 15 bits).
KEP_HIDDEN void ownDCTQuantFwd8x8_c(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable);
KEP_HIDDEN void ownDCTQuantFwd8x8_ssse3(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable);
// The same after the level shift s - 128 of an 8x8 region of 8-bit samples.
KEP_HIDDEN void ownDCTQuantFwd8x8LS_c(const Kep8u* pSrc, int srcStep, Kep16s* pDst, const Kep16u* pTable);
KEP_HIDDEN void ownDCTQuantFwd8x8LS_ssse3(const Kep8u* pSrc, int srcStep, Kep16s* pDst, const Kep16u* pTable);
// dst = src - 128 over a width x height region (steps in bytes).
KEP_HIDDEN void ownSub128_c(const Kep8u* pSrc, int srcStep, Kep16s* pDst, int dstStep, int width, int height);
KEP_HIDDEN void ownSub128_ssse3(const Kep8u* pSrc, int srcStep, Kep16s* pDst, int dstStep, int width, int height);

// ---- Inverse -------------------------------------------------------------------------------------

// Dequantization of step 1 of every inverse kernel: the low 16 bits of x * q (wrapping), or with
// saturate set the product clamped to -32768..32767.
// Integer inverse DCT to a 16-bit block, not level-shifted, not clamped.
KEP_HIDDEN void ownDCTQuantInv8x8_c(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable, bool saturate);
KEP_HIDDEN void ownDCTQuantInv8x8_ssse3(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pTable, bool saturate);
// Integer inverse DCT, + 128, clamped to 0..255, of the top-left n x n coefficients of the block
// (n = 8: all; n = 2 or 4: the others are taken as zero), dequantized with wrapping.
KEP_HIDDEN void ownDCTQuantInv8x8LS_c(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable, int n);
KEP_HIDDEN void ownDCTQuantInv8x8LS_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable);
KEP_HIDDEN void ownDCTQuantInv8x8LS_4x4_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable);
KEP_HIDDEN void ownDCTQuantInv8x8LS_2x2_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable);
// DC only: v = (Kep16s)(((DC * q0) >> 3) + 128) clamped to 0..255, the 32-bit product floored.
KEP_HIDDEN void ownDCTQuantInv8x8LS_1x1_c(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable);
KEP_HIDDEN void ownDCTQuantInv8x8LS_1x1_ssse3(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable);
// Reduced-size decoding: an n x n inverse DCT (n = 2 or 4) of the top-left n x n coefficients,
// + 128, clamped to 0..255, written as n rows of n samples.
KEP_HIDDEN void ownDCTQuantInv8x8ToNxNLS_c(const Kep16s* pSrc, Kep8u* pDst, int dstStep, const Kep16u* pTable, int n);
// dst = sat8u(src + 128) over a width x height region (steps in bytes).
KEP_HIDDEN void ownAdd128_c(const Kep16s* pSrc, int srcStep, Kep8u* pDst, int dstStep, int width, int height);
KEP_HIDDEN void ownAdd128_ssse3(const Kep16s* pSrc, int srcStep, Kep8u* pDst, int dstStep, int width, int height);

#endif  // KEP_DCT_H
