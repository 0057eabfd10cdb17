// Code-stream marker parsing (ITU-T T.800 Annex A): SIZ, COD, COC, QCD, QCC, RGN, POC in the main
// header and in tile-part headers, packed packet headers (PPM, PPT), SOT/SOD tile parts, EOC.
// Informational and pointer segments (TLM, PLM, PLT, CRG, COM) are skipped. JP2 boxes (T.800
// Annex I) around the code stream are read at the end of the file.
#include <cstdio>
#include <cstring>

#include "j2k.h"

namespace kepj2k {
namespace {

struct Reader {
    const std::uint8_t* p;
    std::size_t n, pos = 0;
    bool bad = false;
    int u8() {
        if (pos + 1 > n) return bad = true, 0;
        return p[pos++];
    }
    int u16() {
        const int a = u8();
        return a << 8 | u8();
    }
    std::uint32_t u32() {
        const std::uint32_t a = std::uint32_t(u16());
        return a << 16 | std::uint32_t(u16());
    }
};

// SPcod / SPcoc: levels, code-block size and style, transform, precinct sizes (T.800 A.6.1).
bool readSPcod(Reader& r, std::size_t end, int scod, CodingStyle& cs, std::string& err) {
    cs.levels = r.u8();
    cs.xcb = r.u8() + 2;
    cs.ycb = r.u8() + 2;
    cs.cbstyle = r.u8();
    cs.transform = r.u8();
    if (cs.levels > 32 || cs.xcb > 10 || cs.ycb > 10 || cs.xcb + cs.ycb > 12 || cs.transform > 1)
        return err = "COD/COC: invalid levels, code-block size or transform", false;
    for (int i = 0; i <= cs.levels; ++i) {
        const int b = (scod & 1) ? r.u8() : 0xFF;
        cs.ppx[i] = std::uint8_t(b & 15);
        cs.ppy[i] = std::uint8_t(b >> 4);
        if (i > 0 && (cs.ppx[i] == 0 || cs.ppy[i] == 0)) return err = "COD/COC: precinct size 1 above resolution 0", false;
    }
    if (r.bad || r.pos > end) return err = "COD/COC: segment too short", false;
    return true;
}

bool readQuant(Reader& r, std::size_t end, QuantStyle& q, std::string& err) {
    const int s = r.u8();
    q.style = s & 31;
    q.guard = s >> 5;
    if (q.style > 2) return err = "QCD/QCC: unknown quantization style", false;
    q.count = 0;
    while (r.pos < end && q.count < 97) {
        if (q.style == 0) {
            q.exponent[q.count] = std::uint8_t(r.u8() >> 3);
            q.mantissa[q.count] = 0;
        } else {
            const int v = r.u16();
            q.exponent[q.count] = std::uint8_t(v >> 11);
            q.mantissa[q.count] = std::uint16_t(v & 0x7FF);
        }
        ++q.count;
        if (q.style == 1) break;
    }
    if (r.bad || q.count == 0) return err = "QCD/QCC: no step sizes", false;
    return true;
}

// Reads one COD/COC/QCD/QCC segment into params; set flags record component-specific segments
// so that a later default segment of the same header does not override them.
bool readCodingSegment(int marker, Reader& r, std::size_t end, const CodestreamInfo& info, TileParams& tp,
                       std::vector<char>& codSpecific, std::vector<char>& qcdSpecific, std::string& err) {
    const int nc = int(info.comps.size());
    auto compIndex = [&]() { return nc < 257 ? r.u8() : r.u16(); };
    switch (marker) {
    case 0xFF52: {  // COD
        CodingStyle cs;
        cs.scod = r.u8();
        cs.order = r.u8();
        cs.layers = r.u16();
        cs.mct = r.u8();
        if (cs.order > 4 || cs.layers < 1) return err = "COD: invalid progression order or layer count", false;
        if (!readSPcod(r, end, cs.scod, cs, err)) return false;
        for (int c = 0; c < nc; ++c)
            if (!codSpecific[c]) tp.cod[c] = cs;
        // The multiple-component transform and the progression are per tile, not per component.
        for (int c = 0; c < nc; ++c) tp.cod[c].mct = cs.mct, tp.cod[c].order = cs.order, tp.cod[c].layers = cs.layers;
        return true;
    }
    case 0xFF53: {  // COC
        const int c = compIndex();
        if (c >= nc) return err = "COC: component index out of range", false;
        CodingStyle cs = tp.cod[c];
        cs.scod = (cs.scod & ~1) | (r.u8() & 1);
        if (!readSPcod(r, end, cs.scod, cs, err)) return false;
        tp.cod[c] = cs;
        codSpecific[c] = 1;
        return true;
    }
    case 0xFF5C: {  // QCD
        QuantStyle q;
        if (!readQuant(r, end, q, err)) return false;
        for (int c = 0; c < nc; ++c)
            if (!qcdSpecific[c]) tp.qcd[c] = q;
        return true;
    }
    case 0xFF5D: {  // QCC
        const int c = compIndex();
        if (c >= nc) return err = "QCC: component index out of range", false;
        if (!readQuant(r, end, tp.qcd[c], err)) return false;
        qcdSpecific[c] = 1;
        return true;
    }
    }
    return true;
}

// RGN (T.800 A.6.3): T.800 defines the max-shift method only (Srgn = 0).
bool readRGN(Reader& r, std::size_t end, const CodestreamInfo& info, TileParams& tp, std::string& err) {
    const int nc = int(info.comps.size());
    const int c = nc < 257 ? r.u8() : r.u16();
    const int style = r.u8(), shift = r.u8();
    if (r.bad || r.pos > end) return err = "RGN: segment too short", false;
    if (c >= nc) return err = "RGN: component index out of range", false;
    if (style != 0) return err = "RGN: unknown region-of-interest style", false;
    if (shift > 37) return err = "RGN: shift out of range", false;
    tp.roiShift[std::size_t(c)] = shift;
    return true;
}

// POC (T.800 A.6.6): progression volumes appended to tp.poc.
bool readPOC(Reader& r, std::size_t end, const CodestreamInfo& info, TileParams& tp, std::string& err) {
    const int nc = int(info.comps.size());
    const std::size_t entry = nc < 257 ? 7 : 9;
    if (end - r.pos < entry) return err = "POC: segment too short", false;
    while (end - r.pos >= entry) {
        TileParams::Progression p;
        p.rs = r.u8();
        p.cs = nc < 257 ? r.u8() : r.u16();
        p.lye = r.u16();
        p.re = r.u8();
        p.ce = nc < 257 ? r.u8() : r.u16();
        if (p.ce == 0) p.ce = nc < 257 ? 256 : 16384;   // 0 stands for the largest value the field allows
        p.order = r.u8();
        if (p.order > 4 || p.re <= p.rs || p.ce <= p.cs || p.lye == 0)
            return err = "POC: invalid progression volume", false;
        if (tp.poc.size() >= 1024) return err = "POC: too many progression volumes", false;
        tp.poc.push_back(p);
    }
    return true;
}

bool readSIZ(Reader& r, CodestreamInfo& info, std::string& err) {
    r.u16();  // Rsiz
    const std::uint32_t v[8] = {r.u32(), r.u32(), r.u32(), r.u32(), r.u32(), r.u32(), r.u32(), r.u32()};
    const int nc = r.u16();
    if (r.bad) return err = "SIZ: segment too short", false;
    for (std::uint32_t x : v)
        if (x > 0x7FFFFFFFu) return err = "SIZ: coordinates above 2^31 are not supported", false;
    info.x1 = int(v[0]), info.y1 = int(v[1]), info.x0 = int(v[2]), info.y0 = int(v[3]);
    info.tw = int(v[4]), info.th = int(v[5]), info.tx0 = int(v[6]), info.ty0 = int(v[7]);
    if (info.x1 <= info.x0 || info.y1 <= info.y0 || info.tw < 1 || info.th < 1 || info.tx0 > info.x0 ||
        info.ty0 > info.y0 || info.tx0 + std::int64_t(info.tw) <= info.x0 || info.ty0 + std::int64_t(info.th) <= info.y0)
        return err = "SIZ: invalid image or tile geometry", false;
    if (nc < 1 || nc > 16384) return err = "SIZ: invalid component count", false;
    info.comps.resize(std::size_t(nc));
    for (auto& c : info.comps) {
        const int s = r.u8();
        c.precision = (s & 0x7F) + 1;
        c.sgnd = (s & 0x80) != 0;
        c.dx = r.u8();
        c.dy = r.u8();
        if (c.dx < 1 || c.dy < 1) return err = "SIZ: zero sub-sampling factor", false;
    }
    if (r.bad) return err = "SIZ: segment too short", false;
    info.tilesX = int((std::int64_t(info.x1) - info.tx0 + info.tw - 1) / info.tw);
    info.tilesY = int((std::int64_t(info.y1) - info.ty0 + info.th - 1) / info.th);
    if (std::int64_t(info.tilesX) * info.tilesY > 65535) return err = "SIZ: more than 65535 tiles", false;
    info.main.cod.assign(std::size_t(nc), CodingStyle());
    info.main.qcd.assign(std::size_t(nc), QuantStyle());
    info.main.roiShift.assign(std::size_t(nc), 0);
    return true;
}

}  // namespace

bool parse(const std::uint8_t* data, std::size_t size, CodestreamInfo& info, std::string& err) {
    info = CodestreamInfo();
    Reader r{data, size};
    if (r.u16() != 0xFF4F) return err = "not a JPEG 2000 code stream (no SOC marker)", false;
    if (r.u16() != 0xFF51) return err = "SIZ marker missing after SOC", false;
    std::size_t len = std::size_t(r.u16());
    if (r.bad || len < 41 || r.pos - 2 + len > size) return err = "SIZ: truncated", false;
    if (!readSIZ(r, info, err)) return false;
    r.pos = 4 + len;
    const std::size_t nc = info.comps.size();
    std::vector<char> codSpecific(nc, 0), qcdSpecific(nc, 0);
    bool sawCOD = false, sawQCD = false;
    std::vector<std::uint8_t> ppm;   // Ippm of every PPM segment in order
    // Main header up to the first SOT.
    for (;;) {
        const int m = r.u16();
        if (r.bad) return err = "main header: truncated before the first tile part", false;
        if (m == 0xFF90) break;
        if ((m >> 8) != 0xFF || m < 0xFF30) return err = "main header: marker expected", false;
        len = std::size_t(r.u16());
        const std::size_t end = r.pos - 2 + len;
        if (r.bad || len < 2 || end > size) return err = "main header: marker segment runs past the end", false;
        if (m == 0xFF52 || m == 0xFF53 || m == 0xFF5C || m == 0xFF5D) {
            if (!readCodingSegment(m, r, end, info, info.main, codSpecific, qcdSpecific, err)) return false;
            sawCOD |= m == 0xFF52;
            sawQCD |= m == 0xFF5C;
        } else if (m == 0xFF5E) {
            if (!readRGN(r, end, info, info.main, err)) return false;
        } else if (m == 0xFF5F) {
            if (!readPOC(r, end, info, info.main, err)) return false;
        } else if (m == 0xFF60) {
            if (len < 3) return err = "PPM: segment too short", false;
            ppm.insert(ppm.end(), data + r.pos + 1, data + end);   // after Zppm
        } else {
            char note[48];
            std::snprintf(note, sizeof note, "skipped marker 0x%04X (%zu bytes)", m, len);
            info.notes.push_back(note);
        }
        r.pos = end;
    }
    if (!sawCOD || !sawQCD) return err = "main header: COD or QCD missing", false;
    info.tiles.assign(std::size_t(info.tilesX) * info.tilesY, info.main);
    info.packed.assign(info.tiles.size(), {});
    info.packedHeaders.assign(info.tiles.size(), ppm.empty() ? 0 : 1);
    std::size_t ppmPos = 0;
    // PPM holds, for every tile part in code-stream order, its length Nppm and its packet headers.
    auto takePPM = [&](int tile) {
        if (ppm.size() - ppmPos < 4) return err = "PPM: fewer packed packet headers than tile parts", false;
        const std::size_t n = std::size_t(ppm[ppmPos]) << 24 | std::size_t(ppm[ppmPos + 1]) << 16 |
                              std::size_t(ppm[ppmPos + 2]) << 8 | ppm[ppmPos + 3];
        ppmPos += 4;
        if (n > ppm.size() - ppmPos) return err = "PPM: packed packet headers run past their segments", false;
        auto& dst = info.packed[std::size_t(tile)];
        dst.insert(dst.end(), ppm.begin() + std::ptrdiff_t(ppmPos), ppm.begin() + std::ptrdiff_t(ppmPos + n));
        ppmPos += n;
        return true;
    };
    std::vector<char> tileSeen(info.tiles.size(), 0), tilePoc(info.tiles.size(), 0);
    // Tile parts: SOT ... SOD data, until EOC or the end of the data.
    std::size_t sot = r.pos - 2;
    for (;;) {
        r.pos = sot + 2;
        len = std::size_t(r.u16());
        const int tile = r.u16();
        const std::uint32_t psot = r.u32();
        r.u8();  // TPsot
        r.u8();  // TNsot
        if (r.bad || len != 10) return err = "SOT: truncated or wrong length", true;
        if (tile >= int(info.tiles.size())) return err = "SOT: tile index out of range", true;
        std::size_t partEnd = psot == 0 ? size : sot + psot;
        if (psot != 0 && psot < 14) return err = "SOT: tile-part length too small", true;
        const bool cut = partEnd > size;
        if (cut) partEnd = size;
        TileParams& tp = info.tiles[std::size_t(tile)];
        std::vector<char> tileCod(nc, 0), tileQcd(nc, 0);
        for (;;) {
            const int m = r.u16();
            if (r.bad || r.pos > partEnd) return err = "tile-part header: truncated", true;
            if (m == 0xFF93) break;
            len = std::size_t(r.u16());
            const std::size_t end = r.pos - 2 + len;
            if (r.bad || len < 2 || end > partEnd) return err = "tile-part header: marker segment runs past the end", true;
            if (m == 0xFF52 || m == 0xFF53 || m == 0xFF5C || m == 0xFF5D) {
                if (tileSeen[std::size_t(tile)]) return err = "coding parameters in a later tile part", true;
                if (!readCodingSegment(m, r, end, info, tp, tileCod, tileQcd, err)) return true;
            } else if (m == 0xFF5E) {
                if (tileSeen[std::size_t(tile)]) return err = "RGN in a later tile part", true;
                if (!readRGN(r, end, info, tp, err)) return true;
            } else if (m == 0xFF5F) {
                // A tile's own POC segments replace the main header's progression.
                if (!tilePoc[std::size_t(tile)]) tp.poc.clear(), tilePoc[std::size_t(tile)] = 1;
                if (!readPOC(r, end, info, tp, err)) return true;
            } else if (m == 0xFF61) {
                if (!ppm.empty()) return err = "PPT in a code stream with PPM", true;
                if (len < 3) return err = "PPT: segment too short", true;
                info.packedHeaders[std::size_t(tile)] = 1;
                auto& dst = info.packed[std::size_t(tile)];
                dst.insert(dst.end(), data + r.pos + 1, data + end);
            }
            r.pos = end;
        }
        if (!ppm.empty() && !takePPM(tile)) return true;
        tileSeen[std::size_t(tile)] = 1;
        std::size_t dataEnd = partEnd;
        if (psot == 0 && dataEnd >= r.pos + 2 && data[dataEnd - 2] == 0xFF && data[dataEnd - 1] == 0xD9) dataEnd -= 2;
        info.parts.push_back({tile, r.pos, dataEnd});
        if (cut) return err = "code stream truncated inside a tile part", true;
        r.pos = partEnd;
        const int m = r.u16();
        if (r.bad) return err = "code stream ends without EOC", true;
        if (m == 0xFFD9) return info.sawEOC = true, true;
        if (m != 0xFF90) return err = "SOT or EOC expected after a tile part", true;
        sot = partEnd;
    }
}

std::string describe(const CodestreamInfo& info) {
    static const char* orders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    std::string s;
    char line[200];
    std::snprintf(line, sizeof line, "image %dx%d at (%d,%d), %zu component(s); tiles %dx%d of %dx%d at (%d,%d)\n",
                  info.width(), info.height(), info.x0, info.y0, info.comps.size(), info.tilesX, info.tilesY, info.tw,
                  info.th, info.tx0, info.ty0);
    s += line;
    for (std::size_t c = 0; c < info.comps.size(); ++c) {
        const ComponentInfo& ci = info.comps[c];
        const CodingStyle& cs = info.main.cod[c];
        const QuantStyle& q = info.main.qcd[c];
        std::snprintf(line, sizeof line,
                      "component %zu: %d-bit %s, sub-sampling %dx%d; %s wavelet, %d levels, code-blocks %dx%d, "
                      "style 0x%02X; quantization %d, %d guard bits\n",
                      c, ci.precision, ci.sgnd ? "signed" : "unsigned", ci.dx, ci.dy, cs.transform ? "5/3" : "9/7",
                      cs.levels, 1 << cs.xcb, 1 << cs.ycb, cs.cbstyle, q.style, q.guard);
        s += line;
    }
    const CodingStyle& cs = info.main.cod[0];
    std::snprintf(line, sizeof line, "progression %s, %d layer(s), component transform %s, SOP %s, EPH %s\n",
                  orders[cs.order], cs.layers, cs.mct ? "on" : "off", cs.scod & 2 ? "yes" : "no",
                  cs.scod & 4 ? "yes" : "no");
    s += line;
    if (!info.main.poc.empty()) {
        std::snprintf(line, sizeof line, "progression changes (POC): %zu volume(s) in the main header\n", info.main.poc.size());
        s += line;
    }
    for (std::size_t c = 0; c < info.comps.size(); ++c)
        if (info.main.roiShift[c]) {
            std::snprintf(line, sizeof line, "component %zu: region of interest, max-shift %d\n", c, info.main.roiShift[c]);
            s += line;
        }
    std::size_t packedTiles = 0, pocTiles = 0;
    for (std::size_t t = 0; t < info.tiles.size(); ++t)
        packedTiles += info.packedHeaders[t] != 0, pocTiles += info.tiles[t].poc.size() != info.main.poc.size();
    if (packedTiles) {
        std::snprintf(line, sizeof line, "packed packet headers in %zu tile(s)\n", packedTiles);
        s += line;
    }
    if (pocTiles) {
        std::snprintf(line, sizeof line, "tile-specific progression changes in %zu tile(s)\n", pocTiles);
        s += line;
    }
    std::snprintf(line, sizeof line, "%zu tile part(s)%s\n", info.parts.size(), info.sawEOC ? "" : ", no EOC");
    s += line;
    for (const std::string& n : info.notes) s += n + "\n";
    return s;
}

namespace {

const std::uint8_t kJp2Signature[12] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};

std::uint32_t be32(const std::uint8_t* p) { return std::uint32_t(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3]; }

std::string boxType(std::uint32_t t) {
    std::string s;
    for (int i = 3; i >= 0; --i) {
        const char ch = char(t >> (8 * i));
        s += ch >= 0x20 && ch < 0x7F ? ch : '?';
    }
    return s;
}

// Boxes in [pos, end) at nesting depth; finds jp2c and describes each box (header and colour fields).
bool walkBoxes(const std::uint8_t* d, std::size_t pos, std::size_t end, int depth, std::size_t& csBegin,
               std::size_t& csSize, bool& found, std::string* out, std::string& err) {
    while (pos < end) {
        if (end - pos < 8) return err = "JP2: box header cut short", false;
        std::uint64_t len = be32(d + pos);
        const std::uint32_t type = be32(d + pos + 4);
        std::size_t header = 8;
        if (len == 1) {   // XLBox: 64-bit length after the type
            if (end - pos < 16) return err = "JP2: extended box header cut short", false;
            len = std::uint64_t(be32(d + pos + 8)) << 32 | be32(d + pos + 12);
            header = 16;
        } else if (len == 0) {   // the box runs to the end of the file
            len = end - pos;
        }
        if (len < header) return err = "JP2: box length smaller than its header", false;
        bool cut = false;
        if (len > end - pos) len = end - pos, cut = true;
        const std::size_t body = pos + header, bodyEnd = pos + std::size_t(len);
        if (out) {
            char line[160];
            std::snprintf(line, sizeof line, "%*sbox '%s' at %zu, %llu bytes%s", 2 * depth, "", boxType(type).c_str(), pos,
                          static_cast<unsigned long long>(len), cut ? " (cut short by the end of the file)" : "");
            *out += line;
            const std::uint8_t* b = d + body;
            const std::size_t n = bodyEnd - body;
            if (type == 0x69686472 && n >= 14)   // ihdr
                std::snprintf(line, sizeof line, ": %ux%u, %u component(s), bpc 0x%02X, compression %u", be32(b + 4),
                              be32(b), unsigned(b[8] << 8 | b[9]), b[10], b[11]);
            else if (type == 0x636F6C72 && n >= 3)   // colr
                std::snprintf(line, sizeof line, ": method %u%s%u", b[0], b[0] == 1 && n >= 7 ? ", enumerated colour space " : "",
                              b[0] == 1 && n >= 7 ? be32(b + 3) : 0u);
            else if (type == 0x66747970 && n >= 8)   // ftyp
                std::snprintf(line, sizeof line, ": brand '%s', version %u", boxType(be32(b)).c_str(), be32(b + 4));
            else
                line[0] = 0;
            if (type == 0x636F6C72 && n >= 3 && b[0] != 1) std::snprintf(line, sizeof line, ": method %u", b[0]);
            *out += line;
            *out += "\n";
        }
        if (type == 0x6A703268 || type == 0x72657320) {   // jp2h and res are super boxes
            if (depth < 4 && !walkBoxes(d, body, bodyEnd, depth + 1, csBegin, csSize, found, out, err)) return false;
        } else if (type == 0x6A703263 && !found) {   // jp2c: the first one is the image
            found = true;
            csBegin = body, csSize = bodyEnd - body;
            if (cut) err = "JP2: code-stream box cut short by the end of the file";
        }
        pos = bodyEnd;
    }
    return true;
}

}  // namespace

bool isJp2(const std::uint8_t* data, std::size_t size) {
    return size >= sizeof kJp2Signature && std::memcmp(data, kJp2Signature, sizeof kJp2Signature) == 0;
}

bool readJp2(const std::uint8_t* data, std::size_t size, std::size_t& csBegin, std::size_t& csSize, std::string* boxes,
             std::string& err) {
    if (!isJp2(data, size)) return err = "not a JP2 file (no signature box)", false;
    if (size < 20 || be32(data + 16) != 0x66747970) return err = "JP2: file type box missing after the signature", false;
    bool found = false;
    std::string walkErr;
    const bool walked = walkBoxes(data, 0, size, 0, csBegin, csSize, found, boxes, walkErr);
    if (!found) return err = walkErr.empty() ? "JP2: no code-stream box" : walkErr, false;
    if (!walked || !walkErr.empty()) err = walkErr;   // boxes after the code stream may be damaged
    return true;
}

}  // namespace kepj2k
