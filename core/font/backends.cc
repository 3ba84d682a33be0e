// SPDX-License-Identifier: MIT
// The libraries behind the fonts.
#include "tovmx/font.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include <hb.h>
#include <pango/pango.h>

#include <string>
#include FT_FREETYPE_H

namespace {

std::string FontconfigVersion() {
  const int version = FcGetVersion();
  return std::to_string(version / 10000) + "." + std::to_string(version / 100 % 100) + "." +
         std::to_string(version % 100);
}

std::string FreetypeVersion() {
  FT_Library library = nullptr;
  if (FT_Init_FreeType(&library) != 0) return "(not available)";
  FT_Int major = 0;
  FT_Int minor = 0;
  FT_Int patch = 0;
  FT_Library_Version(library, &major, &minor, &patch);
  FT_Done_FreeType(library);
  return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

}  // namespace

CoreStringList<CoreString> CoreFontLoader::DescribeBackends() {
  CoreStringList<CoreString> lines;
  for (const std::string& line :
       {std::string("Pango ") + pango_version_string(), std::string("HarfBuzz ") + hb_version_string(),
        "FreeType " + FreetypeVersion(), "fontconfig " + FontconfigVersion()}) {
    lines.Add(line.c_str());
  }
  return lines;
}
