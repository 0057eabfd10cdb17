// Wide PackBits run scanners: sixteen candidate positions per compare. Both read at most
// s[0 .. kPackBitsWideSpan - 1].

#include <tmmintrin.h>

#include <cstdint>

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

// ---- Decoder -----------------------------------------------------------------------------------
//
// Three loops, from the fastest to the exact one:
//
// Bulk: while the header lies at least 144 bytes before the row end and 146 before the source
// end, every run is written in whole pieces from its first byte: a literal in 32-byte pieces
// (two 16-byte moves), a replicate of up to 16 bytes with one 16-byte store, a longer one with
// four or eight. A piece may reach up to 63 bytes past its run; the following runs write over
// those bytes, and the margins keep every piece inside the row and every load inside the source.
// That leaves per run only the header chain, one branch on the kind and, for literals, one on the
// length (a 32-byte step is the best trade between stores and mispredicted loop exits on
// photographic rows), and no work merging a run's ends with its neighbours. A short replicate
// after a literal, the usual pair on such rows, is done in the literal's iteration.
//
// Exact: once 16 bytes of the row are done, while at least 129 source bytes lie behind the header
// (a literal of 128 bytes and a 16-byte load behind any header stay inside the source) and at
// least 15 before it (the load that ends a short literal starts up to 14 bytes before its header),
// runs are moved 16 bytes at a time with one check each: that the run fits in the row. Nothing is
// written past the run. The last 16 bytes produced are kept in a register. A run of r bytes ends
// with one 16-byte store at d + r - 16: the kept bytes moved down by r (one shuffle) merged with
// the run's last bytes (for r < 16 the finished bytes before d are rewritten with their own
// values). A literal longer than 16 bytes first moves its body in 16-byte pieces from d; a long
// replicate writes a fixed number of pieces at offsets min(16k, r - 16), since nearly every
// replicate on real rows is short and a loop's exit would cost a mispredicted branch on the rare
// long one. This loop takes over near the row end, where the bulk pieces would leave the row.
//
// Careful: one run at a time with the reference's checks, near the ends of the source or of a
// short row, and for the run that fails.
//
// A row that decodes completely is therefore exact. When decoding fails, the bytes produced before
// the failing run are in place as with the reference, and the bytes of the row after them may hold
// parts of earlier runs' pieces (never anything past the row).

