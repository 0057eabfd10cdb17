// Splitting rows of 16-bit samples into a high-byte and a low-byte plane, and joining them back:
// slowly varying 16-bit rows then compress better with byte-oriented run-length coding.

#include "pjdispatch.h"
#include "rowsplit.h"

// The length check comes before the plane entries here and after them in the join, and both
// report a bad length with the step code: a long-standing interface detail that callers test for.
KepResult own_kepiSplitRow_TIFF_16u8u_C1(const Kep16u* pSrc, Kep8u* pDst[2], int len) {
    if (!pSrc || !pDst) return kepErrNullPtr;
    if (len < 1) return kepErrStep;
    if (!pDst[0] || !pDst[1]) return kepErrNullPtr;
    ownSplitRow_ssse3(reinterpret_cast<const Kep8u*>(pSrc), pDst[0], pDst[1], len);
    return kepOk;
}

KepResult own_kepiJoinRow_TIFF_8u16u_C1(const Kep8u* const pSrc[2], Kep16u* pDst, int len) {
    if (!pSrc || !pDst) return kepErrNullPtr;
    if (!pSrc[0] || !pSrc[1]) return kepErrNullPtr;
    if (len < 1) return kepErrStep;
    ownJoinRow_ssse3(pSrc[0], pSrc[1], reinterpret_cast<Kep8u*>(pDst), len);
    return kepOk;
}
