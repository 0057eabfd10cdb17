// Colour conversion through the exports: the arithmetic against the real-valued JFIF equations
// and its exact corner values, the layouts (channel order, alpha, 555/565 packing and widening,
// YCCK) against the RGB conversion, the subsampled forms against the 4:4:4 conversion plus the box
// filter, and the argument checks.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "kepcheck_data.h"
#include "kepjx1.h"

namespace {

using Bytes = std::vector<Kep8u>;

// Every triple of a coarse lattice plus random ones: the equations rounded, within the fixed-point
// error; then exact values, including the chroma offset of 32767 (not 32768) that keeps 255.5 at
// 255 and rounds the 128.5 of R = 1 down.
TEST(ColourArithmetic, ForwardFollowsJfifEquations) {
    kepcheck::Rng rng(11);
    Bytes rgb = {255, 255, 255, 0, 0, 0, 255, 0, 0, 0, 0, 255, 0, 255, 0, 1, 0, 0};
    const int exact[6][3] = {{255, 128, 128}, {0, 128, 128}, {76, 85, 255}, {29, 255, 107}, {150, 44, 21}, {0, 128, 128}};
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 15)
            for (int b = 0; b < 256; b += 15) rgb.insert(rgb.end(), {Kep8u(r), Kep8u(g), Kep8u(b)});
    for (int n = 0; n < 4000; ++n) rgb.insert(rgb.end(), {Kep8u(rng.range(0, 255)), Kep8u(rng.range(0, 255)), Kep8u(rng.range(0, 255))});
    const int w = static_cast<int>(rgb.size() / 3);
    Bytes y(w), cb(w), cr(w);
    Kep8u* dst[3] = {y.data(), cb.data(), cr.data()};
    ASSERT_EQ(kepOk, kepiRGBToYCbCr_JPEG_8u_C3P3R(rgb.data(), w * 3, dst, w, KepiSize{w, 1}));
    for (int i = 0; i < w; ++i) {
        const double r = rgb[3 * i], g = rgb[3 * i + 1], b = rgb[3 * i + 2];
        ASSERT_NEAR(0.299 * r + 0.587 * g + 0.114 * b, y[i], 0.51) << i;
        ASSERT_NEAR(-0.168736 * r - 0.331264 * g + 0.5 * b + 128, cb[i], 0.51) << i;
        ASSERT_NEAR(0.5 * r - 0.418688 * g - 0.081312 * b + 128, cr[i], 0.51) << i;
    }
    // The corners in a long row (vector path) and alone in a short one (the per-pixel remainder).
    for (int short6 = 0; short6 < 2; ++short6) {
        if (short6) {
            ASSERT_EQ(kepOk, kepiRGBToYCbCr_JPEG_8u_C3P3R(rgb.data(), 18, dst, 6, KepiSize{6, 1}));
        }
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(exact[i][0] * 65536 + exact[i][1] * 256 + exact[i][2], y[i] * 65536 + cb[i] * 256 + cr[i]) << i;
        }
    }
}

// The inverse over every (Cb, Cr) pair for a few Y: the equations rounded half up and clamped,
// within the fixed-point error; exactly 255 - 134 for G of (255, 255, 255).
TEST(ColourArithmetic, InverseFollowsJfifEquations) {
    Bytes y(65536), cb(65536), cr(65536), rgb(3 * 65536);
    for (int i = 0; i < 65536; ++i) {
        cb[i] = static_cast<Kep8u>(i & 255);
        cr[i] = static_cast<Kep8u>(i >> 8);
    }
    const Kep8u* src[3] = {y.data(), cb.data(), cr.data()};
    for (int yv : {0, 16, 128, 235, 255}) {
        std::fill(y.begin(), y.end(), static_cast<Kep8u>(yv));
        ASSERT_EQ(kepOk, kepiYCbCrToRGB_JPEG_8u_P3C3R(src, 256, rgb.data(), 768, KepiSize{256, 256}));
        for (int i = 0; i < 65536; ++i) {
            const double b = cb[i] - 128.0, r = cr[i] - 128.0;
            const double e[3] = {yv + 1.402 * r, yv - 0.344136 * b - 0.714136 * r, yv + 1.772 * b};
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(std::min(255.0, std::max(0.0, e[c])), rgb[3 * i + c], 0.51) << "Y " << yv << " Cb " << int(cb[i]) << " Cr " << int(cr[i]);
        }
    }
    EXPECT_EQ(255, rgb[3 * 65535]);
    EXPECT_EQ(121, rgb[3 * 65535 + 1]);
    EXPECT_EQ(255, rgb[3 * 65535 + 2]);
}

