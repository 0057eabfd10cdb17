// JPEG 2000 component transforms: exact reversibility and the T.800 G.2 equations for the RCT,
// the ICT against the real matrix, the deliberate differences of the 16s fixed-point form, the
// three layouts agreeing with each other, both slots, and the argument checks.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "j2k_plane.h"
#include "j2k_ref.h"
#include "kepcheck.h"
#include "pjdispatch.h"

namespace {

using j2ktest::Plane;
using kepcheck::Rng;

constexpr int kW = 13, kH = 5;

template <typename T>
struct Planes {
    Plane<T> p[3] = {Plane<T>(kW, kH), Plane<T>(kW, kH), Plane<T>(kW, kH)};
    T* ptr[3] = {p[0].data(), p[1].data(), p[2].data()};
    int step() const { return p[0].step(); }
    void fill(Rng& rng, int64_t lo, int64_t hi) {
        for (auto& q : p) j2ktest::fillRandom(rng, q, lo, hi);
    }
};

TEST(J2kRct, EquationsAndExactInverse32s) {
    Rng rng(kepcheck::seed());
    for (int iter = 0; iter < 50; ++iter) {
        Planes<Kep32s> a;
        a.fill(rng, -(1 << 29), 1 << 29);
        Planes<Kep32s> o = a;  // a copy of the values (its pointers still name a's planes)
        ASSERT_EQ(kepOk, kepiRCTFwd_JPEG2K_32s_P3IR(a.ptr, a.step(), KepiSize{kW, kH}));
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                const int64_t r = o.p[0].at(x, y), g = o.p[1].at(x, y), b = o.p[2].at(x, y);
                ASSERT_EQ(j2kref::floorDiv(r + 2 * g + b, 4), a.p[0].at(x, y));  // T.800 G-1
                ASSERT_EQ(b - g, a.p[1].at(x, y));
                ASSERT_EQ(r - g, a.p[2].at(x, y));
            }
        ASSERT_EQ(kepOk, kepiRCTInv_JPEG2K_32s_P3IR(a.ptr, a.step(), KepiSize{kW, kH}));
        for (int i = 0; i < 3; ++i) ASSERT_EQ(o.p[i].v, a.p[i].v);
    }
    // Grey stays grey.
    Kep32s px[3] = {-77, -77, -77};
    Kep32s* pp[3] = {px, px + 1, px + 2};
    ASSERT_EQ(kepOk, kepiRCTFwd_JPEG2K_32s_P3IR(pp, 4, KepiSize{1, 1}));
    EXPECT_EQ(-77, px[0]);
    EXPECT_EQ(0, px[1]);
    EXPECT_EQ(0, px[2]);
}

// Every layout of a transform gives the same numbers as its in-place form.
template <typename T, typename Fwd, typename Inv, typename FwdIR, typename InvIR>
void layoutsAgree(Fwd fwdC3P3, Inv invP3C3, FwdIR fwdIR, InvIR invIR, int64_t lo, int64_t hi) {
    Rng rng(kepcheck::seed() + sizeof(T));
    Planes<T> a;
    a.fill(rng, lo, hi);
    std::vector<T> pix(static_cast<size_t>(kW * 3 * kH) + 9);
    const int pixStep = kW * 3 * static_cast<int>(sizeof(T));
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x)
            for (int c = 0; c < 3; ++c) pix[static_cast<size_t>(y * kW * 3 + x * 3 + c)] = a.p[c].at(x, y);
    Planes<T> b;
    ASSERT_EQ(kepOk, fwdC3P3(pix.data(), pixStep, b.ptr, b.step(), KepiSize{kW, kH}));
    ASSERT_EQ(kepOk, fwdIR(a.ptr, a.step(), KepiSize{kW, kH}));
    for (int c = 0; c < 3; ++c)
            for (int y = 0; y < kH; ++y)
                for (int x = 0; x < kW; ++x) ASSERT_EQ(a.p[c].at(x, y), b.p[c].at(x, y)) << "forward layouts, component " << c;
    const T* src[3] = {a.ptr[0], a.ptr[1], a.ptr[2]};
    ASSERT_EQ(kepOk, invP3C3(src, a.step(), pix.data(), pixStep, KepiSize{kW, kH}));
    ASSERT_EQ(kepOk, invIR(a.ptr, a.step(), KepiSize{kW, kH}));
    for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x)
                for (int c = 0; c < 3; ++c) ASSERT_EQ(a.p[c].at(x, y), pix[static_cast<size_t>(y * kW * 3 + x * 3 + c)]) << "inverse layouts";
}

