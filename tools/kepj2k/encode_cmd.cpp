// kepj2k encode and kepj2k demo.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "encoder.h"

namespace kepj2k {
namespace {

int encodeUsage() {
    std::fprintf(stderr,
                 "usage: kepj2k encode IN.{png,ppm,pgm,pam} OUT.{j2k,j2c,jp2} [options]\n"
                 "  --lossy              irreversible: ICT + 9/7, expounded quantization (default: lossless\n"
                 "                       RCT + 5/3)\n"
                 "  --rate R[,R...]      lossy: bits per pixel of the whole file (one per layer, increasing)\n"
                 "  --psnr DB            lossy: quality target in dB (with --rate, the smaller file wins)\n"
                 "  --levels N           decomposition levels (5, fewer for small images)\n"
                 "  --cblk WxH           code-block size, powers of two (64x64)\n"
                 "  --bypass --reset --termall --vcausal --pterm --segsym, or --cbstyle MASK (0..63)\n"
                 "  --tiles WxH          tile size (one tile)\n"
                 "  --layers N           quality layers (1); lossless layers split each block's passes\n"
                 "  --order LRCP|RLCP|RPCL|PCRL|CPRL\n"
                 "  --sop --eph          SOP / EPH markers\n"
                 "  --precincts WxH      precinct size, powers of two, at every resolution\n"
                 "  --threads N          code-blocks coded in parallel (1)\n");
    return 2;
}

bool intValue(const char* s, int lo, int hi, int& v) {
    char* end;
    const long x = std::strtol(s, &end, 10);
    if (end == s || *end || x < lo || x > hi) return false;
    v = int(x);
    return true;
}

bool log2Pair(const char* s, int& a, int& b) {
    int w = 0, h = 0;
    char extra;
    if (std::sscanf(s, "%dx%d%c", &w, &h, &extra) != 2 || w < 1 || h < 1) return false;
    a = 0, b = 0;
    while ((1 << a) < w) ++a;
    while ((1 << b) < h) ++b;
    return (1 << a) == w && (1 << b) == h;
}

}  // namespace

bool parseEncodeOption(int argc, char** argv, int& i, EncodeOptions& opt) {
    const std::string a = argv[i];
    const char* next = i + 1 < argc ? argv[i + 1] : nullptr;
    static const char* flags[] = {"--bypass", "--reset", "--termall", "--vcausal", "--pterm", "--segsym"};
    for (int k = 0; k < 6; ++k)
        if (a == flags[k]) return opt.cbstyle |= 1 << k, true;
    if (a == "--lossy") return opt.lossy = true;
    if (a == "--sop") return opt.sop = true;
    if (a == "--eph") return opt.eph = true;
    if (!next) return false;
    ++i;
    if (a == "--levels") return intValue(next, 0, 32, opt.levels);
    if (a == "--layers") return intValue(next, 1, 65535, opt.layers);
    if (a == "--threads") return intValue(next, 1, 64, opt.threads);
    if (a == "--cbstyle") return intValue(next, 0, 63, opt.cbstyle);
    if (a == "--cblk") return log2Pair(next, opt.xcb, opt.ycb);
    if (a == "--precincts") return log2Pair(next, opt.precinctW, opt.precinctH);
    if (a == "--tiles") {
        char extra;
        return std::sscanf(next, "%dx%d%c", &opt.tileW, &opt.tileH, &extra) == 2 && opt.tileW > 0 && opt.tileH > 0;
    }
    if (a == "--psnr") {
        char* end;
        opt.psnr = std::strtod(next, &end);
        return !*end && opt.psnr > 0;
    }
    if (a == "--rate") {
        opt.rates.clear();
        for (const char* p = next; *p;) {
            char* end;
            const double r = std::strtod(p, &end);
            if (end == p || !(r > 0)) return false;
            opt.rates.push_back(r);
            p = *end == ',' ? end + 1 : end;
            if (*end && *end != ',') return false;
        }
        return !opt.rates.empty();
    }
    if (a == "--order") {
        static const char* orders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
        for (int k = 0; k < 5; ++k)
            if (!std::strcmp(next, orders[k])) return opt.order = k, true;
        return false;
    }
    return false;
}

int cmdEncode(int argc, char** argv) {
    EncodeOptions opt;
    std::vector<std::string> files;
    for (int i = 2; i < argc; ++i) {
        if (argv[i][0] == '-') {
            if (!parseEncodeOption(argc, argv, i, opt)) return encodeUsage();
        } else {
            files.push_back(argv[i]);
        }
    }
    if (files.size() != 2) return encodeUsage();
    const std::string& out = files[1];
    opt.jp2 = out.size() > 4 && out.compare(out.size() - 4, 4, ".jp2") == 0;
    std::string err;
    kepjpeg::Image img;
    if (!readInput(files[0], img, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
    // A one-line progress indication on a terminal for large images; silent otherwise.
    const bool show = isatty(2) && std::int64_t(img.width) * img.height >= 4000000;
    int shown = -1;
    if (show)
        opt.progress = [&shown](double f) {
            const int pct = int(f * 100);
            if (pct != shown) std::fprintf(stderr, "\rencoding %3d%%", shown = pct);
        };
    std::vector<std::uint8_t> data;
    const bool ok = encode(img, opt, data, err);
    if (show && shown >= 0) std::fprintf(stderr, "\r%-20s\r", "");
    if (!ok) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
    if (!kepjpeg::writeFile(out, data, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
    return 0;
}

}  // namespace kepj2k
