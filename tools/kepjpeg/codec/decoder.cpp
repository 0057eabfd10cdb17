// Sequential DCT decoding (ITU-T T.81 Annex F.2): entropy decoding restart interval by restart
// interval (in parallel when asked), dequantization and inverse DCT, up-sampling and colour
// conversion, all through libkepjx1.
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

#include "codec.h"
#include "internal.h"
#include "kepjx1.h"
#include "parse.h"

namespace kepjpeg {
namespace {

using namespace detail;

struct alignas(64) DecSpec {
    unsigned char b[KEPI_DECODE_HUFFMAN_SPEC_SIZE];
    KepiDecodeHuffmanSpec* get() { return reinterpret_cast<KepiDecodeHuffmanSpec*>(b); }
};

std::string fmt(const char* f, long a = 0, long b = 0, long c = 0) {
    char buf[200];
    std::snprintf(buf, sizeof buf, f, a, b, c);
    return buf;
}

// The first error of a decode, kept across threads.
class ErrorSlot {
public:
    void set(const std::string& e) {
        std::lock_guard<std::mutex> g(m_);
        if (msg_.empty()) msg_ = e;
    }
    void prepend(const std::string& e) {
        std::lock_guard<std::mutex> g(m_);
        msg_ = msg_.empty() ? e : e + "; " + msg_;
    }
    std::string get() const { return msg_; }
    bool any() const { return !msg_.empty(); }

private:
    mutable std::mutex m_;
    std::string msg_;
};

class Decoder {
    // A component's samples (whole-image planes where needed) and dequantization tables.
    struct Plane {
        int stride = 0;
        std::unique_ptr<std::uint8_t[]> p8;
        std::unique_ptr<std::uint16_t[]> p16;
        alignas(16) Kep16u inv16[64];
        alignas(16) Kep32f inv32[64];
    };

public:
    Decoder(const std::uint8_t* d, std::size_t n, const DecodeOptions& opt) : d_(d), n_(n), opt_(opt) {}

    void keepBuffers(Image& img) {
        keep8_.swap(img.px8);
        keep16_.swap(img.px16);
    }

    bool run(Image& img, std::string& err) {
        img_ = &img;
        JpegInfo info;
        TableState tables;
        std::string walkErr;
        const bool walked = walkSegments(
            d_, n_, info, tables,
            [this](const JpegInfo& fi, const TableState& t, const ScanInfo& s) { return decodeScan(fi, t, s); },
            walkErr);
        // A structural error (such as truncation) explains the decoding errors it caused, so it
        // comes first in the message.
        if (!walked && !walkErr.empty()) errors_.prepend(walkErr);
        if (!started_) {
            if (!errors_.any()) errors_.set(info.sofMarker < 0 ? "no frame header" : "no scan in the file");
            err = errors_.get();
            return false;
        }
        if (opt_.coefficientsOut) *opt_.coefficientsOut = coefs_;
        if (fatal_) {
            img = Image();   // written in part by the scans before the failure
        } else if (lossless_) {
            if (info.comps.size() == 2) errors_.set("two-component image: only the first component is written");
        } else if (!streamed_) {
            if (!coefs_.empty()) inverseTransformStored(info);
            reconstruct(info, img);
        }
        if (!errors_.any() && !info.sawEOI) errors_.set("no EOI marker");
        err = errors_.get();
        return !errors_.any();
    }

private:
    // Frame checks, sample planes and dequantization tables at the first scan.
    //
    // Where the other processes go: a progressive frame (SOF2) will decode its scans into the
    // stored coefficients (coefs_, the path multi-scan sequential files already take) with the
    // library's progressive Huffman primitives, refine them scan by scan and finish in
    // inverseTransformStored; a lossless frame (SOF3) will decode differences into the sample
    // planes with the lossless primitives and skip the transform. Both then share reconstruct.
    bool startFrame(const JpegInfo& fi, const TableState& t) {
        if (fi.sofMarker == 0xC3) return startLossless(fi);
        if (fi.sofMarker != 0xC0 && fi.sofMarker != 0xC1 && fi.sofMarker != 0xC2)
            return fail(fmt("frame type SOF%ld is not supported (sequential, progressive and lossless Huffman only)",
                            fi.sofMarker - 0xC0));
        if (!(fi.precision == 8 || (fi.precision == 12 && fi.sofMarker != 0xC0)))
            return fail(fmt("sample precision %ld is not supported in this frame type", fi.precision));
        started_ = true;
        const int nc = int(fi.comps.size());
        planes_.resize(nc);
        for (int c = 0; c < nc; ++c) {
            const Component& comp = fi.comps[c];
            if (!t.quant[comp.tq].present) return fail(fmt("component %ld: quantization table %ld is not defined", comp.id, comp.tq));
            Plane& pl = planes_[c];
            pl.stride = comp.blocksW * 8;
            const QuantTable& q = t.quant[comp.tq];
            if (q.precision == 0) {
                Kep8u raw[64];
                for (int k = 0; k < 64; ++k) raw[k] = Kep8u(q.zz[k]);
                kepiQuantInvTableInit_JPEG_8u16u(raw, pl.inv16);
            } else {
                // 16-bit DQT entries: no 8-bit raw form; the quantizers are only reordered.
                for (int k = 0; k < 64; ++k) pl.inv16[kNaturalOrder[k]] = q.zz[k];
            }
            for (int k = 0; k < 64; ++k) pl.inv32[k] = Kep32f(pl.inv16[k]);
        }
        return true;
    }

