// Progressive Huffman coding against libjpeg-turbo: its progressive files (default progression
// script, optimised tables, grayscale and 4:2:0, with and without restart intervals) are
// re-encoded scan by scan from its final coefficients and must come out byte for byte; decoding
// all their scans must give its final coefficients.

#include <gtest/gtest.h>

#include <string>

#include "huffprog_jpeg.h"
#include "pjdispatch.h"

namespace {

using progtest::ProgFile;
using progtest::Scan;
using hufftest::MakeOptions;

std::vector<MakeOptions> fileMatrix() {
    std::vector<MakeOptions> all;
    uint64_t seed = 101;
    for (int comps : {1, 3})
        for (int quality : {20, 75, 98})
            for (int restart : {0, 1, 5}) {
                MakeOptions o;
                o.components = comps;
                o.hSamp = o.vSamp = comps == 3 ? 2 : 1;
                o.quality = quality;
                o.restartMcus = restart;
                o.width = 45 + static_cast<int>(seed % 4) * 23;
                o.height = 29 + static_cast<int>(seed % 3) * 19;
                o.seed = seed++;
                all.push_back(o);
            }
    return all;
}

std::string describe(const MakeOptions& o) {
    char buf[128];
    std::snprintf(buf, sizeof buf, "%dx%d comps %d q%d restart %d", o.width, o.height, o.components, o.quality,
                  o.restartMcus);
    return buf;
}

std::string describe(const Scan& s, size_t index) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "scan %zu: %zu comps Ss %d Se %d Ah %d Al %d", index, s.comps.size(), s.Ss, s.Se,
                  s.Ah, s.Al);
    return buf;
}

// The exports, or the implementations of dispatch slot 1.
struct Coders {
    decltype(&kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1) dcFirst;
    decltype(&kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1) dcRefine;
    decltype(&kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1) acFirst, acRefine;
    decltype(&kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1) decDcFirst;
    decltype(&kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1) decDcRefine;
    decltype(&kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1) decAcFirst, decAcRefine;
};
Coders coders(bool slotOne) {
    if (!slotOne)
        return {kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1, kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1,
                kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1,  kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1,
                kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1,  kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1,
                kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1,  kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1};
    return {ownTbl_kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1[1], ownTbl_kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1[1],
            ownTbl_kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1[1],  ownTbl_kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1[1],
            ownTbl_kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1[1],  ownTbl_kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1[1],
            ownTbl_kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1[1],  ownTbl_kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1[1]};
}

std::vector<uint8_t> encodeScan(const ProgFile& f, const Scan& s, const Coders& k) {
    KepiEncodeHuffmanSpec dc[4], ac[4];
    for (int t = 0; t < 4; ++t) {
        if (s.dc[t].count()) dc[t] = hufftest::encSpec(s.dc[t]);
        if (s.ac[t].count()) ac[t] = hufftest::encSpec(s.ac[t]);
    }
    KepiEncodeHuffmanState st;
    kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    std::vector<uint8_t> out(s.end - s.start + 4096);
    const int len = static_cast<int>(out.size());
    int pos = 0, lastMcu = 0, rst = 0;
    Kep16s lastDC[4] = {};
    const bool dcScan = s.Ss == 0, first = s.Ah == 0;
    const KepiEncodeHuffmanSpec* acSpec = &ac[s.acTable[0]];
    auto flush = [&]() {
        KepResult r;
        if (dcScan) r = first ? k.dcFirst(nullptr, out.data(), len, &pos, nullptr, 0, nullptr, &st, 1)
                              : k.dcRefine(nullptr, out.data(), len, &pos, 0, &st, 1);
        else r = (first ? k.acFirst : k.acRefine)(nullptr, out.data(), len, &pos, 0, 0, 0, acSpec, &st, 1);
        EXPECT_EQ(kepOk, r);
    };
    progtest::forEachBlock(f, s, [&](int sc, int c, int bx, int by, int mcu) {
        if (progtest::restartBefore(s, mcu, lastMcu)) {
            flush();
            out[static_cast<size_t>(pos++)] = 0xFF;
            out[static_cast<size_t>(pos++)] = static_cast<uint8_t>(0xD0 + (rst++ & 7));
            for (Kep16s& d : lastDC) d = 0;
        }
        const Kep16s* b = f.comps[static_cast<size_t>(c)].block(bx, by);
        KepResult r;
        if (dcScan)
            r = first ? k.dcFirst(b, out.data(), len, &pos, &lastDC[sc], s.Al, &dc[s.dcTable[static_cast<size_t>(sc)]], &st, 0)
                      : k.dcRefine(b, out.data(), len, &pos, s.Al, &st, 0);
        else
            r = (first ? k.acFirst : k.acRefine)(b, out.data(), len, &pos, s.Ss, s.Se, s.Al, acSpec, &st, 0);
        ASSERT_EQ(kepOk, r);
    });
    flush();
    out.resize(static_cast<size_t>(pos));
    return out;
}

