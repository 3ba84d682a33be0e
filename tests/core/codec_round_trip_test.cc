// SPDX-License-Identifier: MIT
// Pictures of every depth through every format and back: pixels, palettes and resolution.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

using image::Decode;
using image::Describe;
using image::Difference;
using image::Encode;
using image::MakePicture;

constexpr CoreImageFormat kLossless[] = {kCoreImagePng, kCoreImageTiff, kCoreImageWebp, kCoreImageBmp,
                                         kCoreImageJpeg2000};

TEST(CodecRoundTrip, LosslessFormatsComeBackBitForBit) {
  for (const CoreImageFormat format : kLossless) {
    for (const int bits : {1, 4, 8, 24, 32}) {
      for (const int width : {1, 2, 3, 7, 8, 9, 31, 64, 65, 257}) {
        const CoreDib dib = MakePicture(width, 33, bits);
        const auto back = Decode(Encode(dib, format));
        ASSERT_NE(back, nullptr) << Describe(format, dib);
        EXPECT_EQ(Difference(dib, *back), "") << Describe(format, dib);
      }
    }
  }
}

TEST(CodecRoundTrip, FormatsWithShallowPixelsKeepTheDepth) {
  for (const CoreImageFormat format : {kCoreImagePng, kCoreImageTiff, kCoreImageBmp}) {
    for (const int bits : {1, 4, 8, 24, 32}) {
      const CoreDib dib = MakePicture(19, 5, bits);
      CoreImageInfo info;
      const auto back = Decode(Encode(dib, format), 0, 0, 0, &info);
      ASSERT_NE(back, nullptr) << Describe(format, dib);
      EXPECT_EQ(back->GetBitsPerPixel(), bits) << Describe(format, dib);
      EXPECT_EQ(back->GetPaletteSize(), 0) << Describe(format, dib);
      EXPECT_EQ(info.bitsPerPixel, bits) << Describe(format, dib);
      EXPECT_EQ(info.fileBitsPerPixel, bits) << Describe(format, dib);
      EXPECT_EQ(info.width, 19);
      EXPECT_EQ(info.height, 5);
      EXPECT_EQ(info.frameCount, 1);
    }
  }
}

// What is told of a picture before it is decoded: the depth of the bitmap and that of the file.
TEST(CodecRoundTrip, FormatsWithoutShallowPixelsTellTheirDepth) {
  for (const CoreImageFormat format : {kCoreImageJpeg, kCoreImageWebp, kCoreImageJpeg2000}) {
    for (const int bits : {1, 4, 8, 24, 32}) {
      const CoreDib dib = MakePicture(19, 5, bits);
      CoreImageInfo info;
      const auto back = Decode(Encode(dib, format), 0, 0, 0, &info);
      ASSERT_NE(back, nullptr) << Describe(format, dib);
      const int least = format == kCoreImageWebp ? 24 : 8, most = format == kCoreImageJpeg ? 24 : 32;
      const int expected = std::clamp(bits, least, most);
      EXPECT_EQ(back->GetBitsPerPixel(), expected) << Describe(format, dib);
      EXPECT_EQ(info.bitsPerPixel, expected) << Describe(format, dib);
      EXPECT_EQ(info.fileBitsPerPixel, expected) << Describe(format, dib);
      EXPECT_EQ(info.paletteSize, 0);
      EXPECT_EQ(info.width, 19);
      EXPECT_EQ(info.height, 5);
      EXPECT_EQ(info.frameCount, 1);
    }
  }
}

TEST(CodecRoundTrip, PalettesSurviveWhereTheFormatHoldsThem) {
  for (const CoreImageFormat format : {kCoreImagePng, kCoreImageTiff, kCoreImageBmp}) {
    for (const int bits : {1, 4, 8}) {
      CoreDib dib = MakePicture(41, 6, bits);
      image::GivePalette(dib, 1 << bits);
      CoreImageInfo info;
      const auto back = Decode(Encode(dib, format), 0, 0, 0, &info);
      ASSERT_NE(back, nullptr) << Describe(format, dib);
      EXPECT_EQ(back->GetBitsPerPixel(), bits) << Describe(format, dib);
      EXPECT_EQ(info.paletteSize, 1 << bits);
      ASSERT_EQ(back->GetPaletteSize(), 1 << bits) << Describe(format, dib);
      for (int i = 0; i < 1 << bits; ++i) EXPECT_EQ(back->GetPaletteEntry(i), dib.GetPaletteEntry(i)) << i;
      EXPECT_EQ(Difference(dib, *back), "") << Describe(format, dib);
    }
  }
}

TEST(CodecRoundTrip, PalettesBecomeColorsWhereTheFormatHasNone) {
  for (const CoreImageFormat format : {kCoreImageWebp, kCoreImageJpeg2000}) {
    for (const int bits : {1, 4, 8}) {
      CoreDib dib = MakePicture(41, 6, bits);
      image::GivePalette(dib, 1 << bits);
      const auto back = Decode(Encode(dib, format));
      ASSERT_NE(back, nullptr) << Describe(format, dib);
      EXPECT_EQ(Difference(dib, *back), "") << Describe(format, dib);
    }
  }
}

