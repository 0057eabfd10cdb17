// Equivalence of the 8x8 DCT kernels: plain C references, SSSE3 kernels, and the exports through
// slot 0, slot 1 and the stub, on random blocks, tables and planes (extremes and saturating values
// included) placed at aligned, even, odd and arbitrary addresses.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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
using kepcheck::Variant;

const int kCases = kepcheck::iterations(4000);

// ---- Inputs --------------------------------------------------------------------------------------

// Coefficient or sample blocks: level-shifted 8-bit samples, small values, sparse blocks, the whole
// 16-bit range with its limits (these saturate the 16-bit passes), and constant blocks.
void block16s(Rng& rng, Kep16s* b) {
    switch (rng.range(0, 4)) {
    case 0: for (int i = 0; i < 64; ++i) b[i] = static_cast<Kep16s>(rng.range(-128, 127)); break;
    case 1: for (int i = 0; i < 64; ++i) b[i] = static_cast<Kep16s>(rng.chance(70) ? 0 : rng.range(-1024, 1023)); break;
    case 2: rng.fill(b, 64, {-4096, 4095, 16384, -16384}); break;
    case 3: {
        const Kep16s v = rng.value<Kep16s>({-128, 127});
        for (int i = 0; i < 64; ++i) b[i] = v;
        break;
    }
    default:
        for (int i = 0; i < 64; ++i) b[i] = static_cast<Kep16s>(rng.chance(50) ? rng.range(-2048, 2047) : rng.value<Kep16s>());
        break;
    }
}

// Forward tables of reciprocals or inverse tables of quantizers: real ones, all ones, or any values.
void table16u(Rng& rng, Kep16u* t, bool forward) {
    const int kind = static_cast<int>(rng.range(0, 3));
    if (kind == 3) {
        rng.fill(t, 64, {32768, 16384});
        return;
    }
    Kep8u raw[64];
    for (Kep8u& q : raw) q = static_cast<Kep8u>(kind == 0 ? 1 : rng.range(1, kind == 1 ? 32 : 255));
    if (forward) kepiQuantFwdTableInit_JPEG_8u16u(raw, t);
    else kepiQuantInvTableInit_JPEG_8u16u(raw, t);
}

// A kernel that returns nothing, as a variant function returning kepOk.
template <typename... A>
std::function<KepResult(A...)> kernel(void (*k)(A...)) {
    return [k](A... a) {
        k(a...);
        return kepOk;
    };
}

// ---- 16-bit blocks, both directions -------------------------------------------------------------

// A block, its output and a forward or inverse table.
struct BlockCase {
    Kep16s src[64], dst[64];
    Kep16u table[64];
};
void genFwd(Rng& rng, BlockCase& c) {
    block16s(rng, c.src);
    table16u(rng, c.table, true);
}
void genInv(Rng& rng, BlockCase& c) {
    block16s(rng, c.src);
    table16u(rng, c.table, false);
}

// fn(src, dst, table) on the placed arrays: kernels and out-of-place exports.
using BlockFn = std::function<KepResult(const Kep16s*, Kep16s*, const Kep16u*)>;
Variant<BlockCase> blockVariant(const std::string& name, BlockFn f, Place place) {
    return dcttest::placed<BlockCase>(name, place, [f](BlockCase& c, const Offsets& at) {
        Placed s(c.src, at);
        Placed d(c.dst, at);
        Placed t(c.table, at);
        return f(s.get(), d.get(), t.get());
    });
}
BlockFn kernel(void (*k)(const Kep16s*, Kep16s*, const Kep16u*, bool), bool saturate) {
    return [k, saturate](const Kep16s* s, Kep16s* d, const Kep16u* t) { k(s, d, t, saturate); return kepOk; };
}
// The in-place forms leave their output in dst: they run on a copy of src placed there.
Variant<BlockCase> inPlace(const std::string& name, KepResult (*e)(Kep16s*, const Kep16u*), Place place) {
    return dcttest::placed<BlockCase>(name, place, [e](BlockCase& c, const Offsets& at) {
        std::memcpy(c.dst, c.src, sizeof c.dst);
        Placed d(c.dst, at);
        Placed t(c.table, at);
        return e(d.get(), t.get());
    });
}

