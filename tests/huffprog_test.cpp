// Progressive Huffman coding on its own: random progressions coded with tables built from our
// own statistics and decoded back to the original coefficients, the end-of-band run and
// correction-bit limits bit for bit, flushes without a source, a buffer that runs out, and the
// order of the argument checks.

#include <gtest/gtest.h>

#include <array>

#include "huff_jpeg.h"
#include "jpegref.h"
#include "pjdispatch.h"

namespace {

using kepcheck::Rng;
using hufftest::Table;

const std::array<int, 64> kZigzag = jpegref::zigzagToNatural();

// Blocks of every kind a progression meets: empty bands, long runs, large values, dense blocks.
std::vector<Kep16s> randomBlocks(Rng& rng, int n, int maxMagnitude) {
    std::vector<Kep16s> b(static_cast<size_t>(n) * 64, 0);
    for (int i = 0; i < n; ++i) {
        Kep16s* p = &b[static_cast<size_t>(i) * 64];
        p[0] = static_cast<Kep16s>(rng.range(-maxMagnitude, maxMagnitude));
        const int kind = static_cast<int>(rng.range(0, 5));
        const int density = kind == 0 ? 0 : kind == 1 ? 2 : kind == 2 ? 15 : kind == 3 ? 60 : 95;
        for (int k = 1; k < 64; ++k)
            if (rng.chance(density)) {
                const int m = rng.chance(80) ? 3 : maxMagnitude;
                p[kZigzag[static_cast<size_t>(k)]] = static_cast<Kep16s>(rng.range(-m, m));
            }
    }
    return b;
}

struct Band {
    int Ss, Se, Ah, Al;
};

// Codes one scan of all blocks: statistics first, then the tables they give, then the coded
// bytes (with a flush every `restart` blocks and at the end), then decodes them into `out`.
void roundTripScan(const std::vector<Kep16s>& blocks, std::vector<Kep16s>& out, const Band& s, int restart) {
    const int n = static_cast<int>(blocks.size() / 64);
    const bool dc = s.Ss == 0, first = s.Ah == 0;
    int stats[257] = {};
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    Kep16s last = 0;
    for (int i = 0; i < n; ++i) {
        const Kep16s* b = &blocks[static_cast<size_t>(i) * 64];
        if (dc && first) {
            if (restart && i % restart == 0) last = 0;
            ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, stats, &last, s.Al));
        } else if (!dc) {
            auto count = first ? kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1 : kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
            if (restart && i && i % restart == 0) { ASSERT_EQ(kepOk, count(nullptr, stats, 0, 0, 0, &st, 1)); }
            ASSERT_EQ(kepOk, count(b, stats, s.Ss, s.Se, s.Al, &st, 0));
            if (i == n - 1) { ASSERT_EQ(kepOk, count(nullptr, stats, 0, 0, 0, &st, 1)); }
        }
    }
    Table t;
    if (!(dc && !first)) { ASSERT_EQ(kepOk, kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, t.bits, t.vals)); }
    KepiEncodeHuffmanSpec es = {};
    KepiDecodeHuffmanSpec ds = {};
    if (t.count()) {
        es = hufftest::encSpec(t);
        ds = hufftest::decSpec(t);
    }

    std::vector<uint8_t> bytes(static_cast<size_t>(n) * 300 + 64);
    const int len = static_cast<int>(bytes.size());
    int pos = 0, rst = 0;
    std::vector<int> markerAt;  // byte index of each RSTn
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    last = 0;
    auto flush = [&]() {
        if (dc) {
            auto f = first ? kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(nullptr, bytes.data(), len, &pos, nullptr, 0, nullptr, &st, 1)
                           : kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(nullptr, bytes.data(), len, &pos, 0, &st, 1);
            ASSERT_EQ(kepOk, f);
        } else {
            auto f = first ? kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1 : kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1;
            ASSERT_EQ(kepOk, f(nullptr, bytes.data(), len, &pos, 0, 0, 0, &es, &st, 1));
        }
    };
    for (int i = 0; i < n; ++i) {
        if (restart && i && i % restart == 0) {
            flush();
            markerAt.push_back(pos);
            bytes[static_cast<size_t>(pos++)] = 0xFF;
            bytes[static_cast<size_t>(pos++)] = static_cast<uint8_t>(0xD0 + (rst++ & 7));
            last = 0;
        }
        const Kep16s* b = &blocks[static_cast<size_t>(i) * 64];
        KepResult r;
        if (dc) r = first ? kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(b, bytes.data(), len, &pos, &last, s.Al, &es, &st, 0)
                          : kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(b, bytes.data(), len, &pos, s.Al, &st, 0);
        else r = (first ? kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1 : kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1)(
                 b, bytes.data(), len, &pos, s.Ss, s.Se, s.Al, &es, &st, 0);
        ASSERT_EQ(kepOk, r) << "block " << i;
    }
    flush();
    bytes[static_cast<size_t>(pos++)] = 0xFF;
    bytes[static_cast<size_t>(pos++)] = 0xD9;

    KepiDecodeHuffmanState ds2;
    kepiDecodeHuffmanStateInit_JPEG_8u(&ds2);
    int rpos = 0, marker = 0;
    last = 0;
    size_t nextMarker = 0;
    for (int i = 0; i < n; ++i) {
        if (restart && i && i % restart == 0) {
            if (marker == 0) rpos = markerAt[nextMarker] + 2;  // only padding was left
            ++nextMarker;
            marker = 0;
            kepiDecodeHuffmanStateInit_JPEG_8u(&ds2);
            last = 0;
        }
        Kep16s* b = &out[static_cast<size_t>(i) * 64];
        KepResult r;
        if (dc) r = first ? kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(bytes.data(), pos, &rpos, b, &last, &marker, s.Al, &ds, &ds2)
                          : kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(bytes.data(), pos, &rpos, b, &marker, s.Al, &ds2);
        else r = (first ? kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1 : kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1)(
                 bytes.data(), pos, &rpos, b, &marker, s.Ss, s.Se, s.Al, &ds, &ds2);
        ASSERT_EQ(kepOk, r) << "block " << i;
    }
    EXPECT_EQ(0u, ds2.eobRun);
}

