// SPDX-License-Identifier: MIT
// Every format there and back, and what all codecs have in common.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

using image::Decode;
using image::Difference;
using image::Encode;
using image::MakePicture;

constexpr CoreImageFormat kWritable[] = {kCoreImagePng,  kCoreImageJpeg, kCoreImageTiff,
                                         kCoreImageWebp, kCoreImageBmp,  kCoreImageJpeg2000};
constexpr CoreImageFormat kLossless[] = {kCoreImagePng, kCoreImageTiff, kCoreImageWebp, kCoreImageBmp,
                                         kCoreImageJpeg2000};

std::string Describe(CoreImageFormat format, const CoreDib& dib) {
  return std::string(CoreImageFormatName(format)) + ", " + std::to_string(dib.GetWidth()) + "x" +
         std::to_string(dib.GetHeight()) + " of " + std::to_string(dib.GetBitsPerPixel()) + " bits, " +
         std::to_string(dib.GetPaletteSize()) + " colors";
}

TEST(Codecs, LosslessFormatsComeBackBitForBit) {
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

TEST(Codecs, FormatsWithShallowPixelsKeepTheDepth) {
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
TEST(Codecs, FormatsWithoutShallowPixelsTellTheirDepth) {
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

TEST(Codecs, PalettesSurviveWhereTheFormatHoldsThem) {
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

TEST(Codecs, PalettesBecomeColorsWhereTheFormatHasNone) {
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

TEST(Codecs, AShortPaletteWithIndicesBeyondItReadsAsBlackThere) {
  for (const CoreImageFormat format : kLossless) {
    CoreDib dib = MakePicture(20, 20, 8);
    image::GivePalette(dib, 5);
    const auto back = Decode(Encode(dib, format));
    ASSERT_NE(back, nullptr) << CoreImageFormatName(format);
    EXPECT_EQ(Difference(dib, *back), "") << CoreImageFormatName(format);
  }
}

TEST(Codecs, PaletteAlphaSurvives) {
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

TEST(Codecs, LossyFormatsStayClose) {
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

TEST(Codecs, ALowerQualityMakesASmallerFile) {
  const CoreDib dib = MakePicture(200, 200, 24);
  for (const CoreImageFormat format : {kCoreImageJpeg, kCoreImageWebp, kCoreImageJpeg2000}) {
    EXPECT_LT(Encode(dib, format, 20).size(), Encode(dib, format, 80).size()) << CoreImageFormatName(format);
    EXPECT_EQ(Encode(dib, format, -5).size(), Encode(dib, format, 0).size()) << CoreImageFormatName(format);
    EXPECT_EQ(Encode(dib, format, 500).size(), Encode(dib, format, 100).size())
        << CoreImageFormatName(format);
  }
}

TEST(Codecs, JpegPutsWhatIsTransparentOverWhite) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(16, 16, 32));
  const auto back = Decode(Encode(dib, kCoreImageJpeg));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->GetBitsPerPixel(), 24);
  EXPECT_EQ(back->GetArgb(8, 8), 0xffffffffu);
}

TEST(Codecs, ResolutionSurvivesWhereTheFormatHoldsIt) {
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

TEST(Codecs, AJpeg2000KeepsResolutionsOfAnySize) {
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

TEST(Codecs, EncodeLeavesTheBitmapAsItIs) {
  for (const CoreImageFormat format : kWritable) {
    for (const int bits : {1, 4, 8, 24, 32}) {
      const CoreDib dib = MakePicture(37, 21, bits);
      CoreDib kept;
      ASSERT_TRUE(kept.CopyFrom(dib));
      Encode(dib, format);
      Encode(dib, format, 50);
      EXPECT_EQ(std::memcmp(kept.GetBuffer(), dib.GetBuffer(), dib.GetBufferSize()), 0)
          << Describe(format, dib);
    }
  }
}

TEST(Codecs, EncodeIsReproducible) {
  for (const CoreImageFormat format : kWritable)
    EXPECT_EQ(Encode(MakePicture(30, 30, 24), format), Encode(MakePicture(30, 30, 24), format));
}

TEST(Codecs, EncodeRefusesWhatHasNoPixelsAndNullStreams) {
  const CoreDib picture = MakePicture(3, 3, 24);
  const CoreDib empty;
  CoreMemoryOutputStream out;
  for (const CoreImageFormat format : kWritable) {
    const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
    EXPECT_EQ(encoder->Encode(nullptr, &out), 0u);
    EXPECT_EQ(encoder->Encode(&empty, &out), 0u);
    EXPECT_EQ(encoder->Encode(&picture, nullptr), 0u);
    EXPECT_EQ(out.GetSize(), 0u);
  }
}

TEST(Codecs, EncodeRefusesSizesThatTheFormatCannotHold) {
  CoreDib wide;
  ASSERT_TRUE(wide.Create(70000, 1, 8));
  EXPECT_EQ(Encode(wide, kCoreImageJpeg), "");
  EXPECT_EQ(Encode(wide, kCoreImageWebp), "");
  EXPECT_NE(Encode(wide, kCoreImagePng), "");
}

TEST(Codecs, AWriteThatFailsGivesZeroWhereverItHappens) {
  for (const CoreImageFormat format : kWritable) {
    for (const int bits : {1, 24, 32}) {
      CoreDib dib = MakePicture(150, 90, bits);
      dib.SetDpi(72, 72);
      const std::size_t size = Encode(dib, format).size();
      const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
      for (std::size_t limit = 0; limit < size; limit += 1 + size / 15) {
        image::FullOutput out(limit);
        EXPECT_EQ(encoder->Encode(&dib, &out), 0u) << Describe(format, dib) << " after " << limit << " bytes";
      }
      image::FullOutput out(size);
      EXPECT_EQ(encoder->Encode(&dib, &out), 1u) << Describe(format, dib);
    }
  }
}

TEST(Codecs, AJpegOfManyBlocksFailsAtEachOfThem) {
  const CoreDib dib = MakePicture(300, 300, 24);
  const std::size_t size = Encode(dib, kCoreImageJpeg, 100).size();
  ASSERT_GT(size, 3U * 32768);  // the encoder hands on blocks of this size
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImageJpeg);
  encoder->SetQuality(100);
  for (const std::size_t limit : {std::size_t{0}, std::size_t{32768}, std::size_t{65536}, size - 1}) {
    image::FullOutput out(limit);
    EXPECT_EQ(encoder->Encode(&dib, &out), 0u) << limit;
  }
  image::FullOutput out(size);
  EXPECT_EQ(encoder->Encode(&dib, &out), 1u) << "an encoder is of use after failures";
}

TEST(Codecs, GifIsNotWritten) {
  EXPECT_EQ(CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImageGif), nullptr);
  EXPECT_NE(CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageGif), nullptr);
}

TEST(Codecs, UnknownFormatsHaveNoCodec) {
  const CoreCodecFactory& factory = CoreCodecRegistry::Get().GetFactory();
  for (const std::uint32_t format : {0U, 8U, 1000U, UINT32_MAX}) {
    EXPECT_EQ(factory.CreateEncoder(static_cast<CoreImageFormat>(format)), nullptr);
    EXPECT_EQ(factory.CreateDecoder(static_cast<CoreImageFormat>(format)), nullptr);
    EXPECT_STREQ(CoreImageFormatName(static_cast<CoreImageFormat>(format)), "unknown");
  }
}

TEST(Codecs, DetectionGoesByContentAndKeepsThePosition) {
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = "before" + Encode(MakePicture(5, 5, 24), format);
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    in.Seek(6);
    EXPECT_EQ(CoreDetectImageFormat(&in), format);
    EXPECT_EQ(in.GetPosition(), 6u);
  }
  const struct {
    std::string text;
    CoreImageFormat format;
  } cases[] = {{"", kCoreImageUnknown},
               {"B", kCoreImageUnknown},
               {"GIF88a", kCoreImageUnknown},
               {"GIF89", kCoreImageUnknown},
               {"GIF89a", kCoreImageGif},
               {"GIF87a", kCoreImageGif},
               {std::string("MM\0*", 4), kCoreImageTiff},
               {std::string("MM\0+", 4), kCoreImageTiff},
               {"RIFF....WAVE", kCoreImageUnknown},
               {"JUNK....WEBP", kCoreImageUnknown},
               {"just some text", kCoreImageUnknown}};
  for (const auto& c : cases) {
    CoreMemoryInputStream in(c.text.data(), c.text.size());
    EXPECT_EQ(CoreDetectImageFormat(&in), c.format) << c.text;
  }
  EXPECT_EQ(CoreDetectImageFormat(nullptr), kCoreImageUnknown);
}

// Every byte of a signature counts, and no byte behind it.
TEST(Codecs, DetectionNeedsTheWholeSignature) {
  const struct {
    std::string signature;
    CoreImageFormat format;
    std::size_t anyFirst = 0, anyLast = 0;  // bytes that say nothing
  } cases[] = {{"\x89PNG\r\n\x1a\n", kCoreImagePng},
               {"\xff\xd8\xff", kCoreImageJpeg},
               {std::string("II*\0", 4), kCoreImageTiff},
               {std::string("MM\0*", 4), kCoreImageTiff},
               {std::string("II+\0", 4), kCoreImageTiff},
               {std::string("MM\0+", 4), kCoreImageTiff},
               {"RIFF1234WEBP", kCoreImageWebp, 4, 8},
               {std::string("\0\0\0\x0cjP  \r\n\x87\n", 12), kCoreImageJpeg2000},
               {"\xff\x4f\xff\x51", kCoreImageJpeg2000},
               {"BM", kCoreImageBmp},
               {"GIF87a", kCoreImageGif},
               {"GIF89a", kCoreImageGif}};
  for (const auto& c : cases) {
    const auto detect = [](const std::string& bytes) {
      CoreMemoryInputStream in(bytes.data(), bytes.size());
      return CoreDetectImageFormat(&in);
    };
    EXPECT_EQ(detect(c.signature), c.format) << c.signature;
    EXPECT_EQ(detect(c.signature + "and more of it"), c.format) << c.signature;
    for (std::size_t i = 0; i < c.signature.size(); ++i) {
      EXPECT_EQ(detect(c.signature.substr(0, i)), kCoreImageUnknown) << c.signature << ", " << i;
      std::string other = c.signature;
      other[i] = static_cast<char>(other[i] ^ 0x40);
      const bool counts = i < c.anyFirst || i >= c.anyLast;
      EXPECT_EQ(detect(other), counts ? kCoreImageUnknown : c.format) << c.signature << ", " << i;
    }
  }
}

TEST(Codecs, AnImageIsReadFromWhereTheStreamStands) {
  for (const CoreImageFormat format : kWritable) {
    const CoreDib dib = MakePicture(33, 12, 24);
    const std::string bytes = "seventeen bytes.." + Encode(dib, format) + "and a tail";
    image::StubbornInput in(bytes, UINT64_MAX);
    in.Seek(17);
    const auto back = Decode(in);
    ASSERT_NE(back, nullptr) << CoreImageFormatName(format);
    EXPECT_EQ(Difference(dib, *back, format == kCoreImageJpeg ? 40 : 0), "") << CoreImageFormatName(format);
  }
}

TEST(Codecs, WithoutTheFlagTheStreamStaysWhereItWas) {
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = "..." + Encode(MakePicture(33, 12, 24), format);
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    in.Seek(3);
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
    ASSERT_EQ(decoder->Open(&in, 0), 1u) << CoreImageFormatName(format);
    EXPECT_EQ(in.GetPosition(), 3u) << CoreImageFormatName(format);
    in.Seek(1);
    EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
    EXPECT_EQ(in.GetPosition(), 1u) << CoreImageFormatName(format);
    EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr) << "a second time";
  }
}

