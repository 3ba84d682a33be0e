// SPDX-License-Identifier: MIT
// What a document tells its readers, whatever way it is written: libraries spell colors and pack objects of
// their own accord.
#pragma once

#include "scratch_dir.h"

#include <expat.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace document {

// What pdfinfo says of a PDF behind this word, without blanks before; empty when it does not.
inline std::string PdfFact(const std::string& pdf, const std::string& word) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/page.pdf";
  std::ofstream(file, std::ios::binary) << pdf;
  std::FILE* const told = popen(("LC_ALL=C.UTF-8 pdfinfo -rawdates " + file + " 2>&1").c_str(), "r");
  std::string fact;
  for (char text[512]; told != nullptr && std::fgets(text, sizeof text, told) != nullptr;) {
    std::string line = text;
    if (line.rfind(word + ":", 0) != 0) continue;
    if (line.back() == '\n') line.pop_back();
    const std::size_t from = line.find_first_not_of(' ', word.size() + 1);
    if (from != std::string::npos) fact = line.substr(from);
  }
  if (told != nullptr) pclose(told);
  return fact;
}

// The date of creation of a PDF, without the prefix "D:" that stands before some; empty when there is none.
inline std::string PdfDate(const std::string& pdf) {
  const std::string date = PdfFact(pdf, "CreationDate");
  return date.rfind("D:", 0) == 0 ? date.substr(2) : date;
}

// "#rrggbb" or "rgb(r%,g%,b%)" with or without blanks; false for other words.
inline bool ReadSvgColor(const char* text, std::array<int, 3>& color) {
  unsigned red = 0;
  unsigned green = 0;
  unsigned blue = 0;
  if (std::sscanf(text, "#%2x%2x%2x", &red, &green, &blue) == 3) {
    color = {static_cast<int>(red), static_cast<int>(green), static_cast<int>(blue)};
    return true;
  }
  double share[3] = {};
  if (std::sscanf(text, "rgb( %lf%% , %lf%% , %lf%%", &share[0], &share[1], &share[2]) != 3) return false;
  for (std::size_t i = 0; i < 3; ++i) color[i] = static_cast<int>(share[i] * 2.55 + 0.5);
  return true;
}

struct ColorSearch {
  std::array<int, 3> wanted;
  bool found = false;
};

// Of an element: the attributes "fill" and "stroke", and what "style" says of them.
inline void LookForColor(void* user, const XML_Char* /*name*/, const XML_Char** attributes) {
  auto& search = *static_cast<ColorSearch*>(user);
  const auto look = [&search](const char* text) {
    std::array<int, 3> color = {};
    if (ReadSvgColor(text, color)) search.found |= color == search.wanted;
  };
  for (; *attributes != nullptr; attributes += 2) {
    const std::string name = attributes[0];
    if (name == "fill" || name == "stroke") look(attributes[1]);
    if (name != "style") continue;
    for (const char* key : {"fill:", "stroke:"}) {
      if (const char* const at = std::strstr(attributes[1], key)) look(at + std::strlen(key));
    }
  }
}

// Whether an SVG is well formed and fills or strokes something in the color.
inline bool SvgHasColor(const std::string& svg, int red, int green, int blue) {
  ColorSearch search{{red, green, blue}};
  const XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &search);
  XML_SetStartElementHandler(parser, LookForColor);
  const bool whole = XML_Parse(parser, svg.data(), static_cast<int>(svg.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return whole && search.found;
}

}  // namespace document
