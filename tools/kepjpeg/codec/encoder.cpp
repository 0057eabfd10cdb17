// Sequential DCT encoding (ITU-T T.81 Annex F.1): colour conversion and down-sampling into
// MCU-padded planes, forward DCT with quantization and Huffman coding restart interval by restart
// interval (in parallel when asked), all through libkepjx1; the tool writes the markers.
#include <cstdio>
#include <cstring>
#include <mutex>

#include "codec.h"
#include "huffstats.h"
#include "internal.h"
#include "kepjx1.h"

namespace kepjpeg {
namespace {

using namespace detail;

struct alignas(64) EncSpec {
    unsigned char b[KEPI_ENCODE_HUFFMAN_SPEC_SIZE];
    KepiEncodeHuffmanSpec* get() { return reinterpret_cast<KepiEncodeHuffmanSpec*>(b); }
};

struct Table {
    std::uint8_t bits[16] = {};
    std::uint8_t vals[256] = {};
    int count() const {
        int n = 0;
        for (int k = 0; k < 16; ++k) n += bits[k];
        return n;
    }
};

class Writer {
public:
    explicit Writer(std::vector<std::uint8_t>& out) : o_(out) {}
    void byte(int b) { o_.push_back(std::uint8_t(b)); }
    void word(int w) { byte(w >> 8), byte(w & 255); }
    void marker(int m) { byte(0xFF), byte(m); }
    void bytes(const void* p, std::size_t n) {
        const auto* b = static_cast<const std::uint8_t*>(p);
        o_.insert(o_.end(), b, b + n);
    }

private:
    std::vector<std::uint8_t>& o_;
};

struct Plan {
    int nc = 0;
    int precision = 8;
    int adobeTransform = -1;   // -1: JFIF marker instead
    std::vector<Component> comps;
    int hmax = 1, vmax = 1, mcusX = 0, mcusY = 0;
    int tableOf[4] = {0, 1, 1, 0};
    long totalMcus = 0, ri = 0;
    int intervals = 1;
};

class Encoder {
public:
    Encoder(const Image& img, const EncodeOptions& opt) : img_(img), opt_(opt) {}

    bool run(std::vector<std::uint8_t>& out, std::string& err) {
        if (!plan(err) || !prepareTables(err)) return false;
        report(0.05);
        const bool store = opt_.optimize || p_.precision == 12 || opt_.coefficientsOut;
        if (store && !transformAll(err)) return false;
        report(0.55);
        if (!buildHuffman(err)) return false;
        std::vector<std::vector<std::uint8_t>> segs(p_.intervals);
        std::vector<std::string> errs(p_.intervals);
        parallelFor(p_.intervals, opt_.threads, [&](int k) { errs[k] = codeInterval(k, store, segs[k]); });
        for (const std::string& e : errs)
            if (!e.empty()) return err = e, false;
        if (opt_.coefficientsOut) *opt_.coefficientsOut = coefs_;
        writeFile(out, segs);
        report(1.0);
        return true;
    }

private:
    void report(double f) {
        if (opt_.progress) opt_.progress(f);
    }

