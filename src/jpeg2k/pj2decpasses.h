// The passes of the code-block decoder in the form written for speed (pj2fastpasses.h).
#ifndef KEP_PJ2DECPASSES_H
#define KEP_PJ2DECPASSES_H

#include "pj2mq.h"
#include "pj2passes.h"

enum { OWN_DEC_CLEANUP = 0, OWN_DEC_REFINE = 1, OWN_DEC_SIGPROP = 2 };

// One MQ-coded pass of kind OWN_DEC_... over the code-block b in bit plane bp, with the style
// flags OWN_CB_VCAUSAL, OWN_CB_RESET and (cleanup) OWN_CB_SEGSYM. The decoder record d, its
// contexts included, ends exactly as the generic pass leaves it. Returns 1 for a wrong
// segmentation symbol, else 0.
KEP_HIDDEN int ownDecodePassMQ(const OwnCBPlane& b, OwnMQDecoder* d, int kind, int bp, int flags);
// The raw form (OWN_DEC_REFINE or OWN_DEC_SIGPROP) with the raw reader r, flag OWN_CB_VCAUSAL;
// returns 0.
KEP_HIDDEN int ownDecodePassRaw(const OwnCBPlane& b, OwnRawReader* r, int kind, int bp, int flags);

#endif  // KEP_PJ2DECPASSES_H
