// SPDX-License-Identifier: MIT
// A description of text becomes calls of a device: members with their defaults, then the font, then one
// DrawText a line.
#include "tovkit/imaging.h"

#include <tovmx/device.h>
#include <tovmx/font.h>
#include <tovmx/geometry.h>
#include <tovmx/text_codec.h>

#include <cstdint>

namespace tovkit {

namespace {

constexpr int kDefaultFontSize = 26;
constexpr int kRegular = 400;
constexpr int kBold = 700;
constexpr const wchar_t* kDefaultFontName = L"SimSun";

// The texts point into the description's document.
struct FontSettings {
  int size = kDefaultFontSize;
  bool bold = false;
  bool italic = false;
  const char* color = "#000000";
  const char* name = "";
};

bool Flag(const JsonValue& font, const char* key) {
  return font.HasMember(key) && font.GetMemberBool(key, false);
}

FontSettings ReadFont(const JsonValue& font) {
  FontSettings settings;
  const int size = font.GetMemberInt("FontSize", 0);
  if (size >= 1) settings.size = size;
  settings.name = font.GetMemberString("FontName", "");
  settings.bold = Flag(font, "Bold");
  settings.italic = Flag(font, "Italic");
  const char* color = font.GetMemberString("Color", "");
  if (*color != '\0') settings.color = color;
  return settings;
}

// Opaque 0xFFRRGGBB from a packed color, whose red is the lowest byte. A text that is no color is black.
std::uint32_t DeviceColor(const char* text) {
  std::uint32_t packed = 0;
  std::uint32_t kind = 0;
  ParseColor(text, packed, kind);
  return 0xFF000000U | (packed & 0xFF00U) | (packed >> 16 & 0xFFU) | (packed & 0xFFU) << 16;
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): handles are passed by value throughout
bool DrawTextOnDevice(CoreDevice* device, SharedPtr<const JsonValue> description) {
  if (device == nullptr || !description) return false;
  const char* content = description->GetMemberString("Content", "");
  if (*content == '\0') return false;

  const SharedPtr<const JsonValue> font = description->GetMember("Font");
  const FontSettings settings = font ? ReadFont(*font) : FontSettings();
  const float deltaX = description->GetMemberFloat("DeltaX", 0.0f);
  const float deltaY = description->GetMemberFloat("DeltaY", 0.0f);

  const CoreWideString name = *settings.name == '\0' ? CoreWideString(kDefaultFontName)
                                                     : CoreTextCodec::Utf8Decode(settings.name, -1);
  const CoreWideString text = CoreTextCodec::Utf8Decode(content, -1);
  if (text.IsEmpty()) return false;

  const std::uint32_t color = DeviceColor(settings.color);
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(name.c_str(), name.c_str(), kCoreFontAny, settings.bold ? kBold : kRegular, settings.italic);
  const auto size = static_cast<float>(settings.size);
  CoreMatrix place;
  place.Translate(deltaX, deltaY + size);  // Compatibility: points, added as they are
  device->DrawText(text.c_str(), text.GetLength(), fonts, place, color, size / 72.0f * 96.0f);
  device->EndText();
  device->Flush();
  return true;
}

}  // namespace tovkit