TEST(DctEquivalence, Forward16s) {
    const auto& tbl = ownTbl_kepiDCTQuantFwd8x8_JPEG_16s_C1;
    const auto& tblI = ownTbl_kepiDCTQuantFwd8x8_JPEG_16s_C1I;
    kepcheck::runVariants<BlockCase>("dct fwd 16s", kCases, genFwd,
                                   {blockVariant("c", kernel(ownDCTQuantFwd8x8_c), Place::Aligned),
                                    blockVariant("c anywhere", kernel(ownDCTQuantFwd8x8_c), Place::Any),
                                    blockVariant("ssse3 aligned", kernel(ownDCTQuantFwd8x8_ssse3), Place::Aligned),
                                    blockVariant("ssse3 anywhere", kernel(ownDCTQuantFwd8x8_ssse3), Place::Any),
                                    blockVariant("slot 0 even", slot(tbl, 0), Place::Even),
                                    blockVariant("slot 1 odd", slot(tbl, 1), Place::Odd),
                                    blockVariant("stub", kepiDCTQuantFwd8x8_JPEG_16s_C1, Place::Any),
                                    inPlace("in place slot 0", slot(tblI, 0), Place::Any),
                                    inPlace("in place slot 1", slot(tblI, 1), Place::Even),
                                    inPlace("in place stub", kepiDCTQuantFwd8x8_JPEG_16s_C1I, Place::Odd)});
}

// ---- Planes --------------------------------------------------------------------------------------

// 8 rows of a plane at a random step; the bytes between the rows are part of the case, so a write
// there shows up as a difference.
constexpr int kMaxStep = 80;
struct Plane {
    Kep8u bytes[8 * kMaxStep];
    Kep32s step;
};
void genPlane(Rng& rng, Plane& p, int rowBytes) {
    p.step = static_cast<Kep32s>(rng.range(rowBytes, kMaxStep));
    rng.fill(p.bytes, sizeof p.bytes);
}

struct FwdLSCase {
    Plane src;
    Kep16s dst[64];
    Kep16u table[64];
};

using FwdLSFn = std::function<KepResult(const Kep8u*, int, Kep16s*, const Kep16u*)>;
Variant<FwdLSCase> fwdLS(const std::string& name, FwdLSFn f, Place place) {
    return dcttest::placed<FwdLSCase>(name, place, [f](FwdLSCase& c, const Offsets& at) {
        Placed s(c.src.bytes, at);
        Placed d(c.dst, at);
        Placed t(c.table, at);
        return f(s.get(), c.src.step, d.get(), t.get());
    });
}

TEST(DctEquivalence, ForwardLevelShift8u) {
    const auto& tbl = ownTbl_kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R;
    kepcheck::runVariants<FwdLSCase>("dct fwd ls 8u", kCases,
                                     [](Rng& r, FwdLSCase& c) {
                                         genPlane(r, c.src, 8);
                                         table16u(r, c.table, true);
                                     },
                                     {fwdLS("c", kernel(ownDCTQuantFwd8x8LS_c), Place::Aligned),
                                      fwdLS("ssse3", kernel(ownDCTQuantFwd8x8LS_ssse3), Place::Any),
                                      fwdLS("slot 0", slot(tbl, 0), Place::Any),
                                      fwdLS("slot 1", slot(tbl, 1), Place::Odd),
                                      fwdLS("stub", kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R, Place::Even)});
}

