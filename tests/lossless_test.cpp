// Lossless coding (T.81 Annex H): hand-computed prediction and coding vectors, round trips of
// 2- to 16-bit images through every predictor and point transform with tables from our own
// statistics, the 16-bit readings, and the order of the argument checks.

#include <gtest/gtest.h>

#include "huff_jpeg.h"
#include "pjdispatch.h"

namespace {

using kepcheck::Rng;
using hufftest::Table;

// ---- Hand-computed vectors -----------------------------------------------------------------

// A 3x3 image of 8-bit samples, Pt = 0. First row: 100 - 128, 102 - 100, 101 - 102. Second row
// (Ra left, Rb above, Rc above-left) for sample 1 of row 1 (value 107: Ra 104, Rb 102, Rc 100)
// and sample 2 (value 99: Ra 107, Rb 101, Rc 102):
//   1: Ra            -> 107-104 = 3,     99-107 = -8
//   2: Rb            -> 107-102 = 5,     99-101 = -2
//   3: Rc            -> 107-100 = 7,     99-102 = -3
//   4: Ra+Rb-Rc      -> 107-106 = 1,     99-106 = -7
//   5: Ra+((Rb-Rc)>>1) -> 107-105 = 2,   99-(107+(-1>>1)=106) = -7
//   6: Rb+((Ra-Rc)>>1) -> 107-104 = 3,   99-(101+2) = -4
//   7: (Ra+Rb)>>1    -> 107-103 = 4,     99-104 = -5
// and sample 0 always uses Rb: 104 - 100 = 4.
TEST(Lossless, PredictorsByHand) {
    const Kep16s row0[3] = {100, 102, 101}, row1[3] = {104, 107, 99};
    Kep16s d[3];
    ASSERT_EQ(kepOk, kepiDiffPredFirstRow_JPEG_16s_C1(row0, d, 3, 8, 0));
    EXPECT_EQ(-28, d[0]);
    EXPECT_EQ(2, d[1]);
    EXPECT_EQ(-1, d[2]);
    Kep16s back[3];
    ASSERT_EQ(kepOk, kepiReconstructPredFirstRow_JPEG_16s_C1(d, back, 3, 8, 0));
    EXPECT_EQ(0, std::memcmp(back, row0, sizeof back));
    // Pt lowers the initial prediction only: P 12, Pt 3 -> 2^8.
    ASSERT_EQ(kepOk, kepiDiffPredFirstRow_JPEG_16s_C1(row0, d, 1, 12, 3));
    EXPECT_EQ(100 - 256, d[0]);

    const int expect[8][2] = {{0, 0}, {3, -8}, {5, -2}, {7, -3}, {1, -7}, {2, -7}, {3, -4}, {4, -5}};
    for (int p = 1; p <= 7; ++p) {
        ASSERT_EQ(kepOk, kepiDiffPredRow_JPEG_16s_C1(row1, row0, d, 3, p));
        EXPECT_EQ(4, d[0]) << p;
        EXPECT_EQ(expect[p][0], d[1]) << p;
        EXPECT_EQ(expect[p][1], d[2]) << p;
        ASSERT_EQ(kepOk, kepiReconstructPredRow_JPEG_16s_C1(d, row0, back, 3, p));
        EXPECT_EQ(0, std::memcmp(back, row1, sizeof back)) << p;
    }
}

// 16-bit precision: P 16 puts the first prediction at 32768, so a first sample of 0 gives the
// difference -32768 (0x8000). Samples of 32768 and more are unsigned in the predictors: with
// Rb = 0x8000, Rc = 0, Ra = 0, predictor 5 predicts 0 + (32768 >> 1) = 16384 (the signed reading
// would give -16384, i.e. 49152), and predictor 7 (Ra + Rb) >> 1 with Ra = Rb = 0xFFFF gives
// 65535 (signed: -1, the same modulo 2^16; both readings agree there).
TEST(Lossless, SixteenBitSamplesAreUnsigned) {
    Kep16s zero = 0, d;
    ASSERT_EQ(kepOk, kepiDiffPredFirstRow_JPEG_16s_C1(&zero, &d, 1, 16, 0));
    EXPECT_EQ(-32768, d);
    const Kep16s prev[2] = {0, static_cast<Kep16s>(0x8000)}, cur[2] = {0, 16384};
    Kep16s out[2];
    ASSERT_EQ(kepOk, kepiDiffPredRow_JPEG_16s_C1(cur, prev, out, 2, 5));
    EXPECT_EQ(0, out[1]);
    ASSERT_EQ(kepOk, kepiDiffPredRow_JPEG_16s_C1(cur, prev, out, 2, 6));  // 32768 + (0 >> 1)
    EXPECT_EQ(16384 - 32768, out[1]);
    // Predictor 4 wraps: 0xFFFF + 0xFFFF - 0 = 0x1FFFE -> 0xFFFE.
    const Kep16s p4prev[2] = {0, -1}, p4cur[2] = {-1, -2};
    ASSERT_EQ(kepOk, kepiDiffPredRow_JPEG_16s_C1(p4cur, p4prev, out, 2, 4));
    EXPECT_EQ(0, out[1]);
    ASSERT_EQ(kepOk, kepiDiffPredRow_JPEG_16s_C1(p4cur, p4prev, out, 2, 7));  // (65535 + 65535) >> 1
    EXPECT_EQ(-2 - -1, out[1]);
}

// The first row of the hand example coded with the T.81 K.3 luminance DC table (category codes
// 0:00 1:010 2:011 3:100 4:101 5:110): -28 is 110 + 00011 (-29 in 5 bits), 2 is 011 + 10, -1 is
// 010 + 0; then the flush pads with 1-bits: 11000011 01110010 01111111.
TEST(Lossless, CodingByHand) {
    const KepiEncodeHuffmanSpec es = hufftest::encSpec(hufftest::standardTable(0));
    const Kep16s d[3] = {-28, 2, -1};
    uint8_t buf[8] = {};
    int pos = 0;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    for (const Kep16s& v : d) ASSERT_EQ(kepOk, kepiEncodeHuffmanOne_JPEG_16s1u_C1(&v, buf, 8, &pos, &es, &st, 0));
    ASSERT_EQ(kepOk, kepiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, buf, 8, &pos, nullptr, &st, 1));
    ASSERT_EQ(3, pos);
    EXPECT_EQ(0xC3, buf[0]);
    EXPECT_EQ(0x72, buf[1]);
    EXPECT_EQ(0x7F, buf[2]);