// ---- Layouts ----------------------------------------------------------------------------------------

struct Planes {
    int w, h;
    Bytes p[4];
    Kep8u* q[4];
    Planes(int width, int height, kepcheck::Rng* rng = nullptr) : w(width), h(height) {
        for (int i = 0; i < 4; ++i) {
            p[i].assign(static_cast<size_t>(w) * h, 0);
            if (rng) rng->fill(p[i].data(), p[i].size());
            q[i] = p[i].data();
        }
    }
    Kep8u* const* ptrs() { return q; }
    const Kep8u* const* cptrs() { return q; }
};

// Interleaves planes (in the given order) into pixels of bpp bytes; other channels hold `fill`.
Bytes interleave(const Planes& pl, std::initializer_list<int> order, int bpp, Kep8u fill) {
    Bytes out(pl.p[0].size() * bpp, fill);
    for (size_t i = 0; i < pl.p[0].size(); ++i) {
        int c = 0;
        for (int o : order) out[i * bpp + c++] = pl.p[o][i];
    }
    return out;
}

constexpr int kW = 37, kH = 5;

// The forward layouts against the RGB C3 conversion of the same colours; YCCK is the YCbCr of the
// complemented C, M, Y with K copied.
TEST(ColourLayouts, ForwardSourcesAgree) {
    kepcheck::Rng rng(3);
    Planes rgb(kW, kH, &rng), cmyk(kW, kH, &rng), expect(kW, kH);
    for (int c = 0; c < 3; ++c)
        for (size_t i = 0; i < cmyk.p[c].size(); ++i) cmyk.p[c][i] = static_cast<Kep8u>(255 - rgb.p[c][i]);
    const KepiSize roi{kW, kH};
    const Bytes c3 = interleave(rgb, {0, 1, 2}, 3, 0), bgr3 = interleave(rgb, {2, 1, 0}, 3, 0);
    const Bytes c4 = interleave(rgb, {0, 1, 2}, 4, 0xEE), bgr4 = interleave(rgb, {2, 1, 0}, 4, 0x11);
    const Bytes cmyk4 = interleave(cmyk, {0, 1, 2, 3}, 4, 0);
    ASSERT_EQ(kepOk, kepiRGBToYCbCr_JPEG_8u_C3P3R(c3.data(), kW * 3, expect.ptrs(), kW, roi));
    struct Form {
        const char* name;
        int planes;  // 3: YCbCr, 1: Y alone, 4: YCbCr and K
        std::function<KepResult(Planes&)> call;
    };
    const Form forms[] = {
        {"RGB P3", 3, [&](Planes& o) { return kepiRGBToYCbCr_JPEG_8u_P3R(rgb.cptrs(), kW, o.ptrs(), kW, roi); }},
        {"BGR C3", 3, [&](Planes& o) { return kepiBGRToYCbCr_JPEG_8u_C3P3R(bgr3.data(), kW * 3, o.ptrs(), kW, roi); }},
        {"RGB C4", 3, [&](Planes& o) { return kepiRGBToYCbCr_JPEG_8u_C4P3R(c4.data(), kW * 4, o.ptrs(), kW, roi); }},
        {"BGR C4", 3, [&](Planes& o) { return kepiBGRToYCbCr_JPEG_8u_C4P3R(bgr4.data(), kW * 4, o.ptrs(), kW, roi); }},
        {"CMYK P4", 4, [&](Planes& o) { return kepiCMYKToYCCK_JPEG_8u_P4R(cmyk.cptrs(), kW, o.ptrs(), kW, roi); }},
        {"CMYK C4", 4, [&](Planes& o) { return kepiCMYKToYCCK_JPEG_8u_C4P4R(cmyk4.data(), kW * 4, o.ptrs(), kW, roi); }},
        {"Y of RGB C3", 1, [&](Planes& o) { return kepiRGBToY_JPEG_8u_C3C1R(c3.data(), kW * 3, o.q[0], kW, roi); }},
        {"Y of RGB P3", 1, [&](Planes& o) { return kepiRGBToY_JPEG_8u_P3C1R(rgb.cptrs(), kW, o.q[0], kW, roi); }},
        {"Y of BGR C3", 1, [&](Planes& o) { return kepiBGRToY_JPEG_8u_C3C1R(bgr3.data(), kW * 3, o.q[0], kW, roi); }},
    };
    for (const Form& f : forms) {
        Planes got(kW, kH);
        ASSERT_EQ(kepOk, f.call(got)) << f.name;
        for (int c = 0; c < (f.planes == 1 ? 1 : 3); ++c) EXPECT_EQ(expect.p[c], got.p[c]) << f.name << " plane " << c;
        if (f.planes == 4) {
            EXPECT_EQ(cmyk.p[3], got.p[3]) << f.name;
        }
    }
}

