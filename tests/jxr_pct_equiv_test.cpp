// Equivalence of the photo core transform kernels: the plain C reference against the SSSE3
// kernel and the exports through both dispatch slots and the stub, on random regions at any byte
// offset with any step (odd ones included), values from the whole range of the element type
// (where the integer forms wrap) and partial last groups of blocks. The whole plane is compared,
// so a write outside the region shows too.

#include <gtest/gtest.h>

#include "kepcheck.h"
#include "pct.h"
#include "pjdispatch.h"

namespace {

using kepcheck::Rng;
using kepcheck::Variant;

struct PctCase {
    Kep8u plane[1600];
    Kep32s blocksX, blocksY, offset;
    Kep32u step;
};

template <typename T>
void generate(Rng& rng, PctCase& c, int blocksX, int blocksY) {
    c.blocksX = blocksX;
    c.blocksY = blocksY;
    c.offset = static_cast<Kep32s>(rng.range(0, 15));
    c.step = static_cast<Kep32u>(c.blocksX * 4 * sizeof(T) + (rng.chance(30) ? 0 : rng.range(0, 9)));
    // Random bytes everywhere (the kernels must leave them alone outside the region), then
    // proper values at the region's elements, wherever offset and step put them. Floats stay
    // finite (no NaN payloads, whose propagation follows operand order rather than arithmetic).
    for (Kep8u& b : c.plane) b = static_cast<Kep8u>(rng.next());
    const int64_t lim = rng.chance(50) ? 2047 : std::numeric_limits<Kep16s>::max();
    for (int y = 0; y < 4 * c.blocksY; ++y)
        for (int x = 0; x < 4 * c.blocksX; ++x) {
            T v;
            if constexpr (std::is_floating_point<T>::value)
                v = static_cast<T>(rng.chance(50) ? rng.range(-4096, 4096) : rng.range(-1000000, 1000000) / 7.0);
            else if (rng.chance(50))
                v = static_cast<T>(rng.range(-lim, lim));
            else
                v = rng.value<T>();
            std::memcpy(c.plane + c.offset + static_cast<size_t>(y) * c.step + x * sizeof(T), &v, sizeof v);
        }
}

template <typename T>
T* at(PctCase& c) { return reinterpret_cast<T*>(c.plane + c.offset); }

template <typename T>
using Kernel = void (*)(T*, Kep32u, int, int);
template <typename T>
using RoiExport = KepResult (*)(T*, Kep32u, KepiSize);

template <typename T>
Variant<PctCase> kernel(const char* name, Kernel<T> k) {
    return {name, [k](PctCase& c) { k(at<T>(c), c.step, c.blocksX, c.blocksY); return kepOk; }};
}

template <typename T>
Variant<PctCase> roi(std::string name, RoiExport<T> e) {
    return {name, [e](PctCase& c) { return e(at<T>(c), c.step, KepiSize{4 * c.blocksX, 4 * c.blocksY}); }};
}

template <typename T>
void roiFamily(const char* family, Kernel<T> ref, Kernel<T> simd, const RoiExport<T> (&tbl)[2], RoiExport<T> stub) {
    kepcheck::runVariants<PctCase>(family, kepcheck::iterations(3000), [](Rng& r, PctCase& c) { generate<T>(r, c, static_cast<int>(r.range(1, 5)), static_cast<int>(r.range(1, 4))); },
                                   {kernel<T>("c", ref), kernel<T>("ssse3", simd), roi<T>("slot 0", kepcheck::slot(tbl, 0)),
                                    roi<T>("slot 1", kepcheck::slot(tbl, 1)), roi<T>("stub", stub)});
}

TEST(PctEquivalence, RoiForms) {
    roiFamily<Kep16s>("pct fwd 16s", ownPCTFwd_16s_c, ownPCTFwd_16s_ssse3, ownTbl_kepiPCTFwd_JPEGXR_16s_C1IR, kepiPCTFwd_JPEGXR_16s_C1IR);
    roiFamily<Kep32s>("pct fwd 32s", ownPCTFwd_32s_c, ownPCTFwd_32s_ssse3, ownTbl_kepiPCTFwd_JPEGXR_32s_C1IR, kepiPCTFwd_JPEGXR_32s_C1IR);
    roiFamily<Kep32f>("pct fwd 32f", ownPCTFwd_32f_c, ownPCTFwd_32f_ssse3, ownTbl_kepiPCTFwd_JPEGXR_32f_C1IR, kepiPCTFwd_JPEGXR_32f_C1IR);
    roiFamily<Kep16s>("pct inv 16s", ownPCTInv_16s_c, ownPCTInv_16s_ssse3, ownTbl_kepiPCTInv_JPEGXR_16s_C1IR, kepiPCTInv_JPEGXR_16s_C1IR);
    roiFamily<Kep32s>("pct inv 32s", ownPCTInv_32s_c, ownPCTInv_32s_ssse3, ownTbl_kepiPCTInv_JPEGXR_32s_C1IR, kepiPCTInv_JPEGXR_32s_C1IR);
    roiFamily<Kep32f>("pct inv 32f", ownPCTInv_32f_c, ownPCTInv_32f_ssse3, ownTbl_kepiPCTInv_JPEGXR_32f_C1IR, kepiPCTInv_JPEGXR_32f_C1IR);
}

// The macroblock forms against the reference over their fixed region, through both slots and the
// stub.
template <typename T>
using MbExport = KepResult (*)(T*, Kep32u);

template <typename T>
void mbFamily(const char* family, int w, int h, Kernel<T> ref, const MbExport<T> (&tbl)[2], MbExport<T> stub) {
    auto gen = [w, h](Rng& r, PctCase& c) { generate<T>(r, c, w / 4, h / 4); };
    auto mb = [](std::string name, MbExport<T> e) { return Variant<PctCase>{name, [e](PctCase& c) { return e(at<T>(c), c.step); }}; };
    kepcheck::runVariants<PctCase>(family, kepcheck::iterations(500), gen,
                                   {kernel<T>("c", ref), mb("slot 0", kepcheck::slot(tbl, 0)), mb("slot 1", kepcheck::slot(tbl, 1)), mb("stub", stub)});
}

#define KEP_MB_FAMILY(dir, w, h, t)                                                                                      \
    mbFamily<Kep##t>("pct " #dir #w "x" #h " " #t, w, h, ownPCT##dir##_##t##_c, ownTbl_kepiPCT##dir##w##x##h##_JPEGXR_##t##_C1IR, \
                     kepiPCT##dir##w##x##h##_JPEGXR_##t##_C1IR)

#define KEP_MB_FAMILIES(dir)          \
    KEP_MB_FAMILY(dir, 8, 8, 16s);    \
    KEP_MB_FAMILY(dir, 8, 16, 16s);   \
    KEP_MB_FAMILY(dir, 16, 16, 16s);  \
    KEP_MB_FAMILY(dir, 8, 8, 32s);    \
    KEP_MB_FAMILY(dir, 8, 16, 32s);   \
    KEP_MB_FAMILY(dir, 16, 16, 32s);  \
    KEP_MB_FAMILY(dir, 8, 8, 32f);    \
    KEP_MB_FAMILY(dir, 8, 16, 32f);   \
    KEP_MB_FAMILY(dir, 16, 16, 32f)

TEST(PctEquivalence, MacroblockForms) {
    KEP_MB_FAMILIES(Fwd);
    KEP_MB_FAMILIES(Inv);
}

}  // namespace
