// Plain C 5/3 wavelet: the references the SSSE3 kernels are checked against. The whole-tile
// procedure follows T.800 F.3 / F.4 literally: each line is copied into the buffer two samples
// in, extended by mirror (x[-k] = x[k], x[n-1+k] = x[n-1-k]), lifted in place and copied back.

#include "wt53.h"

namespace {

template <typename T>
T* rowAt(T* p, int step, ptrdiff_t r) { return reinterpret_cast<T*>(ownAt(p, step, r)); }
template <typename T>
const T* rowAt(const T* p, int step, ptrdiff_t r) { return reinterpret_cast<const T*>(ownAt(p, step, r)); }

// Forward lifting of one extended line held in b[-2 .. n+1] (b points at the line's first
// sample), parity par of its first sample; leaves the interleaved result in b[0 .. n-1].
template <typename T>
void fwdLifted(T* b, int n, int par) {
    using A = OwnWt53Scalar<T>;
    // The high-pass sample just left of the first low-pass one.
    const int m = par - 1;  // -1 when the line starts even, 0 when it starts odd
    b[m] = A::pred(b[m], b[m - 1], b[m + 1]);
    int nPos = par;  // first low-pass position
    for (int pairs = (n - par + 1) / 2; pairs > 0; --pairs, nPos += 2) {
        const T d = A::pred(b[nPos + 1], b[nPos], b[nPos + 2]);
        b[nPos] = A::upd(b[nPos], b[nPos - 1], d);
        b[nPos + 1] = d;
    }
}

// Inverse lifting of one interleaved extended line in b[-2 .. n+1].
template <typename T>
void invLifted(T* b, int n, int par) {
    using A = OwnWt53Scalar<T>;
    const int m = par ? -1 : 0;  // the first even-position sample
    b[m] = A::unupd(b[m], b[m - 1], b[m + 1]);
    // Walk pairs while the odd sample between the two even ones lies in the line; further pairs
    // would only rebuild extension samples that are not copied back.
    for (int nPos = m; nPos + 1 < n; nPos += 2) {
        b[nPos + 2] = A::unupd(b[nPos + 2], b[nPos + 1], b[nPos + 3]);
        b[nPos + 1] = A::unpred(b[nPos + 1], b[nPos], b[nPos + 2]);
    }
}

// Mirror extension without repeating the edge sample, `left` and `right` samples.
template <typename T>
void mirror(T* b, int n, int left, int right) {
    for (int k = 1; k <= left; ++k) b[-k] = b[k < n ? k : n - 1];
    for (int k = 1; k <= right; ++k) b[n - 1 + k] = b[n - 1 - k >= 0 ? n - 1 - k : 0];
}

// One line of n samples at stride s (bytes), forward. n >= 1.
template <typename T>
void fwdLine(T* line, ptrdiff_t s, int n, int par, T* buf) {
    using A = OwnWt53Scalar<T>;
    auto at = [&](int i) { return ownAt(line, s, i); };
    if (n == 1) {
        A::store(at(0), par ? A::add(A::load(at(0)), A::load(at(0))) : A::load(at(0)));
        return;
    }
    if (n == 2) {
        const T a = A::load(at(par)), b = A::load(at(1 - par));
        const T d = A::sub(b, a);
        A::store(at(1), d);
        A::store(at(0), A::add(a, A::halfUp(d)));
        return;
    }
    T* b = buf + 2;
    for (int i = 0; i < n; ++i) b[i] = A::load(at(i));
    mirror(b, n, 2 - par, ((par + n) & 1) + 1);
    fwdLifted(b, n, par);
    const int nLow = (n + 1 - par) / 2;
    for (int i = 0; i < n; ++i) {
        const bool low = ((i + par) & 1) == 0;
        const int dst = low ? (i - par) / 2 : nLow + (i + par - 1) / 2;
        A::store(at(dst), b[i]);
    }
}

template <typename T>
void invLine(T* line, ptrdiff_t s, int n, int par, T* buf) {
    using A = OwnWt53Scalar<T>;
    auto at = [&](int i) { return ownAt(line, s, i); };
    if (n == 1) {
        if (par) A::store(at(0), static_cast<T>(A::load(at(0)) / 2));  // truncates toward zero
        return;
    }
    if (n == 2) {
        const T l = A::load(at(0)), d = A::load(at(1));
        const T a = A::sub(l, A::halfUp(d));
        A::store(at(par), a);
        A::store(at(1 - par), A::add(d, a));
        return;
    }
    T* b = buf + 2;
    const int nLow = (n + 1 - par) / 2;
    for (int i = 0; i < n; ++i) {
        const bool low = ((i + par) & 1) == 0;
        b[i] = A::load(at(low ? (i - par) / 2 : nLow + (i + par - 1) / 2));
    }
    mirror(b, n, par + 1, 2 - ((par + n) & 1));
    invLifted(b, n, par);
    for (int i = 0; i < n; ++i) A::store(at(i), b[i]);
}

}  // namespace

