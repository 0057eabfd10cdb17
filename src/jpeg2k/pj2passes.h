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
// column on each side and a border pair row above and below that stay zero.
#ifndef KEP_PJ2PASSES_H
#define KEP_PJ2PASSES_H

#include <stddef.h>

#include "owndefs.h"

enum : Kep16u {
    OWN_ST_SIG = 0x1,      // significant
    OWN_ST_VISIT = 0x2,    // coded by the significance propagation pass of the current bit plane
    OWN_ST_REFINED = 0x4,  // refined at least once
    OWN_ST_NEG = 0x8,      // sign (valid once significant)
};

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

static inline Kep16u* ownStateAt(const OwnCBPlane& b, int y, int x) {
    return b.st + ((y >> 1) + 1) * b.pitchE + (y & 1) + 2 * (x + 1);
}
static inline Kep32s* ownCoefAt(const OwnCBPlane& b, int y, int x) {
    return reinterpret_cast<Kep32s*>(reinterpret_cast<Kep8u*>(b.data) + static_cast<ptrdiff_t>(y) * b.step) + x;
}

// The three rows around a coefficient: state halves of (y - 1, x), (y, x), (y + 1, x).
struct OwnNbh {
    Kep16u* up;
    Kep16u* cur;
    Kep16u* dn;
    bool causal;  // vertically causal: the next stripe counts as insignificant
};

static inline OwnNbh ownNbh(const OwnCBPlane& b, int y, int x, bool causal) {
    return {ownStateAt(b, y - 1, x), ownStateAt(b, y, x), ownStateAt(b, y + 1, x), causal};
}

static inline unsigned ownNeighbours(const OwnNbh& n) {
    unsigned p = (n.cur[-2] & 1u) | ((n.cur[2] & 1u) << 1) | ((n.up[0] & 1u) << 2) | ((n.up[-2] & 1u) << 4) |
                 ((n.up[2] & 1u) << 5);
    if (!n.causal) p |= ((n.dn[0] & 1u) << 3) | ((n.dn[-2] & 1u) << 6) | ((n.dn[2] & 1u) << 7);
    return p;
}

static inline int ownSignOf(Kep16u s) { return (s & OWN_ST_SIG) ? ((s & OWN_ST_NEG) ? -1 : 1) : 0; }
static inline int ownClamp1(int v) { return v > 1 ? 1 : (v < -1 ? -1 : v); }

// T.800 Table D.3: context (label + 2) and XOR bit by horizontal and vertical contribution.
static inline void ownSignContext(const OwnNbh& n, int* cx, int* xr) {
    static const Kep8u kCx[3][3] = {{13, 12, 11}, {10, 9, 10}, {11, 12, 13}};  // [1 - h][1 - v]
    const int h = ownClamp1(ownSignOf(n.cur[-2]) + ownSignOf(n.cur[2]));
    const int v = ownClamp1(ownSignOf(n.up[0]) + (n.causal ? 0 : ownSignOf(n.dn[0])));
    *cx = kCx[1 - h][1 - v] + 2;
    *xr = (h < 0 || (h == 0 && v < 0)) ? 1 : 0;
}

// The coefficient at n.cur became significant in bit plane bp: code its sign, update its state
// and (decoding) write magnitude bit bp and the sign.
template <class Coder>
static inline void ownCodeSignificance(Coder& c, const OwnNbh& n, Kep32s* coef, int bp) {
    const Kep32u src = Coder::kEncode ? static_cast<Kep32u>(*coef) : 0u;
    int sign;
    if constexpr (Coder::kRaw) {
        sign = c.code(OWN_CX_UNIFORM, static_cast<int>(src >> 31));
    } else {
        int cx, xr;
        ownSignContext(n, &cx, &xr);
        sign = c.code(cx, static_cast<int>(src >> 31) ^ xr) ^ xr;
    }
    *n.cur = static_cast<Kep16u>(*n.cur | OWN_ST_SIG | (sign ? OWN_ST_NEG : 0));
    if constexpr (Coder::kEncode) c.significant(src & 0x7FFFFFFFu, bp);
    else *coef = static_cast<Kep32s>(static_cast<Kep32u>(*coef) | (static_cast<Kep32u>(sign) << 31) | (1u << bp));
}