// The single-precision forms: tables with NaN, infinite and huge entries besides ordinary ones.
void table32f(Rng& rng, Kep32f* t) {
    for (int i = 0; i < 64; ++i) {
        const int kind = static_cast<int>(rng.range(0, 19));
        t[i] = kind == 0   ? std::numeric_limits<float>::quiet_NaN()
               : kind == 1 ? std::numeric_limits<float>::infinity()
               : kind == 2 ? -1e30f
                           : static_cast<float>(rng.range(1, 4000)) / static_cast<float>(rng.range(1, 255));
    }
}

struct Fwd16uCase {
    Plane src;
    Kep16s dst[64];
    Kep32f table[64];
};
TEST(DctEquivalence, ForwardLevelShift16u) {
    auto run = [](const std::string& name, std::function<KepResult(const Kep16u*, int, Kep16s*, const Kep32f*)> e, Place place) {
        return dcttest::placed<Fwd16uCase>(name, place, [e](Fwd16uCase& c, const Offsets& at) {
            Placed s(c.src.bytes, at);
            Placed d(c.dst, at);
            Placed t(c.table, at);
            return e(s.as<Kep16u>(), c.src.step, d.get(), t.get());
        });
    };
    const auto& tbl = ownTbl_kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R;
    kepcheck::runVariants<Fwd16uCase>("dct fwd ls 16u", kCases / 4,
                                      [](Rng& r, Fwd16uCase& c) {
                                          genPlane(r, c.src, 16);
                                          if (r.chance(70))  // mostly 12-bit samples
                                              for (int i = 0; i + 1 < 8 * kMaxStep; i += 2) c.src.bytes[i + 1] &= 0x0F;
                                          table32f(r, c.table);
                                      },
                                      {run("c", kernel(ownDCTQuantFwd8x8LS_32f_c), Place::Aligned),
                                       run("ssse3", kernel(ownDCTQuantFwd8x8LS_32f_ssse3), Place::Any),
                                       run("slot 0", slot(tbl, 0), Place::Aligned), run("slot 1", slot(tbl, 1), Place::Any),
                                       run("stub", kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R, Place::Odd)});
}

// ---- Level shifts --------------------------------------------------------------------------------

struct ShiftCase {
    Kep8u src[6 * 100], dst[6 * 100];
    Kep32s srcStep, dstStep, width, height;
};
void genShift(Rng& rng, ShiftCase& c, int srcElem, int dstElem) {
    rng.fill(c.src, sizeof c.src, {128});
    rng.fill(c.dst, sizeof c.dst);
    c.width = static_cast<Kep32s>(rng.range(1, 40));
    c.height = static_cast<Kep32s>(rng.range(1, 6));
    c.srcStep = static_cast<Kep32s>(c.width * srcElem + rng.range(0, 5));
    c.dstStep = static_cast<Kep32s>(c.width * dstElem + rng.range(0, 5));
}

template <typename Src, typename Dst>
Variant<ShiftCase> shift(const std::string& name, std::function<KepResult(const Src*, int, Dst*, int, KepiSize)> f, Place place) {
    return dcttest::placed<ShiftCase>(name, place, [f](ShiftCase& c, const Offsets& at) {
        Placed s(c.src, at);
        Placed d(c.dst, at);
        return f(s.template as<Src>(), c.srcStep, d.template as<Dst>(), c.dstStep, KepiSize{c.width, c.height});
    });
}
template <typename Src, typename Dst>
std::function<KepResult(const Src*, int, Dst*, int, KepiSize)> shiftKernel(void (*k)(const Src*, int, Dst*, int, int, int)) {
    return [k](const Src* s, int ss, Dst* d, int ds, KepiSize roi) {
        k(s, ss, d, ds, roi.width, roi.height);
        return kepOk;
    };
}

template <typename S, typename D, typename Export>
void runShift(const char* family, void (*ref)(const S*, int, D*, int, int, int), void (*simd)(const S*, int, D*, int, int, int),
              const Export (&tbl)[2], Export stub) {
    kepcheck::runVariants<ShiftCase>(family, kCases, [](Rng& r, ShiftCase& c) { genShift(r, c, sizeof(S), sizeof(D)); },
                                     {shift<S, D>("c", shiftKernel(ref), Place::Aligned),
                                      shift<S, D>("ssse3", shiftKernel(simd), Place::Any),
                                      shift<S, D>("slot 0", slot(tbl, 0), Place::Any),
                                      shift<S, D>("slot 1", slot(tbl, 1), Place::Odd),
                                      shift<S, D>("stub", stub, Place::Even)});
}

