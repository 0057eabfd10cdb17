// Prototypes of the export implementations and the dispatch tables, generated from pjexports.inc.
//
// Each implementation is declared with the type of its public prototype (decltype of the
// declaration in kepjx1.h), so an implementation whose parameters drift from the header is a
// different overload and fails to link instead of being called with the wrong arguments.
#ifndef KEP_PJDISPATCH_H
#define KEP_PJDISPATCH_H

#include "kepjx1.h"
#include "owndefs.h"

#define KEP_EXPORT(name) KEP_HIDDEN decltype(::name) own_##name;
#define KEP_EXPORT_PER_SLOT(name) \
    KEP_HIDDEN decltype(::name) own_##name##_x1; \
    KEP_HIDDEN decltype(::name) own_##name##_x2;
#include "pjexports.inc"
#undef KEP_EXPORT
#undef KEP_EXPORT_PER_SLOT

extern "C" {
// The code path chosen at load time: 0 (SSSE3, "x1") or 1 (SSSE3 and MOVBE, "x2"). Written once
// by the load-time initializer, read by every stub.
extern KEP_HIDDEN int ownDispatchIndex;

// ownTbl_<name>[slot]: the implementation each stub jumps to.
#define KEP_EXPORT(name) extern KEP_HIDDEN decltype(&::name) const ownTbl_##name[2];
#define KEP_EXPORT_PER_SLOT(name) KEP_EXPORT(name)
#include "pjexports.inc"
#undef KEP_EXPORT
#undef KEP_EXPORT_PER_SLOT
}

#endif  // KEP_PJDISPATCH_H
