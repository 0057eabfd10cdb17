// Symbol counts of sequential-scan blocks for optimal Huffman tables (ITU-T T.81 K.2).
//
// The tool gathers them itself for now; when libkepjx1's Huffman statistics primitives are
// available, countBlockSymbols is the one place to replace by them.
#pragma once

#include <cstdint>

#include "internal.h"

namespace kepjpeg {
namespace detail {

inline int magnitudeCategory(int v) {
    if (v < 0) v = -v;
    int n = 0;
    while (v) ++n, v >>= 1;
    return n;
}

// Adds the DC category and the AC run/size symbols (ZRL, EOB) the block will be coded with to
// dc[] and ac[] (257 counts each), and updates the DC predictor as the coder will.
inline void countBlockSymbols(const std::int16_t* blk, std::int16_t& lastDC, int* dc, int* ac) {
    dc[magnitudeCategory(int(blk[0]) - lastDC)]++;
    lastDC = blk[0];
    int run = 0;
    for (int k = 1; k < 64; ++k) {
        const int v = blk[kNaturalOrder[k]];
        if (v == 0) {
            ++run;
            continue;
        }
        while (run > 15) ac[0xF0]++, run -= 16;
        ac[run * 16 + magnitudeCategory(v)]++;
        run = 0;
    }
    if (run) ac[0x00]++;
}

}  // namespace detail
}  // namespace kepjpeg