    // Whole-image sample planes, for scans that are not up-sampled and converted as they are
    // decoded. Every sample is written by the inverse DCT of some block (a zero block where the
    // data is missing), so the planes need no initialisation.
    void allocatePlanes(const JpegInfo& fi) {
        for (std::size_t c = 0; c < fi.comps.size(); ++c) {
            Plane& pl = planes_[c];
            const std::size_t n = std::size_t(pl.stride) * fi.comps[c].blocksH * 8;
            if (fi.precision == 12 && !pl.p16)
                pl.p16.reset(new std::uint16_t[n]);
            else if (fi.precision != 12 && !pl.p8)
                pl.p8.reset(new std::uint8_t[n]);
        }
    }

    // Dequantization and inverse DCT of one block into its place in the component's plane (reach:
    // as for inverseTransform8).
    void inverseTransform(int c, long bx, long by, const Kep16s* blk, unsigned reach = 0) {
        Plane& pl = planes_[c];
        const std::size_t off = std::size_t(by) * 8 * pl.stride + std::size_t(bx) * 8;
        if (pl.p16)
            kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(blk, &pl.p16[off], pl.stride * 2, pl.inv32);
        else
            inverseTransform8(pl, blk, &pl.p8[off], pl.stride, reach);
    }

    // The blockPos of a baseline decoder state: its fields are the 64-bit bits read ahead, the
    // 32-bit bit count and end-of-band run, then blockPos.
    static unsigned blockPos(const unsigned char* state) {
        std::uint32_t v;
        std::memcpy(&v, state + 16, sizeof v);
        return v;
    }

    // How far a block reaches, from its coefficients: 3 when they all lie in the top-left 2x2
    // corner, 10 in the 4x4 corner, else 64.
    static unsigned reachOf(const Kep16s* blk) {
        // Four coefficients per word: w[2v] holds columns 0..3 of row v, w[2v + 1] columns 4..7.
        std::uint64_t w[16];
        std::memcpy(w, blk, sizeof w);
        const std::uint64_t outside4 = w[1] | w[3] | w[5] | w[7] | w[8] | w[9] | w[10] | w[11] | w[12] | w[13] |
                                       w[14] | w[15];
        const std::uint64_t outside2 = outside4 | w[4] | w[6] | (w[0] >> 32) | (w[2] >> 32);
        return !outside2 ? 3 : !outside4 ? 10 : 64;
    }

    // Dequantization and inverse DCT of one block to 8-bit samples at dst, rows step apart.
    // Blocks whose nonzero coefficients all lie in the top-left 2x2 or 4x4 corner (most blocks of
    // a photograph at usual qualities) take the shortcut forms, which give exactly the full
    // transform's result. reach is the decoder's blockPos for the block when known (0 when not):
    // one more than the zigzag position of its last coefficient, so at most 3 keeps every
    // coefficient in the 2x2 corner (zigzag 0..2 are natural 0, 1, 8) and at most 10 in the 4x4
    // corner (zigzag 0..9 lie in rows and columns 0..3). Past that the full form sorts out the
    // blocks with a zero half itself, and every form spots DC-only blocks.
    static void inverseTransform8(const Plane& pl, const Kep16s* blk, Kep8u* dst, int step, unsigned reach = 0) {
        if (reach == 0) reach = reachOf(blk);
        if (reach <= 3)
            kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(blk, dst, step, pl.inv16);
        else if (reach <= 10)
            kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(blk, dst, step, pl.inv16);
        else
            kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R(blk, dst, step, pl.inv16);
    }

    // The inverse DCT of every block of stored coefficients (files coded in several scans).
    void inverseTransformStored(const JpegInfo& fi) {
        allocatePlanes(fi);
        for (std::size_t c = 0; c < fi.comps.size(); ++c) {
            const Component& comp = fi.comps[c];
            parallelFor(comp.blocksH, opt_.threads, [&](int by) {
                for (int bx = 0; bx < comp.blocksW; ++bx)
                    inverseTransform(int(c), bx, by, &coefs_[c][(std::size_t(by) * comp.blocksW + bx) * 64]);
            });
        }
    }

    bool fail(const std::string& e) {
        errors_.set(e);
        fatal_ = true;
        return false;
    }

    // Restart intervals of a scan: the bytes between RST markers. Returns how many of the
    // expected intervals are present; mismatches are reported.
    int splitIntervals(const ScanInfo& s, int intervals, std::vector<std::size_t>& begins, std::vector<std::size_t>& ends) {
        begins.assign(1, s.dataBegin);
        ends.clear();
        // The scan's end was found by a pass that counted the RSTn markers on its way (stuffed
        // zeros and fill bytes skipped the same way as here): with none, there is nothing to split
        // and the data need not be searched again.
        for (std::size_t p = s.dataBegin; s.restartMarkers != 0 && p + 1 < s.dataEnd;) {
            const void* ff = std::memchr(d_ + p, 0xFF, s.dataEnd - p - 1);
            if (!ff) break;
            p = std::size_t(static_cast<const std::uint8_t*>(ff) - d_);
            const int m = d_[p + 1];
            if (m >= 0xD0 && m <= 0xD7) {
                if (s.restartInterval == 0) {
                    errors_.set("restart marker in a scan without restart interval");
                } else if (m - 0xD0 != int(ends.size() % 8)) {
                    errors_.set(fmt("restart marker RST%ld where RST%ld was expected", m - 0xD0, long(ends.size() % 8)));
                }
                ends.push_back(p);
                begins.push_back(p + 2);
                p += 2;
            } else {
                p += 1;
            }
        }
        ends.push_back(s.dataEnd);
        if (int(begins.size()) < intervals)
            errors_.set(fmt("%ld of %ld restart intervals present (truncated or corrupt data)", long(begins.size()), intervals));
        else if (int(begins.size()) > intervals)
            errors_.set(fmt("%ld restart intervals where %ld were expected", long(begins.size()), intervals));
        return std::min<int>(intervals, int(begins.size()));
    }

