// SSSE3 colour conversion and resampling kernels. Rows go sixteen or eight pixels at a time
// (thirty-two or sixteen outputs for the resamplers) with 32-bit intermediate sums, or 16-bit
// rounded products where they are exact over all inputs, so that every pixel equals the table
// formulas of colour.h exactly; the pixels left over at the end of a row, and the edges of
// the row triangle filters, go through the scalar routines of colour.h. No load reaches past
// the samples the scalar formulas read.

#include <tmmintrin.h>

#include "colour.h"

namespace {

// ---- pshufb masks, built at compile time ----------------------------------------------------------

struct Mask {
    alignas(16) Kep8u b[16];
};
constexpr Kep8u kNone = 0x80;

// Channel c of eight 3- or 4-byte pixels into 16-bit lanes: bytes [0, 16) of the pixels come from
// the first register, the rest from the second (loaded from byte 16).
constexpr Mask gather(int bpp, int c, bool second) {
    Mask m{};
    for (int t = 0; t < 8; ++t) {
        const int at = bpp * t + c;
        m.b[2 * t] = (at >= 16) == second ? static_cast<Kep8u>(second ? at - 16 : at) : kNone;
        m.b[2 * t + 1] = kNone;
    }
    return m;
}
// Output byte k of eight 3-byte pixels, k in [base, base + 16): from rg (R in bytes 0..7, G in
// 8..15) or from b (bytes 0..7).
constexpr Mask scatter3(int base, bool fromB) {
    Mask m{};
    for (int k = 0; k < 16; ++k) {
        const int at = base + k, t = at / 3, c = at % 3;
        m.b[k] = kNone;
        if (at < 24 && fromB && c == 2) m.b[k] = static_cast<Kep8u>(t);
        if (at < 24 && !fromB && c < 2) m.b[k] = static_cast<Kep8u>(c * 8 + t);
    }
    return m;
}

// Output byte k of sixteen 3-byte pixels, k in [base, base + 16), that comes from channel c
// (pixel t in byte t of that channel's register).
constexpr Mask scatter48(int base, int c) {
    Mask m{};
    for (int k = 0; k < 16; ++k) m.b[k] = (base + k) % 3 == c ? static_cast<Kep8u>((base + k) / 3) : kNone;
    return m;
}

// Channels (a, b) of four 3-byte pixels starting at byte `from` as 16-bit pairs (a, b) in each
// 32-bit lane, the pmaddwd operand layout.
constexpr Mask pairs3(int a, int b, int from) {
    Mask m{};
    for (int t = 0; t < 4; ++t) {
        m.b[4 * t] = static_cast<Kep8u>(from + 3 * t + a);
        m.b[4 * t + 2] = static_cast<Kep8u>(from + 3 * t + b);
        m.b[4 * t + 1] = m.b[4 * t + 3] = kNone;
    }
    return m;
}

struct Masks {
    Mask c3[3][2], c4[4][2], out3[2][2], out48[3][3];
    Mask rg[2][2], gb[2][2], rb[2][2];  // [BGR][start at byte 0 or 4]
};
constexpr Masks makeMasks() {
    Masks m{};
    for (int c = 0; c < 3; ++c)
        for (int s = 0; s < 2; ++s) m.c3[c][s] = gather(3, c, s == 1);
    for (int c = 0; c < 4; ++c)
        for (int s = 0; s < 2; ++s) m.c4[c][s] = gather(4, c, s == 1);
    for (int h = 0; h < 2; ++h)
        for (int s = 0; s < 2; ++s) m.out3[h][s] = scatter3(16 * h, s == 1);
    for (int h = 0; h < 3; ++h)
        for (int c = 0; c < 3; ++c) m.out48[h][c] = scatter48(16 * h, c);
    for (int bgr = 0; bgr < 2; ++bgr)
        for (int f = 0; f < 2; ++f) {
            const int r = bgr ? 2 : 0, b = bgr ? 0 : 2;
            m.rg[bgr][f] = pairs3(r, 1, 4 * f);
            m.gb[bgr][f] = pairs3(1, b, 4 * f);
            m.rb[bgr][f] = pairs3(r, b, 4 * f);
        }
    return m;
}
constexpr Masks kMasks = makeMasks();

inline __m128i mask(const Mask& m) { return _mm_load_si128(reinterpret_cast<const __m128i*>(m.b)); }
inline __m128i load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
inline __m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }
inline void store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
inline __m128i widen(__m128i v) { return _mm_unpacklo_epi8(v, _mm_setzero_si128()); }
inline __m128i narrow(__m128i v) { return _mm_packus_epi16(v, v); }  // clamps to 0..255
// Two signed 16-bit multipliers for pmaddwd: a for the even lane, b for the odd lane.
inline __m128i pair(int a, int b) {
    return _mm_set1_epi32(static_cast<int>((static_cast<Kep32u>(static_cast<Kep16u>(b)) << 16) | static_cast<Kep16u>(a)));
}

