// The partition of a tile-component into resolutions, sub-bands, precincts and code-blocks
// (ITU-T T.800 B.5 to B.7), one axis at a time: every rule is separable, so each function maps
// a span [a, b) of one axis on the reference or band grid to another.
#pragma once

#include <algorithm>
#include <cstdint>

namespace kepj2k {

struct Span {
    int a = 0, b = 0;
    int size() const { return b > a ? b - a : 0; }
};

inline int ceilShift(std::int64_t v, int s) { return int((v + (std::int64_t(1) << s) - 1) >> s); }

// Resolution r of nl (T.800 B-14): the tile-component span scaled down by 2^(nl - r).
inline Span resolutionSpan(Span tc, int nl, int r) { return {ceilShift(tc.a, nl - r), ceilShift(tc.b, nl - r)}; }

// A sub-band of decomposition level n along an axis where it is high-pass or low-pass (B-15).
inline Span bandSpan(Span tc, int n, bool high) {
    const std::int64_t off = high && n > 0 ? std::int64_t(1) << (n - 1) : 0;
    return {ceilShift(tc.a - off, n), ceilShift(tc.b - off, n)};
}

// Where a high-pass band starts in the in-place wavelet plane: after the low-pass extent of its
// level (0 for a low-pass band).
inline int planeOffset(Span tc, int n, bool high) { return high ? bandSpan(tc, n, false).size() : 0; }

// Cells of size 2^e anchored at 0 that meet a span: indices [a, b); empty for an empty span.
inline Span cells(Span s, int e) { return s.size() ? Span{s.a >> e, ceilShift(s.b, e)} : Span{}; }

// Cell k of size 2^e, clipped to the span.
inline Span cellSpan(Span s, int e, int k) {
    return {int(std::max<std::int64_t>(s.a, std::int64_t(k) << e)), int(std::min<std::int64_t>(s.b, (std::int64_t(k) + 1) << e))};
}

// The cells of size 2^small (code-blocks, grid g) inside cell k of size 2^big (a precinct, big >=
// small), as indices relative to g.a; empty when they do not meet.
inline Span cellsInside(Span g, int big, int k, int small) {
    const std::int64_t first = (std::int64_t(k) << big) >> small, last = ((std::int64_t(k) + 1) << big) >> small;
    const int a = int(std::max<std::int64_t>(g.a, first)), b = int(std::min<std::int64_t>(g.b, last));
    return b > a ? Span{a - g.a, b - g.a} : Span{};
}

}  // namespace kepj2k