    struct ScanGeometry {
        int mcusX, intervals, present;
        long total, ri;
    };

    // MCUs and restart intervals of a DCT scan: one block per MCU in a single-component scan
    // (T.81 A.2.2); begins/ends receive the intervals' bytes.
    ScanGeometry scanGeometry(const JpegInfo& fi, const ScanInfo& s, std::vector<std::size_t>& begins,
                              std::vector<std::size_t>& ends) {
        ScanGeometry g;
        int mcusY = fi.mcusY;
        g.mcusX = fi.mcusX;
        if (s.ns == 1) {
            const Component& c = fi.comps[s.comp[0]];
            g.mcusX = ceilDiv(c.width, 8);
            mcusY = ceilDiv(c.height, 8);
        }
        g.total = long(g.mcusX) * mcusY;
        g.ri = s.restartInterval > 0 ? s.restartInterval : g.total;
        g.intervals = int((g.total + g.ri - 1) / g.ri);
        g.present = splitIntervals(s, g.intervals, begins, ends);
        return g;
    }

    // Calls f(ci, m, bx, by) for every block of MCUs m0..m1-1 of a scan in coding order (one
    // block per MCU in a single-component scan, T.81 A.2.2) and done(m) after each MCU; stops
    // when f returns false.
    template <class F, class D>
    static void forScanBlocks(const JpegInfo& fi, const ScanInfo& s, int mcusX, long m0, long m1, F&& f, D&& done) {
        int mx = int(m0 % mcusX), my = int(m0 / mcusX);
        for (long m = m0; m < m1; ++m) {
            for (int ci = 0; ci < s.ns; ++ci) {
                const Component& c = fi.comps[s.comp[ci]];
                const int bh = s.ns == 1 ? 1 : c.h, bv = s.ns == 1 ? 1 : c.v;
                for (int v = 0; v < bv; ++v)
                    for (int h = 0; h < bh; ++h)
                        if (!f(ci, m, long(mx) * bh + h, long(my) * bv + v)) return;
            }
            done(m);
            if (++mx == mcusX) mx = 0, ++my;
        }
    }

    // Block (dx, dy) of scan component ci (frame component c) in an MCU of across x down blocks
    // of that component, and its Huffman tables.
    struct BlockSlot {
        int ci, c, dx, dy, across, down;
        const KepiDecodeHuffmanSpec* dc;
        const KepiDecodeHuffmanSpec* ac;
    };

    // The reader of one restart interval: its bytes plus the marker that ends it (so that the
    // reader stops there), a fresh decoder state, the position and the marker seen.
    struct IntervalReader {
        alignas(64) unsigned char stateBuf[KEPI_DECODE_HUFFMAN_STATE_SIZE];
        KepiDecodeHuffmanState* state;
        const std::uint8_t* src;
        int len, pos = 0, marker = 0;
        IntervalReader(const std::uint8_t* d, std::size_t n, std::size_t begin, std::size_t end)
            : state(reinterpret_cast<KepiDecodeHuffmanState*>(stateBuf)), src(d + begin),
              len(int(std::min(end + 2, n) - begin)) {
            kepiDecodeHuffmanStateInit_JPEG_8u(state);
        }
    };

    static std::string entropyError(long mcu, KepResult r) {
        return fmt("corrupt entropy-coded data at MCU %ld (", mcu) +
               (r == kepErrStreamEnd        ? "data ended"
                : r == kepErrHuffmanData    ? "no matching code, or a marker too early"
                : r == kepErrCoeffIndex     ? "coefficient run past the block's end"
                : r == kepErrSize           ? "data ended"
                                            : "decoder error") + ")";
    }

    // One scan of a progressive frame (T.81 G.2): DC first / refinement scans (interleaved or
    // not) and AC first / refinement scans (one component each) update the stored coefficients.
    // A failing restart interval keeps what it decoded; later intervals still run.
    bool decodeProgressiveScan(const JpegInfo& fi, const TableState& t, const ScanInfo& s) {
        const bool dcScan = s.ss == 0;
        if ((dcScan && s.se != 0) || (!dcScan && (s.se < s.ss || s.se > 63 || s.ns != 1)) || s.al > 13 ||
            (s.ah != 0 && s.al != s.ah - 1))
            return errors_.set(fmt("invalid progressive scan (Ss %ld, Se %ld, Ah/Al %ld)", s.ss, s.se, s.ah * 16 + s.al)), true;
        DecSpec specs[4];
        for (int k = 0; k < s.ns; ++k) {
            if (dcScan && s.ah != 0) break;  // DC refinement bits are not Huffman coded
            const HuffTable& h = dcScan ? t.dc[s.td[k]] : t.ac[s.ta[k]];
            if (!h.present) return fail(fmt(dcScan ? "scan uses undefined DC Huffman table %ld" : "scan uses undefined AC Huffman table %ld",
                                               dcScan ? s.td[k] : s.ta[k]));
            if (kepiDecodeHuffmanSpecInit_JPEG_8u(h.bits, h.vals, specs[k].get()) != kepOk) return fail("invalid Huffman table");
        }
        std::vector<std::size_t> begins, ends;
        const ScanGeometry geo = scanGeometry(fi, s, begins, ends);
        const int mcusX = geo.mcusX, present = geo.present;
        const long total = geo.total, ri = geo.ri;
        parallelFor(present, opt_.threads, [&](int k) {
            IntervalReader rd(d_, n_, begins[k], ends[k]);
            Kep16s lastDC[4] = {0, 0, 0, 0};
            const long m0 = k * ri, m1 = std::min(total, m0 + ri);
            forScanBlocks(fi, s, mcusX, m0, m1, [&](int ci, long m, long bx, long by) {
                Kep16s* blk = &coefs_[s.comp[ci]][(by * fi.comps[s.comp[ci]].blocksW + bx) * 64];
                KepResult r;
                if (rd.len < 1)
                    r = kepErrStreamEnd;
                else if (dcScan && s.ah == 0)
                    r = kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(rd.src, rd.len, &rd.pos, blk, &lastDC[ci], &rd.marker, s.al,
                                                                   specs[ci].get(), rd.state);
                else if (dcScan)
                    r = kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(rd.src, rd.len, &rd.pos, blk, &rd.marker, s.al, rd.state);
                else if (s.ah == 0)
                    r = kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(rd.src, rd.len, &rd.pos, blk, &rd.marker, s.ss, s.se, s.al,
                                                                   specs[ci].get(), rd.state);
                else
                    r = kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(rd.src, rd.len, &rd.pos, blk, &rd.marker, s.ss, s.se, s.al,
                                                                    specs[ci].get(), rd.state);
                if (r != kepOk) errors_.set(entropyError(m, r));
                return r == kepOk;
            }, [](long) {});
        });
        return true;
    }

