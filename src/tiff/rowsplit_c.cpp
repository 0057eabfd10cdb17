// Plain C row split and join, one sample at a time.

#include "rowsplit.h"

void ownSplitRow_c(const Kep8u* src, Kep8u* hi, Kep8u* lo, int len) {
    for (int i = 0; i < len; ++i) {
        const Kep16u v = ownLoad16u(src + 2 * static_cast<size_t>(i));
        hi[i] = static_cast<Kep8u>(v >> 8);
        lo[i] = static_cast<Kep8u>(v & 0xFF);
    }
}

void ownJoinRow_c(const Kep8u* hi, const Kep8u* lo, Kep8u* dst, int len) {
    for (int i = 0; i < len; ++i) {
        const Kep16u v = static_cast<Kep16u>(hi[i] * 256 + lo[i]);
        memcpy(dst + 2 * static_cast<size_t>(i), &v, sizeof v);
    }
}
