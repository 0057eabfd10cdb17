// kepjpeg: the JPEG tool built on libkepjx1's public API.
//
// For now it shows the library it runs on: the version record of the code path chosen at load
// time, the processor features that chose it, and one 8x8 block taken through quality scaling,
// table building, quantization and dequantization.

#include <cstdio>
#include <cstring>

#include "kepcore.h"
#include "kepjx1.h"

namespace {

// ITU-T T.81 Table K.1 (luminance), in the zigzag order of a DQT segment.
const Kep8u kLumaZigzag[64] = {
    16, 11, 12, 14, 12, 10, 16, 14, 13, 14, 18, 17, 16, 19, 24, 40,
    26, 24, 22, 22, 24, 49, 35, 37, 29, 40, 58, 51, 61, 60, 57, 51,
    56, 55, 64, 72, 92, 78, 64, 68, 87, 69, 55, 56, 80, 109, 81, 87,
    95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99,
};

void printBlock(const char* title, const Kep16s* b) {
    std::printf("%s\n", title);
    for (int v = 0; v < 8; ++v) {
        std::printf("   ");
        for (int u = 0; u < 8; ++u) std::printf(" %6d", b[8 * v + u]);
        std::printf("\n");
    }
}

bool check(const char* what, KepResult r) {
    if (r == kepOk) return true;
    std::fprintf(stderr, "kepjpeg: %s failed with result %d\n", what, r);
    return false;
}

int demo(int quality) {
    const KepLibraryVersion* v = kepjGetLibVersion();
    std::printf("%s %s, built %s\n", v->Name, v->Version, v->BuildDate);
    std::printf("version %d.%d.%d build %d, code path \"%s\" (slot %d)\n", v->major, v->minor, v->majorBuild,
                v->build, v->targetCpu, std::strcmp(v->targetCpu, "x2") == 0 ? 1 : 0);
    const Kep64u f = kepGetEnabledCpuFeatures();
    std::printf("processor: SSSE3 %s, MOVBE %s, AVX2 %s, AVX-512F %s\n", (f & kepCpuSSSE3) ? "yes" : "no",
                (f & kepCpuMOVBE) ? "yes" : "no", (f & kepCpuAVX2) ? "yes" : "no",
                (f & kepCpuAVX512F) ? "yes" : "no");

    Kep8u raw[64];
    std::memcpy(raw, kLumaZigzag, sizeof raw);
    if (!check("kepiQuantFwdRawTableInit_JPEG_8u", kepiQuantFwdRawTableInit_JPEG_8u(raw, quality))) return 1;
    alignas(16) Kep16u fwd[64], inv[64];
    if (!check("kepiQuantFwdTableInit_JPEG_8u16u", kepiQuantFwdTableInit_JPEG_8u16u(raw, fwd))) return 1;
    if (!check("kepiQuantInvTableInit_JPEG_8u16u", kepiQuantInvTableInit_JPEG_8u16u(raw, inv))) return 1;

    // A block of DCT coefficients with the energy in the low frequencies, as a smooth image gives.
    alignas(16) Kep16s block[64];
    for (int v8 = 0; v8 < 8; ++v8)
        for (int u = 0; u < 8; ++u) block[8 * v8 + u] = static_cast<Kep16s>((u + v8 == 0) ? 1016 : (((u * 37 + v8 * 91) % 97) - 48) * 16 / (1 + u + v8));
    std::printf("\nquality %d, luminance table (T.81 K.1) after scaling, natural order:\n", quality);
    for (int v8 = 0; v8 < 8; ++v8) {
        std::printf("   ");
        for (int u = 0; u < 8; ++u) std::printf(" %6u", inv[8 * v8 + u]);
        std::printf("\n");
    }
    printBlock("\ncoefficients:", block);
    if (!check("kepiQuantFwd8x8_JPEG_16s_C1I", kepiQuantFwd8x8_JPEG_16s_C1I(block, fwd))) return 1;
    printBlock("quantized:", block);
    if (!check("kepiQuantInv8x8_JPEG_16s_C1I", kepiQuantInv8x8_JPEG_16s_C1I(block, inv))) return 1;
    printBlock("dequantized:", block);
    return 0;
}

int usage() {
    std::fprintf(stderr, "usage: kepjpeg [demo [QUALITY]]\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) return demo(75);
    if (std::strcmp(argv[1], "demo") != 0 || argc > 3) return usage();
    int quality = 75;
    if (argc == 3 && std::sscanf(argv[2], "%d", &quality) != 1) return usage();
    return demo(quality);
}