    // Lossless frames (T.81 Annex H): full-size components, reconstructed straight into the
    // output image, which starts at zero (rows of missing data stay so). The components are
    // interleaved as coded (no colour transform); 8-bit samples go to px8, others to px16.
    bool startLossless(const JpegInfo& fi) {
        if (fi.precision < 2 || fi.precision > 16) return fail(fmt("lossless sample precision %ld (2 to 16 allowed)", fi.precision));
        for (const Component& c : fi.comps)
            if (c.h != 1 || c.v != 1) return fail("lossless files with sub-sampled components are not supported");
        started_ = true;
        lossless_ = true;
        Image& img = *img_;
        img.px8.swap(keep8_);
        img.px16.swap(keep16_);
        img.width = fi.width, img.height = fi.height, img.precision = fi.precision;
        img.channels = fi.comps.size() == 2 ? 1 : int(fi.comps.size());
        if (fi.precision == 8) {
            img.px16.clear();
            img.px8.assign(img.samples(), 0);
        } else {
            img.px8.clear();
            img.px16.assign(img.samples(), 0);
        }
        return true;
    }

    // Samples of row y of frame component c from its reconstructed values: scaled back by the
    // point transform, kept to P bits (corrupt differences can leave the range), interleaved.
    template <class T>
    static void storeLossless(const Kep16s* v, int W, int P, int Pt, T* out, int channels) {
        const unsigned mask = (1u << P) - 1;
        for (int x = 0; x < W; ++x)
            out[std::size_t(x) * channels] = static_cast<T>((static_cast<std::uint16_t>(v[x]) << Pt) & mask);
    }

    // One lossless scan: the differences of a row of every component in the scan, then the
    // reconstruction from the row above (the first row of an interval from 2^(P-Pt-1)).
    bool decodeLosslessScan(const JpegInfo& fi, const TableState& t, const ScanInfo& s) {
        const int W = fi.width, H = fi.height, P = fi.precision, pred = s.ss, Pt = s.al;
        if (pred < 1 || pred > 7 || Pt >= P)
            return errors_.set(fmt("invalid lossless scan (predictor %ld, point transform %ld)", pred, Pt)), true;
        DecSpec specs[4];
        const KepiDecodeHuffmanSpec* specPtr[4] = {};
        for (int k = 0; k < s.ns; ++k) {
            const HuffTable& h = t.dc[s.td[k]];
            if (!h.present) return fail(fmt("scan uses undefined DC Huffman table %ld", s.td[k]));
            if (kepiDecodeHuffmanSpecInit_JPEG_8u(h.bits, h.vals, specs[k].get()) != kepOk) return fail("invalid Huffman table");
            specPtr[k] = specs[k].get();
        }
        long rowsPer = H;
        if (s.restartInterval > 0) {
            if (s.restartInterval % W) return fail("lossless restart intervals that are not whole rows are not supported");
            rowsPer = s.restartInterval / W;
        }
        const int intervals = int((H + rowsPer - 1) / rowsPer);
        std::vector<std::size_t> begins, ends;
        const int present = splitIntervals(s, intervals, begins, ends);
        parallelFor(present, opt_.threads, [&](int k) {
            IntervalReader rd(d_, n_, begins[k], ends[k]);
            std::vector<Kep16s> diff(std::size_t(s.ns) * W), prev(std::size_t(s.ns) * W), cur(std::size_t(s.ns) * W);
            Kep16s* rows[4] = {};
            for (int c = 0; c < s.ns; ++c) rows[c] = &diff[std::size_t(c) * W];
            const long y0 = k * rowsPer, y1 = std::min<long>(H, y0 + rowsPer);
            for (long y = y0; y < y1; ++y) {
                const KepResult r = rd.len < 1 ? kepErrStreamEnd
                                            : kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(rd.src, rd.len, &rd.pos, rows, W, s.ns, &rd.marker,
                                                                                    specPtr, rd.state);
                if (r != kepOk) {
                    errors_.set(fmt("corrupt entropy-coded data in row %ld (", y) +
                                (r == kepErrStreamEnd ? "data ended" : r == kepErrHuffmanData ? "no matching code, or a marker too early" : "decoder error") + ")");
                    return;
                }
                for (int c = 0; c < s.ns; ++c) {
                    Kep16s* o = &cur[std::size_t(c) * W];
                    if (y == y0)
                        kepiReconstructPredFirstRow_JPEG_16s_C1(rows[c], o, W, P, Pt);
                    else
                        kepiReconstructPredRow_JPEG_16s_C1(rows[c], &prev[std::size_t(c) * W], o, W, pred);
                    Image& img = *img_;
                    const int fc = s.comp[c];
                    if (fc >= img.channels) continue;
                    const std::size_t at = std::size_t(y) * W * img.channels + fc;
                    if (P == 8)
                        storeLossless(o, W, P, Pt, &img.px8[at], img.channels);
                    else
                        storeLossless(o, W, P, Pt, &img.px16[at], img.channels);
                }
                cur.swap(prev);
            }
        });
        return true;
    }

