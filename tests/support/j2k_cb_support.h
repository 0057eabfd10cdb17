// Code-block helpers for the JPEG 2000 code-block tests and benchmarks: random sign-magnitude
// code-blocks and an encode-through-the-exports wrapper that collects segments, rates and
// distortions.
#ifndef J2K_CB_SUPPORT_H
#define J2K_CB_SUPPORT_H

#include <cstdint>
#include <vector>

#include "kepcheck_data.h"
#include "kepcore.h"
#include "kepjx1.h"

namespace j2kcb {

// A w x h block of sign-magnitude coefficients below 2^magnBits, shaped like wavelet detail: most
// magnitudes small (geometric), a few large, some all-zero rows and columns, random signs.
inline std::vector<Kep32s> randomBlock(kepcheck::Rng& rng, int w, int h, int magnBits) {
    std::vector<Kep32s> c(static_cast<size_t>(w) * h);
    const int style = static_cast<int>(rng.range(0, 3));
    const Kep32u limit = magnBits >= 31 ? 0x7FFFFFFFu : (1u << magnBits) - 1;
    for (auto& v : c) {
        Kep32u m;
        if (style == 0) m = static_cast<Kep32u>(rng.range(0, limit));
        else if (style == 1) m = rng.chance(70) ? 0 : static_cast<Kep32u>(rng.range(0, limit)) >> rng.range(0, magnBits);
        else if (style == 2) m = rng.chance(97) ? 0 : static_cast<Kep32u>(rng.range(0, limit));
        else m = static_cast<Kep32u>(rng.range(0, limit)) >> rng.range(magnBits / 2, magnBits);
        m &= limit;
        v = static_cast<Kep32s>(m | (rng.chance(50) && m ? 0x80000000u : 0u));
    }
    return c;
}

struct Encoded {
    std::vector<uint8_t> data;
    std::vector<int> segLen;  // per codeword segment
    std::vector<int> rate;    // per pass
    std::vector<float> dist;  // per pass
    int sfBits = 0, nPasses = 0, nSegments = 0;
    KepResult result = kepOk;
};

// Loads the block into the state and drains it with StoreBits in pieces of `chunk` bytes.
inline Encoded encode(KepiEncodeState_JPEG2K* st, const std::vector<Kep32s>& c, int w, int h, int subband, int magnBits,
                      int term, int flags, int chunk = 1 << 20) {
    Encoded e;
    e.result = kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(c.data(), w * 4, {w, h}, st, subband, magnBits, term, flags,
                                                      &e.sfBits, &e.nPasses, &e.nSegments);
    if (e.result != kepOk) return e;
    int more = 1;
    std::vector<uint8_t> piece(static_cast<size_t>(chunk));
    while (more) {
        int len = chunk;
        if (kepiEncodeStoreBits_JPEG2K_1u(piece.data(), &len, st, &more) != kepOk) break;
        e.data.insert(e.data.end(), piece.begin(), piece.begin() + len);
        if (len == 0) break;
    }
    for (int s = 0; s < e.nSegments; ++s) {
        int len = -1;
        kepiEncodeGetTermPassLen_JPEG2K(st, s, &len);
        e.segLen.push_back(len);
    }
    for (int p = 0; p < e.nPasses; ++p) {
        int r = -1;
        float d = -1;
        kepiEncodeGetRate_JPEG2K(st, p, &r);
        kepiEncodeGetDist_JPEG2K(st, p, &d);
        e.rate.push_back(r);
        e.dist.push_back(d);
    }
    return e;
}

}  // namespace j2kcb

#endif  // J2K_CB_SUPPORT_H
