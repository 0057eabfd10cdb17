// Helpers of the progressive Huffman tests: progressive files made by libjpeg-turbo in memory
// (its default progression script, optimised tables), parsed scan by scan, with the final
// coefficients from jpeg_read_coefficients, and the block order of each scan.
#ifndef KEP_TEST_HUFFPROG_JPEG_H
#define KEP_TEST_HUFFPROG_JPEG_H

#include <functional>
#include <vector>

#include "huff_jpeg.h"

namespace progtest {

using hufftest::MakeOptions;
using hufftest::Table;

struct Scan {
    std::vector<int> comps;     // component indices, in scan order
    std::vector<int> dcTable, acTable;  // selectors, per scan component
    int Ss = 0, Se = 0, Ah = 0, Al = 0;
    int restartMcus = 0;
    Table dc[4], ac[4];         // the tables defined when the scan starts
    size_t start = 0, end = 0;  // entropy-coded bytes (RSTn markers included) [start, end)
};

struct Component {
    int h = 1, v = 1;
    int widthBlocks = 0, heightBlocks = 0;  // blocks of the component itself
    int allocX = 0, allocY = 0;             // blocks stored (whole MCUs), as libjpeg-turbo allocates
    std::vector<Kep16s> coef;               // natural-order blocks, row by row, allocX per row
    Kep16s* block(int bx, int by) { return &coef[(static_cast<size_t>(by) * allocX + bx) * 64]; }
    const Kep16s* block(int bx, int by) const { return &coef[(static_cast<size_t>(by) * allocX + bx) * 64]; }
};

struct ProgFile {
    std::vector<uint8_t> bytes;
    std::vector<Component> comps;  // coefficients: libjpeg-turbo's final ones
    std::vector<Scan> scans;
    int mcusX = 0, mcusY = 0;  // MCUs of the interleaved scans
};

// libjpeg-turbo's baseline file for `o`, transcoded losslessly (same coefficients) into a
// progressive one with its default progression script and optimised tables.
inline std::vector<uint8_t> makeProgressiveJpeg(const MakeOptions& o) {
    const std::vector<uint8_t> baseline = hufftest::makeJpeg(o);
    jpeg_decompress_struct d;
    jpeg_error_mgr de;
    jvirt_barray_ptr* arrays = hufftest::readCoefficients(d, de, baseline);
    jpeg_compress_struct c;
    jpeg_error_mgr ce;
    c.err = jpeg_std_error(&ce);
    jpeg_create_compress(&c);
    unsigned char* mem = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &mem, &size);
    jpeg_copy_critical_parameters(&d, &c);
    c.restart_interval = static_cast<unsigned>(o.restartMcus);
    jpeg_simple_progression(&c);
    c.optimize_coding = TRUE;
    jpeg_write_coefficients(&c, arrays);
    jpeg_finish_compress(&c);
    std::vector<uint8_t> out(mem, mem + size);
    jpeg_destroy_compress(&c);
    std::free(mem);
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
    return out;
}

// Index of the first marker at or after i that is neither a stuffed 0xFF 0x00, a fill byte nor
// an RSTn: the end of an entropy-coded segment.
inline size_t scanEnd(const std::vector<uint8_t>& b, size_t i) {
    for (; i + 1 < b.size(); ++i)
        if (b[i] == 0xFF && b[i + 1] != 0x00 && b[i + 1] != 0xFF && !(b[i + 1] >= 0xD0 && b[i + 1] <= 0xD7)) return i;
    return b.size();
}

