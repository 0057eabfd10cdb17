// Lossless JPEG Huffman decoding (T.81 H.1.2.2): one difference, or a row of up to four
// interleaved components.

#include "huffprog.h"
#include "pjdispatch.h"

namespace {

// Symbol 0: 0; 1..15: EXTEND of as many bits; 16 and above: 32768, stored as 0x8000, no bits.
inline KepResult decodeDiff(const OwnHuffSrc& src, const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st,
                            Kep16s* pDst) {
    int s;
    KepResult r = ownHuffDecodeSymbolQuick(src, spec, st, &s);
    if (r != kepOk) return r;
    Kep32s v = 0;
    if (s >= 16) v = -32768;
    else if (s != 0 && (r = ownHuffReceiveExtendQuick(src, s, st, &v)) != kepOk) return r;
    *pDst = static_cast<Kep16s>(v);
    return kepOk;
}

}  // namespace

KepResult own_kepiDecodeHuffmanOne_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Kep16s* pDst,
                                                 int* pMarker, const KepiDecodeHuffmanSpec* pDecHuffTable,
                                                 KepiDecodeHuffmanState* pDecHuffState) {
    if (!pSrc) return kepErrNullPtr;
    if (srcLenBytes < 1) return kepErrSize;
    if (!pSrcCurrPos || !pDst || !pMarker || !pDecHuffTable || !pDecHuffState) return kepErrNullPtr;
    const OwnHuffSrc src = {pSrc, srcLenBytes, pSrcCurrPos, pMarker};
    return decodeDiff(src, pDecHuffTable, pDecHuffState, pDst);
}

KepResult own_kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                   Kep16s* pDst[4], int width, int nComponents, int* pMarker,
                                                   const KepiDecodeHuffmanSpec* pDecHuffTable[4],
                                                   KepiDecodeHuffmanState* pDecHuffState) {
    if (!pSrc) return kepErrNullPtr;
    if (srcLenBytes < 1) return kepErrSize;
    if (!pSrcCurrPos || !pDst) return kepErrNullPtr;
    if (width < 1 || nComponents < 1) return kepErrSize;
    if (!pMarker || !pDecHuffTable || !pDecHuffState) return kepErrNullPtr;
    const int n = nComponents < 4 ? nComponents : 4;
    for (int c = 0; c < n; ++c)
        if (!pDst[c] || !pDecHuffTable[c]) return kepErrNullPtr;

    const OwnHuffSrc src = {pSrc, srcLenBytes, pSrcCurrPos, pMarker};
    for (int i = 0; i < width; ++i)
        for (int c = 0; c < n; ++c) {
            const KepResult r = decodeDiff(src, pDecHuffTable[c], pDecHuffState, &pDst[c][i]);
            if (r != kepOk) return r;
        }
    return kepOk;
}