// Every 16-bit pixel value: each field widened by bit replication, then converted as 8-bit RGB;
// the first-named channel is in the low bits.
TEST(ColourLayouts, PackedSourcesWidenFields) {
    auto widen = [](int x, int bits) { return bits == 5 ? (x << 3) | (x >> 2) : (x << 2) | (x >> 4); };
    const int n = 65536;
    std::vector<Kep16u> px(n);
    for (int i = 0; i < n; ++i) px[i] = static_cast<Kep16u>(i);
    Planes expect(n, 1), got(n, 1), rgb(n, 1);
    using Fn = KepResult (*)(const Kep16u*, int, Kep8u* const*, int, KepiSize);
    struct Form {
        Fn fn;
        bool six, rgbOrder;
    };
    for (const Form f : {Form{kepiRGB555ToYCbCr_JPEG_16u8u_C3P3R, false, true}, Form{kepiRGB565ToYCbCr_JPEG_16u8u_C3P3R, true, true},
                         Form{kepiBGR555ToYCbCr_JPEG_16u8u_C3P3R, false, false}, Form{kepiBGR565ToYCbCr_JPEG_16u8u_C3P3R, true, false}}) {
        for (int i = 0; i < n; ++i) {
            const int lo = widen(i & 31, 5), mid = f.six ? widen((i >> 5) & 63, 6) : widen((i >> 5) & 31, 5);
            const int hi = widen((i >> (f.six ? 11 : 10)) & 31, 5);
            rgb.p[0][i] = static_cast<Kep8u>(f.rgbOrder ? lo : hi);
            rgb.p[1][i] = static_cast<Kep8u>(mid);
            rgb.p[2][i] = static_cast<Kep8u>(f.rgbOrder ? hi : lo);
        }
        ASSERT_EQ(kepOk, kepiRGBToYCbCr_JPEG_8u_P3R(rgb.cptrs(), n, expect.ptrs(), n, KepiSize{n, 1}));
        ASSERT_EQ(kepOk, f.fn(px.data(), 2 * n, got.ptrs(), n, KepiSize{n, 1}));
        for (int c = 0; c < 3; ++c) EXPECT_EQ(expect.p[c], got.p[c]) << (f.six ? "565" : "555") << (f.rgbOrder ? " RGB" : " BGR");
    }
}