TEST(J2kComponentTransforms, LayoutsAgree) {
    layoutsAgree<Kep16s>(kepiRCTFwd_JPEG2K_16s_C3P3R, kepiRCTInv_JPEG2K_16s_P3C3R, kepiRCTFwd_JPEG2K_16s_P3IR, kepiRCTInv_JPEG2K_16s_P3IR, -32768, 32767);
    layoutsAgree<Kep32s>(kepiRCTFwd_JPEG2K_32s_C3P3R, kepiRCTInv_JPEG2K_32s_P3C3R, kepiRCTFwd_JPEG2K_32s_P3IR, kepiRCTInv_JPEG2K_32s_P3IR, INT32_MIN, INT32_MAX);
    layoutsAgree<Kep32f>(kepiICTFwd_JPEG2K_32f_C3P3R, kepiICTInv_JPEG2K_32f_P3C3R, kepiICTFwd_JPEG2K_32f_P3IR, kepiICTInv_JPEG2K_32f_P3IR, -4000, 4000);
}

TEST(J2kRct, SixteenBitWrapsWithoutSaturation) {
    // Cb = B - G = 32767 - (-32768) keeps its low 16 bits: -1.
    Kep16s r = 0, g = -32768, b = 32767;
    Kep16s* p[3] = {&r, &g, &b};
    ASSERT_EQ(kepOk, kepiRCTFwd_JPEG2K_16s_P3IR(p, 2, KepiSize{1, 1}));
    EXPECT_EQ(-1, g);
    EXPECT_EQ(-32768, b);  // Cr = 0 - (-32768) = 32768 -> -32768
    // In range, the inverse restores the input exactly.
    Rng rng(kepcheck::seed() + 9);
    Planes<Kep16s> a;
    a.fill(rng, -8000, 8000);
    const Planes<Kep16s> orig = a;
    ASSERT_EQ(kepOk, kepiRCTFwd_JPEG2K_16s_P3IR(a.ptr, a.step(), KepiSize{kW, kH}));
    ASSERT_EQ(kepOk, kepiRCTInv_JPEG2K_16s_P3IR(a.ptr, a.step(), KepiSize{kW, kH}));
    for (int i = 0; i < 3; ++i) ASSERT_EQ(orig.p[i].v, a.p[i].v);
}

