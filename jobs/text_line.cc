// SPDX-License-Identifier: MIT
// The description is built as a document and then written, so that JSON's own writer does all escaping.
#include "text_line.h"

#include <tovkit/json.h>

#include <cstdio>

namespace jobs {

std::string DescriptionOf(const TextLine& line) {
  const auto description = tovkit::Json::Parse("{}", 2, nullptr);
  description->SetMemberString("Content", line.text.c_str());
  description->SetMemberDouble("DeltaX", line.x);
  description->SetMemberDouble("DeltaY", line.y);
  const auto font = description->AddObjectMember("Font");
  if (!line.fontName.empty()) font->SetMemberString("FontName", line.fontName.c_str());
  if (line.fontSize) font->SetMemberInt("FontSize", *line.fontSize);
  if (line.color) {
    char color[8];
    std::snprintf(color, sizeof color, "#%06X", *line.color & 0xFFFFFF);
    font->SetMemberString("Color", color);
  }
  font->SetMemberBool("Bold", line.bold);
  font->SetMemberBool("Italic", line.italic);
  const CoreString text = description->ToString();
  return {text.c_str(), static_cast<std::size_t>(text.GetLength())};
}

}  // namespace jobs
