// Colour conversion and chroma resampling kernels.
//
// Arithmetic (JFIF / ITU-T T.871 weights in 16-bit fixed point):
//   forward  Y  = (19595 R + 38470 G +  7471 B + 32768)              >> 16
//            Cb = (-11059 R - 21709 G + 32768 B + 128 * 65536 + 32767) >> 16
//            Cr = ( 32768 R - 27439 G -  5329 B + 128 * 65536 + 32767) >> 16
//   inverse  R  = Y + ((91881 (Cr - 128) + 32768) >> 16)
//            G  = Y + ((-22554 (Cb - 128) - 46802 (Cr - 128) + 32768) >> 16)
//            B  = Y + ((116130 (Cb - 128) + 32768) >> 16), each clamped to 0..255.
// The tables below hold those products; the scalar pixel routines here use them literally and
// are both the reference arithmetic and the tail of the SSSE3 row kernels, so every pixel of
// every path is given by the same formula.
//
// Kernels come as two sets of function pointers with identical meaning: ownCcKernels_c (plain
// C, colour_c.cpp) and ownCcKernels_ssse3 (colour_ssse3.cpp). The whole-image drivers
// (pjenccc.cpp, pjdeccc.cpp) take a set, so that the tests can run a whole conversion on the
// reference kernels and compare it with the export.
#ifndef KEP_COLOUR_H
#define KEP_COLOUR_H

#include <stddef.h>

#include "owndefs.h"

// Forward table: eight segments of 256 entries (see pjenccctbl.cpp); sums wrap modulo 2^32.
struct OwnCcFwdTable {
    Kep32u v[8 * 256];
};
KEP_HIDDEN extern const OwnCcFwdTable cc_table;
// Inverse tables indexed by the chroma sample (see pjdeccctbl.cpp).
struct OwnCcInvTable {
    Kep32s v[256];
};
KEP_HIDDEN extern const OwnCcInvTable cr_r_tbl, cb_g_tbl, cr_g_tbl, cb_b_tbl;

// ---- Scalar pixel arithmetic --------------------------------------------------------------------

static inline void ownRgbToYcc(int r, int g, int b, Kep8u* y, Kep8u* cb, Kep8u* cr) {
    const Kep32u* t = cc_table.v;
    *y = static_cast<Kep8u>((t[r] + t[256 + g] + t[512 + b]) >> 16);
    *cb = static_cast<Kep8u>((t[768 + r] + t[1024 + g] + t[1280 + b]) >> 16);
    *cr = static_cast<Kep8u>((t[1280 + r] + t[1536 + g] + t[1792 + b]) >> 16);
}

static inline Kep8u ownRgbToY(int r, int g, int b) {
    return static_cast<Kep8u>((cc_table.v[r] + cc_table.v[256 + g] + cc_table.v[512 + b]) >> 16);
}

static inline void ownYccToRgb(int y, int cb, int cr, Kep8u* r, Kep8u* g, Kep8u* b) {
    *r = ownSat8u(y + cr_r_tbl.v[cr]);
    *g = ownSat8u(y + ((cb_g_tbl.v[cb] + cr_g_tbl.v[cr]) >> 16));
    *b = ownSat8u(y + cb_b_tbl.v[cb]);
}

// ---- Pixel layouts ------------------------------------------------------------------------------

// Sources of the forward conversions. RGBA/BGRA: four bytes per pixel, the fourth ignored.
// 555/565: one Kep16u per pixel, the first-named channel in the low bits, fields widened to 8
// bits by bit replication (x << 3 | x >> 2 for 5 bits, x << 2 | x >> 4 for 6 bits). CMYK: four
// bytes (or four planes); Y, Cb, Cr are those of R = 255 - C, G = 255 - M, B = 255 - Y, and K is
// copied to the fourth output.
enum OwnCcSrc {
    kCcSrcRGBP3, kCcSrcRGB, kCcSrcBGR, kCcSrcRGBA, kCcSrcBGRA,
    kCcSrcRGB555, kCcSrcRGB565, kCcSrcBGR555, kCcSrcBGR565, kCcSrcCMYK, kCcSrcCMYKP4,
    kCcSrcYCC,  // interleaved Y, Cb, Cr: split into planes unchanged
    kCcSrcCount
};
// Destinations of the inverse conversions, mirroring the sources; RGBA/BGRA write the alpha
// argument as the fourth byte; CMYK writes 255 - R, 255 - G, 255 - B and the fourth source plane.
enum OwnCcDst {
    kCcDstRGBP3, kCcDstRGB, kCcDstBGR, kCcDstRGBA, kCcDstBGRA,
    kCcDstRGB555, kCcDstRGB565, kCcDstBGR555, kCcDstBGR565, kCcDstCMYK, kCcDstCMYKP4,
    kCcDstYCC,  // planes interleaved unchanged
    kCcDstCount
};

