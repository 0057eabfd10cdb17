// The probability-estimation table of the MQ coder (ITU-T T.800 Table C.2) and the initial
// states of the 19 code-block coding contexts (T.800 Table D.7).

#include "pj2mq.h"

extern "C" {

// Qe, NMPS, NLPS, SWITCH. State numbers are row indices.
const Kep32u owniEstimator_JPEG2K[47][4] = {OWN_MQ_ESTIMATOR_ROWS};

// Context 0: uniform (state 46); 1: run-length (state 3); 2: significance with no significant
// neighbour (state 4); the rest start in state 0. Every MPS sense starts at 0.
const Kep32s owniInitialCtxIndexes_JPEG2K[OWN_MQ_CONTEXTS] = {46, 3, 4, 0, 0, 0, 0, 0, 0, 0,
                                                              0,  0, 0, 0, 0, 0, 0, 0, 0};
const Kep32s owniInitialMPS_JPEG2K[OWN_MQ_CONTEXTS] = {0};

}  // extern "C"
