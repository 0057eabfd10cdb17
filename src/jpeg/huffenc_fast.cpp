// Fast whole-block baseline encoder. SSSE3 puts the block in zigzag order up front (byte
// shuffles of the eight rows) and derives, for all 64 coefficients at once, the mask of the
// nonzero ones, their categories (two nibble lookups when every |AC| fits in a byte, else the
// exponent of |v| converted to float) and their extra bits (v, or v - 1 when negative); an AC
// value of -32768, which has no symbol, is found there once for the block. The run-length loop
// then visits only the nonzero coefficients, with two loads each, so the chain from one symbol
// to the next is short, and it keeps nothing in registers that it does not use (the last byte
// stored is read back at the end). The bits collect in a 64-bit register from which eight bytes
// at a time go out when none of them is 0xFF. It produces the same bytes and the same final
// state as the bit writer of pjenchuff.cpp.

#include <tmmintrin.h>

#include "huff.h"
#include "huffzigzag.h"

using namespace ownhuffzz;

namespace {

struct Writer {
    Kep64u acc;  // pending bits, most significant first, in the low 64 - free bits
    int free;    // 64 - number of pending bits
    Kep8u* out;  // next byte to store

    void byte(Kep32u b) {
        *out++ = static_cast<Kep8u>(b);
        if (b == 0xFF) *out++ = 0;
    }
    // Stores the eight bytes of a full accumulator.
    void flush8(Kep64u w) {
        // A byte equal to 0xFF needs a stuffed zero: test all eight at once.
        const Kep64u inv = ~w;
        if (((inv - 0x0101010101010101ull) & ~inv & 0x8080808080808080ull) == 0) {
            const Kep64u be = __builtin_bswap64(w);
            memcpy(out, &be, 8);
            out += 8;
        } else {
            for (int sh = 56; sh >= 0; sh -= 8) byte(static_cast<Kep32u>(w >> sh) & 0xFF);
        }
    }
    // Appends len (1..32) bits; eight bytes go out each time the accumulator fills.
    void put(Kep32u value, int len) {
        free -= len;
        if (free >= 0) {
            acc = (acc << len) | value;
        } else {
            const int over = -free;  // low bits of value that do not fit
            flush8((acc << (len - over)) | (value >> over));
            acc = value;
            free += 64;
        }
    }
    // The whole bytes still pending go out; returns the number of bits left (0..7). Without an
    // 0xFF among them and with room to spare (not in the Direct form, whose buffer may end with
    // the block), one 8-byte store merged with the bytes already in the buffer past them, so
    // nothing past the last byte changes.
    int finish(bool roomKnown) {
        const int bits = 64 - free;
        const int n = bits >> 3;
        if (n == 0) return bits;
        if (!roomKnown) return finishBytewise(bits);
        const Kep64u ours = n == 8 ? ~0ull : ~(~0ull >> (8 * n));  // the n leading bytes
        const Kep64u top = (acc << free) & ours;
        const Kep64u inv = ~top;
        if (((inv - 0x0101010101010101ull) & ~inv & 0x8080808080808080ull) == 0) {
            Kep64u old;
            memcpy(&old, out, 8);
            const Kep64u be = __builtin_bswap64(top), mine = __builtin_bswap64(ours);
            const Kep64u merged = (be & mine) | (old & ~mine);
            memcpy(out, &merged, 8);
            out += n;
            return bits & 7;
        }
        return finishBytewise(bits);
    }
    int finishBytewise(int bits) {
        for (; bits >= 8; bits -= 8) byte(static_cast<Kep32u>(acc >> (bits - 8)) & 0xFF);
        return bits;
    }
    // The last data byte stored since `start` (a stuffed zero stands for the 0xFF before it), or
    // `before` when nothing was stored; read back at the end rather than kept in a register
    // through the loop. Every 0xFF this writer stores is followed by its zero, so a zero after an
    // 0xFF is always a stuffed one.
    Kep32u lastData(const Kep8u* start, Kep32u before) const {
        if (out == start) return before;
        if (out - start >= 2 && out[-1] == 0 && out[-2] == 0xFF) return 0xFF;
        return out[-1];
    }
};

// Index of the lowest set bit of m (nonzero) as a 64-bit value, so that no sign or zero
// extension follows before it indexes a table. REP BSF is TZCNT where that exists and BSF
// elsewhere; both give the same index for a nonzero m.
inline size_t lowestSet(Kep64u m) {
    size_t k;
    __asm__("rep bsf %1, %0" : "=r"(k) : "rm"(m) : "cc");
    return k;
}

// Tables of the run-length loop, in one object so that one base register reaches both.
struct LoopTables {
    Kep32u lowBits[17];  // low s bits (16 for a DC difference of category 16)
    Kep8u natural[64];   // natural index of each zigzag position
};
constexpr LoopTables makeLoopTables() {
    LoopTables t{};
    for (int s = 0; s <= 16; ++s) t.lowBits[s] = (1u << s) - 1;
    for (int k = 0; k < 64; ++k) t.natural[k] = static_cast<Kep8u>(ownZigzagNaturalExt[k]);
    return t;
}
alignas(64) constexpr LoopTables kLoop = makeLoopTables();

// What the run-length loop needs of a block.
struct Prepared {
    alignas(16) Kep8u category[64];  // zigzag order: number of bits of |v|, 0..15, 16 for -32768
    alignas(16) Kep16s extra[64];    // natural order: v, or v - 1 when negative
};

// Categories of eight |v| (as unsigned 16-bit values): the exponent of |v| converted to float
// is 127 + floor(log2 |v|), 0 for 0; the caller's saturating subtraction of 126 gives the number
// of bits, and 0 for 0.
inline __m128i exponents(__m128i a) {
    const __m128i z = _mm_setzero_si128();
    const __m128i lo = _mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(_mm_unpacklo_epi16(a, z))), 23);
    const __m128i hi = _mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(_mm_unpackhi_epi16(a, z))), 23);
    return _mm_packs_epi32(lo, hi);
}

