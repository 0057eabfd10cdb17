// Fast whole-block baseline decoders.
//
// ownHuffDecodeBlock_fast (sources of known length) decodes from a 64-bit register that is
// refilled eight bytes at a time where none of them is 0xFF, and byte by byte (un-stuffing
// 0xFF 0x00) near an 0xFF; it stops loading at a marker, a 0xFF fill byte or the end of the
// source. It does not follow the careful path's fill schedule: it only counts what the careful
// reader's bitCount would be. That reader fills when it holds fewer than 8 bits before a symbol,
// fewer than n before n extra bits, none before each bit of a code longer than 9 bits, and a fill
// that meets no marker or end takes whole bytes until at least 25 bits are held:
// count += (32 - count) & ~7. At the end of the block the careful reader has consumed as many
// data bytes as the bits decoded plus its count make, so its position (past the stuffed zeros of
// those bytes) and its bitBuffer (their last four bytes) follow. When the careful reader would
// have read a byte this kernel has not vetted (a marker, the end of the source), the kernel
// declines and the careful path decodes the block.
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

// Matches a code longer than 8 bits, given the next 16 bits of the stream left-aligned in code16;
// its length (9..16) or 0 when no length matches.
inline int longCode(const KepiDecodeHuffmanSpec* spec, Kep32u code16, int* sym) {
    for (int length = 9; length <= 16; ++length)
        if (ownHuffMatch(spec, length, code16 >> (16 - length), sym)) return length;
    return 0;
}

// ---- 64-bit register with counted careful fills ----------------------------------------------

constexpr int kMaxStuffed = 16;  // 0xFF data bytes one block may span; more declines

struct Reader64 {
    const Kep8u* p;
    int len;
    int sp;        // next source byte to load
    int loaded;    // data bytes loaded since the start position
    Kep64u acc;    // the next `bits` bits, most significant first; below them zeros or the next bytes
    int bits;
    int vc;        // the careful reader's bitCount
    bool stopped;  // a marker, fill byte or the end of the source: nothing more can be loaded
    int nstuffed;
    int stuffed[kMaxStuffed];  // data indices of the 0xFF data bytes loaded

    // The careful reader fills when it holds fewer than `need` bits.
    __attribute__((always_inline)) void careful(int need, int n) {
        if (vc < need) vc = 32 - (-vc & 7);
        vc -= n;
    }

    __attribute__((noinline)) void slowLoad() {
        while (bits <= 56 && !stopped) {
            if (sp >= len) {
                stopped = true;
                break;
            }
            const Kep32u b = p[sp];
            if (b == 0xFF) {
                if (sp + 1 >= len || p[sp + 1] != 0 || nstuffed == kMaxStuffed) {
                    stopped = true;
                    break;
                }
                stuffed[nstuffed++] = loaded;
                sp += 2;
            } else {
                sp += 1;
            }
            acc |= static_cast<Kep64u>(b) << (56 - bits);
            bits += 8;
            loaded += 1;
        }
    }

    // At least 32 bits; false when they cannot be had.
    __attribute__((always_inline)) bool ensure32() {
        if (bits >= 32) return true;
        if (sp <= len - 8) {
            Kep64u w;
            memcpy(&w, p + sp, 8);
            const Kep64u inv = ~w;
            if (((inv - 0x0101010101010101ull) & ~inv & 0x8080808080808080ull) == 0) {
                // Bits of the bytes past the whole ones taken are the bytes the next load brings.
                acc |= __builtin_bswap64(w) >> bits;
                const int n = (63 - bits) >> 3;
                sp += n;
                loaded += n;
                bits += 8 * n;
                return true;
            }
        }
        slowLoad();
        return bits >= 32;
    }

    __attribute__((always_inline)) Kep32u take(int n) {
        const Kep32u v = static_cast<Kep32u>(acc >> (64 - n));
        acc <<= n;
        bits -= n;
        return v;
    }

