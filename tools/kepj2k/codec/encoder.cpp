// Code-stream encoder (ITU-T T.800): tiles, the forward component transforms (G) and wavelets
// (F) of the library, quantization (E.1), code-blocks coded by the library's encoder (D), post-
// compression rate-distortion optimisation over the passes the encoder reports, packet headers
// with tag trees (B.10) in the five progression orders (B.12), and the marker segments (A).
#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <thread>

#include "encoder.h"
#include "geometry.h"
#include "j2k.h"
#include "kepcore.h"
#include "kepjx1.h"

namespace kepj2k {
namespace {

int bitsOf(std::uint32_t v) {
    int n = 0;
    while (v >> n) ++n;
    return n;
}

// ---- 1-D synthesis norms, the distortion weights of the sub-bands ---------------------------

// L2 norm of the synthesis basis function of a coefficient in the low (high) band after `level`
// analysis levels: the impulse synthesised back through the lifting steps of T.800 F.3.8 in
// exact arithmetic, away from any border.
double synthesisNorm(bool irreversible, int level, bool high) {
    level = std::min(level, 14);
    const int n = 64 << level;
    std::vector<double> x(std::size_t(n), 0.0);
    // Level `level`: L in even, H in odd positions of the coarsest interleaved line.
    int len = n >> (level - 1);
    x[std::size_t(len / 2 + (high ? 1 : 0))] = 1;
    for (int l = level; l >= 1; --l) {
        len = n >> (l - 1);
        auto at = [&](int i) { return i >= 0 && i < len ? x[std::size_t(i)] : 0.0; };
        if (irreversible) {
            const double K = 1.2301741, a = -1.5861343, b = -0.052980117, g = 0.8829111, d = 0.44350687;
            for (int i = 0; i < len; i += 2) x[std::size_t(i)] *= K;
            for (int i = 1; i < len; i += 2) x[std::size_t(i)] /= K;
            for (int i = 0; i < len; i += 2) x[std::size_t(i)] -= d * (at(i - 1) + at(i + 1));
            for (int i = 1; i < len; i += 2) x[std::size_t(i)] -= g * (at(i - 1) + at(i + 1));
            for (int i = 0; i < len; i += 2) x[std::size_t(i)] -= b * (at(i - 1) + at(i + 1));
            for (int i = 1; i < len; i += 2) x[std::size_t(i)] -= a * (at(i - 1) + at(i + 1));
        } else {
            for (int i = 0; i < len; i += 2) x[std::size_t(i)] -= 0.25 * (at(i - 1) + at(i + 1));
            for (int i = 1; i < len; i += 2) x[std::size_t(i)] += 0.5 * (at(i - 1) + at(i + 1));
        }
        if (l > 1) {
            // Spread into the next finer line: the values become its low band.
            const int next = n >> (l - 2);
            std::vector<double> y(std::size_t(next), 0.0);
            for (int i = 0; i < len; ++i) y[std::size_t(2 * i)] = x[std::size_t(i)];
            std::copy(y.begin(), y.end(), x.begin());
        }
    }
    double s = 0;
    for (double v : x) s += v * v;
    return std::sqrt(s);
}

// ---- tag trees and packet-header bits ---------------------------------------------------------

// T.800 B.10.2 tag tree, encoder side. Nodes are stored level by level, leaves first; each
// holds the minimum of the leaves below it and links to the node that covers it and its three
// neighbours one level up.
class TagTree {
public:
    void init(int w, int h) {
        w_ = w;
        nodes_.assign(std::size_t(w) * h, Node());
        for (std::size_t first = 0; w * h > 1;) {
            const int pw = (w + 1) / 2, ph = (h + 1) / 2;
            const std::size_t up = nodes_.size();
            nodes_.resize(up + std::size_t(pw) * ph);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) nodes_[first + std::size_t(y) * w + x].parent = int(up + std::size_t(y / 2) * pw + x / 2);
            first = up, w = pw, h = ph;
        }
    }
    void set(int x, int y, int v) {
        for (int i = y * w_ + x; i >= 0; i = nodes_[std::size_t(i)].parent)
            nodes_[std::size_t(i)].value = std::min(nodes_[std::size_t(i)].value, v);
    }
    // Emits the bits that tell a decoder whether leaf (x, y) is below threshold: from the root
    // down, each node's value is sent as 0s up to it and a 1, as far as the threshold asks.
    template <class Put>
    void encode(int x, int y, int threshold, Put put) {
        int path[40], depth = 0;
        for (int i = y * w_ + x; i >= 0; i = nodes_[std::size_t(i)].parent) path[depth++] = i;
        int floor = 0;
        while (depth-- > 0) {
            Node& nd = nodes_[std::size_t(path[depth])];
            nd.low = std::max(nd.low, floor);
            for (; nd.low < threshold && !nd.known; ++nd.low)
                if (nd.low >= nd.value) {
                    put(1), nd.known = true;
                    break;
                } else {
                    put(0);
                }
            floor = nd.low;
        }
    }

private:
    struct Node {
        int value = 1 << 30, low = 0, parent = -1;
        bool known = false;
    };
    int w_ = 0;
    std::vector<Node> nodes_;
};

// Packet-header bits with the stuffing of T.800 B.10.1: after a 0xFF byte only 7 bits go in the next.
struct BitWriter {
    std::vector<std::uint8_t>& out;
    int cur = 0, n = 0, cap = 8;
    void put(int b) {
        cur = cur << 1 | b;
        if (++n == cap) {
            out.push_back(std::uint8_t(cur));
            cap = cur == 0xFF ? 7 : 8;
            cur = 0, n = 0;
        }
    }
    void bits(int v, int count) {
        while (count-- > 0) put((v >> count) & 1);
    }
    void flush() {
        if (n > 0) out.push_back(std::uint8_t(cur << (cap - n)));
        else if (!out.empty() && out.back() == 0xFF) out.push_back(0);
    }
};

// ---- tile structure -----------------------------------------------------------------------------

struct Block {
    int x0, y0, x1, y1;   // band coordinates
    int zeroPlanes = 0, passes = 0;
    std::vector<std::uint8_t> data;
    std::vector<int> rate;       // bytes needed to decode passes 0..k
    std::vector<double> dist;    // cumulative weighted distortion decrease through pass k
    std::vector<int> hull;       // passes on the convex hull of (rate, dist), increasing
    std::vector<int> cum;        // passes included through each layer
    int lblock = 3;
    bool included = false;
};

struct Band {
    int orient;                  // 0 LL, 1 HL, 2 LH, 3 HH
    int x0, y0, x1, y1, planeX, planeY;
    int expn = 0, mant = 0;      // the QCD entry
    double step = 1;             // quantization step in fixed-point coefficient units (lossy)
    double weight = 1;           // squared-error weight of one index unit in the image
    int cbw, cbh, cbx0 = 0, cby0 = 0, ncbx = 0, ncby = 0;
    int bits = 0;                // bits of the largest index magnitude
    std::vector<Block> blocks;
};

struct PrecinctBand {
    int cx0 = 0, cy0 = 0, cw = 0, ch = 0;
    TagTree incl, zero;
};

struct Resolution {
    int x0, y0, x1, y1, ppx, ppy, px0 = 0, py0 = 0, pw = 0, ph = 0;
    std::vector<Band> bands;
    std::vector<std::vector<PrecinctBand>> precincts;
};

struct TileComp {
    int x0, y0, x1, y1;
    std::vector<Resolution> res;
    Plane plane;   // every sample is written by loadRows
};

struct Tile {
    int x0, y0, x1, y1;
    int guard = 2;
    std::vector<TileComp> comps;
};

// Per component and sub-band index (LL, then HL, LH, HH per level from the lowest resolution):
// the quantization entry and the fixed-point step.
struct QuantEntry {
    int expn, mant;
    double step;    // in fixed-point coefficient units
    double weight;  // image squared error per squared index unit
};

// Segment index of pass k under the code-block style (T.800 D.4, Table D.9).
int segmentOf(int cbstyle, int k) {
    if (cbstyle & 0x04) return k;
    if ((cbstyle & 0x01) && k >= 10) return 1 + 2 * ((k - 10) / 3) + ((k - 10) % 3 == 2 ? 1 : 0);
    return 0;
}

class Encoder {
public:
    Encoder(const kepjpeg::Image& img, const EncodeOptions& opt) : img_(img), opt_(opt) {}
    bool run(std::vector<std::uint8_t>& out, std::string& err);

private:
    bool setup(std::string& err);
    void buildTile(Tile& t, int index);
    void loadRows(Tile& t, int y0, int y1, std::vector<float>& scratch);
    void transformComponent(Tile& t, int c);
    bool codeTile(Tile& t, std::string& err);
    double allocate(const std::vector<double>& budgets, const std::vector<double>& overhead, double lastLambda);
    double measurePsnr(const std::vector<std::uint8_t>& stream) const;
    double lambdaForBudget(double bytes, double upper) const;
    double lambdaForDistortion(double mse) const;
    double selectedBytes(double lambda) const;
    double remainingDistortion(double lambda) const;
    void choose(double lambda, int layer);
    std::vector<std::uint8_t> writeStream(std::vector<double>& layerBytes);
    void writeTile(Tile& t, int index, std::vector<std::uint8_t>& out, std::vector<double>& layerBytes);
    void writeQcd(std::vector<std::uint8_t>& out, int guard) const;
    template <class F>
    void forEachBlock(F f) const {
        for (const Tile& t : tiles_)
            for (const TileComp& tc : t.comps)
                for (const Resolution& rs : tc.res)
                    for (const Band& b : rs.bands)
                        for (const Block& cb : b.blocks) f(cb);
    }

