// Marker parsing (ITU-T T.81 Annex B) and the `info` description.
#include <cstdio>
#include <cstring>
#include <sstream>

#include "internal.h"
#include "parse.h"

namespace kepjpeg {
namespace detail {
namespace {

const char* sofName(int m) {
    switch (m) {
        case 0xC0: return "baseline sequential DCT, Huffman";
        case 0xC1: return "extended sequential DCT, Huffman";
        case 0xC2: return "progressive DCT, Huffman";
        case 0xC3: return "lossless, Huffman";
        case 0xC5: return "differential sequential DCT, Huffman";
        case 0xC6: return "differential progressive DCT, Huffman";
        case 0xC7: return "differential lossless, Huffman";
        case 0xC9: return "extended sequential DCT, arithmetic";
        case 0xCA: return "progressive DCT, arithmetic";
        case 0xCB: return "lossless, arithmetic";
        case 0xCD: return "differential sequential DCT, arithmetic";
        case 0xCE: return "differential progressive DCT, arithmetic";
        case 0xCF: return "differential lossless, arithmetic";
        default: return "unknown";
    }
}

std::string fmt(const char* f, int a = 0, int b = 0, int c = 0, int d = 0, int e = 0) {
    char buf[160];
    std::snprintf(buf, sizeof buf, f, a, b, c, d, e);
    return buf;
}

bool parseSOF(const std::uint8_t* p, int len, int marker, JpegInfo& info, std::string& err) {
    if (info.sofMarker >= 0) return err = "a second frame header (SOF)", false;
    if (len < 6) return err = "SOF segment too short", false;
    info.sofMarker = marker;
    info.precision = p[0];
    info.height = p[1] << 8 | p[2];
    info.width = p[3] << 8 | p[4];
    const int nf = p[5];
    if (nf < 1 || nf > 4) return err = fmt("SOF: %d components (1 to 4 supported)", nf), false;
    if (len < 6 + 3 * nf) return err = "SOF segment too short for its components", false;
    if (info.width < 1) return err = "SOF: width 0", false;
    if (info.height < 1) return err = "SOF: height 0 (DNL-defined heights are not supported)", false;
    if (std::uint64_t(info.width) * info.height > (1u << 28))
        return err = fmt("SOF: %d x %d is larger than this tool handles", info.width, info.height), false;
    info.comps.resize(nf);
    info.hmax = info.vmax = 1;
    for (int i = 0; i < nf; ++i) {
        Component& c = info.comps[i];
        c.id = p[6 + 3 * i];
        c.h = p[7 + 3 * i] >> 4;
        c.v = p[7 + 3 * i] & 15;
        c.tq = p[8 + 3 * i];
        if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4)
            return err = fmt("SOF: component %d has sampling factors %dx%d", c.id, c.h, c.v), false;
        if (c.tq > 3) return err = fmt("SOF: component %d uses quantization table %d", c.id, c.tq), false;
        for (int j = 0; j < i; ++j)
            if (info.comps[j].id == c.id) return err = fmt("SOF: component id %d used twice", c.id), false;
        info.hmax = std::max(info.hmax, c.h);
        info.vmax = std::max(info.vmax, c.v);
    }
    info.mcusX = ceilDiv(info.width, 8 * info.hmax);
    info.mcusY = ceilDiv(info.height, 8 * info.vmax);
    for (Component& c : info.comps) {
        c.width = ceilDiv(info.width * c.h, info.hmax);
        c.height = ceilDiv(info.height * c.v, info.vmax);
        c.blocksW = info.mcusX * c.h;
        c.blocksH = info.mcusY * c.v;
    }
    return true;
}

bool parseDQT(const std::uint8_t* p, int len, JpegInfo& info, TableState& t, std::string& err) {
    int i = 0;
    while (i < len) {
        const int pq = p[i] >> 4, tq = p[i] & 15;
        if (pq > 1 || tq > 3) return err = fmt("DQT: precision %d, table %d", pq, tq), false;
        const int need = 1 + 64 * (pq + 1);
        if (i + need > len) return err = "DQT segment too short", false;
        QuantTable& q = t.quant[tq];
        q.present = true;
        q.precision = pq;
        for (int k = 0; k < 64; ++k) q.zz[k] = pq ? std::uint16_t(p[i + 1 + 2 * k] << 8 | p[i + 2 + 2 * k]) : p[i + 1 + k];
        for (int k = 0; k < 64; ++k)
            if (q.zz[k] == 0) return err = fmt("DQT: table %d has a zero quantizer", tq), false;
        info.tables.push_back(fmt("DQT table %d, %d-bit entries, Q(DC) %d", tq, pq ? 16 : 8, q.zz[0]));
        i += need;
    }
    return true;
}

bool parseDHT(const std::uint8_t* p, int len, JpegInfo& info, TableState& t, std::string& err) {
    int i = 0;
    while (i < len) {
        if (i + 17 > len) return err = "DHT segment too short", false;
        const int tc = p[i] >> 4, th = p[i] & 15;
        if (tc > 1 || th > 3) return err = fmt("DHT: class %d, table %d", tc, th), false;
        int count = 0;
        for (int k = 0; k < 16; ++k) count += p[i + 1 + k];
        if (count > 256) return err = fmt("DHT: %d codes in one table", count), false;
        if (i + 17 + count > len) return err = "DHT segment too short for its symbols", false;
        HuffTable& h = tc ? t.ac[th] : t.dc[th];
        h.present = true;
        h.count = count;
        for (int k = 0; k < 16; ++k) h.bits[k] = p[i + 1 + k];
        for (int k = 0; k < count; ++k) h.vals[k] = p[i + 17 + k];
        info.tables.push_back(std::string("DHT ") + (tc ? "AC" : "DC") + fmt(" table %d, %d codes", th, count));
        i += 17 + count;
    }
    return true;
}

bool parseSOS(const std::uint8_t* p, int len, const JpegInfo& info, ScanInfo& s, std::string& err) {
    if (info.sofMarker < 0) return err = "SOS before the frame header", false;
    if (len < 1) return err = "SOS segment too short", false;
    s.ns = p[0];
    if (s.ns < 1 || s.ns > 4) return err = fmt("SOS: %d components", s.ns), false;
    if (len < 4 + 2 * s.ns) return err = "SOS segment too short", false;
    for (int i = 0; i < s.ns; ++i) {
        const int id = p[1 + 2 * i];
        int idx = -1;
        for (int j = 0; j < int(info.comps.size()); ++j)
            if (info.comps[j].id == id) idx = j;
        if (idx < 0) return err = fmt("SOS: component %d is not in the frame", id), false;
        for (int j = 0; j < i; ++j)
            if (s.comp[j] == idx) return err = fmt("SOS: component %d listed twice", id), false;
        s.comp[i] = idx;
        s.td[i] = p[2 + 2 * i] >> 4;
        s.ta[i] = p[2 + 2 * i] & 15;
        if (s.td[i] > 3 || s.ta[i] > 3) return err = "SOS: Huffman table selector above 3", false;
    }
    s.ss = p[1 + 2 * s.ns];
    s.se = p[2 + 2 * s.ns];
    s.ah = p[3 + 2 * s.ns] >> 4;
    s.al = p[3 + 2 * s.ns] & 15;
    if (s.ns > 1) {
        int blocks = 0;
        for (int i = 0; i < s.ns; ++i) blocks += info.comps[s.comp[i]].h * info.comps[s.comp[i]].v;
        if (blocks > 10) return err = fmt("SOS: %d blocks per MCU (at most 10)", blocks), false;
    }
    return true;
}

// Finds the end of the entropy-coded data starting at pos: the first marker other than RSTn
// (stuffed zeros and fill bytes skipped). Returns n when the file ends first.
std::size_t findScanEnd(const std::uint8_t* d, std::size_t n, std::size_t pos, int& restarts) {
    restarts = 0;
    while (pos + 1 < n) {
        const std::uint8_t* ff = static_cast<const std::uint8_t*>(std::memchr(d + pos, 0xFF, n - pos - 1));
        if (!ff) return n;
        pos = std::size_t(ff - d);
        const std::uint8_t m = d[pos + 1];
        if (m == 0x00 || m == 0xFF) {
            pos += 1;
        } else if (m >= 0xD0 && m <= 0xD7) {
            ++restarts;
            pos += 2;
        } else {
            return pos;
        }
    }
    return n;
}

}  // namespace

bool walkSegments(const std::uint8_t* d, std::size_t n, JpegInfo& info, TableState& tables,
                  const ScanHandler& onScan, std::string& err) {
    if (n < 2 || d[0] != 0xFF || d[1] != 0xD8) return err = "not a JPEG file (no SOI marker)", false;
    std::size_t pos = 2;
    for (;;) {
        // Skip to the next marker; fill bytes 0xFF may precede it (T.81 B.1.1.2).
        std::size_t skipped = 0;
        while (pos < n && d[pos] != 0xFF) ++pos, ++skipped;
        if (skipped) info.notes.push_back(fmt("%d stray bytes before a marker", int(skipped)));
        while (pos + 1 < n && d[pos + 1] == 0xFF) ++pos;
        if (pos + 1 >= n) return err = "the file ends before the EOI marker", false;
        const int marker = d[pos + 1];
        pos += 2;
        if (marker == 0xD9) {
            info.sawEOI = true;
            return true;
        }
        if (marker == 0xD8 || (marker >= 0xD0 && marker <= 0xD7) || marker == 0x01 || marker == 0x00) {
            info.notes.push_back(fmt("stray marker 0xFF%02X", marker));
            continue;
        }
        if (pos + 2 > n) return err = "the file ends inside a marker segment header", false;
        const int len = (d[pos] << 8 | d[pos + 1]) - 2;
        if (len < 0) return err = fmt("marker 0xFF%02X: segment length below 2", marker), false;
        if (pos + 2 + std::size_t(len) > n) return err = fmt("the file ends inside segment 0xFF%02X", marker), false;
        const std::uint8_t* p = d + pos + 2;
        pos += 2 + std::size_t(len);
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) {
            if (!parseSOF(p, len, marker, info, err)) return false;
        } else if (marker == 0xDB) {
            if (!parseDQT(p, len, info, tables, err)) return false;
        } else if (marker == 0xC4) {
            if (!parseDHT(p, len, info, tables, err)) return false;
        } else if (marker == 0xDD) {
            if (len < 2) return err = "DRI segment too short", false;
            info.restartInterval = p[0] << 8 | p[1];
        } else if (marker == 0xE0 && len >= 5 && std::memcmp(p, "JFIF\0", 5) == 0) {
            info.jfif = true;
        } else if (marker == 0xEE && len >= 12 && std::memcmp(p, "Adobe", 5) == 0) {
            info.adobeTransform = p[11];
        } else if (marker == 0xDA) {
            ScanInfo s;
            if (!parseSOS(p, len, info, s, err)) return false;
            s.restartInterval = info.restartInterval;
            s.dataBegin = pos;
            s.dataEnd = findScanEnd(d, n, pos, s.restartMarkers);
            info.scans.push_back(s);
            if (onScan && !onScan(info, tables, s)) return false;
            pos = s.dataEnd;
            if (pos >= n) return err = "the file ends inside entropy-coded data (truncated)", false;
        } else if (marker == 0xDC) {
            return err = "DNL marker (height defined after the first scan) is not supported", false;
        }
        // APPn, COM and other segments are skipped.
    }
}

}  // namespace detail

