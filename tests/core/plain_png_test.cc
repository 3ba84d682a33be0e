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

// Files put together here, chunk by chunk.
using png_files::Word;

std::string Chunk(const std::string& typeAndContent) {
  return png_files::Chunk(typeAndContent.substr(0, 4), typeAndContent.substr(4));
}

struct Head {
  std::uint32_t width = 4, height = 3;
  int bits = 8, color = 2, compression = 0, filter = 0, interlaced = 0;
};

std::string FileOf(const Head& head, const std::string& before = "", const std::string& pixels = "pixels",
                   const std::string& after = "") {
  std::string fields = Word(head.width) + Word(head.height);
  for (const int field : {head.bits, head.color, head.compression, head.filter, head.interlaced})
    fields += static_cast<char>(field);
  return "\x89PNG\r\n\x1a\n" + Chunk("IHDR" + fields) + before + Chunk("IDAT" + pixels) + after +
         Chunk("IEND");
}

TEST(PlainPng, EveryFieldOfTheHeadCounts) {
  EXPECT_TRUE(Find(FileOf({})));
  for (const std::uint32_t side : {1U, 0x7fffffffU}) {
    EXPECT_TRUE(Find(FileOf({.width = side}))) << side;
    EXPECT_TRUE(Find(FileOf({.height = side}))) << side;
  }
  for (const std::uint32_t side : {0U, 0x80000000U, 0xffffffffU}) {
    EXPECT_FALSE(Find(FileOf({.width = side}))) << side;
    EXPECT_FALSE(Find(FileOf({.height = side}))) << side;
  }
  for (const int other : {1, 2, 255}) {
    EXPECT_FALSE(Find(FileOf({.compression = other}))) << other;
    EXPECT_FALSE(Find(FileOf({.filter = other}))) << other;
    EXPECT_FALSE(Find(FileOf({.interlaced = other}))) << other;
  }
  for (int color = 0; color < 9; ++color) {
    for (const int bits : {0, 1, 2, 3, 4, 5, 7, 8, 9, 16, 24}) {
      const bool packs = color == 0 && (bits == 1 || bits == 4 || bits == 8);
      EXPECT_EQ(Find(FileOf({.bits = bits, .color = color})).has_value(),
                packs || ((color == 2 || color == 6) && bits == 8))
          << color << ", " << bits;
    }
  }
}

// Bytes behind the end that is told would complete the file.
TEST(PlainPng, AFileEndsWhereItIsSaidTo) {
  const std::string file = FileOf({}, Chunk("tEXtwords")) + std::string(40, 'x');
  const std::size_t size = file.size() - 40;
  const auto* data = reinterpret_cast<const std::uint8_t*>(file.data());
  EXPECT_TRUE(tovmx::FindPlainPng(data, size));
  EXPECT_TRUE(tovmx::FindPlainPng(data, size + 40)) << "what follows the end does not count";
  for (std::size_t cut = 1; cut <= size; ++cut) EXPECT_FALSE(tovmx::FindPlainPng(data, size - cut)) << cut;
}

TEST(PlainPng, AResolutionStandsOnceAndHasAUnit) {
  const std::string meters = Chunk("pHYs" + Word(100) + Word(200) + '\1');
  const std::string unknown = Chunk("pHYs" + Word(100) + Word(200) + std::string(1, '\0'));
  const auto dots = [](const std::string& file) {
    const auto png = Find(file);
    return png ? std::to_string(png->dotsX) + "x" + std::to_string(png->dotsY) : "none";
  };
  EXPECT_EQ(dots(FileOf({}, meters)), "100x200");
  EXPECT_EQ(dots(FileOf({}, unknown)), "0x0");
  for (const std::string& first : {meters, unknown}) {
    for (const std::string& second : {meters, unknown}) EXPECT_EQ(dots(FileOf({}, first + second)), "none");
  }
  EXPECT_EQ(dots(FileOf({}, Chunk("pHYs" + Word(100) + Word(200)))), "none") << "too short";
  EXPECT_EQ(dots(FileOf({}, "", "pixels", meters)), "none") << "behind the pixels";
}

TEST(PlainPng, ChunksThatAreUnknownLongOrWrongAreLeftToTheLibrary) {
  for (const char* const name :
       {"gAMA", "cHRM", "sRGB", "sBIT", "bKGD", "iCCP", "tIME", "tEXt", "zTXt", "iTXt", "eXIf"}) {
    EXPECT_TRUE(Find(FileOf({}, Chunk(name + std::string("any"))))) << name;
    EXPECT_TRUE(Find(FileOf({}, "", "pixels", Chunk(name + std::string("any"))))) << name;
  }
  for (const char* const name : {"acTL", "sPLT", "hIST", "oFFs", "IHDR", "PLTE", "tRNS", "IEND"}) {
    EXPECT_FALSE(Find(FileOf({}, Chunk(name + std::string("any"))))) << name;
  }
  EXPECT_FALSE(Find(FileOf({}, "", "pixels", Chunk("acTLany"))));
  EXPECT_FALSE(Find(FileOf({}, "", "pixels", Chunk("tEXtany") + Chunk("IDATmore"))))
      << "pixels in two places";
  const std::string longest(8000000, 'x');
  EXPECT_TRUE(Find(FileOf({}, Chunk("tEXt" + longest))));
  EXPECT_FALSE(Find(FileOf({}, Chunk("tEXt" + longest + "x"))));
  EXPECT_TRUE(Find(FileOf({}, "", longest)));
  EXPECT_FALSE(Find(FileOf({}, "", longest + "x"))) << "longer than the pixels of this one can be";
  EXPECT_TRUE(Find(FileOf({.width = 2000, .height = 2000}, "", longest + "x")));
  std::string wrong = FileOf({}, Chunk("tEXtwords"));
  wrong[wrong.find("words")] = 'W';
  EXPECT_FALSE(Find(wrong)) << "another sum";
}

TEST(PlainPng, PixelsInManyChunksAreReadToo) {
  for (const std::size_t size : {1, 7, 64, 8192}) {
    Form form;
    form.chunkBytes = size;
    const std::string file = Make(form);
    const auto png = Find(file);
    ASSERT_TRUE(png) << size;
    EXPECT_EQ(png->chunks > 1, size < 500) << size;
    CoreDib read;
    ASSERT_TRUE(read.Create(19, 13, 24));
    ASSERT_TRUE(tovmx::ReadPlainPixels(*png, read)) << size;
    EXPECT_EQ(image::Difference(*image::Decode(file), read), "") << size;
  }
}

}  // namespace