    // Component layout, MCU geometry and restart intervals. Progressive and lossless coding
    // will take the same planning and strips: progressive through the stored coefficients
    // (transformAll) coded scan by scan, lossless from the strips' samples without the DCT.
    bool plan(std::string& err) {
        const Image& im = img_;
        if (opt_.progressive)
            return err = "progressive encoding is not supported yet: the progressive Huffman coding primitives are "
                         "not available in this version of libkepjx1", false;
        if (opt_.lossless)
            return err = "lossless encoding is not supported yet: the lossless prediction and coding primitives are "
                         "not available in this version of libkepjx1", false;
        if (im.width < 1 || im.height < 1 || im.width > 65535 || im.height > 65535)
            return err = "image size must be 1 to 65535 pixels in each direction", false;
        if (opt_.quality < 1 || opt_.quality > 100) return err = "quality must be 1 to 100", false;
        if (im.precision != 8 && im.precision != 12) return err = "sample precision must be 8 or 12", false;
        if (im.channels != 1 && im.channels != 3 && im.channels != 4) return err = "images need 1, 3 or 4 channels", false;
        const std::size_t need = im.samples();
        if ((im.precision == 8 && im.px8.size() < need) || (im.precision == 12 && im.px16.size() < need))
            return err = "image buffer smaller than its geometry", false;
        p_.precision = im.precision;
        const bool gray = im.channels == 1 || opt_.grayscale;
        if (gray && im.channels == 4) return err = "a CMYK image cannot be coded as grayscale", false;
        if (im.precision == 12 && gray && im.channels != 1)
            return err = "12-bit colour to grayscale needs a 12-bit colour conversion, not available in libkepjx1", false;
        p_.nc = gray ? 1 : im.channels;
        int lh = 1, lv = 1;
        if (!gray && im.precision == 8) {
            if (opt_.sampling == Sampling::s422) lh = 2;
            if (opt_.sampling == Sampling::s420) lh = lv = 2;
        }
        if (im.precision == 12 && !gray) p_.adobeTransform = 0;   // RGB, coded without colour transform
        if (p_.nc == 4) p_.adobeTransform = 2;                    // YCCK
        if (p_.adobeTransform == 0) p_.tableOf[1] = p_.tableOf[2] = 0;
        p_.hmax = lh;
        p_.vmax = lv;
        p_.mcusX = ceilDiv(im.width, 8 * lh);
        p_.mcusY = ceilDiv(im.height, 8 * lv);
        p_.comps.resize(p_.nc);
        for (int c = 0; c < p_.nc; ++c) {
            Component& cp = p_.comps[c];
            const bool luma = c == 0 || c == 3;
            cp.id = p_.adobeTransform == 0 ? "RGB"[c] : c + 1;
            cp.h = luma ? lh : 1;
            cp.v = luma ? lv : 1;
            cp.tq = p_.tableOf[c];
            cp.width = ceilDiv(im.width * cp.h, lh);
            cp.height = ceilDiv(im.height * cp.v, lv);
            cp.blocksW = p_.nc == 1 ? ceilDiv(im.width, 8) : p_.mcusX * cp.h;
            cp.blocksH = p_.nc == 1 ? ceilDiv(im.height, 8) : p_.mcusY * cp.v;
        }
        if (p_.nc == 1) p_.mcusX = p_.comps[0].blocksW, p_.mcusY = p_.comps[0].blocksH;
        p_.totalMcus = long(p_.mcusX) * p_.mcusY;
        p_.ri = opt_.restartRows > 0 ? long(opt_.restartRows) * p_.mcusX : opt_.restartInterval;
        if (p_.ri < 0 || p_.ri > 65535) return err = "restart interval must be 0 to 65535 MCUs", false;
        p_.intervals = p_.ri ? int((p_.totalMcus + p_.ri - 1) / p_.ri) : 1;
        if (!p_.ri) p_.ri = p_.totalMcus;
        return true;
    }

    bool prepareTables(std::string& err) {
        for (int t = 0; t < 2; ++t) {
            std::memcpy(raw_[t], t ? kStdChromaQuant : kStdLumaQuant, 64);
            if (kepiQuantFwdRawTableInit_JPEG_8u(raw_[t], opt_.quality) != kepOk ||
                kepiQuantFwdTableInit_JPEG_8u16u(raw_[t], fwd_[t]) != kepOk)
                return err = "quantization table set-up failed", false;
            // 12-bit path: the transform multiplies by the caller's reciprocals 1 / Q.
            for (int k = 0; k < 64; ++k) fwd32_[t][kNaturalOrder[k]] = 1.0f / float(raw_[t][k]);
        }
        return true;
    }

    // The samples of one MCU row of every component, edges replicated to the MCU-padded block
    // grid. Each coding job keeps its own strip, so jobs share nothing but the source image.
    struct Strip {
        int my = -1;
        std::vector<std::uint8_t> full[4];     // full-resolution chroma before down-sampling
        std::vector<std::uint8_t> plane[4];    // blocksW * 8 samples by 8 * v rows
        std::vector<std::uint16_t> plane16[4];
    };

    int stripRows(int c) const { return p_.nc == 1 ? 8 : 8 * p_.comps[c].v; }

