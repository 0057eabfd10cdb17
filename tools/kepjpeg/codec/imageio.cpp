// Image files: binary PNM (P5 gray, P6 RGB, P7 PAM with 1, 3 or 4 channels) and PNG via libpng.
// Samples above 8 bits are kept as 12-bit values: a maxval of 4095 as is, 65535 (and 16-bit
// PNG) shifted right by four; on output 12-bit samples are written with maxval 4095 (PNM) or
// widened by bit replication (PNG).
#include <png.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>

#include "codec.h"

namespace kepjpeg {
namespace {

std::string extension(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    std::string e = dot == std::string::npos ? "" : path.substr(dot + 1);
    for (char& ch : e) ch = char(std::tolower(static_cast<unsigned char>(ch)));
    return e;
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Reads a PNM header token (skipping whitespace and comments).
bool token(std::FILE* f, std::string& t) {
    t.clear();
    int ch;
    while ((ch = std::fgetc(f)) != EOF) {
        if (ch == '#') {
            while ((ch = std::fgetc(f)) != EOF && ch != '\n') {
            }
        } else if (!std::isspace(ch)) {
            break;
        }
    }
    if (ch == EOF) return false;
    do t.push_back(char(ch));
    while ((ch = std::fgetc(f)) != EOF && !std::isspace(ch));
    return true;
}

bool number(std::FILE* f, int& v) {
    std::string t;
    if (!token(f, t) || t.empty() || t.size() > 9) return false;
    for (char ch : t)
        if (ch < '0' || ch > '9') return false;
    v = std::stoi(t);
    return true;
}

bool setGeometry(Image& img, int w, int h, int ch, int maxval, std::string& err) {
    if (w < 1 || h < 1 || w > 65535 || h > 65535) return err = "image size must be 1 to 65535 in each direction", false;
    if (maxval < 1 || maxval > 65535) return err = "maxval must be 1 to 65535", false;
    if (maxval > 255 && maxval != 4095 && maxval != 65535)
        return err = "samples above 8 bits need maxval 4095 or 65535", false;
    img.width = w;
    img.height = h;
    img.channels = ch;
    img.precision = maxval > 255 ? 12 : 8;
    return true;
}

bool readPnm(const std::string& path, Image& img, std::string& err) {
    File f(std::fopen(path.c_str(), "rb"));
    if (!f) return err = "cannot open " + path, false;
    std::string magic;
    if (!token(f.get(), magic)) return err = path + ": empty file", false;
    int w = 0, h = 0, ch = 0, maxval = 0;
    if (magic == "P5" || magic == "P6") {
        ch = magic == "P5" ? 1 : 3;
        if (!number(f.get(), w) || !number(f.get(), h) || !number(f.get(), maxval)) return err = path + ": bad PNM header", false;
    } else if (magic == "P7") {
        std::string t;
        while (token(f.get(), t) && t != "ENDHDR") {
            int* dst = t == "WIDTH" ? &w : t == "HEIGHT" ? &h : t == "DEPTH" ? &ch : t == "MAXVAL" ? &maxval : nullptr;
            if (dst && !number(f.get(), *dst)) return err = path + ": bad PAM header", false;
            if (t == "TUPLTYPE") token(f.get(), t);
        }
        if (t != "ENDHDR" || !(ch == 1 || ch == 3 || ch == 4)) return err = path + ": PAM needs depth 1, 3 or 4", false;
    } else {
        return err = path + ": not a binary PNM file (P5, P6, P7)", false;
    }
    if (!setGeometry(img, w, h, ch, maxval, err)) return err = path + ": " + err, false;
    const std::size_t n = img.samples();
    if (maxval <= 255) {
        img.px8.resize(n);
        if (std::fread(img.px8.data(), 1, n, f.get()) != n) return err = path + ": file ends before the samples do", false;
    } else {
        std::vector<std::uint8_t> raw(2 * n);
        if (std::fread(raw.data(), 1, raw.size(), f.get()) != raw.size())
            return err = path + ": file ends before the samples do", false;
        img.px16.resize(n);
        const int shift = maxval == 65535 ? 4 : 0;
        for (std::size_t i = 0; i < n; ++i) {
            const int v = (raw[2 * i] << 8 | raw[2 * i + 1]) >> shift;
            if (v > 4095) return err = path + ": sample above maxval", false;
            img.px16[i] = std::uint16_t(v);
        }
    }
    return true;
}

bool writePnm(const std::string& path, const Image& img, const std::string& ext, std::string& err) {
    File f(std::fopen(path.c_str(), "wb"));
    if (!f) return err = "cannot create " + path, false;
    const int maxval = (1 << img.precision) - 1;
    const bool pam = ext == "pam" || img.channels == 4 || (img.channels == 3 && ext == "pgm") || (img.channels == 1 && ext == "ppm");
    if (pam) {
        const char* type = img.channels == 1 ? "GRAYSCALE" : img.channels == 3 ? "RGB" : "CMYK";
        std::fprintf(f.get(), "P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL %d\nTUPLTYPE %s\nENDHDR\n", img.width, img.height,
                     img.channels, maxval, type);
    } else {
        std::fprintf(f.get(), "P%d\n%d %d\n%d\n", img.channels == 1 ? 5 : 6, img.width, img.height, maxval);
    }
    const std::size_t n = img.samples();
    bool ok;
    if (img.precision == 8) {
        ok = std::fwrite(img.px8.data(), 1, n, f.get()) == n;
    } else {
        std::vector<std::uint8_t> raw(2 * n);
        for (std::size_t i = 0; i < n; ++i) raw[2 * i] = std::uint8_t(img.px16[i] >> 8), raw[2 * i + 1] = std::uint8_t(img.px16[i]);
        ok = std::fwrite(raw.data(), 1, raw.size(), f.get()) == raw.size();
    }
    if (!ok || std::fflush(f.get()) != 0) return err = "cannot write " + path, false;
    return true;
}

bool readPng(const std::string& path, Image& img, std::string& err) {
    png_image pi;
    std::memset(&pi, 0, sizeof pi);
    pi.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&pi, path.c_str())) return err = path + ": " + pi.message, false;
    const bool gray = !(pi.format & PNG_FORMAT_FLAG_COLOR);
    const bool wide = PNG_IMAGE_PIXEL_COMPONENT_SIZE(pi.format) == 2;
    pi.format = (gray ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB) | (wide ? PNG_FORMAT_FLAG_LINEAR : 0);
    if (!setGeometry(img, int(pi.width), int(pi.height), gray ? 1 : 3, wide ? 65535 : 255, err)) {
        png_image_free(&pi);
        return err = path + ": " + err, false;
    }
    bool ok;
    if (!wide) {
        img.px8.resize(img.samples());
        ok = png_image_finish_read(&pi, nullptr, img.px8.data(), 0, nullptr);
    } else {
        std::vector<png_uint_16> raw(img.samples());
        ok = png_image_finish_read(&pi, nullptr, raw.data(), 0, nullptr);
        img.px16.resize(raw.size());
        for (std::size_t i = 0; i < raw.size(); ++i) img.px16[i] = std::uint16_t(raw[i] >> 4);
    }
    if (!ok) return err = path + ": " + pi.message, false;
    return true;
}

bool writePng(const std::string& path, const Image& img, std::string& err) {
    if (img.channels == 4) return err = "PNG cannot hold CMYK; write .pam instead", false;
    png_image pi;
    std::memset(&pi, 0, sizeof pi);
    pi.version = PNG_IMAGE_VERSION;
    pi.width = png_uint_32(img.width);
    pi.height = png_uint_32(img.height);
    pi.format = img.channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    bool ok;
    if (img.precision == 8) {
        ok = png_image_write_to_file(&pi, path.c_str(), 0, img.px8.data(), 0, nullptr);
    } else {
        pi.format |= PNG_FORMAT_FLAG_LINEAR;
        std::vector<png_uint_16> raw(img.samples());
        const unsigned maxval = (1u << img.precision) - 1;
        for (std::size_t i = 0; i < raw.size(); ++i)
            raw[i] = img.precision == 12 ? png_uint_16(img.px16[i] << 4 | img.px16[i] >> 8)
                                         : png_uint_16((img.px16[i] * 65535u + maxval / 2) / maxval);
        ok = png_image_write_to_file(&pi, path.c_str(), 0, raw.data(), 0, nullptr);
    }
    if (!ok) return err = path + ": " + pi.message, false;
    return true;
}

}  // namespace

