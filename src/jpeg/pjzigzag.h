// Zigzag order of ITU-T T.81 Figure A.6.
#ifndef KEP_PJZIGZAG_H
#define KEP_PJZIGZAG_H

#include "owndefs.h"

// ownZigzagIndex[i]: the zigzag index (0..63) of natural position i = 8*v + u.
extern KEP_HIDDEN const Kep32s ownZigzagIndex[64];
// ownZigzagNatural[k]: the natural position of the k-th coefficient in zigzag order.
extern KEP_HIDDEN const Kep32s ownZigzagNatural[64];
// The decoders' copy, extended past position 63 for corrupt runs: positions 64..71 map to 63,
// 72..75 to 1, and 76..79 hold 64, which the decoder rejects. A zero run in a block can move the
// position to at most 78.
extern KEP_HIDDEN const Kep32s ownZigzagNaturalExt[80];

// Reorders 64 values from zigzag to natural order: pDst[i] = pSrc[ownZigzagIndex[i]].
KEP_HIDDEN void ownZigzagInv8x8_16u_C1(const Kep16u* pSrc, Kep16u* pDst);

#endif  // KEP_PJZIGZAG_H
