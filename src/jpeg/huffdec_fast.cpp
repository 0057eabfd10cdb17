// Fast whole-block baseline decoders.
//
// ownHuffDecodeBlock_fast (sources of known length) decodes from a 64-bit register that is
// refilled eight bytes at a time where none of them is 0xFF, and byte by byte (un-stuffing
// 0xFF 0x00) near an 0xFF; it stops loading at a marker, a 0xFF fill byte or the end of the
// source. It does not follow the careful path's fill schedule: it only counts what the careful
// reader's bitCount would be. That reader fills when it holds fewer than 8 bits before a symbol,
// fewer than 9 before a code longer than 8 bits, none before each of its bits past the ninth,
// fewer than n before n extra bits, and a fill that meets no marker or end takes whole bytes
// until at least 25 bits are held: count += (32 - count) & ~7. At the end of the block the
// careful reader has consumed as many data bytes as the bits decoded plus its count make, so its
// position (past the stuffed zeros of those bytes) and its bitBuffer (their last four bytes)
// follow. When the careful reader would have read a byte this kernel has not vetted (a marker,
// the end of the source), the kernel declines and the careful path decodes the block.
//
// ownHuffDecodeBlock_schedule (the Direct form, no length) follows the careful fill schedule
// byte by byte, so it never reads a byte the careful path would not read.
//
// Both decline on anything unusual (end of source, marker, fill byte, bad code, run past 63)
// before they commit anything but the coefficients.

#include <emmintrin.h>

#include "huff.h"
#include "pjzigzag.h"

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

// Matches a code longer than 8 bits, given the next 16 bits of the stream left-aligned in code16:
// its length (9..16) and symbol, or 0 when no length matches. All eight lengths are compared at
// once: lane j holds the leading 9 + j bits (code16 >> (7 - j), as the high half of a product
// with 2^(9 + j), lane 7 the whole code), compared unsigned with maxcode[9 + j] (biased by 0x8000
// for the signed compare), with maxcode 0xFFFF standing for no code. The first matching length is
// the one the code-by-code search stops at unless its huffval index is out of range, which only
// tables that overflow their code space produce: then 0, and the caller declines.
inline int longCode(const KepiDecodeHuffmanSpec* spec, Kep32u code16, int* sym) {
    const __m128i bias = _mm_set1_epi16(-32768);
    const __m128i c = _mm_set1_epi16(static_cast<short>(code16));
    const __m128i scale = _mm_setr_epi16(1 << 9, 1 << 10, 1 << 11, 1 << 12, 1 << 13, 1 << 14, -32768, 0);
    __m128i codes = _mm_mulhi_epu16(c, scale);
    codes = _mm_or_si128(codes, _mm_and_si128(c, _mm_setr_epi16(0, 0, 0, 0, 0, 0, 0, -1)));
    const __m128i maxcode = _mm_loadu_si128(reinterpret_cast<const __m128i*>(spec->maxcode + 9));
    const __m128i above = _mm_cmpgt_epi16(_mm_xor_si128(codes, bias), _mm_xor_si128(maxcode, bias));
    const __m128i none = _mm_cmpeq_epi16(maxcode, _mm_set1_epi16(-1));
    const int miss = _mm_movemask_epi8(_mm_or_si128(above, none)) & 0xFFFF;
    if (miss == 0xFFFF) return 0;
    const int length = 9 + (__builtin_ctz(~miss) >> 1);
    return ownHuffMatch(spec, length, code16 >> (16 - length), sym) ? length : 0;
}

// ---- 64-bit register with counted careful fills ----------------------------------------------

constexpr int kMaxStuffed = 16;  // 0xFF data bytes one block may span; more declines

// The register and how far the source has been loaded: kept in registers by the block loop.
struct Bits64 {
    Kep64u acc;  // the next `bits` bits, most significant first; below them zeros or the next bytes
    int bits;
    int sp;      // next source byte to load
    int loaded;  // data bytes loaded since the start position
};

// What the byte-wise loads have met: rarely touched.
struct Vetted {
    bool stopped;  // a marker, fill byte or the end of the source: nothing more can be loaded
    int nstuffed;
    int stuffed[kMaxStuffed];  // data indices of the 0xFF data bytes loaded
};

