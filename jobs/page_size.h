// SPDX-License-Identifier: MIT
// The size of a page as people write it.
#pragma once

#include <tovmx/geometry.h>

#include <optional>
#include <string>

namespace jobs {

// A size in device units, 96 to the inch, of
//
//   "800x600", "210.5X297"          two positive decimal numbers, in device units
//   "210x297mm", "8.5x11in", ...    in mm, cm, in, pt or px
//   "A4", "letter", "A4-landscape"  the name of a paper, upright unless it says otherwise
//
// in any case of letters. Nothing for any other text.
[[nodiscard]] std::optional<CoreSizeF> ParsePageSize(const std::string& text);

// The names of the papers, for messages and help: "A0 to A10, B0 to B10, Letter".
std::string PaperNames();

}  // namespace jobs
