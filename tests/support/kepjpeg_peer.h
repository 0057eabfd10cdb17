// libjpeg-turbo as the test peer of the kepjpeg codec: encode, decode, read coefficients.
// Errors inside libjpeg come back as a false result (error_exit jumps out with longjmp).
#pragma once

#include <jpeglib.h>

#include <algorithm>
#include <csetjmp>
#include <cstdlib>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "codec.h"

namespace kepjpeg_peer {

struct ErrorMgr {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

inline void onError(j_common_ptr cinfo) {
    ErrorMgr* e = reinterpret_cast<ErrorMgr*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, e->message);
    std::longjmp(e->jump, 1);
}

inline void quiet(j_common_ptr, int) {}

struct EncodeSettings {
    int quality = 85;
    int h = 2, v = 2;            // luma sampling factors
    bool gray = false;
    bool cmyk = false;           // CMYK input coded as YCCK (Adobe)
    bool optimize = false;
    bool progressive = false;    // the peer's standard progression
    bool customScript = false;   // progressive with successive approximation everywhere (see below)
    bool forceBaseline = true;
    int restartInterval = 0;
};

// Encodes an 8-bit image (1, 3 or 4 channels) with libjpeg's default integer DCT.
inline bool encode(const kepjpeg::Image& img, const EncodeSettings& s, std::vector<std::uint8_t>& out) {
    jpeg_compress_struct c;
    ErrorMgr err;
    c.err = jpeg_std_error(&err.pub);
    err.pub.error_exit = onError;
    err.pub.emit_message = quiet;
    unsigned char* buf = nullptr;
    unsigned long size = 0;
    if (setjmp(err.jump)) {
        jpeg_destroy_compress(&c);
        std::free(buf);
        return false;
    }
    jpeg_create_compress(&c);
    jpeg_mem_dest(&c, &buf, &size);
    c.image_width = JDIMENSION(img.width);
    c.image_height = JDIMENSION(img.height);
    c.input_components = img.channels;
    c.in_color_space = img.channels == 1 ? JCS_GRAYSCALE : img.channels == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&c);
    if (s.gray) jpeg_set_colorspace(&c, JCS_GRAYSCALE);
    if (s.cmyk) jpeg_set_colorspace(&c, JCS_YCCK);
    jpeg_set_quality(&c, s.quality, s.forceBaseline ? TRUE : FALSE);
    if (c.num_components > 1) {
        c.comp_info[0].h_samp_factor = s.h;
        c.comp_info[0].v_samp_factor = s.v;
        for (int i = 1; i < c.num_components; ++i) c.comp_info[i].h_samp_factor = c.comp_info[i].v_samp_factor = 1;
        if (c.num_components == 4) c.comp_info[3].h_samp_factor = s.h, c.comp_info[3].v_samp_factor = s.v;
    }
    c.optimize_coding = s.optimize ? TRUE : FALSE;
    c.restart_interval = static_cast<unsigned>(s.restartInterval);
    if (s.progressive) jpeg_simple_progression(&c);
    // DC first at Al 2 and two DC refinements (one per component, then interleaved), AC bands
    // split at different point transforms and refined down to Al 0, in an unusual order.
    std::vector<jpeg_scan_info> script;
    auto scan = [&](int n, int c0, int ss, int se, int ah, int al) {
        jpeg_scan_info i{};
        i.comps_in_scan = n;
        for (int k = 0; k < n; ++k) i.component_index[k] = c0 + k;
        i.Ss = ss, i.Se = se, i.Ah = ah, i.Al = al;
        script.push_back(i);
    };
    if (s.customScript) {
        const int nc = c.num_components;
        scan(nc, 0, 0, 0, 0, 2);
        scan(1, 0, 1, 5, 0, 2);
        scan(1, 0, 6, 63, 0, 3);
        for (int k = 1; k < nc; ++k) scan(1, k, 1, 63, 0, k - 1);
        scan(1, 0, 0, 0, 2, 1);
        if (nc > 1) scan(nc - 1, 1, 0, 0, 2, 1);
        scan(1, 0, 6, 63, 3, 2);
        scan(nc, 0, 0, 0, 1, 0);
        scan(1, 0, 1, 63, 2, 1);
        scan(1, 0, 1, 63, 1, 0);
        if (nc > 2) scan(1, 2, 1, 63, 1, 0);
        c.scan_info = script.data();
        c.num_scans = int(script.size());
    }
    jpeg_start_compress(&c, TRUE);
    const int stride = img.width * img.channels;
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(&img.px8[std::size_t(c.next_scanline) * stride]);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    out.assign(buf, buf + size);
    std::free(buf);
    return true;
}