// ---- Pixel loads and stores ---------------------------------------------------------------------

inline __m128i widen5(__m128i v) { return _mm_or_si128(_mm_slli_epi16(v, 3), _mm_srli_epi16(v, 2)); }
inline __m128i widen6(__m128i v) { return _mm_or_si128(_mm_slli_epi16(v, 2), _mm_srli_epi16(v, 4)); }

// Channel c of pixels x..x+7 of a 3- or 4-byte interleaved row, as 16-bit lanes.
inline __m128i channel(__m128i a, __m128i b, const Mask (&m)[2]) {
    return _mm_or_si128(_mm_shuffle_epi8(a, mask(m[0])), _mm_shuffle_epi8(b, mask(m[1])));
}

// R, G, B (and K) of pixels x..x+7 as 16-bit lanes.
template <int S>
inline void loadPixels(const void* const* src, int x, __m128i* r, __m128i* g, __m128i* b, __m128i* k) {
    const Kep8u* p = static_cast<const Kep8u*>(src[0]);
    const __m128i all = _mm_set1_epi16(255);
    if (S == kCcSrcRGBP3 || S == kCcSrcCMYKP4) {
        *r = widen(load8(p + x));
        *g = widen(load8(static_cast<const Kep8u*>(src[1]) + x));
        *b = widen(load8(static_cast<const Kep8u*>(src[2]) + x));
        if (S == kCcSrcCMYKP4) {
            *r = _mm_sub_epi16(all, *r);
            *g = _mm_sub_epi16(all, *g);
            *b = _mm_sub_epi16(all, *b);
            *k = widen(load8(static_cast<const Kep8u*>(src[3]) + x));
        }
    } else if (S == kCcSrcRGB || S == kCcSrcBGR || S == kCcSrcYCC) {
        const __m128i lo = load16(p + 3 * x), hi = load8(p + 3 * x + 16);
        *r = channel(lo, hi, kMasks.c3[S == kCcSrcBGR ? 2 : 0]);
        *g = channel(lo, hi, kMasks.c3[1]);
        *b = channel(lo, hi, kMasks.c3[S == kCcSrcBGR ? 0 : 2]);
    } else if (S == kCcSrcRGBA || S == kCcSrcBGRA || S == kCcSrcCMYK) {
        const __m128i lo = load16(p + 4 * x), hi = load16(p + 4 * x + 16);
        *r = channel(lo, hi, kMasks.c4[S == kCcSrcBGRA ? 2 : 0]);
        *g = channel(lo, hi, kMasks.c4[1]);
        *b = channel(lo, hi, kMasks.c4[S == kCcSrcBGRA ? 0 : 2]);
        if (S == kCcSrcCMYK) {
            *r = _mm_sub_epi16(all, *r);
            *g = _mm_sub_epi16(all, *g);
            *b = _mm_sub_epi16(all, *b);
            *k = channel(lo, hi, kMasks.c4[3]);
        }
    } else {  // packed 16-bit pixels
        const bool six = S == kCcSrcRGB565 || S == kCcSrcBGR565, rgb = S == kCcSrcRGB555 || S == kCcSrcRGB565;
        const __m128i v = load16(p + 2 * x), f5 = _mm_set1_epi16(31);
        const __m128i lo = widen5(_mm_and_si128(v, f5));
        const __m128i mid = six ? widen6(_mm_and_si128(_mm_srli_epi16(v, 5), _mm_set1_epi16(63)))
                                : widen5(_mm_and_si128(_mm_srli_epi16(v, 5), f5));
        const __m128i hi = widen5(_mm_and_si128(_mm_srli_epi16(v, six ? 11 : 10), f5));
        *r = rgb ? lo : hi;
        *g = mid;
        *b = rgb ? hi : lo;
    }
}