    const kepjpeg::Image& img_;
    const EncodeOptions& opt_;
    int nc_ = 0, prec_ = 8, levels_ = 5, tw_ = 0, th_ = 0, tilesX_ = 1, tilesY_ = 1;
    int frac_ = 0;          // fraction bits of the irreversible path's fixed-point samples
    bool mct_ = false;
    std::vector<QuantEntry> quant_;
    std::vector<double> compWeight_;
    std::vector<Tile> tiles_;
    std::vector<KepiEncodeState_JPEG2K*> states_;
    std::atomic<long> blocksDone_{0};
    long blocksTotal_ = 1;
    double baseDistortion_ = 0;   // quantization error of the fully coded lossy image (estimate)
};

bool Encoder::setup(std::string& err) {
    nc_ = img_.channels;
    prec_ = img_.precision;
    if (nc_ < 1 || nc_ > 4) return err = "only 1 to 4 components can be encoded", false;
    if (prec_ < 1 || prec_ > 16) return err = "samples of 1 to 16 bits can be encoded", false;
    if ((prec_ == 8 && img_.px8.size() != img_.samples() && img_.px16.size() != img_.samples()) ||
        (prec_ != 8 && img_.px16.size() != img_.samples()) || img_.width < 1 || img_.height < 1)
        return err = "image samples missing", false;
    const EncodeOptions& o = opt_;
    if (o.xcb < 2 || o.ycb < 2 || o.xcb > 10 || o.ycb > 10 || o.xcb + o.ycb > 12)
        return err = "code-block sides must be powers of two from 4 to 1024 with at most 4096 samples", false;
    if (o.cbstyle < 0 || o.cbstyle > 63) return err = "code-block style mask must be 0 to 63", false;
    if (o.layers < 1 || o.layers > 65535) return err = "1 to 65535 layers", false;
    if (o.order < 0 || o.order > 4) return err = "unknown progression order", false;
    if (o.tileW < 0 || o.tileH < 0) return err = "invalid tile size", false;
    if (o.precinctW < 0 || o.precinctH < 0 || o.precinctW > 15 || o.precinctH > 15)
        return err = "precinct sides must be powers of two up to 32768", false;
    if (!o.lossy && o.psnr > 0) return err = "a quality target needs --lossy", false;
    if (o.rates.size() > 1 && int(o.rates.size()) != o.layers) return err = "give one rate or one per layer", false;
    for (std::size_t i = 0; i < o.rates.size(); ++i)
        if (!(o.rates[i] > 0) || (i && o.rates[i] < o.rates[i - 1])) return err = "rates must be positive and increasing", false;
    if (!o.rates.empty() && !o.lossy) return err = "a rate target needs --lossy (lossless layers split by passes)", false;
    tw_ = o.tileW ? std::min(o.tileW, img_.width) : img_.width;
    th_ = o.tileH ? std::min(o.tileH, img_.height) : img_.height;
    tilesX_ = (img_.width + tw_ - 1) / tw_, tilesY_ = (img_.height + th_ - 1) / th_;
    if (std::int64_t(tilesX_) * tilesY_ > 65535) return err = "more than 65535 tiles", false;
    // Every resolution of a full tile keeps at least one sample (what decoders require).
    int fit = 0;
    while (fit < 32 && (std::min(tw_, th_) >> (fit + 1)) > 0) ++fit;
    levels_ = o.levels < 0 ? std::min(5, fit) : o.levels;
    if (levels_ > fit || levels_ > 32) return err = "too many levels for the tile size", false;
    if (o.precinctW < 15 || o.precinctH < 15) {
        if (o.precinctW < 1 || o.precinctH < 1) return err = "precincts need sides of at least 2", false;
    }
    mct_ = nc_ >= 3;
    frac_ = o.lossy ? std::max(4, 23 - prec_) : 0;
    // Component weights: squared error in the samples per squared error in the transformed
    // component (column norms of the inverse transform, T.800 G.2 / G.3).
    compWeight_.assign(std::size_t(nc_), 1.0);
    if (mct_) {
        if (o.lossy) compWeight_[0] = 3, compWeight_[1] = 0.34413 * 0.34413 + 1.772 * 1.772, compWeight_[2] = 1.402 * 1.402 + 0.71414 * 0.71414;
        else compWeight_[0] = 3, compWeight_[1] = compWeight_[2] = 11.0 / 16;
    }
    // Sub-band quantization: reversible bands carry their nominal range (no quantization, E.1.2);
    // irreversible steps are inversely proportional to the band's synthesis norm, so that one
    // step of every band adds the same error to the image.
    const int nbands = 3 * levels_ + 1;
    quant_.resize(std::size_t(nbands));
    for (int bi = 0; bi < nbands; ++bi) {
        const int r = bi == 0 ? 0 : (bi - 1) / 3 + 1, o2 = bi == 0 ? 0 : (bi - 1) % 3 + 1;
        const int level = r == 0 ? levels_ : levels_ - r + 1;
        const int gain = o2 == 0 ? 0 : o2 == 3 ? 2 : 1;
        const double nx = level == 0 ? 1 : synthesisNorm(o.lossy, level, o2 & 1);
        const double ny = level == 0 ? 1 : synthesisNorm(o.lossy, level, (o2 & 2) != 0);
        QuantEntry& q = quant_[std::size_t(bi)];
        if (!o.lossy) {
            q.expn = prec_ + gain, q.mant = 0, q.step = 1;
            q.weight = nx * nx * ny * ny;
        } else {
            // One sample unit over the norm reaches about 50 dB on 8-bit RGB; higher quality
            // targets get finer steps.
            const double fine = o.psnr > 45 ? std::pow(10.0, (45 - o.psnr) / 20) : 1.0;
            const double delta = fine / (nx * ny);
            int e = int(std::floor(std::log2(delta)));
            int mant = int(std::lround((delta / std::ldexp(1.0, e) - 1) * 2048));
            if (mant >= 2048) mant = 0, ++e;
            q.expn = std::clamp(prec_ + gain - e, 0, 31);
            q.mant = mant;
            const double realDelta = std::ldexp(1.0 + mant / 2048.0, prec_ + gain - q.expn);
            q.step = std::ldexp(realDelta, frac_);
            q.weight = realDelta * realDelta * nx * nx * ny * ny;
        }
    }
    return true;
}

void Encoder::buildTile(Tile& t, int index) {
    const int p = index % tilesX_, q = index / tilesX_;
    t.x0 = p * tw_, t.y0 = q * th_;
    t.x1 = std::min(t.x0 + tw_, img_.width), t.y1 = std::min(t.y0 + th_, img_.height);
    t.comps.resize(std::size_t(nc_));
    const int nl = levels_;
    const Span tx{t.x0, t.x1}, ty{t.y0, t.y1};
    for (TileComp& tc : t.comps) {
        tc.x0 = t.x0, tc.y0 = t.y0, tc.x1 = t.x1, tc.y1 = t.y1;
        tc.res.resize(std::size_t(nl) + 1);
        for (int r = 0; r <= nl; ++r) {
            Resolution& rs = tc.res[std::size_t(r)];
            const Span rx = resolutionSpan(tx, nl, r), ry = resolutionSpan(ty, nl, r);
            rs.x0 = rx.a, rs.x1 = rx.b, rs.y0 = ry.a, rs.y1 = ry.b;
            rs.ppx = opt_.precinctW, rs.ppy = opt_.precinctH;
            const Span px = cells(rx, rs.ppx), py = cells(ry, rs.ppy);
            rs.px0 = px.a, rs.py0 = py.a, rs.pw = px.size(), rs.ph = py.size();
            // Code-blocks never cross a precinct; in the bands a precinct is half as large (B.6).
            const int bx = rs.ppx - (r > 0), by = rs.ppy - (r > 0);
            const int cbw = std::min(opt_.xcb, bx), cbh = std::min(opt_.ycb, by);
            const int n = r == 0 ? nl : nl - r + 1;   // decomposition level of the bands
            for (int o = r == 0 ? 0 : 1; o <= (r == 0 ? 0 : 3); ++o) {
                Band b{};
                b.orient = o;
                const Span sx = bandSpan(tx, n, o & 1), sy = bandSpan(ty, n, (o & 2) != 0);
                b.x0 = sx.a, b.x1 = sx.b, b.y0 = sy.a, b.y1 = sy.b;
                b.planeX = planeOffset(tx, n, o & 1), b.planeY = planeOffset(ty, n, (o & 2) != 0);
                const QuantEntry& qe = quant_[std::size_t(r == 0 ? 0 : 1 + 3 * (r - 1) + (o - 1))];
                b.expn = qe.expn, b.mant = qe.mant, b.step = qe.step, b.weight = qe.weight;
                b.cbw = cbw, b.cbh = cbh;
                const Span gx = sx.size() && sy.size() ? cells(sx, cbw) : Span{}, gy = sx.size() && sy.size() ? cells(sy, cbh) : Span{};
                b.cbx0 = gx.a, b.cby0 = gy.a, b.ncbx = gx.size(), b.ncby = gy.size();
                for (int j = gy.a; j < gy.b; ++j)
                    for (int i = gx.a; i < gx.b; ++i) {
                        const Span cx = cellSpan(sx, cbw, i), cy = cellSpan(sy, cbh, j);
                        Block cb;
                        cb.x0 = cx.a, cb.x1 = cx.b, cb.y0 = cy.a, cb.y1 = cy.b;
                        b.blocks.push_back(std::move(cb));
                    }
                rs.bands.push_back(std::move(b));
            }
            rs.precincts.resize(std::size_t(rs.pw) * rs.ph);
            for (int pj = 0; pj < rs.ph; ++pj)
                for (int pi = 0; pi < rs.pw; ++pi) {
                    auto& pbs = rs.precincts[std::size_t(pj) * rs.pw + pi];
                    pbs.resize(rs.bands.size());
                    for (std::size_t bi = 0; bi < rs.bands.size(); ++bi) {
                        const Band& b = rs.bands[bi];
                        const Span cx = cellsInside({b.cbx0, b.cbx0 + b.ncbx}, bx, rs.px0 + pi, b.cbw);
                        const Span cy = cellsInside({b.cby0, b.cby0 + b.ncby}, by, rs.py0 + pj, b.cbh);
                        if (!cx.size() || !cy.size()) continue;
                        pbs[bi].cx0 = cx.a, pbs[bi].cy0 = cy.a, pbs[bi].cw = cx.size(), pbs[bi].ch = cy.size();
                    }
                }
        }
    }
}

// Reversible coefficients to sign-magnitude in place, four at a time: the magnitude is
// (v ^ s) - s with s the sign spread over the word (also for INT32_MIN, whose magnitude bit 31
// the caller's mask drops), the sign bit OR-ed back on top. Returns the OR of the magnitudes.
std::uint32_t signMagnitude(std::int32_t* row, int w) {
    __m128i acc = _mm_setzero_si128();
    const __m128i top = _mm_set1_epi32(std::int32_t(0x80000000u));
    int x = 0;
    for (; x + 4 <= w; x += 4) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
        const __m128i sign = _mm_srai_epi32(v, 31);
        const __m128i m = _mm_sub_epi32(_mm_xor_si128(v, sign), sign);
        acc = _mm_or_si128(acc, m);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + x), _mm_or_si128(m, _mm_and_si128(sign, top)));
    }
    acc = _mm_or_si128(acc, _mm_shuffle_epi32(acc, 0x4E));
    acc = _mm_or_si128(acc, _mm_shuffle_epi32(acc, 0xB1));
    std::uint32_t all = std::uint32_t(_mm_cvtsi128_si32(acc));
    for (; x < w; ++x) {
        const std::int32_t v = row[x];
        const std::uint32_t m = v < 0 ? std::uint32_t(0) - std::uint32_t(v) : std::uint32_t(v);
        all |= m;
        row[x] = std::int32_t(m | (v < 0 ? 0x80000000u : 0));
    }
    return all;
}

