// The inverse colour tables, indexed by a chroma sample i (c = i - 128), with the multipliers
// round(65536 w) for 1.402, 1.772, 0.71414 and 0.34414:
//   cr_r_tbl[i] = (91881 c + 32768) >> 16      cb_b_tbl[i] = (116130 c + 32768) >> 16
//   cr_g_tbl[i] = -46802 c                     cb_g_tbl[i] = -22554 c + 32768
// (arithmetic shifts). The green pair stays in 16-bit fixed point: G = Y + ((cb_g + cr_g) >> 16),
// so its two products are rounded once, together. Computed at compile time, read-only data.

#include "colour.h"

namespace {

constexpr OwnCcInvTable make(Kep32s mul, Kep32s add, int shift) {
    OwnCcInvTable t{};
    for (int i = 0; i < 256; ++i) {
        const Kep32s p = mul * (i - 128) + add;
        // Floor division by 2^shift, spelled out so that it is not implementation-defined.
        t.v[i] = shift ? (p >= 0 ? p >> shift : -((-p + (1 << shift) - 1) >> shift)) : p;
    }
    return t;
}

}  // namespace

constexpr OwnCcInvTable cr_r_tbl = make(91881, 32768, 16);
constexpr OwnCcInvTable cb_b_tbl = make(116130, 32768, 16);
constexpr OwnCcInvTable cr_g_tbl = make(-46802, 0, 0);
constexpr OwnCcInvTable cb_g_tbl = make(-22554, 32768, 0);
