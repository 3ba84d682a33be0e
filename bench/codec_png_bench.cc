// SPDX-License-Identifier: MIT
// PNG over the forms of pictures: smooth colors with noise, a photograph-like surface, and a page of 60 lines
// at 300 dots an inch with 32, 24, 8, 4 and 1 bits, each beside libpng called directly at zlib's level 6.
// Both decode the file that libpng wrote. The counter "bytes" is the size of the file.
#include "libpng_writer.h"

#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/codec.h>
#include <tovmx/device.h>

#include <benchmark/benchmark.h>
#include <png.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

namespace {

// ---- Pictures

// Octaves of a grid with random heights, and the noise of a sensor.
CoreDib Photograph() {
  constexpr int kWidth = 1024, kHeight = 768, kOctaves = 6;
  CoreDib dib;
  dib.Create(kWidth, kHeight, 24);
  const auto height = [](int x, int y, int octave, int c) {
    unsigned state = static_cast<unsigned>(x * 7919 + y * 104729 + octave * 1299709 + c / 2 * 31);
    for (int i = 0; i < 3; ++i) state = state * 1664525U + 1013904223U;
    return static_cast<int>(state >> 24) - 128;
  };
  unsigned noise = 1;
  for (int y = 0; y < kHeight; ++y) {
    for (int i = 0; i < 3 * kWidth; ++i) {
      const int x = i / 3;
      int value = 128 * 4096;
      for (int octave = 0; octave < kOctaves; ++octave) {
        const int cell = 256 >> octave;
        const int ax = x % cell, ay = y % cell, cx = x / cell, cy = y / cell;
        const int top = height(cx, cy, octave, i % 3) * (cell - ax) + height(cx + 1, cy, octave, i % 3) * ax;
        const int low =
            height(cx, cy + 1, octave, i % 3) * (cell - ax) + height(cx + 1, cy + 1, octave, i % 3) * ax;
        value += (top * (cell - ay) + low * ay) / (cell * cell) * (2048 >> octave);
      }
      int grain = -30;
      for (int k = 0; k < 4; ++k) grain += static_cast<int>((noise = noise * 1664525U + 1013904223U) >> 28);
      dib.GetRow(y)[i] = static_cast<std::uint8_t>(std::clamp(value / 4096 + grain / 4, 0, 255));
    }
  }
  return dib;
}

// The colors of the picture as the nearest of 6 x 7 x 6.
CoreDib PaletteOf(const CoreDib& picture) {
  CoreDib dib;
  dib.Create(picture.GetWidth(), picture.GetHeight(), 8);
  std::uint32_t entries[6 * 7 * 6];
  for (std::uint32_t i = 0; i < std::size(entries); ++i)
    entries[i] = i / 42 * 51 | i / 6 % 7 * 42 << 8 | i % 6 * 51 << 16;
  dib.SetPalette(entries, static_cast<int>(std::size(entries)));
  for (int y = 0; y < dib.GetHeight(); ++y) {
    const std::uint8_t* from = picture.GetRow(y);
    for (int x = 0; x < dib.GetWidth(); ++x, from += 3) {
      const int red = (from[2] * 5 + 127) / 255, green = (from[1] * 6 + 127) / 255,
                blue = (from[0] * 5 + 127) / 255;
      dib.GetRow(y)[x] = static_cast<std::uint8_t>(red * 42 + green * 6 + blue);
    }
  }
  return dib;
}

CoreDib PageWithAlpha() {
  CoreDib page;
  page.Create(2480, 3508, 32);
  std::memset(page.GetBuffer(), 255, page.GetBufferSize());
  page.SetDpi(300, 300);
  CoreBitmapDevice device(&page, 300);
  for (int line = 0; line < 60; ++line) {
    const std::string json = R"({"Content": "Line )" + std::to_string(line) +
                             R"( of a page that somebody wrote in an afternoon, and of which much is white",
                             "Font": {"FontName": "DejaVu Sans", "FontSize": 11}, "DeltaX": 60, "DeltaY": )" +
                             std::to_string(50 + 17 * line) + "}";
    const auto text = tovkit::Json::Parse(json.c_str(), static_cast<unsigned>(json.size()), nullptr);
    tovkit::DrawTextOnDevice(&device, text);
  }
  device.Flush();
  return page;
}

CoreDib Page() {
  CoreDib page = PageWithAlpha();
  CoreDropAlpha(&page);
  return page;
}

