// kepjpeg round trips: every mode decodes back to what was coded, threads change nothing,
// 12-bit files, the marker parser's report, the modes that are refused, image files.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "codec.h"
#include "kepjpeg_peer.h"

namespace {

using kepjpeg::Image;
using kepjpeg::Sampling;

std::vector<std::uint8_t> encodeOrFail(const Image& img, kepjpeg::EncodeOptions opt,
                                       std::vector<std::vector<std::int16_t>>* coefs = nullptr) {
    std::vector<std::uint8_t> jpg;
    std::string err;
    opt.coefficientsOut = coefs;
    EXPECT_TRUE(kepjpeg::encode(img, opt, jpg, err)) << err;
    return jpg;
}

Image decodeOrFail(const std::vector<std::uint8_t>& jpg, int threads = 1,
                   std::vector<std::vector<std::int16_t>>* coefs = nullptr) {
    kepjpeg::DecodeOptions opt;
    opt.threads = threads;
    opt.coefficientsOut = coefs;
    Image img;
    std::string err;
    EXPECT_TRUE(kepjpeg::decode(jpg.data(), jpg.size(), opt, img, err)) << err;
    return img;
}

Image gray12(int w, int h) {
    Image g;
    g.width = w, g.height = h, g.channels = 1, g.precision = 12;
    g.px16.resize(std::size_t(w) * h);
    const Image rgb = kepjpeg::makeTestImage(w, h, 5);
    for (std::size_t i = 0; i < g.px16.size(); ++i) g.px16[i] = std::uint16_t(rgb.px8[3 * i + 1] * 16 + (i * 7) % 16);
    return g;
}

TEST(KepjpegRoundTrip, EveryModeDecodesToTheCodedCoefficientsAndCloseToTheSource) {
    const Image rgb = kepjpeg::makeTestImage(93, 61, 11);
    struct Case {
        int quality;
        Sampling s;
        bool optimize;
        int restart;
        double minPsnr;
        bool progressive;
    } cases[] = {
        {95, Sampling::s444, false, 0, 36, false}, {85, Sampling::s422, false, 0, 27, false},
        {85, Sampling::s420, true, 0, 26, false},  {50, Sampling::s420, false, 7, 24, false},
        {100, Sampling::s444, true, 1, 45, false}, {90, Sampling::s420, false, 0, 28, true},
        {100, Sampling::s444, false, 5, 45, true},
    };
    for (const Case& c : cases) {
        kepjpeg::EncodeOptions opt;
        opt.quality = c.quality, opt.sampling = c.s, opt.optimize = c.optimize, opt.restartInterval = c.restart;
        opt.progressive = c.progressive;
        std::vector<std::vector<std::int16_t>> coded, decoded;
        const auto jpg = encodeOrFail(rgb, opt, &coded);
        const Image back = decodeOrFail(jpg, 1, &decoded);
        EXPECT_EQ(coded, decoded) << "quality " << c.quality;
        EXPECT_GT(kepjpeg::psnr(rgb, back), c.minPsnr) << "quality " << c.quality << " " << kepjpeg::samplingName(c.s);
    }
}

TEST(KepjpegRoundTrip, ThreadsGiveIdenticalFilesAndPixels) {
    const Image rgb = kepjpeg::makeTestImage(160, 120, 2);
    kepjpeg::EncodeOptions opt;
    opt.restartRows = 1;
    std::vector<std::uint8_t> one = encodeOrFail(rgb, opt);
    opt.threads = 3;
    EXPECT_EQ(encodeOrFail(rgb, opt), one);
    opt.optimize = true;
    const auto optimised3 = encodeOrFail(rgb, opt);
    opt.threads = 1;
    EXPECT_EQ(encodeOrFail(rgb, opt), optimised3);
    EXPECT_LT(optimised3.size(), one.size());
    EXPECT_EQ(decodeOrFail(one, 4).px8, decodeOrFail(one, 1).px8);
    kepjpeg::JpegInfo info;
    std::string err;
    ASSERT_TRUE(kepjpeg::parse(one.data(), one.size(), info, err)) << err;
    ASSERT_EQ(info.scans.size(), 1u);
    EXPECT_EQ(info.scans[0].restartMarkers, info.mcusY - 1);
    EXPECT_EQ(info.restartInterval, info.mcusX);
}

TEST(KepjpegRoundTrip, TwelveBitGrayAndRgb) {
    const Image g = gray12(45, 38);
    kepjpeg::EncodeOptions opt;
    opt.quality = 97;
    std::vector<std::vector<std::int16_t>> coded, decoded;
    auto jpg = encodeOrFail(g, opt, &coded);
    kepjpeg::JpegInfo info;
    std::string err;
    ASSERT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err)) << err;
    EXPECT_EQ(info.sofMarker, 0xC1);
    EXPECT_EQ(info.precision, 12);
    Image back = decodeOrFail(jpg, 2, &decoded);
    EXPECT_EQ(coded, decoded);
    ASSERT_EQ(back.precision, 12);
    EXPECT_GT(kepjpeg::psnr(g, back), 55.0);

    // 12-bit colour is coded as RGB without a colour transform (Adobe transform 0).
    Image rgb;
    rgb.width = 30, rgb.height = 20, rgb.channels = 3, rgb.precision = 12;
    for (int i = 0; i < 30 * 20 * 3; ++i) rgb.px16.push_back(std::uint16_t((i * 37) % 4096 / 64 * 64));
    jpg = encodeOrFail(rgb, opt);
    ASSERT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err)) << err;
    EXPECT_EQ(info.adobeTransform, 0);
    back = decodeOrFail(jpg);
    EXPECT_EQ(back.channels, 3);
    EXPECT_GT(kepjpeg::psnr(rgb, back), 30.0);
}

