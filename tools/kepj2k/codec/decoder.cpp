// Tile decoding: the tile / resolution / sub-band / precinct / code-block geometry of ITU-T T.800
// B.5 to B.7, packet headers with tag trees (B.10), in or out of the bit stream (PPM/PPT, A.7.4,
// A.7.5), the five progression orders and their changes (B.12), then per code-block the library's
// decoder, dequantization (E.1) with ROI max-shift (H.1), the library's inverse wavelets (F) and
// inverse component transforms (G). Reduced resolution stops the synthesis early (B.5), fewer
// layers keep the first contributions of each code-block; code-blocks, wavelets and the output
// run on a thread pool with one library decoder state per thread.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <thread>
#include <tuple>

#include "geometry.h"
#include "j2k.h"
#include "kepcore.h"
#include "kepjx1.h"

namespace kepj2k {
namespace {

// Tile-components the decoder accepts: each costs its geometry even when it holds no sample.
constexpr std::int64_t kMaxTileComponents = std::int64_t(1) << 20;

// Fraction bits of the irreversible path's fixed-point coefficients (samples of up to 16 bits
// keep several bits of headroom in 32 bits through the 9/7 synthesis).
constexpr int kFracBits = 8;

int ceilDiv(std::int64_t a, std::int64_t b) { return int((a + b - 1) / b); }

// Runs f(i, t) for i in [0, n) on up to `threads` threads; t is the worker's index, 0 being the
// calling thread, so that callers can give each worker its own state.
template <class F>
void parallelFor(int n, int threads, F&& f) {
    threads = std::max(1, std::min(threads, n));
    if (threads == 1) {
        for (int i = 0; i < n; ++i) f(i, 0);
        return;
    }
    std::atomic<int> next{0};
    auto work = [&](int t) {
        for (int i; (i = next.fetch_add(1, std::memory_order_relaxed)) < n;) f(i, t);
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t) pool.emplace_back(work, t);
    work(0);
    for (std::thread& th : pool) th.join();
}

// T.800 B.10.2 tag tree: decodes, bit by bit, whether a leaf's value is below a threshold.
class TagTree {
public:
    void init(int w, int h) {
        levels_.clear();
        do {
            levels_.push_back({w, h, std::vector<int>(std::size_t(w) * h, 0), std::vector<char>(std::size_t(w) * h, 0)});
            w = (w + 1) / 2, h = (h + 1) / 2;
        } while (levels_.back().w * levels_.back().h > 1);
    }
    // True when the value of leaf (x, y) is below threshold; bits come from next().
    template <class Bit>
    bool decode(int x, int y, int threshold, Bit next) {
        int low = 0;
        for (int l = int(levels_.size()) - 1; l >= 0; --l) {
            Level& lv = levels_[std::size_t(l)];
            const std::size_t i = std::size_t(y >> l) * lv.w + (x >> l);
            int& nodeLow = lv.low[i];
            if (nodeLow < low) nodeLow = low;
            while (!lv.known[i] && nodeLow < threshold) {
                const int b = next();
                if (b < 0) return false;
                if (b) lv.known[i] = 1;
                else ++nodeLow;
            }
            if (!lv.known[i]) return false;
            low = nodeLow;
        }
        return low < threshold;
    }
    int value(int x, int y) const { return levels_[0].low[std::size_t(y) * levels_[0].w + x]; }

private:
    struct Level {
        int w, h;
        std::vector<int> low;
        std::vector<char> known;
    };
    std::vector<Level> levels_;
};

struct CodeBlock {
    int x0, y0, x1, y1;   // band coordinates
    bool included = false;
    int zeroPlanes = 0, lblock = 3;
    int hdrSeg = -1, hdrRoom = 0;   // packet-header state: last codeword segment, passes it can still take
    int passes = 0;                 // passes kept for decoding (layers and resolutions not discarded)
    // The kept codeword bytes: while they are one run of the tile's bit stream (one layer, or
    // contributions that follow each other) they are referenced there, else copied into data.
    const std::uint8_t* run = nullptr;
    std::size_t runLen = 0;
    std::vector<std::uint8_t> data;
    std::vector<int> segLen, segPasses;
};

struct Band {
    int orient;           // 0 LL, 1 HL, 2 LH, 3 HH
    int x0, y0, x1, y1;
    int planeX, planeY;   // top-left in the component's coefficient plane
    int magBits;          // Mb of T.800 E.1
    double delta;         // quantization step of the irreversible path (T.800 E.1.1.1)
    int cbw, cbh;         // log2 code-block size in this resolution
    int cbx0, cby0, ncbx, ncby;   // code-block grid
    std::vector<CodeBlock> blocks;
};

struct PrecinctBand {
    int cx0, cy0, cw, ch;   // code-block range, in grid indices relative to the band's grid
    TagTree incl, zero;
};

struct Resolution {
    int x0, y0, x1, y1;
    int ppx, ppy, px0, py0, pw, ph;   // precinct exponents, first index, counts
    std::vector<Band> bands;
    std::vector<std::vector<PrecinctBand>> precincts;   // [precinct][band]
};

struct TileComp {
    int x0, y0, x1, y1;
    int top;                           // highest resolution decoded (levels - reduce)
    int pw, ph;                        // size of resolution `top`, the plane's size
    bool adopted = false;              // plane is the output's component plane, lent for the tile
    std::vector<Resolution> res;
    Plane plane;                       // pw x ph coefficients, sub-bands in place
};

// Packet-header bit reader with the bit stuffing of T.800 B.10.1.
struct BitReader {
    const std::uint8_t* p;
    std::size_t pos, end;
    int cur = 0, left = 0;
    int bit() {
        if (left == 0) {
            if (pos >= end) return -1;
            left = cur == 0xFF ? 7 : 8;
            cur = p[pos++];
        }
        return (cur >> --left) & 1;
    }
    int bits(int n) {
        int v = 0;
        while (n-- > 0) {
            const int b = bit();
            if (b < 0) return -1;
            v = v << 1 | b;
        }
        return v;
    }
    void align() {
        left = 0;
        if (cur == 0xFF && pos < end) ++pos, cur = 0;
    }
};

// Codeword segments (T.800 D.4): the most passes the segment with this index can hold.
int segmentCapacity(int cbstyle, int seg) {
    if (cbstyle & 0x04) return 1;
    if (cbstyle & 0x01) return seg == 0 ? 10 : (seg & 1) ? 2 : 1;
    return 1 << 30;
}

int libraryFlags(int cbstyle) {
    int f = 0;
    if (cbstyle & 0x01) f |= KEP_J2K_CB_BYPASS;
    if (cbstyle & 0x02) f |= KEP_J2K_CB_RESET;
    if (cbstyle & 0x04) f |= KEP_J2K_CB_TERMALL;
    if (cbstyle & 0x08) f |= KEP_J2K_CB_VCAUSAL;
    if (cbstyle & 0x20) f |= KEP_J2K_CB_SEGSYM;
    return f;
}

class TileDecoder {
public:
    TileDecoder(const CodestreamInfo& info, int tile, const DecodeOptions& opt)
        : info_(info), tp_(info.tiles[std::size_t(tile)]), opt_(opt) {
        const int p = tile % info.tilesX, q = tile / info.tilesX;
        tx0_ = std::max<std::int64_t>(info.tx0 + std::int64_t(p) * info.tw, info.x0);
        ty0_ = std::max<std::int64_t>(info.ty0 + std::int64_t(q) * info.th, info.y0);
        tx1_ = std::min<std::int64_t>(info.tx0 + std::int64_t(p + 1) * info.tw, info.x1);
        ty1_ = std::min<std::int64_t>(info.ty0 + std::int64_t(q + 1) * info.th, info.y1);
    }

