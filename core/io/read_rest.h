// SPDX-License-Identifier: MIT
// Whole pieces of a stream in memory.
#pragma once

#include "tovmx/stream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovmx {

// A stretch of bytes that lies in the stream's own memory or in `storage`.
struct Bytes {
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
};

// The bytes from the stream's position on, at most `most` of them. Memory grows with what arrives, never with
// what is promised. `storage` is used only when the stream has no memory of its own.
[[nodiscard]] inline Bytes ReadRest(CoreInputStream& stream, std::uint64_t most,
                                    std::vector<std::uint8_t>& storage) {
  const std::uint64_t position = stream.GetPosition();
  if (const std::uint8_t* view = stream.GetView(); view != nullptr) {
    if (position >= stream.GetSize()) return {};
    return {view + position, static_cast<std::size_t>(std::min(most, stream.GetSize() - position))};
  }
  storage.clear();
  for (std::size_t step = 65536; storage.size() < most; step *= 2) {
    const std::size_t had = storage.size();
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(step, most - had));
    storage.resize(had + wanted);
    const std::size_t got = stream.Read(storage.data() + had, wanted);
    storage.resize(had + got);
    if (got < wanted) break;
  }
  return {storage.data(), storage.size()};
}

}  // namespace tovmx
