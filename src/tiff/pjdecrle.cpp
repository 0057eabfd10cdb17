// PackBits decoding of one row (TIFF 6.0, section 9) from the caller's position.

#include "packbits.h"
#include "pjdispatch.h"

KepResult own_kepiUnpackBitsRow_TIFF_8u_C1(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst,
                                           int dstLen) {
    if (!pSrc || !pSrcCurrPos || !pDst) return kepErrNullPtr;
    if (srcLen < 1 || dstLen < 1) return kepErrSize;

    int pos = *pSrcCurrPos;
    if (pos < 0 || pos >= srcLen) return kepErrPackBitsOverrun;  // nothing read: position kept
    int done = 0;
    while (pos < srcLen) {
        const int n = static_cast<int8_t>(pSrc[pos++]);
        if (n < 0 && n != -128) {
            // Replicate run of 1 - n bytes. The only source test is pos <= srcLen, which always
            // holds after a header, so the data byte of a header that is the last source byte is
            // read from pSrc[srcLen]: a one-byte over-read, kept for compatibility with callers
            // that rely on it.
            const int run = 1 - n;
            if (run > dstLen - done) break;
            ownPackBitsFill(pDst + done, pSrc[pos], run);
            ++pos;
            done += run;
        } else if (n >= 0) {
            const int run = n + 1;
            if (run > srcLen - pos || run > dstLen - done) break;
            ownPackBitsCopy(pDst + done, pSrc + pos, run);
            pos += run;
            done += run;
        }
        if (done == dstLen) {
            *pSrcCurrPos = pos;
            return kepOk;
        }
    }
    // The source ran out (pos at srcLen, or srcLen + 1 after a final replicate header), or the
    // run behind the header just read does not fit: pos is just past that header.
    *pSrcCurrPos = pos;
    return kepErrPackBitsOverrun;
}