    void fillStrip(Strip& s, int my) const {
        const int W = img_.width, H = img_.height, nc = p_.nc, ch = img_.channels;
        const int fullW = p_.comps[0].blocksW * 8, rowsFull = stripRows(0);
        const int y0 = my * rowsFull, rows = std::min(H - y0, rowsFull);
        s.my = my;
        if (p_.precision == 12) {
            for (int c = 0; c < nc; ++c) {
                s.plane16[c].resize(std::size_t(fullW) * rowsFull);
                for (int y = 0; y < rowsFull; ++y) {
                    std::uint16_t* row = &s.plane16[c][std::size_t(y) * fullW];
                    const std::uint16_t* in = &img_.px16[(std::size_t(y0) + std::min(y, rows - 1)) * W * ch + c];
                    for (int x = 0; x < W; ++x) row[x] = in[std::size_t(x) * ch];
                    for (int x = W; x < fullW; ++x) row[x] = row[W - 1];
                }
            }
            return;
        }
        Kep8u* dst[4];
        for (int c = 0; c < nc; ++c) {
            const bool sub = p_.comps[c].h != p_.hmax;
            std::vector<std::uint8_t>& buf = sub ? s.full[c] : s.plane[c];
            buf.resize(std::size_t(fullW) * rowsFull);
            dst[c] = buf.data();
        }
        const KepiSize roi{W, rows};
        const std::uint8_t* src = &img_.px8[std::size_t(y0) * W * ch];
        if (nc == 1 && ch == 1) {
            for (int y = 0; y < rows; ++y) std::memcpy(dst[0] + std::size_t(y) * fullW, src + std::size_t(y) * W, W);
        } else if (nc == 1) {
            kepiRGBToY_JPEG_8u_C3C1R(src, W * 3, dst[0], fullW, roi);
        } else if (nc == 3) {
            kepiRGBToYCbCr_JPEG_8u_C3P3R(src, W * 3, dst, fullW, roi);
        } else {
            kepiCMYKToYCCK_JPEG_8u_C4P4R(src, W * 4, dst, fullW, roi);
        }
        for (int c = 0; c < nc; ++c) {
            for (int y = 0; y < rows; ++y) {
                std::uint8_t* r = dst[c] + std::size_t(y) * fullW;
                std::memset(r + W, r[W - 1], fullW - W);
            }
            for (int y = rows; y < rowsFull; ++y)
                std::memcpy(dst[c] + std::size_t(y) * fullW, dst[c] + std::size_t(rows - 1) * fullW, fullW);
            const Component& cp = p_.comps[c];
            if (cp.h == p_.hmax) continue;
            const int w = cp.blocksW * 8;
            s.plane[c].resize(std::size_t(w) * 8);
            const KepiSize srcRoi{fullW, rowsFull}, dstRoi{w, 8};
            if (p_.vmax == 2)
                kepiSampleDownH2V2_JPEG_8u_C1R(dst[c], fullW, srcRoi, s.plane[c].data(), w, dstRoi);
            else
                kepiSampleDownH2V1_JPEG_8u_C1R(dst[c], fullW, srcRoi, s.plane[c].data(), w, dstRoi);
        }
    }

    // Forward DCT and quantization of block (bx, by) of component c, from the strip of its MCU row.
    KepResult transform(const Strip& s, int c, int bx, int by, Kep16s* blk) const {
        const Component& cp = p_.comps[c];
        const std::size_t stride = std::size_t(cp.blocksW) * 8;
        const int localRow = by - s.my * (stripRows(c) / 8);
        const std::size_t off = std::size_t(localRow) * 8 * stride + std::size_t(bx) * 8;
        if (p_.precision == 12)
            return kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(&s.plane16[c][off], int(stride * 2), blk, fwd32_[cp.tq]);
        return kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&s.plane[c][off], int(stride), blk, fwd_[cp.tq]);
    }

    // Calls f(component, bx, by, mcuRow) for every block of MCUs m0..m1-1 in coding order.
    template <class F>
    void forBlocks(long m0, long m1, F&& f) const {
        for (long m = m0; m < m1; ++m) {
            const int mx = int(m % p_.mcusX), my = int(m / p_.mcusX);
            for (int c = 0; c < p_.nc; ++c) {
                const Component& cp = p_.comps[c];
                const int bh = p_.nc == 1 ? 1 : cp.h, bv = p_.nc == 1 ? 1 : cp.v;
                for (int v = 0; v < bv; ++v)
                    for (int h = 0; h < bh; ++h) f(c, mx * bh + h, my * bv + v, my);
            }
        }
    }

    Kep16s* stored(int c, int bx, int by) {
        return &coefs_[c][(std::size_t(by) * p_.comps[c].blocksW + bx) * 64];
    }

