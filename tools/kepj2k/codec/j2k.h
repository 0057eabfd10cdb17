// The kepj2k codec: a JPEG 2000 code-stream decoder built on libkepjx1's public primitives.
//
// This library holds the code-stream syntax (ITU-T T.800 Annex A markers, Annex B packets, tag
// trees and progression) and the bookkeeping of tiles, resolutions, sub-bands, precincts and
// code-blocks. Every compute step (code-block decoding, the inverse wavelets and the inverse
// component transforms) is a call into libkepjx1. The command-line tool and the tests use it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace kepj2k {

struct ComponentInfo {
    int precision = 8;   // bits per sample, 1..38 in the syntax; decoded for 1..16
    bool sgnd = false;
    int dx = 1, dy = 1;
};

// COD / COC parameters of one component (T.800 A.6.1, A.6.2).
struct CodingStyle {
    int scod = 0;          // bit 0: precincts given, bit 1: SOP markers may be used, bit 2: EPH
    int order = 0;         // 0 LRCP, 1 RLCP, 2 RPCL, 3 PCRL, 4 CPRL
    int layers = 1;
    int mct = 0;
    int levels = 5;
    int xcb = 6, ycb = 6;  // log2 of the nominal code-block size
    int cbstyle = 0;       // code-block style byte of T.800 Table A.19
    int transform = 1;     // 1: reversible 5/3, 0: irreversible 9/7
    std::uint8_t ppx[33] = {}, ppy[33] = {};
};

// QCD / QCC parameters of one component (T.800 A.6.4, A.6.5).
struct QuantStyle {
    int style = 0;   // 0 none, 1 scalar derived, 2 scalar expounded
    int guard = 2;
    int count = 0;   // entries in exponent/mantissa
    std::uint8_t exponent[97] = {};
    std::uint16_t mantissa[97] = {};
};

// Coding parameters that apply to one tile: the main header's, overridden by the tile's.
struct TileParams {
    std::vector<CodingStyle> cod;   // per component
    std::vector<QuantStyle> qcd;    // per component
    std::vector<int> roiShift;      // per component: RGN max-shift value s (0: no region of interest)
    // POC progression volumes (T.800 A.6.6), in the order they are followed; empty: COD's order.
    struct Progression {
        int rs, cs, lye, re, ce, order;
    };
    std::vector<Progression> poc;
};

struct TilePart {
    int tile = 0;
    std::size_t begin = 0, end = 0;   // the bit stream after SOD
};

struct CodestreamInfo {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;           // image area on the reference grid
    int tx0 = 0, ty0 = 0, tw = 0, th = 0;         // tiling
    int tilesX = 0, tilesY = 0;
    std::vector<ComponentInfo> comps;
    TileParams main;
    std::vector<TileParams> tiles;                 // per tile (main parameters where not overridden)
    std::vector<TilePart> parts;                   // in code-stream order
    bool sawEOC = false;
    // Packed packet headers (PPM in the main header or PPT in the tile-part headers), per tile;
    // a tile with packedHeaders[t] set reads its packet headers from packed[t], not from its data.
    std::vector<char> packedHeaders;
    std::vector<std::vector<std::uint8_t>> packed;
    std::vector<std::string> notes;                // markers skipped
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
};

// Parses the main header and every tile-part header. Returns false with a message when the
// stream cannot be decoded at all; a stream cut inside the tile parts parses as far as it goes
// (with a message in err and true returned).
bool parse(const std::uint8_t* data, std::size_t size, CodestreamInfo& info, std::string& err);
std::string describe(const CodestreamInfo& info);

// Allocator for coefficient planes: resize leaves new samples uninitialised, so that a decoded
// plane's pages are first touched by the threads that write its code-blocks, not zeroed by one
// thread beforehand, and an encoder plane only by the pass that loads the samples.
template <class T>
struct UninitAllocator : std::allocator<T> {
    template <class U>
    struct rebind {
        using other = UninitAllocator<U>;
    };
    UninitAllocator() = default;
    template <class U>
    UninitAllocator(const UninitAllocator<U>&) noexcept {}
    template <class U>
    void construct(U* p) noexcept {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... A>
    void construct(U* p, A&&... a) {
        ::new (static_cast<void*>(p)) U(std::forward<A>(a)...);
    }
};
using Plane = std::vector<std::int32_t, UninitAllocator<std::int32_t>>;

// Decoded components on the image area, samples as signed 32-bit values (DC level shift undone,
// clamped to each component's range).
struct Decoded {
    int width = 0, height = 0;
    std::vector<ComponentInfo> comps;
    std::vector<Plane> planes;   // per component, ceil-divided sizes
    std::vector<int> planeWidth, planeHeight;
};

// Decodes a code stream. On corrupt or truncated data it decodes what is there into out and
// returns false with a message; out is empty when nothing could be decoded.
bool decode(const std::uint8_t* data, std::size_t size, Decoded& out, std::string& err);

// Samples (over all components) the decoder accepts by default: 2^28, 1 GiB of decoded 32-bit
// values. A header asking for more is refused with "image too large" before anything is allocated.
constexpr std::size_t kDefaultMaxSamples = std::size_t(1) << 28;

struct DecodeOptions {
    int reduce = 0;    // resolution levels discarded (T.800 B.5: each halves the size, rounding up)
    int layers = 0;    // quality layers decoded; 0: all
    int threads = 1;   // code-blocks, wavelets and the output of a tile on this many threads
    std::size_t maxSamples = kDefaultMaxSamples;
    // Called on the calling thread with the fraction of the image done, 0..1, as decoding proceeds.
    void (*progress)(double done, void* user) = nullptr;
    void* progressUser = nullptr;
};

// As above, with options. Input may be a raw code stream or a JP2 file (its jp2c box is decoded).
bool decode(const std::uint8_t* data, std::size_t size, Decoded& out, std::string& err, const DecodeOptions& opt);

// JP2 files (T.800 Annex I): true when data starts with the JP2 signature box.
bool isJp2(const std::uint8_t* data, std::size_t size);
// Walks the box structure (XL boxes, length 0 = to the end of the file, the jp2h super box) and
// finds the contiguous code stream. Appends one line per box to boxes when it is not null.
// False with a message when there is no usable code stream; a jp2c box cut short by the end of
// the file gives what is there, with a message in err and true returned.
bool readJp2(const std::uint8_t* data, std::size_t size, std::size_t& csBegin, std::size_t& csSize, std::string* boxes,
             std::string& err);

}  // namespace kepj2k
