// Plain C 9/7 forward rows: the float reference lifting, the direct width-1 filters and the two
// fixed-point forms with 16 fraction bits.

#include "wt97.h"

namespace {

struct ScalarOps {
    static void split(const Kep32f* b, int count, Kep32f* e, Kep32f* o) {
        for (int i = 0; i < count; ++i) (i & 1 ? o : e)[i / 2] = b[i];
    }
    static void lift(Kep32f* d, const Kep32f* a, const Kep32f* b, int n, Kep32f c) {
        for (int j = 0; j < n; ++j) d[j] = (a[j] + b[j]) * c + d[j];
    }
    static void scale(Kep32f* out, const Kep32f* in, int n, Kep32f c) {
        for (int k = 0; k < n; ++k) out[k] = in[k] * c;
    }
};

// Fixed-point constants (16 fraction bits).
constexpr Kep32s kAlpha = -103949, kBeta = -3472, kGamma = 57862, kDelta = 29066;
constexpr Kep32s kLowGain = 53274, kHighGain = 80621, kFusedDelta = 23627;  // 23627 = delta / K
constexpr Kep32s kLowTaps[5] = {39515, 17489, -5126, -1105, 1753};          // centre, +-1 .. +-4
constexpr Kep32s kHighTaps[4] = {73078, -38749, -3771, 5982};               // centre, +-1 .. +-3

// The fixed-point forms as a policy: how an update, the gains and the fused first low are
// rounded and bounded.
struct Fixed16 {
    using T = Kep16s;
    // centre + (((l + r) * c + 32768) >> 16) in 32-bit wrapping arithmetic, then saturated.
    static Kep32s upd(Kep32s centre, Kep32s l, Kep32s r, Kep32s c) {
        const Kep32u p = static_cast<Kep32u>(l + r) * static_cast<Kep32u>(c) + 32768u;
        return ownSat16s(centre + (static_cast<Kep32s>(p) >> 16));
    }
    static Kep16s lowGain(Kep32s v) { return static_cast<Kep16s>((v * kLowGain + 32768) >> 16); }
    static Kep16s highGain(Kep32s v) { return ownSat16s(static_cast<Kep32s>((static_cast<Kep64s>(v) * kHighGain + 32768) >> 16)); }
    static Kep16s fused(Kep32s l, Kep32s hl, Kep32s hr) {
        const Kep32u p = static_cast<Kep32u>(hl + hr) * static_cast<Kep32u>(kFusedDelta) + static_cast<Kep32u>(l * kLowGain) + 32768u;
        return ownSat16s(static_cast<Kep32s>(p) >> 16);
    }
    // Width 1: one rounding over the exact sum; the high saturates, the low is clamped above
    // only and otherwise keeps its low 16 bits.
    static void direct(const Kep16s* x, int c, int d, Kep16s& lo, Kep16s& hi) {
        Kep64s sl = static_cast<Kep64s>(x[c]) * kLowTaps[0];
        for (int k = 1; k <= 4; ++k) sl += static_cast<Kep64s>(x[c - k] + x[c + k]) * kLowTaps[k];
        Kep64s sh = static_cast<Kep64s>(x[d]) * kHighTaps[0];
        for (int k = 1; k <= 3; ++k) sh += static_cast<Kep64s>(x[d - k] + x[d + k]) * kHighTaps[k];
        const Kep64s l = (sl + 32768) >> 16, h = (sh + 32768) >> 16;
        lo = static_cast<Kep16s>(static_cast<Kep16u>(l > 32767 ? 32767 : l));
        hi = static_cast<Kep16s>(h < -32768 ? -32768 : (h > 32767 ? 32767 : h));
    }
};

struct Fixed32 {
    using T = Kep32s;
    static Kep32s round16(Kep64s v) { return static_cast<Kep32s>((v + 32768) >> 16); }
    // 64-bit products and sums, the result kept as 32 bits (wrapping), never saturated.
    static Kep32s upd(Kep32s centre, Kep32s l, Kep32s r, Kep32s c) {
        return static_cast<Kep32s>(static_cast<Kep64s>(centre) + (((static_cast<Kep64s>(l) + r) * c + 32768) >> 16));
    }
    static Kep32s lowGain(Kep32s v) { return round16(static_cast<Kep64s>(v) * kLowGain); }
    static Kep32s highGain(Kep32s v) { return round16(static_cast<Kep64s>(v) * kHighGain); }
    static Kep32s fused(Kep32s l, Kep32s hl, Kep32s hr) {
        return round16((static_cast<Kep64s>(hl) + hr) * kFusedDelta + static_cast<Kep64s>(l) * kLowGain);
    }
    // Width 1: every tap product rounded on its own, the rounded terms summed.
    static void direct(const Kep32s* x, int c, int d, Kep32s& lo, Kep32s& hi) {
        Kep64s sl = round16(static_cast<Kep64s>(x[c]) * kLowTaps[0]);
        for (int k = 1; k <= 4; ++k) sl += round16((static_cast<Kep64s>(x[c - k]) + x[c + k]) * kLowTaps[k]);
        Kep64s sh = round16(static_cast<Kep64s>(x[d]) * kHighTaps[0]);
        for (int k = 1; k <= 3; ++k) sh += round16((static_cast<Kep64s>(x[d - k]) + x[d + k]) * kHighTaps[k]);
        lo = static_cast<Kep32s>(sl);
        hi = static_cast<Kep32s>(sh);
    }
};

// The fixed-point lifting, chunked like the float form. Only the first low of a phase-0 row
// takes the fused last update and gain; every other low (the last included) is updated, then
// scaled, each with its own rounding.
template <typename F>
void fixedRow(const typename F::T* x, typename F::T* lo, typename F::T* hi, int w, bool odd) {
    if (w == 1) {
        F::direct(x, odd ? 1 : 0, odd ? 0 : 1, lo[0], hi[0]);
        return;
    }
    Kep32s e[kWt97Chunk + 8], o[kWt97Chunk + 8];
    const typename F::T* s = x + (odd ? 1 : 0);
    const int hOff = odd ? 1 : 2;
    for (int i0 = 0; i0 < w; i0 += kWt97Chunk) {
        const int n = w - i0 < kWt97Chunk ? w - i0 : kWt97Chunk;
        const typename F::T* b = s + 2 * i0 - 4;
        for (int i = 0; i < 2 * n + 7; ++i) (i & 1 ? o : e)[i / 2] = b[i];
        for (int j = 0; j <= n + 2; ++j) o[j] = F::upd(o[j], e[j], e[j + 1], kAlpha);
        for (int j = 1; j <= n + 2; ++j) e[j] = F::upd(e[j], o[j - 1], o[j], kBeta);
        for (int j = 1; j <= n + 1; ++j) o[j] = F::upd(o[j], e[j], e[j + 1], kGamma);
        for (int k = 0; k < n; ++k) {
            const int j = k + 2;
            lo[i0 + k] = (!odd && i0 + k == 0) ? F::fused(e[j], o[j - 1], o[j]) : F::lowGain(F::upd(e[j], o[j - 1], o[j], kDelta));
            hi[i0 + k] = F::highGain(o[k + hOff]);
        }
    }
}

}  // namespace

