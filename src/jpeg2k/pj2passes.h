// The three coding passes of ITU-T T.800 Annex D (significance propagation D.3.1, magnitude
// refinement D.3.3, cleanup with run-length coding D.3.4, sign coding D.3.2) over one code-block,
// written once for both directions. A Coder policy supplies the binary coder: the MQ decoder or
// the raw reader (decoding: the bit argument is ignored and the decoded bit is returned, and the
// pass writes the coefficients), the MQ encoder or the raw writer (encoding: the bit is taken
// from the source coefficients, coded and returned, and the pass leaves the coefficients alone).
//
// Contexts: 0 uniform, 1 run-length, 2..10 significance (T.800 Table D.1 labels 0..8 plus 2),
// 11..15 sign (Table D.3 labels 9..13 plus 2), 16..18 magnitude refinement (Table D.4 labels
// 14..16 plus 2).
//
// Coefficient-state buffer: one 32-bit word per column per pair of rows; the low 16 bits belong
// to the even row, the high 16 bits to the odd row, so that it is addressed as 16-bit halves:
// coefficient (y, x) is half ((y >> 1) + 1) * pitchE + (y & 1) + 2 * (x + 1), with a border
// column on each side and a border pair row above and below, never coded. Each half carries,
// besides the coefficient's own state, the significance of its eight neighbours and the signs of
// the four direct ones, set when a neighbour becomes significant: a context is one table look-up.
#ifndef KEP_PJ2PASSES_H
#define KEP_PJ2PASSES_H

#include <stddef.h>

#include "owndefs.h"

// The 16 bits of a coefficient's state. Bits 0..7 are the neighbour pattern that indexes the
// context-label tables.
constexpr Kep32u OWN_NB_W = 0x1;
constexpr Kep32u OWN_NB_E = 0x2;
constexpr Kep32u OWN_NB_N = 0x4;
constexpr Kep32u OWN_NB_S = 0x8;
constexpr Kep32u OWN_NB_NW = 0x10;
constexpr Kep32u OWN_NB_NE = 0x20;
constexpr Kep32u OWN_NB_SW = 0x40;
constexpr Kep32u OWN_NB_SE = 0x80;
constexpr Kep32u OWN_ST_SIG = 0x100;      // significant
constexpr Kep32u OWN_ST_VISIT = 0x200;    // coded by the significance propagation pass of the current bit plane
constexpr Kep32u OWN_ST_REFINED = 0x400;  // refined at least once
constexpr Kep32u OWN_ST_NEG = 0x800;      // sign (valid once significant)
constexpr Kep32u OWN_NEG_W = 0x1000;      // signs of the direct neighbours (valid where they are significant)
constexpr Kep32u OWN_NEG_E = 0x2000;
constexpr Kep32u OWN_NEG_N = 0x4000;
constexpr Kep32u OWN_NEG_S = 0x8000;
// Vertically causal: while coding the last row of a stripe the next stripe is not seen.
constexpr Kep32u OWN_CAUSAL_MASK = 0xFFFFu & ~(OWN_NB_S | OWN_NB_SW | OWN_NB_SE | OWN_NEG_S);

// Code-block style flags (the public KEP_J2K_... names in kepjx1.h have the same values).
enum : int {
    OWN_CB_VCAUSAL = 0x1,
    OWN_CB_BYPASS = 0x2,
    OWN_CB_TERMALL = 0x4,
    OWN_CB_RESET = 0x8,
    OWN_CB_SEGSYM = 0x10,
    OWN_CB_MIDPOINT = 0x10000,
    OWN_CB_KEEPBLOCK = 0x20000,
    OWN_CB_KEEPLOWBP = 0x40000,
    OWN_CB_KEEPSTATE = 0x80000,
    OWN_CB_PREDTERM = 0x100000,
};

enum { OWN_CX_UNIFORM = 0, OWN_CX_RUN = 1, OWN_CX_SIGN = 11, OWN_CX_REFINE = 16 };

// Context-label tables, indexed by the significance of the neighbours: bit 0 west, 1 east,
// 2 north, 3 south, 4 north-west, 5 north-east, 6 south-west, 7 south-east.
struct OwnZeroCodingLUT {
    Kep32u v[256];
};
extern KEP_HIDDEN const OwnZeroCodingLUT owniZeroCodingLUT_LxHy;  // LL and LH (subband 0, 1)
extern KEP_HIDDEN const OwnZeroCodingLUT owniZeroCodingLUT_HxLy;  // HL (subband 2)
extern KEP_HIDDEN const OwnZeroCodingLUT owniZeroCodingLUT_HxHy;  // HH (subband 3)