    bool build(std::string& err);
    // Reads the packets from the tile's bit stream (packet headers from `headers` when they are
    // packed in PPM/PPT, else from the bit stream itself); false (with err) when the data ends
    // early or is corrupt, after keeping everything read so far.
    bool readPackets(const std::uint8_t* data, std::size_t begin, std::size_t end, const std::vector<std::uint8_t>* headers,
                     std::string& err);
    // Code-blocks, wavelets, component transform; progress(fraction of this tile) on the calling thread.
    template <class Progress>
    bool reconstruct(std::string& err, Progress progress);
    // Gives each tile-component its coefficient plane: the output plane itself when the tile
    // covers the whole component (no copy; samples are then finished in place), else its own.
    void attachPlanes(Decoded& out);
    // Inverse component transform (when the tile has one) and the samples' rounding, level shift
    // and clamping into the output, in row bands shared by the threads; false when the
    // transform fails.
    bool store(Decoded& out, std::string& err);
    bool adopted(int c) const { return comps_[std::size_t(c)].adopted; }

private:
    struct Piece {   // one codeword-segment contribution of a code-block in a packet
        CodeBlock* cb;
        int len, passes;
        bool newSegment;
    };
    bool readPacket(BitReader& hdr, std::size_t& body, std::size_t bodyEnd, bool packed, int layer, int r, int c,
                    int prec, std::string& err);

