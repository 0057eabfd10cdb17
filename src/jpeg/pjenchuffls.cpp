// Lossless JPEG Huffman encoding (T.81 H.1.2.2): one difference, or a row of up to four
// interleaved components, through the baseline bit writer.

#include "huffprog.h"
#include "pjdispatch.h"

namespace {

// Category symbol and, for categories 1..15, the extra bits; -32768 (the difference 32768) is
// category 16 and has none.
inline KepResult encodeDiff(Kep16s d, const KepiEncodeHuffmanSpec* spec, const OwnHuffDst& dst,
                            KepiEncodeHuffmanState* st) {
    const int s = ownHuffCategory(d);
    KepResult r = ownHuffWriteSymbol(spec, s, dst, st);
    if (r == kepOk && s != 0 && s != 16) r = ownHuffWriteBits(ownHuffExtraBits(d, s), s, dst, st);
    return r;
}

}  // namespace

KepResult own_kepiEncodeHuffmanOne_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes, int* pDstCurrPos,
                                                 const KepiEncodeHuffmanSpec* pEncHuffTable,
                                                 KepiEncodeHuffmanState* pEncHuffState, int bFlushState) {
    KepResult r;
    if (ownHuffEncodePrologue(pDst, dstLenBytes, pDstCurrPos, pEncHuffState, bFlushState, &r)) return r;
    const OwnHuffDst dst = {pDst, dstLenBytes, pDstCurrPos};
    if (!pSrc || !pEncHuffTable) return kepErrNullPtr;
    return encodeDiff(*pSrc, pEncHuffTable, dst, pEncHuffState);
}

KepResult own_kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(const Kep16s* pSrc[4], int width, int nComponents, Kep8u* pDst,
                                                   int dstLenBytes, int* pDstCurrPos,
                                                   const KepiEncodeHuffmanSpec* pEncHuffTable[4],
                                                   KepiEncodeHuffmanState* pEncHuffState, int bFlushState) {
    KepResult r;
    if (ownHuffEncodePrologue(pDst, dstLenBytes, pDstCurrPos, pEncHuffState, bFlushState, &r)) return r;
    const OwnHuffDst dst = {pDst, dstLenBytes, pDstCurrPos};
    if (!pSrc) return kepErrNullPtr;
    if (width < 1 || nComponents < 1) return kepErrSize;
    if (!pEncHuffTable) return kepErrNullPtr;
    const int n = nComponents < 4 ? nComponents : 4;
    for (int c = 0; c < n; ++c)
        if (!pSrc[c] || !pEncHuffTable[c]) return kepErrNullPtr;

    for (int i = 0; i < width; ++i)
        for (int c = 0; c < n; ++c) {
            if ((r = encodeDiff(pSrc[c][i], pEncHuffTable[c], dst, pEncHuffState)) != kepOk) return r;
        }
    return kepOk;
}
