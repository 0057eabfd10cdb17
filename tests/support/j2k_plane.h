// Small helpers for the JPEG 2000 transform tests: typed planes with byte steps, and the export
// signatures of the 5/3 and 9/7 families gathered per element type so that one test body runs
// for 16s and 32s.
#ifndef J2K_PLANE_H
#define J2K_PLANE_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "kepcheck_data.h"
#include "kepjx1.h"

namespace j2ktest {

// A w x h plane with a row step of `pad` extra elements, filled with a guard value.
template <typename T>
struct Plane {
    int w, h, stride;
    std::vector<T> v;
    Plane(int w_, int h_, int pad = 3, T fill = T(0x5A5A)) : w(w_), h(h_), stride(w_ + pad), v(static_cast<size_t>((w_ + pad) * (h_ > 0 ? h_ : 1)), fill) {}
    T* data() { return v.data(); }
    T* row(int y) { return v.data() + static_cast<size_t>(y) * stride; }
    T& at(int x, int y) { return v[static_cast<size_t>(y) * stride + x]; }
    int step() const { return stride * static_cast<int>(sizeof(T)); }
};

template <typename T>
void fillRandom(kepcheck::Rng& rng, Plane<T>& p, int64_t lo, int64_t hi) {
    for (int y = 0; y < p.h; ++y)
        for (int x = 0; x < p.w; ++x) p.at(x, y) = static_cast<T>(rng.range(lo, hi));
}

template <typename T> struct Wt53Api;
#define J2K_WT53_API(T, t)                                                                      \
    template <> struct Wt53Api<T> {                                                             \
        static constexpr auto fwdRow = kepiWTFwdRow_B53_JPEG2K_##t##_C1R;                       \
        static constexpr auto invRow = kepiWTInvRow_B53_JPEG2K_##t##_C1R;                       \
        static constexpr auto fwdCol = kepiWTFwdCol_B53_JPEG2K_##t##_C1R;                       \
        static constexpr auto invCol = kepiWTInvCol_B53_JPEG2K_##t##_C1R;                       \
        static constexpr auto fwdLift = kepiWTFwdColLift_B53_JPEG2K_##t##_C1;                   \
        static constexpr auto invLift = kepiWTInvColLift_B53_JPEG2K_##t##_C1;                   \
        static constexpr auto fwd = kepiWTFwd_B53_JPEG2K_##t##_C1R;                             \
        static constexpr auto fwdI = kepiWTFwd_B53_JPEG2K_##t##_C1IR;                           \
        static constexpr auto inv = kepiWTInv_B53_JPEG2K_##t##_C1R;                             \
        static constexpr auto invI = kepiWTInv_B53_JPEG2K_##t##_C1IR;                           \
        static constexpr auto size = kepiWTGetBufSize_B53_JPEG2K_##t##_C1R;                     \
        static constexpr auto sizeI = kepiWTGetBufSize_B53_JPEG2K_##t##_C1IR;                   \
    };
J2K_WT53_API(Kep16s, 16s)
J2K_WT53_API(Kep32s, 32s)
#undef J2K_WT53_API

// Scratch of the size the library asks for (at least one byte, so that it is never null).
template <typename T>
std::vector<Kep8u> scratch(const KepiRect& r, bool inPlace) {
    int bytes = -1;
    (inPlace ? Wt53Api<T>::sizeI : Wt53Api<T>::size)(&r, &bytes);
    return std::vector<Kep8u>(static_cast<size_t>(bytes > 0 ? bytes : 1));
}

// Whole-sample symmetric extension of a line: the sample at any index of the signal x.
inline size_t mirror(long i, size_t n) {
    if (n == 1) return 0;
    const long period = 2 * (static_cast<long>(n) - 1);
    long m = i % period;
    if (m < 0) m += period;
    return static_cast<size_t>(m < period - m ? m : period - m);
}

}  // namespace j2ktest

#endif  // J2K_PLANE_H