// The ICT against the real YCbCr matrix of T.800 G.3 in double precision.
TEST(J2kIct, MatchesTheMatrix) {
    Rng rng(kepcheck::seed() + 4);
    for (int iter = 0; iter < 200; ++iter) {
        const double r = static_cast<double>(rng.range(-128, 127)), g = static_cast<double>(rng.range(-128, 127)), b = static_cast<double>(rng.range(-128, 127));
        const double y = 0.299 * r + 0.587 * g + 0.114 * b, cb = -0.16875 * r - 0.33126 * g + 0.5 * b, cr = 0.5 * r - 0.41869 * g - 0.08131 * b;
        Kep32f f[3] = {static_cast<Kep32f>(r), static_cast<Kep32f>(g), static_cast<Kep32f>(b)};
        Kep32f* fp[3] = {f, f + 1, f + 2};
        ASSERT_EQ(kepOk, kepiICTFwd_JPEG2K_32f_P3IR(fp, 4, KepiSize{1, 1}));
        EXPECT_NEAR(y, f[0], 1e-4);
        EXPECT_NEAR(cb, f[1], 1e-4);
        EXPECT_NEAR(cr, f[2], 1e-4);
        ASSERT_EQ(kepOk, kepiICTInv_JPEG2K_32f_P3IR(fp, 4, KepiSize{1, 1}));
        // The five-digit inverse matrix of G.3 undoes the forward one to within about 1e-4.
        EXPECT_NEAR(r, f[0], 0.02);
        EXPECT_NEAR(g, f[1], 0.02);
        EXPECT_NEAR(b, f[2], 0.02);

        // Fixed point: within one of the rounded real result, both widths.
        Kep32s i32[3] = {static_cast<Kep32s>(r), static_cast<Kep32s>(g), static_cast<Kep32s>(b)};
        Kep16s i16[3] = {static_cast<Kep16s>(r), static_cast<Kep16s>(g), static_cast<Kep16s>(b)};
        Kep32s* p32[3] = {i32, i32 + 1, i32 + 2};
        Kep16s* p16[3] = {i16, i16 + 1, i16 + 2};
        ASSERT_EQ(kepOk, kepiICTFwd_JPEG2K_32s_P3IR(p32, 4, KepiSize{1, 1}));
        ASSERT_EQ(kepOk, kepiICTFwd_JPEG2K_16s_P3IR(p16, 4, KepiSize{1, 1}));
        const double expect[3] = {y, cb, cr};
        for (int c = 0; c < 3; ++c) {
            EXPECT_LE(std::fabs(expect[c] - i32[c]), 1.0) << "32s component " << c;
            EXPECT_LE(std::fabs(expect[c] - i16[c]), 1.0) << "16s component " << c;
        }
        ASSERT_EQ(kepOk, kepiICTInv_JPEG2K_32s_P3IR(p32, 4, KepiSize{1, 1}));
        ASSERT_EQ(kepOk, kepiICTInv_JPEG2K_16s_P3IR(p16, 4, KepiSize{1, 1}));
        const double in[3] = {r, g, b};
        for (int c = 0; c < 3; ++c) {
            EXPECT_LE(std::fabs(in[c] - i32[c]), 2.0) << "32s round trip " << c;
            EXPECT_LE(std::fabs(in[c] - i16[c]), 2.0) << "16s round trip " << c;
        }
    }
    Kep32s white[3] = {255, 255, 255};
    Kep32s* wp[3] = {white, white + 1, white + 2};
    ASSERT_EQ(kepOk, kepiICTFwd_JPEG2K_32s_P3IR(wp, 4, KepiSize{1, 1}));
    EXPECT_EQ(255, white[0]);
    EXPECT_EQ(0, white[1]);
    EXPECT_EQ(0, white[2]);
}

// The 16s form is its own formulation: it saturates where the 32s form does not, rounds the
// inverse G differently at odd multiples of 8192, and wraps its colour differences.
TEST(J2kIct, SixteenBitFormulation) {
    auto inv16 = [](Kep16s y, Kep16s cb, Kep16s cr, Kep16s out[3]) {
        out[0] = y, out[1] = cb, out[2] = cr;
        Kep16s* p[3] = {out, out + 1, out + 2};
        return kepiICTInv_JPEG2K_16s_P3IR(p, 2, KepiSize{1, 1});
    };
    auto inv32 = [](Kep32s y, Kep32s cb, Kep32s cr, Kep32s out[3]) {
        out[0] = y, out[1] = cb, out[2] = cr;
        Kep32s* p[3] = {out, out + 1, out + 2};
        return kepiICTInv_JPEG2K_32s_P3IR(p, 4, KepiSize{1, 1});
    };
    Kep16s o16[3];
    Kep32s o32[3];
    ASSERT_EQ(kepOk, inv16(32767, 0, 32767, o16));
    ASSERT_EQ(kepOk, inv32(32767, 0, 32767, o32));
    EXPECT_EQ(32767, o16[0]);  // R saturated
    EXPECT_GT(o32[0], 32767);  // the 32s form keeps the full value
    EXPECT_EQ(o32[1], o16[1]);
    EXPECT_EQ(32767, o16[2]);

    int odd = 0;
    for (int cb = -300; cb <= 300; ++cb)
        for (int cr = -300; cr <= 300; ++cr) {
            ASSERT_EQ(kepOk, inv16(0, static_cast<Kep16s>(cb), static_cast<Kep16s>(cr), o16));
            ASSERT_EQ(kepOk, inv32(0, cb, cr, o32));
            const bool oddMultiple = ((5638 * cb + 11700 * cr) % 16384 + 16384) % 16384 == 8192;
            odd += oddMultiple;
            ASSERT_EQ(o32[1] - (oddMultiple ? 1 : 0), o16[1]) << "G for Cb " << cb << " Cr " << cr;
            ASSERT_EQ(o32[0], o16[0]);
            ASSERT_EQ(o32[2], o16[2]);
        }
    EXPECT_GT(odd, 0);

    // B - Y beyond 16 bits wraps before the scaling: Cb comes out negative for a saturated blue.
    Kep16s f16[3] = {-32768, -32768, 32767};
    Kep32s f32[3] = {-32768, -32768, 32767};
    Kep16s* p16[3] = {f16, f16 + 1, f16 + 2};
    Kep32s* p32[3] = {f32, f32 + 1, f32 + 2};
    ASSERT_EQ(kepOk, kepiICTFwd_JPEG2K_16s_P3IR(p16, 2, KepiSize{1, 1}));
    ASSERT_EQ(kepOk, kepiICTFwd_JPEG2K_32s_P3IR(p32, 4, KepiSize{1, 1}));
    EXPECT_EQ(f32[0], f16[0]);
    EXPECT_GT(f32[1], 0);
    EXPECT_LT(f16[1], 0);
}

