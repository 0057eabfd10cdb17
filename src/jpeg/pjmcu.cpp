// MCU-level conversions between pixels and level-shifted 8x8 blocks, for encoders and decoders
// that work one MCU at a time. The pixel rows of one MCU are converted into small stack planes
// by the colour row kernels, then cut into blocks (down-sampling chroma with the whole-plane box
// filters) or, the other way, blocks are widened into planes (chroma up-sampled by replication:
// an MCU has no neighbours) and converted row by row.

#include "colour.h"
#include "pjdispatch.h"

namespace {

struct McuPlanes {
    alignas(16) Kep8u p[4][16][16];  // Y, Cb, Cr, K at full resolution
};

inline int mcuWidth(int sampling) { return sampling ? 16 : 8; }
inline int mcuHeight(int sampling) { return sampling == 2 ? 16 : 8; }

// Full-resolution plane c to its blocks in raster order.
void planeToBlocks(const OwnCcKernels& k, const McuPlanes& m, int c, int sampling, Kep16s* dst) {
    const int across = mcuWidth(sampling) / 8, blocks = across * mcuHeight(sampling) / 8;
    for (int b = 0; b < blocks; ++b) k.toBlock(&m.p[c][8 * (b / across)][8 * (b % across)], 16, dst + 64 * b);
}
void blocksToPlane(const OwnCcKernels& k, const Kep16s* src, int sampling, McuPlanes& m, int c) {
    const int across = mcuWidth(sampling) / 8, blocks = across * mcuHeight(sampling) / 8;
    for (int b = 0; b < blocks; ++b) k.fromBlock(src + 64 * b, &m.p[c][8 * (b / across)][8 * (b % across)], 16);
}

// Chroma plane c to one block: 4:2:2 (a + b + 1) >> 1, 4:2:0 (a + b + c + d + 3) >> 2.
void chromaToBlock(const OwnCcKernels& k, const McuPlanes& m, int c, int sampling, Kep16s* dst) {
    if (sampling == 0) {
        k.toBlock(&m.p[c][0][0], 16, dst);
        return;
    }
    alignas(16) Kep8u sub[8][8];
    for (int r = 0; r < 8; ++r) {
        if (sampling == 1) k.downPlane21(m.p[c][r], sub[r], 8);
        else k.downPlane22(m.p[c][2 * r], m.p[c][2 * r + 1], sub[r], 8);
    }
    k.toBlock(&sub[0][0], 8, dst);
}
// One chroma block to plane c, each sample replicated 2x1 (4:2:2) or 2x2 (4:2:0).
void blockToChroma(const OwnCcKernels& k, const Kep16s* src, int sampling, McuPlanes& m, int c) {
    if (sampling == 0) {
        k.fromBlock(src, &m.p[c][0][0], 16);
        return;
    }
    alignas(16) Kep8u sub[8][8];
    k.fromBlock(src, &sub[0][0], 8);
    for (int r = 0; r < mcuHeight(sampling); ++r) k.replicate2(sub[sampling == 2 ? r / 2 : r], m.p[c][r], 8);
}

}  // namespace

void ownMcuFwd(const OwnCcKernels& k, int layout, int sampling, const void* src, int srcStep, Kep16s* const* dst) {
    McuPlanes m;
    for (int r = 0; r < mcuHeight(sampling); ++r) {
        const void* s[1] = {ownRow(src, srcStep, r)};
        Kep8u* d[4] = {m.p[0][r], m.p[1][r], m.p[2][r], m.p[3][r]};
        k.fwd[layout](s, d, mcuWidth(sampling));
    }
    planeToBlocks(k, m, 0, sampling, dst[0]);
    chromaToBlock(k, m, 1, sampling, dst[1]);
    chromaToBlock(k, m, 2, sampling, dst[2]);
    if (layout == kCcSrcCMYK) planeToBlocks(k, m, 3, sampling, dst[3]);
}

void ownMcuInv(const OwnCcKernels& k, int layout, int sampling, const Kep16s* const* src, void* dst, int dstStep) {
    McuPlanes m;
    blocksToPlane(k, src[0], sampling, m, 0);
    blockToChroma(k, src[1], sampling, m, 1);
    blockToChroma(k, src[2], sampling, m, 2);
    if (layout == kCcDstCMYK) blocksToPlane(k, src[3], sampling, m, 3);
    for (int r = 0; r < mcuHeight(sampling); ++r) {
        const Kep8u* s[4] = {m.p[0][r], m.p[1][r], m.p[2][r], m.p[3][r]};
        void* d[1] = {ownRow(dst, dstStep, r)};
        k.inv[layout](s, d, mcuWidth(sampling), 0);
    }
}

