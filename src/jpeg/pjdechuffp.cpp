// Progressive Huffman decoding (T.81 G.2): DC first and refinement, AC first with end-of-band
// runs, AC refinement with correction bits. Each decoder changes only the coefficients its scan
// codes; the block itself lives with the caller from scan to scan.

#include <emmintrin.h>

#include "huffdec64.h"
#include "huffprog.h"
#include "huffzigzag.h"
#include "pjdispatch.h"

namespace {

// Stores v << Al at zigzag position k, wrapped to 16 bits; positions past 63 from a corrupt run
// follow the baseline decoder (64..75 land on 63 and 1, later ones fail).
inline KepResult store(Kep16s* pDst, int k, Kep32s v, int Al) {
    const int natural = ownZigzagNaturalExt[k];
    if (natural > 63) return kepErrCoeffIndex;
    pDst[natural] = static_cast<Kep16s>(static_cast<Kep16u>(static_cast<Kep32u>(v) << Al));
    return kepOk;
}

}  // namespace

KepResult ownHuffDecodeACFirst_careful(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                                       const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st) {
    if (st->eobRun > 0) {
        --st->eobRun;
        return kepOk;
    }
    KepResult r;
    for (int k = Ss; k <= Se; ++k) {
        int symbol;
        if ((r = ownHuffDecodeSymbolQuick(src, spec, st, &symbol)) != kepOk) return r;
        const int run = symbol >> 4, s = symbol & 0x0F;
        if (s != 0) {
            k += run;
            Kep32s v;
            if ((r = ownHuffReceiveExtendQuick(src, s, st, &v)) != kepOk) return r;
            if ((r = store(pDst, k, v, Al)) != kepOk) return r;
        } else if (run == 15) {
            k += 15;  // ZRL: 16 zeros with the loop's increment
        } else {
            Kep32u extra = 0;
            if (run > 0 && (r = ownHuffGetBits(src, run, st, &extra)) != kepOk) return r;
            st->eobRun = (1u << run) + extra - 1;  // this block is the run's first
            break;
        }
    }
    return kepOk;
}

namespace {

// Zigzag positions of the nonzero coefficients of a block, as a 64-bit mask: the bytes of eight
// vector compares with zero, shuffled into zigzag order.
inline Kep64u nonzeroZigzag(const Kep16s* b) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i* p = reinterpret_cast<const __m128i*>(b);
    __m128i isZero[4];
    for (int i = 0; i < 4; ++i)
        isZero[i] = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_loadu_si128(p + 2 * i), zero),
                                    _mm_cmpeq_epi16(_mm_loadu_si128(p + 2 * i + 1), zero));
    return ~ownhuffzz::zigzagTopBits(isZero);
}

// Bits k..63 (none for k = 64).
inline Kep64u fromBit(int k) { return (~Kep64u{0} << (k & 63)) & (Kep64u{0} - (k < 64)); }

// Bit position of the set bit of rank r (0 = lowest) in x, or 64 when x has r or fewer set bits:
// broadword select without branches on the data. Byte counts and their prefix sums locate the
// byte; a table locates the bit in it.
struct SelectInByteTable {
    Kep8u pos[256][8];
    constexpr SelectInByteTable() : pos() {
        for (int b = 0; b < 256; ++b)
            for (int r = 0, i = 0; i < 8; ++i)
                if (b & (1 << i)) pos[b][r++] = static_cast<Kep8u>(i);
    }
};
constexpr SelectInByteTable kSelectInByte;