// Checks in order: pointers (array, planes, interleaved), steps, size; nothing written.
TEST(J2kComponentTransforms, ArgumentChecks) {
    Kep32s a[4] = {5, 5, 5, 5}, b[4] = {5, 5, 5, 5}, c[4] = {5, 5, 5, 5}, pix[12];
    Kep32s* planes[3] = {a, b, c};
    Kep32s* holey[3] = {a, nullptr, c};
    const Kep32s* cplanes[3] = {a, b, c};
    EXPECT_EQ(kepErrNullPtr, kepiRCTFwd_JPEG2K_32s_P3IR(nullptr, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrNullPtr, kepiRCTFwd_JPEG2K_32s_P3IR(holey, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrStep, kepiRCTFwd_JPEG2K_32s_P3IR(planes, 0, KepiSize{0, 0}));
    EXPECT_EQ(kepErrSize, kepiRCTFwd_JPEG2K_32s_P3IR(planes, 16, KepiSize{0, 1}));
    EXPECT_EQ(kepErrSize, kepiICTFwd_JPEG2K_32s_P3IR(planes, 16, KepiSize{1, 0}));
    EXPECT_EQ(kepErrNullPtr, kepiRCTFwd_JPEG2K_32s_C3P3R(nullptr, 48, planes, 0, KepiSize{1, 1}));  // pointer before any step
    EXPECT_EQ(kepErrNullPtr, kepiRCTFwd_JPEG2K_32s_C3P3R(pix, 0, holey, 16, KepiSize{1, 1}));
    EXPECT_EQ(kepErrStep, kepiRCTFwd_JPEG2K_32s_C3P3R(pix, 48, planes, 0, KepiSize{1, 1}));
    EXPECT_EQ(kepErrNullPtr, kepiRCTInv_JPEG2K_32s_P3C3R(cplanes, 0, nullptr, 48, KepiSize{1, 1}));
    EXPECT_EQ(kepErrStep, kepiRCTInv_JPEG2K_32s_P3C3R(cplanes, -4, pix, 48, KepiSize{1, 1}));
    EXPECT_EQ(kepErrSize, kepiRCTInv_JPEG2K_32s_P3C3R(cplanes, 16, pix, 48, KepiSize{-1, 1}));
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(a[i] == 5 && b[i] == 5 && c[i] == 5) << "written on failure";
    // A one-pixel region transforms exactly one pixel.
    ASSERT_EQ(kepOk, kepiRCTFwd_JPEG2K_32s_P3IR(planes, 16, KepiSize{1, 1}));
    EXPECT_EQ(0, b[0]);
    EXPECT_EQ(5, b[1]);
}

// Both slots and the stub of every component transform give identical planes and codes.
struct CtCase {
    Kep32s mem[3 * kW * kH + 3 * kW * kH + 16];
    int which;
};
TEST(J2kEquivalence, ComponentTransformSlots) {
    using Runner = std::function<KepResult(CtCase&, int)>;  // slot 0, 1, or 2 for the stub
    auto planesOf = [](CtCase& c, auto* t) {
        using T = std::remove_pointer_t<decltype(t)>;
        T* base = reinterpret_cast<T*>(c.mem);
        return std::array<T*, 3>{base, base + kW * kH, base + 2 * kW * kH};
    };
    std::vector<Runner> all;
#define CT_IR(T, name)                                                                                                  \
    all.push_back([=](CtCase& c, int s) {                                                                              \
        auto pl = planesOf(c, static_cast<T*>(nullptr));                                                               \
        T* p[3] = {pl[0], pl[1], pl[2]};                                                                               \
        auto f = s < 2 ? kepcheck::slot(ownTbl_##name, s) : name;                                                      \
        return f(p, kW * static_cast<int>(sizeof(T)), KepiSize{kW, kH});                                               \
    });
#define CT_C3P3(T, name)                                                                                                \
    all.push_back([=](CtCase& c, int s) {                                                                              \
        auto pl = planesOf(c, static_cast<T*>(nullptr));                                                               \
        T* p[3] = {pl[0], pl[1], pl[2]};                                                                               \
        auto f = s < 2 ? kepcheck::slot(ownTbl_##name, s) : name;                                                      \
        return f(pl[2] + kW * kH, 3 * kW * static_cast<int>(sizeof(T)), p, kW * static_cast<int>(sizeof(T)), KepiSize{kW, kH}); \
    });
#define CT_P3C3(T, name)                                                                                                \
    all.push_back([=](CtCase& c, int s) {                                                                              \
        auto pl = planesOf(c, static_cast<T*>(nullptr));                                                               \
        const T* p[3] = {pl[0], pl[1], pl[2]};                                                                         \
        auto f = s < 2 ? kepcheck::slot(ownTbl_##name, s) : name;                                                      \
        return f(p, kW * static_cast<int>(sizeof(T)), pl[2] + kW * kH, 3 * kW * static_cast<int>(sizeof(T)), KepiSize{kW, kH}); \
    });
    CT_C3P3(Kep16s, kepiRCTFwd_JPEG2K_16s_C3P3R) CT_IR(Kep16s, kepiRCTFwd_JPEG2K_16s_P3IR)
    CT_C3P3(Kep32s, kepiRCTFwd_JPEG2K_32s_C3P3R) CT_IR(Kep32s, kepiRCTFwd_JPEG2K_32s_P3IR)
    CT_P3C3(Kep16s, kepiRCTInv_JPEG2K_16s_P3C3R) CT_IR(Kep16s, kepiRCTInv_JPEG2K_16s_P3IR)
    CT_P3C3(Kep32s, kepiRCTInv_JPEG2K_32s_P3C3R) CT_IR(Kep32s, kepiRCTInv_JPEG2K_32s_P3IR)
    CT_IR(Kep16s, kepiICTFwd_JPEG2K_16s_P3IR) CT_IR(Kep32s, kepiICTFwd_JPEG2K_32s_P3IR)
    CT_C3P3(Kep32f, kepiICTFwd_JPEG2K_32f_C3P3R) CT_IR(Kep32f, kepiICTFwd_JPEG2K_32f_P3IR)
    CT_IR(Kep16s, kepiICTInv_JPEG2K_16s_P3IR) CT_IR(Kep32s, kepiICTInv_JPEG2K_32s_P3IR)
    CT_P3C3(Kep32f, kepiICTInv_JPEG2K_32f_P3C3R) CT_IR(Kep32f, kepiICTInv_JPEG2K_32f_P3IR)
#undef CT_IR
#undef CT_C3P3
#undef CT_P3C3
    ASSERT_EQ(16u, all.size());
    auto gen = [&](Rng& r, CtCase& c) {
        c.which = static_cast<int>(r.range(0, 15));
        const bool isFloat = c.which == 10 || c.which == 11 || c.which == 14 || c.which == 15;
        for (Kep32s& v : c.mem) {
            if (isFloat) {
                const Kep32f f = static_cast<Kep32f>(r.range(-100000, 100000)) / 64.0f;
                std::memcpy(&v, &f, 4);
            } else {
                v = r.value<Kep32s>();
            }
        }
    };
    auto variant = [&](int s) {
        return kepcheck::Variant<CtCase>{s < 2 ? "slot " + std::to_string(s) : "stub", [&all, s](CtCase& c) { return all[static_cast<size_t>(c.which)](c, s); }};
    };
    kepcheck::runVariants<CtCase>("component transforms", kepcheck::iterations(800), gen, {variant(0), variant(1), variant(2)});
}

}  // namespace
