// Decoding options and stream features beyond the plain code stream, against the peer: reduced
// resolution and fewer layers (the peer decoder's -r / -l), JP2 files, POC and RGN, and threads.
#include <gtest/gtest.h>

#include <cstdio>

#include "kepj2k_peer.h"

namespace {

using kepj2k_test::peerDecode;
using kepj2k_test::peerEncode;
using kepj2k_test::testImage;

kepjpeg::Image ourDecode(const std::vector<std::uint8_t>& stream, const kepj2k::DecodeOptions& opt, bool& ok,
                         std::string& err) {
    kepj2k::Decoded d;
    kepjpeg::Image img;
    ok = kepj2k::decode(stream.data(), stream.size(), d, err, opt);
    std::string werr;
    if (!d.planes.empty() && !kepj2k::toImage(d, img, werr)) err += werr, ok = false;
    return img;
}

void expectSame(const kepjpeg::Image& ours, const kepjpeg::Image& ref) {
    ASSERT_EQ(ours.width, ref.width);
    ASSERT_EQ(ours.height, ref.height);
    ASSERT_EQ(ours.channels, ref.channels);
    EXPECT_TRUE(ours.px8 == ref.px8);
}

TEST(Kepj2kOptions, ReducedResolutionAndFewerLayersMatchThePeer) {
    const kepjpeg::Image src = testImage(203, 141, 3);
    for (const char* options : {"-n 5 -r 20,5,1", "-t 64,64 -p RPCL -c [32,32],[16,16] -r 30,10,1 -d 3,5"}) {
        const std::vector<std::uint8_t> stream = peerEncode(src, options);
        ASSERT_FALSE(stream.empty());
        for (int reduce = 0; reduce <= 3; ++reduce)
            for (int layers : {0, 1, 2}) {
                if (reduce && layers == 2) continue;
                SCOPED_TRACE(std::string(options) + ", reduce " + std::to_string(reduce) + ", layers " + std::to_string(layers));
                kepj2k::DecodeOptions opt;
                opt.reduce = reduce, opt.layers = layers;
                bool ok;
                std::string err;
                const kepjpeg::Image ours = ourDecode(stream, opt, ok, err);
                ASSERT_TRUE(ok) << err;
                kepjpeg::Image ref;
                ASSERT_TRUE(peerDecode(stream, 3, ref, "-r " + std::to_string(reduce) + " -l " + std::to_string(layers ? layers : 3)));
                expectSame(ours, ref);
            }
    }
    // More levels discarded than the stream has is refused, with nothing decoded.
    const std::vector<std::uint8_t> stream = peerEncode(src, "-n 3");
    kepj2k::DecodeOptions opt;
    opt.reduce = 3;
    bool ok;
    std::string err;
    ourDecode(stream, opt, ok, err);
    EXPECT_FALSE(ok);
    EXPECT_NE(err.find("resolution levels"), std::string::npos) << err;
}

// Big-endian 32-bit value at p.
void put32(std::uint8_t* p, std::uint64_t v) {
    for (int i = 0; i < 4; ++i) p[i] = std::uint8_t(v >> (24 - 8 * i));
}

TEST(Kepj2kOptions, Jp2FilesWithPlainExtendedAndOpenEndedBoxes) {
    const kepjpeg::Image src = testImage(96, 70, 3);
    std::vector<std::uint8_t> jp2 = peerEncode(src, "-r 10,1", ".jp2");
    ASSERT_FALSE(jp2.empty());
    std::size_t begin = 0, size = 0;
    std::string boxes, err;
    ASSERT_TRUE(kepj2k::readJp2(jp2.data(), jp2.size(), begin, size, &boxes, err)) << err;
    for (const char* box : {"'jP  '", "'ftyp'", "'jp2h'", "  box 'ihdr'", "96x70, 3 component(s)", "'colr'", "'jp2c'"})
        EXPECT_NE(boxes.find(box), std::string::npos) << box << " in\n" << boxes;
    ASSERT_GE(begin, 8u);
    const std::size_t box = begin - 8;   // the jp2c box header
    // The same file with the code-stream box as an XL box, and as a box running to the end.
    std::vector<std::uint8_t> xl(jp2.begin(), jp2.begin() + std::ptrdiff_t(box));
    xl.insert(xl.end(), {0, 0, 0, 1, 'j', 'p', '2', 'c', 0, 0, 0, 0, 0, 0, 0, 0});
    put32(&xl[box + 12], size + 16);
    xl.insert(xl.end(), jp2.begin() + std::ptrdiff_t(begin), jp2.end());
    std::vector<std::uint8_t> open = jp2;
    put32(&open[box], 0);
    for (const std::vector<std::uint8_t>* file : {&jp2, &xl, &open}) {
        bool ok;
        const kepjpeg::Image ours = ourDecode(*file, kepj2k::DecodeOptions(), ok, err);
        ASSERT_TRUE(ok) << err;
        expectSame(ours, src);
    }
    // A JP2 file cut inside its code stream decodes as far as it goes and says so.
    const std::vector<std::uint8_t> cut(jp2.begin(), jp2.begin() + std::ptrdiff_t(begin + size * 3 / 4));
    bool ok;
    const kepjpeg::Image part = ourDecode(cut, kepj2k::DecodeOptions(), ok, err);
    EXPECT_FALSE(ok);
    EXPECT_NE(err.find("cut short"), std::string::npos) << err;
    EXPECT_EQ(part.width, 96);
}

TEST(Kepj2kOptions, ProgressionChangesAndRegionsOfInterest) {
    const kepjpeg::Image src = testImage(203, 141, 3);
    // POC volumes splitting resolutions and components (the peer does not reproduce its input when
    // volumes split layers, so none here do), and max-shift regions of interest on one component.
    for (const char* options : {"-POC T1=0,0,2,2,2,RLCP/T1=0,2,2,6,3,PCRL/T1=2,0,2,6,2,CPRL -r 8,1 -c [64,64]",
                                "-POC T1=0,0,2,6,1,RPCL/T1=0,1,2,6,3,LRCP -r 10,1", "-POC T1=0,0,1,3,3,CPRL/T1=3,0,1,6,3,LRCP",
                                "-ROI c=0,U=5",
                                "-ROI c=1,U=3 -r 20,1 -p RPCL"}) {
        SCOPED_TRACE(options);
        const std::vector<std::uint8_t> stream = peerEncode(src, options);
        ASSERT_FALSE(stream.empty());
        kepj2k::CodestreamInfo info;
        std::string err;
        ASSERT_TRUE(kepj2k::parse(stream.data(), stream.size(), info, err)) << err;
        const bool poc = options[1] == 'P';
        EXPECT_EQ(!info.tiles[0].poc.empty(), poc);
        EXPECT_EQ(info.tiles[0].roiShift[options[7] == '1'] > 0, !poc);
        bool ok;
        const kepjpeg::Image ours = ourDecode(stream, kepj2k::DecodeOptions(), ok, err);
        ASSERT_TRUE(ok) << err;
        expectSame(ours, src);
    }
}

TEST(Kepj2kOptions, ThreadsGiveTheSingleThreadedResult) {
    const kepjpeg::Image src = testImage(203, 141, 3);
    // Tile-part lengths (TLM) and packet lengths (PLT) are skipped.
    for (const char* options : {"-t 64,64 -r 20,5,1 -c [32,32] -M 5 -TLM -PLT -TP R", "-I -r 30 -b 16,16"}) {
        SCOPED_TRACE(options);
        const std::vector<std::uint8_t> stream = peerEncode(src, options);
        ASSERT_FALSE(stream.empty());
        kepj2k::Decoded one, many;
        std::string err;
        ASSERT_TRUE(kepj2k::decode(stream.data(), stream.size(), one, err)) << err;
        if (options[1] == 't') {
            kepjpeg::Image img;
            ASSERT_TRUE(kepj2k::toImage(one, img, err));
            expectSame(img, src);
        }
        kepj2k::DecodeOptions opt;
        opt.threads = 3;
        int calls = 0;
        double last = 0;
        bool monotonic = true;
        struct Log {
            int* calls;
            double* last;
            bool* monotonic;
        } log{&calls, &last, &monotonic};
        opt.progressUser = &log;
        opt.progress = [](double f, void* u) {
            Log& l = *static_cast<Log*>(u);
            ++*l.calls;
            if (f < *l.last || f > 1) *l.monotonic = false;
            *l.last = f;
        };
        ASSERT_TRUE(kepj2k::decode(stream.data(), stream.size(), many, err, opt)) << err;
        EXPECT_TRUE(one.planes == many.planes);
        EXPECT_GE(calls, 1);   // the workers may take every code-block before the calling thread does
        EXPECT_TRUE(monotonic);
        EXPECT_EQ(last, 1.0);
    }
}

}  // namespace

