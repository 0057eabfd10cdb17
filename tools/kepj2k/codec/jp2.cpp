// JP2 file format boxes around a code stream (ITU-T T.800 Annex I): signature, file type, the
// JP2 header with image header and colour (colr), and the contiguous code stream.
#include "encoder.h"

namespace kepj2k {
namespace {

void put32(std::vector<std::uint8_t>& o, std::uint32_t v) {
    for (int s = 24; s >= 0; s -= 8) o.push_back(std::uint8_t(v >> s));
}

void box(std::vector<std::uint8_t>& o, const char* type, const std::vector<std::uint8_t>& body) {
    put32(o, std::uint32_t(8 + body.size()));
    o.insert(o.end(), type, type + 4);
    o.insert(o.end(), body.begin(), body.end());
}

}  // namespace

std::vector<std::uint8_t> wrapJp2(const std::vector<std::uint8_t>& codestream, const kepjpeg::Image& img) {
    std::vector<std::uint8_t> o, b, ihdr, colr, jp2h;
    box(o, "jP  ", {0x0D, 0x0A, 0x87, 0x0A});
    b = {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '};   // brand, minor version, compatibility
    box(o, "ftyp", b);
    put32(ihdr, std::uint32_t(img.height)), put32(ihdr, std::uint32_t(img.width));
    ihdr.push_back(std::uint8_t(img.channels >> 8)), ihdr.push_back(std::uint8_t(img.channels));
    // Bits per component, compression type 7, colour space known, no intellectual property box.
    ihdr.insert(ihdr.end(), {std::uint8_t(img.precision - 1), 7, 0, 0});
    // Enumerated colour space: 17 greyscale, 16 sRGB, 12 CMYK.
    const std::uint32_t cs = img.channels == 1 ? 17 : img.channels == 4 ? 12 : 16;
    colr = {1, 0, 0};
    put32(colr, cs);
    box(jp2h, "ihdr", ihdr);
    box(jp2h, "colr", colr);
    box(o, "jp2h", jp2h);
    box(o, "jp2c", codestream);
    return o;
}

}  // namespace kepj2k