static inline const Kep32u* ownZeroCodingLUT(int subband) {
    return subband == 2 ? owniZeroCodingLUT_HxLy.v : (subband == 3 ? owniZeroCodingLUT_HxHy.v : owniZeroCodingLUT_LxHy.v);
}

// One code-block as the passes see it. data: sign-magnitude coefficients, rows `step` bytes apart.
struct OwnCBPlane {
    Kep32s* data;
    int step;
    int width;
    int height;
    Kep16u* st;
    int pitchE;  // 16-bit halves per row of the state buffer
    const Kep32u* lut;
};

static inline int ownRowOff(int y, int pitchE) { return ((y >> 1) + 1) * pitchE + (y & 1); }

// One stripe of up to four rows: the state halves and coefficients of column 0 in each row.
struct OwnStripe {
    Kep16u* st[4];
    Kep32s* coef[4];
    int rows;
    int y0;
    Kep32u lastMask;  // state mask for the stripe's fourth row (vertically causal or not)
};

static inline OwnStripe ownStripe(const OwnCBPlane& b, int y0, bool vcausal) {
    OwnStripe s;
    s.y0 = y0;
    s.rows = b.height - y0 < 4 ? b.height - y0 : 4;
    for (int j = 0; j < 4; ++j) {
        const int y = y0 + (j < s.rows ? j : 0);
        s.st[j] = b.st + ownRowOff(y, b.pitchE) + 2;
        s.coef[j] = reinterpret_cast<Kep32s*>(reinterpret_cast<Kep8u*>(b.data) + static_cast<ptrdiff_t>(y) * b.step);
    }
    s.lastMask = vcausal ? OWN_CAUSAL_MASK : 0xFFFFu;
    return s;
}

// The states of the four rows of column x as two 32-bit words (rows 0, 1 and rows 2, 3; a
// missing row of a partial stripe reads as a repeat of row 0, which only costs a look).
static inline Kep32u ownPairLo(const OwnStripe& s, int x) {
    Kep32u v;
    memcpy(&v, s.st[0] + 2 * x, 4);
    return v;
}
static inline Kep32u ownPairHi(const OwnStripe& s, int x) {
    Kep32u v;
    memcpy(&v, s.st[2] + 2 * x, 4);
    return v;
}

// The state of (y0 + j, x) as its contexts may see it.
static inline Kep32u ownSeen(const OwnStripe& s, int j, Kep32u w) { return j == 3 ? w & s.lastMask : w; }

// T.800 Tables D.2 and D.3: context (label + 2) and XOR bit from the direct neighbours' signs.
constexpr int ownSignContext(Kep32u w, int* xr) {
    const Kep8u kCx[3][3] = {{13, 12, 11}, {10, 9, 10}, {11, 12, 13}};  // [1 - h][1 - v]
    const auto contribution = [w](Kep32u sig, Kep32u neg) { return (w & sig) ? ((w & neg) ? -1 : 1) : 0; };
    int h = contribution(OWN_NB_W, OWN_NEG_W) + contribution(OWN_NB_E, OWN_NEG_E);
    int v = contribution(OWN_NB_N, OWN_NEG_N) + contribution(OWN_NB_S, OWN_NEG_S);
    h = h > 1 ? 1 : (h < -1 ? -1 : h);
    v = v > 1 ? 1 : (v < -1 ? -1 : v);
    *xr = (h < 0 || (h == 0 && v < 0)) ? 1 : 0;
    return kCx[1 - h][1 - v] + 2;
}

// Marks (y, x) significant with the given sign and tells its eight neighbours.
static inline void ownSetSignificant(const OwnCBPlane& b, int y, int x, Kep16u* cur, int sign) {
    Kep16u* up = b.st + ownRowOff(y - 1, b.pitchE) + 2 * (x + 1);
    Kep16u* dn = b.st + ownRowOff(y + 1, b.pitchE) + 2 * (x + 1);
    const auto set = [](Kep16u* p, Kep32u bits) { *p = static_cast<Kep16u>(*p | bits); };
    set(cur, OWN_ST_SIG | (sign ? OWN_ST_NEG : 0));
    set(cur - 2, OWN_NB_E | (sign ? OWN_NEG_E : 0));
    set(cur + 2, OWN_NB_W | (sign ? OWN_NEG_W : 0));
    set(up, OWN_NB_S | (sign ? OWN_NEG_S : 0));
    set(dn, OWN_NB_N | (sign ? OWN_NEG_N : 0));
    set(up - 2, OWN_NB_SE);
    set(up + 2, OWN_NB_SW);
    set(dn - 2, OWN_NB_NE);
    set(dn + 2, OWN_NB_NW);
}