// Full progressions (every band refined down to Al = 0) rebuild the blocks exactly; bands not
// coded stay zero.
TEST(HuffProg, RandomProgressionsRoundTrip) {
    Rng rng(kepcheck::seed());
    const int cases = kepcheck::iterations(12);
    for (int c = 0; c < cases; ++c) {
        const int n = static_cast<int>(rng.range(1, 400));
        const int al = static_cast<int>(rng.range(0, 5));
        const int restart = rng.chance(40) ? static_cast<int>(rng.range(1, 30)) : 0;
        std::vector<Kep16s> blocks = randomBlocks(rng, n, al >= 1 && rng.chance(30) ? 32767 : 1023);
        const int dcLimit = 1023 << al;  // DC differences stay within category 11 after the shift
        for (size_t i = 0; i < blocks.size(); i += 64)
            blocks[i] = static_cast<Kep16s>(blocks[i] > dcLimit ? dcLimit : blocks[i] < -dcLimit ? -dcLimit : blocks[i]);
        std::vector<Kep16s> out(blocks.size(), 0);
        std::vector<Band> script = {{0, 0, 0, al}};
        for (int a = al; a > 0; --a) script.push_back({0, 0, a, a - 1});
        const int cut = static_cast<int>(rng.range(1, 63));
        const int top = rng.chance(30) ? static_cast<int>(rng.range(cut, 63)) : 63;
        for (const auto& band : {std::array<int, 2>{1, cut}, std::array<int, 2>{cut + 1, top}}) {
            if (band[0] > band[1]) continue;
            script.push_back({band[0], band[1], 0, al});
            for (int a = al; a > 0; --a) script.push_back({band[0], band[1], a, a - 1});
        }
        for (const Band& s : script) {
            SCOPED_TRACE(::testing::Message() << "case " << c << " Ss " << s.Ss << " Se " << s.Se << " Ah " << s.Ah
                                              << " Al " << s.Al << " restart " << restart);
            roundTripScan(blocks, out, s, restart);
            if (HasFatalFailure()) return;
        }
        for (int i = 0; i < n; ++i)
            for (int k = 0; k < 64; ++k) {
                const size_t at = static_cast<size_t>(i) * 64 + static_cast<size_t>(kZigzag[static_cast<size_t>(k)]);
                ASSERT_EQ(k <= top ? blocks[at] : 0, out[at]) << "case " << c << " block " << i << " zigzag " << k;
            }
    }
}

