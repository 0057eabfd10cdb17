// Huffman encoding: the encoder state, the bit writer with 0xFF stuffing and its flush, and
// baseline block coding (T.81 F.1.2), careful bit-by-bit reference path and exports.

#include "huff.h"
#include "pjdispatch.h"
#include "pjzigzag.h"

const Kep8u ownHuffCsize[256] = {
    0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5,
    6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6,
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7,
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
};

// ---- Bit writer -----------------------------------------------------------------------------

// The pending bits sit left-aligned at bit 23 of a 32-bit word; each whole byte is taken from
// bits 16..23 and the word shifted up by 8, so bits 24..31 hold the last byte written. The word
// goes back to the state (upper half of bitBuffer zero) only when every byte went out.
KepResult ownHuffWriteBits(Kep32u value, int length, const OwnHuffDst& dst, KepiEncodeHuffmanState* st) {
    if (length == 0) return kepErrHuffmanTable;
    int n = st->bitCount + length;
    const Kep32u mask = length >= 32 ? 0xFFFFFFFFu : (1u << length) - 1;
    Kep32u word = static_cast<Kep32u>(st->bitBuffer) | ((value & mask) << (24 - n));
    int pos = *dst.pos;
    while (n >= 8) {
        const Kep8u b = static_cast<Kep8u>(word >> 16);
        if (pos >= dst.len || pos < 0) return kepErrStreamEnd;  // never before the buffer either
        dst.p[pos] = b;
        *dst.pos = ++pos;
        if (b == 0xFF) {
            if (pos == dst.len) return kepErrStreamEnd;
            dst.p[pos] = 0;
            *dst.pos = ++pos;
        }
        n -= 8;
        word <<= 8;
    }
    st->bitBuffer = word;
    st->bitCount = n;
    return kepOk;
}

KepResult ownHuffWriteSymbol(const KepiEncodeHuffmanSpec* spec, int symbol, const OwnHuffDst& dst,
                             KepiEncodeHuffmanState* st) {
    if (symbol > 255) return kepErrHuffmanTable;
    const Kep32u e = spec->entry[symbol];
    return ownHuffWriteBits(e & 0xFFFF, static_cast<int>(e >> 16), dst, st);
}

KepResult ownHuffFlushBaseline(const OwnHuffDst& dst, KepiEncodeHuffmanState* st) {
    const KepResult r = ownHuffWriteBits(0x7F, 7, dst, st);
    memset(st, 0, sizeof *st);
    return r;
}

// ---- Careful block encoder ------------------------------------------------------------------

namespace {

// Symbol, then its s extra bits; stops at the first write that fails.
KepResult writeCoded(const KepiEncodeHuffmanSpec* spec, int symbol, Kep32s v, int s, const OwnHuffDst& dst,
                     KepiEncodeHuffmanState* st) {
    KepResult r = ownHuffWriteSymbol(spec, symbol, dst, st);
    if (r == kepOk && s != 0) r = ownHuffWriteBits(ownHuffExtraBits(v, s), s, dst, st);
    return r;
}

}  // namespace

KepResult ownHuffEncodeBlock_careful(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                                     const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                                     KepiEncodeHuffmanState* st) {
    const Kep32s diff = static_cast<Kep32s>(pSrc[0]) - *pLastDC;
    *pLastDC = pSrc[0];
    const int sdc = ownHuffCategory(diff);
    KepResult r = writeCoded(dc, sdc, diff, sdc, dst, st);
    if (r != kepOk) return r;

    int run = 0;
    for (int k = 1; k < 64; ++k) {
        const Kep32s v = pSrc[ownZigzagNaturalExt[k]];
        if (v == 0) {
            ++run;
            continue;
        }
        for (; run > 15; run -= 16)
            if ((r = ownHuffWriteSymbol(ac, 0xF0, dst, st)) != kepOk) return r;
        const int s = ownHuffCategory(v);
        if ((r = writeCoded(ac, run * 16 + s, v, s, dst, st)) != kepOk) return r;
        run = 0;
    }
    if (run > 0) return ownHuffWriteSymbol(ac, 0x00, dst, st);
    return kepOk;
}

// ---- Exports --------------------------------------------------------------------------------

KepResult own_kepiEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
    return ownHuffGetSize<KepiEncodeHuffmanState>(pSize);
}

KepResult own_kepiEncodeHuffmanStateInit_JPEG_8u(KepiEncodeHuffmanState* pEncHuffState) {
    if (!pEncHuffState) return kepErrNullPtr;
    memset(pEncHuffState, 0, sizeof *pEncHuffState);
    return kepOk;
}

KepResult own_kepiEncodeHuffmanStateInitAlloc_JPEG_8u(KepiEncodeHuffmanState** ppEncHuffState) {
    return ownHuffInitAlloc(ppEncHuffState);
}

KepResult own_kepiEncodeHuffmanStateFree_JPEG_8u(KepiEncodeHuffmanState* pEncHuffState) {
    return ownHuffFree(pEncHuffState);
}

KepResult own_kepiEncodeHuffman8x8_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes, int* pDstCurrPos,
                                                 Kep16s* pLastDC, const KepiEncodeHuffmanSpec* pDcTable,
                                                 const KepiEncodeHuffmanSpec* pAcTable,
                                                 KepiEncodeHuffmanState* pEncHuffState, int bFlushState) {
    if (!pDst) return kepErrNullPtr;
    if (dstLenBytes < 1) return kepErrSize;
    if (!pDstCurrPos || !pEncHuffState) return kepErrNullPtr;
    const OwnHuffDst dst = {pDst, dstLenBytes, pDstCurrPos};
    if (bFlushState) return ownHuffFlushBaseline(dst, pEncHuffState);
    if (!pSrc || !pLastDC || !pDcTable || !pAcTable) return kepErrNullPtr;

    return ownHuffEncodeBlock(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, pDcTable, pAcTable, pEncHuffState, true);
}

// The Direct form runs the same coders on a state rebuilt from the partial byte, with the whole
// address space as room (the caller guarantees it).
KepResult own_kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int* pDstBitsLen,
                                                        Kep16s* pLastDC, const KepiEncodeHuffmanSpec* pDcTable,
                                                        const KepiEncodeHuffmanSpec* pAcTable) {
    if (!pSrc || !pDst || !pDstBitsLen || !pLastDC || !pDcTable || !pAcTable) return kepErrNullPtr;

    int pos = *pDstBitsLen >> 3;
    KepiEncodeHuffmanState st;
    st.bitCount = *pDstBitsLen & 7;
    st.bitBuffer = st.bitCount ? static_cast<Kep32u>(pDst[pos] & (0xFF00 >> st.bitCount)) << 16 : 0;
    ownHuffEncodeBlock(pSrc, pDst, 0x7FFFFFFF, &pos, pLastDC, pDcTable, pAcTable, &st, false);  // -64 ends the block
    if (st.bitCount) pDst[pos] = static_cast<Kep8u>(st.bitBuffer >> 16);
    *pDstBitsLen = pos * 8 + st.bitCount;
    return kepOk;
}
