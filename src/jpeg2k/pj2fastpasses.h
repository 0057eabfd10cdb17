// The MQ-coded passes of ITU-T T.800 Annex D written for speed, for both directions: the same
// scan, the same coefficient-state words and the same decisions in the same order as the generic
// passes of pj2passes.h (which stay the plain reference the tests compare against), so that the
// two agree bit for bit on any stream and on any coefficient-state buffer, a stale one (kept
// with OWN_CB_KEEPSTATE) included. What makes them faster: the coder's registers in locals of
// one inlined pass function, contexts packed as (state, MPS) indices into one table, the sign
// context and XOR bit from a table, the four rows of a full stripe unrolled, and the neighbours
// of a new significant coefficient told in 32-bit words.
//
// A Coder supplies kEncode, kRaw (the raw coding of the lazy style: no contexts, the sign as it
// is), code(cx, bit) (decoding: bit ignored, the decoded bit returned; encoding: bit coded and
// returned), resetContexts() and, when encoding, significant(m, bp) and refined(m, bp) for the
// distortion bookkeeping.
#ifndef KEP_PJ2FASTPASSES_H
#define KEP_PJ2FASTPASSES_H

#include <stddef.h>

#include "pj2mq.h"
#include "pj2passes.h"

namespace ownfast {

// The state buffer is read and written both as 16-bit halves and as the 32-bit words that pair
// two rows.
typedef Kep32u __attribute__((may_alias)) Word;

// A context is held as one word: Qe in bits 0..15 and its (state, MPS) index 2 * state + MPS
// from bit 16 (the MPS sense in bit 16), so that Qe and the sense come with the context's own
// load. The successors, packed alike, come from a table indexed by the (state, MPS) index
// (T.800 Table C.2 with the sense switch folded into the LPS successor).
constexpr Kep32u kRows[47][4] = {OWN_MQ_ESTIMATOR_ROWS};
constexpr Kep32u packedContext(Kep32u state, Kep32u mps) { return kRows[state][OWN_QE] | ((2 * state + mps) << 16); }
struct MqNext {
    Kep32u nmps, nlps;
};
struct MqTable {
    MqNext e[94];
};
constexpr MqTable makeMqTable() {
    MqTable t{};
    for (Kep32u s = 0; s < 47; ++s)
        for (Kep32u m = 0; m < 2; ++m)
            t.e[2 * s + m] = {packedContext(kRows[s][OWN_NMPS], m), packedContext(kRows[s][OWN_NLPS], kRows[s][OWN_SWITCH] ? 1 - m : m)};
    return t;
}
constexpr MqTable kMq = makeMqTable();

static inline void packContexts(Kep32u* cx, const Kep32s* I, const Kep32s* MPS) {
    for (int k = 0; k < OWN_MQ_CONTEXTS; ++k) cx[k] = packedContext(static_cast<Kep32u>(I[k]), static_cast<Kep32u>(MPS[k]));
}
static inline void unpackContexts(const Kep32u* cx, Kep32s* I, Kep32s* MPS) {
    for (int k = 0; k < OWN_MQ_CONTEXTS; ++k) {
        I[k] = static_cast<Kep32s>(cx[k] >> 17);
        MPS[k] = static_cast<Kep32s>((cx[k] >> 16) & 1);
    }
}
static inline void resetContexts(Kep32u* cx) { packContexts(cx, owniInitialCtxIndexes_JPEG2K, owniInitialMPS_JPEG2K); }

// Sign context and XOR bit (T.800 Tables D.2, D.3) as 2 * context + xor, indexed by the
// significance of the four direct neighbours (state bits 0..3) and their signs (bits 12..15).
struct SignTable {
    Kep8u v[256];
};
constexpr SignTable makeSignTable() {
    SignTable t{};
    for (Kep32u i = 0; i < 256; ++i) {
        int xr = 0;
        const int cx = ownSignContext((i & 0xF) | ((i & 0xF0) << 8), &xr);
        t.v[i] = static_cast<Kep8u>(2 * cx + xr);
    }
    return t;
}
constexpr SignTable kSign = makeSignTable();

static inline Kep32u signIndex(Kep32u w) { return (w & 0xF) | ((w >> 8) & 0xF0); }

// Marks the coefficient whose state half is cur significant and tells its eight neighbours, as
// ownSetSignificant, in six 32-bit ORs. An even row shares its word with the row below (high
// half) and sees the row above in the high halves of the pair row above; an odd row the other
// way round.
template <bool kOdd>
__attribute__((always_inline)) static inline void setSignificant(Kep16u* cur, int pitchE, Kep32u sign) {
    const Kep32u neg = sign ? 0xFFFFFFFFu : 0u;
    if (!kOdd) {
        Word* c = reinterpret_cast<Word*>(cur);
        Word* u = reinterpret_cast<Word*>(cur - pitchE);
        c[0] |= OWN_ST_SIG | (neg & OWN_ST_NEG) | ((OWN_NB_N | (neg & OWN_NEG_N)) << 16);
        c[-1] |= OWN_NB_E | (neg & OWN_NEG_E) | (OWN_NB_NE << 16);
        c[1] |= OWN_NB_W | (neg & OWN_NEG_W) | (OWN_NB_NW << 16);
        u[0] |= (OWN_NB_S | (neg & OWN_NEG_S)) << 16;
        u[-1] |= OWN_NB_SE << 16;
        u[1] |= OWN_NB_SW << 16;
    } else {
        Word* c = reinterpret_cast<Word*>(cur - 1);
        Word* d = reinterpret_cast<Word*>(cur - 1 + pitchE);
        c[0] |= ((OWN_ST_SIG | (neg & OWN_ST_NEG)) << 16) | OWN_NB_S | (neg & OWN_NEG_S);
        c[-1] |= ((OWN_NB_E | (neg & OWN_NEG_E)) << 16) | OWN_NB_SE;
        c[1] |= ((OWN_NB_W | (neg & OWN_NEG_W)) << 16) | OWN_NB_SW;
        d[0] |= OWN_NB_N | (neg & OWN_NEG_N);
        d[-1] |= OWN_NB_NE;
        d[1] |= OWN_NB_NW;
    }
}

// One stripe of up to four rows, as OwnStripe: the state halves of column 0 (rows 0, 1 in the
// pair word at s0, rows 2, 3 at s2; with two rows or fewer s2 repeats s0, as ownPairHi reads)
// and the coefficient rows.
struct Stripe {
    Kep16u* s0;
    Kep16u* s2;
    Kep32s* coef[4];
    int rows;
};

static inline Stripe stripeAt(const OwnCBPlane& b, int y0) {
    Stripe s;
    s.rows = b.height - y0 < 4 ? b.height - y0 : 4;
    s.s0 = b.st + ownRowOff(y0, b.pitchE) + 2;
    s.s2 = s.rows > 2 ? s.s0 + b.pitchE : s.s0;
    for (int j = 0; j < 4; ++j)
        s.coef[j] = reinterpret_cast<Kep32s*>(reinterpret_cast<Kep8u*>(b.data) + static_cast<ptrdiff_t>(y0 + (j < s.rows ? j : 0)) * b.step);
    return s;
}

static inline Word* wordAt(Kep16u* half) { return reinterpret_cast<Word*>(half); }

// The state half of row j of the column whose row-0 half is c0.
static inline Kep16u* rowHalf(Kep16u* c0, int pitchE, int j) { return c0 + (j >= 2 ? pitchE : 0) + (j & 1); }

// The state of row j as its contexts see it: under the vertically causal style (lastMask) the
// fourth row of a stripe does not see the next stripe.
static inline Kep32u seen(Kep32u w, int j, Kep32u lastMask) { return j == 3 ? w & lastMask : w; }

template <class Coder>
static inline int sourceBit(const Kep32s* coef, int bp) {
    return Coder::kEncode ? static_cast<int>((static_cast<Kep32u>(*coef) >> bp) & 1u) : 0;
}

// Row j became significant in plane bp (w: its state as its contexts see it): sign, states,
// and the coefficient (decoding) or the distortion (encoding), as ownCodeSignificance.
template <class Coder>
__attribute__((always_inline)) static inline void codeSignificance(Coder& c, Kep16u* cur, int j, int pitchE, Kep32s* coef,
                                                                   Kep32u w, int bp) {
    const Kep32u src = Coder::kEncode ? static_cast<Kep32u>(*coef) : 0u;
    Kep32u sign;
    if constexpr (Coder::kRaw) {  // a raw bit, no context
        sign = static_cast<Kep32u>(c.code(OWN_CX_UNIFORM, static_cast<int>(src >> 31)));
    } else {
        const Kep32u sx = kSign.v[signIndex(w)];
        sign = static_cast<Kep32u>(c.code(static_cast<int>(sx >> 1), static_cast<int>((src >> 31) ^ (sx & 1)))) ^ (sx & 1);
    }
    if (j & 1) setSignificant<true>(cur, pitchE, sign);
    else setSignificant<false>(cur, pitchE, sign);
    if constexpr (Coder::kEncode) c.significant(src & 0x7FFFFFFFu, bp);
    else *coef = static_cast<Kep32s>(static_cast<Kep32u>(*coef) | (sign << 31) | (1u << bp));
}

// The rows of the three passes. Full stripes call them with constant j (unrolled), the last
// partial stripe of a block in a loop.
template <class Coder>
__attribute__((always_inline)) static inline void sigPropRow(Coder& c, const OwnCBPlane& b, Kep16u* c0, Kep32s* coef, int j,
                                                             int bp, Kep32u lastMask) {
    Kep16u* cur = rowHalf(c0, b.pitchE, j);
    const Kep32u w = seen(*cur, j, lastMask);
    // Not significant with a significant neighbour, in one test: bit 8 of (w & 0xFF) + 0xFF is
    // set exactly when some neighbour bit is.
    if (!(((w & 0xFF) + 0xFF) & ~w & OWN_ST_SIG)) return;
    const int bit = c.code(static_cast<int>(b.lut[w & 0xFF]), sourceBit<Coder>(coef, bp));
    *cur = static_cast<Kep16u>(*cur | OWN_ST_VISIT);
    if (bit) codeSignificance(c, cur, j, b.pitchE, coef, w, bp);
}

template <class Coder>
__attribute__((always_inline)) static inline void refineRow(Coder& c, const OwnCBPlane& b, Kep16u* c0, Kep32s* coef, int j,
                                                            int bp, Kep32u lastMask) {
    Kep16u* cur = rowHalf(c0, b.pitchE, j);
    const Kep32u w = seen(*cur, j, lastMask);
    if ((w & (OWN_ST_SIG | OWN_ST_VISIT)) != OWN_ST_SIG) return;
    // Context 18 once refined, else 17 with a significant neighbour, 16 without; arithmetic,
    // as a branch here would follow the data.
    const Kep32u refined = (w / OWN_ST_REFINED) & 1, nb = (((w & 0xFF) + 0xFF) >> 8) & 1;
    const int cx = OWN_CX_REFINE + static_cast<int>((refined << 1) | (nb & ~refined));
    const int bit = c.code(cx, sourceBit<Coder>(coef, bp));
    *cur = static_cast<Kep16u>(*cur | OWN_ST_REFINED);
    if constexpr (Coder::kEncode) c.refined(static_cast<Kep32u>(*coef) & 0x7FFFFFFFu, bp);
    else *coef = static_cast<Kep32s>(static_cast<Kep32u>(*coef) | (static_cast<Kep32u>(bit) << bp));
}

// found: the row became significant through the run-length mode (its sign comes next).
template <class Coder>
__attribute__((always_inline)) static inline void cleanupRow(Coder& c, const OwnCBPlane& b, Kep16u* c0, Kep32s* coef, int j,
                                                             int bp, Kep32u lastMask, bool found = false) {
    Kep16u* cur = rowHalf(c0, b.pitchE, j);
    const Kep32u w = seen(*cur, j, lastMask);
    if (!found) {
        if (w & OWN_ST_VISIT) {
            *cur = static_cast<Kep16u>(*cur & ~OWN_ST_VISIT);
            return;
        }
        if ((w & OWN_ST_SIG) || !c.code(static_cast<int>(b.lut[w & 0xFF]), sourceBit<Coder>(coef, bp))) return;
    }
    codeSignificance(c, cur, j, b.pitchE, coef, w, bp);
}

// The column scan of significance propagation and refinement: every column for which
// wanted(lo, hi) holds (the state words of its rows 0, 1 and 2, 3) gets row(c0, coef, j) for
// each of its rows, unrolled in a full stripe.
template <class Wanted, class Row>
__attribute__((always_inline)) inline void scanColumns(const OwnCBPlane& b, Wanted wanted, Row row) {
    for (int y0 = 0; y0 < b.height; y0 += 4) {
        const Stripe s = stripeAt(b, y0);
        for (int x = 0; x < b.width; ++x) {
            Kep16u* c0 = s.s0 + 2 * x;
            if (!wanted(*wordAt(c0), *wordAt(s.s2 + 2 * x))) continue;
            if (s.rows == 4) {
                row(c0, s.coef[0] + x, 0);
                row(c0, s.coef[1] + x, 1);
                row(c0, s.coef[2] + x, 2);
                row(c0, s.coef[3] + x, 3);
            } else {
                for (int j = 0; j < s.rows; ++j) row(c0, s.coef[j] + x, j);
            }
        }
    }
}

// Significance propagation (T.800 D.3.1), as significancePropagation: skips the columns with
// no significant neighbour anywhere and those with all four rows significant.
template <class Coder>
__attribute__((always_inline)) inline void sigProp(Coder& c, const OwnCBPlane& b, int bp, Kep32u lastMask) {
    scanColumns(
        b,
        [](Kep32u lo, Kep32u hi) __attribute__((always_inline)) {
            return ((lo | hi) & 0x00FF00FFu) && (lo & hi & (OWN_ST_SIG * 0x10001u)) != OWN_ST_SIG * 0x10001u;
        },
        [&](Kep16u* c0, Kep32s* coef, int j) __attribute__((always_inline)) { sigPropRow(c, b, c0, coef, j, bp, lastMask); });
}

// Magnitude refinement (T.800 D.3.3), as magnitudeRefinement: skips the columns with nothing
// significant.
template <class Coder>
__attribute__((always_inline)) inline void refine(Coder& c, const OwnCBPlane& b, int bp, Kep32u lastMask) {
    scanColumns(
        b, [](Kep32u lo, Kep32u hi) __attribute__((always_inline)) { return ((lo | hi) & (OWN_ST_SIG * 0x10001u)) != 0; },
        [&](Kep16u* c0, Kep32s* coef, int j) __attribute__((always_inline)) { refineRow(c, b, c0, coef, j, bp, lastMask); });
}

// Cleanup (T.800 D.3.4) without the segmentation symbol, as cleanup.
template <class Coder>
__attribute__((always_inline)) inline void cleanupPass(Coder& c, const OwnCBPlane& b, int bp, Kep32u lastMask) {
    const Kep32u sigPair = OWN_ST_SIG * 0x10001u, visitPair = OWN_ST_VISIT * 0x10001u;
    const Kep32u quiet = OWN_ST_SIG | OWN_ST_VISIT | 0xFFu;
    const Kep32u hiMask = 0xFFFFu | (lastMask << 16);
    for (int y0 = 0; y0 < b.height; y0 += 4) {
        const Stripe s = stripeAt(b, y0);
        if (s.rows < 4) {
            for (int x = 0; x < b.width; ++x)
                for (int j = 0; j < s.rows; ++j) cleanupRow(c, b, s.s0 + 2 * x, s.coef[j] + x, j, bp, lastMask);
            continue;
        }
        Word* p0 = wordAt(s.s0);
        Word* p2 = wordAt(s.s2);
        for (int x = 0; x < b.width; ++x) {
            Kep16u* c0 = s.s0 + 2 * x;
            const Kep32u lo = p0[x], hi = p2[x];
            // Every row significant or coded in this plane: only the visited marks to clear.
            if (((lo | (lo >> 1)) & (hi | (hi >> 1)) & sigPair) == sigPair) {
                p0[x] = lo & ~visitPair;
                p2[x] = hi & ~visitPair;
                continue;
            }
            // A quiet column (no row significant or coded, no significant neighbour in sight):
            // run-length mode, then the rows after the first significant one.
            const Kep32u hiSeen = hi & hiMask;
            if (!((lo | (lo >> 16) | hiSeen | (hiSeen >> 16)) & quiet)) {
                int first = 4;
                if constexpr (Coder::kEncode) {
                    const Kep32u m = 1u << bp;
                    first = (static_cast<Kep32u>(s.coef[0][x]) & m)   ? 0
                            : (static_cast<Kep32u>(s.coef[1][x]) & m) ? 1
                            : (static_cast<Kep32u>(s.coef[2][x]) & m) ? 2
                            : (static_cast<Kep32u>(s.coef[3][x]) & m) ? 3
                                                                      : 4;
                }
                if (!c.code(OWN_CX_RUN, first < 4)) continue;
                const int r = c.code(OWN_CX_UNIFORM, (first >> 1) & 1) * 2;
                const int j = r + c.code(OWN_CX_UNIFORM, first & 1);
                switch (j) {
                case 0:
                    cleanupRow(c, b, c0, s.coef[0] + x, 0, bp, lastMask, true);
                    cleanupRow(c, b, c0, s.coef[1] + x, 1, bp, lastMask);
                    cleanupRow(c, b, c0, s.coef[2] + x, 2, bp, lastMask);
                    cleanupRow(c, b, c0, s.coef[3] + x, 3, bp, lastMask);
                    break;
                case 1:
                    cleanupRow(c, b, c0, s.coef[1] + x, 1, bp, lastMask, true);
                    cleanupRow(c, b, c0, s.coef[2] + x, 2, bp, lastMask);
                    cleanupRow(c, b, c0, s.coef[3] + x, 3, bp, lastMask);
                    break;
                case 2:
                    cleanupRow(c, b, c0, s.coef[2] + x, 2, bp, lastMask, true);
                    cleanupRow(c, b, c0, s.coef[3] + x, 3, bp, lastMask);
                    break;
                default: cleanupRow(c, b, c0, s.coef[3] + x, 3, bp, lastMask, true); break;
                }
                continue;
            }
            cleanupRow(c, b, c0, s.coef[0] + x, 0, bp, lastMask);
            cleanupRow(c, b, c0, s.coef[1] + x, 1, bp, lastMask);
            cleanupRow(c, b, c0, s.coef[2] + x, 2, bp, lastMask);
            cleanupRow(c, b, c0, s.coef[3] + x, 3, bp, lastMask);
        }
    }
}

enum { kCleanup = 0, kRefine = 1, kSigProp = 2 };

// One pass of the given kind with flags OWN_CB_VCAUSAL, OWN_CB_RESET and (cleanup)
// OWN_CB_SEGSYM; the coder resets its contexts itself (resetContexts). Returns 1 for a wrong
// segmentation symbol. Everything is inlined into the caller, which holds the coder in a local
// whose address never escapes: its registers then stay in machine registers throughout.
template <class Coder>
__attribute__((always_inline)) inline int runPass(Coder& c, const OwnCBPlane& plane, int kind, int bp, int flags) {
    // A local copy: the passes store through pointers that may alias anything (the state
    // words), which would make the compiler reload the fields of a plane held by reference.
    const OwnCBPlane b = plane;
    const Kep32u lastMask = (flags & OWN_CB_VCAUSAL) ? OWN_CAUSAL_MASK : 0xFFFFu;
    int corrupt = 0;
    if (kind == kSigProp) {
        sigProp(c, b, bp, lastMask);
    } else if (kind == kRefine) {
        refine(c, b, bp, lastMask);
    } else {
        cleanupPass(c, b, bp, lastMask);
        if (flags & OWN_CB_SEGSYM) {  // T.800 D.5: 1010 in the uniform context
            int sym = 0;
            for (int k = 0; k < 4; ++k) sym = sym * 2 + c.code(OWN_CX_UNIFORM, (0xA >> (3 - k)) & 1);
            corrupt = sym != 0xA;
        }
    }
    if (flags & OWN_CB_RESET) c.resetContexts();
    return corrupt;
}

}  // namespace ownfast

#endif  // KEP_PJ2FASTPASSES_H