    bool decodeScan(const JpegInfo& fi, const TableState& t, const ScanInfo& s) {
        if (!started_ && !startFrame(fi, t)) return false;
        if (lossless_) return decodeLosslessScan(fi, t, s);
        // A scan with every component is the whole image: its blocks go straight through the
        // inverse DCT while they are in cache. Otherwise coefficients are kept until the last scan.
        const bool direct = s.ns == int(fi.comps.size()) && !opt_.coefficientsOut && !fi.progressive();
        if (!direct && coefs_.empty()) {
            coefs_.resize(fi.comps.size());
            for (std::size_t c = 0; c < fi.comps.size(); ++c)
                coefs_[c].assign(std::size_t(fi.comps[c].blocksW) * fi.comps[c].blocksH * 64, 0);
        }
        if (!direct) streamed_ = false;
        if (fi.progressive()) return decodeProgressiveScan(fi, t, s);
        if (s.ss != 0 || s.se != 63 || s.ah != 0 || s.al != 0)
            errors_.set(fmt("sequential scan with Ss %ld, Se %ld, Ah/Al %ld (should be 0, 63, 0)", s.ss, s.se, s.ah * 16 + s.al));
        // Decoder specs for the tables this scan uses.
        DecSpec dc[4], ac[4];
        for (int k = 0; k < s.ns; ++k) {
            const HuffTable& hd = t.dc[s.td[k]];
            const HuffTable& ha = t.ac[s.ta[k]];
            if (!hd.present || !ha.present) return fail(fmt("scan uses an undefined Huffman table (DC %ld, AC %ld)", s.td[k], s.ta[k]));
            if (kepiDecodeHuffmanSpecInit_JPEG_8u(hd.bits, hd.vals, dc[s.td[k]].get()) != kepOk ||
                kepiDecodeHuffmanSpecInit_JPEG_8u(ha.bits, ha.vals, ac[s.ta[k]].get()) != kepOk)
                return fail("invalid Huffman table");
        }
        std::vector<std::size_t> begins, ends;
        const ScanGeometry geo = scanGeometry(fi, s, begins, ends);
        const int mcusX = geo.mcusX, present = geo.present, intervals = geo.intervals;
        const long total = geo.total, ri = geo.ri;

        // A whole-image scan whose restart intervals hold whole MCU rows is up-sampled and
        // colour-converted inside its interval, MCU row by MCU row, from two MCU rows of samples
        // that stay in cache; the output rows next to an interval boundary, which read the last
        // sample row of one interval and the first of the next, follow at the end from copies
        // of those rows.
        const int nc = int(fi.comps.size()), H = fi.height;
        const bool stream = direct && coefs_.empty() && fi.precision == 8 && nc != 2 && ri % mcusX == 0 &&
                            samplingSupported(fi) && prepareOutput(fi, *img_);
        streamed_ = stream;
        if (!stream && direct) allocatePlanes(fi);
        const int outRows = nc == 1 ? 8 : 8 * fi.vmax;
        int rowsPer[4] = {}, edgeOff[5] = {};
        // The blocks of an MCU in coding order (one in a single-component scan, T.81 A.2.2).
        std::vector<BlockSlot> slots;
        for (int ci = 0; ci < s.ns; ++ci) {
            const Component& comp = fi.comps[s.comp[ci]];
            const int bh = s.ns == 1 ? 1 : comp.h, bv = s.ns == 1 ? 1 : comp.v;
            for (int v = 0; v < bv; ++v)
                for (int h = 0; h < bh; ++h)
                    slots.push_back({ci, s.comp[ci], h, v, bh, bv, dc[s.td[ci]].get(), ac[s.ta[ci]].get()});
        }
        for (int c = 0; c < nc; ++c) {
            rowsPer[c] = nc == 1 ? 8 : 8 * fi.comps[c].v;
            edgeOff[c + 1] = edgeOff[c] + planes_[c].stride;
        }
        // The first and the last MCU row that output row y reads.
        auto needs = [&](int y, int& first, int& last) {
            first = INT_MAX, last = 0;
            for (int c = 0; c < nc; ++c) {
                int a = y, b = y;
                if (fi.vmax / fi.comps[c].v == 2) a = y / 2, b = farRow(fi.comps[c], y);
                first = std::min(first, std::min(a, b) / rowsPer[c]);
                last = std::max(last, std::max(a, b) / rowsPer[c]);
            }
        };
        // Per interval: the output rows it wrote, and its first and last sample row of every
        // component.
        std::vector<int> streamedFrom(intervals), streamedTo(intervals);
        std::vector<Kep8u> edges(stream ? std::size_t(intervals) * 2 * edgeOff[nc] : 0);
        auto edge = [&](int k, int which, int c) { return &edges[(std::size_t(k) * 2 + which) * edgeOff[nc] + edgeOff[c]]; };
        RingPool rings;

        const bool reportProgress = bool(opt_.progress);
        std::atomic<long> done{0};
        std::mutex progressLock;
        auto progress = [&](long m) {
            if (opt_.progress && (m & 1023) == 1023) {
                const long dn = done += 1024;
                std::lock_guard<std::mutex> g(progressLock);
                opt_.progress(0.8 * double(dn) / double(total));
            }
        };
        // Missing intervals run too, with zero blocks, so that every sample gets written.
        parallelFor(direct ? intervals : present, opt_.threads, [&](int k) {
            alignas(64) unsigned char stateBuf[KEPI_DECODE_HUFFMAN_STATE_SIZE];
            auto* state = reinterpret_cast<KepiDecodeHuffmanState*>(stateBuf);
            kepiDecodeHuffmanStateInit_JPEG_8u(state);
            // The segment's bytes plus the marker that ends it, so the reader stops there.
            const bool missing = k >= present;
            const std::uint8_t* src = missing ? d_ : d_ + begins[k];
            const int len = missing ? 0 : int(std::min(ends[k] + 2, n_) - begins[k]);
            bool ok = !missing;
            int pos = 0, marker = 0;
            Kep16s lastDC[4] = {0, 0, 0, 0};
            const long m0 = k * ri, m1 = std::min(total, m0 + ri);
            // Output rows y..yEnd-1 of the interval are still to be written; the samples of MCU
            // row r are in ring slot r & 1.
            const int row0 = int(m0 / mcusX);
            int y = 0, yEnd = 0, first, last, row = row0;
            Ring* ring = nullptr;
            RowSource rows;
            if (stream) {
                y = std::min(H, row0 * outRows);
                yEnd = int(std::min<long>(H, m1 / mcusX * outRows));
                for (; y < yEnd; ++y) {
                    needs(y, first, last);
                    if (first >= row0) break;
                }
                streamedFrom[k] = y;
                ring = rings.take(fi, planes_, rowsPer);
                for (int c = 0; c < nc; ++c) rows.setRing(c, ring->buf[c].data(), rowsPer[c], planes_[c].stride);
            }
            // The MCUs of the interval one MCU row at a time: entropy decoding of all their blocks
            // (into run, or into the stored coefficients), then the inverse DCT of them all, so
            // that each loop keeps its own code and tables in cache.
            std::vector<Kep16s> ownRun;
            std::vector<Kep8u> ownReach;
            std::vector<Kep16s>& run = stream ? ring->run : ownRun;
            std::vector<Kep8u>& reach = stream ? ring->reach : ownReach;
            for (long ma = m0; ma < m1;) {
                row = int(ma / mcusX);
                const long mb = std::min(m1, long(row + 1) * mcusX);
                if (!direct) {
                    forScanBlocks(fi, s, mcusX, ma, mb, [&](int ci, long m, long bx, long by) {
                        Kep16s* blk = &coefs_[s.comp[ci]][(by * fi.comps[s.comp[ci]].blocksW + bx) * 64];
                        const KepResult r = kepiDecodeHuffman8x8_JPEG_1u16s_C1(src, len, &pos, blk, &lastDC[ci], &marker,
                                                                               dc[s.td[ci]].get(), ac[s.ta[ci]].get(), state);
                        if (r != kepOk) {
                            errors_.set(entropyError(m, r));
                            std::memset(blk, 0, 64 * sizeof(Kep16s));   // the rest of the interval stays zero
                        }
                        return ok = r == kepOk;
                    }, progress);
                    if (!ok) break;
                    ma = mb;
                    continue;
                }
                run.resize(std::size_t(mb - ma) * slots.size() * 64);
                reach.resize(std::size_t(mb - ma) * slots.size());
                Kep16s* blk = run.data();
                Kep8u* rch = reach.data();
                for (long m = ma; m < mb; ++m) {
                    for (const BlockSlot& b : slots) {
                        if (ok) {
                            const KepResult r = kepiDecodeHuffman8x8_JPEG_1u16s_C1(src, len, &pos, blk, &lastDC[b.ci], &marker,
                                                                                   b.dc, b.ac, state);
                            if (r != kepOk) errors_.set(entropyError(m, r));
                            ok = r == kepOk;
                        }
                        *rch++ = ok ? Kep8u(blockPos(stateBuf)) : 1;
                        // The rest of a failed interval is left flat.
                        if (!ok) std::memset(blk, 0, 64 * sizeof(Kep16s));
                        blk += 64;
                    }
                    if (reportProgress) progress(m);
                }
                blk = run.data();
                rch = reach.data();
                for (long mx = ma - long(row) * mcusX; mx < mb - long(row) * mcusX; ++mx)
                    for (const BlockSlot& b : slots) {
                        const long bx = mx * b.across + b.dx;
                        if (stream) {
                            const Plane& pl = planes_[b.c];
                            Kep8u* dst = ring->buf[b.c].data() + std::size_t((row & 1) * rowsPer[b.c] + 8 * b.dy) * pl.stride;
                            inverseTransform8(pl, blk, dst + bx * 8, pl.stride, *rch);
                        } else {
                            inverseTransform(b.c, bx, long(row) * b.down + b.dy, blk, *rch);
                        }
                        blk += 64;
                        ++rch;
                    }
                ma = mb;
                if (stream) {
                    for (int c = 0; c < nc; ++c) {
                        if (row == row0) std::memcpy(edge(k, 0, c), rows.at(c, row * rowsPer[c]), planes_[c].stride);
                        if (row + 1 == m1 / mcusX)
                            std::memcpy(edge(k, 1, c), rows.at(c, (row + 1) * rowsPer[c] - 1), planes_[c].stride);
                    }
                    int y1 = y;
                    for (; y1 < yEnd; ++y1) {
                        needs(y1, first, last);
                        if (last > row) break;
                    }
                    outputRows(fi, *img_, y, y1, ring->scratch, rows);
                    y = y1;
                }
            }
            if (stream) {
                streamedTo[k] = y;
                rings.give(ring);
            }
        });
        if (stream) {
            // Boundary b between intervals k and k + 1: MCU row b - 1 from the copy of k's last
            // sample rows, MCU row b from the copy of k + 1's first.
            parallelFor(intervals - 1, opt_.threads, [&](int k) {
                Ring* ring = rings.take(fi, planes_, rowsPer);
                const int b = int(std::min(total, (k + 1) * ri) / mcusX);
                RowSource rows;
                for (int c = 0; c < nc; ++c) {
                    rows.setRow(c, (b - 1) & 1, edge(k, 1, c), rowsPer[c], rowsPer[c] - 1, planes_[c].stride);
                    rows.setRow(c, b & 1, edge(k + 1, 0, c), rowsPer[c], 0, planes_[c].stride);
                }
                outputRows(fi, *img_, streamedTo[k], std::min(H, b * outRows), ring->scratch, rows);
                outputRows(fi, *img_, std::min(H, b * outRows), streamedFrom[k + 1], ring->scratch, rows);
                rings.give(ring);
            });
            if (opt_.progress) opt_.progress(1.0);
        }
        return true;
    }

