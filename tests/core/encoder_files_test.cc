// SPDX-License-Identifier: MIT
// The files that our encoders write, looked at byte by byte where decoding them does not tell.
#include "image_support.h"

#include <tovmx/codec.h>
#include <tovmx/geometry.h>

#include <gtest/gtest.h>
#include <webp/encode.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

void Put(std::string& bytes, std::uint32_t value, int count) {
  for (int i = 0; i < count; ++i, value >>= 8) bytes += static_cast<char>(value & 255U);
}

// Field by field.
TEST(EncodedBmp, HasThisHead) {
  const auto headOf = [](std::uint32_t size, std::uint32_t offset, std::uint32_t head, std::uint32_t bits,
                         std::uint32_t packing, std::uint32_t dotsX, std::uint32_t dotsY,
                         std::uint32_t colors) {
    std::string bytes = "BM";
    for (const std::uint32_t field : {size + offset, 0U, offset, head, 5U, 3U}) Put(bytes, field, 4);
    Put(bytes, 1, 2), Put(bytes, bits, 2);
    for (const std::uint32_t field : {packing, size, dotsX, dotsY, colors, 0U}) Put(bytes, field, 4);
    return bytes;
  };
  const auto fileOf = [](int bits, float dpiX, float dpiY) {
    CoreDib dib;
    EXPECT_TRUE(dib.Create(5, 3, bits));
    dib.SetDpi(dpiX, dpiY);
    if (bits == 32) dib.GetBuffer()[3] = 1;
    return image::Encode(dib, kCoreImageBmp);
  };
  EXPECT_EQ(fileOf(1, 0, 0).substr(0, 54), headOf(12, 62, 40, 1, 0, 0, 0, 2));
  EXPECT_EQ(fileOf(4, 72, 0).substr(0, 54), headOf(12, 118, 40, 4, 0, 2835, 0, 16));
  EXPECT_EQ(fileOf(8, 0, 254).substr(0, 54), headOf(24, 1078, 40, 8, 0, 0, 10000, 256));
  EXPECT_EQ(fileOf(24, 1e8f, 0).substr(0, 54), headOf(48, 54, 40, 24, 0, 0x7fffffff, 0, 0));
  std::string masks;
  for (const std::uint32_t field : {0xff0000U, 0xff00U, 0xffU, 0xff000000U}) Put(masks, field, 4);
  EXPECT_EQ(fileOf(32, 254, 25.4f).substr(0, 122),
            headOf(60, 122, 108, 32, 3, 10000, 1000, 0) + masks + "BGRs" + std::string(48, '\0'));
  EXPECT_EQ(fileOf(32, 0, 0).size(), 182U);
}

// A palette that is shorter than the indices in use is filled up with black; what pads a row counts for
// nothing.
TEST(EncodedBmp, HasAPaletteUpToTheHighestIndexInUse) {
  for (const int bits : {1, 4, 8}) {
    const int count = 1 << bits;
    for (const int width : {1, 7, 9}) {
      for (int index = 0; index < count; ++index) {
        for (const int x : {0, width / 2, width - 1}) {
          CoreDib dib;
          ASSERT_TRUE(dib.Create(width, 2, bits));
          const std::uint32_t one = 0x123456;
          ASSERT_TRUE(dib.SetPalette(&one, 1));
          std::memset(dib.GetBuffer(), 0, dib.GetBufferSize());
          const auto bytes = static_cast<std::size_t>(width * bits + 7) / 8;
          const int used = width * bits % 8;
          for (int y = 0; y < 2; ++y) {
            std::uint8_t* const row = dib.GetRow(y);
            for (auto i = bytes; i < static_cast<std::size_t>(dib.GetStride()); ++i) row[i] = 0xff;
            if (used != 0) row[bytes - 1] = static_cast<std::uint8_t>(0xff >> used);
          }
          dib.GetRow(1)[x * bits / 8] |= static_cast<std::uint8_t>(index << (8 - bits - x * bits % 8));
          const std::string file = image::Encode(dib, kCoreImageBmp);
          ASSERT_GT(file.size(), 54U);
          std::string colors;
          Put(colors, static_cast<std::uint32_t>(index + 1), 4);
          ASSERT_EQ(file.size(), 54U + 4U * static_cast<unsigned>(index + 1) + dib.GetBufferSize());
          ASSERT_EQ(file.substr(54, 4), std::string("\x12\x34\x56\0", 4)) << "the color, blue first";
          ASSERT_EQ(file.substr(46, 4), colors) << bits << " bits, " << width << " wide, at " << x;
        }
      }
    }
  }
}

