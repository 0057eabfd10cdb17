// Decoder interoperability with libjpeg-turbo: JPEG files that it encodes with 4:4:4, 4:2:2 and
// 4:2:0 chroma are decoded twice by it, to raw component planes and to RGB (fancy up-sampling,
// islow IDCT). Rebuilding RGB from the raw planes with our row up-samplers and
// kepiYCbCrToRGB_JPEG_8u_P3C3R must give its RGB exactly, edges included; the whole-image 4:2:2
// and 4:2:0 conversions must give the same from the same planes.

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include <jpeglib.h>

#include "kepcheck_data.h"
#include "kepjx1.h"

namespace {

struct Image {
    int width = 0, height = 0;
    std::vector<unsigned char> pixels;  // RGB
};

// A test picture with smooth gradients, sharp edges and noise: chroma that changes at every
// scale, so that the up-sampling filter matters everywhere.
Image makePicture(int width, int height) {
    Image im{width, height, std::vector<unsigned char>(static_cast<size_t>(width) * height * 3)};
    kepcheck::Rng rng(7);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            unsigned char* p = &im.pixels[(static_cast<size_t>(y) * width + x) * 3];
            const int edge = ((x / 5 + y / 3) & 1) ? 90 : 0;
            p[0] = static_cast<unsigned char>((x * 255) / width ^ edge);
            p[1] = static_cast<unsigned char>(((y * 255) / height + static_cast<int>(rng.range(0, 30))) & 255);
            p[2] = static_cast<unsigned char>(((x + y) * 4 + edge) & 255);
        }
    return im;
}

std::vector<unsigned char> encode(const Image& im, int hSamp, int vSamp) {
    jpeg_compress_struct c;
    jpeg_error_mgr err;
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    unsigned char* buf = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &buf, &size);
    c.image_width = static_cast<JDIMENSION>(im.width);
    c.image_height = static_cast<JDIMENSION>(im.height);
    c.input_components = 3;
    c.in_color_space = JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, 90, TRUE);
    c.comp_info[0].h_samp_factor = hSamp;
    c.comp_info[0].v_samp_factor = vSamp;
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<unsigned char*>(&im.pixels[static_cast<size_t>(c.next_scanline) * im.width * 3]);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    std::vector<unsigned char> out(buf, buf + size);
    free(buf);
    return out;
}

struct Plane {
    int width = 0, height = 0, stride = 0;  // downsampled size; stride of the padded buffer
    std::vector<unsigned char> data;
    const unsigned char* row(int y) const { return &data[static_cast<size_t>(y) * stride]; }
};

// The component planes before up-sampling and colour conversion.
// A decompressor on an in-memory file, header read.
struct Decoder {
    jpeg_decompress_struct d;
    jpeg_error_mgr err;
    explicit Decoder(const std::vector<unsigned char>& jpeg) {
        d.err = jpeg_std_error(&err);
        jpeg_create_decompress(&d);
        jpeg_mem_src(&d, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
        jpeg_read_header(&d, TRUE);
    }
    ~Decoder() { jpeg_destroy_decompress(&d); }
};

std::vector<Plane> decodeRaw(const std::vector<unsigned char>& jpeg) {
    Decoder dec(jpeg);
    jpeg_decompress_struct& d = dec.d;
    d.raw_data_out = TRUE;
    d.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&d);
    const int groupRows = d.max_v_samp_factor * DCTSIZE;
    const int groups = (static_cast<int>(d.output_height) + groupRows - 1) / groupRows;
    std::vector<Plane> planes(3);
    for (int c = 0; c < 3; ++c) {
        const jpeg_component_info& ci = d.comp_info[c];
        planes[c].width = static_cast<int>(ci.downsampled_width);
        planes[c].height = static_cast<int>(ci.downsampled_height);
        planes[c].stride = static_cast<int>(ci.width_in_blocks) * DCTSIZE;
        planes[c].data.resize(static_cast<size_t>(planes[c].stride) * groups * ci.v_samp_factor * DCTSIZE);
    }
    std::vector<JSAMPROW> rows[3];
    for (int g = 0; g < groups; ++g) {
        JSAMPARRAY arrays[3];
        for (int c = 0; c < 3; ++c) {
            const int n = d.comp_info[c].v_samp_factor * DCTSIZE;
            rows[c].resize(static_cast<size_t>(n));
            for (int r = 0; r < n; ++r) rows[c][r] = &planes[c].data[static_cast<size_t>(g * n + r) * planes[c].stride];
            arrays[c] = rows[c].data();
        }
        jpeg_read_raw_data(&d, arrays, static_cast<JDIMENSION>(groupRows));
    }
    jpeg_finish_decompress(&d);
    return planes;
}