// Planes of a layout (1 for interleaved) and bytes per pixel per plane.
static inline int ownCcPlanes(int layout) {
    return layout == kCcSrcRGBP3 ? 3 : layout == kCcSrcCMYKP4 ? 4 : 1;
}
static inline int ownCcPixelBytes(int layout) {
    static const Kep8u bytes[kCcSrcCount] = {1, 3, 3, 4, 4, 2, 2, 2, 2, 4, 1, 3};
    return bytes[layout];
}

// Widening of packed fields (bit replication).
static inline int ownWiden5(int v) { return (v << 3) | (v >> 2); }
static inline int ownWiden6(int v) { return (v << 2) | (v >> 4); }

// One source pixel: R, G, B and (CMYK) K.
template <int S>
static inline void ownCcLoad1(const void* const* src, int x, int* r, int* g, int* b, int* k) {
    const Kep8u* p = static_cast<const Kep8u*>(src[0]);
    *k = 0;
    if (S == kCcSrcRGBP3) {
        *r = p[x];
        *g = static_cast<const Kep8u*>(src[1])[x];
        *b = static_cast<const Kep8u*>(src[2])[x];
    } else if (S == kCcSrcRGB || S == kCcSrcBGR || S == kCcSrcYCC) {
        const int c0 = p[3 * x], c1 = p[3 * x + 1], c2 = p[3 * x + 2];
        *r = S == kCcSrcBGR ? c2 : c0;
        *g = c1;
        *b = S == kCcSrcBGR ? c0 : c2;
    } else if (S == kCcSrcRGBA || S == kCcSrcBGRA) {
        const int c0 = p[4 * x], c1 = p[4 * x + 1], c2 = p[4 * x + 2];
        *r = S == kCcSrcRGBA ? c0 : c2;
        *g = c1;
        *b = S == kCcSrcRGBA ? c2 : c0;
    } else if (S == kCcSrcRGB555 || S == kCcSrcRGB565 || S == kCcSrcBGR555 || S == kCcSrcBGR565) {
        const int v = ownLoad16u(p + 2 * x);
        const bool six = S == kCcSrcRGB565 || S == kCcSrcBGR565;
        const int lo = ownWiden5(v & 31);
        const int mid = six ? ownWiden6((v >> 5) & 63) : ownWiden5((v >> 5) & 31);
        const int hi = ownWiden5((v >> (six ? 11 : 10)) & 31);
        const bool rgb = S == kCcSrcRGB555 || S == kCcSrcRGB565;
        *r = rgb ? lo : hi;
        *g = mid;
        *b = rgb ? hi : lo;
    } else if (S == kCcSrcCMYK) {
        *r = 255 - p[4 * x];
        *g = 255 - p[4 * x + 1];
        *b = 255 - p[4 * x + 2];
        *k = p[4 * x + 3];
    } else {  // kCcSrcCMYKP4
        *r = 255 - p[x];
        *g = 255 - static_cast<const Kep8u*>(src[1])[x];
        *b = 255 - static_cast<const Kep8u*>(src[2])[x];
        *k = static_cast<const Kep8u*>(src[3])[x];
    }
}