// Pixels x..x+7 from 8-bit channels (each in the low eight bytes of a register).
template <int D>
inline void storePixels(void* const* dst, int x, __m128i r, __m128i g, __m128i b, __m128i k, __m128i alpha) {
    Kep8u* p = static_cast<Kep8u*>(dst[0]);
    if (D == kCcDstCMYK || D == kCcDstCMYKP4) {
        const __m128i ones = _mm_set1_epi8(-1);
        r = _mm_xor_si128(r, ones);  // 255 - x
        g = _mm_xor_si128(g, ones);
        b = _mm_xor_si128(b, ones);
    }
    if (D == kCcDstRGBP3 || D == kCcDstCMYKP4) {
        store8(p + x, r);
        store8(static_cast<Kep8u*>(dst[1]) + x, g);
        store8(static_cast<Kep8u*>(dst[2]) + x, b);
        if (D == kCcDstCMYKP4) store8(static_cast<Kep8u*>(dst[3]) + x, k);
    } else if (D == kCcDstRGB || D == kCcDstBGR || D == kCcDstYCC) {
        const __m128i first = D == kCcDstBGR ? b : r, last = D == kCcDstBGR ? r : b;
        const __m128i rg = _mm_unpacklo_epi64(first, g);
        const auto& m = kMasks.out3;
        store16(p + 3 * x, _mm_or_si128(_mm_shuffle_epi8(rg, mask(m[0][0])), _mm_shuffle_epi8(last, mask(m[0][1]))));
        store8(p + 3 * x + 16, _mm_or_si128(_mm_shuffle_epi8(rg, mask(m[1][0])), _mm_shuffle_epi8(last, mask(m[1][1]))));
    } else if (D == kCcDstRGBA || D == kCcDstBGRA || D == kCcDstCMYK) {
        const __m128i first = D == kCcDstBGRA ? b : r, third = D == kCcDstBGRA ? r : b;
        const __m128i fourth = D == kCcDstCMYK ? k : alpha;
        const __m128i lo = _mm_unpacklo_epi8(first, g), hi = _mm_unpacklo_epi8(third, fourth);
        store16(p + 4 * x, _mm_unpacklo_epi16(lo, hi));
        store16(p + 4 * x + 16, _mm_unpackhi_epi16(lo, hi));
    } else {  // packed 16-bit pixels: fields truncated from the clamped samples
        const bool six = D == kCcDstRGB565 || D == kCcDstBGR565, rgb = D == kCcDstRGB555 || D == kCcDstRGB565;
        const __m128i lo = _mm_srli_epi16(widen(rgb ? r : b), 3), hi = _mm_srli_epi16(widen(rgb ? b : r), 3);
        const __m128i mid = _mm_srli_epi16(widen(g), six ? 2 : 3);
        const __m128i v = _mm_or_si128(_mm_or_si128(lo, _mm_slli_epi16(mid, 5)), _mm_slli_epi16(hi, six ? 11 : 10));
        store16(p + 2 * x, v);
    }
}

// ---- Arithmetic ---------------------------------------------------------------------------------

// Y = (19595 R + 38470 G + 7471 B + 32768) >> 16, with 38470 G split as 19235 G + 19235 G so that
// every multiplier fits pmaddwd. Lanes: 32-bit sums of four pixels.
inline __m128i lumaHalf(__m128i rg, __m128i gb) {
    const __m128i s = _mm_add_epi32(_mm_madd_epi16(rg, pair(19595, 19235)), _mm_madd_epi16(gb, pair(19235, 7471)));
    return _mm_srli_epi32(_mm_add_epi32(s, _mm_set1_epi32(32768)), 16);
}
inline __m128i luma8(__m128i r, __m128i g, __m128i b) {
    return _mm_packs_epi32(lumaHalf(_mm_unpacklo_epi16(r, g), _mm_unpacklo_epi16(g, b)),
                           lumaHalf(_mm_unpackhi_epi16(r, g), _mm_unpackhi_epi16(g, b)));
}
// Cb = (-11059 R - 21709 G + 32768 B + 8421375) >> 16 (32768 B as a shift), Cr alike with the
// roles of R and B exchanged. The sums lie in 65535..16777215: the shift needs no sign care.
inline __m128i chromaHalf(__m128i pairs, __m128i mul, __m128i third) {
    const __m128i s = _mm_add_epi32(_mm_madd_epi16(pairs, mul), _mm_slli_epi32(third, 15));
    return _mm_srli_epi32(_mm_add_epi32(s, _mm_set1_epi32(8388608 + 32767)), 16);
}
inline void ycc8(__m128i r, __m128i g, __m128i b, __m128i* y, __m128i* cb, __m128i* cr) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i rgL = _mm_unpacklo_epi16(r, g), rgH = _mm_unpackhi_epi16(r, g);
    const __m128i gbL = _mm_unpacklo_epi16(g, b), gbH = _mm_unpackhi_epi16(g, b);
    *y = _mm_packs_epi32(lumaHalf(rgL, gbL), lumaHalf(rgH, gbH));
    const __m128i mCb = pair(-11059, -21709), mCr = pair(-27439, -5329);
    *cb = _mm_packs_epi32(chromaHalf(rgL, mCb, _mm_unpacklo_epi16(b, zero)), chromaHalf(rgH, mCb, _mm_unpackhi_epi16(b, zero)));
    *cr = _mm_packs_epi32(chromaHalf(gbL, mCr, _mm_unpacklo_epi16(r, zero)), chromaHalf(gbH, mCr, _mm_unpackhi_epi16(r, zero)));
}