    // Every component is full size, halved horizontally, or halved in both directions.
    static bool samplingSupported(const JpegInfo& fi, const Component& comp) {
        const int fx = fi.hmax / comp.h, fy = fi.vmax / comp.v;
        return !(fi.hmax % comp.h || fi.vmax % comp.v || fx > 2 || fy > 2 || (fy == 2 && fx == 1));
    }
    static bool samplingSupported(const JpegInfo& fi) {
        for (const Component& comp : fi.comps)
            if (!samplingSupported(fi, comp)) return false;
        return true;
    }

    // Geometry, channels and sample buffer of img (the caller's buffers reused: no reallocation
    // when decoding images of one size over and over; everything in them is overwritten), and
    // whether the components are colour-converted. Done once per decode; returns false with img
    // empty when the output cannot be made.
    bool prepareOutput(const JpegInfo& fi, Image& img) {
        if (outputPrepared_) return outputOk_;
        outputPrepared_ = true;
        const int nc = int(fi.comps.size());
        img.px8.swap(keep8_);
        img.px16.swap(keep16_);
        img.width = fi.width;
        img.height = fi.height;
        img.precision = fi.precision;
        const bool rgbIds = nc == 3 && fi.comps[0].id == 'R' && fi.comps[1].id == 'G' && fi.comps[2].id == 'B';
        transform_ = nc >= 3 && !(fi.adobeTransform == 0 || (fi.adobeTransform < 0 && rgbIds)) &&
                     !(nc == 4 && fi.adobeTransform != 2) && !opt_.keepColourSpace;
        img.channels = nc == 2 ? 1 : nc;
        if (nc == 2) errors_.set("two-component image: only the first component is written");
        for (const Component& comp : fi.comps)
            if (!samplingSupported(fi, comp)) {
                errors_.set(fmt("sampling %ldx%ld of component %ld is not supported", comp.h, comp.v, comp.id));
                img = Image();
                return false;
            }
        if (fi.precision == 12) {
            if (nc != 1 && (transform_ || fi.hmax != 1 || fi.vmax != 1)) {
                errors_.set("12-bit colour images need a 12-bit colour conversion, not available in libkepjx1");
                img = Image();
                return false;
            }
            img.px8.clear();
            img.px16.resize(img.samples());
        } else {
            img.px16.clear();
            img.px8.resize(img.samples());
        }
        return outputOk_ = true;
    }

