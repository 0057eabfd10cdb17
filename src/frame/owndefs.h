// Internal definitions shared by every source file of the library: visibility, element access
// helpers and saturation. Nothing here is exported.
#ifndef KEP_OWNDEFS_H
#define KEP_OWNDEFS_H

#include <stdint.h>
#include <string.h>

#include "keptypes.h"

#define KEP_HIDDEN __attribute__((visibility("hidden")))

// Saturating conversions.
static inline Kep16s ownSat16s(Kep32s v) {
    return static_cast<Kep16s>(v < -32768 ? -32768 : (v > 32767 ? 32767 : v));
}
static inline Kep8u ownSat8u(Kep32s v) {
    return static_cast<Kep8u>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// Element access at any byte address. The odd-address fallbacks of the 16-bit kernels read and
// write through these, so that they are well defined whatever the alignment.
static inline Kep16s ownLoad16s(const void* p) {
    Kep16s v;
    memcpy(&v, p, sizeof v);
    return v;
}
static inline Kep16u ownLoad16u(const void* p) {
    Kep16u v;
    memcpy(&v, p, sizeof v);
    return v;
}
static inline void ownStore16s(void* p, Kep16s v) { memcpy(p, &v, sizeof v); }

// True when every pointer given is a multiple of `align` bytes.
template <typename... P>
static inline bool ownAllAligned(uintptr_t align, const P*... p) {
    const uintptr_t bits = (reinterpret_cast<uintptr_t>(p) | ...);
    return (bits & (align - 1)) == 0;
}

#endif  // KEP_OWNDEFS_H
