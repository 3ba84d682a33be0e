// SPDX-License-Identifier: MIT
// SVG path text ("M 0 0 L 10 0 A 5 5 0 0 1 10 10 Z") as a CorePath.
//
// The whole grammar of the SVG 1.1 path data is read: M L H V Q C S T A Z, absolute and relative, repeats
// without a letter, numbers run together ("1-2.5.5"), arc flags run together ("a1 1 0 00.5.5"). S and T
// become C and Q. As SVG asks, an arc with a radius of 0 is a line, and one that ends where it starts is
// nothing.
#pragma once

#include <tovmx/path.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace jobs {

// The text is no path. what() says line, column and error: "line 1, column 5: a number is expected".
struct SvgPathError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws SvgPathError. An empty text is an empty path.
[[nodiscard]] CorePath ParseSvgPath(std::string_view text);

}  // namespace jobs