// The inverse tables in registers (c = chroma - 128, in -128..127), with pmulhrsw giving
// (a m + 16384) >> 15:
//   cr_r = (91881 c + 32768) >> 16 = c + ((26345 c + 32768) >> 16)       (91881 = 65536 + 26345)
//        = c + ((13173 c + 16384) >> 15): 2 x 13173 = 26346 is off by one c, which shifts the
//          sum by at most 128 / 65536 and, checked for all 256 values of c, never crosses a
//          multiple of 65536 that the exact sum does not
//   cb_b = (116130 c + 32768) >> 16 = 2c + ((-14942 c + 32768) >> 16)    (116130 = 131072 - 14942)
//        = 2c + ((-7471 c + 16384) >> 15)                                 (-14942 even: exact)
//   (cb_g + cr_g) >> 16 = -cr + ((-22554 cb + 18734 cr + 32768) >> 16)   (-46802 = -65536 + 18734)
// The last sum in 16 bits, from the chroma bytes u = cb + 128, v = cr + 128: with
// -22554 = 256 (-88) - 26 and 18734 = 256 * 73 + 46,
//   -22554 cb + 18734 cr + 32768 = 256 (A + 2038) + B,  A = -88 u + 73 v,  B = -26 u + 46 v
// (128 (22554 - 18734) + 32768 = 2038 * 256), and as A is whole, floor(x / 65536) =
// floor(floor(x / 256) / 256) makes the term (A + 2038 + (B >> 8)) >> 8. A and B are one pmaddubsw
// each of the (u, v) byte pairs; |A| <= 22440 and |B| <= 11730 do not saturate.
// R, G, B as 16-bit lanes, not yet clamped; uv holds the (Cb, Cr) byte pairs.
inline void rgb8(__m128i y, __m128i cb, __m128i cr, __m128i uv, __m128i* r, __m128i* g, __m128i* b) {
    const __m128i A = _mm_maddubs_epi16(uv, _mm_set1_epi16(static_cast<short>((73 << 8) | (-88 & 0xFF))));
    const __m128i B = _mm_maddubs_epi16(uv, _mm_set1_epi16(static_cast<short>((46 << 8) | (-26 & 0xFF))));
    const __m128i gTerm = _mm_srai_epi16(_mm_add_epi16(_mm_add_epi16(A, _mm_srai_epi16(B, 8)), _mm_set1_epi16(2038)), 8);
    const __m128i c128 = _mm_set1_epi16(128);
    cb = _mm_sub_epi16(cb, c128);
    cr = _mm_sub_epi16(cr, c128);
    *r = _mm_add_epi16(y, _mm_add_epi16(cr, _mm_mulhrs_epi16(cr, _mm_set1_epi16(13173))));
    *b = _mm_add_epi16(y, _mm_add_epi16(_mm_add_epi16(cb, cb), _mm_mulhrs_epi16(cb, _mm_set1_epi16(-7471))));
    *g = _mm_add_epi16(y, _mm_sub_epi16(gTerm, cr));
}

// ---- Row kernels --------------------------------------------------------------------------------

// Y, Cb, Cr (and K) of pixels x..x+7 as 16-bit lanes.
template <int S>
inline void ycc8At(const void* const* src, int x, __m128i* y, __m128i* cb, __m128i* cr, __m128i* k) {
    __m128i r, g, b;
    *k = _mm_setzero_si128();
    loadPixels<S>(src, x, &r, &g, &b, k);
    if (S == kCcSrcYCC) {
        *y = r, *cb = g, *cr = b;
    } else {
        ycc8(r, g, b, y, cb, cr);
    }
}