void ownWt97FwdRow1_32f(const Kep32f* x, Kep32f* lo, Kep32f* hi, bool odd) {
    const int c = odd ? 1 : 0, d = odd ? 0 : 1;
    *lo = (x[c - 4] + x[c + 4]) * 0.026748758f + (x[c - 3] + x[c + 3]) * -0.01686412f + (x[c - 2] + x[c + 2]) * -0.078223266f +
          (x[c - 1] + x[c + 1]) * 0.26686412f + x[c] * 0.602949f;
    *hi = (x[d - 3] + x[d + 3]) * 0.091271766f + (x[d - 2] + x[d + 2]) * -0.057543527f + (x[d - 1] + x[d + 1]) * -0.59127176f +
          x[d] * 1.115087f;
}

void ownWt97FwdRow_32f_c(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd) {
    if (w == 1) ownWt97FwdRow1_32f(x, lo, hi, odd);
    else ownWt97FwdRowChunks32f<ScalarOps>(x, lo, hi, w, odd);
}
void ownWt97FwdRow_16s_c(const Kep16s* x, Kep16s* lo, Kep16s* hi, int w, bool odd) { fixedRow<Fixed16>(x, lo, hi, w, odd); }
void ownWt97FwdRow_32s_c(const Kep32s* x, Kep32s* lo, Kep32s* hi, int w, bool odd) { fixedRow<Fixed32>(x, lo, hi, w, odd); }