// Loads byte by byte up to 57..64 bits, un-stuffing 0xFF 0x00, until something stops it.
__attribute__((noinline)) Bits64 slowLoad(Bits64 r, const Kep8u* p, int len, Vetted* vet) {
    while (r.bits <= 56 && !vet->stopped) {
        if (r.sp >= len) {
            vet->stopped = true;
            break;
        }
        const Kep32u b = p[r.sp];
        if (b == 0xFF) {
            if (r.sp + 1 >= len || p[r.sp + 1] != 0 || vet->nstuffed == kMaxStuffed) {
                vet->stopped = true;
                break;
            }
            vet->stuffed[vet->nstuffed++] = r.loaded;
            r.sp += 2;
        } else {
            r.sp += 1;
        }
        r.acc |= static_cast<Kep64u>(b) << (56 - r.bits);
        r.bits += 8;
        r.loaded += 1;
    }
    return r;
}

// At least 32 bits in the register; false when they cannot be had.
__attribute__((always_inline)) inline bool ensure32(Bits64& r, const Kep8u* p, int len, Vetted* vet) {
    if (r.bits >= 32) return true;
    if (r.sp <= len - 8) {
        Kep64u w;
        memcpy(&w, p + r.sp, 8);
        const Kep64u inv = ~w;
        if (((inv - 0x0101010101010101ull) & ~inv & 0x8080808080808080ull) == 0) {
            // The bits past the whole bytes taken are those of the bytes the next load brings.
            r.acc |= __builtin_bswap64(w) >> r.bits;
            const int n = (63 - r.bits) >> 3;
            r.sp += n;
            r.loaded += n;
            r.bits += 8 * n;
            return true;
        }
    }
    r = slowLoad(r, p, len, vet);
    return r.bits >= 32;
}

// The careful reader's bitCount vc (0..32) when it needs `need` bits and takes n of them.
constexpr void countCareful(unsigned& vc, unsigned need, unsigned n) {
    if (vc < need) vc += (32 - vc) & ~7u;
    vc -= n;
}

// Constant tables of the block loop, in one object so that one base register reaches them all.
// Whether the careful reader fills follows the data, so a branch would be mispredicted often:
// its count steps by lookup. beforeSymbol[vc] is its count after the fill it makes before a
// symbol (8 bits needed); afterExtra[s][vc] its count after it needs and takes s extra bits.
struct BlockTables {
    Kep8u beforeSymbol[64];
    Kep8u afterExtra[16][64];
    Kep32s extendOffset[16];  // 1 - 2^s: what EXTEND adds to s bits whose leading bit is 0
    Kep8u natural[80];        // ownZigzagNaturalExt
};
constexpr BlockTables makeBlockTables() {
    BlockTables t{};
    for (unsigned vc = 0; vc <= 32; ++vc) {
        unsigned before = vc;
        countCareful(before, 8, 0);
        t.beforeSymbol[vc] = static_cast<Kep8u>(before);
        for (unsigned s = 1; s < 16; ++s) {
            unsigned after = vc;
            countCareful(after, s, s);
            t.afterExtra[s][vc] = static_cast<Kep8u>(after);
        }
    }
    for (int s = 0; s < 16; ++s) t.extendOffset[s] = s ? 1 - (1 << s) : 0;
    for (int k = 0; k < 80; ++k) t.natural[k] = static_cast<Kep8u>(ownZigzagNaturalExt[k]);
    return t;
}
alignas(64) constexpr BlockTables kTables = makeBlockTables();

// With at least 32 bits held: the next symbol and the length of its code, or 0 when no code of
// up to 16 bits matches; the careful reader's count before its extra bits. The register is not
// advanced.
__attribute__((always_inline)) inline unsigned symbol64(const Bits64& r, unsigned& vc,
                                                        const KepiDecodeHuffmanSpec* spec, unsigned* sym) {
    const Kep32u look = spec->lookahead[r.acc >> 56];
    unsigned l = look >> 16;
    if (__builtin_expect(l != 0, 1)) {
        *sym = look & 0xFFFF;
        vc = kTables.beforeSymbol[vc] - l;
        return l;
    }
    int symbol;
    l = static_cast<unsigned>(longCode(spec, static_cast<Kep32u>(r.acc >> 48), &symbol));
    if (l == 0) return 0;
    *sym = static_cast<unsigned>(symbol);
    countCareful(vc, 9, 9);
    const unsigned rest = l - 9;  // bits taken one at a time, filling when none is held
    vc = vc >= rest ? vc - rest : 32 - (rest - vc);
    return l;
}

