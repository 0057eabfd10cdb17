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
