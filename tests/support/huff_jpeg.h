// Helpers of the Huffman tests: DHT-style tables, specs built from them, and JPEG files made and
// read by libjpeg-turbo (in memory), with the marker parsing the tests need to find the scan.
#ifndef KEP_TEST_HUFF_JPEG_H
#define KEP_TEST_HUFF_JPEG_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <jpeglib.h>

#include "huff.h"
#include "kepcheck_data.h"
#include "kepjx1.h"

namespace hufftest {

// A Huffman table as the two lists of a DHT segment.
struct Table {
    Kep8u bits[16] = {};
    Kep8u vals[256] = {};
    int count() const {
        int n = 0;
        for (Kep8u b : bits) n += b;
        return n;
    }
};

inline Table fromLibjpeg(const JHUFF_TBL* t) {
    Table r;
    std::memcpy(r.bits, t->bits + 1, 16);
    std::memcpy(r.vals, t->huffval, 256);
    return r;
}

// The example tables of T.81 Annex K.3 as libjpeg-turbo installs them by default:
// 0 DC luminance, 1 DC chrominance, 2 AC luminance, 3 AC chrominance.
inline Table standardTable(int which) {
    jpeg_compress_struct c;
    jpeg_error_mgr e;
    c.err = jpeg_std_error(&e);
    jpeg_create_compress(&c);
    c.in_color_space = JCS_YCbCr;
    c.input_components = 3;
    jpeg_set_defaults(&c);
    const Table t = fromLibjpeg(which < 2 ? c.dc_huff_tbl_ptrs[which] : c.ac_huff_tbl_ptrs[which - 2]);
    jpeg_destroy_compress(&c);
    return t;
}

inline KepiEncodeHuffmanSpec encSpec(const Table& t) {
    KepiEncodeHuffmanSpec s;
    if (kepiEncodeHuffmanSpecInit_JPEG_8u(t.bits, t.vals, &s) != kepOk) std::abort();
    return s;
}
inline KepiDecodeHuffmanSpec decSpec(const Table& t) {
    KepiDecodeHuffmanSpec s;
    if (kepiDecodeHuffmanSpecInit_JPEG_8u(t.bits, t.vals, &s) != kepOk) std::abort();
    return s;
}

// An optimal table for random symbol counts: some symbols get no code at all.
inline Table randomTable(kepcheck::Rng& rng, int symbols) {
    int stats[257] = {};
    for (int i = 0; i < symbols; ++i) stats[rng.range(0, 255)] += static_cast<int>(rng.range(1, 1000));
    Table t;
    kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, t.bits, t.vals);
    return t;
}

// ---- JPEG files -----------------------------------------------------------------------------

struct MakeOptions {
    int width = 64, height = 48;
    int components = 3;      // 1 (grayscale) or 3 (YCbCr)
    int hSamp = 1, vSamp = 1;  // luma sampling factors: 1x1 (4:4:4), 2x1 (4:2:2), 2x2 (4:2:0)
    int quality = 75;
    int restartMcus = 0;
    bool optimize = false;
    uint64_t seed = 1;
};

// A synthetic photograph: smooth gradients, a few hard edges and noise, so that every run length
// and a wide range of categories occur.
inline std::vector<uint8_t> makeImage(const MakeOptions& o) {
    kepcheck::Rng rng(o.seed);
    std::vector<uint8_t> px(static_cast<size_t>(o.width) * o.height * o.components);
    const int cx = static_cast<int>(rng.range(0, o.width)), cy = static_cast<int>(rng.range(0, o.height));
    for (int y = 0; y < o.height; ++y)
        for (int x = 0; x < o.width; ++x)
            for (int c = 0; c < o.components; ++c) {
                int v = (x * (60 + 40 * c)) / (o.width + 1) + (y * 90) / (o.height + 1) + 40;
                if ((x - cx) * (x - cx) + (y - cy) * (y - cy) < (o.width * o.width) / 16) v += 70 - 30 * c;
                if (((x / 7) + (y / 5)) % 11 == 0) v = 255 - v;
                v += static_cast<int>(rng.range(-12, 12));
                px[(static_cast<size_t>(y) * o.width + x) * o.components + c] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
            }
    return px;
}

inline std::vector<uint8_t> makeJpeg(const MakeOptions& o) {
    const std::vector<uint8_t> px = makeImage(o);
    jpeg_compress_struct c;
    jpeg_error_mgr e;
    c.err = jpeg_std_error(&e);
    jpeg_create_compress(&c);
    unsigned char* mem = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &mem, &size);
    c.image_width = static_cast<JDIMENSION>(o.width);
    c.image_height = static_cast<JDIMENSION>(o.height);
    c.input_components = o.components;
    c.in_color_space = o.components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, o.quality, TRUE);
    c.optimize_coding = o.optimize ? TRUE : FALSE;
    c.restart_interval = static_cast<unsigned>(o.restartMcus);
    c.comp_info[0].h_samp_factor = o.hSamp;
    c.comp_info[0].v_samp_factor = o.vSamp;
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(&px[static_cast<size_t>(c.next_scanline) * o.width * o.components]);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    std::vector<uint8_t> out(mem, mem + size);
    jpeg_destroy_compress(&c);
    std::free(mem);
    return out;
}

