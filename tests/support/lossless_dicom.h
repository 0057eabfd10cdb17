// Helpers of the lossless JPEG peer test: minimal DICOM files (explicit VR little endian,
// Secondary Capture, one greyscale frame) with native or encapsulated pixel data, a reader for
// the attributes and fragments the test needs, lossless JPEG (process 14) streams parsed into
// their SOF3 / DHT / SOS parameters and written from our own coded rows, and the lookup and
// running of command-line programs from PATH.
#ifndef KEP_TEST_LOSSLESS_DICOM_H
#define KEP_TEST_LOSSLESS_DICOM_H

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "huff_jpeg.h"

namespace losslessdicom {

constexpr const char* kExplicitLittle = "1.2.840.10008.1.2.1";
constexpr const char* kLosslessAny = "1.2.840.10008.1.2.4.57";  // process 14, any predictor
constexpr const char* kLosslessSV1 = "1.2.840.10008.1.2.4.70";  // process 14, predictor 1
constexpr const char* kSecondaryCapture = "1.2.840.10008.5.1.4.1.1.7";

// A greyscale image: `bits` stored bits in 8- or 16-bit words, samples row by row.
struct Image {
    int width = 0, height = 0, bits = 8;
    std::vector<uint16_t> samples;
};

// ---- Writing ------------------------------------------------------------------------------------

inline bool longForm(const char* vr) {
    static const char* const kLong[] = {"OB", "OW", "OF", "OD", "OL", "OV", "SQ", "UN", "UT", "UC", "UR", "SV", "UV"};
    for (const char* l : kLong)
        if (vr[0] == l[0] && vr[1] == l[1]) return true;
    return false;
}

struct Writer {
    std::vector<uint8_t> b;
    void u16(uint32_t v) {
        b.push_back(static_cast<uint8_t>(v));
        b.push_back(static_cast<uint8_t>(v >> 8));
    }
    void u32(uint32_t v) {
        u16(v & 0xFFFF);
        u16(v >> 16);
    }
    void header(uint16_t group, uint16_t element, const char* vr, uint32_t length) {
        u16(group);
        u16(element);
        b.push_back(static_cast<uint8_t>(vr[0]));
        b.push_back(static_cast<uint8_t>(vr[1]));
        if (longForm(vr)) {
            u16(0);
            u32(length);
        } else {
            u16(length);
        }
    }
    void bytes(uint16_t group, uint16_t element, const char* vr, const std::vector<uint8_t>& v) {
        header(group, element, vr, static_cast<uint32_t>(v.size()));
        b.insert(b.end(), v.begin(), v.end());
    }
    // Text values are padded to even length: UIDs with a zero byte, the others with a blank.
    void text(uint16_t group, uint16_t element, const char* vr, std::string s) {
        if (s.size() & 1) s.push_back(vr[0] == 'U' && vr[1] == 'I' ? '\0' : ' ');
        bytes(group, element, vr, std::vector<uint8_t>(s.begin(), s.end()));
    }
    void us(uint16_t group, uint16_t element, uint16_t v) {
        header(group, element, "US", 2);
        u16(v);
    }
    void item(uint16_t element, uint32_t length) {
        u16(0xFFFE);
        u16(element);
        u32(length);
    }
};

// A Part 10 file: preamble, file meta group, then the image attributes and the pixel data. With
// `jpeg` empty the samples are stored natively (one byte per sample up to 8 bits, else two,
// little endian); otherwise the stream is stored as one fragment behind an empty offset table.
inline std::vector<uint8_t> makeFile(const Image& im, const std::string& transferSyntax, const std::vector<uint8_t>& jpeg) {
    const std::string sop = "2.25.40211993817263544", study = "2.25.40211993817263545", series = "2.25.40211993817263546";
    Writer meta;
    meta.bytes(0x0002, 0x0001, "OB", {0x00, 0x01});
    meta.text(0x0002, 0x0002, "UI", kSecondaryCapture);
    meta.text(0x0002, 0x0003, "UI", sop);
    meta.text(0x0002, 0x0010, "UI", transferSyntax);
    meta.text(0x0002, 0x0012, "UI", "2.25.40211993817263547");
    Writer f;
    f.b.assign(128, 0);
    f.b.insert(f.b.end(), {'D', 'I', 'C', 'M'});
    f.header(0x0002, 0x0000, "UL", 4);
    f.u32(static_cast<uint32_t>(meta.b.size()));
    f.b.insert(f.b.end(), meta.b.begin(), meta.b.end());

    const int allocated = im.bits > 8 ? 16 : 8;
    f.text(0x0008, 0x0016, "UI", kSecondaryCapture);
    f.text(0x0008, 0x0018, "UI", sop);
    f.text(0x0008, 0x0060, "CS", "OT");
    f.text(0x0008, 0x0064, "CS", "WSD");
    f.text(0x0010, 0x0010, "PN", "Peer^Lossless");
    f.text(0x0010, 0x0020, "LO", "1");
    f.text(0x0020, 0x000D, "UI", study);
    f.text(0x0020, 0x000E, "UI", series);
    f.text(0x0020, 0x0013, "IS", "1");
    f.us(0x0028, 0x0002, 1);
    f.text(0x0028, 0x0004, "CS", "MONOCHROME2");
    f.us(0x0028, 0x0010, static_cast<uint16_t>(im.height));
    f.us(0x0028, 0x0011, static_cast<uint16_t>(im.width));
    f.us(0x0028, 0x0100, static_cast<uint16_t>(allocated));
    f.us(0x0028, 0x0101, static_cast<uint16_t>(im.bits));
    f.us(0x0028, 0x0102, static_cast<uint16_t>(im.bits - 1));
    f.us(0x0028, 0x0103, 0);
    if (jpeg.empty()) {
        std::vector<uint8_t> px;
        for (uint16_t v : im.samples) {
            px.push_back(static_cast<uint8_t>(v));
            if (allocated == 16) px.push_back(static_cast<uint8_t>(v >> 8));
        }
        if (px.size() & 1) px.push_back(0);
        f.bytes(0x7FE0, 0x0010, allocated == 16 ? "OW" : "OB", px);
    } else {
        f.header(0x7FE0, 0x0010, "OB", 0xFFFFFFFFu);
        f.item(0xE000, 0);
        const uint32_t len = static_cast<uint32_t>(jpeg.size() + (jpeg.size() & 1));
        f.item(0xE000, len);
        f.b.insert(f.b.end(), jpeg.begin(), jpeg.end());
        if (jpeg.size() & 1) f.b.push_back(0);
        f.item(0xE0DD, 0);
    }
    return f.b;
}

// ---- Reading ------------------------------------------------------------------------------------

// What the test reads back: the transfer syntax, the image attributes (US values), and the pixel
// data, native or as the concatenated fragments after the offset table.
struct Parsed {
    bool ok = false;
    std::string transferSyntax;
    std::map<uint32_t, unsigned> us;  // (group << 16 | element) -> value
    std::vector<uint8_t> pixels;
    bool encapsulated = false;
};

// Walks the elements of an explicit VR little endian file (meta group and data set alike) flat:
// sequences and items of undefined length are entered, their delimiters passed over; inside
// encapsulated pixel data each item is a fragment.
inline Parsed parseFile(const std::vector<uint8_t>& b) {
    Parsed p;
    if (b.size() < 132 || std::memcmp(&b[128], "DICM", 4) != 0) return p;
    auto u16 = [&](size_t i) { return static_cast<unsigned>(b[i] | (b[i + 1] << 8)); };
    auto u32 = [&](size_t i) { return u16(i) | (u16(i + 2) << 16); };
    size_t i = 132;
    bool inPixels = false;
    int fragment = 0;
    while (i + 8 <= b.size()) {
        const unsigned group = u16(i), element = u16(i + 2);
        if (group == 0xFFFE) {
            const size_t len = u32(i + 4);
            i += 8;
            if (element == 0xE0DD) {
                inPixels = false;
            } else if (element == 0xE000 && inPixels) {
                if (len > b.size() - i) return p;
                if (fragment++ > 0) p.pixels.insert(p.pixels.end(), b.begin() + static_cast<long>(i), b.begin() + static_cast<long>(i + len));
                i += len;
            }
            continue;
        }
        const char vr[3] = {static_cast<char>(b[i + 4]), static_cast<char>(b[i + 5]), 0};
        size_t len;
        if (longForm(vr)) {
            if (i + 12 > b.size()) return p;
            len = u32(i + 8);
            i += 12;
        } else {
            len = u16(i + 6);
            i += 8;
        }
        if (len == 0xFFFFFFFFu) {
            if (group == 0x7FE0 && element == 0x0010) inPixels = p.encapsulated = true;
            continue;  // a sequence or encapsulated data: walk into it
        }
        if (len > b.size() - i) return p;
        if (group == 0x0002 && element == 0x0010) {
            p.transferSyntax.assign(b.begin() + static_cast<long>(i), b.begin() + static_cast<long>(i + len));
            while (!p.transferSyntax.empty() && (p.transferSyntax.back() == '\0' || p.transferSyntax.back() == ' '))
                p.transferSyntax.pop_back();
        } else if (vr[0] == 'U' && vr[1] == 'S' && len == 2) {
            p.us[(group << 16) | element] = u16(i);
        } else if (group == 0x7FE0 && element == 0x0010) {
            p.pixels.assign(b.begin() + static_cast<long>(i), b.begin() + static_cast<long>(i + len));
        }
        i += len;
    }
    p.ok = true;
    return p;
}

// ---- Lossless JPEG streams ------------------------------------------------------------------

// The parameters of a one-component process-14 stream and the offset of its first coded byte.
struct Stream {
    bool ok = false;
    int precision = 0, width = 0, height = 0, components = 0;
    int predictor = 0, pointTransform = 0, restartInterval = 0;
    int table = -1;  // DC table selector of the scan's component
    hufftest::Table tables[4];
    size_t scanStart = 0;
};

inline Stream parseStream(const std::vector<uint8_t>& s) {
    Stream st;
    if (s.size() < 4 || s[0] != 0xFF || s[1] != 0xD8) return st;
    size_t i = 2;
    while (i + 4 <= s.size()) {
        if (s[i] != 0xFF) return st;
        const int m = s[i + 1];
        if (m == 0xFF) {  // fill byte
            ++i;
            continue;
        }
        const size_t len = (static_cast<size_t>(s[i + 2]) << 8) | s[i + 3];
        if (len < 2 || i + 2 + len > s.size()) return st;
        const uint8_t* seg = &s[i + 4];
        if (m == 0xC3) {
            st.precision = seg[0];
            st.height = (seg[1] << 8) | seg[2];
            st.width = (seg[3] << 8) | seg[4];
            st.components = seg[5];
        } else if (m == 0xC4) {
            size_t p = 0;
            while (p + 17 <= len - 2) {
                const int th = seg[p] & 3;
                hufftest::Table t;
                std::memcpy(t.bits, seg + p + 1, 16);
                const size_t n = static_cast<size_t>(t.count());
                if (p + 17 + n > len - 2) return st;
                std::memcpy(t.vals, seg + p + 17, n);
                st.tables[th] = t;
                p += 17 + n;
            }
        } else if (m == 0xDD) {
            st.restartInterval = (seg[0] << 8) | seg[1];
        } else if (m == 0xDA) {
            if (seg[0] != 1) return st;
            st.table = seg[2] >> 4;
            st.predictor = seg[3];
            st.pointTransform = seg[5] & 15;
            st.scanStart = i + 2 + len;
            st.ok = true;
            return st;
        } else if ((m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC)) {
            return st;  // any other frame type
        }
        i += 2 + len;
    }
    return st;
}

// SOI, SOF3 (one component), DHT (table 0), SOS, the coded bytes, EOI.
inline std::vector<uint8_t> writeStream(int precision, int width, int height, const hufftest::Table& t, int predictor,
                                        int pointTransform, const std::vector<uint8_t>& coded) {
    std::vector<uint8_t> s = {0xFF, 0xD8};
    auto segment = [&](int marker, const std::vector<uint8_t>& body) {
        s.push_back(0xFF);
        s.push_back(static_cast<uint8_t>(marker));
        s.push_back(static_cast<uint8_t>((body.size() + 2) >> 8));
        s.push_back(static_cast<uint8_t>(body.size() + 2));
        s.insert(s.end(), body.begin(), body.end());
    };
    segment(0xC3, {static_cast<uint8_t>(precision), static_cast<uint8_t>(height >> 8), static_cast<uint8_t>(height),
                   static_cast<uint8_t>(width >> 8), static_cast<uint8_t>(width), 1, 1, 0x11, 0});
    std::vector<uint8_t> dht = {0x00};
    dht.insert(dht.end(), t.bits, t.bits + 16);
    dht.insert(dht.end(), t.vals, t.vals + t.count());
    segment(0xC4, dht);
    segment(0xDA, {1, 1, 0x00, static_cast<uint8_t>(predictor), 0, static_cast<uint8_t>(pointTransform)});
    s.insert(s.end(), coded.begin(), coded.end());
    s.push_back(0xFF);
    s.push_back(0xD9);
    return s;
}

// ---- Files and programs -------------------------------------------------------------------------

inline std::string findProgram(const char* name) {
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= dirs.size()) {
        const size_t end = dirs.find(':', start);
        const std::string dir = dirs.substr(start, end == std::string::npos ? std::string::npos : end - start);
        const std::string full = (dir.empty() ? "." : dir) + "/" + name;
        if (access(full.c_str(), X_OK) == 0) return full;
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return {};
}

inline bool writeBytes(const std::string& path, const std::vector<uint8_t>& b) {
    std::ofstream o(path, std::ios::binary);
    o.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
    return static_cast<bool>(o);
}

inline std::vector<uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace losslessdicom

#endif  // KEP_TEST_LOSSLESS_DICOM_H