bool readImage(const std::string& path, Image& img, std::string& err) {
    img = Image();
    const std::string e = extension(path);
    if (e == "png") return readPng(path, img, err);
    if (e == "ppm" || e == "pgm" || e == "pnm" || e == "pam") return readPnm(path, img, err);
    return err = path + ": unknown image type (use .ppm, .pgm, .pnm, .pam or .png)", false;
}

bool writeImage(const std::string& path, const Image& img, std::string& err) {
    const std::string e = extension(path);
    if (e == "png") return writePng(path, img, err);
    if (e == "ppm" || e == "pgm" || e == "pnm" || e == "pam") return writePnm(path, img, e, err);
    return err = path + ": unknown image type (use .ppm, .pgm, .pnm, .pam or .png)", false;
}

bool readFile(const std::string& path, std::vector<std::uint8_t>& data, std::string& err) {
    File f(std::fopen(path.c_str(), "rb"));
    if (!f) return err = "cannot open " + path, false;
    data.clear();
    std::uint8_t buf[65536];
    std::size_t got;
    while ((got = std::fread(buf, 1, sizeof buf, f.get())) > 0) data.insert(data.end(), buf, buf + got);
    if (std::ferror(f.get())) return err = "cannot read " + path, false;
    return true;
}

bool writeFile(const std::string& path, const std::vector<std::uint8_t>& data, std::string& err) {
    File f(std::fopen(path.c_str(), "wb"));
    if (!f) return err = "cannot create " + path, false;
    if (std::fwrite(data.data(), 1, data.size(), f.get()) != data.size() || std::fflush(f.get()) != 0)
        return err = "cannot write " + path, false;
    return true;
}

}  // namespace kepjpeg