template <class Coder>
static inline int ownSourceBit(const Kep32s* coef, int bp) {
    return Coder::kEncode ? static_cast<int>((static_cast<Kep32u>(*coef) >> bp) & 1u) : 0;
}

// Row j, column x of the stripe became significant in bit plane bp: code its sign (seen: its
// state as its contexts may see it), update the states and (decoding) write magnitude bit bp and
// the sign.
template <class Coder>
static inline void ownCodeSignificance(Coder& c, const OwnCBPlane& b, const OwnStripe& s, int j, int x, int bp) {
    Kep16u* cur = s.st[j] + 2 * x;
    Kep32s* coef = s.coef[j] + x;
    const Kep32u src = Coder::kEncode ? static_cast<Kep32u>(*coef) : 0u;
    int sign;
    if constexpr (Coder::kRaw) {
        sign = c.code(OWN_CX_UNIFORM, static_cast<int>(src >> 31));
    } else {
        int xr;
        const int cx = ownSignContext(ownSeen(s, j, *cur), &xr);
        sign = c.code(cx, static_cast<int>(src >> 31) ^ xr) ^ xr;
    }
    ownSetSignificant(b, s.y0 + j, x, cur, sign);
    if constexpr (Coder::kEncode) c.significant(src & 0x7FFFFFFFu, bp);
    else *coef = static_cast<Kep32s>(static_cast<Kep32u>(*coef) | (static_cast<Kep32u>(sign) << 31) | (1u << bp));
}

// Significance propagation (T.800 D.3.1): insignificant coefficients with a significant neighbour.
template <class Coder>
static int significancePropagation(const OwnCBPlane& b, Coder& c, int bp, int flags) {
    const bool vc = (flags & OWN_CB_VCAUSAL) != 0;
    for (int y0 = 0; y0 < b.height; y0 += 4) {
        const OwnStripe s = ownStripe(b, y0, vc);
        for (int x = 0; x < b.width; ++x) {
            // Nothing to do in a column without a significant neighbour anywhere, nor in a full
            // column of significant coefficients.
            const Kep32u lo = ownPairLo(s, x), hi = ownPairHi(s, x);
            if (!((lo | hi) & 0x00FF00FFu) || (lo & hi & (OWN_ST_SIG * 0x10001u)) == OWN_ST_SIG * 0x10001u) continue;
            for (int j = 0; j < s.rows; ++j) {
                Kep16u* cur = s.st[j] + 2 * x;
                const Kep32u w = ownSeen(s, j, *cur);
                if ((w & OWN_ST_SIG) || !(w & 0xFF)) continue;
                const int bit = c.code(static_cast<int>(b.lut[w & 0xFF]), ownSourceBit<Coder>(s.coef[j] + x, bp));
                *cur = static_cast<Kep16u>(*cur | OWN_ST_VISIT);
                if (bit) ownCodeSignificance(c, b, s, j, x, bp);
            }
        }
    }
    if (flags & OWN_CB_RESET) c.resetContexts();
    return 0;
}

// Magnitude refinement (T.800 D.3.3): coefficients significant before this bit plane.
template <class Coder>
static int magnitudeRefinement(const OwnCBPlane& b, Coder& c, int bp, int flags) {
    const bool vc = (flags & OWN_CB_VCAUSAL) != 0;
    for (int y0 = 0; y0 < b.height; y0 += 4) {
        const OwnStripe s = ownStripe(b, y0, vc);
        for (int x = 0; x < b.width; ++x) {
            if (!((ownPairLo(s, x) | ownPairHi(s, x)) & (OWN_ST_SIG * 0x10001u))) continue;  // nothing significant
            for (int j = 0; j < s.rows; ++j) {
                Kep16u* cur = s.st[j] + 2 * x;
                const Kep32u w = ownSeen(s, j, *cur);
                if ((w & (OWN_ST_SIG | OWN_ST_VISIT)) != OWN_ST_SIG) continue;
                const int cx = (w & OWN_ST_REFINED) ? OWN_CX_REFINE + 2 : OWN_CX_REFINE + ((w & 0xFF) ? 1 : 0);
                Kep32s* coef = s.coef[j] + x;
                const int bit = c.code(cx, ownSourceBit<Coder>(coef, bp));
                *cur = static_cast<Kep16u>(*cur | OWN_ST_REFINED);
                if constexpr (Coder::kEncode) c.refined(static_cast<Kep32u>(*coef) & 0x7FFFFFFFu, bp);
                else if (bit) *coef = static_cast<Kep32s>(static_cast<Kep32u>(*coef) | (1u << bp));
            }
        }
    }
    if (flags & OWN_CB_RESET) c.resetContexts();
    return 0;
}