// The inverse layouts against the RGB C3 conversion of the same planes: channel order, alpha (its
// low byte), 555/565 truncated fields with the first-named channel low and bit 15 clear, and CMYK
// as the complement with K copied.
TEST(ColourLayouts, InverseDestinationsAgree) {
    kepcheck::Rng rng(5);
    Planes ycc(kW, kH, &rng);
    const KepiSize roi{kW, kH};
    const size_t n = static_cast<size_t>(kW) * kH;
    Bytes rgb(n * 3), px(n * 4);
    ASSERT_EQ(kepOk, kepiYCbCrToRGB_JPEG_8u_P3C3R(ycc.cptrs(), kW, rgb.data(), kW * 3, roi));
    // at(i, c) of each form: where channel c (R, G, B, or -1 for alpha/K) of pixel i is.
    struct Form {
        const char* name;
        int bpp, order[4];  // bytes per pixel in px (0: planes), channel of each byte
        std::function<KepResult()> call;
    };
    Planes planes(kW, kH);
    const Form forms[] = {
        {"RGB P3", 0, {0, 1, 2, -1}, [&] { return kepiYCbCrToRGB_JPEG_8u_P3R(ycc.cptrs(), kW, planes.ptrs(), kW, roi); }},
        {"BGR C3", 3, {2, 1, 0, -1}, [&] { return kepiYCbCrToBGR_JPEG_8u_P3C3R(ycc.cptrs(), kW, px.data(), kW * 3, roi); }},
        {"RGBA", 4, {0, 1, 2, 0xC7}, [&] { return kepiYCbCrToRGB_JPEG_8u_P3C4R(ycc.cptrs(), kW, px.data(), kW * 4, roi, 0x1C7); }},
        {"BGRA", 4, {2, 1, 0, 0xFF}, [&] { return kepiYCbCrToBGR_JPEG_8u_P3C4R(ycc.cptrs(), kW, px.data(), kW * 4, roi, -1); }},
    };
    for (const Form& f : forms) {
        ASSERT_EQ(kepOk, f.call()) << f.name;
        for (size_t i = 0; i < n; ++i)
            for (int b = 0; b < (f.bpp ? f.bpp : 3); ++b) {
                const int got = f.bpp ? px[f.bpp * i + b] : planes.p[b][i];
                ASSERT_EQ(f.order[b] > 2 ? f.order[b] : rgb[3 * i + f.order[b]], got) << f.name << " pixel " << i << " byte " << b;
            }
    }
    using Fn = KepResult (*)(const Kep8u* const*, int, Kep16u*, int, KepiSize);
    struct Packed {
        Fn fn;
        bool six, rgbOrder;
    };
    std::vector<Kep16u> packed(n);
    for (const Packed f : {Packed{kepiYCbCrToRGB555_JPEG_8u16u_P3C3R, false, true}, Packed{kepiYCbCrToRGB565_JPEG_8u16u_P3C3R, true, true},
                           Packed{kepiYCbCrToBGR555_JPEG_8u16u_P3C3R, false, false}, Packed{kepiYCbCrToBGR565_JPEG_8u16u_P3C3R, true, false}}) {
        ASSERT_EQ(kepOk, f.fn(ycc.cptrs(), kW, packed.data(), kW * 2, roi));
        for (size_t i = 0; i < n; ++i) {
            const int v = packed[i], lo = f.rgbOrder ? 0 : 2, hi = 2 - lo;
            ASSERT_EQ(rgb[3 * i + lo] >> 3, v & 31);
            ASSERT_EQ(rgb[3 * i + 1] >> (f.six ? 2 : 3), (v >> 5) & (f.six ? 63 : 31));
            ASSERT_EQ(rgb[3 * i + hi] >> 3, v >> (f.six ? 11 : 10));
        }
    }
    Planes cmyk(kW, kH);
    ASSERT_EQ(kepOk, kepiYCCKToCMYK_JPEG_8u_P4R(ycc.cptrs(), kW, cmyk.ptrs(), kW, roi));
    ASSERT_EQ(kepOk, kepiYCCKToCMYK_JPEG_8u_P4C4R(ycc.cptrs(), kW, px.data(), kW * 4, roi));
    for (size_t i = 0; i < n; ++i)
        for (int c = 0; c < 4; ++c) {
            const int want = c < 3 ? 255 - rgb[3 * i + c] : ycc.p[3][i];
            ASSERT_EQ(want, cmyk.p[c][i]);
            ASSERT_EQ(want, px[4 * i + c]);
        }
}

// ---- Subsampled forms ------------------------------------------------------------------------------

