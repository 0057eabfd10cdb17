// Inverse photo core transform: the ROI form and the 8x8, 8x16 and 16x16 macroblock forms for
// 16s, 32s and 32f, each checking its arguments and then running the SSSE3 kernel.

#include "pct.h"
#include "pjdispatch.h"

KEP_PCT_EXPORTS(Inv)