    const KepiDecodeHuffmanSpec ds = hufftest::decSpec(hufftest::standardTable(0));
    KepiDecodeHuffmanState dst;
    kepiDecodeHuffmanStateInit_JPEG_8u(&dst);
    int rpos = 0, marker = 0;
    for (const Kep16s& v : d) {
        Kep16s got = 0x5555;
        ASSERT_EQ(kepOk, kepiDecodeHuffmanOne_JPEG_1u16s_C1(buf, 3, &rpos, &got, &marker, &ds, &dst));
        EXPECT_EQ(v, got);
    }
}

// Symbol 16 (the difference 32768) travels alone: with the 2-bit codes 00 for symbol 0 and 01
// for symbol 16, the differences -32768, 0, -32768 take 6 bits, 01 00 01, padded to 0x47.
TEST(Lossless, Difference32768IsSymbolSixteenAlone) {
    Table t;
    t.bits[1] = 2;
    t.vals[0] = 0;
    t.vals[1] = 16;
    const KepiEncodeHuffmanSpec es = hufftest::encSpec(t);
    const KepiDecodeHuffmanSpec ds = hufftest::decSpec(t);
    const Kep16s row[3] = {-32768, 0, -32768};
    const Kep16s* src[4] = {row, nullptr, nullptr, nullptr};
    const KepiEncodeHuffmanSpec* tables[4] = {&es, nullptr, nullptr, nullptr};
    uint8_t buf[4] = {};
    int pos = 0;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, 3, 1, buf, 4, &pos, tables, &st, 0));
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, buf, 4, &pos, nullptr, &st, 1));
    ASSERT_EQ(1, pos);
    EXPECT_EQ(0x47, buf[0]);
    Kep16s out[3];
    Kep16s* dst[4] = {out, nullptr, nullptr, nullptr};
    const KepiDecodeHuffmanSpec* dtables[4] = {&ds, nullptr, nullptr, nullptr};
    KepiDecodeHuffmanState dstate;
    kepiDecodeHuffmanStateInit_JPEG_8u(&dstate);
    int rpos = 0, marker = 0;
    ASSERT_EQ(kepOk, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(buf, 1, &rpos, dst, 3, 1, &marker, dtables, &dstate));
    EXPECT_EQ(0, std::memcmp(out, row, sizeof out));
    int stats[257] = {};
    for (const Kep16s& v : row) kepiGetHuffmanStatisticsOne_JPEG_16s_C1(&v, stats);
    EXPECT_EQ(2, stats[16]);
    EXPECT_EQ(1, stats[0]);
}

