// SSSE3 9/7 forward rows (float): the chunked lifting of wt97.h with four lanes per step. Each
// lane performs exactly the scalar operations, (a + b) * c + d, in the same order.

#include <tmmintrin.h>

#include "wt97.h"

namespace {

struct SseOps {
    static void split(const Kep32f* b, int count, Kep32f* e, Kep32f* o) {
        int i = 0;
        for (; i + 8 <= count; i += 8) {
            const __m128 v0 = _mm_loadu_ps(b + i), v1 = _mm_loadu_ps(b + i + 4);
            _mm_storeu_ps(e + i / 2, _mm_shuffle_ps(v0, v1, _MM_SHUFFLE(2, 0, 2, 0)));
            _mm_storeu_ps(o + i / 2, _mm_shuffle_ps(v0, v1, _MM_SHUFFLE(3, 1, 3, 1)));
        }
        for (; i < count; ++i) {
            if (i & 1) o[i / 2] = b[i];
            else e[i / 2] = b[i];
        }
    }
    static void lift(Kep32f* d, const Kep32f* a, const Kep32f* b, int n, Kep32f c, Kep32f* out = nullptr, Kep32f gain = 0, bool keep = true) {
        const __m128 vc = _mm_set1_ps(c), vg = _mm_set1_ps(gain);
        int j = 0;
        for (; j + 4 <= n; j += 4) {
            const __m128 t = _mm_add_ps(_mm_mul_ps(_mm_add_ps(_mm_loadu_ps(a + j), _mm_loadu_ps(b + j)), vc), _mm_loadu_ps(d + j));
            if (out) _mm_storeu_ps(out + j, _mm_mul_ps(t, vg));
            if (keep) _mm_storeu_ps(d + j, t);
        }
        for (; j < n; ++j) {
            const Kep32f t = (a[j] + b[j]) * c + d[j];
            if (out) out[j] = t * gain;
            if (keep) d[j] = t;
        }
    }
};

// Four adjacent columns.
struct Lane4 {
    using V = __m128;
    static V load(const void* p) { return _mm_loadu_ps(static_cast<const float*>(p)); }
    static void store(void* p, V v) { _mm_storeu_ps(static_cast<float*>(p), v); }
    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V mul(V a, V b) { return _mm_mul_ps(a, b); }
    static V set1(Kep32f c) { return _mm_set1_ps(c); }
};

}  // namespace

void ownWt97FwdRow_32f_ssse3(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd) {
    if (w == 1) ownWt97FwdLine32f<OwnWt97Scalar>(x, 4, lo, 4, hi, 4, 1, odd);
    else ownWt97FwdRowChunks32f<SseOps>(x, lo, hi, w, odd);
}

void ownWt97FwdCols_32f_ssse3(const Kep32f* src, int srcStep, Kep32f* lo, int loStep, Kep32f* hi, int hiStep, KepiSize size, int phase) {
    int x = 0;
    for (; x + 4 <= size.width; x += 4) ownWt97FwdLine32f<Lane4>(src + x, srcStep, lo + x, loStep, hi + x, hiStep, size.height, phase != 0);
    for (; x < size.width; ++x) ownWt97FwdLine32f<OwnWt97Scalar>(src + x, srcStep, lo + x, loStep, hi + x, hiStep, size.height, phase != 0);
}
void ownWt97InvCols_32f_ssse3(const Kep32f* lo, int loStep, const Kep32f* hi, int hiStep, KepiSize size, Kep32f* dst, int dstStep, int phase) {
    int x = 0;
    for (; x + 4 <= size.width; x += 4)
        ownWt97InvLine<OwnWt97InvFloat<Lane4>>(lo + x, loStep, hi + x, hiStep, dst + x, dstStep, size.height, phase != 0);
    for (; x < size.width; ++x)
        ownWt97InvLine<OwnWt97InvFloat<OwnWt97Scalar>>(lo + x, loStep, hi + x, hiStep, dst + x, dstStep, size.height, phase != 0);
}
