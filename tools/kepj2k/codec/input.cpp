// Input images of any sample depth up to 16 bits: binary PNM with any maxval and 16-bit PNG
// keep their values; everything else is read by kepjpeg's image I/O.
#include <png.h>
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "encoder.h"

namespace kepj2k {
namespace {

bool hasExtension(const std::string& path, const char* ext) {
    const std::size_t n = std::strlen(ext);
    return path.size() > n && strcasecmp(path.c_str() + path.size() - n, ext) == 0;
}

// The next header token of a PNM file, skipping white space and comments.
bool token(std::FILE* f, std::string& t) {
    t.clear();
    int ch;
    while ((ch = std::fgetc(f)) != EOF) {
        if (ch == '#') {
            while ((ch = std::fgetc(f)) != EOF && ch != '\n') {}
        } else if (ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n') {
            if (!t.empty()) return true;
        } else {
            t += char(ch);
        }
    }
    return !t.empty();
}

int number(const std::string& t) {
    if (t.empty() || t.size() > 9 || t.find_first_not_of("0123456789") != std::string::npos) return -1;
    return std::atoi(t.c_str());
}

bool readWidePnm(std::FILE* f, const std::string& path, kepjpeg::Image& img, std::string& err) {
    std::string magic, t;
    token(f, magic);
    int w = -1, h = -1, ch = 0, maxval = -1;
    if (magic == "P5" || magic == "P6") {
        ch = magic == "P5" ? 1 : 3;
        if (token(f, t)) w = number(t);
        if (token(f, t)) h = number(t);
        if (token(f, t)) maxval = number(t);
    } else if (magic == "P7") {
        while (token(f, t) && t != "ENDHDR") {
            std::string v;
            if (t == "TUPLTYPE") token(f, v);
            else if (t == "WIDTH" && token(f, v)) w = number(v);
            else if (t == "HEIGHT" && token(f, v)) h = number(v);
            else if (t == "DEPTH" && token(f, v)) ch = number(v);
            else if (t == "MAXVAL" && token(f, v)) maxval = number(v);
        }
    } else {
        return err = path + ": not a binary PNM file (P5, P6, P7)", false;
    }
    if (w < 1 || h < 1 || w > 65535 || h > 65535 || ch < 1 || ch > 4 || maxval < 1 || maxval > 65535)
        return err = path + ": bad PNM header", false;
    img = kepjpeg::Image();
    img.width = w, img.height = h, img.channels = ch;
    img.precision = 1;
    while ((1 << img.precision) - 1 < maxval) ++img.precision;
    const std::size_t n = img.samples(), bytes = maxval > 255 ? 2 : 1;
    std::vector<std::uint8_t> raw(n * bytes);
    if (std::fread(raw.data(), 1, raw.size(), f) != raw.size()) return err = path + ": file ends before the samples do", false;
    if (img.precision == 8) {
        img.px8 = std::move(raw);
        return true;
    }
    img.px16.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        const int v = bytes == 2 ? raw[2 * i] << 8 | raw[2 * i + 1] : raw[i];
        if (v > maxval) return err = path + ": sample above maxval", false;
        img.px16[i] = std::uint16_t(v);
    }
    return true;
}

// Opens a PNG with libpng's simplified API; false with a message when it cannot.
bool beginPng(const std::string& path, png_image& pi, std::string& err) {
    std::memset(&pi, 0, sizeof pi);
    pi.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&pi, path.c_str())) return err = path + ": " + pi.message, false;
    return true;
}

// Samples of 16 bits are kept whole (kepjpeg's reader keeps 12 of them); alpha is dropped.
bool readWidePng(png_image& pi, const std::string& path, kepjpeg::Image& img, std::string& err) {
    const bool gray = !(pi.format & PNG_FORMAT_FLAG_COLOR);
    pi.format = (gray ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB) | PNG_FORMAT_FLAG_LINEAR;
    img = kepjpeg::Image();
    img.width = int(pi.width), img.height = int(pi.height), img.channels = gray ? 1 : 3, img.precision = 16;
    img.px16.resize(img.samples());
    if (!png_image_finish_read(&pi, nullptr, img.px16.data(), 0, nullptr)) return err = path + ": " + pi.message, false;
    return true;
}

}  // namespace

bool readInput(const std::string& path, kepjpeg::Image& img, std::string& err) {
    if (hasExtension(path, ".ppm") || hasExtension(path, ".pgm") || hasExtension(path, ".pnm") || hasExtension(path, ".pam")) {
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path.c_str(), "rb"), std::fclose);
        if (!f) return err = "cannot open " + path, false;
        return readWidePnm(f.get(), path, img, err);
    }
    if (hasExtension(path, ".png")) {
        png_image pi;
        if (!beginPng(path, pi, err)) return false;
        if (PNG_IMAGE_PIXEL_COMPONENT_SIZE(pi.format) == 2) return readWidePng(pi, path, img, err);
        png_image_free(&pi);
    }
    return kepjpeg::readImage(path, img, err);
}

}  // namespace kepj2k