// Cleanup (T.800 D.3.4): every coefficient not yet coded in this bit plane, with run-length
// coding of all-quiet columns of full stripes, then the segmentation symbol 1010 in the uniform
// context (T.800 D.5) when asked; a wrong symbol is reported as corrupt data (1).
template <class Coder>
static int cleanup(const OwnCBPlane& b, Coder& c, int bp, int flags) {
    const bool vc = (flags & OWN_CB_VCAUSAL) != 0;
    for (int y0 = 0; y0 < b.height; y0 += 4) {
        const OwnStripe s = ownStripe(b, y0, vc);
        for (int x = 0; x < b.width; ++x) {
            // A full column of coefficients significant or coded before in this plane: only the
            // visited marks to clear.
            if (s.rows == 4) {
                const Kep32u lo = ownPairLo(s, x), hi = ownPairHi(s, x);
                if (((lo | (lo >> 1)) & (hi | (hi >> 1)) & (OWN_ST_SIG * 0x10001u)) == OWN_ST_SIG * 0x10001u) {
                    const Kep32u keep = ~(OWN_ST_VISIT * 0x10001u);
                    const Kep32u lo2 = lo & keep, hi2 = hi & keep;
                    memcpy(s.st[0] + 2 * x, &lo2, 4);
                    memcpy(s.st[2] + 2 * x, &hi2, 4);
                    continue;
                }
            }
            int j = 0;
            // A quiet column: four insignificant, uncoded coefficients with no significant
            // neighbour (context label 0).
            if (s.rows == 4 && !((s.st[0][2 * x] | s.st[1][2 * x] | s.st[2][2 * x] | ownSeen(s, 3, s.st[3][2 * x])) &
                                 (0xFFu | OWN_ST_SIG | OWN_ST_VISIT))) {
                int first = 4;
                if constexpr (Coder::kEncode)
                    for (int k = 3; k >= 0; --k)
                        if (ownSourceBit<Coder>(s.coef[k] + x, bp)) first = k;
                if (!c.code(OWN_CX_RUN, first < 4)) continue;
                const int hi = c.code(OWN_CX_UNIFORM, (first >> 1) & 1);
                const int lo = c.code(OWN_CX_UNIFORM, first & 1);
                j = hi * 2 + lo;
                ownCodeSignificance(c, b, s, j, x, bp);
                ++j;
            }
            for (; j < s.rows; ++j) {
                Kep16u* cur = s.st[j] + 2 * x;
                const Kep32u w = ownSeen(s, j, *cur);
                if (w & OWN_ST_VISIT) {
                    *cur = static_cast<Kep16u>(*cur & ~OWN_ST_VISIT);
                    continue;
                }
                if (w & OWN_ST_SIG) continue;
                if (c.code(static_cast<int>(b.lut[w & 0xFF]), ownSourceBit<Coder>(s.coef[j] + x, bp)))
                    ownCodeSignificance(c, b, s, j, x, bp);
            }
        }
    }
    int corrupt = 0;
    if (flags & OWN_CB_SEGSYM) {
        int sym = 0;
        for (int k = 0; k < 4; ++k) sym = sym * 2 + c.code(OWN_CX_UNIFORM, (0xA >> (3 - k)) & 1);
        corrupt = sym != 0xA;
    }
    if (flags & OWN_CB_RESET) c.resetContexts();
    return corrupt;
}

// The code-block exports run on the passes above (and the plain MQ coder calls of pj2mq.h)
// instead of the fast ones of pj2fastpasses.h: the reference the exports are held to, bit for
// bit, in the tests and the benchmarks. Same arguments, checks and results as the exports.
KEP_HIDDEN KepResult ownpj_DecodeCBProgrStepRef_JPEG2K(const Kep8u* pSrc, int srcLen, KepiDecodeCBProgrState_JPEG2K* pState);
KEP_HIDDEN KepResult ownpj_DecodeCodeBlockRef_JPEG2K(const Kep8u* pSrc, Kep32s* pDst, int dstStep, KepiSize codeBlockSize,
                                                     int subband, int magnBits, int nPasses, const int* pSegLen, int nSegments,
                                                     int codeStyleFlags, int* pNOfResidualBp,
                                                     KepiDecodeCBProgrState_JPEG2K* pState);
KEP_HIDDEN KepResult ownpj_EncodeLoadCodeBlockRef_JPEG2K(const Kep32s* pSrc, int srcStep, KepiSize codeBlockSize,
                                                         KepiEncodeState_JPEG2K* pState, int subband, int magnBits,
                                                         int mqTermType, int codeStyleFlags, int* pSfBits, int* pNOfPasses,
                                                         int* pNOfTermPasses);

#endif  // KEP_PJ2PASSES_H