TEST(Codecs, ADecoderRefusesOtherFormatsAndWhatIsNotThere) {
  const std::string bmp = Encode(MakePicture(3, 3, 24), kCoreImageBmp);
  for (std::uint32_t format = kCoreImagePng; format <= kCoreImageGif; ++format) {
    const auto decoder =
        CoreCodecRegistry::Get().GetFactory().CreateDecoder(static_cast<CoreImageFormat>(format));
    EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr) << "not open";
    EXPECT_EQ(decoder->Open(nullptr, 1), 0u);
    CoreMemoryInputStream empty(nullptr, 0);
    EXPECT_EQ(decoder->Open(&empty, 1), 0u);
    CoreMemoryInputStream other(bmp.data(), format == kCoreImageBmp ? 1 : bmp.size());
    EXPECT_EQ(decoder->Open(&other, 1), 0u);
    EXPECT_EQ(decoder->GetInfo().width, 0);
    EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr);
  }
}

TEST(Codecs, FramesAndSizesThatAreNotThereGiveNull) {
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = Encode(MakePicture(10, 10, 24), format);
    EXPECT_EQ(Decode(bytes, 1), nullptr);
    EXPECT_EQ(Decode(bytes, -1), nullptr);
    EXPECT_EQ(Decode(bytes, INT_MAX), nullptr);
    EXPECT_EQ(Decode(bytes, 0, -1, 0), nullptr);
    EXPECT_EQ(Decode(bytes, 0, 0, -1), nullptr);
    EXPECT_EQ(Decode(bytes, 0, INT_MAX, INT_MAX), nullptr);
  }
}