Image decodeRgb(const std::vector<unsigned char>& jpeg) {
    Decoder dec(jpeg);
    jpeg_decompress_struct& d = dec.d;
    d.out_color_space = JCS_RGB;
    d.dct_method = JDCT_ISLOW;
    d.do_fancy_upsampling = TRUE;
    jpeg_start_decompress(&d);
    Image im{static_cast<int>(d.output_width), static_cast<int>(d.output_height), {}};
    im.pixels.resize(static_cast<size_t>(im.width) * im.height * 3);
    while (d.output_scanline < d.output_height) {
        JSAMPROW row = &im.pixels[static_cast<size_t>(d.output_scanline) * im.width * 3];
        jpeg_read_scanlines(&d, &row, 1);
    }
    jpeg_finish_decompress(&d);
    return im;
}

// RGB from the raw planes, row by row: up-sample the chroma rows (H2V1, or H2V2 with the row
// above / below as the farther row, replicated at the image edges), then convert.
Image rebuild(const std::vector<Plane>& p, int width, int height, int hSamp, int vSamp) {
    Image im{width, height, std::vector<unsigned char>(static_cast<size_t>(width) * height * 3)};
    std::vector<Kep8u> cb(2 * static_cast<size_t>(p[1].width) + 16), cr(cb.size());
    for (int y = 0; y < height; ++y) {
        const Kep8u* chroma[2];
        if (hSamp == 1) {
            chroma[0] = p[1].row(y);
            chroma[1] = p[2].row(y);
        } else {
            for (int c = 1; c <= 2; ++c) {
                Kep8u* out = c == 1 ? cb.data() : cr.data();
                if (vSamp == 1) {
                    EXPECT_EQ(kepOk, kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(p[c].row(y), p[c].width, out));
                } else {
                    const int nearRow = y / 2, last = p[c].height - 1;
                    const int farRow = (y & 1) ? (nearRow < last ? nearRow + 1 : last) : (nearRow > 0 ? nearRow - 1 : 0);
                    EXPECT_EQ(kepOk, kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(p[c].row(nearRow), p[c].row(farRow), p[c].width, out));
                }
            }
            chroma[0] = cb.data();
            chroma[1] = cr.data();
        }
        const Kep8u* planes[3] = {p[0].row(y), chroma[0], chroma[1]};
        EXPECT_EQ(kepOk, kepiYCbCrToRGB_JPEG_8u_P3C3R(planes, 1, &im.pixels[static_cast<size_t>(y) * width * 3], 1,
                                                      KepiSize{width, 1}));
    }
    return im;
}

// The whole-image 4:2:2 / 4:2:0 conversion on the raw planes copied with one common step.
Image wholeImage(const std::vector<Plane>& p, int width, int height, bool vertical) {
    const int step = p[0].stride;
    std::vector<Kep8u> planes[3];
    for (int c = 0; c < 3; ++c) {
        planes[c].assign(static_cast<size_t>(step) * height, 0);
        for (int y = 0; y < p[c].height; ++y) std::copy(p[c].row(y), p[c].row(y) + p[c].width, &planes[c][static_cast<size_t>(y) * step]);
    }
    Image im{width, height, std::vector<unsigned char>(static_cast<size_t>(width) * height * 3)};
    const Kep8u* src[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    const KepResult r = vertical ? kepiYCbCr411ToRGB_JPEG_8u_P3C3R(src, step, im.pixels.data(), width * 3, KepiSize{width, height})
                                 : kepiYCbCr422ToRGB_JPEG_8u_P3C3R(src, step, im.pixels.data(), width * 3, KepiSize{width, height});
    EXPECT_EQ(kepOk, r);
    return im;
}

void expectSame(const Image& expect, const Image& got, const char* what) {
    ASSERT_EQ(expect.pixels.size(), got.pixels.size());
    for (size_t i = 0; i < expect.pixels.size(); ++i) {
        const size_t px = i / 3;
        ASSERT_EQ(expect.pixels[i], got.pixels[i]) << what << ": pixel (" << px % expect.width << ", " << px / expect.width
                                                   << ") channel " << i % 3;
    }
}

TEST(ColourPeer, DecodedRgbEqualsLibjpegTurbo) {
    struct Geometry {
        int width, height, hSamp, vSamp;
    };
    for (const Geometry g : {Geometry{77, 53, 1, 1}, Geometry{77, 53, 2, 1}, Geometry{77, 53, 2, 2}, Geometry{64, 48, 2, 2},
                             Geometry{301, 19, 2, 1}, Geometry{300, 17, 2, 2}, Geometry{7, 5, 2, 2}}) {
        SCOPED_TRACE(testing::Message() << g.width << "x" << g.height << " h" << g.hSamp << "v" << g.vSamp);
        const auto jpeg = encode(makePicture(g.width, g.height), g.hSamp, g.vSamp);
        const Image expect = decodeRgb(jpeg);
        const auto planes = decodeRaw(jpeg);
        ASSERT_EQ(g.width, expect.width);
        expectSame(expect, rebuild(planes, g.width, g.height, g.hSamp, g.vSamp), "row primitives");
        if (g.hSamp == 2) expectSame(expect, wholeImage(planes, g.width, g.height, g.vSamp == 2), "whole image");
    }
}

}  // namespace
