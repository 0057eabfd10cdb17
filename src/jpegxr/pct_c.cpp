// Plain C photo core transform: one 4x4 block at a time, strips of four rows from the top, each
// strip from left to right. Elements are read and written through memcpy, so any byte address
// and any step are well defined. Built without auto-vectorisation: this is the reference the
// SSSE3 kernels are checked and measured against.

#include "pct.h"
#include "pctsteps.h"

namespace {

// 32-bit two's complement arithmetic, wrapping instead of overflowing (formed in unsigned), with
// arithmetic right shifts. Wrap16 selects the 16s element store: the low 16 bits, sign-extended.
template <bool Wrap16>
struct IntOps {
    using V = Kep32s;
    static V add(V a, V b) { return static_cast<V>(static_cast<Kep32u>(a) + static_cast<Kep32u>(b)); }
    static V sub(V a, V b) { return static_cast<V>(static_cast<Kep32u>(a) - static_cast<Kep32u>(b)); }
    static V neg(V a) { return sub(0, a); }
    static V times3(V x) { return add(add(x, x), x); }
    static V half(V x) { return x >> 1; }
    static V halfUp(V x) { return add(x, 1) >> 1; }
    static V halfR(V x, int r) { return add(x, r) >> 1; }
    static V m3o8a(V x) { return add(times3(x), 4) >> 3; }
    static V m3o8b(V x) { return add(times3(x), 3) >> 3; }
    static V m3o4(V x) { return add(times3(x), 3) >> 2; }
    static V el(V x) { return Wrap16 ? static_cast<Kep16s>(static_cast<Kep16u>(x)) : x; }
};

struct FloatOps {
    using V = Kep32f;
    static V add(V a, V b) { return a + b; }
    static V sub(V a, V b) { return a - b; }
    static V neg(V a) { return -a; }
    static V half(V x) { return 0.5f * x; }
    static V halfUp(V x) { return 0.5f * x; }
    static V halfR(V x, int) { return 0.5f * x; }
    static V m3o8a(V x) { return 0.375f * x; }
    static V m3o8b(V x) { return 0.375f * x; }
    static V m3o4(V x) { return 0.75f * x; }
    static V el(V x) { return x; }
};

template <typename T> struct OpsOf;
template <> struct OpsOf<Kep16s> { using type = IntOps<true>; };
template <> struct OpsOf<Kep32s> { using type = IntOps<false>; };
template <> struct OpsOf<Kep32f> { using type = FloatOps; };

template <typename T, bool Forward>
void region(T* p, Kep32u step, int blocksX, int blocksY) {
    using O = typename OpsOf<T>::type;
    using V = typename O::V;
    Kep8u* const base = reinterpret_cast<Kep8u*>(p);
    for (int by = 0; by < blocksY; ++by) {
        for (int bx = 0; bx < blocksX; ++bx) {
            Kep8u* const blk = base + static_cast<size_t>(by) * 4 * step + static_cast<size_t>(bx) * 4 * sizeof(T);
            V a[16];
            for (int i = 0; i < 16; ++i) {
                T t;
                memcpy(&t, blk + static_cast<size_t>(i >> 2) * step + (i & 3) * sizeof(T), sizeof t);
                a[i] = t;
            }
            if (Forward) pct::forward<O>(a);
            else pct::inverse<O>(a);
            for (int i = 0; i < 16; ++i) {
                const T t = static_cast<T>(a[i]);  // 16s: el() has already reduced to 16 bits
                memcpy(blk + static_cast<size_t>(i >> 2) * step + (i & 3) * sizeof(T), &t, sizeof t);
            }
        }
    }
}

}  // namespace

KEP_PCT_DEFINE_KERNELS(c)