// What the tests need of a baseline file with one scan.
struct Component {
    int h, v;              // sampling factors
    int dcTable, acTable;  // table selectors of the scan
    int widthBlocks, heightBlocks;  // blocks coded for the component (whole MCUs when interleaved)
    std::vector<Kep16s> coef;       // natural-order blocks, row by row
};
struct JpegFile {
    std::vector<uint8_t> bytes;
    Table dc[4], ac[4];
    std::vector<Component> comps;
    int mcusX = 0, mcusY = 0;
    int restartMcus = 0;
    size_t scanStart = 0;  // first entropy-coded byte
    size_t headerEnd = 0;  // == scanStart: everything before is markers
    size_t eoi = 0;        // index of the 0xFF of EOI
    Kep16s* block(int c, int bx, int by) {
        return &comps[c].coef[(static_cast<size_t>(by) * comps[c].widthBlocks + bx) * 64];
    }
};

// Opens `bytes` in libjpeg-turbo and reads its coefficients; the caller then finishes and
// destroys d, which owns the arrays.
inline jvirt_barray_ptr* readCoefficients(jpeg_decompress_struct& d, jpeg_error_mgr& e, const std::vector<uint8_t>& bytes) {
    d.err = jpeg_std_error(&e);
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, bytes.data(), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&d, TRUE);
    return jpeg_read_coefficients(&d);
}

// Reads the DHT, DRI, SOF and SOS segments and the coefficients (jpeg_read_coefficients).
inline JpegFile readJpeg(const std::vector<uint8_t>& bytes) {
    JpegFile f;
    f.bytes = bytes;
    size_t i = 2;
    while (i + 4 <= bytes.size()) {
        const int m = bytes[i + 1];
        const size_t len = (static_cast<size_t>(bytes[i + 2]) << 8) | bytes[i + 3];
        const uint8_t* seg = &bytes[i + 4];
        if (m == 0xC4) {
            size_t p = 0;
            while (p < len - 2) {
                const int tc = seg[p] >> 4, th = seg[p] & 15;
                Table t;
                std::memcpy(t.bits, seg + p + 1, 16);
                std::memcpy(t.vals, seg + p + 17, static_cast<size_t>(t.count()));
                (tc == 0 ? f.dc : f.ac)[th] = t;
                p += 17 + static_cast<size_t>(t.count());
            }
        } else if (m == 0xDD) {
            f.restartMcus = (seg[0] << 8) | seg[1];
        } else if (m == 0xDA) {
            f.scanStart = f.headerEnd = i + 2 + len;
            break;
        }
        i += 2 + len;
    }
    for (size_t j = bytes.size() - 2;; --j)
        if (bytes[j] == 0xFF && bytes[j + 1] == 0xD9) {
            f.eoi = j;
            break;
        }

    jpeg_decompress_struct d;
    jpeg_error_mgr e;
    jvirt_barray_ptr* arrays = readCoefficients(d, e, bytes);
    const int hmax = d.max_h_samp_factor, vmax = d.max_v_samp_factor;
    const bool interleaved = d.num_components > 1;
    f.mcusX = interleaved ? static_cast<int>((d.image_width + 8 * hmax - 1) / (8 * hmax)) : static_cast<int>(d.comp_info[0].width_in_blocks);
    f.mcusY = interleaved ? static_cast<int>((d.image_height + 8 * vmax - 1) / (8 * vmax)) : static_cast<int>(d.comp_info[0].height_in_blocks);
    for (int c = 0; c < d.num_components; ++c) {
        const jpeg_component_info& ci = d.comp_info[c];
        Component comp;
        comp.h = interleaved ? ci.h_samp_factor : 1;
        comp.v = interleaved ? ci.v_samp_factor : 1;
        comp.dcTable = ci.dc_tbl_no;
        comp.acTable = ci.ac_tbl_no;
        comp.widthBlocks = f.mcusX * comp.h;
        comp.heightBlocks = f.mcusY * comp.v;
        comp.coef.resize(static_cast<size_t>(comp.widthBlocks) * comp.heightBlocks * 64);
        for (int by = 0; by < comp.heightBlocks; ++by) {
            JBLOCKARRAY row = (*d.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&d), arrays[c],
                                                           static_cast<JDIMENSION>(by), 1, FALSE);
            for (int bx = 0; bx < comp.widthBlocks; ++bx)
                for (int k = 0; k < 64; ++k)
                    comp.coef[(static_cast<size_t>(by) * comp.widthBlocks + bx) * 64 + k] = row[0][bx][k];
        }
        f.comps.push_back(std::move(comp));
    }
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
    return f;
}

// Calls fn(component, bx, by, mcuIndex) for every block of the scan in coding order.
template <typename Fn>
void forEachBlock(const JpegFile& f, Fn fn) {
    int mcu = 0;
    for (int my = 0; my < f.mcusY; ++my)
        for (int mx = 0; mx < f.mcusX; ++mx, ++mcu)
            for (size_t c = 0; c < f.comps.size(); ++c)
                for (int v = 0; v < f.comps[c].v; ++v)
                    for (int h = 0; h < f.comps[c].h; ++h)
                        fn(static_cast<int>(c), mx * f.comps[c].h + h, my * f.comps[c].v + v, mcu);
}

}  // namespace hufftest

#endif  // KEP_TEST_HUFF_JPEG_H