// One destination pixel.
template <int D>
static inline void ownCcStore1(void* const* dst, int x, Kep8u r, Kep8u g, Kep8u b, Kep8u k, Kep8u alpha) {
    Kep8u* p = static_cast<Kep8u*>(dst[0]);
    if (D == kCcDstRGBP3) {
        p[x] = r;
        static_cast<Kep8u*>(dst[1])[x] = g;
        static_cast<Kep8u*>(dst[2])[x] = b;
    } else if (D == kCcDstRGB || D == kCcDstBGR || D == kCcDstYCC) {
        p[3 * x] = D == kCcDstBGR ? b : r;
        p[3 * x + 1] = g;
        p[3 * x + 2] = D == kCcDstBGR ? r : b;
    } else if (D == kCcDstRGBA || D == kCcDstBGRA) {
        p[4 * x] = D == kCcDstRGBA ? r : b;
        p[4 * x + 1] = g;
        p[4 * x + 2] = D == kCcDstRGBA ? b : r;
        p[4 * x + 3] = alpha;
    } else if (D == kCcDstRGB555 || D == kCcDstRGB565 || D == kCcDstBGR555 || D == kCcDstBGR565) {
        const bool six = D == kCcDstRGB565 || D == kCcDstBGR565;
        const bool rgb = D == kCcDstRGB555 || D == kCcDstRGB565;
        const int lo = (rgb ? r : b) >> 3, hi = (rgb ? b : r) >> 3;
        const int mid = six ? g >> 2 : g >> 3;
        const Kep16u v = static_cast<Kep16u>(lo | (mid << 5) | (hi << (six ? 11 : 10)));
        memcpy(p + 2 * x, &v, sizeof v);
    } else if (D == kCcDstCMYK) {
        p[4 * x] = static_cast<Kep8u>(255 - r);
        p[4 * x + 1] = static_cast<Kep8u>(255 - g);
        p[4 * x + 2] = static_cast<Kep8u>(255 - b);
        p[4 * x + 3] = k;
    } else {  // kCcDstCMYKP4
        p[x] = static_cast<Kep8u>(255 - r);
        static_cast<Kep8u*>(dst[1])[x] = static_cast<Kep8u>(255 - g);
        static_cast<Kep8u*>(dst[2])[x] = static_cast<Kep8u>(255 - b);
        static_cast<Kep8u*>(dst[3])[x] = k;
    }
}

// Pixels x0..width-1 of a forward row: Y, Cb, Cr (and K) to dst[0..3], or Y alone.
template <int S, bool LumaOnly>
static inline void ownCcFwdPixels(const void* const* src, Kep8u* const* dst, int x0, int width) {
    for (int x = x0; x < width; ++x) {
        int r, g, b, k;
        ownCcLoad1<S>(src, x, &r, &g, &b, &k);
        if (S == kCcSrcYCC) {
            dst[0][x] = static_cast<Kep8u>(r);
            dst[1][x] = static_cast<Kep8u>(g);
            dst[2][x] = static_cast<Kep8u>(b);
        } else if (LumaOnly) {
            dst[0][x] = ownRgbToY(r, g, b);
        } else {
            ownRgbToYcc(r, g, b, dst[0] + x, dst[1] + x, dst[2] + x);
            if (S == kCcSrcCMYK || S == kCcSrcCMYKP4) dst[3][x] = static_cast<Kep8u>(k);
        }
    }
}

// Pixels x0..width-1 of an inverse row from the planes Y, Cb, Cr (and K).
template <int D>
static inline void ownCcInvPixels(const Kep8u* const* src, void* const* dst, int x0, int width, Kep8u alpha) {
    for (int x = x0; x < width; ++x) {
        Kep8u r = src[0][x], g = src[1][x], b = src[2][x];
        if (D != kCcDstYCC) ownYccToRgb(r, g, b, &r, &g, &b);
        const Kep8u k = (D == kCcDstCMYK || D == kCcDstCMYKP4) ? src[3][x] : 0;
        ownCcStore1<D>(dst, x, r, g, b, k, alpha);
    }
}

// ---- Scalar resampling arithmetic ---------------------------------------------------------------

// Triangle up-sampling by two of a row s of n samples, output j (0..2n-1), with the edge sample
// replicated beyond either end (which gives d[0] = s[0] and d[2n-1] = s[n-1]).
static inline Kep8u ownUp21At(const Kep8u* s, int n, int j) {
    const int i = j >> 1;
    if (j & 1) return static_cast<Kep8u>((3 * s[i] + s[i + 1 < n ? i + 1 : i] + 2) >> 2);
    return static_cast<Kep8u>((3 * s[i] + s[i > 0 ? i - 1 : 0] + 1) >> 2);
}
// The same in both directions: v[i] = 3 near[i] + far[i], edge column sums replicated.
static inline Kep8u ownUp22At(const Kep8u* p, const Kep8u* q, int n, int j) {
    const int i = j >> 1;
    const int v = 3 * p[i] + q[i];
    if (j & 1) {
        const int k = i + 1 < n ? i + 1 : i;
        return static_cast<Kep8u>((3 * v + 3 * p[k] + q[k] + 7) >> 4);
    }
    const int k = i > 0 ? i - 1 : 0;
    return static_cast<Kep8u>((3 * v + 3 * p[k] + q[k] + 8) >> 4);
}
// Whole-plane forms: every sample is interior, s[-1] and s[n] are read.
static inline Kep8u ownUpPlane21At(const Kep8u* s, int j) {
    const int i = j >> 1;
    return static_cast<Kep8u>(j & 1 ? (3 * s[i] + s[i + 1] + 2) >> 2 : (3 * s[i] + s[i - 1] + 1) >> 2);
}
static inline Kep8u ownUpPlane22At(const Kep8u* p, const Kep8u* q, int j) {
    const int i = j >> 1, k = j & 1 ? i + 1 : i - 1;
    return static_cast<Kep8u>((3 * (3 * p[i] + q[i]) + 3 * p[k] + q[k] + (j & 1 ? 7 : 8)) >> 4);
}

