// Whole-tile 9/7 transforms in fixed point (16s, 32s): every line is copied into the scratch
// buffer with its periodic symmetric extension (T.800 F.3.7; 9/7 lines read up to four samples
// on either side, Table F.4), run through the row kernels, and copied back as [low | high]
// (forward) or interleaved (inverse). Vertical pass first when analysing, last when
// synthesising, as for the 5/3 transform.

#include "wt97.h"

namespace {

// Whole-sample mirror of index i into 0 .. n-1 (n >= 2).
inline int mirror(int i, int n) {
    const int period = 2 * (n - 1);
    int m = i % period;
    if (m < 0) m += period;
    return m < period - m ? m : period - m;
}

constexpr int kMargin = 6;  // extension samples kept on each side

template <typename T> struct Kernels;
template <> struct Kernels<Kep16s> {
    static void fwd(const Kep16s* x, Kep16s* lo, Kep16s* hi, int w, bool odd) { ownWt97FwdRow_16s_c(x, lo, hi, w, odd); }
    static void inv(const Kep16s* lo, const Kep16s* hi, Kep16s* x, int w, bool odd) { ownWt97InvRow_16s_c(lo, hi, x, w, odd); }
    static Kep16s twice(Kep16s v) { return ownSat16s(2 * v); }
};
template <> struct Kernels<Kep32s> {
    static void fwd(const Kep32s* x, Kep32s* lo, Kep32s* hi, int w, bool odd) { ownWt97FwdRow_32s_c(x, lo, hi, w, odd); }
    static void inv(const Kep32s* lo, const Kep32s* hi, Kep32s* x, int w, bool odd) { ownWt97InvRow_32s_c(lo, hi, x, w, odd); }
    static Kep32s twice(Kep32s v) { return static_cast<Kep32s>(static_cast<Kep32u>(v) * 2u); }
};

template <typename T>
T get(const T* line, ptrdiff_t s, int i) { T v; memcpy(&v, reinterpret_cast<const Kep8u*>(line) + i * s, sizeof v); return v; }
template <typename T>
void put(T* line, ptrdiff_t s, int i, T v) { memcpy(reinterpret_cast<Kep8u*>(line) + i * s, &v, sizeof v); }

// One line of n samples at stride s (bytes), first sample at parity par.
template <typename T>
void fwdLine(T* line, ptrdiff_t s, int n, int par, T* buf) {
    if (n == 1) {
        if (par) put(line, s, 0, Kernels<T>::twice(get(line, s, 0)));
        return;
    }
    T* x = buf + kMargin;
    for (int i = -kMargin; i < n + kMargin; ++i) x[i] = get(line, s, mirror(i, n));
    const int nL = (n + 1 - par) / 2, nH = n - nL, w = nL > nH ? nL : nH;
    T* lo = x + n + kMargin;
    T* hi = lo + w;
    Kernels<T>::fwd(x, lo, hi, w, par != 0);
    for (int i = 0; i < nL; ++i) put(line, s, i, lo[i]);
    for (int i = 0; i < nH; ++i) put(line, s, nL + i, hi[i]);
}

template <typename T>
void invLine(T* line, ptrdiff_t s, int n, int par, T* buf) {
    if (n == 1) {
        if (par) put(line, s, 0, static_cast<T>(get(line, s, 0) / 2));  // truncates toward zero
        return;
    }
    const int nL = (n + 1 - par) / 2, nH = n - nL, w = nL > nH ? nL : nH;
    // Bands with the extension the symmetric interleaved line gives them: position q holds a
    // low when q + par is even (index (q - par) / 2), else a high (index (q - 1 + par) / 2).
    const int bandLen = w + kMargin;
    T* lo = buf + kMargin / 2;
    T* hi = lo + bandLen + kMargin / 2;
    for (int q = -kMargin; q < n + kMargin; ++q) {
        const int m = mirror(q, n);
        const bool low = ((m + par) & 1) == 0;
        const T v = get(line, s, low ? (m - par) / 2 : nL + (m - 1 + par) / 2);
        if (((q + par) & 1) == 0) lo[(q - par) >> 1] = v;
        else hi[(q - 1 + par) >> 1] = v;
    }
    T* x = hi + bandLen;
    Kernels<T>::inv(lo, hi, x, w, par != 0);
    for (int i = 0; i < n; ++i) put(line, s, i, x[i]);
}

}  // namespace

template <typename T>
void ownWt97FwdTile(T* p, int step, int w, int h, int px, int py, Kep8u* buf) {
    T* b = reinterpret_cast<T*>(buf);
    for (int x = 0; x < w; ++x) fwdLine(p + x, step, h, py, b);
    for (int y = 0; y < h; ++y) fwdLine(reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(p) + static_cast<ptrdiff_t>(y) * step), sizeof(T), w, px, b);
}
template <typename T>
void ownWt97InvTile(T* p, int step, int w, int h, int px, int py, Kep8u* buf) {
    T* b = reinterpret_cast<T*>(buf);
    for (int y = 0; y < h; ++y) invLine(reinterpret_cast<T*>(reinterpret_cast<Kep8u*>(p) + static_cast<ptrdiff_t>(y) * step), sizeof(T), w, px, b);
    for (int x = 0; x < w; ++x) invLine(p + x, step, h, py, b);
}
template void ownWt97FwdTile<Kep16s>(Kep16s*, int, int, int, int, int, Kep8u*);
template void ownWt97FwdTile<Kep32s>(Kep32s*, int, int, int, int, int, Kep8u*);
template void ownWt97InvTile<Kep16s>(Kep16s*, int, int, int, int, int, Kep8u*);
template void ownWt97InvTile<Kep32s>(Kep32s*, int, int, int, int, int, Kep8u*);
