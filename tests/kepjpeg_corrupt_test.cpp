// Hostile and damaged files: the decoder reports a clear error, decodes what is there and never
// reads or writes out of bounds (these tests also run under AddressSanitizer); the tool exits
// non-zero.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>

#include "codec.h"
#include "kepjpeg_peer.h"

namespace {

using kepjpeg::Image;

std::vector<std::uint8_t> sample(int restartInterval, kepjpeg::Sampling s = kepjpeg::Sampling::s420) {
    kepjpeg::EncodeOptions opt;
    opt.restartInterval = restartInterval;
    opt.sampling = s;
    std::vector<std::uint8_t> jpg;
    std::string err;
    EXPECT_TRUE(kepjpeg::encode(kepjpeg::makeTestImage(64, 48, 9), opt, jpg, err)) << err;
    return jpg;
}

bool decodeCopy(std::vector<std::uint8_t> bytes, Image& img, std::string& err, int threads = 1) {
    // An exact-size heap copy, so that any read past the end is caught by the sanitizer.
    std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[bytes.size() + 1]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    kepjpeg::DecodeOptions opt;
    opt.threads = threads;
    return kepjpeg::decode(exact.get(), bytes.size(), opt, img, err);
}

std::size_t scanStart(const std::vector<std::uint8_t>& jpg) {
    kepjpeg::JpegInfo info;
    std::string err;
    EXPECT_TRUE(kepjpeg::parse(jpg.data(), jpg.size(), info, err)) << err;
    return info.scans.empty() ? 0 : info.scans[0].dataBegin;
}

TEST(KepjpegCorrupt, TruncatedFilesFailWithAMessageAndKeepWhatWasDecoded) {
    for (int ri : {0, 4}) {
        const auto jpg = sample(ri);
        const std::size_t data = scanStart(jpg);
        for (std::size_t len = 0; len + 2 < jpg.size(); len += 1 + len / 9) {
            Image img;
            std::string err;
            std::vector<std::uint8_t> cut(jpg.begin(), jpg.begin() + long(len));
            EXPECT_FALSE(decodeCopy(cut, img, err, 2)) << "length " << len;
            EXPECT_FALSE(err.empty()) << "length " << len;
            // Cut inside the entropy-coded data: the image is there, with what could be decoded.
            if (len > data) {
                EXPECT_EQ(img.samples(), 64u * 48 * 3) << "length " << len << ": " << err;
            }
        }
    }
}

TEST(KepjpegCorrupt, DamagedEntropyDataNeverCrashesAndSparesOtherIntervals) {
    const auto jpg = sample(2);
    const std::size_t data = scanStart(jpg);
    Image clean;
    std::string err;
    ASSERT_TRUE(decodeCopy(jpg, clean, err)) << err;
    std::uint32_t rng = 99;
    int failures = 0;
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<std::uint8_t> bad = jpg;
        rng = rng * 1664525u + 1013904223u;
        const std::size_t pos = data + (rng >> 8) % (jpg.size() - data - 2);
        bad[pos] ^= std::uint8_t(1 + (rng & 0x7F));
        Image img;
        if (!decodeCopy(bad, img, err, 1 + trial % 3)) {
            ++failures;
            EXPECT_FALSE(err.empty());
        }
        ASSERT_EQ(img.samples(), clean.samples());
        // Damage that leaves the markers alone stays inside its restart interval (two MCUs of
        // 16x16): the bottom 8 pixel rows (out of reach of the chroma up-sampling filter of the
        // MCU row above) decode exactly when the damage is well before them.
        const bool touchesMarker = jpg[pos] == 0xFF || jpg[pos - 1] == 0xFF || bad[pos] == 0xFF;
        if (!touchesMarker && pos < data + (jpg.size() - data) / 2) {
            const std::size_t lastRows = std::size_t(64) * 3 * 8;
            EXPECT_TRUE(std::equal(img.px8.end() - long(lastRows), img.px8.end(), clean.px8.end() - long(lastRows)))
                << "byte " << pos;
        }
    }
    EXPECT_GT(failures, 5);   // most damage decodes silently, as in any JPEG decoder
}

// Progressive files (made by the peer, ten scans with successive approximation and restart
// intervals): cut anywhere or damaged anywhere, the decoder keeps the frame's image, reports an
// error and stays inside its buffers.
TEST(KepjpegCorrupt, DamagedProgressiveFilesDecodeWhatIsThere) {
    kepjpeg_peer::EncodeSettings s;
    s.customScript = true;
    s.restartInterval = 2;
    std::vector<std::uint8_t> jpg;
    ASSERT_TRUE(kepjpeg_peer::encode(kepjpeg::makeTestImage(48, 40, 5), s, jpg));
    const std::size_t data = scanStart(jpg);
    Image clean, img;
    std::string err;
    ASSERT_TRUE(decodeCopy(jpg, clean, err)) << err;
    for (std::size_t len = data; len + 2 < jpg.size(); len += 1 + len / 23) {
        std::vector<std::uint8_t> cut(jpg.begin(), jpg.begin() + long(len));
        EXPECT_FALSE(decodeCopy(cut, img, err, 2)) << "length " << len;
        EXPECT_FALSE(err.empty());
        EXPECT_EQ(img.samples(), clean.samples()) << "length " << len << ": " << err;
    }
    std::uint32_t rng = 5;
    for (int trial = 0; trial < 300; ++trial) {
        std::vector<std::uint8_t> bad = jpg;
        for (int k = 0; k < 1 + trial % 3; ++k) {
            rng = rng * 1664525u + 1013904223u;
            bad[data + (rng >> 8) % (jpg.size() - data - 2)] ^= std::uint8_t(1 + (rng & 0xFF) % 255);
        }
        if (!decodeCopy(bad, img, err, 1 + trial % 2)) {
            EXPECT_FALSE(err.empty());
        }
    }
}