// Samples of the tile, DC level shifted (T.800 G.1), then the forward component transform.
void Encoder::transformComponent(Tile& t, int c) {
    TileComp& tc = t.comps[std::size_t(c)];
    const int planeW = tc.x1 - tc.x0;
    for (std::size_t r = tc.res.size() - 1; r >= 1; --r) {
        const Resolution& rs = tc.res[r];
        const KepiRect rect{rs.x0, rs.y0, rs.x1 - rs.x0, rs.y1 - rs.y0};
        int size = 0;
        if (opt_.lossy) kepiWTGetBufSize_D97_JPEG2K_32s_C1IR(&rect, &size);
        else kepiWTGetBufSize_B53_JPEG2K_32s_C1IR(&rect, &size);
        std::vector<std::uint32_t> buf(std::size_t(size) / 4 + 1);
        Kep8u* scratch = reinterpret_cast<Kep8u*>(buf.data());
        if (opt_.lossy) kepiWTFwd_D97_JPEG2K_32s_C1IR(tc.plane.data(), planeW * 4, &rect, scratch);
        else kepiWTFwd_B53_JPEG2K_32s_C1IR(tc.plane.data(), planeW * 4, &rect, scratch);
    }
    // Sign-magnitude code-block samples in place: quantization indices (E.1.1) or the reversible
    // coefficients themselves.
    // The OR of the magnitudes gives each band's largest bit for the guard bits.
    for (Resolution& rs : tc.res)
        for (Band& b : rs.bands) {
            const double inv = 1.0 / b.step;
            const int w = b.x1 - b.x0;
            std::uint32_t all = 0;
            for (int y = b.y0; y < b.y1; ++y) {
                std::int32_t* row = &tc.plane[std::size_t(b.planeY + y - b.y0) * planeW + b.planeX];
                if (opt_.lossy) {
                    for (int x = 0; x < w; ++x) {
                        const std::int32_t v = row[x];
                        const std::uint32_t m = std::uint32_t(double(v < 0 ? std::uint32_t(0) - std::uint32_t(v) : std::uint32_t(v)) * inv);
                        all |= m;
                        row[x] = std::int32_t(m | (v < 0 && m ? 0x80000000u : 0));
                    }
                } else {
                    all |= signMagnitude(row, w);
                }
            }
            b.bits = bitsOf(all & 0x7FFFFFFFu);
        }
}