TEST(CodecRoundTrip, AShortPaletteWithIndicesBeyondItReadsAsBlackThere) {
  for (const CoreImageFormat format : kLossless) {
    CoreDib dib = MakePicture(20, 20, 8);
    image::GivePalette(dib, 5);
    const auto back = Decode(Encode(dib, format));
    ASSERT_NE(back, nullptr) << CoreImageFormatName(format);
    EXPECT_EQ(Difference(dib, *back), "") << CoreImageFormatName(format);
  }
}

TEST(CodecRoundTrip, PaletteAlphaSurvives) {
  for (const CoreImageFormat format : kLossless) {
    CoreDib dib = MakePicture(20, 20, 8);
    image::GivePalette(dib, 256);
    for (int i = 0; i < 200; ++i) dib.SetPaletteAlpha(i, static_cast<std::uint8_t>(i));
    const auto back = Decode(Encode(dib, format));
    ASSERT_NE(back, nullptr) << CoreImageFormatName(format);
    EXPECT_EQ(Difference(dib, *back), "") << CoreImageFormatName(format);
  }
  CoreDib dib = MakePicture(20, 20, 4);
  image::GivePalette(dib, 16);
  dib.SetPaletteAlpha(3, 0);
  const auto back = Decode(Encode(dib, kCoreImagePng));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->GetBitsPerPixel(), 4) << "PNG keeps the palette too";
  EXPECT_EQ(back->GetPaletteAlpha(3), 0);
}

TEST(CodecRoundTrip, LossyFormatsStayClose) {
  const struct {
    CoreImageFormat format;
    int quality;
    int tolerance;
  } cases[] = {{kCoreImageJpeg, 0, 24},
               {kCoreImageJpeg, 100, 6},
               {kCoreImageWebp, 100, 28},
               {kCoreImageJpeg2000, 90, 12}};
  for (const auto& c : cases) {
    for (const int bits : {8, 24}) {
      CoreDib dib;
      ASSERT_TRUE(dib.Create(64, 48, bits));
      for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64 * bits / 8; ++x)
          dib.GetRow(y)[x] = static_cast<std::uint8_t>(40 + x / (bits / 8) * 2 + y);
      }
      const std::string bytes = Encode(dib, c.format, c.quality);
      const auto back = Decode(bytes);
      ASSERT_NE(back, nullptr);
      EXPECT_EQ(Difference(dib, *back, c.tolerance), "")
          << CoreImageFormatName(c.format) << " with quality " << c.quality << ", " << bits << " bits";
    }
  }
}

TEST(CodecRoundTrip, JpegPutsWhatIsTransparentOverWhite) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(16, 16, 32));
  const auto back = Decode(Encode(dib, kCoreImageJpeg));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->GetBitsPerPixel(), 24);
  EXPECT_EQ(back->GetArgb(8, 8), 0xffffffffu);
}

TEST(CodecRoundTrip, ResolutionSurvivesWhereTheFormatHoldsIt) {
  for (const CoreImageFormat format :
       {kCoreImagePng, kCoreImageJpeg, kCoreImageTiff, kCoreImageBmp, kCoreImageJpeg2000}) {
    for (const int bits : {1, 24}) {
      CoreDib dib = MakePicture(8, 8, bits);
      dib.SetDpi(300, 150);
      CoreImageInfo info;
      const auto back = Decode(Encode(dib, format), 0, 0, 0, &info);
      ASSERT_NE(back, nullptr);
      EXPECT_NEAR(back->GetDpiX(), 300, 0.02) << CoreImageFormatName(format);
      EXPECT_NEAR(back->GetDpiY(), 150, 0.02) << CoreImageFormatName(format);
      EXPECT_EQ(info.dpiX, back->GetDpiX());
      const auto again = Decode(Encode(*back, format));
      EXPECT_EQ(again->GetDpiX(), back->GetDpiX()) << CoreImageFormatName(format);
    }
    const auto unknown = Decode(Encode(MakePicture(8, 8, 24), format));
    EXPECT_EQ(unknown->GetDpiX(), 0) << CoreImageFormatName(format);
  }
}

TEST(CodecRoundTrip, AJpeg2000KeepsResolutionsOfAnySize) {
  for (const float dpi : {72.0f, 96.5f, 0.125f, 0.001f, 1e-30f, 65535.0f, 70000.0f, 3e8f, 3.4e38f}) {
    CoreDib dib = MakePicture(8, 8, 24);
    dib.SetDpi(dpi, 300);
    const auto back = Decode(Encode(dib, kCoreImageJpeg2000));
    ASSERT_NE(back, nullptr) << dpi;
    // Four decimals, or a part in 6,553.
    EXPECT_NEAR(back->GetDpiX(), dpi, std::max(1.1e-4, dpi / 6553.0)) << dpi;
    EXPECT_EQ(back->GetDpiY(), 300) << dpi;
  }
}

}  // namespace