// ---- Kernel sets --------------------------------------------------------------------------------

// src: plane pointers (one for interleaved layouts), dst: Y, Cb, Cr[, K] (Y alone for luma).
typedef void (*OwnCcFwdRow)(const void* const* src, Kep8u* const* dst, int width);
// src: Y, Cb, Cr[, K]; dst: plane pointers (one for interleaved layouts).
typedef void (*OwnCcInvRow)(const Kep8u* const* src, void* const* dst, int width, Kep8u alpha);

struct OwnCcKernels {
    OwnCcFwdRow fwd[kCcSrcCount];   // 3 outputs (4 for CMYK)
    OwnCcFwdRow luma[kCcSrcCount];  // Y only (P3, RGB, BGR)
    OwnCcInvRow inv[kCcDstCount];
    // Box down-sampling of dw outputs: (a + b + 1) >> 1 and (a + b + c + d + 3) >> 2.
    void (*downPlane21)(const Kep8u* s, Kep8u* d, int dw);
    void (*downPlane22)(const Kep8u* u, const Kep8u* l, Kep8u* d, int dw);
    // Row box down-sampling with alternating biases (0, 1 and 1, 2) of a source row of width
    // samples: H2V1 writes width / 2 outputs; H2V2 writes (width + 1) / 2, an odd last sample
    // being paired with itself.
    void (*downRow21)(const Kep8u* s, int width, Kep8u* d);
    void (*downRow22)(const Kep8u* u, const Kep8u* l, int width, Kep8u* d);
    // Whole-plane triangle up-sampling of dw outputs (reads one sample beyond either end).
    void (*upPlane21)(const Kep8u* s, Kep8u* d, int dw);
    void (*upPlane22)(const Kep8u* near, const Kep8u* far, Kep8u* d, int dw);
    // Row triangle up-sampling of outputs j0..j1-1 of a row of n source samples, written to
    // d[0..j1-j0-1], with replicated edges.
    void (*upRow21)(const Kep8u* s, int n, int j0, int j1, Kep8u* d);
    void (*upRow22)(const Kep8u* near, const Kep8u* far, int n, int j0, int j1, Kep8u* d);
    // 8x8 samples (rows `stride` bytes apart) to a level-shifted block: b = s - 128; and back:
    // s = b + 128 clamped to 0..255.
    void (*toBlock)(const Kep8u* s, int stride, Kep16s* blk);
    void (*fromBlock)(const Kep16s* blk, Kep8u* d, int stride);
    // Replication by two: d[2i] = d[2i+1] = s[i] for n samples.
    void (*replicate2)(const Kep8u* s, Kep8u* d, int n);
};

// The initializer of a kernel set from function templates fwd<S>, luma<S>, inv<D> and the
// resampling and block functions, with the same names in each kernel file.
#define OWN_CC_KERNEL_SET                                                                                         \
    {{fwd<kCcSrcRGBP3>, fwd<kCcSrcRGB>, fwd<kCcSrcBGR>, fwd<kCcSrcRGBA>, fwd<kCcSrcBGRA>, fwd<kCcSrcRGB555>,        \
      fwd<kCcSrcRGB565>, fwd<kCcSrcBGR555>, fwd<kCcSrcBGR565>, fwd<kCcSrcCMYK>, fwd<kCcSrcCMYKP4>, fwd<kCcSrcYCC>}, \
     {luma<kCcSrcRGBP3>, luma<kCcSrcRGB>, luma<kCcSrcBGR>},                                                       \
     {inv<kCcDstRGBP3>, inv<kCcDstRGB>, inv<kCcDstBGR>, inv<kCcDstRGBA>, inv<kCcDstBGRA>, inv<kCcDstRGB555>,        \
      inv<kCcDstRGB565>, inv<kCcDstBGR555>, inv<kCcDstBGR565>, inv<kCcDstCMYK>, inv<kCcDstCMYKP4>, inv<kCcDstYCC>}, \
     downPlane21, downPlane22, downRow21, downRow22, upPlane21, upPlane22, upRow21, upRow22, toBlock, fromBlock,   \
     replicate2}

