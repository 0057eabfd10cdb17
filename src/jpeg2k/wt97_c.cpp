// Plain C 9/7 forward rows: the float reference lifting, the direct width-1 filters and the two
// fixed-point forms with 16 fraction bits.

#include "wt97.h"

namespace {

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

// Inverse policies: each lifting step is removed by subtracting the very term the forward step
// added (same constant, same rounding), so the integer lifting alone is exactly reversible; the
// gains are undone by the reciprocal gain with the same rounding (low * K, high / K). 16s
// saturates every value, 32s keeps 32 bits (wrapping).
constexpr Kep32s kSteps[4] = {kAlpha, kBeta, kGamma, kDelta};
struct Inv16 {
    using V = Kep32s;
    static V load(const void* p) { return ownLoad16s(p); }
    static void store(void* p, V v) { ownStore16s(p, static_cast<Kep16s>(v)); }
    static V lowIn(V v) { return ownSat16s(static_cast<Kep32s>((static_cast<Kep64s>(v) * kHighGain + 32768) >> 16)); }
    static V highIn(V v) { return (v * kLowGain + 32768) >> 16; }
    static V undo(V centre, V l, V r, int k) {
        const Kep32u p = static_cast<Kep32u>(l + r) * static_cast<Kep32u>(kSteps[k]) + 32768u;
        return ownSat16s(centre - (static_cast<Kep32s>(p) >> 16));
    }
};
struct Inv32 {
    using V = Kep32s;
    static V load(const void* p) { V v; memcpy(&v, p, 4); return v; }
    static void store(void* p, V v) { memcpy(p, &v, 4); }
    static V lowIn(V v) { return static_cast<Kep32s>((static_cast<Kep64s>(v) * kHighGain + 32768) >> 16); }
    static V highIn(V v) { return static_cast<Kep32s>((static_cast<Kep64s>(v) * kLowGain + 32768) >> 16); }
    static V undo(V centre, V l, V r, int k) {
        return static_cast<Kep32s>(static_cast<Kep64s>(centre) - (((static_cast<Kep64s>(l) + r) * kSteps[k] + 32768) >> 16));
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
        for (int i = 0; i < 2 * n + 7; ++i) {
            if (i & 1) o[i / 2] = b[i];
            else e[i / 2] = b[i];
        }
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

void ownWt97FwdRow_32f_c(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd) {
    ownWt97FwdLine32f<OwnWt97Scalar>(x, sizeof(Kep32f), lo, sizeof(Kep32f), hi, sizeof(Kep32f), w, odd);
}
void ownWt97FwdRow_16s_c(const Kep16s* x, Kep16s* lo, Kep16s* hi, int w, bool odd) { fixedRow<Fixed16>(x, lo, hi, w, odd); }
void ownWt97FwdRow_32s_c(const Kep32s* x, Kep32s* lo, Kep32s* hi, int w, bool odd) { fixedRow<Fixed32>(x, lo, hi, w, odd); }

void ownWt97InvRow_32f_c(const Kep32f* lo, const Kep32f* hi, Kep32f* x, int w, bool odd) {
    ownWt97InvLine<OwnWt97InvFloat<OwnWt97Scalar>>(lo, sizeof(Kep32f), hi, sizeof(Kep32f), x, sizeof(Kep32f), w, odd);
}
void ownWt97InvRow_16s_c(const Kep16s* lo, const Kep16s* hi, Kep16s* x, int w, bool odd) {
    ownWt97InvLine<Inv16>(lo, sizeof(Kep16s), hi, sizeof(Kep16s), x, sizeof(Kep16s), w, odd);
}
void ownWt97InvRow_32s_c(const Kep32s* lo, const Kep32s* hi, Kep32s* x, int w, bool odd) {
    ownWt97InvLine<Inv32>(lo, sizeof(Kep32s), hi, sizeof(Kep32s), x, sizeof(Kep32s), w, odd);
}

void ownWt97FwdCols_32f_c(const Kep32f* src, int srcStep, Kep32f* lo, int loStep, Kep32f* hi, int hiStep, KepiSize size, int phase) {
    for (int x = 0; x < size.width; ++x)
        ownWt97FwdLine32f<OwnWt97Scalar>(src + x, srcStep, lo + x, loStep, hi + x, hiStep, size.height, phase != 0);
}
void ownWt97InvCols_32f_c(const Kep32f* lo, int loStep, const Kep32f* hi, int hiStep, KepiSize size, Kep32f* dst, int dstStep, int phase) {
    for (int x = 0; x < size.width; ++x)
        ownWt97InvLine<OwnWt97InvFloat<OwnWt97Scalar>>(lo + x, loStep, hi + x, hiStep, dst + x, dstStep, size.height, phase != 0);
}

// ---- Vertical lifting stages over whole rows ------------------------------------------------

namespace {

constexpr Kep32f kFloatSteps[4] = {kWt97Alpha, kWt97Beta, kWt97Gamma, kWt97Delta};

// One policy per element type: a forward step, its undoing, the gains and their undoing.
struct LiftF {
    using T = Kep32f;
    static T fwd(T c, T l, T r, int k) { return (l + r) * kFloatSteps[k] + c; }
    static T inv(T c, T l, T r, int k) { return (l + r) * -kFloatSteps[k] + c; }
    static T gainLow(T v) { return v * kWt97LowGain; }
    static T gainHigh(T v) { return v * kWt97HighGain; }
    static T ungainLow(T v) { return v * kWt97HighGain; }
    static T ungainHigh(T v) { return v * kWt97LowGain; }
};
struct Lift16 {
    using T = Kep16s;
    static T fwd(T c, T l, T r, int k) { return static_cast<T>(Fixed16::upd(c, l, r, kSteps[k])); }
    static T inv(T c, T l, T r, int k) { return static_cast<T>(Inv16::undo(c, l, r, k)); }
    static T gainLow(T v) { return Fixed16::lowGain(v); }
    static T gainHigh(T v) { return Fixed16::highGain(v); }
    static T ungainLow(T v) { return static_cast<T>(Inv16::lowIn(v)); }
    static T ungainHigh(T v) { return static_cast<T>(Inv16::highIn(v)); }
};
struct Lift32 {
    using T = Kep32s;
    static T fwd(T c, T l, T r, int k) { return Fixed32::upd(c, l, r, kSteps[k]); }
    static T inv(T c, T l, T r, int k) { return Inv32::undo(c, l, r, k); }
    static T gainLow(T v) { return Fixed32::lowGain(v); }
    static T gainHigh(T v) { return Fixed32::highGain(v); }
    static T ungainLow(T v) { return Inv32::lowIn(v); }
    static T ungainHigh(T v) { return Inv32::highIn(v); }
};

template <typename P, typename T = typename P::T>
void fwdLift(const T* x0, const T* x1, const T* x2, T* l0, const T* hPrev, T* h0, int width, int stage) {
    if (stage == 2) {
        for (int i = 0; i < width; ++i) {
            l0[i] = P::gainLow(l0[i]);
            h0[i] = P::gainHigh(h0[i]);
        }
        return;
    }
    const int k = 2 * stage;  // alpha/beta or gamma/delta
    for (int i = 0; i < width; ++i) {
        const T h = P::fwd(x1[i], x0[i], x2[i], k);
        l0[i] = P::fwd(x0[i], hPrev[i], h, k + 1);
        h0[i] = h;
    }
}

template <typename P, typename T = typename P::T>
void invLift(const T* l1, const T* h0, const T* h1, const T* x0, T* x1, T* x2, int width, int stage) {
    if (stage == 2) {
        for (int i = 0; i < width; ++i) {
            const T h = P::ungainHigh(h0[i]), l = P::ungainLow(l1[i]);
            x1[i] = h;
            x2[i] = l;
        }
        return;
    }
    const int k = 2 * stage;
    for (int i = 0; i < width; ++i) {
        const T hk = h0[i];
        const T e = P::inv(l1[i], hk, h1[i], k + 1);
        x1[i] = P::inv(hk, x0[i], e, k);
        x2[i] = e;
    }
}

}  // namespace

void ownWt97FwdLift_32f_c(const Kep32f* x0, const Kep32f* x1, const Kep32f* x2, Kep32f* l0, const Kep32f* hPrev, Kep32f* h0, int width, int stage) {
    fwdLift<LiftF>(x0, x1, x2, l0, hPrev, h0, width, stage);
}
void ownWt97FwdLift_16s_c(const Kep16s* x0, const Kep16s* x1, const Kep16s* x2, Kep16s* l0, const Kep16s* hPrev, Kep16s* h0, int width, int stage) {
    fwdLift<Lift16>(x0, x1, x2, l0, hPrev, h0, width, stage);
}
void ownWt97FwdLift_32s_c(const Kep32s* x0, const Kep32s* x1, const Kep32s* x2, Kep32s* l0, const Kep32s* hPrev, Kep32s* h0, int width, int stage) {
    fwdLift<Lift32>(x0, x1, x2, l0, hPrev, h0, width, stage);
}
void ownWt97InvLift_32f_c(const Kep32f* l1, const Kep32f* h0, const Kep32f* h1, const Kep32f* x0, Kep32f* x1, Kep32f* x2, int width, int stage) {
    invLift<LiftF>(l1, h0, h1, x0, x1, x2, width, stage);
}
void ownWt97InvLift_16s_c(const Kep16s* l1, const Kep16s* h0, const Kep16s* h1, const Kep16s* x0, Kep16s* x1, Kep16s* x2, int width, int stage) {
    invLift<Lift16>(l1, h0, h1, x0, x1, x2, width, stage);
}
void ownWt97InvLift_32s_c(const Kep32s* l1, const Kep32s* h0, const Kep32s* h1, const Kep32s* x0, Kep32s* x1, Kep32s* x2, int width, int stage) {
    invLift<Lift32>(l1, h0, h1, x0, x1, x2, width, stage);
}
