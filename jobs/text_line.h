// SPDX-License-Identifier: MIT
// TextLine: one line of text as a person asks for it, and the description that draws it.
//
//   TextLine line{"Draft"};
//   line.fontSize = 72;
//   job.descriptions = {Input::Memory(json = DescriptionOf(line), "the text")};
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace jobs {

struct TextLine {
  std::string text;                                   // UTF-8
  std::string fontName = "";                          // UTF-8; empty for the default
  std::optional<int> fontSize = std::nullopt;         // points, from 1 on
  std::optional<std::uint32_t> color = std::nullopt;  // 0xAARRGGBB; alpha does not count
  bool bold = false;
  bool italic = false;
  float x = 0;  // where the line starts, device units
  float y = 0;
};

// The JSON description of the line.
std::string DescriptionOf(const TextLine& line);

}  // namespace jobs
