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

struct SplitCase {
    Kep8u row[2 * 80 + 1];  // samples at byte offset `offset`
    Kep8u hi[81], lo[81];
    Kep32s len, offset, planeOffset;
};

void generate(Rng& rng, SplitCase& c) {
    for (Kep8u& b : c.row) b = static_cast<Kep8u>(rng.next());
    for (Kep8u& b : c.hi) b = static_cast<Kep8u>(rng.next());
    for (Kep8u& b : c.lo) b = static_cast<Kep8u>(rng.next());
    c.len = static_cast<Kep32s>(rng.range(1, 80));
    c.offset = static_cast<Kep32s>(rng.range(0, 1));
    c.planeOffset = static_cast<Kep32s>(rng.range(0, 81 - c.len));
}

TEST(SplitRowEquivalence, KernelsSlotsAndStubs) {
    using SplitKernel = void (*)(const Kep8u*, Kep8u*, Kep8u*, int);
    using JoinKernel = void (*)(const Kep8u*, const Kep8u*, Kep8u*, int);
    auto splitKernel = [](const char* name, SplitKernel k) {
        return Variant<SplitCase>{name, [k](SplitCase& c) { k(c.row + c.offset, c.hi + c.planeOffset, c.lo + c.planeOffset, c.len); return kepOk; }};
    };
    auto splitExport = [](std::string name, decltype(&kepiSplitRow_TIFF_16u8u_C1) e) {
        return Variant<SplitCase>{name, [e](SplitCase& c) {
                                      Kep8u* p[2] = {c.hi + c.planeOffset, c.lo + c.planeOffset};
                                      return e(reinterpret_cast<const Kep16u*>(c.row + c.offset), p, c.len);
                                  }};
    };
    kepcheck::runVariants<SplitCase>("split", kepcheck::iterations(5000), generate,
                                     {splitKernel("c", ownSplitRow_c), splitKernel("ssse3", ownSplitRow_ssse3),
                                      splitExport("slot 0", kepcheck::slot(ownTbl_kepiSplitRow_TIFF_16u8u_C1, 0)),
                                      splitExport("slot 1", kepcheck::slot(ownTbl_kepiSplitRow_TIFF_16u8u_C1, 1)),
                                      splitExport("stub", kepiSplitRow_TIFF_16u8u_C1)});

    auto joinKernel = [](const char* name, JoinKernel k) {
        return Variant<SplitCase>{name, [k](SplitCase& c) { k(c.hi + c.planeOffset, c.lo + c.planeOffset, c.row + c.offset, c.len); return kepOk; }};
    };
    auto joinExport = [](std::string name, decltype(&kepiJoinRow_TIFF_8u16u_C1) e) {
        return Variant<SplitCase>{name, [e](SplitCase& c) {
                                      const Kep8u* const p[2] = {c.hi + c.planeOffset, c.lo + c.planeOffset};
                                      return e(p, reinterpret_cast<Kep16u*>(c.row + c.offset), c.len);
                                  }};
    };
    kepcheck::runVariants<SplitCase>("join", kepcheck::iterations(5000), generate,
                                     {joinKernel("c", ownJoinRow_c), joinKernel("ssse3", ownJoinRow_ssse3),
                                      joinExport("slot 0", kepcheck::slot(ownTbl_kepiJoinRow_TIFF_8u16u_C1, 0)),
                                      joinExport("slot 1", kepcheck::slot(ownTbl_kepiJoinRow_TIFF_8u16u_C1, 1)),
                                      joinExport("stub", kepiJoinRow_TIFF_8u16u_C1)});
}

}  // namespace
