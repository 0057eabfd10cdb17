// The significance context-label tables of ITU-T T.800 Table D.1, one per subband orientation,
// indexed by the 8-bit neighbour pattern of pj2passes.h and holding the MQ context (label + 2).

#include "pj2passes.h"

namespace {

enum Orientation { kLxHy, kHxLy, kHxHy };

constexpr unsigned bitsSet(unsigned v) { return (v & 1) + ((v >> 1) & 1); }

// h: significant horizontal neighbours (0..2), v: vertical (0..2), d: diagonal (0..4).
constexpr Kep32u label(Orientation o, unsigned h, unsigned v, unsigned d) {
    if (o == kHxLy) {  // HL: the roles of the horizontal and vertical neighbours swap
        const unsigned t = h;
        h = v;
        v = t;
    }
    if (o == kHxHy) {
        const unsigned hv = h + v;
        if (d >= 3) return 8;
        if (d == 2) return hv >= 1 ? 7 : 6;
        if (d == 1) return hv >= 2 ? 5 : (hv == 1 ? 4 : 3);
        return hv >= 2 ? 2 : hv;
    }
    if (h == 2) return 8;
    if (h == 1) return v >= 1 ? 7 : (d >= 1 ? 6 : 5);
    if (v == 2) return 4;
    if (v == 1) return 3;
    return d >= 2 ? 2 : d;
}

constexpr OwnZeroCodingLUT makeTable(Orientation o) {
    OwnZeroCodingLUT t{};
    for (unsigned p = 0; p < 256; ++p) {
        const unsigned h = bitsSet(p & 3), v = bitsSet((p >> 2) & 3);
        const unsigned d = bitsSet((p >> 4) & 3) + bitsSet((p >> 6) & 3);
        t.v[p] = label(o, h, v, d) + 2;
    }
    return t;
}

}  // namespace

constexpr OwnZeroCodingLUT owniZeroCodingLUT_LxHy = makeTable(kLxHy);
constexpr OwnZeroCodingLUT owniZeroCodingLUT_HxLy = makeTable(kHxLy);
constexpr OwnZeroCodingLUT owniZeroCodingLUT_HxHy = makeTable(kHxHy);
