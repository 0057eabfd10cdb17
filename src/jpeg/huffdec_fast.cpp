// Fast whole-block baseline decoder. It keeps the reader in registers and fills with one 4-byte
// load where no 0xFF intervenes, but it follows the careful path's fill schedule exactly (fill to
// at least 25 bits whenever the careful path would), so the bits, position and state it leaves are
// the careful path's. Anything unusual (end of source, marker, fill byte, bad code, run past 63)
// makes it decline before it commits anything but the coefficients.

#include <emmintrin.h>

#include "huff.h"
#include "pjzigzag.h"

namespace {

struct Reader {
    const Kep8u* p;
    int len;
    int pos;
    Kep32u buf;  // low 32 bits of the careful path's bitBuffer
    int cnt;
    bool bulk;

    // Reads whole bytes until at least 25 bits are held; false to decline.
    bool fill() {
        const int need = (32 - cnt) >> 3;  // bytes to reach 25..32 bits
        if (bulk && len - pos >= 4) {
            Kep32u w;
            memcpy(&w, p + pos, 4);
            w = __builtin_bswap32(w);
            // Any 0xFF among the `need` leading bytes? (A set flag above a real one may be
            // spurious; that only sends the bytes down the byte-wise path.)
            const Kep32u inv = ~w;
            const Kep32u ff = (inv - 0x01010101u) & ~inv & 0x80808080u;
            const Kep32u lead = need == 4 ? 0xFFFFFFFFu : ~(0xFFFFFFFFu >> (8 * need));
            if ((ff & lead) == 0) {
                buf = need == 4 ? w : (buf << (8 * need)) | (w >> (32 - 8 * need));
                cnt += 8 * need;
                pos += need;
                return true;
            }
        }
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

    __attribute__((always_inline)) bool symbol(const KepiDecodeHuffmanSpec* spec, int* sym) {
        if (cnt < 8 && !fill()) return false;
        const Kep32u look = spec->lookahead[peek(8)];
        if (look >> 16) {
            cnt -= static_cast<int>(look >> 16);
            *sym = static_cast<int>(look & 0xFFFF);
            return true;
        }
        return longSymbol(spec, sym);
    }

    __attribute__((noinline)) bool longSymbol(const KepiDecodeHuffmanSpec* spec, int* sym) {
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

    __attribute__((always_inline)) bool extend(int n, Kep32s* v) {
        if (cnt < n && !fill()) return false;
        const Kep32u bits = peek(n);
        cnt -= n;
        *v = ownHuffExtend(bits, n);
        return true;
    }
};

}  // namespace

bool ownHuffDecodeBlock_fast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC, const KepiDecodeHuffmanSpec* dc,
                             const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* st, bool bulkLoads) {
    if (*src.marker != 0 || *src.pos < 0) return false;
    Reader rd = {src.p, src.len, *src.pos, static_cast<Kep32u>(st->bitBuffer), st->bitCount, bulkLoads};

    // Eight stores written out: as a loop or memset the compiler makes this a slow `rep stos`.
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