namespace {

// Moves the packet headers of a peer stream written with SOP and EPH markers into PPM (main header)
// or PPT (tile-part headers) segments: each packet is SOP, header, EPH, body, and neither marker can
// occur inside a header (bit stuffing) or a body (no code-block byte pair exceeds 0xFF8F).
std::vector<std::uint8_t> packHeaders(const std::vector<std::uint8_t>& s, bool ppm) {
    auto u16 = [&](std::size_t p) { return std::size_t(s[p]) << 8 | s[p + 1]; };
    auto u32 = [&](std::size_t p) { return u16(p) << 16 | u16(p + 2); };
    auto put = [](std::vector<std::uint8_t>& v, std::size_t x, int bytes) {
        for (int i = bytes - 1; i >= 0; --i) v.push_back(std::uint8_t(x >> (8 * i)));
    };
    // Packed segments hold at most 65535 - 3 bytes of headers each.
    auto segments = [&](std::vector<std::uint8_t>& out, int marker, const std::vector<std::uint8_t>& data) {
        for (std::size_t p = 0, z = 0; p < data.size(); ++z) {
            const std::size_t n = std::min<std::size_t>(data.size() - p, 60000);
            put(out, std::size_t(marker), 2), put(out, n + 3, 2), out.push_back(std::uint8_t(z));
            out.insert(out.end(), data.begin() + std::ptrdiff_t(p), data.begin() + std::ptrdiff_t(p + n));
            p += n;
        }
    };
    std::size_t pos = 2;
    while (u16(pos) != 0xFF90) pos += 2 + u16(pos + 2);
    std::vector<std::uint8_t> mainHeader(s.begin(), s.begin() + std::ptrdiff_t(pos)), parts, ppmData;
    while (pos + 12 <= s.size() && u16(pos) == 0xFF90) {
        const std::size_t psot = u32(pos + 6), end = pos + psot;
        std::size_t sod = pos + 12;
        while (u16(sod) != 0xFF93) sod += 2 + u16(sod + 2);
        std::vector<std::uint8_t> headers, bodies;
        for (std::size_t p = sod + 2; p < end;) {   // one packet: SOP at p
            std::size_t eph = p + 6;
            while (u16(eph) != 0xFF92) ++eph;
            std::size_t next = eph + 2;
            while (next < end && !(s[next] == 0xFF && s[next + 1] == 0x91)) ++next;
            bodies.insert(bodies.end(), s.begin() + std::ptrdiff_t(p), s.begin() + std::ptrdiff_t(p + 6));
            headers.insert(headers.end(), s.begin() + std::ptrdiff_t(p + 6), s.begin() + std::ptrdiff_t(eph + 2));
            bodies.insert(bodies.end(), s.begin() + std::ptrdiff_t(eph + 2), s.begin() + std::ptrdiff_t(next));
            p = next;
        }
        std::vector<std::uint8_t> part(s.begin() + std::ptrdiff_t(pos), s.begin() + std::ptrdiff_t(sod));
        if (ppm) put(ppmData, headers.size(), 4), ppmData.insert(ppmData.end(), headers.begin(), headers.end());
        else segments(part, 0xFF61, headers);
        put(part, 0xFF93, 2);
        part.insert(part.end(), bodies.begin(), bodies.end());
        const std::size_t len = part.size();
        for (int i = 0; i < 4; ++i) part[6 + i] = std::uint8_t(len >> (24 - 8 * i));   // Psot
        parts.insert(parts.end(), part.begin(), part.end());
        pos = end;
    }
    if (ppm) segments(mainHeader, 0xFF60, ppmData);
    mainHeader.insert(mainHeader.end(), parts.begin(), parts.end());
    put(mainHeader, 0xFFD9, 2);
    return mainHeader;
}

TEST(Kepj2kOptions, PackedPacketHeaders) {
    const kepjpeg::Image src = testImage(203, 141, 3);
    for (const char* options : {"-SOP -EPH -r 20,5,1 -t 64,64 -p RPCL", "-SOP -EPH -r 8,1 -TP R -c [32,32]"}) {
        const std::vector<std::uint8_t> stream = peerEncode(src, options);
        ASSERT_FALSE(stream.empty());
        for (bool ppm : {false, true}) {
            SCOPED_TRACE(std::string(options) + (ppm ? ", PPM" : ", PPT"));
            const std::vector<std::uint8_t> packed = packHeaders(stream, ppm);
            kepj2k::CodestreamInfo info;
            std::string err;
            ASSERT_TRUE(kepj2k::parse(packed.data(), packed.size(), info, err)) << err;
            ASSERT_TRUE(info.packedHeaders[0]);
            bool ok;
            const kepjpeg::Image ours = ourDecode(packed, kepj2k::DecodeOptions(), ok, err);
            ASSERT_TRUE(ok) << err;
            expectSame(ours, src);
            // Cut packed headers are reported, not read past.
            std::vector<std::uint8_t> cut = packed;
            cut.resize(packed.size() * 2 / 3);
            ourDecode(cut, kepj2k::DecodeOptions(), ok, err);
            EXPECT_FALSE(ok);
        }
    }
}

}  // namespace

