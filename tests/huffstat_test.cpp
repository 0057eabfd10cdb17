// Huffman statistics: hand-worked blocks, argument checks, and against libjpeg-turbo's optimiser
// (our counts turned into lists by kepiEncodeHuffmanRawTableInit_JPEG_8u must equal the DHT
// lists of its optimised baseline and progressive files, scan by scan).

#include <gtest/gtest.h>

#include <array>

#include "huffprog_jpeg.h"
#include "jpegref.h"
#include "pjdispatch.h"

namespace {

using progtest::ProgFile;
using progtest::Scan;
using hufftest::MakeOptions;
using hufftest::Table;

const std::array<int, 64> kZigzag = jpegref::zigzagToNatural();

void expectListsEqual(const Table& expect, int* stats, const char* what) {
    Table got;
    ASSERT_EQ(kepOk, kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, got.bits, got.vals)) << what;
    ASSERT_EQ(0, std::memcmp(expect.bits, got.bits, 16)) << what;
    ASSERT_EQ(0, std::memcmp(expect.vals, got.vals, static_cast<size_t>(got.count()))) << what;
}

TEST(HuffStatPeer, BaselineCountsGiveLibjpegOptimisedTables) {
    uint64_t seed = 7;
    for (int comps : {1, 3})
        for (int quality : {30, 90, 100})
            for (int restart : {0, 2}) {
                MakeOptions o;
                o.components = comps;
                o.hSamp = o.vSamp = comps == 3 ? 2 : 1;
                o.quality = quality;
                o.restartMcus = restart;
                o.optimize = true;
                o.width = 53 + static_cast<int>(seed % 3) * 17;
                o.height = 41;
                o.seed = seed++;
                hufftest::JpegFile f = hufftest::readJpeg(hufftest::makeJpeg(o));
                int dcStats[4][257] = {}, acStats[4][257] = {};
                Kep16s lastDC[4] = {};
                int lastMcu = 0;
                hufftest::forEachBlock(f, [&](int c, int bx, int by, int mcu) {
                    if (mcu != lastMcu && f.restartMcus && mcu % f.restartMcus == 0)
                        for (Kep16s& d : lastDC) d = 0;
                    lastMcu = mcu;
                    const auto& comp = f.comps[static_cast<size_t>(c)];
                    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_JPEG_16s_C1(f.block(c, bx, by), dcStats[comp.dcTable],
                                                                             acStats[comp.acTable], &lastDC[c]));
                });
                for (int t = 0; t < 2; ++t) {
                    if (f.dc[t].count()) expectListsEqual(f.dc[t], dcStats[t], "dc");
                    if (f.ac[t].count()) expectListsEqual(f.ac[t], acStats[t], "ac");
                }
            }
}

// Counts every scan of a progressive file that has its own tables and compares with them.
TEST(HuffStatPeer, ProgressiveCountsGiveLibjpegOptimisedTablesPerScan) {
    uint64_t seed = 3;
    int checked[3] = {};  // DC first, AC first, AC refinement scans compared
    for (int comps : {1, 3})
        for (int quality : {25, 85, 99})
            for (int restart : {0, 3}) {
                MakeOptions o;
                o.components = comps;
                o.hSamp = o.vSamp = comps == 3 ? 2 : 1;
                o.quality = quality;
                o.restartMcus = restart;
                o.width = 120 + static_cast<int>(seed % 3) * 13;
                o.height = 72 + static_cast<int>(seed % 2) * 9;
                o.seed = seed++;
                const ProgFile f = progtest::readProgressive(progtest::makeProgressiveJpeg(o));
                for (const Scan& s : f.scans) {
                    if (s.Ss == 0 && s.Ah != 0) continue;  // DC refinement: no table
                    int stats[4][257] = {};
                    KepiEncodeHuffmanState st;
                    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
                    Kep16s lastDC[4] = {};
                    int lastMcu = 0;
                    auto flush = [&]() {
                        if (s.Ss == 0) return;
                        auto fn = s.Ah == 0 ? kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                                            : kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
                        EXPECT_EQ(kepOk, fn(nullptr, stats[s.acTable[0]], 0, 0, 0, &st, 1));
                    };
                    progtest::forEachBlock(f, s, [&](int sc, int c, int bx, int by, int mcu) {
                        if (progtest::restartBefore(s, mcu, lastMcu)) {
                            flush();
                            for (Kep16s& d : lastDC) d = 0;
                        }
                        const Kep16s* b = f.comps[static_cast<size_t>(c)].block(bx, by);
                        KepResult r;
                        if (s.Ss == 0)
                            r = kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(
                                b, stats[s.dcTable[static_cast<size_t>(sc)]], &lastDC[sc], s.Al);
                        else if (s.Ah == 0)
                            r = kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(b, stats[s.acTable[0]], s.Ss, s.Se,
                                                                                s.Al, &st, 0);
                        else
                            r = kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(b, stats[s.acTable[0]], s.Ss, s.Se,
                                                                                 s.Al, &st, 0);
                        ASSERT_EQ(kepOk, r);
                    });
                    flush();
                    if (s.Ss == 0) {
                        for (int sc : s.dcTable) expectListsEqual(s.dc[sc], stats[sc], "DC first");
                        ++checked[0];
                    } else {
                        expectListsEqual(s.ac[s.acTable[0]], stats[s.acTable[0]], s.Ah ? "AC refine" : "AC first");
                        ++checked[s.Ah ? 2 : 1];
                    }
                }
            }
    EXPECT_GT(checked[0], 0);
    EXPECT_GT(checked[1], 0);
    EXPECT_GT(checked[2], 0);
}

