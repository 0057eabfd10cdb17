// Huffman table specs and optimal tables from counts: code assignment, the table checks, the
// decoder's lookahead and 16-bit codes, allocation, and the T.81 K.2 procedure's corners.

#include <gtest/gtest.h>

#include <algorithm>

#include "huff_jpeg.h"

namespace {

using hufftest::Table;

Table lists(std::initializer_list<int> bits, std::initializer_list<int> vals) {
    Table t;
    int i = 0;
    for (int b : bits) t.bits[i++] = static_cast<Kep8u>(b);
    i = 0;
    for (int v : vals) t.vals[i++] = static_cast<Kep8u>(v);
    return t;
}

template <typename Spec>
bool untouched(const Spec& s) {
    const auto* p = reinterpret_cast<const Kep8u*>(&s);
    return std::all_of(p, p + sizeof s, [](Kep8u b) { return b == 0xA5; });
}

TEST(HuffSpec, SizesAndNullPointers) {
    int size = 0;
    EXPECT_EQ(kepOk, kepiEncodeHuffmanSpecGetBufSize_JPEG_8u(&size));
    EXPECT_EQ(1024, size);
    EXPECT_EQ(kepOk, kepiDecodeHuffmanSpecGetBufSize_JPEG_8u(&size));
    EXPECT_EQ(1644, size);
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanSpecGetBufSize_JPEG_8u(nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanSpecGetBufSize_JPEG_8u(nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanSpecFree_JPEG_8u(nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanSpecFree_JPEG_8u(nullptr));

    // Pointers come before the table checks: a bad table with a null spec gives -8.
    const Table bad = lists({3}, {0, 1, 2});
    KepiEncodeHuffmanSpec e;
    KepiDecodeHuffmanSpec d;
    KepiEncodeHuffmanSpec* pe = nullptr;
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanSpecInit_JPEG_8u(nullptr, bad.vals, &e));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanSpecInit_JPEG_8u(bad.bits, nullptr, &e));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanSpecInit_JPEG_8u(bad.bits, bad.vals, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanSpecInit_JPEG_8u(bad.bits, bad.vals, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanSpecInit_JPEG_8u(nullptr, bad.vals, &d));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanSpecInitAlloc_JPEG_8u(bad.bits, bad.vals, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanSpecInitAlloc_JPEG_8u(nullptr, bad.vals, &pe));
    EXPECT_EQ(nullptr, pe);
}

TEST(HuffSpec, CodeCountLimitsAndOverfullLengths) {
    // 255 codes of 8 bits and one of 9: 256 codes, the all-ones words unused.
    const Table full = lists({0, 0, 0, 0, 0, 0, 0, 255, 1}, {});
    Table over = full;
    over.bits[8] = 2;  // 257 codes
    for (int i = 0; i < 256; ++i) over.vals[i] = static_cast<Kep8u>(i);
    Table ok = over;
    ok.bits[8] = 1;
    KepiEncodeHuffmanSpec e;
    KepiDecodeHuffmanSpec d;
    EXPECT_EQ(kepOk, kepiEncodeHuffmanSpecInit_JPEG_8u(ok.bits, ok.vals, &e));
    EXPECT_EQ(kepOk, kepiDecodeHuffmanSpecInit_JPEG_8u(ok.bits, ok.vals, &d));
    EXPECT_EQ(0x1FEu | (9u << 16), e.entry[255]);
    // A symbol listed twice keeps its last code.
    const KepiEncodeHuffmanSpec dup = hufftest::encSpec(lists({0, 3}, {7, 9, 7}));
    EXPECT_EQ(0x2u | (2u << 16), dup.entry[7]);
    EXPECT_EQ(0x1u | (2u << 16), dup.entry[9]);

    // Rejected tables leave the table structure as it was.
    memset(&e, 0xA5, sizeof e);
    memset(&d, 0xA5, sizeof d);
    EXPECT_EQ(kepErrHuffmanTable, kepiEncodeHuffmanSpecInit_JPEG_8u(over.bits, over.vals, &e));
    EXPECT_EQ(kepErrHuffmanTable, kepiDecodeHuffmanSpecInit_JPEG_8u(over.bits, over.vals, &d));
    EXPECT_TRUE(untouched(e));
    EXPECT_TRUE(untouched(d));

    // Two 1-bit codes use the all-ones word 1: the encoder rejects, the decoder accepts, with
    // half the lookahead table each.
    const Table two = lists({2}, {5, 6});
    EXPECT_EQ(kepErrHuffmanTable, kepiEncodeHuffmanSpecInit_JPEG_8u(two.bits, two.vals, &e));
    EXPECT_TRUE(untouched(e));
    ASSERT_EQ(kepOk, kepiDecodeHuffmanSpecInit_JPEG_8u(two.bits, two.vals, &d));
    EXPECT_EQ(5u | (1u << 16), d.lookahead[0]);
    EXPECT_EQ(5u | (1u << 16), d.lookahead[127]);
    EXPECT_EQ(6u | (1u << 16), d.lookahead[128]);
    EXPECT_EQ(6u | (1u << 16), d.lookahead[255]);
    // Three 1-bit codes: the third's lookahead entries would start at 256.
    const Table three = lists({3}, {1, 2, 3});
    memset(&d, 0xA5, sizeof d);
    EXPECT_EQ(kepErrHuffmanTable, kepiDecodeHuffmanSpecInit_JPEG_8u(three.bits, three.vals, &d));
    EXPECT_TRUE(untouched(d));
    // Too many codes of a length for the encoder: five 2-bit codes.
    const Table five = lists({0, 5}, {1, 2, 3, 4, 5});
    EXPECT_EQ(kepErrHuffmanTable, kepiEncodeHuffmanSpecInit_JPEG_8u(five.bits, five.vals, &e));
}

// MINCODE/MAXCODE/VALPTR of one 2-bit and three 9-bit codes; a table of long codes only leaves
// the lookahead all zero.
TEST(HuffSpec, DecoderSpecFields) {
    const KepiDecodeHuffmanSpec s = hufftest::decSpec(lists({0, 1, 0, 0, 0, 0, 0, 0, 3}, {0x42, 7, 8, 9}));
    EXPECT_EQ(0x42u | (2u << 16), s.lookahead[0x3F]);
    EXPECT_EQ(0u, s.lookahead[0x40]);  // the 9-bit codes 01000000x begin here
    EXPECT_EQ(0xFFFF, s.maxcode[1]);
    EXPECT_EQ(0x80, s.mincode[9]);  // (0 + 1) << 7
    EXPECT_EQ(0x82, s.maxcode[9]);
    EXPECT_EQ(1, s.valptr[9]);
    EXPECT_EQ(0xFFFF, s.maxcode[17]);
    const KepiDecodeHuffmanSpec l = hufftest::decSpec(lists({0, 0, 0, 0, 0, 0, 0, 0, 4, 2}, {1, 2, 3, 4, 5, 6}));
    for (Kep32u e : l.lookahead) ASSERT_EQ(0u, e);
}

// A code of 16 bits at or above 0x8000 is an unsigned MAXCODE; only 0xFFFF means "none".
TEST(HuffSpec, SixteenBitCodesAboveSignBitDecode) {
    // One code of each length 1..15, then one of 16 bits: 1111111111111110 = 0xFFFE.
    Table t = lists({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, {});
    for (int i = 0; i < 16; ++i) t.vals[i] = static_cast<Kep8u>(0x10 + i);
    const KepiEncodeHuffmanSpec e = hufftest::encSpec(t);
    const KepiDecodeHuffmanSpec d = hufftest::decSpec(t);
    EXPECT_EQ(0xFFFEu | (16u << 16), e.entry[0x1F]);
    EXPECT_EQ(0xFFFE, d.maxcode[16]);

    // The 16-bit code, stuffed, then the 15-bit one 0x7FFE and padding.
    const Kep8u stream[] = {0xFF, 0x00, 0xFE, 0xFF, 0x00, 0xFD, 0xFF};
    int pos = 0, marker = 0, sym = -1;
    KepiDecodeHuffmanState st = {};
    const OwnHuffSrc src = {stream, static_cast<int>(sizeof stream) - 1, &pos, &marker};
    ASSERT_EQ(kepOk, ownHuffDecodeSymbol(src, &d, &st, &sym));
    EXPECT_EQ(0x1F, sym);
    ASSERT_EQ(kepOk, ownHuffDecodeSymbol(src, &d, &st, &sym));
    EXPECT_EQ(0x1E, sym);

    // A decoder table whose last 16-bit code is 0xFFFF cannot tell it from "no code": it does not
    // decode (documented), and the data error is reported, not a wrong symbol.
    t.bits[15] = 2;
    t.vals[16] = 0x99;
    const KepiDecodeHuffmanSpec d2 = hufftest::decSpec(t);
    const Kep8u ones[] = {0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00};
    pos = 0;
    st = {};
    const OwnHuffSrc src2 = {ones, static_cast<int>(sizeof ones), &pos, &marker};
    EXPECT_EQ(kepErrHuffmanData, ownHuffDecodeSymbol(src2, &d2, &st, &sym));
}

TEST(HuffSpec, InitAllocStoresThePointerEvenForABadTable) {
    const Table good = hufftest::standardTable(2), bad = lists({2}, {1, 2});
    KepiEncodeHuffmanSpec* e = nullptr;
    KepiDecodeHuffmanSpec* d = nullptr;
    ASSERT_EQ(kepOk, kepiEncodeHuffmanSpecInitAlloc_JPEG_8u(good.bits, good.vals, &e));
    ASSERT_EQ(kepOk, kepiDecodeHuffmanSpecInitAlloc_JPEG_8u(good.bits, good.vals, &d));
    const KepiEncodeHuffmanSpec e2 = hufftest::encSpec(good);
    const KepiDecodeHuffmanSpec d2 = hufftest::decSpec(good);
    EXPECT_EQ(0, memcmp(e, &e2, sizeof e2));
    EXPECT_EQ(0, memcmp(d, &d2, sizeof d2));
    EXPECT_EQ(kepOk, kepiEncodeHuffmanSpecFree_JPEG_8u(e));
    EXPECT_EQ(kepOk, kepiDecodeHuffmanSpecFree_JPEG_8u(d));

    e = nullptr;
    EXPECT_EQ(kepErrHuffmanTable, kepiEncodeHuffmanSpecInitAlloc_JPEG_8u(bad.bits, bad.vals, &e));
    ASSERT_NE(nullptr, e);
    EXPECT_EQ(kepOk, kepiEncodeHuffmanSpecFree_JPEG_8u(e));
    const Table tooMany = lists({0, 0, 0, 0, 0, 0, 0, 255, 2}, {});
    d = nullptr;
    EXPECT_EQ(kepErrHuffmanTable, kepiDecodeHuffmanSpecInitAlloc_JPEG_8u(tooMany.bits, tooMany.vals, &d));
    ASSERT_NE(nullptr, d);
    EXPECT_EQ(kepOk, kepiDecodeHuffmanSpecFree_JPEG_8u(d));
}

// ---- Optimal tables (T.81 K.2) -------------------------------------------------------------

struct Raw {
    KepResult result;
    Table t;
};
Raw raw(const int* stats) {
    Raw r;
    memset(r.t.bits, 0xA5, sizeof r.t.bits);
    memset(r.t.vals, 0xA5, sizeof r.t.vals);
    r.result = kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, r.t.bits, r.t.vals);
    return r;
}

TEST(HuffRawTable, EmptyAndSingleSymbol) {
    int stats[257] = {};
    stats[256] = 12345;  // ignored: the reserved point always counts 1
    Raw r = raw(stats);
    EXPECT_EQ(kepOk, r.result);
    for (Kep8u b : r.t.bits) EXPECT_EQ(0, b);

    stats[77] = 5;
    r = raw(stats);
    EXPECT_EQ(kepOk, r.result);
    EXPECT_EQ(1, r.t.bits[0]);
    EXPECT_EQ(1, r.t.count());
    EXPECT_EQ(77, r.t.vals[0]);

    int nulls[257] = {};
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRawTableInit_JPEG_8u(nullptr, r.t.bits, r.t.vals));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRawTableInit_JPEG_8u(nulls, nullptr, r.t.vals));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRawTableInit_JPEG_8u(nulls, r.t.bits, nullptr));
}

