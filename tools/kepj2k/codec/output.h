// Conversion of decoded components to kepjpeg's image type, whose PGM/PPM/PAM/PNG I/O kepj2k uses.
#pragma once

#include "codec.h"
#include "j2k.h"

namespace kepj2k {

// Interleaves 1, 3 or 4 unsigned, equally sized components of 8 or 12 bits.
bool toImage(const Decoded& d, kepjpeg::Image& img, std::string& err);

}  // namespace kepj2k