// Rows y0..y1 of the tile into the component planes: DC level shift (T.800 G.1), then the forward
// component transform, and the irreversible path's fixed point.
void Encoder::loadRows(Tile& t, int y0, int y1, std::vector<float>& scratch) {
    const int w = t.x1 - t.x0, h = y1 - y0;
    const std::size_t off = std::size_t(y0) * std::size_t(w), n = std::size_t(w) * std::size_t(h);
    const int shift = 1 << (prec_ - 1);
    // Interleaved samples to planes, every component of a row in one pass over it.
    auto split = [&](const auto* px) {
        for (int y = 0; y < h; ++y) {
            const auto* src = px + (std::size_t(t.y0 + y0 + y) * img_.width + t.x0) * nc_;
            const std::size_t row = off + std::size_t(y) * w;
            if (nc_ == 3) {
                std::int32_t *d0 = t.comps[0].plane.data() + row, *d1 = t.comps[1].plane.data() + row, *d2 = t.comps[2].plane.data() + row;
                for (int x = 0; x < w; ++x, src += 3) d0[x] = src[0] - shift, d1[x] = src[1] - shift, d2[x] = src[2] - shift;
            } else {
                for (int c = 0; c < nc_; ++c) {
                    std::int32_t* dst = t.comps[std::size_t(c)].plane.data() + row;
                    for (int x = 0; x < w; ++x) dst[x] = src[std::size_t(x) * nc_ + c] - shift;
                }
            }
        }
    };
    if (!img_.px8.empty()) split(img_.px8.data());
    else split(img_.px16.data());
    if (mct_) {
        Kep32s* p[3] = {t.comps[0].plane.data() + off, t.comps[1].plane.data() + off, t.comps[2].plane.data() + off};
        if (!opt_.lossy) {
            kepiRCTFwd_JPEG2K_32s_P3IR(p, w * 4, {w, h});
        } else {
            // The ICT in single precision, then fixed point for the 9/7 wavelet.
            scratch.resize(3 * n);
            Kep32f* fp[3] = {scratch.data(), scratch.data() + n, scratch.data() + 2 * n};
            for (int c = 0; c < 3; ++c) std::copy(p[c], p[c] + n, fp[c]);
            kepiICTFwd_JPEG2K_32f_P3IR(fp, w * 4, {w, h});
            const float scale = float(1 << frac_);
            for (int c = 0; c < 3; ++c)
                for (std::size_t i = 0; i < n; ++i) p[c][i] = std::int32_t(std::lrint(fp[c][i] * scale));
        }
    }
    if (opt_.lossy)
        for (int c = mct_ ? 3 : 0; c < nc_; ++c) {
            std::int32_t* plane = t.comps[std::size_t(c)].plane.data() + off;
            for (std::size_t i = 0; i < n; ++i) plane[i] *= 1 << frac_;
        }
}

