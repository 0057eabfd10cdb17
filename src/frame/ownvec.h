// Internal vector helpers shared by several primitive families.
#ifndef KEP_OWNVEC_H
#define KEP_OWNVEC_H

#include "owndefs.h"

// Replaces each of the len values x by the reciprocal dividend / x rounded to nearest (halves
// up), saturated to 65535; a zero x becomes 65535. Returns true when some x was zero: the
// callers report that as kepWarnDivByZero after the whole vector is written.
KEP_HIDDEN bool ownDivCRev_16u_I(Kep32u dividend, Kep16u* pSrcDst, int len);

#endif  // KEP_OWNVEC_H
