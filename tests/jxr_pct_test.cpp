// The photo core transform through its exports: an independent transcription of the ITU-T T.832
// forward transform, round trips, the documented constant-block result, the float forms against
// the integer ones, and the argument checks. (The macroblock forms are checked
// against the reference over their region in jxr_pct_equiv_test.cpp.)

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "jxr_pct_data.h"
#include "kepcheck.h"
#include "kepjx1.h"

namespace {

using kepcheck::Rng;
using pctdata::Plane;

// ---- Independent forward 4x4 PCT, written from the T.832 description of the encoder's
// transform: a 2x2 Hadamard on the corners of the four 2x2 sub-squares, another on the four
// low-pass values, then the odd rotation on the two mixed 2x2 bands and the odd-odd rotation on
// the high band. 64-bit arithmetic, flat indices 0..15, row-major.
namespace t832 {

void hadamard2x2(int64_t* a, int64_t* b, int64_t* c, int64_t* d, int round) {
    *a += *d;
    *b -= *c;
    const int64_t t1 = (*a - *b + round) >> 1;
    const int64_t t2 = *c;
    *c = t1 - *d;
    *d = t1 - t2;
    *a -= *d;
    *b += *c;
}

void rotateOdd(int64_t* a, int64_t* b, int64_t* c, int64_t* d) {
    *b -= *c;
    *a += *d;
    *c += (*b + 1) >> 1;
    *d = ((*a + 1) >> 1) - *d;
    *b -= (*a * 3 + 4) >> 3;
    *a += (*b * 3 + 4) >> 3;
    *d -= (*c * 3 + 4) >> 3;
    *c += (*d * 3 + 4) >> 3;
    *d += *b >> 1;
    *c -= (*a + 1) >> 1;
    *b -= *d;
    *a += *c;
}

void rotateOddOdd(int64_t* a, int64_t* b, int64_t* c, int64_t* d) {
    int64_t t1, t2;
    *b = -*b;
    *c = -*c;
    *d += *a;
    *c -= *b;
    *a -= (t1 = *d >> 1);
    *b += (t2 = *c >> 1);
    *a += (*b * 3 + 4) >> 3;
    *b -= (*a * 3 + 3) >> 2;
    *a += (*b * 3 + 3) >> 3;
    *b -= t2;
    *a += t1;
    *c += *b;
    *d -= *a;
}

void forward(int64_t* p) {
    hadamard2x2(p + 0, p + 3, p + 12, p + 15, 0);
    hadamard2x2(p + 1, p + 2, p + 13, p + 14, 0);
    hadamard2x2(p + 4, p + 7, p + 8, p + 11, 0);
    hadamard2x2(p + 5, p + 6, p + 9, p + 10, 0);
    hadamard2x2(p + 0, p + 1, p + 4, p + 5, 1);
    rotateOdd(p + 2, p + 3, p + 6, p + 7);
    rotateOdd(p + 8, p + 12, p + 9, p + 13);
    rotateOddOdd(p + 10, p + 11, p + 14, p + 15);
}

}  // namespace t832

// Runs the independent transform over every block of a plane.
template <typename T>
Plane<T> independentForward(Plane<T> p) {
    for (int by = 0; by < p.height; by += 4)
        for (int bx = 0; bx < p.width; bx += 4) {
            int64_t a[16];
            for (int i = 0; i < 16; ++i) a[i] = p.get(bx + (i & 3), by + (i >> 2));
            t832::forward(a);
            for (int i = 0; i < 16; ++i) p.set(bx + (i & 3), by + (i >> 2), static_cast<T>(a[i]));
        }
    return p;
}

template <typename T>
using RoiFn = KepResult (*)(T*, Kep32u, KepiSize);

// Forward against the independent transform, then back to the samples: 32s over 26 bits, 16s over
// the 12 bits of a codec's samples (no stored element leaves 16 bits there); every other plane is
// made of the range's extremes only. Whole planes are compared, so the padding of each row past
// the region must stay too. The first region is 4 x 8: two blocks, one below the other.
template <typename T>
void forwardAndBack(RoiFn<T> fwd, RoiFn<T> inv, int64_t limit) {
    Rng rng(kepcheck::seed() + sizeof(T));
    for (int n = 0; n < kepcheck::iterations(300); ++n) {
        const int w = n ? 4 * static_cast<int>(rng.range(1, 6)) : 4, h = n ? 4 * static_cast<int>(rng.range(1, 4)) : 8;
        Plane<T> p(w, h, static_cast<Kep32u>(w * sizeof(T) + rng.range(0, 9)));
        for (uint8_t& b : p.bytes) b = static_cast<uint8_t>(rng.next());
        p.fill([&](int, int) { return n % 2 ? (rng.chance(50) ? limit : -limit - 1) : rng.range(-limit - 1, limit); });
        const Plane<T> original = p, want = independentForward(p);
        ASSERT_EQ(kepOk, fwd(p.data(), p.step, KepiSize{w, h}));
        ASSERT_EQ(want.bytes, p.bytes) << "forward, case " << n << " (" << w << "x" << h << ")";
        ASSERT_EQ(kepOk, inv(p.data(), p.step, KepiSize{w, h}));
        ASSERT_EQ(original.bytes, p.bytes) << "inverse, case " << n << " (" << w << "x" << h << ")";
    }
}

TEST(PctInteger, ForwardMatchesT832AndInverseRestores) {
    forwardAndBack<Kep32s>(kepiPCTFwd_JPEGXR_32s_C1IR, kepiPCTInv_JPEGXR_32s_C1IR, (1 << 25) - 1);
    forwardAndBack<Kep16s>(kepiPCTFwd_JPEGXR_16s_C1IR, kepiPCTInv_JPEGXR_16s_C1IR, 2047);
}

// A constant block transforms to four times its value at DC and nothing else, and back.
TEST(PctForward, ConstantBlockGivesFourTimesItsValueAtDc) {
    auto check = [](auto v, auto fwd, auto inv) {
        using T = decltype(v);
        Plane<T> p(4, 4, 4 * sizeof(T));
        p.fill([&](int, int) { return v; });
        ASSERT_EQ(kepOk, fwd(p.data(), p.step, KepiSize{4, 4}));
        for (int i = 0; i < 16; ++i) EXPECT_EQ(i == 0 ? static_cast<T>(4 * v) : T(0), p.get(i & 3, i >> 2)) << v << " coefficient " << i;
        ASSERT_EQ(kepOk, inv(p.data(), p.step, KepiSize{4, 4}));
        for (int i = 0; i < 16; ++i) EXPECT_EQ(v, p.get(i & 3, i >> 2)) << "value " << v << " element " << i;
    };
    for (int v : {10, 0, 1, -1, -7, 255, -2048, 2047}) {
        check(static_cast<Kep16s>(v), kepiPCTFwd_JPEGXR_16s_C1IR, kepiPCTInv_JPEGXR_16s_C1IR);
        check(static_cast<Kep32s>(v * 1000), kepiPCTFwd_JPEGXR_32s_C1IR, kepiPCTInv_JPEGXR_32s_C1IR);
        check(static_cast<Kep32f>(v) + 0.25f, kepiPCTFwd_JPEGXR_32f_C1IR, kepiPCTInv_JPEGXR_32f_C1IR);
    }
}

// On smooth data the float forms follow the integer ones: the integer steps only add the
// rounding of their shifts, less than one unit per step, so coefficients differ by a few units.
TEST(PctFloat, FollowsTheIntegerFormsOnSmoothData) {
    const int w = 16, h = 16;
    Plane<Kep32s> pi(w, h, w * 4);
    Plane<Kep32f> pf(w, h, w * 4);
    auto smooth = [](int x, int y) { return std::lround(1000 + 37.0 * x - 21.0 * y + 40.0 * std::sin(0.3 * x + 0.2 * y)); };
    pi.fill(smooth);
    pf.fill(smooth);
    ASSERT_EQ(kepOk, kepiPCTFwd_JPEGXR_32s_C1IR(pi.data(), pi.step, KepiSize{w, h}));
    ASSERT_EQ(kepOk, kepiPCTFwd_JPEGXR_32f_C1IR(pf.data(), pf.step, KepiSize{w, h}));
    double worst = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) worst = std::max(worst, std::fabs(static_cast<double>(pf.get(x, y)) - pi.get(x, y)));
    EXPECT_LE(worst, 3.0) << "forward";  // 1.6 on this plane
    EXPECT_GT(worst, 0.0) << "the float form rounds nothing, so some coefficient must differ";
    ASSERT_EQ(kepOk, kepiPCTInv_JPEGXR_32f_C1IR(pf.data(), pf.step, KepiSize{w, h}));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) EXPECT_NEAR(smooth(x, y), pf.get(x, y), 1e-3);
}