// Advances past a code of l bits and its s (1..15) extra bits, and returns those EXTENDed
// (T.81 F.2.2.1) without a branch.
__attribute__((always_inline)) inline Kep32s extend64(Bits64& r, unsigned& vc, unsigned l, unsigned s) {
    vc = kTables.afterExtra[s][vc];
    const Kep64u lead = r.acc << l;  // the extra bits at the top
    const Kep32s v = static_cast<Kep32s>(lead >> (64 - s));
    r.acc = lead << s;
    r.bits -= static_cast<int>(l + s);
    const Kep32s positive = static_cast<Kep32s>(static_cast<Kep64s>(lead) >> 63);  // leading bit 1
    return v + (kTables.extendOffset[s] & ~positive);
}

__attribute__((always_inline)) inline void skip64(Bits64& r, unsigned l) {
    r.acc <<= l;
    r.bits -= static_cast<int>(l);
}

__attribute__((always_inline)) inline bool decodeFast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC,
                                                      const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac,
                                                      KepiDecodeHuffmanState* st) {
    const int pos0 = *src.pos, cnt0 = st->bitCount;
    if (*src.marker != 0 || pos0 < 0 || pos0 > src.len || cnt0 < 0 || cnt0 > 32) return false;
    const Kep32u buf0 = static_cast<Kep32u>(st->bitBuffer);
    const Kep8u* const p = src.p;
    const int len = src.len;
    Bits64 r = {cnt0 ? static_cast<Kep64u>(buf0) << (64 - cnt0) : 0, cnt0, pos0, 0};
    Vetted vet;
    vet.stopped = false;
    vet.nstuffed = 0;
    unsigned vc = static_cast<unsigned>(cnt0);

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

    // k + the coefficients remaining = 64 throughout, so k is also the block position.
    unsigned k = 1;
    while (k < 64) {
        if (!ensure32(r, p, len, &vet) || (l = symbol64(r, vc, ac, &sym)) == 0) return false;
        const unsigned run = sym >> 4, s = sym & 0x0F;
        if (__builtin_expect(s != 0, 1)) {
            k += run;
            const Kep32s v = extend64(r, vc, l, s);
            const unsigned natural = kTables.natural[k];
            if (natural > 63) return false;
            pDst[natural] = static_cast<Kep16s>(v);
            ++k;
        } else {
            skip64(r, l);
            if (run != 15) break;
            k += 16;
        }
    }

    // Data bytes the careful reader has taken: the bits decoded and the bits it holds.
    const int taken = (8 * r.loaded - r.bits + static_cast<int>(vc)) >> 3;
    if (taken > r.loaded) {
        r = slowLoad(r, p, len, &vet);
        if (taken > r.loaded) return false;  // it would have met what stopped the loads
    }
    if (vet.nstuffed == 0 && taken >= 4) {
        // No stuffing: the last four data bytes are the four source bytes before the position.
        Kep32u last;
        memcpy(&last, p + pos0 + taken - 4, 4);
        st->bitBuffer = __builtin_bswap32(last);
        *src.pos = pos0 + taken;
    } else if (taken > 0) {
        int end = pos0 + taken;
        for (int i = 0; i < vet.nstuffed && vet.stuffed[i] < taken; ++i) ++end;
        // The last (up to) four data bytes, read backwards: a zero after an 0xFF is its stuffing.
        Kep32u last = 0;
        int q = end;
        const int n = taken < 4 ? taken : 4;
        for (int i = 0; i < n; ++i) {
            Kep32u b = p[--q];
            if (b == 0 && q > pos0 && p[q - 1] == 0xFF) {
                --q;
                b = 0xFF;
            }
            last |= b << (8 * i);
        }
        st->bitBuffer = taken < 4 ? (buf0 << (8 * taken)) | last : last;
        *src.pos = end;
    }
    *pLastDC = lastDC;
    st->bitCount = static_cast<int>(vc);
    st->blockPos = k;
    return true;
}

}  // namespace

bool ownHuffDecodeBlock_fast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, const KepiDecodeHuffmanSpec* dc,
                             const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* st) {
    return decodeFast(src, pDst, pLastDC, dc, ac, st);
}

// The kernel inlined here and the careful path as a tail call, so that an export pays one jump.
KepResult ownHuffDecodeBlock(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Kep16s* pDst, Kep16s* pLastDC,
                             int* pMarker, const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac,
                             KepiDecodeHuffmanState* st) {
    const OwnHuffSrc src = {pSrc, srcLenBytes, pSrcCurrPos, pMarker};
    if (decodeFast(src, pDst, pLastDC, dc, ac, st)) return kepOk;
    return ownHuffDecodeBlock_careful(src, pDst, pLastDC, dc, ac, st);
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
