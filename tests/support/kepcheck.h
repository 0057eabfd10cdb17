// kepcheck: the kernel equivalence harness.
//
// In the spirit of dav1d's checkasm: every optimised kernel is run beside its plain C reference,
// and every export through slot 0 and slot 1 of its dispatch table, on the same random inputs
// (extreme values, odd sizes, misaligned buffers), and the outputs and result codes must agree
// byte for byte. A family describes one random case (a struct of plain arrays), a generator, and
// its variants; runVariants() does the rest. The benchmarks draw their inputs from the same
// generators.
#ifndef KEPCHECK_H
#define KEPCHECK_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "kepcheck_data.h"
#include "kepjx1.h"

namespace kepcheck {

// One way of running a family's case: a name and a function that works on its own copy of the
// case and returns the result code (kepOk for internal kernels that return nothing).
template <typename Case>
struct Variant {
    std::string name;
    std::function<KepResult(Case&)> run;
};

// Byte offset of the first difference between two cases, or -1.
template <typename Case>
long firstDifference(const Case& a, const Case& b) {
    const auto* pa = reinterpret_cast<const uint8_t*>(&a);
    const auto* pb = reinterpret_cast<const uint8_t*>(&b);
    for (size_t i = 0; i < sizeof a; ++i)
        if (pa[i] != pb[i]) return static_cast<long>(i);
    return -1;
}

// Runs every variant on a copy of each random case and expects byte-identical cases (inputs and
// outputs alike: in-place kernels leave their output in the input) and identical result codes.
// The first variant is the reference. Case must be trivially copyable: plain arrays and scalars.
template <typename Case>
void runVariants(const char* family, int cases, const std::function<void(Rng&, Case&)>& generate,
                 const std::vector<Variant<Case>>& variants) {
    static_assert(std::is_trivially_copyable<Case>::value, "a case is compared as bytes");
    Rng rng(seed());
    for (int n = 0; n < cases; ++n) {
        Case input;
        std::memset(static_cast<void*>(&input), 0, sizeof input);
        generate(rng, input);
        Case expect = input;
        const KepResult expectResult = variants[0].run(expect);
        for (size_t v = 1; v < variants.size(); ++v) {
            Case got = input;
            const KepResult gotResult = variants[v].run(got);
            const bool same = std::memcmp(&got, &expect, sizeof got) == 0;
            if (!same || gotResult != expectResult) {
                ADD_FAILURE() << family << ": variant '" << variants[v].name << "' differs from '" << variants[0].name
                              << "' on case " << n << " (result " << gotResult << " vs " << expectResult
                              << "; first differing byte " << firstDifference(got, expect)
                              << "); replay with KEPCHECK_SEED=" << seed();
                return;
            }
        }
    }
}

// Slot access: kepcheck::slot(ownTbl_kepiX, 1) is the implementation the stub of kepiX jumps
// to on the second code path.
template <typename Fn>
Fn slot(const Fn (&table)[2], int s) { return table[s]; }

}  // namespace kepcheck

#endif  // KEPCHECK_H
