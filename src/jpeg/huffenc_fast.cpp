// Fast whole-block baseline encoder. SSSE3 puts the block in zigzag order up front (byte
// shuffles of the eight rows) and derives, for all 64 coefficients at once, the mask of the
// nonzero ones, their categories (from the exponent of |v| converted to float) and their extra
// bits (v, or v - 1 when negative). The run-length loop then visits only the nonzero
// coefficients, with two loads each, so the chain from one symbol to the next is short. The bits
// collect in a 64-bit register from which eight bytes at a time go out when none of them is
// 0xFF. It produces the same bytes and the same final state as the bit writer of pjenchuff.cpp.

#include <tmmintrin.h>

#include "huff.h"
#include "pjzigzag.h"

namespace {

struct Writer {
    Kep64u acc;    // pending bits, most significant first, in the low 64 - free bits
    int free;      // 64 - number of pending bits
    Kep8u* out;    // next byte to store
    Kep32u last;   // last data byte stored (bits 24..31 of the careful path's word)

    void byte(Kep32u b) {
        *out++ = static_cast<Kep8u>(b);
        if (b == 0xFF) *out++ = 0;
        last = b;
    }
    // Stores the eight bytes of a full accumulator.
    void flush8(Kep64u w) {
        // A byte equal to 0xFF needs a stuffed zero: test all eight at once.
        const Kep64u inv = ~w;
        if (((inv - 0x0101010101010101ull) & ~inv & 0x8080808080808080ull) == 0) {
            const Kep64u be = __builtin_bswap64(w);
            memcpy(out, &be, 8);
            out += 8;
            last = static_cast<Kep32u>(w & 0xFF);
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
    // 0xFF among them, one 8-byte store merged with the bytes already in the buffer past them
    // (the kernel runs only with room to spare), so nothing past the last byte changes.
    int finish() {
        const int bits = 64 - free;
        const int n = bits >> 3;
        if (n == 0) return bits;
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
            last = static_cast<Kep32u>(top >> (64 - 8 * n)) & 0xFF;
            return bits & 7;
        }
        int left = bits;
        while (left >= 8) {
            left -= 8;
            byte(static_cast<Kep32u>(acc >> left) & 0xFF);
        }
        return left;
    }
};

inline int category(Kep32s v) {
    const Kep32u a = static_cast<Kep32u>(v < 0 ? -v : v);
    return a ? 32 - __builtin_clz(a) : 0;
}

// The block in zigzag order with PSHUFB: output vector o (zigzag positions 8o..8o+7) is the OR
// over the rows i it draws from of a shuffle of row i that takes the lanes whose natural
// position lies in that row and zeroes the others (control bytes 0x80). 36 of the 64 (o, i)
// shuffles take something.
struct ShuffleTable {
    Kep8u ctrl[8][8][16];
};
constexpr ShuffleTable makeShuffleTable() {
    ShuffleTable t{};
    for (int o = 0; o < 8; ++o)
        for (int i = 0; i < 8; ++i)
            for (int j = 0; j < 8; ++j) {
                const int n = ownZigzagNaturalExt[8 * o + j];
                const bool here = n / 8 == i;
                t.ctrl[o][i][2 * j] = static_cast<Kep8u>(here ? 2 * (n % 8) : 0x80);
                t.ctrl[o][i][2 * j + 1] = static_cast<Kep8u>(here ? 2 * (n % 8) + 1 : 0x80);
            }
    return t;
}
alignas(16) constexpr ShuffleTable kZigzagShuffle = makeShuffleTable();

constexpr bool used(int o, int i) {
    for (int b = 0; b < 16; ++b)
        if (kZigzagShuffle.ctrl[o][i][b] != 0x80) return true;
    return false;
}

template <int o, int i>
inline __m128i gather(__m128i acc, const __m128i* row) {
    if constexpr (used(o, i))
        return _mm_or_si128(acc, _mm_shuffle_epi8(row[i], _mm_load_si128(reinterpret_cast<const __m128i*>(kZigzagShuffle.ctrl[o][i]))));
    return acc;
}

template <int o>
inline __m128i zigzagRow(const __m128i* row) {
    __m128i acc = _mm_setzero_si128();
    acc = gather<o, 0>(acc, row);
    acc = gather<o, 1>(acc, row);
    acc = gather<o, 2>(acc, row);
    acc = gather<o, 3>(acc, row);
    acc = gather<o, 4>(acc, row);
    acc = gather<o, 5>(acc, row);
    acc = gather<o, 6>(acc, row);
    acc = gather<o, 7>(acc, row);
    return acc;
}

// Low s bits.
constexpr Kep32u kLowBits[17] = {0,     1,     3,     7,     15,     31,     63,     127,   255,
                                  511,   1023,  2047,  4095,  8191,   16383,  32767,  65535};

// What the run-length loop needs of a block, all in zigzag order.
struct Zigzagged {
    alignas(16) Kep8u category[64];  // number of bits of |v|: 0..15, 16 for -32768
    alignas(16) Kep16s extra[64];    // v, or v - 1 when negative (the extra bits below the category)
};

// Categories of eight |v| (as unsigned 16-bit values) as bytes: the exponent of |v| converted to
// float is 127 + floor(log2 |v|), 0 for 0; the saturating subtraction of 126 gives the number of
// bits, and 0 for 0.
inline __m128i exponents(__m128i a) {
    const __m128i z = _mm_setzero_si128();
    const __m128i lo = _mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(_mm_unpacklo_epi16(a, z))), 23);
    const __m128i hi = _mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(_mm_unpackhi_epi16(a, z))), 23);
    return _mm_packs_epi32(lo, hi);
}

