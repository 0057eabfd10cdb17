// Decoder side of quantization: quantizer tables and block dequantization.

#include "pjdispatch.h"
#include "pjzigzag.h"
#include "quant.h"

KepResult own_kepiQuantInvTableInit_JPEG_8u16u(const Kep8u* pQuantRawTable, Kep16u* pQuantInvTable) {
    // The inverse table is tested before the raw table.
    if (!pQuantInvTable || !pQuantRawTable) return kepErrNullPtr;

    Kep16u wide[64];
    for (int i = 0; i < 64; ++i) wide[i] = pQuantRawTable[i];
    ownZigzagInv8x8_16u_C1(wide, pQuantInvTable);
    return kepOk;
}

KepResult own_kepiQuantInv8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantInvTable) {
    if (!pSrcDst || !pQuantInvTable) return kepErrNullPtr;

    ownQuantByAlignment(pSrcDst, pQuantInvTable, ownQuantInv8x8A_ssse3, ownQuantInv8x8U_ssse3, ownQuantInv8x8Odd_c);
    return kepOk;
}
