// SPDX-License-Identifier: MIT
// Where the mutator of the fuzz targets finds the numbers of a picture file, and what it may do to them.
#include "picture_fields.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

const std::uint8_t* BytesOf(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::vector<fuzz::Field> FieldsOf(CoreImageFormat format, const std::string& file) {
  return fuzz::PictureFields(format, BytesOf(file), file.size());
}

std::string FileOf(CoreImageFormat format) {
  if (format == kCoreImageGif) return image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif");
  return image::Encode(image::MakePicture(300, 7, 24), format);
}

constexpr CoreImageFormat kFormats[] = {kCoreImagePng, kCoreImageJpeg,     kCoreImageTiff, kCoreImageWebp,
                                        kCoreImageGif, kCoreImageJpeg2000, kCoreImageBmp};

TEST(PictureFields, LieWithinEveryFileWhereverItEnds) {
  for (const CoreImageFormat format : kFormats) {
    const std::string file = FileOf(format);
    EXPECT_GT(FieldsOf(format, file).size(), 5u) << CoreImageFormatName(format);
    for (std::size_t length = 0; length < std::min<std::size_t>(file.size(), 2000); ++length) {
      for (const fuzz::Field& field : FieldsOf(format, file.substr(0, length))) {
        ASSERT_LE(field.at + field.width, length) << CoreImageFormatName(format);
      }
    }
  }
}

TEST(PictureFields, TheWidthIsOneOfThem) {
  for (const CoreImageFormat format : kFormats) {
    // WebP keeps it within the bits of other numbers, and the GIF is not 300 pixels wide.
    if (format == kCoreImageGif || format == kCoreImageWebp) continue;
    const std::string file = FileOf(format);
    const std::vector<fuzz::Field> fields = FieldsOf(format, file);
    EXPECT_TRUE(std::any_of(fields.begin(), fields.end(), [&file](const fuzz::Field& field) {
      return fuzz::GetField(BytesOf(file), field) == 300;
    })) << CoreImageFormatName(format);
  }
}

TEST(PictureFields, ANumberIsWrittenAsItIsRead) {
  std::uint8_t bytes[6] = {};
  for (const std::size_t width : {1, 2, 4}) {
    for (const bool big : {false, true}) {
      const fuzz::Field field{1, width, big};
      fuzz::PutField(bytes, field, 0x81020304);
      EXPECT_EQ(fuzz::GetField(bytes, field), 0x81020304u & (0xFFFFFFFFu >> (32 - 8 * width)));
      EXPECT_EQ(bytes[0], 0);
      EXPECT_EQ(bytes[5], 0);
    }
  }
}

TEST(PictureFields, APngWithAnotherNumberHasChecksumsThatAreRight) {
  std::string file = FileOf(kCoreImagePng);
  auto* const bytes = reinterpret_cast<std::uint8_t*>(file.data());
  const fuzz::Field height{20, 4, true};
  ASSERT_EQ(fuzz::GetField(bytes, height), 7u);
  fuzz::PutField(bytes, height, 5);
  EXPECT_EQ(image::Decode(file), nullptr);
  fuzz::PutPngChecksumsRight(bytes, file.size());
  const auto picture = image::Decode(file);
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(picture->GetHeight(), 5);
}

}  // namespace
