// Independent JPEG reference data for the tests: the zigzag order derived from its definition and
// the ITU-T T.81 Annex K example quantization tables.
#ifndef KEP_TEST_JPEGREF_H
#define KEP_TEST_JPEGREF_H

#include <array>

namespace jpegref {

// Natural position (8*v + u) of each zigzag index, walked from the definition (T.81 Figure A.6):
// anti-diagonals d = u + v, upwards to the right when d is even, downwards to the left when odd.
inline std::array<int, 64> zigzagToNatural() {
    std::array<int, 64> nat{};
    int k = 0;
    for (int d = 0; d < 15; ++d)
        for (int j = 0; j <= d; ++j) {
            const int v = (d % 2 == 0) ? d - j : j, u = d - v;
            if (u < 8 && v < 8) nat[k++] = 8 * v + u;
        }
    return nat;
}

// T.81 Table K.1 (luminance) and K.2 (chrominance), natural order.
constexpr unsigned char kLumaNatural[64] = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99,
};
constexpr unsigned char kChromaNatural[64] = {
    17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,
    24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
};

// A natural-order table as the zigzag-ordered bytes of a DQT segment.
inline std::array<unsigned char, 64> toZigzag(const unsigned char* natural) {
    const auto nat = zigzagToNatural();
    std::array<unsigned char, 64> zz{};
    for (int k = 0; k < 64; ++k) zz[k] = natural[nat[k]];
    return zz;
}

}  // namespace jpegref

#endif  // KEP_TEST_JPEGREF_H
