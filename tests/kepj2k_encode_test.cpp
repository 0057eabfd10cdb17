// Code streams written by the kepj2k encoder decode in the peer decoder: lossless ones to the
// exact input for every code-block style, progression order, tiles, layers, precincts, 1 and 3
// components, 8, 12 and 16 bits; lossy ones close to our own decode and at the requested rate.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "encoder.h"
#include "kepj2k_peer.h"

namespace {

using kepj2k_test::scratch;
using kepj2k_test::testImage;

// The test image at another depth: samples scaled up with the low bits filled from the noise.
kepjpeg::Image deepImage(int w, int h, int channels, int precision) {
    kepjpeg::Image img = testImage(w, h, channels);
    img.precision = precision;
    img.px16.resize(img.px8.size());
    for (std::size_t i = 0; i < img.px8.size(); ++i)
        img.px16[i] = std::uint16_t(img.px8[i] << (precision - 8) | ((i * 2654435761u) >> 7 & ((1u << (precision - 8)) - 1)));
    img.px8.clear();
    return img;
}

// The peer's decode of a stream (.j2k or .jp2), read back at full depth.
bool peerDecode(const std::vector<std::uint8_t>& stream, const kepjpeg::Image& like, bool jp2, kepjpeg::Image& img,
                const std::string& options = "") {
    const std::string in = scratch() + (jp2 ? "/enc.jp2" : "/enc.j2k");
    const std::string out = scratch() + (like.channels == 1 ? "/enc.pgm" : "/enc.ppm");
    std::string err;
    std::remove(out.c_str());
    if (!kepjpeg::writeFile(in, stream, err)) return false;
    const std::string cmd = std::string(OPJ_DECOMPRESS) + " -i " + in + " -o " + out + " " + options + " >/dev/null 2>&1";
    return std::system(cmd.c_str()) == 0 && kepj2k::readInput(out, img, err);
}

kepjpeg::Image ourDecode(const std::vector<std::uint8_t>& stream, const kepjpeg::Image& like) {
    kepj2k::Decoded d;
    std::string err;
    EXPECT_TRUE(kepj2k::decode(stream.data(), stream.size(), d, err)) << err;
    kepjpeg::Image img;
    img.width = d.width, img.height = d.height, img.channels = int(d.planes.size()), img.precision = like.precision;
    for (std::size_t i = 0; i < std::size_t(d.width) * d.height; ++i)
        for (const auto& p : d.planes) {
            if (like.precision == 8) img.px8.push_back(std::uint8_t(p[i]));
            else img.px16.push_back(std::uint16_t(p[i]));
        }
    return img;
}

std::vector<std::uint8_t> encodeOk(const kepjpeg::Image& src, const kepj2k::EncodeOptions& opt) {
    std::vector<std::uint8_t> stream;
    std::string err;
    EXPECT_TRUE(kepj2k::encode(src, opt, stream, err)) << err;
    return stream;
}

bool sameSamples(const kepjpeg::Image& a, const kepjpeg::Image& b) {
    return a.width == b.width && a.height == b.height && a.channels == b.channels && a.precision == b.precision &&
           a.px8 == b.px8 && a.px16 == b.px16;
}

struct Setting {
    const char* name;
    void (*apply)(kepj2k::EncodeOptions&);
};

const Setting kLossless[] = {
    {"default", [](kepj2k::EncodeOptions&) {}},
    {"bypass, RLCP, 3 layers", [](kepj2k::EncodeOptions& o) { o.cbstyle = 0x01, o.order = 1, o.layers = 3; }},
    {"reset, RPCL, tiles", [](kepj2k::EncodeOptions& o) { o.cbstyle = 0x02, o.order = 2, o.tileW = 40, o.tileH = 33; }},
    {"termall, PCRL, precincts", [](kepj2k::EncodeOptions& o) { o.cbstyle = 0x04, o.order = 3, o.precinctW = o.precinctH = 4; }},
    {"vcausal, CPRL, SOP/EPH", [](kepj2k::EncodeOptions& o) { o.cbstyle = 0x08, o.order = 4, o.sop = o.eph = true; }},
    {"pterm, 16x8 blocks, 2 levels", [](kepj2k::EncodeOptions& o) { o.cbstyle = 0x10, o.xcb = 4, o.ycb = 3, o.levels = 2; }},
    {"segsym, 2 threads", [](kepj2k::EncodeOptions& o) { o.cbstyle = 0x20, o.threads = 2; }},
    {"all styles, layers, tiles, PCRL", [](kepj2k::EncodeOptions& o) {
         o.cbstyle = 63, o.layers = 4, o.tileW = 64, o.tileH = 48, o.order = 3, o.precinctW = 5, o.precinctH = 4;
     }},
};

class EncodeLossless : public ::testing::TestWithParam<int> {};

// Every setting on gray and RGB at 8 bits: the peer and our decoder both give the input back.
TEST_P(EncodeLossless, PeerDecodesTheExactInput) {
    const kepjpeg::Image src = testImage(97, 83, GetParam());
    for (const Setting& s : kLossless) {
        SCOPED_TRACE(s.name);
        kepj2k::EncodeOptions opt;
        s.apply(opt);
        const std::vector<std::uint8_t> stream = encodeOk(src, opt);
        kepjpeg::Image peer;
        ASSERT_TRUE(peerDecode(stream, src, false, peer));
        EXPECT_TRUE(sameSamples(peer, src));
        EXPECT_TRUE(sameSamples(ourDecode(stream, src), src));
    }
}

INSTANTIATE_TEST_SUITE_P(GrayAndRgb, EncodeLossless, ::testing::Values(1, 3));

TEST(EncodeLosslessMore, DeepSamplesAndJp2) {
    for (int precision : {12, 16})
        for (int channels : {1, 3}) {
            SCOPED_TRACE(precision * 10 + channels);
            const kepjpeg::Image src = deepImage(61, 45, channels, precision);
            kepj2k::EncodeOptions opt;
            opt.jp2 = precision == 16;
            opt.cbstyle = precision == 16 ? 63 : 0;
            const std::vector<std::uint8_t> stream = encodeOk(src, opt);
            kepjpeg::Image peer;
            ASSERT_TRUE(peerDecode(stream, src, opt.jp2, peer));
            EXPECT_TRUE(sameSamples(peer, src));
            if (!opt.jp2) {
                EXPECT_TRUE(sameSamples(ourDecode(stream, src), src));
            }
        }
}

// Coding on several threads changes nothing in the stream.
TEST(EncodeLosslessMore, ThreadsGiveTheSameStream) {
    const kepjpeg::Image src = testImage(150, 100, 3);
    kepj2k::EncodeOptions one, two;
    one.xcb = one.ycb = two.xcb = two.ycb = 4;
    one.lossy = two.lossy = true;
    one.rates = two.rates = {1.0};
    two.threads = 3;
    const std::vector<std::uint8_t> a = encodeOk(src, one);
    EXPECT_FALSE(a.empty());
    EXPECT_TRUE(a == encodeOk(src, two));
}

// Lossy streams: the peer's decode is close to ours, the file meets the rate (within 5% below
// it), and a quality target is met by our decode.
TEST(EncodeLossy, PeerDecodesCloseToUsAtTheRequestedRate) {
    for (int channels : {1, 3})
        for (double rate : {0.5, 2.0}) {
            const kepjpeg::Image src = testImage(160, 120, channels);
            kepj2k::EncodeOptions opt;
            opt.lossy = true;
            opt.rates = {rate};
            opt.layers = rate > 1 ? 3 : 1;
            opt.order = rate > 1 ? 2 : 0;
            opt.cbstyle = rate > 1 ? 63 : 0;
            const std::vector<std::uint8_t> stream = encodeOk(src, opt);
            const double bpp = 8.0 * stream.size() / (160.0 * 120.0);
            kepjpeg::Image peer;
            ASSERT_TRUE(peerDecode(stream, src, false, peer));
            const kepjpeg::Image ours = ourDecode(stream, src);
            const double between = kepjpeg::psnr(ours, peer);
            std::printf("%d channel(s) at %.2f bpp: %.3f bpp written, %.2f dB to the input, %.2f dB between the decoders\n",
                        channels, rate, bpp, kepjpeg::psnr(ours, src), between);
            EXPECT_LE(bpp, rate);
            EXPECT_GE(bpp, rate * 0.95);
            EXPECT_GT(between, 45.0);
        }
    const kepjpeg::Image src = testImage(160, 120, 3);
    for (double target : {32.0, 42.0}) {
        kepj2k::EncodeOptions opt;
        opt.lossy = true;
        opt.psnr = target;
        const std::vector<std::uint8_t> stream = encodeOk(src, opt);
        const double got = kepjpeg::psnr(ourDecode(stream, src), src);
        EXPECT_GE(got, target);
        EXPECT_LT(got, target + 1.5);
    }
}

// Quality layers at their own rates: the peer decoding only the first layers gets a coarser
// image, each layer better than the one before; lossless layers end exact.
TEST(EncodeLossy, LayersRefineInThePeer) {
    const kepjpeg::Image src = testImage(160, 120, 3);
    for (bool lossy : {true, false}) {
        kepj2k::EncodeOptions opt;
        opt.lossy = lossy;
        opt.layers = 3;
        if (lossy) opt.rates = {0.25, 0.75, 2.0};
        const std::vector<std::uint8_t> stream = encodeOk(src, opt);
        double previous = 0;
        for (int layers = 1; layers <= 3; ++layers) {
            kepjpeg::Image peer;
            ASSERT_TRUE(peerDecode(stream, src, false, peer, "-l " + std::to_string(layers)));
            const double p = kepjpeg::psnr(peer, src);
            std::printf("%s, %d of 3 layers: %.2f dB\n", lossy ? "lossy" : "lossless", layers, p);
            EXPECT_GT(p, previous + 1.0);
            previous = p;
        }
        if (!lossy) {
            EXPECT_TRUE(std::isinf(previous));
        }
    }
}

TEST(EncodeOptions, InvalidSettingsAreRefused) {
    const kepjpeg::Image src = testImage(40, 30, 3);
    std::vector<std::uint8_t> out;
    std::string err;
    kepj2k::EncodeOptions opt;
    opt.levels = 6;   // 40x30 holds 4 levels
    EXPECT_FALSE(kepj2k::encode(src, opt, out, err));
    EXPECT_TRUE(out.empty());
    opt = kepj2k::EncodeOptions();
    opt.xcb = 7, opt.ycb = 7;   // 16384 samples per block
    EXPECT_FALSE(kepj2k::encode(src, opt, out, err));
    opt = kepj2k::EncodeOptions();
    opt.rates = {1.0};   // a rate without --lossy
    EXPECT_FALSE(kepj2k::encode(src, opt, out, err));
    EXPECT_NE(std::system((std::string(KEPJ2K_TOOL) + " encode in.ppm out.j2k --order XYZ 2>/dev/null").c_str()), 0);
}

}  // namespace
