// Lossless JPEG (process 14) against an independent codec: dcmtk's dcmcjpeg compresses greyscale
// DICOM images of 8, 12 and 16 bits with predictors 1 to 7 and several point transforms, and our
// row decoder plus reconstruction must give back exactly the (shifted) samples; and streams made
// by our prediction rows and row encoder, wrapped as encapsulated DICOM, must come back exactly
// through dcmdjpeg. Skipped when dcmtk's programs are not on PATH.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>

#include "lossless_dicom.h"

namespace {

using kepcheck::Rng;
using losslessdicom::Image;

struct Case {
    int bits, predictor, pointTransform;
    bool standardTable;  // T.81 K.3 luminance DC table instead of an optimal one (8 bits only)
};

// Every predictor at every depth, point transforms 0 to 3; the standard table at 8 bits.
const Case kCases[] = {
    {8, 1, 0, false},  {8, 2, 1, false},  {8, 3, 0, true},   {8, 4, 2, false},  {8, 5, 0, false},
    {8, 6, 3, false},  {8, 7, 0, true},   {12, 1, 2, false}, {12, 2, 0, false}, {12, 3, 1, false},
    {12, 4, 0, false}, {12, 5, 3, false}, {12, 6, 0, false}, {12, 7, 1, false}, {16, 1, 0, false},
    {16, 2, 3, false}, {16, 3, 0, false}, {16, 4, 1, false}, {16, 5, 0, false}, {16, 6, 2, false},
    {16, 7, 0, false},
};

std::string describe(const Case& c) {
    return std::to_string(c.bits) + " bits, predictor " + std::to_string(c.predictor) + ", point transform " +
           std::to_string(c.pointTransform) + (c.standardTable ? ", standard table" : "");
}

// Gradients, noise, hard edges between the extremes and a flat block: large differences of both
// signs, and at 16 bits samples of 32768 and above next to small ones (the predictors 5 to 7 read
// them as unsigned).
Image makeImage(Rng& rng, int bits) {
    Image im;
    im.width = 45;
    im.height = 29;
    im.bits = bits;
    const int maxv = (1 << bits) - 1;
    for (int y = 0; y < im.height; ++y)
        for (int x = 0; x < im.width; ++x) {
            int v = static_cast<int>((static_cast<int64_t>(maxv) * (x * 3 + y * 2)) / (3 * im.width + 2 * im.height));
            v += static_cast<int>(rng.range(-maxv / 40 - 2, maxv / 40 + 2));
            if ((x / 6 + y / 5) % 4 == 1) v = (x + y) & 1 ? maxv : 0;
            if (x > 30 && y > 20) v = maxv / 2 + 1;
            im.samples.push_back(static_cast<uint16_t>(v < 0 ? 0 : v > maxv ? maxv : v));
        }
    return im;
}

// Decodes a one-component process-14 stream with our row decoder and reconstruction rows; the
// samples come back shifted right by the point transform, as coded.
std::vector<uint16_t> decodeOurs(const std::vector<uint8_t>& jpeg, const losslessdicom::Stream& st) {
    std::vector<uint16_t> out;
    const KepiDecodeHuffmanSpec spec = hufftest::decSpec(st.tables[st.table]);
    const KepiDecodeHuffmanSpec* tables[4] = {&spec, nullptr, nullptr, nullptr};
    KepiDecodeHuffmanState state;
    kepiDecodeHuffmanStateInit_JPEG_8u(&state);
    std::vector<Kep16s> diff(static_cast<size_t>(st.width)), prev(diff.size()), cur(diff.size());
    int pos = static_cast<int>(st.scanStart), marker = 0;
    for (int y = 0; y < st.height; ++y) {
        Kep16s* dst[4] = {diff.data(), nullptr, nullptr, nullptr};
        const KepResult r = kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(jpeg.data(), static_cast<int>(jpeg.size()), &pos, dst,
                                                                 st.width, 1, &marker, tables, &state);
        EXPECT_EQ(kepOk, r) << "row " << y;
        if (r != kepOk) return {};
        if (y == 0)
            kepiReconstructPredFirstRow_JPEG_16s_C1(diff.data(), cur.data(), st.width, st.precision, st.pointTransform);
        else
            kepiReconstructPredRow_JPEG_16s_C1(diff.data(), prev.data(), cur.data(), st.width, st.predictor);
        for (Kep16s v : cur) out.push_back(static_cast<uint16_t>(v));
        prev.swap(cur);
    }
    return out;
}

// Codes the image with our prediction rows and row encoder into a complete stream.
std::vector<uint8_t> encodeOurs(const Image& im, const Case& c) {
    const size_t w = static_cast<size_t>(im.width);
    std::vector<Kep16s> shifted(im.samples.size()), diff(im.samples.size());
    for (size_t i = 0; i < shifted.size(); ++i) shifted[i] = static_cast<Kep16s>(im.samples[i] >> c.pointTransform);
    int stats[257] = {};
    for (int y = 0; y < im.height; ++y) {
        const Kep16s* row = &shifted[y * w];
        Kep16s* d = &diff[y * w];
        EXPECT_EQ(kepOk, y == 0 ? kepiDiffPredFirstRow_JPEG_16s_C1(row, d, im.width, im.bits, c.pointTransform)
                                : kepiDiffPredRow_JPEG_16s_C1(row, row - w, d, im.width, c.predictor));
        for (size_t x = 0; x < w; ++x) kepiGetHuffmanStatisticsOne_JPEG_16s_C1(&d[x], stats);
    }
    hufftest::Table t = hufftest::standardTable(0);
    if (!c.standardTable) {
        EXPECT_EQ(kepOk, kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, t.bits, t.vals));
    }
    const KepiEncodeHuffmanSpec spec = hufftest::encSpec(t);
    const KepiEncodeHuffmanSpec* tables[4] = {&spec, nullptr, nullptr, nullptr};
    KepiEncodeHuffmanState state;
    kepiEncodeHuffmanStateInit_JPEG_8u(&state);
    std::vector<uint8_t> coded(diff.size() * 5 + 16);
    const int len = static_cast<int>(coded.size());
    int pos = 0;
    for (int y = 0; y < im.height; ++y) {
        const Kep16s* src[4] = {&diff[y * w], nullptr, nullptr, nullptr};
        EXPECT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(src, im.width, 1, coded.data(), len, &pos, tables, &state, 0));
    }
    EXPECT_EQ(kepOk, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, coded.data(), len, &pos, nullptr, &state, 1));
    coded.resize(static_cast<size_t>(pos));
    return losslessdicom::writeStream(im.bits, im.width, im.height, t, c.predictor, c.pointTransform, coded);
}

