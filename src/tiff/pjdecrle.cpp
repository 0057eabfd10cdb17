// PackBits decoding of one row (TIFF 6.0, section 9) from the caller's position.

#include "packbits.h"
#include "pjdispatch.h"

KepResult own_kepiUnpackBitsRow_TIFF_8u_C1(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst,
                                           int dstLen) {
    if (!pSrc || !pSrcCurrPos || !pDst) return kepErrNullPtr;
    if (srcLen < 1 || dstLen < 1) return kepErrSize;
    return ownUnpackBitsRow_ssse3(pSrc, pSrcCurrPos, srcLen, pDst, dstLen);
}