// Forward: Y as in 4:4:4; chroma the box average of the 4:4:4 chroma, an odd last column or row
// paired with itself.
TEST(ColourSubsampled, ForwardIsFullConversionThenBoxFilter) {
    kepcheck::Rng rng(9);
    for (const KepiSize roi : {KepiSize{37, 5}, KepiSize{300, 4}, KepiSize{1, 1}, KepiSize{16, 3}}) {
        const int w = roi.width, h = roi.height, cw = (w + 1) / 2;
        Planes rgb(w, h, &rng), full(w, h);
        const Bytes c3 = interleave(rgb, {0, 1, 2}, 3, 0), c4 = interleave(rgb, {2, 1, 0}, 4, 7);
        ASSERT_EQ(kepOk, kepiRGBToYCbCr_JPEG_8u_C3P3R(c3.data(), w * 3, full.ptrs(), w, roi));
        for (bool vertical : {false, true}) {
            Planes sub(w, h), subBgr(w, h);
            ASSERT_EQ(kepOk, (vertical ? kepiRGBToYCbCr411_JPEG_8u_C3P3R : kepiRGBToYCbCr422_JPEG_8u_C3P3R)(c3.data(), w * 3, sub.ptrs(), w, roi));
            ASSERT_EQ(kepOk, (vertical ? kepiBGRToYCbCr411_JPEG_8u_C4P3R : kepiBGRToYCbCr422_JPEG_8u_C4P3R)(c4.data(), w * 4, subBgr.ptrs(), w, roi));
            EXPECT_EQ(full.p[0], sub.p[0]);
            for (int c = 1; c < 3; ++c) {
                EXPECT_EQ(sub.p[c], subBgr.p[c]);
                const int ch = vertical ? (h + 1) / 2 : h;
                for (int y = 0; y < ch; ++y)
                    for (int x = 0; x < cw; ++x) {
                        const int x1 = 2 * x + 1 < w ? 2 * x + 1 : 2 * x;
                        const int y0 = vertical ? 2 * y : y, y1 = vertical && 2 * y + 1 < h ? 2 * y + 1 : y0;
                        auto at = [&](int yy, int xx) { return full.p[c][static_cast<size_t>(yy) * w + xx]; };
                        const int expect = vertical ? (at(y0, 2 * x) + at(y0, x1) + at(y1, 2 * x) + at(y1, x1) + 3) >> 2
                                                    : (at(y0, 2 * x) + at(y0, x1) + 1) >> 1;
                        ASSERT_EQ(expect, sub.p[c][static_cast<size_t>(y) * w + x]) << w << "x" << h << " plane " << c << " at " << x << "," << y;
                    }
            }
        }
    }
}

// Inverse: the planar 4:2:2 and 4:2:0 RGB forms are checked against libjpeg-turbo's decoder
// (colour_peer_test.cpp); here the other forms agree with them: BGR with alpha 255, and the
// Y0 Cb Y1 Cr form with the planar 4:2:2 one (odd widths included).
TEST(ColourSubsampled, InverseFormsAgree) {
    kepcheck::Rng rng(13);
    for (const KepiSize roi : {KepiSize{37, 5}, KepiSize{520, 3}, KepiSize{1, 1}, KepiSize{2, 2}, KepiSize{3, 1}}) {
        const int w = roi.width, h = roi.height, cw = (w + 1) / 2;
        Planes ycc(w, h, &rng);
        for (bool vertical : {false, true}) {
            Bytes expect(static_cast<size_t>(w) * h * 3), got(expect.size()), got4(static_cast<size_t>(w) * h * 4);
            ASSERT_EQ(kepOk, (vertical ? kepiYCbCr411ToRGB_JPEG_8u_P3C3R : kepiYCbCr422ToRGB_JPEG_8u_P3C3R)(ycc.cptrs(), w, expect.data(), w * 3, roi));
            ASSERT_EQ(kepOk, (vertical ? kepiYCbCr411ToBGR_JPEG_8u_P3C4R : kepiYCbCr422ToBGR_JPEG_8u_P3C4R)(ycc.cptrs(), w, got4.data(), w * 4, roi));
            for (size_t i = 0; i < expect.size() / 3; ++i) {
                ASSERT_EQ(expect[3 * i], got4[4 * i + 2]);
                ASSERT_EQ(expect[3 * i + 1], got4[4 * i + 1]);
                ASSERT_EQ(expect[3 * i + 2], got4[4 * i]);
                ASSERT_EQ(255, got4[4 * i + 3]);
            }
            if (vertical) continue;
            // Y0 Cb Y1 Cr quadruples; for an odd width the last Y1 is absent (left at 0xEE).
            Bytes c2(static_cast<size_t>(4 * cw) * h, 0xEE);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    Kep8u* q = &c2[static_cast<size_t>(y) * 4 * cw];
                    q[2 * x] = ycc.p[0][static_cast<size_t>(y) * w + x];
                    q[4 * (x / 2) + 1] = ycc.p[1][static_cast<size_t>(y) * w + x / 2];
                    q[4 * (x / 2) + 3] = ycc.p[2][static_cast<size_t>(y) * w + x / 2];
                }
            ASSERT_EQ(kepOk, kepiYCbCr422ToRGB_JPEG_8u_C2C3R(c2.data(), 4 * cw, got.data(), w * 3, roi));
            EXPECT_EQ(expect, got) << "C2 " << w << "x" << h;
        }
    }
}