    // All blocks transformed and kept, with symbol counts when optimal tables are wanted.
    bool transformAll(std::string& err) {
        coefs_.assign(p_.nc, {});
        for (int c = 0; c < p_.nc; ++c) coefs_[c].resize(std::size_t(p_.comps[c].blocksW) * p_.comps[c].blocksH * 64);
        const bool count = opt_.optimize || p_.precision == 12;
        std::vector<std::vector<int>> stats(p_.intervals);
        std::atomic<bool> failed{false};
        parallelFor(p_.intervals, opt_.threads, [&](int k) {
            std::vector<int>& st = stats[k];
            if (count) st.assign(4 * 257, 0);
            Kep16s lastDC[4] = {0, 0, 0, 0};
            Strip strip;
            forBlocks(k * p_.ri, std::min(p_.totalMcus, (k + 1) * p_.ri), [&](int c, int bx, int by, int my) {
                if (strip.my != my) fillStrip(strip, my);
                Kep16s* blk = stored(c, bx, by);
                if (transform(strip, c, bx, by, blk) != kepOk) failed = true;
                const int t = p_.tableOf[c];
                if (count) countBlockSymbols(blk, lastDC[c], &st[(2 * t) * 257], &st[(2 * t + 1) * 257]);
            });
        });
        if (failed) return err = "forward DCT failed", false;
        if (count) {
            stats_.assign(4 * 257, 0);
            for (const auto& st : stats)
                for (std::size_t i = 0; i < st.size(); ++i) stats_[i] += st[i];
        }
        return true;
    }

    bool buildHuffman(std::string& err) {
        const bool optimal = !stats_.empty();
        for (int t = 0; t < 2; ++t) {
            Table& dc = tables_[2 * t];
            Table& ac = tables_[2 * t + 1];
            if (optimal) {
                if (kepiEncodeHuffmanRawTableInit_JPEG_8u(&stats_[(2 * t) * 257], dc.bits, dc.vals) != kepOk ||
                    kepiEncodeHuffmanRawTableInit_JPEG_8u(&stats_[(2 * t + 1) * 257], ac.bits, ac.vals) != kepOk)
                    return err = "optimal Huffman table construction failed", false;
            } else {
                std::memcpy(dc.bits, t ? kDcChromaBits : kDcLumaBits, 16);
                std::memcpy(dc.vals, t ? kDcChromaVals : kDcLumaVals, 12);
                std::memcpy(ac.bits, t ? kAcChromaBits : kAcLumaBits, 16);
                std::memcpy(ac.vals, t ? kAcChromaVals : kAcLumaVals, 162);
            }
            tableUsed_[t] = false;
        }
        for (int c = 0; c < p_.nc; ++c) tableUsed_[p_.tableOf[c]] = true;
        for (int i = 0; i < 4; ++i) {
            if (!tableUsed_[i / 2]) continue;
            if (kepiEncodeHuffmanSpecInit_JPEG_8u(tables_[i].bits, tables_[i].vals, specs_[i].get()) != kepOk)
                return err = "Huffman table set-up failed", false;
        }
        return true;
    }

    // Entropy codes restart interval k into seg (without its RST marker).
    std::string codeInterval(int k, bool store, std::vector<std::uint8_t>& seg) {
        alignas(64) unsigned char stateBuf[KEPI_ENCODE_HUFFMAN_STATE_SIZE];
        auto* state = reinterpret_cast<KepiEncodeHuffmanState*>(stateBuf);
        kepiEncodeHuffmanStateInit_JPEG_8u(state);
        const long m0 = k * p_.ri, m1 = std::min(p_.totalMcus, (k + 1) * p_.ri);
        seg.resize(std::size_t(m1 - m0) * 64 + 4096);
        int pos = 0;
        Kep16s lastDC[4] = {0, 0, 0, 0};
        KepResult r = kepOk;
        alignas(16) Kep16s local[64];
        long blocks = 0;
        Strip strip;
        forBlocks(m0, m1, [&](int c, int bx, int by, int my) {
            if (r != kepOk) return;
            // Room for any block (at most 518 bytes with stuffing) before it is coded.
            if (seg.size() - pos < 1024) seg.resize(seg.size() * 2);
            const Kep16s* blk = local;
            if (store) {
                blk = stored(c, bx, by);
            } else {
                if (strip.my != my) fillStrip(strip, my);
                if ((r = transform(strip, c, bx, by, local)) != kepOk) return;
            }
            const int t = p_.tableOf[c];
            r = kepiEncodeHuffman8x8_JPEG_16s1u_C1(blk, seg.data(), int(seg.size()), &pos, &lastDC[c], specs_[2 * t].get(),
                                                   specs_[2 * t + 1].get(), state, 0);
            if (opt_.progress && p_.intervals == 1 && (++blocks & 8191) == 0)
                report(0.55 + 0.45 * double(m0 + blocks / 2) / double(p_.totalMcus));
        });
        if (r == kepOk)
            r = kepiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, seg.data(), int(seg.size()), &pos, nullptr, nullptr, nullptr,
                                                   state, 1);
        seg.resize(pos);
        if (r == kepErrHuffmanTable) return "a coefficient is outside the range the Huffman tables can code";
        if (r != kepOk) return "entropy coding failed (" + std::to_string(r) + ")";
        return "";
    }

