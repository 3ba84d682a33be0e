// SPDX-License-Identifier: MIT
// The only reader of a description: drawing, measuring and reporting all take what it returns.
#include "text_request.h"

#include "tovkit/imaging.h"

#include <tovmx/text_codec.h>

namespace tovkit {

namespace {

constexpr int kRegular = 400;
constexpr int kBold = 700;

// Opaque 0xFFRRGGBB from a packed color, whose red is the lowest byte. A text that is no color is black.
std::uint32_t DeviceColor(const char* text) {
  std::uint32_t packed = 0;
  std::uint32_t kind = 0;
  ParseColor(text, packed, kind);
  return 0xFF000000U | (packed & 0xFF00U) | (packed >> 16 & 0xFFU) | (packed & 0xFFU) << 16;
}

bool Flag(const JsonValue& font, const char* key) {
  return font.HasMember(key) && font.GetMemberBool(key, false);
}

void ReadFont(const JsonValue& font, TextRequest& request) {
  const int size = font.GetMemberInt("FontSize", 0);
  if (size >= 1) request.fontSize = size;
  const char* const name = font.GetMemberString("FontName", "");
  request.namesFont = *name != '\0';
  if (request.namesFont) request.fontName = CoreTextCodec::Utf8Decode(name, -1);
  request.bold = Flag(font, "Bold");
  request.italic = Flag(font, "Italic");
  const char* const color = font.GetMemberString("Color", "");
  if (*color != '\0') request.color = DeviceColor(color);
}

}  // namespace

CoreFontLoader TextRequest::Fonts() const {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(fontName.c_str(), fontName.c_str(), kCoreFontAny, bold ? kBold : kRegular, italic);
  return fonts;
}

TextRequest ReadTextRequest(const JsonValue& description) {
  TextRequest request;
  const char* const content = description.GetMemberString("Content", "");
  if (*content == '\0') return request;
  request.text = CoreTextCodec::Utf8Decode(content, -1);
  request.color = DeviceColor("#000000");
  if (const SharedPtr<const JsonValue> font = description.GetMember("Font")) ReadFont(*font, request);
  if (!request.namesFont) request.fontName = kDefaultFontName;
  request.deltaX = description.GetMemberFloat("DeltaX", 0.0f);
  request.deltaY = description.GetMemberFloat("DeltaY", 0.0f);
  return request;
}

}  // namespace tovkit