// Decodes every scan of f into blocks laid out like f.comps, starting from zero.
std::vector<std::vector<Kep16s>> decodeAll(const ProgFile& f, const Coders& k) {
    std::vector<std::vector<Kep16s>> out;
    for (const auto& c : f.comps) out.emplace_back(c.coef.size(), 0);
    const int len = static_cast<int>(f.bytes.size());
    for (size_t si = 0; si < f.scans.size(); ++si) {
        const Scan& s = f.scans[si];
        SCOPED_TRACE(describe(s, si));
        KepiDecodeHuffmanSpec dc[4], ac[4];
        for (int t = 0; t < 4; ++t) {
            if (s.dc[t].count()) dc[t] = hufftest::decSpec(s.dc[t]);
            if (s.ac[t].count()) ac[t] = hufftest::decSpec(s.ac[t]);
        }
        KepiDecodeHuffmanState st;
        kepiDecodeHuffmanStateInit_JPEG_8u(&st);
        int pos = static_cast<int>(s.start), marker = 0, lastMcu = 0, rst = 0;
        Kep16s lastDC[4] = {};
        const bool dcScan = s.Ss == 0, first = s.Ah == 0;
        progtest::forEachBlock(f, s, [&](int sc, int c, int bx, int by, int mcu) {
            if (progtest::restartBefore(s, mcu, lastMcu)) {
                if (marker == 0) {
                    // Only padding bits were left unread before the marker.
                    const int from = pos;
                    while (pos + 1 < len && !(f.bytes[static_cast<size_t>(pos)] == 0xFF && f.bytes[static_cast<size_t>(pos) + 1] >= 0xD0 &&
                                              f.bytes[static_cast<size_t>(pos) + 1] <= 0xD7))
                        ++pos;
                    EXPECT_LE(pos - from, 2);
                    marker = f.bytes[static_cast<size_t>(pos) + 1];
                    pos += 2;
                }
                EXPECT_EQ(0xD0 + (rst++ & 7), marker);
                marker = 0;
                kepiDecodeHuffmanStateInit_JPEG_8u(&st);
                for (Kep16s& d : lastDC) d = 0;
            }
            const progtest::Component& comp = f.comps[static_cast<size_t>(c)];
            Kep16s* b = &out[static_cast<size_t>(c)][(static_cast<size_t>(by) * comp.allocX + bx) * 64];
            KepResult r;
            if (dcScan)
                r = first ? k.decDcFirst(f.bytes.data(), len, &pos, b, &lastDC[sc], &marker, s.Al,
                                         &dc[s.dcTable[static_cast<size_t>(sc)]], &st)
                          : k.decDcRefine(f.bytes.data(), len, &pos, b, &marker, s.Al, &st);
            else
                r = (first ? k.decAcFirst : k.decAcRefine)(f.bytes.data(), len, &pos, b, &marker, s.Ss, s.Se, s.Al,
                                                           &ac[s.acTable[0]], &st);
            ASSERT_EQ(kepOk, r) << "block " << bx << "," << by << " of component " << c;
        });
        // The reader stops at the marker after the scan, or short of it by padding only.
        if (marker != 0) EXPECT_EQ(f.bytes[s.end + 1], marker);
        else EXPECT_LE(s.end - static_cast<size_t>(pos), 2u);
        EXPECT_EQ(0u, st.eobRun);
    }
    return out;
}

TEST(HuffProgPeer, ReencodingEveryScanReproducesLibjpegBytes) {
    for (const MakeOptions& o : fileMatrix()) {
        SCOPED_TRACE(describe(o));
        const ProgFile f = progtest::readProgressive(progtest::makeProgressiveJpeg(o));
        ASSERT_GE(f.scans.size(), o.components == 1 ? 6u : 10u);
        for (size_t si = 0; si < f.scans.size(); ++si) {
            const Scan& s = f.scans[si];
            SCOPED_TRACE(describe(s, si));
            const std::vector<uint8_t> expect(f.bytes.begin() + static_cast<long>(s.start),
                                              f.bytes.begin() + static_cast<long>(s.end));
            const std::vector<uint8_t> got = encodeScan(f, s, coders((o.seed + si) % 2 == 1));
            ASSERT_EQ(expect.size(), got.size());
            ASSERT_TRUE(expect == got);
        }
    }
}

TEST(HuffProgPeer, DecodingAllScansReproducesLibjpegCoefficients) {
    for (const MakeOptions& o : fileMatrix()) {
        SCOPED_TRACE(describe(o));
        const ProgFile f = progtest::readProgressive(progtest::makeProgressiveJpeg(o));
        const auto got = decodeAll(f, coders(o.seed % 2 == 0));
        for (size_t c = 0; c < f.comps.size(); ++c) ASSERT_TRUE(got[c] == f.comps[c].coef) << "component " << c;
    }
}

}  // namespace
