// Lossless JPEG prediction (ITU-T T.81 H.1.2.1, Table H.1). Samples enter the predictors as
// unsigned 16-bit values, the reading that samples of 16-bit precision need (they run from 0 to
// 65535); below 16 bits of precision the signed reading gives the same results. Sums and
// differences are formed in 32 bits, shifted arithmetically and taken modulo 2^16.
#ifndef KEP_LOSSLESS_H
#define KEP_LOSSLESS_H

#include "owndefs.h"

static inline Kep32s ownLsSample(Kep16s v) { return static_cast<Kep16u>(v); }
static inline Kep16s ownLsWrap(Kep32s v) { return static_cast<Kep16s>(static_cast<Kep16u>(v)); }

// Prediction Px for predictor 1..7 from Ra (left), Rb (above), Rc (above-left).
static inline Kep32s ownLsPredict(int predictor, Kep32s ra, Kep32s rb, Kep32s rc) {
    switch (predictor) {
        case 1: return ra;
        case 2: return rb;
        case 3: return rc;
        case 4: return ra + rb - rc;
        case 5: return ra + ((rb - rc) >> 1);
        case 6: return rb + ((ra - rc) >> 1);
        default: return (ra + rb) >> 1;
    }
}

static inline bool ownLsBadPrecision(int P, int Pt) { return P < 2 || P > 16 || Pt < 0 || Pt >= P; }

#endif  // KEP_LOSSLESS_H
