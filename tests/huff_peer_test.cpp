// Baseline block coding against libjpeg-turbo on real files made in memory: re-encoding the file's
// coefficients reproduces its entropy-coded bytes, decoding its scan reproduces its coefficients,
// data we encode decodes in libjpeg-turbo, and optimal tables from our symbol counts equal the
// tables libjpeg-turbo's optimiser wrote.

#include <gtest/gtest.h>

#include <string>

#include "huff_jpeg.h"
#include "jpegref.h"
#include "pjdispatch.h"

namespace {

using hufftest::JpegFile;
using hufftest::MakeOptions;

std::vector<MakeOptions> fileMatrix() {
    std::vector<MakeOptions> all;
    const int sampling[4][3] = {{1, 1, 1}, {3, 1, 1}, {3, 2, 1}, {3, 2, 2}};  // components, h, v
    uint64_t seed = 11;
    for (const auto& s : sampling)
        for (int quality : {15, 75, 95, 100})
            for (int variant = 0; variant < 2; ++variant) {
                MakeOptions o;
                o.components = s[0];
                o.hSamp = s[1];
                o.vSamp = s[2];
                o.quality = quality;
                o.optimize = variant == 1;
                o.restartMcus = (quality / 5 + variant) % 3 == 0 ? 0 : (quality % 7) + variant * 2 + 1;
                o.width = 37 + static_cast<int>(seed % 5) * 29;
                o.height = 23 + static_cast<int>(seed % 3) * 31;
                o.seed = seed++;
                all.push_back(o);
            }
    return all;
}

std::string describe(const MakeOptions& o) {
    char buf[160];
    std::snprintf(buf, sizeof buf, "%dx%d comps %d samp %dx%d q%d restart %d %s", o.width, o.height, o.components, o.hSamp,
                  o.vSamp, o.quality, o.restartMcus, o.optimize ? "optimised" : "standard");
    return buf;
}

// Encodes every block of f (coefficients from f.comps) with our encoder into entropy-coded data
// with RSTn markers, as a baseline encoder does.
std::vector<uint8_t> encodeScan(JpegFile& f, bool useSlotOne = false) {
    KepiEncodeHuffmanSpec dc[4], ac[4];
    for (int t = 0; t < 4; ++t) {
        if (f.dc[t].count()) dc[t] = hufftest::encSpec(f.dc[t]);
        if (f.ac[t].count()) ac[t] = hufftest::encSpec(f.ac[t]);
    }
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    auto encode = useSlotOne ? ownTbl_kepiEncodeHuffman8x8_JPEG_16s1u_C1[1] : kepiEncodeHuffman8x8_JPEG_16s1u_C1;
    std::vector<uint8_t> out(f.bytes.size() * 2 + 4096);
    const int len = static_cast<int>(out.size());
    int pos = 0, lastMcu = 0, rst = 0;
    Kep16s lastDC[4] = {};
    hufftest::forEachBlock(f, [&](int c, int bx, int by, int mcu) {
        if (mcu != lastMcu && f.restartMcus && mcu % f.restartMcus == 0) {
            EXPECT_EQ(kepOk, encode(nullptr, out.data(), len, &pos, nullptr, nullptr, nullptr, &st, 1));
            out[static_cast<size_t>(pos++)] = 0xFF;
            out[static_cast<size_t>(pos++)] = static_cast<uint8_t>(0xD0 + (rst++ & 7));
            for (Kep16s& d : lastDC) d = 0;
        }
        lastMcu = mcu;
        const auto& comp = f.comps[static_cast<size_t>(c)];
        ASSERT_EQ(kepOk, encode(f.block(c, bx, by), out.data(), len, &pos, &lastDC[c], &dc[comp.dcTable],
                                &ac[comp.acTable], &st, 0));
    });
    EXPECT_EQ(kepOk, encode(nullptr, out.data(), len, &pos, nullptr, nullptr, nullptr, &st, 1));
    out.resize(static_cast<size_t>(pos));
    return out;
}

// Decodes f's scan with our decoder into blocks laid out like f.comps.
std::vector<std::vector<Kep16s>> decodeScan(const JpegFile& f, bool useSlotOne = false) {
    KepiDecodeHuffmanSpec dc[4], ac[4];
    for (int t = 0; t < 4; ++t) {
        if (f.dc[t].count()) dc[t] = hufftest::decSpec(f.dc[t]);
        if (f.ac[t].count()) ac[t] = hufftest::decSpec(f.ac[t]);
    }
    std::vector<std::vector<Kep16s>> out;
    for (const auto& c : f.comps) out.emplace_back(c.coef.size(), 0x5555);
    KepiDecodeHuffmanState st;
    kepiDecodeHuffmanStateInit_JPEG_8u(&st);
    auto decode = useSlotOne ? ownTbl_kepiDecodeHuffman8x8_JPEG_1u16s_C1[1] : kepiDecodeHuffman8x8_JPEG_1u16s_C1;
    const int len = static_cast<int>(f.bytes.size());
    int pos = static_cast<int>(f.scanStart), marker = 0, lastMcu = 0, rst = 0;
    Kep16s lastDC[4] = {};
    hufftest::forEachBlock(f, [&](int c, int bx, int by, int mcu) {
        if (mcu != lastMcu && f.restartMcus && mcu % f.restartMcus == 0) {
            // The reader normally met the marker while reading ahead; otherwise only padding
            // bits are left before it.
            if (marker == 0) {
                Kep16s scratch[64];
                EXPECT_EQ(kepErrHuffmanData, decode(f.bytes.data(), len, &pos, scratch, &lastDC[0], &marker,
                                                    &dc[0], &ac[0], &st));
            }
            EXPECT_EQ(0xD0 + (rst++ & 7), marker);
            marker = 0;
            kepiDecodeHuffmanStateInit_JPEG_8u(&st);
            for (Kep16s& d : lastDC) d = 0;
        }
        lastMcu = mcu;
        const auto& comp = f.comps[static_cast<size_t>(c)];
        Kep16s* dst = &out[static_cast<size_t>(c)][(static_cast<size_t>(by) * comp.widthBlocks + bx) * 64];
        ASSERT_EQ(kepOk, decode(f.bytes.data(), len, &pos, dst, &lastDC[c], &marker, &dc[comp.dcTable], &ac[comp.acTable], &st));
        ASSERT_GE(st.blockPos, 1u);
        ASSERT_LE(st.blockPos, 64u);
    });
    // Whatever remains before EOI is padding: at most 7 bits of 1s.
    EXPECT_TRUE(marker == 0xD9 || marker == 0) << marker;
    if (marker == 0) EXPECT_LE(static_cast<size_t>(pos), f.eoi);
    else EXPECT_EQ(f.eoi + 2, static_cast<size_t>(pos));
    return out;
}

TEST(HuffPeer, ReencodingReproducesTheFilesEntropyCodedBytes) {
    for (const MakeOptions& o : fileMatrix()) {
        SCOPED_TRACE(describe(o));
        JpegFile f = hufftest::readJpeg(hufftest::makeJpeg(o));
        const std::vector<uint8_t> expect(f.bytes.begin() + static_cast<long>(f.scanStart), f.bytes.begin() + static_cast<long>(f.eoi));
        const std::vector<uint8_t> got = encodeScan(f, o.seed % 2 == 1);
        ASSERT_EQ(expect.size(), got.size());
        ASSERT_TRUE(expect == got);
    }
}

TEST(HuffPeer, DecodingReproducesLibjpegCoefficients) {
    for (const MakeOptions& o : fileMatrix()) {
        SCOPED_TRACE(describe(o));
        const JpegFile f = hufftest::readJpeg(hufftest::makeJpeg(o));
        const auto got = decodeScan(f, o.seed % 2 == 0);
        for (size_t c = 0; c < f.comps.size(); ++c) ASSERT_TRUE(got[c] == f.comps[c].coef) << "component " << c;
    }
}

// Random sparse coefficients (all within the categories of the standard tables) coded by us and
// put in place of the scan of a file with standard tables: libjpeg-turbo reads them back.
TEST(HuffPeer, OurEntropyCodedDataDecodesInLibjpeg) {
    kepcheck::Rng rng(kepcheck::seed());
    for (int restart : {0, 3}) {
        for (int comps : {1, 3}) {
            MakeOptions o;
            o.width = 91;
            o.height = 45;
            o.components = comps;
            o.hSamp = comps == 3 ? 2 : 1;
            o.vSamp = comps == 3 ? 2 : 1;
            o.restartMcus = restart;
            o.seed = static_cast<uint64_t>(restart * 10 + comps);
            JpegFile f = hufftest::readJpeg(hufftest::makeJpeg(o));
            for (auto& comp : f.comps)
                for (size_t i = 0; i < comp.coef.size(); ++i) {
                    const bool dc = i % 64 == 0;
                    const int magnitude = dc ? 1023 : (rng.chance(10) ? 1023 : 15);  // DC differences stay in category 11
                    comp.coef[i] = static_cast<Kep16s>(dc || rng.chance(30) ? rng.range(-magnitude, magnitude) : 0);
                }
            std::vector<uint8_t> file(f.bytes.begin(), f.bytes.begin() + static_cast<long>(f.scanStart));
            const std::vector<uint8_t> scan = encodeScan(f);
            file.insert(file.end(), scan.begin(), scan.end());
            file.push_back(0xFF);
            file.push_back(0xD9);
            const JpegFile back = hufftest::readJpeg(file);
            for (size_t c = 0; c < f.comps.size(); ++c)
                ASSERT_TRUE(back.comps[c].coef == f.comps[c].coef) << "restart " << restart << " component " << c;
        }
    }
}

// Symbol counts of a scan, as a baseline encoder emits them (T.81 F.1.2).
void countSymbols(JpegFile& f, int dcStats[4][257], int acStats[4][257]) {
    const auto zz = jpegref::zigzagToNatural();
    Kep16s lastDC[4] = {};
    int lastMcu = 0;
    hufftest::forEachBlock(f, [&](int c, int bx, int by, int mcu) {
        if (mcu != lastMcu && f.restartMcus && mcu % f.restartMcus == 0)
            for (Kep16s& d : lastDC) d = 0;
        lastMcu = mcu;
        const Kep16s* b = f.block(c, bx, by);
        const auto& comp = f.comps[static_cast<size_t>(c)];
        ++dcStats[comp.dcTable][ownHuffCategory(b[0] - lastDC[c])];
        lastDC[c] = b[0];
        int run = 0;
        for (int k = 1; k < 64; ++k) {
            const int v = b[zz[static_cast<size_t>(k)]];
            if (v == 0) {
                ++run;
                continue;
            }
            acStats[comp.acTable][0xF0] += run / 16;
            ++acStats[comp.acTable][(run % 16) * 16 + ownHuffCategory(v)];
            run = 0;
        }
        if (run) ++acStats[comp.acTable][0];
    });
}

TEST(HuffPeer, OptimalTablesEqualLibjpegOptimiser) {
    for (const MakeOptions& base : fileMatrix()) {
        if (!base.optimize) continue;
        SCOPED_TRACE(describe(base));
        JpegFile f = hufftest::readJpeg(hufftest::makeJpeg(base));
        int dcStats[4][257] = {}, acStats[4][257] = {};
        countSymbols(f, dcStats, acStats);
        for (int t = 0; t < 2; ++t) {
            const hufftest::Table* expect[2] = {&f.dc[t], &f.ac[t]};
            int* stats[2] = {dcStats[t], acStats[t]};
            for (int kind = 0; kind < 2; ++kind) {
                if (expect[kind]->count() == 0) continue;
                hufftest::Table got;
                ASSERT_EQ(kepOk, kepiEncodeHuffmanRawTableInit_JPEG_8u(stats[kind], got.bits, got.vals));
                ASSERT_EQ(0, std::memcmp(expect[kind]->bits, got.bits, 16)) << "table " << t << " kind " << kind;
                ASSERT_EQ(0, std::memcmp(expect[kind]->vals, got.vals, static_cast<size_t>(got.count())))
                    << "table " << t << " kind " << kind;
            }
        }
    }
}

}  // namespace
