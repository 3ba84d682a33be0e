// SPDX-License-Identifier: MIT
#include "image_support.h"

#include <tovkit/imaging.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using tovkit::ColorToText;
using tovkit::ImageDecode;
using tovkit::ImageEncode;

TEST(ImageEncode, AFormatWithoutEncoderGivesZeroAndTouchesNothing) {
  CoreDib dib = image::MakePicture(4, 4, 24);
  for (const std::uint32_t format : {0U, 7U, 8U, UINT32_MAX}) {
    CoreMemoryOutputStream out;
    EXPECT_EQ(ImageEncode(&dib, static_cast<CoreImageFormat>(format), &out), 0u);
    EXPECT_EQ(ImageEncode(nullptr, static_cast<CoreImageFormat>(format), nullptr), 0u);
    EXPECT_EQ(out.GetSize(), 0u);
  }
}

TEST(ImageEncode, GivesTheEncodersResult) {
  CoreDib dib = image::MakePicture(4, 4, 24);
  CoreMemoryOutputStream out;
  image::FullOutput full(10);
  EXPECT_EQ(ImageEncode(&dib, kCoreImagePng, &out), 1u);
  EXPECT_EQ(ImageEncode(&dib, kCoreImagePng, &full), 0u);
  EXPECT_EQ(ImageEncode(nullptr, kCoreImagePng, &out), 0u);
  EXPECT_EQ(ImageEncode(&dib, kCoreImagePng, nullptr), 0u);
}

TEST(ImageDecode, GivesWhatWasEncoded) {
  for (std::uint32_t format = kCoreImagePng; format < kCoreImageGif; ++format) {
    CoreDib dib = image::MakePicture(40, 30, 24);
    CoreMemoryOutputStream out;
    ASSERT_EQ(ImageEncode(&dib, static_cast<CoreImageFormat>(format), &out), 1u);
    CoreMemoryInputStream in(out.GetData(), out.GetSize());
    const std::unique_ptr<CoreDib> back(ImageDecode(&in));
    ASSERT_NE(back, nullptr) << format;
    EXPECT_EQ(image::Difference(dib, *back, format == kCoreImageJpeg ? 40 : 0), "") << format;
  }
}

TEST(ImageDecode, ReadsTheFirstFrameFromThePositionOfTheStream) {
  const std::string animation = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif");
  const auto first = image::Decode(animation, 0);
  const auto second = image::Decode(animation, 1);
  ASSERT_TRUE(first && second);
  ASSERT_NE(image::Difference(*first, *second), "") << "frames that can be told apart";
  const std::string png = image::Encode(image::MakePicture(5, 4, 24), kCoreImagePng);
  const std::string text = png + animation;
  CoreMemoryInputStream in(text.data(), text.size());
  ASSERT_TRUE(in.Seek(png.size()));
  const std::unique_ptr<CoreDib> read(ImageDecode(&in));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(image::Difference(*first, *read), "");
}

TEST(ImageEncode, WritesWithTheDefaultQualityOfTheFormat) {
  CoreDib dib = image::MakePicture(40, 30, 24);
  for (const CoreImageFormat format : image::kWritable) {
    CoreMemoryOutputStream out;
    ASSERT_EQ(ImageEncode(&dib, format, &out), 1u);
    const std::string written(reinterpret_cast<const char*>(out.GetData()), out.GetSize());
    EXPECT_EQ(written, image::Encode(dib, format)) << CoreImageFormatName(format);
    if (format == kCoreImageJpeg || format == kCoreImageWebp) {
      EXPECT_NE(written, image::Encode(dib, format, 50)) << CoreImageFormatName(format);
    }
  }
}

TEST(ImageEncode, TheBitmapAndTheStreamStayTheCallers) {
  const auto dib = std::make_unique<CoreDib>(image::MakePicture(9, 7, 24));
  const auto out = std::make_unique<CoreMemoryOutputStream>();
  ASSERT_EQ(ImageEncode(dib.get(), kCoreImageBmp, out.get()), 1u);
  const std::size_t once = out->GetSize();
  ASSERT_EQ(ImageEncode(dib.get(), kCoreImageBmp, out.get()), 1u);
  EXPECT_EQ(out->GetSize(), 2 * once) << "behind what the stream held";
  EXPECT_EQ(image::Difference(*dib, image::MakePicture(9, 7, 24)), "");
}