TEST(KepjpegRoundTrip, InfoDescribesFrameTablesAndScans) {
    kepjpeg::EncodeOptions opt;
    opt.sampling = Sampling::s422;
    opt.restartInterval = 4;
    const auto jpg = encodeOrFail(kepjpeg::makeTestImage(50, 20), opt);
    kepjpeg::JpegInfo info;
    std::string err;
    ASSERT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err)) << err;
    EXPECT_EQ(info.width, 50);
    EXPECT_EQ(info.height, 20);
    ASSERT_EQ(info.comps.size(), 3u);
    EXPECT_EQ(info.comps[0].h, 2);
    EXPECT_EQ(info.comps[0].v, 1);
    EXPECT_EQ(info.mcusX, 4);
    EXPECT_EQ(info.mcusY, 3);
    EXPECT_EQ(info.scans[0].restartMarkers, 2);   // 12 MCUs in intervals of 4
    EXPECT_TRUE(info.jfif);
    EXPECT_TRUE(info.sawEOI);
    const std::string text = kepjpeg::describe(info);
    EXPECT_NE(text.find("SOF0"), std::string::npos) << text;
    EXPECT_NE(text.find("sampling 2x1"), std::string::npos) << text;
    EXPECT_NE(text.find("DHT AC table 1"), std::string::npos) << text;
}

TEST(KepjpegRoundTrip, ProgressiveFilesAreIndependentOfThreadsAndTwelveBitRefused) {
    const Image rgb = kepjpeg::makeTestImage(120, 88, 4);
    kepjpeg::EncodeOptions opt;
    opt.progressive = true, opt.restartRows = 2;
    const auto one = encodeOrFail(rgb, opt);
    opt.threads = 3;
    EXPECT_EQ(encodeOrFail(rgb, opt), one);
    EXPECT_EQ(decodeOrFail(one, 3).px8, decodeOrFail(one, 1).px8);
    kepjpeg::JpegInfo info;
    std::string err;
    ASSERT_TRUE(kepjpeg::parse(one.data(), one.size(), info, err)) << err;
    EXPECT_TRUE(info.progressive());
    EXPECT_EQ(info.scans.size(), 14u);   // 2 + 4 per component

    std::vector<std::uint8_t> jpg;
    opt.threads = 1;
    EXPECT_FALSE(kepjpeg::encode(gray12(16, 16), opt, jpg, err));
    EXPECT_NE(err.find("8-bit"), std::string::npos) << err;
}

