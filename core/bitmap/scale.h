// SPDX-License-Identifier: MIT
// Scaling of bitmaps.
#pragma once

#include "tovmx/dib.h"
#include "tovmx/geometry.h"

#include <cstdint>

namespace tovmx {

// `wanted` with a side of 0 replaced by what keeps the proportions of `own`, rounded and at least 1.
CoreSize FillProportions(CoreSize wanted, CoreSize own) noexcept;

// The depth of what ScaleBitmap makes: 8 for gray, 32 with alpha, else 24.
int ScaledBits(const CoreDib& from) noexcept;

// About the memory that ScaleBitmap takes besides the two bitmaps.
std::uint64_t ScalingBytes(const CoreDib& from, CoreSize size) noexcept;

// Fills `to` with `from` scaled to `size` by a filter, as wide as new pixels when shrinking and as old ones
// when growing. Colors count by their alpha. The resolution follows the size. False when memory is short.
// Precondition: the filter is not kCoreFilterNearest.
[[nodiscard]] bool ScaleBitmap(const CoreDib& from, CoreSize size, CoreDib& to,
                               CoreFilter filter = kCoreFilterTriangle);

}  // namespace tovmx
