// The 64-bit bit register of the fast Huffman decoders (baseline and progressive), with the
// careful reader's fill schedule counted rather than performed.
//
// The register is refilled eight bytes at a time where none of them is 0xFF, and byte by byte
// (un-stuffing 0xFF 0x00) near an 0xFF; it stops loading at a marker, a 0xFF fill byte or the
// end of the source. The kernels only count what the careful reader's bitCount would be. That
// reader fills when it holds fewer than 8 bits before a symbol, fewer than 9 before a code longer
// than 8 bits, none before each of its bits past the ninth, fewer than n before n extra bits, and
// a fill that meets no marker or end takes whole bytes until at least 25 bits are held:
// count += (32 - count) & ~7. At the end of a block the careful reader has consumed as many data
// bytes as the bits decoded plus its count make, so its position (past the stuffed zeros of those
// bytes) and its bitBuffer (their last four bytes) follow. When the careful reader would have
// read a byte the kernel has not vetted (a marker, the end of the source), the kernel declines.
#ifndef KEP_HUFFDEC64_H
#define KEP_HUFFDEC64_H

#include <emmintrin.h>

#include "huff.h"
#include "pjzigzag.h"

namespace ownhuff64 {

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
};

// What the byte-wise loads have met: rarely touched. The data bytes loaded since the start are
// sp - pos0 - nstuffed (a stuffed 0xFF takes two source bytes), so the block loop need not count
// them in a register of its own.
struct Vetted {
    int pos0;      // the position and the low 32 bits of bitBuffer before the block
    Kep32u buf0;
    bool stopped;  // a marker, fill byte or the end of the source: nothing more can be loaded
    int nstuffed;
    int stuffed[kMaxStuffed];  // data indices of the 0xFF data bytes loaded
};

// Loads byte by byte up to 57..64 bits, un-stuffing 0xFF 0x00, until something stops it.
__attribute__((noinline)) inline Bits64 slowLoad(Bits64 r, const Kep8u* p, int len, Vetted* vet) {
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
            vet->stuffed[vet->nstuffed] = r.sp - vet->pos0 - vet->nstuffed;
            ++vet->nstuffed;
            r.sp += 2;
        } else {
            r.sp += 1;
        }
        r.acc |= static_cast<Kep64u>(b) << (56 - r.bits);
        r.bits += 8;
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
        // High bit of byte i set where byte i is the first 0xFF (later flags may be false).
        const Kep64u ff = (inv - 0x0101010101010101ull) & ~inv & 0x8080808080808080ull;
        if (ff == 0) {
            // The bits past the whole bytes taken are those of the bytes the next load brings.
            r.acc |= __builtin_bswap64(w) >> r.bits;
            const int n = (63 - r.bits) >> 3;
            r.sp += n;
            r.bits += 8 * n;
            return true;
        }
        // An 0xFF in the window: the bytes before it go in at once (zeros below them, as the
        // byte-wise loads expect), and only the rest, if still needed, byte by byte.
        const int before = __builtin_ctzll(ff) >> 3, room = (63 - r.bits) >> 3;
        const int n = before < room ? before : room;
        if (n > 0) {
            r.acc |= (__builtin_bswap64(w) & ~(~0ull >> (8 * n))) >> r.bits;
            r.sp += n;
            r.bits += 8 * n;
            if (r.bits >= 32) return true;
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
    Kep8u naturalSink[80];    // the same up to 63, then 0 (the baseline loop's sink)
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
    for (int k = 0; k < 80; ++k) {
        t.natural[k] = static_cast<Kep8u>(ownZigzagNaturalExt[k]);
        t.naturalSink[k] = static_cast<Kep8u>(k < 64 ? ownZigzagNaturalExt[k] : 0);
    }
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

// Bits read as a plain number (no EXTEND): n (1..16) of them, the careful reader's count after
// it needs and takes them.
__attribute__((always_inline)) inline Kep32u bits64(Bits64& r, unsigned& vc, unsigned n) {
    vc = kTables.afterExtra[n][vc];
    const Kep32u v = static_cast<Kep32u>(r.acc >> (64 - n));
    r.acc <<= n;
    r.bits -= static_cast<int>(n);
    return v;
}

// Where the careful reader stands after the bits decoded, with vc its count: writes the state's
// bitBuffer and bitCount and the position, or returns false without writing anything when the
// careful reader would have read a byte the loads have not vetted.
__attribute__((always_inline)) inline bool commit64(Bits64& r, unsigned vc, const OwnHuffSrc& src, Vetted* vet,
                                                    KepiDecodeHuffmanState* st) {
    const Kep8u* const p = src.p;
    const int len = src.len;
    const int pos0 = vet->pos0;
    const Kep32u buf0 = vet->buf0;
    // Data bytes the careful reader has taken: the bits decoded and the bits it holds.
    int loaded = r.sp - pos0 - vet->nstuffed;
    const int taken = (8 * loaded - r.bits + static_cast<int>(vc)) >> 3;
    if (taken > loaded) {
        r = slowLoad(r, p, len, vet);
        loaded = r.sp - pos0 - vet->nstuffed;
        if (taken > loaded) return false;  // it would have met what stopped the loads
    }
    if (vet->nstuffed == 0 && taken >= 4) {
        // No stuffing: the last four data bytes are the four source bytes before the position.
        Kep32u last;
        memcpy(&last, p + pos0 + taken - 4, 4);
        st->bitBuffer = __builtin_bswap32(last);
        *src.pos = pos0 + taken;
    } else if (taken > 0) {
        int end = pos0 + taken;
        for (int i = 0; i < vet->nstuffed && vet->stuffed[i] < taken; ++i) ++end;
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
    st->bitCount = static_cast<int>(vc);
    return true;
}

// Register, vetting and count set up from the state: false when the fast kernels cannot start
// (a marker already met, a position or count out of the careful reader's range).
__attribute__((always_inline)) inline bool start64(const OwnHuffSrc& src, const KepiDecodeHuffmanState* st, Bits64* r,
                                                   Vetted* vet, unsigned* vc) {
    const int pos0 = *src.pos, cnt0 = st->bitCount;
    if (*src.marker != 0 || pos0 < 0 || pos0 > src.len || cnt0 < 0 || cnt0 > 32) return false;
    const Kep32u buf0 = static_cast<Kep32u>(st->bitBuffer);
    *r = {cnt0 ? static_cast<Kep64u>(buf0) << (64 - cnt0) : 0, cnt0, pos0};
    vet->pos0 = pos0;
    vet->buf0 = buf0;
    vet->stopped = false;
    vet->nstuffed = 0;
    *vc = static_cast<unsigned>(cnt0);
    return true;
}

}  // namespace ownhuff64

#endif  // KEP_HUFFDEC64_H
