// Natural to zigzag order for 64 bytes (one per coefficient) with PSHUFB, shared by the fast
// Huffman coders.
#ifndef KEP_HUFFZIGZAG_H
#define KEP_HUFFZIGZAG_H

#include <tmmintrin.h>

#include "owndefs.h"
#include "pjzigzag.h"

namespace ownhuffzz {

// The 64 bytes, in natural order in four
// vectors, are gathered into zigzag vector j (positions 16j..16j+15) as the OR over input
// vectors i of a shuffle that takes the bytes whose natural position lies in input i and zeroes
// the others (control byte 0x80); 13 of the 16 (j, i) shuffles take something.
struct ShuffleTable {
    Kep8u ctrl[4][4][16];
};
constexpr ShuffleTable makeShuffleTable() {
    ShuffleTable t{};
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i)
            for (int b = 0; b < 16; ++b) {
                const int n = ownZigzagNaturalExt[16 * j + b];
                t.ctrl[j][i][b] = static_cast<Kep8u>(n / 16 == i ? n % 16 : 0x80);
            }
    return t;
}
alignas(16) constexpr ShuffleTable kZigzagShuffle = makeShuffleTable();

constexpr bool used(int j, int i) {
    for (int b = 0; b < 16; ++b)
        if (kZigzagShuffle.ctrl[j][i][b] != 0x80) return true;
    return false;
}

template <int j, int i>
inline __m128i gather(__m128i acc, const __m128i* natural) {
    if constexpr (used(j, i))
        return _mm_or_si128(acc, _mm_shuffle_epi8(natural[i], _mm_load_si128(reinterpret_cast<const __m128i*>(kZigzagShuffle.ctrl[j][i]))));
    return acc;
}

template <int j>
inline __m128i zigzagBytes(const __m128i* natural) {
    __m128i acc = _mm_setzero_si128();
    acc = gather<j, 0>(acc, natural);
    acc = gather<j, 1>(acc, natural);
    acc = gather<j, 2>(acc, natural);
    acc = gather<j, 3>(acc, natural);
    return acc;
}

// Bit k set when the top bit of zigzag byte k is (64 bytes in natural order in four vectors).
inline Kep64u zigzagTopBits(const __m128i* natural) {
    Kep64u m = static_cast<Kep16u>(_mm_movemask_epi8(zigzagBytes<0>(natural)));
    m |= static_cast<Kep64u>(static_cast<Kep16u>(_mm_movemask_epi8(zigzagBytes<1>(natural)))) << 16;
    m |= static_cast<Kep64u>(static_cast<Kep16u>(_mm_movemask_epi8(zigzagBytes<2>(natural)))) << 32;
    m |= static_cast<Kep64u>(static_cast<Kep16u>(_mm_movemask_epi8(zigzagBytes<3>(natural)))) << 48;
    return m;
}

}  // namespace ownhuffzz

#endif  // KEP_HUFFZIGZAG_H
