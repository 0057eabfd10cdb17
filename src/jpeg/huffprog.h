// Progressive Huffman coding (ITU-T T.81 G.1.2): the symbol sequences of the AC first and AC
// refinement encoders, written once as templates over a sink so that the encoders (which write
// codes and bits) and the statistics (which count symbols) cannot drift apart, plus the bit
// writer of the AC encoders and the raw bit reader of the progressive decoders.
#ifndef KEP_HUFFPROG_H
#define KEP_HUFFPROG_H

#include "huff.h"
#include "pjzigzag.h"

// An end-of-band run never exceeds this many blocks (the largest EOBn symbol, EOB14, holds 14
// extra bits); the encoders emit the run as soon as it gets there.
constexpr Kep32u kOwnHuffMaxEobRun = 32767;
// Correction bits of refinement scans are emitted with the run once more than this many are
// buffered, so that at most 937 + 63 = 1000 are ever held in the state's 1024-byte buffer.
constexpr Kep32u kOwnHuffMaxBufferedCorrBits = 937;

// Range checks shared by the progressive coders and statistics.
static inline bool ownHuffBadAl(int Al) { return Al < 0 || Al > 13; }
static inline bool ownHuffBadBand(int Ss, int Se, int Al) {
    return Ss < 1 || Ss > 63 || Se < Ss || Se > 63 || ownHuffBadAl(Al);
}

// The checks every encoder of the baseline-style bit writer starts with: pDst (-8), the length
// (-6), the position and the state (-8), then the flush when asked. Returns true when the call is
// over, with its result in *pResult.
static inline bool ownHuffEncodePrologue(Kep8u* pDst, int dstLenBytes, int* pDstCurrPos, KepiEncodeHuffmanState* st,
                                         int bFlushState, KepResult* pResult) {
    if (!pDst) *pResult = kepErrNullPtr;
    else if (dstLenBytes < 1) *pResult = kepErrSize;
    else if (!pDstCurrPos || !st) *pResult = kepErrNullPtr;
    else if (bFlushState) *pResult = ownHuffFlushBaseline(OwnHuffDst{pDst, dstLenBytes, pDstCurrPos}, st);
    else return false;
    return true;
}

// ---- Bit writer of the AC encoders -----------------------------------------------------------

// Appends the low `length` (1..16) bits of value to the pending bits, which sit right-aligned in
// the 64-bit bitBuffer, and writes every whole byte out with 0xFF 0x00 stuffing. Length 0 (no
// code) gives kepErrHuffmanTable with nothing written; on kepErrStreamEnd the bytes stored stay,
// the position is past them and the state keeps its bits from before the call.
KEP_HIDDEN KepResult ownHuffProgWriteBits(Kep32u value, int length, const OwnHuffDst& dst, KepiEncodeHuffmanState* st);

// Writes codes and bits through ownHuffProgWriteBits.
struct OwnHuffProgWriter {
    const KepiEncodeHuffmanSpec* spec;
    const OwnHuffDst& dst;
    KepiEncodeHuffmanState* st;
    KepResult symbol(int s) const {
        const Kep32u e = spec->entry[s];
        return ownHuffProgWriteBits(e & 0xFFFF, static_cast<int>(e >> 16), dst, st);
    }
    KepResult bits(Kep32u v, int n) const { return ownHuffProgWriteBits(v, n, dst, st); }
};

// Counts symbols instead of writing them; bits cost nothing.
struct OwnHuffCounter {
    int* stats;
    KepResult symbol(int s) const {
        stats[s] += 1;
        return kepOk;
    }
    KepResult bits(Kep32u, int) const { return kepOk; }
};

// ---- Symbol sequences (T.81 G.1.2.2, G.1.2.3) ------------------------------------------------