    // With at least 32 bits held: one symbol; false on a code that matches no length.
    __attribute__((always_inline)) bool symbol(const KepiDecodeHuffmanSpec* spec, int* sym) {
        const Kep32u look = spec->lookahead[acc >> 56];
        const int l = static_cast<int>(look >> 16);
        if (__builtin_expect(l != 0, 1)) {
            *sym = static_cast<int>(look & 0xFFFF);
            careful(8, l);
            acc <<= l;
            bits -= l;
            return true;
        }
        const int length = longCode(spec, static_cast<Kep32u>(acc >> 48), sym);
        if (length == 0) return false;
        careful(9, 9);
        const int r = length - 9;  // bits taken one at a time, filling when none is held
        vc = vc >= r ? vc - r : 32 - (r - vc);
        acc <<= length;
        bits -= length;
        return true;
    }

    // s (1..15) extra bits, EXTENDed; at least s bits held.
    __attribute__((always_inline)) Kep32s extend(int s) {
        careful(s, s);
        const Kep32u v = take(s);
        // v < 2^(s-1): v + 1 - 2^s, branch-free.
        const Kep32s neg = static_cast<Kep32s>((v >> (s - 1)) ^ 1);
        return static_cast<Kep32s>(v) - (neg << s) + neg;
    }
};

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

bool ownHuffDecodeBlock_fast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, const KepiDecodeHuffmanSpec* dc,
                             const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* st) {
    const int pos0 = *src.pos, cnt0 = st->bitCount;
    if (*src.marker != 0 || pos0 < 0 || pos0 > src.len || cnt0 < 0 || cnt0 > 32) return false;
    const Kep32u buf0 = static_cast<Kep32u>(st->bitBuffer);
    Reader64 rd;
    rd.p = src.p;
    rd.len = src.len;
    rd.sp = pos0;
    rd.loaded = 0;
    rd.acc = cnt0 ? static_cast<Kep64u>(buf0) << (64 - cnt0) : 0;
    rd.bits = cnt0;
    rd.vc = cnt0;
    rd.stopped = false;
    rd.nstuffed = 0;

    clearBlock(pDst);
    // Every symbol with its extra bits takes at most 16 + 15 bits.
    int sym;
    if (!rd.ensure32() || !rd.symbol(dc, &sym)) return false;
    const int sdc = sym & 0x0F;
    const Kep16s lastDC = static_cast<Kep16s>(*pLastDC + (sdc ? rd.extend(sdc) : 0));
    pDst[0] = lastDC;

    int remaining = 63;
    for (int k = 1; remaining > 0;) {
        if (!rd.ensure32() || !rd.symbol(ac, &sym)) return false;
        const int run = sym >> 4, s = sym & 0x0F;
        if (s != 0) {
            k += run;
            remaining -= run + 1;
            const Kep32s v = rd.extend(s);
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

    // Data bytes the careful reader has taken: the bits decoded and the bits it holds.
    const int taken = (8 * rd.loaded - rd.bits + rd.vc) >> 3;
    if (taken > rd.loaded) {
        rd.slowLoad();
        if (taken > rd.loaded) return false;  // it would have met what stopped the loads
    }
    int end = pos0 + taken;
    for (int i = 0; i < rd.nstuffed && rd.stuffed[i] < taken; ++i) ++end;
    if (taken > 0) {
        // The last (up to) four data bytes, read backwards: a zero after an 0xFF is its stuffing.
        Kep32u last = 0;
        int q = end;
        const int n = taken < 4 ? taken : 4;
        for (int i = 0; i < n; ++i) {
            Kep32u b = src.p[--q];
            if (b == 0 && q > pos0 && src.p[q - 1] == 0xFF) {
                --q;
                b = 0xFF;
            }
            last |= b << (8 * i);
        }
        st->bitBuffer = taken < 4 ? (buf0 << (8 * taken)) | last : last;
        *src.pos = end;
    }
    *pLastDC = lastDC;
    st->bitCount = rd.vc;
    st->blockPos = static_cast<Kep32u>(64 - remaining);
    return true;
}

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