// Opens a decompressor on jpg, reads the header and runs body(d); false when libjpeg reports
// an error (body's locals are then not destroyed: the tests treat that as a failure anyway).
template <class Body>
bool withDecompressor(const std::vector<std::uint8_t>& jpg, Body&& body) {
    jpeg_decompress_struct d;
    ErrorMgr err;
    d.err = jpeg_std_error(&err.pub);
    err.pub.error_exit = onError;
    err.pub.emit_message = quiet;
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&d);
        return false;
    }
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, jpg.data(), static_cast<unsigned long>(jpg.size()));
    jpeg_read_header(&d, TRUE);
    body(d);
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
    return true;
}

// Decodes with libjpeg's defaults (integer inverse DCT, fancy up-sampling) to gray, RGB or CMYK.
// With keepColourSpace the components come out as coded (YCbCr, YCCK), up-sampled only.
inline bool decode(const std::vector<std::uint8_t>& jpg, kepjpeg::Image& img, bool keepColourSpace = false) {
    return withDecompressor(jpg, [&](jpeg_decompress_struct& d) {
        d.out_color_space = d.num_components == 1 ? JCS_GRAYSCALE : d.num_components == 3 ? JCS_RGB : JCS_CMYK;
        if (keepColourSpace) d.out_color_space = d.jpeg_color_space;
        jpeg_start_decompress(&d);
        img = kepjpeg::Image();
        img.width = int(d.output_width);
        img.height = int(d.output_height);
        img.channels = d.output_components;
        img.px8.resize(img.samples());
        while (d.output_scanline < d.output_height) {
            JSAMPROW row = &img.px8[std::size_t(d.output_scanline) * img.width * img.channels];
            jpeg_read_scanlines(&d, &row, 1);
        }
    });
}

// The coefficients of every component's real blocks (width_in_blocks x height_in_blocks).
struct Coefficients {
    std::vector<int> blocksW, blocksH;
    std::vector<std::vector<std::int16_t>> blocks;   // 64 per block, natural order
};

inline bool readCoefficients(const std::vector<std::uint8_t>& jpg, Coefficients& out) {
    return withDecompressor(jpg, [&](jpeg_decompress_struct& d) {
        jvirt_barray_ptr* arrays = jpeg_read_coefficients(&d);
        out = Coefficients();
        for (int c = 0; c < d.num_components; ++c) {
            const jpeg_component_info& ci = d.comp_info[c];
            const int bw = int(ci.width_in_blocks), bh = int(ci.height_in_blocks);
            out.blocksW.push_back(bw);
            out.blocksH.push_back(bh);
            std::vector<std::int16_t> v(std::size_t(bw) * bh * 64);
            for (int by = 0; by < bh; ++by) {
                JBLOCKARRAY rows = (*d.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&d), arrays[c], JDIMENSION(by), 1, FALSE);
                for (int bx = 0; bx < bw; ++bx)
                    for (int k = 0; k < 64; ++k) v[(std::size_t(by) * bw + bx) * 64 + k] = rows[0][bx][k];
            }
            out.blocks.push_back(std::move(v));
        }
    });
}

// Number of blocks of component c (of a frame with the given MCU-padded grids) that differ
// from the peer's, over the peer's real blocks.
inline long differingBlocks(const Coefficients& peer, int c, const std::vector<std::int16_t>& ours, int oursBlocksW) {
    long bad = 0;
    for (int by = 0; by < peer.blocksH[c]; ++by)
        for (int bx = 0; bx < peer.blocksW[c]; ++bx) {
            const std::int16_t* a = &peer.blocks[c][(std::size_t(by) * peer.blocksW[c] + bx) * 64];
            const std::int16_t* b = &ours[(std::size_t(by) * oursBlocksW + bx) * 64];
            for (int k = 0; k < 64; ++k)
                if (a[k] != b[k]) {
                    ++bad;
                    break;
                }
        }
    return bad;
}

inline int maxAbsDiff(const kepjpeg::Image& a, const kepjpeg::Image& b) {
    int m = 0;
    for (std::size_t i = 0; i < a.px8.size() && i < b.px8.size(); ++i) m = std::max(m, std::abs(int(a.px8[i]) - b.px8[i]));
    return m;
}

}  // namespace kepjpeg_peer