KEP_HIDDEN extern const OwnCcKernels ownCcKernels_c;
KEP_HIDDEN extern const OwnCcKernels ownCcKernels_ssse3;

// ---- Whole-image drivers ------------------------------------------------------------------------

// 4:4:4 forward: src holds ownCcPlanes(layout) pointers, dst nDst plane pointers (1: luma only).
KEP_HIDDEN void ownCcFwd444(const OwnCcKernels& k, int layout, const void* const* src, int srcStep,
                            Kep8u* const* dst, int nDst, int dstStep, KepiSize roi);
// Forward with chroma halved horizontally (vertical = false) or in both directions.
KEP_HIDDEN void ownCcFwdSub(const OwnCcKernels& k, int layout, bool vertical, const void* src, int srcStep,
                            Kep8u* const* dst, int dstStep, KepiSize roi);
// 4:4:4 inverse: src holds 3 or 4 plane pointers, dst ownCcPlanes(layout) pointers.
KEP_HIDDEN void ownCcInv444(const OwnCcKernels& k, int layout, const Kep8u* const* src, int srcStep,
                            void* const* dst, int dstStep, KepiSize roi, Kep8u alpha);
KEP_HIDDEN void ownCcInvSub(const OwnCcKernels& k, int layout, bool vertical, const Kep8u* const* src, int srcStep,
                            void* dst, int dstStep, KepiSize roi, Kep8u alpha);
// 4:2:2 from Y0 Cb Y1 Cr byte quadruples.
KEP_HIDDEN void ownCcInv422C2(const OwnCcKernels& k, int layout, const Kep8u* src, int srcStep, void* dst,
                              int dstStep, KepiSize roi);

// MCU-level conversions (pjmcu.cpp). sampling: 0 = 4:4:4 (8x8 pixels), 1 = 4:2:2 (16x8), 2 = 4:2:0
// (16x16). dst / src: per-component pointers to consecutive 64-sample blocks, full-resolution
// components (Y, and K of YCCK) with 1, 2 or 4 blocks in raster order, chroma one block.
KEP_HIDDEN void ownMcuFwd(const OwnCcKernels& k, int layout, int sampling, const void* src, int srcStep,
                          Kep16s* const* dst);
KEP_HIDDEN void ownMcuInv(const OwnCcKernels& k, int layout, int sampling, const Kep16s* const* src, void* dst,
                          int dstStep);
// 4:2:2 Y0 Cb Y1 Cr rows (16 x 8 pixels) to Y, Cb, Cr blocks and back.
KEP_HIDDEN void ownMcuSplit422(const OwnCcKernels& k, const Kep8u* src, int srcStep, Kep16s* const* dst);
KEP_HIDDEN void ownMcuJoin422(const OwnCcKernels& k, const Kep16s* const* src, Kep8u* dst, int dstStep);
// The separately written 4:2:2 blocks-to-YCbCr-pixels kernel of the second code path.
KEP_HIDDEN void ownMcuSampleUp422_x2(const Kep16s* const* src, Kep8u* dst, int dstStep);

// Argument checks shared by the colour exports: source pointer, destination pointer, source
// plane pointers, destination plane pointers (-8), either step < 1 (-14), size < 1 (-6).
// Plane arrays are only read once their array pointer is known to be non-null.
template <typename SrcPlanes, typename DstPlanes>
static inline KepResult ownCcCheck(const void* src, const void* dst, SrcPlanes srcPlanes, int nSrc, DstPlanes dstPlanes,
                                   int nDst, int srcStep, int dstStep, KepiSize roi) {
    if (!src || !dst) return kepErrNullPtr;
    for (int i = 0; i < nSrc; ++i)
        if (!srcPlanes[i]) return kepErrNullPtr;
    for (int i = 0; i < nDst; ++i)
        if (!dstPlanes[i]) return kepErrNullPtr;
    if (srcStep < 1 || dstStep < 1) return kepErrStep;
    if (roi.width < 1 || roi.height < 1) return kepErrSize;
    return kepOk;
}
// Row r of a plane (steps in bytes, may be negative where a check lets them through).
static inline const Kep8u* ownRow(const void* p, int step, int r) {
    return static_cast<const Kep8u*>(p) + static_cast<ptrdiff_t>(step) * r;
}
static inline Kep8u* ownRow(void* p, int step, int r) { return static_cast<Kep8u*>(p) + static_cast<ptrdiff_t>(step) * r; }

#endif  // KEP_COLOUR_H