// ---- Argument checks ---------------------------------------------------------------------------------

TEST(ColourArguments, GeneralOrder) {
    Kep8u a[64] = {}, b[64] = {}, c[64] = {}, out[4][256];
    std::memset(out, 0xAB, sizeof out);
    const Kep8u* src[3] = {a, b, c};
    const Kep8u* srcHole[3] = {a, nullptr, c};
    Kep8u* dst[3] = {out[0], out[1], out[2]};
    Kep8u* dstHole[3] = {out[0], out[1], nullptr};
    const KepiSize ok{4, 2}, zero{0, 2};
    // Pointers, then plane pointers (source planes first), then steps, then the size.
    EXPECT_EQ(kepErrNullPtr, kepiRGBToYCbCr_JPEG_8u_P3R(nullptr, 0, dst, 0, zero));
    EXPECT_EQ(kepErrNullPtr, kepiRGBToYCbCr_JPEG_8u_P3R(src, 0, nullptr, 0, zero));
    EXPECT_EQ(kepErrNullPtr, kepiRGBToYCbCr_JPEG_8u_P3R(srcHole, 0, dst, 0, zero));
    EXPECT_EQ(kepErrNullPtr, kepiRGBToYCbCr_JPEG_8u_P3R(src, 0, dstHole, 0, zero));
    EXPECT_EQ(kepErrStep, kepiRGBToYCbCr_JPEG_8u_P3R(src, 8, dst, 0, zero));
    EXPECT_EQ(kepErrStep, kepiRGBToYCbCr_JPEG_8u_P3R(src, -1, dst, 8, zero));
    EXPECT_EQ(kepErrSize, kepiRGBToYCbCr_JPEG_8u_P3R(src, 8, dst, 8, zero));
    EXPECT_EQ(kepErrSize, kepiRGBToYCbCr_JPEG_8u_P3R(src, 8, dst, 8, KepiSize{4, 0}));
    EXPECT_EQ(kepErrNullPtr, kepiRGBToYCbCr411_JPEG_8u_C3P3R(a, 0, dstHole, 0, zero));
    EXPECT_EQ(kepErrStep, kepiRGBToYCbCr422_JPEG_8u_C4P3R(a, 16, dst, 0, zero));
    EXPECT_EQ(kepErrSize, kepiRGB565ToYCbCr_JPEG_16u8u_C3P3R(reinterpret_cast<Kep16u*>(a), 16, dst, 8, zero));
    EXPECT_EQ(kepErrNullPtr, kepiRGBToY_JPEG_8u_P3C1R(srcHole, 0, out[0], 0, zero));
    EXPECT_EQ(kepErrNullPtr, kepiBGRToY_JPEG_8u_C3C1R(a, 0, nullptr, 0, zero));
    EXPECT_EQ(kepErrNullPtr, kepiYCbCrToRGB_JPEG_8u_P3C3R(srcHole, 0, out[0], 0, zero));
    EXPECT_EQ(kepErrStep, kepiYCbCrToBGR_JPEG_8u_P3C4R(src, 0, out[0], 16, zero, 255));
    EXPECT_EQ(kepErrSize, kepiYCbCr411ToBGR_JPEG_8u_P3C3R(src, 8, out[0], 16, zero));
    EXPECT_EQ(kepErrNullPtr, kepiYCbCr422ToRGB_JPEG_8u_C2C3R(nullptr, 8, out[0], 16, ok));
    EXPECT_EQ(kepErrStep, kepiYCbCr422ToRGB_JPEG_8u_C2C3R(a, 8, out[0], 0, zero));
    const Kep8u* four[4] = {a, b, c, nullptr};
    EXPECT_EQ(kepErrNullPtr, kepiYCCKToCMYK_JPEG_8u_P4C4R(four, 8, out[0], 16, zero));  // the fourth plane is checked
    four[3] = a;
    EXPECT_EQ(kepErrSize, kepiYCCKToCMYK_JPEG_8u_P4C4R(four, 8, out[0], 16, zero));
    Kep8u* dst4[4] = {out[0], out[1], out[2], nullptr};
    EXPECT_EQ(kepErrNullPtr, kepiCMYKToYCCK_JPEG_8u_C4P4R(a, 8, dst4, 8, ok));
    for (auto& plane : out)
        for (Kep8u v : plane) ASSERT_EQ(0xAB, v) << "written on failure";
}

