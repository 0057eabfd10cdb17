// Byte-by-byte PackBits run scanners: the reference for the wide ones and the encoder's path
// near the end of a row.

#include "packbits.h"

int ownPackBitsRepeat_c(const Kep8u* s, int avail) {
    const int cap = avail < kPackBitsMaxRun ? avail : kPackBitsMaxRun;
    int n = 1;
    while (n < cap && s[n] == s[0]) ++n;
    return n;
}

int ownPackBitsLiteral_c(const Kep8u* s, int avail) {
    const int cap = avail < kPackBitsMaxRun ? avail : kPackBitsMaxRun;
    int n = 1;
    // Candidate s[n] joins the literal unless it starts three equal bytes; an equal pair followed
    // by a different byte (or by the end of the row) stays literal.
    while (n < cap && !(n + 2 < avail && s[n] == s[n + 1] && s[n + 1] == s[n + 2])) ++n;
    return n;
}

KepResult ownUnpackBitsRow_c(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst, int dstLen) {
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
            for (int k = 0; k < run; ++k) pDst[done + k] = pSrc[pos];
            ++pos;
            done += run;
        } else if (n >= 0) {
            const int run = n + 1;
            if (run > srcLen - pos || run > dstLen - done) break;
            for (int k = 0; k < run; ++k) pDst[done + k] = pSrc[pos + k];
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
