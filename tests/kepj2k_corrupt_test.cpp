// Hostile code streams: truncated and bit-flipped streams never crash, end with a message, and
// decode as far as the data allows; the tool exits non-zero with a message.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "kepj2k_peer.h"

namespace {

using kepj2k_test::peerEncode;
using kepj2k_test::testImage;

double psnr(const kepj2k::Decoded& d, const kepjpeg::Image& img) {
    double se = 0;
    const std::size_t n = std::size_t(img.width) * img.height;
    for (std::size_t c = 0; c < d.planes.size(); ++c)
        for (std::size_t i = 0; i < n; ++i) {
            const double e = d.planes[c][i] - img.px8[i * img.channels + c];
            se += e * e;
        }
    const double mse = se / double(n * d.planes.size());
    return mse == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 / mse);
}

TEST(Kepj2kCorrupt, TruncatedStreamsDecodeAsFarAsTheDataGoes) {
    const kepjpeg::Image src = testImage(160, 120, 3);
    const std::vector<std::uint8_t> stream = peerEncode(src, "-r 80,20,5,1 -SOP -t 80,60");
    ASSERT_FALSE(stream.empty());
    kepj2k::Decoded d;
    std::string err;
    ASSERT_TRUE(kepj2k::decode(stream.data(), stream.size(), d, err)) << err;
    EXPECT_EQ(psnr(d, src), 99.0);
    // Every cut fails with a message; a cut late in the stream still gives most of the image.
    for (std::size_t len = 0; len < stream.size(); len += 1 + len / 16) {
        SCOPED_TRACE(len);
        err.clear();
        EXPECT_FALSE(kepj2k::decode(stream.data(), len, d, err));
        EXPECT_FALSE(err.empty());
    }
    const std::size_t cut = stream.size() * 9 / 10;
    EXPECT_FALSE(kepj2k::decode(stream.data(), cut, d, err));
    ASSERT_EQ(d.planes.size(), 3u);
    EXPECT_GT(psnr(d, src), 20.0) << "the data before the cut was not used";
}

TEST(Kepj2kCorrupt, FlippedBitsAndGarbageNeverCrash) {
    const kepjpeg::Image src = testImage(96, 80, 1);
    for (const char* options : {"-M 63 -p RPCL -c [32,32]", "-r 10,1 -SOP -EPH -b 16,16"}) {
        const std::vector<std::uint8_t> stream = peerEncode(src, options);
        ASSERT_FALSE(stream.empty());
        std::mt19937 rng(11);
        int failures = 0;
        for (int round = 0; round < 300; ++round) {
            std::vector<std::uint8_t> bad = stream;
            const int flips = 1 + int(rng() % 4);
            for (int f = 0; f < flips; ++f) bad[rng() % bad.size()] ^= std::uint8_t(1u << (rng() % 8));
            kepj2k::Decoded d;
            std::string err;
            if (!kepj2k::decode(bad.data(), bad.size(), d, err)) {
                ++failures;
                EXPECT_FALSE(err.empty());
            }
        }
        EXPECT_GT(failures, 0) << "no flipped stream was reported as damaged";
    }
    kepj2k::Decoded d;
    std::string err;
    const std::uint8_t junk[] = {0xFF, 0x4F, 0xFF, 0x51, 0x00, 0x29, 0x00};
    EXPECT_FALSE(kepj2k::decode(junk, sizeof junk, d, err));
    EXPECT_TRUE(d.planes.empty());
}

TEST(Kepj2kCorrupt, ToolReportsDamageWithNonZeroExit) {
    const kepjpeg::Image src = testImage(64, 48, 1);
    std::vector<std::uint8_t> stream = peerEncode(src, "");
    ASSERT_FALSE(stream.empty());
    const std::string dir = kepj2k_test::scratch();
    std::string err;
    ASSERT_TRUE(kepjpeg::writeFile(dir + "/good.j2k", stream, err));
    stream.resize(stream.size() / 2);
    ASSERT_TRUE(kepjpeg::writeFile(dir + "/cut.j2k", stream, err));
    const std::string tool = KEPJ2K_TOOL;
    EXPECT_EQ(std::system((tool + " decode " + dir + "/good.j2k " + dir + "/good.pgm 2>/dev/null").c_str()), 0);
    EXPECT_EQ(std::system((tool + " info " + dir + "/good.j2k >/dev/null").c_str()), 0);
    EXPECT_NE(std::system((tool + " decode " + dir + "/cut.j2k " + dir + "/cut.pgm 2>" + dir + "/msg.txt").c_str()), 0);
    std::vector<std::uint8_t> msg;
    ASSERT_TRUE(kepjpeg::readFile(dir + "/msg.txt", msg, err));
    EXPECT_NE(std::string(msg.begin(), msg.end()).find("kepj2k:"), std::string::npos);
    kepjpeg::Image back;
    ASSERT_TRUE(kepjpeg::readImage(dir + "/good.pgm", back, err)) << err;
    EXPECT_TRUE(back.px8 == src.px8);
}

}  // namespace
