// The kepjpeg codec against libjpeg-turbo: files we write decode there to exactly the
// coefficients we coded; files it writes decode here to its coefficients exactly and to its
// pixels within one level.
#include <gtest/gtest.h>

#include "codec.h"
#include "kepjpeg_peer.h"

namespace {

using kepjpeg::Image;
using kepjpeg::Sampling;

Image grayOf(const Image& rgb) {
    Image g;
    g.width = rgb.width, g.height = rgb.height, g.channels = 1;
    g.px8.resize(std::size_t(g.width) * g.height);
    for (std::size_t i = 0; i < g.px8.size(); ++i) g.px8[i] = rgb.px8[3 * i + 1];
    return g;
}

Image cmykOf(const Image& rgb) {
    Image c;
    c.width = rgb.width, c.height = rgb.height, c.channels = 4;
    c.px8.resize(std::size_t(c.width) * c.height * 4);
    for (std::size_t i = 0; i < std::size_t(c.width) * c.height; ++i) {
        c.px8[4 * i] = std::uint8_t(255 - rgb.px8[3 * i]);
        c.px8[4 * i + 1] = std::uint8_t(255 - rgb.px8[3 * i + 1]);
        c.px8[4 * i + 2] = std::uint8_t(255 - rgb.px8[3 * i + 2]);
        c.px8[4 * i + 3] = std::uint8_t((rgb.px8[3 * i] ^ rgb.px8[3 * i + 2]) & 0x7F);
    }
    return c;
}

struct OurMode {
    const char* name;
    int width, height, channels;   // channels of the source image
    kepjpeg::EncodeOptions opt;
};

std::vector<OurMode> ourModes() {
    std::vector<OurMode> m;
    auto add = [&](const char* name, int w, int h, int ch, int q, Sampling s) {
        OurMode x{name, w, h, ch, {}};
        x.opt.quality = q;
        x.opt.sampling = s;
        m.push_back(x);
        return &m.back().opt;
    };
    add("gray", 67, 45, 1, 85, Sampling::s444);
    add("rgb_as_gray", 40, 33, 3, 60, Sampling::s420)->grayscale = true;
    add("444", 61, 37, 3, 90, Sampling::s444);
    add("422", 75, 41, 3, 85, Sampling::s422);
    add("420", 83, 59, 3, 75, Sampling::s420);
    add("420_q100", 32, 32, 3, 100, Sampling::s420);
    add("420_q5", 48, 40, 3, 5, Sampling::s420);
    add("420_optimised", 83, 59, 3, 85, Sampling::s420)->optimize = true;
    add("gray_optimised", 50, 50, 1, 95, Sampling::s444)->optimize = true;
    auto* r = add("420_restart_3_mcus_threads", 90, 70, 3, 85, Sampling::s420);
    r->restartInterval = 3, r->threads = 3;
    r = add("422_restart_rows_optimised", 90, 70, 3, 80, Sampling::s422);
    r->restartRows = 1, r->threads = 2, r->optimize = true;
    add("cmyk_ycck_444", 35, 29, 4, 85, Sampling::s444);
    add("cmyk_ycck_420", 35, 29, 4, 85, Sampling::s420)->restartInterval = 2;
    add("420_progressive", 83, 59, 3, 85, Sampling::s420)->progressive = true;
    add("gray_progressive_q100", 45, 67, 1, 100, Sampling::s444)->progressive = true;
    r = add("422_progressive_restart_threads", 90, 70, 3, 80, Sampling::s422);
    r->progressive = true, r->restartInterval = 3, r->threads = 2;
    add("cmyk_progressive_420", 35, 29, 4, 90, Sampling::s420)->progressive = true;
    return m;
}

class OursInPeer : public ::testing::TestWithParam<OurMode> {};

TEST_P(OursInPeer, PeerReadsExactlyTheCodedCoefficients) {
    const OurMode& m = GetParam();
    Image src = kepjpeg::makeTestImage(m.width, m.height, 7);
    if (m.channels == 1) src = grayOf(src);
    if (m.channels == 4) src = cmykOf(src);
    std::vector<std::vector<std::int16_t>> coded;
    kepjpeg::EncodeOptions opt = m.opt;
    opt.coefficientsOut = &coded;
    std::vector<std::uint8_t> jpg;
    std::string err;
    ASSERT_TRUE(kepjpeg::encode(src, opt, jpg, err)) << err;
    kepjpeg_peer::Coefficients peer;
    ASSERT_TRUE(kepjpeg_peer::readCoefficients(jpg, peer));
    kepjpeg::JpegInfo info;
    ASSERT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err)) << err;
    ASSERT_EQ(peer.blocks.size(), coded.size());
    for (std::size_t c = 0; c < coded.size(); ++c)
        EXPECT_EQ(kepjpeg_peer::differingBlocks(peer, int(c), coded[c], info.comps[c].blocksW), 0) << "component " << c;
    // The peer's pixels are close to the source, so colour space and markers were understood.
    Image back;
    ASSERT_TRUE(kepjpeg_peer::decode(jpg, back));
    ASSERT_EQ(back.channels, opt.grayscale ? 1 : m.channels);
    if (!opt.grayscale) {
        EXPECT_GT(kepjpeg::psnr(src, back), m.opt.quality >= 60 ? 24.0 : 18.0);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, OursInPeer, ::testing::ValuesIn(ourModes()),
                         [](const ::testing::TestParamInfo<OurMode>& i) { return std::string(i.param.name); });