bool Encoder::codeTile(Tile& t, std::string& err) {
    const int w = t.x1 - t.x0, h = t.y1 - t.y0;
    const std::size_t n = std::size_t(w) * h;
    const int threads = int(states_.size());
    for (TileComp& tc : t.comps) tc.plane.resize(n);
    // Samples, component transform and fixed point in bands of rows that stay in cache (about
    // 32 K samples per component), taken dynamically.
    {
        std::vector<std::vector<float>> scratch(static_cast<std::size_t>(threads));
        const int bandRows = std::clamp(32768 / w, 1, 64), rowBands = (h + bandRows - 1) / bandRows;
        std::atomic<int> next{0};
        auto work = [&](int th) {
            for (int i; (i = next.fetch_add(1)) < rowBands;)
                loadRows(t, bandRows * i, std::min(h, bandRows * i + bandRows), scratch[std::size_t(th)]);
        };
        std::vector<std::thread> pool;
        for (int i = 1; i < std::min(threads, rowBands); ++i) pool.emplace_back(work, i);
        work(0);
        for (std::thread& th : pool) th.join();
    }
    // Then wavelets and code-blocks in one pool: the wavelet of each component (with its sign-
    // magnitude conversion) is taken first, and a component's code-blocks can be coded as soon as
    // its wavelet is done, while another thread still transforms the next component. The guard
    // bits (and so each band's Mb) are only known once every component is transformed; blocks are
    // coded with Mb = 31, which changes only their count of zero bit planes (the coder starts at
    // the most significant non-zero plane), corrected below.
    // Code-blocks, shared out among the threads; each thread has its own encoder state.
    struct Job {
        int c;
        Band* b;
        Block* cb;
    };
    std::vector<Job> jobs;
    for (int c = 0; c < nc_; ++c)
        for (Resolution& rs : t.comps[std::size_t(c)].res)
            for (Band& b : rs.bands)
                for (Block& cb : b.blocks) jobs.push_back({c, &b, &cb});
    std::atomic<int> nextComp{0};
    std::unique_ptr<std::atomic<bool>[]> transformed(new std::atomic<bool>[std::size_t(nc_)]);
    for (int c = 0; c < nc_; ++c) transformed[std::size_t(c)] = false;
    int lib = 0;
    if (opt_.cbstyle & 0x01) lib |= KEP_J2K_CB_BYPASS;
    if (opt_.cbstyle & 0x02) lib |= KEP_J2K_CB_RESET;
    if (opt_.cbstyle & 0x04) lib |= KEP_J2K_CB_TERMALL;
    if (opt_.cbstyle & 0x08) lib |= KEP_J2K_CB_VCAUSAL;
    if (opt_.cbstyle & 0x20) lib |= KEP_J2K_CB_SEGSYM;
    const int term = (opt_.cbstyle & 0x10) ? kepMQTermPredictable : kepMQTermFlush;
    std::atomic<std::size_t> next{0};
    std::atomic<bool> failed{false};
    auto work = [&](KepiEncodeState_JPEG2K* st) {
        for (int c; (c = nextComp.fetch_add(1)) < nc_;) {
            transformComponent(t, c);
            transformed[std::size_t(c)].store(true, std::memory_order_release);
        }
        for (std::size_t j; !failed && (j = next++) < jobs.size();) {
            const Job& job = jobs[j];
            // The component's wavelet is under way on another thread (every one was taken above).
            while (!transformed[std::size_t(job.c)].load(std::memory_order_acquire)) std::this_thread::yield();
            Block& cb = *job.cb;
            const Band& b = *job.b;
            const TileComp& tc = t.comps[std::size_t(job.c)];
            const int planeW = tc.x1 - tc.x0;
            const std::int32_t* src = &tc.plane[std::size_t(b.planeY + cb.y0 - b.y0) * planeW + b.planeX + cb.x0 - b.x0];
            const int subband = b.orient == 0 ? 0 : b.orient == 1 ? 2 : b.orient == 2 ? 1 : 3;
            int sf = 0, np = 0, nt = 0;
            if (kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(src, planeW * 4, {cb.x1 - cb.x0, cb.y1 - cb.y0}, st, subband, 31, term,
                                                       lib, &sf, &np, &nt) != kepOk) {
                failed = true;
                break;
            }
            cb.zeroPlanes = sf, cb.passes = np;
            cb.rate.resize(std::size_t(np)), cb.dist.resize(std::size_t(np));
            double d = 0;
            for (int k = 0; k < np; ++k) {
                Kep32f dk = 0;
                kepiEncodeGetRate_JPEG2K(st, k, &cb.rate[std::size_t(k)]);
                kepiEncodeGetDist_JPEG2K(st, k, &dk);
                d += double(dk) * b.weight;
                cb.dist[std::size_t(k)] = d;
            }
            // Rates at the passes that end a segment are the segments' exact ends.
            int total = 0;
            for (int s = 0, k = 0; s < nt; ++s) {
                int len = 0;
                kepiEncodeGetTermPassLen_JPEG2K(st, s, &len);
                total += len;
                while (k + 1 < np && segmentOf(opt_.cbstyle, k + 1) == s) ++k;
                if (k < np) cb.rate[std::size_t(k)] = total, ++k;
            }
            cb.data.resize(std::size_t(total));
            for (int done = 0, more = total > 0; more;) {
                int len = total - done;
                kepiEncodeStoreBits_JPEG2K_1u(cb.data.data() + done, &len, st, &more);
                done += len;
            }
            // Convex hull of (rate, distortion) from the origin: slopes strictly decreasing.
            std::vector<int>& hull = cb.hull;
            for (int k = 0; k < np; ++k) {
                if (cb.dist[std::size_t(k)] <= 0) continue;
                for (;;) {
                    const int pk = hull.empty() ? -1 : hull.back();
                    const double r0 = pk < 0 ? 0 : cb.rate[std::size_t(pk)], d0 = pk < 0 ? 0 : cb.dist[std::size_t(pk)];
                    if (cb.dist[std::size_t(k)] <= d0) break;
                    if (pk < 0) {
                        hull.push_back(k);
                        break;
                    }
                    const int ppk = hull.size() > 1 ? hull[hull.size() - 2] : -1;
                    const double r1 = ppk < 0 ? 0 : cb.rate[std::size_t(ppk)], d1 = ppk < 0 ? 0 : cb.dist[std::size_t(ppk)];
                    // Slope into pk against the slope from pk to k: drop pk when it is not convex.
                    const double sPrev = (d0 - d1) * (cb.rate[std::size_t(k)] - r0);
                    const double sNext = (cb.dist[std::size_t(k)] - d0) * (r0 - r1);
                    if (sNext >= sPrev) hull.pop_back();
                    else {
                        hull.push_back(k);
                        break;
                    }
                }
            }
            // The last pass is always reachable (lossless needs every pass).
            if (np && (hull.empty() || hull.back() != np - 1)) hull.push_back(np - 1);
            // Progress goes out from the calling thread only.
            const long done = ++blocksDone_;
            if (opt_.progress && st == states_[0] && (done & 15) == 0) opt_.progress(double(done) / double(blocksTotal_));
        }
    };
    std::vector<std::thread> pool;
    for (std::size_t i = 1; i < states_.size(); ++i) pool.emplace_back(work, states_[i]);
    work(states_[0]);
    for (std::thread& th : pool) th.join();
    for (TileComp& tc : t.comps) Plane().swap(tc.plane);
    if (failed) return err = "code-block encoding failed", false;
    // Guard bits: enough for the largest index of any band of the tile (T.800 E.1: Mb = G + e - 1).
    for (TileComp& tc : t.comps)
        for (Resolution& rs : tc.res)
            for (Band& b : rs.bands) t.guard = std::max(t.guard, b.bits - b.expn + 1);
    if (t.guard > 7) return err = "coefficients too large for the quantization exponents", false;
    for (TileComp& tc : t.comps)
        for (Resolution& rs : tc.res)
            for (Band& b : rs.bands) {
                const int mb = t.guard + b.expn - 1;
                if (mb > 31) return err = "code-block encoding failed", false;
                for (Block& cb : b.blocks) cb.zeroPlanes -= 31 - mb;
            }
    return true;
}

// ---- rate allocation ------------------------------------------------------------------------------

// The hull point a block stops at for a slope threshold: passes whose hull segment has a
// distortion-per-byte slope above lambda.
int passesAt(const Block& cb, double lambda) {
    int chosen = 0, pr = 0;
    double pd = 0;
    for (int k : cb.hull) {
        const double dr = cb.rate[std::size_t(k)] - pr, dd = cb.dist[std::size_t(k)] - pd;
        if (dd < lambda * dr) break;
        chosen = k + 1, pr = cb.rate[std::size_t(k)], pd = cb.dist[std::size_t(k)];
    }
    return chosen;
}

