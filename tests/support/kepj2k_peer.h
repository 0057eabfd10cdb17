// Helpers of the kepj2k tests: the peer's command-line tools run on files in a scratch folder.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "codec.h"
#include "j2k.h"
#include "output.h"

namespace kepj2k_test {

// A scratch folder per test process, removed at exit.
inline std::string scratch() {
    struct Dir {
        std::string path = (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + std::string("/kepj2k_test.") +
                           std::to_string(getpid());
        Dir() { std::system(("mkdir -p " + path).c_str()); }
        ~Dir() { std::system(("rm -rf " + path).c_str()); }
    };
    static const Dir dir;
    return dir.path;
}

// The built-in test image as RGB, or its green channel as gray.
inline kepjpeg::Image testImage(int w, int h, int channels) {
    kepjpeg::Image rgb = kepjpeg::makeTestImage(w, h, 7);
    if (channels == 3) return rgb;
    kepjpeg::Image g;
    g.width = w, g.height = h, g.channels = 1;
    for (std::size_t i = 0; i < std::size_t(w) * h; ++i) g.px8.push_back(rgb.px8[3 * i + 1]);
    return g;
}

// Encodes img with the peer's encoder and the given options; the code stream (a JP2 file with
// ext ".jp2"), empty on failure.
inline std::vector<std::uint8_t> peerEncode(const kepjpeg::Image& img, const std::string& options,
                                            const std::string& ext = ".j2k") {
    const std::string in = scratch() + (img.channels == 1 ? "/in.pgm" : "/in.ppm"), out = scratch() + "/peer" + ext;
    std::string err;
    std::vector<std::uint8_t> data;
    std::remove(out.c_str());
    if (!kepjpeg::writeImage(in, img, err)) return data;
    const std::string cmd = std::string(OPJ_COMPRESS) + " -i " + in + " -o " + out + " " + options + " >/dev/null 2>&1";
    if (std::system(cmd.c_str()) != 0) return data;
    kepjpeg::readFile(out, data, err);
    return data;
}

// The peer's own decode of a code stream, as an image, with the peer decoder's options.
inline bool peerDecode(const std::vector<std::uint8_t>& stream, int channels, kepjpeg::Image& img,
                       const std::string& options = "") {
    const std::string in = scratch() + "/peerdec.j2k", out = scratch() + (channels == 1 ? "/peerdec.pgm" : "/peerdec.ppm");
    std::string err;
    if (!kepjpeg::writeFile(in, stream, err)) return false;
    const std::string cmd = std::string(OPJ_DECOMPRESS) + " -i " + in + " -o " + out + " " + options + " >/dev/null 2>&1";
    return std::system(cmd.c_str()) == 0 && kepjpeg::readImage(out, img, err);
}

}  // namespace kepj2k_test