// ---- Hand-worked blocks -----------------------------------------------------------------------

TEST(HuffStat, BaselineBlocks) {
    Kep16s b[64] = {};
    int dc[257] = {}, ac[257] = {};
    Kep16s last = 0;
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_JPEG_16s_C1(b, dc, ac, &last));
    EXPECT_EQ(1, dc[0]);
    EXPECT_EQ(1, ac[0]);

    // 62 zeros, then -1 at zigzag 63: three ZRL, then run 14 category 1, no EOB.
    b[0] = -5;
    b[kZigzag[63]] = -1;
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_JPEG_16s_C1(b, dc, ac, &last));
    EXPECT_EQ(-5, last);
    EXPECT_EQ(1, dc[3]);
    EXPECT_EQ(3, ac[0xF0]);
    EXPECT_EQ(1, ac[0xE1]);
    EXPECT_EQ(1, ac[0]);

    // A run of exactly 16 zeros before a value: one ZRL, then run 0; a value of 255 is category 8.
    Kep16s c[64] = {};
    c[0] = -5;
    c[kZigzag[17]] = 255;
    c[kZigzag[18]] = -256;
    int dc2[257] = {}, ac2[257] = {};
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_JPEG_16s_C1(c, dc2, ac2, &last));
    EXPECT_EQ(1, dc2[0]);
    EXPECT_EQ(1, ac2[0xF0]);
    EXPECT_EQ(1, ac2[0x08]);
    EXPECT_EQ(1, ac2[0x09]);
    EXPECT_EQ(1, ac2[0x00]);

    // Category 15 of an AC value fails after the ZRL before it were counted; the DC count stays.
    c[kZigzag[18]] = 0;
    c[kZigzag[40]] = -16384;
    int dc3[257] = {}, ac3[257] = {};
    EXPECT_EQ(kepErrHuffmanData, kepiGetHuffmanStatistics8x8_JPEG_16s_C1(c, dc3, ac3, &last));
    EXPECT_EQ(1, dc3[0]);
    EXPECT_EQ(1, ac3[0x08]);
    EXPECT_EQ(2, ac3[0xF0]);  // 16 zeros before 255, 22 before -16384
    EXPECT_EQ(0, ac3[0x00]);
    // A DC difference of category 16 fails before anything is counted, *pLastDC already updated.
    Kep16s d[64] = {};
    d[0] = 32767;
    last = -32768;
    int dc4[257] = {}, ac4[257] = {};
    EXPECT_EQ(kepErrHuffmanData, kepiGetHuffmanStatistics8x8_JPEG_16s_C1(d, dc4, ac4, &last));
    EXPECT_EQ(32767, last);
    for (int v : dc4) EXPECT_EQ(0, v);
}

