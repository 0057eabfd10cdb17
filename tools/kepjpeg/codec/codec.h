// The kepjpeg codec: a JPEG encoder and decoder built on libkepjx1's public primitives.
//
// This library holds everything that is not a compute kernel: marker parsing and writing, the
// MCU and restart-interval bookkeeping, threading, image files. Every transform, quantization,
// colour conversion, re-sampling and entropy-coding step is a call into libkepjx1.
// The command-line tool, the tests and the benchmark all use it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kepjpeg {

// An image in memory: interleaved samples, rows packed (width * channels samples per row).
// 8-bit samples live in px8; samples of higher precision (12-bit JPEG) in px16.
struct Image {
    int width = 0;
    int height = 0;
    int channels = 0;   // 1 gray, 3 RGB, 4 CMYK
    int precision = 8;  // 8 in px8; otherwise px16 holds 0..2^precision-1 (12 for the DCT modes,
                        // 2..16 for lossless, which also takes 8-bit samples from px16)
    std::vector<std::uint8_t> px8;
    std::vector<std::uint16_t> px16;
    std::size_t samples() const { return std::size_t(width) * height * channels; }
};

enum class Sampling { s444, s422, s420 };

// Called with the fraction of work done (0..1); may be empty.
using Progress = std::function<void(double)>;

struct EncodeOptions {
    int quality = 85;
    Sampling sampling = Sampling::s420;
    bool grayscale = false;      // code a colour image as its luminance only
    bool optimize = false;       // optimal Huffman tables from the image's symbol counts
    int restartInterval = 0;     // in MCUs; 0 = none
    int restartRows = 0;         // in MCU rows (overrides restartInterval when > 0)
    int threads = 1;
    bool progressive = false;    // SOF2, 8-bit: a fixed progression script, optimal tables per scan
    bool lossless = false;       // SOF3: samples of the image's precision, no colour transform
    int predictor = 1;           // lossless predictor 1..7 (T.81 Table H.1)
    int pointTransform = 0;      // lossless point transform 0..precision-1
    // When set, receives the quantized coefficients of every component (natural order, 64 per
    // block, blocks in raster order over the component's MCU-padded block grid).
    std::vector<std::vector<std::int16_t>>* coefficientsOut = nullptr;
    Progress progress;
};

struct Component {
    int id = 0, h = 1, v = 1, tq = 0;
    int width = 0, height = 0;      // samples: ceil(X * h / hmax), ceil(Y * v / vmax)
    int blocksW = 0, blocksH = 0;   // MCU-padded block grid
};

struct QuantTable {
    bool present = false;
    int precision = 0;              // 0: 8-bit entries, 1: 16-bit entries
    std::uint16_t zz[64] = {};      // zigzag order, as in DQT
};

struct HuffTable {
    bool present = false;
    std::uint8_t bits[16] = {};
    std::uint8_t vals[256] = {};
    int count = 0;
};

struct ScanInfo {
    int ns = 0;
    int comp[4] = {};               // frame component indices
    int td[4] = {}, ta[4] = {};
    int ss = 0, se = 63, ah = 0, al = 0;
    int restartInterval = 0;
    std::size_t dataBegin = 0, dataEnd = 0;  // entropy-coded bytes, RST markers included
    int restartMarkers = 0;
};

struct JpegInfo {
    int sofMarker = -1;             // 0xC0.. of the frame
    int precision = 0;
    int width = 0, height = 0;
    int hmax = 1, vmax = 1, mcusX = 0, mcusY = 0;
    std::vector<Component> comps;
    bool jfif = false;
    int adobeTransform = -1;        // -1: no Adobe marker
    int restartInterval = 0;
    std::vector<ScanInfo> scans;
    std::vector<std::string> tables;   // one line per DQT/DHT table definition
    std::vector<std::string> notes;
    bool sawEOI = false;
    bool progressive() const { return sofMarker == 0xC2 || sofMarker == 0xC6 || sofMarker == 0xCA || sofMarker == 0xCE; }
    bool lossless() const { return sofMarker == 0xC3 || sofMarker == 0xC7 || sofMarker == 0xCB || sofMarker == 0xCF; }
};

// Encodes an 8-bit gray, RGB or CMYK image, or a 12-bit gray or RGB image. Returns false with a
// message in err when the options or the image are not supported or a primitive fails.
bool encode(const Image& img, const EncodeOptions& opt, std::vector<std::uint8_t>& out, std::string& err);

struct DecodeOptions {
    int threads = 1;
    Progress progress;
    // Write the components as coded (YCbCr, YCCK), up-sampled but not colour-converted.
    bool keepColourSpace = false;
    // When set, receives the quantized coefficients of every component (see EncodeOptions).
    std::vector<std::vector<std::int16_t>>* coefficientsOut = nullptr;
};

// Decodes a sequential (baseline or extended), progressive or lossless Huffman file. On corrupt or truncated data it
// decodes what is there into img (missing blocks stay flat) and returns false with a message.
// Returns false with img empty when the file cannot be decoded at all.
bool decode(const std::uint8_t* data, std::size_t size, const DecodeOptions& opt, Image& img, std::string& err);

// Parses the markers of a file without decoding entropy-coded data.
bool parse(const std::uint8_t* data, std::size_t size, JpegInfo& info, std::string& err);
std::string describe(const JpegInfo& info);

// Image files, by extension: .ppm .pgm .pnm .pam, .png.
bool readImage(const std::string& path, Image& img, std::string& err);
bool writeImage(const std::string& path, const Image& img, std::string& err);
bool readFile(const std::string& path, std::vector<std::uint8_t>& data, std::string& err);
bool writeFile(const std::string& path, const std::vector<std::uint8_t>& data, std::string& err);

// The built-in colour test image: gradients, edges, text-like detail and noise.
Image makeTestImage(int width, int height, unsigned seed = 1);
// PSNR over all samples of two images of equal geometry and precision (peak 2^precision - 1).
double psnr(const Image& a, const Image& b);

const char* samplingName(Sampling s);

}  // namespace kepjpeg
