// kepjpeg lossless (SOF3) files: every predictor, point transform and precision reproduces the
// samples bit for bit (the low Pt bits cleared); damaged files decode what is there. The peer
// available to the tests cannot read lossless files, so round trips are the proof here.
#include <gtest/gtest.h>

#include <memory>

#include "codec.h"

namespace {

using kepjpeg::Image;

// Samples of the test image rescaled to `precision` bits, with noise in the low bits and the
// extreme values 0 and 2^P - 1 in the first row.
Image sourceOf(int w, int h, int channels, int precision) {
    const Image rgb = kepjpeg::makeTestImage(w, h, 13);
    Image im;
    im.width = w, im.height = h, im.channels = channels, im.precision = precision;
    im.px16.resize(im.samples());
    const unsigned top = (1u << precision) - 1;
    for (std::size_t i = 0; i < im.px16.size(); ++i) {
        const std::size_t px = i / channels, c = i % channels;
        const unsigned v = rgb.px8[px * 3 + c % 3];
        const unsigned scaled = precision >= 8 ? (v << (precision - 8)) | ((px * 2654435761u) >> 20 & ((1u << (precision - 8)) - 1))
                                               : v >> (8 - precision);
        im.px16[i] = std::uint16_t(scaled & top);
    }
    for (int x = 0; x < w * channels && x < 16; ++x) im.px16[x] = std::uint16_t(x & 1 ? top : 0);
    return im;
}

bool decodeExact(const std::vector<std::uint8_t>& jpg, Image& img, std::string& err, int threads = 1) {
    std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[jpg.size() + 1]);
    std::copy(jpg.begin(), jpg.end(), exact.get());
    kepjpeg::DecodeOptions opt;
    opt.threads = threads;
    return kepjpeg::decode(exact.get(), jpg.size(), opt, img, err);
}

TEST(KepjpegLossless, EveryPredictorPrecisionAndPointTransformRoundTripsExactly) {
    struct Case {
        int channels, precision, pointTransform, restartRows;
    } cases[] = {{1, 8, 0, 0}, {3, 8, 0, 3}, {1, 16, 0, 0}, {3, 12, 2, 0}, {4, 10, 0, 2}, {1, 2, 1, 0}, {3, 16, 5, 4}};
    for (const Case& c : cases)
        for (int pred = 1; pred <= 7; ++pred) {
            const Image src = sourceOf(37, 23, c.channels, c.precision);
            kepjpeg::EncodeOptions opt;
            opt.lossless = true, opt.predictor = pred, opt.pointTransform = c.pointTransform;
            opt.restartRows = c.restartRows, opt.threads = 2;
            std::vector<std::uint8_t> jpg;
            std::string err;
            ASSERT_TRUE(kepjpeg::encode(src, opt, jpg, err)) << err;
            kepjpeg::JpegInfo info;
            ASSERT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err)) << err;
            EXPECT_EQ(info.sofMarker, 0xC3);
            ASSERT_EQ(info.scans.size(), 1u);
            EXPECT_EQ(info.scans[0].ss, pred);
            EXPECT_EQ(info.scans[0].al, c.pointTransform);
            Image back;
            ASSERT_TRUE(decodeExact(jpg, back, err, 1 + pred % 2)) << err;
            ASSERT_EQ(back.precision, c.precision);
            ASSERT_EQ(back.channels, c.channels);
            std::vector<std::uint16_t> expect = src.px16, got = back.px16;
            if (c.precision == 8) got.assign(back.px8.begin(), back.px8.end());
            for (auto& v : expect) v = std::uint16_t(v >> c.pointTransform << c.pointTransform);
            EXPECT_EQ(got, expect) << "predictor " << pred << ", P " << c.precision << ", Pt " << c.pointTransform;
        }
}

TEST(KepjpegLossless, EightBitImagesAndRefusedSettings) {
    // An ordinary 8-bit RGB image codes straight from px8; the file is smaller than the samples.
    const Image rgb = kepjpeg::makeTestImage(64, 40, 3);
    kepjpeg::EncodeOptions opt;
    opt.lossless = true, opt.predictor = 4;
    std::vector<std::uint8_t> jpg;
    std::string err;
    ASSERT_TRUE(kepjpeg::encode(rgb, opt, jpg, err)) << err;
    EXPECT_LT(jpg.size(), rgb.samples());
    Image back;
    ASSERT_TRUE(decodeExact(jpg, back, err)) << err;
    EXPECT_EQ(back.px8, rgb.px8);

    struct Bad {
        int predictor, pointTransform, precision;
        const char* expect;
    } bad[] = {{0, 0, 8, "predictor"}, {8, 0, 8, "predictor"}, {1, 8, 8, "point transform"}, {1, 0, 1, "precision"},
               {1, 0, 17, "precision"}};
    for (const Bad& b : bad) {
        Image im = sourceOf(8, 8, 1, 8);
        im.precision = b.precision;
        opt.predictor = b.predictor, opt.pointTransform = b.pointTransform;
        EXPECT_FALSE(kepjpeg::encode(im, opt, jpg, err));
        EXPECT_NE(err.find(b.expect), std::string::npos) << err;
    }
    Image im = sourceOf(8, 8, 1, 8);
    im.precision = 6;   // samples above 63
    opt.predictor = 1, opt.pointTransform = 0;
    EXPECT_FALSE(kepjpeg::encode(im, opt, jpg, err));
    EXPECT_NE(err.find("exceeds"), std::string::npos) << err;
}

TEST(KepjpegLossless, TruncatedAndDamagedFilesDecodeWhatIsThere) {
    const Image src = sourceOf(40, 32, 3, 12);
    kepjpeg::EncodeOptions opt;
    opt.lossless = true, opt.predictor = 7, opt.restartRows = 4;
    std::vector<std::uint8_t> jpg;
    std::string err;
    ASSERT_TRUE(kepjpeg::encode(src, opt, jpg, err)) << err;
    kepjpeg::JpegInfo info;
    ASSERT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err)) << err;
    const std::size_t data = info.scans[0].dataBegin;
    Image img;
    for (std::size_t len = data; len + 2 < jpg.size(); len += 1 + len / 17) {
        const std::vector<std::uint8_t> cut(jpg.begin(), jpg.begin() + long(len));
        EXPECT_FALSE(decodeExact(cut, img, err, 2)) << "length " << len;
        EXPECT_FALSE(err.empty());
        ASSERT_EQ(img.samples(), src.samples()) << "length " << len << ": " << err;
        // The rows of the restart intervals before the cut are exact.
        const std::size_t rowSamples = std::size_t(40) * 3;
        if (len > (jpg.size() - data) / 2 + data) {
            EXPECT_TRUE(std::equal(src.px16.begin(), src.px16.begin() + long(4 * rowSamples), img.px16.begin()))
                << "length " << len;
        }
    }
    std::uint32_t rng = 17;
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<std::uint8_t> bad = jpg;
        rng = rng * 1664525u + 1013904223u;
        bad[data + (rng >> 8) % (jpg.size() - data - 2)] ^= std::uint8_t(1 + (rng & 0xFF) % 255);
        if (!decodeExact(bad, img, err, 1 + trial % 2)) {
            EXPECT_FALSE(err.empty());
        }
        for (std::uint16_t v : img.px16) ASSERT_LT(v, 4096);
    }
}

}  // namespace