// kepiYCbCrToRGB_JPEG_8u_P3C4R: destination first, then the source array and planes, the size
// (a width of 1 rejected) before the steps, and only zero steps rejected.
TEST(ColourArguments, RgbaExceptionOrder) {
    Kep8u a[64] = {1}, b[64] = {2}, c[64] = {3}, out[256];
    std::memset(out, 0xAB, sizeof out);
    const Kep8u* src[3] = {a, b, c};
    const Kep8u* srcHole[3] = {a, b, nullptr};
    EXPECT_EQ(kepErrNullPtr, kepiYCbCrToRGB_JPEG_8u_P3C4R(nullptr, 0, nullptr, 0, KepiSize{0, 0}, 0));
    EXPECT_EQ(kepErrNullPtr, kepiYCbCrToRGB_JPEG_8u_P3C4R(srcHole, 0, out, 0, KepiSize{0, 0}, 0));
    EXPECT_EQ(kepErrSize, kepiYCbCrToRGB_JPEG_8u_P3C4R(src, 0, out, 0, KepiSize{1, 1}, 0));
    EXPECT_EQ(kepErrSize, kepiYCbCrToRGB_JPEG_8u_P3C4R(src, 0, out, 0, KepiSize{2, 0}, 0));
    EXPECT_EQ(kepErrStep, kepiYCbCrToRGB_JPEG_8u_P3C4R(src, 0, out, 8, KepiSize{2, 1}, 0));
    EXPECT_EQ(kepErrStep, kepiYCbCrToRGB_JPEG_8u_P3C4R(src, 8, out, 0, KepiSize{2, 1}, 0));
    for (Kep8u v : out) ASSERT_EQ(0xAB, v) << "written on failure";
    // Negative steps pass; with one row they are never applied.
    EXPECT_EQ(kepOk, kepiYCbCrToRGB_JPEG_8u_P3C4R(src, -1, out, -1, KepiSize{2, 1}, 9));
    Kep8u expect[6];
    ASSERT_EQ(kepOk, kepiYCbCrToRGB_JPEG_8u_P3C3R(src, 1, expect, 6, KepiSize{2, 1}));
    EXPECT_EQ(expect[0], out[0]);
    EXPECT_EQ(expect[5], out[6]);
    EXPECT_EQ(9, out[7]);
    EXPECT_EQ(0xAB, out[8]);
    // Two rows with negative steps walk upwards from the given rows.
    Kep8u two[3][2][2] = {{{10, 20}, {30, 40}}, {{128, 128}, {128, 128}}, {{128, 128}, {128, 128}}};
    const Kep8u* bottom[3] = {two[0][1], two[1][1], two[2][1]};
    Kep8u rows[2][8];
    ASSERT_EQ(kepOk, kepiYCbCrToRGB_JPEG_8u_P3C4R(bottom, -2, rows[1], -8, KepiSize{2, 2}, 0));
    EXPECT_EQ(30, rows[1][0]);
    EXPECT_EQ(10, rows[0][0]);
    EXPECT_EQ(20, rows[0][4]);
}

}  // namespace
