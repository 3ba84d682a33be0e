// SPDX-License-Identifier: MIT
// Whole blocks of memory compressed into zlib streams, each in the way that suits it, and back.
#pragma once

#include "large_pages.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tovmx {

// Bytes from malloc: unlike a vector's they are not written before they are needed, and that there are none
// is no exception.
struct FreeBytes {
  void operator()(std::uint8_t* bytes) const { std::free(bytes); }
};
using ByteBlock = std::unique_ptr<std::uint8_t[], FreeBytes>;

[[nodiscard]] inline ByteBlock AllocateBytes(std::size_t size) {
  ByteBlock block(static_cast<std::uint8_t*>(std::malloc(size)));
  base::PreferLargePages(block.get(), size);
  return block;
}

struct Deflated {
  ByteBlock bytes;  // null when memory was short
  std::size_t size = 0;
};

// `effort` is 1 (fast) to 9 (small), the nearest counts. The same bytes for the same input on every machine.
[[nodiscard]] Deflated Deflate(const std::uint8_t* data, std::size_t size, int effort);

// Whether `from` is one whole zlib stream, nothing less and nothing more, of `size` bytes; these are then in
// `to`. False also when memory is short. May tell no of streams that are good, and then another reader is
// asked: those whose window is smaller than the stream, where references that leave it would go unnoticed.
[[nodiscard]] bool Inflate(const std::uint8_t* from, std::size_t fromSize, std::uint8_t* to,
                           std::size_t size);

}  // namespace tovmx