TEST(Codecs, ASizeScales) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(100, 60, 24));
  std::memset(dib.GetBuffer(), 77, dib.GetBufferSize());
  dib.SetDpi(100, 100);
  const std::string bytes = Encode(dib, kCoreImagePng);
  const struct {
    int width, height, gotWidth, gotHeight;
  } cases[] = {{50, 30, 50, 30},   {50, 0, 50, 30},    {0, 30, 50, 30},    {1, 1, 1, 1},
               {300, 0, 300, 180}, {1, 0, 1, 1},       {100, 60, 100, 60}, {100, 30, 100, 30},
               {50, 60, 50, 60},   {7, 1000, 7, 1000}, {1000, 1, 1000, 1}};
  for (const auto& c : cases) {
    const auto back = Decode(bytes, 0, c.width, c.height);
    ASSERT_NE(back, nullptr) << c.width << "x" << c.height;
    EXPECT_EQ(back->GetWidth(), c.gotWidth);
    EXPECT_EQ(back->GetHeight(), c.gotHeight);
    EXPECT_NEAR(back->GetDpiX(), c.gotWidth, 0.05);
    for (int y = 0; y < back->GetHeight(); ++y) {
      for (int x = 0; x < back->GetWidth(); ++x)
        ASSERT_EQ(back->GetArgb(x, y), 0xff4d4d4du) << x << ", " << y;
    }
  }
}