class LosslessPeer : public ::testing::Test {
protected:
    void SetUp() override {
        cjpeg_ = losslessdicom::findProgram("dcmcjpeg");
        djpeg_ = losslessdicom::findProgram("dcmdjpeg");
        if (cjpeg_.empty() || djpeg_.empty())
            GTEST_SKIP() << "dcmtk's dcmcjpeg and dcmdjpeg are not on PATH (Debian package dcmtk)";
        char tmpl[] = "/tmp/kep_lossless_peer_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(tmpl));
        dir_ = tmpl;
    }
    void TearDown() override {
        if (dir_.empty()) return;
        for (const char* f : {"in.dcm", "out.dcm", "log"}) std::remove((dir_ + "/" + f).c_str());
        rmdir(dir_.c_str());
    }
    // Runs a dcmtk program on in.dcm, writing out.dcm; returns the parsed output file.
    losslessdicom::Parsed run(const std::string& program, const std::string& options, const std::vector<uint8_t>& input) {
        EXPECT_TRUE(losslessdicom::writeBytes(dir_ + "/in.dcm", input));
        const std::string cmd = "'" + program + "' " + options + " '" + dir_ + "/in.dcm' '" + dir_ + "/out.dcm' > '" + dir_ +
                                "/log' 2>&1";
        if (std::system(cmd.c_str()) != 0) {
            const std::vector<uint8_t> log = losslessdicom::readBytes(dir_ + "/log");
            ADD_FAILURE() << cmd << " failed: " << std::string(log.begin(), log.end());
            return {};
        }
        return losslessdicom::parseFile(losslessdicom::readBytes(dir_ + "/out.dcm"));
    }
    std::string cjpeg_, djpeg_, dir_;
};

