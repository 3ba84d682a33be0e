// SPDX-License-Identifier: MIT
// Drawing on every kind of bitmap, and lines of every size and length, each beside the form that costs least.
#include "forms.h"

#include <tovmx/device.h>

#include <cstring>
#include <memory>
#include <random>

namespace {

using bench::Form;
using bench::Work;

constexpr int kWidth = 2480;  // a page at 300 dots an inch
constexpr int kHeight = 3508;

struct Kind {
  const char* name;
  int bits;
  int colors;  // of the palette
  int byte;    // of every pixel at first
};
constexpr Kind kKinds[] = {{"32_opaque", 32, 0, 255}, {"32_clear", 32, 0, 0},     {"24", 24, 0, 255},
                           {"8_gray", 8, 0, 255},     {"8_palette", 8, 256, 255}, {"4_palette", 4, 16, 255},
                           {"1", 1, 0, 255}};

std::shared_ptr<CoreDib> MakePage(const Kind& kind) {
  auto page = std::make_shared<CoreDib>();
  page->Create(kWidth, kHeight, kind.bits);
  std::mt19937 random(1);
  std::vector<std::uint32_t> entries(static_cast<std::size_t>(kind.colors));
  for (std::uint32_t& entry : entries) entry = static_cast<std::uint32_t>(random()) & 0xFFFFFF;
  if (!entries.empty()) {
    entries.back() = 0xFFFFFF;
    page->SetPalette(entries.data(), kind.colors);
  }
  std::memset(page->GetBuffer(), kind.byte, page->GetBufferSize());
  return page;
}

CoreFontLoader Fonts(const wchar_t* family = L"DejaVu Sans") {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family, family, kCoreFontAny, 400, false);
  return fonts;
}

void DrawAt(CoreBitmapDevice& device, const CoreFontLoader& fonts, float x, float y, float size = 32,
            const std::wstring& text = L"The quick brown fox") {
  CoreMatrix place;
  place.Translate(x, y);
  device.DrawText(text.c_str(), static_cast<int>(text.size()), fonts, place, 0xFF102030, size);
}

// One form for each kind of bitmap; `work` gets the page and a device that lives as long as it.
template <typename Make>
std::vector<Form> OnEveryKind(Make make) {
  std::vector<Form> forms;
  for (const Kind& kind : kKinds) {
    forms.push_back({kind.name, [kind, make]() -> Work { return make(MakePage(kind)); }});
  }
  return forms;
}

// A device may be kept by a Work, which is copied.
struct Desk {
  explicit Desk(std::shared_ptr<CoreDib> bitmap) : page(std::move(bitmap)), device(page.get()) {}
  std::shared_ptr<CoreDib> page;
  CoreBitmapDevice device;
  CoreFontLoader fonts = Fonts();
};

[[maybe_unused]] const bool kLine =
    bench::RegisterForms("form_line_on", OnEveryKind([](std::shared_ptr<CoreDib> page) -> Work {
                           const auto desk = std::make_shared<Desk>(std::move(page));
                           return [desk] {
                             DrawAt(desk->device, desk->fonts, 100, 400);
                             desk->device.EndText();
                             desk->device.Flush();
                           };
                         }));

[[maybe_unused]] const bool kCorners =
    bench::RegisterForms("form_two_corners_of", OnEveryKind([](std::shared_ptr<CoreDib> page) -> Work {
                           const auto desk = std::make_shared<Desk>(std::move(page));
                           return [desk] {
                             DrawAt(desk->device, desk->fonts, 100, 100);
                             DrawAt(desk->device, desk->fonts, 2000, 3400);
                             desk->device.EndText();
                             desk->device.Flush();
                           };
                         }));

[[maybe_unused]] const bool kDevice = bench::RegisterForms(
    "form_device_and_line_on", OnEveryKind([](const std::shared_ptr<CoreDib>& page) -> Work {
      return [page, fonts = Fonts()] {
        CoreBitmapDevice device(page.get());
        DrawAt(device, fonts, 100, 400);
        device.EndText();
        device.Flush();
      };
    }));

[[maybe_unused]] const bool kFill =
    bench::RegisterForms("form_fill_page", OnEveryKind([](const std::shared_ptr<CoreDib>& page) -> Work {
                           return [page] {
                             CoreBitmapDevice device(page.get());
                             device.FillPage(0xFFF0F8FF);
                             device.Flush();
                           };
                         }));

// Two lines for each iteration, on an opaque bitmap.
Form TwoLines(const char* name, const wchar_t* first, const wchar_t* second) {
  return {name, [first, second]() -> Work {
            const auto desk = std::make_shared<Desk>(MakePage(kKinds[0]));
            return [desk, one = Fonts(first), other = Fonts(second)] {
              DrawAt(desk->device, one, 100, 400);
              DrawAt(desk->device, other, 100, 400);
            };
          }};
}

[[maybe_unused]] const bool kFamilies =
    bench::RegisterForms("form_families", {TwoLines("one", L"DejaVu Sans", L"DejaVu Sans"),
                                           TwoLines("two_in_turn", L"DejaVu Sans", L"DejaVu Serif")});

// Three letters of a size; the ink grows with its square.
Form Letters(const char* name, float size) {
  return {name, [size]() -> Work {
            const auto desk = std::make_shared<Desk>(MakePage(kKinds[0]));
            return [desk, size] { DrawAt(desk->device, desk->fonts, 100, 1500, size, L"Hag"); };
          }};
}

[[maybe_unused]] const bool kSizes =
    bench::RegisterForms("form_letters", {Letters("250_pixels", 250), Letters("260_pixels", 260),
                                          Letters("500_pixels", 500), Letters("1000_pixels", 1000)});

// A line that was measured before.
Form Measured(const char* name, std::size_t length) {
  return {name, [length]() -> Work {
            std::wstring text(length, L'a');
            for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<wchar_t>(L'a' + i % 26);
            return [text, fonts = Fonts()] {
              CoreTextExtents extents;
              fonts.MeasureText(text.data(), static_cast<int>(text.size()), 12, extents);
              benchmark::DoNotOptimize(extents);
            };
          }};
}

[[maybe_unused]] const bool kLengths = bench::RegisterForms(
    "form_line_again", {Measured("2000_characters", 2000), Measured("2100_characters", 2100),
                        Measured("20000_characters", 20000), Measured("200000_characters", 200000)});

}  // namespace
