// Fast whole-block baseline decoders.
//
// ownHuffDecodeBlock_fast (sources of known length) decodes from the 64-bit register of
// huffdec64.h, counting the careful reader's fills.
//
// ownHuffDecodeBlock_schedule (the Direct form, no length) follows the careful fill schedule
// byte by byte, so it never reads a byte the careful path would not read.
//
// Both decline on anything unusual (end of source, marker, fill byte, bad code, run past 63)
// before they commit anything but the coefficients.

#include <emmintrin.h>

#include "huffdec64.h"
#include "pjdispatch.h"

using namespace ownhuff64;

namespace {

// Eight stores written out: as a loop or memset the compiler makes this a slow `rep stos`.
inline void clearBlock(Kep16s* pDst) {
    __m128i* const out = reinterpret_cast<__m128i*>(pDst);
    const __m128i zero = _mm_setzero_si128();
    _mm_storeu_si128(out + 0, zero);
    _mm_storeu_si128(out + 1, zero);
    _mm_storeu_si128(out + 2, zero);
    _mm_storeu_si128(out + 3, zero);
    _mm_storeu_si128(out + 4, zero);
    _mm_storeu_si128(out + 5, zero);
    _mm_storeu_si128(out + 6, zero);
    _mm_storeu_si128(out + 7, zero);
}

// Decodes one block, or declines (false) having written nothing but coefficients. The source is
// taken as separate arguments rather than an OwnHuffSrc so that nothing of it is stored on the
// stack on the way through.
__attribute__((always_inline)) inline bool decodeFast(const Kep8u* p, int len, int* pPos, int* pMarker, Kep16s* pDst,
                                                      Kep16s* pLastDC, const KepiDecodeHuffmanSpec* dc,
                                                      const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* st) {
    const OwnHuffSrc src = {p, len, pPos, pMarker};
    Bits64 r;
    Vetted vet;
    unsigned vc;
    if (!start64(src, st, &r, &vet, &vc)) return false;

    clearBlock(pDst);
    // Every symbol with its extra bits takes at most 16 + 15 bits.
    unsigned sym, l;
    if (!ensure32(r, p, len, &vet) || (l = symbol64(r, vc, dc, &sym)) == 0) return false;
    const unsigned sdc = sym & 0x0F;
    Kep32s diff = 0;
    if (sdc)
        diff = extend64(r, vc, l, sdc);
    else
        skip64(r, l);
    const Kep16s lastDC = static_cast<Kep16s>(*pLastDC + diff);
    pDst[0] = lastDC;

    // k + the coefficients remaining = 64 throughout, so k is also the block position. A
    // coefficient whose run takes it past 63 is stored to the DC slot (natural order entries 64
    // and up are 0 here) and leaves k above 64: the block is then declined after the loop, and the
    // careful path decodes it again from the state before it, block cleared. A ZRL ends the block
    // with k above 64 only where this test declines it at once, so that k > 64 after the loop
    // always means a coefficient out of range.
    unsigned k = 1;
    while (k < 64) {
        if (!ensure32(r, p, len, &vet) || (l = symbol64(r, vc, ac, &sym)) == 0) return false;
        const unsigned run = sym >> 4, s = sym & 0x0F;
        if (__builtin_expect(s != 0, 1)) {
            k += run;
            const Kep32s v = extend64(r, vc, l, s);
            pDst[kTables.naturalSink[k]] = static_cast<Kep16s>(v);
            ++k;
        } else {
            skip64(r, l);
            if (run != 15) break;
            k += 16;
            if (k > 64) return false;
        }
    }
    if (k > 64) return false;

    if (!commit64(r, vc, src, &vet, st)) return false;
    *pLastDC = lastDC;
    st->blockPos = k;
    return true;
}

// The careful path for the blocks the fast one declines, out of line so that the fast path
// keeps its arguments in registers.
__attribute__((noinline)) KepResult declined(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Kep16s* pDst,
                                             Kep16s* pLastDC, int* pMarker, const KepiDecodeHuffmanSpec* dc,
                                             const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* st) {
    const OwnHuffSrc src = {pSrc, srcLenBytes, pSrcCurrPos, pMarker};
    return ownHuffDecodeBlock_careful(src, pDst, pLastDC, dc, ac, st);
}

}  // namespace

bool ownHuffDecodeBlock_fast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, const KepiDecodeHuffmanSpec* dc,
                             const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* st) {
    return decodeFast(src.p, src.len, src.pos, src.marker, pDst, pLastDC, dc, ac, st);
}

