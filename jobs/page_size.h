// SPDX-License-Identifier: MIT
// The size of a page as people write it.
#pragma once

#include <tovmx/geometry.h>

#include <optional>
#include <string>

namespace jobs {

// "800x600" or "210.5X297": two positive decimal numbers. Nothing for any other text.
[[nodiscard]] std::optional<CoreSizeF> ParsePageSize(const std::string& text);

}  // namespace jobs
