// Equivalence of the quantization block kernels: plain C reference, SSSE3 aligned and unaligned
// kernels, and the exports through both dispatch slots at aligned, even and odd addresses.

#include <gtest/gtest.h>

#include "kepcheck.h"
#include "pjdispatch.h"
#include "quant.h"

namespace {

using kepcheck::Guarded;
using kepcheck::Rng;
using kepcheck::Variant;

struct QuantCase {
    Kep16s block[64];
    Kep16u table[64];
};

using Kernel = void (*)(Kep16s*, const Kep16u*);
using Export = KepResult (*)(Kep16s*, const Kep16u*);

// Inputs: coefficients from the whole 16-bit range with extra weight on the wrap boundary of x * 8,
// tables either arbitrary 16-bit values or real quantizer tables (with the odd zero entry).
void generate(Rng& rng, QuantCase& c, bool forward) {
    rng.fill(c.block, 64, {-4096, 4095, 4096, 2048});
    if (rng.chance(50)) {
        rng.fill(c.table, 64, {32768, 16384});
    } else {
        Kep8u raw[64];
        for (Kep8u& q : raw) q = static_cast<Kep8u>(rng.chance(5) ? 0 : rng.range(1, 255));
        if (forward) kepiQuantFwdTableInit_JPEG_8u16u(raw, c.table);
        else kepiQuantInvTableInit_JPEG_8u16u(raw, c.table);
    }
}

// Runs fn on copies of the case placed at the given offsets; the table must come back unchanged
// and nothing around either buffer may be touched.
KepResult placed(QuantCase& c, size_t blockOffset, size_t tableOffset, const std::function<KepResult(Kep16s*, Kep16u*)>& fn) {
    Guarded<Kep16s> b(64, blockOffset);
    Guarded<Kep16u> t(64, tableOffset);
    b.load(c.block);
    t.load(c.table);
    const KepResult r = fn(b.data(), t.data());
    EXPECT_TRUE(b.guardsIntact() && t.guardsIntact()) << "write outside the block or table";
    EXPECT_EQ(0, std::memcmp(t.bytes(), c.table, sizeof c.table)) << "table modified";
    b.store(c.block);
    return r;
}

Variant<QuantCase> kernel(const char* name, Kernel k, size_t blockOffset, size_t tableOffset) {
    return {name, [=](QuantCase& c) {
                return placed(c, blockOffset, tableOffset, [k](Kep16s* b, Kep16u* t) { k(b, t); return kepOk; });
            }};
}

// An export at random offsets of the given parity (even: the SIMD paths; odd: the fallback).
Variant<QuantCase> exported(std::string name, Export e, bool oddBlock, bool oddTable) {
    auto rng = std::make_shared<Rng>(kepcheck::seed() ^ std::hash<std::string>()(name));
    return {name, [=](QuantCase& c) {
                const size_t bo = static_cast<size_t>(rng->range(0, 31)) * 2 + (oddBlock ? 1 : 0);
                const size_t to = static_cast<size_t>(rng->range(0, 31)) * 2 + (oddTable ? 1 : 0);
                return placed(c, bo, to, [e](Kep16s* b, Kep16u* t) { return e(b, t); });
            }};
}

const int kCases = kepcheck::iterations(20000);

// The aligned and unaligned kernels, slots and stub against the reference at even addresses; the
// odd-address fallback against the slots with the block, the table or both at odd addresses.
void runDirection(bool forward, Kernel ref, Kernel simdA, Kernel simdU, Kernel odd, const Export (&tbl)[2], Export stub) {
    auto gen = [forward](Rng& r, QuantCase& c) { generate(r, c, forward); };
    kepcheck::runVariants<QuantCase>(forward ? "quant fwd" : "quant inv", kCases, gen,
                                     {kernel("c", ref, 0, 0), kernel("ssse3 aligned", simdA, 0, 0),
                                      kernel("ssse3 unaligned 2/6", simdU, 2, 6), kernel("ssse3 unaligned 14/0", simdU, 14, 0),
                                      exported("slot 0", kepcheck::slot(tbl, 0), false, false),
                                      exported("slot 1", kepcheck::slot(tbl, 1), false, false), exported("stub", stub, false, false)});
    kepcheck::runVariants<QuantCase>(forward ? "quant fwd odd" : "quant inv odd", kCases, gen,
                                     {kernel("c fallback", odd, 0, 0), exported("slot 0 odd block", kepcheck::slot(tbl, 0), true, false),
                                      exported("slot 1 odd block", kepcheck::slot(tbl, 1), true, false),
                                      exported("slot 0 odd table", kepcheck::slot(tbl, 0), false, true),
                                      exported("slot 1 odd both", kepcheck::slot(tbl, 1), true, true)});
}

TEST(QuantEquivalence, Forward) {
    runDirection(true, ownQuantFwd8x8_c, ownQuantFwd8x8A_ssse3, ownQuantFwd8x8U_ssse3, ownQuantFwd8x8Odd_c,
                 ownTbl_kepiQuantFwd8x8_JPEG_16s_C1I, kepiQuantFwd8x8_JPEG_16s_C1I);
}

TEST(QuantEquivalence, Inverse) {
    runDirection(false, ownQuantInv8x8_c, ownQuantInv8x8A_ssse3, ownQuantInv8x8U_ssse3, ownQuantInv8x8Odd_c,
                 ownTbl_kepiQuantInv8x8_JPEG_16s_C1I, kepiQuantInv8x8_JPEG_16s_C1I);
}

// The table builders have one implementation, but both slots must still agree, including the
// warning for a zero entry.
TEST(QuantEquivalence, TableBuildersInBothSlots) {
    struct TableCase {
        Kep8u raw[64];  // in: a raw table; out: after quality scaling
        Kep16u fwd[64], inv[64];
        Kep32s quality;
        KepResult results[3];
    };
    auto gen = [](Rng& r, TableCase& c) {
        for (Kep8u& q : c.raw) q = static_cast<Kep8u>(r.chance(3) ? 0 : r.range(1, 255));
        c.quality = static_cast<Kep32s>(r.chance(10) ? r.value<Kep32s>() : r.range(-2, 120));
    };
    auto build = [](int s) {
        return Variant<TableCase>{"slot " + std::to_string(s), [s](TableCase& c) {
                                      c.results[0] = kepcheck::slot(ownTbl_kepiQuantFwdRawTableInit_JPEG_8u, s)(c.raw, c.quality);
                                      c.results[1] = kepcheck::slot(ownTbl_kepiQuantFwdTableInit_JPEG_8u16u, s)(c.raw, c.fwd);
                                      c.results[2] = kepcheck::slot(ownTbl_kepiQuantInvTableInit_JPEG_8u16u, s)(c.raw, c.inv);
                                      return kepOk;
                                  }};
    };
    kepcheck::runVariants<TableCase>("quant tables", kepcheck::iterations(5000), gen, {build(0), build(1)});
}

}  // namespace
