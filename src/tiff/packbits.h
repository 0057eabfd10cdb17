// PackBits row coding internals. The encoder walks the row run by run; how far a run reaches is
// found either byte by byte (packbits_c.cpp, usable anywhere) or sixteen bytes at a time
// (packbits_ssse3.cpp, only where enough source is left that the wide loads stay inside the row).
// Both scanners give the same run lengths, so the bulk and the byte-by-byte encoder give the same
// code; ownPackBitsRow runs either, for the export (bulk) and for the tests and the fuzz target.
#ifndef KEP_PACKBITS_H
#define KEP_PACKBITS_H

#include <emmintrin.h>

#include "owndefs.h"

// Longest run of either kind, and the source bytes the wide scanners may read from a run's
// first byte: the literal scan looks up to two bytes past the 128th candidate, in 16-byte loads.
enum { kPackBitsMaxRun = 128, kPackBitsWideSpan = 144 };

// Length of the replicate run that starts at s: the number of bytes equal to s[0] from s on,
// at most min(avail, 128). avail >= 1.
KEP_HIDDEN int ownPackBitsRepeat_c(const Kep8u* s, int avail);
// Length of the literal run that starts at s: it ends at 128 bytes, at the end of the row, or
// before the first byte j >= 1 that begins three equal bytes. avail >= 1.
KEP_HIDDEN int ownPackBitsLiteral_c(const Kep8u* s, int avail);
// The same, reading s[0 .. kPackBitsWideSpan - 1]: only for avail >= kPackBitsWideSpan.
KEP_HIDDEN int ownPackBitsRepeat_ssse3(const Kep8u* s);
KEP_HIDDEN int ownPackBitsLiteral_ssse3(const Kep8u* s);

// Decodes one row (see kepiUnpackBitsRow_TIFF_8u_C1) once the pointers and lengths are checked:
// srcLen >= 1, dstLen >= 1. The reference goes byte by byte and writes nothing past the bytes it
// produces; the SSSE3 decoder moves 16 bytes at a time while no run can reach either end of the
// buffers, and otherwise runs the reference's checks, with the same result, position and bytes
// produced. After a failure it may leave pieces of earlier runs in the row past those bytes.
KEP_HIDDEN KepResult ownUnpackBitsRow_c(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst, int dstLen);
KEP_HIDDEN KepResult ownUnpackBitsRow_ssse3(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst, int dstLen);

// Encodes srcLen >= 1 bytes into pDst from *pDstCurrPos (see kepiPackBitsRow_TIFF_8u_C1);
// `wide` selects the bulk scanners where the source allows them.
KEP_HIDDEN KepResult ownPackBitsRow(const Kep8u* pSrc, int srcLen, Kep8u* pDst, int* pDstCurrPos, int dstLen,
                                    bool wide);

// Copying and filling one run (1..128 bytes) with exact bounds: overlapping 16-, 8- and 4-byte
// moves that read and write only [0, n), instead of a library call per run.
static inline void ownPackBitsCopy(Kep8u* d, const Kep8u* s, int n) {
    if (n >= 16) {
        for (int k = 0; k + 16 < n; k += 16)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + k), _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + k)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 16), _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n - 16)));
    } else if (n >= 8) {
        uint64_t a, b;
        memcpy(&a, s, 8);
        memcpy(&b, s + n - 8, 8);
        memcpy(d, &a, 8);
        memcpy(d + n - 8, &b, 8);
    } else if (n >= 4) {
        uint32_t a, b;
        memcpy(&a, s, 4);
        memcpy(&b, s + n - 4, 4);
        memcpy(d, &a, 4);
        memcpy(d + n - 4, &b, 4);
    } else {
        for (int k = 0; k < n; ++k) d[k] = s[k];
    }
}

static inline void ownPackBitsFill(Kep8u* d, Kep8u b, int n) {
    if (n >= 16) {
        const __m128i v = _mm_set1_epi8(static_cast<char>(b));
        for (int k = 0; k + 16 < n; k += 16) _mm_storeu_si128(reinterpret_cast<__m128i*>(d + k), v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 16), v);
    } else if (n >= 8) {
        const uint64_t v = 0x0101010101010101ULL * b;
        memcpy(d, &v, 8);
        memcpy(d + n - 8, &v, 8);
    } else {
        for (int k = 0; k < n; ++k) d[k] = b;
    }
}

#endif  // KEP_PACKBITS_H
