// PackBits encoding of one row (TIFF 6.0, section 9), appended at the caller's position.

#include "packbits.h"
#include "pjdispatch.h"

KepResult ownPackBitsRow(const Kep8u* pSrc, int srcLen, Kep8u* pDst, int* pDstCurrPos, int dstLen, bool wide) {
    int pos = *pDstCurrPos;
    if (pos < 0) return kepErrPackBitsOverrun;
    int i = 0;
    while (i < srcLen) {
        const Kep8u* const s = pSrc + i;
        const int avail = srcLen - i;
        const bool bulk = wide && avail >= kPackBitsWideSpan;
        // A run is written only when it fits whole, so the position stays on a run boundary.
        // (dstLen - pos cannot overflow: both are non-negative.)
        if (avail >= 2 && s[0] == s[1]) {
            // Replicate run: header 1 - n (-1..-127), then the byte.
            const int n = bulk ? ownPackBitsRepeat_ssse3(s) : ownPackBitsRepeat_c(s, avail);
            if (dstLen - pos < 2) break;
            pDst[pos] = static_cast<Kep8u>(1 - n);
            pDst[pos + 1] = s[0];
            pos += 2;
            i += n;
        } else {
            // Literal run: header n - 1 (0..127), then the n bytes.
            const int n = bulk ? ownPackBitsLiteral_ssse3(s) : ownPackBitsLiteral_c(s, avail);
            if (dstLen - pos < n + 1) break;
            pDst[pos] = static_cast<Kep8u>(n - 1);
            ownPackBitsCopy(pDst + pos + 1, s, n);
            pos += n + 1;
            i += n;
        }
    }
    *pDstCurrPos = pos;
    return i == srcLen ? kepOk : kepErrPackBitsOverrun;
}

KepResult own_kepiPackBitsRow_TIFF_8u_C1(const Kep8u* pSrc, int srcLen, Kep8u* pDst, int* pDstCurrPos, int dstLen) {
    if (!pSrc || !pDst || !pDstCurrPos) return kepErrNullPtr;
    if (srcLen < 1 || dstLen < 1) return kepErrSize;
    return ownPackBitsRow(pSrc, srcLen, pDst, pDstCurrPos, dstLen, true);
}