// Categories of sixteen bytes: the number of bits of the high nibble plus 4 when it is nonzero
// (then at least 5), else the number of bits of the low nibble (at most 4), so the larger of two
// nibble lookups.
inline __m128i byteCategories(__m128i b) {
    const __m128i low = _mm_setr_epi8(0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4);
    const __m128i high = _mm_setr_epi8(0, 5, 6, 6, 7, 7, 7, 7, 8, 8, 8, 8, 8, 8, 8, 8);
    const __m128i nibble = _mm_set1_epi8(15);
    return _mm_max_epu8(_mm_shuffle_epi8(low, _mm_and_si128(b, nibble)),
                        _mm_shuffle_epi8(high, _mm_and_si128(_mm_srli_epi16(b, 4), nibble)));
}

// Fills pr and returns the mask with bit k set when zigzag coefficient k is nonzero (category
// above 0); *big is set when an AC coefficient is -32768 (category 16, no symbol).
// When every |AC| is below 256 (most blocks of typical images), the magnitudes fit in bytes and
// two nibble lookups per sixteen give the categories; otherwise the float exponents do. The DC
// lane is left out of that test: its category here is never used.
__attribute__((always_inline)) inline Kep64u prepare(const Kep16s* p, Prepared* pr, bool* big) {
    __m128i mag[8];
#pragma GCC unroll 8  // the magnitudes stay in registers
    for (int i = 0; i < 8; ++i) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8 * i));
        _mm_store_si128(reinterpret_cast<__m128i*>(pr->extra + 8 * i), _mm_add_epi16(v, _mm_srai_epi16(v, 15)));
        mag[i] = _mm_abs_epi16(v);  // 0x8000 for -32768
    }
    // Any bit from 8 up in the OR of the AC magnitudes means one of them is 256 or more; bit 15
    // (the top bit of the odd bytes) that one is -32768, as every other |v| is below 0x8000.
    const __m128i ac0 = _mm_and_si128(mag[0], _mm_setr_epi16(0, -1, -1, -1, -1, -1, -1, -1));
    const __m128i any = _mm_or_si128(_mm_or_si128(_mm_or_si128(ac0, mag[1]), _mm_or_si128(mag[2], mag[3])),
                                     _mm_or_si128(_mm_or_si128(mag[4], mag[5]), _mm_or_si128(mag[6], mag[7])));
    *big = (_mm_movemask_epi8(any) & 0xAAAA) != 0;
    const __m128i z = _mm_setzero_si128();
    __m128i cat[4];
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_srli_epi16(any, 8), z)) == 0xFFFF) {
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) cat[i] = byteCategories(_mm_packus_epi16(mag[2 * i], mag[2 * i + 1]));
    } else {
#pragma GCC unroll 4  // unrolled, the four groups of 16 overlap
        for (int i = 0; i < 4; ++i)
            cat[i] = _mm_subs_epu8(_mm_packus_epi16(exponents(mag[2 * i]), exponents(mag[2 * i + 1])), _mm_set1_epi8(126));
    }
    Kep64u zero = 0;
    const __m128i c0 = zigzagBytes<0>(cat), c1 = zigzagBytes<1>(cat), c2 = zigzagBytes<2>(cat), c3 = zigzagBytes<3>(cat);
    _mm_store_si128(reinterpret_cast<__m128i*>(pr->category), c0);
    _mm_store_si128(reinterpret_cast<__m128i*>(pr->category + 16), c1);
    _mm_store_si128(reinterpret_cast<__m128i*>(pr->category + 32), c2);
    _mm_store_si128(reinterpret_cast<__m128i*>(pr->category + 48), c3);
    zero |= static_cast<Kep64u>(static_cast<Kep16u>(_mm_movemask_epi8(_mm_cmpeq_epi8(c0, z))));
    zero |= static_cast<Kep64u>(static_cast<Kep16u>(_mm_movemask_epi8(_mm_cmpeq_epi8(c1, z)))) << 16;
    zero |= static_cast<Kep64u>(static_cast<Kep16u>(_mm_movemask_epi8(_mm_cmpeq_epi8(c2, z)))) << 32;
    zero |= static_cast<Kep64u>(static_cast<Kep16u>(_mm_movemask_epi8(_mm_cmpeq_epi8(c3, z)))) << 48;
    return ~zero;
}

