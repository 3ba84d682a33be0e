// SPDX-License-Identifier: MIT
// What the PNG encoder writes: libpng reads it back bit for bit, pngcheck finds nothing to say, and it is no
// larger than what libpng writes at zlib's level 6.
#include "foreign_files.h"
#include "image_support.h"
#include "libpng_writer.h"
#include "png_files.h"
#include "png_reference.h"

#include <tovmx/codec.h>
#include <tovmx/dib.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

std::string EncodeWith(const CoreDib& dib, int effort) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImagePng);
  EXPECT_TRUE(CoreSetEffort(encoder.get(), effort));
  CoreMemoryOutputStream out;
  EXPECT_EQ(encoder->Encode(&dib, &out), 1U);
  return {reinterpret_cast<const char*>(out.GetData()), out.GetSize()};
}

std::unique_ptr<CoreDib> Reference(const std::string& file) {
  return ReadByLibpng(reinterpret_cast<const std::uint8_t*>(file.data()), file.size(),
                      std::uint64_t{1} << 30);
}

class PngWriting : public ForeignFiles {};

TEST_F(PngWriting, IsReadBackBitForBitWithEveryEffort) {
  std::vector<std::string> names;
  for (const int bits : {1, 4, 8, 24, 32}) {
    for (const int width : {1, 2, 3, 5, 7, 8, 9, 10, 11, 12, 31, 32, 33, 63, 64, 65, 100, 257}) {
      CoreDib dib = image::MakePicture(width, 1 + width % 23, bits, static_cast<unsigned>(width));
      dib.SetDpi(300, 150);
      if (bits <= 8 && width % 2 == 0) image::GivePalette(dib, 1 << bits);
      for (int effort = 1; effort <= 9; ++effort) {
        const std::string file = EncodeWith(dib, effort);
        const auto back = Reference(file);
        ASSERT_NE(back, nullptr) << bits << " bits, " << width << " wide, effort " << effort;
        EXPECT_EQ(back->GetBitsPerPixel(), bits);
        EXPECT_EQ(image::Difference(dib, *back), "")
            << bits << " bits, " << width << " wide, effort " << effort;
        EXPECT_NEAR(back->GetDpiX(), 300, 0.02);
        const auto ours = image::Decode(file);
        ASSERT_NE(ours, nullptr);
        EXPECT_EQ(image::Difference(*back, *ours), "");
        if (effort % 4 != 1) continue;
        names.push_back(std::to_string(bits) + "_" + std::to_string(width) + "_" + std::to_string(effort) +
                        ".png");
        std::ofstream(folder_ + "/" + names.back(), std::ios::binary) << file;
      }
    }
  }
  const std::string said = Run("pngcheck *.png");
  EXPECT_EQ(static_cast<std::size_t>(std::count(said.begin(), said.end(), '\n')), names.size() + 2) << said;
  const std::string all = std::to_string(names.size());
  EXPECT_NE(said.find("No errors were detected in " + all + " of the " + all + " files tested."),
            std::string::npos)
      << said;
}

TEST_F(PngWriting, PalettesOfEveryLengthComeBack) {
  for (const int bits : {1, 4, 8}) {
    for (int colors = 1; colors <= 1 << bits; ++colors) {
      CoreDib dib;
      ASSERT_TRUE(dib.Create(13, 20, bits));
      for (int i = 0; i < 13 * 20; ++i) {
        const int first = i % 13 * bits;
        dib.GetRow(i / 13)[first / 8] |= static_cast<std::uint8_t>(i % colors << (8 - bits - first % 8));
      }
      image::GivePalette(dib, colors);
      const auto back = Reference(EncodeWith(dib, 5));
      ASSERT_NE(back, nullptr);
      EXPECT_EQ(back->GetPaletteSize(), colors);
      EXPECT_EQ(image::Difference(dib, *back), "") << bits << " bits, " << colors << " colors";
    }
  }
}

TEST_F(PngWriting, RowsThatRepeatAndLongRunsComeBack) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    CoreDib dib;
    ASSERT_TRUE(dib.Create(701, 900, bits));
    for (int y = 0; y < 900; ++y) {
      const int value = y % 100 < 60 ? 255 : y / 7;
      std::memset(dib.GetRow(y), value, static_cast<std::size_t>(dib.GetStride()));
      if (y % 100 == 70) dib.GetRow(y)[11] = 5;
    }
    const std::string file = EncodeWith(dib, 5);
    const auto back = Reference(file);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(image::Difference(dib, *back), "") << bits;
  }
}

