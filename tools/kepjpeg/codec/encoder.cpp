// Sequential DCT encoding (ITU-T T.81 Annex F.1): colour conversion and down-sampling into
// MCU-padded planes, forward DCT with quantization and Huffman coding restart interval by restart
// interval (in parallel when asked), all through libkepjx1; the tool writes the markers.
#include <cstdio>
#include <cstring>
#include <mutex>

#include "codec.h"
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
        if (opt_.lossless) return runLossless(out, err);
        if (!plan(err) || !prepareTables(err)) return false;
        report(0.05);
        const bool store = opt_.optimize || p_.precision == 12 || opt_.coefficientsOut || opt_.progressive;
        if (store && !transformAll(err)) return false;
        report(0.55);
        if (opt_.progressive) return runProgressive(out, err);
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
        if (opt_.progressive && im.precision != 8)
            return err = "progressive coding is available for 8-bit samples only", false;
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
        const bool count = (opt_.optimize || p_.precision == 12) && !opt_.progressive;
        std::vector<std::vector<int>> stats(p_.intervals);
        std::atomic<bool> failed{false}, badStats{false};
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
                if (count && kepiGetHuffmanStatistics8x8_JPEG_16s_C1(blk, &st[(2 * t) * 257], &st[(2 * t + 1) * 257],
                                                                     &lastDC[c]) != kepOk)
                    badStats = true;
            });
        });
        if (failed) return err = "forward DCT failed", false;
        if (badStats) return err = "a coefficient is too large for Huffman coding", false;
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
        // Room for sixteen bytes per MCU to start with; grown when a block might not fit.
        seg.resize(std::size_t(m1 - m0) * 16 + 4096);
        int pos = 0;
        Kep16s lastDC[4] = {0, 0, 0, 0};
        KepResult r = kepOk;
        // The blocks of an MCU in coding order: block (dx, dy) of component c, whose MCUs are
        // across x down blocks, and its Huffman tables.
        struct Slot {
            int c, dx, dy, across, down;
            const KepiEncodeHuffmanSpec* dc;
            const KepiEncodeHuffmanSpec* ac;
        };
        std::vector<Slot> slots;
        for (int c = 0; c < p_.nc; ++c) {
            const Component& cp = p_.comps[c];
            const int bh = p_.nc == 1 ? 1 : cp.h, bv = p_.nc == 1 ? 1 : cp.v, t = p_.tableOf[c];
            for (int v = 0; v < bv; ++v)
                for (int h = 0; h < bh; ++h) slots.push_back({c, h, v, bh, bv, specs_[2 * t].get(), specs_[2 * t + 1].get()});
        }
        // The MCUs of the interval one MCU row at a time: the forward DCT of all their blocks
        // into run (unless stored), then the coding of them all, so that each loop keeps its own
        // code and tables in cache.
        std::vector<Kep16s> run;
        long blocks = 0;
        Strip strip;
        for (long ma = m0; ma < m1 && r == kepOk;) {
            const int my = int(ma / p_.mcusX);
            const long mb = std::min(m1, long(my + 1) * p_.mcusX);
            const long mx0 = ma - long(my) * p_.mcusX, mx1 = mb - long(my) * p_.mcusX;
            ma = mb;
            if (!store) {
                if (strip.my != my) fillStrip(strip, my);
                run.resize(std::size_t(mx1 - mx0) * slots.size() * 64);
                Kep16s* out = run.data();
                for (long mx = mx0; mx < mx1 && r == kepOk; ++mx)
                    for (const Slot& b : slots) {
                        if ((r = transform(strip, b.c, int(mx * b.across + b.dx), my * b.down + b.dy, out)) != kepOk) break;
                        out += 64;
                    }
            }
            const Kep16s* in = run.data();
            for (long mx = mx0; mx < mx1 && r == kepOk; ++mx)
                for (const Slot& b : slots) {
                    // Room for any block (at most 518 bytes with stuffing) before it is coded.
                    if (seg.size() - pos < 1024) seg.resize(seg.size() * 2);
                    const Kep16s* blk = store ? stored(b.c, int(mx * b.across + b.dx), my * b.down + b.dy) : in;
                    if (!store) in += 64;   // run holds nothing when the blocks are stored
                    r = kepiEncodeHuffman8x8_JPEG_16s1u_C1(blk, seg.data(), int(seg.size()), &pos, &lastDC[b.c], b.dc, b.ac,
                                                           state, 0);
                    if (r != kepOk) break;
                    if (opt_.progress && p_.intervals == 1 && (++blocks & 8191) == 0)
                        report(0.55 + 0.45 * double(m0 + blocks / 2) / double(p_.totalMcus));
                }
        }
        if (r == kepOk)
            r = kepiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, seg.data(), int(seg.size()), &pos, nullptr, nullptr, nullptr,
                                                   state, 1);
        seg.resize(pos);
        if (r == kepErrHuffmanTable) return "a coefficient is outside the range the Huffman tables can code";
        if (r != kepOk) return "entropy coding failed (" + std::to_string(r) + ")";
        return "";
    }

    // ---- Progressive coding (T.81 G.1): the stored coefficients coded scan by scan, each scan
    // with its own optimal Huffman tables from a first pass of the statistics primitives.

    struct Scan {
        int ns;
        int comp[4];
        int ss, se, ah, al;
    };

    // Spectral selection and successive approximation: DC of all components at Al 1, the low
    // AC band (1..5) and the rest at Al 2 per component, one AC refinement to Al 1, the DC
    // refinement, and the last AC refinement to Al 0.
    std::vector<Scan> progressionScript() const {
        std::vector<Scan> v;
        v.push_back({p_.nc, {0, 1, 2, 3}, 0, 0, 0, 1});
        for (int c = 0; c < p_.nc; ++c) v.push_back({1, {c}, 1, 5, 0, 2});
        for (int c = 0; c < p_.nc; ++c) v.push_back({1, {c}, 6, 63, 0, 2});
        for (int c = 0; c < p_.nc; ++c) v.push_back({1, {c}, 1, 63, 2, 1});
        v.push_back({p_.nc, {0, 1, 2, 3}, 0, 0, 1, 0});
        for (int c = 0; c < p_.nc; ++c) v.push_back({1, {c}, 1, 63, 1, 0});
        return v;
    }

    // MCUs of a scan: a single-component scan has one block per MCU over the component's own
    // size (T.81 A.2.2); an interleaved scan uses the frame's MCUs.
    long scanMcusX(const Scan& s) const { return s.ns == 1 ? ceilDiv(p_.comps[s.comp[0]].width, 8) : p_.mcusX; }
    long scanMcus(const Scan& s) const {
        return s.ns == 1 ? scanMcusX(s) * ceilDiv(p_.comps[s.comp[0]].height, 8) : p_.totalMcus;
    }

    // One restart interval of a scan: counts the symbols into stats (2 * 257 per table slot, DC
    // then AC) when stats is given, otherwise codes them into seg with specs (DC, AC per slot).
    KepResult progressiveInterval(const Scan& s, long m0, long m1, int* stats, EncSpec* specs,
                                  std::vector<std::uint8_t>* seg) {
        alignas(64) unsigned char stateBuf[KEPI_ENCODE_HUFFMAN_STATE_SIZE];
        auto* state = reinterpret_cast<KepiEncodeHuffmanState*>(stateBuf);
        kepiEncodeHuffmanStateInit_JPEG_8u(state);
        Kep16s lastDC[4] = {0, 0, 0, 0};
        const bool dc = s.ss == 0;
        const long mcusX = scanMcusX(s);
        int pos = 0;
        if (seg) seg->resize(std::size_t(m1 - m0) * 64 + 4096);
        KepResult r = kepOk;
        auto block = [&](int ci, long bx, long by) {
            if (r != kepOk) return;
            const int c = s.comp[ci], t = p_.tableOf[c];
            const Kep16s* blk = stored(c, int(bx), int(by));
            int* st = stats ? stats + 2 * 257 * t : nullptr;
            if (stats) {
                if (dc && s.ah == 0)
                    r = kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(blk, st, &lastDC[ci], s.al);
                else if (!dc && s.ah == 0)
                    r = kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(blk, st + 257, s.ss, s.se, s.al, state, 0);
                else if (!dc)
                    r = kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(blk, st + 257, s.ss, s.se, s.al, state, 0);
                return;
            }
            // Room for any block and a pending end-of-band run with its correction bits.
            if (seg->size() - pos < 2048) seg->resize(seg->size() * 2);
            Kep8u* d = seg->data();
            const int n = int(seg->size());
            if (dc && s.ah == 0)
                r = kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(blk, d, n, &pos, &lastDC[ci], s.al, specs[2 * t].get(), state, 0);
            else if (dc)
                r = kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(blk, d, n, &pos, s.al, state, 0);
            else if (s.ah == 0)
                r = kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(blk, d, n, &pos, s.ss, s.se, s.al, specs[2 * t + 1].get(), state, 0);
            else
                r = kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(blk, d, n, &pos, s.ss, s.se, s.al, specs[2 * t + 1].get(), state, 0);
        };
        for (long m = m0; m < m1; ++m) {
            const long mx = m % mcusX, my = m / mcusX;
            if (s.ns == 1) {
                block(0, mx, my);
                continue;
            }
            for (int ci = 0; ci < s.ns; ++ci) {
                const Component& cp = p_.comps[s.comp[ci]];
                for (int v = 0; v < cp.v; ++v)
                    for (int h = 0; h < cp.h; ++h) block(ci, mx * cp.h + h, my * cp.v + v);
            }
        }
        if (r != kepOk) return r;
        // End of the interval: pending end-of-band runs and correction bits, then the last byte.
        if (stats) {
            const int t = p_.tableOf[s.comp[0]];
            if (!dc && s.ah == 0) r = kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(nullptr, stats + 2 * 257 * t + 257, 0, 0, 0, state, 1);
            if (!dc && s.ah != 0) r = kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(nullptr, stats + 2 * 257 * t + 257, 0, 0, 0, state, 1);
            return r;
        }
        Kep8u* d = seg->data();
        const int n = int(seg->size());
        if (dc)
            r = kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(nullptr, d, n, &pos, 0, state, 1);
        else if (s.ah == 0)
            r = kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(nullptr, d, n, &pos, 0, 0, 0, specs[2 * p_.tableOf[s.comp[0]] + 1].get(), state, 1);
        else
            r = kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(nullptr, d, n, &pos, 0, 0, 0, specs[2 * p_.tableOf[s.comp[0]] + 1].get(), state, 1);
        seg->resize(pos);
        return r;
    }

    bool runProgressive(std::vector<std::uint8_t>& out, std::string& err) {
        tableUsed_[0] = tableUsed_[1] = false;
        for (int c = 0; c < p_.nc; ++c) tableUsed_[p_.tableOf[c]] = true;
        out.clear();
        Writer w(out);
        writeHeader(w, 0xC2);
        writeRestartInterval(w);
        const std::vector<Scan> script = progressionScript();
        for (std::size_t si = 0; si < script.size(); ++si) {
            const Scan& s = script[si];
            // The DRI interval counts the MCUs of each scan, whatever their size.
            const bool restarts = p_.intervals > 1 || opt_.restartInterval > 0 || opt_.restartRows > 0;
            const long total = scanMcus(s), ri = restarts ? p_.ri : total;
            const int intervals = int((total + ri - 1) / ri);
            // First pass: symbol counts per interval (in parallel), summed.
            std::vector<std::vector<int>> stats(intervals, std::vector<int>(4 * 257, 0));
            std::vector<KepResult> res(intervals, kepOk);
            const bool huffman = !(s.ss == 0 && s.ah != 0);   // DC refinement bits are not Huffman coded
            if (huffman) {
                parallelFor(intervals, opt_.threads, [&](int k) {
                    res[k] = progressiveInterval(s, k * ri, std::min(total, (k + 1) * ri), stats[k].data(), nullptr, nullptr);
                });
                for (int k = 0; k < intervals; ++k)
                    if (res[k] != kepOk) return err = "a coefficient is outside the range progressive coding allows", false;
                for (int k = 1; k < intervals; ++k)
                    for (int i = 0; i < 4 * 257; ++i) stats[0][i] += stats[k][i];
            }
            // Optimal tables of this scan, one per table slot it uses.
            EncSpec specs[4];
            Table tables[4];
            bool used[4] = {false, false, false, false};
            for (int ci = 0; ci < s.ns && huffman; ++ci) {
                const int i = 2 * p_.tableOf[s.comp[ci]] + (s.ss ? 1 : 0);
                if (used[i]) continue;
                used[i] = true;
                if (kepiEncodeHuffmanRawTableInit_JPEG_8u(&stats[0][i * 257], tables[i].bits, tables[i].vals) != kepOk ||
                    kepiEncodeHuffmanSpecInit_JPEG_8u(tables[i].bits, tables[i].vals, specs[i].get()) != kepOk)
                    return err = "optimal Huffman table construction failed", false;
            }
            std::vector<std::vector<std::uint8_t>> segs(intervals);
            parallelFor(intervals, opt_.threads, [&](int k) {
                res[k] = progressiveInterval(s, k * ri, std::min(total, (k + 1) * ri), nullptr, specs, &segs[k]);
            });
            for (int k = 0; k < intervals; ++k)
                if (res[k] != kepOk) return err = "progressive entropy coding failed (" + std::to_string(res[k]) + ")", false;
            for (int i = 0; i < 4; ++i)
                if (used[i]) writeDHT(w, i & 1, i / 2, tables[i]);
            writeScan(w, s.ns, s.comp, s.ss, s.se, s.ah, s.al, segs);
            report(0.55 + 0.45 * double(si + 1) / double(script.size()));
        }
        w.marker(0xD9);
        if (opt_.coefficientsOut) *opt_.coefficientsOut = coefs_;
        return true;
    }

    // ---- Lossless coding (T.81 Annex H): every component at full size in one interleaved scan,
    // samples shifted right by the point transform, predicted row by row, the differences coded
    // with an optimal table per component. Restart intervals are whole rows (the first row of
    // an interval uses the first-row prediction).
    bool runLossless(std::vector<std::uint8_t>& out, std::string& err) {
        const Image& im = img_;
        const int P = im.precision, Pt = opt_.pointTransform, W = im.width, H = im.height, nc = im.channels;
        if (W < 1 || H < 1 || W > 65535 || H > 65535) return err = "image size must be 1 to 65535 pixels in each direction", false;
        if (nc != 1 && nc != 3 && nc != 4) return err = "images need 1, 3 or 4 channels", false;
        if (opt_.grayscale && nc != 1) return err = "lossless coding keeps every channel (no grayscale conversion)", false;
        if (P < 2 || P > 16) return err = "lossless sample precision must be 2 to 16", false;
        if (opt_.predictor < 1 || opt_.predictor > 7) return err = "lossless predictor must be 1 to 7", false;
        if (Pt < 0 || Pt >= P) return err = "point transform must be 0 to precision - 1", false;
        const bool eight = P == 8 && im.px16.size() < im.samples();
        if ((eight ? im.px8.size() : im.px16.size()) < im.samples()) return err = "image buffer smaller than its geometry", false;
        for (std::size_t i = 0; !eight && i < im.samples(); ++i)
            if (im.px16[i] >> P) return err = "a sample exceeds the image's precision", false;
        long rowsPer = H;
        if (opt_.restartRows > 0) rowsPer = opt_.restartRows;
        else if (opt_.restartInterval > 0) {
            if (opt_.restartInterval % W) return err = "lossless restart intervals must be whole rows (use --restart-rows)", false;
            rowsPer = opt_.restartInterval / W;
        }
        const bool restarts = opt_.restartRows > 0 || opt_.restartInterval > 0;
        if (restarts && rowsPer * W > 65535) return err = "restart interval above 65535 samples", false;
        const int intervals = int((H + rowsPer - 1) / rowsPer);
        // The differences of row y of component c into d, from the samples shifted by the point
        // transform: cur receives the row, prev holds the row above (the first row of an
        // interval has none); the two are exchanged for the next row. The differences are made
        // twice, for the counts and for the coding, rather than kept for the whole image.
        auto predict = [&](int c, long y, long y0, std::vector<Kep16s>& cur, std::vector<Kep16s>& prev, Kep16s* d) {
            const std::size_t i0 = std::size_t(y) * W * nc + c;
            if (eight)
                for (int x = 0; x < W; ++x) cur[x] = Kep16s(im.px8[i0 + std::size_t(x) * nc] >> Pt);
            else
                for (int x = 0; x < W; ++x) cur[x] = Kep16s(im.px16[i0 + std::size_t(x) * nc] >> Pt);
            const KepResult r = y == y0 ? kepiDiffPredFirstRow_JPEG_16s_C1(cur.data(), d, W, P, Pt)
                                        : kepiDiffPredRow_JPEG_16s_C1(cur.data(), prev.data(), d, W, opt_.predictor);
            cur.swap(prev);
            return r;
        };
        // Counts of the differences per interval.
        std::vector<std::vector<int>> stats(intervals, std::vector<int>(4 * 257, 0));
        std::vector<KepResult> res(intervals, kepOk);
        parallelFor(intervals, opt_.threads, [&](int k) {
            std::vector<Kep16s> cur(W), prev(W), diff(W);
            const long y0 = k * rowsPer, y1 = std::min<long>(H, y0 + rowsPer);
            for (int c = 0; c < nc; ++c)
                for (long y = y0; y < y1; ++y) {
                    KepResult r = predict(c, y, y0, cur, prev, diff.data());
                    for (int x = 0; x < W && r == kepOk; ++x) r = kepiGetHuffmanStatisticsOne_JPEG_16s_C1(&diff[x], &stats[k][c * 257]);
                    if (r != kepOk) res[k] = r;
                }
        });
        for (int k = 0; k < intervals; ++k)
            if (res[k] != kepOk) return err = "lossless prediction failed (" + std::to_string(res[k]) + ")", false;
        Table tables[4];
        EncSpec specs[4];
        const KepiEncodeHuffmanSpec* specPtr[4] = {};
        for (int c = 0; c < nc; ++c) {
            for (int k = 1; k < intervals; ++k)
                for (int i = 0; i < 257; ++i) stats[0][c * 257 + i] += stats[k][c * 257 + i];
            if (kepiEncodeHuffmanRawTableInit_JPEG_8u(&stats[0][c * 257], tables[c].bits, tables[c].vals) != kepOk ||
                kepiEncodeHuffmanSpecInit_JPEG_8u(tables[c].bits, tables[c].vals, specs[c].get()) != kepOk)
                return err = "optimal Huffman table construction failed", false;
            specPtr[c] = specs[c].get();
        }
        std::vector<std::vector<std::uint8_t>> segs(intervals);
        parallelFor(intervals, opt_.threads, [&](int k) {
            alignas(64) unsigned char stateBuf[KEPI_ENCODE_HUFFMAN_STATE_SIZE];
            auto* state = reinterpret_cast<KepiEncodeHuffmanState*>(stateBuf);
            kepiEncodeHuffmanStateInit_JPEG_8u(state);
            const long y0 = k * rowsPer, y1 = std::min<long>(H, y0 + rowsPer);
            // A row takes at most 32 bits per difference, doubled for stuffing; the segment
            // starts at one byte per sample and grows when a row might not fit.
            std::vector<std::uint8_t>& seg = segs[k];
            const std::size_t rowMax = std::size_t(W) * nc * 8 + 64;
            seg.resize(std::size_t(y1 - y0) * W * nc + rowMax);
            int pos = 0;
            KepResult r = kepOk;
            std::vector<Kep16s> cur[4], prev[4], diff(std::size_t(nc) * W);
            const Kep16s* rows[4] = {};
            for (int c = 0; c < nc; ++c) cur[c].resize(W), prev[c].resize(W), rows[c] = &diff[std::size_t(c) * W];
            for (long y = y0; y < y1 && r == kepOk; ++y) {
                if (seg.size() - pos < rowMax) seg.resize(std::max(2 * seg.size(), pos + rowMax));
                for (int c = 0; c < nc; ++c) predict(c, y, y0, cur[c], prev[c], &diff[std::size_t(c) * W]);
                r = kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, W, nc, seg.data(), int(seg.size()), &pos, specPtr, state, 0);
            }
            if (r == kepOk)
                r = kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, seg.data(), int(seg.size()), &pos, nullptr, state, 1);
            seg.resize(pos);
            res[k] = r;
        });
        for (int k = 0; k < intervals; ++k)
            if (res[k] != kepOk) return err = "lossless entropy coding failed (" + std::to_string(res[k]) + ")", false;
        out.clear();
        Writer w(out);
        w.marker(0xD8);
        if (nc >= 3) {
            // Adobe APP14 with transform 0: the components are RGB or CMYK as given.
            w.marker(0xEE);
            w.word(14);
            w.bytes("Adobe\0\144\0\0\0\0", 11);
            w.byte(0);
        }
        w.marker(0xC3);
        w.word(8 + 3 * nc);
        w.byte(P), w.word(H), w.word(W), w.byte(nc);
        for (int c = 0; c < nc; ++c) w.byte(c + 1), w.byte(0x11), w.byte(0);
        for (int c = 0; c < nc; ++c) writeDHT(w, 0, c, tables[c]);
        if (restarts) w.marker(0xDD), w.word(4), w.word(int(rowsPer * W));
        w.marker(0xDA);
        w.word(6 + 2 * nc);
        w.byte(nc);
        for (int c = 0; c < nc; ++c) w.byte(c + 1), w.byte(c << 4);
        w.byte(opt_.predictor), w.byte(0), w.byte(Pt);
        for (int k = 0; k < intervals; ++k) {
            if (k) w.marker(0xD0 + (k - 1) % 8);
            w.bytes(segs[k].data(), segs[k].size());
        }
        w.marker(0xD9);
        report(1.0);
        return true;
    }

    void writeFile(std::vector<std::uint8_t>& out, const std::vector<std::vector<std::uint8_t>>& segs) {
        std::size_t total = 1024;
        for (const auto& s : segs) total += s.size() + 2;
        out.clear();
        out.reserve(total);
        Writer w(out);
        writeHeader(w, p_.precision == 8 ? 0xC0 : 0xC1);
        for (int i = 0; i < 4; ++i)
            if (tableUsed_[i / 2]) writeDHT(w, i & 1, i / 2, tables_[i]);
        writeRestartInterval(w);
        int comps[4] = {0, 1, 2, 3};
        writeScan(w, p_.nc, comps, 0, 63, 0, 0, segs);
        w.marker(0xD9);
    }

    static void writeDHT(Writer& w, int cls, int id, const Table& t) {
        const int n = t.count();
        w.marker(0xC4);
        w.word(19 + n);
        w.byte(cls << 4 | id);
        w.bytes(t.bits, 16);
        w.bytes(t.vals, n);
    }

    void writeRestartInterval(Writer& w) const {
        if (p_.intervals > 1 || opt_.restartInterval > 0 || opt_.restartRows > 0) {
            w.marker(0xDD);
            w.word(4);
            w.word(int(p_.ri));
        }
    }

    // SOS (table selectors are the components' table slots) and the intervals with RST markers.
    void writeScan(Writer& w, int ns, const int* comps, int ss, int se, int ah, int al,
                   const std::vector<std::vector<std::uint8_t>>& segs) const {
        w.marker(0xDA);
        w.word(6 + 2 * ns);
        w.byte(ns);
        for (int i = 0; i < ns; ++i) w.byte(p_.comps[comps[i]].id), w.byte(p_.tableOf[comps[i]] << 4 | p_.tableOf[comps[i]]);
        w.byte(ss), w.byte(se), w.byte(ah << 4 | al);
        for (std::size_t k = 0; k < segs.size(); ++k) {
            if (k) w.marker(0xD0 + int((k - 1) % 8));
            w.bytes(segs[k].data(), segs[k].size());
        }
    }

    // SOI, APPn, DQT and the frame header.
    void writeHeader(Writer& w, int sof) {
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
        w.marker(sof);
        w.word(8 + 3 * p_.nc);
        w.byte(p_.precision);
        w.word(img_.height);
        w.word(img_.width);
        w.byte(p_.nc);
        for (const Component& c : p_.comps) w.byte(c.id), w.byte(c.h << 4 | c.v), w.byte(c.tq);
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
