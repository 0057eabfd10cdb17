// Splitting 16-bit rows into byte planes and joining them back. Plain C references
// (rowsplit_c.cpp, one sample at a time, any address) beside SSSE3 kernels (rowsplit_ssse3.cpp,
// eight samples per step, then the tail one sample at a time); bit-identical.
#ifndef KEP_ROWSPLIT_H
#define KEP_ROWSPLIT_H

#include "owndefs.h"

// hi[i] = sample i >> 8, lo[i] = sample i & 0xFF; samples little-endian at src.
KEP_HIDDEN void ownSplitRow_c(const Kep8u* src, Kep8u* hi, Kep8u* lo, int len);
KEP_HIDDEN void ownSplitRow_ssse3(const Kep8u* src, Kep8u* hi, Kep8u* lo, int len);
// sample i = hi[i] * 256 + lo[i], stored little-endian at dst.
KEP_HIDDEN void ownJoinRow_c(const Kep8u* hi, const Kep8u* lo, Kep8u* dst, int len);
KEP_HIDDEN void ownJoinRow_ssse3(const Kep8u* hi, const Kep8u* lo, Kep8u* dst, int len);

#endif  // KEP_ROWSPLIT_H