// The export: its argument checks, then the kernel inlined, so that a call pays one jump from the
// dispatch stub.
KepResult own_kepiDecodeHuffman8x8_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Kep16s* pDst,
                                                 Kep16s* pLastDC, int* pMarker, const KepiDecodeHuffmanSpec* pDcTable,
                                                 const KepiDecodeHuffmanSpec* pAcTable,
                                                 KepiDecodeHuffmanState* pDecHuffState) {
    if (!pSrc) return kepErrNullPtr;
    if (srcLenBytes < 0) return kepErrArgRange;
    if (!pSrcCurrPos || !pDst || !pLastDC || !pMarker || !pDcTable || !pAcTable || !pDecHuffState)
        return kepErrNullPtr;
    if (decodeFast(pSrc, srcLenBytes, pSrcCurrPos, pMarker, pDst, pLastDC, pDcTable, pAcTable, pDecHuffState))
        return kepOk;
    return declined(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pDecHuffState);
}

namespace {

// ---- Careful fill schedule, byte by byte -------------------------------------------------

struct Reader {
    const Kep8u* p;
    int len;
    int pos;
    Kep32u buf;  // low 32 bits of the careful path's bitBuffer
    int cnt;

    // Reads whole bytes until at least 25 bits are held; false to decline.
    bool fill() {
        while (cnt < 25) {
            if (pos >= len) return false;
            const Kep32u b = p[pos];
            if (b == 0xFF) {
                if (pos + 1 >= len || p[pos + 1] != 0) return false;
                pos += 2;
            } else {
                pos += 1;
            }
            buf = (buf << 8) | b;
            cnt += 8;
        }
        return true;
    }

    Kep32u peek(int n) const { return (buf >> (cnt - n)) & ((1u << n) - 1); }

    bool symbol(const KepiDecodeHuffmanSpec* spec, int* sym) {
        if (cnt < 8 && !fill()) return false;
        const Kep32u look = spec->lookahead[peek(8)];
        if (look >> 16) {
            cnt -= static_cast<int>(look >> 16);
            *sym = static_cast<int>(look & 0xFFFF);
            return true;
        }
        if (cnt < 9 && !fill()) return false;
        Kep32u code = peek(9);
        cnt -= 9;
        for (int length = 9; length <= 16; ++length) {
            if (ownHuffMatch(spec, length, code, sym)) return true;
            if (cnt == 0 && !fill()) return false;
            code = (code << 1) | peek(1);
            cnt -= 1;
        }
        return false;
    }

    bool extend(int n, Kep32s* v) {
        if (cnt < n && !fill()) return false;
        const Kep32u bits = peek(n);
        cnt -= n;
        *v = ownHuffExtend(bits, n);
        return true;
    }
};

}  // namespace

bool ownHuffDecodeBlock_schedule(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC,
                                 const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac,
                                 KepiDecodeHuffmanState* st) {
    if (*src.marker != 0 || *src.pos < 0 || st->bitCount < 0 || st->bitCount > 32) return false;
    Reader rd = {src.p, src.len, *src.pos, static_cast<Kep32u>(st->bitBuffer), st->bitCount};

    clearBlock(pDst);
    int sym;
    Kep32s v = 0;
    if (!rd.symbol(dc, &sym)) return false;
    if ((sym & 0x0F) != 0 && !rd.extend(sym & 0x0F, &v)) return false;
    const Kep16s lastDC = static_cast<Kep16s>(*pLastDC + v);
    pDst[0] = lastDC;

    int remaining = 63;
    for (int k = 1; remaining > 0;) {
        if (!rd.symbol(ac, &sym)) return false;
        const int run = sym >> 4, s = sym & 0x0F;
        if (s != 0) {
            k += run;
            remaining -= run + 1;
            if (!rd.extend(s, &v)) return false;
            const int natural = ownZigzagNaturalExt[k];
            if (natural > 63) return false;
            pDst[natural] = static_cast<Kep16s>(v);
            ++k;
        } else if (run == 15) {
            k += 16;
            remaining -= 16;
        } else {
            break;
        }
    }

    *pLastDC = lastDC;
    st->bitBuffer = rd.buf;
    st->bitCount = rd.cnt;
    st->blockPos = static_cast<Kep32u>(64 - remaining);
    *src.pos = rd.pos;
    return true;
}