// Gray levels of the page in fewer bits; `colors` as a palette.
CoreDib PageOf(int bits, bool colors) {
  const CoreDib page = Page();
  CoreDib dib;
  dib.Create(page.GetWidth(), page.GetHeight(), bits);
  const int levels = colors ? 16 : 1 << bits;
  if (colors) {
    std::uint32_t entries[16];
    for (std::uint32_t i = 0; i < 16; ++i) entries[i] = i * 0x111111U;
    dib.SetPalette(entries, levels);
  }
  for (int y = 0; y < page.GetHeight(); ++y) {
    for (int x = 0; x < page.GetWidth(); ++x) {
      const unsigned index = page.GetRow(y)[3 * x] * static_cast<unsigned>(levels) / 256U;
      dib.GetRow(y)[x * bits / 8] |= static_cast<std::uint8_t>(index << (8 - bits - x * bits % 8));
    }
  }
  return dib;
}

const CoreDib& Picture(const std::string& name) {
  static const CoreDib photograph = Photograph();
  static const CoreDib photographPalette = PaletteOf(photograph);
  static const CoreDib pageWithAlpha = PageWithAlpha();
  static const CoreDib page = Page();
  static const CoreDib gray = PageOf(8, false);
  static const CoreDib palette8 = PageOf(8, true);
  static const CoreDib palette4 = PageOf(4, true);
  static const CoreDib bilevel = PageOf(1, false);
  if (name == "photograph") return photograph;
  if (name == "photograph_palette") return photographPalette;
  if (name == "page_alpha") return pageWithAlpha;
  if (name == "page") return page;
  if (name == "page_gray") return gray;
  if (name == "page_palette_8") return palette8;
  return name == "page_palette_4" ? palette4 : bilevel;
}

struct Source {
  const char* at;
};

void DecodeByLibpng(const std::string& file, CoreDib& dib, int bits) {
  Source source{file.data()};
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_read_fn(png, &source, [](png_structp p, png_bytep to, std::size_t size) {
    auto* const from = static_cast<Source*>(png_get_io_ptr(p));
    std::memcpy(to, from->at, size);
    from->at += size;
  });
  png_read_info(png, info);
  dib.Create(static_cast<int>(png_get_image_width(png, info)),
             static_cast<int>(png_get_image_height(png, info)), bits);
  png_set_bgr(png);
  png_start_read_image(png);
  for (int y = 0; y < dib.GetHeight(); ++y) png_read_row(png, dib.GetRow(y), nullptr);
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
}

// ---- Rows

void EncodeTovkit(benchmark::State& state, const std::string& name) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImagePng);
  const CoreDib& picture = Picture(name);
  std::size_t size = 0;
  for (auto _ : state) {
    CoreMemoryOutputStream out;
    if (encoder->Encode(&picture, &out) == 0) state.SkipWithError("not encoded");
    size = out.GetSize();
  }
  state.counters["bytes"] = static_cast<double>(size);
}

void EncodeDirect(benchmark::State& state, const std::string& name) {
  const CoreDib& picture = Picture(name);
  std::size_t size = 0;
  for (auto _ : state) size = EncodeByLibpng(picture).size();
  state.counters["bytes"] = static_cast<double>(size);
}

void DecodeTovkit(benchmark::State& state, const std::string& name) {
  const std::string file = EncodeByLibpng(Picture(name));
  for (auto _ : state) {
    CoreMemoryInputStream in(file.data(), file.size());
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImagePng);
    decoder->Open(&in, kCoreOpenReadAhead);
    const auto bitmap = decoder->GetBitmap(0, 0, 0);
    if (bitmap == nullptr) state.SkipWithError("not decoded");
    benchmark::DoNotOptimize(bitmap.get());
  }
}

void DecodeDirect(benchmark::State& state, const std::string& name) {
  const std::string file = EncodeByLibpng(Picture(name));
  for (auto _ : state) {
    CoreDib dib;
    DecodeByLibpng(file, dib, Picture(name).GetBitsPerPixel());
    benchmark::DoNotOptimize(dib.GetBuffer());
  }
}

const bool kRegistered = [] {
  for (const char* name : {"photograph", "photograph_palette", "page", "page_alpha", "page_gray",
                           "page_palette_8", "page_palette_4", "page_bilevel"}) {
    const std::string encode = std::string("codec/encode_png_") + name;
    const std::string decode = std::string("codec/decode_png_") + name;
    benchmark::RegisterBenchmark((encode + "/tovkit").c_str(), EncodeTovkit, name);
    benchmark::RegisterBenchmark((encode + "/libpng").c_str(), EncodeDirect, name);
    benchmark::RegisterBenchmark((decode + "/tovkit").c_str(), DecodeTovkit, name);
    benchmark::RegisterBenchmark((decode + "/libpng").c_str(), DecodeDirect, name);
  }
  return true;
}();

}  // namespace
