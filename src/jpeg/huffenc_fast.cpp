// Fast whole-block baseline encoder: a 64-bit mask of the nonzero coefficients, found in natural
// order with SSE2 and moved to zigzag order through nibble tables, drives the run-length loop, so
// only nonzero coefficients are loaded; the bits collect in a 64-bit register from which eight
// bytes at a time go out when none of them is 0xFF. It produces the same bytes and the same final
// state as the bit writer of pjenchuff.cpp.

#include <emmintrin.h>

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
    // The whole bytes still pending go out; returns the number of bits left (0..7).
    int finish() {
        int bits = 64 - free;
        while (bits >= 8) {
            bits -= 8;
            byte(static_cast<Kep32u>(acc >> bits) & 0xFF);
        }
        return bits;
    }
};

inline int category(Kep32s v) {
    const Kep32u a = static_cast<Kep32u>(v < 0 ? -v : v);
    return a ? 32 - __builtin_clz(a) : 0;
}

// Natural-order bit masks to zigzag-order ones, four natural positions at a time:
// kNibbleToZigzag[j][n] has bit ownZigzagIndex[4j + b] set for every bit b of n.
struct NibbleTable {
    Kep64u m[16][16];
};
constexpr NibbleTable makeNibbleTable() {
    // T.81 Figure A.6 (the same order as ownZigzagIndex, spelled out for constant evaluation).
    constexpr Kep8u zz[64] = {0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
                              3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
                              10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
                              21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};
    NibbleTable t{};
    for (int j = 0; j < 16; ++j)
        for (int n = 0; n < 16; ++n)
            for (int b = 0; b < 4; ++b)
                if (n & (1 << b)) t.m[j][n] |= Kep64u{1} << zz[4 * j + b];
    return t;
}
constexpr NibbleTable kNibbleToZigzag = makeNibbleTable();

// One bit per coefficient, in natural order, where the 16-bit value equals `what`.
inline Kep64u naturalMask(const Kep16s* p, __m128i what) {
    Kep64u m = 0;
    for (int r = 0; r < 8; ++r) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8 * r));
        const __m128i eq = _mm_cmpeq_epi16(v, what);
        m |= static_cast<Kep64u>(_mm_movemask_epi8(_mm_packs_epi16(eq, eq)) & 0xFF) << (8 * r);
    }
    return m;
}

}  // namespace

bool ownHuffEncodeBlock_fast(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                             const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                             KepiEncodeHuffmanState* st) {
    const int pos0 = *dst.pos;
    if (dst.len - pos0 < kOwnHuffFastEncodeRoom) return false;

    // An AC value of -32768 (category 16) is left to the careful path.
    if (naturalMask(pSrc, _mm_set1_epi16(-32768)) >> 1) return false;
    // Bit k of `nonzero` is set when zigzag coefficient k is not 0.
    const Kep64u zeroNatural = naturalMask(pSrc, _mm_setzero_si128());
    Kep64u nonzero = 0;
    for (int j = 0; j < 16; ++j) nonzero |= kNibbleToZigzag.m[j][(~zeroNatural >> (4 * j)) & 15];

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
    int prev = 0;
    for (Kep64u m = nonzero >> 1 << 1; m; m &= m - 1) {
        const int k = __builtin_ctzll(m);
        int run = k - prev - 1;
        prev = k;
        if (run > 15) {
            if ((zrl >> 16) == 0) return false;
            for (; run > 15; run -= 16) w.put(zrl & 0xFFFF, static_cast<int>(zrl >> 16));
        }
        const Kep32s v = pSrc[ownZigzagNatural[k]];
        s = category(v);
        e = ac->entry[run * 16 + s];
        const int len = static_cast<int>(e >> 16);
        if (len == 0) return false;
        // Code and extra bits together: at most 16 + 15 bits.
        w.put(((e & 0xFFFF) << s) | ownHuffExtraBits(v, s), len + s);
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
