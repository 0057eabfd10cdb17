// Lossless code streams written by the peer encoder decode in kepj2k to the exact original, for
// progression orders, precincts, tiles, tile parts, layers, code-block sizes and styles, levels,
// SOP/EPH and image offsets.
#include <gtest/gtest.h>

#include <cstdio>

#include "kepj2k_peer.h"

namespace {

using kepj2k_test::peerDecode;
using kepj2k_test::peerEncode;
using kepj2k_test::testImage;

struct Case {
    const char* options;
    bool original;   // false: the peer's own decode is the reference (it does not reproduce the input)
};

const Case kCases[] = {
    {"", true},
    {"-p RLCP -r 30,10,1", true},
    {"-p RPCL -c [32,32],[16,16] -t 64,50", true},
    {"-p PCRL -c [64,32],[32,16],[16,16] -r 20,1", true},
    {"-p CPRL -c [32,32] -t 96,64 -TP R", true},
    {"-M 1 -r 15,1", true},        // arithmetic-coding bypass across layers
    {"-M 4 -p RLCP", true},        // termination on each pass
    {"-M 2", true},
    {"-M 8 -b 16,16", true},
    {"-M 16", true},
    {"-M 32", true},
    {"-M 63 -r 40,10,1 -p RPCL -c [64,64]", true},
    {"-M 5 -t 64,64 -TP L -r 10,1", true},
    {"-n 1", true},
    {"-n 7 -b 4,64", true},
    {"-b 64,4 -n 3", true},
    {"-SOP -EPH -r 20,1", true},
    {"-d 5,7", true},
    // The peer does not reproduce the input with these tile layouts (3-sample edge tiles, tile
    // offsets); its own decode is the reference.
    {"-t 100,70", false},
    {"-d 5,7 -t 50,33 -T 3,2", false},
};

class PeerLossless : public ::testing::TestWithParam<int> {};

TEST_P(PeerLossless, DecodesToTheExactImage) {
    const int channels = GetParam();
    const kepjpeg::Image src = testImage(203, 141, channels);
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.options);
        const std::vector<std::uint8_t> stream = peerEncode(src, c.options);
        ASSERT_FALSE(stream.empty()) << "peer encoder failed";
        kepj2k::Decoded d;
        std::string err;
        ASSERT_TRUE(kepj2k::decode(stream.data(), stream.size(), d, err)) << err;
        kepjpeg::Image ours;
        ASSERT_TRUE(kepj2k::toImage(d, ours, err)) << err;
        kepjpeg::Image ref = src;
        if (!c.original) {
            ASSERT_TRUE(peerDecode(stream, channels, ref));
        }
        ASSERT_EQ(ours.width, ref.width);
        ASSERT_EQ(ours.height, ref.height);
        ASSERT_EQ(ours.channels, ref.channels);
        EXPECT_TRUE(ours.px8 == ref.px8);
    }
}

INSTANTIATE_TEST_SUITE_P(GrayAndRgb, PeerLossless, ::testing::Values(1, 3));

}  // namespace

namespace {

// Irreversible streams (ICT + 9/7, expounded quantization): our decode stays close to the peer's
// own decode (same dequantization rule; the wavelet arithmetic differs in rounding only).
TEST(PeerLossy, DecodesCloseToThePeer) {
    for (int channels : {1, 3})
        for (const char* options : {"-I", "-I -r 10", "-I -q 40", "-I -r 40,10 -t 96,64 -M 63 -p RPCL"}) {
            SCOPED_TRACE(options);
            const kepjpeg::Image src = testImage(203, 141, channels);
            const std::vector<std::uint8_t> stream = peerEncode(src, options);
            ASSERT_FALSE(stream.empty());
            kepj2k::Decoded d;
            std::string err;
            ASSERT_TRUE(kepj2k::decode(stream.data(), stream.size(), d, err)) << err;
            kepjpeg::Image ours, ref;
            ASSERT_TRUE(kepj2k::toImage(d, ours, err)) << err;
            ASSERT_TRUE(peerDecode(stream, channels, ref));
            ASSERT_EQ(ours.px8.size(), ref.px8.size());
            const double p = kepjpeg::psnr(ours, ref);
            std::printf("%d channel(s), %s: %.2f dB against the peer, %.2f dB against the input\n", channels, options, p,
                        kepjpeg::psnr(ours, src));
            EXPECT_GT(p, 45.0);
        }
}

}  // namespace
