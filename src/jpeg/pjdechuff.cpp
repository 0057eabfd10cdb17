// Huffman decoding: the decoder state, the bit reader with marker handling, symbol decoding with
// an 8-bit lookahead, and baseline block decoding (T.81 F.2.2), careful reference path and exports.

#include "huff.h"
#include "pjdispatch.h"
#include "pjzigzag.h"

// ---- Bit reader -----------------------------------------------------------------------------

KepResult ownHuffFill(const OwnHuffSrc& src, int need, KepiDecodeHuffmanState* st) {
    if (*src.marker != 0) return need > st->bitCount ? kepErrHuffmanData : kepOk;
    int pos = *src.pos;
    Kep32u buf = static_cast<Kep32u>(st->bitBuffer);
    KepResult r = kepOk;
    while (st->bitCount < 25) {
        if (pos >= src.len || pos < 0) {  // a negative position reads nothing either
            r = need > st->bitCount ? kepErrStreamEnd : kepOk;
            break;
        }
        const Kep32u b = src.p[pos++];
        if (b == 0xFF) {
            Kep32u c;
            do {
                if (pos >= src.len) {
                    r = kepErrStreamEnd;  // a 0xFF that ends the source: whatever is needed
                    goto done;
                }
                c = src.p[pos++];
            } while (c == 0xFF);  // 0xFF fill bytes before a marker
            if (c != 0) {
                // A marker ends the segment. Bits still needed cannot come any more.
                *src.marker = static_cast<int>(c);
                r = need > st->bitCount ? kepErrHuffmanData : kepOk;
                break;
            }
        }
        buf = (buf << 8) | b;
        st->bitCount += 8;
    }
done:
    st->bitBuffer = buf;
    *src.pos = pos;
    return r;
}

namespace {

// The next n (0..16) bits; the caller has made sure they are there.
inline Kep32u peek(const KepiDecodeHuffmanState* st, int n) {
    return (static_cast<Kep32u>(st->bitBuffer) >> (st->bitCount - n)) & ((1u << n) - 1);
}

}  // namespace

KepResult ownHuffDecodeSymbol(const OwnHuffSrc& src, const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st,
                              int* pSymbol) {
    int length = 1;
    KepResult r;
    // With nothing needed the fill fails only on a 0xFF that ends the source.
    if (st->bitCount < 8 && (r = ownHuffFill(src, 0, st)) != kepOk) return r;
    if (st->bitCount >= 8) {
        const Kep32u look = spec->lookahead[peek(st, 8)];
        if (look >> 16) {
            st->bitCount -= static_cast<int>(look >> 16);
            *pSymbol = static_cast<int>(look & 0xFFFF);
            return kepOk;
        }
        length = 9;
    }
    if (st->bitCount < length && (r = ownHuffFill(src, length, st)) != kepOk) return r;
    Kep32u code = peek(st, length);
    st->bitCount -= length;
    // T.81 Figure F.16, one length at a time; a code that matches no length up to 16 has taken
    // a 17th bit when it is rejected.
    for (; length <= 16; ++length) {
        if (ownHuffMatch(spec, length, code, pSymbol)) return kepOk;
        if (st->bitCount == 0 && (r = ownHuffFill(src, 1, st)) != kepOk) return r;
        code = (code << 1) | peek(st, 1);
        st->bitCount -= 1;
    }
    *pSymbol = 0;
    return kepErrHuffmanData;
}

KepResult ownHuffReceiveExtend(const OwnHuffSrc& src, int n, KepiDecodeHuffmanState* st, Kep32s* pValue) {
    KepResult r;
    if (st->bitCount < n && (r = ownHuffFill(src, n, st)) != kepOk) return r;
    const Kep32u v = peek(st, n);
    st->bitCount -= n;
    *pValue = ownHuffExtend(v, n);
    return kepOk;
}

// ---- Careful block decoder ------------------------------------------------------------------

