// SPDX-License-Identifier: MIT
// The background of a page as people write it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace jobs {

// What a color of a text may be, in words.
inline constexpr char kColorForms[] = "#gg, #rgb, #rrggbb, #ccmmyykk, or 1, 3 or 4 numbers from 0 to 255";

// 0xAARRGGBB of "none", which is transparent, "#gg", "#rgb", "#rrggbb", "#ccmmyykk" or 1, 3 or 4 numbers.
// Nothing for any other text, such as "red", which ParseColor itself takes for a number.
[[nodiscard]] std::optional<std::uint32_t> ParseBackground(const std::string& text);

}  // namespace jobs
