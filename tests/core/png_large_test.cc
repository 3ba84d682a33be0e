// SPDX-License-Identifier: MIT
// Pictures of more than 512 MiB, which the PNG encoder writes row by row: libpng reads back every row, the
// palette and the resolution. The pixels are zeros but for a few, so that neither memory nor time is spent on
// them.
#include <tovmx/codec.h>
#include <tovmx/dib.h>

#include <gtest/gtest.h>
#include <png.h>

#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

std::string Encode(const CoreDib& dib) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImagePng);
  EXPECT_TRUE(CoreSetEffort(encoder.get(), 1));
  CoreMemoryOutputStream out;
  EXPECT_EQ(encoder->Encode(&dib, &out), 1U);
  return {reinterpret_cast<const char*>(out.GetData()), out.GetSize()};
}

struct Source {
  const std::string& file;
  std::size_t at = 0;
};

void Read(png_structp png, png_bytep to, std::size_t size) {
  auto* const source = static_cast<Source*>(png_get_io_ptr(png));
  if (size > source->file.size() - source->at) png_error(png, "early end");
  std::memcpy(to, source->file.data() + source->at, size);
  source->at += size;
}

void ExpectHead(const CoreDib& dib, png_structp png, png_infop info) {
  EXPECT_EQ(png_get_image_width(png, info), static_cast<unsigned>(dib.GetWidth()));
  EXPECT_EQ(png_get_image_height(png, info), static_cast<unsigned>(dib.GetHeight()));
  png_colorp colors = nullptr;
  int count = 0;
  png_get_PLTE(png, info, &colors, &count);
  EXPECT_EQ(count, dib.GetPaletteSize());
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(colors[i].red | colors[i].green << 8 | colors[i].blue << 16,
              static_cast<int>(dib.GetPaletteEntry(i)));
  }
  png_bytep alpha = nullptr;
  int alphaCount = 0;
  png_get_tRNS(png, info, &alpha, &alphaCount, nullptr);
  for (int i = 0; i < count; ++i) EXPECT_EQ(i < alphaCount ? alpha[i] : 255, dib.GetPaletteAlpha(i)) << i;
  EXPECT_NEAR(static_cast<float>(png_get_x_pixels_per_meter(png, info)) * 0.0254F, dib.GetDpiX(), 0.02F);
  EXPECT_NEAR(static_cast<float>(png_get_y_pixels_per_meter(png, info)) * 0.0254F, dib.GetDpiY(), 0.02F);
}

// How many rows are those of the bitmap, up to the first that is not.
int EqualRows(const CoreDib& dib, const std::string& file) {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  Source source{file};
  std::vector<std::uint8_t> row;
  volatile int rows = 0;
  if (setjmp(png_jmpbuf(png)) == 0) {
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_read_fn(png, &source, Read);
    png_read_info(png, info);
    ExpectHead(dib, png, info);
    if (dib.GetBitsPerPixel() >= 24) png_set_bgr(png);
    row.resize(png_get_rowbytes(png, info));
    while (rows < dib.GetHeight()) {
      png_read_row(png, row.data(), nullptr);
      if (std::memcmp(row.data(), dib.GetRow(rows), row.size()) != 0) break;
      rows = rows + 1;
    }
    if (rows == dib.GetHeight()) png_read_end(png, nullptr);
  } else {
    ADD_FAILURE() << "libpng refuses the file at row " << rows;
  }
  png_destroy_read_struct(&png, &info, nullptr);
  EXPECT_EQ(source.at, file.size());
  return rows;
}

TEST(PngLarge, WideRowsOfColorsComeBack) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(1100000, 164, 24));
  std::memcpy(dib.GetRow(0), "\x01\x02\x03", 3);
  std::memcpy(dib.GetRow(163) + 3299997, "\xF0\x80\x10", 3);
  EXPECT_EQ(EqualRows(dib, Encode(dib)), 164);
}

TEST(PngLarge, IndicesComeBackWithPaletteAndResolution) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(2200000, 245, 8));
  const std::uint32_t palette[] = {0x102030, 0x405060, 0x708090};
  ASSERT_TRUE(dib.SetPalette(palette, 3));
  ASSERT_TRUE(dib.SetPaletteAlpha(1, 77));
  dib.SetDpi(300, 150);
  dib.GetRow(7)[5] = 1;
  dib.GetRow(244)[2199999] = 2;
  EXPECT_EQ(EqualRows(dib, Encode(dib)), 245);
}

}  // namespace