inline int selectBit(Kep64u x, int r) {
    if (r < 4) {  // the most common cases by far: clear the r lowest set bits
        const Kep64u x1 = x & (x - 1), x2 = x1 & (x1 - 1), x3 = x2 & (x2 - 1);
        const Kep64u y = r == 0 ? x : r == 1 ? x1 : r == 2 ? x2 : x3;
        return y != 0 ? __builtin_ctzll(y) : 64;
    }
    constexpr Kep64u ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
    Kep64u c = x - ((x >> 1) & 0x5555555555555555ull);
    c = (c & 0x3333333333333333ull) + ((c >> 2) & 0x3333333333333333ull);
    c = (c + (c >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    const Kep64u prefix = c * ones;  // byte i: set bits in bytes 0..i
    if (static_cast<int>(prefix >> 56) <= r) return 64;
    // Bytes whose prefix is at most r lie below the byte holding the bit.
    const Kep64u below = ((static_cast<Kep64u>(r) * ones | highs) - prefix) & highs;
    const int byte = static_cast<int>(((below >> 7) * ones) >> 56);
    const int before = byte == 0 ? 0 : static_cast<int>((prefix >> (8 * byte - 8)) & 0xFF);
    return 8 * byte + kSelectInByte.pos[(x >> (8 * byte)) & 0xFF][r - before];
}

// T.81 G.1.2.3 backwards: newly significant coefficients become +-p1 after skipping `run` zero
// coefficients; every nonzero coefficient passed on the way takes a correction bit, in zigzag
// order. The zero and nonzero positions come from a mask, so only the coefficients that take a
// bit are visited.
}  // namespace

KepResult ownHuffDecodeACRefine_careful(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                                        const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st) {
    const Kep32s p1 = 1 << Al, m1 = -p1;
    const Kep64u band = fromBit(Ss) & (~Kep64u{0} >> (63 - Se));
    Kep64u nonzero = nonzeroZigzag(pDst) & band;
    KepResult r;
    Kep32u bit;
    // Correction bits for the nonzero coefficients of `m`, in zigzag order; a bit is applied only
    // while bit Al of the coefficient is still clear.
    auto correct = [&](Kep64u m) -> KepResult {
        for (; m != 0; m &= m - 1) {
            Kep16s* c = &pDst[ownZigzagNaturalExt[__builtin_ctzll(m)]];
            const KepResult e = ownHuffGetBits(src, 1, st, &bit);
            if (e != kepOk) return e;
            // Without a branch on the bit, which is as good as random.
            const Kep32s apply = -static_cast<Kep32s>(bit & ((*c & p1) == 0));
            *c = static_cast<Kep16s>(*c + ((*c >= 0 ? p1 : m1) & apply));
        }
        return kepOk;
    };
    int k = Ss;
    if (st->eobRun == 0) {
        for (; k <= Se; ++k) {
            int symbol;
            if ((r = ownHuffDecodeSymbolQuick(src, spec, st, &symbol)) != kepOk) return r;
            const int run = symbol >> 4;
            const int s = symbol & 0x0F;
            Kep32s value = 0;
            if (s != 0) {
                if (s != 1) return kepErrHuffmanData;
                if ((r = ownHuffGetBits(src, 1, st, &bit)) != kepOk) return r;
                value = bit ? p1 : m1;
            } else if (run != 15) {
                Kep32u extra = 0;
                if (run > 0 && (r = ownHuffGetBits(src, run, st, &extra)) != kepOk) return r;
                st->eobRun = (1u << run) + extra;
                break;  // the rest of the band is this block's share of the run
            }
            // The target is the zero coefficient after `run` zeros (ZRL: the 16th zero), or the
            // end of the band; the nonzero coefficients before it take their correction bits.
            const int at = selectBit(~nonzero & band & fromBit(k), run);
            const int target = at < 64 ? at : Se + 1;
            if ((r = correct(nonzero & fromBit(k) & ~fromBit(target))) != kepOk) return r;
            k = target;
            if (value != 0) {
                pDst[ownZigzagNaturalExt[k]] = static_cast<Kep16s>(value);  // k <= 64: index 63 at most
                nonzero |= fromBit(k) & ~fromBit(k + 1) & band;
            }
        }
    }
    if (st->eobRun > 0) {
        if ((r = correct(nonzero & fromBit(k))) != kepOk) return r;
        --st->eobRun;
    }
    return kepOk;
}

// ---- Fast kernels --------------------------------------------------------------------------
//
// The AC kernels decode from the 64-bit register of huffdec64.h and decline (returning false)
// before they change the state, the position or the marker when the careful path would meet
// anything unusual: a marker or the end of the source within the bytes it reads, a fill byte,
// more stuffed bytes than the register tracks, a code that matches nothing, a run past 63, a
// refinement symbol of category above 1. The block, too, changes only when they finish.

using namespace ownhuff64;

bool ownHuffDecodeACFirst_fast(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                               const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st) {
    if (st->eobRun > 0) {  // the careful path does no more
        --st->eobRun;
        return true;
    }
    Bits64 r;
    Vetted vet;
    unsigned vc;
    if (!start64(src, st, &r, &vet, &vc)) return false;
    // The coefficients wait here until the block is committed: the careful path may stop earlier
    // than this kernel gets (at an 0xFF that ends the source) and must then find the block as
    // it was.
    Kep8u at[64];
    Kep16s value[64];
    int n = 0;
    Kep32u eobRun = 0;
    for (int k = Ss; k <= Se; ++k) {
        unsigned sym, l;
        // A symbol with its extra bits takes at most 16 + 15 bits, an EOBn 16 + 14.
        if (!ensure32(r, src.p, src.len, &vet) || (l = symbol64(r, vc, spec, &sym)) == 0) return false;
        const unsigned run = sym >> 4, s = sym & 0x0F;
        if (__builtin_expect(s != 0, 1)) {
            k += static_cast<int>(run);
            const Kep32s v = extend64(r, vc, l, s);
            const unsigned natural = kTables.natural[k];
            if (natural > 63) return false;
            at[n] = static_cast<Kep8u>(natural);
            value[n++] = static_cast<Kep16s>(static_cast<Kep16u>(static_cast<Kep32u>(v) << Al));
        } else {
            skip64(r, l);
            if (run == 15) {
                k += 15;
                continue;
            }
            eobRun = (1u << run) - 1 + (run ? bits64(r, vc, run) : 0);
            break;
        }
    }
    if (!commit64(r, vc, src, &vet, st)) return false;
    st->eobRun = eobRun;
    for (int i = 0; i < n; ++i) pDst[at[i]] = value[i];
    return true;
}

namespace {

inline int popcount64(Kep64u x) {  // without the POPCNT instruction
    x = x - ((x >> 1) & 0x5555555555555555ull);
    x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
    x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    return static_cast<int>((x * 0x0101010101010101ull) >> 56);
}

// Applies n correction bits, the leading one first, to the first n nonzero coefficients of m
// (zigzag positions) as the careful path does: a bit counts only while bit Al of the coefficient
// is still clear, and moves it away from zero. Returns m without them.
__attribute__((always_inline)) inline Kep64u applyCorrections(Kep16s* blk, Kep64u m, Kep32u word, int n, Kep32s p1) {
    for (int i = n - 1; i >= 0; --i, m &= m - 1) {
        Kep16s* const c = &blk[kTables.natural[__builtin_ctzll(m)]];
        const Kep32s bit = static_cast<Kep32s>((word >> i) & 1);
        // Without a branch on the bit, which is as good as random.
        const Kep32s apply = -(bit & static_cast<Kep32s>((*c & p1) == 0));
        *c = static_cast<Kep16s>(*c + ((*c >= 0 ? p1 : -p1) & apply));
    }
    return m;
}

// Correction bits for the nonzero coefficients of m (zigzag positions, in order) from the
// register, one at a time (the sets are small, and counting them first costs more); the careful
// reader fills each time it holds none.
__attribute__((always_inline)) inline bool correct64(Bits64& r, unsigned& vc, const OwnHuffSrc& src, Vetted* vet,
                                                     Kep16s* blk, Kep64u m, Kep32s p1) {
    for (; m != 0; m &= m - 1) {
        if (__builtin_expect(r.bits == 0, 0) && !ensure32(r, src.p, src.len, vet)) return false;
        const Kep32u bit = static_cast<Kep32u>(r.acc >> 63);
        r.acc <<= 1;
        r.bits -= 1;
        vc = vc ? vc - 1 : 31;
        applyCorrections(blk, m, bit, 1, p1);
    }
    return true;
}

inline void copyBlock(Kep16s* to, const Kep16s* from) {
    for (int i = 0; i < 8; ++i)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to) + i, _mm_loadu_si128(reinterpret_cast<const __m128i*>(from) + i));
}

}  // namespace