void ownMcuSplit422(const OwnCcKernels& k, const Kep8u* src, int srcStep, Kep16s* const* dst) {
    McuPlanes m;
    for (int r = 0; r < 8; ++r) {
        const Kep8u* row = ownRow(src, srcStep, r);
        for (int x = 0; x < 8; ++x) {
            m.p[0][r][2 * x] = row[4 * x];
            m.p[1][r][x] = row[4 * x + 1];
            m.p[0][r][2 * x + 1] = row[4 * x + 2];
            m.p[2][r][x] = row[4 * x + 3];
        }
    }
    planeToBlocks(k, m, 0, 1, dst[0]);
    k.toBlock(&m.p[1][0][0], 16, dst[1]);
    k.toBlock(&m.p[2][0][0], 16, dst[2]);
}

void ownMcuJoin422(const OwnCcKernels& k, const Kep16s* const* src, Kep8u* dst, int dstStep) {
    McuPlanes m;
    blocksToPlane(k, src[0], 1, m, 0);
    k.fromBlock(src[1], &m.p[1][0][0], 16);
    k.fromBlock(src[2], &m.p[2][0][0], 16);
    for (int r = 0; r < 8; ++r) {
        Kep8u* row = ownRow(dst, dstStep, r);
        for (int x = 0; x < 8; ++x) {
            row[4 * x] = m.p[0][r][2 * x];
            row[4 * x + 1] = m.p[1][r][x];
            row[4 * x + 2] = m.p[0][r][2 * x + 1];
            row[4 * x + 3] = m.p[2][r][x];
        }
    }
}

namespace {

// Checks: pixels and their step as a pair, then the block-pointer array and its elements.
template <int N>
KepResult checkFwd(const void* pSrc, int srcStep, Kep16s* const* pDst) {
    if (!pSrc) return kepErrNullPtr;
    if (srcStep < 1) return kepErrStep;
    if (!pDst) return kepErrNullPtr;
    for (int i = 0; i < N; ++i)
        if (!pDst[i]) return kepErrNullPtr;
    return kepOk;
}
// The block-pointer array and its elements, then the pixels and their step.
template <int N>
KepResult checkInv(const Kep16s* const* pSrc, const void* pDst, int dstStep) {
    if (!pSrc) return kepErrNullPtr;
    for (int i = 0; i < N; ++i)
        if (!pSrc[i]) return kepErrNullPtr;
    if (!pDst) return kepErrNullPtr;
    if (dstStep < 1) return kepErrStep;
    return kepOk;
}

template <int Layout, int Sampling, int N>
KepResult fwd(const void* pSrc, int srcStep, Kep16s* const* pDst) {
    const KepResult r = checkFwd<N>(pSrc, srcStep, pDst);
    if (r == kepOk) ownMcuFwd(ownCcKernels_ssse3, Layout, Sampling, pSrc, srcStep, pDst);
    return r;
}
template <int Layout, int Sampling, int N>
KepResult inv(const Kep16s* const* pSrc, void* pDst, int dstStep) {
    const KepResult r = checkInv<N>(pSrc, pDst, dstStep);
    if (r == kepOk) ownMcuInv(ownCcKernels_ssse3, Layout, Sampling, pSrc, pDst, dstStep);
    return r;
}

}  // namespace

#define KEP_FWD(name, T, layout, sampling, n) \
    KepResult own_##name(const T* pSrc, int srcStep, Kep16s* const pDstMCU[n]) { return fwd<layout, sampling, n>(pSrc, srcStep, pDstMCU); }
#define KEP_INV(name, T, layout, sampling, n) \
    KepResult own_##name(const Kep16s* const pSrcMCU[n], T* pDst, int dstStep) { return inv<layout, sampling, n>(pSrcMCU, pDst, dstStep); }
