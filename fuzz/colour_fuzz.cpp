// Colour conversion and resampling on fuzzer-chosen sizes and samples, with every buffer
// allocated to exactly the bytes its documented layout covers, so that AddressSanitizer reports
// any read or write beyond them. Each case runs the export through both dispatch slots and the
// driver on the plain C kernels; all three must give the same bytes.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "colour.h"
#include "pjdispatch.h"

namespace {

struct Input {
    const uint8_t* p;
    size_t n;
    uint8_t byte() {
        if (!n) return 0;
        --n;
        return *p++;
    }
};

// Exactly sized plane: rows rows of `row` bytes `step` apart, filled from the input.
std::vector<uint8_t> plane(Input& in, int rows, int step, int row) {
    std::vector<uint8_t> v(static_cast<size_t>(rows - 1) * step + row);
    for (uint8_t& b : v) b = in.byte();
    return v;
}

void check(bool ok) {
    if (!ok) abort();
}

// Forward 4:4:4 / subsampled from C3 pixels, inverse 4:4:4 / subsampled to C3 pixels, the
// Y0 Cb Y1 Cr form, and the row resamplers.
void run(Input& in) {
    const int kind = in.byte() % 6, w = 1 + in.byte() % 300, h = 1 + in.byte() % 5, pad = in.byte() % 4;
    const KepiSize roi{w, h};
    const int cw = (w + 1) / 2;
    if (kind == 0 || kind == 1) {  // RGB C3 to planes, 4:4:4 or 4:2:0
        const bool sub = kind == 1;
        const int step = 3 * w + pad, dstStep = w + pad;
        auto src = plane(in, h, step, 3 * w);
        std::vector<uint8_t> out[3][3];
        for (int v = 0; v < 3; ++v) {
            // Chroma planes of a 4:2:0 image have ceil(w / 2) x ceil(h / 2) samples.
            for (int c = 0; c < 3; ++c)
                out[v][c].assign(c && sub ? static_cast<size_t>((h + 1) / 2 - 1) * dstStep + cw : static_cast<size_t>(h - 1) * dstStep + w, 0);
            Kep8u* dst[3] = {out[v][0].data(), out[v][1].data(), out[v][2].data()};
            if (sub) {
                if (v < 2) check(ownTbl_kepiRGBToYCbCr411_JPEG_8u_C3P3R[v](src.data(), step, dst, dstStep, roi) == kepOk);
                else ownCcFwdSub(ownCcKernels_c, kCcSrcRGB, true, src.data(), step, dst, dstStep, roi);
            } else {
                const void* s[1] = {src.data()};
                if (v < 2) check(ownTbl_kepiRGBToYCbCr_JPEG_8u_C3P3R[v](src.data(), step, dst, dstStep, roi) == kepOk);
                else ownCcFwd444(ownCcKernels_c, kCcSrcRGB, s, step, dst, 3, dstStep, roi);
            }
        }
        for (int c = 0; c < 3; ++c) check(out[0][c] == out[1][c] && out[0][c] == out[2][c]);
    } else if (kind == 2 || kind == 3) {  // planes to RGB C3, 4:2:2 or 4:2:0
        const bool vertical = kind == 3;
        const int step = w + pad, dstStep = 3 * w + pad;
        auto y = plane(in, h, step, w), cb = plane(in, vertical ? (h + 1) / 2 : h, step, cw);
        auto cr = plane(in, vertical ? (h + 1) / 2 : h, step, cw);
        const Kep8u* src[3] = {y.data(), cb.data(), cr.data()};
        std::vector<uint8_t> out[3];
        for (int v = 0; v < 3; ++v) {
            out[v].assign(static_cast<size_t>(h - 1) * dstStep + 3 * w, 0);
            if (v < 2) {
                auto f = vertical ? ownTbl_kepiYCbCr411ToRGB_JPEG_8u_P3C3R[v] : ownTbl_kepiYCbCr422ToRGB_JPEG_8u_P3C3R[v];
                check(f(src, step, out[v].data(), dstStep, roi) == kepOk);
            } else {
                ownCcInvSub(ownCcKernels_c, kCcDstRGB, vertical, src, step, out[v].data(), dstStep, roi, 255);
            }
        }
        check(out[0] == out[1] && out[0] == out[2]);
    } else if (kind == 4) {  // Y0 Cb Y1 Cr: ceil(w / 2) quadruples per row
        const int row = 4 * cw, step = 4 * cw + pad, dstStep = 3 * w + pad;
        auto src = plane(in, h, step, row);
        std::vector<uint8_t> out[3];
        for (int v = 0; v < 3; ++v) {
            out[v].assign(static_cast<size_t>(h - 1) * dstStep + 3 * w, 0);
            if (v < 2) check(ownTbl_kepiYCbCr422ToRGB_JPEG_8u_C2C3R[v](src.data(), step, out[v].data(), dstStep, roi) == kepOk);
            else ownCcInv422C2(ownCcKernels_c, kCcDstRGB, src.data(), step, out[v].data(), dstStep, roi);
        }
        check(out[0] == out[1] && out[0] == out[2]);
    } else {  // row resamplers on rows of exactly w samples
        auto a = plane(in, 1, w, w), b = plane(in, 1, w, w);
        std::vector<uint8_t> out[3];
        for (int v = 0; v < 3; ++v) {
            out[v].assign(3 * static_cast<size_t>(w), 0);  // 2w up-sampled, then cw and w / 2 down-sampled
            if (v < 2) {
                check(ownTbl_kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1[v](a.data(), b.data(), w, out[v].data()) == kepOk);
                check(ownTbl_kepiSampleDownRowH2V2_Box_JPEG_8u_C1[v](a.data(), b.data(), w, out[v].data() + 2 * w) == kepOk);
                ownTbl_kepiSampleDownRowH2V1_Box_JPEG_8u_C1[v](a.data(), w, out[v].data() + 2 * w + cw);
            } else {
                ownCcKernels_c.upRow22(a.data(), b.data(), w, 0, 2 * w, out[v].data());
                ownCcKernels_c.downRow22(a.data(), b.data(), w, out[v].data() + 2 * w);
                ownCcKernels_c.downRow21(a.data(), w, out[v].data() + 2 * w + cw);
            }
        }
        check(out[0] == out[1] && out[0] == out[2]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in{data, size};
    run(in);
    return 0;
}