// The content of the first chunk of a type, or "none".
std::string ChunkOf(const std::string& png, const std::string& type) {
  const std::size_t at = png.find(type);
  if (at == std::string::npos) return "none";
  return png.substr(at + 4, static_cast<unsigned char>(png[at - 1]));
}

TEST(EncodedPng, HasTheAlphaOfItsPaletteUpToTheLastThatIsNotOpaque) {
  for (const int last : {-1, 0, 1, 2, 15}) {
    for (const unsigned alpha : {0U, 1U, 254U}) {
      CoreDib dib = image::MakePicture(9, 5, 4);
      image::GivePalette(dib, 16);
      std::string expected = "none";
      if (last >= 0) {
        dib.SetPaletteAlpha(last, static_cast<std::uint8_t>(alpha));
        expected = std::string(static_cast<std::size_t>(last), '\xff') + static_cast<char>(alpha);
      }
      const std::string png = image::Encode(dib, kCoreImagePng);
      EXPECT_EQ(ChunkOf(png, "tRNS"), expected) << last;
      EXPECT_EQ(ChunkOf(png, "PLTE").size(), 48U);
    }
  }
}

// A resolution is one when both numbers are known, however small they are. Only BMP has a place for each.
TEST(EncodedResolutions, TakeBothNumbers) {
  const struct {
    CoreImageFormat format;
    float least, kept;  // what becomes of half a dot an inch
  } rows[] = {{kCoreImagePng, 0.5f, 0.508f},
              {kCoreImageJpeg, 0.5f, 1},
              {kCoreImageTiff, 0.5f, 0.5f},
              {kCoreImageJpeg2000, 0.5f, 0.5f},
              {kCoreImageBmp, 0.5f, 0.508f}};
  for (const auto& row : rows) {
    for (const int bits : {8, 24}) {
      const auto dpiOf = [&](float x, float y) {
        CoreDib dib = image::MakePicture(8, 6, bits);
        dib.SetDpi(x, y);
        const auto back = image::Decode(image::Encode(dib, row.format));
        return back == nullptr ? CorePointF{-1, -1} : CorePointF{back->GetDpiX(), back->GetDpiY()};
      };
      const std::string name = CoreImageFormatName(row.format);
      EXPECT_NEAR(dpiOf(row.least, 300).x, row.kept, 1e-4) << name;
      EXPECT_NEAR(dpiOf(row.least, 300).y, 300, 0.02) << name;
      EXPECT_NEAR(dpiOf(300, row.least).x, 300, 0.02) << name;
      EXPECT_NEAR(dpiOf(300, row.least).y, row.kept, 1e-4) << name;
      const bool each = row.format == kCoreImageBmp;
      EXPECT_NEAR(dpiOf(254, 0).x, each ? 254 : 0, 1e-4) << name;
      EXPECT_EQ(dpiOf(254, 0).y, 0) << name;
      EXPECT_EQ(dpiOf(0, 254).x, 0) << name;
      EXPECT_NEAR(dpiOf(0, 254).y, each ? 254 : 0, 1e-4) << name;
    }
  }
}

TEST(EncodedSizes, AreAtMostWhatTheFormatHolds) {
  const struct {
    CoreImageFormat format;
    int most;
  } rows[] = {{kCoreImageJpeg, 65500}, {kCoreImageWebp, 16383}};
  for (const auto& row : rows) {
    for (const int bits : {8, 32}) {
      for (const int side : {row.most - 1, row.most, row.most + 1}) {
        for (const bool wide : {false, true}) {
          CoreDib dib;
          ASSERT_TRUE(wide ? dib.Create(side, 1, bits) : dib.Create(1, side, bits));
          std::memset(dib.GetBuffer(), 99, dib.GetBufferSize());
          const auto back = image::Decode(image::Encode(dib, row.format));
          EXPECT_EQ(back != nullptr, side <= row.most) << CoreImageFormatName(row.format) << ' ' << side;
          if (back != nullptr) {
            EXPECT_EQ(wide ? back->GetWidth() : back->GetHeight(), side);
          }
        }
      }
    }
  }
}

