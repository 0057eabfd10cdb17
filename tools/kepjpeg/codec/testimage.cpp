// The built-in test image and PSNR.
#include <cmath>

#include "codec.h"

namespace kepjpeg {

Image makeTestImage(int width, int height, unsigned seed) {
    Image img;
    img.width = width;
    img.height = height;
    img.channels = 3;
    img.px8.resize(img.samples());
    std::uint32_t rng = seed * 2654435761u + 12345u;
    auto noise = [&rng]() {
        rng ^= rng << 13, rng ^= rng >> 17, rng ^= rng << 5;
        return int(rng & 15) - 8;
    };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double fx = double(x) / width, fy = double(y) / height;
            // Smooth colour gradients over the whole image.
            int r = int(255 * fx), g = int(255 * fy), b = int(255 * (1 - fx) * (1 - fy) + 60 * std::sin(fx * 9));
            // Hard-edged discs and bars in the right half.
            const double dx = fx - 0.72, dy = fy - 0.35;
            if (dx * dx + dy * dy < 0.02) r = 230, g = 40, b = 50;
            if (fx > 0.55 && ((x / 6) % 7 == 0)) r = g = b = 20;
            // Text-like detail: a grid of small strokes in the lower left quarter.
            if (fx < 0.5 && fy > 0.6) {
                const int cx = x % 12, cy = y % 16;
                const int glyph = (x / 12 * 7 + y / 16 * 13) % 5;
                const bool stroke = (cy >= 3 && cy <= 12) && ((glyph & 1 && cx == 2) || (glyph & 2 && (cy == 3 || cy == 12) && cx >= 2 && cx <= 8) ||
                                                              (glyph == 4 && cx == 8) || (glyph == 0 && cy == 7 && cx >= 2 && cx <= 8));
                if (stroke) r = g = b = 15;
                else r = g = b = 235;
            }
            // Noise everywhere else in the upper left.
            if (fx < 0.3 && fy < 0.3) r += 3 * noise(), g += 3 * noise(), b += 3 * noise();
            std::uint8_t* p = &img.px8[(std::size_t(y) * width + x) * 3];
            p[0] = std::uint8_t(r < 0 ? 0 : r > 255 ? 255 : r);
            p[1] = std::uint8_t(g < 0 ? 0 : g > 255 ? 255 : g);
            p[2] = std::uint8_t(b < 0 ? 0 : b > 255 ? 255 : b);
        }
    return img;
}

double psnr(const Image& a, const Image& b) {
    const std::size_t n = a.samples();
    if (n == 0 || b.samples() != n || a.precision != b.precision) return 0;
    double se = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double d = a.precision == 8 ? double(a.px8[i]) - b.px8[i] : double(a.px16[i]) - b.px16[i];
        se += d * d;
    }
    const double peak = double((1 << a.precision) - 1);
    if (se == 0) return INFINITY;
    return 10 * std::log10(peak * peak * double(n) / se);
}

}  // namespace kepjpeg