template <class Coder>
static inline int ownSourceBit(const Kep32s* coef, int bp) {
    return Coder::kEncode ? static_cast<int>((static_cast<Kep32u>(*coef) >> bp) & 1u) : 0;
}

// Significance propagation (T.800 D.3.1): insignificant coefficients with a significant neighbour.
template <class Coder>
static int significancePropagation(const OwnCBPlane& b, Coder& c, int bp, int flags) {
    const bool vc = (flags & OWN_CB_VCAUSAL) != 0;
    for (int y0 = 0; y0 < b.height; y0 += 4) {
        const int rows = b.height - y0 < 4 ? b.height - y0 : 4;
        for (int x = 0; x < b.width; ++x) {
            for (int j = 0; j < rows; ++j) {
                const OwnNbh n = ownNbh(b, y0 + j, x, vc && j == 3);
                if (*n.cur & OWN_ST_SIG) continue;
                const unsigned pat = ownNeighbours(n);
                if (!pat) continue;
                Kep32s* coef = ownCoefAt(b, y0 + j, x);
                const int bit = c.code(static_cast<int>(b.lut[pat]), ownSourceBit<Coder>(coef, bp));
                *n.cur |= OWN_ST_VISIT;
                if (bit) ownCodeSignificance(c, n, coef, bp);
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
        const int rows = b.height - y0 < 4 ? b.height - y0 : 4;
        for (int x = 0; x < b.width; ++x) {
            for (int j = 0; j < rows; ++j) {
                const OwnNbh n = ownNbh(b, y0 + j, x, vc && j == 3);
                if ((*n.cur & (OWN_ST_SIG | OWN_ST_VISIT)) != OWN_ST_SIG) continue;
                const int cx = (*n.cur & OWN_ST_REFINED) ? OWN_CX_REFINE + 2 : OWN_CX_REFINE + (ownNeighbours(n) ? 1 : 0);
                Kep32s* coef = ownCoefAt(b, y0 + j, x);
                const int bit = c.code(cx, ownSourceBit<Coder>(coef, bp));
                *n.cur |= OWN_ST_REFINED;
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
        const int rows = b.height - y0 < 4 ? b.height - y0 : 4;
        for (int x = 0; x < b.width; ++x) {
            int j = 0;
            if (rows == 4) {
                bool quiet = true;
                for (int k = 0; k < 4 && quiet; ++k) {
                    const OwnNbh n = ownNbh(b, y0 + k, x, vc && k == 3);
                    quiet = !(*n.cur & (OWN_ST_SIG | OWN_ST_VISIT)) && !ownNeighbours(n);
                }
                if (quiet) {
                    int first = 4;
                    if constexpr (Coder::kEncode)
                        for (int k = 3; k >= 0; --k)
                            if (ownSourceBit<Coder>(ownCoefAt(b, y0 + k, x), bp)) first = k;
                    if (!c.code(OWN_CX_RUN, first < 4)) continue;
                    const int hi = c.code(OWN_CX_UNIFORM, (first >> 1) & 1);
                    const int lo = c.code(OWN_CX_UNIFORM, first & 1);
                    j = hi * 2 + lo;
                    ownCodeSignificance(c, ownNbh(b, y0 + j, x, vc && j == 3), ownCoefAt(b, y0 + j, x), bp);
                    ++j;
                }
            }
            for (; j < rows; ++j) {
                const OwnNbh n = ownNbh(b, y0 + j, x, vc && j == 3);
                if (*n.cur & OWN_ST_VISIT) {
                    *n.cur = static_cast<Kep16u>(*n.cur & ~OWN_ST_VISIT);
                    continue;
                }
                if (*n.cur & OWN_ST_SIG) continue;
                Kep32s* coef = ownCoefAt(b, y0 + j, x);
                if (c.code(static_cast<int>(b.lut[ownNeighbours(n)]), ownSourceBit<Coder>(coef, bp)))
                    ownCodeSignificance(c, n, coef, bp);
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

#endif  // KEP_PJ2PASSES_H
