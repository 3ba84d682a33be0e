// SPDX-License-Identifier: MIT
// Finds a <path> in the text of an SVG file.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace jobs {

struct SvgPathElement {
  std::string d;                          // its path data
  unsigned long line = 0;                 // of its tag, from 1
  std::vector<unsigned long> transforms;  // lines of the tags, its own and its ancestors', that have one
};

// The text is no XML, is hostile, or has no such path.
struct SvgDocumentError : std::runtime_error {
  SvgDocumentError(unsigned long errorLine, const std::string& what)
      : std::runtime_error(what), line(errorLine) {}

  unsigned long line;  // where that was found, from 1
};

// Whether the text is markup, which begins as path data never does.
bool IsSvgDocument(const std::string& text);

// The first <path> whose id is `id`, or the first of all for an empty `id`. The whole text must be XML. Its
// own entities are expanded within a bound, external ones are not fetched; elements may be nested 256 deep.
// Throws SvgDocumentError.
[[nodiscard]] SvgPathElement FindSvgPath(const std::string& text, const std::string& id);

}  // namespace jobs