TEST(HuffStat, OneValueAndDCFirst) {
    int stats[257] = {};
    for (Kep16s v : {0, 1, -1, 2, -32768, 32767, -32767, 16384}) ASSERT_EQ(kepOk, kepiGetHuffmanStatisticsOne_JPEG_16s_C1(&v, stats));
    EXPECT_EQ(1, stats[0]);
    EXPECT_EQ(2, stats[1]);
    EXPECT_EQ(1, stats[2]);
    EXPECT_EQ(1, stats[16]);
    EXPECT_EQ(3, stats[15]);

    // DC first: -7 >> 1 = -4 (floor), difference -4 is category 3; the next difference 2047 - -4
    // is category 12 and fails.
    int dc[257] = {};
    Kep16s b[64] = {}, last = 0;
    b[0] = -7;
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, dc, &last, 1));
    EXPECT_EQ(-4, last);
    EXPECT_EQ(1, dc[3]);
    b[0] = 4094;
    EXPECT_EQ(kepErrHuffmanData, kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, dc, &last, 1));
    EXPECT_EQ(2047, last);
    b[0] = 4095;
    last = 0;
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, dc, &last, 2));
    EXPECT_EQ(1, dc[10]);
    EXPECT_EQ(kepErrArgRange, kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, dc, &last, 14));
    EXPECT_EQ(kepErrArgRange, kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, dc, &last, -1));
    EXPECT_EQ(kepErrNullPtr, kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, dc, nullptr, 14));
    EXPECT_EQ(kepErrNullPtr, kepiGetHuffmanStatisticsOne_JPEG_16s_C1(nullptr, stats));
    EXPECT_EQ(kepErrNullPtr, kepiGetHuffmanStatistics8x8_JPEG_16s_C1(b, dc, nullptr, &last));
}

// End-of-band runs across blocks: 32767 empty blocks give one EOB14 at once; a flush counts the
// pending run (EOB3 for 9 blocks) and leaves the state as after Init.
TEST(HuffStat, ACFirstRunsSpanBlocks) {
    Kep16s empty[64] = {};
    empty[kZigzag[1]] = 1;  // shifted away by Al = 1
    int stats[257] = {};
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    for (int i = 0; i < 32767; ++i)
        ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(empty, stats, 1, 63, 1, &st, 0));
    EXPECT_EQ(1, stats[0xE0]);
    EXPECT_EQ(0u, st.eobRun);
    for (int i = 0; i < 9; ++i)
        ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(empty, stats, 1, 63, 1, &st, 0));
    // A nonzero coefficient emits the pending run before its own symbol (run 2, category 2).
    Kep16s b[64] = {};
    b[kZigzag[5]] = -6;
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(b, stats, 3, 5, 1, &st, 0));
    EXPECT_EQ(1, stats[0x30]);
    EXPECT_EQ(1, stats[0x22]);
    EXPECT_EQ(0u, st.eobRun);
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(empty, stats, 1, 1, 0, &st, 0));
    EXPECT_EQ(1, stats[0x01]);  // the coefficient is 1 at Al = 0, not a run
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(empty, stats, 2, 63, 0, &st, 0));
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(nullptr, stats, 0, 0, 0, &st, 1));
    EXPECT_EQ(1, stats[0x00]);
    KepiEncodeHuffmanState zero;
    kepiEncodeHuffmanStateInit_JPEG_8u(&zero);
    EXPECT_EQ(0, std::memcmp(&zero, &st, sizeof st));
}

// Refinement: blocks with only correction bits join the end-of-band run; once more than 937 bits
// are buffered the run goes out with them (24 blocks of 40 bits: 960 > 937, EOB4 for 24).
TEST(HuffStat, ACRefineCorrectionBitLimit) {
    Kep16s b[64] = {};
    for (int k = 1; k <= 40; ++k) b[kZigzag[k]] = static_cast<Kep16s>(k % 2 ? 6 : -10);
    int stats[257] = {};
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    for (int i = 0; i < 23; ++i) ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(b, stats, 1, 63, 1, &st, 0));
    EXPECT_EQ(23u, st.eobRun);
    EXPECT_EQ(920u, st.corrBitCount);
    for (int v : stats) EXPECT_EQ(0, v);
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(b, stats, 1, 63, 1, &st, 0));
    EXPECT_EQ(1, stats[0x40]);
    EXPECT_EQ(0u, st.eobRun);
    EXPECT_EQ(0u, st.corrBitCount);
    // A newly significant coefficient after 20 zeros past the last old one: ZRL, then run 4.
    Kep16s n[64] = {};
    n[kZigzag[1]] = 6;
    n[kZigzag[22]] = -2;
    ASSERT_EQ(kepOk, kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(n, stats, 1, 63, 1, &st, 0));
    EXPECT_EQ(1, stats[0xF0]);
    EXPECT_EQ(1, stats[0x41]);
    EXPECT_EQ(1u, st.eobRun);  // zeros after it
    EXPECT_EQ(kepErrArgRange, kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(n, stats, 0, 63, 1, &st, 0));
    EXPECT_EQ(kepErrArgRange, kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(n, stats, 5, 4, 1, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(nullptr, stats, 0, 63, 1, &st, 0));
    EXPECT_EQ(kepErrNullPtr, kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(n, stats, 1, 63, 1, nullptr, 1));
    EXPECT_EQ(1u, st.eobRun);
}

}  // namespace
