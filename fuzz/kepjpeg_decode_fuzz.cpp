// libFuzzer target for the kepjpeg tool's decoder. The first byte picks the mode: the low three
// bits a template file coded by kepjpeg's own encoder (baseline 4:2:0, baseline 4:4:4 with a
// restart interval, 4:2:2 with optimal tables, grayscale, progressive 4:2:0, lossless, 12-bit
// grayscale, CMYK), whose markers up to the end of the first scan header stand in front of the
// remaining bytes, so that the entropy decoders see hostile data behind valid tables; with bit
// 0x80 the remaining bytes are the whole file instead. Bit 0x08 decodes with two threads, 0x10
// keeps the colour space, 0x20 asks for the coefficients, 0x40 takes the first dispatch slot
// rather than the one chosen for this processor. Frames above 2^20 samples are skipped
// (a header alone can ask for gigabytes). The input lives in a heap block of exactly its size,
// so that AddressSanitizer sees any read past the end.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "codec.h"
#include "pjdispatch.h"

namespace {

// The markers of a file up to the end of its first SOS segment.
std::vector<std::uint8_t> headerOf(const std::vector<std::uint8_t>& file) {
    std::size_t p = 2;
    while (p + 4 <= file.size()) {
        const int marker = file[p + 1];
        const std::size_t len = std::size_t(file[p + 2]) << 8 | file[p + 3];
        p += 2 + len;
        if (marker == 0xDA) break;
    }
    return std::vector<std::uint8_t>(file.begin(), file.begin() + long(std::min(p, file.size())));
}

std::vector<std::vector<std::uint8_t>> makeTemplates() {
    std::vector<std::vector<std::uint8_t>> t;
    auto add = [&](const kepjpeg::Image& img, const kepjpeg::EncodeOptions& o) {
        std::vector<std::uint8_t> out;
        std::string err;
        if (!kepjpeg::encode(img, o, out, err)) __builtin_trap();
        t.push_back(headerOf(out));
    };
    const kepjpeg::Image rgb = kepjpeg::makeTestImage(37, 29, 3);
    kepjpeg::EncodeOptions o;
    add(rgb, o);                                     // baseline 4:2:0
    o.sampling = kepjpeg::Sampling::s444;
    o.restartInterval = 2;
    add(rgb, o);                                     // 4:4:4, restart every two MCUs
    o = kepjpeg::EncodeOptions();
    o.sampling = kepjpeg::Sampling::s422;
    o.optimize = true;
    add(rgb, o);                                     // 4:2:2, optimal tables
    o = kepjpeg::EncodeOptions();
    o.grayscale = true;
    add(rgb, o);                                     // one component
    o = kepjpeg::EncodeOptions();
    o.progressive = true;
    add(rgb, o);                                     // progressive: later scan headers come from the input
    o = kepjpeg::EncodeOptions();
    o.lossless = true;
    o.predictor = 7;
    add(rgb, o);                                     // lossless
    kepjpeg::Image g12;
    g12.width = 21, g12.height = 13, g12.channels = 1, g12.precision = 12;
    for (int i = 0; i < g12.width * g12.height; ++i) g12.px16.push_back(std::uint16_t((i * 37) & 4095));
    add(g12, kepjpeg::EncodeOptions());              // 12-bit DCT
    kepjpeg::Image cmyk;
    cmyk.width = 19, cmyk.height = 11, cmyk.channels = 4;
    for (int i = 0; i < 19 * 11 * 4; ++i) cmyk.px8.push_back(std::uint8_t(i * 29));
    o = kepjpeg::EncodeOptions();
    o.sampling = kepjpeg::Sampling::s444;
    add(cmyk, o);                                    // four components
    return t;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<std::vector<std::uint8_t>> templates = makeTemplates();
    if (size < 1) return 0;
    const int mode = data[0];
    ++data, --size;
    std::vector<std::uint8_t> input;
    if (!(mode & 0x80)) input = templates[std::size_t(mode & 7) % templates.size()];
    input.insert(input.end(), data, data + size);
    const std::vector<std::uint8_t> exact(input);   // exactly sized heap block

    kepjpeg::JpegInfo info;
    std::string err;
    if (kepjpeg::parse(exact.data(), exact.size(), info, err)) (void)kepjpeg::describe(info);
    // Any frame header the decoder might find, wherever it lies: too large, and the input is
    // skipped.
    for (std::size_t i = 0; i + 9 < exact.size(); ++i) {
        const int m = exact[i + 1];
        if (exact[i] != 0xFF || m < 0xC0 || m > 0xCF || m == 0xC4 || m == 0xC8 || m == 0xCC) continue;
        const std::uint64_t h = std::uint64_t(exact[i + 5]) << 8 | exact[i + 6], w = std::uint64_t(exact[i + 7]) << 8 | exact[i + 8];
        if (w * h * (exact[i + 9] ? exact[i + 9] : 1) > (1u << 20)) return 0;
    }

    static const int native = ownDispatchIndex;
    ownDispatchIndex = (mode & 0x40) ? 0 : native;
    kepjpeg::DecodeOptions opt;
    opt.threads = (mode & 0x08) ? 2 : 1;
    opt.keepColourSpace = (mode & 0x10) != 0;
    std::vector<std::vector<std::int16_t>> coefs;
    if (mode & 0x20) opt.coefficientsOut = &coefs;
    kepjpeg::Image img;
    err.clear();
    const bool ok = kepjpeg::decode(exact.data(), exact.size(), opt, img, err);
    if (!ok && err.empty()) __builtin_trap();        // every failure carries a message
    if ((!img.px8.empty() || !img.px16.empty()) && img.samples() != img.px8.size() && img.samples() != img.px16.size())
        __builtin_trap();                            // the samples match the geometry
    return 0;
}