namespace {

// Margins of the bulk loop: a literal of 128 bytes moved in 32-byte pieces followed by a short
// replicate writes at most 144 bytes from the literal's start and reads at most 145 bytes behind
// its header.
enum { kBulkRowMargin = 144, kBulkSrcMargin = 146 };

// For a run of r = 1..128 bytes: lane j of the new last-16 register is lane j + r of the old one
// (keep; 0x80 gives zero when j + r >= 16), or for j >= 16 - r a byte of the run (mask).
struct alignas(16) RunTail {
    Kep8u keep[16];
    Kep8u mask[16];
};

struct RunTails {
    RunTail r[kPackBitsMaxRun + 1];
};

constexpr RunTails makeRunTails() {
    RunTails t{};
    for (int run = 1; run <= kPackBitsMaxRun; ++run) {
        RunTail& e = t.r[run];
        for (int j = 0; j < 16; ++j) {
            e.keep[j] = static_cast<Kep8u>(j + run < 16 ? j + run : 0x80);
            e.mask[j] = static_cast<Kep8u>(j >= 16 - run ? 0xFF : 0x00);
        }
    }
    return t;
}

constexpr RunTails kRunTails = makeRunTails();

inline __m128i loadAligned(const Kep8u* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Kep8u* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// The new last 16 bytes after a run of r bytes whose own last bytes are the high lanes of `run`.
inline __m128i nextTail(__m128i tail, __m128i run, int r) {
    const RunTail& e = kRunTails.r[r];
    return _mm_or_si128(_mm_shuffle_epi8(tail, loadAligned(e.keep)), _mm_and_si128(run, loadAligned(e.mask)));
}

// Writes the replicate of v over d[0 .. run) for run = 17..128.
inline void fillLong(Kep8u* d, __m128i v, int run) {
    const int last = run - 16;
    auto piece = [&](int k) { store(d + (k < last ? k : last), v); };
    piece(0);
    piece(16);
    piece(32);
    piece(48);
    if (run > 64) {
        piece(64);
        piece(80);
        piece(96);
        piece(112);
    }
}

}  // namespace

KepResult ownUnpackBitsRow_ssse3(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst, int dstLen) {
    int pos = *pSrcCurrPos;
    if (pos < 0 || pos >= srcLen) return kepErrPackBitsOverrun;  // nothing read: position kept
    int done = 0;
    for (;;) {
        if (dstLen - done >= kBulkRowMargin && srcLen - pos >= kBulkSrcMargin) {
            // The next header's address is the one dependency from run to run. It is kept
            // behind a branch on the run's kind: a replicate moves it by a constant, so only
            // literals make it wait for the header's value (a select would make every run wait).
            const Kep8u* s = pSrc + pos;
            const Kep8u* const sLast = pSrc + (srcLen - kBulkSrcMargin);
            Kep8u* d = pDst + done;
            Kep8u* const dLast = pDst + (dstLen - kBulkRowMargin);
            const __m128i zero = _mm_setzero_si128();
            do {
                intptr_t n = static_cast<int8_t>(*s);
                if (n >= 0) {
                    intptr_t o = 0;
                    do {
                        store(d + o, load(s + 1 + o));
                        store(d + o + 16, load(s + 17 + o));
                        o += 32;
                    } while (o <= n);
                    s += n + 2;
                    d += n + 1;
                    n = static_cast<int8_t>(*s);
                    if (static_cast<uintptr_t>(n + 15) >= 15) continue;  // not a replicate of 2..16
                    store(d, _mm_shuffle_epi8(load(s + 1), zero));
                    s += 2;
                    d += 1 - n;
                } else if (n >= -15) {
                    store(d, _mm_shuffle_epi8(load(s + 1), zero));
                    s += 2;
                    d += 1 - n;
                } else if (n != -128) {
                    const __m128i v = _mm_shuffle_epi8(load(s + 1), zero);
                    store(d, v);
                    store(d + 16, v);
                    store(d + 32, v);
                    store(d + 48, v);
                    if (n < -63) {
                        store(d + 64, v);
                        store(d + 80, v);
                        store(d + 96, v);
                        store(d + 112, v);
                    }
                    s += 2;
                    d += 1 - n;
                } else {
                    s += 1;
                }
            } while (d <= dLast && s <= sLast);
            pos = static_cast<int>(s - pSrc);
            done = static_cast<int>(d - pDst);
        }
        if (done >= 16 && pos >= 15 && srcLen - pos >= 129 && done < dstLen) {
            const Kep8u* s = pSrc + pos;
            const Kep8u* const sEnd = pSrc + srcLen - 129;
            Kep8u* d = pDst + done;
            Kep8u* const dEnd = pDst + dstLen;
            __m128i tail = load(d - 16);
            do {
                const int n = static_cast<int8_t>(*s);
                if (n >= 0) {
                    const int run = n + 1;
                    if (run > dEnd - d) break;  // does not fit: reported below
                    const int last = run - 16;
                    for (int o = 0; o < last; o += 16) store(d + o, load(s + 1 + o));
                    tail = nextTail(tail, load(s + 1 + last), run);
                    store(d + last, tail);
                    s += run + 1;
                    d += run;
                } else if (n != -128) {
                    const int run = 1 - n;
                    if (run > dEnd - d) break;
                    const __m128i v = _mm_shuffle_epi8(load(s + 1), _mm_setzero_si128());
                    if (n < -15) fillLong(d, v, run);
                    tail = nextTail(tail, v, run);
                    store(d + run - 16, tail);
                    s += 2;
                    d += run;
                } else {
                    s += 1;
                }
            } while (s <= sEnd && d < dEnd);
            pos = static_cast<int>(s - pSrc);
            done = static_cast<int>(d - pDst);
        }
        if (done == dstLen) break;
        // One run with the reference's checks.
        if (pos >= srcLen) break;
        const int n = static_cast<int8_t>(pSrc[pos++]);
        if (n < 0 && n != -128) {
            // Replicate: the data byte may be pSrc[srcLen] (see the reference).
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
        if (done == dstLen) break;
    }
    *pSrcCurrPos = pos;
    return done == dstLen ? kepOk : kepErrPackBitsOverrun;
}