TEST(DctEquivalence, Sub128) {
    runShift("sub128", ownSub128_c, ownSub128_ssse3, ownTbl_kepiSub128_JPEG_8u16s_C1R, kepiSub128_JPEG_8u16s_C1R);
}

TEST(DctEquivalence, Add128) {
    runShift("add128", ownAdd128_c, ownAdd128_ssse3, ownTbl_kepiAdd128_JPEG_16s8u_C1R, kepiAdd128_JPEG_16s8u_C1R);
}

TEST(DctEquivalence, Inverse16sWrapping) {
    const auto& tbl = ownTbl_kepiDCTQuantInv8x8_JPEG_16s_C1;
    const auto& tblI = ownTbl_kepiDCTQuantInv8x8_JPEG_16s_C1I;
    kepcheck::runVariants<BlockCase>("dct inv 16s", kCases, genInv,
                                   {blockVariant("c", kernel(ownDCTQuantInv8x8_c, false), Place::Aligned),
                                    blockVariant("ssse3", kernel(ownDCTQuantInv8x8_ssse3, false), Place::Aligned),
                                    blockVariant("ssse3 anywhere", kernel(ownDCTQuantInv8x8_ssse3, false), Place::Any),
                                    blockVariant("slot 0", slot(tbl, 0), Place::Even),
                                    blockVariant("slot 1", slot(tbl, 1), Place::Even),
                                    blockVariant("stub", kepiDCTQuantInv8x8_JPEG_16s_C1, Place::Aligned),
                                    inPlace("in place slot 0", slot(tblI, 0), Place::Any),
                                    inPlace("in place slot 1", slot(tblI, 1), Place::Odd),
                                    inPlace("in place stub", kepiDCTQuantInv8x8_JPEG_16s_C1I, Place::Even)});
}

// Any pointer of the out-of-place form at an odd address: saturating dequantization.
TEST(DctEquivalence, Inverse16sOddAddressSaturates) {
    const auto& tbl = ownTbl_kepiDCTQuantInv8x8_JPEG_16s_C1;
    kepcheck::runVariants<BlockCase>("dct inv 16s odd", kCases, genInv,
                                   {blockVariant("c saturating", kernel(ownDCTQuantInv8x8_c, true), Place::Aligned),
                                    blockVariant("ssse3 saturating", kernel(ownDCTQuantInv8x8_ssse3, true), Place::Any),
                                    blockVariant("slot 0 odd", slot(tbl, 0), Place::Odd),
                                    blockVariant("slot 1 odd", slot(tbl, 1), Place::Odd),
                                    blockVariant("stub odd", kepiDCTQuantInv8x8_JPEG_16s_C1, Place::Odd)});
}

// ---- Inverse to 8-bit planes ---------------------------------------------------------------------