    const CodestreamInfo& info_;
    const TileParams& tp_;
    const DecodeOptions& opt_;
    std::int64_t tx0_, ty0_, tx1_, ty1_;
    std::vector<TileComp> comps_;
    std::vector<Piece> pieces_;   // scratch of readPacket
    bool mctPending_ = false;     // reconstruct left the inverse component transform to store
    // Inverse wavelets of one component up to its kept resolution, scratch in buf; false on failure.
    bool synthesise(int c, std::vector<Kep8u>& buf);
    const std::uint8_t* bodyData_ = nullptr;
};

bool TileDecoder::build(std::string& err) {
    const std::size_t nc = info_.comps.size();
    comps_.resize(nc);
    for (std::size_t c = 0; c < nc; ++c) {
        const ComponentInfo& ci = info_.comps[c];
        const CodingStyle& cs = tp_.cod[c];
        const QuantStyle& q = tp_.qcd[c];
        TileComp& tc = comps_[c];
        tc.x0 = ceilDiv(tx0_, ci.dx), tc.y0 = ceilDiv(ty0_, ci.dy);
        tc.x1 = ceilDiv(tx1_, ci.dx), tc.y1 = ceilDiv(ty1_, ci.dy);
        const int nl = cs.levels;
        if (ci.precision > 16) return err = "component precision above 16 bits is not supported", false;
        if (opt_.reduce > nl) return err = "cannot discard more resolution levels than a tile-component has", false;
        tc.top = nl - opt_.reduce;
        tc.pw = ceilShift(tc.x1, opt_.reduce) - ceilShift(tc.x0, opt_.reduce);
        tc.ph = ceilShift(tc.y1, opt_.reduce) - ceilShift(tc.y0, opt_.reduce);
        if (std::size_t(tc.pw) * std::size_t(tc.ph) > opt_.maxSamples) return err = "tile too large", false;
        tc.res.resize(std::size_t(nl) + 1);
        for (int r = 0; r <= nl; ++r) {
            Resolution& rs = tc.res[std::size_t(r)];
            const int nb = nl - r;
            rs.x0 = ceilShift(tc.x0, nb), rs.y0 = ceilShift(tc.y0, nb);
            rs.x1 = ceilShift(tc.x1, nb), rs.y1 = ceilShift(tc.y1, nb);
            rs.ppx = cs.ppx[r], rs.ppy = cs.ppy[r];
            rs.px0 = rs.x0 >> rs.ppx, rs.py0 = rs.y0 >> rs.ppy;
            rs.pw = rs.x1 > rs.x0 ? ceilShift(rs.x1, rs.ppx) - rs.px0 : 0;
            rs.ph = rs.y1 > rs.y0 ? ceilShift(rs.y1, rs.ppy) - rs.py0 : 0;
            const int cbw = std::min(cs.xcb, rs.ppx - (r > 0)), cbh = std::min(cs.ycb, rs.ppy - (r > 0));
            const Span tcx{tc.x0, tc.x1}, tcy{tc.y0, tc.y1};
            const int firstOrient = r == 0 ? 0 : 1, lastOrient = r == 0 ? 0 : 3;
            for (int o = firstOrient; o <= lastOrient; ++o) {
                Band b{};
                b.orient = o;
                const int n = r == 0 ? nl : nb + 1;   // decomposition level of the band
                const Span bx = bandSpan(tcx, n, o & 1), by = bandSpan(tcy, n, o & 2);
                b.x0 = bx.a, b.x1 = bx.b, b.y0 = by.a, b.y1 = by.b;
                // HL, LH and HH sit after the next lower resolution's extent in the in-place plane.
                b.planeX = planeOffset(tcx, n, o & 1), b.planeY = planeOffset(tcy, n, o & 2);
                const int bandIndex = r == 0 ? 0 : 1 + 3 * (r - 1) + (o - 1);
                // Derived quantization scales the one exponent by the band's level (T.800 E.1.1.1).
                int expn;
                if (q.style == 1) {
                    expn = q.exponent[0] - nl + n;
                } else {
                    if (bandIndex >= q.count) return err = "QCD/QCC: fewer step sizes than sub-bands", false;
                    expn = q.exponent[bandIndex];
                }
                b.magBits = q.guard + expn - 1;
                const int gain = o == 0 ? 0 : o == 3 ? 2 : 1;
                const int mant = q.style == 1 ? q.mantissa[0] : q.mantissa[bandIndex];
                b.delta = std::ldexp(1.0 + mant / 2048.0, ci.precision + gain - expn);
                b.cbw = cbw, b.cbh = cbh;
                if (bx.size() && by.size()) {
                    const Span gx = cells(bx, cbw), gy = cells(by, cbh);
                    b.cbx0 = gx.a, b.cby0 = gy.a, b.ncbx = gx.size(), b.ncby = gy.size();
                }
                for (int j = 0; j < b.ncby; ++j)
                    for (int i = 0; i < b.ncbx; ++i) {
                        const Span cx = cellSpan(bx, cbw, b.cbx0 + i), cy = cellSpan(by, cbh, b.cby0 + j);
                        CodeBlock cb;
                        cb.x0 = cx.a, cb.x1 = cx.b, cb.y0 = cy.a, cb.y1 = cy.b;
                        b.blocks.push_back(std::move(cb));
                    }
                rs.bands.push_back(std::move(b));
            }
            if (std::int64_t(rs.pw) * rs.ph > (1 << 20)) return err = "too many precincts", false;
            rs.precincts.resize(std::size_t(rs.pw) * rs.ph);
            const int bx = rs.ppx - (r > 0), by = rs.ppy - (r > 0);   // precinct size in the bands
            for (int pj = 0; pj < rs.ph; ++pj)
                for (int pi = 0; pi < rs.pw; ++pi) {
                    auto& pbs = rs.precincts[std::size_t(pj) * rs.pw + pi];
                    pbs.resize(rs.bands.size());
                    for (std::size_t bi = 0; bi < rs.bands.size(); ++bi) {
                        const Band& b = rs.bands[bi];
                        PrecinctBand& pb = pbs[bi];
                        pb.cw = pb.ch = 0;
                        if (b.ncbx == 0 || b.ncby == 0) continue;
                        const Span cx = cellsInside({b.cbx0, b.cbx0 + b.ncbx}, bx, rs.px0 + pi, b.cbw);
                        const Span cy = cellsInside({b.cby0, b.cby0 + b.ncby}, by, rs.py0 + pj, b.cbh);
                        if (!cx.size() || !cy.size()) continue;
                        pb.cx0 = cx.a, pb.cy0 = cy.a, pb.cw = cx.size(), pb.ch = cy.size();
                        pb.incl.init(pb.cw, pb.ch);
                        pb.zero.init(pb.cw, pb.ch);
                    }
                }
        }
    }
    return true;
}

bool TileDecoder::readPacket(BitReader& hdr, std::size_t& body, std::size_t bodyEnd, bool packed, int layer, int r,
                             int c, int prec, std::string& err) {
    const CodingStyle& cs = tp_.cod[std::size_t(c)];
    TileComp& tc = comps_[std::size_t(c)];
    Resolution& rs = tc.res[std::size_t(r)];
    auto& pbs = rs.precincts[std::size_t(prec)];
    // Contributions of discarded layers and resolutions are parsed (later headers depend on them) but not kept.
    const bool keep = (opt_.layers == 0 || layer < opt_.layers) && r <= tc.top;
    const std::uint8_t* d = hdr.p;
    const std::uint8_t* b = bodyData_;   // packet bodies (and SOP markers) are always in the tile data
    if ((cs.scod & 2) && body + 6 <= bodyEnd && b[body] == 0xFF && b[body + 1] == 0x91) body += 6;
    if (!packed) hdr.pos = body;
    hdr.cur = 0, hdr.left = 0;
    auto truncated = [&]() {
        return err = packed ? "packed packet headers end early" : "packet header runs past the end of the tile data", false;
    };
    const int present = hdr.bit();
    if (present < 0) return truncated();
    pieces_.clear();
    if (present) {
        bool eof = false;
        auto next = [&]() {
            const int v = hdr.bit();
            eof |= v < 0;
            return v;
        };
        for (std::size_t bi = 0; bi < pbs.size(); ++bi) {
            PrecinctBand& pb = pbs[bi];
            Band& band = rs.bands[bi];
            for (int j = 0; j < pb.ch; ++j)
                for (int i = 0; i < pb.cw; ++i) {
                    CodeBlock& cb = band.blocks[std::size_t(pb.cy0 + j) * band.ncbx + pb.cx0 + i];
                    int inc;
                    if (!cb.included) {
                        inc = pb.incl.decode(i, j, layer + 1, next) ? 1 : 0;
                        if (eof) return truncated();
                    } else {
                        inc = hdr.bit();
                    }
                    if (inc < 0) return truncated();
                    if (!inc) continue;
                    if (!cb.included) {
                        int t = 1;
                        while (!pb.zero.decode(i, j, t, next)) {
                            if (eof) return truncated();
                            if (++t > 80) return err = "packet header: zero bit-plane count out of range", false;
                        }
                        cb.zeroPlanes = pb.zero.value(i, j);
                        cb.included = true;
                    }
                    // Number of new coding passes, T.800 Table B.4.
                    int n = 1, v;
                    if ((v = hdr.bit()) < 0) return truncated();
                    if (v) {
                        if ((v = hdr.bit()) < 0) return truncated();
                        n = 2;
                        if (v) {
                            if ((v = hdr.bits(2)) < 0) return truncated();
                            n = 3 + v;
                            if (v == 3) {
                                if ((v = hdr.bits(5)) < 0) return truncated();
                                n = 6 + v;
                                if (v == 31) {
                                    if ((v = hdr.bits(7)) < 0) return truncated();
                                    n = 37 + v;
                                }
                            }
                        }
                    }
                    // Lblock increment: a run of 1 bits ended by a 0.
                    while ((v = hdr.bit()) == 1) ++cb.lblock;
                    if (v < 0) return truncated();
                    if (cb.lblock > 32) return err = "packet header: code-block length field too long", false;
                    // One length per codeword segment the new passes reach (T.800 B.10.7.2).
                    for (int done = 0; done < n;) {
                        const bool fresh = cb.hdrRoom == 0;
                        if (fresh) ++cb.hdrSeg, cb.hdrRoom = segmentCapacity(cs.cbstyle, cb.hdrSeg);
                        const int k = std::min(cb.hdrRoom, n - done);
                        int lbits = cb.lblock;
                        for (int t = k; t > 1; t >>= 1) ++lbits;
                        if (lbits > 31) return err = "packet header: code-block length field too long", false;
                        if ((v = hdr.bits(lbits)) < 0) return truncated();
                        pieces_.push_back({&cb, v, k, fresh});
                        done += k, cb.hdrRoom -= k;
                    }
                }
        }
    }
    hdr.align();
    if ((cs.scod & 4)) {
        if (hdr.pos + 2 > hdr.end || d[hdr.pos] != 0xFF || d[hdr.pos + 1] != 0x92) return err = "EPH marker missing", false;
        hdr.pos += 2;
    }
    if (!packed) body = hdr.pos;
    // Packet body: the code-block contributions in header order.
    for (const Piece& pc : pieces_) {
        if (std::size_t(pc.len) > bodyEnd - body) return err = "packet body runs past the end of the tile data", false;
        if (keep) {
            CodeBlock& cb = *pc.cb;
            if (pc.newSegment) cb.segPasses.push_back(0), cb.segLen.push_back(0);
            cb.segPasses.back() += pc.passes, cb.segLen.back() += pc.len;
            cb.passes += pc.passes;
            if (!cb.data.empty()) {
                cb.data.insert(cb.data.end(), b + body, b + body + pc.len);
            } else if (!cb.run || cb.run + cb.runLen == b + body) {
                if (!cb.run) cb.run = b + body;
                cb.runLen += std::size_t(pc.len);
            } else {
                cb.data.assign(cb.run, cb.run + cb.runLen);
                cb.data.insert(cb.data.end(), b + body, b + body + pc.len);
            }
        }
        body += std::size_t(pc.len);
    }
    return true;
}

bool TileDecoder::readPackets(const std::uint8_t* data, std::size_t begin, std::size_t end,
                              const std::vector<std::uint8_t>* headers, std::string& err) {
    // Every packet of the tile with its progression keys (T.800 B.12): layer, resolution,
    // component, and the precinct's position on the reference grid for the position-driven orders.
    struct Packet {
        int l, r, c, p;
        double y, x;
    };
    std::vector<Packet> packets;
    const int layers = tp_.cod[0].layers;
    for (std::size_t c = 0; c < comps_.size(); ++c) {
        const ComponentInfo& ci = info_.comps[c];
        const int nl = int(comps_[c].res.size()) - 1;
        for (int r = 0; r <= nl; ++r) {
            const Resolution& rs = comps_[c].res[std::size_t(r)];
            for (int pj = 0; pj < rs.ph; ++pj)
                for (int pi = 0; pi < rs.pw; ++pi) {
                    // In double: exact for every real geometry, and no overflow for absurd ones.
                    const double y = std::max<double>(double(ty0_), std::ldexp(double(rs.py0 + pj), rs.ppy + nl - r) * ci.dy);
                    const double x = std::max<double>(double(tx0_), std::ldexp(double(rs.px0 + pi), rs.ppx + nl - r) * ci.dx);
                    for (int l = 0; l < layers; ++l) packets.push_back({l, r, int(c), pj * rs.pw + pi, y, x});
                }
        }
        if (packets.size() > (std::size_t(1) << 22)) return err = "too many packets", false;
    }
    auto sortBy = [](int order, std::vector<Packet>::iterator first, std::vector<Packet>::iterator last) {
        auto key = [order](const Packet& a) {
            switch (order) {
            case 0: return std::make_tuple(double(a.l), double(a.r), double(a.c), a.y, a.x, double(a.p));
            case 1: return std::make_tuple(double(a.r), double(a.l), double(a.c), a.y, a.x, double(a.p));
            case 2: return std::make_tuple(double(a.r), a.y, a.x, double(a.c), double(a.l), double(a.p));
            case 3: return std::make_tuple(a.y, a.x, double(a.c), double(a.r), double(a.l), double(a.p));
            default: return std::make_tuple(double(a.c), a.y, a.x, double(a.r), double(a.l), double(a.p));
            }
        };
        std::stable_sort(first, last, [&](const Packet& a, const Packet& b) { return key(a) < key(b); });
    };
    if (tp_.poc.empty()) {
        sortBy(tp_.cod[0].order, packets.begin(), packets.end());
    } else {
        // POC: each progression volume in turn takes, in its own order, the packets of its layer,
        // resolution and component ranges that no earlier volume took (T.800 B.12.2).
        std::vector<Packet> ordered;
        std::vector<char> taken(packets.size(), 0);
        for (const TileParams::Progression& v : tp_.poc) {
            const std::size_t first = ordered.size();
            for (std::size_t i = 0; i < packets.size(); ++i) {
                const Packet& pk = packets[i];
                if (!taken[i] && pk.l < v.lye && pk.r >= v.rs && pk.r < v.re && pk.c >= v.cs && pk.c < v.ce)
                    taken[i] = 1, ordered.push_back(pk);
            }
            sortBy(v.order, ordered.begin() + std::ptrdiff_t(first), ordered.end());
        }
        packets.swap(ordered);
    }
    const bool packed = headers != nullptr;
    bodyData_ = data;
    BitReader hdr = packed ? BitReader{headers->data(), 0, headers->size()} : BitReader{data, begin, end};
    std::size_t body = begin;
    for (const Packet& pk : packets)
        if (!readPacket(hdr, body, end, packed, pk.l, pk.r, pk.c, pk.p, err)) return false;
    return true;
}

// Dequantization of one decoded code-block (sign-magnitude from the library) into the plane.
// Reconstruction is in the middle of each coefficient's remaining uncertainty (T.800 E.1.1.2,
// r = 1/2). The last pass decoded plane lastPlane: after a cleanup or refinement pass every
// significant coefficient is known down to it; after a significance pass only those with that bit
// set are (the others still await their refinement of it). ROI coefficients (magnitude at least
// 2^roi after decoding) are scaled back down by 2^roi (T.800 H.1, max-shift).
void dequantise(const Kep32s* src, int w, int h, std::int32_t* dst, int dstStride, int lastPlane, bool endsInSP, int roi,
                bool reversible, double scale) {
    if (reversible && roi == 0 && lastPlane <= 0 && !(endsInSP && lastPlane == 0)) {
        // Every plane decoded: the magnitude is the coefficient (the common lossless case).
        for (int y = 0; y < h; ++y, src += w, dst += dstStride)
            for (int x = 0; x < w; ++x) {
                const std::uint32_t v = std::uint32_t(src[x]);
                const std::int32_t mag = std::int32_t(v & 0x7FFFFFFFu);
                dst[x] = (v >> 31) ? -mag : mag;
            }
        return;
    }
    for (int y = 0; y < h; ++y, src += w, dst += dstStride)
        for (int x = 0; x < w; ++x) {
            const std::uint32_t v = std::uint32_t(src[x]);
            std::int32_t mag = std::int32_t(v & 0x7FFFFFFFu);
            int lp = lastPlane;
            if (roi > 0 && roi < 31 && (mag >> roi)) mag >>= roi, lp -= roi;
            double half = lp >= 0 ? std::ldexp(0.5, lp) : 0.5;
            if (endsInSP && lp >= 0 && !((mag >> lp) & 1)) half *= 2;
            std::int32_t m = mag;
            if (reversible) {
                if (mag && half >= 1) m = std::int32_t(std::min<std::int64_t>(mag + std::int64_t(half), 0x7FFFFFFF));
            } else if (mag) {
                // Dequantized in fixed point with kFracBits fraction bits.
                const double f = (mag + half) * scale;
                m = f < 2147483647.0 ? std::int32_t(f + 0.5) : 2147483647;
            }
            dst[x] = (v >> 31) ? -m : m;
        }
}

bool TileDecoder::synthesise(int c, std::vector<Kep8u>& buf) {
    TileComp& tc = comps_[std::size_t(c)];
    if (tc.pw <= 0 || tc.ph <= 0) return true;
    const bool reversible = tp_.cod[std::size_t(c)].transform == 1;
    for (int r = 1; r <= tc.top; ++r) {
        const Resolution& rs = tc.res[std::size_t(r)];
        const KepiRect rect{rs.x0, rs.y0, rs.x1 - rs.x0, rs.y1 - rs.y0};
        int size = 0;
        if (reversible) kepiWTGetBufSize_B53_JPEG2K_32s_C1IR(&rect, &size);
        else kepiWTGetBufSize_D97_JPEG2K_32s_C1IR(&rect, &size);
        if (buf.size() < std::size_t(size) + 1) buf.resize(std::size_t(size) + 1);
        const KepResult res = reversible ? kepiWTInv_B53_JPEG2K_32s_C1IR(tc.plane.data(), tc.pw * 4, &rect, buf.data())
                                         : kepiWTInv_D97_JPEG2K_32s_C1IR(tc.plane.data(), tc.pw * 4, &rect, buf.data());
        if (res != kepOk) return false;
    }
    return true;
}

template <class Progress>
bool TileDecoder::reconstruct(std::string& err, Progress progress) {
    // Code-blocks of every kept resolution of every component, decoded in parallel: each worker
    // has its own decoder state and block buffer, and blocks write disjoint parts of the planes.
    struct Job {
        int c;
        const Band* band;
        CodeBlock* cb;
    };
    std::vector<Job> jobs;
    // Blocks still to decode per component: the worker that decodes a component's last block
    // runs its inverse wavelets at once, while the others go on with the next component's blocks.
    std::vector<std::atomic<int>> pending(comps_.size());
    std::vector<int> blocksOf(comps_.size(), 0);
    int maxW = 4, maxH = 4;
    for (std::size_t c = 0; c < comps_.size(); ++c) {
        TileComp& tc = comps_[c];
        const std::size_t first = jobs.size();
        maxW = std::max(maxW, 1 << tp_.cod[c].xcb), maxH = std::max(maxH, 1 << tp_.cod[c].ycb);
        for (int r = 0; r <= tc.top; ++r)
            for (Band& b : tc.res[std::size_t(r)].bands)
                for (CodeBlock& cb : b.blocks)
                    jobs.push_back({int(c), &b, &cb});   // blocks without data write their zeros
        blocksOf[c] = int(jobs.size() - first);
        pending[c] = blocksOf[c];
    }
    const int threads = std::max(1, std::min(opt_.threads, 64));
    struct Worker {
        KepiDecodeCBProgrState_JPEG2K* state = nullptr;
        std::vector<Kep32s> block;
        std::vector<Kep8u> wavelet;   // scratch of the inverse wavelets
        std::size_t failedJob = SIZE_MAX;
        const char* failure = nullptr;
    };
    std::vector<Worker> workers(static_cast<std::size_t>(threads));
    for (Worker& wk : workers) {
        if (kepiDecodeCBProgrInitAlloc_JPEG2K(&wk.state, {maxW, maxH}) != kepOk) {
            for (Worker& w2 : workers) kepiDecodeCBProgrFree_JPEG2K(w2.state);
            for (TileComp& tc : comps_) std::fill(tc.plane.begin(), tc.plane.end(), 0);   // no block writes them
            return err = "out of memory", false;
        }
        wk.block.resize(std::size_t(maxW) * maxH);
    }
    std::atomic<int> done{0};
    std::vector<char> waveletFailed(comps_.size(), 0);
    parallelFor(int(jobs.size()), threads, [&](int i, int t) {
        const Job& job = jobs[std::size_t(i)];
        Worker& wk = workers[std::size_t(t)];
        const CodingStyle& cs = tp_.cod[std::size_t(job.c)];
        TileComp& tc = comps_[std::size_t(job.c)];
        const Band& b = *job.band;
        CodeBlock& cb = *job.cb;
        auto fail = [&](const char* msg) {
            if (std::size_t(i) < wk.failedJob) wk.failedJob = std::size_t(i), wk.failure = msg;
        };
        const int w = cb.x1 - cb.x0, h = cb.y1 - cb.y0;
        const int roi = tp_.roiShift[std::size_t(job.c)];
        const int magnBits = b.magBits + roi - cb.zeroPlanes;
        std::int32_t* dst = &tc.plane[std::size_t(b.planeY + cb.y0 - b.y0) * tc.pw + b.planeX + (cb.x0 - b.x0)];
        if (cb.passes == 0 || magnBits < 1 || magnBits > 31) {
            if (cb.passes) fail("code-block with an invalid number of bit planes");
            for (int y = 0; y < h; ++y) std::fill_n(dst + std::size_t(y) * tc.pw, w, 0);
        } else {
            int residual = 0;
            static const Kep8u none = 0;
            const int subband = b.orient == 0 ? 0 : b.orient == 1 ? 2 : b.orient == 2 ? 1 : 3;
            const KepResult res = kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(
                !cb.data.empty() ? cb.data.data() : cb.run ? cb.run : &none, wk.block.data(), w * 4, {w, h}, subband, magnBits, cb.passes,
                cb.segLen.data(), int(cb.segLen.size()), libraryFlags(cs.cbstyle), &residual, wk.state);
            if (res != kepOk) fail("corrupt code-block data");
            const int lastPlane = magnBits - 1 - (cb.passes + 1) / 3;
            const bool endsInSP = (cb.passes - 1) % 3 == 1;
            dequantise(wk.block.data(), w, h, dst, tc.pw, lastPlane, endsInSP, roi, cs.transform == 1,
                       std::ldexp(b.delta, kFracBits));
        }
        // The coefficients are not needed again; a large image keeps less memory alive.
        std::vector<std::uint8_t>().swap(cb.data);
        const int n = done.fetch_add(1, std::memory_order_relaxed) + 1;
        if (t == 0) progress(0.9 * n / double(jobs.size()));
        // acq_rel: the last decrement sees every other worker's writes to this component's plane.
        if (pending[std::size_t(job.c)].fetch_sub(1, std::memory_order_acq_rel) == 1 && !synthesise(job.c, wk.wavelet))
            waveletFailed[std::size_t(job.c)] = 1;
    });
    bool ok = true;
    const Worker* first = nullptr;
    for (Worker& wk : workers) {
        kepiDecodeCBProgrFree_JPEG2K(wk.state);
        if (wk.failure && (!first || wk.failedJob < first->failedJob)) first = &wk;
    }
    if (first) err = first->failure, ok = false;

    // A component without code-blocks had no worker to run its wavelets.
    for (std::size_t c = 0; c < comps_.size(); ++c)
        if (blocksOf[c] == 0 && !synthesise(int(c), workers[0].wavelet)) waveletFailed[c] = 1;
    for (char f : waveletFailed)
        if (f) return err = "inverse wavelet failed", false;
    // The inverse component transform (T.800 G.2) on the first three components is done row band
    // by row band with the output conversion, in store().
    const CodingStyle& cs0 = tp_.cod[0];
    if (cs0.mct && comps_.size() >= 3) {
        const TileComp& a = comps_[0];
        for (int c = 1; c < 3; ++c)
            if (comps_[std::size_t(c)].pw != a.pw || comps_[std::size_t(c)].ph != a.ph)
                return err = "component transform over components of different sizes", false;
        mctPending_ = true;
    }
    progress(1.0);
    return ok;
}

// Top-left of component c's output plane in reduced component coordinates.
int originX(const CodestreamInfo& info, int c, int reduce) { return ceilShift(ceilDiv(info.x0, info.comps[std::size_t(c)].dx), reduce); }
int originY(const CodestreamInfo& info, int c, int reduce) { return ceilShift(ceilDiv(info.y0, info.comps[std::size_t(c)].dy), reduce); }

void TileDecoder::attachPlanes(Decoded& out) {
    for (std::size_t c = 0; c < comps_.size(); ++c) {
        TileComp& tc = comps_[c];
        const Resolution& rs = tc.res[std::size_t(tc.top)];
        tc.adopted = rs.x0 == originX(info_, int(c), opt_.reduce) && rs.y0 == originY(info_, int(c), opt_.reduce) &&
                     tc.pw == out.planeWidth[c] && tc.ph == out.planeHeight[c];
        if (tc.adopted) tc.plane.swap(out.planes[c]);   // every code-block writes its part of it
        else tc.plane.assign(std::size_t(tc.pw) * std::size_t(tc.ph), 0);
    }
}

bool TileDecoder::store(Decoded& out, std::string& err) {
    const int threads = std::max(1, std::min(opt_.threads, 64));
    const int nc = int(comps_.size());
    for (int c = 0; c < nc; ++c)
        if (comps_[std::size_t(c)].adopted) comps_[std::size_t(c)].plane.swap(out.planes[std::size_t(c)]);   // finished in place
    // Row bands of about 64 rows, each the same fraction of every component's height, taken
    // dynamically; a band converts every component's rows while they are in cache.
    int maxH = 0;
    for (const TileComp& tc : comps_) maxH = std::max(maxH, tc.ph);
    const int bands = std::max(1, (maxH + 63) / 64);
    std::atomic<bool> failed{false};
    parallelFor(bands, threads, [&](int i, int) {
        auto rows = [&](const TileComp& tc, int& y0, int& y1) {
            y0 = int(std::int64_t(tc.ph) * i / bands), y1 = int(std::int64_t(tc.ph) * (i + 1) / bands);
        };
        if (mctPending_ && comps_[0].pw > 0) {
            int y0, y1;
            rows(comps_[0], y0, y1);
            if (y1 > y0) {
                const int w = comps_[0].pw;
                Kep32s* planes[3];
                for (int c = 0; c < 3; ++c) {
                    TileComp& tc = comps_[std::size_t(c)];
                    Kep32s* base = tc.adopted ? out.planes[std::size_t(c)].data() : tc.plane.data();
                    planes[c] = base + std::size_t(y0) * std::size_t(w);
                }
                const KepResult res = tp_.cod[0].transform == 1 ? kepiRCTInv_JPEG2K_32s_P3IR(planes, w * 4, {w, y1 - y0})
                                                                : kepiICTInv_JPEG2K_32s_P3IR(planes, w * 4, {w, y1 - y0});
                if (res != kepOk) failed = true;
            }
        }
        for (int c = 0; c < nc; ++c) {
            const ComponentInfo& ci = info_.comps[std::size_t(c)];
            const TileComp& tc = comps_[std::size_t(c)];
            if (tc.pw <= 0 || tc.ph <= 0) continue;
            const int ox = originX(info_, c, opt_.reduce), oy = originY(info_, c, opt_.reduce);
            const int lo = ci.sgnd ? -(1 << (ci.precision - 1)) : 0;
            const int hi = ci.sgnd ? (1 << (ci.precision - 1)) - 1 : (1 << ci.precision) - 1;
            const int shift = ci.sgnd ? 0 : 1 << (ci.precision - 1);
            const int frac = tp_.cod[std::size_t(c)].transform == 1 ? 0 : kFracBits;
            const std::int32_t half = frac ? std::int32_t(1) << (frac - 1) : 0;
            const Resolution& rs = tc.res[std::size_t(tc.top)];
            const int w = tc.pw;
            std::int32_t* base = out.planes[std::size_t(c)].data();
            const std::size_t stride = std::size_t(out.planeWidth[std::size_t(c)]);
            // Hostile streams can leave coefficients anywhere in the 32-bit range: bounded to +-2^30
            // first, the rounding and the level shift cannot overflow.
            auto finish = [=](std::int32_t v) {
                v = v < -(1 << 30) ? -(1 << 30) : v > (1 << 30) ? (1 << 30) : v;
                v = ((v + half) >> frac) + shift;
                return v < lo ? lo : v > hi ? hi : v;
            };
            int y0, y1;
            rows(tc, y0, y1);
            for (int y = y0; y < y1; ++y) {
                std::int32_t* dst = base + std::size_t(rs.y0 + y - oy) * stride + (rs.x0 - ox);
                const std::int32_t* src = tc.adopted ? dst : &tc.plane[std::size_t(y) * w];
                for (int x = 0; x < w; ++x) dst[x] = finish(src[x]);
            }
        }
    });
    if (failed) return err = "inverse component transform failed", false;
    return true;
}

}  // namespace

bool decode(const std::uint8_t* data, std::size_t size, Decoded& out, std::string& err) {
    return decode(data, size, out, err, DecodeOptions());
}

bool decode(const std::uint8_t* data, std::size_t size, Decoded& out, std::string& err, const DecodeOptions& opt) {
    out = Decoded();
    if (opt.reduce < 0 || opt.reduce > 32 || opt.layers < 0) return err = "invalid reduce or layer count", false;
    std::string jp2Err;
    if (isJp2(data, size)) {
        std::size_t begin = 0, n = 0;
        if (!readJp2(data, size, begin, n, nullptr, jp2Err)) return err = jp2Err, false;
        data += begin, size = n;
    }
    CodestreamInfo info;
    std::string parseErr;
    if (!parse(data, size, info, parseErr)) return err = parseErr, false;
    if (std::int64_t(info.tiles.size()) * std::int64_t(info.comps.size()) > kMaxTileComponents)
        return err = "too many tile-components", false;
    out.width = ceilShift(info.x1, opt.reduce) - ceilShift(info.x0, opt.reduce);
    out.height = ceilShift(info.y1, opt.reduce) - ceilShift(info.y0, opt.reduce);
    out.comps = info.comps;
    std::size_t total = 0;
    for (const ComponentInfo& ci : info.comps) {
        if (ci.precision > 16) return out = Decoded(), err = "component precision above 16 bits is not supported", false;
        const int w = ceilShift(ceilDiv(info.x1, ci.dx), opt.reduce) - ceilShift(ceilDiv(info.x0, ci.dx), opt.reduce);
        const int h = ceilShift(ceilDiv(info.y1, ci.dy), opt.reduce) - ceilShift(ceilDiv(info.y0, ci.dy), opt.reduce);
        total += std::size_t(w) * std::size_t(h);
        if (total > opt.maxSamples) return out = Decoded(), err = "image too large", false;
        out.planeWidth.push_back(w), out.planeHeight.push_back(h);
    }
    // Planes start uninitialised: a tile that covers a whole component writes every sample of
    // it (its code-blocks, on the worker threads); any other component is first filled with the
    // middle of its range (what tiles that are missing or fail leave), on all threads.
    const int threads = std::max(1, std::min(opt.threads, 64));
    out.planes.resize(info.comps.size());
    for (std::size_t c = 0; c < info.comps.size(); ++c) out.planes[c].resize(std::size_t(out.planeWidth[c]) * out.planeHeight[c]);
    std::vector<char> ready(info.comps.size(), 0);
    auto fill = [&](std::size_t c) {
        if (ready[c]) return;
        ready[c] = 1;
        const ComponentInfo& ci = info.comps[c];
        Plane& p = out.planes[c];
        const int chunks = int(std::min<std::size_t>(64, p.size() / 4096 + 1));
        parallelFor(chunks, threads, [&](int i, int) {
            std::fill(p.begin() + std::ptrdiff_t(p.size() * std::size_t(i) / std::size_t(chunks)),
                      p.begin() + std::ptrdiff_t(p.size() * std::size_t(i + 1) / std::size_t(chunks)),
                      ci.sgnd ? 0 : 1 << (ci.precision - 1));
        });
    };
    err = !jp2Err.empty() ? jp2Err : parseErr;
    bool ok = err.empty();
    std::vector<std::vector<const TilePart*>> partsOf(info.tiles.size());
    for (const TilePart& tp : info.parts) partsOf[std::size_t(tp.tile)].push_back(&tp);
    const int ntiles = int(info.tiles.size());
    for (int t = 0; t < ntiles; ++t) {
        auto progress = [&](double f) {
            if (opt.progress) opt.progress((t + f) / ntiles, opt.progressUser);
        };
        if (partsOf[std::size_t(t)].empty()) {
            if (ok) err = "tile " + std::to_string(t) + " is missing", ok = false;
            continue;
        }
        TileDecoder td(info, t, opt);
        std::string e;
        if (!td.build(e)) {
            if (ok) err = e, ok = false;
            continue;
        }
        // The tile's bit stream is its tile parts' data in order; packets may span tile parts.
        const auto& parts = partsOf[std::size_t(t)];
        std::vector<std::uint8_t> stream;
        const std::uint8_t* s = data + parts[0]->begin;
        std::size_t n = parts[0]->end - parts[0]->begin;
        if (parts.size() > 1) {
            for (const TilePart* tp : parts) stream.insert(stream.end(), data + tp->begin, data + tp->end);
            s = stream.data(), n = stream.size();
        }
        td.attachPlanes(out);
        for (std::size_t c = 0; c < info.comps.size(); ++c) {
            if (td.adopted(int(c))) ready[c] = 1;
            else fill(c);
        }
        const std::vector<std::uint8_t>* headers = info.packedHeaders[std::size_t(t)] ? &info.packed[std::size_t(t)] : nullptr;
        if (!td.readPackets(s, 0, n, headers, e) && ok) err = e, ok = false;
        if (!td.reconstruct(e, progress) && ok) err = e, ok = false;
        if (!td.store(out, e) && ok) err = e, ok = false;
    }
    for (std::size_t c = 0; c < info.comps.size(); ++c) fill(c);
    return ok;
}

}  // namespace kepj2k