TEST(ImageDecode, TheStreamStaysTheCallers) {
  const std::string png = image::Encode(image::MakePicture(5, 4, 24), kCoreImagePng);
  const auto in = std::make_unique<CoreMemoryInputStream>(png.data(), png.size());
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(in->Seek(0)) << "its position is anywhere";
    EXPECT_NE(std::unique_ptr<CoreDib>(ImageDecode(in.get())), nullptr);
  }
}

TEST(ImageDecode, GivesNullForAnImageBeyondThePixelLimitOfTheRegistry) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t before = registry.GetPixelLimit();
  const std::string png = image::Encode(image::MakePicture(64, 64, 24), kCoreImagePng);
  const auto decodes = [&png] {
    CoreMemoryInputStream in(png.data(), png.size());
    return std::unique_ptr<CoreDib>(ImageDecode(&in)) != nullptr;
  };
  EXPECT_TRUE(decodes());
  registry.SetPixelLimit(std::uint64_t{64} * 64 * 3 - 1);
  EXPECT_FALSE(decodes());
  registry.SetPixelLimit(before);
  EXPECT_TRUE(decodes());
}

TEST(ImageDecode, GivesNullForANullStreamContentOfNoKnownFormatAndABrokenImage) {
  EXPECT_EQ(ImageDecode(nullptr), nullptr);
  for (const std::string& text : {std::string(), std::string("no image"), std::string("GIF89a"),
                                  std::string("\x89PNG\r\n\x1a\n"), std::string("BM and no more")}) {
    CoreMemoryInputStream in(text.data(), text.size());
    EXPECT_EQ(ImageDecode(&in), nullptr) << text;
  }
}

TEST(ColorToText, PrintsTheLowestByteFirst) {
  std::string text;
  EXPECT_TRUE(ColorToText(0x00FF8000, 2, text));
  EXPECT_EQ(text, "#0080FF");
  EXPECT_TRUE(ColorToText(0x003C2B1A, 2, text));
  EXPECT_EQ(text, "#1A2B3C");
  EXPECT_TRUE(ColorToText(0, 2, text));
  EXPECT_EQ(text, "#000000");
  EXPECT_TRUE(ColorToText(0xAB000000, 2, text)) << "the highest byte does not count";
  EXPECT_EQ(text, "#000000");
}

TEST(ColorToText, EveryKindButRgbLeavesTheTextUntouched) {
  std::string text = "kept";
  for (const std::uint32_t kind : {0U, 1U, 3U, 4U, UINT32_MAX}) {
    EXPECT_FALSE(ColorToText(0x00FF8000, kind, text)) << kind;
    EXPECT_EQ(text, "kept");
  }
}

TEST(AlphaBlending, DoesNothingAndReturnsFalse) {
  const CoreDib dib = image::MakePicture(2, 2, 32);
  EXPECT_FALSE(tovkit::AlphaBlending(nullptr, 0));
  EXPECT_FALSE(tovkit::AlphaBlending(&dib, 0));
  EXPECT_FALSE(tovkit::AlphaBlending(&dib, 255));
  EXPECT_FALSE(tovkit::AlphaBlending(&dib, UINT32_MAX));
  EXPECT_EQ(image::Difference(dib, image::MakePicture(2, 2, 32)), "");
}

TEST(ImageBinary, DoesNothingAndReturnsNull) {
  const CoreDib dib = image::MakePicture(2, 2, 32);
  EXPECT_EQ(tovkit::ImageBinary(nullptr), nullptr);
  EXPECT_EQ(tovkit::ImageBinary(&dib), nullptr);
  EXPECT_EQ(image::Difference(dib, image::MakePicture(2, 2, 32)), "");
}

}  // namespace