// Y, Cb, Cr of four 3-byte pixels (bytes f*4.. of v, f = 0 or 1) as 32-bit lanes. The channel
// pairs come straight from the pixel bytes by pshufb, and every output is two pmaddwd:
//   Y  = (19595 R + 19235 G) + (19235 G + 7471 B)                  + 32768
//   Cb = (-11059 R + 16384 B) + (-21709 G + 16384 B)               + 128 * 65536 + 32767
//   Cr = (16384 R - 5329 B) + (16384 R - 27439 G)                  + 128 * 65536 + 32767
template <bool Bgr>
inline void ycc4(__m128i v, int f, __m128i* y, __m128i* cb, __m128i* cr) {
    const __m128i rg = _mm_shuffle_epi8(v, mask(kMasks.rg[Bgr][f]));
    const __m128i gb = _mm_shuffle_epi8(v, mask(kMasks.gb[Bgr][f]));
    const __m128i rb = _mm_shuffle_epi8(v, mask(kMasks.rb[Bgr][f]));
    const __m128i cbias = _mm_set1_epi32(8388608 + 32767);
    *y = _mm_add_epi32(_mm_madd_epi16(rg, pair(19595, 19235)), _mm_madd_epi16(gb, pair(19235, 7471)));
    *y = _mm_srli_epi32(_mm_add_epi32(*y, _mm_set1_epi32(32768)), 16);
    *cb = _mm_add_epi32(_mm_madd_epi16(rb, pair(-11059, 16384)), _mm_madd_epi16(gb, pair(-21709, 16384)));
    *cb = _mm_srli_epi32(_mm_add_epi32(*cb, cbias), 16);
    *cr = _mm_add_epi32(_mm_madd_epi16(rb, pair(16384, -5329)), _mm_madd_epi16(rg, pair(16384, -27439)));
    *cr = _mm_srli_epi32(_mm_add_epi32(*cr, cbias), 16);
}

// Sixteen 3-byte pixels (48 bytes) to sixteen Y, Cb and Cr.
template <bool Bgr>
inline void fwd3x16(const Kep8u* p, Kep8u* y, Kep8u* cb, Kep8u* cr) {
    const __m128i a = load16(p), b = load16(p + 16), c = load16(p + 32);
    __m128i Y[4], B[4], R[4];
    ycc4<Bgr>(a, 0, &Y[0], &B[0], &R[0]);
    ycc4<Bgr>(_mm_alignr_epi8(b, a, 12), 0, &Y[1], &B[1], &R[1]);
    ycc4<Bgr>(_mm_alignr_epi8(c, b, 8), 0, &Y[2], &B[2], &R[2]);
    ycc4<Bgr>(c, 1, &Y[3], &B[3], &R[3]);
    store16(y, _mm_packus_epi16(_mm_packs_epi32(Y[0], Y[1]), _mm_packs_epi32(Y[2], Y[3])));
    store16(cb, _mm_packus_epi16(_mm_packs_epi32(B[0], B[1]), _mm_packs_epi32(B[2], B[3])));
    store16(cr, _mm_packus_epi16(_mm_packs_epi32(R[0], R[1]), _mm_packs_epi32(R[2], R[3])));
}

// Sixteen pixels per step where the row allows, stored 16 bytes at a time (a following 16-byte
// load of the plane, as in the MCU down-sampling, then forwards from one store), then eight.
template <int S>
void fwd(const void* const* src, Kep8u* const* dst, int width) {
    const bool four = S == kCcSrcCMYK || S == kCcSrcCMYKP4;
    int x = 0;
    if (S == kCcSrcRGB || S == kCcSrcBGR) {
        // The pointers in locals: the stores could alias the pointer arrays otherwise.
        const Kep8u* const s0 = static_cast<const Kep8u*>(src[0]);
        Kep8u *const d0 = dst[0], *const d1 = dst[1], *const d2 = dst[2];
        for (; x + 16 <= width; x += 16) fwd3x16<S == kCcSrcBGR>(s0 + 3 * x, d0 + x, d1 + x, d2 + x);
    }
    for (; x + 16 <= width; x += 16) {
        __m128i y0, cb0, cr0, k0, y1, cb1, cr1, k1;
        ycc8At<S>(src, x, &y0, &cb0, &cr0, &k0);
        ycc8At<S>(src, x + 8, &y1, &cb1, &cr1, &k1);
        store16(dst[0] + x, _mm_packus_epi16(y0, y1));
        store16(dst[1] + x, _mm_packus_epi16(cb0, cb1));
        store16(dst[2] + x, _mm_packus_epi16(cr0, cr1));
        if (four) store16(dst[3] + x, _mm_packus_epi16(k0, k1));
    }
    for (; x + 8 <= width; x += 8) {
        __m128i y, cb, cr, k;
        ycc8At<S>(src, x, &y, &cb, &cr, &k);
        store8(dst[0] + x, narrow(y));
        store8(dst[1] + x, narrow(cb));
        store8(dst[2] + x, narrow(cr));
        if (four) store8(dst[3] + x, narrow(k));
    }
    ownCcFwdPixels<S, false>(src, dst, x, width);
}

