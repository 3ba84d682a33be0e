// SPDX-License-Identifier: MIT
// TextRequest: what a description of a line asks for, with defaults for what is missing.
#pragma once

#include <tovkit/json.h>

#include <tovmx/font.h>
#include <tovmx/geometry.h>
#include <tovmx/string.h>

#include <cstdint>

namespace tovkit {

inline constexpr int kDefaultFontSize = 26;
inline constexpr const wchar_t* kDefaultFontName = L"SimSun";

struct TextRequest {
  CoreWideString text;
  CoreWideString fontName;
  bool namesFont = false;  // else the name is the default
  int fontSize = kDefaultFontSize;
  bool bold = false;
  bool italic = false;
  std::uint32_t color = 0;  // opaque 0xFFRRGGBB
  float deltaX = 0;
  float deltaY = 0;

  float PixelSize() const { return static_cast<float>(fontSize) / 72.0f * 96.0f; }
  // Compatibility: points, added as they are.
  CoreMatrix Place() const {
    CoreMatrix place;
    place.Translate(deltaX, deltaY + static_cast<float>(fontSize));
    return place;
  }
  CoreFontLoader Fonts() const;
};

// Without a text, `text` is empty and every other field has its default.
[[nodiscard]] TextRequest ReadTextRequest(const JsonValue& description);

}  // namespace tovkit
