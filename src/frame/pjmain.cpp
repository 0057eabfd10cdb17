// Load-time code-path selection, the dispatch tables and the exported stubs.
//
// Every export is a three-instruction stub generated from pjexports.inc:
//
//     movslq ownDispatchIndex(%rip), %rax     load the slot chosen at load time
//     leaq   ownTbl_<name>(%rip), %r11        address of the export's own two-slot table
//     jmp    *(%r11,%rax,8)                   tail-jump to the implementation
//
// The stub touches neither the stack nor any argument register (RAX and R11 are scratch in the
// SysV ABI and carry no argument of a non-variadic function), so arguments, stack arguments and
// the result pass through unchanged whatever the signature, and at any optimisation level or
// sanitizer setting. Writing the stubs in C++ would leave the tail call to the optimiser.

#include "kepcore.h"
#include "pjdispatch.h"

extern "C" {

int ownDispatchIndex = 0;

#define KEP_EXPORT(name) decltype(&::name) const ownTbl_##name[2] = {&own_##name, &own_##name};
#define KEP_EXPORT_PER_SLOT(name) \
    decltype(&::name) const ownTbl_##name[2] = {&own_##name##_x1, &own_##name##_x2};
#include "pjexports.inc"
#undef KEP_EXPORT
#undef KEP_EXPORT_PER_SLOT

}  // extern "C"

#define KEP_STUB(name)                                   \
    __asm__(".text\n\t"                                  \
            ".p2align 4\n\t"                             \
            ".globl " #name "\n\t"                       \
            ".type " #name ", @function\n"               \
            #name ":\n\t"                                \
            "movslq ownDispatchIndex(%rip), %rax\n\t"    \
            "leaq ownTbl_" #name "(%rip), %r11\n\t"      \
            "jmp *(%r11,%rax,8)\n\t"                     \
            ".size " #name ", .-" #name "\n");
#define KEP_EXPORT(name) KEP_STUB(name)
#define KEP_EXPORT_PER_SLOT(name) KEP_STUB(name)
#include "pjexports.inc"
#undef KEP_EXPORT
#undef KEP_EXPORT_PER_SLOT

// Runs when the dynamic loader maps the library, before any export can be called. Slot 1 is the
// path for cores that have both SSSE3 and MOVBE; every other processor gets slot 0 (including one
// without SSSE3, which the library does not support).
__attribute__((constructor)) static void ownInitDispatch() {
    kepGetCpuFeatures(nullptr, nullptr);
    const Kep64u mask = kepGetEnabledCpuFeatures();
    const Kep64u both = kepCpuSSSE3 | kepCpuMOVBE;
    ownDispatchIndex = (mask & both) == both ? 1 : 0;
}