TEST(PctChecks, RoiFormsCheckInOrderAndWriteNothing) {
    Plane<Kep32s> p(8, 8, 32);
    p.fill([](int x, int y) { return x * 10 + y; });
    const Plane<Kep32s> before = p;
    struct Case { Kep32s* ptr; Kep32u step; KepiSize roi; KepResult want; };
    const Case cases[] = {
        {nullptr, 0, {0, 0}, kepErrNullPtr},  // pointer first
        {p.data(), 0, {0, 4}, kepErrSize},    // size before step
        {p.data(), 0, {4, 0}, kepErrSize},
        {p.data(), 32, {4, -4}, kepErrSize},
        {p.data(), 23, {6, 4}, kepErrStep},   // step below 6 * 4 bytes before the multiple of 4
        {p.data(), 24, {6, 4}, kepErrSize},   // width 6 is not a multiple of 4
        {p.data(), 32, {8, 6}, kepErrSize},
        {p.data(), 15, {4, 4}, kepErrStep},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.want, kepiPCTFwd_JPEGXR_32s_C1IR(c.ptr, c.step, c.roi));
        EXPECT_EQ(c.want, kepiPCTInv_JPEGXR_32s_C1IR(c.ptr, c.step, c.roi));
        EXPECT_EQ(c.want, kepiPCTFwd_JPEGXR_32f_C1IR(reinterpret_cast<Kep32f*>(c.ptr), c.step, c.roi));
    }
    EXPECT_EQ(before.bytes, p.bytes);
    // The step is compared with the row length in bytes of the element type.
    Kep16s s[64] = {};
    EXPECT_EQ(kepErrStep, kepiPCTFwd_JPEGXR_16s_C1IR(s, 15, KepiSize{8, 4}));
    EXPECT_EQ(kepOk, kepiPCTFwd_JPEGXR_16s_C1IR(s, 16, KepiSize{8, 4}));
    // 2^30 elements of 4 bytes are 2^32 bytes: the comparison must not wrap to 0.
    EXPECT_EQ(kepErrStep, kepiPCTInv_JPEGXR_32s_C1IR(p.data(), 0xFFFFFFFFu, KepiSize{0x40000000, 4}));
}