template <int S>
void luma(const void* const* src, Kep8u* const* dst, int width) {
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        __m128i r, g, b, k;
        loadPixels<S>(src, x, &r, &g, &b, &k);
        store8(dst[0] + x, narrow(luma8(r, g, b)));
    }
    ownCcFwdPixels<S, true>(src, dst, x, width);
}

// Sixteen 3-byte pixels from the channels c0, c1, c2 (16 bytes each), in three 16-byte stores.
inline void store48(Kep8u* p, __m128i c0, __m128i c1, __m128i c2) {
    const auto& m = kMasks.out48;
    // Unrolled so that the nine masks stay in registers across the caller's loop.
#pragma GCC unroll 3
    for (int h = 0; h < 3; ++h)
        store16(p + 16 * h, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(c0, mask(m[h][0])), _mm_shuffle_epi8(c1, mask(m[h][1]))),
                                         _mm_shuffle_epi8(c2, mask(m[h][2]))));
}

template <int D>
void inv(const Kep8u* const* src, void* const* dst, int width, Kep8u alpha) {
    const __m128i a = _mm_set1_epi8(static_cast<char>(alpha));
    int x = 0;
    // 3-byte pixels: sixteen per step, one pack per channel and whole 16-byte stores.
    if (D == kCcDstRGB || D == kCcDstBGR) {
        const __m128i zero = _mm_setzero_si128();
        // The plane pointers in locals: the stores could alias the pointer arrays otherwise.
        const Kep8u *const s0 = src[0], *const s1 = src[1], *const s2 = src[2];
        Kep8u* const d0 = static_cast<Kep8u*>(dst[0]);
        for (; x + 16 <= width; x += 16) {
            const __m128i y = load16(s0 + x), cb = load16(s1 + x), cr = load16(s2 + x);
            __m128i r0, g0, b0, r1, g1, b1;
            rgb8(widen(y), widen(cb), widen(cr), _mm_unpacklo_epi8(cb, cr), &r0, &g0, &b0);
            rgb8(_mm_unpackhi_epi8(y, zero), _mm_unpackhi_epi8(cb, zero), _mm_unpackhi_epi8(cr, zero), _mm_unpackhi_epi8(cb, cr), &r1,
                 &g1, &b1);
            const __m128i r = _mm_packus_epi16(r0, r1), g = _mm_packus_epi16(g0, g1), b = _mm_packus_epi16(b0, b1);
            store48(d0 + 3 * x, D == kCcDstBGR ? b : r, g, D == kCcDstBGR ? r : b);
        }
    }
    for (; x + 8 <= width; x += 8) {
        __m128i r = widen(load8(src[0] + x)), g = widen(load8(src[1] + x)), b = widen(load8(src[2] + x));
        if (D != kCcDstYCC) rgb8(r, g, b, _mm_or_si128(g, _mm_slli_epi16(b, 8)), &r, &g, &b);
        const __m128i k = (D == kCcDstCMYK || D == kCcDstCMYKP4) ? load8(src[3] + x) : _mm_setzero_si128();
        storePixels<D>(dst, x, narrow(r), narrow(g), narrow(b), k, a);
    }
    ownCcInvPixels<D>(src, dst, x, width, alpha);
}

// ---- Resampling ---------------------------------------------------------------------------------

// Box outputs from one or two source rows (l null for H2V1) with a bias per lane and a shift:
// sixteen per group, then one group of eight (an MCU row is eight), then one at a time.
template <int Shift>
inline __m128i boxSums(const Kep8u* u, const Kep8u* l, __m128i bias) {
    const __m128i ones = _mm_set1_epi8(1);
    __m128i v = _mm_maddubs_epi16(load16(u), ones);
    if (l) v = _mm_add_epi16(v, _mm_maddubs_epi16(load16(l), ones));
    return _mm_srli_epi16(_mm_add_epi16(v, bias), Shift);
}
template <int Shift>
inline int box(const Kep8u* u, const Kep8u* l, Kep8u* d, int dw, __m128i bias) {
    int j = 0;
    for (; j + 16 <= dw; j += 16)
        store16(d + j, _mm_packus_epi16(boxSums<Shift>(u + 2 * j, l ? l + 2 * j : l, bias),
                                        boxSums<Shift>(u + 2 * j + 16, l ? l + 2 * j + 16 : l, bias)));
    if (j + 8 <= dw) {
        store8(d + j, narrow(boxSums<Shift>(u + 2 * j, l ? l + 2 * j : l, bias)));
        j += 8;
    }
    return j;
}

