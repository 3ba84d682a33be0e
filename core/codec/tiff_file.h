// SPDX-License-Identifier: MIT
// Opening a libtiff handle over streams and memory, with nothing printed: what goes wrong is seen in the
// results.
#pragma once

#include "codec/format_decoder.h"
#include "io/seekable_buffer.h"
#include "tovmx/stream.h"

#include <tiffio.h>

#include <cstdint>
#include <memory>

namespace tovmx {

struct TiffCloser {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffHandle = std::unique_ptr<TIFF, TiffCloser>;

// Where an image lies in its stream. Must stay in place and outlive the handle.
struct TiffSource {
  CoreInputStream* stream;
  std::uint64_t start;
  DecodeReason* reason;  // gets a note when the library meets the limit of memory
};

// Null when there is no directory to read.
[[nodiscard]] TiffHandle OpenTiff(TiffSource& source);

// An empty TIFF that grows in `buffer`; offsets take 64 bits when `big`. Null when memory is short.
[[nodiscard]] TiffHandle CreateTiff(SeekableBuffer& buffer, bool big);

}  // namespace tovmx