TEST(KepjpegImageFiles, PnmPamAndPngKeepTheirSamples) {
    const std::string dir = ::testing::TempDir();
    Image rgb = kepjpeg::makeTestImage(21, 13);
    Image cmyk = rgb;
    cmyk.channels = 4;
    cmyk.px8.resize(cmyk.samples(), 77);
    Image g12 = gray12(17, 9);
    const struct {
        const Image* img;
        const char* name;
    } files[] = {{&rgb, "a.ppm"}, {&rgb, "a.png"}, {&cmyk, "a.pam"}, {&g12, "a.pgm"}, {&g12, "b.png"}};
    for (const auto& f : files) {
        const std::string path = dir + "/kepjpeg_" + f.name;
        std::string err;
        ASSERT_TRUE(kepjpeg::writeImage(path, *f.img, err)) << err;
        Image back;
        ASSERT_TRUE(kepjpeg::readImage(path, back, err)) << err;
        EXPECT_EQ(back.width, f.img->width) << f.name;
        EXPECT_EQ(back.channels, f.img->channels) << f.name;
        EXPECT_EQ(back.precision, f.img->precision) << f.name;
        EXPECT_EQ(back.px8, f.img->px8) << f.name;
        EXPECT_EQ(back.px16, f.img->px16) << f.name;
        std::remove(path.c_str());
    }
    std::string err;
    Image img;
    EXPECT_FALSE(kepjpeg::readImage(dir + "/kepjpeg_missing.ppm", img, err));
    EXPECT_FALSE(kepjpeg::writeImage(dir + "/x.bmp", rgb, err));
}

}  // namespace

namespace {

int run(const std::string& args) { return std::system((std::string(KEPJPEG_TOOL) + " " + args + " 2>/dev/null >/dev/null").c_str()); }

TEST(KepjpegTool, EncodeDecodeInfoFromTheCommandLine) {
    const std::string dir = ::testing::TempDir() + "/kepjpeg_cli";
    const std::string png = dir + ".png", jpg = dir + ".jpg", out = dir + "_out.ppm";
    const Image rgb = kepjpeg::makeTestImage(70, 50, 4);
    std::string err;
    ASSERT_TRUE(kepjpeg::writeImage(png, rgb, err)) << err;
    ASSERT_EQ(run("encode -q 92 --sampling 422 --optimize --restart-rows 1 --threads 2 " + png + " " + jpg), 0);
    std::vector<std::uint8_t> bytes;
    ASSERT_TRUE(kepjpeg::readFile(jpg, bytes, err)) << err;
    kepjpeg::JpegInfo info;
    ASSERT_TRUE(kepjpeg::parse(bytes.data(), bytes.size(), info, err)) << err;
    EXPECT_EQ(info.comps[0].h, 2);
    EXPECT_EQ(info.comps[0].v, 1);
    EXPECT_EQ(info.restartInterval, info.mcusX);
    ASSERT_EQ(run("decode --threads 2 " + jpg + " " + out), 0);
    Image back;
    ASSERT_TRUE(kepjpeg::readImage(out, back, err)) << err;
    EXPECT_GT(kepjpeg::psnr(rgb, back), 30.0);
    EXPECT_EQ(run("info " + jpg), 0);
    // Lossless at 12 bits from the 8-bit PNG (samples shifted up), back exactly.
    ASSERT_EQ(run("encode --lossless --predictor 6 --precision 12 --restart-rows 5 " + png + " " + jpg), 0);
    ASSERT_EQ(run("decode " + jpg + " " + out), 0);
    ASSERT_TRUE(kepjpeg::readImage(out, back, err)) << err;
    ASSERT_EQ(back.precision, 12);
    ASSERT_EQ(back.px16.size(), rgb.px8.size());
    for (std::size_t i = 0; i < rgb.px8.size(); ++i) ASSERT_EQ(back.px16[i], rgb.px8[i] << 4) << i;
    // Wrong usage and refused modes exit non-zero.
    EXPECT_NE(run("encode --sampling 411 " + png + " " + jpg), 0);
    EXPECT_NE(run("encode --lossless --predictor 8 " + png + " " + jpg), 0);
    EXPECT_NE(run("decode " + png + " " + out), 0);
    for (const std::string& f : {png, jpg, out}) std::remove(f.c_str());
}

}  // namespace
