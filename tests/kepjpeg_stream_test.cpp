// kepjpeg's decoder converts whole-image scans MCU row by MCU row inside each restart interval,
// with the rows next to interval boundaries done last; asking for the coefficients makes it keep
// whole planes and convert after the scan instead. Both must give the same pixels, with any
// sampling, size, restart interval, thread count, and with damaged data.
#include <gtest/gtest.h>

#include "codec.h"

namespace {

using kepjpeg::Image;
using kepjpeg::Sampling;

struct Decoded {
    Image img;
    bool ok = false;
    std::string err;
};

Decoded decode(const std::vector<std::uint8_t>& jpg, int threads, bool wholePlanes) {
    kepjpeg::DecodeOptions opt;
    opt.threads = threads;
    std::vector<std::vector<std::int16_t>> coefs;
    if (wholePlanes) opt.coefficientsOut = &coefs;
    Decoded d;
    d.ok = kepjpeg::decode(jpg.data(), jpg.size(), opt, d.img, d.err);
    return d;
}

void expectSamePixels(const std::vector<std::uint8_t>& jpg, const std::string& what) {
    const Decoded ref = decode(jpg, 1, true);
    ASSERT_FALSE(ref.img.px8.empty()) << what;
    for (int threads : {1, 3}) {
        const Decoded d = decode(jpg, threads, false);
        EXPECT_EQ(d.ok, ref.ok) << what << ", " << threads << " threads";
        EXPECT_EQ(d.err, ref.err) << what << ", " << threads << " threads";
        EXPECT_TRUE(d.img.px8 == ref.img.px8) << what << ", " << threads << " threads";
    }
}

TEST(KepjpegStream, RowByRowDecodingEqualsWholePlaneDecoding) {
    struct Case {
        int w, h, channels;
        Sampling s;
        int restartInterval, restartRows;
    } cases[] = {
        {75, 53, 3, Sampling::s420, 0, 0}, {75, 53, 3, Sampling::s420, 0, 1}, {75, 53, 3, Sampling::s420, 0, 2},
        {75, 53, 3, Sampling::s420, 3, 0}, {66, 17, 3, Sampling::s422, 0, 1}, {41, 40, 3, Sampling::s444, 0, 1},
        {33, 49, 1, Sampling::s444, 0, 1}, {35, 29, 4, Sampling::s420, 0, 1}, {16, 33, 3, Sampling::s420, 0, 1},
    };
    for (const Case& c : cases) {
        const Image rgb = kepjpeg::makeTestImage(c.w, c.h, 4);
        Image src = rgb;
        if (c.channels != 3) {
            src.channels = c.channels;
            src.px8.resize(src.samples());
            for (std::size_t i = 0; i < src.px8.size(); ++i) src.px8[i] = rgb.px8[i % rgb.px8.size()];
        }
        kepjpeg::EncodeOptions opt;
        opt.sampling = c.s, opt.restartInterval = c.restartInterval, opt.restartRows = c.restartRows;
        std::vector<std::uint8_t> jpg;
        std::string err;
        ASSERT_TRUE(kepjpeg::encode(src, opt, jpg, err)) << err;
        const std::string what = std::to_string(c.w) + "x" + std::to_string(c.h) + "x" + std::to_string(c.channels) + " " +
                                 kepjpeg::samplingName(c.s) + " restart " + std::to_string(c.restartInterval) + "/" +
                                 std::to_string(c.restartRows);
        expectSamePixels(jpg, what);
        // Damage in the middle of the entropy-coded data: the intervals after it still decode.
        std::vector<std::uint8_t> bad = jpg;
        for (std::size_t k = bad.size() * 2 / 3; k < bad.size() * 2 / 3 + 6; ++k) bad[k] = bad[k] == 0xFF ? 0xFF : 0x5A;
        expectSamePixels(bad, what + " damaged");
    }
}

}  // namespace