unsigned Get(const std::string& bytes, std::size_t at, int count) {
  unsigned value = 0;
  while (count-- > 0)
    value = value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(count)));
  return value;
}

// The tags of a TIFF's first directory and the number that each has; 0 where it has several.
std::map<unsigned, unsigned> TagsOf(const std::string& tiff) {
  std::map<unsigned, unsigned> tags;
  const std::size_t directory = Get(tiff, 4, 4);
  for (unsigned i = 0; i < Get(tiff, directory, 2); ++i) {
    const std::size_t entry = directory + 2 + 12 * i;
    const bool one = Get(tiff, entry + 4, 4) == 1;
    tags[Get(tiff, entry, 2)] = !one ? 0 : Get(tiff, entry + 8, Get(tiff, entry + 2, 2) == 3 ? 2 : 4);
  }
  return tags;
}

constexpr unsigned kCompression = 259, kPhotometric = 262, kSamples = 277, kRowsPerStrip = 278,
                   kPredictor = 317;

TEST(EncodedTiff, HasStripsOfAbout64KilobytesUnlessItIsAFax) {
  const struct {
    int width, height, bits;
    unsigned rows;
  } cases[] = {{4, 9, 8, 9},         {65536, 3, 8, 1},    {65532, 3, 8, 1},    {65540, 3, 8, 1},
               {32768, 5, 8, 2},     {32772, 5, 8, 1},    {1024, 63, 8, 63},   {1024, 64, 8, 64},
               {1024, 65, 8, 64},    {1024, 200, 24, 21}, {1024, 200, 32, 16}, {200000, 2, 24, 1},
               {1024, 5000, 1, 5000}};
  for (const auto& c : cases) {
    CoreDib dib;
    ASSERT_TRUE(dib.Create(c.width, c.height, c.bits));
    if (c.bits == 32) dib.GetBuffer()[3] = 1;
    auto tags = TagsOf(image::Encode(dib, kCoreImageTiff));
    EXPECT_EQ(tags[kRowsPerStrip], c.rows) << c.width << " by " << c.height;
    EXPECT_EQ(tags[kCompression], c.bits == 1 ? 4U : 5U);
    EXPECT_EQ(tags[kSamples], c.bits < 24 ? 1U : static_cast<unsigned>(c.bits) / 8);
    EXPECT_EQ(tags.count(kPredictor) != 0 ? tags[kPredictor] : 1U, c.bits >= 8 ? 2U : 1U);
  }
}

// Two colors are those of a fax when they are black and white, in whatever order.
TEST(EncodedTiff, OfOneBitHasAPaletteForOtherColorsThanBlackAndWhite) {
  constexpr unsigned kWhiteIsZero = 0, kPalette = 3;
  const struct {
    std::vector<std::uint32_t> colors;
    unsigned photometric;
  } rows[] = {{{}, kWhiteIsZero},        {{0, 0xffffff}, kWhiteIsZero}, {{0xffffff, 0}, kWhiteIsZero},
              {{0}, kPalette},           {{0xffffff}, kPalette},        {{0, 0}, kPalette},
              {{1, 0xffffff}, kPalette}, {{0, 0xfffffe}, kPalette},     {{0xffffff, 1}, kPalette},
              {{0xfffffe, 0}, kPalette}};
  for (const auto& row : rows) {
    CoreDib dib = image::MakePicture(21, 13, 1);
    if (!row.colors.empty()) {
      ASSERT_TRUE(dib.SetPalette(row.colors.data(), static_cast<int>(row.colors.size())));
    }
    const std::string file = image::Encode(dib, kCoreImageTiff);
    EXPECT_EQ(TagsOf(file)[kPhotometric], row.photometric);
    const auto back = image::Decode(file);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(image::Difference(dib, *back), "");
    EXPECT_EQ(back->GetPaletteSize(), row.photometric == kPalette ? 2 : 0);
  }
}

