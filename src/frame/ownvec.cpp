#include "ownvec.h"

bool ownDivCRev_16u_I(Kep32u dividend, Kep16u* pSrcDst, int len) {
    bool sawZero = false;
    for (int i = 0; i < len; ++i) {
        const Kep32u x = pSrcDst[i];
        if (x == 0) {
            pSrcDst[i] = 0xFFFF;
            sawZero = true;
            continue;
        }
        // floor(d / x + 1/2) = floor((2d + x) / 2x), exact in 64-bit integers.
        const Kep64u q = (2 * static_cast<Kep64u>(dividend) + x) / (2 * static_cast<Kep64u>(x));
        pSrcDst[i] = static_cast<Kep16u>(q > 0xFFFF ? 0xFFFF : q);
    }
    return sawZero;
}
