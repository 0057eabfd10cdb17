// kepjpeg: a JPEG encoder and decoder built on libkepjx1's public primitives.
//
//   kepjpeg [demo [DIR]]                 built-in test image through several settings
//   kepjpeg encode [options] IN OUT.jpg  PPM/PGM/PAM/PNG to JPEG
//   kepjpeg decode [--threads N] IN.jpg OUT
//   kepjpeg info IN.jpg
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "codec.h"
#include "kepcore.h"
#include "kepjx1.h"

using namespace kepjpeg;

namespace {

// A one-line progress indication on a terminal for large images; silent otherwise.
class ProgressLine {
public:
    ProgressLine(const char* what, long pixels) : what_(what), on_(isatty(2) && pixels >= 4000000) {}
    ~ProgressLine() {
        if (on_ && shown_ >= 0) std::fprintf(stderr, "\r%-40s\r", "");
    }
    Progress callback() {
        if (!on_) return nullptr;
        return [this](double f) {
            const int pct = int(f * 100);
            if (pct == shown_) return;
            shown_ = pct;
            std::fprintf(stderr, "\r%s %3d%%", what_, pct);
        };
    }

private:
    const char* what_;
    bool on_;
    int shown_ = -1;
};

int usage() {
    std::fprintf(stderr,
                 "usage: kepjpeg [demo [DIR]]\n"
                 "       kepjpeg encode [options] IN OUT.jpg\n"
                 "         -q, --quality N        1..100 (85)\n"
                 "         --sampling 444|422|420 chroma sampling (420)\n"
                 "         --gray                 code the luminance only\n"
                 "         --optimize             optimal Huffman tables\n"
                 "         --restart N            restart interval in MCUs\n"
                 "         --restart-rows N       restart interval in MCU rows\n"
                 "         --threads N            restart intervals coded in parallel\n"
                 "         --progressive          progressive (spectral selection, successive\n"
                 "                                approximation, optimal tables per scan; 8-bit)\n"
                 "         --lossless             lossless (no colour transform, optimal tables)\n"
                 "         --predictor N          lossless predictor 1..7 (1)\n"
                 "         --point-transform N    lossless point transform (0)\n"
                 "         --precision P          lossless sample precision 2..16 (the image's;\n"
                 "                                samples are rescaled by shifting)\n"
                 "       kepjpeg decode [--threads N] IN.jpg OUT\n"
                 "       kepjpeg info IN.jpg\n"
                 "Images: .ppm .pgm .pnm .pam (CMYK) .png; 16-bit samples are coded as 12-bit JPEG.\n");
    return 2;
}

bool intArg(int argc, char** argv, int& i, int& v) {
    if (i + 1 >= argc) return false;
    char* end;
    const long x = std::strtol(argv[++i], &end, 10);
    if (*end || x < 0 || x > 1000000) return false;
    v = int(x);
    return true;
}

double seconds(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

int cmdEncode(int argc, char** argv) {
    EncodeOptions opt;
    std::vector<std::string> files;
    int precision = 0;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        bool ok = true;
        if (a == "-q" || a == "--quality") ok = intArg(argc, argv, i, opt.quality);
        else if (a == "--restart") ok = intArg(argc, argv, i, opt.restartInterval);
        else if (a == "--restart-rows") ok = intArg(argc, argv, i, opt.restartRows);
        else if (a == "--threads") ok = intArg(argc, argv, i, opt.threads);
        else if (a == "--gray") opt.grayscale = true;
        else if (a == "--optimize") opt.optimize = true;
        else if (a == "--progressive") opt.progressive = true;
        else if (a == "--lossless") opt.lossless = true;
        else if (a == "--predictor") ok = intArg(argc, argv, i, opt.predictor);
        else if (a == "--point-transform") ok = intArg(argc, argv, i, opt.pointTransform);
        else if (a == "--precision") ok = intArg(argc, argv, i, precision);
        else if (a == "--sampling" && i + 1 < argc) {
            const std::string s = argv[++i];
            if (s == "444") opt.sampling = Sampling::s444;
            else if (s == "422") opt.sampling = Sampling::s422;
            else if (s == "420") opt.sampling = Sampling::s420;
            else ok = false;
        } else if (!a.empty() && a[0] == '-') ok = false;
        else files.push_back(a);
        if (!ok) return usage();
    }
    if (files.size() != 2) return usage();
    std::string err;
    Image img;
    if (!readImage(files[0], img, err)) return std::fprintf(stderr, "kepjpeg: %s\n", err.c_str()), 1;
    if (precision && opt.lossless) {
        if (precision < 2 || precision > 16) return usage();
        // Samples rescaled to the wanted precision by shifting, kept in px16.
        if (img.precision == 8 && img.px16.empty()) img.px16.assign(img.px8.begin(), img.px8.end());
        for (std::uint16_t& v : img.px16)
            v = std::uint16_t(precision >= img.precision ? v << (precision - img.precision) : v >> (img.precision - precision));
        img.px8.clear();
        img.precision = precision;
    }
    ProgressLine pl("encoding", long(img.width) * img.height);
    opt.progress = pl.callback();
    std::vector<std::uint8_t> out;
    if (!encode(img, opt, out, err)) return std::fprintf(stderr, "kepjpeg: %s\n", err.c_str()), 1;
    if (!writeFile(files[1], out, err)) return std::fprintf(stderr, "kepjpeg: %s\n", err.c_str()), 1;
    return 0;
}

int cmdDecode(int argc, char** argv) {
    DecodeOptions opt;
    std::vector<std::string> files;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--threads") {
            if (!intArg(argc, argv, i, opt.threads)) return usage();
        } else if (!a.empty() && a[0] == '-') {
            return usage();
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2) return usage();
    std::string err;
    std::vector<std::uint8_t> data;
    if (!readFile(files[0], data, err)) return std::fprintf(stderr, "kepjpeg: %s\n", err.c_str()), 1;
    JpegInfo info;
    std::string perr;
    parse(data.data(), data.size(), info, perr);
    ProgressLine pl("decoding", long(info.width) * info.height);
    opt.progress = pl.callback();
    Image img;
    const bool ok = decode(data.data(), data.size(), opt, img, err);
    if (img.samples()) {
        std::string werr;
        if (!writeImage(files[1], img, werr)) return std::fprintf(stderr, "kepjpeg: %s\n", werr.c_str()), 1;
    }
    if (!ok) {
        std::fprintf(stderr, "kepjpeg: %s: %s%s\n", files[0].c_str(), err.c_str(),
                     img.samples() ? " (what could be decoded was written)" : "");
        return 1;
    }
    return 0;
}

