// The forward colour table: eight segments of 256 products of the JFIF weights in 16-bit fixed
// point, indexed by a sample value, so that a pixel costs three additions per output:
//   Y  = (S0[R] + S1[G] + S2[B]) >> 16,  Cb = (S3[R] + S4[G] + S5[B]) >> 16,
//   Cr = (S5[R] + S6[G] + S7[B]) >> 16   (unsigned sums, logical shift).
// The multipliers are round(65536 w) for 0.299, 0.587, 0.114, 0.16874, 0.33126, 0.5, 0.41869 and
// 0.08131. Y rounds half up (+32768 in S2); the chroma rounding (+32767 in S5, shared by Cb and
// Cr) is one less than a half so that the largest chroma value stays 255 without clamping. The
// offset 128 * 65536 in S5 centres the chroma on 128. Negative products wrap modulo 2^32.
// The table is computed at compile time and lands in read-only data.

#include "colour.h"

namespace {

constexpr OwnCcFwdTable makeForward() {
    OwnCcFwdTable t{};
    const Kep32s mul[8] = {19595, 38470, 7471, -11059, -21709, 32768, -27439, -5329};
    const Kep32s add[8] = {0, 0, 32768, 0, 0, 8388608 + 32767, 0, 0};
    for (int s = 0; s < 8; ++s)
        for (int i = 0; i < 256; ++i) t.v[256 * s + i] = static_cast<Kep32u>(mul[s] * i + add[s]);
    return t;
}

}  // namespace

constexpr OwnCcFwdTable cc_table = makeForward();