double Encoder::selectedBytes(double lambda) const {
    double s = 0;
    forEachBlock([&](const Block& cb) {
        const int k = passesAt(cb, lambda);
        if (k) s += cb.rate[std::size_t(k) - 1];
    });
    return s;
}

double Encoder::remainingDistortion(double lambda) const {
    double s = baseDistortion_;
    forEachBlock([&](const Block& cb) {
        const int k = passesAt(cb, lambda);
        if (cb.passes) s += cb.dist.back() - (k ? cb.dist[std::size_t(k) - 1] : 0);
    });
    return s;
}

// The smallest slope threshold (most data) whose selection fits in bytes, no lower than `lower`.
double Encoder::lambdaForBudget(double bytes, double lower) const {
    if (selectedBytes(lower) <= bytes) return lower;
    double lo = lower, hi = std::max(lower, 1.0);
    while (selectedBytes(hi) > bytes && hi < 1e300) hi *= 4;
    for (int i = 0; i < 60; ++i) {
        const double mid = std::sqrt(std::max(lo, 1e-300) * hi);
        if (selectedBytes(mid) > bytes) lo = mid;
        else hi = mid;
    }
    return hi;
}

// The largest slope threshold (least data) whose remaining distortion stays within `total`.
double Encoder::lambdaForDistortion(double total) const {
    if (remainingDistortion(0) > total) return 0;
    double lo = 1e-12, hi = 1;
    while (remainingDistortion(hi) <= total && hi < 1e300) hi *= 4;
    for (int i = 0; i < 60; ++i) {
        const double mid = std::sqrt(lo * hi);
        if (remainingDistortion(mid) <= total) lo = mid;
        else hi = mid;
    }
    return lo;
}

void Encoder::choose(double lambda, int layer) {
    for (Tile& t : tiles_)
        for (TileComp& tc : t.comps)
            for (Resolution& rs : tc.res)
                for (Band& b : rs.bands)
                    for (Block& cb : b.blocks) {
                        cb.cum.resize(std::size_t(opt_.layers));
                        int k = lambda < 0 ? cb.passes : passesAt(cb, lambda);
                        if (lambda < -1.5) k = int((std::int64_t(cb.passes) * (layer + 1) + opt_.layers - 1) / opt_.layers);
                        if (layer > 0) k = std::max(k, cb.cum[std::size_t(layer) - 1]);
                        cb.cum[std::size_t(layer)] = k;
                    }
}

// budgets: cumulative bytes per layer, overhead: the header bytes expected within each;
// lastLambda >= 0 fixes the last layer's threshold instead of its budget. Returns the last
// layer's threshold (0: every pass).
double Encoder::allocate(const std::vector<double>& budgets, const std::vector<double>& overhead, double lastLambda) {
    double lower = 0;
    std::vector<double> lambdas(budgets.size(), -1);
    for (int l = int(budgets.size()) - 1; l >= 0; --l) {
        const std::size_t i = std::size_t(l);
        if (l == int(budgets.size()) - 1 && lastLambda >= 0) lambdas[i] = lastLambda;
        else if (budgets[i] >= 0) lambdas[i] = lambdaForBudget(std::max(0.0, budgets[i] - overhead[i]), lower);
        lower = std::max(lower, lambdas[i]);
    }
    for (std::size_t l = 0; l < budgets.size(); ++l) choose(lambdas[l], int(l));
    return lambdas.back();
}

double Encoder::measurePsnr(const std::vector<std::uint8_t>& stream) const {
    Decoded d;
    std::string err;
    decode(stream.data(), stream.size(), d, err);
    if (d.planes.size() != std::size_t(nc_)) return 0;
    double se = 0;
    const std::size_t n = std::size_t(img_.width) * img_.height;
    for (std::size_t i = 0; i < n; ++i)
        for (int c = 0; c < nc_; ++c) {
            const std::size_t k = i * std::size_t(nc_) + std::size_t(c);
            const double e = double(d.planes[std::size_t(c)][i]) - (img_.px8.empty() ? img_.px16[k] : img_.px8[k]);
            se += e * e;
        }
    const double peak = double((1 << prec_) - 1);
    return se == 0 ? 999 : 10 * std::log10(peak * peak * double(n) * nc_ / se);
}

// ---- code stream ---------------------------------------------------------------------------------

void put16(std::vector<std::uint8_t>& o, int v) { o.push_back(std::uint8_t(v >> 8)), o.push_back(std::uint8_t(v)); }
void put32(std::vector<std::uint8_t>& o, std::uint32_t v) { put16(o, int(v >> 16)), put16(o, int(v & 0xFFFF)); }

void Encoder::writeQcd(std::vector<std::uint8_t>& o, int guard) const {
    put16(o, 0xFF5C);
    put16(o, 3 + int(quant_.size()) * (opt_.lossy ? 2 : 1));
    o.push_back(std::uint8_t(guard << 5 | (opt_.lossy ? 2 : 0)));
    for (const QuantEntry& q : quant_) {
        if (opt_.lossy) put16(o, q.expn << 11 | q.mant);
        else o.push_back(std::uint8_t(q.expn << 3));
    }
}

