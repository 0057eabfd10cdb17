// An independent, deliberately plain JPEG 2000 code-block decoder written from ITU-T T.800
// Annex C (MQ decoder, in the standard's own non-complemented register convention) and Annex D
// (coding passes with their tables spelled out), sharing no code with the library. Speed is of
// no concern here: every context is formed from the neighbour arrays each time.
//
// End of segment: a byte past the segment reads as 0xFF, so that the decoder feeds 1-bits at the
// end just as at a marker (T.800 C.3.4 leaves the pointer on a marker, so that rule is sticky).
#ifndef J2K_T800_REFERENCE_H
#define J2K_T800_REFERENCE_H

#include <cstdint>
#include <utility>
#include <vector>

namespace t800 {

// Table C.2: Qe, NMPS, NLPS, SWITCH.
struct QeRow {
    uint32_t qe;
    int nmps, nlps, sw;
};
inline const QeRow* qeTable() {
    static const QeRow t[47] = {
        {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},  {0x0521, 5, 29, 0},
        {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},  {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0},
        {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1},
        {0x5401, 16, 14, 0}, {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
        {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, {0x1C01, 25, 22, 0},
        {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0},
        {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0},
        {0x02A1, 36, 33, 0}, {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
        {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, {0x0005, 45, 42, 0},
        {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0},
    };
    return t;
}

// Context labels of T.800 Annex D: 0..8 significance, 9..13 sign, 14..16 refinement, 17 run
// length, 18 uniform. Table D.7 initial states.
enum { kRL = 17, kUNI = 18, kLabels = 19 };
struct Contexts {
    int I[kLabels], mps[kLabels];
    void reset() {
        for (int k = 0; k < kLabels; ++k) I[k] = mps[k] = 0;
        I[0] = 4;
        I[kRL] = 3;
        I[kUNI] = 46;
    }
};

// T.800 C.3 decoder: C holds the code value measured from the bottom of the interval.
class MQ {
public:
    MQ(const uint8_t* d, int len) : d_(d), len_(len < 0 ? 0 : len) {
        bp_ = 0;
        c_ = byteAt(0) << 16;
        byteIn();
        c_ <<= 7;
        ct_ -= 7;
        a_ = 0x8000;
    }
    int decode(Contexts& cx, int k) {
        const QeRow& r = qeTable()[cx.I[k]];
        const uint32_t qe = r.qe, a = a_ - qe;
        const uint32_t chigh = c_ >> 16;
        int bit;
        bool lower;
        if (chigh < qe) {  // the lower sub-interval [0, Qe)
            lower = true;
        } else {
            lower = false;
            c_ -= qe << 16;
        }
        // The lower part is the LPS unless the exchange gives it to the MPS (a < Qe).
        const bool mps = lower ? (a < qe) : !(a < qe);
        if (mps) {
            bit = cx.mps[k];
            a_ = lower ? qe : a;
            if (!(a_ & 0x8000)) {
                cx.I[k] = r.nmps;
                renorm();
            }
        } else {
            bit = 1 - cx.mps[k];
            a_ = lower ? qe : a;
            if (r.sw) cx.mps[k] = 1 - cx.mps[k];
            cx.I[k] = r.nlps;
            renorm();
        }
        return bit;
    }

private:
    uint32_t byteAt(int i) const { return i < len_ ? d_[i] : 0xFFu; }
    void byteIn() {  // T.800 Figure C.20 BYTEIN
        if (byteAt(bp_) == 0xFF) {
            if (byteAt(bp_ + 1) > 0x8F) {
                c_ += 0xFF00;
                ct_ = 8;
            } else {
                ++bp_;
                c_ += byteAt(bp_) << 9;
                ct_ = 7;
            }
        } else {
            ++bp_;
            c_ += byteAt(bp_) << 8;
            ct_ = 8;
        }
    }
    void renorm() {
        do {
            if (ct_ == 0) byteIn();
            a_ <<= 1;
            c_ <<= 1;
            --ct_;
        } while (!(a_ & 0x8000));
    }
    const uint8_t* d_;
    int len_, bp_;
    uint32_t a_ = 0, c_ = 0;
    int ct_ = 0;
};

// Raw segment (T.800 D.6): bits from the top; the bit after a 0xFF byte is a stuffed 0 and is
// skipped; past the end 1-bits.
class Raw {
public:
    Raw(const uint8_t* d, int len) : d_(d), len_(len < 0 ? 0 : len) {}
    int bit() {
        if (left_ == 0) {
            const uint32_t prev = cur_;
            cur_ = pos_ < len_ ? d_[pos_] : 0xFFu;
            ++pos_;
            left_ = prev == 0xFF ? 7 : 8;
        }
        --left_;
        return static_cast<int>((cur_ >> left_) & 1);
    }

private:
    const uint8_t* d_;
    int len_, pos_ = 0, left_ = 0;
    uint32_t cur_ = 0;
};

// The code-block decoder. Coefficients come out in sign-magnitude form.
struct Block {
    int w, h, orient;  // orient: 0 LL/LH, 1 HL, 2 HH
    bool causal;
    std::vector<int> sig, visited, refined, neg;
    std::vector<uint32_t> mag;
    Block(int width, int height, int subband, bool vcausal)
        : w(width), h(height), orient(subband == 2 ? 1 : (subband == 3 ? 2 : 0)), causal(vcausal),
          sig(static_cast<size_t>(w * h)), visited(sig.size()), refined(sig.size()), neg(sig.size()), mag(sig.size()) {}

    // Significance of (y, x) as seen from (y0, x0): outside the block, or in the next stripe
    // when vertically causal and (y0, x0) is a stripe's last row, counts as insignificant.
    int s(int y0, int y, int x) const {
        if (y < 0 || x < 0 || y >= h || x >= w) return 0;
        if (causal && y0 % 4 == 3 && y > y0) return 0;
        return sig[static_cast<size_t>(y * w + x)];
    }
    int sgn(int y0, int y, int x) const {  // +1, -1 or 0
        if (!s(y0, y, x)) return 0;
        return neg[static_cast<size_t>(y * w + x)] ? -1 : 1;
    }
    // Table D.1.
    int zcLabel(int y, int x) const {
        int hh = s(y, y, x - 1) + s(y, y, x + 1);
        int vv = s(y, y - 1, x) + s(y, y + 1, x);
        const int dd = s(y, y - 1, x - 1) + s(y, y - 1, x + 1) + s(y, y + 1, x - 1) + s(y, y + 1, x + 1);
        if (orient == 2) {
            const int hv = hh + vv;
            if (dd >= 3) return 8;
            if (dd == 2) return hv >= 1 ? 7 : 6;
            if (dd == 1) return hv >= 2 ? 5 : (hv == 1 ? 4 : 3);
            return hv >= 2 ? 2 : (hv == 1 ? 1 : 0);
        }
        if (orient == 1) std::swap(hh, vv);
        if (hh == 2) return 8;
        if (hh == 1) return vv >= 1 ? 7 : (dd >= 1 ? 6 : 5);
        if (vv == 2) return 4;
        if (vv == 1) return 3;
        return dd >= 2 ? 2 : (dd == 1 ? 1 : 0);
    }
    bool anyNeighbour(int y, int x) const {
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if ((dy || dx) && s(y, y + dy, x + dx)) return true;
        return false;
    }
    // Tables D.2 and D.3.
    void signContext(int y, int x, int* label, int* xorbit) const {
        auto clamp = [](int v) { return v > 1 ? 1 : (v < -1 ? -1 : v); };
        const int hc = clamp(sgn(y, y, x - 1) + sgn(y, y, x + 1));
        const int vc = clamp(sgn(y, y - 1, x) + sgn(y, y + 1, x));
        static const int lab[3][3] = {{13, 12, 11}, {10, 9, 10}, {11, 12, 13}};  // [1 - hc][1 - vc]
        *label = lab[1 - hc][1 - vc];
        *xorbit = (hc == -1 || (hc == 0 && vc == -1)) ? 1 : 0;
    }
    size_t at(int y, int x) const { return static_cast<size_t>(y * w + x); }
};

// Decodes a code-block from its segments as T.800 D.4 groups passes into segments (all passes
// in one segment; or with bypass the first 10 in one MQ segment, then alternately a raw segment
// of two passes and an MQ segment of one; or one pass per segment with termall), decoding
// nPasses passes at most. Stops after a pass whose segmentation symbol is wrong, or after a
// pass at a plane above 30, returning false; out: sign-magnitude coefficients, row-major.
struct Options {
    bool vcausal = false, bypass = false, termall = false, reset = false, segsym = false;
};

inline bool decode(const uint8_t* data, const std::vector<int>& segLen, int w, int h, int subband, int planes,
                   int nPasses, Options o, std::vector<uint32_t>& out) {
    Block b(w, h, subband, o.vcausal);
    Contexts cx;
    cx.reset();
    // Pass list: kind 0 cleanup, 1 significance propagation, 2 refinement, per plane.
    struct P {
        int kind, plane;
        bool raw;
    };
    std::vector<P> passes;
    const int rawFrom = o.bypass && planes > 4 ? planes - 4 : 0;  // planes below this: raw SP, MR
    for (int p = planes - 1; p >= 0; --p) {
        if (p != planes - 1) {
            passes.push_back({1, p, p < rawFrom});
            passes.push_back({2, p, p < rawFrom});
        }
        passes.push_back({0, p, false});
    }
    // Segment boundaries: the index of the first pass of each segment.
    std::vector<size_t> starts;
    for (size_t i = 0; i < passes.size(); ++i) {
        bool start = i == 0 || o.termall;
        if (!start && passes[i].raw != passes[i - 1].raw) start = true;
        if (!start && passes[i].kind == 0 && passes[i - 1].raw) start = true;
        if (start) starts.push_back(i);
    }
    size_t seg = 0;
    int offset = 0;
    MQ* mq = nullptr;
    Raw* raw = nullptr;
    std::vector<uint8_t> empty;
    bool ok = true;
    for (size_t i = 0; i < passes.size() && static_cast<int>(i) < nPasses; ++i) {
        if (seg < starts.size() && starts[seg] == i) {
            if (seg >= segLen.size()) break;  // no bytes for this segment
            delete mq;
            delete raw;
            mq = nullptr;
            raw = nullptr;
            const int len = segLen[seg] < 0 ? 0 : segLen[seg];
            if (passes[i].raw) raw = new Raw(data + offset, len);
            else mq = new MQ(data + offset, len);
            offset += len;
            ++seg;
        }
        const P& p = passes[i];
        if (p.plane > 30) {
            ok = false;
            break;
        }
        const uint32_t one = 1u << p.plane;
        auto bitOf = [&](int label) { return raw ? raw->bit() : mq->decode(cx, label); };
        auto becomeSignificant = [&](int y, int x) {
            int sign;
            if (raw) {
                sign = raw->bit();
            } else {
                int label, xr;
                b.signContext(y, x, &label, &xr);
                sign = mq->decode(cx, label) ^ xr;
            }
            b.sig[b.at(y, x)] = 1;
            b.neg[b.at(y, x)] = sign;
            b.mag[b.at(y, x)] |= one;
        };
        for (int y0 = 0; y0 < h; y0 += 4) {
            for (int x = 0; x < w; ++x) {
                int y = y0;
                const int yEnd = y0 + 4 < h ? y0 + 4 : h;
                if (p.kind == 0 && yEnd - y0 == 4) {
                    bool run = true;
                    for (int k = y0; k < yEnd; ++k)
                        if (b.sig[b.at(k, x)] || b.visited[b.at(k, x)] || b.zcLabel(k, x) != 0) run = false;
                    if (run) {
                        if (!mq->decode(cx, kRL)) continue;
                        const int first = mq->decode(cx, kUNI) * 2;
                        y = y0 + first + mq->decode(cx, kUNI);
                        becomeSignificant(y, x);
                        ++y;
                    }
                }
                for (; y < yEnd; ++y) {
                    const size_t k = b.at(y, x);
                    if (p.kind == 1) {
                        if (b.sig[k] || b.zcLabel(y, x) == 0) continue;
                        b.visited[k] = 1;
                        if (bitOf(b.zcLabel(y, x))) becomeSignificant(y, x);
                    } else if (p.kind == 2) {
                        if (!b.sig[k] || b.visited[k]) continue;
                        const int label = b.refined[k] ? 16 : (b.anyNeighbour(y, x) ? 15 : 14);
                        if (bitOf(label)) b.mag[k] |= one;
                        b.refined[k] = 1;
                    } else {
                        if (b.visited[k]) {
                            b.visited[k] = 0;
                            continue;
                        }
                        if (b.sig[k]) continue;
                        if (mq->decode(cx, b.zcLabel(y, x))) becomeSignificant(y, x);
                    }
                }
            }
        }
        if (p.kind == 0 && o.segsym) {
            int sym = 0;
            for (int k = 0; k < 4; ++k) sym = sym * 2 + mq->decode(cx, kUNI);
            if (sym != 0xA) ok = false;
        }
        if (o.reset && !p.raw) cx.reset();
        if (!ok) break;
    }
    delete mq;
    delete raw;
    out.assign(b.mag.size(), 0);
    for (size_t k = 0; k < out.size(); ++k) out[k] = b.mag[k] | (b.sig[k] && b.neg[k] ? 0x80000000u : 0u);
    return ok;
}

}  // namespace t800

#endif  // J2K_T800_REFERENCE_H