// Table with two 2-bit codes: 00 for symbol 0x00, 01 for 0xE0 (EOB14), 10 for 0x01.
Table eobTable() {
    Table t;
    t.bits[1] = 3;
    t.vals[0] = 0x00;
    t.vals[1] = 0xE0;
    t.vals[2] = 0x01;
    return t;
}

TEST(HuffProg, LongestEndOfBandRunIsEmittedAtOnce) {
    const KepiEncodeHuffmanSpec es = hufftest::encSpec(eobTable());
    Kep16s empty[64] = {};
    empty[kZigzag[10]] = 1;  // shifted out by Al = 1
    uint8_t buf[16];
    std::memset(buf, 0xAA, sizeof buf);
    int pos = 0;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    for (int i = 0; i < 32766; ++i)
        ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(empty, buf, 16, &pos, 1, 63, 1, &es, &st, 0));
    EXPECT_EQ(0, pos);
    EXPECT_EQ(32766u, st.eobRun);
    ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(empty, buf, 16, &pos, 1, 63, 1, &es, &st, 0));
    // 01 then fourteen 1-bits: 0x7F 0xFF and its stuffed zero.
    ASSERT_EQ(3, pos);
    EXPECT_EQ(0x7F, buf[0]);
    EXPECT_EQ(0xFF, buf[1]);
    EXPECT_EQ(0x00, buf[2]);
    EXPECT_EQ(0u, st.eobRun);
    EXPECT_EQ(0, st.bitCount);

    // One block more, then the flush: EOB0 (00) padded with six 1-bits.
    ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(empty, buf, 16, &pos, 1, 63, 1, &es, &st, 0));
    ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(nullptr, buf, 16, &pos, 0, 0, 99, &es, &st, 1));
    ASSERT_EQ(4, pos);
    EXPECT_EQ(0x3F, buf[3]);
    EXPECT_EQ(0xAA, buf[4]);
    KepiEncodeHuffmanState zero;
    kepiEncodeHuffmanStateInit_JPEG_8u(&zero);
    EXPECT_EQ(0, std::memcmp(&zero, &st, sizeof st));

    // The decoder takes the run back block by block.
    const KepiDecodeHuffmanSpec ds = hufftest::decSpec(eobTable());
    KepiDecodeHuffmanState dst;
    kepiDecodeHuffmanStateInit_JPEG_8u(&dst);
    int rpos = 0, marker = 0;
    Kep16s b[64];
    std::memset(b, 0x11, sizeof b);
    ASSERT_EQ(kepOk, kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(buf, 4, &rpos, b, &marker, 1, 63, 1, &ds, &dst));
    EXPECT_EQ(32766u, dst.eobRun);
    EXPECT_EQ(0x1111, static_cast<uint16_t>(b[1]));  // nothing written for an empty band
}

// Refinement bits: a newly significant coefficient is sent with its sign and followed by the
// correction bits of the coefficients it passed; the end-of-band run takes the rest.
TEST(HuffProg, RefinementBitsFollowTheirSymbol) {
    Table t;  // 0x01 -> 0, 0x00 -> 10, 0x11 -> 110
    t.bits[0] = 1;
    t.bits[1] = 1;
    t.bits[2] = 1;
    t.vals[0] = 0x01;
    t.vals[1] = 0x00;
    t.vals[2] = 0x11;
    const KepiEncodeHuffmanSpec es = hufftest::encSpec(t);
    Kep16s b[64] = {};
    b[kZigzag[1]] = -12;  // Al 2: magnitude 3, correction bit 1
    b[kZigzag[3]] = 4;    // newly significant after one zero: 0x11, sign 1
    b[kZigzag[4]] = 9;    // magnitude 2: correction bit 0 (pending into the run)
    uint8_t buf[8] = {};
    int pos = 0;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(b, buf, 8, &pos, 1, 63, 2, &es, &st, 0));
    EXPECT_EQ(1u, st.eobRun);
    EXPECT_EQ(1u, st.corrBitCount);
    EXPECT_EQ(0, st.corrBits[0]);
    EXPECT_EQ(5, st.bitCount);  // 110 1 1
    ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(nullptr, buf, 8, &pos, 1, 63, 2, &es, &st, 1));
    // 110 1 1 | 10 0: exactly one byte, no padding.
    ASSERT_EQ(1, pos);
    EXPECT_EQ(0xDC, buf[0]);

    Kep16s d[64] = {};
    d[kZigzag[1]] = -8;  // from the first scan at Al 3
    d[kZigzag[4]] = 8;
    const KepiDecodeHuffmanSpec ds = hufftest::decSpec(t);
    KepiDecodeHuffmanState dst;
    kepiDecodeHuffmanStateInit_JPEG_8u(&dst);
    int rpos = 0, marker = 0;
    const uint8_t stream[3] = {buf[0], 0xFF, 0xD9};
    ASSERT_EQ(kepOk, kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(stream, 3, &rpos, d, &marker, 1, 63, 2, &ds, &dst));
    EXPECT_EQ(-12, d[kZigzag[1]]);
    EXPECT_EQ(4, d[kZigzag[3]]);
    EXPECT_EQ(8, d[kZigzag[4]]);
    EXPECT_EQ(0u, dst.eobRun);
}