// Emits the pending end-of-band run R (nothing for 0; EOBn with n = floor(log2 R) and the n low
// bits of R), splitting a run above 32767 into EOB14 symbols, then the buffered correction bits;
// clears both. A counting sink has no correction bits to write but clears their count too.
template <typename Sink>
KepResult ownHuffEmitEobRun(const Sink& sink, KepiEncodeHuffmanState* st) {
    KepResult r;
    Kep32u run = st->eobRun;
    while (run > kOwnHuffMaxEobRun) {
        if ((r = sink.symbol(0xE0)) != kepOk || (r = sink.bits(run & 0x3FFF, 14)) != kepOk) return r;
        run -= kOwnHuffMaxEobRun;
    }
    if (run > 0) {
        int n = 0;
        while ((run >> (n + 1)) != 0) ++n;
        if ((r = sink.symbol(n << 4)) != kepOk) return r;
        if (n > 0 && (r = sink.bits(run, n)) != kepOk) return r;
    }
    st->eobRun = 0;
    for (Kep32u i = 0; i < st->corrBitCount; ++i)
        if ((r = sink.bits(st->corrBits[i], 1)) != kepOk) return r;
    st->corrBitCount = 0;
    return kepOk;
}

// AC first scan of one block over zigzag positions Ss..Se. A value of category 16 (-32768 with
// Al = 0) has no run/category symbol and gives kepErrHuffmanData.
template <typename Sink>
KepResult ownHuffACFirst(const Sink& sink, const Kep16s* pSrc, int Ss, int Se, int Al, KepiEncodeHuffmanState* st) {
    KepResult r;
    int run = 0;
    for (int k = Ss; k <= Se; ++k) {
        const Kep32s v = pSrc[ownZigzagNaturalExt[k]];
        const Kep32s mag = (v < 0 ? -v : v) >> Al;
        if (mag == 0) {
            ++run;
            continue;
        }
        if (st->eobRun > 0 && (r = ownHuffEmitEobRun(sink, st)) != kepOk) return r;
        for (; run > 15; run -= 16)
            if ((r = sink.symbol(0xF0)) != kepOk) return r;
        const int s = ownHuffCategory(mag);
        if (s > 15) return kepErrHuffmanData;
        if ((r = sink.symbol(run * 16 + s)) != kepOk) return r;
        if ((r = sink.bits(ownHuffExtraBits(v < 0 ? -mag : mag, s), s)) != kepOk) return r;
        run = 0;
    }
    if (run > 0 && ++st->eobRun == kOwnHuffMaxEobRun) return ownHuffEmitEobRun(sink, st);
    return kepOk;
}

// AC refinement scan of one block. Correction bits of this block wait in a local buffer until a
// symbol carries them; those of a block that ends in an end-of-band move into the state's buffer.
template <typename Sink>
KepResult ownHuffACRefine(const Sink& sink, const Kep16s* pSrc, int Ss, int Se, int Al, KepiEncodeHuffmanState* st) {
    KepResult r;
    Kep32s mag[64];
    int eob = 0;  // position of the last newly significant coefficient
    for (int k = Ss; k <= Se; ++k) {
        const Kep32s v = pSrc[ownZigzagNaturalExt[k]];
        mag[k] = (v < 0 ? -v : v) >> Al;
        if (mag[k] == 1) eob = k;
    }
    Kep8u pending[64];
    int npending = 0, run = 0;
    auto emitPending = [&]() -> KepResult {
        for (int i = 0; i < npending; ++i)
            if (KepResult e = sink.bits(pending[i], 1)) return e;
        npending = 0;
        return kepOk;
    };
    for (int k = Ss; k <= Se; ++k) {
        if (mag[k] == 0) {
            ++run;
            continue;
        }
        while (run > 15 && k <= eob) {
            if ((r = ownHuffEmitEobRun(sink, st)) != kepOk || (r = sink.symbol(0xF0)) != kepOk ||
                (r = emitPending()) != kepOk)
                return r;
            run -= 16;
        }
        if (mag[k] > 1) {
            pending[npending++] = static_cast<Kep8u>(mag[k] & 1);  // a correction bit
            continue;
        }
        if ((r = ownHuffEmitEobRun(sink, st)) != kepOk || (r = sink.symbol(run * 16 + 1)) != kepOk ||
            (r = sink.bits(pSrc[ownZigzagNaturalExt[k]] < 0 ? 0 : 1, 1)) != kepOk || (r = emitPending()) != kepOk)
            return r;
        run = 0;
    }
    if (run > 0 || npending > 0) {
        for (int i = 0; i < npending; ++i) st->corrBits[st->corrBitCount + i] = pending[i];
        st->corrBitCount += static_cast<Kep32u>(npending);
        if (++st->eobRun == kOwnHuffMaxEobRun || st->corrBitCount > kOwnHuffMaxBufferedCorrBits)
            return ownHuffEmitEobRun(sink, st);
    }
    return kepOk;
}