__attribute__((always_inline)) inline bool encodeFast(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                                                      const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                                                      KepiEncodeHuffmanState* st, bool roomKnown) {
    const int pos0 = *dst.pos;
    if (pos0 < 0 || dst.len - pos0 < kOwnHuffFastEncodeRoom) return false;

    Prepared pr;
    bool big;
    const Kep64u nonzero = prepare(pSrc, &pr, &big);
    // Category 16 (-32768) has no AC symbol: the careful path.
    if (__builtin_expect(big, 0)) return false;

    const int count0 = st->bitCount;
    const Kep32u word0 = static_cast<Kep32u>(st->bitBuffer);
    Writer w;
    w.free = 64 - count0;
    w.acc = (word0 >> (24 - count0)) & ((1u << count0) - 1);
    w.out = dst.p + pos0;

    const Kep32s diff = static_cast<Kep32s>(pSrc[0]) - *pLastDC;
    const unsigned s = static_cast<unsigned>(ownHuffCategory(diff));  // a table: BSR is slow on some processors
    Kep32u e = dc->entry[s];
    if ((e >> 16) == 0) return false;
    // Extra bits through the mask table: no branch for category 0, frequent in flat areas.
    const Kep32u dcExtra = static_cast<Kep32u>(diff + (diff >> 31)) & kLoop.lowBits[s];
    w.put(((e & 0xFFFF) << s) | dcExtra, static_cast<int>((e >> 16) + s));  // up to 16 + 16 bits

    const Kep32u* __restrict acEntry = ac->entry;
    size_t next = 1;  // zigzag position after the last coefficient coded
    for (Kep64u m = nonzero & ~1ull; m; m &= m - 1) {
        const size_t k = lowestSet(m);
        size_t run = k - next;
        next = k + 1;
        if (__builtin_expect(run > 15, 0)) {
            const Kep32u zrl = acEntry[0xF0];
            if ((zrl >> 16) == 0) return false;
            for (size_t z = run >> 4; z; --z) w.put(zrl & 0xFFFF, static_cast<int>(zrl >> 16));
            run &= 15;
        }
        const size_t cat = pr.category[k];
        e = acEntry[run * 16 + cat];
        const unsigned len = e >> 16;
        if (__builtin_expect(len == 0, 0)) return false;
        // Code and extra bits together, at most 16 + 15 bits.
        const Kep32u extra = static_cast<Kep32u>(pr.extra[kLoop.natural[k]]) & kLoop.lowBits[cat];
        w.put(((e & 0xFFFF) << cat) | extra, static_cast<int>(len + cat));
    }
    if (next != 64) {
        e = acEntry[0x00];
        if ((e >> 16) == 0) return false;
        w.put(e & 0xFFFF, static_cast<int>(e >> 16));
    }

    // Whole bytes left, then the remaining 0..7 bits back into the careful path's word layout.
    const int bits = w.finish(roomKnown);
    const Kep32u pending = static_cast<Kep32u>(w.acc) & ((1u << bits) - 1);
    st->bitBuffer = (w.lastData(dst.p + pos0, word0 >> 24) << 24) | (pending << (24 - bits));
    st->bitCount = bits;
    *pLastDC = pSrc[0];
    *dst.pos = static_cast<int>(w.out - dst.p);
    return true;
}

}  // namespace

bool ownHuffEncodeBlock_fast(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                             const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                             KepiEncodeHuffmanState* st) {
    return encodeFast(pSrc, dst, pLastDC, dc, ac, st, true);
}

// The kernel inlined here and the careful path as a tail call, so that an export pays one jump.
KepResult ownHuffEncodeBlock(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes, int* pDstCurrPos, Kep16s* pLastDC,
                             const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                             KepiEncodeHuffmanState* st, bool roomKnown) {
    const OwnHuffDst dst = {pDst, dstLenBytes, pDstCurrPos};
    if (encodeFast(pSrc, dst, pLastDC, dc, ac, st, roomKnown)) return kepOk;
    return ownHuffEncodeBlock_careful(pSrc, dst, pLastDC, dc, ac, st);
}