bool ownHuffDecodeACRefine_fast(const OwnHuffSrc& src, Kep16s* pDst, int Ss, int Se, int Al,
                                const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st) {
    const Kep32s p1 = 1 << Al;
    const Kep64u band = fromBit(Ss) & (~Kep64u{0} >> (63 - Se));
    if (st->eobRun > 0) {
        // Within an end-of-band run with the correction bits already held, no fill: in place.
        const Kep64u nonzero = nonzeroZigzag(pDst) & band;
        const int n = popcount64(nonzero);
        if (n <= st->bitCount && st->bitCount <= 32) {
            if (n > 0) {
                st->bitCount -= n;
                const Kep32u word = static_cast<Kep32u>(st->bitBuffer >> st->bitCount) & static_cast<Kep32u>((Kep64u{1} << n) - 1);
                applyCorrections(pDst, nonzero, word, n, p1);
            }
            --st->eobRun;
            return true;
        }
    }
    Bits64 r;
    Vetted vet;
    unsigned vc;
    if (!start64(src, st, &r, &vet, &vc)) return false;
    alignas(16) Kep16s blk[64];
    copyBlock(blk, pDst);
    Kep64u nonzero = nonzeroZigzag(blk) & band;
    Kep32u eobRun = st->eobRun;
    int k = Ss;
    if (eobRun == 0) {
        for (; k <= Se; ++k) {
            unsigned sym, l;
            // A symbol and its sign bit, or an EOBn and its bits: at most 16 + 14 bits.
            if (!ensure32(r, src.p, src.len, &vet) || (l = symbol64(r, vc, spec, &sym)) == 0) return false;
            skip64(r, l);
            const unsigned run = sym >> 4, s = sym & 0x0F;
            Kep32s value = 0;
            if (s != 0) {
                if (s != 1) return false;
                value = bits64(r, vc, 1) ? p1 : -p1;
            } else if (run != 15) {
                eobRun = (1u << run) + (run ? bits64(r, vc, run) : 0);
                break;
            }
            const int at = selectBit(~nonzero & band & fromBit(k), static_cast<int>(run));
            const int target = at < 64 ? at : Se + 1;
            if (!correct64(r, vc, src, &vet, blk, nonzero & fromBit(k) & ~fromBit(target), p1)) return false;
            k = target;
            if (value != 0) {
                blk[kTables.natural[k]] = static_cast<Kep16s>(value);  // k <= 64: index 63 at most
                nonzero |= fromBit(k) & ~fromBit(k + 1) & band;
            }
        }
    }
    if (eobRun > 0) {
        if (!correct64(r, vc, src, &vet, blk, nonzero & fromBit(k), p1)) return false;
        --eobRun;
    }
    if (!commit64(r, vc, src, &vet, st)) return false;
    st->eobRun = eobRun;
    copyBlock(pDst, blk);
    return true;
}