    void writeFile(std::vector<std::uint8_t>& out, const std::vector<std::vector<std::uint8_t>>& segs) {
        std::size_t total = 1024;
        for (const auto& s : segs) total += s.size() + 2;
        out.clear();
        out.reserve(total);
        Writer w(out);
        w.marker(0xD8);
        if (p_.adobeTransform < 0) {
            // JFIF APP0: version 1.01, aspect ratio 1:1, no thumbnail.
            w.marker(0xE0);
            w.word(16);
            w.bytes("JFIF\0\1\1\0\0\1\0\1\0\0", 14);
        } else {
            // Adobe APP14: version 100, flags 0, colour transform.
            w.marker(0xEE);
            w.word(14);
            w.bytes("Adobe\0\144\0\0\0\0", 11);
            w.byte(p_.adobeTransform);
        }
        for (int t = 0; t < 2; ++t) {
            if (!tableUsed_[t]) continue;
            w.marker(0xDB);
            w.word(67);
            w.byte(t);
            w.bytes(raw_[t], 64);
        }
        w.marker(p_.precision == 8 ? 0xC0 : 0xC1);
        w.word(8 + 3 * p_.nc);
        w.byte(p_.precision);
        w.word(img_.height);
        w.word(img_.width);
        w.byte(p_.nc);
        for (const Component& c : p_.comps) w.byte(c.id), w.byte(c.h << 4 | c.v), w.byte(c.tq);
        for (int i = 0; i < 4; ++i) {
            if (!tableUsed_[i / 2]) continue;
            const int n = tables_[i].count();
            w.marker(0xC4);
            w.word(19 + n);
            w.byte((i & 1) << 4 | i / 2);
            w.bytes(tables_[i].bits, 16);
            w.bytes(tables_[i].vals, n);
        }
        if (p_.intervals > 1 || opt_.restartInterval > 0 || opt_.restartRows > 0) {
            w.marker(0xDD);
            w.word(4);
            w.word(int(p_.ri));
        }
        w.marker(0xDA);
        w.word(6 + 2 * p_.nc);
        w.byte(p_.nc);
        for (int c = 0; c < p_.nc; ++c) w.byte(p_.comps[c].id), w.byte(p_.tableOf[c] << 4 | p_.tableOf[c]);
        w.byte(0), w.byte(63), w.byte(0);
        for (std::size_t k = 0; k < segs.size(); ++k) {
            if (k) w.marker(0xD0 + int((k - 1) % 8));
            w.bytes(segs[k].data(), segs[k].size());
        }
        w.marker(0xD9);
    }

    const Image& img_;
    const EncodeOptions& opt_;
    Plan p_;
    Kep8u raw_[2][64];
    alignas(16) Kep16u fwd_[2][64];
    alignas(16) Kep32f fwd32_[2][64];
    std::vector<std::vector<std::int16_t>> coefs_;
    std::vector<int> stats_;
    Table tables_[4];   // DC 0, AC 0, DC 1, AC 1
    EncSpec specs_[4];
    bool tableUsed_[2] = {false, false};
};

}  // namespace

bool encode(const Image& img, const EncodeOptions& opt, std::vector<std::uint8_t>& out, std::string& err) {
    Encoder enc(img, opt);
    out.clear();
    return enc.run(out, err);
}

const char* samplingName(Sampling s) {
    return s == Sampling::s444 ? "4:4:4" : s == Sampling::s422 ? "4:2:2" : "4:2:0";
}

}  // namespace kepjpeg