template <typename T>
void ownWt53FwdRows_c(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase) {
    for (int y = 0; y < size.height; ++y)
        ownWt53FwdLine<OwnWt53Scalar<T>>(rowAt(src, srcStep, y), sizeof(T), rowAt(lo, loStep, y), sizeof(T), rowAt(hi, hiStep, y),
                                         sizeof(T), size.width, phase != 0);
}
template <typename T>
void ownWt53InvRows_c(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase) {
    for (int y = 0; y < size.height; ++y)
        ownWt53InvLine<OwnWt53Scalar<T>>(rowAt(lo, loStep, y), sizeof(T), rowAt(hi, hiStep, y), sizeof(T), rowAt(dst, dstStep, y),
                                         sizeof(T), size.width, phase != 0);
}
template <typename T>
void ownWt53FwdCols_c(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, KepiSize size, int phase) {
    for (int x = 0; x < size.width; ++x)
        ownWt53FwdLine<OwnWt53Scalar<T>>(src + x, srcStep, lo + x, loStep, hi + x, hiStep, size.height, phase != 0);
}
template <typename T>
void ownWt53InvCols_c(const T* lo, int loStep, const T* hi, int hiStep, KepiSize size, T* dst, int dstStep, int phase) {
    for (int x = 0; x < size.width; ++x)
        ownWt53InvLine<OwnWt53Scalar<T>>(lo + x, loStep, hi + x, hiStep, dst + x, dstStep, size.height, phase != 0);
}
template <typename T>
void ownWt53FwdLift_c(const T* x0, const T* x1, const T* x2, T* l0, const T* hPrev, T* h0, int width) {
    ownWt53FwdLift<OwnWt53Scalar<T>>(x0, x1, x2, l0, hPrev, h0, width, sizeof(T));
}
template <typename T>
void ownWt53InvLift_c(const T* l1, const T* h0, const T* h1, const T* x0, T* x1, T* x2, int width) {
    ownWt53InvLift<OwnWt53Scalar<T>>(l1, h0, h1, x0, x1, x2, width, sizeof(T));
}

template <typename T>
void ownWt53FwdTile_c(T* p, int step, int w, int h, int px, int py, Kep8u* buf) {
    T* b = reinterpret_cast<T*>(buf);
    for (int x = 0; x < w; ++x) fwdLine(p + x, step, h, py, b);
    for (int y = 0; y < h; ++y) fwdLine(rowAt(p, step, y), sizeof(T), w, px, b);
}
template <typename T>
void ownWt53InvTile_c(T* p, int step, int w, int h, int px, int py, Kep8u* buf) {
    T* b = reinterpret_cast<T*>(buf);
    for (int y = 0; y < h; ++y) invLine(rowAt(p, step, y), sizeof(T), w, px, b);
    for (int x = 0; x < w; ++x) invLine(p + x, step, h, py, b);
}

#define KEP_WT53_C(T)                                                                                             \
    template void ownWt53FwdRows_c<T>(const T*, int, T*, int, T*, int, KepiSize, int);                           \
    template void ownWt53InvRows_c<T>(const T*, int, const T*, int, KepiSize, T*, int, int);                     \
    template void ownWt53FwdCols_c<T>(const T*, int, T*, int, T*, int, KepiSize, int);                           \
    template void ownWt53InvCols_c<T>(const T*, int, const T*, int, KepiSize, T*, int, int);                     \
    template void ownWt53FwdLift_c<T>(const T*, const T*, const T*, T*, const T*, T*, int);                      \
    template void ownWt53InvLift_c<T>(const T*, const T*, const T*, const T*, T*, T*, int);                      \
    template void ownWt53FwdTile_c<T>(T*, int, int, int, int, int, Kep8u*);                                      \
    template void ownWt53InvTile_c<T>(T*, int, int, int, int, int, Kep8u*);
KEP_WT53_C(Kep16s)
KEP_WT53_C(Kep32s)