namespace {

TEST(Kepj2kOptions, HugeHeadersAreRefusedBeforeAnyAllocation) {
    std::vector<std::uint8_t> stream = peerEncode(testImage(64, 48, 3), "");
    ASSERT_FALSE(stream.empty());
    // SIZ at offset 2: marker, length, Rsiz, then Xsiz and Ysiz; 2^15 x 2^14 x 3 samples > 2^28.
    put32(&stream[8], 1u << 15);
    put32(&stream[12], 1u << 14);
    put32(&stream[24], 1u << 15);   // one tile over the whole image
    put32(&stream[28], 1u << 14);
    kepj2k::Decoded d;
    std::string err;
    EXPECT_FALSE(kepj2k::decode(stream.data(), stream.size(), d, err));
    EXPECT_EQ(err, "image too large");
    EXPECT_TRUE(d.planes.empty());
    // The limit counts the samples of the output: a 64x48 RGB stream under a limit of 64*48*3 - 1
    // samples is refused, and decodes at half resolution.
    const std::vector<std::uint8_t> small = peerEncode(testImage(64, 48, 3), "");
    kepj2k::DecodeOptions opt;
    opt.maxSamples = 64 * 48 * 3 - 1;
    EXPECT_FALSE(kepj2k::decode(small.data(), small.size(), d, err, opt));
    EXPECT_EQ(err, "image too large");
    opt.reduce = 1;
    EXPECT_TRUE(kepj2k::decode(small.data(), small.size(), d, err, opt)) << err;
    EXPECT_EQ(d.width, 32);
}

TEST(Kepj2kOptions, ToolOptionsAndJp2Info) {
    const kepjpeg::Image src = testImage(96, 70, 3);
    const std::vector<std::uint8_t> jp2 = peerEncode(src, "-r 10,1", ".jp2");
    const std::string dir = kepj2k_test::scratch(), tool = KEPJ2K_TOOL;
    std::string err;
    ASSERT_TRUE(kepjpeg::writeFile(dir + "/opt.jp2", jp2, err));
    ASSERT_EQ(std::system((tool + " decode --reduce 1 --layers 1 --threads 2 " + dir + "/opt.jp2 " + dir + "/opt.ppm").c_str()), 0);
    kepjpeg::Image back;
    ASSERT_TRUE(kepjpeg::readImage(dir + "/opt.ppm", back, err)) << err;
    kepj2k::DecodeOptions opt;
    opt.reduce = 1, opt.layers = 1;
    bool ok;
    expectSame(back, ourDecode(jp2, opt, ok, err));
    EXPECT_EQ(back.width, 48);
    ASSERT_EQ(std::system((tool + " info " + dir + "/opt.jp2 >" + dir + "/info.txt").c_str()), 0);
    std::vector<std::uint8_t> info;
    ASSERT_TRUE(kepjpeg::readFile(dir + "/info.txt", info, err));
    const std::string text(info.begin(), info.end());
    EXPECT_NE(text.find("box 'jp2c'"), std::string::npos) << text;
    EXPECT_NE(text.find("image 96x70"), std::string::npos) << text;
    EXPECT_NE(std::system((tool + " decode --reduce x " + dir + "/opt.jp2 " + dir + "/x.ppm 2>/dev/null").c_str()), 0);
}

}  // namespace