bool parse(const std::uint8_t* data, std::size_t size, JpegInfo& info, std::string& err) {
    detail::TableState tables;
    info = JpegInfo();
    return detail::walkSegments(data, size, info, tables, nullptr, err);
}

std::string describe(const JpegInfo& info) {
    std::ostringstream o;
    if (info.sofMarker < 0) {
        o << "no frame header\n";
        return o.str();
    }
    char buf[200];
    std::snprintf(buf, sizeof buf, "frame: SOF%d (%s), %d-bit, %d x %d, %d component%s\n", info.sofMarker - 0xC0,
                  detail::sofName(info.sofMarker), info.precision, info.width, info.height, int(info.comps.size()),
                  info.comps.size() == 1 ? "" : "s");
    o << buf;
    const char* space = info.comps.size() == 1 ? "grayscale"
                        : info.comps.size() == 3 ? (info.adobeTransform == 0 ? "RGB" : "YCbCr")
                        : info.comps.size() == 4 ? (info.adobeTransform == 2 ? "YCCK" : "CMYK")
                                                 : "unknown";
    std::snprintf(buf, sizeof buf, "colour: %s%s%s\n", space, info.jfif ? ", JFIF marker" : "",
                  info.adobeTransform >= 0 ? ", Adobe marker" : "");
    o << buf;
    for (const Component& c : info.comps) {
        std::snprintf(buf, sizeof buf, "  component %d: sampling %dx%d, quantization table %d, %d x %d samples\n", c.id,
                      c.h, c.v, c.tq, c.width, c.height);
        o << buf;
    }
    std::snprintf(buf, sizeof buf, "MCUs: %d x %d (%d x %d pixels each)\n", info.mcusX, info.mcusY, 8 * info.hmax,
                  8 * info.vmax);
    o << buf;
    for (const std::string& t : info.tables) o << "table: " << t << "\n";
    for (std::size_t i = 0; i < info.scans.size(); ++i) {
        const ScanInfo& s = info.scans[i];
        o << "scan " << i << ": components";
        for (int k = 0; k < s.ns; ++k) {
            std::snprintf(buf, sizeof buf, " %d (DC %d, AC %d)", info.comps[s.comp[k]].id, s.td[k], s.ta[k]);
            o << buf;
        }
        std::snprintf(buf, sizeof buf, ", Ss %d Se %d Ah %d Al %d, %zu bytes, restart interval %d (%d markers)\n", s.ss,
                      s.se, s.ah, s.al, s.dataEnd - s.dataBegin, s.restartInterval, s.restartMarkers);
        o << buf;
    }
    for (const std::string& nte : info.notes) o << "note: " << nte << "\n";
    if (!info.sawEOI) o << "note: no EOI marker reached\n";
    return o.str();
}

}  // namespace kepjpeg