void Encoder::writeTile(Tile& t, int index, std::vector<std::uint8_t>& out, std::vector<double>& layerBytes) {
    // Packets with their progression keys, as a decoder orders them (T.800 B.12).
    struct Packet {
        int l, r, c, p;
        std::int64_t y, x;
    };
    std::vector<Packet> packets;
    for (int c = 0; c < nc_; ++c) {
        TileComp& tc = t.comps[std::size_t(c)];
        for (int r = 0; r <= levels_; ++r) {
            Resolution& rs = tc.res[std::size_t(r)];
            for (int pj = 0; pj < rs.ph; ++pj)
                for (int pi = 0; pi < rs.pw; ++pi) {
                    // Precinct origin on the reference grid (shifts of up to 47 bits fit in 64).
                    const int sh = levels_ - r;
                    const std::int64_t y = std::max<std::int64_t>(t.y0, std::int64_t(rs.py0 + pj) << (rs.ppy + sh));
                    const std::int64_t x = std::max<std::int64_t>(t.x0, std::int64_t(rs.px0 + pi) << (rs.ppx + sh));
                    for (int l = 0; l < opt_.layers; ++l) packets.push_back({l, r, c, pj * rs.pw + pi, y, x});
                }
            // Tag trees of each precinct: first layer of inclusion and zero bit planes.
            for (auto& pbs : rs.precincts)
                for (std::size_t bi = 0; bi < pbs.size(); ++bi) {
                    PrecinctBand& pb = pbs[bi];
                    if (!pb.cw) continue;
                    Band& b = rs.bands[bi];
                    pb.incl.init(pb.cw, pb.ch), pb.zero.init(pb.cw, pb.ch);
                    for (int j = 0; j < pb.ch; ++j)
                        for (int i = 0; i < pb.cw; ++i) {
                            Block& cb = b.blocks[std::size_t(pb.cy0 + j) * b.ncbx + pb.cx0 + i];
                            int first = 1 << 20;
                            for (int l = opt_.layers - 1; l >= 0; --l)
                                if (cb.cum[std::size_t(l)] > 0) first = l;
                            pb.incl.set(i, j, first);
                            pb.zero.set(i, j, cb.zeroPlanes);
                            cb.lblock = 3, cb.included = false;
                        }
                }
        }
    }
    const int order = opt_.order;
    using Key = std::array<std::int64_t, 6>;
    auto key = [order](const Packet& a) {
        switch (order) {
        case 0: return Key{a.l, a.r, a.c, a.y, a.x, a.p};
        case 1: return Key{a.r, a.l, a.c, a.y, a.x, a.p};
        case 2: return Key{a.r, a.y, a.x, a.c, a.l, a.p};
        case 3: return Key{a.y, a.x, a.c, a.r, a.l, a.p};
        default: return Key{a.c, a.y, a.x, a.r, a.l, a.p};
        }
    };
    std::stable_sort(packets.begin(), packets.end(), [&](const Packet& a, const Packet& b) { return key(a) < key(b); });

    const std::size_t sot = out.size();
    put16(out, 0xFF90), put16(out, 10), put16(out, index), put32(out, 0), out.push_back(0), out.push_back(1);
    if (t.guard != 2) writeQcd(out, t.guard);
    put16(out, 0xFF93);
    int nsop = 0;
    struct Piece {
        int len, passes;
    };
    std::vector<Piece> pieces;   // codeword segments of one block's contribution
    std::vector<std::pair<const Block*, int>> body;
    for (const Packet& pk : packets) {
        const std::size_t start = out.size();
        if (opt_.sop) put16(out, 0xFF91), put16(out, 4), put16(out, nsop & 0xFFFF);
        ++nsop;
        Resolution& rs = t.comps[std::size_t(pk.c)].res[std::size_t(pk.r)];
        auto& pbs = rs.precincts[std::size_t(pk.p)];
        const int l = pk.l;
        auto newPasses = [&](const Block& cb) { return cb.cum[std::size_t(l)] - (l ? cb.cum[std::size_t(l) - 1] : 0); };
        bool any = false;
        for (std::size_t bi = 0; bi < pbs.size(); ++bi)
            for (int j = 0; j < pbs[bi].ch; ++j)
                for (int i = 0; i < pbs[bi].cw; ++i)
                    any |= newPasses(rs.bands[bi].blocks[std::size_t(pbs[bi].cy0 + j) * rs.bands[bi].ncbx + pbs[bi].cx0 + i]) > 0;
        BitWriter bw{out};
        bw.put(any);
        body.clear();
        if (any)
            for (std::size_t bi = 0; bi < pbs.size(); ++bi) {
                PrecinctBand& pb = pbs[bi];
                Band& b = rs.bands[bi];
                for (int j = 0; j < pb.ch; ++j)
                    for (int i = 0; i < pb.cw; ++i) {
                        Block& cb = b.blocks[std::size_t(pb.cy0 + j) * b.ncbx + pb.cx0 + i];
                        const int np = newPasses(cb);
                        if (!cb.included) pb.incl.encode(i, j, l + 1, [&](int v) { bw.put(v); });
                        else bw.put(np > 0);
                        if (np == 0) continue;
                        if (!cb.included) {
                            pb.zero.encode(i, j, cb.zeroPlanes + 1, [&](int v) { bw.put(v); });
                            cb.included = true;
                        }
                        // Number of new passes, T.800 Table B.4.
                        if (np == 1) bw.put(0);
                        else if (np == 2) bw.bits(2, 2);
                        else if (np <= 5) bw.bits(3, 2), bw.bits(np - 3, 2);
                        else if (np <= 36) bw.bits(15, 4), bw.bits(np - 6, 5);
                        else bw.bits(511, 9), bw.bits(np - 37, 7);
                        // Lengths, one per codeword segment the new passes reach (B.10.7).
                        const int p0 = cb.cum[std::size_t(l)] - np, p1 = cb.cum[std::size_t(l)];
                        pieces.clear();
                        int inc = 0;
                        for (int a = p0; a < p1;) {
                            int e = a;
                            while (e + 1 < p1 && segmentOf(opt_.cbstyle, e + 1) == segmentOf(opt_.cbstyle, a)) ++e;
                            const int len = cb.rate[std::size_t(e)] - (a ? cb.rate[std::size_t(a) - 1] : 0);
                            pieces.push_back({len, e - a + 1});
                            inc = std::max(inc, bitsOf(std::uint32_t(len)) - (bitsOf(std::uint32_t(e - a + 1)) - 1) - cb.lblock);
                            a = e + 1;
                        }
                        for (int k = 0; k < inc; ++k) bw.put(1);
                        bw.put(0);
                        cb.lblock += inc;
                        for (const Piece& pc : pieces) bw.bits(pc.len, cb.lblock + bitsOf(std::uint32_t(pc.passes)) - 1);
                        body.push_back({&cb, p0});
                    }
            }
        bw.flush();
        if (opt_.eph) put16(out, 0xFF92);
        for (const auto& [cb, p0] : body) {
            const int from = p0 ? cb->rate[std::size_t(p0) - 1] : 0, to = cb->rate[std::size_t(cb->cum[std::size_t(l)]) - 1];
            out.insert(out.end(), cb->data.begin() + from, cb->data.begin() + to);
        }
        layerBytes[std::size_t(l)] += double(out.size() - start);
    }
    const std::uint32_t psot = std::uint32_t(out.size() - sot);
    for (int i = 0; i < 4; ++i) out[sot + 6 + std::size_t(i)] = std::uint8_t(psot >> (24 - 8 * i));
}

std::vector<std::uint8_t> Encoder::writeStream(std::vector<double>& layerBytes) {
    std::vector<std::uint8_t> o;
    // Room for every coded byte and the packet headers up front: the stream is not moved as it grows.
    std::size_t coded = 0;
    forEachBlock([&](const Block& cb) { coded += cb.data.size(); });
    o.reserve(coded + coded / 16 + 4096 + 64 * tiles_.size());
    put16(o, 0xFF4F);
    put16(o, 0xFF51), put16(o, 38 + 3 * nc_), put16(o, 0);
    put32(o, std::uint32_t(img_.width)), put32(o, std::uint32_t(img_.height)), put32(o, 0), put32(o, 0);
    put32(o, std::uint32_t(tw_)), put32(o, std::uint32_t(th_)), put32(o, 0), put32(o, 0);
    put16(o, nc_);
    for (int c = 0; c < nc_; ++c) o.push_back(std::uint8_t(prec_ - 1)), o.push_back(1), o.push_back(1);
    const bool precincts = opt_.precinctW < 15 || opt_.precinctH < 15;
    put16(o, 0xFF52), put16(o, 12 + (precincts ? levels_ + 1 : 0));
    o.push_back(std::uint8_t((precincts ? 1 : 0) | (opt_.sop ? 2 : 0) | (opt_.eph ? 4 : 0)));
    o.push_back(std::uint8_t(opt_.order)), put16(o, opt_.layers), o.push_back(mct_ ? 1 : 0);
    o.push_back(std::uint8_t(levels_)), o.push_back(std::uint8_t(opt_.xcb - 2)), o.push_back(std::uint8_t(opt_.ycb - 2));
    o.push_back(std::uint8_t(opt_.cbstyle)), o.push_back(opt_.lossy ? 0 : 1);
    if (precincts)
        for (int r = 0; r <= levels_; ++r) o.push_back(std::uint8_t(opt_.precinctH << 4 | opt_.precinctW));
    writeQcd(o, 2);
    layerBytes.assign(std::size_t(opt_.layers), 0);
    const double header = double(o.size()) + 2;
    for (std::size_t i = 0; i < tiles_.size(); ++i) writeTile(tiles_[i], int(i), o, layerBytes);
    put16(o, 0xFFD9);
    // Cumulative per layer, with the headers counted in the first.
    layerBytes[0] += header + 14.0 * double(tiles_.size());
    for (std::size_t l = 1; l < layerBytes.size(); ++l) layerBytes[l] += layerBytes[l - 1];
    return o;
}