// Among equal smallest counts the larger symbol is taken first. By hand, for counts 3:1, 9:1,
// 200:2 and the reserved 256:1: merge 256 and 9 (sizes 1, 1); then 3 with 256's node (count 2,
// beating 200 by value): 3:1, 256:2, 9:2; then 200 with 3's node: 200:1, 3:2, 256:3, 9:3. The
// reserved point's 3-bit code is then dropped.
TEST(HuffRawTable, TieBreaksAndOrder) {
    int stats[257] = {};
    stats[3] = 1;
    stats[9] = 1;
    stats[200] = 2;
    const Raw r = raw(stats);
    ASSERT_EQ(kepOk, r.result);
    EXPECT_EQ(1, r.t.bits[0]);
    EXPECT_EQ(1, r.t.bits[1]);
    EXPECT_EQ(1, r.t.bits[2]);
    EXPECT_EQ(200, r.t.vals[0]);
    EXPECT_EQ(3, r.t.vals[1]);
    EXPECT_EQ(9, r.t.vals[2]);
}

TEST(HuffRawTable, LengthsAreLimitedToSixteen) {
    // Fibonacci counts make a degenerate tree 30 levels deep.
    int stats[257] = {};
    int a = 1, b = 2;
    for (int v = 0; v < 30; ++v) {
        stats[(v * 7) % 256] = a;
        const int n = a + b;
        a = b;
        b = n;
    }
    const Raw r = raw(stats);
    ASSERT_EQ(kepOk, r.result);
    ASSERT_EQ(30, r.t.count());
    double kraft = 0;
    for (int l = 1; l <= 16; ++l) kraft += r.t.bits[l - 1] / static_cast<double>(1 << l);
    EXPECT_LT(kraft, 1.0);  // the all-ones code stays free
    KepiEncodeHuffmanSpec e;
    EXPECT_EQ(kepOk, kepiEncodeHuffmanSpecInit_JPEG_8u(r.t.bits, r.t.vals, &e));
    // Listed by unlimited length: here strictly by decreasing count.
    for (int i = 0; i + 1 < 30; ++i) EXPECT_GT(stats[r.t.vals[i]], stats[r.t.vals[i + 1]]) << i;
}

TEST(HuffRawTable, CodeLengthAboveThirtyTwoIsRejected) {
    int stats[257] = {};
    int a = 1, b = 2;
    for (int v = 0; v < 40; ++v) {  // 40 Fibonacci counts, all sums below 10^9, nest 40 deep
        stats[v] = a;
        const int n = a + b;
        a = b;
        b = n;
    }
    const Raw r = raw(stats);
    EXPECT_EQ(kepErrHuffmanTable, r.result);
    for (Kep8u x : r.t.bits) EXPECT_EQ(0xA5, x);
    EXPECT_EQ(0xA5, r.t.vals[0]);
}

}  // namespace