    // Row buffers of the up-sampled components, one set per thread.
    struct RowScratch {
        std::vector<Kep8u> up[4];
        explicit RowScratch(const JpegInfo& fi) {
            for (std::size_t c = 0; c < fi.comps.size(); ++c) up[c].resize(std::size_t(fi.mcusX) * fi.hmax * 8 + 16);
        }
    };

    // Where sample row r of component c lives: in the slot of its MCU row's parity, which holds
    // that MCU row's rows from firstRow on (whole planes: one slot holding every row).
    struct RowSource {
        const Kep8u* slot[4][2] = {};
        int firstRow[4][2] = {};
        int rowsPer[4] = {};
        std::size_t stride[4] = {};
        void setRow(int c, int parity, const Kep8u* p, int perMcuRow, int first, int step) {
            slot[c][parity] = p, firstRow[c][parity] = first, rowsPer[c] = perMcuRow, stride[c] = std::size_t(step);
        }
        void setRing(int c, const Kep8u* p, int perMcuRow, int step) {
            setRow(c, 0, p, perMcuRow, 0, step);
            setRow(c, 1, p + std::size_t(perMcuRow) * step, perMcuRow, 0, step);
        }
        const Kep8u* at(int c, int r) const {
            const int s = (r / rowsPer[c]) & 1;
            return slot[c][s] + std::size_t(r % rowsPer[c] - firstRow[c][s]) * stride[c];
        }
    };

