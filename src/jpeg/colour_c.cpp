// Plain C colour conversion and resampling kernels: the reference arithmetic, one pixel or one
// sample at a time (built without auto-vectorisation).

#include "colour.h"

namespace {

template <int S>
void fwd(const void* const* src, Kep8u* const* dst, int width) { ownCcFwdPixels<S, false>(src, dst, 0, width); }
template <int S>
void luma(const void* const* src, Kep8u* const* dst, int width) { ownCcFwdPixels<S, true>(src, dst, 0, width); }
template <int D>
void inv(const Kep8u* const* src, void* const* dst, int width, Kep8u alpha) { ownCcInvPixels<D>(src, dst, 0, width, alpha); }

void downPlane21(const Kep8u* s, Kep8u* d, int dw) {
    for (int j = 0; j < dw; ++j) d[j] = static_cast<Kep8u>((s[2 * j] + s[2 * j + 1] + 1) >> 1);
}
void downPlane22(const Kep8u* u, const Kep8u* l, Kep8u* d, int dw) {
    for (int j = 0; j < dw; ++j)
        d[j] = static_cast<Kep8u>((u[2 * j] + u[2 * j + 1] + l[2 * j] + l[2 * j + 1] + 3) >> 2);
}
void downRow21(const Kep8u* s, int width, Kep8u* d) {
    for (int j = 0; j < width / 2; ++j) d[j] = static_cast<Kep8u>((s[2 * j] + s[2 * j + 1] + (j & 1)) >> 1);
}
void downRow22(const Kep8u* u, const Kep8u* l, int width, Kep8u* d) {
    for (int j = 0; j < (width + 1) / 2; ++j) {
        const int a = 2 * j, b = 2 * j + 1 < width ? 2 * j + 1 : 2 * j;
        d[j] = static_cast<Kep8u>((u[a] + u[b] + l[a] + l[b] + 1 + (j & 1)) >> 2);
    }
}
void upPlane21(const Kep8u* s, Kep8u* d, int dw) {
    for (int j = 0; j < dw; ++j) d[j] = ownUpPlane21At(s, j);
}
void upPlane22(const Kep8u* p, const Kep8u* q, Kep8u* d, int dw) {
    for (int j = 0; j < dw; ++j) d[j] = ownUpPlane22At(p, q, j);
}
void upRow21(const Kep8u* s, int n, int j0, int j1, Kep8u* d) {
    for (int j = j0; j < j1; ++j) d[j - j0] = ownUp21At(s, n, j);
}
void upRow22(const Kep8u* p, const Kep8u* q, int n, int j0, int j1, Kep8u* d) {
    for (int j = j0; j < j1; ++j) d[j - j0] = ownUp22At(p, q, n, j);
}

void toBlock(const Kep8u* s, int stride, Kep16s* blk) {
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) blk[8 * r + c] = static_cast<Kep16s>(s[r * stride + c] - 128);
}
void fromBlock(const Kep16s* blk, Kep8u* d, int stride) {
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) d[r * stride + c] = ownSat8u(blk[8 * r + c] + 128);
}
void replicate2(const Kep8u* s, Kep8u* d, int n) {
    for (int i = 0; i < n; ++i) d[2 * i] = d[2 * i + 1] = s[i];
}

}  // namespace

const OwnCcKernels ownCcKernels_c = OWN_CC_KERNEL_SET;