struct PeerMode {
    const char* name;
    int width, height, channels;
    kepjpeg_peer::EncodeSettings s;
};

std::vector<PeerMode> peerModes() {
    std::vector<PeerMode> m;
    auto add = [&](const char* name, int w, int h, int ch, int q, int hs, int vs) {
        PeerMode x{name, w, h, ch, {}};
        x.s.quality = q, x.s.h = hs, x.s.v = vs;
        m.push_back(x);
        return &m.back().s;
    };
    add("gray", 71, 53, 1, 85, 1, 1);
    add("444", 64, 48, 3, 92, 1, 1);
    add("422", 77, 35, 3, 85, 2, 1);
    add("420", 97, 63, 3, 75, 2, 2);
    add("420_odd_small", 9, 7, 3, 80, 2, 2);
    add("420_optimised", 97, 63, 3, 85, 2, 2)->optimize = true;
    add("420_restart", 97, 63, 3, 85, 2, 2)->restartInterval = 5;
    add("420_sixteen_bit_tables", 64, 64, 3, 8, 2, 2)->forceBaseline = false;
    add("ycck_444", 41, 39, 4, 85, 1, 1)->cmyk = true;
    add("ycck_420", 41, 39, 4, 85, 2, 2)->cmyk = true;
    add("rgb_as_gray", 41, 39, 3, 85, 1, 1)->gray = true;
    // Progressive files (SOF2): the peer's standard progression, with and without restart
    // intervals (end-of-band runs cut at every interval), and a script with successive
    // approximation of DC and AC at several point transforms.
    add("420_progressive", 97, 63, 3, 85, 2, 2)->progressive = true;
    add("gray_progressive_q98", 71, 53, 1, 98, 1, 1)->progressive = true;
    auto* p = add("422_progressive_restart", 77, 35, 3, 75, 2, 1);
    p->progressive = true, p->restartInterval = 3;
    add("ycck_progressive", 41, 39, 4, 85, 2, 2)->cmyk = true, m.back().s.progressive = true;
    add("420_custom_script", 97, 63, 3, 90, 2, 2)->customScript = true;
    p = add("444_custom_script_restart", 64, 48, 3, 95, 1, 1);
    p->customScript = true, p->restartInterval = 2;
    add("gray_custom_script", 33, 65, 1, 70, 1, 1)->customScript = true;
    return m;
}

class PeerInOurs : public ::testing::TestWithParam<PeerMode> {};

TEST_P(PeerInOurs, CoefficientsExactPixelsWithinOneLevel) {
    const PeerMode& m = GetParam();
    Image src = kepjpeg::makeTestImage(m.width, m.height, 3);
    if (m.channels == 1) src = grayOf(src);
    if (m.channels == 4) src = cmykOf(src);
    std::vector<std::uint8_t> jpg;
    ASSERT_TRUE(kepjpeg_peer::encode(src, m.s, jpg));
    kepjpeg_peer::Coefficients peer;
    ASSERT_TRUE(kepjpeg_peer::readCoefficients(jpg, peer));
    Image peerPixels;
    ASSERT_TRUE(kepjpeg_peer::decode(jpg, peerPixels));

    std::vector<std::vector<std::int16_t>> ours;
    kepjpeg::DecodeOptions opt;
    opt.coefficientsOut = &ours;
    opt.threads = 2;
    Image img;
    std::string err;
    ASSERT_TRUE(kepjpeg::decode(jpg.data(), jpg.size(), opt, img, err)) << err;
    kepjpeg::JpegInfo info;
    ASSERT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err));
    ASSERT_EQ(ours.size(), peer.blocks.size());
    for (std::size_t c = 0; c < ours.size(); ++c)
        EXPECT_EQ(kepjpeg_peer::differingBlocks(peer, int(c), ours[c], info.comps[c].blocksW), 0) << "component " << c;
    // Component samples (after up-sampling, before colour conversion) within one level: the
    // two integer inverse DCTs differ by at most one and the triangle filters keep that bound.
    Image peerRaw, oursRaw;
    ASSERT_TRUE(kepjpeg_peer::decode(jpg, peerRaw, true));
    opt.keepColourSpace = true;
    opt.coefficientsOut = nullptr;
    ASSERT_TRUE(kepjpeg::decode(jpg.data(), jpg.size(), opt, oursRaw, err)) << err;
    ASSERT_EQ(oursRaw.samples(), peerRaw.samples());
    EXPECT_LE(kepjpeg_peer::maxAbsDiff(oursRaw, peerRaw), 1);
    // Colour conversion multiplies a one-level chroma difference by up to 1.77.
    ASSERT_EQ(img.channels, peerPixels.channels);
    ASSERT_EQ(img.samples(), peerPixels.samples());
    EXPECT_LE(kepjpeg_peer::maxAbsDiff(img, peerPixels), img.channels == 1 ? 1 : 3);
    EXPECT_GT(kepjpeg::psnr(img, peerPixels), 50.0);
}

INSTANTIATE_TEST_SUITE_P(Modes, PeerInOurs, ::testing::ValuesIn(peerModes()),
                         [](const ::testing::TestParamInfo<PeerMode>& i) { return std::string(i.param.name); });

}  // namespace