// ---- Reading for the decoders -----------------------------------------------------------------

// ownHuffDecodeSymbol with its most common case in line: 8 bits or more held and a code of up to
// 8 bits. Everything else goes to the full routine, which then does exactly what it would have
// done from the start.
static inline KepResult ownHuffDecodeSymbolQuick(const OwnHuffSrc& src, const KepiDecodeHuffmanSpec* spec,
                                                 KepiDecodeHuffmanState* st, int* pSymbol) {
    if (st->bitCount >= 8) {
        const Kep32u look = spec->lookahead[(static_cast<Kep32u>(st->bitBuffer) >> (st->bitCount - 8)) & 0xFF];
        if (look >> 16) {
            st->bitCount -= static_cast<int>(look >> 16);
            *pSymbol = static_cast<int>(look & 0xFFFF);
            return kepOk;
        }
    }
    return ownHuffDecodeSymbol(src, spec, st, pSymbol);
}

// ownHuffReceiveExtend in line when the n (1..16) bits are already held.
static inline KepResult ownHuffReceiveExtendQuick(const OwnHuffSrc& src, int n, KepiDecodeHuffmanState* st,
                                                  Kep32s* pValue) {
    if (st->bitCount < n) return ownHuffReceiveExtend(src, n, st, pValue);
    st->bitCount -= n;
    *pValue = ownHuffExtend((static_cast<Kep32u>(st->bitBuffer) >> st->bitCount) & ((1u << n) - 1), n);
    return kepOk;
}

// Reads n (1..16) bits without EXTEND.
static inline KepResult ownHuffGetBits(const OwnHuffSrc& src, int n, KepiDecodeHuffmanState* st, Kep32u* pValue) {
    if (st->bitCount < n) {
        const KepResult r = ownHuffFill(src, n, st);
        if (r != kepOk) return r;
    }
    st->bitCount -= n;
    *pValue = (static_cast<Kep32u>(st->bitBuffer) >> st->bitCount) & ((1u << n) - 1);
    return kepOk;
}

// ---- Progressive decoders -------------------------------------------------------------------------------

// Careful AC first and AC refinement decoders of one block (T.81 G.2.2 with the bit reader of
// pjdechuff.cpp); the reference of the fast kernels.
KEP_HIDDEN KepResult ownHuffDecodeACFirst_careful(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                                                  const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st);
KEP_HIDDEN KepResult ownHuffDecodeACRefine_careful(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                                                   const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st);
// Fast kernels of the same: true when they decoded the block (state, position and coefficients
// as the careful path leaves them); false when they decline, having changed nothing.
KEP_HIDDEN bool ownHuffDecodeACFirst_fast(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                                          const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st);
KEP_HIDDEN bool ownHuffDecodeACRefine_fast(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                                           const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st);

// DC first and DC refinement decoders of one block: careful, and fast kernels that decline
// before changing anything.
KEP_HIDDEN KepResult ownHuffDecodeDCFirst_careful(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, int Al,
                                                  const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st);
KEP_HIDDEN KepResult ownHuffDecodeDCRefine_careful(const OwnHuffSrc& src, Kep16s* pDst, int Al,
                                                   KepiDecodeHuffmanState* st);
KEP_HIDDEN bool ownHuffDecodeDCFirst_fast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, int Al,
                                          const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st);
KEP_HIDDEN bool ownHuffDecodeDCRefine_fast(const OwnHuffSrc& src, Kep16s* pDst, int Al, KepiDecodeHuffmanState* st);

#endif  // KEP_HUFFPROG_H
