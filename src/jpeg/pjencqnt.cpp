// Encoder side of quantization: quality scaling of raw tables, reciprocal tables, block
// quantization.

#include "ownvec.h"
#include "pjdispatch.h"
#include "pjzigzag.h"
#include "quant.h"

KepResult own_kepiQuantFwdRawTableInit_JPEG_8u(Kep8u* pQuantRawTable, int qualityFactor) {
    if (!pQuantRawTable) return kepErrNullPtr;
    if (qualityFactor < 1) return kepErrArgRange;

    // The scaling of ITU-T T.81 Annex K tables used by JPEG encoders. Quality has no upper bound:
    // above 100 the scale is negative and every entry clamps to 1. The products are formed in 64
    // bits so that this holds for every int quality.
    const Kep64s scale = qualityFactor < 50 ? 5000 / qualityFactor : 200 - 2 * static_cast<Kep64s>(qualityFactor);
    for (int i = 0; i < 64; ++i) {
        const Kep64s v = (pQuantRawTable[i] * scale + 50) / 100;  // truncates toward zero
        pQuantRawTable[i] = static_cast<Kep8u>(v <= 0 ? 1 : (v > 255 ? 255 : v));
    }
    return kepOk;
}

KepResult own_kepiQuantFwdTableInit_JPEG_8u16u(const Kep8u* pQuantRawTable, Kep16u* pQuantFwdTable) {
    if (!pQuantRawTable || !pQuantFwdTable) return kepErrNullPtr;

    Kep16u wide[64];
    for (int i = 0; i < 64; ++i) wide[i] = pQuantRawTable[i];
    ownZigzagInv8x8_16u_C1(wide, pQuantFwdTable);
    // 15 fraction bits: 32768 / Q rounded. For Q in 1..255 the quotient is never a half, and
    // Q = 1 gives 32768, which the unsigned entry holds.
    const bool zero = ownDivCRev_16u_I(32768, pQuantFwdTable, 64);
    return zero ? kepWarnDivByZero : kepOk;
}

KepResult own_kepiQuantFwd8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantFwdTable) {
    if (!pSrcDst || !pQuantFwdTable) return kepErrNullPtr;

    ownQuantByAlignment(pSrcDst, pQuantFwdTable, ownQuantFwd8x8A_ssse3, ownQuantFwd8x8U_ssse3, ownQuantFwd8x8Odd_c);
    return kepOk;
}
