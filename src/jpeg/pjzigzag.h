// Zigzag order of ITU-T T.81 Figure A.6.
#ifndef KEP_PJZIGZAG_H
#define KEP_PJZIGZAG_H

#include "owndefs.h"

// ownZigzagIndex[i]: the zigzag index (0..63) of natural position i = 8*v + u.
extern KEP_HIDDEN const Kep32s ownZigzagIndex[64];
// ownZigzagNaturalExt[k]: the natural position of the k-th coefficient in zigzag order (k < 64),
// extended past position 63 for the Huffman decoders' corrupt runs: positions 64..71 map to 63,
// 72..75 to 1, and 76..79 hold 64, which the decoder rejects. A zero run in a block can move the
// position to at most 78.
inline constexpr Kep32s ownZigzagNaturalExt[80] = {
    0,  1,  8,  16, 9,  2,  3,  10,
    17, 24, 32, 25, 18, 11, 4,  5,
    12, 19, 26, 33, 40, 48, 41, 34,
    27, 20, 13, 6,  7,  14, 21, 28,
    35, 42, 49, 56, 57, 50, 43, 36,
    29, 22, 15, 23, 30, 37, 44, 51,
    58, 59, 52, 45, 38, 31, 39, 46,
    53, 60, 61, 54, 47, 55, 62, 63,
    63, 63, 63, 63, 63, 63, 63, 63,
    1,  1,  1,  1,  64, 64, 64, 64,
};

// Reorders 64 values from zigzag to natural order: pDst[i] = pSrc[ownZigzagIndex[i]].
KEP_HIDDEN void ownZigzagInv8x8_16u_C1(const Kep16u* pSrc, Kep16u* pDst);

#endif  // KEP_PJZIGZAG_H
