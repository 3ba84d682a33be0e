// SPDX-License-Identifier: MIT
// CoreTiffPages: files of several pages, as we and libtiff's own tools read them.
#include "foreign_files.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace {

class TiffPages : public ForeignFiles {};

std::string Written(CoreTiffPages& pages) {
  CoreMemoryOutputStream out;
  EXPECT_TRUE(pages.Write(&out));
  return {reinterpret_cast<const char*>(out.GetData()), out.GetSize()};
}

TEST_F(TiffPages, PagesOfEveryDepthComeBackInOrder) {
  CoreTiffPages pages;
  std::vector<CoreDib> pictures;
  for (const int bits : {1, 8, 24, 32, 4}) {
    pictures.push_back(image::MakePicture(20 + bits, 15, bits));
    pictures.back().SetDpi(100, 100);
    ASSERT_TRUE(pages.Add(&pictures.back()));
  }
  const std::string file = Written(pages);
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const auto back = image::Decode(file, static_cast<int>(i));
    ASSERT_NE(back, nullptr) << i;
    EXPECT_EQ(image::Difference(pictures[i], *back), "") << i;
  }
  EXPECT_EQ(image::Decode(file, 5), nullptr);
  std::ofstream(folder_ + "/pages.tif", std::ios::binary) << file;
  EXPECT_EQ(Run("tiffinfo pages.tif | grep -c 'Image Width'"), "5\n");
  EXPECT_EQ(image::ReadFile(folder_ + "/errors"), "");
}

TEST_F(TiffPages, APageHasNothingOfThePagesBeforeIt) {
  CoreTiffPages pages;
  std::vector<CoreDib> pictures;
  for (const int bits : {24, 32, 24, 8, 32, 1, 24}) {
    pictures.push_back(image::MakePicture(20, 15, bits));
    ASSERT_TRUE(pages.Add(&pictures.back()));
  }
  const std::string file = Written(pages);
  CoreMemoryInputStream in(file.data(), file.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageTiff);
  ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1u);
  for (const int page : {0, 1, 2, 3, 4, 5, 6, 4, 2, 1, 0}) {
    const CoreDib& picture = pictures[static_cast<std::size_t>(page)];
    const auto back = decoder->GetBitmap(page, 0, 0);
    ASSERT_NE(back, nullptr) << page;
    EXPECT_EQ(back->GetBitsPerPixel(), picture.GetBitsPerPixel()) << page;
    EXPECT_EQ(image::Difference(picture, *back), "") << page;
  }
}

// 42 and 43 are the marks of the two forms.
TEST_F(TiffPages, WhatMayNotFitFourGigabytesBecomesABigTiff) {
  constexpr std::uint64_t kMost = std::uint64_t{3} << 30;
  const CoreDib picture = image::MakePicture(20, 15, 24);
  for (const std::uint64_t bytes : {std::uint64_t{0}, kMost, kMost + 1}) {
    CoreTiffPages pages(bytes);
    ASSERT_TRUE(pages.Add(&picture));
    const std::string file = Written(pages);
    EXPECT_EQ(file.substr(0, 3), bytes > kMost ? "II+" : "II*") << bytes;
    const auto back = image::Decode(file);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(image::Difference(picture, *back), "");
  }
}

TEST_F(TiffPages, APageBehindAnotherIsFoundFromThere) {
  constexpr int kPages = 300;
  CoreTiffPages pages;
  const CoreDib pictures[] = {image::MakePicture(20, 15, 24), image::MakePicture(20, 15, 8)};
  for (int i = 0; i < kPages; ++i) ASSERT_TRUE(pages.Add(&pictures[i % 2]));
  const std::string file = Written(pages);
  image::CountingInput in(file);
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageTiff);
  ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1u);
  const auto seeksFor = [&](int page) {
    const int before = in.Seeks();
    const auto got = decoder->GetBitmap(page, 0, 0);
    EXPECT_TRUE(got != nullptr && image::Difference(pictures[page % 2], *got).empty()) << page;
    return in.Seeks() - before;
  };
  for (int page = 0; page < kPages; ++page) EXPECT_LE(seeksFor(page), 4) << page;
  for (const int page : {kPages - 1, 5, 6, 6, 4, 299, 0, 1, 3}) seeksFor(page);
}

TEST_F(TiffPages, WithoutAPageThereIsNoFile) {
  CoreMemoryOutputStream out;
  CoreTiffPages pages;
  EXPECT_FALSE(pages.Write(&out));
  const CoreDib none;
  EXPECT_FALSE(pages.Add(nullptr));
  EXPECT_FALSE(pages.Add(&none));
  EXPECT_FALSE(pages.Write(nullptr));
  EXPECT_EQ(out.GetSize(), 0u);
  const CoreDib picture = image::MakePicture(8, 8, 8);
  EXPECT_TRUE(pages.Add(&picture)) << "what was refused does no harm";
  EXPECT_TRUE(pages.Write(&out));
  EXPECT_FALSE(pages.Add(&picture)) << "written";
  EXPECT_FALSE(pages.Write(&out));
}

TEST_F(TiffPages, WhatMayGrowBeyondFourGigabytesIsABigTiff) {
  CoreTiffPages pages(std::uint64_t{5} << 30);
  const CoreDib picture = image::MakePicture(8, 8, 24);
  ASSERT_TRUE(pages.Add(&picture));
  const std::string file = Written(pages);
  EXPECT_EQ(file.substr(0, 3), "II+");
  EXPECT_EQ(image::Difference(picture, *image::Decode(file)), "");
}

}  // namespace
