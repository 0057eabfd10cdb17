// 4:2:2 blocks to interleaved Y, Cb, Cr pixels in one pass, the kernel of the second code path
// (cores that favour fewer, simpler passes): per row, the two luma block rows and the chroma rows
// are level-shifted with saturation, and three byte shuffles interleave them into the 48 bytes of
// 16 pixels, each chroma sample landing in two neighbouring pixels. The first code path gets the
// same bytes through the general MCU driver (planes, replication, interleaving).

#include <tmmintrin.h>

#include "colour.h"

namespace {

struct Mask {
    alignas(16) Kep8u b[16];
};
struct Masks {
    Mask luma[3], chroma[3];
};
// Output byte k = 16 h + i of a row: pixel k / 3, channel k % 3; luma from the 16 luma bytes,
// Cb from chroma bytes 0..7 and Cr from 8..15, both at pixel / 2.
constexpr Masks makeMasks() {
    Masks m{};
    for (int h = 0; h < 3; ++h)
        for (int i = 0; i < 16; ++i) {
            const int k = 16 * h + i, p = k / 3, c = k % 3;
            m.luma[h].b[i] = c == 0 ? static_cast<Kep8u>(p) : 0x80;
            m.chroma[h].b[i] = c == 0 ? 0x80 : static_cast<Kep8u>((c == 2 ? 8 : 0) + p / 2);
        }
    return m;
}
constexpr Masks kMasks = makeMasks();

inline __m128i row8(const Kep16s* p) { return _mm_adds_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi16(128)); }
inline __m128i mask(const Mask& m) { return _mm_load_si128(reinterpret_cast<const __m128i*>(m.b)); }

}  // namespace

void ownMcuSampleUp422_x2(const Kep16s* const* src, Kep8u* dst, int dstStep) {
    for (int r = 0; r < 8; ++r) {
        // packus clamps the saturated b + 128 to 0..255.
        const __m128i luma = _mm_packus_epi16(row8(src[0] + 8 * r), row8(src[0] + 64 + 8 * r));
        const __m128i chroma = _mm_packus_epi16(row8(src[1] + 8 * r), row8(src[2] + 8 * r));
        Kep8u* out = ownRow(dst, dstStep, r);
        for (int h = 0; h < 3; ++h) {
            const __m128i v = _mm_or_si128(_mm_shuffle_epi8(luma, mask(kMasks.luma[h])), _mm_shuffle_epi8(chroma, mask(kMasks.chroma[h])));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * h), v);
        }
    }
}
