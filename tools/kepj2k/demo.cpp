// kepj2k demo: the built-in colour test image through several encoder settings, each decoded
// back by our decoder, with size, quality and speed in a table and the files in a folder.
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "j2k.h"
#include "kepcore.h"
#include "kepjx1.h"
#include "output.h"

namespace kepj2k {
namespace {

double seconds(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Decoded components in the interleaved layout of the source, at the source's precision.
kepjpeg::Image interleave(const Decoded& d, int precision) {
    kepjpeg::Image img;
    img.width = d.width, img.height = d.height, img.channels = int(d.planes.size()), img.precision = precision;
    const std::size_t n = std::size_t(d.width) * d.height, nc = d.planes.size();
    if (precision == 8) img.px8.resize(n * nc);
    else img.px16.resize(n * nc);
    for (std::size_t c = 0; c < nc; ++c)
        for (std::size_t i = 0; i < n; ++i) {
            if (precision == 8) img.px8[i * nc + c] = std::uint8_t(d.planes[c][i]);
            else img.px16[i * nc + c] = std::uint16_t(d.planes[c][i]);
        }
    return img;
}

struct DemoCase {
    const char* name;
    const char* file;
    EncodeOptions opt;
    bool gray12 = false;
};

}  // namespace

int cmdDemo(const std::string& dir) {
    const KepLibraryVersion* v = kepjGetLibVersion();
    const Kep64u f = kepGetEnabledCpuFeatures();
    std::printf("%s %s, code path \"%s\" (SSSE3 %s, MOVBE %s)\n", v->Name, v->Version, v->targetCpu,
                (f & kepCpuSSSE3) ? "yes" : "no", (f & kepCpuMOVBE) ? "yes" : "no");
    const int W = 1024, H = 768;
    const kepjpeg::Image img = kepjpeg::makeTestImage(W, H);
    // A 12-bit gray picture: the green channel with four more bits of fine detail below it.
    kepjpeg::Image gray12 = img;
    gray12.channels = 1, gray12.precision = 12;
    gray12.px16.resize(std::size_t(W) * H);
    for (std::size_t i = 0; i < gray12.px16.size(); ++i) gray12.px16[i] = std::uint16_t(img.px8[3 * i + 1] << 4 | (i * 7 % 16));
    gray12.px8.clear();
    mkdir(dir.c_str(), 0755);
    std::string err;
    if (!kepjpeg::writeImage(dir + "/original.png", img, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;

    std::vector<DemoCase> cases;
    auto add = [&](const char* name, const char* file) -> EncodeOptions& {
        cases.push_back({name, file, EncodeOptions()});
        return cases.back().opt;
    };
    add("lossless", "lossless.j2k");
    {
        EncodeOptions& o = add("lossless RPCL, precincts, 2 thr", "lossless_rpcl.j2k");
        o.order = 2, o.precinctW = o.precinctH = 7, o.threads = 2;
    }
    for (double rate : {0.25, 0.5, 1.0, 2.0}) {
        static const char* names[] = {"lossy 0.25 bpp", "lossy 0.5 bpp", "lossy 1 bpp", "lossy 2 bpp"};
        static const char* files[] = {"lossy_0.25.j2k", "lossy_0.5.j2k", "lossy_1.j2k", "lossy_2.j2k"};
        const int k = rate < 0.3 ? 0 : rate < 0.6 ? 1 : rate < 1.5 ? 2 : 3;
        EncodeOptions& o = add(names[k], files[k]);
        o.lossy = true, o.rates = {rate};
    }
    {
        EncodeOptions& o = add("lossy 40 dB target", "lossy_40db.jp2");
        o.lossy = true, o.psnr = 40, o.jp2 = true;
    }
    {
        EncodeOptions& o = add("lossy 3 layers, CPRL, styles, tiles", "lossy_layers.j2k");
        o.lossy = true, o.rates = {0.25, 0.5, 1.0}, o.layers = 3, o.order = 4, o.cbstyle = 63, o.sop = o.eph = true;
        o.tileW = o.tileH = 256;
    }
    add("lossless 12-bit gray", "lossless_gray12.j2k");
    cases.back().gray12 = true;

    std::printf("\n%d x %d test image (gradients, edges, text-like detail, noise)\n\n", W, H);
    std::printf("%-36s %9s %6s %9s %10s %10s\n", "setting", "bytes", "bpp", "PSNR dB", "enc MP/s", "dec MP/s");
    int failures = 0;
    for (const DemoCase& c : cases) {
        const kepjpeg::Image& src = c.gray12 ? gray12 : img;
        std::vector<std::uint8_t> stream;
        auto t0 = std::chrono::steady_clock::now();
        if (!encode(src, c.opt, stream, err)) {
            std::printf("%-36s   encode failed: %s\n", c.name, err.c_str());
            ++failures;
            continue;
        }
        const double te = seconds(t0);
        Decoded d;
        t0 = std::chrono::steady_clock::now();
        const bool ok = decode(stream.data(), stream.size(), d, err, DecodeOptions());   // J2K or JP2
        const double td = seconds(t0);
        if (!ok) {
            std::printf("%-36s   decode failed: %s\n", c.name, err.c_str());
            ++failures;
            continue;
        }
        const kepjpeg::Image back = interleave(d, src.precision);
        const double q = kepjpeg::psnr(src, back);
        const bool lossless = std::isinf(q);
        if (!c.opt.lossy && !lossless) {
            std::printf("%-36s   not lossless\n", c.name);
            ++failures;
        }
        char quality[16];
        std::snprintf(quality, sizeof quality, lossless ? "lossless" : "%.2f", q);
        const double mp = double(W) * H / 1e6;
        std::printf("%-36s %9zu %6.2f %9s %10.1f %10.1f\n", c.name, stream.size(), 8.0 * stream.size() / (double(W) * H), quality,
                    mp / te, mp / td);
        const std::string path = dir + "/" + c.file;
        if (!kepjpeg::writeFile(path, stream, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
        if (!c.gray12) kepjpeg::writeImage(path.substr(0, path.size() - 4) + ".png", back, err);
    }
    std::printf("\nfiles written to %s/ (original.png, each code stream and its decoded .png)\n", dir.c_str());
    return failures ? 1 : 0;
}

}  // namespace kepj2k
