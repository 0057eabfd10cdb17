// Zigzag order of ITU-T T.81 Figure A.6.
#ifndef KEP_PJZIGZAG_H
#define KEP_PJZIGZAG_H

#include "owndefs.h"

// ownZigzagIndex[i]: the zigzag index (0..63) of natural position i = 8*v + u.
extern KEP_HIDDEN const Kep32s ownZigzagIndex[64];
// ownZigzagNatural[k]: the natural position of the k-th coefficient in zigzag order.
extern KEP_HIDDEN const Kep32s ownZigzagNatural[64];

// Reorders 64 values from zigzag to natural order: pDst[i] = pSrc[ownZigzagIndex[i]].
KEP_HIDDEN void ownZigzagInv8x8_16u_C1(const Kep16u* pSrc, Kep16u* pDst);

#endif  // KEP_PJZIGZAG_H
