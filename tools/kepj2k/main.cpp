// kepj2k: a JPEG 2000 encoder and decoder built on libkepjx1's public primitives.
//
//   kepj2k decode [--reduce N] [--layers N] [--threads N] IN.{j2k,jp2} OUT
//                              code stream or JP2 file to PGM/PPM/PAM/PNG (by extension)
//   kepj2k info IN.{j2k,jp2}   JP2 boxes, main header, components, coding style, tile parts
//   kepj2k encode IN OUT.j2k   image to code stream or JP2 file (options: kepj2k encode)
//   kepj2k demo [DIR]          built-in test image through several settings
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "codec.h"
#include "commands.h"
#include "j2k.h"
#include "output.h"

namespace {

int usage() {
    std::fprintf(stderr,
                 "usage: kepj2k decode [--reduce N] [--layers N] [--threads N] IN.{j2k,jp2} OUT.{pgm,ppm,pam,png}\n"
                 "       kepj2k info IN.{j2k,jp2}\n"
                 "       kepj2k encode IN.{png,ppm,pgm,pam} OUT.{j2k,j2c,jp2} [options]\n"
                 "       kepj2k demo [DIR]\n"
                 "  --reduce N   discard the N highest resolution levels\n"
                 "  --layers N   decode the first N quality layers only\n"
                 "  --threads N  decode code-blocks and tile-components on N threads\n");
    return 2;
}

int info(const char* path) {
    std::vector<std::uint8_t> data;
    std::string err;
    if (!kepjpeg::readFile(path, data, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
    std::size_t begin = 0, size = data.size();
    if (kepj2k::isJp2(data.data(), data.size())) {
        std::string boxes;
        if (!kepj2k::readJp2(data.data(), data.size(), begin, size, &boxes, err))
            return std::fputs(boxes.c_str(), stdout), std::fprintf(stderr, "kepj2k: %s: %s\n", path, err.c_str()), 1;
        std::fputs(boxes.c_str(), stdout);
        if (!err.empty()) std::fprintf(stderr, "kepj2k: %s: %s\n", path, err.c_str());
    }
    kepj2k::CodestreamInfo ci;
    std::string perr;
    const bool ok = kepj2k::parse(data.data() + begin, size, ci, perr);
    if (ok) std::fputs(kepj2k::describe(ci).c_str(), stdout);
    if (err.empty()) err = perr;
    if (!err.empty()) return std::fprintf(stderr, "kepj2k: %s: %s\n", path, err.c_str()), 1;
    return 0;
}

// Percentage on stderr, rewritten in place; only called when stderr is a terminal.
void showProgress(double done, void* last) {
    const int pct = int(done * 100);
    int& shown = *static_cast<int*>(last);
    if (pct == shown) return;
    shown = pct;
    std::fprintf(stderr, "\rkepj2k: decoding %3d%%", pct);
    std::fflush(stderr);
}

int decode(const char* in, const char* out, const kepj2k::DecodeOptions& options) {
    std::vector<std::uint8_t> data;
    std::string err;
    if (!kepjpeg::readFile(in, data, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
    kepj2k::Decoded d;
    kepj2k::DecodeOptions opt = options;
    int shown = -1;
    if (isatty(STDERR_FILENO)) opt.progress = showProgress, opt.progressUser = &shown;
    const bool ok = kepj2k::decode(data.data(), data.size(), d, err, opt);
    if (shown >= 0) std::fputs("\r                       \r", stderr);
    if (!ok) std::fprintf(stderr, "kepj2k: %s: %s\n", in, err.c_str());
    if (d.planes.empty()) return 1;
    // A damaged stream is still written as far as it decoded, and the exit status reports it.
    kepjpeg::Image img;
    std::string werr;
    if (!kepj2k::toImage(d, img, werr) || !kepjpeg::writeImage(out, img, werr))
        return std::fprintf(stderr, "kepj2k: %s\n", werr.c_str()), 1;
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && !std::strcmp(argv[1], "info")) return info(argv[2]);
    if (argc >= 4 && !std::strcmp(argv[1], "decode")) {
        kepj2k::DecodeOptions opt;
        int i = 2;
        for (; i + 1 < argc && !std::strncmp(argv[i], "--", 2); i += 2) {
            char* end = nullptr;
            const long v = std::strtol(argv[i + 1], &end, 10);
            if (*end || v < 0 || v > 1024) return usage();
            if (!std::strcmp(argv[i], "--reduce")) opt.reduce = int(v);
            else if (!std::strcmp(argv[i], "--layers")) opt.layers = int(v);
            else if (!std::strcmp(argv[i], "--threads") && v > 0) opt.threads = int(v);
            else return usage();
        }
        if (argc - i != 2) return usage();
        return decode(argv[i], argv[i + 1], opt);
    }
    if (argc >= 2 && !std::strcmp(argv[1], "encode")) return kepj2k::cmdEncode(argc, argv);
    if (argc <= 3 && argc >= 2 && !std::strcmp(argv[1], "demo")) return kepj2k::cmdDemo(argc == 3 ? argv[2] : "kepj2k-demo");
    return usage();
}
