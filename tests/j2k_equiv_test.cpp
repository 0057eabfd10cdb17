// Equivalence of the JPEG 2000 transform kernels: plain C references beside the SSSE3 kernels,
// and every export through slot 0, slot 1 and its stub, on random inputs over the whole value
// range, odd sizes and shifted (misaligned) buffers guarded against stray writes.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "kepcheck.h"
#include "pj2ct.h"
#include "pjdispatch.h"
#include "wt53.h"
#include "wt97.h"

namespace {

using kepcheck::Guarded;
using kepcheck::Rng;
using kepcheck::Variant;

// Every case keeps all its planes in one byte array `mem`; a variant copies it to a guarded
// buffer `offset` bytes past a 64-byte boundary, runs, checks the guards and copies it back.
// Kernels that need scratch get a guarded buffer of exactly `scratchBytes`.
template <typename Case>
Variant<Case> placed(std::string name, size_t offset, std::function<KepResult(Case&, Kep8u* mem, Kep8u* scratch)> fn) {
    return {name, [=](Case& c) {
                Guarded<Kep8u> g(sizeof c.mem, offset);
                Guarded<Kep8u> s(static_cast<size_t>(c.scratchBytes), 0);
                g.load(c.mem);
                const KepResult r = fn(c, g.bytes(), s.bytes());
                EXPECT_TRUE(g.guardsIntact()) << name << ": write outside the planes";
                EXPECT_TRUE(s.guardsIntact()) << name << ": write outside the scratch buffer";
                g.store(c.mem);
                return r;
            }};
}

// ---- 5/3 whole tile ----------------------------------------------------------------------

constexpr int kTileMax = 24;

template <typename T>
struct TileCase {
    Kep8u mem[kTileMax * kTileMax * sizeof(T)];
    int w, h, px, py, scratchBytes;
};

using SizeFn = KepResult (*)(const KepiRect*, int*);

template <typename T, SizeFn size>
void genTile(Rng& rng, TileCase<T>& c) {
    c.w = static_cast<int>(rng.range(1, kTileMax));
    c.h = static_cast<int>(rng.range(1, kTileMax));
    c.px = static_cast<int>(rng.range(0, 1));
    c.py = static_cast<int>(rng.range(0, 1));
    T* p = reinterpret_cast<T*>(c.mem);
    const bool small = rng.chance(50);  // half the cases in the lossless range, half anything
    for (int i = 0; i < kTileMax * kTileMax; ++i) p[i] = small ? static_cast<T>(rng.range(-3000, 3000)) : rng.value<T>();
    const KepiRect r{c.px, c.py, c.w, c.h};
    size(&r, &c.scratchBytes);
}

template <typename T>
using TileKernel = void (*)(T*, int, int, int, int, int, Kep8u*);
template <typename T>
using TileExport = KepResult (*)(T*, int, const KepiRect*, Kep8u*);

template <typename T>
std::vector<Variant<TileCase<T>>> tileVariants(TileKernel<T> ref, TileKernel<T> simd, const TileExport<T> (&tbl)[2], TileExport<T> stub) {
    constexpr int step = kTileMax * sizeof(T);
    auto kernel = [](TileKernel<T> k) {
        return [=](TileCase<T>& c, Kep8u* m, Kep8u* s) { k(reinterpret_cast<T*>(m), step, c.w, c.h, c.px, c.py, s); return kepOk; };
    };
    auto exported = [](TileExport<T> e) {
        return [=](TileCase<T>& c, Kep8u* m, Kep8u* s) {
            const KepiRect r{c.px + 2, c.py + 4, c.w, c.h};
            return e(reinterpret_cast<T*>(m), step, &r, s);
        };
    };
    std::vector<Variant<TileCase<T>>> v = {placed<TileCase<T>>("c", 0, kernel(ref))};
    if (simd) {
        v.push_back(placed<TileCase<T>>("ssse3", 0, kernel(simd)));
        v.push_back(placed<TileCase<T>>("ssse3 shifted", sizeof(T) * 3, kernel(simd)));
    }
    v.push_back(placed<TileCase<T>>("slot 0", sizeof(T), exported(kepcheck::slot(tbl, 0))));
    v.push_back(placed<TileCase<T>>("slot 1", sizeof(T) * 5, exported(kepcheck::slot(tbl, 1))));
    v.push_back(placed<TileCase<T>>("stub", 8, exported(stub)));
    return v;
}

const int kCases = kepcheck::iterations(1500);
const int kLineCases = kepcheck::iterations(500);

// ---- component transforms in place -------------------------------------------------------
// Three planes of up to 37 x 3 pixels in one array (plane stride 40 elements per row, 3 rows).

template <typename T>
struct CtPlanesCase {
    Kep8u mem[3 * 3 * 40 * sizeof(T)];
    int w, scratchBytes;
};
template <typename T>
void genCt(Rng& rng, CtPlanesCase<T>& c) {
    c.w = static_cast<int>(rng.range(1, 37));
    c.scratchBytes = 0;
    T* p = reinterpret_cast<T*>(c.mem);
    for (int i = 0; i < 3 * 3 * 40; ++i) {
        if constexpr (std::is_floating_point<T>::value) p[i] = static_cast<T>(rng.range(-1000000, 1000000)) / 256.0f;
        else p[i] = rng.value<T>();
    }
}
template <typename T, typename F>
std::function<KepResult(CtPlanesCase<T>&, Kep8u*, Kep8u*)> ctCall(F f) {
    return [=](CtPlanesCase<T>& c, Kep8u* m, Kep8u*) -> KepResult {
        T* base = reinterpret_cast<T*>(m);
        T* planes[3] = {base, base + 3 * 40, base + 6 * 40};
        return f(planes, 40 * static_cast<int>(sizeof(T)), KepiSize{c.w, 3});
    };
}
#define J2K_CT_EQUIV(name, T, perPixel, exp)                                                                                 \
    TEST(J2kEquivalence, name) {                                                                                             \
        auto ref = [](T* p[3], int step, KepiSize roi) { return ownCTInPlace<T>(p, step, roi, perPixel); };                  \
        kepcheck::runVariants<CtPlanesCase<T>>(#name, kLineCases, genCt<T>,                                                  \
                                               {placed<CtPlanesCase<T>>("c", 0, ctCall<T>(ref)),                             \
                                                placed<CtPlanesCase<T>>("slot 0", 3 * sizeof(T), ctCall<T>(kepcheck::slot(ownTbl_##exp, 0))), \
                                                placed<CtPlanesCase<T>>("slot 1", sizeof(T), ctCall<T>(kepcheck::slot(ownTbl_##exp, 1))), \
                                                placed<CtPlanesCase<T>>("stub", 0, ctCall<T>(exp))});                        \
    }
J2K_CT_EQUIV(RctForward16s, Kep16s, ownRctFwd<Kep16s>, kepiRCTFwd_JPEG2K_16s_P3IR)
J2K_CT_EQUIV(RctForward32s, Kep32s, ownRctFwd<Kep32s>, kepiRCTFwd_JPEG2K_32s_P3IR)
J2K_CT_EQUIV(RctInverse16s, Kep16s, ownRctInv<Kep16s>, kepiRCTInv_JPEG2K_16s_P3IR)
J2K_CT_EQUIV(RctInverse32s, Kep32s, ownRctInv<Kep32s>, kepiRCTInv_JPEG2K_32s_P3IR)
J2K_CT_EQUIV(IctForward32f, Kep32f, ownIctFwd32f, kepiICTFwd_JPEG2K_32f_P3IR)
J2K_CT_EQUIV(IctInverse32f, Kep32f, ownIctInv32f, kepiICTInv_JPEG2K_32f_P3IR)

// Tiles taller than the SSSE3 kernel's row bitmap reorder their rows by checking cycle
// leaders instead; the result must not change.
TEST(J2kEquivalence, Wt53VeryTallTile) {
    constexpr int w = 3, h = 40001;
    Rng rng(kepcheck::seed());
    std::vector<Kep32s> a(static_cast<size_t>(w) * h);
    for (Kep32s& v : a) v = static_cast<Kep32s>(rng.range(-100000, 100000));
    std::vector<Kep32s> b = a;
    const std::vector<Kep32s> orig = a;
    std::vector<Kep8u> buf((h + 4) * sizeof(Kep32s));
    for (int py = 0; py < 2; ++py) {
        ownWt53FwdTile_c<Kep32s>(a.data(), w * 4, w, h, 1, py, buf.data());
        ownWt53FwdTile_ssse3<Kep32s>(b.data(), w * 4, w, h, 1, py, buf.data());
        ASSERT_EQ(a, b);
        ownWt53InvTile_ssse3<Kep32s>(b.data(), w * 4, w, h, 1, py, buf.data());
        ASSERT_EQ(orig, b);
        a = b;
    }
}

// Long rows cross the SSSE3 row kernels' internal chunks.
template <typename T>
void longRows() {
    constexpr int n = 700;
    Rng rng(kepcheck::seed() + sizeof(T));
    std::vector<T> x(2 * n + 8), lo(n + 4), hi(n + 4), lo2(n + 4), hi2(n + 4), y(2 * n), y2(2 * n);
    rng.fill(x.data(), x.size());
    rng.fill(lo.data(), lo.size());
    rng.fill(hi.data(), hi.size());
    for (int phase = 0; phase < 2; ++phase) {
        const KepiSize s{n, 1};
        ownWt53FwdRows_c<T>(x.data() + 2, 0x1000, lo2.data(), 0x1000, hi2.data(), 0x1000, s, phase);
        std::vector<T> l3(lo2), h3(hi2);
        ownWt53FwdRows_ssse3<T>(x.data() + 2, 0x1000, l3.data(), 0x1000, h3.data(), 0x1000, s, phase);
        ASSERT_EQ(lo2, l3);
        ASSERT_EQ(hi2, h3);
        ownWt53InvRows_c<T>(lo.data() + 1, 0x1000, hi.data() + 1, 0x1000, s, y.data(), 0x1000, phase);
        ownWt53InvRows_ssse3<T>(lo.data() + 1, 0x1000, hi.data() + 1, 0x1000, s, y2.data(), 0x1000, phase);
        ASSERT_EQ(y, y2);
    }
}
TEST(J2kEquivalence, LongRows) {
    longRows<Kep16s>();
    longRows<Kep32s>();
    constexpr int n = 700;
    Rng rng(kepcheck::seed());
    std::vector<Kep32f> x(2 * n + 16);
    for (Kep32f& v : x) v = static_cast<Kep32f>(rng.range(-100000, 100000)) / 64.0f;
    for (int phase = 0; phase < 2; ++phase) {
        std::vector<Kep32f> lo(n), hi(n), lo2(n), hi2(n);
        ownWt97FwdRow_32f_c(x.data() + 8, lo.data(), hi.data(), n, phase != 0);
        ownWt97FwdRow_32f_ssse3(x.data() + 8, lo2.data(), hi2.data(), n, phase != 0);
        ASSERT_EQ(0, std::memcmp(lo.data(), lo2.data(), n * sizeof(Kep32f))) << "9/7 low, phase " << phase;
        ASSERT_EQ(0, std::memcmp(hi.data(), hi2.data(), n * sizeof(Kep32f))) << "9/7 high, phase " << phase;
    }
}

#define J2K_TILE_EQUIV(name, T, t, Dir, W, cases, simd)                                                                  \
    TEST(J2kEquivalence, name) {                                                                                         \
        kepcheck::runVariants<TileCase<T>>(#name, cases, genTile<T, kepiWTGetBufSize_##W##_JPEG2K_##t##_C1IR>,          \
                                           tileVariants<T>(simd ? ownWt53##Dir##Tile_c<T> : ownWt97##Dir##Tile<T>,       \
                                                           simd ? ownWt53##Dir##Tile_ssse3<T> : nullptr,                 \
                                                           ownTbl_kepiWT##Dir##_##W##_JPEG2K_##t##_C1IR,                 \
                                                           kepiWT##Dir##_##W##_JPEG2K_##t##_C1IR));                      \
    }
J2K_TILE_EQUIV(Wt53TileForward16s, Kep16s, 16s, Fwd, B53, kCases, true)
J2K_TILE_EQUIV(Wt53TileForward32s, Kep32s, 32s, Fwd, B53, kCases, true)
J2K_TILE_EQUIV(Wt53TileInverse16s, Kep16s, 16s, Inv, B53, kCases, true)
J2K_TILE_EQUIV(Wt53TileInverse32s, Kep32s, 32s, Inv, B53, kCases, true)
J2K_TILE_EQUIV(Wt97TileForward16s, Kep16s, 16s, Fwd, D97, kCases / 3, false)
J2K_TILE_EQUIV(Wt97TileForward32s, Kep32s, 32s, Fwd, D97, kCases / 3, false)
J2K_TILE_EQUIV(Wt97TileInverse16s, Kep16s, 16s, Inv, D97, kCases / 3, false)
J2K_TILE_EQUIV(Wt97TileInverse32s, Kep32s, 32s, Inv, D97, kCases / 3, false)
// ---- 5/3 rows, columns and lifting steps, 9/7 rows -----------------------------------------
// One square plane holds everything, without overlaps: source lines from row/column 8 (extension
// samples around them), low-pass output from row 48 column 0, high-pass output from row 48
// column 24. Inverse forms read bands from row 8 (columns 2 and 24) and write from row 44.

constexpr int kDim = 80;

template <typename T>
struct LineCase {
    Kep8u mem[kDim * kDim * sizeof(T)];
    int w, h, phase, scratchBytes;
};

template <typename T>
void genLine(Rng& rng, LineCase<T>& c) {
    c.w = static_cast<int>(rng.range(1, 16));
    c.h = static_cast<int>(rng.range(1, 16));
    c.phase = rng.chance(50) ? 0 : static_cast<int>(rng.range(-5, 5));
    c.scratchBytes = 0;
    T* p = reinterpret_cast<T*>(c.mem);
    if constexpr (std::is_floating_point<T>::value) {
        for (int i = 0; i < kDim * kDim; ++i) p[i] = static_cast<T>(rng.range(-1000000, 1000000)) / 1024.0f;
    } else {
        const bool small = rng.chance(50);
        for (int i = 0; i < kDim * kDim; ++i) p[i] = small ? static_cast<T>(rng.range(-3000, 3000)) : rng.value<T>();
    }
}

template <typename T>
T* cell(Kep8u* m, int x, int y) { return reinterpret_cast<T*>(m) + y * kDim + x; }
template <typename T>
constexpr int kStep = kDim * sizeof(T);

// Row/column forward and inverse in one signature: (plane base, case) -> result.
template <typename T>
using Call = std::function<KepResult(LineCase<T>&, Kep8u*)>;

template <typename T, typename F>
Call<T> fwdCall(F f, bool cols) {
    return [=](LineCase<T>& c, Kep8u* m) -> KepResult {
        const KepiSize s = cols ? KepiSize{c.w, c.h} : KepiSize{c.h, c.w};
        return f(cell<T>(m, 8, 8), kStep<T>, cell<T>(m, 0, 48), kStep<T>, cell<T>(m, 24, 48), kStep<T>, s, c.phase);
    };
}
template <typename T, typename F>
Call<T> invCall(F f, bool cols) {
    return [=](LineCase<T>& c, Kep8u* m) -> KepResult {
        const KepiSize s = cols ? KepiSize{c.w, c.h} : KepiSize{c.h, c.w};
        return f(cell<T>(m, 2, 8), kStep<T>, cell<T>(m, 24, 8), kStep<T>, s, cell<T>(m, 4, 44), kStep<T>, c.phase);
    };
}
// Kernels that return nothing.
template <typename T, typename K>
auto quiet(K k) {
    return [=](auto... a) { k(a...); return kepOk; };
}

template <typename T>
std::vector<Variant<LineCase<T>>> lineVariants(Call<T> ref, Call<T> simd, Call<T> slot0, Call<T> slot1, Call<T> stub) {
    auto v = [](std::string name, size_t off, Call<T> f) {
        return placed<LineCase<T>>(name, off, [f](LineCase<T>& c, Kep8u* m, Kep8u*) { return f(c, m); });
    };
    std::vector<Variant<LineCase<T>>> out = {v("c", 0, ref)};
    if (simd) {
        out.push_back(v("ssse3", 0, simd));
        out.push_back(v("ssse3 shifted", 3 * sizeof(T), simd));
    }
    out.push_back(v("slot 0", sizeof(T), slot0));
    out.push_back(v("slot 1", 5 * sizeof(T), slot1));
    out.push_back(v("stub", 4 * sizeof(T), stub));
    return out;
}

#define J2K_LINE_EQUIV(name, T, dir, cols, ref, simd, exp)                                                                \
    TEST(J2kEquivalence, name) {                                                                                          \
        kepcheck::runVariants<LineCase<T>>(#name, kLineCases, genLine<T>,                                                     \
                                           lineVariants<T>(dir##Call<T>(quiet<T>(ref), cols), simd,                       \
                                                           dir##Call<T>(kepcheck::slot(ownTbl_##exp, 0), cols),           \
                                                           dir##Call<T>(kepcheck::slot(ownTbl_##exp, 1), cols),           \
                                                           dir##Call<T>(exp, cols)));                                     \
    }

J2K_LINE_EQUIV(Wt53Rows16s, Kep16s, fwd, false, ownWt53FwdRows_c<Kep16s>, (fwdCall<Kep16s>(quiet<Kep16s>(ownWt53FwdRows_ssse3<Kep16s>), false)),
               kepiWTFwdRow_B53_JPEG2K_16s_C1R)
J2K_LINE_EQUIV(Wt53Rows32s, Kep32s, fwd, false, ownWt53FwdRows_c<Kep32s>, (fwdCall<Kep32s>(quiet<Kep32s>(ownWt53FwdRows_ssse3<Kep32s>), false)),
               kepiWTFwdRow_B53_JPEG2K_32s_C1R)
J2K_LINE_EQUIV(Wt53InvRows16s, Kep16s, inv, false, ownWt53InvRows_c<Kep16s>, (invCall<Kep16s>(quiet<Kep16s>(ownWt53InvRows_ssse3<Kep16s>), false)),
               kepiWTInvRow_B53_JPEG2K_16s_C1R)
J2K_LINE_EQUIV(Wt53InvRows32s, Kep32s, inv, false, ownWt53InvRows_c<Kep32s>, (invCall<Kep32s>(quiet<Kep32s>(ownWt53InvRows_ssse3<Kep32s>), false)),
               kepiWTInvRow_B53_JPEG2K_32s_C1R)
J2K_LINE_EQUIV(Wt53Cols16s, Kep16s, fwd, true, ownWt53FwdCols_c<Kep16s>, (fwdCall<Kep16s>(quiet<Kep16s>(ownWt53FwdCols_ssse3<Kep16s>), true)),
               kepiWTFwdCol_B53_JPEG2K_16s_C1R)
J2K_LINE_EQUIV(Wt53Cols32s, Kep32s, fwd, true, ownWt53FwdCols_c<Kep32s>, (fwdCall<Kep32s>(quiet<Kep32s>(ownWt53FwdCols_ssse3<Kep32s>), true)),
               kepiWTFwdCol_B53_JPEG2K_32s_C1R)
J2K_LINE_EQUIV(Wt53InvCols16s, Kep16s, inv, true, ownWt53InvCols_c<Kep16s>, (invCall<Kep16s>(quiet<Kep16s>(ownWt53InvCols_ssse3<Kep16s>), true)),
               kepiWTInvCol_B53_JPEG2K_16s_C1R)
J2K_LINE_EQUIV(Wt53InvCols32s, Kep32s, inv, true, ownWt53InvCols_c<Kep32s>, (invCall<Kep32s>(quiet<Kep32s>(ownWt53InvCols_ssse3<Kep32s>), true)),
               kepiWTInvCol_B53_JPEG2K_32s_C1R)

// 9/7 forward rows: the float kernels per row; the fixed-point forms have one implementation,
// compared through both slots and the stub.
template <typename T>
void rowsOf(void (*k)(const T*, T*, T*, int, bool), const T* s, int ss, T* l, int ls, T* h, int hs, KepiSize z, int ph) {
    for (int y = 0; y < z.height; ++y)
        k(s + y * ss / static_cast<int>(sizeof(T)), l + y * ls / static_cast<int>(sizeof(T)), h + y * hs / static_cast<int>(sizeof(T)), z.width, ph != 0);
}
J2K_LINE_EQUIV(Wt97Rows32f, Kep32f, fwd, false, ([](auto... a) { rowsOf<Kep32f>(ownWt97FwdRow_32f_c, a...); }),
               (fwdCall<Kep32f>(quiet<Kep32f>([](auto... a) { rowsOf<Kep32f>(ownWt97FwdRow_32f_ssse3, a...); }), false)),
               kepiWTFwdRow_D97_JPEG2K_32f_C1R)
J2K_LINE_EQUIV(Wt97Rows16s, Kep16s, fwd, false, ([](auto... a) { rowsOf<Kep16s>(ownWt97FwdRow_16s_c, a...); }), nullptr,
               kepiWTFwdRow_D97_JPEG2K_16s_C1R)
J2K_LINE_EQUIV(Wt97Rows32s, Kep32s, fwd, false, ([](auto... a) { rowsOf<Kep32s>(ownWt97FwdRow_32s_c, a...); }), nullptr,
               kepiWTFwdRow_D97_JPEG2K_32s_C1R)

template <typename T>
void invRowsOf(void (*k)(const T*, const T*, T*, int, bool), const T* l, int ls, const T* h, int hs, KepiSize z, T* d, int ds, int ph) {
    for (int y = 0; y < z.height; ++y)
        k(l + y * ls / static_cast<int>(sizeof(T)), h + y * hs / static_cast<int>(sizeof(T)), d + y * ds / static_cast<int>(sizeof(T)), z.width, ph != 0);
}
J2K_LINE_EQUIV(Wt97InvRows32f, Kep32f, inv, false, ([](auto... a) { invRowsOf<Kep32f>(ownWt97InvRow_32f_c, a...); }), nullptr,
               kepiWTInvRow_D97_JPEG2K_32f_C1R)
J2K_LINE_EQUIV(Wt97InvRows16s, Kep16s, inv, false, ([](auto... a) { invRowsOf<Kep16s>(ownWt97InvRow_16s_c, a...); }), nullptr,
               kepiWTInvRow_D97_JPEG2K_16s_C1R)
J2K_LINE_EQUIV(Wt97InvRows32s, Kep32s, inv, false, ([](auto... a) { invRowsOf<Kep32s>(ownWt97InvRow_32s_c, a...); }), nullptr,
               kepiWTInvRow_D97_JPEG2K_32s_C1R)
J2K_LINE_EQUIV(Wt97Cols32f, Kep32f, fwd, true, ownWt97FwdCols_32f_c, (fwdCall<Kep32f>(quiet<Kep32f>(ownWt97FwdCols_32f_ssse3), true)),
               kepiWTFwdCol_D97_JPEG2K_32f_C1R)
J2K_LINE_EQUIV(Wt97InvCols32f, Kep32f, inv, true, ownWt97InvCols_32f_c, (invCall<Kep32f>(quiet<Kep32f>(ownWt97InvCols_32f_ssse3), true)),
               kepiWTInvCol_D97_JPEG2K_32f_C1R)

// ---- 5/3 lifting steps -------------------------------------------------------------------
// Six rows of up to 40 elements: rows 0-3 inputs, rows 4-5 outputs (forward: 0 1 2 = x, 3 = the
// previous high-pass row; inverse: 0 = L, 1 2 = H, 3 = x[2k]).

template <typename T>
struct LiftCase {
    Kep8u mem[6 * 40 * sizeof(T)];
    int w, scratchBytes, stage;
};
template <typename T>
void genLift(Rng& rng, LiftCase<T>& c) {
    c.w = static_cast<int>(rng.range(1, 40));
    c.scratchBytes = 0;
    c.stage = static_cast<int>(rng.range(-1, 3));
    T* p = reinterpret_cast<T*>(c.mem);
    if constexpr (std::is_floating_point<T>::value) {
        for (int i = 0; i < 6 * 40; ++i) p[i] = static_cast<T>(rng.range(-1000000, 1000000)) / 512.0f;
    } else {
        rng.fill(p, 6 * 40);
    }
}
template <typename T>
T* liftRow(Kep8u* m, int r) { return reinterpret_cast<T*>(m) + 40 * r; }

template <typename T, typename F>
std::function<KepResult(LiftCase<T>&, Kep8u*, Kep8u*)> fwdLiftCall(F f) {
    return [=](LiftCase<T>& c, Kep8u* m, Kep8u*) -> KepResult {
        return f(liftRow<T>(m, 0), liftRow<T>(m, 1), liftRow<T>(m, 2), liftRow<T>(m, 4), liftRow<T>(m, 3), liftRow<T>(m, 5), c.w);
    };
}
template <typename T, typename F>
std::function<KepResult(LiftCase<T>&, Kep8u*, Kep8u*)> invLiftCall(F f) {
    return [=](LiftCase<T>& c, Kep8u* m, Kep8u*) -> KepResult {
        return f(liftRow<T>(m, 0), liftRow<T>(m, 1), liftRow<T>(m, 2), liftRow<T>(m, 3), liftRow<T>(m, 4), liftRow<T>(m, 5), c.w);
    };
}

#define J2K_LIFT_EQUIV(name, T, dir, ref, simd, exp)                                                                       \
    TEST(J2kEquivalence, name) {                                                                                           \
        kepcheck::runVariants<LiftCase<T>>(#name, kLineCases, genLift<T>,                                                      \
                                           {placed<LiftCase<T>>("c", 0, dir##LiftCall<T>(quiet<T>(ref))),                  \
                                            placed<LiftCase<T>>("ssse3", 0, dir##LiftCall<T>(quiet<T>(simd))),             \
                                            placed<LiftCase<T>>("ssse3 shifted", 3 * sizeof(T), dir##LiftCall<T>(quiet<T>(simd))), \
                                            placed<LiftCase<T>>("slot 0", sizeof(T), dir##LiftCall<T>(kepcheck::slot(ownTbl_##exp, 0))), \
                                            placed<LiftCase<T>>("slot 1", 2 * sizeof(T), dir##LiftCall<T>(kepcheck::slot(ownTbl_##exp, 1))), \
                                            placed<LiftCase<T>>("stub", 5 * sizeof(T), dir##LiftCall<T>(exp))});           \
    }
J2K_LIFT_EQUIV(Wt53FwdLift16s, Kep16s, fwd, ownWt53FwdLift_c<Kep16s>, ownWt53FwdLift_ssse3<Kep16s>, kepiWTFwdColLift_B53_JPEG2K_16s_C1)
J2K_LIFT_EQUIV(Wt53FwdLift32s, Kep32s, fwd, ownWt53FwdLift_c<Kep32s>, ownWt53FwdLift_ssse3<Kep32s>, kepiWTFwdColLift_B53_JPEG2K_32s_C1)
J2K_LIFT_EQUIV(Wt53InvLift16s, Kep16s, inv, ownWt53InvLift_c<Kep16s>, ownWt53InvLift_ssse3<Kep16s>, kepiWTInvColLift_B53_JPEG2K_16s_C1)
J2K_LIFT_EQUIV(Wt53InvLift32s, Kep32s, inv, ownWt53InvLift_c<Kep32s>, ownWt53InvLift_ssse3<Kep32s>, kepiWTInvColLift_B53_JPEG2K_32s_C1)

// The 9/7 lifting stages have one implementation: both slots and the stub, valid and invalid
// stages and widths alike.
template <typename T, typename F>
std::function<KepResult(LiftCase<T>&, Kep8u*, Kep8u*)> fwdLift97(F f) {
    return [=](LiftCase<T>& c, Kep8u* m, Kep8u*) -> KepResult {
        return f(liftRow<T>(m, 0), liftRow<T>(m, 1), liftRow<T>(m, 2), liftRow<T>(m, 4), liftRow<T>(m, 3), liftRow<T>(m, 5), c.w, c.stage);
    };
}
template <typename T, typename F>
std::function<KepResult(LiftCase<T>&, Kep8u*, Kep8u*)> invLift97(F f) {
    return [=](LiftCase<T>& c, Kep8u* m, Kep8u*) -> KepResult {
        return f(liftRow<T>(m, 0), liftRow<T>(m, 1), liftRow<T>(m, 2), liftRow<T>(m, 3), liftRow<T>(m, 4), liftRow<T>(m, 5), c.w, c.stage);
    };
}
template <typename T>
void genLift97(Rng& rng, LiftCase<T>& c) {
    genLift<T>(rng, c);
    if (rng.chance(5)) c.w = static_cast<int>(rng.range(-2, 0));
}
#define J2K_LIFT97_EQUIV(name, T, dir, exp)                                                                                \
    TEST(J2kEquivalence, name) {                                                                                           \
        kepcheck::runVariants<LiftCase<T>>(#name, kLineCases, genLift97<T>,                                                  \
                                           {placed<LiftCase<T>>("slot 0", 0, dir##Lift97<T>(kepcheck::slot(ownTbl_##exp, 0))), \
                                            placed<LiftCase<T>>("slot 1", 3 * sizeof(T), dir##Lift97<T>(kepcheck::slot(ownTbl_##exp, 1))), \
                                            placed<LiftCase<T>>("stub", 5 * sizeof(T), dir##Lift97<T>(exp))});             \
    }
J2K_LIFT97_EQUIV(Wt97FwdLift32f, Kep32f, fwd, kepiWTFwdColLift_D97_JPEG2K_32f_C1)
J2K_LIFT97_EQUIV(Wt97FwdLift16s, Kep16s, fwd, kepiWTFwdColLift_D97_JPEG2K_16s_C1)
J2K_LIFT97_EQUIV(Wt97FwdLift32s, Kep32s, fwd, kepiWTFwdColLift_D97_JPEG2K_32s_C1)
J2K_LIFT97_EQUIV(Wt97InvLift32f, Kep32f, inv, kepiWTInvColLift_D97_JPEG2K_32f_C1)
J2K_LIFT97_EQUIV(Wt97InvLift16s, Kep16s, inv, kepiWTInvColLift_D97_JPEG2K_16s_C1)
J2K_LIFT97_EQUIV(Wt97InvLift32s, Kep32s, inv, kepiWTInvColLift_D97_JPEG2K_32s_C1)

}  // namespace