bool Encoder::run(std::vector<std::uint8_t>& out, std::string& err) {
    if (!setup(err)) return false;
    tiles_.resize(std::size_t(tilesX_) * tilesY_);
    blocksTotal_ = 0;
    for (std::size_t i = 0; i < tiles_.size(); ++i) {
        buildTile(tiles_[i], int(i));
        for (const TileComp& tc : tiles_[i].comps)
            for (const Resolution& rs : tc.res)
                for (const Band& b : rs.bands) blocksTotal_ += long(b.blocks.size());
    }
    const int nthreads = std::clamp(opt_.threads, 1, 64);
    const KepiSize cbMax{1 << opt_.xcb, 1 << opt_.ycb};
    bool ok = true;
    for (int i = 0; i < nthreads && ok; ++i) {
        KepiEncodeState_JPEG2K* st = nullptr;
        if (kepiEncodeInitAlloc_JPEG2K(&st, cbMax) != kepOk) err = "out of memory", ok = false;
        else states_.push_back(st);
    }
    for (std::size_t i = 0; ok && i < tiles_.size(); ++i) ok = codeTile(tiles_[i], err);
    for (KepiEncodeState_JPEG2K* st : states_) kepiEncodeFree_JPEG2K(st);
    states_.clear();
    if (!ok) return false;

    const double pixels = double(img_.width) * img_.height;
    const int L = opt_.layers;
    if (!opt_.lossy) {
        // Lossless: every pass, layers split by passes (an equal share of each block's passes).
        for (int l = 0; l < L; ++l) choose(L == 1 ? -1 : -2, l);
        std::vector<double> lb;
        out = writeStream(lb);
        return true;
    }
    // Quantization floor: each coded index carries a uniform error of one step (step^2 / 12).
    baseDistortion_ = 0;
    double samples = pixels * nc_;
    for (const Tile& t : tiles_)
        for (std::size_t c = 0; c < t.comps.size(); ++c)
            for (const Resolution& rs : t.comps[c].res)
                for (const Band& b : rs.bands)
                    baseDistortion_ += double(b.x1 - b.x0) * (b.y1 - b.y0) * b.weight / 12.0 * compWeight_[c];
    // Component weights folded into the blocks' distortions.
    for (Tile& t : tiles_)
        for (std::size_t c = 0; c < t.comps.size(); ++c)
            for (Resolution& rs : t.comps[c].res)
                for (Band& b : rs.bands)
                    for (Block& cb : b.blocks)
                        for (double& d : cb.dist) d *= compWeight_[c];
    // Layer budgets in bytes: the given rates; a single rate (or the quality target, or all
    // the data) for the last layer, with the earlier layers halving it.
    std::vector<double> budgets(std::size_t(L), -1), overhead(std::size_t(L), 0);
    // The JP2 boxes around the code stream take 85 bytes of the file's budget.
    const double boxes = opt_.jp2 ? 85 : 0;
    double rateLast = opt_.rates.empty() ? -1 : opt_.rates.back() * pixels / 8 - boxes;
    double lambdaQ = -1, mseTarget = 0;
    if (opt_.psnr > 0) {
        const double peak = double((1 << prec_) - 1);
        mseTarget = samples * peak * peak / std::pow(10.0, opt_.psnr / 10);
        lambdaQ = lambdaForDistortion(mseTarget);
        // With a rate as well, the smaller file wins.
        if (rateLast >= 0 && selectedBytes(lambdaQ) > rateLast) lambdaQ = -1;
    }
    auto setBudgets = [&](double last) {
        for (int l = 0; l < L; ++l)
            budgets[std::size_t(l)] = opt_.rates.size() == std::size_t(L) ? opt_.rates[std::size_t(l)] * pixels / 8 - boxes
                                                                        : last / std::ldexp(1.0, L - 1 - l);
    };
    std::vector<double> layerBytes;
    if (lambdaQ >= 0) {
        // Quality target: the distortion estimate picks the threshold; the decoded result
        // corrects the target when the estimate was optimistic.
        for (int attempt = 0; attempt < 4; ++attempt) {
            setBudgets(selectedBytes(lambdaQ));
            allocate(budgets, overhead, lambdaQ);
            out = writeStream(layerBytes);
            const double p = measurePsnr(out);
            if (p >= opt_.psnr || lambdaQ == 0) break;   // met, or every pass is in already
            mseTarget *= std::pow(10.0, (p - opt_.psnr) / 10) * 0.98;
            lambdaQ = lambdaForDistortion(mseTarget);
        }
        return true;
    }
    setBudgets(rateLast >= 0 ? rateLast : selectedBytes(0));
    if (rateLast < 0) {
        allocate(budgets, overhead, 0);
        out = writeStream(layerBytes);
        return true;
    }
    // Rate target: headers are known only once the packets are written. Allocate, write, and
    // move each layer's header allowance by the measured miss until the stream fits closely.
    for (int l = 0; l < L; ++l) overhead[std::size_t(l)] = 60.0 * tiles_.size() + 2.0 * blocksTotal_ * (l + 1) / L;
    std::vector<std::uint8_t> best;
    for (int iter = 0; iter < 10; ++iter) {
        const double last = allocate(budgets, overhead, -1);
        out = writeStream(layerBytes);
        bool fits = true;
        for (int l = 0; l < L; ++l) fits &= layerBytes[std::size_t(l)] <= budgets[std::size_t(l)];
        if (fits && out.size() > best.size()) best = out;
        if (fits && (layerBytes.back() >= 0.99 * budgets.back() || last == 0)) break;
        for (int l = 0; l < L; ++l) {
            const double miss = layerBytes[std::size_t(l)] - budgets[std::size_t(l)];
            overhead[std::size_t(l)] += miss > 0 ? miss + 2 : miss / 2;
        }
    }
    // When no allocation fitted (the headers alone exceed the budget) the last one stands.
    if (!best.empty()) out.swap(best);
    return true;
}

}  // namespace

bool encode(const kepjpeg::Image& img, const EncodeOptions& opt, std::vector<std::uint8_t>& out, std::string& err) {
    out.clear();
    Encoder e(img, opt);
    if (!e.run(out, err)) return out.clear(), false;
    if (opt.jp2) out = wrapJp2(out, img);
    return true;
}

}  // namespace kepj2k