// ---- Round trips -------------------------------------------------------------------------------

struct Image {
    int width, height, comps;
    std::vector<std::vector<Kep16s>> planes;  // samples already shifted right by Pt
};

// Smooth ramps with noise and, for high precisions, values across 32768.
Image randomImage(Rng& rng, int P, int Pt) {
    Image im;
    im.width = static_cast<int>(rng.range(1, 70));
    im.height = static_cast<int>(rng.range(1, 12));
    im.comps = static_cast<int>(rng.range(1, 4));
    const int maxv = (1 << (P - Pt)) - 1;
    for (int c = 0; c < im.comps; ++c) {
        std::vector<Kep16s> p(static_cast<size_t>(im.width) * im.height);
        const int kind = static_cast<int>(rng.range(0, 2));
        for (int y = 0; y < im.height; ++y)
            for (int x = 0; x < im.width; ++x) {
                int v = kind == 0 ? static_cast<int>(rng.range(0, maxv)) : (x * 37 + y * 11) % (maxv + 1);
                if (kind == 2) v = rng.chance(50) ? 0 : maxv;
                p[static_cast<size_t>(y) * im.width + x] = static_cast<Kep16s>(static_cast<Kep16u>(v));
            }
        im.planes.push_back(std::move(p));
    }
    return im;
}

void roundTrip(const Image& im, int P, int Pt, int predictor) {
    const int w = im.width, n = im.comps;
    std::vector<std::vector<Kep16s>> diff(static_cast<size_t>(n));
    int stats[4][257] = {};
    for (int c = 0; c < n; ++c) {
        diff[static_cast<size_t>(c)].resize(im.planes[static_cast<size_t>(c)].size());
        for (int y = 0; y < im.height; ++y) {
            const Kep16s* row = &im.planes[static_cast<size_t>(c)][static_cast<size_t>(y) * w];
            Kep16s* d = &diff[static_cast<size_t>(c)][static_cast<size_t>(y) * w];
            ASSERT_EQ(kepOk, y == 0 ? kepiDiffPredFirstRow_JPEG_16s_C1(row, d, w, P, Pt)
                                    : kepiDiffPredRow_JPEG_16s_C1(row, row - w, d, w, predictor));
            for (int x = 0; x < w; ++x) ASSERT_EQ(kepOk, kepiGetHuffmanStatisticsOne_JPEG_16s_C1(&d[x], stats[c]));
        }
    }
    KepiEncodeHuffmanSpec es[4];
    KepiDecodeHuffmanSpec ds[4];
    const KepiEncodeHuffmanSpec* etab[4] = {};
    const KepiDecodeHuffmanSpec* dtab[4] = {};
    for (int c = 0; c < n; ++c) {
        Table t;
        ASSERT_EQ(kepOk, kepiEncodeHuffmanRawTableInit_JPEG_8u(stats[c], t.bits, t.vals));
        es[c] = hufftest::encSpec(t);
        ds[c] = hufftest::decSpec(t);
        etab[c] = &es[c];
        dtab[c] = &ds[c];
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(w) * im.height * n * 5 + 16);
    const int len = static_cast<int>(bytes.size());
    int pos = 0;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    for (int y = 0; y < im.height; ++y) {
        const Kep16s* src[4] = {};
        for (int c = 0; c < n; ++c) src[c] = &diff[static_cast<size_t>(c)][static_cast<size_t>(y) * w];
        ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, w, n, bytes.data(), len, &pos, etab, &st, 0));
    }
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, w, n, bytes.data(), len, &pos, etab, &st, 1));
    bytes[static_cast<size_t>(pos++)] = 0xFF;
    bytes[static_cast<size_t>(pos++)] = 0xD9;

    // Single-component images also go through the one-value coders and must give the same bytes.
    if (n == 1) {
        std::vector<uint8_t> one(bytes.size());
        int opos = 0;
        kepiEncodeHuffmanStateInit_JPEG_8u(&st);
        for (const Kep16s& v : diff[0]) ASSERT_EQ(kepOk, kepiEncodeHuffmanOne_JPEG_16s1u_C1(&v, one.data(), len, &opos, etab[0], &st, 0));
        ASSERT_EQ(kepOk, kepiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, one.data(), len, &opos, nullptr, &st, 1));
        ASSERT_EQ(pos - 2, opos);
        ASSERT_EQ(0, std::memcmp(one.data(), bytes.data(), static_cast<size_t>(opos)));
    }

    KepiDecodeHuffmanState dst;
    kepiDecodeHuffmanStateInit_JPEG_8u(&dst);
    int rpos = 0, marker = 0;
    std::vector<std::vector<Kep16s>> rows(static_cast<size_t>(n), std::vector<Kep16s>(static_cast<size_t>(w)));
    std::vector<std::vector<Kep16s>> recon(static_cast<size_t>(n), std::vector<Kep16s>(im.planes[0].size()));
    for (int y = 0; y < im.height; ++y) {
        Kep16s* out[4] = {};
        for (int c = 0; c < n; ++c) out[c] = rows[static_cast<size_t>(c)].data();
        ASSERT_EQ(kepOk, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(bytes.data(), pos, &rpos, out, w, n, &marker, dtab, &dst));
        for (int c = 0; c < n; ++c) {
            Kep16s* r = &recon[static_cast<size_t>(c)][static_cast<size_t>(y) * w];
            ASSERT_EQ(kepOk, y == 0 ? kepiReconstructPredFirstRow_JPEG_16s_C1(out[c], r, w, P, Pt)
                                    : kepiReconstructPredRow_JPEG_16s_C1(out[c], r - w, r, w, predictor));
        }
    }
    for (int c = 0; c < n; ++c) ASSERT_TRUE(recon[static_cast<size_t>(c)] == im.planes[static_cast<size_t>(c)]) << "component " << c;
}