inline ProgFile readProgressive(const std::vector<uint8_t>& bytes) {
    ProgFile f;
    f.bytes = bytes;
    jpeg_decompress_struct d;
    jpeg_error_mgr e;
    jvirt_barray_ptr* arrays = hufftest::readCoefficients(d, e, bytes);
    const int hmax = d.max_h_samp_factor, vmax = d.max_v_samp_factor;
    f.mcusX = static_cast<int>((d.image_width + 8 * hmax - 1) / (8 * hmax));
    f.mcusY = static_cast<int>((d.image_height + 8 * vmax - 1) / (8 * vmax));
    for (int c = 0; c < d.num_components; ++c) {
        const jpeg_component_info& ci = d.comp_info[c];
        Component comp;
        comp.h = ci.h_samp_factor;
        comp.v = ci.v_samp_factor;
        comp.widthBlocks = static_cast<int>(ci.width_in_blocks);
        comp.heightBlocks = static_cast<int>(ci.height_in_blocks);
        comp.allocX = (comp.widthBlocks + comp.h - 1) / comp.h * comp.h;
        comp.allocY = (comp.heightBlocks + comp.v - 1) / comp.v * comp.v;
        comp.coef.resize(static_cast<size_t>(comp.allocX) * comp.allocY * 64);
        for (int by = 0; by < comp.allocY; ++by) {
            JBLOCKARRAY row = (*d.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&d), arrays[c],
                                                           static_cast<JDIMENSION>(by), 1, FALSE);
            for (int bx = 0; bx < comp.allocX; ++bx)
                for (int k = 0; k < 64; ++k) comp.block(bx, by)[k] = row[0][bx][k];
        }
        f.comps.push_back(std::move(comp));
    }
    std::vector<int> ids;
    for (int c = 0; c < d.num_components; ++c) ids.push_back(d.comp_info[c].component_id);
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);

    Table dc[4], ac[4];
    int restart = 0;
    size_t i = 2;
    while (i + 4 <= bytes.size()) {
        const int m = bytes[i + 1];
        if (m == 0xD9) break;
        const size_t len = (static_cast<size_t>(bytes[i + 2]) << 8) | bytes[i + 3];
        const uint8_t* seg = &bytes[i + 4];
        if (m == 0xC4) {
            for (size_t p = 0; p < len - 2;) {
                Table t;
                std::memcpy(t.bits, seg + p + 1, 16);
                std::memcpy(t.vals, seg + p + 17, static_cast<size_t>(t.count()));
                ((seg[p] >> 4) == 0 ? dc : ac)[seg[p] & 15] = t;
                p += 17 + static_cast<size_t>(t.count());
            }
        } else if (m == 0xDD) {
            restart = (seg[0] << 8) | seg[1];
        } else if (m == 0xDA) {
            Scan s;
            const int n = seg[0];
            for (int k = 0; k < n; ++k) {
                int idx = 0;
                while (ids[static_cast<size_t>(idx)] != seg[1 + 2 * k]) ++idx;
                s.comps.push_back(idx);
                s.dcTable.push_back(seg[2 + 2 * k] >> 4);
                s.acTable.push_back(seg[2 + 2 * k] & 15);
            }
            s.Ss = seg[1 + 2 * n];
            s.Se = seg[2 + 2 * n];
            s.Ah = seg[3 + 2 * n] >> 4;
            s.Al = seg[3 + 2 * n] & 15;
            s.restartMcus = restart;
            for (int t = 0; t < 4; ++t) {
                s.dc[t] = dc[t];
                s.ac[t] = ac[t];
            }
            s.start = i + 2 + len;
            s.end = scanEnd(bytes, s.start);
            f.scans.push_back(s);
            i = s.end;
            continue;
        }
        i += 2 + len;
    }
    return f;
}

// Calls fn(scan component index k, component, bx, by, mcu) for every block of the scan in coding
// order: whole MCUs when interleaved, the component's own blocks one by one otherwise.
inline void forEachBlock(const ProgFile& f, const Scan& s,
                         const std::function<void(int, int, int, int, int)>& fn) {
    if (s.comps.size() == 1) {
        const Component& comp = f.comps[static_cast<size_t>(s.comps[0])];
        int mcu = 0;
        for (int by = 0; by < comp.heightBlocks; ++by)
            for (int bx = 0; bx < comp.widthBlocks; ++bx) fn(0, s.comps[0], bx, by, mcu++);
        return;
    }
    int mcu = 0;
    for (int my = 0; my < f.mcusY; ++my)
        for (int mx = 0; mx < f.mcusX; ++mx, ++mcu)
            for (size_t k = 0; k < s.comps.size(); ++k) {
                const Component& comp = f.comps[static_cast<size_t>(s.comps[k])];
                for (int v = 0; v < comp.v; ++v)
                    for (int h = 0; h < comp.h; ++h)
                        fn(static_cast<int>(k), s.comps[k], mx * comp.h + h, my * comp.v + v, mcu);
            }
}

// True when the block starts a new restart interval of the scan.
inline bool restartBefore(const Scan& s, int mcu, int& lastMcu) {
    const bool r = mcu != lastMcu && s.restartMcus && mcu % s.restartMcus == 0;
    lastMcu = mcu;
    return r;
}

}  // namespace progtest

#endif  // KEP_TEST_HUFFPROG_JPEG_H
