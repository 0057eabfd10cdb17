// Progressive Huffman encoding (T.81 G.1.2): DC first and refinement scans through the baseline
// bit writer, AC first and refinement scans through the progressive writer, with the end-of-band
// run and the correction bits carried in the encoder state from block to block.

#include "huffprog.h"
#include "pjdispatch.h"

KepResult ownHuffProgWriteBits(Kep32u value, int length, const OwnHuffDst& dst, KepiEncodeHuffmanState* st) {
    if (length == 0) return kepErrHuffmanTable;
    const Kep64u acc = (st->bitBuffer << length) | (value & ((1u << length) - 1));
    int n = st->bitCount + length;
    int pos = *dst.pos;
    while (n >= 8) {
        n -= 8;
        const Kep8u b = static_cast<Kep8u>(acc >> n);
        if (pos >= dst.len || pos < 0) return kepErrStreamEnd;
        dst.p[pos] = b;
        *dst.pos = ++pos;
        if (b == 0xFF) {
            if (pos == dst.len) return kepErrStreamEnd;
            dst.p[pos] = 0;
            *dst.pos = ++pos;
        }
    }
    st->bitBuffer = acc & ((Kep64u{1} << n) - 1);
    st->bitCount = n;
    return kepOk;
}

namespace {

// Flush of the AC encoders: run, correction bits, 1-bits up to the byte boundary; the state is
// left as after Init whatever happened, and the first failure is returned.
KepResult flushAC(const KepiEncodeHuffmanSpec* spec, const OwnHuffDst& dst, KepiEncodeHuffmanState* st) {
    const OwnHuffProgWriter w{spec, dst, st};
    KepResult r = ownHuffEmitEobRun(w, st);
    if (r == kepOk && st->bitCount % 8 != 0) {
        const int pad = 8 - st->bitCount % 8;
        r = ownHuffProgWriteBits(0xFF, pad, dst, st);
    }
    memset(st, 0, sizeof *st);
    return r;
}

// An AC encoder: the shared checks (the table before the flush, which needs it), then the scan.
template <KepResult (*Scan)(const OwnHuffProgWriter&, const Kep16s*, int, int, int, KepiEncodeHuffmanState*)>
KepResult encodeAC(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes, int* pDstCurrPos, int Ss, int Se, int Al,
                   const KepiEncodeHuffmanSpec* pAcTable, KepiEncodeHuffmanState* st, int bFlushState) {
    if (!pDst) return kepErrNullPtr;
    if (dstLenBytes < 1) return kepErrSize;
    if (!pDstCurrPos || !st || !pAcTable) return kepErrNullPtr;
    const OwnHuffDst dst = {pDst, dstLenBytes, pDstCurrPos};
    if (bFlushState) return flushAC(pAcTable, dst, st);
    if (!pSrc) return kepErrNullPtr;
    if (ownHuffBadBand(Ss, Se, Al)) return kepErrArgRange;
    return Scan(OwnHuffProgWriter{pAcTable, dst, st}, pSrc, Ss, Se, Al, st);
}

}  // namespace

KepResult own_kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                         int* pDstCurrPos, Kep16s* pLastDC, int Al,
                                                         const KepiEncodeHuffmanSpec* pDcTable,
                                                         KepiEncodeHuffmanState* pEncHuffState, int bFlushState) {
    KepResult r;
    if (ownHuffEncodePrologue(pDst, dstLenBytes, pDstCurrPos, pEncHuffState, bFlushState, &r)) return r;
    if (!pSrc || !pLastDC) return kepErrNullPtr;
    if (ownHuffBadAl(Al)) return kepErrArgRange;
    if (!pDcTable) return kepErrNullPtr;

    const Kep32s v = pSrc[0] >> Al;
    const Kep32s diff = v - *pLastDC;
    *pLastDC = static_cast<Kep16s>(v);
    const int s = ownHuffCategory(diff);
    if (s > 11) return kepErrHuffmanData;
    const OwnHuffDst dst = {pDst, dstLenBytes, pDstCurrPos};
    r = ownHuffWriteSymbol(pDcTable, s, dst, pEncHuffState);
    if (r == kepOk && s != 0) r = ownHuffWriteBits(ownHuffExtraBits(diff, s), s, dst, pEncHuffState);
    return r;
}

KepResult own_kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                          int* pDstCurrPos, int Al,
                                                          KepiEncodeHuffmanState* pEncHuffState, int bFlushState) {
    KepResult r;
    if (ownHuffEncodePrologue(pDst, dstLenBytes, pDstCurrPos, pEncHuffState, bFlushState, &r)) return r;
    if (!pSrc) return kepErrNullPtr;
    if (ownHuffBadAl(Al)) return kepErrArgRange;
    return ownHuffWriteBits(static_cast<Kep32u>(pSrc[0] >> Al) & 1, 1, OwnHuffDst{pDst, dstLenBytes, pDstCurrPos},
                            pEncHuffState);
}

KepResult own_kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                         int* pDstCurrPos, int Ss, int Se, int Al,
                                                         const KepiEncodeHuffmanSpec* pAcTable,
                                                         KepiEncodeHuffmanState* pEncHuffState, int bFlushState) {
    return encodeAC<ownHuffACFirst<OwnHuffProgWriter>>(pSrc, pDst, dstLenBytes, pDstCurrPos, Ss, Se, Al, pAcTable,
                                                      pEncHuffState, bFlushState);
}

KepResult own_kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                          int* pDstCurrPos, int Ss, int Se, int Al,
                                                          const KepiEncodeHuffmanSpec* pAcTable,
                                                          KepiEncodeHuffmanState* pEncHuffState, int bFlushState) {
    return encodeAC<ownHuffACRefine<OwnHuffProgWriter>>(pSrc, pDst, dstLenBytes, pDstCurrPos, Ss, Se, Al, pAcTable,
                                                      pEncHuffState, bFlushState);
}
