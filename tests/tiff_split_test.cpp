// Row split and join: the documented example, round trips of odd and even lengths, the two
// deliberately different check orders, and the equivalence of the C references, the SSSE3
// kernels, both slots and the stubs at any byte offset.

#include <gtest/gtest.h>

#include <vector>

#include "kepcheck.h"
#include "pjdispatch.h"
#include "rowsplit.h"

namespace {

using kepcheck::Rng;
using kepcheck::Variant;

TEST(SplitRow, DocumentedExampleAndRoundTrips) {
    Rng rng(kepcheck::seed());
    for (int len = 1; len <= 40; ++len) {
        // One guard entry past the row in every buffer: one byte per sample, no more.
        std::vector<Kep16u> src(static_cast<size_t>(len) + 1, 0x5A5A), joined(src);
        std::vector<Kep8u> hi(static_cast<size_t>(len) + 1, 0x77), lo(hi);
        for (int i = 0; i < len; ++i) src[static_cast<size_t>(i)] = len == 2 ? (i ? 0xABCD : 0x1234) : rng.value<Kep16u>();
        Kep8u* planes[2] = {hi.data(), lo.data()};
        ASSERT_EQ(kepOk, kepiSplitRow_TIFF_16u8u_C1(src.data(), planes, len));
        if (len == 2) {
            EXPECT_EQ(std::vector<Kep8u>({0x12, 0xAB, 0x77}), hi);
            EXPECT_EQ(std::vector<Kep8u>({0x34, 0xCD, 0x77}), lo);
        }
        for (int i = 0; i < len; ++i) ASSERT_EQ(src[static_cast<size_t>(i)], hi[static_cast<size_t>(i)] * 256 + lo[static_cast<size_t>(i)]);
        EXPECT_EQ(0x77, hi.back());
        EXPECT_EQ(0x77, lo.back());
        const Kep8u* const in[2] = {hi.data(), lo.data()};
        ASSERT_EQ(kepOk, kepiJoinRow_TIFF_8u16u_C1(in, joined.data(), len));
        ASSERT_EQ(src, joined) << "length " << len;
    }
}

TEST(SplitRow, CheckOrdersDifferBetweenSplitAndJoin) {
    Kep16u row[4] = {1, 2, 3, 4};
    Kep8u a[4] = {9, 9, 9, 9}, b[4] = {9, 9, 9, 9};
    Kep8u* ok[2] = {a, b};
    Kep8u* firstNull[2] = {nullptr, b};
    Kep8u* secondNull[2] = {a, nullptr};
    EXPECT_EQ(kepErrNullPtr, kepiSplitRow_TIFF_16u8u_C1(nullptr, ok, 0));
    EXPECT_EQ(kepErrNullPtr, kepiSplitRow_TIFF_16u8u_C1(row, nullptr, 0));
    EXPECT_EQ(kepErrStep, kepiSplitRow_TIFF_16u8u_C1(row, firstNull, 0));  // length before the entries
    EXPECT_EQ(kepErrStep, kepiSplitRow_TIFF_16u8u_C1(row, ok, -1));
    EXPECT_EQ(kepErrNullPtr, kepiSplitRow_TIFF_16u8u_C1(row, firstNull, 4));
    EXPECT_EQ(kepErrNullPtr, kepiSplitRow_TIFF_16u8u_C1(row, secondNull, 4));
    EXPECT_EQ(9, a[0]);
    EXPECT_EQ(9, b[0]);

    const Kep8u* const in[2] = {a, b};
    const Kep8u* const inFirstNull[2] = {nullptr, b};
    const Kep8u* const inSecondNull[2] = {a, nullptr};
    EXPECT_EQ(kepErrNullPtr, kepiJoinRow_TIFF_8u16u_C1(nullptr, row, 0));
    EXPECT_EQ(kepErrNullPtr, kepiJoinRow_TIFF_8u16u_C1(in, nullptr, 0));
    EXPECT_EQ(kepErrNullPtr, kepiJoinRow_TIFF_8u16u_C1(inFirstNull, row, 0));  // entries before the length
    EXPECT_EQ(kepErrNullPtr, kepiJoinRow_TIFF_8u16u_C1(inSecondNull, row, 0));
    EXPECT_EQ(kepErrStep, kepiJoinRow_TIFF_8u16u_C1(in, row, 0));
    EXPECT_EQ(1, row[0]);
    EXPECT_EQ(4, row[3]);
}

// Each variant splits `row` into the planes and joins the planes `hi2`/`lo2` into `row2`.
struct SplitCase {
    Kep8u row[2 * 80 + 1], row2[2 * 80 + 1];  // samples at byte offset `offset`
    Kep8u hi[81], lo[81], hi2[81], lo2[81];   // plane bytes from `planeOffset`
    Kep32s len, offset, planeOffset;
};

TEST(SplitRowEquivalence, KernelsSlotsAndStubs) {
    auto gen = [](Rng& rng, SplitCase& c) {
        for (Kep8u& b : c.row) b = static_cast<Kep8u>(rng.next());
        std::memcpy(c.row2, c.row, sizeof c.row);
        for (Kep8u* plane : {c.hi, c.lo, c.hi2, c.lo2})
            for (int i = 0; i < 81; ++i) plane[i] = static_cast<Kep8u>(rng.next());
        c.len = static_cast<Kep32s>(rng.range(1, 80));
        c.offset = static_cast<Kep32s>(rng.range(0, 1));
        c.planeOffset = static_cast<Kep32s>(rng.range(0, 81 - c.len));
    };
    using Split = void (*)(const Kep8u*, Kep8u*, Kep8u*, int);
    using Join = void (*)(const Kep8u*, const Kep8u*, Kep8u*, int);
    auto kernels = [](const char* name, Split split, Join join) {
        return Variant<SplitCase>{name, [=](SplitCase& c) {
                                      const int o = c.planeOffset;
                                      split(c.row + c.offset, c.hi + o, c.lo + o, c.len);
                                      join(c.hi2 + o, c.lo2 + o, c.row2 + c.offset, c.len);
                                      return kepOk;
                                  }};
    };
    auto exports = [](std::string name, decltype(&kepiSplitRow_TIFF_16u8u_C1) split, decltype(&kepiJoinRow_TIFF_8u16u_C1) join) {
        return Variant<SplitCase>{name, [=](SplitCase& c) {
                                      Kep8u* out[2] = {c.hi + c.planeOffset, c.lo + c.planeOffset};
                                      const Kep8u* const in[2] = {c.hi2 + c.planeOffset, c.lo2 + c.planeOffset};
                                      const KepResult r = split(reinterpret_cast<const Kep16u*>(c.row + c.offset), out, c.len);
                                      return r != kepOk ? r : join(in, reinterpret_cast<Kep16u*>(c.row2 + c.offset), c.len);
                                  }};
    };
    kepcheck::runVariants<SplitCase>(
        "split/join", kepcheck::iterations(5000), gen,
        {kernels("c", ownSplitRow_c, ownJoinRow_c), kernels("ssse3", ownSplitRow_ssse3, ownJoinRow_ssse3),
         exports("slot 0", kepcheck::slot(ownTbl_kepiSplitRow_TIFF_16u8u_C1, 0), kepcheck::slot(ownTbl_kepiJoinRow_TIFF_8u16u_C1, 0)),
         exports("slot 1", kepcheck::slot(ownTbl_kepiSplitRow_TIFF_16u8u_C1, 1), kepcheck::slot(ownTbl_kepiJoinRow_TIFF_8u16u_C1, 1)),
         exports("stub", kepiSplitRow_TIFF_16u8u_C1, kepiJoinRow_TIFF_8u16u_C1)});
}

}  // namespace