namespace {

// An AC decoder: the shared checks, then the scan.
template <bool (*Fast)(const OwnHuffSrc&, Kep16s*, int, int, int, const KepiDecodeHuffmanSpec*,
                       KepiDecodeHuffmanState*),
          KepResult (*Careful)(const OwnHuffSrc&, Kep16s*, int, int, int, const KepiDecodeHuffmanSpec*,
                               KepiDecodeHuffmanState*)>
KepResult decodeAC(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Kep16s* pDst, int* pMarker, int Ss, int Se,
                   int Al, const KepiDecodeHuffmanSpec* pAcTable, KepiDecodeHuffmanState* st) {
    if (!pSrc) return kepErrNullPtr;
    if (srcLenBytes < 1) return kepErrSize;
    if (!pSrcCurrPos || !pDst || !pMarker) return kepErrNullPtr;
    if (ownHuffBadBand(Ss, Se, Al)) return kepErrArgRange;
    if (!pAcTable || !st) return kepErrNullPtr;
    const OwnHuffSrc src = {pSrc, srcLenBytes, pSrcCurrPos, pMarker};
    if (Fast(src, pDst, Ss, Se, Al, pAcTable, st)) return kepOk;
    return Careful(src, pDst, Ss, Se, Al, pAcTable, st);
}

}  // namespace