TEST(HuffProg, FlushNeedsNoSourceAndDestinationRunsOut) {
    const KepiEncodeHuffmanSpec es = hufftest::encSpec(hufftest::standardTable(2));
    const KepiEncodeHuffmanSpec dcs = hufftest::encSpec(hufftest::standardTable(0));
    uint8_t buf[4];
    int pos = 0;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(nullptr, buf, 4, &pos, 1, 63, 0, &es, &st, 0));
    EXPECT_EQ(kepOk, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(nullptr, buf, 4, &pos, 1, 63, 0, &es, &st, 1));
    EXPECT_EQ(kepOk, kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(nullptr, buf, 4, &pos, nullptr, 0, nullptr, &st, 1));
    EXPECT_EQ(0, pos);

    // A dense block does not fit in 4 bytes: -62 with the position at the end.
    Kep16s b[64];
    for (int i = 0; i < 64; ++i) b[i] = static_cast<Kep16s>(i % 3 ? 700 : -700);
    EXPECT_EQ(kepErrStreamEnd, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(b, buf, 4, &pos, 1, 63, 0, &es, &st, 0));
    EXPECT_EQ(4, pos);
    pos = 0;
    Kep16s last = 0;
    b[0] = 32767;  // category 15 >> 0: above 11
    EXPECT_EQ(kepErrHuffmanData, kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(b, buf, 4, &pos, &last, 0, &dcs, &st, 0));
    EXPECT_EQ(32767, last);
    EXPECT_EQ(0, pos);
    // Category 16 of an AC value at Al 0 has no symbol.
    Kep16s m[64] = {};
    m[kZigzag[2]] = -32768;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    EXPECT_EQ(kepErrHuffmanData, kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(m, buf, 4, &pos, 1, 63, 0, &es, &st, 0));
}

