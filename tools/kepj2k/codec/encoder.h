// The kepj2k encoder: images to JPEG 2000 code streams (ITU-T T.800) on libkepjx1's public
// primitives. Component transforms, wavelets and code-block coding are library calls; this side
// holds the tiling, quantization step sizes, rate allocation, packets and markers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codec.h"

namespace kepj2k {

struct EncodeOptions {
    bool lossy = false;          // ICT + 9/7 with expounded quantization; otherwise RCT + 5/3
    int levels = -1;             // decomposition levels; -1: 5, fewer for small tiles
    int xcb = 6, ycb = 6;        // log2 code-block size
    int cbstyle = 0;             // code-block style byte (T.800 Table A.19)
    int tileW = 0, tileH = 0;    // 0: one tile
    int layers = 1;
    // Cumulative bits per pixel at the end of each layer (bits of the whole file over width x
    // height). One value with several layers: the earlier layers halve the budget each.
    std::vector<double> rates;
    double psnr = 0;             // quality target in dB (lossy), 0: none
    int order = 0;               // 0 LRCP, 1 RLCP, 2 RPCL, 3 PCRL, 4 CPRL
    bool sop = false, eph = false;
    int precinctW = 15, precinctH = 15;   // log2 precinct size at every resolution; 15: none
    int threads = 1;
    bool jp2 = false;            // wrap the code stream in JP2 boxes
    kepjpeg::Progress progress;  // fraction of the code-blocks coded
};

// Encodes an image of 1 to 4 unsigned components of 1 to 16 bits (8-bit samples in px8, others
// in px16). Returns false with a message when the options or the image cannot be encoded.
bool encode(const kepjpeg::Image& img, const EncodeOptions& opt, std::vector<std::uint8_t>& out, std::string& err);

// Wraps a code stream in the JP2 boxes (signature, file type, header with ihdr and colr, jp2c).
std::vector<std::uint8_t> wrapJp2(const std::vector<std::uint8_t>& codestream, const kepjpeg::Image& img);

// Reads PGM/PPM/PAM of any maxval (precision = bits of maxval) and PNG of 8 or 16 bits without
// rescaling; other files as kepjpeg reads them.
bool readInput(const std::string& path, kepjpeg::Image& img, std::string& err);

}  // namespace kepj2k