TEST(PctChecks, MacroblockFormsNeedTheirMinimumStep) {
    alignas(16) Kep8u buf[64 * 16] = {};
    auto* s16 = reinterpret_cast<Kep16s*>(buf);
    auto* s32 = reinterpret_cast<Kep32s*>(buf);
    auto* f32 = reinterpret_cast<Kep32f*>(buf);
    EXPECT_EQ(kepErrNullPtr, kepiPCTFwd8x8_JPEGXR_16s_C1IR(nullptr, 0));
    EXPECT_EQ(kepErrNullPtr, kepiPCTInv16x16_JPEGXR_32f_C1IR(nullptr, 64));
    auto check = [&](auto fn, auto* ptr, Kep32u minimum) {
        EXPECT_EQ(kepErrStep, fn(ptr, minimum - 1)) << "minimum " << minimum;
        EXPECT_EQ(kepErrStep, fn(ptr, 0));
        for (Kep8u b : buf) ASSERT_EQ(0, b) << "written on failure";
        EXPECT_EQ(kepOk, fn(ptr, minimum));
    };
    check(kepiPCTFwd8x8_JPEGXR_16s_C1IR, s16, 16);
    check(kepiPCTInv8x16_JPEGXR_16s_C1IR, s16, 16);
    check(kepiPCTFwd16x16_JPEGXR_16s_C1IR, s16, 32);
    check(kepiPCTFwd8x8_JPEGXR_32s_C1IR, s32, 32);
    check(kepiPCTInv8x16_JPEGXR_32s_C1IR, s32, 32);
    check(kepiPCTFwd8x16_JPEGXR_32f_C1IR, f32, 32);
    check(kepiPCTInv16x16_JPEGXR_32s_C1IR, s32, 64);
    check(kepiPCTFwd16x16_JPEGXR_32f_C1IR, f32, 64);
}

}  // namespace