// Checks in order, each failing call leaving the buffer, the position and the state alone.
TEST(HuffProg, ArgumentChecksInOrder) {
    const KepiEncodeHuffmanSpec es = hufftest::encSpec(hufftest::standardTable(2));
    const KepiDecodeHuffmanSpec ds = hufftest::decSpec(hufftest::standardTable(2));
    Kep16s b[64] = {};
    b[1] = 5;
    uint8_t buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    int pos = 1;
    Kep16s last = 3;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    st.bitCount = 3;
    auto acF = kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
    auto acR = kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1;
    for (auto f : {acF, acR}) {
        EXPECT_EQ(kepErrNullPtr, f(b, nullptr, 0, &pos, 1, 63, 0, &es, &st, 0));
        EXPECT_EQ(kepErrSize, f(b, buf, 0, nullptr, 1, 63, 0, &es, &st, 0));
        EXPECT_EQ(kepErrNullPtr, f(b, buf, 8, &pos, 1, 63, 0, nullptr, &st, 1));
        EXPECT_EQ(kepErrNullPtr, f(b, buf, 8, nullptr, 1, 63, 0, &es, &st, 0));
        EXPECT_EQ(kepErrArgRange, f(b, buf, 8, &pos, 0, 63, 0, &es, &st, 0));
        EXPECT_EQ(kepErrArgRange, f(b, buf, 8, &pos, 64, 64, 0, &es, &st, 0));
        EXPECT_EQ(kepErrArgRange, f(b, buf, 8, &pos, 9, 8, 0, &es, &st, 0));
        EXPECT_EQ(kepErrArgRange, f(b, buf, 8, &pos, 1, 64, 0, &es, &st, 0));
        EXPECT_EQ(kepErrArgRange, f(b, buf, 8, &pos, 1, 63, 14, &es, &st, 0));
        EXPECT_EQ(kepErrArgRange, f(b, buf, 8, &pos, 1, 63, -1, &es, &st, 0));
    }
    auto dcF = kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1;
    EXPECT_EQ(kepErrNullPtr, dcF(b, buf, 8, &pos, nullptr, 14, &es, &st, 0));
    EXPECT_EQ(kepErrArgRange, dcF(b, buf, 8, &pos, &last, 14, nullptr, &st, 0));
    EXPECT_EQ(kepErrNullPtr, dcF(b, buf, 8, &pos, &last, 13, nullptr, &st, 0));
    EXPECT_EQ(kepErrArgRange, kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(b, buf, 8, &pos, 14, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(b, buf, 8, &pos, 0, nullptr, 0));
    const uint8_t untouched[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(0, std::memcmp(buf, untouched, 8));
    EXPECT_EQ(1, pos);
    EXPECT_EQ(3, last);
    EXPECT_EQ(3, st.bitCount);
    // The widest band and the largest point transform are accepted.
    EXPECT_EQ(kepOk, acF(b, buf, 8, &pos, 63, 63, 13, &es, &st, 0));

    KepiDecodeHuffmanState dst;
    kepiDecodeHuffmanStateInit_JPEG_8u(&dst);
    int marker = 0, rpos = 0;
    Kep16s out[64] = {};
    auto decF = kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
    EXPECT_EQ(kepErrNullPtr, decF(nullptr, 0, &rpos, out, &marker, 0, 63, 0, &ds, &dst));
    EXPECT_EQ(kepErrSize, decF(buf, 0, nullptr, out, &marker, 1, 63, 0, &ds, &dst));
    EXPECT_EQ(kepErrNullPtr, decF(buf, 8, &rpos, out, nullptr, 0, 63, 0, &ds, &dst));
    EXPECT_EQ(kepErrArgRange, decF(buf, 8, &rpos, out, &marker, 0, 63, 0, nullptr, nullptr));
    EXPECT_EQ(kepErrNullPtr, decF(buf, 8, &rpos, out, &marker, 1, 63, 0, &ds, nullptr));
    EXPECT_EQ(kepErrArgRange, kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(buf, 8, &rpos, out, &marker, 1, 63, 14, &ds, &dst));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(buf, 8, &rpos, out, nullptr, &marker, 14, &ds, &dst));
    EXPECT_EQ(kepErrArgRange, kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(buf, 8, &rpos, out, &last, &marker, 14, nullptr, &dst));
    EXPECT_EQ(kepErrArgRange, kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(buf, 8, &rpos, out, &marker, 14, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(buf, 8, &rpos, out, &marker, 13, nullptr));
    EXPECT_EQ(0, rpos);
    for (Kep16s v : out) EXPECT_EQ(0, v);
}

// DC refinement reads a single bit; at the end of the source it fails, after a marker with -63.
TEST(HuffProg, DCRefinementBitsAndStreamEnd) {
    const uint8_t stream[3] = {0xA0, 0xFF, 0xD0};  // bits 1 0 1 0 0 0 0 0, then RST0
    KepiDecodeHuffmanState st;
    kepiDecodeHuffmanStateInit_JPEG_8u(&st);
    int pos = 0, marker = 0;
    Kep16s b[64] = {};
    b[0] = -16;
    const Kep16s expect[3] = {-12, -12, -10};  // bit 2 set, then nothing, then bit 1 set
    const int al[3] = {2, 2, 1};
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(kepOk, kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(stream, 3, &pos, b, &marker, al[i], &st));
        EXPECT_EQ(expect[i], b[0]);
    }
    EXPECT_EQ(0xD0, marker);
    EXPECT_EQ(3, pos);
    for (int i = 0; i < 5; ++i) ASSERT_EQ(kepOk, kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(stream, 3, &pos, b, &marker, 0, &st));
    EXPECT_EQ(-10, b[0]);
    EXPECT_EQ(kepErrHuffmanData, kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(stream, 3, &pos, b, &marker, 0, &st));
    kepiDecodeHuffmanStateInit_JPEG_8u(&st);
    pos = 0;
    marker = 0;
    EXPECT_EQ(kepOk, kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(stream, 1, &pos, b, &marker, 0, &st));
    for (int i = 0; i < 7; ++i) kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(stream, 1, &pos, b, &marker, 0, &st);
    EXPECT_EQ(kepErrStreamEnd, kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(stream, 1, &pos, b, &marker, 0, &st));
    EXPECT_EQ(1, pos);
}

}  // namespace
