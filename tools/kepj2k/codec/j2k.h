// The kepj2k codec: a JPEG 2000 code-stream decoder built on libkepjx1's public primitives.
//
// This library holds the code-stream syntax (ITU-T T.800 Annex A markers, Annex B packets, tag
// trees and progression) and the bookkeeping of tiles, resolutions, sub-bands, precincts and
// code-blocks. Every compute step (code-block decoding, the inverse wavelets and the inverse
// component transforms) is a call into libkepjx1. The command-line tool and the tests use it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
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
    std::vector<std::string> notes;                // markers skipped
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
};

// Parses the main header and every tile-part header. Returns false with a message when the
// stream cannot be decoded at all; a stream cut inside the tile parts parses as far as it goes
// (with a message in err and true returned).
bool parse(const std::uint8_t* data, std::size_t size, CodestreamInfo& info, std::string& err);
std::string describe(const CodestreamInfo& info);

// Decoded components on the image area, samples as signed 32-bit values (DC level shift undone,
// clamped to each component's range).
struct Decoded {
    int width = 0, height = 0;
    std::vector<ComponentInfo> comps;
    std::vector<std::vector<std::int32_t>> planes;   // per component, ceil-divided sizes
    std::vector<int> planeWidth, planeHeight;
};

// Decodes a code stream. On corrupt or truncated data it decodes what is there into out and
// returns false with a message; out is empty when nothing could be decoded.
bool decode(const std::uint8_t* data, std::size_t size, Decoded& out, std::string& err);

}  // namespace kepj2k
