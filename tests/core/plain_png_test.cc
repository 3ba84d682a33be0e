// SPDX-License-Identifier: MIT
// Which PNG files are read without libpng. Its reading is the same, so that only a look at the reader itself
// tells when it silently takes everything.
#include "codec/plain_png.h"

#include "image_support.h"
#include "png_files.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace {

using png_files::Form;
using tovmx::PlainPng;

std::optional<PlainPng> Find(const std::string& file) {
  return tovmx::FindPlainPng(reinterpret_cast<const std::uint8_t*>(file.data()), file.size());
}

bool IsPlain(const Form& form) {
  if (form.interlaced) return false;
  if (form.color == PNG_COLOR_TYPE_PALETTE) return form.bits != 2;
  if (form.transparent || form.color == PNG_COLOR_TYPE_GRAY_ALPHA) return false;
  return form.bits == 8 || (form.color == PNG_COLOR_TYPE_GRAY && (form.bits == 1 || form.bits == 4));
}

bool IsPossible(const Form& form) {
  const bool alpha = (form.color & PNG_COLOR_MASK_ALPHA) != 0;
  if (alpha && form.transparent) return false;
  if (form.color == PNG_COLOR_TYPE_PALETTE) return form.bits <= 8;
  return form.color == PNG_COLOR_TYPE_GRAY || form.bits >= 8;
}

int SamplesOf(int color) {
  return color == PNG_COLOR_TYPE_RGB ? 3 : color == PNG_COLOR_TYPE_RGB_ALPHA ? 4 : 1;
}

void ExpectTaken(const Form& form, const std::string& file) {
  const auto png = Find(file);
  ASSERT_TRUE(png) << Describe(form);
  EXPECT_EQ(png->width, 19u);
  EXPECT_EQ(png->height, 13u);
  EXPECT_EQ(png->bits, form.bits);
  EXPECT_EQ(png->color, form.color);
  const int bits = form.bits * SamplesOf(form.color);
  EXPECT_EQ(png->BitsPerPixel(), bits);
  const auto row = static_cast<std::uint64_t>((19 * bits + 7) / 8);
  EXPECT_EQ(png->RowBytes(), row);
  EXPECT_EQ(png->InflatedBytes(), (row + 1) * 13);
  EXPECT_EQ(png->dotsX, form.resolution ? 5906u : 0u);
  EXPECT_EQ(png->dotsY, form.resolution ? 2953u : 0u);
  const auto expected = image::Decode(file);
  ASSERT_NE(expected, nullptr);
  CoreDib read;
  ASSERT_TRUE(read.Create(19, 13, bits));
  if (png->paletteSize > 0) read.SetPalette(png->palette.data(), png->paletteSize);
  for (int i = 0; i < png->alphaSize; ++i) {
    read.SetPaletteAlpha(i, png->alpha[static_cast<std::size_t>(i)]);
  }
  ASSERT_TRUE(tovmx::ReadPlainPixels(*png, read)) << Describe(form);
  EXPECT_EQ(image::Difference(*expected, read), "") << Describe(form);
}

TEST(PlainPng, ExactlyThePlainFormsAreTaken) {
  int taken = 0;
  for (const int color : {0, 2, 3, 4, 6}) {
    for (const int bits : {1, 2, 4, 8, 16}) {
      for (const int options : {0, 1, 2, 3, 4, 5, 6, 7}) {
        Form form;
        form.color = color;
        form.bits = bits;
        form.interlaced = (options & 1) != 0;
        form.transparent = (options & 2) != 0;
        form.resolution = (options & 4) != 0;
        if (!IsPossible(form)) continue;
        const std::string file = Make(form);
        if (IsPlain(form)) {
          ++taken;
          ExpectTaken(form, file);
        } else {
          EXPECT_FALSE(Find(file)) << Describe(form);
        }
      }
    }
  }
  EXPECT_EQ(taken, 22) << "gray and palettes of three depths, and two of colors";
}

TEST(PlainPng, ExtrasAreNoHindrance) {
  Form form;
  form.extras = true;
  EXPECT_TRUE(Find(Make(form)));
}

}  // namespace
