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

// ---- Decoder -----------------------------------------------------------------------------------
//
// Far from both ends of the buffers (at least 128 source bytes behind the header, so that a
// literal of 128 bytes and a 16-byte load behind any header stay inside the source, and at least
// 128 bytes of row left, so that any run fits) no run can fail, and the runs are moved without
// checks; elsewhere, and until 16 bytes of the row are done, they go one at a time with the
// reference's checks. Nothing is written past the bytes produced, so a call that fails later
// leaves the row as the reference does.
//
// Short runs (literals of 1..16 bytes, replicates of 2..16) are one 16-byte store: the 16 bytes
// that end where the run ends are the last 16 - r bytes already produced (kept in a register)
// followed by the r bytes of the run, merged with two shuffles; the finished bytes are rewritten
// with their own values. Longer runs use a fixed number of 16-byte moves at offsets
// min(16k, r - 16) (four up to 64 bytes, else eight) instead of a loop whose exit the branch
// predictor would miss on nearly every run.

namespace {

struct alignas(16) ShortRun {
    Kep8u keep[16];  // lane j <- produced byte j + r of the last 16 (0x80: zero)
    Kep8u take[16];  // lane j <- literal byte j - (16 - r), or the replicated byte (0x80: zero)
};

struct ShortRuns {
    ShortRun h[31];  // headers -15..15
};

constexpr ShortRuns makeShortRuns() {
    ShortRuns t{};
    for (int n = -15; n <= 15; ++n) {
        ShortRun& e = t.h[n + 15];
        const bool literal = n >= 0;
        const int run = literal ? n + 1 : 1 - n;
        for (int j = 0; j < 16; ++j) {
            e.keep[j] = static_cast<Kep8u>(j + run < 16 ? j + run : 0x80);
            e.take[j] = static_cast<Kep8u>(j < 16 - run ? 0x80 : literal ? j - (16 - run) : 0);
        }
    }
    return t;
}

constexpr ShortRuns kShortRuns = makeShortRuns();

inline __m128i loadAligned(const Kep8u* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Kep8u* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Writes run = 16..128 bytes at d: the literal bytes at s, or v repeated; returns the last 16.
template <bool kLiteral>
inline __m128i putLong(Kep8u* d, const Kep8u* s, __m128i v, int run) {
    const int last = run - 16;
    auto piece = [&](int k) {
        const int o = k < last ? k : last;
        store(d + o, kLiteral ? load(s + o) : v);
    };
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
    return kLiteral ? load(s + last) : v;
}

}  // namespace

KepResult ownUnpackBitsRow_ssse3(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst, int dstLen) {
    int pos = *pSrcCurrPos;
    if (pos < 0 || pos >= srcLen) return kepErrPackBitsOverrun;  // nothing read: position kept
    int done = 0;
    for (;;) {
        if (done >= 16 && srcLen - pos >= 129 && dstLen - done >= 128) {
            // The next header's address is the one dependency from run to run. It is kept
            // behind a branch on the run's kind: a replicate moves it by a constant, so only
            // literals make it wait for the header's value (a select would make every run wait).
            const Kep8u* s = pSrc + pos;
            const Kep8u* const sEnd = pSrc + srcLen - 129;
            Kep8u* d = pDst + done;
            Kep8u* const dEnd = pDst + dstLen - 128;
            __m128i tail = load(d - 16);
            do {
                const int n = static_cast<int8_t>(*s);
                const __m128i data = load(s + 1);
                if (n >= 0) {
                    const int run = n + 1;
                    if (n < 16) {
                        const ShortRun& e = kShortRuns.h[n + 15];
                        tail = _mm_or_si128(_mm_shuffle_epi8(tail, loadAligned(e.keep)),
                                            _mm_shuffle_epi8(data, loadAligned(e.take)));
                        store(d + run - 16, tail);
                    } else {
                        tail = putLong<true>(d, s + 1, data, run);
                    }
                    s += run + 1;
                    d += run;
                } else if (n != -128) {
                    const int run = 1 - n;
                    if (n >= -15) {
                        const ShortRun& e = kShortRuns.h[n + 15];
                        tail = _mm_or_si128(_mm_shuffle_epi8(tail, loadAligned(e.keep)),
                                            _mm_shuffle_epi8(data, loadAligned(e.take)));
                        store(d + run - 16, tail);
                    } else {
                        tail = putLong<false>(d, s + 1, _mm_shuffle_epi8(data, _mm_setzero_si128()), run);
                    }
                    s += 2;
                    d += run;
                } else {
                    s += 1;
                }
            } while (s <= sEnd && d <= dEnd);
            pos = static_cast<int>(s - pSrc);
            done = static_cast<int>(d - pDst);
            if (done == dstLen) break;
        }
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
