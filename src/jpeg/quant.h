// Block quantization kernels. Each block kernel exists as a plain C reference (quant_c.cpp), which
// spells out the arithmetic one coefficient at a time, and an SSSE3 kernel (quant_ssse3.cpp) that
// must equal it bit for bit for every input. The exports pick the kernel by alignment.
#ifndef KEP_QUANT_H
#define KEP_QUANT_H

#include "owndefs.h"

// Quantization with a reciprocal table f (see kepiQuantFwd8x8_JPEG_16s_C1I):
//   t = (Kep16s)(x * 8); h = floor(t * (f >> 1) / 65536); x' = floor((h + 1) / 2).
KEP_HIDDEN void ownQuantFwd8x8_c(Kep16s* pSrcDst, const Kep16u* pTable);
KEP_HIDDEN void ownQuantFwd8x8A_ssse3(Kep16s* pSrcDst, const Kep16u* pTable);  // both 16-byte aligned
KEP_HIDDEN void ownQuantFwd8x8U_ssse3(Kep16s* pSrcDst, const Kep16u* pTable);  // any even address
// Odd-address fallback: p = x * f; x' = sat16((p + 16383 + ((p >> 15) & 1)) >> 15).
KEP_HIDDEN void ownQuantFwd8x8Odd_c(Kep16s* pSrcDst, const Kep16u* pTable);

// Dequantization with a quantizer table q: x' = (Kep16s)(x * q), the product's low 16 bits.
KEP_HIDDEN void ownQuantInv8x8_c(Kep16s* pSrcDst, const Kep16u* pTable);
KEP_HIDDEN void ownQuantInv8x8A_ssse3(Kep16s* pSrcDst, const Kep16u* pTable);
KEP_HIDDEN void ownQuantInv8x8U_ssse3(Kep16s* pSrcDst, const Kep16u* pTable);
// Odd-address fallback: x' = sat16(x * q).
KEP_HIDDEN void ownQuantInv8x8Odd_c(Kep16s* pSrcDst, const Kep16u* pTable);

// Runs the kernel that suits the addresses: both on 16-byte boundaries, both even, or either odd
// (the fallback with its own arithmetic).
using OwnQuantKernel = void (*)(Kep16s*, const Kep16u*);
static inline void ownQuantByAlignment(Kep16s* pSrcDst, const Kep16u* pTable, OwnQuantKernel aligned,
                                       OwnQuantKernel unaligned, OwnQuantKernel odd) {
    if (!ownAllAligned(2, pSrcDst, pTable)) odd(pSrcDst, pTable);
    else if (ownAllAligned(16, pSrcDst, pTable)) aligned(pSrcDst, pTable);
    else unaligned(pSrcDst, pTable);
}

#endif  // KEP_QUANT_H