TEST(Lossless, EveryPrecisionPredictorAndPointTransformRoundTrips) {
    Rng rng(kepcheck::seed());
    for (int P = 2; P <= 16; ++P)
        for (int predictor = 1; predictor <= 7; ++predictor)
            for (int Pt = 0; Pt < P; Pt += (P > 8 ? 3 : 1)) {
                SCOPED_TRACE(::testing::Message() << "P " << P << " predictor " << predictor << " Pt " << Pt);
                roundTrip(randomImage(rng, P, Pt), P, Pt, predictor);
                if (HasFatalFailure()) return;
            }
}

// ---- Checks -------------------------------------------------------------------------------------

TEST(Lossless, ArgumentChecksInOrder) {
    Kep16s a[4] = {1, 2, 3, 4}, b[4] = {5, 6, 7, 8}, d[4] = {9, 9, 9, 9};
    EXPECT_EQ(kepErrNullPtr, kepiDiffPredFirstRow_JPEG_16s_C1(a, nullptr, 0, 1, -1));
    EXPECT_EQ(kepErrSize, kepiDiffPredFirstRow_JPEG_16s_C1(a, d, 0, 1, -1));
    for (int bad : {1, 17}) EXPECT_EQ(kepErrArgRange, kepiReconstructPredFirstRow_JPEG_16s_C1(a, d, 4, bad, 0));
    EXPECT_EQ(kepErrArgRange, kepiDiffPredFirstRow_JPEG_16s_C1(a, d, 4, 8, -1));
    EXPECT_EQ(kepErrArgRange, kepiDiffPredFirstRow_JPEG_16s_C1(a, d, 4, 8, 8));
    EXPECT_EQ(kepErrNullPtr, kepiDiffPredRow_JPEG_16s_C1(a, nullptr, d, 0, 0));
    EXPECT_EQ(kepErrSize, kepiReconstructPredRow_JPEG_16s_C1(a, b, d, 0, 0));
    for (int bad : {0, 8}) EXPECT_EQ(kepErrArgRange, kepiDiffPredRow_JPEG_16s_C1(a, b, d, 4, bad));
    for (Kep16s v : d) EXPECT_EQ(9, v);

    const KepiEncodeHuffmanSpec es = hufftest::encSpec(hufftest::standardTable(0));
    const KepiDecodeHuffmanSpec ds = hufftest::decSpec(hufftest::standardTable(0));
    uint8_t buf[64] = {};
    int pos = 0;
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    const Kep16s* src[4] = {a, b, nullptr, nullptr};
    const KepiEncodeHuffmanSpec* et[4] = {&es, &es, nullptr, nullptr};
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, 0, 0, nullptr, 0, &pos, et, &st, 0));
    EXPECT_EQ(kepErrSize, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, 4, 1, buf, 0, nullptr, et, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, buf, 64, &pos, et, nullptr, 1));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, buf, 64, &pos, et, &st, 0));
    EXPECT_EQ(kepErrSize, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, 4, 0, buf, 64, &pos, nullptr, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, 4, 1, buf, 64, &pos, nullptr, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, 4, 3, buf, 64, &pos, et, &st, 0));
    EXPECT_EQ(0, pos);
    EXPECT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, 4, 2, buf, 64, &pos, et, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, buf, 64, &pos, &es, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffmanOne_JPEG_16s1u_C1(a, buf, 64, &pos, nullptr, &st, 0));

    Kep16s o0[4], o1[4];
    Kep16s* dst[4] = {o0, o1, nullptr, nullptr};
    const KepiDecodeHuffmanSpec* dt[4] = {&ds, &ds, nullptr, nullptr};
    KepiDecodeHuffmanState dstate;
    kepiDecodeHuffmanStateInit_JPEG_8u(&dstate);
    int rpos = 0, marker = 0;
    EXPECT_EQ(kepErrSize, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(buf, 0, nullptr, dst, 4, 2, &marker, dt, &dstate));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(buf, 64, &rpos, nullptr, 0, 2, &marker, dt, &dstate));
    EXPECT_EQ(kepErrSize, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(buf, 64, &rpos, dst, 0, 2, nullptr, dt, &dstate));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(buf, 64, &rpos, dst, 4, 2, nullptr, dt, &dstate));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(buf, 64, &rpos, dst, 4, 3, &marker, dt, &dstate));
    EXPECT_EQ(kepErrSize, kepiDecodeHuffmanOne_JPEG_1u16s_C1(buf, 0, nullptr, o0, &marker, &ds, &dstate));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffmanOne_JPEG_1u16s_C1(buf, 64, &rpos, o0, &marker, &ds, nullptr));
    EXPECT_EQ(0, rpos);
    // Six components code four per sample index: the same bytes as four.
    const Kep16s* src4[4] = {a, b, a, b};
    const KepiEncodeHuffmanSpec* et4[4] = {&es, &es, &es, &es};
    uint8_t four[64], six[64];
    int p4 = 0, p6 = 0;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src4, 4, 4, four, 64, &p4, et4, &st, 0));
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, four, 64, &p4, nullptr, &st, 1));
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src4, 4, 6, six, 64, &p6, et4, &st, 0));
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, six, 64, &p6, nullptr, &st, 1));
    ASSERT_EQ(p4, p6);
    EXPECT_EQ(0, std::memcmp(four, six, static_cast<size_t>(p4)));
}

// A row that stops part way: a marker in the data gives -63 with the samples before it decoded.
TEST(Lossless, RowStopsAtMarker) {
    const KepiDecodeHuffmanSpec ds = hufftest::decSpec(hufftest::standardTable(0));
    const uint8_t stream[4] = {0x00, 0x00, 0xFF, 0xD0};  // eight zero differences (00), then RST0
    Kep16s o[12];
    for (Kep16s& v : o) v = 7;
    Kep16s* dst[4] = {o, nullptr, nullptr, nullptr};
    const KepiDecodeHuffmanSpec* dt[4] = {&ds, nullptr, nullptr, nullptr};
    KepiDecodeHuffmanState st;
    kepiDecodeHuffmanStateInit_JPEG_8u(&st);
    int pos = 0, marker = 0;
    EXPECT_EQ(kepErrHuffmanData, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(stream, 4, &pos, dst, 12, 1, &marker, dt, &st));
    EXPECT_EQ(0xD0, marker);
    EXPECT_EQ(4, pos);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(0, o[i]);
    for (int i = 8; i < 12; ++i) EXPECT_EQ(7, o[i]);
}

}  // namespace