KepResult ownHuffDecodeBlock_careful(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC,
                                     const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac,
                                     KepiDecodeHuffmanState* st) {
    memset(pDst, 0, 64 * sizeof(Kep16s));
    int remaining = 63;
    int symbol;
    Kep32s v = 0;
    KepResult r = ownHuffDecodeSymbol(src, dc, st, &symbol);
    if (r == kepOk && (symbol & 0x0F) != 0) r = ownHuffReceiveExtend(src, symbol & 0x0F, st, &v);
    if (r == kepOk) {
        *pLastDC = static_cast<Kep16s>(*pLastDC + v);
        pDst[0] = *pLastDC;
        for (int k = 1; remaining > 0;) {
            if ((r = ownHuffDecodeSymbol(src, ac, st, &symbol)) != kepOk) break;
            const int run = symbol >> 4, s = symbol & 0x0F;
            if (s != 0) {
                k += run;
                remaining -= run + 1;
                if ((r = ownHuffReceiveExtend(src, s, st, &v)) != kepOk) break;
                const int natural = ownZigzagNaturalExt[k];
                if (natural > 63) {
                    r = kepErrCoeffIndex;
                    break;
                }
                pDst[natural] = static_cast<Kep16s>(v);
                ++k;
            } else if (run == 15) {
                k += 16;
                remaining -= 16;
            } else {
                break;  // EOB
            }
        }
    }
    st->blockPos = static_cast<Kep32u>(64 - remaining);
    return r;
}

// ---- Exports --------------------------------------------------------------------------------

KepResult own_kepiDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
    return ownHuffGetSize<KepiDecodeHuffmanState>(pSize);
}

KepResult own_kepiDecodeHuffmanStateInit_JPEG_8u(KepiDecodeHuffmanState* pDecHuffState) {
    if (!pDecHuffState) return kepErrNullPtr;
    memset(pDecHuffState, 0, sizeof *pDecHuffState);
    return kepOk;
}

KepResult own_kepiDecodeHuffmanStateInitAlloc_JPEG_8u(KepiDecodeHuffmanState** ppDecHuffState) {
    return ownHuffInitAlloc(ppDecHuffState);
}

KepResult own_kepiDecodeHuffmanStateFree_JPEG_8u(KepiDecodeHuffmanState* pDecHuffState) {
    return ownHuffFree(pDecHuffState);
}

// own_kepiDecodeHuffman8x8_JPEG_1u16s_C1 is with its kernel in huffdec_fast.cpp.

// The Direct form keeps the reader's bits and position with the caller; it has no length, so the
// fast path may only read bytes the careful path would read, and the source is bounded by the
// marker the caller guarantees.
KepResult own_kepiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Kep8u* pSrc, int* pSrcBitsLen, Kep16s* pDst,
                                                        Kep16s* pLastDC, int* pMarker, Kep32u* pPrefetchedBits,
                                                        int* pNumValidPrefetchedBits,
                                                        const KepiDecodeHuffmanSpec* pDcTable,
                                                        const KepiDecodeHuffmanSpec* pAcTable) {
    if (!pSrc || !pSrcBitsLen) return kepErrNullPtr;
    if (*pSrcBitsLen < 0) return kepErrArgRange;
    if (!pDst || !pLastDC || !pMarker || !pPrefetchedBits || !pNumValidPrefetchedBits) return kepErrNullPtr;
    if (*pNumValidPrefetchedBits < 0 || *pNumValidPrefetchedBits > 32) return kepErrArgRange;
    if (!pDcTable || !pAcTable) return kepErrNullPtr;

    KepiDecodeHuffmanState st = {*pPrefetchedBits, *pNumValidPrefetchedBits, 0, 0, 0};
    int pos = *pSrcBitsLen >> 3;
    const OwnHuffSrc src = {pSrc, 0x7FFFFFFF, &pos, pMarker};
    KepResult r = kepOk;
    if (!ownHuffDecodeBlock_schedule(src, pDst, pLastDC, pDcTable, pAcTable, &st))
        r = ownHuffDecodeBlock_careful(src, pDst, pLastDC, pDcTable, pAcTable, &st);
    *pSrcBitsLen = pos * 8;
    *pPrefetchedBits = static_cast<Kep32u>(st.bitBuffer);
    *pNumValidPrefetchedBits = st.bitCount;
    return r;
}