void downPlane21(const Kep8u* s, Kep8u* d, int dw) {
    for (int j = box<1>(s, nullptr, d, dw, _mm_set1_epi16(1)); j < dw; ++j)
        d[j] = static_cast<Kep8u>((s[2 * j] + s[2 * j + 1] + 1) >> 1);
}
void downPlane22(const Kep8u* u, const Kep8u* l, Kep8u* d, int dw) {
    for (int j = box<2>(u, l, d, dw, _mm_set1_epi16(3)); j < dw; ++j)
        d[j] = static_cast<Kep8u>((u[2 * j] + u[2 * j + 1] + l[2 * j] + l[2 * j + 1] + 3) >> 2);
}
// Alternating biases: lane t of a group starting at an even j has bias (t & 1) or 1 + (t & 1).
void downRow21(const Kep8u* s, int width, Kep8u* d) {
    const int dw = width / 2;
    for (int j = box<1>(s, nullptr, d, dw, _mm_set_epi16(1, 0, 1, 0, 1, 0, 1, 0)); j < dw; ++j)
        d[j] = static_cast<Kep8u>((s[2 * j] + s[2 * j + 1] + (j & 1)) >> 1);
}
void downRow22(const Kep8u* u, const Kep8u* l, int width, Kep8u* d) {
    const int dw = (width + 1) / 2;
    for (int j = box<2>(u, l, d, width / 2, _mm_set_epi16(2, 1, 2, 1, 2, 1, 2, 1)); j < dw; ++j) {
        const int a = 2 * j, b = 2 * j + 1 < width ? 2 * j + 1 : 2 * j;
        d[j] = static_cast<Kep8u>((u[a] + u[b] + l[a] + l[b] + 1 + (j & 1)) >> 2);
    }
}

// Sixteen triangle outputs d[2i..2i+15] from s[i-1..i+8].
inline void tri21(const Kep8u* s, Kep8u* d) {
    const __m128i l = widen(load8(s - 1)), c = widen(load8(s)), r = widen(load8(s + 1));
    const __m128i c3 = _mm_add_epi16(_mm_add_epi16(c, c), c);
    const __m128i e = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(c3, l), _mm_set1_epi16(1)), 2);
    const __m128i o = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(c3, r), _mm_set1_epi16(2)), 2);
    store16(d, _mm_unpacklo_epi8(narrow(e), narrow(o)));
}
// The same from the column sums v = 3 p + q at i-1..i+8.
inline __m128i colSums(const Kep8u* p, const Kep8u* q) {
    const __m128i a = widen(load8(p));
    return _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(a, a), a), widen(load8(q)));
}
// The even and odd outputs (3 c + l + 8) >> 4 and (3 c + r + 7) >> 4 of column sums c and their
// left and right neighbours l, r.
inline void tri22Pair(__m128i c, __m128i l, __m128i r, __m128i* e, __m128i* o) {
    const __m128i c3 = _mm_add_epi16(_mm_add_epi16(c, c), c);
    *e = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(c3, l), _mm_set1_epi16(8)), 4);
    *o = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(c3, r), _mm_set1_epi16(7)), 4);
}
inline void tri22(const Kep8u* p, const Kep8u* q, Kep8u* d) {
    __m128i e, o;
    tri22Pair(colSums(p, q), colSums(p - 1, q - 1), colSums(p + 1, q + 1), &e, &o);
    store16(d, _mm_unpacklo_epi8(narrow(e), narrow(o)));
}