// A baseline file assembled segment by segment, to break one thing at a time.
struct Parts {
    std::vector<std::uint8_t> head, dqt, sof, dht, sos, data;
};

Parts split(const std::vector<std::uint8_t>& jpg) {
    Parts p;
    std::size_t pos = 2;
    p.head.assign(jpg.begin(), jpg.begin() + 2);
    while (pos + 4 <= jpg.size()) {
        const int m = jpg[pos + 1];
        const std::size_t len = std::size_t(jpg[pos + 2] << 8 | jpg[pos + 3]) + 2;
        std::vector<std::uint8_t> seg(jpg.begin() + long(pos), jpg.begin() + long(pos + len));
        if (m == 0xDB) p.dqt.insert(p.dqt.end(), seg.begin(), seg.end());
        else if (m == 0xC0) p.sof = seg;
        else if (m == 0xC4) p.dht.insert(p.dht.end(), seg.begin(), seg.end());
        else if (m == 0xDA) {
            p.sos = seg;
            p.data.assign(jpg.begin() + long(pos + len), jpg.end());
            break;
        } else p.head.insert(p.head.end(), seg.begin(), seg.end());
        pos += len;
    }
    return p;
}

std::vector<std::uint8_t> join(const Parts& p) {
    std::vector<std::uint8_t> o = p.head;
    for (const auto* s : {&p.dqt, &p.sof, &p.dht, &p.sos, &p.data}) o.insert(o.end(), s->begin(), s->end());
    return o;
}

TEST(KepjpegCorrupt, HostileHeadersAreRejectedWithTheirReason) {
    const Parts good = split(sample(0));
    ASSERT_EQ(good.sof.size(), 19u);
    struct Case {
        const char* expect;
        std::function<void(Parts&)> damage;
    } cases[] = {
        {"width 0", [](Parts& p) { p.sof[7] = p.sof[8] = 0; }},
        {"height 0", [](Parts& p) { p.sof[5] = p.sof[6] = 0; }},
        {"components", [](Parts& p) { p.sof[9] = 9; }},
        {"sampling factors", [](Parts& p) { p.sof[11] = 0x50; }},
        {"quantization table", [](Parts& p) { p.sof[12] = 7; }},
        {"zero quantizer", [](Parts& p) { p.dqt[10] = 0; }},
        {"codes in one table", [](Parts& p) { p.dht[5 + 15] = 255; p.dht[5 + 14] = 255; }},
        {"not in the frame", [](Parts& p) { p.sos[5] = 42; }},
        {"undefined Huffman table", [](Parts& p) { p.sos[8] = 0x33; }},
        {"blocks per MCU", [](Parts& p) { p.sof[11] = p.sof[14] = p.sof[17] = 0x22; p.sof[11] = 0x44; }},
        {"SOS before the frame header", [](Parts& p) { p.sof.clear(); }},
        {"ends inside segment", [](Parts& p) { p.sos[3] = 0x80; p.data.resize(4); }},
        {"not a JPEG file", [](Parts& p) { p.head[1] = 0xD9; }},
    };
    for (const Case& c : cases) {
        Parts p = good;
        c.damage(p);
        Image img;
        std::string err;
        EXPECT_FALSE(decodeCopy(join(p), img, err)) << c.expect;
        EXPECT_NE(err.find(c.expect), std::string::npos) << "expected \"" << c.expect << "\", got \"" << err << "\"";
    }
}

TEST(KepjpegCorrupt, ToolExitsNonZeroWithAMessage) {
    const std::string dir = ::testing::TempDir();
    const std::string in = dir + "/kepjpeg_cut.jpg", out = dir + "/kepjpeg_cut.ppm", log = dir + "/kepjpeg_cut.txt";
    auto jpg = sample(0);
    jpg.resize(jpg.size() * 2 / 3);
    std::string err;
    ASSERT_TRUE(kepjpeg::writeFile(in, jpg, err)) << err;
    const std::string cmd = std::string(KEPJPEG_TOOL) + " decode " + in + " " + out + " 2>" + log;
    const int status = std::system(cmd.c_str());
    EXPECT_NE(status, 0);
    std::vector<std::uint8_t> text;
    ASSERT_TRUE(kepjpeg::readFile(log, text, err)) << err;
    const std::string msg(text.begin(), text.end());
    EXPECT_NE(msg.find("truncated"), std::string::npos) << msg;
    Image partial;
    EXPECT_TRUE(kepjpeg::readImage(out, partial, err)) << "the decoded part is written: " << err;
    // And a successful decode exits 0.
    jpg = sample(0);
    ASSERT_TRUE(kepjpeg::writeFile(in, jpg, err)) << err;
    EXPECT_EQ(std::system(cmd.c_str()), 0);
    for (const std::string& f : {in, out, log}) std::remove(f.c_str());
}

}  // namespace