// Zigzag positions 16h..16h+15 into zz; returns their zero flags as bits 16h..16h+15.
template <int h>
inline Kep64u zigzagPair(const __m128i* row, Zigzagged* zz) {
    const __m128i a = zigzagRow<2 * h>(row), b = zigzagRow<2 * h + 1>(row);
    const __m128i z = _mm_setzero_si128();
    const Kep64u zero = static_cast<Kep16u>(_mm_movemask_epi8(_mm_packs_epi16(_mm_cmpeq_epi16(a, z), _mm_cmpeq_epi16(b, z))));
    const __m128i e = _mm_packus_epi16(exponents(_mm_abs_epi16(a)), exponents(_mm_abs_epi16(b)));
    _mm_store_si128(reinterpret_cast<__m128i*>(zz->category + 16 * h), _mm_subs_epu8(e, _mm_set1_epi8(126)));
    _mm_store_si128(reinterpret_cast<__m128i*>(zz->extra + 16 * h), _mm_add_epi16(a, _mm_srai_epi16(a, 15)));
    _mm_store_si128(reinterpret_cast<__m128i*>(zz->extra + 16 * h + 8), _mm_add_epi16(b, _mm_srai_epi16(b, 15)));
    return zero << (16 * h);
}

// Fills zz and returns the mask with bit k set when zigzag coefficient k is nonzero.
inline Kep64u zigzag(const Kep16s* p, Zigzagged* zz) {
    __m128i row[8];
    for (int i = 0; i < 8; ++i) row[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8 * i));
    return ~(zigzagPair<0>(row, zz) | zigzagPair<1>(row, zz) | zigzagPair<2>(row, zz) | zigzagPair<3>(row, zz));
}

__attribute__((always_inline)) inline bool encodeFast(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                                                      const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                                                      KepiEncodeHuffmanState* st) {
    const int pos0 = *dst.pos;
    if (pos0 < 0 || dst.len - pos0 < kOwnHuffFastEncodeRoom) return false;

    Zigzagged zz;
    const Kep64u nonzero = zigzag(pSrc, &zz);

    Writer w;
    w.free = 64 - st->bitCount;
    w.acc = (static_cast<Kep32u>(st->bitBuffer) >> (24 - st->bitCount)) & ((1u << st->bitCount) - 1);
    w.out = dst.p + pos0;
    w.last = static_cast<Kep32u>(st->bitBuffer) >> 24;

    const Kep32s diff = static_cast<Kep32s>(pSrc[0]) - *pLastDC;
    int s = category(diff);
    Kep32u e = dc->entry[s];
    if ((e >> 16) == 0) return false;
    w.put(((e & 0xFFFF) << s) | ownHuffExtraBits(diff, s), static_cast<int>(e >> 16) + s);  // up to 16 + 16 bits

    const Kep32u zrl = ac->entry[0xF0];
    unsigned prev = 0;
    for (Kep64u m = nonzero >> 1 << 1; m; m &= m - 1) {
        const unsigned k = static_cast<unsigned>(__builtin_ctzll(m));
        unsigned run = k - prev - 1;
        prev = k;
        if (__builtin_expect(run > 15, 0)) {
            if ((zrl >> 16) == 0) return false;
            for (unsigned z = run >> 4; z; --z) w.put(zrl & 0xFFFF, static_cast<int>(zrl >> 16));
            run &= 15;
        }
        // Category 16 (-32768) has no AC symbol: the careful path.
        const unsigned cat = zz.category[k];
        if (__builtin_expect(cat > 15, 0)) return false;
        e = ac->entry[run * 16 + cat];
        const unsigned len = e >> 16;
        if (__builtin_expect(len == 0, 0)) return false;
        // Code and extra bits together, at most 16 + 15 bits.
        const Kep32u extra = static_cast<Kep32u>(zz.extra[k]) & kLowBits[cat];
        w.put(((e & 0xFFFF) << cat) | extra, static_cast<int>(len + cat));
    }
    if (prev != 63) {
        e = ac->entry[0x00];
        if ((e >> 16) == 0) return false;
        w.put(e & 0xFFFF, static_cast<int>(e >> 16));
    }

    // Whole bytes left, then the remaining 0..7 bits back into the careful path's word layout.
    const int bits = w.finish();
    const Kep32u pending = static_cast<Kep32u>(w.acc) & ((1u << bits) - 1);
    st->bitBuffer = (w.last << 24) | (pending << (24 - bits));
    st->bitCount = bits;
    *pLastDC = pSrc[0];
    *dst.pos = static_cast<int>(w.out - dst.p);
    return true;
}

}  // namespace

bool ownHuffEncodeBlock_fast(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                             const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                             KepiEncodeHuffmanState* st) {
    return encodeFast(pSrc, dst, pLastDC, dc, ac, st);
}

// The kernel inlined here and the careful path as a tail call, so that an export pays one jump.
KepResult ownHuffEncodeBlock(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes, int* pDstCurrPos, Kep16s* pLastDC,
                             const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                             KepiEncodeHuffmanState* st) {
    const OwnHuffDst dst = {pDst, dstLenBytes, pDstCurrPos};
    if (encodeFast(pSrc, dst, pLastDC, dc, ac, st)) return kepOk;
    return ownHuffEncodeBlock_careful(pSrc, dst, pLastDC, dc, ac, st);
}
