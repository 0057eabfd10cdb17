// Equivalence of the 8x8 DCT kernels: plain C references, SSSE3 kernels, and the exports through
// slot 0, slot 1 and the stub, on random blocks, tables and planes (extremes and saturating values
// included) placed at aligned, even, odd and arbitrary addresses.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

#include "dct.h"
#include "dct32f.h"
#include "dct_place.h"
#include "kepcheck.h"
#include "pjdispatch.h"

namespace {

using dcttest::Offsets;
using dcttest::Place;
using dcttest::Placed;
using kepcheck::Rng;
using kepcheck::slot;

const int kCases = kepcheck::iterations(4000);
constexpr int kMaxStep = 80;

// One case of any form: the input (a block, or 8 rows of a plane at `step`), the output, the table
// (16-bit or single precision), and for the level shifts a region and two steps. The bytes between
// plane rows are part of the case, so a write there shows up as a difference.
struct DctCase {
    Kep8u in[8 * kMaxStep], out[8 * kMaxStep], table[256];
    Kep32s step, srcStep, dstStep, width, height;
};

// A form called on the placed arrays; kernels that return nothing count as kepOk.
using Call = std::function<KepResult(const DctCase&, Kep8u* in, Kep8u* out, Kep8u* table)>;
template <class F, class... A>
KepResult result(F f, A... a) {
    if constexpr (std::is_void_v<decltype(f(a...))>) {
        f(a...);
        return kepOk;
    } else {
        return f(a...);
    }
}
template <class F>  // (src, dst, table)
Call block(F f) {
    return [f](const DctCase&, Kep8u* i, Kep8u* o, Kep8u* t) {
        return result(f, reinterpret_cast<const Kep16s*>(i), reinterpret_cast<Kep16s*>(o), reinterpret_cast<const Kep16u*>(t));
    };
}
Call inPlace(KepResult (*f)(Kep16s*, const Kep16u*)) {  // on a copy of the input placed in the output
    return [f](const DctCase&, Kep8u* i, Kep8u* o, Kep8u* t) {
        std::memcpy(o, i, 128);
        return f(reinterpret_cast<Kep16s*>(o), reinterpret_cast<const Kep16u*>(t));
    };
}
template <class S, class T, class F>  // (plane, step, block, table)
Call fwdLS(F f) {
    return [f](const DctCase& c, Kep8u* i, Kep8u* o, Kep8u* t) {
        return result(f, reinterpret_cast<const S*>(i), static_cast<int>(c.step), reinterpret_cast<Kep16s*>(o), reinterpret_cast<const T*>(t));
    };
}
template <class D, class T, class F>  // (block, plane, step, table)
Call invLS(F f) {
    return [f](const DctCase& c, Kep8u* i, Kep8u* o, Kep8u* t) {
        return result(f, reinterpret_cast<const Kep16s*>(i), reinterpret_cast<D*>(o), static_cast<int>(c.step), reinterpret_cast<const T*>(t));
    };
}
template <class S, class D, class F>  // (src, srcStep, dst, dstStep, region)
Call shift(F f) {
    return [f](const DctCase& c, Kep8u* i, Kep8u* o, Kep8u*) {
        return result(f, reinterpret_cast<const S*>(i), static_cast<int>(c.srcStep), reinterpret_cast<D*>(o), static_cast<int>(c.dstStep),
                      KepiSize{c.width, c.height});
    };
}

struct V {
    std::string name;
    Call call;
    Place place;
};
void run(const char* family, int cases, const std::function<void(Rng&, DctCase&)>& gen, const std::vector<V>& vs) {
    std::vector<kepcheck::Variant<DctCase>> variants;
    for (const V& v : vs)
        variants.push_back(dcttest::placed<DctCase>(v.name, v.place, [call = v.call](DctCase& c, const Offsets& at) {
            Placed in(c.in, at);
            Placed out(c.out, at);
            Placed t(c.table, at);
            return call(c, in.get(), out.get(), t.get());
        }));
    kepcheck::runVariants<DctCase>(family, cases, gen, variants);
}

// ---- Inputs --------------------------------------------------------------------------------------

// Blocks: level-shifted 8-bit samples, small values, sparse blocks, the whole 16-bit range with its
// limits (these saturate the 16-bit passes), constant blocks, and the shapes the inverse kernels
// take shortcuts on: DC-only blocks, half of them with noise outside the top-left 4x4 corner that
// the 2x2 and 4x4 forms must ignore, and blocks in the top or the left half.
void block16s(Rng& rng, Kep8u* bytes) {
    Kep16s b[64];
    const int kind = static_cast<int>(rng.range(0, 6));
    const Kep16s constant = rng.value<Kep16s>({-128, 127});
    const bool noise = rng.chance(50), top = rng.chance(50);
    for (int i = 0; i < 64; ++i)
        b[i] = kind == 0   ? static_cast<Kep16s>(rng.range(-128, 127))
               : kind == 1 ? static_cast<Kep16s>(rng.chance(70) ? 0 : rng.range(-1024, 1023))
               : kind == 2 ? rng.value<Kep16s>({-4096, 4095, 16384, -16384})
               : kind == 3 ? constant
               : kind == 5 ? (i == 0 ? rng.value<Kep16s>({-4096, 4095}) : noise && ((i >> 3) >= 4 || (i & 7) >= 4) ? rng.value<Kep16s>() : 0)
               : kind == 6 ? static_cast<Kep16s>(((top ? i >> 3 : i & 7) < 4 && rng.chance(60)) ? rng.range(-2048, 2047) : 0)
                           : static_cast<Kep16s>(rng.chance(50) ? rng.range(-2048, 2047) : rng.value<Kep16s>());
    std::memcpy(bytes, b, sizeof b);
}

enum class Table { Fwd, Inv, Float };
// Tables: real reciprocal or quantizer tables, all ones, or any values; single-precision tables
// of ordinary multipliers, a third of them with NaN, infinite and huge entries among those (a
// table with these everywhere would saturate nearly every sample).
void table(Rng& rng, Kep8u* bytes, Table kind) {
    if (kind == Table::Float) {
        Kep32f t[64];
        const int specials = rng.chance(33) ? 3 : 0;
        for (Kep32f& v : t) {
            const int k = static_cast<int>(rng.range(0, 19));
            v = k >= specials ? static_cast<float>(rng.range(1, 4000)) / static_cast<float>(rng.range(1, 255))
                : k == 0      ? std::numeric_limits<float>::quiet_NaN()
                : k == 1      ? std::numeric_limits<float>::infinity()
                              : -1e30f;
        }
        std::memcpy(bytes, t, sizeof t);
        return;
    }
    Kep16u t[64];
    const int k = static_cast<int>(rng.range(0, 3));
    if (k == 3) {
        rng.fill(t, 64, {32768, 16384});
    } else {
        Kep8u raw[64];
        for (Kep8u& q : raw) q = static_cast<Kep8u>(k == 0 ? 1 : rng.range(1, k == 1 ? 32 : 255));
        if (kind == Table::Fwd) kepiQuantFwdTableInit_JPEG_8u16u(raw, t);
        else kepiQuantInvTableInit_JPEG_8u16u(raw, t);
    }
    std::memcpy(bytes, t, sizeof t);
}

// Random bytes everywhere and a step of at least rowBytes; then a block as the input unless the
// input is a plane (of mostly 12-bit samples when its rows are 16 bytes), and a table.
std::function<void(Rng&, DctCase&)> gen(bool planeIn, int rowBytes, Table kind) {
    return [=](Rng& rng, DctCase& c) {
        rng.fill(c.in, sizeof c.in);
        rng.fill(c.out, sizeof c.out);
        c.step = static_cast<Kep32s>(rng.range(rowBytes, kMaxStep));
        if (!planeIn) block16s(rng, c.in);
        else if (rowBytes == 16 && rng.chance(70))
            for (size_t i = 1; i < sizeof c.in; i += 2) c.in[i] &= 0x0F;
        table(rng, c.table, kind);
    };
}

// ---- Forward -------------------------------------------------------------------------------------

TEST(DctEquivalence, Forward) {
    const auto& tbl = ownTbl_kepiDCTQuantFwd8x8_JPEG_16s_C1;
    const auto& tblI = ownTbl_kepiDCTQuantFwd8x8_JPEG_16s_C1I;
    run("dct fwd 16s", kCases, gen(false, 8, Table::Fwd),
        {{"c", block(ownDCTQuantFwd8x8_c), Place::Aligned}, {"c anywhere", block(ownDCTQuantFwd8x8_c), Place::Any},
         {"ssse3 aligned", block(ownDCTQuantFwd8x8_ssse3), Place::Aligned}, {"ssse3", block(ownDCTQuantFwd8x8_ssse3), Place::Any},
         {"slot 0", block(slot(tbl, 0)), Place::Even}, {"slot 1", block(slot(tbl, 1)), Place::Odd},
         {"stub", block(kepiDCTQuantFwd8x8_JPEG_16s_C1), Place::Any}, {"in place slot 0", inPlace(slot(tblI, 0)), Place::Any},
         {"in place slot 1", inPlace(slot(tblI, 1)), Place::Even}, {"in place stub", inPlace(kepiDCTQuantFwd8x8_JPEG_16s_C1I), Place::Odd}});
    const auto& ls = ownTbl_kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R;
    run("dct fwd ls 8u", kCases, gen(true, 8, Table::Fwd),
        {{"c", fwdLS<Kep8u, Kep16u>(ownDCTQuantFwd8x8LS_c), Place::Aligned},
         {"ssse3", fwdLS<Kep8u, Kep16u>(ownDCTQuantFwd8x8LS_ssse3), Place::Any},
         {"slot 0", fwdLS<Kep8u, Kep16u>(slot(ls, 0)), Place::Any}, {"slot 1", fwdLS<Kep8u, Kep16u>(slot(ls, 1)), Place::Odd},
         {"stub", fwdLS<Kep8u, Kep16u>(kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R), Place::Even}});
    const auto& f32 = ownTbl_kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R;
    run("dct fwd ls 16u", kCases / 4, gen(true, 16, Table::Float),
        {{"c", fwdLS<Kep16u, Kep32f>(ownDCTQuantFwd8x8LS_32f_c), Place::Aligned},
         {"ssse3", fwdLS<Kep16u, Kep32f>(ownDCTQuantFwd8x8LS_32f_ssse3), Place::Any},
         {"slot 0", fwdLS<Kep16u, Kep32f>(slot(f32, 0)), Place::Aligned}, {"slot 1", fwdLS<Kep16u, Kep32f>(slot(f32, 1)), Place::Any},
         {"stub", fwdLS<Kep16u, Kep32f>(kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R), Place::Odd}});
}

// ---- Level shifts --------------------------------------------------------------------------------

template <typename S, typename D, typename Export>
void runShift(const char* family, void (*ref)(const S*, int, D*, int, int, int), void (*simd)(const S*, int, D*, int, int, int),
              const Export (&tbl)[2], Export stub) {
    auto kernel = [](auto k) { return [k](const S* s, int ss, D* d, int ds, KepiSize r) { k(s, ss, d, ds, r.width, r.height); }; };
    auto g = [](Rng& rng, DctCase& c) {
        rng.fill(c.in, sizeof c.in, {128});
        rng.fill(c.out, sizeof c.out);
        c.width = static_cast<Kep32s>(rng.range(1, 40));
        c.height = static_cast<Kep32s>(rng.range(1, 6));
        c.srcStep = static_cast<Kep32s>(c.width * sizeof(S) + rng.range(0, 5));
        c.dstStep = static_cast<Kep32s>(c.width * sizeof(D) + rng.range(0, 5));
    };
    run(family, kCases, g,
        {{"c", shift<S, D>(kernel(ref)), Place::Aligned}, {"ssse3", shift<S, D>(kernel(simd)), Place::Any},
         {"slot 0", shift<S, D>(slot(tbl, 0)), Place::Any}, {"slot 1", shift<S, D>(slot(tbl, 1)), Place::Odd},
         {"stub", shift<S, D>(stub), Place::Even}});
}

TEST(DctEquivalence, LevelShifts) {
    runShift("sub128", ownSub128_c, ownSub128_ssse3, ownTbl_kepiSub128_JPEG_8u16s_C1R, kepiSub128_JPEG_8u16s_C1R);
    runShift("add128", ownAdd128_c, ownAdd128_ssse3, ownTbl_kepiAdd128_JPEG_16s8u_C1R, kepiAdd128_JPEG_16s8u_C1R);
}

// ---- Inverse -------------------------------------------------------------------------------------

// Dequantization wraps, except with any pointer of the out-of-place form at an odd address, where
// it saturates.
TEST(DctEquivalence, Inverse16s) {
    const auto& tbl = ownTbl_kepiDCTQuantInv8x8_JPEG_16s_C1;
    const auto& tblI = ownTbl_kepiDCTQuantInv8x8_JPEG_16s_C1I;
    auto c = [](bool sat) { return block([sat](const Kep16s* s, Kep16s* d, const Kep16u* t) { ownDCTQuantInv8x8_c(s, d, t, sat); }); };
    auto simd = [](bool sat) { return block([sat](const Kep16s* s, Kep16s* d, const Kep16u* t) { ownDCTQuantInv8x8_ssse3(s, d, t, sat); }); };
    run("dct inv 16s", kCases, gen(false, 8, Table::Inv),
        {{"c", c(false), Place::Aligned}, {"ssse3", simd(false), Place::Aligned}, {"ssse3 anywhere", simd(false), Place::Any},
         {"slot 0", block(slot(tbl, 0)), Place::Even}, {"slot 1", block(slot(tbl, 1)), Place::Even},
         {"stub", block(kepiDCTQuantInv8x8_JPEG_16s_C1), Place::Aligned}, {"in place slot 0", inPlace(slot(tblI, 0)), Place::Any},
         {"in place slot 1", inPlace(slot(tblI, 1)), Place::Odd}, {"in place stub", inPlace(kepiDCTQuantInv8x8_JPEG_16s_C1I), Place::Even}});
    run("dct inv 16s odd", kCases, gen(false, 8, Table::Inv),
        {{"c saturating", c(true), Place::Aligned}, {"ssse3 saturating", simd(true), Place::Any},
         {"slot 0 odd", block(slot(tbl, 0)), Place::Odd}, {"slot 1 odd", block(slot(tbl, 1)), Place::Odd},
         {"stub odd", block(kepiDCTQuantInv8x8_JPEG_16s_C1), Place::Odd}});
}

// The 8-bit forms against the full C transform of their corner (the rest taken as zero, so
// coefficients outside it are ignored), the reduced-size forms against their one implementation.
using InvLSExport = decltype(&kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R);
template <class F>
void runInvLS(const char* family, F ref, Call simd, const InvLSExport (&tbl)[2], InvLSExport stub) {
    std::vector<V> v = {{"c", invLS<Kep8u, Kep16u>(ref), Place::Aligned}, {"slot 0", invLS<Kep8u, Kep16u>(slot(tbl, 0)), Place::Any},
                        {"slot 1", invLS<Kep8u, Kep16u>(slot(tbl, 1)), Place::Odd}, {"stub", invLS<Kep8u, Kep16u>(stub), Place::Even}};
    if (simd) v.push_back({"ssse3", simd, Place::Any});
    run(family, kCases, gen(false, 8, Table::Inv), v);
}
auto fullC(int n) {
    return [n](const Kep16s* s, Kep8u* d, int st, const Kep16u* t) { ownDCTQuantInv8x8LS_c(s, d, st, t, n); };
}
auto reducedC(int n) {
    return [n](const Kep16s* s, Kep8u* d, int st, const Kep16u* t) { ownDCTQuantInv8x8ToNxNLS_c(s, d, st, t, n); };
}

TEST(DctEquivalence, InverseLevelShift8u) {
    runInvLS("dct inv ls 8u", fullC(8), invLS<Kep8u, Kep16u>(ownDCTQuantInv8x8LS_ssse3), ownTbl_kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R,
             kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R);
    runInvLS("dct inv ls 4x4", fullC(4), invLS<Kep8u, Kep16u>(ownDCTQuantInv8x8LS_4x4_ssse3),
             ownTbl_kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R);
    runInvLS("dct inv ls 2x2", fullC(2), invLS<Kep8u, Kep16u>(ownDCTQuantInv8x8LS_2x2_ssse3),
             ownTbl_kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R);
    runInvLS("dct inv ls 1x1", ownDCTQuantInv8x8LS_1x1_c, invLS<Kep8u, Kep16u>(ownDCTQuantInv8x8LS_1x1_ssse3),
             ownTbl_kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R);
    runInvLS("dct inv to 2x2", reducedC(2), nullptr, ownTbl_kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R,
             kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R);
    runInvLS("dct inv to 4x4", reducedC(4), nullptr, ownTbl_kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R,
             kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R);
}

// Blocks with only a DC coefficient take a shortcut in the 8x8, 4x4 and 2x2 kernels. The transform
// sees only the dequantized DC, the low 16 bits of DC * Q: all 65536 of them (DC itself, Q = 1),
// then every quantizer with a DC that drives the product past 16 bits, against the full C transform.
TEST(DctEquivalence, DcOnlyBlocksEveryDequantizedValue) {
    Rng rng(kepcheck::seed());
    using Kernel = void (*)(const Kep16s*, Kep8u*, int, const Kep16u*);
    const Kernel kernels[] = {ownDCTQuantInv8x8LS_ssse3, ownDCTQuantInv8x8LS_4x4_ssse3, ownDCTQuantInv8x8LS_2x2_ssse3};
    alignas(16) Kep16s b[64] = {};
    alignas(16) Kep16u t[64];
    for (Kep16u& q : t) q = static_cast<Kep16u>(rng.range(1, 65535));  // never read: the AC terms are zero
    Kep8u want[64], got[64];
    for (Kep32s i = 0; i < 2 * 65536; ++i) {
        if (i < 65536) {
            b[0] = static_cast<Kep16s>(i);
            t[0] = 1;
        } else {
            t[0] = static_cast<Kep16u>(i - 65536);
            b[0] = rng.value<Kep16s>();
        }
        ownDCTQuantInv8x8LS_c(b, want, 8, t, 8);
        for (int k = 0; k < 3; ++k) {
            kernels[k](b, got, 8, t);
            ASSERT_EQ(0, std::memcmp(want, got, 64)) << "kernel " << k << " DC " << b[0] << " Q " << t[0];
        }
    }
}

TEST(DctEquivalence, InverseLevelShift16u) {
    const auto& tbl = ownTbl_kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R;
    run("dct inv ls 16u", kCases / 4, gen(false, 16, Table::Float),
        {{"c", invLS<Kep16u, Kep32f>(ownDCTQuantInv8x8LS_32f_c), Place::Aligned},
         {"ssse3", invLS<Kep16u, Kep32f>(ownDCTQuantInv8x8LS_32f_ssse3), Place::Any},
         {"slot 0", invLS<Kep16u, Kep32f>(slot(tbl, 0)), Place::Aligned}, {"slot 1", invLS<Kep16u, Kep32f>(slot(tbl, 1)), Place::Any},
         {"stub", invLS<Kep16u, Kep32f>(kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R), Place::Odd}});
}

}  // namespace