#define KEP_FWD3(from, T, types, layout)                                                     \
    KEP_FWD(kepi##from##ToYCbCr444LS_MCU_##types##_C3P3R, T, layout, 0, 3)                   \
    KEP_FWD(kepi##from##ToYCbCr422LS_MCU_##types##_C3P3R, T, layout, 1, 3)                   \
    KEP_FWD(kepi##from##ToYCbCr411LS_MCU_##types##_C3P3R, T, layout, 2, 3)
#define KEP_INV3(to, T, types, layout)                                                       \
    KEP_INV(kepiYCbCr444To##to##LS_MCU_##types##_P3C3R, T, layout, 0, 3)                     \
    KEP_INV(kepiYCbCr422To##to##LS_MCU_##types##_P3C3R, T, layout, 1, 3)                     \
    KEP_INV(kepiYCbCr411To##to##LS_MCU_##types##_P3C3R, T, layout, 2, 3)

KEP_FWD3(RGB, Kep8u, 8u16s, kCcSrcRGB)
KEP_FWD3(BGR, Kep8u, 8u16s, kCcSrcBGR)
KEP_FWD3(RGB555, Kep16u, 16u16s, kCcSrcRGB555)
KEP_FWD3(RGB565, Kep16u, 16u16s, kCcSrcRGB565)
KEP_FWD3(BGR555, Kep16u, 16u16s, kCcSrcBGR555)
KEP_FWD3(BGR565, Kep16u, 16u16s, kCcSrcBGR565)
KEP_INV3(RGB, Kep8u, 16s8u, kCcDstRGB)
KEP_INV3(BGR, Kep8u, 16s8u, kCcDstBGR)
KEP_INV3(RGB555, Kep16u, 16s16u, kCcDstRGB555)
KEP_INV3(RGB565, Kep16u, 16s16u, kCcDstRGB565)
KEP_INV3(BGR555, Kep16u, 16s16u, kCcDstBGR555)
KEP_INV3(BGR565, Kep16u, 16s16u, kCcDstBGR565)

KEP_FWD(kepiCMYKToYCCK444LS_MCU_8u16s_C4P4R, Kep8u, kCcSrcCMYK, 0, 4)
KEP_FWD(kepiCMYKToYCCK422LS_MCU_8u16s_C4P4R, Kep8u, kCcSrcCMYK, 1, 4)
KEP_FWD(kepiCMYKToYCCK411LS_MCU_8u16s_C4P4R, Kep8u, kCcSrcCMYK, 2, 4)
KEP_INV(kepiYCCKToCMYK444LS_MCU_16s8u_P4C4R, Kep8u, kCcDstCMYK, 0, 4)
KEP_INV(kepiYCCKToCMYK422LS_MCU_16s8u_P4C4R, Kep8u, kCcDstCMYK, 1, 4)
KEP_INV(kepiYCCKToCMYK411LS_MCU_16s8u_P4C4R, Kep8u, kCcDstCMYK, 2, 4)

KEP_FWD(kepiSampleDown444LS_MCU_8u16s_C3P3R, Kep8u, kCcSrcYCC, 0, 3)
KEP_FWD(kepiSampleDown422LS_MCU_8u16s_C3P3R, Kep8u, kCcSrcYCC, 1, 3)
KEP_FWD(kepiSampleDown411LS_MCU_8u16s_C3P3R, Kep8u, kCcSrcYCC, 2, 3)
KEP_INV(kepiSampleUp444LS_MCU_16s8u_P3C3R, Kep8u, kCcDstYCC, 0, 3)
KEP_INV(kepiSampleUp411LS_MCU_16s8u_P3C3R, Kep8u, kCcDstYCC, 2, 3)

// 4:2:2 up-sampling has a separately written kernel on each code path.
KepResult own_kepiSampleUp422LS_MCU_16s8u_P3C3R_x1(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep) {
    return inv<kCcDstYCC, 1, 3>(pSrcMCU, pDst, dstStep);
}
KepResult own_kepiSampleUp422LS_MCU_16s8u_P3C3R_x2(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep) {
    const KepResult r = checkInv<3>(pSrcMCU, pDst, dstStep);
    if (r == kepOk) ownMcuSampleUp422_x2(pSrcMCU, pDst, dstStep);
    return r;
}

KepResult own_kepiSplit422LS_MCU_8u16s_C2P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]) {
    const KepResult r = checkFwd<3>(pSrc, srcStep, pDstMCU);
    if (r == kepOk) ownMcuSplit422(ownCcKernels_ssse3, pSrc, srcStep, pDstMCU);
    return r;
}
KepResult own_kepiJoin422LS_MCU_16s8u_P3C2R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep) {
    const KepResult r = checkInv<3>(pSrcMCU, pDst, dstStep);
    if (r == kepOk) ownMcuJoin422(ownCcKernels_ssse3, pSrcMCU, pDst, dstStep);
    return r;
}
