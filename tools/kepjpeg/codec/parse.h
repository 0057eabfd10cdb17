// Marker-segment walker shared by `parse` (info) and the decoder.
#pragma once

#include <functional>
#include <string>

#include "codec.h"

namespace kepjpeg {
namespace detail {

// Tables as currently defined while walking a file (a later DQT/DHT replaces an earlier one).
struct TableState {
    QuantTable quant[4];
    HuffTable dc[4], ac[4];
};

// Called after each SOS with the scan's header and the extent of its entropy-coded data;
// returning false stops the walk.
using ScanHandler = std::function<bool(const JpegInfo&, const TableState&, const ScanInfo&)>;

// Walks the marker segments of a file, filling info and calling onScan for every scan. Returns
// false with a message on a structural error or a truncated file (info keeps what was read).
bool walkSegments(const std::uint8_t* d, std::size_t n, JpegInfo& info, TableState& tables,
                  const ScanHandler& onScan, std::string& err);

}  // namespace detail
}  // namespace kepjpeg
