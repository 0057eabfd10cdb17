// Fast whole-block baseline encoder: the block is reordered to zigzag order once, a 64-bit mask of
// its nonzero coefficients (SSE2) drives the run-length loop, and the bits collect in a 64-bit
// register from which four bytes at a time go out when none of them is 0xFF. It produces the same
// bytes and the same final state as the bit writer of pjenchuff.cpp.

#include <emmintrin.h>

#include "huff.h"
#include "pjzigzag.h"

namespace {

struct Writer {
    Kep64u acc;    // the low `bits` bits are pending, most significant first
    int bits;      // 0..63
    Kep8u* out;    // next byte to store
    Kep32u last;   // last data byte stored (bits 24..31 of the careful path's word)

    void byte(Kep32u b) {
        *out++ = static_cast<Kep8u>(b);
        if (b == 0xFF) *out++ = 0;
        last = b;
    }
    // Appends len (1..32) bits; stores four bytes once 32 or more bits are pending.
    void put(Kep32u value, int len) {
        acc = (acc << len) | value;
        bits += len;
        if (bits >= 32) {
            bits -= 32;
            const Kep32u w = static_cast<Kep32u>(acc >> bits);
            // A byte equal to 0xFF needs a stuffed zero: test all four at once.
            const Kep32u ff = ~w;
            if (((ff - 0x01010101u) & ~ff & 0x80808080u) == 0) {
                const Kep32u be = __builtin_bswap32(w);
                memcpy(out, &be, 4);
                out += 4;
                last = w & 0xFF;
            } else {
                byte(w >> 24);
                byte((w >> 16) & 0xFF);
                byte((w >> 8) & 0xFF);
                byte(w & 0xFF);
            }
        }
    }
};

inline int category(Kep32s v) {
    const Kep32u a = static_cast<Kep32u>(v < 0 ? -v : v);
    return a ? 32 - __builtin_clz(a) : 0;
}

}  // namespace

bool ownHuffEncodeBlock_fast(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                             const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                             KepiEncodeHuffmanState* st) {
    const int pos0 = *dst.pos;
    if (dst.len - pos0 < kOwnHuffFastEncodeRoom) return false;

    alignas(16) Kep16s zz[64];
    for (int k = 0; k < 64; ++k) zz[k] = pSrc[ownZigzagNatural[k]];

    // Bit k of `nonzero` is set when zigzag coefficient k is not 0; -32768 (category 16) is left
    // to the careful path.
    Kep64u nonzero = 0, minimum = 0;
    const __m128i zero = _mm_setzero_si128(), low = _mm_set1_epi16(-32768);
    for (int i = 0; i < 8; ++i) {
        const __m128i v = _mm_load_si128(reinterpret_cast<const __m128i*>(zz) + i);
        const int z = _mm_movemask_epi8(_mm_packs_epi16(_mm_cmpeq_epi16(v, zero), zero)) & 0xFF;
        const int m = _mm_movemask_epi8(_mm_packs_epi16(_mm_cmpeq_epi16(v, low), zero)) & 0xFF;
        nonzero |= static_cast<Kep64u>(~z & 0xFF) << (8 * i);
        minimum |= static_cast<Kep64u>(m) << (8 * i);
    }
    if (minimum >> 1) return false;

    Writer w;
    w.bits = st->bitCount;
    w.acc = (static_cast<Kep32u>(st->bitBuffer) >> (24 - w.bits)) & ((1u << w.bits) - 1);
    w.out = dst.p + pos0;
    w.last = static_cast<Kep32u>(st->bitBuffer) >> 24;

    const Kep32s diff = static_cast<Kep32s>(pSrc[0]) - *pLastDC;
    int s = category(diff);
    Kep32u e = dc->entry[s];
    if ((e >> 16) == 0) return false;
    w.put(e & 0xFFFF, static_cast<int>(e >> 16));
    if (s) w.put(ownHuffExtraBits(diff, s), s);

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
        const Kep32s v = zz[k];
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
    while (w.bits >= 8) {
        w.bits -= 8;
        w.byte(static_cast<Kep32u>(w.acc >> w.bits) & 0xFF);
    }
    const Kep32u pending = static_cast<Kep32u>(w.acc) & ((1u << w.bits) - 1);
    st->bitBuffer = (w.last << 24) | (pending << (24 - w.bits));
    st->bitCount = w.bits;
    *pLastDC = pSrc[0];
    *dst.pos = static_cast<int>(w.out - dst.p);
    return true;
}
