// Plain C block quantization: the reference arithmetic and the odd-address fallbacks.
// Built without auto-vectorisation so that the reference stays one coefficient at a time.

#include "quant.h"

void ownQuantFwd8x8_c(Kep16s* pSrcDst, const Kep16u* pTable) {
    for (int i = 0; i < 64; ++i) {
        // x * 8 truncated to 16 bits: inputs outside -4096..4095 wrap.
        const Kep16s t = static_cast<Kep16s>(static_cast<Kep16u>(pSrcDst[i] * 8));
        // Multiply-high of two signed 16-bit values; the halved reciprocal is at most 32767.
        const Kep32s h = (static_cast<Kep32s>(t) * static_cast<Kep32s>(pTable[i] >> 1)) >> 16;
        pSrcDst[i] = static_cast<Kep16s>((h + 1) >> 1);
    }
}

void ownQuantFwd8x8Odd_c(Kep16s* pSrcDst, const Kep16u* pTable) {
    Kep8u* const blk = reinterpret_cast<Kep8u*>(pSrcDst);
    const Kep8u* const tab = reinterpret_cast<const Kep8u*>(pTable);
    for (int i = 0; i < 64; ++i) {
        // |x * f| < 2^31 for every 16-bit x and f, and so is p + 16384.
        const Kep32s p = static_cast<Kep32s>(ownLoad16s(blk + 2 * i)) * static_cast<Kep32s>(ownLoad16u(tab + 2 * i));
        // Round half to even at 15 fraction bits: add 0.5 - 2^-15, plus 2^-15 when the integer
        // part is odd.
        const Kep32s r = (p + 16383 + ((p >> 15) & 1)) >> 15;
        ownStore16s(blk + 2 * i, ownSat16s(r));
    }
}

void ownQuantInv8x8_c(Kep16s* pSrcDst, const Kep16u* pTable) {
    for (int i = 0; i < 64; ++i) {
        const Kep32s p = static_cast<Kep32s>(pSrcDst[i]) * static_cast<Kep32s>(pTable[i]);
        pSrcDst[i] = static_cast<Kep16s>(static_cast<Kep16u>(p));  // low 16 bits: wraps
    }
}

void ownQuantInv8x8Odd_c(Kep16s* pSrcDst, const Kep16u* pTable) {
    Kep8u* const blk = reinterpret_cast<Kep8u*>(pSrcDst);
    const Kep8u* const tab = reinterpret_cast<const Kep8u*>(pTable);
    for (int i = 0; i < 64; ++i) {
        const Kep32s p = static_cast<Kep32s>(ownLoad16s(blk + 2 * i)) * static_cast<Kep32s>(ownLoad16u(tab + 2 * i));
        ownStore16s(blk + 2 * i, ownSat16s(p));
    }
}