// What a reader needs to know, tag by tag, and nothing that says otherwise.
TEST(EncodedTiff, TellsTheFormOfItsPixels) {
  constexpr unsigned kWidth = 256, kHeight = 257, kBits = 258, kPlanar = 284, kXDots = 282, kYDots = 283,
                     kUnit = 296, kMap = 320, kExtra = 338;
  const struct {
    int bits;
    bool palette, alpha;
    unsigned bitsTold, photometric, samples;
  } rows[] = {{1, false, false, 1, 0, 1},  {4, false, false, 4, 1, 1}, {4, true, false, 4, 3, 1},
              {4, true, true, 0, 2, 4},    {8, false, false, 8, 1, 1}, {8, true, false, 8, 3, 1},
              {24, false, false, 0, 2, 3}, {32, false, true, 0, 2, 4}};
  for (const auto& row : rows) {
    for (const float dpi : {0.0f, 72.0f}) {
      CoreDib dib = image::MakePicture(21, 13, row.bits);
      if (row.palette) image::GivePalette(dib, 1 << row.bits);
      if (row.palette && row.alpha) dib.SetPaletteAlpha(2, 7);
      dib.SetDpi(dpi, dpi);
      const std::string file = image::Encode(dib, kCoreImageTiff);
      EXPECT_EQ(file.substr(0, 4), std::string("II*\0", 4)) << "not the form for more than 4 GB";
      auto tags = TagsOf(file);
      const std::string name = std::to_string(row.bits) + " bits" + (row.alpha ? " with alpha" : "");
      EXPECT_EQ(tags[kWidth], 21U) << name;
      EXPECT_EQ(tags[kHeight], 13U) << name;
      EXPECT_EQ(tags[kBits], row.bitsTold) << name;
      EXPECT_EQ(tags[kPhotometric], row.photometric) << name;
      EXPECT_EQ(tags[kSamples], row.samples) << name;
      EXPECT_EQ(tags[kPlanar], 1U) << name;
      EXPECT_EQ(tags.count(kExtra) != 0 ? tags[kExtra] : 9U, row.alpha ? 2U : 9U) << name;
      EXPECT_EQ(tags.count(kMap), row.photometric == 3 ? 1U : 0U) << name;
      EXPECT_EQ(tags.count(kXDots) + tags.count(kYDots) + tags.count(kUnit), dpi == 0 ? 0U : 3U) << name;
      if (dpi != 0) {
        EXPECT_EQ(tags[kUnit], 2U) << name;
      }
    }
  }
}

// The start of frame: what each component takes of a pixel both ways. Text keeps its edges where color is
// stored at full size.
TEST(EncodedJpeg, HasColorAtFullSizeFromQuality90On) {
  const CoreDib dib = image::MakePicture(40, 30, 24);
  const std::string usual = image::Encode(dib, kCoreImageJpeg);
  EXPECT_EQ(usual, image::Encode(dib, kCoreImageJpeg, 90)) << "the quality when none is set";
  EXPECT_NE(usual, image::Encode(dib, kCoreImageJpeg, 91));
  for (const int quality : {1, 50, 89, 90, 91, 100}) {
    const std::string file = image::Encode(dib, kCoreImageJpeg, quality);
    const std::size_t frame = file.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    const char luma = quality < 90 ? '\x22' : '\x11';
    EXPECT_EQ(file.substr(frame + 4, 15),
              std::string("\x8\0\x1e\0\x28\3\1", 7) + luma + std::string("\0\2\x11\1\3\x11\1", 7))
        << quality;
  }
  const std::string gray = image::Encode(image::MakePicture(40, 30, 8), kCoreImageJpeg);
  EXPECT_EQ(gray.substr(gray.find("\xff\xc0") + 4, 9), std::string("\x8\0\x1e\0\x28\1\1\x11\0", 9));
}