TEST(Codecs, ScalingWeighsColorsByAlpha) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(2, 1, 32));
  const std::uint8_t pixels[] = {10, 20, 30, 255, 200, 200, 200, 0};
  std::memcpy(dib.GetBuffer(), pixels, sizeof pixels);
  const auto back = Decode(Encode(dib, kCoreImagePng), 0, 1, 1);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->GetArgb(0, 0), 0x801e140au);
}

TEST(Codecs, ScalingKeepsGrayGrayAndUnfoldsPalettes) {
  EXPECT_EQ(Decode(Encode(MakePicture(40, 40, 1), kCoreImagePng), 0, 20, 20)->GetBitsPerPixel(), 8);
  CoreDib dib = MakePicture(40, 40, 4);
  image::GivePalette(dib, 16);
  EXPECT_EQ(Decode(Encode(dib, kCoreImagePng), 0, 20, 20)->GetBitsPerPixel(), 24);
}

TEST(Codecs, ThePixelLimitIsAskedBeforeAnythingIsDecoded) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  EXPECT_EQ(usual, std::uint64_t{1} << 30);
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = Encode(MakePicture(100, 100, 24), format);
    registry.SetPixelLimit(100 * 300 - 1);
    EXPECT_EQ(Decode(bytes), nullptr) << CoreImageFormatName(format);
    registry.SetPixelLimit(100 * 300);
    EXPECT_EQ(Decode(bytes) != nullptr, format != kCoreImageJpeg2000) << CoreImageFormatName(format);
    registry.SetPixelLimit(100 * 300 + 100 * 100 * 12);  // JPEG 2000 unpacks whole numbers first
    EXPECT_NE(Decode(bytes), nullptr) << CoreImageFormatName(format);
    EXPECT_EQ(Decode(bytes, 0, 300, 300), nullptr) << CoreImageFormatName(format);
  }
  registry.SetPixelLimit(usual);
}

TEST(Codecs, ExtensionsStandForFormats) {
  const struct {
    const char* extension;
    CoreImageFormat format;
  } cases[] = {{"png", kCoreImagePng},       {".PNG", kCoreImagePng},     {"jpg", kCoreImageJpeg},
               {"jpeg", kCoreImageJpeg},     {"tif", kCoreImageTiff},     {"tiff", kCoreImageTiff},
               {"webp", kCoreImageWebp},     {"jp2", kCoreImageJpeg2000}, {"bmp", kCoreImageBmp},
               {"gif", kCoreImageGif},       {"", kCoreImageUnknown},     {".", kCoreImageUnknown},
               {"..png", kCoreImageUnknown}, {"pn", kCoreImageUnknown},   {nullptr, kCoreImageUnknown}};
  for (const auto& c : cases)
    EXPECT_EQ(CoreImageFormatFromExtension(c.extension), c.format) << (c.extension ? c.extension : "null");
}

TEST(Codecs, BackendsAreNamedWithTheirVersions) {
  std::set<std::string> names;
  for (const CoreString& line : CoreCodecRegistry::Get().DescribeBackends()) {
    const std::string text = line.c_str();
    const std::size_t gap = text.find(' ');
    ASSERT_NE(gap, std::string::npos) << text;
    EXPECT_TRUE(gap + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[gap + 1])) != 0)
        << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    names.insert(text.substr(0, gap));
  }
  EXPECT_EQ(names,
            (std::set<std::string>{"libpng", "libjpeg-turbo", "libtiff", "libwebp", "OpenJPEG", "giflib"}));
}

}  // namespace