// ---- DC scans ------------------------------------------------------------------------------

KepResult ownHuffDecodeDCFirst_careful(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, int Al,
                                       const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st) {
    int symbol;
    KepResult r = ownHuffDecodeSymbolQuick(src, spec, st, &symbol);
    if (r != kepOk) return r;
    Kep32s diff = 0;
    if ((symbol & 0x0F) != 0 && (r = ownHuffReceiveExtendQuick(src, symbol & 0x0F, st, &diff)) != kepOk) return r;
    *pLastDC = static_cast<Kep16s>(*pLastDC + diff);
    pDst[0] = static_cast<Kep16s>(static_cast<Kep16u>(static_cast<Kep32u>(*pLastDC) << Al));
    return kepOk;
}

KepResult ownHuffDecodeDCRefine_careful(const OwnHuffSrc& src, Kep16s* pDst, int Al, KepiDecodeHuffmanState* st) {
    Kep32u bit;
    const KepResult r = ownHuffGetBits(src, 1, st, &bit);
    if (r == kepOk && bit) pDst[0] = static_cast<Kep16s>(pDst[0] | (1 << Al));
    return r;
}

namespace {

// The careful reader's view of the stream, in registers.
struct Reader32 {
    Kep32u buf;  // low 32 bits of bitBuffer
    int cnt;
    int pos;
    bool filled;  // bitBuffer must be written back

    // The careful fill when it completes from the next four source bytes, none of them 0xFF:
    // whole bytes until at least 25 bits are held. False when that is not so.
    bool fillWord(const OwnHuffSrc& src) {
        if (*src.marker != 0 || pos < 0 || pos > src.len - 4) return false;
        Kep32u w;
        memcpy(&w, src.p + pos, 4);
        const Kep32u inv = ~w;
        if (((inv - 0x01010101u) & ~inv & 0x80808080u) != 0) return false;
        const int n = (32 - cnt) >> 3;
        buf = static_cast<Kep32u>((static_cast<Kep64u>(buf) << (8 * n)) | (__builtin_bswap32(w) >> (32 - 8 * n)));
        cnt += 8 * n;
        pos += n;
        filled = true;
        return true;
    }
    bool start(const OwnHuffSrc& src, const KepiDecodeHuffmanState* st) {
        buf = static_cast<Kep32u>(st->bitBuffer);
        cnt = st->bitCount;
        pos = *src.pos;
        filled = false;
        return cnt >= 0 && cnt <= 32;
    }
    void commit(const OwnHuffSrc& src, KepiDecodeHuffmanState* st) const {
        if (filled) {
            st->bitBuffer = buf;
            *src.pos = pos;
        }
        st->bitCount = cnt;
    }
    Kep32u take(int n) {
        cnt -= n;
        return (buf >> cnt) & ((1u << n) - 1);
    }
};

}  // namespace