TEST(EncodedJpeg, HasWholeDotsAnInch) {
  const struct {
    float dpi;
    unsigned dots;
  } rows[] = {{0.01f, 1},     {0.5f, 1},      {1.49f, 1},     {1.5f, 2},     {299.5f, 300},
              {65534, 65534}, {65535, 65535}, {65536, 65535}, {1e30f, 65535}};
  for (const auto& row : rows) {
    CoreDib dib = image::MakePicture(8, 8, 24);
    dib.SetDpi(row.dpi, 77);
    const std::string file = image::Encode(dib, kCoreImageJpeg);
    const std::size_t head = file.find("JFIF");
    ASSERT_NE(head, std::string::npos);
    EXPECT_EQ(file.substr(head + 7, 5),
              std::string({1, static_cast<char>(row.dots >> 8), static_cast<char>(row.dots), 0, 77}))
        << row.dpi;
  }
}

// The segment of coding styles: layers, color transform, halvings and the kind of wavelet.
TEST(EncodedJpeg2000, HalvesThePictureUpToFiveTimes) {
  const struct {
    int width, height, halvings;
  } rows[] = {{1, 1, 0}, {1, 500, 0}, {500, 1, 0}, {2, 2, 1},   {3, 9, 1},   {4, 4, 2},   {7, 8, 2},
              {8, 8, 3}, {15, 99, 3}, {16, 16, 4}, {31, 31, 4}, {32, 32, 5}, {64, 63, 5}, {200, 300, 5}};
  for (const auto& row : rows) {
    for (const int bits : {8, 24, 32}) {
      for (const int quality : {0, 60}) {
        const CoreDib dib = image::MakePicture(row.width, row.height, bits);
        const std::string file = image::Encode(dib, kCoreImageJpeg2000, quality);
        const std::size_t styles = file.find(std::string("\xff\x52\0\x0c", 4));
        ASSERT_NE(styles, std::string::npos) << row.width << " x " << row.height;
        EXPECT_EQ(file.substr(styles + 6, 2), std::string("\0\1", 2)) << "one layer";
        EXPECT_EQ(file[styles + 8], bits == 8 ? 0 : 1) << "transform of " << bits << " bits";
        EXPECT_EQ(file[styles + 9], row.halvings) << row.width << " x " << row.height;
        EXPECT_EQ(file[styles + 13], quality == 0 ? 1 : 0) << "the wavelet without loss";
      }
    }
  }
}

TEST(EncodedJpeg2000, NamesItsColorsAndItsAlpha) {
  for (const int bits : {1, 8, 24, 32}) {
    const std::string file = image::Encode(image::MakePicture(9, 7, bits), kCoreImageJpeg2000);
    const std::size_t colors = file.find("colr");
    ASSERT_NE(colors, std::string::npos);
    EXPECT_EQ(file.substr(colors + 4, 7), std::string("\1\0\0\0\0\0", 6) + (bits <= 8 ? '\x11' : '\x10'));
    const std::size_t channels = file.find("cdef");
    ASSERT_EQ(channels != std::string::npos, bits == 32) << bits;
    if (bits == 32) {
      EXPECT_EQ(file.substr(channels + 6 + 18, 6), std::string("\0\3\0\1\0\0", 6)) << "the fourth is alpha";
    }
  }
}

TEST(EncodedWebp, IsWithoutLossUnlessAQualityIsSet) {
  const CoreDib dib = image::MakePicture(40, 30, 24);
  EXPECT_EQ(image::Encode(dib, kCoreImageWebp).substr(8, 8), "WEBPVP8L");
  std::string last;
  for (const int quality : {10, 50, 75, 85, 100}) {
    const std::string file = image::Encode(dib, kCoreImageWebp, quality);
    EXPECT_EQ(file.substr(8, 8), "WEBPVP8 ") << quality;
    EXPECT_NE(file, last) << quality;
    last = file;
  }
}

TEST(EncodedWebp, IsOfTheVersionThatIsNamed) {
  const int version = WebPGetEncoderVersion();
  const std::string name = "libwebp " + std::to_string(version / 65536) + "." +
                           std::to_string(version / 256 % 256) + "." + std::to_string(version % 256);
  std::string named;
  for (const CoreString& line : CoreCodecRegistry::Get().DescribeBackends()) {
    if (std::strncmp(line.c_str(), "libwebp", 7) == 0) named = line.c_str();
  }
  EXPECT_EQ(named, name);
}

}  // namespace
