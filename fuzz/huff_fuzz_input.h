// Input parsing shared by the progressive and lossless fuzz targets: a decoder table taken from
// the front of the fuzz input as a DHT segment would hold it.
#ifndef KEP_HUFF_FUZZ_INPUT_H
#define KEP_HUFF_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kepjx1.h"

// 16 counts, then as many symbols as they add up to; the input advances past them. False when
// the input is too short or the decoder table rejects the lists.
inline bool fuzzTakeDecodeSpec(const uint8_t*& data, size_t& size, KepiDecodeHuffmanSpec* spec) {
    if (size < 16) return false;
    Kep8u bits[16], vals[256] = {};
    std::memcpy(bits, data, 16);
    size_t count = 0;
    for (Kep8u b : bits) count += b;
    const size_t taken = count > 256 ? 256 : count;
    if (size < 16 + taken) return false;
    std::memcpy(vals, data + 16, taken);
    data += 16 + taken;
    size -= 16 + taken;
    return kepiDecodeHuffmanSpecInit_JPEG_8u(bits, vals, spec) == kepOk;
}

#endif  // KEP_HUFF_FUZZ_INPUT_H