int cmdInfo(int argc, char** argv) {
    if (argc != 3) return usage();
    std::string err;
    std::vector<std::uint8_t> data;
    if (!readFile(argv[2], data, err)) return std::fprintf(stderr, "kepjpeg: %s\n", err.c_str()), 1;
    JpegInfo info;
    const bool ok = parse(data.data(), data.size(), info, err);
    std::printf("%s: %zu bytes\n%s", argv[2], data.size(), describe(info).c_str());
    if (!ok) return std::fprintf(stderr, "kepjpeg: %s: %s\n", argv[2], err.c_str()), 1;
    return 0;
}

struct DemoCase {
    const char* name;
    const char* file;
    EncodeOptions opt;
    bool twelveBit;
    int decodeThreads;
};

int cmdDemo(const std::string& dir) {
    const KepLibraryVersion* v = kepjGetLibVersion();
    const Kep64u f = kepGetEnabledCpuFeatures();
    std::printf("%s %s, code path \"%s\" (SSSE3 %s, MOVBE %s)\n", v->Name, v->Version, v->targetCpu,
                (f & kepCpuSSSE3) ? "yes" : "no", (f & kepCpuMOVBE) ? "yes" : "no");
    const int W = 1024, H = 768;
    const Image img = makeTestImage(W, H);
    // The 12-bit case codes a gray image made from the same picture at 12-bit depth.
    Image gray12;
    gray12.width = W, gray12.height = H, gray12.channels = 1, gray12.precision = 12;
    gray12.px16.resize(std::size_t(W) * H);
    for (std::size_t i = 0; i < gray12.px16.size(); ++i) {
        const std::uint8_t* p = &img.px8[3 * i];
        gray12.px16[i] = std::uint16_t((p[0] + 2 * p[1] + p[2]) * 4 + (i % 4));
    }
    mkdir(dir.c_str(), 0755);
    std::string err;
    if (!writeImage(dir + "/original.png", img, err)) return std::fprintf(stderr, "kepjpeg: %s\n", err.c_str()), 1;

    auto make = [](const char* name, const char* file, int q, Sampling s) {
        DemoCase c{name, file, EncodeOptions(), false, 1};
        c.opt.quality = q;
        c.opt.sampling = s;
        return c;
    };
    std::vector<DemoCase> cases;
    cases.push_back(make("q75 4:2:0", "q75_420.jpg", 75, Sampling::s420));
    cases.push_back(make("q85 4:2:2", "q85_422.jpg", 85, Sampling::s422));
    cases.push_back(make("q90 4:4:4", "q90_444.jpg", 90, Sampling::s444));
    cases.push_back(make("q85 4:2:0 optimised", "q85_420_opt.jpg", 85, Sampling::s420));
    cases.back().opt.optimize = true;
    cases.push_back(make("q85 4:2:0 restart, 2 threads", "q85_420_rst.jpg", 85, Sampling::s420));
    cases.back().opt.restartRows = 1;
    cases.back().opt.threads = 2;
    cases.back().decodeThreads = 2;
    cases.push_back(make("q85 grayscale", "q85_gray.jpg", 85, Sampling::s420));
    cases.back().opt.grayscale = true;
    cases.push_back(make("q95 12-bit gray", "q95_gray12.jpg", 95, Sampling::s444));
    cases.back().twelveBit = true;
    cases.push_back(make("q85 4:2:0 progressive", "q85_420_prog.jpg", 85, Sampling::s420));
    cases.back().opt.progressive = true;
    cases.push_back(make("lossless, predictor 4", "lossless_p4.jpg", 85, Sampling::s444));
    cases.back().opt.lossless = true;
    cases.back().opt.predictor = 4;

    std::printf("\n%d x %d test image (gradients, edges, text-like detail, noise)\n\n", W, H);
    std::printf("%-30s %9s %6s %9s %10s %10s\n", "setting", "bytes", "bpp", "PSNR dB", "enc MP/s", "dec MP/s");
    int failures = 0;
    for (DemoCase& c : cases) {
        const Image& src = c.twelveBit ? gray12 : img;
        std::vector<std::uint8_t> jpg;
        auto t0 = std::chrono::steady_clock::now();
        if (!encode(src, c.opt, jpg, err)) {
            std::printf("%-30s   encode failed: %s\n", c.name, err.c_str());
            ++failures;
            continue;
        }
        const double te = seconds(t0);
        DecodeOptions dopt;
        dopt.threads = c.decodeThreads;
        Image back;
        t0 = std::chrono::steady_clock::now();
        const bool ok = decode(jpg.data(), jpg.size(), dopt, back, err);
        const double td = seconds(t0);
        if (!ok) {
            std::printf("%-30s   decode failed: %s\n", c.name, err.c_str());
            ++failures;
            continue;
        }
        // PSNR against what was coded: the luminance for the grayscale case.
        double q;
        if (c.opt.grayscale) {
            Image ref = back;
            kepiRGBToY_JPEG_8u_C3C1R(img.px8.data(), W * 3, ref.px8.data(), W, KepiSize{W, H});
            q = psnr(ref, back);
        } else {
            q = psnr(src, back);
        }
        const double mp = double(W) * H / 1e6;
        std::printf("%-30s %9zu %6.2f %9.2f %10.1f %10.1f\n", c.name, jpg.size(), 8.0 * jpg.size() / (double(W) * H), q,
                    mp / te, mp / td);
        const std::string path = dir + "/" + c.file;
        if (!writeFile(path, jpg, err)) return std::fprintf(stderr, "kepjpeg: %s\n", err.c_str()), 1;
        if (!c.twelveBit) writeImage(path.substr(0, path.size() - 4) + ".png", back, err);
    }
    std::printf("\nfiles written to %s/ (original.png, each .jpg and its decoded .png)\n", dir.c_str());
    return failures ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) return cmdDemo("kepjpeg-demo");
    const std::string cmd = argv[1];
    if (cmd == "demo") return argc <= 3 ? cmdDemo(argc == 3 ? argv[2] : "kepjpeg-demo") : usage();
    if (cmd == "encode") return cmdEncode(argc, argv);
    if (cmd == "decode") return cmdDecode(argc, argv);
    if (cmd == "info") return cmdInfo(argc, argv);
    return usage();
}