struct InvLSCase {
    Kep16s src[64];
    Kep16u table[64];
    Plane dst;
};
using InvLSFn = std::function<KepResult(const Kep16s*, Kep8u*, int, const Kep16u*)>;
Variant<InvLSCase> invLS(const std::string& name, InvLSFn f, Place place) {
    return dcttest::placed<InvLSCase>(name, place, [f](InvLSCase& c, const Offsets& at) {
        Placed s(c.src, at);
        Placed t(c.table, at);
        Placed d(c.dst.bytes, at);
        return f(s.get(), d.get(), c.dst.step, t.get());
    });
}
void genInvLS(Rng& rng, InvLSCase& c) {
    block16s(rng, c.src);
    table16u(rng, c.table, false);
    genPlane(rng, c.dst, 8);
}
// The reference of the shortcuts: the full transform of the corner, the rest taken as zero.
InvLSFn reference(int n) {
    return [n](const Kep16s* s, Kep8u* d, int st, const Kep16u* t) { ownDCTQuantInv8x8LS_c(s, d, st, t, n); return kepOk; };
}
using InvLSExport = decltype(&kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R);
void runInvLS(const char* family, InvLSFn ref, InvLSFn simd, const InvLSExport (&tbl)[2], InvLSExport stub) {
    std::vector<Variant<InvLSCase>> v = {invLS("c", ref, Place::Aligned), invLS("slot 0", slot(tbl, 0), Place::Any),
                                         invLS("slot 1", slot(tbl, 1), Place::Odd), invLS("stub", stub, Place::Even)};
    if (simd) v.insert(v.begin() + 1, invLS("ssse3", simd, Place::Any));
    kepcheck::runVariants<InvLSCase>(family, kCases, genInvLS, v);
}

TEST(DctEquivalence, InverseLevelShift8u) {
    runInvLS("dct inv ls 8u", reference(8), kernel(ownDCTQuantInv8x8LS_ssse3), ownTbl_kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R,
             kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R);
}

// The shortcuts on any block: coefficients outside their corner are ignored, which also covers
// every block that meets their precondition.
TEST(DctEquivalence, InverseShortcuts) {
    runInvLS("dct inv ls 4x4", reference(4), kernel(ownDCTQuantInv8x8LS_4x4_ssse3),
             ownTbl_kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R);
    runInvLS("dct inv ls 2x2", reference(2), kernel(ownDCTQuantInv8x8LS_2x2_ssse3),
             ownTbl_kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R);
    runInvLS("dct inv ls 1x1", kernel(ownDCTQuantInv8x8LS_1x1_c), kernel(ownDCTQuantInv8x8LS_1x1_ssse3),
             ownTbl_kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R);
}

// The reduced-size forms have one implementation; its accuracy is checked in dct_test.cpp.
TEST(DctEquivalence, InverseReducedSizeSlots) {
    auto ref = [](int n) {
        return [n](const Kep16s* s, Kep8u* d, int st, const Kep16u* t) {
            ownDCTQuantInv8x8ToNxNLS_c(s, d, st, t, n);
            return kepOk;
        };
    };
    runInvLS("dct inv to 2x2", ref(2), nullptr, ownTbl_kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R,
             kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R);
    runInvLS("dct inv to 4x4", ref(4), nullptr, ownTbl_kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R,
             kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R);
}

struct Inv16uCase {
    Kep16s src[64];
    Kep32f table[64];
    Plane dst;
};
TEST(DctEquivalence, InverseLevelShift16u) {
    auto run = [](const std::string& name, std::function<KepResult(const Kep16s*, Kep16u*, int, const Kep32f*)> e, Place place) {
        return dcttest::placed<Inv16uCase>(name, place, [e](Inv16uCase& c, const Offsets& at) {
            Placed s(c.src, at);
            Placed t(c.table, at);
            Placed d(c.dst.bytes, at);
            return e(s.get(), d.as<Kep16u>(), c.dst.step, t.get());
        });
    };
    const auto& tbl = ownTbl_kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R;
    kepcheck::runVariants<Inv16uCase>("dct inv ls 16u", kCases / 4,
                                      [](Rng& r, Inv16uCase& c) {
                                          block16s(r, c.src);
                                          table32f(r, c.table);
                                          genPlane(r, c.dst, 16);
                                      },
                                      {run("c", kernel(ownDCTQuantInv8x8LS_32f_c), Place::Aligned),
                                       run("ssse3", kernel(ownDCTQuantInv8x8LS_32f_ssse3), Place::Any),
                                       run("slot 0", slot(tbl, 0), Place::Aligned), run("slot 1", slot(tbl, 1), Place::Any),
                                       run("stub", kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R, Place::Odd)});
}

}  // namespace