TEST_F(LosslessPeer, PeerStreamsDecodeExactlyWithOurRows) {
    Rng rng(kepcheck::seed());
    for (const Case& c : kCases) {
        SCOPED_TRACE(describe(c));
        const Image im = makeImage(rng, c.bits);
        const std::string options = (c.predictor == 1 ? std::string("+e1") : "+el +sv " + std::to_string(c.predictor)) +
                                    " +pt " + std::to_string(c.pointTransform) + (c.standardTable ? " -ho" : "") + (c.bits == 12 ? " +pl +bt" : "");
        const losslessdicom::Parsed out = run(cjpeg_, options, losslessdicom::makeFile(im, losslessdicom::kExplicitLittle, {}));
        ASSERT_TRUE(out.ok && out.encapsulated);
        EXPECT_EQ(c.predictor == 1 ? losslessdicom::kLosslessSV1 : losslessdicom::kLosslessAny, out.transferSyntax);
        const losslessdicom::Stream st = losslessdicom::parseStream(out.pixels);
        ASSERT_TRUE(st.ok && st.table >= 0);
        ASSERT_EQ(c.bits, st.precision);
        ASSERT_EQ(im.width, st.width);
        ASSERT_EQ(im.height, st.height);
        ASSERT_EQ(1, st.components);
        ASSERT_EQ(c.predictor, st.predictor);
        ASSERT_EQ(c.pointTransform, st.pointTransform);
        ASSERT_EQ(0, st.restartInterval);
        const std::vector<uint16_t> got = decodeOurs(out.pixels, st);
        ASSERT_EQ(im.samples.size(), got.size());
        for (size_t i = 0; i < got.size(); ++i)
            ASSERT_EQ(im.samples[i] >> c.pointTransform, got[i]) << "sample " << i % im.width << ", " << i / im.width;
    }
}

TEST_F(LosslessPeer, OurStreamsDecodeExactlyInThePeer) {
    Rng rng(kepcheck::seed() + 1);
    for (const Case& c : kCases) {
        SCOPED_TRACE(describe(c));
        const Image im = makeImage(rng, c.bits);
        const std::vector<uint8_t> jpeg = encodeOurs(im, c);
        const char* ts = c.predictor == 1 ? losslessdicom::kLosslessSV1 : losslessdicom::kLosslessAny;
        const losslessdicom::Parsed out = run(djpeg_, "", losslessdicom::makeFile(im, ts, jpeg));
        ASSERT_TRUE(out.ok && !out.encapsulated);
        EXPECT_EQ(losslessdicom::kExplicitLittle, out.transferSyntax);
        ASSERT_EQ(static_cast<unsigned>(im.bits), out.us.at(0x00280101));
        const size_t bytesPerSample = im.bits > 8 ? 2 : 1;
        ASSERT_GE(out.pixels.size(), im.samples.size() * bytesPerSample);
        for (size_t i = 0; i < im.samples.size(); ++i) {
            const unsigned v = bytesPerSample == 2 ? out.pixels[2 * i] | (out.pixels[2 * i + 1] << 8) : out.pixels[i];
            ASSERT_EQ(static_cast<unsigned>(im.samples[i] >> c.pointTransform << c.pointTransform), v)
                << "sample " << i % im.width << ", " << i / im.width;
        }
    }
}

}  // namespace