// Many chunks of a megabyte.
TEST_F(PngWriting, ALargePictureOfNoiseComesBack) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(1500, 900, 24));
  unsigned state = 1;
  for (std::size_t i = 0; i < dib.GetBufferSize(); ++i)
    dib.GetBuffer()[i] = static_cast<std::uint8_t>((state = state * 1664525U + 1013904223U) >> 24);
  const std::string file = EncodeWith(dib, 5);
  const auto pieces = png_files::Split(file);
  EXPECT_EQ(
      std::count_if(pieces.begin(), pieces.end(), [](const auto& piece) { return piece.type == "IDAT"; }), 4);
  for (const auto& back : {Reference(file), image::Decode(file)}) {
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(image::Difference(dib, *back), "");
  }
}

TEST_F(PngWriting, IsNoLargerThanLibpngMakesIt) {
  for (const int bits : {1, 24, 32}) {
    const CoreDib dib = image::MakePicture(700, 500, bits);
    const std::size_t bound = EncodeByLibpng(dib).size();
    EXPECT_LE(static_cast<double>(EncodeWith(dib, 5).size()), 1.02 * static_cast<double>(bound)) << bits;
  }
  // Noise alone around a smooth surface, as photographs have it.
  CoreDib photo;
  ASSERT_TRUE(photo.Create(512, 400, 24));
  unsigned state = 9;
  for (int y = 0; y < 400; ++y) {
    for (int i = 0; i < 3 * 512; ++i) {
      int noise = 0;
      for (int k = 0; k < 4; ++k) noise += static_cast<int>((state = state * 1664525U + 1013904223U) >> 28);
      photo.GetRow(y)[i] = static_cast<std::uint8_t>(60 + i / 30 + y / 9 + noise / 2);
    }
  }
  EXPECT_LE(static_cast<double>(EncodeWith(photo, 5).size()),
            1.02 * static_cast<double>(EncodeByLibpng(photo).size()));
}

TEST_F(PngWriting, MoreEffortMakesASmallerFile) {
  const CoreDib dib = image::MakePicture(400, 300, 24);
  EXPECT_LT(EncodeWith(dib, 9).size(), EncodeWith(dib, 5).size());
  EXPECT_LT(EncodeWith(dib, 5).size(), EncodeWith(dib, 1).size());
  EXPECT_EQ(EncodeWith(dib, -7), EncodeWith(dib, 1));
  EXPECT_EQ(EncodeWith(dib, 10), EncodeWith(dib, 9));
  EXPECT_EQ(image::Encode(dib, kCoreImagePng), EncodeWith(dib, kCoreDefaultEffort));
}

class DerivedEncoder final : public CoreImageEncoder {
  bool EncodeBitmap(const CoreDib&, CoreOutputStream&) override { return true; }
};

TEST(Effort, IsForPngAlone) {
  EXPECT_FALSE(CoreSetEffort(nullptr, 5));
  DerivedEncoder derived;
  EXPECT_FALSE(CoreSetEffort(&derived, 5));
  for (const CoreImageFormat format : image::kFormats) {
    const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
    EXPECT_EQ(CoreSetEffort(encoder.get(), 9), format == kCoreImagePng) << CoreImageFormatName(format);
  }
}

TEST(DropAlpha, LeavesTheColors) {
  for (int width = 1; width <= 20; ++width) {
    for (const int height : {1, 2, 7}) {
      CoreDib dib = image::MakePicture(width, height, 32);
      dib.SetDpi(72, 144);
      CoreDib before;
      ASSERT_TRUE(before.CopyFrom(dib));
      ASSERT_TRUE(CoreDropAlpha(&dib));
      EXPECT_EQ(dib.GetBitsPerPixel(), 24);
      EXPECT_EQ(dib.GetStride(), (3 * width + 3) / 4 * 4);
      EXPECT_EQ(dib.GetDpiY(), 144);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          ASSERT_EQ(dib.GetArgb(x, y), before.GetArgb(x, y) | 0xff000000U) << width << ": " << x << ", " << y;
        }
        for (int i = 3 * width; i < dib.GetStride(); ++i) EXPECT_EQ(dib.GetRow(y)[i], 0);
      }
    }
  }
}

TEST(DropAlpha, IsForBitmapsOf32BitsAlone) {
  EXPECT_FALSE(CoreDropAlpha(nullptr));
  CoreDib none;
  EXPECT_FALSE(CoreDropAlpha(&none));
  for (const int bits : {1, 4, 8, 24}) {
    CoreDib dib = image::MakePicture(9, 5, bits);
    EXPECT_FALSE(CoreDropAlpha(&dib));
    EXPECT_EQ(dib.GetBitsPerPixel(), bits);
  }
}

}  // namespace
