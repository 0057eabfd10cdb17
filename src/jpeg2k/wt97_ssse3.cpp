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
        for (; i < count; ++i) (i & 1 ? o : e)[i / 2] = b[i];
    }
    static void lift(Kep32f* d, const Kep32f* a, const Kep32f* b, int n, Kep32f c) {
        const __m128 vc = _mm_set1_ps(c);
        int j = 0;
        for (; j + 4 <= n; j += 4)
            _mm_storeu_ps(d + j, _mm_add_ps(_mm_mul_ps(_mm_add_ps(_mm_loadu_ps(a + j), _mm_loadu_ps(b + j)), vc), _mm_loadu_ps(d + j)));
        for (; j < n; ++j) d[j] = (a[j] + b[j]) * c + d[j];
    }
    static void scale(Kep32f* out, const Kep32f* in, int n, Kep32f c) {
        const __m128 vc = _mm_set1_ps(c);
        int k = 0;
        for (; k + 4 <= n; k += 4) _mm_storeu_ps(out + k, _mm_mul_ps(_mm_loadu_ps(in + k), vc));
        for (; k < n; ++k) out[k] = in[k] * c;
    }
};

}  // namespace

void ownWt97FwdRow_32f_ssse3(const Kep32f* x, Kep32f* lo, Kep32f* hi, int w, bool odd) {
    if (w == 1) ownWt97FwdRow1_32f(x, lo, hi, odd);
    else ownWt97FwdRowChunks32f<SseOps>(x, lo, hi, w, odd);
}