// Thirty-two triangle outputs d[2i..2i+31] from s[i-1..i+16]. The column sums 3 p + q come from
// one pmaddubsw of the interleaved rows (weights 3, 1; at most 1020, no saturation). The sums at
// i..i+15 give their neighbours i+1..i+8 and i+7..i+14 by palignr; only i-1..i+6 and i+9..i+16
// need loads of their own.
inline void tri22x32(const Kep8u* p, const Kep8u* q, Kep8u* d) {
    const __m128i w31 = _mm_set1_epi16(0x0103);  // bytes 3, 1: 3 p + q from the pair (p, q)
    const __m128i pc = load16(p), qc = load16(q);
    const __m128i c0 = _mm_maddubs_epi16(_mm_unpacklo_epi8(pc, qc), w31);
    const __m128i c1 = _mm_maddubs_epi16(_mm_unpackhi_epi8(pc, qc), w31);
    const __m128i l0 = _mm_maddubs_epi16(_mm_unpacklo_epi8(load16(p - 1), load16(q - 1)), w31);
    const __m128i r1 = _mm_maddubs_epi16(_mm_unpackhi_epi8(load16(p + 1), load16(q + 1)), w31);
    __m128i e0, o0, e1, o1;
    tri22Pair(c0, l0, _mm_alignr_epi8(c1, c0, 2), &e0, &o0);
    tri22Pair(c1, _mm_alignr_epi8(c1, c0, 14), r1, &e1, &o1);
    const __m128i e = _mm_packus_epi16(e0, e1), o = _mm_packus_epi16(o0, o1);
    store16(d, _mm_unpacklo_epi8(e, o));
    store16(d + 16, _mm_unpackhi_epi8(e, o));
}

void upPlane21(const Kep8u* s, Kep8u* d, int dw) {
    int i = 0;
    for (; 2 * i + 16 <= dw; i += 8) tri21(s + i, d + 2 * i);
    for (int j = 2 * i; j < dw; ++j) d[j] = ownUpPlane21At(s, j);
}
void upPlane22(const Kep8u* p, const Kep8u* q, Kep8u* d, int dw) {
    int i = 0;
    for (; 2 * i + 32 <= dw; i += 16) tri22x32(p + i, q + i, d + 2 * i);
    for (; 2 * i + 16 <= dw; i += 8) tri22(p + i, q + i, d + 2 * i);
    for (int j = 2 * i; j < dw; ++j) d[j] = ownUpPlane22At(p, q, j);
}

// Row forms: scalar up to the first even output past the left edge, vector groups while s[i+8]
// is not the last sample (the right edge needs replication), scalar for the rest.
void upRow21(const Kep8u* s, int n, int j0, int j1, Kep8u* d) {
    int j = j0;
    for (; j < j1 && (j < 2 || (j & 1)); ++j) d[j - j0] = ownUp21At(s, n, j);
    for (; j + 16 <= j1 && j / 2 + 8 <= n - 1; j += 16) tri21(s + j / 2, d + (j - j0));
    for (; j < j1; ++j) d[j - j0] = ownUp21At(s, n, j);
}
void upRow22(const Kep8u* p, const Kep8u* q, int n, int j0, int j1, Kep8u* d) {
    int j = j0;
    for (; j < j1 && (j < 2 || (j & 1)); ++j) d[j - j0] = ownUp22At(p, q, n, j);
    for (; j + 32 <= j1 && j / 2 + 16 <= n - 1; j += 32) tri22x32(p + j / 2, q + j / 2, d + (j - j0));
    for (; j + 16 <= j1 && j / 2 + 8 <= n - 1; j += 16) tri22(p + j / 2, q + j / 2, d + (j - j0));
    for (; j < j1; ++j) d[j - j0] = ownUp22At(p, q, n, j);
}

// ---- Blocks ---------------------------------------------------------------------------------------

void toBlock(const Kep8u* s, int stride, Kep16s* blk) {
    const __m128i c128 = _mm_set1_epi16(128);
    for (int r = 0; r < 8; ++r) store16(blk + 8 * r, _mm_sub_epi16(widen(load8(s + r * stride)), c128));
}
// Saturating +128, then packus clamps to 0..255: the same as clamping b + 128 for every 16-bit b.
void fromBlock(const Kep16s* blk, Kep8u* d, int stride) {
    const __m128i c128 = _mm_set1_epi16(128);
    for (int r = 0; r < 8; ++r) store8(d + r * stride, narrow(_mm_adds_epi16(load16(blk + 8 * r), c128)));
}
void replicate2(const Kep8u* s, Kep8u* d, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i v = load8(s + i);
        store16(d + 2 * i, _mm_unpacklo_epi8(v, v));
    }
    for (; i < n; ++i) d[2 * i] = d[2 * i + 1] = s[i];
}

}  // namespace

const OwnCcKernels ownCcKernels_ssse3 = OWN_CC_KERNEL_SET;