    // Two MCU rows of samples of every component, the coefficients of an MCU row and the row
    // buffers of one streaming thread, kept for the intervals that come next.
    struct Ring {
        std::vector<Kep8u> buf[4];
        std::vector<Kep16s> run;
        std::vector<Kep8u> reach;   // blockPos of each block in run
        RowScratch scratch;
        explicit Ring(const JpegInfo& fi) : scratch(fi) {}
    };
    class RingPool {
    public:
        Ring* take(const JpegInfo& fi, const std::vector<Plane>& planes, const int* rowsPer) {
            std::lock_guard<std::mutex> g(m_);
            if (free_.empty()) {
                all_.emplace_back(new Ring(fi));
                for (std::size_t c = 0; c < fi.comps.size(); ++c)
                    all_.back()->buf[c].resize(std::size_t(2) * rowsPer[c] * planes[c].stride);
                return all_.back().get();
            }
            Ring* r = free_.back();
            free_.pop_back();
            return r;
        }
        void give(Ring* r) {
            std::lock_guard<std::mutex> g(m_);
            free_.push_back(r);
        }

    private:
        std::mutex m_;
        std::vector<std::unique_ptr<Ring>> all_;
        std::vector<Ring*> free_;
    };

    // The farther source row of the triangle filter for output row y of a vertically halved
    // component (the nearer is y / 2), the edge rows replicated at the top and the bottom.
    static int farRow(const Component& comp, int y) {
        const int near = y / 2;
        return (y & 1) ? std::min(near + 1, comp.height - 1) : std::max(near - 1, 0);
    }

    // Up-sampling and colour conversion of 8-bit output rows y0..y1-1 into img.
    void outputRows(const JpegInfo& fi, Image& img, int y0, int y1, RowScratch& sc, const RowSource& src) {
        const int nc = int(fi.comps.size()), W = fi.width;
        const Kep8u* rows[4];
        for (int y = y0; y < y1; ++y) {
            for (int c = 0; c < nc; ++c) {
                const Component& comp = fi.comps[c];
                const int fx = fi.hmax / comp.h, fy = fi.vmax / comp.v;
                Kep8u* up = sc.up[c].data();
                if (fx == 1 && fy == 1) {
                    rows[c] = src.at(c, y);
                } else if (fy == 1) {
                    kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(src.at(c, y), comp.width, up);
                    rows[c] = up;
                } else {
                    kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(src.at(c, y / 2), src.at(c, farRow(comp, y)), comp.width, up);
                    rows[c] = up;
                }
            }
            Kep8u* out = &img.px8[std::size_t(y) * W * img.channels];
            const KepiSize roi{W, 1};
            if (nc == 3 && transform_) {
                kepiYCbCrToRGB_JPEG_8u_P3C3R(rows, W, out, W * 3, roi);
            } else if (nc == 4 && transform_) {
                kepiYCCKToCMYK_JPEG_8u_P4C4R(rows, W, out, W * 4, roi);
            } else if (img.channels == 1) {
                std::memcpy(out, rows[0], std::size_t(W));
            } else {
                // No colour transform: the components are only interleaved.
                for (int c = 0; c < img.channels; ++c)
                    for (int x = 0; x < W; ++x) out[std::size_t(x) * img.channels + c] = rows[c][x];
            }
        }
    }

    // Up-sampling and colour conversion of the whole image into img, after the last scan.
    void reconstruct(const JpegInfo& fi, Image& img) {
        if (opt_.progress) opt_.progress(0.9);
        if (!prepareOutput(fi, img)) return;
        const int H = fi.height, W = fi.width;
        if (fi.precision == 12) {
            for (int y = 0; y < H; ++y)
                for (int c = 0; c < img.channels; ++c) {
                    const std::uint16_t* row = &planes_[c].p16[std::size_t(y) * planes_[c].stride];
                    std::uint16_t* o = &img.px16[std::size_t(y) * W * img.channels + c];
                    for (int x = 0; x < W; ++x) o[std::size_t(x) * img.channels] = row[x];
                }
            return;
        }
        RowSource planes;
        for (std::size_t c = 0; c < fi.comps.size(); ++c)
            planes.setRow(int(c), 0, planes_[c].p8.get(), INT_MAX, 0, planes_[c].stride);
        const int bandRows = 32;
        parallelFor(ceilDiv(H, bandRows), opt_.threads, [&](int band) {
            RowScratch sc(fi);
            outputRows(fi, img, band * bandRows, std::min(H, (band + 1) * bandRows), sc, planes);
        });
        if (opt_.progress) opt_.progress(1.0);
    }

    const std::uint8_t* d_;
    std::size_t n_;
    const DecodeOptions& opt_;
    std::vector<Plane> planes_;
    std::vector<std::vector<std::int16_t>> coefs_;
    bool started_ = false;
    std::vector<std::uint8_t> keep8_;
    std::vector<std::uint16_t> keep16_;
    ErrorSlot errors_;
    bool fatal_ = false;
    bool lossless_ = false;
    Image* img_ = nullptr;
    bool outputPrepared_ = false, outputOk_ = false, transform_ = false;
    bool streamed_ = false;   // the last scan wrote img row band by row band
};

}  // namespace

bool decode(const std::uint8_t* data, std::size_t size, const DecodeOptions& opt, Image& img, std::string& err) {
    Decoder dec(data, size, opt);
    dec.keepBuffers(img);
    img = Image();
    return dec.run(img, err);
}

}  // namespace kepjpeg
