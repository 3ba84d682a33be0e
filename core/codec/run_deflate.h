// SPDX-License-Identifier: MIT
// Deflate for pages: most of a page that is drawn is runs of one byte, which are passed over here at the
// speed of memory, where a matcher for all kinds of bytes enters each of them into its tables.
#pragma once

#include "codec/deflate.h"

namespace tovmx {

// Whether most of the bytes stand in runs, as far as a sample tells.
[[nodiscard]] bool HasLongRuns(const std::uint8_t* data, std::size_t size);

constexpr int kMostRunEffort = 7;

// A zlib stream that is less than half as long as the bytes, or nothing when there is none or memory is
// short. `effort` is 1 (fast) to kMostRunEffort. The same stream on every machine.
[[nodiscard]] Deflated DeflateRuns(const std::uint8_t* data, std::size_t size, int effort);

}  // namespace tovmx
