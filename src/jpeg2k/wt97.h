// Irreversible 9/7 wavelet kernels (ITU-T T.800 F.4.8.2 lifting, Table F.4 extension lengths).
#ifndef KEP_WT97_H
#define KEP_WT97_H

#include <stddef.h>

#include "owndefs.h"

// Lifting constants and gains of the float form.
constexpr Kep32f kWt97Alpha = -1.5861343f;
constexpr Kep32f kWt97Beta = -0.052980117f;
constexpr Kep32f kWt97Gamma = 0.8829111f;
constexpr Kep32f kWt97Delta = 0.44350687f;
constexpr Kep32f kWt97LowGain = 0.8128931f;   // 1/K
constexpr Kep32f kWt97HighGain = 1.2301741f;  // K

// Outputs per chunk: a row is lifted in chunks whose samples are gathered into arrays on the
// stack, each chunk recomputing the few lifted values it shares with its neighbours (the same
// operations on the same inputs, so the results do not depend on the chunking).
constexpr int kWt97Chunk = 256;

// The chunked forward lifting of one row, over a policy that supplies the loops:
//   Ops::split(base, count, e, o)    e[j] = base[2j], o[j] = base[2j+1] for 2j (+1) < count
//   Ops::lift(dst, a, b, n, c)       dst[j] = (a[j] + b[j]) * c + dst[j], j < n
//   Ops::scale(out, in, n, c)        out[k] = in[k] * c, k < n
// x points at the first sample of the region; lows sit at x[2i] (phase 0) or x[2i+1] (odd).
template <typename Ops>
static inline void ownWt97FwdRowChunks32f(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd) {
    Kep32f e[kWt97Chunk + 8], o[kWt97Chunk + 8];
    const Kep32f* s = x + (odd ? 1 : 0);  // lows at s[2i]; highs at s[2i+1] (phase 0) or s[2i-1]
    const int hOff = odd ? 1 : 2;
    for (int i0 = 0; i0 < w; i0 += kWt97Chunk) {
        const int n = w - i0 < kWt97Chunk ? w - i0 : kWt97Chunk;
        // e[j] = s[2(i0 + j - 2)], o[j] = s[2(i0 + j - 2) + 1]: s[2i0 - 4] .. s[2(i0 + n) + 2].
        Ops::split(s + 2 * i0 - 4, 2 * n + 7, e, o);
        Ops::lift(o, e, e + 1, n + 3, kWt97Alpha);              // o[0 .. n+2]
        Ops::lift(e + 1, o, o + 1, n + 2, kWt97Beta);           // e[1 .. n+2]
        Ops::lift(o + 1, e + 1, e + 2, n + 1, kWt97Gamma);      // o[1 .. n+1]
        Ops::lift(e + 2, o + 1, o + 2, n, kWt97Delta);          // e[2 .. n+1]
        Ops::scale(lo + i0, e + 2, n, kWt97LowGain);
        Ops::scale(hi + i0, o + hOff, n, kWt97HighGain);
    }
}

// Width 1: the direct 9-tap and 7-tap filters centred on the low (c) and high (d) sample.
KEP_HIDDEN void ownWt97FwdRow1_32f(const Kep32f* x, Kep32f* lo, Kep32f* hi, bool odd);

// One row of w >= 2 outputs per band (plain C reference and SSSE3 kernel), and the fixed-point
// forms (plain C only), which also handle w == 1.
KEP_HIDDEN void ownWt97FwdRow_32f_c(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd);
KEP_HIDDEN void ownWt97FwdRow_32f_ssse3(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd);
KEP_HIDDEN void ownWt97FwdRow_16s_c(const Kep16s* x, Kep16s* lo, Kep16s* hi, int w, bool odd);
KEP_HIDDEN void ownWt97FwdRow_32s_c(const Kep32s* x, Kep32s* lo, Kep32s* hi, int w, bool odd);

#endif  // KEP_WT97_H
