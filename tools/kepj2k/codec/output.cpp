// Decoded components to an interleaved image for kepjpeg's PGM/PPM/PAM/PNG writers.
#include "output.h"

namespace kepj2k {

bool toImage(const Decoded& d, kepjpeg::Image& img, std::string& err) {
    const std::size_t n = d.comps.size();
    if (n != 1 && n != 3 && n != 4) return err = "only 1, 3 or 4 components can be written as an image", false;
    const int prec = d.comps[0].precision;
    for (std::size_t c = 0; c < n; ++c) {
        const ComponentInfo& ci = d.comps[c];
        if (ci.dx != 1 || ci.dy != 1 || ci.sgnd || ci.precision != prec)
            return err = "only unsigned components of one precision without sub-sampling can be written", false;
    }
    // 8-bit samples go to px8; every other precision (1..16) to px16, which the PNM writers store
    // with maxval 2^precision - 1 and the PNG writer scales to 16 bits.
    if (prec < 1 || prec > 16) return err = "only samples of 1 to 16 bits can be written as an image", false;
    img = kepjpeg::Image();
    img.width = d.width, img.height = d.height, img.channels = int(n), img.precision = prec;
    const std::size_t pixels = std::size_t(d.width) * d.height;
    if (prec == 8) img.px8.resize(pixels * n);
    else img.px16.resize(pixels * n);
    for (std::size_t c = 0; c < n; ++c)
        for (std::size_t i = 0; i < pixels; ++i) {
            const std::int32_t v = d.planes[c][i];
            if (prec == 8) img.px8[i * n + c] = std::uint8_t(v);
            else img.px16[i * n + c] = std::uint16_t(v);
        }
    return true;
}

}  // namespace kepj2k