// The DC kernels: the careful steps with a fill done as one 4-byte load, declining (before any
// change) when the careful fill would meet an 0xFF, a marker or the end of the source, or a code
// is longer than 8 bits.
bool ownHuffDecodeDCFirst_fast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, int Al,
                               const KepiDecodeHuffmanSpec* spec, KepiDecodeHuffmanState* st) {
    Reader32 rd;
    if (!rd.start(src, st)) return false;
    if (rd.cnt < 8 && !rd.fillWord(src)) return false;
    const Kep32u look = spec->lookahead[(rd.buf >> (rd.cnt - 8)) & 0xFF];
    if ((look >> 16) == 0) return false;
    rd.cnt -= static_cast<int>(look >> 16);
    const int s = look & 0x0F;
    Kep32s diff = 0;
    if (s != 0) {
        if (rd.cnt < s && !rd.fillWord(src)) return false;
        diff = ownHuffExtend(rd.take(s), s);
    }
    rd.commit(src, st);
    *pLastDC = static_cast<Kep16s>(*pLastDC + diff);
    pDst[0] = static_cast<Kep16s>(static_cast<Kep16u>(static_cast<Kep32u>(*pLastDC) << Al));
    return true;
}

bool ownHuffDecodeDCRefine_fast(const OwnHuffSrc& src, Kep16s* pDst, int Al, KepiDecodeHuffmanState* st) {
    Reader32 rd;
    if (!rd.start(src, st)) return false;
    if (rd.cnt < 1 && !rd.fillWord(src)) return false;
    const Kep32u bit = rd.take(1);
    rd.commit(src, st);
    pDst[0] = static_cast<Kep16s>(pDst[0] | (bit << Al));
    return true;
}

KepResult own_kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                         Kep16s* pDst, Kep16s* pLastDC, int* pMarker, int Al,
                                                         const KepiDecodeHuffmanSpec* pDcTable,
                                                         KepiDecodeHuffmanState* pDecHuffState) {
    if (!pSrc) return kepErrNullPtr;
    if (srcLenBytes < 1) return kepErrSize;
    if (!pSrcCurrPos || !pDst || !pLastDC || !pMarker) return kepErrNullPtr;
    if (ownHuffBadAl(Al)) return kepErrArgRange;
    if (!pDcTable || !pDecHuffState) return kepErrNullPtr;

    const OwnHuffSrc src = {pSrc, srcLenBytes, pSrcCurrPos, pMarker};
    if (ownHuffDecodeDCFirst_fast(src, pDst, pLastDC, Al, pDcTable, pDecHuffState)) return kepOk;
    return ownHuffDecodeDCFirst_careful(src, pDst, pLastDC, Al, pDcTable, pDecHuffState);
}

KepResult own_kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                          Kep16s* pDst, int* pMarker, int Al,
                                                          KepiDecodeHuffmanState* pDecHuffState) {
    if (!pSrc) return kepErrNullPtr;
    if (srcLenBytes < 1) return kepErrSize;
    if (!pSrcCurrPos || !pDst || !pMarker) return kepErrNullPtr;
    if (ownHuffBadAl(Al)) return kepErrArgRange;
    if (!pDecHuffState) return kepErrNullPtr;

    const OwnHuffSrc src = {pSrc, srcLenBytes, pSrcCurrPos, pMarker};
    if (ownHuffDecodeDCRefine_fast(src, pDst, Al, pDecHuffState)) return kepOk;
    return ownHuffDecodeDCRefine_careful(src, pDst, Al, pDecHuffState);
}

KepResult own_kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                         Kep16s* pDst, int* pMarker, int Ss, int Se, int Al,
                                                         const KepiDecodeHuffmanSpec* pAcTable,
                                                         KepiDecodeHuffmanState* pDecHuffState) {
    return decodeAC<ownHuffDecodeACFirst_fast, ownHuffDecodeACFirst_careful>(pSrc, srcLenBytes, pSrcCurrPos, pDst, pMarker, Ss, Se, Al, pAcTable, pDecHuffState);
}

KepResult own_kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                          Kep16s* pDst, int* pMarker, int Ss, int Se, int Al,
                                                          const KepiDecodeHuffmanSpec* pAcTable,
                                                          KepiDecodeHuffmanState* pDecHuffState) {
    return decodeAC<ownHuffDecodeACRefine_fast, ownHuffDecodeACRefine_careful>(pSrc, srcLenBytes, pSrcCurrPos, pDst, pMarker, Ss, Se, Al, pAcTable, pDecHuffState);
}
