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

TEST(ImageDecode, GivesNullForWhatIsNoImage) {
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

TEST(AlphaBlending, AlwaysFails) {
  const CoreDib dib = image::MakePicture(2, 2, 32);
  EXPECT_FALSE(tovkit::AlphaBlending(nullptr, 0));
  EXPECT_FALSE(tovkit::AlphaBlending(&dib, 0));
  EXPECT_FALSE(tovkit::AlphaBlending(&dib, 255));
  EXPECT_FALSE(tovkit::AlphaBlending(&dib, UINT32_MAX));
}

TEST(ImageBinary, AlwaysFails) {
  const CoreDib dib = image::MakePicture(2, 2, 32);
  EXPECT_EQ(tovkit::ImageBinary(nullptr), nullptr);
  EXPECT_EQ(tovkit::ImageBinary(&dib), nullptr);
}

}  // namespace
