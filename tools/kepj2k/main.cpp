// kepj2k: a JPEG 2000 code-stream decoder built on libkepjx1's public primitives.
//
//   kepj2k decode IN.j2k OUT   code stream to PGM/PPM/PAM/PNG (by extension)
//   kepj2k info IN.j2k         main header, components, coding style, tile parts
//   kepj2k encode IN OUT.j2k   image to code stream or JP2 file (options: kepj2k encode)
//   kepj2k demo [DIR]          built-in test image through several settings
#include <cstdio>
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
                 "usage: kepj2k decode IN.j2k OUT.{pgm,ppm,pam,png}\n"
                 "       kepj2k info IN.j2k\n"
                 "       kepj2k encode IN.{png,ppm,pgm,pam} OUT.{j2k,j2c,jp2} [options]\n"
                 "       kepj2k demo [DIR]\n");
    return 2;
}

int info(const char* path) {
    std::vector<std::uint8_t> data;
    std::string err;
    if (!kepjpeg::readFile(path, data, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
    kepj2k::CodestreamInfo ci;
    const bool ok = kepj2k::parse(data.data(), data.size(), ci, err);
    if (ok) std::fputs(kepj2k::describe(ci).c_str(), stdout);
    if (!err.empty()) return std::fprintf(stderr, "kepj2k: %s: %s\n", path, err.c_str()), 1;
    return 0;
}

int decode(const char* in, const char* out) {
    std::vector<std::uint8_t> data;
    std::string err;
    if (!kepjpeg::readFile(in, data, err)) return std::fprintf(stderr, "kepj2k: %s\n", err.c_str()), 1;
    kepj2k::Decoded d;
    const bool ok = kepj2k::decode(data.data(), data.size(), d, err);
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
    if (argc == 4 && !std::strcmp(argv[1], "decode")) return decode(argv[2], argv[3]);
    if (argc >= 2 && !std::strcmp(argv[1], "encode")) return kepj2k::cmdEncode(argc, argv);
    if (argc <= 3 && argc >= 2 && !std::strcmp(argv[1], "demo")) return kepj2k::cmdDemo(argc == 3 ? argv[2] : "kepj2k-demo");
    return usage();
}
