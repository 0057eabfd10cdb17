// Wide PackBits run scanners: sixteen candidate positions per compare. Both read at most
// s[0 .. kPackBitsWideSpan - 1].

#include <tmmintrin.h>

#include "packbits.h"

namespace {

inline __m128i load(const Kep8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

}  // namespace

int ownPackBitsRepeat_ssse3(const Kep8u* s) {
    const __m128i first = _mm_set1_epi8(static_cast<char>(s[0]));
    // Positions 1..128 in eight loads; the first differing position ends the run.
    for (int j = 1; j < kPackBitsMaxRun; j += 16) {
        const unsigned differ = ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(load(s + j), first))) & 0xFFFFu;
        if (differ) {
            const int n = j + __builtin_ctz(differ);
            return n < kPackBitsMaxRun ? n : kPackBitsMaxRun;
        }
    }
    return kPackBitsMaxRun;
}

int ownPackBitsLiteral_ssse3(const Kep8u* s) {
    // Candidates j = 1..128: the literal ends before the first j with s[j] == s[j+1] == s[j+2].
    // Reads up to s[130].
    for (int j = 1; j < kPackBitsMaxRun; j += 16) {
        const __m128i a = load(s + j), b = load(s + j + 1), c = load(s + j + 2);
        const __m128i triple = _mm_and_si128(_mm_cmpeq_epi8(a, b), _mm_cmpeq_epi8(b, c));
        const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(triple));
        if (m) {
            const int n = j + __builtin_ctz(m);
            return n < kPackBitsMaxRun ? n : kPackBitsMaxRun;
        }
    }
    return kPackBitsMaxRun;
}
